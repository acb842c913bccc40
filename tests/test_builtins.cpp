// The built-in functions: registered with their types, called through
// formulas under both code pages, and called directly for the size rule,
// failed growth and null entries in the argument vector.
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/items.h"
#include "eval/functions/builtins.h"
#include "services/platform.h"
#include "services/values.h"
#include "support.h"

namespace {

// The functions in the order of the string table: name, result and
// parameter types (N Number, D DateTime, S String), code.
struct Function {
    const char *name;
    char result;
    const char *params;
    ZEMFunctionCallback code;
};
#define F(name, result, params) {#name, result, params, FUN##name}
const Function kFunctions[] = {
    F(DateAddDay, 'D', "DN"),         F(DateYear, 'N', "D"),            F(DateMonth, 'N', "D"),
    F(DateDay, 'N', "D"),             F(DateHour, 'N', "D"),            F(DateMinute, 'N', "D"),
    F(DateSecond, 'N', "D"),          F(DateMonthBegin, 'D', "D"),      F(DateMonthEnd, 'D', "D"),
    F(DateToStr, 'S', "D"),           F(DateConstruct, 'D', "NNNNNN"),  F(StrMid, 'S', "SNN"),
    F(StrRight, 'S', "SN"),           F(StrLeft, 'S', "SN"),            F(StrLength, 'N', "S"),
    F(StrRTrim, 'S', "S"),            F(StrLTrim, 'S', "S"),            F(StrRepeat, 'S', "SN"),
    F(StrPad, 'S', "SN"),             F(StrCompare, 'N', "SS"),         F(StrIFF, 'S', "NSSS"),
    F(StrCase, 'S', "NS"),            F(StrProper, 'S', "S"),           F(StrReplace, 'S', "SNNS"),
    F(StrScan, 'N', "SS"),            F(StrSpaces, 'S', "N"),           F(StrToDate, 'D', "S"),
    F(StrToNumber, 'N', "S"),         F(StrUpper, 'S', "S"),            F(NumberAbsolute, 'N', "N"),
    F(NumberMod, 'N', "NN"),          F(NumberToStr, 'S', "NN"),        F(NumberToCurrency, 'S', "N"),
    F(NumberCountryFmt, 'S', "N"),    F(NumberRound, 'N', "NN"),        F(NumberTruncate, 'N', "NN"),
    F(StrLower, 'S', "S"),            F(NumberIFF, 'N', "NNNN"),        F(DateIFF, 'D', "NDDD"),
    F(DateToStrPicture, 'S', "DS"),   F(NumberToStrPicture, 'S', "NS"), F(StrTrim, 'S', "S"),
    F(StrTranslate, 'S', "SSS"),      F(Power, 'N', "NN"),              F(WeekDay, 'N', "D"),
    F(DateQuarter, 'N', "D"),
};
#undef F
const unsigned kCount = sizeof kFunctions / sizeof kFunctions[0];

int typeCode(char c) { return c == 'N' ? ZEM_TYPE_NUMBER : c == 'D' ? ZEM_TYPE_DATETIME : ZEM_TYPE_STRING; }

struct UseCodePage {
    explicit UseCodePage(unsigned cp) { EXPECT_EQ(ZEMSetSystemCodePage(cp), 1); }
    ~UseCodePage() { ZEMSetSystemCodePage(932); }
};

// A formula and its value as text; the inputs nothing and never are a null
// Number and a null DateTime.
struct Row {
    std::string formula, want;
};

void runRows(const std::vector<Row> &rows, unsigned cp) {
    UseCodePage use(cp);
    LeakCheck leaks;
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ASSERT_EQ(1, FUNDefineFunctions(ec));
    gInputValues = {{"nothing", "null"}, {"never", "null"}};
    AddItem(ec, ZEM_ITEM_INPUT, "nothing", ZEM_TYPE_NUMBER, {.callback = Proc(TableInput)});
    AddItem(ec, ZEM_ITEM_INPUT, "never", ZEM_TYPE_DATETIME, {.callback = Proc(TableInput)});
    for (const Row &r : rows) {
        ExpError report = {};
        uint16_t type = 0;
        HEXP exp = ZEMParseString(ec, r.formula.c_str(), nullptr, &report, &type);
        ASSERT_NE(nullptr, exp) << r.formula << ": error " << report.code;
        std::string got = EvalText(ec, exp);
        DateTime value = {};
        if (type != ZEM_TYPE_STRING)
            got = !ZEMEvaluateExpression(ec, exp, sizeof value, &value) ? "(fail)"
                  : type == ZEM_TYPE_NUMBER                              ? NumberText(&value)
                                                                         : DateText(&value);
        EXPECT_EQ(r.want, got) << r.formula << " (code page " << cp << ")";
        ZEMDestroyEXP(ec, exp);
    }
    ZEMDestroyEC(ec);
}

// One argument: a text, or a Number or DateTime value.
struct Arg {
    char kind;
    std::string text;
    Number value;
};
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

// Double-byte texts: あ い う are 82A0 82A2 82A4; 8361 has the trail byte 'a'.
#define A "\x82\xa0"
#define I "\x82\xa2"
#define U "\x82\xa4"

}  // namespace

