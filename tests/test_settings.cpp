// Context settings (help path, date formats and pictures, operator
// callbacks) and the copy of a whole context.
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/items.h"
#include "support.h"

namespace {

std::vector<std::string> resolved;
int ZEMCALL fixedOperator(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t,
                          void *result) {
    SvcNumFromInt((Number *)result, 42);
    return 1;
}
void ZEMCALL otherProc(void) {}
// Every name resolves: "Fixed" to the operator above, the rest to otherProc.
ZEMProc ZEMCALL resolveName(const char *name) {
    resolved.push_back(name ? name : "(null)");
    if (name && !strcmp(name, "Fixed")) return (ZEMProc)(void *)fixedOperator;
    return otherProc;
}

int notifications;
void ZEMCALL countNotify(HEC, int32_t code) {
    if (code == 2) notifications++;
}
int ZEMCALL priceValue(HEC, HEXP, int32_t, void **value, const char *) {
    SvcNumFromInt((Number *)*value, 5);
    return 1;
}
int ZEMCALL allowDelete(HEC, HEXP, HZEMWND) { return 1; }
void ZEMCALL listValues(HEC, const char *, HZEMWND, int32_t, int32_t *) {}
void ZEMCALL renamed(HEC, const char *, const char *) {}

struct Ctx {
    HEC ec;
    explicit Ctx(uint16_t flags = 0, ZEMResolveCallback resolve = resolveName)
        : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) {
        resolved.clear();
    }
    ~Ctx() { ZEMDestroyEC(ec); }
};

HEXP parse(HEC ec, const char *text, const char *name = nullptr) {
    ExpError report = {};
    uint16_t type = 0;
    return ZEMParseString(ec, text, name, &report, &type);
}

// The Number a formula gives as an integer, or -1 when it gives none.
long valueOf(HEC ec, HEXP exp) {
    Number value = {}, expected = {};
    if (!ZEMEvaluateExpression(ec, exp, sizeof value, &value)) return -1;
    for (int n = 0; n < 1000; n++) {
        SvcNumFromInt(&expected, n);
        if (SvcNumCompare(&value, &expected) == 0) return n;
    }
    return -1;
}

std::string textOf(const char *slot) { return slot ? slot : "(null)"; }

}  // namespace

TEST(Settings, HelpPath) {
    LeakCheck leaks;
    Ctx c;
    std::string kept(519, 'p'), tooLong(520, 'q');
    const struct {
        const char *path;
        int32_t context;
        std::string expected;
    } steps[] = {
        {"C:\\help\\app.hlp", 7, "C:\\help\\app.hlp"},
        {kept.c_str(), 8, kept},      // 519 bytes and the terminator fill the field
        {tooLong.c_str(), 9, kept},   // one more: the former path stays
        {nullptr, 10, kept},
        {"", 11, ""},
    };
    for (const auto &s : steps) {
        ZEMSetHelpPath(c.ec, s.path, s.context);
        EXPECT_EQ(c.ec->helpContext, s.context);
        EXPECT_EQ(std::string(c.ec->helpPath), s.expected) << s.context;
    }
    EXPECT_EQ(ZEMSetHelpPath(nullptr, "x", 1), 0);
}

TEST(Settings, DateConvertKeepsNullSlotsAndReplacesOthers) {
    LeakCheck leaks;
    Ctx c;
    ZEMSetDateConvert(c.ec, "{d '%s'}", "{ts '%s'}", "{t '%s'}", 0x0003);
    ZEMSetDateConvert(c.ec, nullptr, "<%s>", nullptr, 0x0002);
    EXPECT_EQ(c.ec->dateConvertFlags, 0x0002);
    EXPECT_EQ(textOf(c.ec->dateConvert[0]), "{d '%s'}");
    EXPECT_EQ(textOf(c.ec->dateConvert[1]), "<%s>");
    EXPECT_EQ(textOf(c.ec->dateConvert[2]), "{t '%s'}");
    ZEMSetDateConvert(nullptr, "a", "b", "c", 1);  // tolerated
}

