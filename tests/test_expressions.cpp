// Stored expressions, the parse entry points, the usage queries, renaming
// an item through every text and tree, and the guarded delete.
#include <string.h>
#include <set>
#include <string>
#include <vector>

#include "context/expressions.h"
#include "context/items.h"
#include "language/tree.h"
#include "support.h"

namespace {

std::vector<int> notified;
void ZEMCALL recordNotify(HEC, int32_t code) { notified.push_back(code); }
std::vector<std::string> renames;
void ZEMCALL recordRename(HEC, const char *from, const char *to) { renames.push_back(std::string(from) + ">" + to); }

// A context with its items; a lax one, made while allocations fail, takes
// what registration gives.
struct Host {
    HEC ec = ZEMCreateEC(nullptr, nullptr, recordRename, ECFlagRangesAndSets | ECFlagModulo);
    bool strict;
    explicit Host(bool strict = true) : strict(strict) {
        notified.clear(), renames.clear();
        ZEMSetNotifyCallback(ec, recordNotify);
        // Names with a trail byte 0x7C and in katakana.
        for (const char *name : {"Price", "Qty", "PriceList", "\x83\x7CPrice", "\x83\x7C\x83\x43\x83\x93\x83\x67"})
            add(ZEM_ITEM_INPUT, name, ZEM_TYPE_NUMBER);
        add(ZEM_ITEM_INPUT, "Title", ZEM_TYPE_STRING);
        add(ZEM_ITEM_INPUT, "Due", ZEM_TYPE_DATETIME, 5);
        // Total takes an input item: an aggregate.
        const struct { const char *name; int params, mode; } functions[] = {
            {"Twice", 1, 0}, {"Tw", 1, 0}, {"Pair", 2, 0}, {"Total", 1, 1}};
        for (auto &f : functions) add(ZEM_ITEM_FUNCTION, f.name, ZEM_TYPE_NUMBER, f.params, f.mode);
    }
    ~Host() { ZEMDestroyEC(ec); }
    // required: an input item's subclass, or a function's parameter count.
    void add(int kind, const char *name, int type, int required = 0, int mode = 0) {
        int params = kind == ZEM_ITEM_FUNCTION ? required : 0;
        AddItem(ec, kind, name, type, {.required = required, .params = {{(uint16_t)mode, 0, 0}, {0, 0, 0}},
                                       .paramCount = params, .mayFail = !strict});
    }
    HEXP parse(const char *text, const char *name = nullptr) {
        uint16_t type = 0;
        HEXP exp = ZEMParseString(ec, text, name, nullptr, &type);
        if (strict) { EXPECT_NE(exp, nullptr) << text; }
        return exp;
    }
    std::string name(HEXP e) {
        char buf[130];
        return ZEMGetExpressionName(ec, e, sizeof(buf), buf) < 0 ? "<none>" : buf;
    }
    std::string remaining() {
        std::string out;
        for (int i = 0; i < ZEMGetExpressionCount(ec); i++) out += (i ? " " : "") + name(ZEMHEXPFromOrdinal(ec, i));
        return out;
    }
    bool has(int kind, const char *item) { return itemFind(kind == 1 ? ec->inputItems : ec->functions, item) != nullptr; }
};

// Everything a node holds but pointers, its children's in order.
std::string shape(const ExpNode *node) {
    if (!node) return "-";
    char head[96];
    snprintf(head, sizeof head, "%d/%d@%u+%u)%u f%u", (int)node->kind, (int)node->dataType, (unsigned)node->start,
             (unsigned)node->length, (unsigned)node->closing, (unsigned)node->flags);
    std::string out = head;
    switch (node->kind) {
    case NodeNumber: return out + "#" + std::string((const char *)node->left, ZEM_VALUE_SIZE);
    case NodeInput: case NodeExpression: case NodeString: case NodeDate:
        return out + "'" + std::string((const char *)node->left) + "'";
    case NodeFunction: case NodeSet: {
        if (node->kind == NodeFunction) out += "'" + std::string((const char *)node->left) + "'";
        HARRAY list = nodeList(node);
        for (unsigned i = 0; list && i < SvcArrayCount(list); i++) {
            out += (i ? ";" : "[") + shape(*(ExpNode **)SvcArrayLock(list, i));
            SvcArrayUnlock(list);
        }
        return out + "]";
    }
    default: return out + "(" + shape((const ExpNode *)node->left) + "," + shape((const ExpNode *)node->right) + ")";
    }
}

// The guarded delete's callback destroys what it is offered and answers the number of calls so far.
std::string gOffered;  // the names offered, in turn
int gCalls;
std::set<std::string> gRefuse;
std::string gItemSeen;

int ZEMCALL removeOffered(HEC ec, HEXP exp, ExpItem *item) {
    char name[130];
    ZEMGetExpressionName(ec, exp, sizeof name, name);
    gOffered += (gOffered.empty() ? "" : " ") + std::string(name);
    gItemSeen = item ? item->name : "(none)";
    if (gRefuse.count(name)) return 0;
    EXPECT_EQ(ZEMDestroyEXP(ec, exp), 1) << name;
    return ++gCalls;
}

}  // namespace

