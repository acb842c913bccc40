// The built-in functions called directly, as the evaluator calls them: a
// zero-filled result block of 25 or 50 bytes, its address, and a vector of
// argument pointers. Cases by family, under both code pages where the
// counting of characters differs; then the size rule, failed growth, null
// entries in the vector and the shared helpers.
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "eval/functions/builtins.h"
#include "services/platform.h"
#include "services/values.h"
#include "support.h"

namespace {

// ---- Values and argument vectors.

Number numberOf(const char *text) {
    Number n;
    memset(&n, 0, sizeof n);
    if (text) SvcNumFromText(&n, text);
    return n;
}

DateTime dateOf(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    DateFields f = {mo, d, y, h, mi, s, 0};
    DateTime v;
    memset(&v, 0, sizeof v);
    v.bytes[0] = (unsigned char)SvcDatePack(v.bytes + 1, &f);
    return v;
}

// The number in plain decimal digits, or "null".
std::string numberText(const void *block) {
    const Number *n = (const Number *)block;
    NumDigits d;
    if (!NumDecode(n, &d)) return "null";
    if (d.count == 0) return "0";
    std::string digits(d.digits, (size_t)d.count);
    if (d.exponent >= 0) {
        digits.append((size_t)d.exponent, '0');
    } else {
        size_t behind = (size_t)-d.exponent;
        if (digits.size() <= behind) digits.insert(0, behind - digits.size() + 1, '0');
        digits.insert(digits.size() - behind, ".");
    }
    return (d.negative ? "-" : "") + digits;
}

std::string dateText(const void *block) {
    const DateTime *v = (const DateTime *)block;
    if (v->bytes[0] == 0) return "null";
    DateFields f;
    SvcDateUnpack(v->bytes + 1, v->bytes[0], &f);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", f.year, f.month, f.day, f.hour, f.minute,
             f.second);
    return text;
}

// One argument: a text, a Number or a DateTime (null ones included).
struct Arg {
    char kind;  // 'S', 'N', 'D'
    std::string text;
    Number value;
};
Arg S(const char *text) { return {'S', text, {}}; }
Arg N(const char *text) { return {'N', "", numberOf(text)}; }
Arg D(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    return {'D', "", dateOf(y, mo, d, h, mi, s)};
}
const Arg NullN = {'N', "", {}};
const Arg NullD = {'D', "", {}};

// The vector points into the arguments, which stay where they are.
struct Vector {
    std::vector<Arg> args;
    std::vector<void *> entries;
    explicit Vector(std::vector<Arg> list) : args(std::move(list)) {
        for (Arg &a : args)
            entries.push_back(a.kind == 'S' ? (void *)a.text.c_str() : (void *)&a.value);
    }
};

// A call with its own result block, freed at the end.
struct Call {
    int rc = 0;
    void *value = nullptr;
    Call(ZEMFunctionCallback fn, int32_t size, void **entries, void *block = nullptr) {
        value = block ? block : SvcAlloc((size_t)size);
        rc = fn(nullptr, nullptr, size, &value, "name", entries);
    }
    ~Call() { SvcFree(value); }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;
    std::string text() const { return (const char *)value; }
};

std::string repeated(const char *text, int n) {
    std::string s;
    for (int i = 0; i < n; i++) s += text;
    return s;
}

struct UseCodePage {
    explicit UseCodePage(unsigned cp) { EXPECT_EQ(SvcSelectCodePage(cp), 1); }
    ~UseCodePage() { SvcSelectCodePage(932); }
};

enum { TextBlock = 50, ValueBlock = 25 };

// A case: the function, its arguments, the result as text (a text result
// as it is, a Number in plain digits, a date as y-m-d h:m:s, "null"), and
// the code page.
struct Case {
    const char *label;
    ZEMFunctionCallback fn;
    std::vector<Arg> args;
    std::string want;
    unsigned cp = 932;
};

// The result's kind decides the block size and how it reads.
void runCases(const std::vector<Case> &cases, char resultKind) {
    for (const Case &c : cases) {
        UseCodePage use(c.cp);
        LeakCheck leaks;
        Vector v(c.args);
        Call call(c.fn, resultKind == 'S' ? TextBlock : ValueBlock, v.entries.data());
        EXPECT_EQ(1, call.rc) << c.label;
        std::string got = resultKind == 'S'   ? call.text()
                          : resultKind == 'N' ? numberText(call.value)
                                              : dateText(call.value);
        EXPECT_EQ(c.want, got) << c.label << " (code page " << c.cp << ")";
    }
}

// Double-byte texts: あ い う are 82A0 82A2 82A4; 8361 has the trail byte 'a'.
#define A "\x82\xa0"
#define I "\x82\xa2"
#define U "\x82\xa4"

// ---- Texts.

