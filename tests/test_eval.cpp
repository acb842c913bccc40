// The evaluator: the two exits and their buffers, host callbacks, operators
// with their nulls, date nodes, the unescape rule in both code pages,
// argument vectors, the depth bound and allocation failures. The arithmetic
// itself is the oracle's.
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/startup.h"
#include "eval/convert.h"
#include "eval/eval.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "services/values.h"
#include "support.h"

namespace {

struct Host {
    HEC ec;
    explicit Host(uint16_t flags = 0) : ec(ZEMCreateEC(nullptr, nullptr, nullptr, flags)) {
        gInputValues.clear();
        gInputCalls.clear();
    }
    ~Host() { ZEMDestroyEC(ec); }
    void input(const char *name, int type, const std::string &text, ZEMInputCallback cb = TableInput) {
        gInputValues[name] = text;
        AddItem(ec, ZEM_ITEM_INPUT, name, type, {.callback = Proc(cb)});
    }
    void function(const char *name, int type, std::vector<ExpParam> params, ZEMFunctionCallback cb) {
        AddItem(ec, ZEM_ITEM_FUNCTION, name, type,
                {.required = (int)params.size(), .callback = Proc(cb), .params = params});
    }
    HEXP parse(const char *text, const char *name = nullptr) { return ParseOk(ec, text, name); }
};

std::string evaluate(HEC ec, HEXP exp) {
    Number out = {};
    if (!ZEMEvaluateExpression(ec, exp, 25, &out)) return "(fail)";
    return ((ExpRecord *)exp)->resultType == ZEM_TYPE_DATETIME ? DateText(&out) : NumberText(&out);
}


}  // namespace

TEST(EvalExit, StringIntoAFixedBuffer) {
    LeakCheck leaks;
    Host h;
    HEXP exp = h.parse("'hello'");
    struct { int32_t size; int result; const char *expect; size_t written; } cases[] = {
        {0, 1, "\x06\x00\x00\x00", 4}, {3, 1, "hel", 3}, {5, 1, "hello", 5},  // size 0: the need
        {6, 1, "hello", 6}, {20, 1, "hello", 6}, {-1, 0, "", 0},  // the rest of the buffer stays
    };
    for (auto &c : cases) {
        char buffer[32];
        memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(c.result, ZEMEvaluateExpression(h.ec, exp, c.size, buffer)) << c.size;
        EXPECT_EQ(std::string(c.expect, c.written) + std::string(32 - c.written, '#'),
                  std::string(buffer, 32)) << c.size;
    }
}

TEST(EvalExit, ValuesAndWhatGivesZero) {
    LeakCheck leaks;
    Host h(ECFlagRangesAndSets);
    h.input("K", ZEM_TYPE_KEYWORD, "word");
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("2 * 3.5"), 0, &out));  // size plays no part
    EXPECT_EQ("7", NumberText(&out));
    char buffer[8] = "keep";
    ExpRecord empty = {};
    empty.context = h.ec;
    for (HEXP exp : {(HEXP) nullptr, (HEXP)&empty, h.parse("K"), h.parse("1, 2"), h.parse("1 AND 2")}) {
        EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, exp, sizeof buffer, buffer));
        uint32_t length = 7;
        void *block = nullptr;
        EXPECT_EQ(0, ZEMEvaluateExpressionExt(h.ec, exp, &length, &block));
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(7u, length);
    }
    EXPECT_STREQ("keep", buffer);
    EXPECT_EQ(2u, gInputCalls.size()) << "the keyword item's value is made, then dropped";
    EXPECT_EQ(0, ZEMEvaluateExpression(nullptr, h.parse("1"), 25, &out));
}

