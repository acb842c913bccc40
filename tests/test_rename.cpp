// Renaming an item through every stored text and tree: the new text, a tree
// that matches a fresh parse of it node by node, the same value before and
// after, the text block's size, and allocation failures. Then the word
// rewrite of the old-block reader in both code pages.
#include <string.h>

#include <map>
#include <string>

#include "context/expressions.h"
#include "context/rename.h"
#include "eval/convert.h"
#include "language/tree.h"
#include "support.h"

namespace {

// Twice(n) is 2n; Pair(a, b) is a - b.
int ZEMCALL twice(HEC, HEXP, int32_t, void **value, const char *, void **args) {
    return args[0] && SvcNumAdd((Number *)*value, (Number *)args[0], (Number *)args[0]);
}
int ZEMCALL pair(HEC, HEXP, int32_t, void **value, const char *, void **args) {
    return args[0] && args[1] && SvcNumSub((Number *)*value, (Number *)args[0], (Number *)args[1]);
}

// A context with its items. A lax host, made while allocations fail,
// takes what registration gives.
struct Host {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, ECFlagRangesAndSets | ECFlagModulo);
    bool strict;
    explicit Host(bool strict = true) : strict(strict) {
        gInputValues.clear();
        input("Price", ZEM_TYPE_NUMBER, "7");
        input("Qty", ZEM_TYPE_NUMBER, "3");
        input("PriceList", ZEM_TYPE_NUMBER, "100");
        input("Title", ZEM_TYPE_STRING, "abc");
        input("\x83\x7CPrice", ZEM_TYPE_NUMBER, "40");        // a trail byte 0x7C
        input("\x83\x7C\x83\x43\x83\x93\x83\x67", ZEM_TYPE_NUMBER, "5");  // katakana
        input("\x92\x50\x89\xBF", ZEM_TYPE_NUMBER, "11");    // kanji
        input("Due", ZEM_TYPE_DATETIME, "1/31/2024");
        function("Twice", 1, twice);
        function("Pair", 2, pair);
    }
    ~Host() { ZEMDestroyEC(ec); }
    void input(const char *name, int type, const char *value) {
        gInputValues[name] = value;
        AddItem(ec, ZEM_ITEM_INPUT, name, type, {.callback = Proc(TableInput), .mayFail = !strict});
    }
    void function(const char *name, int params, ZEMFunctionCallback cb) {
        AddItem(ec, ZEM_ITEM_FUNCTION, name, ZEM_TYPE_NUMBER,
                {.required = params, .callback = Proc(cb), .params = Params({0, 0}),
                 .paramCount = params, .mayFail = !strict});
    }
    HEXP parse(const char *text, const char *name = nullptr) { return ParseOk(ec, text, name); }
};

// The value of an expression as bytes, or "(fail)".
std::string valueOf(HEC ec, HEXP exp) {
    if (exp->resultType == ZEM_TYPE_STRING) return EvalText(ec, exp);
    Number value = {};
    void *at = &value;
    uint32_t length = 0;
    if (!ZEMEvaluateExpressionExt(ec, exp, &length, &at)) return "(fail)";
    return std::string((const char *)value.bytes, sizeof value.bytes);
}

// Everything a node holds but pointers, its children's in order.
std::string shape(const ExpNode *node) {
    if (!node) return "-";
    char head[96];
    snprintf(head, sizeof head, "%d/%d@%u+%u)%u f%u", (int)node->kind, (int)node->dataType,
             (unsigned)node->start, (unsigned)node->length, (unsigned)node->closing,
             (unsigned)node->flags);
    std::string out = head;
    switch (node->kind) {
    case NodeNumber:
        out += "#" + std::string((const char *)node->left, ZEM_VALUE_SIZE);
        break;
    case NodeInput: case NodeExpression: case NodeString: case NodeDate:
        out += "'" + std::string((const char *)node->left) + "'";
        break;
    case NodeFunction: case NodeSet: {
        if (node->kind == NodeFunction) out += "'" + std::string((const char *)node->left) + "'";
        HARRAY list = nodeList(node);
        out += "[";
        for (unsigned i = 0; list && i < SvcArrayCount(list); i++) {
            ExpNode **at = (ExpNode **)SvcArrayLock(list, i);
            out += shape(*at) + ";";
            SvcArrayUnlock(list);
        }
        out += "]";
        break;
    }
    default:
        out += "(" + shape((const ExpNode *)node->left) + "," + shape((const ExpNode *)node->right) + ")";
    }
    return out;
}