TEST(StringFunctions, CutsAndCounts) {
    runCases({
        {"left", FUNStrLeft, {S("abc"), N("10")}, "abc"},
        {"left", FUNStrLeft, {S("abc"), N("2")}, "ab"},
        {"left 0", FUNStrLeft, {S("abc"), N("0")}, ""},
        {"left negative", FUNStrLeft, {S("abc"), N("-1")}, ""},
        {"left null", FUNStrLeft, {S("abc"), NullN}, ""},
        {"left fraction", FUNStrLeft, {S("abcdef"), N("2.9")}, "ab"},
        {"left dbcs", FUNStrLeft, {S(A I "abc"), N("2")}, A I},
        {"left dbcs", FUNStrLeft, {S(A I "abc"), N("2")}, A, 1252},
        {"left dbcs", FUNStrLeft, {S(A I "abc"), N("3")}, A I "a"},
        {"right", FUNStrRight, {S("abcdef"), N("2")}, "ef"},
        {"right long", FUNStrRight, {S("abc"), N("10")}, "abc"},
        {"right negative", FUNStrRight, {S("abc"), N("-3")}, ""},
        {"right dbcs", FUNStrRight, {S("a" A I), N("1")}, I},
        {"right dbcs", FUNStrRight, {S("a" A I), N("1")}, "\xa2", 1252},
        {"mid", FUNStrMid, {S("abcdef"), N("1"), N("3")}, "bcd"},
        {"mid from 0", FUNStrMid, {S("abcdef"), N("0"), N("2")}, "ab"},
        {"mid past end", FUNStrMid, {S("abcdef"), N("4"), N("10")}, "ef"},
        {"mid start beyond", FUNStrMid, {S("abcdef"), N("10"), N("2")}, ""},
        {"mid start huge", FUNStrMid, {S("abcdef"), N("3000000000"), N("2")}, ""},
        {"mid negative start", FUNStrMid, {S("abcdef"), N("-2"), N("2")}, "ab"},
        {"mid negative count", FUNStrMid, {S("abcdef"), N("2"), N("-1")}, ""},
        {"mid null start", FUNStrMid, {S("abcdef"), NullN, N("2")}, "ab"},
        {"mid dbcs", FUNStrMid, {S(A I U "abc"), N("1"), N("2")}, I U},
        {"mid dbcs", FUNStrMid, {S(A I U "abc"), N("1"), N("2")}, "\xa0\x82", 1252},
        // The start is cut to the length in bytes: 5 characters, 8 bytes.
        {"mid dbcs start", FUNStrMid, {S(A I U "ab"), N("4"), N("5")}, "b"},
        {"pad", FUNStrPad, {S("abc"), N("5")}, "abc  "},
        {"pad cut", FUNStrPad, {S("abcdef"), N("3")}, "abc"},
        {"pad exact", FUNStrPad, {S("abc"), N("3")}, "abc"},
        {"pad negative", FUNStrPad, {S("abc"), N("-1")}, ""},
        {"pad null", FUNStrPad, {S("abc"), NullN}, ""},
        {"pad empty", FUNStrPad, {S(""), N("2")}, "  "},
        {"pad dbcs cut", FUNStrPad, {S(A I U), N("2")}, A I},
        {"pad dbcs cut", FUNStrPad, {S(A I U), N("2")}, A, 1252},
        {"pad dbcs fill", FUNStrPad, {S(A), N("3")}, A "  "},
        {"pad dbcs fill", FUNStrPad, {S(A), N("3")}, A " ", 1252},
    }, 'S');
}

TEST(StringFunctions, TrimsCaseAndRepeats) {
    runCases({
        {"trim", FUNStrTrim, {S("  a b  ")}, "a b"},
        {"rtrim", FUNStrRTrim, {S("  a b  ")}, "  a b"},
        {"ltrim", FUNStrLTrim, {S("  a b  ")}, "a b  "},
        {"trim blank only", FUNStrTrim, {S("   ")}, ""},
        {"proper", FUNStrProper, {S("hello wORLD-x")}, "Hello World-X"},
        {"upper", FUNStrUpper, {S("abC1 z")}, "ABC1 Z"},
        {"lower", FUNStrLower, {S("ABc1 Z")}, "abc1 z"},
        {"upper keeps trail", FUNStrUpper, {S("\x83" "ax")}, "\x83" "aX"},
        {"upper single-byte", FUNStrUpper, {S("\x83" "ax")}, "\x83" "AX", 1252},
        {"lower keeps trail", FUNStrLower, {S("\x83" "AX")}, "\x83" "Ax"},
        {"lower single-byte", FUNStrLower, {S("\x83" "AX")}, "\x83" "ax", 1252},
        {"repeat", FUNStrRepeat, {S("ab"), N("3")}, "ababab"},
        {"repeat 0", FUNStrRepeat, {S("ab"), N("0")}, ""},
        {"repeat negative", FUNStrRepeat, {S("ab"), N("-3")}, ""},
        {"repeat null", FUNStrRepeat, {S("ab"), NullN}, ""},
        {"repeat empty", FUNStrRepeat, {S(""), N("2000000000")}, ""},
        {"repeat grows", FUNStrRepeat, {S("xyz"), N("30")}, repeated("xyz", 30)},
        {"spaces", FUNStrSpaces, {N("3")}, "   "},
        {"spaces 0", FUNStrSpaces, {N("0")}, ""},
        {"spaces negative", FUNStrSpaces, {N("-2")}, ""},
        {"spaces null", FUNStrSpaces, {NullN}, ""},
    }, 'S');
}