TEST(Settings, DateConvertOutOfMemoryEmptiesTheSlot) {
    // Allocation 1 makes the context, 2-4 the first formats, 5-7 their
    // replacements: the one that fails leaves its slot 0 and nothing leaks.
    int runs = EachAllocationFails([](int n) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        if (!ec) return;
        ZEMSetDateConvert(ec, "a%s", "b%s", "c%s", 0);
        ZEMSetDateConvert(ec, "dd%s", "ee%s", "ff%s", 0);
        const char *expected[3] = {"dd%s", "ee%s", "ff%s"};
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(textOf(ec->dateConvert[i]), n == 5 + i ? "(null)" : expected[i])
                << "slot " << i << ", allocation " << n;
        ZEMDestroyEC(ec);
    });
    EXPECT_EQ(runs, 8);
}

TEST(Settings, DatePictureSlotsAndWidth) {
    // Widths by hand under the default regional settings: two bytes a number
    // field, five for yyyy, the longest month name (September) for mmmm, the
    // longer designator for AM/PM, one byte for a separator or other byte.
    const struct {
        const char *pictures[3];
        uint16_t flags;
        const char *formats[3];
        int32_t width;
    } cases[] = {
        {{"", "", ""}, 0, {}, 0},
        {{nullptr, nullptr, nullptr}, 0, {}, 0},
        {{"yyyy/mm/dd", nullptr, nullptr}, 0, {}, 11},
        {{"mmmm d, yyyy", "", ""}, 0, {}, 19},
        {{nullptr, "yyyy/mm/dd HH:nn:ss", "h:nn AM/PM"}, 0, {}, 20},
        {{"", "", "h:nn AM/PM"}, 0, {}, 8},
        // The wrapping adds the longest format, whichever slot holds it.
        {{"yyyy/mm/dd", "", ""}, 0x0002, {"{d '%s'}", "{ts '%s'}", "{t '%s'}"}, 20},
        {{"yyyy/mm/dd", "", ""}, 0x0002, {"%s", "%s", "<<<<%s>>>>"}, 21},
        {{"yyyy/mm/dd", "", ""}, 0x0002, {"%s", "<<<<<%s>>>>>", nullptr}, 23},
        {{"yyyy/mm/dd", "", ""}, 0x0001, {"{d '%s'}", "{ts '%s'}", "{t '%s'}"}, 11},
    };
    LeakCheck leaks;
    Ctx c;
    for (const auto &k : cases) {
        ZEMSetDateConvert(c.ec, k.formats[0], k.formats[1], k.formats[2], k.flags);
        char buffers[3][32] = {};
        const char *given[3];
        for (int i = 0; i < 3; i++) {
            given[i] = k.pictures[i] ? strcpy(buffers[i], k.pictures[i]) : nullptr;
        }
        EXPECT_EQ(ZEMSetDatePicture(c.ec, given[0], given[1], given[2]), 1);
        memset(buffers, 'x', sizeof buffers);  // the context keeps copies
        for (int i = 0; i < 3; i++) {
            bool set = k.pictures[i] && k.pictures[i][0];
            EXPECT_EQ(textOf(c.ec->datePicture[i]), set ? k.pictures[i] : "(null)")
                << "slot " << i;
        }
        EXPECT_EQ(c.ec->dateTextWidth, k.width) << textOf(k.pictures[0]);
    }
    EXPECT_EQ(ZEMSetDatePicture(nullptr, "d", "d", "d"), 1);
}

TEST(Settings, DatePictureWidthUnderBothCodePages) {
    // yyyy + 年 + mm + 月 + dd + 日 in Shift-JIS. Under 932 each kanji is
    // copied whole (2 bytes); under 1252 the trail byte 0x4E of 年 is the
    // letter N, a minute field of two bytes.
    const char *picture = "yyyy\x94\x4Emm\x8C\x8E" "dd\x93\xFA";
    for (unsigned page : {932u, 1252u}) {
        ASSERT_EQ(ZEMSetSystemCodePage(page), 1);
        LeakCheck leaks;
        Ctx c;
        ZEMSetDatePicture(c.ec, picture, nullptr, nullptr);
        EXPECT_EQ(c.ec->dateTextWidth, page == 932 ? 15 : 16) << page;
    }
    ZEMSetSystemCodePage(932);
}

