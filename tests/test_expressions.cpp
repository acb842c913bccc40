// Stored expressions and the parse entry points: the store, names, texts,
// what uses what, destruction, replacement in place and name checks.
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#include "context/expressions.h"
#include "context/startup.h"
#include "context/threadblock.h"
#include "language/tree.h"
#include "support.h"

namespace {

std::vector<int> notified;
void ZEMCALL recordNotify(HEC, int32_t code) { notified.push_back(code); }
std::vector<std::string> renames;
void ZEMCALL recordRename(HEC, const char *from, const char *to) {
    renames.push_back(std::string(from) + ">" + to);
}

struct Ctx {
    HEC ec;
    explicit Ctx(uint16_t flags = ECFlagRangesAndSets)
        : ec(ZEMCreateEC(nullptr, nullptr, recordRename, flags)) {
        notified.clear();
        renames.clear();
        ZEMSetNotifyCallback(ec, recordNotify);
        AddItem(ec, ZEM_ITEM_INPUT, "Price", 0);
        AddItem(ec, ZEM_ITEM_INPUT, "Title", 2);
        AddItem(ec, ZEM_ITEM_INPUT, "Due", 1, {.required = 5});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Sum", 0, {.params = Params({0})});
    }
    ~Ctx() { ZEMDestroyEC(ec); }
    HEXP parse(const char *text, const char *name = nullptr, ExpError *err = nullptr) {
        uint16_t type = 0xEEEE;
        return ZEMParseString(ec, text, name, err, &type);
    }
    std::string name(HEXP e) {
        char buf[130];
        return ZEMGetExpressionName(ec, e, sizeof(buf), buf) < 0 ? "<none>" : buf;
    }
};

}  // namespace

TEST(Store, OrdinalsCountAndDestroy) {
    LeakCheck leaks;
    Ctx c;
    HEXP a = c.parse("1", "A"), b = c.parse("2", "B"), d = c.parse("3", "D");
    ASSERT_TRUE(a && b && d);
    EXPECT_EQ(notified, (std::vector<int>{2, 2, 2}));
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 3);
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, d), 2);
    EXPECT_EQ(ZEMHEXPFromOrdinal(c.ec, 1), b);
    EXPECT_EQ(ZEMHEXPFromOrdinal(c.ec, 3), nullptr);
    EXPECT_EQ(ZEMHEXPFromOrdinal(c.ec, 0x10001), b) << "ordinals compare as 16 bits";
    EXPECT_EQ(ZEMHEXPFromName(c.ec, "D"), d);
    EXPECT_EQ(ZEMHEXPFromName(c.ec, "d"), nullptr);
    EXPECT_EQ(ZEMHEXPFromText(c.ec, "2"), b);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, b), 1);
    EXPECT_EQ(notified.back(), 1);
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, d), 1) << "later ordinals move down";
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 2);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, nullptr), 1);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, a), 1);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, d), 1);
    EXPECT_EQ(c.ec->expressions, 0u) << "the last one takes the store with it";
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 0);
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, a), -1);
    EXPECT_EQ(ZEMGetExpressionCount(nullptr), 0);
}

TEST(Store, DestroyRefusedWhileNamed) {
    LeakCheck leaks;
    Ctx c;
    HEXP f = c.parse("Price * 2", "Double");
    HEXP g = c.parse("Double() + 1", "User");
    ASSERT_TRUE(f && g);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, f), 0);
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 2);
    EXPECT_EQ(ZEMHEXPFromName(c.ec, "Double"), f);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, g), 1);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, f), 1);
}

