// The evaluator: the two exits and their buffers, host callbacks and who
// owns which block, the operators with their nulls, date arithmetic nodes,
// concatenation and the unescape rule in both code pages, named formulas,
// argument vectors, the depth bound, and allocation failures.
#include <string.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "eval/convert.h"
#include "eval/eval.h"
#include "language/tree.h"
#include "services/values.h"
#include "support.h"

namespace {

// ---- A host: input items whose values come from a table.

struct Host {
    HEC ec;
    explicit Host(uint16_t flags = 0) : ec(ZEMCreateEC(nullptr, nullptr, nullptr, flags)) {
        gInputValues.clear();
        gInputCalls.clear();
    }
    ~Host() { ZEMDestroyEC(ec); }
    void input(const char *name, int type, const std::string &text,
               ZEMInputCallback cb = TableInput) {
        gInputValues[name] = text;
        AddItem(ec, ZEM_ITEM_INPUT, name, type, {.callback = Proc(cb)});
    }
    // Parameters are {mode, type}; all of them are required unless told.
    void function(const char *name, int type, std::vector<ExpParam> params, ZEMFunctionCallback cb,
                  int required = -1) {
        int count = (int)params.size();
        AddItem(ec, ZEM_ITEM_FUNCTION, name, type,
                {.required = required < 0 ? count : required, .callback = Proc(cb), .params = params});
    }
    HEXP parse(const char *text, const char *name = nullptr) { return ParseOk(ec, text, name); }
    void setOperator(int code, ZEMOperatorCallback cb) {
        ec->operators[code].callbacks[ZEM_TYPE_NUMBER] = cb;
    }
};

Number number(const char *text) {
    Number n = {};
    SvcNumFromText(&n, text);
    return n;
}

bool isNumber(const Number &value, const char *text) {
    Number expected = number(text);
    return value.bytes[0] != 0 && SvcNumCompare(&value, &expected) == 0;
}

DateFields fieldsOf(const DateTime &value) {
    DateFields f = {};
    SvcDateUnpack(value.bytes + 1, value.bytes[0], &f);
    return f;
}

std::string ymd(const DateTime &value) {
    if (!value.bytes[0]) return "null";
    DateFields f = fieldsOf(value);
    char out[40];
    snprintf(out, sizeof out, "%d-%d-%d", (int)f.year, (int)f.month, (int)f.day);
    return out;
}

// Hand-built trees for what the parser would refuse or cannot say.
ExpNode leaf(int kind, int type, const void *left, uint16_t flags = 0) {
    ExpNode n = {};
    n.kind = kind;
    n.dataType = (int16_t)type;
    n.left = (void *)left;
    n.flags = flags;
    return n;
}

struct NodeList {
    HARRAY list = 0;
    explicit NodeList(std::vector<ExpNode *> nodes) {
        for (ExpNode *node : nodes) {
            list = list ? SvcArrayGrow(list, -1) : SvcArrayCreate(sizeof(ExpNode *), 1);
            *(ExpNode **)SvcArrayLock(list, SvcArrayCount(list) - 1) = node;
            SvcArrayUnlock(list);
        }
    }
    ~NodeList() { SvcArrayDestroy(list); }
};

ExpRecord recordOf(HEC ec, ExpNode *root) {
    ExpRecord r = {};
    r.root = root;
    r.context = ec;
    r.resultType = root ? (uint16_t)root->dataType : 0;
    return r;
}

}  // namespace

// ---- Exits and buffers

TEST(EvalExit, StringIntoAFixedBuffer) {
    LeakCheck leaks;
    Host h;
    HEXP exp = h.parse("'hello'");
    struct Case {
        int32_t size;
        int result;
        const char *expect;  // bytes written, the rest stays '#'
        size_t written;
    } cases[] = {
        {0, 1, "\x06\x00\x00\x00", 4},  // the size the host needs, as 32 bits
        {3, 1, "hel", 3},               // cut, no terminator
        {5, 1, "hello", 5},             // exactly the letters: still no terminator
        {6, 1, "hello", 6},
        {20, 1, "hello", 6},            // no more than length plus 1
        {-1, 0, "", 0},
    };
    for (const Case &c : cases) {
        char buffer[32];
        memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(c.result, ZEMEvaluateExpression(h.ec, exp, c.size, buffer)) << c.size;
        EXPECT_EQ(0, memcmp(buffer, c.expect, c.written)) << c.size;
        for (size_t i = c.written; i < sizeof buffer; i++)
            ASSERT_EQ('#', buffer[i]) << "byte " << i << " with size " << c.size;
    }
}