TEST(EvalExit, GrowingExitSizesTheHostsBlock) {
    LeakCheck leaks;
    Host h;
    h.input("S", ZEM_TYPE_STRING, std::string(70000, 'x'));
    uint32_t length = 0;
    void *block = nullptr;  // made: one byte more than the text with its NUL
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("'abc'"), &length, &block));
    EXPECT_STREQ("abc", (char *)block);
    EXPECT_EQ(4u, length);
    EXPECT_EQ(5u, ZEMMemSize(block));
    void *same = block;  // large enough: stays where it is
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("'ab'"), &length, &block));
    EXPECT_EQ(same, block);
    EXPECT_EQ(3u, length);
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("S"), &length, &block));  // grown
    EXPECT_EQ(70000u, strlen((char *)block));
    EXPECT_EQ(70002u, ZEMMemSize(block));
    EXPECT_EQ(70001u & 0xFFFF, length);
    ZEMMemFree(block);
    block = nullptr;  // with no block to take it a Number fails
    EXPECT_EQ(0, ZEMEvaluateExpressionExt(h.ec, h.parse("1 + 1"), &length, &block));
}

int ZEMCALL moveThenFail(HEC, HEXP, int32_t, void **value, const char *, void **) {
    SvcFree(*value);
    *value = SvcAlloc(400);
    return 0;
}

TEST(EvalCallbacks, InputsFailuresAndMovedBlocks) {
    LeakCheck leaks;
    Host h;
    h.input("Price", ZEM_TYPE_NUMBER, "12.50");
    h.input("Who", ZEM_TYPE_STRING, "Ann");
    h.input("A", ZEM_TYPE_NUMBER, "fail");
    h.input("C", ZEM_TYPE_NUMBER, "1", nullptr);  // no callback
    h.function("F", ZEM_TYPE_STRING, {}, moveThenFail);
    HEXP inner = h.parse("Price * 2", "Twice");
    HEXP outer = h.parse("Twice() + Price");
    EXPECT_EQ("37.5", evaluate(h.ec, outer));
    EXPECT_EQ("Ann", EvalText(h.ec, h.parse("Who")));
    ASSERT_EQ(3u, gInputCalls.size());
    EXPECT_EQ(inner, gInputCalls[0].current) << "inside a reference the referred expression";
    EXPECT_EQ(outer, gInputCalls[1].current);
    EXPECT_EQ("Price", gInputCalls[0].name);
    EXPECT_EQ(25, gInputCalls[0].size);
    EXPECT_EQ(50, gInputCalls[2].size);
    for (const char *text : {"A", "1 + A", "C * 2"}) EXPECT_EQ("(fail)", evaluate(h.ec, h.parse(text)));
    gInputCalls.clear();
    EXPECT_EQ("(fail)", evaluate(h.ec, h.parse("A + Price")));
    EXPECT_EQ(2u, gInputCalls.size()) << "both sides are evaluated";
    HEXP usesPrice = h.parse("Price + 1");
    ASSERT_EQ(1, ZEMDelExpItemNoCheck(h.ec, ZEM_ITEM_INPUT, "Price"));
    Number out = {}, before = out;
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, usesPrice, 25, &out)) << "a vanished item";
    EXPECT_EQ(0, memcmp(&before, &out, sizeof out)) << "a failure leaves the buffer alone";
    EXPECT_EQ("(fail)", EvalText(h.ec, h.parse("F()")));
}

int ZEMCALL fortyTwo(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *result) {
    SvcNumFromText((Number *)result, "42");
    return 1;
}

