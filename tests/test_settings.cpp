// Context settings and the copy of a context; start-up state, thread blocks and HandleArrays.
#include <string.h>
#include <string>
#include <thread>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/items.h"
#include "context/startup.h"
#include "context/threadblock.h"
#include "support.h"

namespace {

std::vector<std::string> resolved;
int ZEMCALL fixedOperator(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *result) {
    return SvcNumFromInt((Number *)result, 42), 1;
}
void ZEMCALL otherProc(void) {}
ZEMProc ZEMCALL resolveName(const char *name) {
    resolved.push_back(name ? name : "(null)");
    return name && !strcmp(name, "Fixed") ? (ZEMProc)(void *)fixedOperator : otherProc;
}
int notifications;
void ZEMCALL countNotify(HEC, int32_t code) { notifications += code == 2; }
int ZEMCALL priceValue(HEC, HEXP, int32_t, void **value, const char *) { return SvcNumFromInt((Number *)*value, 5), 1; }
int ZEMCALL allowDelete(HEC, HEXP, HZEMWND) { return 1; }
void ZEMCALL listValues(HEC, const char *, HZEMWND, int32_t, int32_t *) {}
void ZEMCALL renamed(HEC, const char *, const char *) {}

struct Ctx {
    HEC ec;
    explicit Ctx(uint16_t flags = 0, ZEMResolveCallback resolve = resolveName)
        : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) { resolved.clear(); }
    ~Ctx() { ZEMDestroyEC(ec); }
};

std::string textOf(const char *slot) { return slot ? slot : "(null)"; }

}  // namespace

TEST(Settings, HelpPathDateFormatsAndPictures) {
    LeakCheck leaks;
    Ctx c;
    std::string kept(519, 'p'), tooLong(520, 'q');
    const struct { const char *path; std::string expected; } steps[] = {
        {kept.c_str(), kept}, {tooLong.c_str(), kept}, {nullptr, kept}, {"", ""}};
    int32_t context = 7;
    for (const auto &s : steps) {
        ZEMSetHelpPath(c.ec, s.path, ++context);
        EXPECT_EQ(c.ec->helpContext, context);
        EXPECT_EQ(std::string(c.ec->helpPath), s.expected) << context;
    }
    EXPECT_EQ(ZEMSetHelpPath(nullptr, "x", 1), 0);
    ZEMSetDateConvert(nullptr, "a", "b", "c", 1);
    // Allocation 1 makes the context, 2-4 the formats, 5 and 6 two replacements: a failure leaves its slot 0.
    // A null format keeps its slot as it was.
    int runs = EachAllocationFails([](int n) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        if (!ec) return;
        ZEMSetDateConvert(ec, "a%s", "b%s", "c%s", 0);
        ZEMSetDateConvert(ec, "dd%s", nullptr, "ff%s", 0);
        const char *expected[3] = {"dd%s", "b%s", "ff%s"};
        const int lostWith[3] = {5, 3, 6};
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(textOf(ec->dateConvert[i]), n == lostWith[i] ? "(null)" : expected[i]) << n;
        ZEMDestroyEC(ec);
    });
    EXPECT_EQ(runs, 7);

    // Two bytes a number field, five for yyyy, the longest month name for mmmm, the longer designator for AM/PM.
    const struct { const char *pictures[3]; uint16_t flags; const char *formats[3]; int32_t width; } cases[] = {
        {{nullptr, nullptr, nullptr}, 0, {}, 0},
        {{"mmmm d, yyyy", "", ""}, 0, {}, 19},
        {{nullptr, "yyyy/mm/dd HH:nn:ss", "h:nn AM/PM"}, 0, {}, 20},
        {{"", "", "h:nn AM/PM"}, 0, {}, 8},
        // The wrapping adds the longest format, whichever slot holds it.
        {{"yyyy/mm/dd", "", ""}, 0x0002, {"%s", "%s", "<<<<%s>>>>"}, 21},
        {{"yyyy/mm/dd", "", ""}, 0x0002, {"%s", "<<<<<%s>>>>>", nullptr}, 23},
    };
    for (const auto &k : cases) {
        ZEMSetDateConvert(c.ec, k.formats[0], k.formats[1], k.formats[2], k.flags);
        char buffers[3][32] = {};
        const char *given[3];
        for (int i = 0; i < 3; i++) given[i] = k.pictures[i] ? strcpy(buffers[i], k.pictures[i]) : nullptr;
        EXPECT_EQ(ZEMSetDatePicture(c.ec, given[0], given[1], given[2]), 1);
        memset(buffers, 'x', sizeof buffers);  // the context keeps copies
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(textOf(c.ec->datePicture[i]), k.pictures[i] && *k.pictures[i] ? k.pictures[i] : "(null)");
        EXPECT_EQ(c.ec->dateTextWidth, k.width) << textOf(k.pictures[0]);
    }
    EXPECT_EQ(ZEMSetDatePicture(nullptr, "d", "d", "d"), 1);
}