TEST(EvalExit, ValuesAndWhatGivesZero) {
    LeakCheck leaks;
    Host h(ECFlagRangesAndSets);
    h.input("K", ZEM_TYPE_KEYWORD, "word");
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("2 * 3.5"), 0, &out));  // size plays no part
    EXPECT_TRUE(isNumber(out, "7"));
    DateTime d;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("1/31/2001"), 25, &d));
    EXPECT_EQ("2001-1-31", ymd(d));

    char buffer[8] = "keep";
    ExpRecord empty = recordOf(h.ec, nullptr);
    HEXP keyword = h.parse("K");
    HEXP set = h.parse("1, 2");
    HEXP range = h.parse("1 AND 2");
    for (HEXP exp : {(HEXP) nullptr, &empty, keyword, set, range}) {
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
    HEXP shortText = h.parse("'abc'");
    uint32_t length = 0;

    void *block = nullptr;  // made: one byte more than the text with its NUL
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, shortText, &length, &block));
    EXPECT_STREQ("abc", (char *)block);
    EXPECT_EQ(4u, length);
    EXPECT_EQ(5u, ZEMMemSize(block));
    void *same = block;  // large enough: stays where it is
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("'ab'"), &length, &block));
    EXPECT_EQ(same, block);
    EXPECT_EQ(5u, ZEMMemSize(block));
    EXPECT_EQ(3u, length);

    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("S"), &length, &block));  // grown
    EXPECT_EQ(70000u, strlen((char *)block));
    EXPECT_EQ(70002u, ZEMMemSize(block));
    EXPECT_EQ(70001u & 0xFFFF, length);

    // The growth itself fails: 0, and the host keeps its block.
    ZEMMemFree(block);
    block = ZEMMemAlloc(2);
    length = 9;
    SvcFailAllocAfter(2);  // the literal's buffer, then the growth
    EXPECT_EQ(0, ZEMEvaluateExpressionExt(h.ec, shortText, &length, &block));
    SvcFailAllocAfter(0);
    EXPECT_EQ(2u, ZEMMemSize(block));
    EXPECT_EQ(9u, length);

    // A Number goes into the host's block as it is; the length is not written.
    ZEMMemFree(block);
    block = ZEMMemAlloc(ZEM_VALUE_SIZE);
    Number *n = (Number *)block;
    ASSERT_EQ(1, ZEMEvaluateExpressionExt(h.ec, h.parse("1 + 1"), &length, &block));
    EXPECT_TRUE(isNumber(*n, "2"));
    EXPECT_EQ(9u, length);
    ZEMMemFree(block);
    block = nullptr;  // with no block to take it a Number fails
    EXPECT_EQ(0, ZEMEvaluateExpressionExt(h.ec, h.parse("1 + 1"), &length, &block));
}

// ---- Callbacks and ownership

TEST(EvalCallbacks, InputsGetTheirSizeNameAndCurrentExpression) {
    LeakCheck leaks;
    Host h;
    h.input("Price", ZEM_TYPE_NUMBER, "12.50");
    h.input("Who", ZEM_TYPE_STRING, "Ann");
    h.input("When", ZEM_TYPE_DATETIME, "2/3/2004");
    HEXP inner = h.parse("Price * 2", "Twice");
    HEXP outer = h.parse("Twice() + Price");
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, outer, 25, &out));
    EXPECT_TRUE(isNumber(out, "37.5"));
    ASSERT_EQ(2u, gInputCalls.size());
    EXPECT_EQ(inner, gInputCalls[0].current) << "inside a reference the referred expression";
    EXPECT_EQ(outer, gInputCalls[1].current);
    EXPECT_EQ(25, gInputCalls[0].size);
    EXPECT_EQ("Price", gInputCalls[0].name);

    gInputCalls.clear();
    EXPECT_EQ("Ann", EvalText(h.ec, h.parse("Who")));
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("When"), 25, &out));
    EXPECT_EQ("2004-2-3", ymd(out));
    ASSERT_EQ(2u, gInputCalls.size());
    EXPECT_EQ(50, gInputCalls[0].size);
    EXPECT_EQ(25, gInputCalls[1].size);
}