TEST(EvalOperators, NullsCallbacksAndCombinationsWithoutARule) {
    LeakCheck leaks;
    Host h(ECFlagModulo | ECFlagDateMinusString);
    h.input("N", ZEM_TYPE_NUMBER, "null");
    h.input("X", ZEM_TYPE_NUMBER, "8");
    h.input("D", ZEM_TYPE_DATETIME, "1/31/2001");
    h.input("Z", ZEM_TYPE_DATETIME, "null");
    h.input("S", ZEM_TYPE_STRING, "x");
    struct { const char *text, *expect; } cases[] = {
        {"5 / 0", "0"}, {"N + 1", "1"}, {"1 - N", "1"}, {"N * 3", "0"}, {"X / N", "0"},
        {"N / X", "0"}, {"N", "null"}, {"D + N", "2001-1-31 0:0:0"},
        {"D + N MONTH", "2001-1-31 0:0:0"}, {"Z + 1", "null"}, {"Z + 1 MONTH", "null"},
        {"D + (1 + 1) MONTH", "2001-3-31 0:0:0"}, {"D - D", "0"}, {"D - Z", "null"},
        {"Z - D", "null"},
    };
    for (auto &c : cases) EXPECT_EQ(c.expect, evaluate(h.ec, h.parse(c.text))) << c.text;
    h.ec->operators[OP_PLUS].callbacks[ZEM_TYPE_STRING] = fortyTwo;  // lets S + S parse
    gInputCalls.clear();
    for (const char *text : {"7 % 2", "D - S", "S + S"})  // no rule: nothing is evaluated
        EXPECT_EQ("(fail)", EvalText(h.ec, h.parse(text))) << text;
    EXPECT_EQ(0u, gInputCalls.size());
    h.ec->operators[OP_DIVIDE].callbacks[ZEM_TYPE_NUMBER] = fortyTwo;  // takes over its operator
    EXPECT_EQ("42", evaluate(h.ec, h.parse("X / 0")));
}

// A string leaf has the escape bit when \' or '' starts at a character;
// the evaluator then unescapes it, walking by characters.
TEST(EvalStrings, UnescapeInBothCodePages) {
    LeakCheck leaks;
    struct { const char *text, *in932, *in1252; int bit932, bit1252; } cases[] = {
        {"a''b", "a'b", "a'b", 1, 1}, {"a\\'b", "a'b", "a'b", 1, 1}, {"'''", "''", "''", 1, 1},
        {"\\\\'", "\\'", "\\'", 1, 1}, {"a\\b", "a\\b", "a\\b", 0, 0},
        {"\x83\x5c''", "\x83\x5c'", "\x83''", 1, 1},  // in 932 one character, no backslash
        {"\x83\x5c'x", "\x83\x5c'x", "\x83'x", 0, 1}, {"z\x83", "z\x83", "z\x83", 0, 0},
    };
    for (unsigned page : {932u, 1252u}) {
        ASSERT_EQ(1, ZEMSetSystemCodePage(page));
        Host h;
        for (auto &c : cases) {
            {
                LockGuard g(&gParserLock);
                StartParse(h.ec, "", 0);
                ExpNode *made = MakeLeaf(NodeString, SvcStrCopy(c.text));
                EXPECT_EQ(page == 932 ? c.bit932 : c.bit1252, made->flags & StringHasEscape) << c.text;
                FreeNode(h.ec, made);
            }
            ExpNode node = {};
            node.kind = NodeString, node.dataType = ZEM_TYPE_STRING, node.flags = StringHasEscape;
            node.left = (void *)c.text;
            char *value = (char *)EvalNode(h.ec, nullptr, &node);
            EXPECT_STREQ(page == 932 ? c.in932 : c.in1252, value) << c.text << " in " << page;
            EXPECT_EQ(strlen(c.text) + 1, SvcSize(value)) << "the stored length plus 1";
            SvcFree(value);
        }
    }
    ZEMSetSystemCodePage(932);
}

// A call as "name size current: entries", entries shown as gEntryTypes says.
std::vector<std::string> gSeen;
std::vector<int> gEntryTypes;

int ZEMCALL seeingFunction(HEC, HEXP current, int32_t size, void **value, const char *name,
                           void **arguments) {
    std::string call = std::string(name) + " " + std::to_string(size) + " " +
                       std::to_string((uintptr_t)current) + ":";
    for (size_t i = 0; arguments && i < gEntryTypes.size(); i++)
        call += " " + (!arguments[i] ? "null"
                       : gEntryTypes[i] == ZEM_TYPE_NUMBER ? NumberText(arguments[i])
                                                           : std::string((const char *)arguments[i]));
    gSeen.push_back(arguments ? call : call + " (no vector)");
    if (size == ZEM_VALUE_SIZE) SvcNumFromText((Number *)*value, "1");
    else PutText(value, size, "done");
    return 1;
}