TEST(Settings, OperatorCallbackSlots) {
    const struct {
        int16_t op, type;
        bool stored;
    } cases[] = {
        {0, 0, true}, {1, 1, true}, {2, 2, true}, {3, 3, true}, {4, 0, true}, {4, 3, true},
        {5, 0, false}, {-1, 0, false}, {0, 4, false}, {0, -1, false},
    };
    LeakCheck leaks;
    for (const auto &k : cases) {
        Ctx c;
        EXPECT_EQ(ZEMSetOperatorCallback(c.ec, k.op, k.type, "Fixed"), 1);
        EXPECT_EQ(resolved, std::vector<std::string>{"Fixed"}) << "asked once, stored or not";
        for (int op = 0; op < OP_COUNT; op++)
            for (int slot = 0; slot < OP_SLOTS; slot++) {
                bool here = k.stored && op == k.op && slot == k.type;
                const OperatorGroup &g = c.ec->operators[op];
                EXPECT_EQ(textOf(g.names[slot]), here ? "Fixed" : "(null)") << op << slot;
                EXPECT_EQ((void *)g.callbacks[slot], here ? (void *)fixedOperator : nullptr);
            }
    }
    resolved.clear();
    EXPECT_EQ(ZEMSetOperatorCallback(nullptr, 0, 0, "Fixed"), 0);
    EXPECT_TRUE(resolved.empty());
    // Without a resolve callback the name is kept and the slot stays empty.
    Ctx bare(0, nullptr);
    EXPECT_EQ(ZEMSetOperatorCallback(bare.ec, 0, 2, "Fixed"), 1);
    EXPECT_EQ(textOf(bare.ec->operators[0].names[2]), "Fixed");
    EXPECT_EQ(bare.ec->operators[0].callbacks[2], nullptr);
    EXPECT_FALSE(operatorAllowed(bare.ec, '+', ZEM_TYPE_STRING));
    // A second name replaces the first.
    ZEMSetOperatorCallback(bare.ec, 0, 2, "Other");
    EXPECT_EQ(textOf(bare.ec->operators[0].names[2]), "Other");
}

TEST(Settings, OperatorCallbackReachesParserAndEvaluator) {
    LeakCheck leaks;
    Ctx c;
    EXPECT_EQ(parse(c.ec, "1 || 2"), nullptr) << "Number || needs a callback";
    EXPECT_EQ(parse(c.ec, "'a' * 'b'"), nullptr);
    ZEMSetOperatorCallback(c.ec, OP_CONCAT, ZEM_TYPE_NUMBER, "Cat");
    ZEMSetOperatorCallback(c.ec, OP_MULTIPLY, ZEM_TYPE_STRING, "Times");
    EXPECT_NE(parse(c.ec, "1 || 2"), nullptr);
    EXPECT_NE(parse(c.ec, "'a' * 'b'"), nullptr);
    HEXP plain = parse(c.ec, "2 * 3");
    EXPECT_EQ(valueOf(c.ec, plain), 6);
    ZEMSetOperatorCallback(c.ec, OP_MULTIPLY, ZEM_TYPE_NUMBER, "Fixed");
    EXPECT_EQ(valueOf(c.ec, plain), 42) << "the host's * takes over";
}

TEST(Settings, OperatorCallbackOutOfMemoryDestroysTheContext) {
    // Allocation 1 makes the context, 2 the name; a failed name takes the
    // context with it, items included.
    int runs = EachAllocationFails([](int n) {
        HEC ec = ZEMCreateEC(nullptr, resolveName, nullptr, 0);
        if (!ec) return;
        int result = ZEMSetOperatorCallback(ec, OP_PLUS, ZEM_TYPE_STRING, "Fixed");
        EXPECT_EQ(result, n == 2 ? 0 : 1) << n;
        if (result) ZEMDestroyEC(ec);
    });
    EXPECT_EQ(runs, 3);
}