TEST(StringFunctions, ChoicesAndLists) {
    runCases({
        {"iff negative", FUNStrIFF, {N("-1"), S("a"), S("b"), S("c")}, "a"},
        {"iff small negative", FUNStrIFF, {N("-0.001"), S("a"), S("b"), S("c")}, "a"},
        {"iff zero", FUNStrIFF, {N("0"), S("a"), S("b"), S("c")}, "b"},
        {"iff positive", FUNStrIFF, {N("0.0001"), S("a"), S("b"), S("c")}, "c"},
        {"iff null", FUNStrIFF, {NullN, S("a"), S("b"), S("c")}, "b"},
        {"case 1", FUNStrCase, {N("1"), S("a,b,c")}, "b"},
        {"case 2", FUNStrCase, {N("2"), S("a,b,c")}, "c"},
        {"case 0", FUNStrCase, {N("0"), S("a,b,c")}, "a"},
        {"case 3", FUNStrCase, {N("3"), S("a,b,c")}, ""},
        {"case -1", FUNStrCase, {N("-1"), S("a,b,c")}, ""},
        {"case null", FUNStrCase, {NullN, S("a,b,c")}, "a"},
        {"case behind comma", FUNStrCase, {N("1"), S("a,")}, ""},
        {"case empty entry", FUNStrCase, {N("1"), S("a,,c")}, ""},
        {"case after empty", FUNStrCase, {N("2"), S("a,,c")}, "c"},
        {"case blanks kept", FUNStrCase, {N("1"), S("a, b ,c")}, " b "},
        {"case no comma", FUNStrCase, {N("0"), S("abc")}, "abc"},
        {"case empty list", FUNStrCase, {N("0"), S("")}, ""},
        {"case dbcs", FUNStrCase, {N("1"), S(A "," I U ",c")}, I U},
        {"translate", FUNStrTranslate, {S("b"), S("a,b,c"), S("x,y,z")}, "y"},
        {"translate last", FUNStrTranslate, {S("c"), S("a,b,c"), S("x,y,z")}, "z"},
        {"translate case", FUNStrTranslate, {S("B"), S("a,b,c"), S("x,y,z")}, ""},
        {"translate short", FUNStrTranslate, {S("c"), S("a,b,c"), S("x,y")}, ""},
        {"translate whole", FUNStrTranslate, {S("a"), S("ab,a"), S("x,y")}, "y"},
        {"translate first", FUNStrTranslate, {S("a"), S("a,a"), S("x,y")}, "x"},
        {"translate empty", FUNStrTranslate, {S(""), S("a,,c"), S("x,y,z")}, "y"},
        {"translate absent", FUNStrTranslate, {S("q"), S("a,b"), S("x,y")}, ""},
        {"replace", FUNStrReplace, {S("abcdef"), N("1"), N("4"), S("xy")}, "axydef"},
        {"replace insert", FUNStrReplace, {S("abcdef"), N("2"), N("-1"), S("XY")}, "abXYcdef"},
        {"replace neg start", FUNStrReplace, {S("abcdef"), N("-1"), N("1"), S("X")}, "Xbcdef"},
        {"replace append", FUNStrReplace, {S("abc"), N("10"), N("1"), S("X")}, "abcX"},
        {"replace by empty", FUNStrReplace, {S("abcdef"), N("0"), N("3"), S("")}, "abcdef"},
        {"replace null", FUNStrReplace, {S("abcdef"), NullN, NullN, S("Z")}, "Zabcdef"},
        {"replace dbcs", FUNStrReplace, {S(A I U), N("1"), N("1"), S("x")}, A "x" U},
        {"replace dbcs", FUNStrReplace, {S(A I U), N("1"), N("1"), S("x")}, "\x82x" I U, 1252},
    }, 'S');
}

TEST(StringFunctions, NumberResults) {
    runCases({
        {"length", FUNStrLength, {S("abc")}, "3"},
        {"length empty", FUNStrLength, {S("")}, "0"},
        {"length dbcs", FUNStrLength, {S(A I "abc")}, "5"},
        {"length dbcs", FUNStrLength, {S(A I "abc")}, "7", 1252},
        {"scan", FUNStrScan, {S("abcabc"), S("ca")}, "2"},
        {"scan absent", FUNStrScan, {S("abc"), S("x")}, "-1"},
        {"scan empty", FUNStrScan, {S("abc"), S("")}, "0"},
        {"scan dbcs", FUNStrScan, {S(A I U), S(U)}, "2"},
        {"scan dbcs", FUNStrScan, {S(A I U), S(U)}, "4", 1252},
        {"scan trail byte", FUNStrScan, {S("\x83" "a"), S("a")}, "-1"},
        {"scan trail byte", FUNStrScan, {S("\x83" "a"), S("a")}, "1", 1252},
        {"compare equal", FUNStrCompare, {S("abc"), S("abc")}, "0"},
        {"to number", FUNStrToNumber, {S("12.5")}, "12.5"},
        {"to number negative", FUNStrToNumber, {S("-0.25")}, "-0.25"},
        {"to number nonsense", FUNStrToNumber, {S("nonsense")}, "0"},
        {"to number empty", FUNStrToNumber, {S("")}, "0"},
    }, 'N');
    // The comparison's value passes as it comes, not cut to -1 and 1.
    for (auto [a, b] : {std::pair{"a", "c"}, {"c", "a"}, {"ab", "a"}, {"B", "a"}}) {
        Vector v({S(a), S(b)});
        Call call(FUNStrCompare, ValueBlock, v.entries.data());
        EXPECT_EQ(std::to_string(lstrcmpA(a, b)), numberText(call.value)) << a << " " << b;
    }
    Vector v({S("a"), S("c")});
    Call call(FUNStrCompare, ValueBlock, v.entries.data());
    EXPECT_EQ("-1", numberText(call.value)) << "the system's comparison gives -1, 0 or 1";
}

TEST(StringFunctions, TextToDate) {
    runCases({
        {"to date", FUNStrToDate, {S("5/10/2001 1:05:06 PM")}, "2001-5-10 13:5:6"},
        {"to date nonsense", FUNStrToDate, {S("nonsense")}, "null"},
        {"to date empty", FUNStrToDate, {S("")}, "null"},
    }, 'D');
}

// ---- Numbers.

