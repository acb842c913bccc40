// Helpers shared by the tests.
#ifndef ZEM_TEST_SUPPORT_H
#define ZEM_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include "services/services.h"

// Checks that a test body leaves exactly as many live blocks as it found.
struct LeakCheck {
    long before = SvcLiveBlocks();
    ~LeakCheck() { EXPECT_EQ(before, SvcLiveBlocks()) << "blocks leaked"; }
};

// Runs body once with each allocation it makes failing in turn, until a run
// makes no allocation fail. body gets the run's number (1 = first allocation
// fails) and must leave no block behind. Gives the number of runs.
template <typename F>
int EachAllocationFails(F body) {
    for (int n = 1; n < 100000; n++) {
        long before = SvcLiveBlocks();
        SvcFailAllocAfter(n);
        body(n);
        bool armed = SvcFailAllocPending();
        SvcFailAllocAfter(0);
        EXPECT_EQ(before, SvcLiveBlocks()) << "leak with allocation " << n << " failing";
        if (armed) return n;  // the body made fewer than n allocations
    }
    ADD_FAILURE() << "allocation-failure loop did not end";
    return 0;
}

#endif