TEST(Store, OrdinalsTextsAndDestroy) {
    LeakCheck leaks;
    Host c;
    HEXP a = c.parse("1", "A"), b = c.parse("Price + 12", "Ten"), d = c.parse("3", "D");
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, d), 2);
    EXPECT_EQ(ZEMHEXPFromOrdinal(c.ec, 3), nullptr);
    EXPECT_EQ(ZEMHEXPFromOrdinal(c.ec, 0x10001), b) << "ordinals compare as 16 bits";
    EXPECT_EQ(ZEMHEXPFromText(c.ec, "Price + 12"), b);
    char buf[16];
    EXPECT_EQ(ZEMGetExpressionTextLength(c.ec, b), 10);
    EXPECT_EQ(ZEMGetExpressionText(c.ec, b, 10, buf), 10);
    EXPECT_STREQ(buf, "Price + 1") << "a buffer of exactly the length loses the last byte";
    EXPECT_EQ(ZEMGetExpressionNameLength(c.ec, b), 3);
    EXPECT_EQ(ZEMGetExpressionName(c.ec, b, 3, buf), 3);
    EXPECT_STREQ(buf, "Te");
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, b), 0xFFFF0000u);
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, nullptr), 0xFFFFFFFFu);
    HEXP user = c.parse("D() + 1", "User");
    EXPECT_EQ(ZEMDestroyEXP(c.ec, d), 0) << "named by another";
    EXPECT_EQ(ZEMDestroyEXP(c.ec, user) + ZEMDestroyEXP(c.ec, b), 2);
    EXPECT_EQ(notified.back(), 1);
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, d), 1) << "later ordinals move down";
    // An enumeration stops on 0; its callback may destroy what it is shown.
    static std::vector<int> seen;
    auto stopAtSecond = [](HEC, HEXP, int32_t ordinal) ZEMCALL -> int { return seen.push_back(ordinal), ordinal < 1; };
    EXPECT_EQ(ZEMEnumExpressions(c.ec, stopAtSecond), 0);
    EXPECT_EQ(seen, (std::vector<int>{0, 1}));
    auto destroy = [](HEC ec, HEXP e, int32_t) ZEMCALL -> int { return ZEMDestroyEXP(ec, e); };
    ZEMEnumExpressions(c.ec, destroy);
    ZEMEnumExpressions(c.ec, destroy);
    EXPECT_EQ(c.ec->expressions, 0u) << "the last one takes the store with it";
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, a), -1);
}