TEST(NumberFunctions, Arithmetic) {
    runCases({
        {"abs", FUNNumberAbsolute, {N("-2.5")}, "2.5"},
        {"abs positive", FUNNumberAbsolute, {N("3")}, "3"},
        {"abs zero", FUNNumberAbsolute, {N("0")}, "0"},
        {"abs null", FUNNumberAbsolute, {NullN}, "null"},
        {"mod", FUNNumberMod, {N("7"), N("3")}, "1"},
        {"mod negative dividend", FUNNumberMod, {N("-7"), N("3")}, "-1"},
        {"mod negative divisor", FUNNumberMod, {N("7"), N("-3")}, "1"},
        {"mod both negative", FUNNumberMod, {N("-7"), N("-3")}, "-1"},
        {"mod fractions", FUNNumberMod, {N("7.9"), N("3.9")}, "1"},
        {"mod null divisor", FUNNumberMod, {N("7"), NullN}, "null"},
        {"mod null dividend", FUNNumberMod, {NullN, N("3")}, "null"},
        {"mod by zero", FUNNumberMod, {N("7"), N("0")}, "null"},
        {"mod by a fraction", FUNNumberMod, {N("7"), N("0.5")}, "null"},
        {"mod most negative", FUNNumberMod, {N("-2147483648"), N("-1")}, "0"},
        {"mod held divisor", FUNNumberMod, {N("5"), N("100000000000000000000")}, "5"},
        {"round", FUNNumberRound, {N("2.345"), N("2")}, "2.35"},
        {"round negative", FUNNumberRound, {N("-2.345"), N("2")}, "-2.35"},
        {"round to hundreds", FUNNumberRound, {N("1250"), N("-2")}, "1300"},
        {"round null places", FUNNumberRound, {N("2.5"), NullN}, "3"},
        {"round null", FUNNumberRound, {NullN, N("2")}, "null"},
        {"truncate", FUNNumberTruncate, {N("2.349"), N("2")}, "2.34"},
        {"truncate negative", FUNNumberTruncate, {N("-2.349"), N("2")}, "-2.34"},
        {"truncate hundreds", FUNNumberTruncate, {N("1299"), N("-2")}, "1200"},
        {"truncate null places", FUNNumberTruncate, {N("2.9"), NullN}, "2"},
        {"truncate null", FUNNumberTruncate, {NullN, N("2")}, "null"},
        {"power", FUNPower, {N("2"), N("10")}, "1024"},
        {"power null exponent", FUNPower, {N("2.5"), NullN}, "2.5"},
        {"power null base", FUNPower, {NullN, N("2")}, "null"},
        {"power negative", FUNPower, {N("2"), N("-1")}, "0.5"},
        {"power root", FUNPower, {N("9"), N("0.5")}, "3"},
        {"power irrational", FUNPower, {N("2"), N("0.5")}, "1.4142135623730951"},
        {"power no real result", FUNPower, {N("-8"), N("0.5")}, "null"},
        {"power overflow", FUNPower, {N("10"), N("400")}, "null"},
        {"power pole", FUNPower, {N("0"), N("-1")}, "null"},
        {"iff zero", FUNNumberIFF, {N("0"), N("1"), N("2"), N("3")}, "2"},
        {"iff negative", FUNNumberIFF, {N("-5"), N("1"), N("2"), N("3")}, "1"},
        {"iff positive", FUNNumberIFF, {N("5"), N("1"), N("2"), N("3")}, "3"},
        {"iff null", FUNNumberIFF, {NullN, N("1"), N("2"), N("3")}, "2"},
        {"iff chosen null", FUNNumberIFF, {N("5"), N("1"), N("2"), NullN}, "null"},
    }, 'N');
}

TEST(NumberFunctions, Texts) {
    std::string longDecimals = "1." + std::string(300, '0');
    runCases({
        {"to str", FUNNumberToStr, {N("3.14159"), N("2")}, "3.14"},
        {"to str rounds", FUNNumberToStr, {N("2.5"), N("0")}, "3"},
        {"to str pads", FUNNumberToStr, {N("-1.5"), N("3")}, "-1.500"},
        {"to str null decimals", FUNNumberToStr, {N("3.2"), NullN}, "3"},
        {"to str null", FUNNumberToStr, {NullN, N("2")}, ""},
        {"to str grows", FUNNumberToStr, {N("1"), N("300")}, longDecimals},
        {"to str too long", FUNNumberToStr, {N("1"), N("400")}, ""},
        {"picture", FUNNumberToStrPicture, {N("1234.5"), S("#,##0.00")}, "1,234.50"},
        {"picture bad", FUNNumberToStrPicture, {N("1234.5"), S("0.0.0")}, ""},
        {"picture too long", FUNNumberToStrPicture, {N("1"), S(std::string(120, '0').c_str())}, ""},
        {"picture grows", FUNNumberToStrPicture, {N("1"), S(std::string(70, '0').c_str())},
         std::string(69, '0') + "1"},
        {"currency", FUNNumberToCurrency, {N("1234.5")}, "$1,234.50"},
        {"currency negative", FUNNumberToCurrency, {N("-1")}, "-$1.00"},
        {"country", FUNNumberCountryFmt, {N("1234.5")}, "1,234.50"},
    }, 'S');
}

TEST(NumberFunctions, WinIniChangeLeavesConversionsAsTheyWere) {
    Vector v({N("1234.5"), S("#,##0.00")});
    Call before(FUNNumberToStrPicture, TextBlock, v.entries.data());
    FUNWinIniChange();
    Call after(FUNNumberToStrPicture, TextBlock, v.entries.data());
    EXPECT_EQ("1,234.50", after.text());
    EXPECT_EQ(before.text(), after.text());
}