TEST(Settings, OperatorCallbacks) {
    const struct { int16_t op, type; bool stored; } cases[] = {
        {0, 0, true}, {3, 3, true}, {4, 0, true}, {5, 0, false}, {-1, 0, false}, {0, 4, false}, {0, -1, false}};
    LeakCheck leaks;
    for (const auto &k : cases) {
        Ctx c;
        EXPECT_EQ(ZEMSetOperatorCallback(c.ec, k.op, k.type, "Fixed"), 1);
        EXPECT_EQ(resolved, std::vector<std::string>{"Fixed"}) << "asked once, stored or not";
        for (int op = 0; op < OP_COUNT; op++)
            for (int slot = 0; slot < OP_SLOTS; slot++) {
                bool here = k.stored && op == k.op && slot == k.type;
                EXPECT_EQ(textOf(c.ec->operators[op].names[slot]), here ? "Fixed" : "(null)") << op << slot;
                EXPECT_EQ((void *)c.ec->operators[op].callbacks[slot], here ? (void *)fixedOperator : nullptr);
            }
    }
    EXPECT_EQ(ZEMSetOperatorCallback(nullptr, 0, 0, "Fixed"), 0);
    // A name that cannot be copied takes the context with it.
    int runs = EachAllocationFails([](int n) {
        HEC ec = ZEMCreateEC(nullptr, resolveName, nullptr, 0);
        if (!ec) return;
        int result = ZEMSetOperatorCallback(ec, OP_PLUS, ZEM_TYPE_STRING, "Fixed");
        EXPECT_EQ(result, n == 2 ? 0 : 1) << n;
        if (result) ZEMDestroyEC(ec);
    });
    EXPECT_EQ(runs, 3);
}

std::vector<std::string> expressionsOf(HEC ec) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++)
        out.push_back(std::string(ZEMHEXPFromOrdinal(ec, i)->name) + "=" + ZEMHEXPFromOrdinal(ec, i)->text);
    return out;
}