TEST(EvalCallbacks, FailuresAndVanishedItemsGiveZero) {
    LeakCheck leaks;
    Host h;
    h.input("A", ZEM_TYPE_NUMBER, "fail");
    h.input("B", ZEM_TYPE_NUMBER, "1");
    h.input("C", ZEM_TYPE_NUMBER, "1", nullptr);  // no callback
    Number out = number("5");
    Number before = out;
    for (const char *text : {"A", "A + 1", "1 + A", "C * 2"})
        EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, h.parse(text), 25, &out)) << text;
    HEXP usesB = h.parse("B + 1");
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, usesB, 25, &out));
    ASSERT_EQ(1, ZEMDelExpItemNoCheck(h.ec, ZEM_ITEM_INPUT, "B"));
    before = out;
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, usesB, 25, &out));
    EXPECT_EQ(0, memcmp(&before, &out, sizeof out)) << "a failure leaves the buffer alone";
    // Both sides are evaluated even after the left one failed.
    gInputCalls.clear();
    h.input("D", ZEM_TYPE_NUMBER, "2");
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, h.parse("A + D"), 25, &out));
    EXPECT_EQ(2u, gInputCalls.size());
}

void *gFirstBlock;
int ZEMCALL moveThenFail(HEC, HEXP, int32_t, void **value, const char *) {
    gFirstBlock = *value;
    void *moved = SvcAlloc(400);
    SvcFree(*value);
    *value = moved;
    return 0;
}
int ZEMCALL moveThenSucceed(HEC, HEXP, int32_t, void **value, const char *) {
    const std::string text(120, 'q');
    void *moved = SvcAlloc(text.size() + 1);
    memcpy(moved, text.c_str(), text.size() + 1);
    SvcFree(*value);
    *value = moved;
    return 1;
}
int ZEMCALL functionMoveThenFail(HEC ec, HEXP exp, int32_t size, void **value, const char *name,
                                 void **) {
    return moveThenFail(ec, exp, size, value, name);
}

TEST(EvalCallbacks, AMovedBlockIsTheOneTheEvaluatorKeepsOrFrees) {
    LeakCheck leaks;
    Host h;
    h.input("Fails", ZEM_TYPE_STRING, "", moveThenFail);
    h.input("Grows", ZEM_TYPE_STRING, "", moveThenSucceed);
    h.function("F", ZEM_TYPE_STRING, {}, functionMoveThenFail);
    EXPECT_EQ("(fail)", EvalText(h.ec, h.parse("Fails")));
    EXPECT_EQ("(fail)", EvalText(h.ec, h.parse("F()")));
    EXPECT_EQ(std::string(120, 'q') + "!", EvalText(h.ec, h.parse("Grows || '!'")));
}

// ---- Operators and nulls

std::vector<std::string> gOperatorSaw;
int ZEMCALL recordingOperator(HEC, HEXP, int32_t zero, int32_t s1, void *left, int32_t s2,
                              void *right, int32_t s3, void *result) {
    auto show = [](void *v) {
        NumDigits d;
        if (!NumDecode((Number *)v, &d)) return std::string("null");
        return d.count ? std::string(d.digits, d.count) : std::string("0");
    };
    gOperatorSaw.push_back(show(left) + "," + show(right) + " " + std::to_string(zero) + "/" +
                           std::to_string(s1 + s2 + s3));
    SvcNumFromText((Number *)result, "42");
    return 0;
}

int ZEMCALL idleOperator(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) {
    return 1;
}