// ---- Dates.

TEST(DateFunctions, Parts) {
    const Arg d = D(2004, 2, 29, 13, 45, 56);
    runCases({
        {"year", FUNDateYear, {d}, "2004"},
        {"month", FUNDateMonth, {d}, "2"},
        {"day", FUNDateDay, {d}, "29"},
        {"hour", FUNDateHour, {d}, "13"},
        {"minute", FUNDateMinute, {d}, "45"},
        {"second", FUNDateSecond, {d}, "56"},
        {"year null", FUNDateYear, {NullD}, "null"},
        {"second null", FUNDateSecond, {NullD}, "null"},
        {"quarter 1", FUNDateQuarter, {D(2001, 1, 1)}, "1"},
        {"quarter 1", FUNDateQuarter, {D(2001, 3, 31)}, "1"},
        {"quarter 2", FUNDateQuarter, {D(2001, 4, 1)}, "2"},
        {"quarter 2", FUNDateQuarter, {D(2001, 6, 30)}, "2"},
        {"quarter 3", FUNDateQuarter, {D(2001, 7, 1)}, "3"},
        {"quarter 3", FUNDateQuarter, {D(2001, 9, 30)}, "3"},
        {"quarter 4", FUNDateQuarter, {D(2001, 10, 1)}, "4"},
        {"quarter 4", FUNDateQuarter, {D(2001, 12, 31)}, "4"},
        {"quarter null", FUNDateQuarter, {NullD}, "null"},
        {"weekday saturday", FUNWeekDay, {D(2000, 1, 1, 23, 59)}, "0"},
        {"weekday sunday", FUNWeekDay, {D(2000, 1, 2)}, "1"},
        {"weekday friday", FUNWeekDay, {D(2000, 1, 7)}, "6"},
        {"weekday", FUNWeekDay, {D(1969, 7, 20)}, "1"},
        {"weekday null", FUNWeekDay, {NullD}, "null"},
    }, 'N');
}

TEST(DateFunctions, Building) {
    runCases({
        {"end feb 2000", FUNDateMonthEnd, {D(2000, 2, 3, 13, 45, 56)}, "2000-2-29 0:0:0"},
        {"end feb 1900", FUNDateMonthEnd, {D(1900, 2, 28, 23, 59, 59)}, "1900-2-28 0:0:0"},
        {"end feb 2004", FUNDateMonthEnd, {D(2004, 2, 1)}, "2004-2-29 0:0:0"},
        {"end feb 2001", FUNDateMonthEnd, {D(2001, 2, 1)}, "2001-2-28 0:0:0"},
        {"end april", FUNDateMonthEnd, {D(2001, 4, 30, 1)}, "2001-4-30 0:0:0"},
        {"end december", FUNDateMonthEnd, {D(2001, 12, 5)}, "2001-12-31 0:0:0"},
        {"end null", FUNDateMonthEnd, {NullD}, "null"},
        {"begin", FUNDateMonthBegin, {D(2001, 5, 17, 13, 45, 56)}, "2001-5-1 0:0:0"},
        {"begin null", FUNDateMonthBegin, {NullD}, "null"},
        {"add day back", FUNDateAddDay, {D(2001, 3, 1, 10, 20, 30), N("-1")}, "2001-2-28 10:20:30"},
        {"add day leap", FUNDateAddDay, {D(2000, 2, 28, 5), N("1")}, "2000-2-29 5:0:0"},
        {"add day year end", FUNDateAddDay, {D(2001, 12, 31), N("1")}, "2002-1-1 0:0:0"},
        {"add day many", FUNDateAddDay, {D(2001, 1, 1), N("365.9")}, "2002-1-1 0:0:0"},
        {"add day null count", FUNDateAddDay, {D(2001, 3, 1, 10), NullN}, "2001-3-1 10:0:0"},
        {"add day null", FUNDateAddDay, {NullD, N("5")}, "null"},
        {"construct", FUNDateConstruct, {N("2001"), N("2"), N("3"), N("4"), N("5"), N("6")},
         "2001-2-3 4:5:6"},
        {"construct fractions", FUNDateConstruct,
         {N("2001.9"), N("2.9"), N("3.9"), N("4.9"), N("5.9"), N("6.9")}, "2001-2-3 4:5:6"},
        {"construct leap day", FUNDateConstruct,
         {N("2000"), N("2"), N("29"), NullN, NullN, NullN}, "2000-2-29 0:0:0"},
        {"iff negative", FUNDateIFF, {N("-1"), D(2001, 1, 1), D(2002, 2, 2), D(2003, 3, 3)},
         "2001-1-1 0:0:0"},
        {"iff null", FUNDateIFF, {NullN, D(2001, 1, 1), D(2002, 2, 2), D(2003, 3, 3)},
         "2002-2-2 0:0:0"},
        {"iff positive", FUNDateIFF, {N("9"), D(2001, 1, 1), D(2002, 2, 2), NullD}, "null"},
    }, 'D');
}

// Null parts count as 0 and nothing checks them: the packing of all zeros,
// which is a date, not the null value.
TEST(DateFunctions, ConstructFromNullParts) {
    Vector v({NullN, NullN, NullN, NullN, NullN, NullN});
    Call call(FUNDateConstruct, ValueBlock, v.entries.data());
    DateFields zero = {0, 0, 0, 0, 0, 0, 0};
    DateTime want;
    memset(&want, 0, sizeof want);
    want.bytes[0] = (unsigned char)SvcDatePack(want.bytes + 1, &zero);
    ASSERT_NE(0, want.bytes[0]);
    EXPECT_EQ(0, memcmp(&want, call.value, sizeof want));
}