TEST(Store, ReadingTextAndName) {
    LeakCheck leaks;
    Ctx c;
    HEXP e = c.parse("Price + 12", "Ten");  // a ten-byte text
    ASSERT_NE(e, nullptr);
    char buf[16];
    memset(buf, 'x', sizeof(buf));
    EXPECT_EQ(ZEMGetExpressionTextLength(c.ec, e), 10);
    EXPECT_EQ(ZEMGetExpressionText(c.ec, e, 10, buf), 10);
    EXPECT_STREQ(buf, "Price + 1") << "a buffer of exactly the length loses the last byte";
    EXPECT_EQ(ZEMGetExpressionText(c.ec, e, 16, buf), 10);
    EXPECT_STREQ(buf, "Price + 12");
    EXPECT_EQ(ZEMGetExpressionText(c.ec, e, 1, buf), 1);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(ZEMGetExpressionNameLength(c.ec, e), 3);
    EXPECT_EQ(ZEMGetExpressionName(c.ec, e, 3, buf), 3);
    EXPECT_STREQ(buf, "Te");
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, e), 0xFFFF0000u);
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(ZEMGetExpressionTextLength(c.ec, nullptr), 0);
}

TEST(Store, KindsAndSimpleForms) {
    LeakCheck leaks;
    Ctx c;
    struct Row {
        const char *text;
        int set, range, simple, simpleInput, subclass;
        uint16_t type;
    } rows[] = {
        {"1", 0, 0, 1, 0, -1, 0},       {"'a'", 0, 0, 1, 0, -1, 2},
        {"1/2/2000", 0, 0, 1, 0, -1, 1}, {"Due", 0, 0, 0, 1, 5, 1},
        {"Price", 0, 0, 0, 1, 0, 0},     {"Price + 1", 0, 0, 0, 0, -1, 0},
        {"1, 2", 1, 0, 0, 0, -1, 0},     {"'a' AND 'b'", 0, 1, 0, 0, -1, 2},
    };
    for (const Row &r : rows) {
        uint16_t type = 0xEEEE;
        HEXP e = ZEMParseString(c.ec, r.text, nullptr, nullptr, &type);
        ASSERT_NE(e, nullptr) << r.text;
        EXPECT_EQ(type, r.type) << r.text;
        EXPECT_EQ(ZEMIsExpRange(c.ec, e, 1), r.set) << r.text;
        EXPECT_EQ(ZEMIsExpRange(c.ec, e, 2), r.range) << r.text;
        EXPECT_EQ(ZEMIsExpRange(c.ec, e, 3), 0);
        EXPECT_EQ(ZEMIsExpressionSimple(c.ec, e), r.simple) << r.text;
        EXPECT_EQ(ZEMIsExpressionSimpleInput(c.ec, e), r.simpleInput) << r.text;
        EXPECT_EQ(ZEMGetSimpleInputSubClass(c.ec, e), r.subclass) << r.text;
    }
    EXPECT_EQ(ZEMIsExpressionSimple(c.ec, nullptr), 0);
    EXPECT_EQ(ZEMGetSimpleInputSubClass(c.ec, nullptr), -1);
}

TEST(Names, GeneratedNamesAndCounters) {
    LeakCheck leaks;
    Ctx c;
    EXPECT_STREQ(generateExpressionName(c.ec, KindFormula), "Formula1");
    EXPECT_STREQ(generateExpressionName(c.ec, KindFormula), "Formula1")
        << "asking twice gives the same name";
    ASSERT_NE(c.parse("1", "Formula1"), nullptr);
    ASSERT_NE(c.parse("2", "Formula2"), nullptr);
    EXPECT_STREQ(generateExpressionName(c.ec, KindFormula), "Formula3");
    EXPECT_EQ(c.ec->nextFormulaNumber, 3);
    HEXP g = c.parse("3");
    EXPECT_EQ(c.name(g), "Formula3");
    HEXP e = c.parse("4", "");
    EXPECT_EQ(c.name(e), "Formula4") << "an empty name is generated too";
    HEXP s = c.parse("1, 2");
    EXPECT_EQ(c.name(s), "\x90\xdd\x92\xe8" "1");  // 設定1
    HEXP r = c.parse("1 AND 2");
    EXPECT_EQ(c.name(r), "\x94\xcd\x88\xcd" "1");  // 範囲1
    AddItem(c.ec, ZEM_ITEM_FUNCTION, "Formula5", 0);
    EXPECT_STREQ(generateExpressionName(c.ec, KindFormula), "Formula6")
        << "a function's name is taken too";

    struct Row {
        const char *name;
        int generated;
    } rows[] = {{"Formula", 1}, {"Formula007", 1}, {"Formula1a", 0}, {"formula1", 0},
                {"Form", 0},    {"\x94\xcd\x88\xcd" "1", 0}};
    for (const Row &row : rows) {
        HEXP x = c.parse("1", row.name);
        ASSERT_NE(x, nullptr) << row.name;
        EXPECT_EQ(ZEMIsExpNameGenerated(c.ec, x), row.generated) << row.name;
    }
}