TEST(EvalOperators, NullsCountAsZeroAndDivisionByZeroIsZero) {
    LeakCheck leaks;
    Host h;
    h.input("N", ZEM_TYPE_NUMBER, "null");
    h.input("X", ZEM_TYPE_NUMBER, "8");
    struct Case {
        const char *text, *expect;
    } cases[] = {
        {"5 / 0", "0"},      {"N + 1", "1"},   {"1 - N", "1"},
        {"N * 3", "0"},      {"X / N", "0"},  {"N / X", "0"},   {"7 / 2", "3.5"},
        {"1 - 3 * 2", "-5"}, {"X - 2 - 1", "5"}, {"X / 4 / 2", "1"},
        {"1 / 3 * 3", "0.9999999999999999999999999999999999999999"},
    };
    for (const Case &c : cases) {
        Number out = {};
        ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse(c.text), 25, &out)) << c.text;
        EXPECT_TRUE(isNumber(out, c.expect)) << c.text;
    }
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("N"), 25, &out));
    EXPECT_EQ(0, out.bytes[0]) << "a null input alone stays null";
}

TEST(EvalOperators, ACallbackInTheNumberSlotTakesOverItsOperator) {
    LeakCheck leaks;
    Host h;
    h.input("N", ZEM_TYPE_NUMBER, "null");
    h.input("X", ZEM_TYPE_NUMBER, "9");
    h.setOperator(OP_DIVIDE, recordingOperator);
    h.ec->operators[OP_PLUS].callbacks[ZEM_TYPE_DATETIME] = recordingOperator;  // not read
    gOperatorSaw.clear();
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("X / 0"), 25, &out));
    EXPECT_TRUE(isNumber(out, "42"));
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("N / X"), 25, &out));
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("X + 1"), 25, &out));
    EXPECT_TRUE(isNumber(out, "10"));
    EXPECT_EQ((std::vector<std::string>{"9,0 0/75", "null,9 0/75"}), gOperatorSaw)
        << "operands as they came, the null one not made zero";

    // A callback that leaves the result alone leaves the null value.
    h.setOperator(OP_MULTIPLY, idleOperator);
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse("2 * 3"), 25, &out));
    EXPECT_EQ(0, out.bytes[0]);
}

TEST(EvalOperators, CombinationsWithoutARuleGiveNothing) {
    LeakCheck leaks;
    Host h(ECFlagModulo | ECFlagDateMinusString);
    h.input("D", ZEM_TYPE_DATETIME, "1/1/2001");
    h.input("S", ZEM_TYPE_STRING, "x");
    h.ec->operators[OP_PLUS].callbacks[ZEM_TYPE_STRING] = recordingOperator;
    char buffer[30];
    for (const char *text : {"7 % 2", "D - S", "S + S"}) {
        gInputCalls.clear();
        EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, h.parse(text), sizeof buffer, buffer)) << text;
        EXPECT_EQ(0u, gInputCalls.size()) << text << ": nothing is evaluated";
    }
}

// ---- Date arithmetic nodes

TEST(EvalDates, StepsDifferencesAndNulls) {
    LeakCheck leaks;
    Host h;
    h.input("D", ZEM_TYPE_DATETIME, "1/31/2001");
    h.input("Z", ZEM_TYPE_DATETIME, "null");
    h.input("N", ZEM_TYPE_NUMBER, "null");
    struct Case {
        const char *text, *expect;
    } dates[] = {
        {"D + 3", "2001-2-3"},           {"D + 3 DAY", "2001-2-3"},
        {"D + 1 MONTH", "2001-2-28"},    {"D - 2 YEARS", "1999-1-31"},
        {"D - 31", "2000-12-31"},        {"D + N", "2001-1-31"},
        {"D + N MONTH", "2001-1-31"},    {"Z + 1", "null"},
        {"Z + 1 MONTH", "null"},         {"1/31/2001 + 13 MONTH", "2002-2-28"},
        {"D + (1 + 1) MONTH", "2001-3-31"},
    };
    for (const Case &c : dates) {
        DateTime out = {};
        ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse(c.text), 25, &out)) << c.text;
        EXPECT_EQ(c.expect, ymd(out)) << c.text;
    }
    struct Diff {
        const char *text, *expect;  // 0: the null Number
    } diffs[] = {
        {"D - 1/1/2001", "30"}, {"1/1/2001 - D", "-30"}, {"D - D", "0"},
        {"D - Z", nullptr},     {"Z - D", nullptr},
    };
    for (const Diff &c : diffs) {
        Number out = {};
        ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, h.parse(c.text), 25, &out)) << c.text;
        if (c.expect)
            EXPECT_TRUE(isNumber(out, c.expect)) << c.text;
        else
            EXPECT_EQ(0, out.bytes[0]) << c.text;
    }
}