TEST(DateFunctions, Texts) {
    const Arg d = D(2001, 5, 10, 13, 5, 6);
    const char *wide = "yyyy-mm-dd hh:nn:ss yyyy-mm-dd hh:nn:ss yyyy-mm-dd";
    std::string tooWide;
    for (int i = 0; i < 12; i++) tooWide += "dddd ";
    runCases({
        {"to str", FUNDateToStr, {d}, "5/10/2001 1:05:06 PM"},
        {"to str null", FUNDateToStr, {NullD}, ""},
        {"picture", FUNDateToStrPicture, {d, S("yyyy-mm-dd")}, "2001-05-10"},
        {"picture bad", FUNDateToStrPicture, {d, S("xqx")}, ""},
        {"picture empty", FUNDateToStrPicture, {d, S("")}, ""},
        {"picture null date", FUNDateToStrPicture, {NullD, S("yyyy")}, ""},
        {"picture grows", FUNDateToStrPicture, {d, S(wide)},
         "2001-05-10 01:05:06 2001-05-10 01:05:06 2001-05-10"},
        {"picture too long", FUNDateToStrPicture, {d, S(tooWide.c_str())}, ""},
    }, 'S');
}

// ---- The size rule.

// A 50-byte block keeps what fits with its terminator and grows to exactly
// the need otherwise.
TEST(SizeRule, GrowsOnlyPastTheGivenSize) {
    struct { const char *label; ZEMFunctionCallback fn; std::vector<Arg> args; int32_t size;
             size_t after; unsigned cp; } cases[] = {
        {"spaces 49", FUNStrSpaces, {N("49")}, 50, 50, 932},
        {"spaces 50", FUNStrSpaces, {N("50")}, 50, 51, 932},
        {"spaces 60", FUNStrSpaces, {N("60")}, 50, 61, 932},
        {"left holds to the text", FUNStrLeft, {S("abc"), N("10")}, 2, 4, 932},
        {"left holds to the text", FUNStrLeft, {S("abc"), N("10")}, 50, 50, 932},
        {"left reserves 2 a character", FUNStrLeft, {S("abcdef"), N("2")}, 2, 5, 932},
        {"left reserves 1 a character", FUNStrLeft, {S("abcdef"), N("2")}, 2, 3, 1252},
        {"right", FUNStrRight, {S("abcdef"), N("2")}, 2, 5, 932},
        {"mid", FUNStrMid, {S("abcdef"), N("1"), N("3")}, 2, 4, 1252},
        {"mid holds to the text", FUNStrMid, {S("abcdef"), N("5"), N("9")}, 2, 7, 1252},
        {"pad dbcs", FUNStrPad, {S("a"), N("30")}, 50, 61, 932},
        {"pad single-byte", FUNStrPad, {S("a"), N("30")}, 50, 50, 1252},
        {"repeat", FUNStrRepeat, {S("abc"), N("20")}, 50, 61, 932},
        {"replace", FUNStrReplace, {S("abcdef"), N("0"), N("0"), S("xy")}, 8, 9, 932},
        {"replace fits", FUNStrReplace, {S("abcdef"), N("0"), N("0"), S("xy")}, 9, 9, 932},
        {"trim", FUNStrTrim, {S("  ab  ")}, 3, 7, 932},
        {"iff", FUNStrIFF, {N("1"), S("a"), S("b"), S("cc")}, 2, 3, 932},
        {"case", FUNStrCase, {N("1"), S("a,bbb")}, 2, 4, 932},
        {"case negative", FUNStrCase, {N("-1"), S("a,bbb")}, 1, 1, 932},
        {"translate", FUNStrTranslate, {S("a"), S("a"), S("xyz")}, 2, 4, 932},
        {"number text", FUNNumberToStr, {N("1"), N("60")}, 50, 63, 932},
        {"date text", FUNDateToStr, {D(2001, 5, 10)}, 20, 22, 932},
    };
    for (auto &c : cases) {
        UseCodePage use(c.cp);
        LeakCheck leaks;
        Vector v(c.args);
        void *block = SvcAlloc((size_t)c.size);
        Call call(c.fn, c.size, v.entries.data(), block);
        EXPECT_EQ(1, call.rc) << c.label;
        EXPECT_EQ(c.after, SvcSize(call.value)) << c.label;
        if (c.after == (size_t)c.size) {
            EXPECT_EQ(block, call.value) << c.label;
        }
    }
}

// A block grown far past its size moves; the text must be in the new one.
TEST(SizeRule, WritesIntoTheMovedBlock) {
    enum { Big = 300000 };
    std::string big = std::to_string(Big);
    struct { ZEMFunctionCallback fn; std::vector<Arg> args; std::string want; } cases[] = {
        {FUNStrSpaces, {N(big.c_str())}, std::string(Big, ' ')},
        {FUNStrRepeat, {S("ab"), N(big.c_str())}, repeated("ab", Big)},
        {FUNStrPad, {S("x"), N(big.c_str())}, "x" + std::string(Big - 1, ' ')},
    };
    for (auto &c : cases) {
        LeakCheck leaks;
        Vector v(c.args);
        void *first = SvcAlloc(TextBlock);
        void *fence = SvcAlloc(TextBlock);  // so that the block cannot grow where it is
        Call call(c.fn, TextBlock, v.entries.data(), first);
        SvcFree(fence);
        ASSERT_EQ(1, call.rc);
        EXPECT_NE(first, call.value);
        EXPECT_TRUE(call.text() == c.want);
    }
}