TEST(Builtins, UnderCodePage932) {
    std::string tooWide;
    for (int i = 0; i < 12; i++) tooWide += "dddd ";
    runRows({
        {"StrLeft('abc', 10)", "abc"}, {"StrLeft('abc', -1)", ""}, {"StrLeft('abcdef', 2.9)", "ab"},
        {"StrLeft('" A I "abc', 2)", A I}, {"StrLeft('" A I "abc', 3)", A I "a"},
        {"StrRight('abc', -3)", ""}, {"StrRight('a" A I "', 1)", I},
        {"StrMid('abcdef', 4, 10)", "ef"}, {"StrMid('abcdef', 3000000000, 2)", ""},
        {"StrMid('abcdef', -2, 2)", "ab"}, {"StrMid('abcdef', 2, -1)", ""},
        {"StrMid('abcdef', nothing, 2)", "ab"}, {"StrMid('" A I U "abc', 1, 2)", I U},
        {"StrMid('" A I U "ab', 4, 5)", "b"}, {"StrPad('abcdef', 3)", "abc"},
        {"StrPad('abc', -1)", ""}, {"StrPad('" A I U "', 2)", A I}, {"StrPad('" A "', 3)", A "  "},
        {"StrTrim('  a b  ')", "a b"}, {"StrLTrim('  a b  ')", "a b  "},
        {"StrProper('hello wORLD-x')", "Hello World-X"}, {"StrLower('ABc1 Z')", "abc1 z"},
        {"StrUpper('\x83" "ax')", "\x83" "aX"}, {"StrLower('\x83" "AX')", "\x83" "Ax"},
        {"StrRepeat('', 2000000000)", ""}, {"StrSpaces(-2)", ""},
        {"StrIFF(-0.001, 'a', 'b', 'c')", "a"}, {"StrIFF(0, 'a', 'b', 'c')", "b"},
        {"StrIFF(nothing, 'a', 'b', 'c')", "b"}, {"StrCase(-1, 'a,b,c')", ""},
        {"StrCase(nothing, 'a,b,c')", "a"}, {"StrCase(1, 'a,')", ""}, {"StrCase(1, 'a,,c')", ""},
        {"StrCase(2, 'a,,c')", "c"}, {"StrCase(1, '" A "," I U ",c')", I U},
        {"StrTranslate('B', 'a,b,c', 'x,y,z')", ""}, {"StrTranslate('c', 'a,b,c', 'x,y')", ""},
        {"StrTranslate('a', 'ab,a', 'x,y')", "y"}, {"StrTranslate('', 'a,,c', 'x,y,z')", "y"},
        {"StrReplace('abcdef', 2, -1, 'XY')", "abXYcdef"},
        {"StrReplace('abcdef', -1, 1, 'X')", "Xbcdef"}, {"StrReplace('abc', 10, 1, 'X')", "abcX"},
        {"StrReplace('abcdef', nothing, nothing, 'Z')", "Zabcdef"},
        {"StrReplace('" A I U "', 1, 1, 'x')", A "x" U}, {"StrLength('" A I "abc')", "5"},
        {"StrScan('abcabc', 'ca')", "2"}, {"StrScan('" A I U "', '" U "')", "2"},
        {"StrScan('\x83" "a', 'a')", "-1"}, {"StrToNumber('nonsense')", "0"},
        {"StrToDate('5/10/2001 1:05:06 PM')", "2001-5-10 13:5:6"},
        {"StrToDate('nonsense')", "null"}, {"NumberAbsolute(nothing)", "null"},
        {"NumberAbsolute(-2.5)", "2.5"}, {"NumberMod(-7, 3)", "-1"}, {"NumberMod(7, -3)", "1"},
        {"NumberMod(7.9, 3.9)", "1"}, {"NumberMod(7, 0)", "null"},
        {"NumberMod(-2147483648, -1)", "0"}, {"NumberMod(5, 100000000000000000000)", "5"},
        {"NumberRound(1250, -2)", "1300"}, {"NumberRound(2.5, nothing)", "3"},
        {"NumberTruncate(1299, -2)", "1200"}, {"NumberTruncate(2.9, nothing)", "2"},
        {"Power(2.5, nothing)", "2.5"}, {"Power(2, -1)", "0.5"},
        {"Power(2, 0.5)", "1.4142135623730951"}, {"Power(-8, 0.5)", "null"},
        {"Power(0, -1)", "null"}, {"NumberIFF(0, 1, 2, 3)", "2"}, {"NumberIFF(-5, 1, 2, 3)", "1"},
        {"NumberIFF(nothing, 1, 2, 3)", "2"}, {"NumberIFF(5, 1, 2, nothing)", "null"},
        {"NumberToStr(2.5, 0)", "3"}, {"NumberToStr(-1.5, 3)", "-1.500"},
        {"NumberToStr(nothing, 2)", ""}, {"NumberToStr(1, 300)", "1." + std::string(300, '0')},
        {"NumberToStr(1, 400)", ""}, {"NumberToStrPicture(1234.5, '#,##0.00')", "1,234.50"},
        {"NumberToStrPicture(1234.5, '0.0.0')", ""},
        {"NumberToStrPicture(1, '" + std::string(120, '0') + "')", ""},
        {"NumberToStrPicture(1, '" + std::string(70, '0') + "')", std::string(69, '0') + "1"},
        {"NumberToCurrency(1234.5)", "$1,234.50"}, {"NumberCountryFmt(1234.5)", "1,234.50"},
        {"DateYear(2/29/2004 13:45:56)", "2004"}, {"DateMonth(2/29/2004 13:45:56)", "2"},
        {"DateDay(2/29/2004 13:45:56)", "29"}, {"DateHour(2/29/2004 13:45:56)", "13"},
        {"DateMinute(2/29/2004 13:45:56)", "45"}, {"DateSecond(2/29/2004 13:45:56)", "56"},
        {"DateQuarter(4/1/2001)", "2"}, {"DateQuarter(10/1/2001)", "4"},
        {"DateQuarter(never)", "null"}, {"WeekDay(1/1/2000 23:59:00)", "0"},
        {"WeekDay(7/20/1969)", "1"}, {"DateMonthEnd(2/3/2000 13:45:56)", "2000-2-29 0:0:0"},
        {"DateMonthEnd(2/28/1900 23:59:59)", "1900-2-28 0:0:0"},
        {"DateMonthEnd(4/30/2001 1:00:00)", "2001-4-30 0:0:0"},
        {"DateMonthBegin(5/17/2001 13:45:56)", "2001-5-1 0:0:0"},
        {"DateAddDay(3/1/2001 10:20:30, -1)", "2001-2-28 10:20:30"},
        {"DateAddDay(2/28/2000 5:00:00, 1)", "2000-2-29 5:0:0"},
        {"DateAddDay(1/1/2001, 365.9)", "2002-1-1 0:0:0"}, {"DateAddDay(never, 5)", "null"},
        {"DateConstruct(2001.9, 2.9, 3.9, 4.9, 5.9, 6.9)", "2001-2-3 4:5:6"},
        {"DateConstruct(2000, 2, 29, nothing, nothing, nothing)", "2000-2-29 0:0:0"},
        {"DateIFF(nothing, 1/1/2001, 2/2/2002, 3/3/2003)", "2002-2-2 0:0:0"},
        {"DateIFF(9, 1/1/2001, 2/2/2002, never)", "null"},
        {"DateToStr(5/10/2001 13:05:06)", "5/10/2001 1:05:06 PM"},
        {"DateToStrPicture(5/10/2001 13:05:06, 'yyyy-mm-dd')", "2001-05-10"},
        {"DateToStrPicture(never, 'yyyy')", ""},
        {"DateToStrPicture(5/10/2001 13:05:06, '" + tooWide + "')", ""},
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
            std::string types = std::to_string(typeCode(want.result)), got = std::to_string(item->dataType);
            for (const char *p = want.params; *p; p++) types += " " + std::to_string(typeCode(*p));
            for (int p = 0; p < item->paramCount; p++) {  // packed: the fields are read by value
                ExpParam param = item->params[p];
                got += " " + std::to_string(param.type + 10 * (param.mode + param.subclass));
            }
            EXPECT_EQ(types, got) << want.name;
            EXPECT_STREQ(want.name, item->name);
            EXPECT_EQ("FUN" + std::string(want.name), std::string(item->functionName));
            EXPECT_EQ(0, item->kind + item->required + item->optional + item->flags) << want.name;
            EXPECT_EQ(Proc(want.code), (ZEMProc)item->callback) << want.name;
            EXPECT_EQ(want.code, BuiltinByName(item->functionName)) << want.name;
        }
        EXPECT_EQ(*(ExpItem **)SvcArrayLock(ec->functions, 0), itemFind(ec->functions, "DateAddDay"));
        SvcArrayUnlock(ec->functions);
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

// A block keeps what fits with its terminator and grows to exactly the need
// otherwise, 2 bytes a character under 932. When it cannot grow the call
// gives 0 and the block stays as it was.
TEST(SizeRule, GrowsOnlyPastTheGivenSize) {
    const std::string a60(60, 'a');
    struct {
        ZEMFunctionCallback fn;
        std::vector<Arg> args;
        int32_t size;
        size_t after;
        unsigned cp;
    } cases[] = {
        {FUNStrSpaces, {N("49")}, 50, 50, 932}, {FUNStrSpaces, {N("50")}, 50, 51, 932},
        {FUNStrLeft, {S("abc"), N("10")}, 2, 4, 932},
        {FUNStrLeft, {S("abcdef"), N("2")}, 2, 5, 932},
        {FUNStrLeft, {S("abcdef"), N("2")}, 2, 3, 1252},
        {FUNStrRight, {S("abcdef"), N("2")}, 2, 5, 932},
        {FUNStrMid, {S("abcdef"), N("1"), N("3")}, 2, 4, 1252},
        {FUNStrMid, {S("abcdef"), N("5"), N("9")}, 2, 7, 1252},
        {FUNStrPad, {S("a"), N("30")}, 50, 61, 932}, {FUNStrPad, {S("a"), N("30")}, 50, 50, 1252},
        {FUNStrRepeat, {S("abc"), N("20")}, 50, 61, 932},
        {FUNStrReplace, {S("abcdef"), N("0"), N("0"), S("xy")}, 8, 9, 932},
        {FUNStrTrim, {S("  ab  ")}, 3, 7, 932},
        {FUNStrIFF, {N("1"), S("a"), S("b"), S("cc")}, 2, 3, 932},
        {FUNStrCase, {N("1"), S("a,bbb")}, 2, 4, 932},
        {FUNStrCase, {N("-1"), S("a,bbb")}, 1, 1, 932},
        {FUNStrTranslate, {S("a"), S("a"), S("xyz")}, 2, 4, 932},
        {FUNNumberToStr, {N("1"), N("60")}, 50, 63, 932}, {FUNDateToStr, {D()}, 20, 22, 932},
        {FUNStrLTrim, {S(a60)}, 50, 61, 932}, {FUNStrProper, {S(a60)}, 50, 61, 932},
        {FUNStrUpper, {S(a60)}, 50, 61, 932}, {FUNStrMid, {S(a60), N("0"), N("60")}, 50, 61, 932},
        {FUNNumberToStrPicture, {N("1"), S(std::string(60, '0'))}, 50, 61, 932},
        {FUNDateToStrPicture, {D(), S("yyyy-mm-dd hh:nn:ss yyyy-mm-dd hh:nn:ss yyyy-mm-dd")}, 50, 51, 932},
    };
    for (auto &c : cases) {
        UseCodePage use(c.cp);
        LeakCheck leaks;
        Vector v(c.args);
        void *block;
        EXPECT_EQ(1, call(c.fn, c.size, v.entries.data(), &block)) << (&c - cases);
        EXPECT_EQ(c.after, SvcSize(block)) << (&c - cases);
        SvcFree(block);
        if (c.after == (size_t)c.size) continue;
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