struct RenameCase {
    int kind;
    const char *from, *to;
    const char *text;
    const char *expected;
};

const RenameCase kCases[] = {
    {1, "Price", "Cost", "Price", "Cost"},
    {1, "Price", "Cost", "Price + Price * 2", "Cost + Cost * 2"},
    {1, "Price", "Cost", "PriceList + Price - PriceList", "PriceList + Cost - PriceList"},
    {1, "Price", "Cost", "Twice(Price) - Twice (  Price )", "Twice(Cost) - Twice (  Cost )"},
    {1, "Price", "Cost", "Pair(Qty,Price)*(Price)/Price", "Pair(Qty,Cost)*(Cost)/Cost"},
    {1, "Price", "Cost", "  Price\t+\nPrice*\n\tQty  ", "  Cost\t+\nCost*\n\tQty  "},
    {1, "Price", "Cost", "Qty, Price%Qty, Twice(Price)", "Qty, Cost%Qty, Twice(Cost)"},
    {1, "Price", "Cost", "Price AND Price + Qty", "Cost AND Cost + Qty"},
    {1, "Price", "Cost", "Due + Price DAYS", "Due + Cost DAYS"},
    {1, "Price", "Cost", "Due - Price MONTHS", "Due - Cost MONTHS"},
    {1, "Title", "Heading", "Title || ' Title ' || Title", "Heading || ' Title ' || Heading"},
    {1, "Price", "P", "Twice(Price) * Price - Qty", "Twice(P) * P - Qty"},
    {1, "Price", "Price", "Price + 1", "Price + 1"},
    {1, "Price", "Cost", "\x83\x7CPrice + Price", "\x83\x7CPrice + Cost"},
    {1, "Price", "Cost", "\x92\x50\x89\xBF*Price+\x83\x7C\x83\x43\x83\x93\x83\x67",
     "\x92\x50\x89\xBF*Cost+\x83\x7C\x83\x43\x83\x93\x83\x67"},
    {1, "\x83\x7C\x83\x43\x83\x93\x83\x67", "\x93\x5F\x90\x94",
     "(\x83\x7C\x83\x43\x83\x93\x83\x67)-\x92\x50\x89\xBF+\x83\x7C\x83\x43\x83\x93\x83\x67",
     "(\x93\x5F\x90\x94)-\x92\x50\x89\xBF+\x93\x5F\x90\x94"},
    {0, "Twice", "Doubled", "Twice(Price) + Twice(Twice (Qty))", "Doubled(Price) + Doubled(Doubled (Qty))"},
    {0, "Twice", "T", "Pair(Twice(Qty), Price) - Twice(1)", "Pair(T(Qty), Price) - T(1)"},
    {0, "Pair", "Minus", "Twice(Pair(Price, Qty))", "Twice(Minus(Price, Qty))"},
    {1, "Nowhere", "Cost", "Price + Qty", "Price + Qty"},
};

}  // namespace