namespace {

// A source context with a bit of everything.
struct Source {
    Ctx c{ECFlagRangesAndSets | ECFlagModulo | 0x0100};
    Source() {
        c.ec->ownerWindow = (HZEMWND)&c;
        c.ec->renameCallback = renamed;
        ZEMSetUserLong(c.ec, 77);
        ZEMSetDelPermissionCallback(c.ec, allowDelete);
        ZEMSetListValuesCallback(c.ec, listValues);
        ZEMSetNotifyCallback(c.ec, countNotify);
        ZEMSetDateConvert(c.ec, "{d '%s'}", nullptr, "{t '%s'}", 0x0002);
        ZEMSetDatePicture(c.ec, "yyyy/mm/dd", "", "HH:nn");
        ZEMSetOperatorCallback(c.ec, OP_MULTIPLY, ZEM_TYPE_NUMBER, "Fixed");
        ZEMSetHelpPath(c.ec, "app.hlp", 12);
        add(ZEM_ITEM_FUNCTION, ZEM_TYPE_NUMBER, "Twice", "TwiceImpl", nullptr);
        add(ZEM_ITEM_INPUT, ZEM_TYPE_NUMBER, "Price", nullptr, (ZEMProc)(void *)priceValue);
        add(ZEM_ITEM_KEYWORD, 300, "Rise", nullptr, nullptr);
        HEXP laterOne = parse(c.ec, "Price + 1", "Later");
        parse(c.ec, "Price - 1", "Third");
        parse(c.ec, "Price / 5");  // a generated name
        // The first expression comes to name the second.
        HEXP first = parse(c.ec, "Price", "First");
        ExpError report = {};
        uint16_t type;
        EXPECT_NE(ZEMParseFormula(c.ec, laterOne, "First() + 1", "Later", &report, &type), nullptr);
        EXPECT_NE(ZEMParseFormula(c.ec, first, "Price * 2", "First", &report, &type), nullptr);
        // Now ordinal 0 "Later" = First() + 1 names ordinal 3, "First".
        EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, first), 3);
        resolved.clear();
        notifications = 0;
    }
    void add(int kind, int type, const char *name, const char *functionName, ZEMProc cb) {
        bool function = kind == ZEM_ITEM_FUNCTION;
        AddItem(c.ec, kind, name, type,
                {.required = 1, .functionName = functionName, .callback = cb, .params = Params({0}),
                 .paramCount = function});
    }
};

std::vector<std::string> itemsOf(HEC ec, int kind) {
    std::vector<std::string> out;
    HARRAY store = *itemStoreOf(ec, kind);
    for (unsigned i = 0; i < SvcArrayCount(store); i++) {
        ExpItem *it = *(ExpItem **)SvcArrayLock(store, i);
        SvcArrayUnlock(store);
        char callback[8];
        snprintf(callback, sizeof callback, "%s",
                 !it->callback ? "none" : it->callback == otherProc ? "other" : "price");
        out.push_back(std::string(it->name) + "/" + textOf(it->functionName) + "/" + callback);
    }
    return out;
}

std::vector<std::string> expressionsOf(HEC ec) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++) {
        HEXP e = ZEMHEXPFromOrdinal(ec, i);
        char name[80], text[80];
        ZEMGetExpressionName(ec, e, sizeof name, name);
        ZEMGetExpressionText(ec, e, sizeof text, text);
        out.push_back(std::string(name) + "=" + text);
    }
    return out;
}

}  // namespace