TEST(EvalDates, ALiteralIsReadAgainAtEachEvaluation) {
    LeakCheck leaks;
    Host h;
    ExpNode literal = leaf(NodeDate, ZEM_TYPE_DATETIME, "1/2/2003");
    ExpRecord record = recordOf(h.ec, &literal);
    DateTime out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, &record, 25, &out));
    EXPECT_EQ("2003-1-2", ymd(out));
    literal.left = (void *)"not a date";  // a literal that no longer reads is the null value
    memset(&out, 0x55, sizeof out);
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, &record, 25, &out));
    EXPECT_EQ(0, out.bytes[0]);
}

// ---- Concatenation and unescape

TEST(EvalStrings, UnescapeInBothCodePages) {
    LeakCheck leaks;
    struct Case {
        const char *text, *in932, *in1252;
    } cases[] = {
        {"a''b", "a'b", "a'b"},
        {"a\\'b", "a'b", "a'b"},
        {"'''", "''", "''"},
        {"\\\\'", "\\'", "\\'"},
        {"a\\b", "a\\b", "a\\b"},
        // 0x83 0x5C is one character in 932, whose trail byte is no backslash.
        {"\x83\x5c''", "\x83\x5c'", "\x83''"},
        {"\x83\x5c'x", "\x83\x5c'x", "\x83'x"},
        {"z\x83", "z\x83", "z\x83"},  // a lead byte at the very end
    };
    for (unsigned page : {932u, 1252u}) {
        ASSERT_EQ(1, ZEMSetSystemCodePage(page));
        Host h;
        for (const Case &c : cases) {
            ExpNode node = leaf(NodeString, ZEM_TYPE_STRING, c.text, StringHasEscape);
            char *value = (char *)EvalNode(h.ec, nullptr, &node);
            ASSERT_NE(nullptr, value);
            EXPECT_STREQ(page == 932 ? c.in932 : c.in1252, value) << c.text << " in " << page;
            EXPECT_EQ(strlen(c.text) + 1, SvcSize(value)) << "the stored length plus 1";
            SvcFree(value);
            node.flags = 0;  // without the bit the text is copied as written
            value = (char *)EvalNode(h.ec, nullptr, &node);
            EXPECT_STREQ(c.text, value);
            SvcFree(value);
        }
    }
    ZEMSetSystemCodePage(932);
}

TEST(EvalStrings, Concatenation) {
    LeakCheck leaks;
    Host h;
    h.input("S", ZEM_TYPE_STRING, "mid");
    h.input("Bad", ZEM_TYPE_STRING, "fail");
    h.input("E", ZEM_TYPE_STRING, "");
    EXPECT_EQ("it''s mid!", EvalText(h.ec, h.parse("'it''''s ' || S || '!'")));
    EXPECT_EQ("mid", EvalText(h.ec, h.parse("E || S || E")));
    EXPECT_EQ("(fail)", EvalText(h.ec, h.parse("S || Bad")));
    EXPECT_EQ("(fail)", EvalText(h.ec, h.parse("Bad || S")));
    ExpNode a = leaf(NodeString, ZEM_TYPE_STRING, "ab"), b = leaf(NodeString, ZEM_TYPE_STRING, "cde");
    ExpNode join = leaf('|', ZEM_TYPE_STRING, &a);
    join.right = &b;
    char *value = (char *)EvalNode(h.ec, nullptr, &join);
    EXPECT_STREQ("abcde", value);
    EXPECT_EQ(6u, SvcSize(value)) << "exactly the two lengths plus 1";
    SvcFree(value);
}

// ---- Named formulas

TEST(EvalNamed, EvaluatedAgainAtEachReference) {
    LeakCheck leaks;
    Host h;
    h.input("X", ZEM_TYPE_NUMBER, "3");
    h.parse("X * X", "Square");
    HEXP twice = h.parse("Square() + Square()", "Twice");
    HEXP outer = h.parse("Twice() - 1");
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, outer, 25, &out));
    EXPECT_TRUE(isNumber(out, "17"));
    EXPECT_EQ(4u, gInputCalls.size()) << "no value is kept between references";
    gInputValues["X"] = "4";
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, twice, 25, &out));
    EXPECT_TRUE(isNumber(out, "32"));

    ExpNode missing = leaf(NodeExpression, ZEM_TYPE_NUMBER, "Nowhere");
    ExpRecord record = recordOf(h.ec, &missing);
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, &record, 25, &out));
}