TEST(Names, GeneratedNamesOnAnotherThread) {
    LeakCheck leaks;
    Ctx c;
    std::thread other([&c] {
        HEXP e = c.parse("1");
        EXPECT_EQ(c.name(e), "Formula1") << "every thread has the stem";
    });
    other.join();
}

TEST(Names, Uniqueness) {
    LeakCheck leaks;
    Ctx c;
    HEXP a = c.parse("1", "A");
    EXPECT_EQ(ZEMIsExpNameUnique(c.ec, nullptr, "A"), 0);
    EXPECT_EQ(ZEMIsExpNameUnique(c.ec, a, "A"), 1) << "the one left out does not count";
    EXPECT_EQ(ZEMIsExpNameUnique(c.ec, nullptr, "Sum"), 0) << "functions count";
    EXPECT_EQ(ZEMIsExpNameUnique(c.ec, nullptr, "Price"), 1) << "input items do not";
    EXPECT_EQ(ZEMIsExpNameUnique(c.ec, nullptr, "a"), 1) << "the comparison is exact";
}

TEST(Uses, ItemUsedFollowsNamedFormulas) {
    LeakCheck leaks;
    Ctx c;
    HEXP inner = c.parse("Price * Sum(Price)", "Inner");
    HEXP outer = c.parse("Inner() + 1", "Outer");
    HEXP set = c.parse("Inner(), 2", "S");
    ASSERT_TRUE(inner && outer && set);
    struct Row {
        HEXP exp;
        int kind;
        const char *name;
        int used;
    } rows[] = {
        {outer, 1, "Price", 1}, {outer, 0, "Sum", 1},   {outer, 2, "Inner", 1},
        {outer, 1, "Title", 0}, {outer, 3, "Price", 0}, {set, 1, "Price", 1},
        {set, 2, "Inner", 1},   {inner, 2, "Inner", 0}, {nullptr, 1, "Price", 0},
    };
    for (const Row &r : rows)
        EXPECT_EQ(ZEMIsItemUsed(c.ec, r.exp, r.kind, r.name) != 0, r.used != 0) << r.name;
    EXPECT_EQ(ZEMIsNamedFormulaUsed(c.ec, "Inner"), 1);
    EXPECT_EQ(ZEMIsNamedFormulaUsed(c.ec, "Outer"), 0);
}

TEST(Uses, EnumerationStopsOnZero) {
    LeakCheck leaks;
    Ctx c;
    for (const char *t : {"1", "2", "3"}) c.parse(t);
    static std::vector<int> seen;
    seen.clear();
    auto stopAtSecond = [](HEC, HEXP, int32_t ordinal) ZEMCALL -> int {
        seen.push_back(ordinal);
        return ordinal < 1;
    };
    EXPECT_EQ(ZEMEnumExpressions(c.ec, stopAtSecond), 0);
    EXPECT_EQ(seen, (std::vector<int>{0, 1}));
    auto all = [](HEC, HEXP, int32_t) ZEMCALL -> int { return 7; };
    EXPECT_EQ(ZEMEnumExpressions(c.ec, all), 7);
    // A callback may destroy what it is shown, the last one with its store.
    auto destroy = [](HEC ec, HEXP e, int32_t) ZEMCALL -> int { return ZEMDestroyEXP(ec, e); };
    ZEMEnumExpressions(c.ec, destroy);
    ZEMEnumExpressions(c.ec, destroy);
    ZEMEnumExpressions(c.ec, destroy);
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 0);
    EXPECT_EQ(ZEMEnumExpressions(c.ec, all), 0);
}

