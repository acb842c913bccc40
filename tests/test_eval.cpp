// The evaluator: exits and buffers, callbacks, operators and nulls, date nodes, unescaping, argument
// vectors, the depth bound, allocation failures and the formulas of tests/oracles.py. The built-in
// functions through formulas, their registration, the size rule, failed growth and null entries.
#include <stdio.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/startup.h"
#include "eval/convert.h"
#include "eval/eval.h"
#include "eval/functions/builtins.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "services/platform.h"
#include "services/values.h"
#include "support.h"

namespace {

// Input values from a table by name, in the item's type: "null" leaves the zeroed
// block, "fail" or a name not there fails. Each call is recorded.
struct InputCall { HEXP current; int32_t size; std::string name; };

int PutText(void **value, int32_t size, const char *text) {
    size_t need = strlen(text) + 1;
    if ((size_t)size < need) {
        void *grown = SvcRealloc(*value, need);
        if (!grown) return 0;
        *value = grown;
    }
    memcpy(*value, text, need);
    return 1;
}

std::map<std::string, std::string> gInputValues;
std::vector<InputCall> gInputCalls;

int ZEMCALL TableInput(HEC ec, HEXP current, int32_t size, void **value, const char *name) {
    gInputCalls.push_back({current, size, name});
    auto found = gInputValues.find(name);
    ExpItem item = {};
    if (found == gInputValues.end() || found->second == "fail") return 0;
    if (found->second == "null") return 1;
    if (!ZEMGetExpressionVariable(ec, &item, name)) return 0;
    const char *text = found->second.c_str();
    if (item.dataType == ZEM_TYPE_NUMBER) return SvcNumFromText((Number *)*value, text), 1;
    if (item.dataType == ZEM_TYPE_DATETIME) return TextToDate((DateTime *)*value, text);
    return PutText(value, size, text);
}

// A Number in plain decimal digits and a DateTime as "y-m-d h:m:s", or "null".
std::string NumberText(const void *number) {
    NumDigits d;
    if (!NumDecode((const Number *)number, &d)) return "null";
    std::string digits = d.count ? std::string(d.digits, d.count) : "0";
    while ((int)digits.size() <= -d.exponent) digits.insert(0, "0");
    if (d.exponent < 0) digits.insert(digits.size() + d.exponent, ".");
    return (d.negative ? "-" : "") + digits + std::string(d.exponent > 0 ? d.exponent : 0, '0');
}

std::string DateText(const void *date) {
    const DateTime *v = (const DateTime *)date;
    DateFields f = {};
    if (!v->bytes[0]) return "null";
    SvcDateUnpack(v->bytes + 1, v->bytes[0], &f);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", f.year, f.month, f.day, f.hour, f.minute, f.second);
    return text;
}

// A context whose blocks must all be gone once it is.
struct Host {
    LeakCheck leaks;
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

// The value as text, or "(fail)": a String whole through the growing exit.
std::string evaluate(HEC ec, HEXP exp) {
    int type = exp ? ((ExpRecord *)exp)->resultType : 0;
    void *block = nullptr;
    uint32_t length = 0;
    Number out = {};
    if (type != ZEM_TYPE_STRING) {
        if (!ZEMEvaluateExpression(ec, exp, 25, &out)) return "(fail)";
        return type == ZEM_TYPE_DATETIME ? DateText(&out) : NumberText(&out);
    }
    std::string text = ZEMEvaluateExpressionExt(ec, exp, &length, &block) ? (const char *)block : "(fail)";
    ZEMMemFree(block);
    return text;
}

// The functions in the string table's order: name, parameter types (N Number, D DateTime, S String)
// and code; the Builtins formulas would not parse or show with other types.
struct Function { const char *name, *params; ZEMFunctionCallback code; };
#define F(name, params) {#name, params, FUN##name}
const Function kFunctions[] = {
    F(DateAddDay, "DN"), F(DateYear, "D"), F(DateMonth, "D"), F(DateDay, "D"), F(DateHour, "D"),
    F(DateMinute, "D"), F(DateSecond, "D"), F(DateMonthBegin, "D"), F(DateMonthEnd, "D"), F(DateToStr, "D"),
    F(DateConstruct, "NNNNNN"), F(StrMid, "SNN"), F(StrRight, "SN"), F(StrLeft, "SN"), F(StrLength, "S"),
    F(StrRTrim, "S"), F(StrLTrim, "S"), F(StrRepeat, "SN"), F(StrPad, "SN"), F(StrCompare, "SS"),
    F(StrIFF, "NSSS"), F(StrCase, "NS"), F(StrProper, "S"), F(StrReplace, "SNNS"), F(StrScan, "SS"),
    F(StrSpaces, "N"), F(StrToDate, "S"), F(StrToNumber, "S"), F(StrUpper, "S"), F(NumberAbsolute, "N"),
    F(NumberMod, "NN"), F(NumberToStr, "NN"), F(NumberToCurrency, "N"), F(NumberCountryFmt, "N"),
    F(NumberRound, "NN"), F(NumberTruncate, "NN"), F(StrLower, "S"), F(NumberIFF, "NNNN"),
    F(DateIFF, "NDDD"), F(DateToStrPicture, "DS"), F(NumberToStrPicture, "NS"), F(StrTrim, "S"),
    F(StrTranslate, "SSS"), F(Power, "NN"), F(WeekDay, "D"), F(DateQuarter, "D"),
};
#undef F
const unsigned kCount = sizeof kFunctions / sizeof kFunctions[0];

// A formula and its value as text; nothing and never are a null Number and DateTime.
struct Row { std::string formula, want; };

void runRows(const std::vector<Row> &rows, unsigned cp) {
    UseCodePage use(cp);
    Host h;
    ASSERT_EQ(1, FUNDefineFunctions(h.ec));
    h.input("nothing", ZEM_TYPE_NUMBER, "null");
    h.input("never", ZEM_TYPE_DATETIME, "null");
    for (const Row &r : rows) {
        HEXP exp = h.parse(r.formula.c_str());
        EXPECT_EQ(r.want, evaluate(h.ec, exp)) << r.formula << " (code page " << cp << ")";
        ZEMDestroyEXP(h.ec, exp);
    }
}

// One argument: a text, or a Number or DateTime value.
struct Arg { char kind; std::string text; Number value; };
Arg S(std::string text) { return {'S', text, {}}; }
Arg N(const char *text) {
    Arg a = {'N', "", {}};
    SvcNumFromText(&a.value, text);
    return a;
}
Arg D() {
    DateFields f = {5, 10, 2001, 0, 0, 0, 0};
    Arg a = {'D', "", {}};
    a.value.bytes[0] = (unsigned char)SvcDatePack(a.value.bytes + 1, &f);
    return a;
}

struct Vector {
    std::vector<Arg> args;
    std::vector<void *> entries;
    explicit Vector(std::vector<Arg> list) : args(std::move(list)) {
        for (Arg &a : args) entries.push_back(a.kind == 'S' ? (void *)a.text.c_str() : (void *)&a.value);
    }
};

enum { TextBlock = 50 };

int call(ZEMFunctionCallback fn, int32_t size, void **entries, void **block) {
    *block = SvcAlloc((size_t)size);
    return fn(nullptr, nullptr, size, block, "name", entries);
}

}  // namespace

TEST(EvalExit, StringIntoAFixedOrAGrowingBuffer) {
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

TEST(EvalExit, ValuesAndWhatGivesZero) {
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

int ZEMCALL moveThenFail(HEC, HEXP, int32_t, void **value, const char *, void **) {
    SvcFree(*value);
    *value = SvcAlloc(400);
    return 0;
}

TEST(EvalCallbacks, InputsFailuresAndMovedBlocks) {
    Host h;
    h.input("Price", ZEM_TYPE_NUMBER, "12.50");
    h.input("Who", ZEM_TYPE_STRING, "Ann");
    h.input("A", ZEM_TYPE_NUMBER, "fail");
    h.input("C", ZEM_TYPE_NUMBER, "1", nullptr);  // no callback
    h.function("F", ZEM_TYPE_STRING, {}, moveThenFail);
    HEXP inner = h.parse("Price * 2", "Twice");
    HEXP outer = h.parse("Twice() + Price");
    EXPECT_EQ("37.5", evaluate(h.ec, outer));
    EXPECT_EQ("Ann", evaluate(h.ec, h.parse("Who")));
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
    EXPECT_EQ("(fail)", evaluate(h.ec, h.parse("F()")));
}

int ZEMCALL fortyTwo(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *result) {
    SvcNumFromText((Number *)result, "42");
    return 1;
}

TEST(EvalOperators, NullsRulesDepthAndReferenceFormulas) {
    Host h(ECFlagModulo | ECFlagDateMinusString);
    h.input("N", ZEM_TYPE_NUMBER, "null");
    h.input("X", ZEM_TYPE_NUMBER, "8");
    h.input("D", ZEM_TYPE_DATETIME, "1/31/2001");
    h.input("Z", ZEM_TYPE_DATETIME, "null");
    h.input("S", ZEM_TYPE_STRING, "x");
    struct { const char *text, *expect; } cases[] = {
        {"N + 1", "1"}, {"1 - N", "1"}, {"N * 3", "0"}, {"X / N", "0"}, {"N / X", "0"}, {"N", "null"},
        {"D + N", "2001-1-31 0:0:0"}, {"D + N MONTH", "2001-1-31 0:0:0"}, {"Z + 1", "null"},
        {"Z + 1 MONTH", "null"}, {"D + (1 + 1) MONTH", "2001-3-31 0:0:0"}, {"D - Z", "null"},
        {"Z - D", "null"},
    };
    for (auto &c : cases) EXPECT_EQ(c.expect, evaluate(h.ec, h.parse(c.text))) << c.text;
    h.ec->operators[OP_PLUS].callbacks[ZEM_TYPE_STRING] = fortyTwo;  // lets S + S parse
    gInputCalls.clear();
    for (const char *text : {"7 % 2", "D - S", "S + S"})  // no rule: nothing is evaluated
        EXPECT_EQ("(fail)", evaluate(h.ec, h.parse(text))) << text;
    EXPECT_EQ(0u, gInputCalls.size());
    ExpNode stale = {};  // a date literal whose text no longer reads is the null value
    stale.kind = NodeDate, stale.dataType = ZEM_TYPE_DATETIME, stale.left = (void *)"31/31/2001";
    unsigned char *null = (unsigned char *)EvalNode(h.ec, nullptr, &stale);
    ASSERT_NE(nullptr, null);
    EXPECT_EQ(std::string(ZEM_VALUE_SIZE, '\0'), std::string((char *)null, ZEM_VALUE_SIZE));
    SvcFree(null);
    int numbers = 0;
    int lines = EachReferenceLine(ZEM_EVAL_CASES, '\t', [&](const CaseFields &c) {
        HEXP exp = h.parse(c.at(1).c_str());
        std::string got = evaluate(h.ec, exp);  // a Number where a DateTime is due shows in the text
        ZEMDestroyEXP(h.ec, exp);
        numbers += c[0] == "N";
        return got == c.at(2) ? "" : "got " + got;
    });
    EXPECT_GE(numbers, 3000);
    EXPECT_GE(lines - numbers, 1500);
    // A left-leaning run of n operators is n + 1 levels deep; its deepest leaf is a literal or an input.
    for (int n : {998, 999, 1000, 20000})
        for (int first : {1, 8}) {
            std::string text = first == 1 ? "1" : "X";
            for (int i = 0; i < n; i++) text += i % 3 != 1 ? " + 1" : " - 1";
            EXPECT_EQ(n < 1000 ? std::to_string(first + n - 2 * (n / 3 + (n % 3 > 1))) : "(fail)",
                      evaluate(h.ec, h.parse(text.c_str()))) << n << " " << text.substr(0, 1);
        }
    h.ec->operators[OP_DIVIDE].callbacks[ZEM_TYPE_NUMBER] = fortyTwo;  // takes over its operator
    EXPECT_EQ("42", evaluate(h.ec, h.parse("X / 0")));
}

// A string leaf has the escape bit when \' or '' starts at a character; the evaluator unescapes it.
TEST(EvalStrings, UnescapeInBothCodePages) {
    struct { const char *text, *in932, *in1252; int bit932, bit1252; } cases[] = {
        {"a''b", "a'b", "a'b", 1, 1}, {"a\\'b", "a'b", "a'b", 1, 1}, {"'''", "''", "''", 1, 1},
        {"\\\\'", "\\'", "\\'", 1, 1}, {"a\\b", "a\\b", "a\\b", 0, 0},
        {"\x83\x5c''", "\x83\x5c'", "\x83''", 1, 1},  // in 932 one character, no backslash
        {"\x83\x5c'x", "\x83\x5c'x", "\x83'x", 0, 1}, {"z\x83", "z\x83", "z\x83", 0, 0},
    };
    for (unsigned page : {932u, 1252u}) {
        UseCodePage use(page);
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

int ZEMCALL pickyFunction(HEC, HEXP, int32_t size, void **value, const char *, void **args) {
    if (!args || !args[0] || !args[1]) return 0;  // a null entry fails the call
    std::string text = std::string((char *)args[0]) + "/" + std::string(60, '-');
    return PutText(value, size, text.c_str());
}

TEST(EvalAllocation, EachFailureGivesZeroAndLeavesNothing) {
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

// Double-byte texts: あ い う are 82A0 82A2 82A4; 8361 has the trail byte 'a'.
#define A "\x82\xa0"
#define I "\x82\xa2"
#define U "\x82\xa4"

TEST(Builtins, UnderCodePage932) {
    runRows({
        {"StrLeft('abc', 10)", "abc"}, {"StrLeft('abc', -1)", ""}, {"StrLeft('" A I "abc', 2)", A I},
        {"StrRight('abc', -3)", ""}, {"StrRight('a" A I "', 1)", I}, {"StrMid('abcdef', 4, 10)", "ef"},
        {"StrMid('abcdef', 3000000000, 2)", ""}, {"StrMid('abcdef', -2, 2)", "ab"},
        {"StrMid('abcdef', 2, -1)", ""}, {"StrMid('abcdef', nothing, 2)", "ab"},
        {"StrMid('" A I U "abc', 1, 2)", I U}, {"StrMid('" A I U "ab', 4, 5)", "b"},
        {"StrPad('abc', -1)", ""}, {"StrPad('" A I U "', 2)", A I}, {"StrPad('" A "', 3)", A "  "},
        {"StrTrim('  a b  ')", "a b"}, {"StrLTrim('  a b  ')", "a b  "}, {"StrRTrim('  a b  ')", "  a b"},
        {"StrProper('hello wORLD-x')", "Hello World-X"}, {"StrUpper('\x83" "ax')", "\x83" "aX"},
        {"StrLower('\x83" "AXA')", "\x83" "Axa"}, {"StrRepeat('', 2000000000)", ""}, {"StrSpaces(-2)", ""},
        {"StrIFF(-0.001, 'a', 'b', 'c')", "a"}, {"StrIFF(0, 'a', 'b', 'c')", "b"},
        {"StrIFF(nothing, 'a', 'b', 'c')", "b"}, {"StrCase(-1, 'a,b,c')", ""},
        {"StrCase(nothing, 'a,b,c')", "a"}, {"StrCase(1, 'a,')", ""}, {"StrCase(1, 'a,,c')", ""},
        {"StrCase(2, 'a,,c')", "c"}, {"StrCase(1, '" A "," I U ",c')", I U},
        {"StrTranslate('B', 'a,b,c', 'x,y,z')", ""}, {"StrTranslate('c', 'a,b,c', 'x,y')", ""},
        {"StrTranslate('a', 'ab,a', 'x,y')", "y"}, {"StrTranslate('', 'a,,c', 'x,y,z')", "y"},
        {"StrReplace('abcdef', 2, -1, 'XY')", "abXYcdef"}, {"StrReplace('abcdef', -1, 1, 'X')", "Xbcdef"},
        {"StrReplace('abc', 10, 1, 'X')", "abcX"}, {"StrReplace('" A I U "', 1, 1, 'x')", A "x" U},
        {"StrLength('" A I "abc')", "5"}, {"StrScan('" A I U "', '" U "')", "2"},
        {"StrScan('\x83" "a', 'a')", "-1"}, {"StrToNumber('nonsense')", "0"},
        {"StrToDate('5/10/2001 1:05:06 PM')", "2001-5-10 13:5:6"}, {"StrToDate('nonsense')", "null"},
        {"NumberAbsolute(nothing)", "null"}, {"NumberAbsolute(-2.5)", "2.5"}, {"NumberMod(-7, 3)", "-1"},
        {"NumberMod(7.9, 3.9)", "1"}, {"NumberMod(7, 0)", "null"}, {"NumberMod(-2147483648, -1)", "0"},
        {"NumberMod(5, 100000000000000000000)", "5"}, {"NumberRound(1250, -2)", "1300"},
        {"NumberRound(2.5, nothing)", "3"}, {"NumberTruncate(1299, -2)", "1200"},
        {"NumberTruncate(2.9, nothing)", "2"}, {"Power(2.5, nothing)", "2.5"}, {"Power(2, -1)", "0.5"},
        {"Power(2, 0.5)", "1.4142135623730951"}, {"Power(-8, 0.5)", "null"}, {"Power(0, -1)", "null"},
        {"NumberIFF(0, 1, 2, 3)", "2"}, {"NumberIFF(-5, 1, 2, 3)", "1"}, {"NumberIFF(nothing, 1, 2, 3)", "2"},
        {"NumberIFF(5, 1, 2, nothing)", "null"}, {"NumberToStr(2.5, 0)", "3"},
        {"NumberToStr(nothing, 2)", ""}, {"NumberToStr(1, 300)", "1." + std::string(300, '0')},
        {"NumberToStr(1, 400)", ""}, {"NumberToStrPicture(1234.5, '#,##0.00')", "1,234.50"},
        {"NumberToStrPicture(1234.5, '0.0.0')", ""},
        {"NumberToStrPicture(1, '" + std::string(120, '0') + "')", ""},
        {"NumberToStrPicture(1, '" + std::string(70, '0') + "')", std::string(69, '0') + "1"},
        {"NumberToCurrency(1234.5)", "$1,234.50"}, {"NumberCountryFmt(1234.5)", "1,234.50"},
        {"DateYear(2/29/2004 13:45:56)", "2004"}, {"DateMonth(2/29/2004 13:45:56)", "2"},
        {"DateDay(2/29/2004 13:45:56)", "29"}, {"DateHour(2/29/2004 13:45:56)", "13"},
        {"DateMinute(2/29/2004 13:45:56)", "45"}, {"DateSecond(2/29/2004 13:45:56)", "56"},
        {"DateQuarter(4/1/2001)", "2"}, {"DateQuarter(10/1/2001)", "4"}, {"DateQuarter(never)", "null"},
        {"WeekDay(1/1/2000 23:59:00)", "0"}, {"DateMonthEnd(2/3/2000 13:45:56)", "2000-2-29 0:0:0"},
        {"DateMonthBegin(5/17/2001 13:45:56)", "2001-5-1 0:0:0"},
        {"DateAddDay(3/1/2001 10:20:30, -1)", "2001-2-28 10:20:30"}, {"DateAddDay(never, 5)", "null"},
        {"DateConstruct(2001.9, 2.9, 3.9, 4.9, 5.9, 6.9)", "2001-2-3 4:5:6"},
        {"DateIFF(nothing, 1/1/2001, 2/2/2002, 3/3/2003)", "2002-2-2 0:0:0"},
        {"DateIFF(9, 1/1/2001, 2/2/2002, never)", "null"}, {"DateToStrPicture(never, 'yyyy')", ""},
        {"DateToStr(5/10/2001 13:05:06)", "5/10/2001 1:05:06 PM"},
        {"DateToStrPicture(5/10/2001 13:05:06, 'yyyy-mm-dd')", "2001-05-10"},
        {"DateToStrPicture(5/10/2001, 'dddd dddd dddd dddd dddd dddd dddd dddd dddd dddd dddd dddd')", ""},
        {"DateConstruct(nothing, nothing, nothing, nothing, nothing, nothing)", "-1-12-1 0:0:0"},
    }, 932);
    // The comparison's value passes as it comes, not cut to -1 and 1.
    for (auto [a, b] : {std::pair{"a", "c"}, {"c", "a"}, {"ab", "a"}, {"B", "a"}})
        runRows({{"StrCompare('" + std::string(a) + "', '" + b + "')", std::to_string(lstrcmpA(a, b))}}, 932);
}

TEST(Builtins, UnderCodePage1252) {
    runRows({
        {"StrLeft('" A I "abc', 2)", A}, {"StrRight('a" A I "', 1)", "\xa2"},
        {"StrMid('" A I U "abc', 1, 2)", "\xa0\x82"}, {"StrPad('" A I U "', 2)", A},
        {"StrPad('" A "', 3)", A " "}, {"StrUpper('\x83" "ax')", "\x83" "AX"},
        {"StrLower('\x83" "AX')", "\x83" "ax"}, {"StrReplace('" A I U "', 1, 1, 'x')", "\x82x" I U},
        {"StrLength('" A I "abc')", "7"}, {"StrScan('" A I U "', '" U "')", "4"},
        {"StrScan('\x83" "a', 'a')", "1"},
    }, 1252);
}

// Each call adds the functions again; a failing allocation ends it with 0.
TEST(Define, AddsTheFortySixFunctionsInTableOrder) {
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        LeakCheck leaks;
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        ASSERT_EQ(1, FUNDefineFunctions(ec));
        ASSERT_EQ(1, FUNDefineFunctions(ec));
        ASSERT_EQ(2 * kCount, SvcArrayCount(ec->functions));
        for (unsigned i = 0; i < 2 * kCount; i++) {
            const Function &want = kFunctions[i % kCount];
            const ExpItem *item = *(ExpItem **)SvcArrayLock(ec->functions, i);
            SvcArrayUnlock(ec->functions);
            EXPECT_STREQ(want.name, item->name);
            EXPECT_EQ("FUN" + std::string(want.name), std::string(item->functionName));
            EXPECT_EQ(0, item->kind + item->required + item->optional + item->flags) << want.name;
            EXPECT_EQ(Proc(want.code), (ZEMProc)item->callback) << want.name;
            EXPECT_EQ(want.code, BuiltinByName(item->functionName)) << want.name;
        }
        ZEMDestroyEC(ec);
    }
    EXPECT_EQ(0, FUNDefineFunctions(nullptr));
    for (const char *name : {"", "FUN", "StrLeft", "FUNStrleft", "FUNStrLeftX", "FUNDefineFunctions"})
        EXPECT_EQ(nullptr, BuiltinByName(name)) << name;
    EXPECT_GT(EachAllocationFails([](int) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        int ok = ec ? FUNDefineFunctions(ec) : 0;
        unsigned count = ec && ec->functions ? SvcArrayCount(ec->functions) : 0;
        EXPECT_EQ(ok ? kCount : count, count);
        ZEMDestroyEC(ec);
    }), 46);
}

// A block keeps what fits with its terminator and grows to exactly the need otherwise, 2 bytes a
// character under 932. When it cannot grow the call gives 0 and the block stays as it was.
TEST(SizeRule, GrowsOnlyPastTheGivenSize) {
    const std::string a60(60, 'a');
    struct { ZEMFunctionCallback fn; std::vector<Arg> args; int32_t size, after; unsigned cp; } cases[] = {
        {FUNStrSpaces, {N("49")}, 50, 50, 932}, {FUNStrSpaces, {N("50")}, 50, 51, 932},
        {FUNStrLeft, {S("abc"), N("10")}, 2, 4, 932}, {FUNStrLeft, {S("abcdef"), N("2")}, 2, 5, 932},
        {FUNStrLeft, {S("abcdef"), N("2")}, 2, 3, 1252}, {FUNStrRight, {S("abcdef"), N("2")}, 2, 5, 932},
        {FUNStrMid, {S("abcdef"), N("5"), N("9")}, 2, 7, 1252}, {FUNStrPad, {S("a"), N("30")}, 50, 61, 932},
        {FUNStrRepeat, {S("abc"), N("20")}, 50, 61, 932}, {FUNStrTrim, {S("  ab  ")}, 3, 7, 932},
        {FUNStrReplace, {S("abcdef"), N("0"), N("0"), S("xy")}, 8, 9, 932}, {FUNDateToStr, {D()}, 20, 22, 932},
        {FUNStrCase, {N("1"), S("a,bbb")}, 2, 4, 932}, {FUNStrCase, {N("-1"), S("a,bbb")}, 1, 1, 932},
        {FUNStrTranslate, {S("a"), S("a"), S("xyz")}, 2, 4, 932}, {FUNStrLTrim, {S(a60)}, 50, 61, 932},
        {FUNDateToStrPicture, {D(), S("yyyy-mm-dd hh:nn:ss yyyy-mm-dd hh:nn:ss yyyy-mm-dd")}, 50, 51, 932},
    };
    for (auto &c : cases) {
        UseCodePage use(c.cp);
        LeakCheck leaks;
        Vector v(c.args);
        void *block;
        EXPECT_EQ(1, call(c.fn, c.size, v.entries.data(), &block)) << (&c - cases);
        EXPECT_EQ((size_t)c.after, SvcSize(block)) << (&c - cases);
        SvcFree(block);
        if (c.after == c.size) continue;
        void *value = block = SvcAlloc(c.size);
        memcpy(block, "kee", c.size < 4 ? c.size : 4);
        // The translation's private copy is the first allocation; its growth the second.
        SvcFailAllocAfter(c.fn == FUNStrTranslate ? 2 : 1);
        EXPECT_EQ(0, c.fn(nullptr, nullptr, c.size, &value, "", v.entries.data())) << (&c - cases);
        SvcFailAllocAfter(0);
        EXPECT_EQ(block, value) << (&c - cases);
        EXPECT_EQ(0, memcmp("kee", value, c.size < 4 ? c.size : 4)) << (&c - cases);
        EXPECT_EQ((size_t)c.size, SvcSize(value)) << (&c - cases);
        SvcFree(value);
    }
}

// A missing argument or vector fails a call; a choice needs the test and the chosen.
TEST(NullEntries, FailTheCall) {
    for (const Function &f : kFunctions) {
        LeakCheck leaks;
        std::vector<Arg> args;
        for (const char *p = f.params; *p; p++)
            args.push_back(*p == 'N' ? N("1") : *p == 'D' ? D() : S("a,b"));
        Vector v(args);
        bool choice = strstr(f.name, "IFF") != nullptr;
        for (size_t i = 0; i <= v.entries.size(); i++) {
            std::vector<void *> entries = v.entries;
            if (i < entries.size()) entries[i] = nullptr;
            void *block;
            int want = i == entries.size() || (choice && (i == 1 || i == 2)) ? 1 : 0;
            EXPECT_EQ(want, call(f.code, TextBlock, entries.data(), &block)) << f.name << " without " << i;
            SvcFree(block);
        }
        for (Arg &a : v.args) a.value = Number{};  // null values are no missing arguments
        void *block;
        EXPECT_EQ(1, call(f.code, TextBlock, v.entries.data(), &block)) << f.name << " with nulls";
        SvcFree(block);
        EXPECT_EQ(0, call(f.code, TextBlock, nullptr, &block)) << f.name << " without a vector";
        SvcFree(block);
    }
}