TEST(Names, GeneratedUniqueAndUsed) {
    LeakCheck leaks;
    Host c;
    c.parse("1", "Formula1");
    EXPECT_EQ(c.name(c.parse("3")), "Formula2");
    EXPECT_EQ(c.name(c.parse("4", "")), "Formula3") << "an empty name is generated too";
    HEXP set = c.parse("1, 2"), range = c.parse("1 AND 2"), due = c.parse("Due", "D");
    EXPECT_EQ(c.name(set), "\x90\xdd\x92\xe8" "1");    // 設定1
    EXPECT_EQ(c.name(range), "\x94\xcd\x88\xcd" "1");  // 範囲1
    EXPECT_EQ((std::vector<int>{ZEMIsExpRange(c.ec, set, 1), ZEMIsExpRange(c.ec, set, 2),
                                ZEMIsExpRange(c.ec, range, 2), ZEMIsExpRange(c.ec, range, 3),
                                ZEMGetSimpleInputSubClass(c.ec, due), ZEMGetSimpleInputSubClass(c.ec, range),
                                ZEMGetSimpleInputSubClass(c.ec, nullptr)}),
              (std::vector<int>{1, 0, 1, 0, 5, -1, -1}));
    struct Row { const char *name; int generated; } rows[] = {
        {"Formula", 1}, {"Formula007", 1}, {"Formula1a", 0}, {"formula1", 0}, {"\x94\xcd\x88\xcd" "1", 0}};
    for (const Row &row : rows) EXPECT_EQ(ZEMIsExpNameGenerated(c.ec, c.parse("1", row.name)), row.generated) << row.name;

    HEXP inner = c.parse("Price * Twice(Price)", "Inner");
    HEXP outer = c.parse("Inner() + 1", "Outer");
    HEXP users = c.parse("Inner(), 2", "S");
    struct Use { HEXP exp; int kind; const char *name; int used; } uses[] = {
        {outer, 1, "Price", 1}, {outer, 0, "Twice", 1}, {outer, 2, "Inner", 1}, {outer, 1, "Title", 0},
        {outer, 3, "Price", 0}, {users, 2, "Inner", 1},   {inner, 2, "Inner", 0}, {nullptr, 1, "Price", 0},
    };
    for (const Use &u : uses) EXPECT_EQ(ZEMIsItemUsed(c.ec, u.exp, u.kind, u.name) != 0, u.used != 0) << u.name;
    EXPECT_EQ(ZEMIsNamedFormulaUsed(c.ec, "Inner") * 2 + ZEMIsNamedFormulaUsed(c.ec, "Outer"), 2);
    // A clone takes the name asked for, or a generated one when it is taken.
    uint16_t type = 0;
    notified.clear();
    EXPECT_EQ(c.name(ZEMCloneExpression(c.ec, c.parse("Title || 'x'", "T"), "B", &type)), "B");
    EXPECT_EQ(type, 2);
    EXPECT_EQ(c.name(ZEMCloneExpression(c.ec, inner, "Inner", &type)), "Formula4");
    EXPECT_EQ(notified, (std::vector<int>{2, 2, 2}));
    EXPECT_EQ(ZEMCloneExpression(c.ec, nullptr, "C", &type), nullptr);
}