TEST(Rename, TextTreeAndValueAgreeWithAFreshParse) {
    LeakCheck leaks;
    for (const RenameCase &c : kCases) {
        SCOPED_TRACE(c.text);
        Host h;
        HEXP exp = h.parse(c.text, "E");
        ASSERT_NE(exp, nullptr);
        std::string before = valueOf(h.ec, exp);
        size_t blockBefore = SvcSize(exp->text);
        gInputValues[c.to] = gInputValues[c.from];

        EXPECT_EQ(ZEMRenameExpressionItem(h.ec, c.kind, c.from, c.to), 0);
        EXPECT_STREQ(exp->text, c.expected);
        long growth = (long)strlen(c.expected) - (long)strlen(c.text);
        EXPECT_EQ(SvcSize(exp->text), blockBefore + (growth > 0 ? growth : 0))
            << "the block grows by the growth alone";

        HEXP fresh = h.parse(c.expected);
        ASSERT_NE(fresh, nullptr);
        EXPECT_EQ(shape(exp->root), shape(fresh->root));
        EXPECT_EQ(ZEMDestroyEXP(h.ec, fresh), 1);
        if (exp->root->kind != NodeSet && exp->root->kind != NodeRange) {
            EXPECT_NE(before, "(fail)");
            EXPECT_EQ(valueOf(h.ec, exp), before);
        }
    }
}

TEST(Rename, TheItemAndEveryExpressionGetTheName) {
    LeakCheck leaks;
    Host h;
    HEXP a = h.parse("Price * Qty", "A");
    HEXP b = h.parse("A() + Price", "B");
    HEXP c = h.parse("Qty", "C");
    ASSERT_TRUE(a && b && c);
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "Cost"), 0);
    EXPECT_STREQ(a->text, "Cost * Qty");
    EXPECT_STREQ(b->text, "A() + Cost");
    EXPECT_STREQ(c->text, "Qty");
    ExpItem got = {};
    EXPECT_EQ(ZEMGetExpressionVariable(h.ec, &got, "Cost"), 1);
    EXPECT_EQ(ZEMGetExpressionVariable(h.ec, &got, "Price"), 0);
    EXPECT_TRUE(ZEMIsItemUsed(h.ec, b, ZEM_ITEM_INPUT, "Cost")) << "through A";
    EXPECT_FALSE(ZEMIsItemUsed(h.ec, b, ZEM_ITEM_INPUT, "Price"));

    // Kind 3 renames an input item too; the function store is not searched.
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_KEYWORD, "Qty", "Count"), 0);
    EXPECT_STREQ(c->text, "Count");
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Twice", "Thrice"), 0);
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_FUNCTION, "Cost", "Value"), 0);
    EXPECT_STREQ(a->text, "Cost * Count") << "neither is the other kind's item";
    EXPECT_EQ(ZEMRenameExpressionItem(nullptr, 1, "Cost", "Value"), 0);
    EXPECT_EQ(ZEMRenameExpressionItem(h.ec, 1, "Cost", ""), 0);
    EXPECT_STREQ(a->text, "Cost * Count") << "an empty name changes nothing";
}

TEST(Rename, ANamedFormulaOfTheItemsNameIsLeftAlone) {
    LeakCheck leaks;
    Host h;
    // A formula may share an input item's name: names are unique against
    // formulas and functions only.
    ASSERT_NE(h.parse("Qty * 2", "Price"), nullptr);
    HEXP e = h.parse("Price() + Price", "E");
    ASSERT_NE(e, nullptr);
    std::string before = valueOf(h.ec, e);
    gInputValues["Cost"] = gInputValues["Price"];
    ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "Cost");
    EXPECT_STREQ(e->text, "Price() + Cost");
    EXPECT_EQ(valueOf(h.ec, e), before);
}

TEST(Rename, ALongNameIsCutToTheFieldAndTheTextsAgree) {
    LeakCheck leaks;
    Host h;
    HEXP e = h.parse("Price + 1", "E");
    std::string longName(70, 'n');
    ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", longName.c_str());
    std::string cut(64, 'n');
    ExpItem got = {};
    EXPECT_EQ(ZEMGetExpressionVariable(h.ec, &got, cut.c_str()), 1);
    EXPECT_EQ(std::string(e->text), cut + " + 1");
}