TEST(Clone, NamesAndTypes) {
    LeakCheck leaks;
    Ctx c;
    HEXP a = c.parse("Title || 'x'", "A");
    uint16_t type = 0;
    HEXP b = ZEMCloneExpression(c.ec, a, "B", &type);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(c.name(b), "B");
    EXPECT_EQ(type, 2);
    HEXP d = ZEMCloneExpression(c.ec, a, "A", &type);
    EXPECT_EQ(c.name(d), "Formula1") << "a taken name is generated instead";
    EXPECT_EQ(notified, (std::vector<int>{2, 2, 2}));
    EXPECT_EQ(ZEMCloneExpression(c.ec, nullptr, "C", &type), nullptr);
}

TEST(Entry, ReportsOfParseString) {
    LeakCheck leaks;
    Ctx c;
    HEXP self = c.parse("1", "Self");
    ASSERT_NE(self, nullptr);
    struct Row {
        const char *text, *name;
        ExpError err;
    } rows[] = {
        {"1 +", nullptr, {ERR_SYNTAX, 3, 1}},
        {"1", "AND", {ERR_NAME, 0, 1}},
        {"Price + 1", "two words", {ERR_NAME, 0, 9}},
        {"Self() + 1", "Self", {ERR_RECURSIVE, 0, 5}},
        {"Nothing", nullptr, {ERR_VAR, 0, 7}},
    };
    for (const Row &r : rows) {
        ExpError err = ParseFails(c.ec, r.text, r.name);
        EXPECT_EQ(err.code, r.err.code) << r.text;
        EXPECT_EQ(err.start, r.err.start) << r.text;
        EXPECT_EQ(err.length, r.err.length) << r.text;
    }
    ExpError err = {};
    uint16_t type;
    ASSERT_NE(ZEMParseString(c.ec, "Price", "P", &err, &type), nullptr);
    EXPECT_EQ(err.code, (unsigned)ERR_INPUT) << "a success leaves the name check's code";
    EXPECT_EQ(err.length, 1u);
    EXPECT_EQ(c.ec->nextFormulaNumber, 1) << "a failed parse uses up no number";
}

TEST(Entry, RecursionThroughAnEdit) {
    LeakCheck leaks;
    Ctx c;
    HEXP b = c.parse("2", "B");
    ASSERT_NE(c.parse("B() + 1", "A"), nullptr);
    ExpError err = {};
    uint16_t type;
    EXPECT_EQ(ZEMParseFormula(c.ec, b, "3 * A()", "B", &err, &type), nullptr);
    EXPECT_EQ(err.code, (unsigned)ERR_RECURSIVE);
    EXPECT_EQ(err.start, 4u);
    EXPECT_EQ(err.length, 2u);
    char text[16];
    ZEMGetExpressionText(c.ec, b, sizeof(text), text);
    EXPECT_STREQ(text, "2") << "the old expression stays";
}

TEST(Entry, ParseFormulaReplacesInPlace) {
    LeakCheck leaks;
    Ctx c;
    HEXP a = c.parse("Price", "A");
    HEXP user = c.parse("A() * 2", "User");
    ASSERT_TRUE(a && user);
    ExpError err = {};
    uint16_t type;
    notified.clear();
    // A new name taken by a function: 126 over the whole text.
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Price + 1", "Sum", &err, &type), nullptr);
    EXPECT_EQ(err.code, (unsigned)ERR_DUPNAME);
    EXPECT_EQ(err.length, 9u);
    // A type change of a formula in use: 127.
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Title", "A", &err, &type), nullptr);
    EXPECT_EQ(err.code, (unsigned)ERR_EXPDATATYPE);
    EXPECT_EQ(err.start, 0u);
    EXPECT_EQ(err.length, 5u);
    // The same type under the same name: replaced, same handle, no codes.
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Price + 2", "A", &err, &type), a);
    EXPECT_TRUE(notified.empty());
    char text[32];
    ZEMGetExpressionText(c.ec, a, sizeof(text), text);
    EXPECT_STREQ(text, "Price + 2");
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, a), 0);
    // A new name calls the rename callback, then notify 3.
    EXPECT_EQ(ZEMDestroyEXP(c.ec, user), 1);
    notified.clear();
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Title", "Renamed", &err, &type), a);
    EXPECT_EQ(renames, (std::vector<std::string>{"A>Renamed"}));
    EXPECT_EQ(notified, (std::vector<int>{3}));
    EXPECT_EQ(type, 2);
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, a), 0xFFFF0002u);
    // Without an old one: a new expression, no notify code, names unique.
    notified.clear();
    HEXP fresh = ZEMParseFormula(c.ec, nullptr, "1", "Fresh", &err, &type);
    ASSERT_NE(fresh, nullptr);
    EXPECT_TRUE(notified.empty());
    EXPECT_EQ(ZEMParseFormula(c.ec, nullptr, "1", "Fresh", &err, &type), nullptr);
    EXPECT_EQ(err.code, (unsigned)ERR_DUPNAME);
}