TEST(Entry, ReportsOfParseStringAndParseFormula) {
    LeakCheck leaks;
    Host c;
    c.parse("1", "Self");
    auto report = [](ExpError e) { return std::vector<unsigned>{e.code, e.start, e.length}; };
    struct Row { const char *text, *name; ExpError err; } rows[] = {
        {"1", "AND", {ERR_NAME, 0, 1}}, {"Price + 1", "two words", {ERR_NAME, 0, 9}},
        {"Self() + 1", "Self", {ERR_RECURSIVE, 0, 5}}, {"Nothing", nullptr, {ERR_VAR, 0, 7}}};
    for (const Row &r : rows) EXPECT_EQ(report(ParseFails(c.ec, r.text, r.name)), report(r.err)) << r.text;
    ExpError err = {};
    uint16_t type;
    ASSERT_NE(ZEMParseString(c.ec, "Price", "P", &err, &type), nullptr);
    EXPECT_EQ(report(err), (std::vector<unsigned>{ERR_INPUT, 0, 1})) << "a success leaves the name check's code";
    EXPECT_EQ(c.ec->nextFormulaNumber, 1) << "a failed parse uses up no number";

    HEXP a = c.parse("Price", "A");
    HEXP user = c.parse("A() * 2", "User");
    notified.clear();
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "3 * User()", "A", &err, &type), nullptr);
    EXPECT_EQ(report(err), (std::vector<unsigned>{ERR_RECURSIVE, 4, 5}));
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Price + 1", "Twice", &err, &type), nullptr);
    EXPECT_EQ((std::vector<unsigned>{err.code, err.length}), (std::vector<unsigned>{ERR_DUPNAME, 9}));
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Title", "A", &err, &type), nullptr);
    EXPECT_EQ(report(err), (std::vector<unsigned>{ERR_EXPDATATYPE, 0, 5}));
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Price + 2", "A", &err, &type), a) << "replaced in place";
    EXPECT_TRUE(notified.empty());
    EXPECT_STREQ(a->text, "Price + 2");
    EXPECT_EQ(ZEMGetExpressionOrdinal(c.ec, a), 2);
    EXPECT_EQ(ZEMDestroyEXP(c.ec, user), 1);
    notified.clear();
    EXPECT_EQ(ZEMParseFormula(c.ec, a, "Title", "Renamed", &err, &type), a);
    EXPECT_EQ(renames, (std::vector<std::string>{"A>Renamed"}));
    EXPECT_EQ(notified, (std::vector<int>{3}));
    EXPECT_EQ(ZEMGetExpressionDataType(c.ec, a), 0xFFFF0002u);
    EXPECT_NE(ZEMParseFormula(c.ec, nullptr, "1", "Fresh", &err, &type), nullptr) << "none to replace: a new one";
}

TEST(Queries, ItemUsedInComplex) {
    LeakCheck leaks;
    struct Case { const char *texts[3]; int expected; } cases[] = {  // texts named F, G, H in turn
        {{"Price", "12", "Qty + 1"}, 0}, {{"Price + 0"}, 1}, {{"Twice(Price)"}, 1}, {{"Price", "F()"}, 1},
        {{"Qty, Price"}, 1}, {{"Qty AND Price"}, 1}, {{"'Price'", "Qty * 2"}, 0}};
    const char *formulaNames[] = {"F", "G", "H"};
    for (const Case &c : cases) {
        Host h;
        for (int i = 0; i < 3 && c.texts[i]; i++) ASSERT_NE(h.parse(c.texts[i], formulaNames[i]), nullptr);
        EXPECT_EQ(ZEMIsItemUsedInComplex(h.ec, "Price") != 0, c.expected != 0) << c.texts[0];
    }
    EXPECT_EQ(ZEMIsItemUsedInComplex(nullptr, "Price"), 0) << "no context";
}

TEST(Queries, FunctionsVariablesAndAggregates) {
    LeakCheck leaks;
    // named: a formula F, or null; variable: Twice with Price as a direct argument.
    struct Case { const char *named, *text; int variable, aggregate; } cases[] = {
        {nullptr, "Twice(Price + 1)", 0, 0}, {nullptr, "Twice(Qty) + Price", 0, 0}, {nullptr, "Tw(Price)", 0, 0},
        {nullptr, "Pair(Price, Twice(Qty))", 0, 0}, {nullptr, "Pair(Qty, Twice(Price))", 1, 0},
        {nullptr, "Twice(Twice(Qty) * Twice(Price))", 1, 0}, {nullptr, "Twice(Total(Qty)) / 2", 0, 1},
        {"Twice(Price)", "F() * 2", 1, 0}, {"Total(Qty)", "1 + F()", 0, 1}, {nullptr, "3, Twice(Price)", 1, 0},
        {nullptr, "Total(Price) AND 9", 0, 1}};
    for (const Case &c : cases) {
        Host h;
        if (c.named) h.parse(c.named, "F");
        HEXP e = h.parse(c.text, "E");
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(ZEMIsFunctionVariableUsed(h.ec, e, "Twice", "Price") != 0, c.variable != 0) << c.text;
        EXPECT_EQ(ZEMIsAggregateUsed(h.ec, e) != 0, c.aggregate != 0) << c.text;
    }
    Host h, other;
    EXPECT_EQ(ZEMIsFunctionVariableUsed(h.ec, nullptr, "Twice", "Price") + ZEMIsAggregateUsed(h.ec, nullptr), 0);
    // Whether a function is used is a text test, within the context's own store.
    HEXP e = h.parse("Pair(Twice(Price), 1)");
    for (auto name : {"Twice", "Tw", "air(", "Price"}) EXPECT_EQ(ZEMIsFunctionUsed(h.ec, e, name), 1) << name;
    for (auto name : {"Total", "twice", ""}) EXPECT_EQ(ZEMIsFunctionUsed(h.ec, e, name), 0) << name;
    EXPECT_EQ(ZEMIsFunctionUsed(h.ec, other.parse("Twice(1)"), "Twice"), 0) << "not in this store";
    EXPECT_EQ(ZEMIsFunctionUsed(h.ec, nullptr, "Twice") + ZEMIsFunctionUsed(nullptr, e, "Twice"), 0);
    // A named formula that is no longer there ends its branch.
    HEXP f = h.parse("Total(Price)", "F");
    HEXP user = h.parse("F() + 1", "U");
    EXPECT_NE(ZEMIsAggregateUsed(h.ec, user), 0);
    uint16_t type = 0;
    ASSERT_EQ(ZEMParseFormula(h.ec, f, "Total(Price)", "G", nullptr, &type), f);
    EXPECT_EQ(ZEMIsAggregateUsed(h.ec, user), 0);
    EXPECT_NE(ZEMIsAggregateUsed(h.ec, f), 0);
}