// When the block cannot grow the call gives 0 and the block stays as it was.
TEST(SizeRule, FailedGrowthLeavesTheBlock) {
    struct { const char *label; ZEMFunctionCallback fn; std::vector<Arg> args; } cases[] = {
        {"spaces", FUNStrSpaces, {N("60")}},
        {"left", FUNStrLeft, {S(std::string(60, 'a').c_str()), N("60")}},
        {"right", FUNStrRight, {S(std::string(60, 'a').c_str()), N("60")}},
        {"mid", FUNStrMid, {S(std::string(60, 'a').c_str()), N("0"), N("60")}},
        {"trim", FUNStrTrim, {S(std::string(60, 'a').c_str())}},
        {"rtrim", FUNStrRTrim, {S(std::string(60, 'a').c_str())}},
        {"ltrim", FUNStrLTrim, {S(std::string(60, 'a').c_str())}},
        {"proper", FUNStrProper, {S(std::string(60, 'a').c_str())}},
        {"upper", FUNStrUpper, {S(std::string(60, 'a').c_str())}},
        {"lower", FUNStrLower, {S(std::string(60, 'a').c_str())}},
        {"repeat", FUNStrRepeat, {S("abc"), N("20")}},
        {"pad", FUNStrPad, {S("a"), N("30")}},
        {"iff", FUNStrIFF, {N("0"), S(""), S(std::string(60, 'b').c_str()), S("")}},
        {"case", FUNStrCase, {N("0"), S(std::string(60, 'c').c_str())}},
        {"translate", FUNStrTranslate, {S("a"), S("a"), S(std::string(60, 'c').c_str())}},
        {"replace", FUNStrReplace,
         {S(std::string(40, 'a').c_str()), N("0"), N("0"), S("0123456789")}},
        {"number text", FUNNumberToStr, {N("1"), N("60")}},
        {"number picture", FUNNumberToStrPicture, {N("1"), S(std::string(60, '0').c_str())}},
        {"date picture", FUNDateToStrPicture,
         {D(2001, 5, 10), S("yyyy-mm-dd hh:nn:ss yyyy-mm-dd hh:nn:ss yyyy-mm-dd")}},
    };
    for (auto &c : cases) {
        LeakCheck leaks;
        Vector v(c.args);
        void *block = SvcAlloc(TextBlock);
        strcpy((char *)block, "keep");
        void *value = block;
        // The translation's private copy is the first allocation; its
        // growth the second.
        SvcFailAllocAfter(c.fn == FUNStrTranslate ? 2 : 1);
        int rc = c.fn(nullptr, nullptr, TextBlock, &value, "", v.entries.data());
        SvcFailAllocAfter(0);
        EXPECT_EQ(0, rc) << c.label;
        EXPECT_EQ(block, value) << c.label;
        EXPECT_STREQ("keep", (char *)value) << c.label;
        EXPECT_EQ((size_t)TextBlock, SvcSize(value)) << c.label;
        SvcFree(value);
    }
}

// Without memory for its private copy StrTranslate gives the empty text.
TEST(SizeRule, TranslateWithoutMemoryGivesEmpty) {
    LeakCheck leaks;
    Vector v({S("b"), S("a,b,c"), S("x,y,z")});
    void *block = SvcAlloc(TextBlock);
    strcpy((char *)block, "keep");
    SvcFailAllocAfter(1);
    Call call(FUNStrTranslate, TextBlock, v.entries.data(), block);
    SvcFailAllocAfter(0);
    EXPECT_EQ(1, call.rc);
    EXPECT_EQ("", call.text());
}

// ---- Null entries in the vector.

struct Signature {
    ZEMFunctionCallback fn;
    const char *params;
};
const Signature kSignatures[] = {
    {FUNDateAddDay, "DN"},  {FUNDateYear, "D"},       {FUNDateMonth, "D"},
    {FUNDateDay, "D"},      {FUNDateHour, "D"},       {FUNDateMinute, "D"},
    {FUNDateSecond, "D"},   {FUNDateMonthBegin, "D"}, {FUNDateMonthEnd, "D"},
    {FUNDateToStr, "D"},    {FUNDateConstruct, "NNNNNN"}, {FUNStrMid, "SNN"},
    {FUNStrRight, "SN"},    {FUNStrLeft, "SN"},       {FUNStrLength, "S"},
    {FUNStrRTrim, "S"},     {FUNStrLTrim, "S"},       {FUNStrRepeat, "SN"},
    {FUNStrPad, "SN"},      {FUNStrCompare, "SS"},    {FUNStrCase, "NS"},
    {FUNStrProper, "S"},    {FUNStrReplace, "SNNS"},  {FUNStrScan, "SS"},
    {FUNStrSpaces, "N"},    {FUNStrToDate, "S"},      {FUNStrToNumber, "S"},
    {FUNStrUpper, "S"},     {FUNNumberAbsolute, "N"}, {FUNNumberMod, "NN"},
    {FUNNumberToStr, "NN"}, {FUNNumberToCurrency, "N"}, {FUNNumberCountryFmt, "N"},
    {FUNNumberRound, "NN"}, {FUNNumberTruncate, "NN"}, {FUNStrLower, "S"},
    {FUNDateToStrPicture, "DS"}, {FUNNumberToStrPicture, "NS"}, {FUNStrTrim, "S"},
    {FUNStrTranslate, "SSS"}, {FUNPower, "NN"},       {FUNWeekDay, "D"},
    {FUNDateQuarter, "D"},
};