// ---- Argument vectors

struct SeenCall {
    HEXP current;
    int32_t size;
    std::string name;
    std::vector<std::string> entries;  // "null", a number's digits, or a text
};
std::vector<SeenCall> gSeen;
std::vector<int> gEntryTypes;  // how to show each entry of the next calls

int ZEMCALL seeingFunction(HEC, HEXP current, int32_t size, void **value, const char *name,
                           void **arguments) {
    SeenCall call = {current, size, name, {}};
    for (size_t i = 0; arguments && i < gEntryTypes.size(); i++) {
        NumDigits d;
        if (!arguments[i])
            call.entries.push_back("null");
        else if (gEntryTypes[i] == ZEM_TYPE_NUMBER)
            call.entries.push_back(NumDecode((Number *)arguments[i], &d)
                                       ? std::string(d.digits, d.count) : "0");
        else
            call.entries.push_back((const char *)arguments[i]);
    }
    if (!arguments) call.entries.push_back("(no vector)");
    gSeen.push_back(call);
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
    ExpItem kw = {};
    kw.kind = ZEM_ITEM_KEYWORD;
    kw.dataType = 300;
    strcpy(kw.name, "Up");
    ASSERT_EQ(1, ZEMAddExpressionItem(h.ec, &kw));
    h.function("F", ZEM_TYPE_NUMBER, {{0, 0, 0}, {0, 2, 0}, {1, 0, 0}}, seeingFunction);
    h.function("G", ZEM_TYPE_STRING, {{1, 300, 0}, {0, 0, 0}}, seeingFunction);
    h.function("None", ZEM_TYPE_NUMBER, {}, seeingFunction);
    struct Case {
        const char *text;
        std::vector<int> shown;
        std::vector<std::string> entries;
        size_t inputCalls;
    } cases[] = {
        {"F(X, Word, X)", {0, 2, 2}, {"5", "w", "X"}, 2},  // aggregate: the name, no value
        {"F(Bad, Word, X)", {0, 2, 2}, {"null", "w", "X"}, 2},  // the call goes on
        {"G(Up, 7)", {2, 0}, {"Up", "7"}, 0},                 // a keyword arrives as its text
        {"None()", {}, {"(no vector)"}, 0},
    };
    for (const Case &c : cases) {
        gSeen.clear();
        gInputCalls.clear();
        gEntryTypes = c.shown;
        HEXP exp = h.parse(c.text);
        char buffer[30];
        ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, exp, sizeof buffer, buffer)) << c.text;
        ASSERT_EQ(1u, gSeen.size()) << c.text;
        EXPECT_EQ(c.entries, gSeen[0].entries) << c.text;
        EXPECT_EQ(exp, gSeen[0].current);
        EXPECT_EQ(c.inputCalls, gInputCalls.size()) << c.text;
    }
    EXPECT_EQ(ZEM_VALUE_SIZE, gSeen[0].size);
    EXPECT_EQ("None", gSeen[0].name);
}

TEST(EvalArguments, BeyondTheDeclaredAndNonNamesInAggregates) {
    LeakCheck leaks;
    Host h;
    h.input("X", ZEM_TYPE_NUMBER, "5");
    h.function("Agg", ZEM_TYPE_NUMBER, {{1, 0, 0}}, seeingFunction);
    h.function("Three", ZEM_TYPE_NUMBER, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, seeingFunction);
    // Trees the type rules would not let through: a literal where a name is
    // wanted, and more arguments than parameters.
    Number seven = number("7");
    ExpNode lit = leaf(NodeNumber, 0, &seven), x = leaf(NodeInput, 0, "X");
    NodeList args({&lit, &x, &x});
    ExpNode call = leaf(NodeFunction, 0, "Agg");
    call.right = (void *)args.list;
    ExpRecord record = recordOf(h.ec, &call);
    gSeen.clear();
    gInputCalls.clear();
    gEntryTypes = {2};
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, &record, 25, &out));
    ASSERT_EQ(1u, gSeen.size());
    EXPECT_EQ(std::vector<std::string>{"null"}, gSeen[0].entries);
    EXPECT_EQ(0u, gInputCalls.size()) << "extra arguments are not looked at";
    call.right = 0;  // without an argument list: no vector at all
    gSeen.clear();
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, &record, 25, &out));
    EXPECT_EQ(std::vector<std::string>{"(no vector)"}, gSeen[0].entries);

    NodeList one({&x});  // fewer arguments than parameters: the rest stay null
    ExpNode three = leaf(NodeFunction, 0, "Three");
    three.right = (void *)one.list;
    record.root = &three;
    gSeen.clear();
    gEntryTypes = {0, 0, 0};
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, &record, 25, &out));
    EXPECT_EQ((std::vector<std::string>{"5", "null", "null"}), gSeen[0].entries);
}