TEST(Entry, ValidName) {
    LeakCheck leaks;
    Ctx c(ECFlagQualifiers);
    AddItem(c.ec, ZEM_ITEM_KEYWORD, "Foo Bar", 300);
    struct Row {
        const char *name;
        int valid;
    } rows[] = {
        {"Price", 1},   {"Unknown", 1}, {"A.B.C", 1},  {"\"a b\"", 1}, {"a1", 1},
        {"AND", 0},     {"days", 0},    {"DISTINCT", 0}, {"1", 0},     {"'s'", 0},
        {"two words", 0}, {"f(", 0},    {"Foo Bar", 0}, {"\"Foo Bar\"", 1}, {" Price", 0},
        {"", 0},
    };
    for (const Row &r : rows) {
        ExpError err = {};
        EXPECT_EQ(ZEMValidName(c.ec, r.name, &err), r.valid) << r.name;
        EXPECT_EQ(err.code, (unsigned)ERR_INPUT) << r.name;
        EXPECT_EQ(err.length, strlen(r.name));
    }
    EXPECT_EQ(ZEMValidName(nullptr, "Plain", nullptr), 1) << "the default context";
}

TEST(Entry, AllocationFailuresLeakNothing) {
    Ctx c;
    HEXP base = c.parse("Price * 2", "Base");
    ASSERT_NE(base, nullptr);
    int runs = EachAllocationFails([&](int) {
        uint16_t type;
        ExpError err, err2;
        HEXP e = ZEMParseString(c.ec, "Base() + Sum(Price) || 'x'", nullptr, &err, &type);
        (void)err;
        HEXP f = ZEMParseString(c.ec, "Title || 'abc'", "T", &err2, &type);
        // The second text is good: only memory can fail it, and it says so.
        EXPECT_TRUE(f || err2.code == ERR_MEMORY) << err2.code;
        if (e) ZEMDestroyEXP(c.ec, e);
        if (f) ZEMDestroyEXP(c.ec, f);
    });
    EXPECT_GT(runs, 20) << "every allocation of both parses had its turn";
    EXPECT_EQ(ZEMGetExpressionCount(c.ec), 1);
}

TEST(Entry, ManyThreadsParseAtOnce) {
    LeakCheck leaks;
    std::vector<std::thread> threads;
    std::vector<int> good(4, 0);
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([t, &good] {
            HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, ECFlagRangesAndSets);
            unsigned char buf[ZEM_EXPITEM_SIZE(0)] = {};
            ExpItem *it = (ExpItem *)buf;
            it->kind = 1;
            strcpy(it->name, "x");
            ZEMAddExpressionItem(ec, it);
            for (int i = 0; i < 200; i++) {
                uint16_t type;
                ExpError err;
                HEXP e = ZEMParseString(ec, i % 2 ? "x * (x + 1) / 2" : "1, 2, x", nullptr, &err,
                                        &type);
                ExpError bad = {};
                HEXP f = ZEMParseString(ec, "x +", nullptr, &bad, &type);
                if (e && !f && bad.code == ERR_SYNTAX && bad.start == 3) good[t]++;
            }
            EXPECT_EQ(ZEMGetExpressionCount(ec), 200);
            ZEMDestroyEC(ec);
        });
    }
    for (auto &th : threads) th.join();
    EXPECT_EQ(good, (std::vector<int>{200, 200, 200, 200}));
}