TEST(Copy, CarriesSettingsItemsAndExpressions) {
    LeakCheck leaks;
    Ctx c(ECFlagRangesAndSets | ECFlagModulo | 0x0100);
    c.ec->ownerWindow = (HZEMWND)&c;
    c.ec->renameCallback = renamed;
    EXPECT_EQ(ZEMSetUserLong(c.ec, 77), 0) << "the former value";
    ZEMSetDelPermissionCallback(c.ec, allowDelete);
    ZEMSetListValuesCallback(c.ec, listValues);
    ZEMSetNotifyCallback(c.ec, countNotify);
    ZEMSetDateConvert(c.ec, "{d '%s'}", nullptr, "{t '%s'}", 0x0002);
    ZEMSetDatePicture(c.ec, "yyyy/mm/dd", "", "HH:nn");
    ZEMSetOperatorCallback(c.ec, OP_MULTIPLY, ZEM_TYPE_NUMBER, "Fixed");
    ZEMSetHelpPath(c.ec, "app.hlp", 12);
    AddItem(c.ec, ZEM_ITEM_FUNCTION, "Twice", 0, {.required = 1, .functionName = "TwiceImpl", .params = Params({0})});
    AddItem(c.ec, ZEM_ITEM_INPUT, "Price", 0, {.required = 1, .callback = Proc(priceValue)});
    AddItem(c.ec, ZEM_ITEM_KEYWORD, "Rise", 300, {.required = 1});
    // The first expression comes to name the last: the copy, parsing in order, leaves it out.
    HEXP later = ParseOk(c.ec, "Price + 1", "Later");
    ParseOk(c.ec, "Price / 5");
    ParseOk(c.ec, "Price * 2", "First");
    uint16_t type;
    EXPECT_NE(ZEMParseFormula(c.ec, later, "First() + 1", "Later", nullptr, &type), nullptr);
    resolved.clear();
    notifications = 0;
    HEC copy = ZEMCopyEC(c.ec);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(resolved.empty()) << "items arrive with their callbacks";
    EXPECT_EQ(notifications, 2) << "code 2 once for each copied expression";
    EXPECT_TRUE(copy->ownerWindow == c.ec->ownerWindow && copy->resolveCallback == resolveName &&
                copy->renameCallback == renamed && copy->flags == c.ec->flags && ZEMGetUserLong(copy) == 77 &&
                copy->delPermissionCallback == allowDelete && copy->notifyCallback == countNotify &&
                copy->listValuesCallback == listValues && copy->dateConvertFlags == 2);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(textOf(copy->dateConvert[i]), textOf(c.ec->dateConvert[i]));
        EXPECT_EQ(textOf(copy->datePicture[i]), textOf(c.ec->datePicture[i]));
    }
    EXPECT_EQ(copy->dateTextWidth, 11 + 8);
    // Not copied: operator table, help, name counters.
    for (const OperatorGroup &g : copy->operators)
        for (int slot = 0; slot < OP_SLOTS; slot++) EXPECT_FALSE(g.names[slot] || g.callbacks[slot]);
    EXPECT_TRUE(copy->helpContext == 0 && !copy->helpPath[0] && copy->nextFormulaNumber == 1);
    for (int kind : {ZEM_ITEM_FUNCTION, ZEM_ITEM_INPUT, ZEM_ITEM_KEYWORD})
        EXPECT_EQ(SvcArrayCount(*itemStoreOf(copy, kind)), 1u) << kind;
    ExpItem *twice = itemLookup(copy, ZEM_ITEM_FUNCTION, "Twice");
    EXPECT_TRUE(twice && !strcmp(twice->functionName, "TwiceImpl") && twice->callback == otherProc);
    const std::vector<std::string> full = {"Formula1=Price / 5", "First=Price * 2"};
    EXPECT_EQ(expressionsOf(copy), full);
    // A copy under any failing allocation: what arrived is a part of the full one, in its order.
    EachAllocationFails([&](int n) {
        HEC part = ZEMCopyEC(c.ec);
        if (n == 1) { EXPECT_EQ(part, nullptr); }
        size_t at = 0;
        for (const std::string &e : part ? expressionsOf(part) : std::vector<std::string>{}) {
            while (at < full.size() && full[at] != e) at++;
            EXPECT_LT(at++, full.size()) << e << " with allocation " << n;
        }
        ZEMDestroyEC(part);
    });
    ZEMDestroyEC(c.ec);
    c.ec = nullptr;
    EXPECT_STREQ(ZEMHEXPFromName(copy, "First")->text, "Price * 2") << "the copy lives on without its source";
    EXPECT_TRUE(itemLookup(copy, ZEM_ITEM_INPUT, "Price")->callback == Proc(priceValue));
    ZEMDestroyEC(copy);
    EXPECT_EQ(ZEMCopyEC(nullptr), nullptr);
}

