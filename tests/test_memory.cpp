// Memory blocks, HandleArrays and per-thread slots.
#include <string.h>
#include <thread>

#include "support.h"

TEST(Memory, BlocksAreZeroedAndSized) {
    LeakCheck leaks;
    for (size_t size : {1u, 7u, 25u, 4096u}) {
        unsigned char *p = (unsigned char *)SvcAlloc(size);
        ASSERT_NE(p, nullptr);
        EXPECT_GE(SvcSize(p), size);
        for (size_t i = 0; i < size; i++) ASSERT_EQ(p[i], 0) << size << " at " << i;
        SvcFree(p);
    }
}

TEST(Memory, ReallocKeepsContentAndZeroesGrowth) {
    LeakCheck leaks;
    char *p = (char *)SvcAlloc(4);
    memcpy(p, "abc", 4);
    p = (char *)SvcRealloc(p, 64);
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p, "abc");
    for (int i = 4; i < 64; i++) ASSERT_EQ(p[i], 0);
    SvcFailAllocAfter(1);
    EXPECT_EQ(SvcRealloc(p, 128), nullptr);
    EXPECT_STREQ(p, "abc") << "a failed realloc leaves the old block valid";
    SvcFree(p);
}

TEST(Memory, ExportedShells) {
    LeakCheck leaks;
    EXPECT_EQ(ZEMMemRealloc(nullptr, 10), nullptr) << "a null block is no allocation";
    EXPECT_EQ(ZEMMemSize(nullptr), 0u);
    ZEMMemFree(nullptr);
    void *p = ZEMMemAlloc(10);
    ASSERT_NE(p, nullptr);
    EXPECT_GE(ZEMMemSize(p), 10u);
    p = ZEMMemRealloc(p, 100);
    EXPECT_GE(ZEMMemSize(p), 100u);
    ZEMMemFree(p);
}

TEST(Memory, NthAllocationFails) {
    LeakCheck leaks;
    SvcFailAllocAfter(3);
    void *a = SvcAlloc(1), *b = SvcAlloc(1), *c = SvcAlloc(1), *d = SvcAlloc(1);
    EXPECT_NE(a, nullptr);
    EXPECT_NE(b, nullptr);
    EXPECT_EQ(c, nullptr);
    EXPECT_NE(d, nullptr) << "only the one allocation fails";
    EXPECT_FALSE(SvcFailAllocPending());
    SvcFree(a), SvcFree(b), SvcFree(d);
}

static unsigned countOf(HARRAY a) { return SvcArrayInfo(a) >> 16; }

TEST(HandleArray, CreateGrowRemove) {
    LeakCheck leaks;
    HARRAY a = SvcArrayCreate(4, 1);
    ASSERT_NE(a, 0u);
    EXPECT_EQ(countOf(a), 1u);
    int32_t *e = (int32_t *)SvcArrayLock(a, 0);
    EXPECT_EQ(e[0], 0) << "the first element is zeroed";
    e[0] = 10;
    SvcArrayUnlock(a);
    for (int i = 1; i < 100; i++) {
        a = SvcArrayGrow(a, -1);
        ASSERT_NE(a, 0u);
        e = (int32_t *)SvcArrayLock(a, (unsigned)i);
        EXPECT_EQ(*e, 0);
        *e = 10 + i;
        SvcArrayUnlock(a);
    }
    EXPECT_EQ(countOf(a), 100u);
    a = SvcArrayRemove(a, 0);
    e = (int32_t *)SvcArrayLock(a, 0);
    EXPECT_EQ(e[0], 11) << "later elements close up";
    EXPECT_EQ(e[98], 109);
    SvcArrayUnlock(a);
    while (countOf(a)) a = SvcArrayRemove(a, countOf(a) - 1);
    EXPECT_EQ(SvcArrayInfo(a), 0u) << "count 0 is a legal state";
    a = SvcArrayGrow(a, -1);
    ASSERT_NE(a, 0u);
    EXPECT_EQ(countOf(a), 1u) << "growing a count-0 array gives count 1";
    SvcArrayUnlock(0);  // no handle, nothing to do
    SvcArrayDestroy(a);
}

TEST(HandleArray, ChangesWhileLocked) {
    LeakCheck leaks;
    HARRAY a = SvcArrayCreate(4, 1);
    int32_t *walk = (int32_t *)SvcArrayLock(a, 0);
    walk[0] = 7;
    // Growing past the capacity while a walker holds its pointer must leave
    // that pointer readable until the walker lets go.
    for (int i = 0; i < 50; i++) a = SvcArrayGrow(a, -1);
    EXPECT_EQ(walk[0], 7);
    int32_t *again = (int32_t *)SvcArrayLock(a, 0);
    EXPECT_EQ(again[0], 7);
    SvcArrayUnlock(a);
    a = SvcArrayRemove(a, 0);
    SvcArrayUnlock(a);
    EXPECT_EQ(countOf(a), 50u);
    // Destroying a locked array is allowed.
    SvcArrayLock(a, 0);
    SvcArrayDestroy(a);
}

TEST(HandleArray, LimitsAndFailures) {
    LeakCheck leaks;
    HARRAY a = SvcArrayCreate(4, 1);
    EXPECT_EQ(SvcArrayGrow(a, 0), 0u) << "only position -1 appends";
    while (countOf(a) < SVC_ARRAY_MAX) ASSERT_NE(SvcArrayGrow(a, -1), 0u);
    EXPECT_EQ(SvcArrayGrow(a, -1), 0u) << "the count fits 16 bits";
    EXPECT_EQ(countOf(a), (unsigned)SVC_ARRAY_MAX);
    SvcArrayDestroy(a);
    EachAllocationFails([](int) {
        HARRAY b = SvcArrayCreate(12, 1);
        for (int i = 0; b && i < 10; i++) {
            HARRAY grown = SvcArrayGrow(b, -1);
            if (!grown) break;
            b = grown;
        }
        SvcArrayDestroy(b);
    });
}

static int destroyed;
static void countDestroy(void *p) {
    destroyed++;
    SvcFree(p);
}

TEST(ThreadSlots, ValuesArePerThreadAndDestroyedAtExit) {
    uint32_t slot = _TLS_AllocIndex();
    destroyed = 0;
    EXPECT_EQ(SvcTlsGet(slot), nullptr);
    void *mine = SvcAlloc(8);
    SvcTlsSet(slot, mine, countDestroy);
    std::thread other([slot] {
        EXPECT_EQ(SvcTlsGet(slot), nullptr) << "a new thread sees no value";
        SvcTlsSet(slot, SvcAlloc(8), countDestroy);
        EXPECT_NE(SvcTlsGet(slot), nullptr);
    });
    other.join();
    EXPECT_EQ(destroyed, 1) << "the other thread's value went with it";
    EXPECT_EQ(SvcTlsGet(slot), mine);
    SvcTlsSet(slot, nullptr, nullptr);  // a null value may be set
    EXPECT_EQ(SvcTlsGet(slot), nullptr);
    SvcFree(mine);
    _TLS_FreeIndex(slot);
}
