// The usage queries: an item used in a complex expression, a function named
// in a text, a call with an input item as direct argument, an aggregate
// call; each through named formulas, sets and ranges.
#include <string.h>

#include "context/expressions.h"
#include "support.h"

namespace {

struct Host {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, ECFlagRangesAndSets);
    Host() {
        input("Price");
        input("Qty");
        function("Twice", 1, 0);
        function("Tw", 1, 0);
        function("Pair", 2, 0);
        function("Total", 1, 1);  // takes an input item: an aggregate
    }
    ~Host() { ZEMDestroyEC(ec); }
    void input(const char *name) { AddItem(ec, ZEM_ITEM_INPUT, name, 0); }
    void function(const char *name, int params, int mode) {
        AddItem(ec, ZEM_ITEM_FUNCTION, name, 0,
                {.required = params, .params = {{(uint16_t)mode, 0, 0}, {0, 0, 0}}, .paramCount = params});
    }
    HEXP parse(const char *text, const char *name = nullptr) { return ParseOk(ec, text, name); }
};

}  // namespace

TEST(Queries, ItemUsedInComplex) {
    LeakCheck leaks;
    struct Case {
        const char *texts[3];  // named F, G, H in turn
        int expected;
    } cases[] = {
        {{"Price", "12", "Qty + 1"}, 0},       // simple input and literal only
        {{"Price + 0", nullptr, nullptr}, 1},
        {{"Twice(Price)", nullptr, nullptr}, 1},
        {{"Price", "F()", nullptr}, 1},         // the bare input inside a formula
        {{"Qty, Price", nullptr, nullptr}, 1},  // a set is not simple
        {{"Qty AND Price", nullptr, nullptr}, 1},
        {{"'Price'", "Qty * 2", nullptr}, 0},
    };
    const char *names[] = {"F", "G", "H"};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.texts[0]);
        Host h;
        for (int i = 0; i < 3 && c.texts[i]; i++) ASSERT_NE(h.parse(c.texts[i], names[i]), nullptr);
        EXPECT_EQ(ZEMIsItemUsedInComplex(h.ec, "Price") != 0, c.expected != 0);
    }
    Host empty;
    EXPECT_EQ(ZEMIsItemUsedInComplex(empty.ec, "Price"), 0) << "no store";
    EXPECT_EQ(ZEMIsItemUsedInComplex(nullptr, "Price"), 0);
    EXPECT_EQ(ZEMIsItemUsedInComplex(empty.ec, nullptr), 0);
}

TEST(Queries, FunctionUsedIsATextTest) {
    LeakCheck leaks;
    Host h, other;
    HEXP e = h.parse("Pair(Twice(Price), 1)");
    HEXP elsewhere = other.parse("Twice(1)");
    ASSERT_TRUE(e && elsewhere);
    struct {
        const char *name;
        int expected;
    } cases[] = {{"Twice", 1}, {"Tw", 1}, {"air(", 1}, {"Price", 1}, {"Total", 0}, {"twice", 0}, {"", 0}};
    for (auto &c : cases) EXPECT_EQ(ZEMIsFunctionUsed(h.ec, e, c.name), c.expected) << c.name;
    EXPECT_EQ(ZEMIsFunctionUsed(h.ec, elsewhere, "Twice"), 0) << "not in this store";
    EXPECT_EQ(ZEMIsFunctionUsed(h.ec, nullptr, "Twice"), 0);
    EXPECT_EQ(ZEMIsFunctionUsed(nullptr, e, "Twice"), 0);
}

TEST(Queries, FunctionVariableAndAggregateFollowTheWalk) {
    LeakCheck leaks;
    struct Case {
        const char *named;  // a formula F, or null
        const char *text;
        int variable;       // Twice with Price as a direct argument
        int aggregate;
    } cases[] = {
        {nullptr, "Twice(Price)", 1, 0},
        {nullptr, "Twice(Price + 1)", 0, 0},
        {nullptr, "Twice(Qty) + Price", 0, 0},
        {nullptr, "Pair(Price, Twice(Qty))", 0, 0},
        {nullptr, "Pair(Qty, Twice(Price))", 1, 0},
        {nullptr, "1 - Twice(Twice(Price))", 1, 0},  // the inner call
        {nullptr, "Twice(Twice(Qty) * Twice(Price))", 1, 0},
        {nullptr, "Tw(Price)", 0, 0},
        {nullptr, "Total(Price)", 0, 1},
        {nullptr, "Twice(Total(Qty)) / 2", 0, 1},
        {"Twice(Price)", "F() * 2", 1, 0},
        {"Total(Qty)", "1 + F()", 0, 1},
        {nullptr, "3, Twice(Price)", 1, 0},
        {nullptr, "Total(Qty), 3", 0, 1},
        {nullptr, "1 AND Twice(Price)", 1, 0},
        {nullptr, "Total(Price) AND 9", 0, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        Host h;
        if (c.named) {
            ASSERT_NE(h.parse(c.named, "F"), nullptr);
        }
        HEXP e = h.parse(c.text, "E");
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(ZEMIsFunctionVariableUsed(h.ec, e, "Twice", "Price") != 0, c.variable != 0);
        EXPECT_EQ(ZEMIsAggregateUsed(h.ec, e) != 0, c.aggregate != 0);
        EXPECT_EQ(ZEMIsFunctionVariableUsed(h.ec, e, "Twice", "Nothing"), 0);
    }
    Host h;
    EXPECT_EQ(ZEMIsFunctionVariableUsed(h.ec, nullptr, "Twice", "Price"), 0);
    EXPECT_EQ(ZEMIsAggregateUsed(h.ec, nullptr), 0);
    // A named formula that is no longer there ends its branch: renaming F
    // in place leaves U naming what does not exist.
    HEXP f = h.parse("Total(Price)", "F");
    HEXP user = h.parse("F() + 1", "U");
    ASSERT_TRUE(f && user);
    EXPECT_NE(ZEMIsAggregateUsed(h.ec, user), 0);
    uint16_t type = 0;
    ASSERT_EQ(ZEMParseFormula(h.ec, f, "Total(Price)", "G", nullptr, &type), f);
    EXPECT_EQ(ZEMIsAggregateUsed(h.ec, user), 0);
    EXPECT_NE(ZEMIsAggregateUsed(h.ec, f), 0);
}