TEST(Startup, LoadedStateAndThreadBlocks) {
    EXPECT_NE(FUNModuleHandle(), nullptr);
    ThreadBlock *mine = threadBlock();
    ASSERT_NE(mine, nullptr);
    EXPECT_TRUE(mine == threadBlock() && mine->defaultContext == defaultContext() && defaultContext()) << "one block a thread";
    std::thread other([mine] {
        ThreadBlock *tb = threadBlock();
        ASSERT_TRUE(tb && tb != mine);
        EXPECT_STREQ(tb->setLabel, "\x90\xdd\x92\xe8") << "labels on every thread";  // 設定
        EXPECT_EQ(tb->defaultContext, defaultContext());
    });
    other.join();
    long before = SvcLiveBlocks();
    std::thread failing([] {
        SvcFailAllocAfter(1);
        EXPECT_EQ(threadBlock(), nullptr);
        EXPECT_NE(threadBlock(), nullptr) << "the next call tries again";
    });
    failing.join();
    EXPECT_EQ(SvcLiveBlocks(), before) << "the block goes with its thread";
}

TEST(Memory, ArrayGrowthUnderAWalker) {
    LeakCheck leaks;
    // Growing a HandleArray while a walker holds its pointer leaves that pointer readable.
    HARRAY h = SvcArrayCreate(4, 1);
    int32_t *walk = (int32_t *)SvcArrayLock(h, 0);
    walk[0] = 10;
    for (int i = 1; i < 100; i++) {
        h = SvcArrayGrow(h, -1);
        int32_t *e = (int32_t *)SvcArrayLock(h, (unsigned)i);
        EXPECT_EQ(*e, 0);
        *e = 10 + i;
        SvcArrayUnlock(h);
    }
    EXPECT_EQ(walk[0], 10);
    EXPECT_EQ(SvcArrayGrow(h, 0), 0u) << "only position -1 appends";
    SvcArrayDestroy(h);  // a locked array may be destroyed
}

// A block comes zeroed, also where a dirty one of its size was just freed; a
// change of size keeps the bytes below both sizes and zeroes what it adds,
// whether the block stays in place or moves. A failed change keeps the block.
TEST(Memory, BlocksZeroedAndKeptThroughSizeChanges) {
    LeakCheck leaks;
    const std::vector<size_t> chains[] = {{25, 25}, {30, 4, 30}, {32, 64, 10, 50}, {60, 200, 20, 40}, {1, 33}};
    for (const auto &sizes : chains) {
        SvcFree(memset(SvcAlloc(sizes[0]), 0xAB, sizes[0]));
        std::vector<unsigned char> model;
        unsigned char *p = 0;
        for (size_t n : sizes) {
            p = (unsigned char *)(p ? SvcRealloc(p, n) : SvcAlloc(n));
            model.resize(n, 0);
            ASSERT_TRUE(p && SvcSize(p) == n && memcmp(p, model.data(), n) == 0) << sizes[0] << " to " << n;
            memset(p, (int)n, n);
            memset(model.data(), (int)n, n);
        }
        SvcFailAllocAfter(1);
        EXPECT_EQ(SvcRealloc(p, 8), nullptr);
        EXPECT_EQ(memcmp(p, model.data(), model.size()), 0) << "a failed change leaves the block as it was";
        SvcFree(p);
    }
}

TEST(Memory, LiveCountFollowsBlocksAcrossThreads) {
    long before = SvcLiveBlocks();
    void *block = nullptr;
    std::thread([&] { block = SvcAlloc(16); }).join();
    EXPECT_EQ(SvcLiveBlocks(), before + 1) << "the block of a thread that ended still counts";
    std::thread([&] {
        void *mine = SvcAlloc(16);
        EXPECT_EQ(SvcLiveBlocks(), before + 2) << "a running thread's blocks count";
        SvcFree(mine);
        SvcFree(block);
    }).join();
    EXPECT_EQ(SvcLiveBlocks(), before);
}