TEST(Rename, OutOfMemoryLeavesOneExpressionWholeAndDoesTheOthers) {
    const char *texts[] = {"Twice(Price) + Price * Qty", "Price, Qty, Price"};
    const char *renamed[] = {"Twice(LongerName) + LongerName * Qty", "LongerName, Qty, LongerName"};
    std::string oldShape[2], newShape[2];
    {
        Host h;
        for (int i = 0; i < 2; i++) oldShape[i] = shape(h.parse(texts[i])->root);
        ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "LongerName");
        for (int i = 0; i < 2; i++) newShape[i] = shape(h.parse(renamed[i])->root);
    }
    int failedInRename = 0;
    EachAllocationFails([&](int) {
        Host h(false);
        HEXP exp[2] = {};
        for (int i = 0; i < 2; i++) {
            uint16_t type;
            exp[i] = ZEMParseString(h.ec, texts[i], nullptr, nullptr, &type);
        }
        if (!h.ec || !exp[0] || !exp[1] || !ZEMGetExpressionCount(h.ec) ||
            ZEMGetExpressionCount(h.ec) != 2)
            return;
        ExpItem *item = nullptr;
        for (unsigned i = 0; h.ec->inputItems && i < SvcArrayCount(h.ec->inputItems); i++) {
            ExpItem **at = (ExpItem **)SvcArrayLock(h.ec->inputItems, i);
            if (*at && strcmp((*at)->name, "Price") == 0) item = *at;
            SvcArrayUnlock(h.ec->inputItems);
        }
        if (!item) return;
        EXPECT_EQ(ZEMRenameExpressionItem(h.ec, ZEM_ITEM_INPUT, "Price", "LongerName"), 0);
        EXPECT_STREQ(item->name, "LongerName") << "the item has its name in any case";
        int untouched = 0;
        for (int i = 0; i < 2; i++) {
            bool old = strcmp(exp[i]->text, texts[i]) == 0;
            untouched += old;
            EXPECT_EQ(shape(exp[i]->root), old ? oldShape[i] : newShape[i]) << exp[i]->text;
            if (!old) {
                EXPECT_STREQ(exp[i]->text, renamed[i]);
            }
        }
        EXPECT_LE(untouched, 1) << "one failure stops one expression only";
        failedInRename += untouched;
    });
    EXPECT_GT(failedInRename, 0) << "some failure fell inside the rename";
}

// ---- The old-block reader's word rewrite.

struct KeywordCase {
    unsigned codePage;
    const char *text;
    const char *expected;
    int prefixed;
};

const KeywordCase kKeywordCases[] = {
    {932, "Months + 1", "_Months + 1", 1},
    {932, "Monthly + Day", "Monthly + _Day", 1},
    {932, "(days)*2,YEARS-hour/Minute%second|x", "(_days)*2,_YEARS-_hour/_Minute%_second|x", 5},
    {932, "\"Day\" + Hour", "\"Day\" + _Hour", 1},
    {932, "\"a Day\"+Daily", "\"a Day\"+Daily", 0},
    {932, "  Year\t\r\nYear  ", "  _Year\t\r\n_Year  ", 2},
    {932, "'a Day b'", "'a _Day b'", 1},
    {932, "Dayss + S + Days.x", "Dayss + S + Days.x", 0},
    {932, "", "", 0},
    {932, "\x83|Months", "\x83|Months", 0},       // 0x7C is the trail of a character
    {1252, "\x83|Months", "\x83|_Months", 1},     // here it is a delimiter
    {932, "\x8A\x7C(Second)", "\x8A\x7C(_Second)", 1},
    {1252, "Hours\xE9 + Hours", "Hours\xE9 + _Hours", 1},
};

TEST(RewriteKeywordNames, PrefixesClashingWordsInBothCodePages) {
    uint32_t before = ZEMGetSystemCodePage();
    for (const KeywordCase &c : kKeywordCases) {
        SCOPED_TRACE(c.text);
        ASSERT_EQ(ZEMSetSystemCodePage(c.codePage), 1);
        size_t room = strlen(c.text) + (size_t)c.prefixed + 1;
        std::string out(room + 8, '\x7F');
        EXPECT_EQ(rewriteKeywordNames(&out[0], c.text), c.prefixed);
        EXPECT_STREQ(out.c_str(), c.expected);
        EXPECT_EQ(out.substr(room), std::string(8, '\x7F')) << "nothing written past the room";
    }
    ZEMSetSystemCodePage(before);
}