std::vector<Arg> validArgs(const char *params) {
    std::vector<Arg> args;
    for (const char *p = params; *p; p++)
        args.push_back(*p == 'N' ? N("1") : *p == 'D' ? D(2001, 5, 10) : S("a,b"));
    return args;
}

// Every argument is needed: a missing one fails the call, and so does a
// missing vector.
TEST(NullEntries, FailTheCall) {
    for (const Signature &s : kSignatures) {
        LeakCheck leaks;
        Vector v(validArgs(s.params));
        int32_t size = TextBlock;
        {
            Call whole(s.fn, size, v.entries.data());
            EXPECT_EQ(1, whole.rc) << s.params;
        }
        for (size_t i = 0; i < v.entries.size(); i++) {
            std::vector<void *> entries = v.entries;
            entries[i] = nullptr;
            Call call(s.fn, size, entries.data());
            EXPECT_EQ(0, call.rc) << s.params << " without argument " << i;
        }
        Call none(s.fn, size, nullptr);
        EXPECT_EQ(0, none.rc) << s.params << " without a vector";
    }
}

// The choices need only the test and the chosen candidate.
TEST(NullEntries, ChoicesNeedTheChosenOnly) {
    struct { ZEMFunctionCallback fn; std::vector<Arg> args; } cases[] = {
        {FUNStrIFF, {N("1"), S("a"), S("b"), S("c")}},
        {FUNNumberIFF, {N("1"), N("1"), N("2"), N("3")}},
        {FUNDateIFF, {N("1"), D(2001, 1, 1), D(2002, 1, 1), D(2003, 1, 1)}},
    };
    for (auto &c : cases) {
        Vector v(c.args);
        for (size_t i = 0; i < 4; i++) {
            std::vector<void *> entries = v.entries;
            entries[i] = nullptr;
            Call call(c.fn, TextBlock, entries.data());
            EXPECT_EQ(i == 1 || i == 2 ? 1 : 0, call.rc) << "without argument " << i;
        }
        Call none(c.fn, TextBlock, nullptr);
        EXPECT_EQ(0, none.rc);
    }
}

// ---- The shared helpers.

TEST(Helpers, ResizeResult) {
    LeakCheck leaks;
    void *value = nullptr;
    SvcFailAllocAfter(1);
    EXPECT_EQ(0, ResizeResult(&value, 10));
    SvcFailAllocAfter(0);
    EXPECT_EQ(nullptr, value);
    ASSERT_EQ(1, ResizeResult(&value, 10));
    ASSERT_NE(nullptr, value);
    EXPECT_EQ(10u, SvcSize(value));
    strcpy((char *)value, "abc");
    void *before = value;
    SvcFailAllocAfter(1);
    EXPECT_EQ(0, ResizeResult(&value, 100));
    SvcFailAllocAfter(0);
    EXPECT_EQ(before, value);
    ASSERT_EQ(1, ResizeResult(&value, 100000));
    EXPECT_EQ(100000u, SvcSize(value));
    EXPECT_STREQ("abc", (char *)value);
    SvcFree(value);
}

TEST(Helpers, CharCapacityAndIntegerArgument) {
    {
        UseCodePage use(932);
        EXPECT_EQ(10, CharCapacity(5));
        EXPECT_EQ(0, CharCapacity(0));
        EXPECT_EQ(-6, CharCapacity(-3));
        EXPECT_EQ(LONG_MAX, CharCapacity(LONG_MAX / 2 + 1));
        EXPECT_EQ(LONG_MIN, CharCapacity(LONG_MIN / 2 - 1));
    }
    {
        UseCodePage use(1252);
        EXPECT_EQ(5, CharCapacity(5));
        EXPECT_EQ(LONG_MAX, CharCapacity(LONG_MAX));
    }
    struct { Number n; int32_t want; } cases[] = {
        {{}, 0},
        {numberOf("7.9"), 7},
        {numberOf("-7.9"), -7},
        {numberOf("0"), 0},
        {numberOf("100000000000000000000"), INT32_MAX},
        {numberOf("-100000000000000000000"), INT32_MIN},
    };
    for (auto &c : cases) EXPECT_EQ(c.want, IntegerArgument(&c.n));
}

TEST(Helpers, StrVarResult) {
    LeakCheck leaks;
    std::string fits(49, 'x'), over(50, 'y');
    void *value = SvcAlloc(TextBlock);
    void *before = value;
    EXPECT_EQ(1, FUNStrVarResult(&value, TextBlock, fits.c_str()));
    EXPECT_EQ(before, value);
    EXPECT_EQ((size_t)TextBlock, SvcSize(value));
    EXPECT_EQ(fits, (char *)value);

    SvcFailAllocAfter(1);
    EXPECT_EQ(0, FUNStrVarResult(&value, TextBlock, over.c_str()));
    SvcFailAllocAfter(0);
    EXPECT_EQ(before, value);
    EXPECT_EQ(fits, (char *)value);

    EXPECT_EQ(1, FUNStrVarResult(&value, TextBlock, over.c_str()));
    EXPECT_EQ(51u, SvcSize(value));
    EXPECT_EQ(over, (char *)value);
    SvcFree(value);

    void *none = nullptr;
    EXPECT_EQ(0, FUNStrVarResult(&none, 0, "a")) << "a block must be there";
    EXPECT_EQ(nullptr, none);
}

}  // namespace