TEST(Rename, TextAndTreeAgreeWithAFreshParse) {
    LeakCheck leaks;
    const char *const kKatakana = "\x83\x7C\x83\x43\x83\x93\x83\x67";
    const struct { int kind; const char *from, *to, *text, *expected; } cases[] = {
        {1, "Price", "Cost", "PriceList + Price - PriceList", "PriceList + Cost - PriceList"},
        {1, "Price", "Cost", "Pair(Qty,Price)*(Price)/Price", "Pair(Qty,Cost)*(Cost)/Cost"},
        {1, "Price", "Cost", "Qty, Price%Qty, Twice(Price)", "Qty, Cost%Qty, Twice(Cost)"},
        {1, "Price", "Cost", "Price AND Price + Qty", "Cost AND Cost + Qty"},
        {1, "Title", "Heading", "Title || ' Title ' || Title", "Heading || ' Title ' || Heading"},
        {1, "Price", "Cost", "\x83\x7CPrice + Price", "\x83\x7CPrice + Cost"},
        {1, kKatakana, "\x93\x5F\x90\x94", "(\x83\x7C\x83\x43\x83\x93\x83\x67)-Qty+\x83\x7C\x83\x43\x83\x93\x83\x67",
         "(\x93\x5F\x90\x94)-Qty+\x93\x5F\x90\x94"},
        {0, "Twice", "Doubled", "Twice(Price) + Twice(Twice (Qty))", "Doubled(Price) + Doubled(Doubled (Qty))"},
        {1, "Nowhere", "Cost", "Price + Qty", "Price + Qty"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        Host h;
        HEXP exp = h.parse(c.text, "E");
        size_t blockBefore = SvcSize(exp->text);
        EXPECT_EQ(ZEMRenameExpressionItem(h.ec, c.kind, c.from, c.to), 0);
        EXPECT_STREQ(exp->text, c.expected);
        long growth = (long)strlen(c.expected) - (long)strlen(c.text);
        EXPECT_EQ(SvcSize(exp->text), blockBefore + (growth > 0 ? growth : 0)) << "the block grows by the growth alone";
        EXPECT_EQ(shape(exp->root), shape(h.parse(c.expected)->root));
    }
}

TEST(Rename, TheItemAndEveryExpressionGetTheName) {
    LeakCheck leaks;
    Host h;
    // A formula may share an input item's name: it is left alone.
    HEXP a = h.parse("Qty * 2", "Price");
    HEXP b = h.parse("Price() + Price", "B");
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "Cost"), 0);
    EXPECT_STREQ(b->text, "Price() + Cost");
    EXPECT_TRUE(h.has(1, "Cost") && !h.has(1, "Price"));
    // Kind 3 renames an input item too; the function store is not searched.
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_KEYWORD, "Qty", "Count"), 0);
    EXPECT_STREQ(a->text, "Count * 2");
    ZEMRenameExpressionItem(nullptr, 1, "Cost", "Value");
    ZEMRenameExpressionItem(h.ec, 1, "Cost", "");
    EXPECT_STREQ(b->text, "Price() + Cost") << "an empty name changes nothing";
    // A long name is cut to the field at a whole character, in the item and the texts alike.
    std::string longName = std::string(63, 'n') + "\x83\x41zz", cut(63, 'n');
    ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Cost", longName.c_str());
    EXPECT_TRUE(h.has(1, cut.c_str()));
    EXPECT_EQ(std::string(b->text), "Price() + " + cut);
}