TEST(Copy, CarriesSettingsItemsAndExpressions) {
    LeakCheck leaks;
    Source s;
    HEC src = s.c.ec;
    HEC copy = ZEMCopyEC(src);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(resolved.empty()) << "items arrive with their callbacks";
    EXPECT_EQ(notifications, 3) << "code 2 once for each copied expression";
    EXPECT_EQ(copy->ownerWindow, src->ownerWindow);
    EXPECT_EQ(copy->resolveCallback, resolveName);
    EXPECT_EQ(copy->renameCallback, renamed);
    EXPECT_EQ(copy->flags, src->flags);
    EXPECT_EQ(ZEMGetUserLong(copy), 77);
    EXPECT_EQ(copy->delPermissionCallback, allowDelete);
    EXPECT_EQ(copy->notifyCallback, countNotify);
    EXPECT_EQ(copy->listValuesCallback, listValues);
    EXPECT_EQ(copy->dateConvertFlags, 0x0002);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(textOf(copy->dateConvert[i]), textOf(src->dateConvert[i]));
        EXPECT_EQ(textOf(copy->datePicture[i]), textOf(src->datePicture[i]));
        EXPECT_NE(copy->datePicture[i] && copy->datePicture[i] == src->datePicture[i], true);
    }
    EXPECT_EQ(copy->dateTextWidth, 11 + 8);
    // Not copied: operator table, help, name counters.
    for (const OperatorGroup &g : copy->operators)
        for (int slot = 0; slot < OP_SLOTS; slot++) EXPECT_FALSE(g.names[slot] || g.callbacks[slot]);
    EXPECT_EQ(copy->helpContext, 0);
    EXPECT_STREQ(copy->helpPath, "");
    EXPECT_EQ(copy->nextFormulaNumber, 1);
    for (int kind : {ZEM_ITEM_FUNCTION, ZEM_ITEM_INPUT, ZEM_ITEM_KEYWORD})
        EXPECT_EQ(itemsOf(copy, kind), itemsOf(src, kind)) << kind;
    EXPECT_EQ(itemsOf(copy, ZEM_ITEM_FUNCTION), std::vector<std::string>{"Twice/TwiceImpl/other"});
    // "Later" named a later expression and is left out; the rest keep
    // their order from ordinal 0.
    std::vector<std::string> expected = {"Third=Price - 1", "Formula1=Price / 5",
                                         "First=Price * 2"};
    EXPECT_EQ(expressionsOf(copy), expected);
    HEXP third = ZEMHEXPFromName(copy, "Third");
    EXPECT_EQ(ZEMGetExpressionOrdinal(copy, third), 0);
    // The source's * goes to the host; the copy has no operator table.
    EXPECT_EQ(valueOf(src, ZEMHEXPFromName(src, "First")), 42);
    EXPECT_EQ(valueOf(copy, ZEMHEXPFromName(copy, "First")), 10);
    ZEMDestroyEC(s.c.ec);
    s.c.ec = nullptr;
    EXPECT_EQ(valueOf(copy, third), 4) << "the copy lives on without its source";
    EXPECT_EQ(valueOf(copy, ZEMHEXPFromName(copy, "Formula1")), 1);
    ZEMDestroyEC(copy);
    EXPECT_EQ(ZEMCopyEC(nullptr), nullptr);
}

TEST(Copy, DateSettingsOnlyWhenSet) {
    const struct {
        const char *formats[3];
        uint16_t flags;
        const char *pictures[3];
        uint16_t copiedFlags;
        bool picturesCopied;
    } cases[] = {
        {{nullptr, nullptr, nullptr}, 0x0003, {nullptr, "HH:nn", "HH:nn"}, 0, false},
        {{nullptr, nullptr, "<%s>"}, 0x0003, {"d/m", nullptr, "HH:nn"}, 0x0003, true},
        {{"<%s>", nullptr, nullptr}, 0x0001, {"d/m", "", ""}, 0x0001, true},
    };
    LeakCheck leaks;
    for (const auto &k : cases) {
        Ctx c;
        ZEMSetDateConvert(c.ec, k.formats[0], k.formats[1], k.formats[2], k.flags);
        ZEMSetDatePicture(c.ec, k.pictures[0], k.pictures[1], k.pictures[2]);
        HEC copy = ZEMCopyEC(c.ec);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->dateConvertFlags, k.copiedFlags);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(textOf(copy->dateConvert[i]), textOf(k.formats[i]));
            EXPECT_EQ(textOf(copy->datePicture[i]),
                      k.picturesCopied ? textOf(c.ec->datePicture[i]) : "(null)");
        }
        EXPECT_EQ(copy->dateTextWidth, k.picturesCopied ? c.ec->dateTextWidth : 0);
        ZEMDestroyEC(copy);
    }
}

TEST(Copy, OutOfMemoryAtEveryStep) {
    Source s;
    HEC warm = ZEMCopyEC(s.c.ec);  // first-use state of the parser outside the count
    ZEMDestroyEC(warm);
    std::vector<std::string> full = expressionsOf(s.c.ec);
    int runs = EachAllocationFails([&](int n) {
        HEC copy = ZEMCopyEC(s.c.ec);
        if (n == 1) {
            EXPECT_EQ(copy, nullptr);
        }
        if (!copy) return;
        // A partial copy: what arrived is a subsequence of the full copy.
        std::vector<std::string> got = expressionsOf(copy);
        std::vector<std::string> want = {"Third=Price - 1", "Formula1=Price / 5",
                                         "First=Price * 2"};
        size_t at = 0;
        for (const std::string &e : got) {
            while (at < want.size() && want[at] != e) at++;
            EXPECT_LT(at, want.size()) << e << " with allocation " << n;
        }
        ZEMDestroyEC(copy);
    });
    EXPECT_GT(runs, 20);
    EXPECT_EQ(expressionsOf(s.c.ec), full);
}
