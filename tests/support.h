// Helpers shared by the tests.
#ifndef ZEM_TEST_SUPPORT_H
#define ZEM_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "services/services.h"
#include "zemi40.h"

// Checks that a test body leaves exactly as many live blocks as it found.
struct LeakCheck {
    long before = SvcLiveBlocks();
    ~LeakCheck() { EXPECT_EQ(before, SvcLiveBlocks()) << "blocks leaked"; }
};

// Selects a code page and puts 932 back; on Windows another than the system's is not active.
struct UseCodePage {
    explicit UseCodePage(unsigned cp) : active(ZEMSetSystemCodePage(cp) == 1) {
#ifndef _WIN32
        EXPECT_TRUE(active) << cp;
#endif
    }
    ~UseCodePage() { ZEMSetSystemCodePage(932); }
    bool active;
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

// Any host callback as the record's generic pointer.
template <typename F>
ZEMProc Proc(F f) {
    return (ZEMProc)(void (*)(void))f;
}

// The fields of an item record beyond kind, name and type. required is the
// subclass of an input item or keyword and the required count of a function;
// optional is a keyword's case flag. paramCount defaults to params.size().
struct ItemSpec {
    int required = 0;
    int optional = 0;
    int flags = 0;
    const char *functionName = nullptr;
    ZEMProc callback = nullptr;
    std::vector<ExpParam> params = {};
    std::optional<int> paramCount = {};
    bool mayFail = false;  // when false, a refusal is a test failure
};

// Parameters of any-expression mode with these types.
std::vector<ExpParam> Params(std::initializer_list<int> types);

// Registers an item; gives what ZEMAddExpressionItem gives.
int AddItem(HEC ec, int kind, const char *name, int type, const ItemSpec &shape = {});

// Parses text as a stored (name) or anonymous expression, expecting success.
HEXP ParseOk(HEC ec, const char *text, const char *name = nullptr);

// Parses text expecting a failure; gives the report.
ExpError ParseFails(HEC ec, const char *text, const char *name = nullptr);

// Calls check with the fields of each line of a reference file, split at sep; check gives what is
// wrong with the line, or "". Stops after 10 wrong lines. Gives the number of lines read.
#include <functional>
using CaseFields = std::vector<std::string>;
int EachReferenceLine(const char *path, char sep,
                      const std::function<std::string(const CaseFields &)> &check);

// Runs body on a thread of its own with a stack of the given size.
void RunWithStack(size_t bytes, const std::function<void()> &body);

#endif