TEST(EvalArguments, OneEntryADeclaredParameter) {
    LeakCheck leaks;
    Host h(ECFlagQualifiers);
    h.input("X", ZEM_TYPE_NUMBER, "5");
    h.input("Bad", ZEM_TYPE_NUMBER, "fail");
    h.input("Word", ZEM_TYPE_STRING, "w");
    AddItem(h.ec, ZEM_ITEM_KEYWORD, "Up", 300);
    h.function("F", ZEM_TYPE_NUMBER, {{0, 0, 0}, {0, 2, 0}, {1, 0, 0}}, seeingFunction);
    h.function("G", ZEM_TYPE_STRING, {{1, 300, 0}, {0, 0, 0}}, seeingFunction);
    h.function("None", ZEM_TYPE_NUMBER, {}, seeingFunction);
    struct { const char *text; std::vector<int> shown; const char *entries; size_t inputCalls; } cases[] = {
        {"F(X, Word, X)", {0, 2, 2}, "F 25 %: 5 w X", 2},  // aggregate: the name, no value
        {"F(Bad, Word, X)", {0, 2, 2}, "F 25 %: null w X", 2},  // the call goes on
        {"G(Up, 7)", {2, 0}, "G 50 %: Up 7", 0},  // a keyword arrives as its text
        {"None()", {}, "None 25 %: (no vector)", 0},
    };
    for (auto &c : cases) {
        gSeen.clear();
        gInputCalls.clear();
        gEntryTypes = c.shown;
        HEXP exp = h.parse(c.text);
        char buffer[30];
        ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, exp, sizeof buffer, buffer));
        std::string want = c.entries;
        want.replace(want.find('%'), 1, std::to_string((uintptr_t)exp));
        EXPECT_EQ(std::vector<std::string>{want}, gSeen);
        EXPECT_EQ(c.inputCalls, gInputCalls.size()) << c.text;
    }
}

// The depth bound: a left-leaning run of n operators is n + 1 levels deep.
TEST(EvalDepth, TheBoundHoldsExactly) {
    LeakCheck leaks;
    Host h;
    for (int n : {998, 999, 1000, 20000}) {
        std::string text = "1";
        for (int i = 0; i < n; i++) text += i % 3 != 1 ? " + 1" : " - 1";
        EXPECT_EQ(n < 1000 ? std::to_string(1 + n - 2 * (n / 3 + (n % 3 > 1))) : "(fail)",
                  evaluate(h.ec, h.parse(text.c_str()))) << n;
    }
}

int ZEMCALL pickyFunction(HEC, HEXP, int32_t size, void **value, const char *, void **args) {
    if (!args || !args[0] || !args[1]) return 0;  // a null entry fails the call
    std::string text = std::string((char *)args[0]) + "/" + std::string(60, '-');
    return PutText(value, size, text.c_str());
}

TEST(EvalAllocation, EachFailureGivesZeroAndLeavesNothing) {
    LeakCheck leaks;
    Host h;
    h.input("S", ZEM_TYPE_STRING, "name");
    h.input("N", ZEM_TYPE_NUMBER, "2.5");
    h.input("D", ZEM_TYPE_DATETIME, "3/4/2005");
    h.function("Join", ZEM_TYPE_STRING, {{0, 2, 0}, {0, 0, 0}}, pickyFunction);
    h.parse("N * 2 - (D - 3/1/2005)", "Inner");
    HEXP text = h.parse("Join(S || 'it''s', Inner() / 2) || '.'");
    const std::string expected = "nameit's/" + std::string(60, '-') + ".";
    int runs = EachAllocationFails([&](int n) {
        void *block = nullptr;
        uint32_t length = 0;
        int result = ZEMEvaluateExpressionExt(h.ec, text, &length, &block);
        EXPECT_EQ(SvcFailAllocPending() ? expected : "", result ? (char *)block : "") << n;
        ZEMMemFree(block);
    });
    EXPECT_GT(runs, 12);
}