TEST(Rename, OutOfMemoryLeavesOneExpressionWholeAndDoesTheOthers) {
    const char *texts[] = {"Twice(Price) + Price * Qty", "Price, Qty, Price"};
    const char *renamed[] = {"Twice(LongerName) + LongerName * Qty", "LongerName, Qty, LongerName"};
    int failedInRename = 0;
    EachAllocationFails([&](int) {
        Host h(false);
        HEXP exp[2] = {h.parse(texts[0]), h.parse(texts[1])};
        if (!exp[0] || !exp[1] || ZEMGetExpressionCount(h.ec) != 2 || !h.has(1, "Price")) return;
        ExpItem *item = itemFind(h.ec->inputItems, "Price");
        EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "LongerName"), 0);
        EXPECT_STREQ(item->name, "LongerName") << "the item has its name in any case";
        int untouched = 0;
        for (int i = 0; i < 2; i++) {
            bool old = strcmp(exp[i]->text, texts[i]) == 0;
            untouched += old;
            if (!old) { EXPECT_STREQ(exp[i]->text, renamed[i]); }
            EXPECT_EQ(ZEMIsItemUsed(h.ec, exp[i], ZEM_ITEM_INPUT, "Price"), old) << "the tree goes with the text";
        }
        EXPECT_LE(untouched, 1) << "one failure stops one expression only";
        failedInRename += untouched;
    });
    EXPECT_GT(failedInRename, 0) << "some failure fell inside the rename";
}

TEST(Delete, OffersUsersBeforeWhatTheyUse) {
    LeakCheck leaks;
    struct Case {
        std::vector<std::pair<const char *, const char *>> exprs;  // name, text
        int kind;
        const char *item, *refuse, *offered, *remaining;
        int answer;
        bool itemKept;
    } cases[] = {
        {{{"A", "Price * 2"}, {"C", "Price"}, {"B", "A() + 1"}, {"D", "Qty"}}, 1, "Price", "", "C B A", "D", 3, false},
        {{{"A", "Price * 2"}, {"B", "A() + 1"}}, 1, "Price", "B", "B", "A B", 0, true},
        {{{"A", "Price * 2"}, {"B", "A() + 1"}}, 1, "Price", "A", "B A", "A", 0, true},
        {{{"A", "Twice(Qty)"}, {"B", "Qty"}}, 0, "Twice", "", "A", "B", 1, false},
        {{{"A", "Twice(Qty)"}}, 3, "Twice", "", "", "A", 1, false},  // kind 3 finds no use, deletes a function
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.item) + " " + c.exprs[0].second);
        Host h;
        for (auto &e : c.exprs) h.parse(e.second, e.first);
        gOffered.clear(), gCalls = 0;
        gRefuse = {c.refuse};
        EXPECT_EQ(ZEMDeleteExpItem(h.ec, c.kind, c.item, removeOffered), c.answer);
        EXPECT_EQ(gOffered, c.offered);
        EXPECT_EQ(h.remaining(), c.remaining);
        EXPECT_EQ(h.has(c.kind == 1, c.item), c.itemKept);
        if (!gOffered.empty()) { EXPECT_EQ(gItemSeen, c.item) << "the stored record is handed over"; }
    }
    Host h;
    gOffered.clear(), gCalls = 0;
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, 1, "Price", removeOffered), 1) << "without expressions";
    EXPECT_TRUE(!h.has(1, "Price") && h.has(1, "Qty"));
    EXPECT_EQ(ZEMDeleteExpItem(nullptr, 1, "Price", removeOffered), 1);
    h.parse("Qty + 1", "A");
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, 1, "Qty", nullptr), 0) << "a null callback refuses";
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, 1, "Title", nullptr), 1) << "nobody to offer";
    // The trees still name Qty after it went without a check: nothing can be offered.
    h.parse("A() + 1", "B");
    ASSERT_EQ(ZEMDelExpItemNoCheck(h.ec, 1, "Qty"), 1);
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, 1, "Qty", removeOffered), 1);
    EXPECT_TRUE(gOffered.empty());
    EXPECT_EQ(h.remaining(), "A B");
}

