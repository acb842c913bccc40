// Tree leaves: what they take from the latest token and the stores, the
// escape bit in both code pages, negated numbers, and failed allocations.
#include <string.h>

#include <string>

#include "context/startup.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "support.h"

namespace {

char *copyOf(const char *text) {
    char *copy = (char *)SvcAlloc(strlen(text) + 1);
    strcpy(copy, text);
    return copy;
}

// A parse under way with the latest token at offset 3, length 5.
struct Session {
    LockGuard lock{&gParserLock};
    HEC ec;
    explicit Session(uint16_t flags = 0) {
        ec = ZEMCreateEC(0, 0, 0, flags);
        StartParse(ec, "", 0);
        gParse.tokenStart = 3;
        gParse.tokenLength = 5;
    }
    ~Session() { ZEMDestroyEC(ec); }
};

TEST(Tree, OperatorKinds) {
    for (int kind : {'%', '*', '+', '-', '/', '|'}) EXPECT_TRUE(isOperatorKind(kind)) << kind;
    for (int kind : {0, 40, 44, 258, 259, 261, 262, 263, 264, 270, 271})
        EXPECT_FALSE(isOperatorKind(kind)) << kind;
    FreeNode(0, 0);  // nothing to free
    FreeArgumentList(0, 0);
}

TEST(Tree, NameLeavesLookUpInputsThenKeywords) {
    LeakCheck leaks;
    Session s;
    AddItem(s.ec, ZEM_ITEM_INPUT, "Price", 0);
    AddItem(s.ec, ZEM_ITEM_INPUT, "Both", 2);
    AddItem(s.ec, ZEM_ITEM_KEYWORD, "Both", 300);
    AddItem(s.ec, ZEM_ITEM_KEYWORD, "Desc", 256);
    AddItem(s.ec, ZEM_ITEM_KEYWORD, "Exact", 257, {.optional = 1});
    struct {
        const char *name;
        int type;
    } cases[] = {{"Price", 0},  {"price", -1}, {"Both", 2},   // an input hides a keyword
                 {"DESC", 256}, {"Exact", 257}, {"EXACT", -1}, {"Nothing", -1}};
    for (auto &t : cases) {
        gParse.error = ExpError{};
        ExpNode *node = MakeLeaf(NodeInput, copyOf(t.name));
        ASSERT_NE(nullptr, node);
        EXPECT_EQ(NodeInput, node->kind);
        EXPECT_EQ(t.type, node->dataType) << t.name;
        EXPECT_STREQ(t.name, (const char *)node->left);
        EXPECT_EQ(3u, node->start);
        EXPECT_EQ(5u, node->length);
        EXPECT_EQ(t.type == -1 ? (unsigned)ERR_VAR : 0u, gParse.error.code) << t.name;
        FreeNode(s.ec, node);
    }
}

TEST(Tree, StringEscapeBitWalksByCharacters) {
    LeakCheck leaks;
    struct {
        const char *text;
        int in932, in1252;
    } cases[] = {
        {"ab", 0, 0},           {"a''b", 1, 1},         {"a\\'b", 1, 1},
        {"a\\b'", 0, 0},        {"", 0, 0},             {"''", 1, 1},
        {"\x83\x5c'", 0, 1},    // a trail byte that looks like a backslash
        {"\x83\x5c''", 1, 1},   {"\x83\x5c\\'", 1, 1},
    };
    for (unsigned page : {932u, 1252u}) {
        ASSERT_EQ(1, ZEMSetSystemCodePage(page));
        Session s;
        for (auto &t : cases) {
            ExpNode *node = MakeLeaf(NodeString, copyOf(t.text));
            EXPECT_EQ(ZEM_TYPE_STRING, node->dataType);
            EXPECT_EQ(page == 932 ? t.in932 : t.in1252, node->flags & StringHasEscape)
                << t.text << " in " << page;
            FreeNode(s.ec, node);
        }
    }
    ZEMSetSystemCodePage(932);
}

TEST(Tree, DateLeavesAreCheckedButStayText) {
    LeakCheck leaks;
    Session s;
    ExpNode *good = MakeLeaf(NodeDate, copyOf("1/2/2000"));
    EXPECT_EQ(ZEM_TYPE_DATETIME, good->dataType);
    EXPECT_STREQ("1/2/2000", (const char *)good->left);
    EXPECT_EQ(0u, gParse.error.code);
    ExpNode *bad = MakeLeaf(NodeDate, copyOf("32/13/2000"));
    EXPECT_EQ(-1, bad->dataType);
    EXPECT_EQ(ERR_INVALIDDATE, gParse.error.code);
    EXPECT_EQ(3u, gParse.error.start);
    EXPECT_EQ(5u, gParse.error.length);
    FreeNode(s.ec, good);
    FreeNode(s.ec, bad);
}

TEST(Tree, NumbersKeepOrNegateTheirValue) {
    LeakCheck leaks;
    Session s;
    for (int negate : {0, 1}) {
        Number *value = (Number *)SvcAlloc(ZEM_VALUE_SIZE);
        SvcNumFromInt(value, 42);
        ExpNode *node = MakeNumber(value, negate);
        EXPECT_EQ(NodeNumber, node->kind);
        EXPECT_EQ(ZEM_TYPE_NUMBER, node->dataType);
        EXPECT_EQ(value, node->left);
        EXPECT_EQ(negate ? -42 : 42, SvcNumToLong(value));
        EXPECT_EQ(3u, node->start);
        FreeNode(s.ec, node);
    }
}

TEST(Tree, FailedLeavesLeaveTheValueWithTheCaller) {
    LeakCheck leaks;
    Session s;
    struct {
        int kind;
        const char *text;
    } cases[] = {{NodeInput, "x"}, {NodeString, "x"}, {NodeDate, "1/2/2000"}, {NodeNumber, 0}};
    for (auto &t : cases) {
        void *value = t.text ? (void *)copyOf(t.text) : SvcAlloc(ZEM_VALUE_SIZE);
        SvcFailAllocAfter(1);
        ExpNode *node = t.kind == NodeNumber ? MakeNumber(value, 1) : MakeLeaf(t.kind, value);
        SvcFailAllocAfter(0);
        EXPECT_EQ(nullptr, node);
        EXPECT_EQ(ERR_MEMORY, gParse.error.code);
        EXPECT_EQ(0u, gParse.error.start);
        EXPECT_EQ(0u, gParse.error.length);
        SvcFree(value);
    }
    // NewNode reports through the parser's message, at the scanner's place.
    StartParse(s.ec, "abc", 0);
    NextToken();
    SvcFree(gParse.tokenValue);
    SvcFailAllocAfter(1);
    EXPECT_EQ(nullptr, NewNode());
    SvcFailAllocAfter(0);
    EXPECT_EQ(ERR_MEMORY, gParse.error.code);
    EXPECT_EQ(3u, gParse.error.length);
}

}  // namespace