// ---- The depth bound

TEST(EvalDepth, DeepChainsFailInsteadOfExhaustingTheStack) {
    LeakCheck leaks;
    Host h;
    auto chain = [&](int n) {
        std::string text = "1";
        for (int i = 0; i < n; i++) text += "+1";
        return h.parse(text.c_str());
    };
    Number out;
    ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, chain(900), 25, &out));
    EXPECT_TRUE(isNumber(out, "901"));
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, chain(20000), 25, &out));

    // A chain of named formulas, each link a reference under nine additions.
    h.parse("0", "F0");
    HEXP last = nullptr;
    for (int i = 1; i <= 200; i++) {
        std::string text = "F" + std::to_string(i - 1) + "()";
        for (int k = 0; k < 9; k++) text += " + 1";
        last = h.parse(text.c_str(), ("F" + std::to_string(i)).c_str());
        if (i == 90) {
            ASSERT_EQ(1, ZEMEvaluateExpression(h.ec, last, 25, &out));
            EXPECT_TRUE(isNumber(out, "810"));
        }
    }
    EXPECT_EQ(0, ZEMEvaluateExpression(h.ec, last, 25, &out));
}

// At the bound exactly, along a long left-leaning run of additions and
// subtractions: node i is walked at level i + 1 and the first operand at
// level n + 1. Past the bound the deep part gives nothing, and every right
// operand within it is still asked for.
TEST(EvalDepth, TheBoundHoldsExactlyAlongALongRun) {
    const int bound = 1000;
    LeakCheck leaks;
    Host h;
    h.input("X", ZEM_TYPE_NUMBER, "3");
    for (int n : {bound - 2, bound - 1, bound, bound + 1}) {
        std::string text = "X";
        long value = 3;
        for (int i = 0; i < n; i++) {
            bool plus = i % 3 != 1;
            text += plus ? " + X" : " - X";
            value += plus ? 3 : -3;
        }
        HEXP exp = h.parse(text.c_str());
        gInputCalls.clear();
        Number out = {};
        int result = ZEMEvaluateExpression(h.ec, exp, 25, &out);
        bool fits = n + 1 <= bound;
        EXPECT_EQ(fits ? 1 : 0, result) << n;
        if (fits) {
            EXPECT_TRUE(isNumber(out, std::to_string(value).c_str())) << n;
        }
        size_t asked = (size_t)std::min(n, bound - 1) + (fits ? 1 : 0);
        EXPECT_EQ(asked, gInputCalls.size()) << n;
    }
}

// ---- Allocation failures

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
    HEXP date = h.parse("D + Inner() MONTH");
    const std::string expected = "nameit's/" + std::string(60, '-') + ".";
    int runs = EachAllocationFails([&](int n) {
        void *block = nullptr;
        uint32_t length = 0;
        int result = ZEMEvaluateExpressionExt(h.ec, text, &length, &block);
        if (SvcFailAllocPending()) {
            EXPECT_EQ(1, result);
            EXPECT_EQ(expected, (char *)block);
        } else {
            EXPECT_EQ(0, result) << "allocation " << n;
        }
        ZEMMemFree(block);
    });
    EXPECT_GT(runs, 12);
    EachAllocationFails([&](int n) {
        DateTime out = {};
        int result = ZEMEvaluateExpression(h.ec, date, 25, &out);
        if (SvcFailAllocPending())
            EXPECT_EQ("2005-5-4", ymd(out));
        else
            EXPECT_EQ(0, result) << "allocation " << n;
    });
}