TEST(Delete, ADeferredListThatCannotBeMadeShortensTheRetry) {
    std::set<std::string> seen;
    EachAllocationFails([&](int) {
        Host h(false);
        HEXP a = h.parse("Price", "A"), b = h.parse("A() * 2", "B"), c = h.parse("B() + 1", "C");
        if (!a || !b || !c || !h.has(1, "Price")) return;
        gOffered.clear(), gCalls = 0, gRefuse.clear();
        int answer = ZEMDeleteExpItem(h.ec, 1, "Price", removeOffered);
        EXPECT_EQ(answer, gCalls) << "the last call's answer";
        EXPECT_FALSE(h.has(1, "Price"));
        // A list that could not be made is tried again at the next need: one failure loses A alone.
        EXPECT_TRUE(gOffered == "C B A" || gOffered == "C B") << gOffered;
        EXPECT_EQ(h.remaining(), gOffered == "C B" ? "A" : "");
        seen.insert(gOffered);
    });
    EXPECT_EQ(seen.size(), 2u) << "some run lost A";
}

// A left-leaning chain such as a+b+a+... deepens the tree a level a link and is not bounded by the
// parser; every walk of a stored tree takes it on a small stack.
TEST(Walks, ALongChainFitsASmallStack) {
    LeakCheck leaks;
    RunWithStack(512 * 1024, [] {
        Host h;
        std::string text = "Price", renamed = "Price";
        for (int i = 0; i < 40000; i++) text += i % 2 ? "+Price" : "-Qty", renamed += i % 2 ? "+Price" : "-Amount";
        HEXP f = h.parse(text.c_str(), "F");
        HEXP g = h.parse("F() * 2", "G");  // the recursion check goes through F
        ASSERT_TRUE(f && g);
        EXPECT_EQ(1, ZEMIsItemUsed(h.ec, g, ZEM_ITEM_INPUT, "Qty"));
        EXPECT_EQ(0, ZEMIsItemUsed(h.ec, g, ZEM_ITEM_INPUT, "PriceList"));
        EXPECT_EQ(1, ZEMIsNamedFormulaUsed(h.ec, "F"));
        std::string extended(ZEMGetExtendedTextLength(h.ec, g, 0) + 1, '?');
        ZEMGetExtendedText(h.ec, g, (int32_t)extended.size(), extended.data(), 0);
        EXPECT_EQ("(" + text + ") * 2", extended.c_str());
        EXPECT_EQ(0, ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Qty", "Amount"));
        EXPECT_EQ(renamed, f->text);
        EXPECT_EQ(1, ZEMIsItemUsed(h.ec, f, ZEM_ITEM_INPUT, "Amount"));
        EXPECT_EQ(0, ZEMIsItemUsed(h.ec, f, ZEM_ITEM_INPUT, "Qty"));
        EXPECT_EQ(0, ZEMDestroyEXP(h.ec, f)) << "G uses it";
        EXPECT_EQ(1, ZEMDestroyEXP(h.ec, g));
        EXPECT_EQ(1, ZEMDestroyEXP(h.ec, f));
    });
}
