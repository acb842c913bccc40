// The tokeniser: tokens, values and spans to the byte, the read-ahead, the
// token length limit, both code pages and failing allocations.
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/startup.h"
#include "language/parsestate.h"
#include "support.h"

namespace {

constexpr int kUnchanged = -1;    // TokAnd and TokNoMemory leave the span alone
constexpr uint32_t kMarkStart = 0xDEAD;
constexpr uint32_t kMarkLength = 0xBEEF;

struct Tok {
    int token;
    int start;
    int length;
    const char *value;  // text; a number's literal; a unit's or quantifier's code
};

struct Got {
    int token;
    uint32_t start;
    uint32_t length;
    std::string value;
    bool hasValue;
};

bool carriesValue(int token) {
    switch (token) {
    case TokNumber: case TokName: case TokFunction: case TokConstant:
    case TokString: case TokDate:
        return true;
    default:
        return false;
    }
}

struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0) : ec(ZEMCreateEC(nullptr, nullptr, nullptr, flags)) {}
    ~Context() { ZEMDestroyEC(ec); }
    void keyword(const char *name, int caseSensitive = 0) {
        unsigned char bytes[ZEM_EXPITEM_SIZE(1)] = {};
        ExpItem *item = (ExpItem *)bytes;
        item->kind = 3;
        item->dataType = 256;
        strcpy(item->name, name);
        item->optional = (uint16_t)caseSensitive;
        ASSERT_EQ(ZEMAddExpressionItem(ec, item), 1);
    }
};

// Selects a code page for the length of a scope; 932 is the default.
struct CodePage {
    explicit CodePage(unsigned page) { EXPECT_EQ(ZEMSetSystemCodePage(page), 1); }
    ~CodePage() { ZEMSetSystemCodePage(932); }
};

// Scans the whole text, taking every value handed over. A valueless token
// must leave tokenValue alone.
std::vector<Got> scan(HEC ec, const char *text, int validating = 0) {
    LockGuard g(&gParserLock);
    StartParse(ec, text, validating);
    std::vector<Got> got;
    for (int guard = 0; guard < 10000; guard++) {
        gParse.tokenValue = nullptr;
        gParse.tokenStart = kMarkStart;
        gParse.tokenLength = kMarkLength;
        int token = NextToken();
        if (token == TokEnd) break;
        Got g{token, gParse.tokenStart, gParse.tokenLength, "", false};
        if (gParse.tokenValue) {
            const char *value = (const char *)gParse.tokenValue;
            g.value = token == TokNumber ? std::string(value, sizeof(Number)) : std::string(value);
            g.hasValue = true;
            SvcFree(gParse.tokenValue);
            gParse.tokenValue = nullptr;
        }
        if (token == TokUnit) g.value = std::to_string(gParse.unit);
        if (token == TokQuantifier) g.value = std::to_string(gParse.quantifier);
        got.push_back(g);
    }
    return got;
}

std::string numberBytes(const char *literal) {
    Number n;
    SvcNumFromText(&n, literal);
    return std::string((const char *)n.bytes, sizeof n.bytes);
}

void expectTokens(const std::vector<Got> &got, const std::vector<Tok> &want, const char *text) {
    SCOPED_TRACE(std::string("text: ") + text);
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); i++) {
        SCOPED_TRACE("token " + std::to_string(i));
        const Tok &w = want[i];
        const Got &g = got[i];
        EXPECT_EQ(g.token, w.token);
        if (w.start == kUnchanged) {
            EXPECT_EQ(g.start, kMarkStart);
            EXPECT_EQ(g.length, kMarkLength);
        } else {
            EXPECT_EQ(g.start, (uint32_t)w.start);
            EXPECT_EQ(g.length, (uint32_t)w.length);
        }
        EXPECT_EQ(g.hasValue, carriesValue(w.token));
        if (w.token == TokNumber) {
            EXPECT_EQ(g.value, numberBytes(w.value));
        } else if (w.value) {
            EXPECT_EQ(g.value, w.value);
        }
    }
}

struct Case {
    const char *text;
    std::vector<Tok> tokens;
    uint16_t flags = 0;
};

void runCases(const std::vector<Case> &cases) {
    for (const Case &c : cases) {
        LeakCheck leaks;
        Context ctx(c.flags);
        expectTokens(scan(ctx.ec, c.text), c.tokens, c.text);
    }
}

constexpr int Num = TokNumber, Name = TokName, Fn = TokFunction, Const = TokConstant,
              Str = TokString, Date = TokDate, Bad = TokBad, Unit = TokUnit,
              Quant = TokQuantifier, And = TokAnd, Cat = TokConcat;

}  // namespace

TEST(Tokens, NumbersAndOperators) {
    runCases({
        {"1/2", {{Num, 0, 1, "1"}, {'/', 1, 1, nullptr}, {Num, 2, 1, "2"}}},
        {"10-5", {{Num, 0, 2, "10"}, {'-', 2, 1, nullptr}, {Num, 3, 1, "5"}}},
        {"12.5E+3", {{Num, 0, 4, "12.5"}, {Name, 4, 1, "E"}, {'+', 5, 1, nullptr}, {Num, 6, 1, "3"}}},
        {"1.5E+3", {{Num, 0, 6, "1.5E+3"}}},
        {"1.5e-3", {{Num, 0, 6, "1.5e-3"}}},
        {"1.5E3", {{Num, 0, 3, "1.5"}, {Name, 3, 2, "E3"}}},
        {"5.", {{Num, 0, 2, "5."}}},
        {".5", {{Num, 0, 2, ".5"}}},
        {"007", {{Num, 0, 3, "007"}}},
        {".", {{Bad, 0, 1, nullptr}}},
        {"a.1", {{Name, 0, 1, "a"}, {Num, 1, 2, ".1"}}},
        {"1a", {{Num, 0, 1, "1"}, {Name, 1, 1, "a"}}},
        {"2*(3+4)/5",
         {{Num, 0, 1, "2"}, {'*', 1, 1, nullptr}, {'(', 2, 1, nullptr}, {Num, 3, 1, "3"},
          {'+', 4, 1, nullptr}, {Num, 5, 1, "4"}, {')', 6, 1, nullptr}, {'/', 7, 1, nullptr},
          {Num, 8, 1, "5"}}},
        {"<=>{},", {{'<', 0, 1, nullptr}, {'=', 1, 1, nullptr}, {'>', 2, 1, nullptr},
                    {'{', 3, 1, nullptr}, {'}', 4, 1, nullptr}, {',', 5, 1, nullptr}}},
        {"a||b", {{Name, 0, 1, "a"}, {Cat, 1, 2, nullptr}, {Name, 3, 1, "b"}}},
        {"a|b", {{Name, 0, 1, "a"}, {Bad, 1, 1, nullptr}, {Name, 2, 1, "b"}}},
        {"7%2", {{Num, 0, 1, "7"}, {Bad, 1, 1, nullptr}, {Num, 2, 1, "2"}}},
        {"7%2", {{Num, 0, 1, "7"}, {'%', 1, 1, nullptr}, {Num, 2, 1, "2"}}, ECFlagModulo},
    });
}

TEST(Tokens, BlanksAndBadBytes) {
    runCases({
        {"", {}},
        {" \t\n ", {}},
        {"a\nb\tc", {{Name, 0, 1, "a"}, {Name, 2, 1, "b"}, {Name, 4, 1, "c"}}},
        {"a\rb", {{Name, 0, 1, "a"}, {Bad, 1, 1, nullptr}, {Name, 2, 1, "b"}}},
        {"[a]", {{Bad, 0, 1, nullptr}, {Name, 1, 1, "a"}, {Bad, 2, 1, nullptr}}},
        {"{fn x}", {{'{', 0, 1, nullptr}, {Name, 1, 2, "fn"}, {Name, 4, 1, "x"}, {'}', 5, 1, nullptr}}},
        {"!&;?^~:", {{Bad, 0, 1, nullptr}, {Bad, 1, 1, nullptr}, {Bad, 2, 1, nullptr},
                     {Bad, 3, 1, nullptr}, {Bad, 4, 1, nullptr}, {Bad, 5, 1, nullptr},
                     {Bad, 6, 1, nullptr}}},
        {"\"ab", {{Bad, 0, 1, nullptr}, {Name, 1, 2, "ab"}}},
        {"`", {{Bad, 0, 1, nullptr}}},
    });
}

TEST(Tokens, Names) {
    runCases({
        {"@", {{Name, 0, 1, "@"}}},
        {"# $ _", {{Name, 0, 1, "#"}, {Name, 2, 1, "$"}, {Name, 4, 1, "_"}}},
        {"a1", {{Name, 0, 2, "a1"}}},
        {"x_1.y$.@z", {{Name, 0, 9, "x_1.y$.@z"}}},
        {"\"a b\".c", {{Name, 0, 7, "\"a b\".c"}}},
        {"`a+b`", {{Name, 0, 5, "`a+b`"}}},
        {"a.b.c.d", {{Name, 0, 5, "a.b.c"}, {Bad, 5, 1, nullptr}, {Name, 6, 1, "d"}}},
        {"@now", {{Const, 0, 4, "@now"}}},
        {"@Pi+1", {{Const, 0, 3, "@Pi"}, {'+', 3, 1, nullptr}, {Num, 4, 1, "1"}}},
        {"@NOWX", {{Name, 0, 5, "@NOWX"}}},
        {"x and", {{Name, 0, 1, "x"}, {And, kUnchanged, 0, nullptr}}},
        {"AnD", {{And, kUnchanged, 0, nullptr}}},
        // "and y" was tried as a two-word keyword first, which left its span.
        {"x and y", {{Name, 0, 1, "x"}, {And, 2, 5, nullptr}, {Name, 6, 1, "y"}}},
    });
}

TEST(Tokens, FunctionNames) {
    runCases({
        {"f (x)", {{Fn, 0, 3, "f"}, {Name, 3, 1, "x"}, {')', 4, 1, nullptr}}},
        {"Sum  ()", {{Fn, 0, 6, "Sum"}, {')', 6, 1, nullptr}}},
        {"f\t(x)", {{Name, 0, 1, "f"}, {'(', 2, 1, nullptr}, {Name, 3, 1, "x"}, {')', 4, 1, nullptr}}},
        {"f\n(", {{Name, 0, 1, "f"}, {'(', 2, 1, nullptr}}},
        {"\"f\"(x)", {{Name, 0, 3, "\"f\""}, {'(', 3, 1, nullptr}, {Name, 4, 1, "x"}, {')', 5, 1, nullptr}}},
        {"a.b(", {{Name, 0, 3, "a.b"}, {'(', 3, 1, nullptr}}},
        {"x AND (y)", {{Name, 0, 1, "x"}, {Fn, 2, 5, "AND"}, {Name, 7, 1, "y"}, {')', 8, 1, nullptr}}},
        {"@now()", {{Fn, 0, 5, "@now"}, {')', 5, 1, nullptr}}},
    });
}

TEST(Tokens, Strings) {
    runCases({
        {"'it''s'", {{Str, 0, 7, "it''s"}}},
        {"''", {{Str, 0, 2, ""}}},
        {"''''", {{Str, 0, 4, "''"}}},
        {"'abc", {{Bad, 0, 1, nullptr}, {Name, 1, 3, "abc"}}},
        {"'", {{Bad, 0, 1, nullptr}}},
        {"'a\\' + 'b'", {{Str, 0, 8, "a\\' + "}, {Name, 8, 1, "b"}, {Bad, 9, 1, nullptr}}},
        {"'x' || 'y'", {{Str, 0, 3, "x"}, {Cat, 4, 2, nullptr}, {Str, 7, 3, "y"}}},
        {"'a\nb'", {{Str, 0, 5, "a\nb"}}},
    });
}

// A backslash before the closing quote: one reading per code page, because
// under a double-byte code page the walk takes \' as an escaped quote.
TEST(Tokens, BackslashBeforeClosingQuote) {
    runCases({{"'a\\'", {{Bad, 0, 1, nullptr}, {Name, 1, 1, "a"}, {Bad, 2, 1, nullptr}, {Bad, 3, 1, nullptr}}}});
    CodePage page(1252);
    runCases({{"'a\\'", {{Str, 0, 4, "a\\"}}}});
}

TEST(Tokens, Units) {
    runCases({
        {"3DAYS", {{Num, 0, 1, "3"}, {Unit, 1, 4, "1"}}},
        {"day month MONTHS Year hours minute Seconds",
         {{Unit, 0, 3, "1"}, {Unit, 4, 5, "2"}, {Unit, 10, 6, "2"}, {Unit, 17, 4, "4"},
          {Unit, 22, 5, "8"}, {Unit, 28, 6, "16"}, {Unit, 35, 7, "32"}}},
        {"DAYSS S", {{Name, 0, 5, "DAYSS"}, {Name, 6, 1, "S"}}},
        {"days", {{Name, 0, 4, "days"}}, ECFlagNoDateMath},
        {"distinct All", {{Name, 0, 8, "distinct"}, {Name, 9, 3, "All"}}},
        {"distinct All", {{Quant, 0, 8, "1"}, {Quant, 9, 3, "2"}}, ECFlagQualifiers},
        {"days", {{Unit, 0, 4, "1"}}, ECFlagQualifiers},
        {"DISTINCT(", {{Fn, 0, 9, "DISTINCT"}}, ECFlagQualifiers},
        {"all days", {{Quant, 0, 3, "2"}, {Name, 4, 4, "days"}}, ECFlagQualifiers | ECFlagNoDateMath},
    });
}

// A word that carries no value leaves tokenValue as the caller had it.
TEST(Tokens, ValuelessWordsKeepTokenValue) {
    LeakCheck leaks;
    Context ctx(ECFlagQualifiers);
    for (const char *text : {"DAYS", "ALL", "AND", "+"}) {
        LockGuard g(&gParserLock);
        StartParse(ctx.ec, text, 0);
        int sentinel = 0;
        gParse.tokenValue = &sentinel;
        EXPECT_NE(NextToken(), TokEnd) << text;
        EXPECT_EQ(gParse.tokenValue, &sentinel) << text;
        gParse.tokenValue = nullptr;
    }
}

TEST(Tokens, DatesWithoutCheck) {
    runCases({
        {"1/2/2000", {{Date, 0, 8, "1/2/2000"}}},
        {"10-5-3", {{Date, 0, 6, "10-5-3"}}},
        {"3 PM", {{Date, 0, 4, "3 PM"}}},
        {"3PM+1", {{Date, 0, 3, "3PM"}, {'+', 3, 1, nullptr}, {Num, 4, 1, "1"}}},
        {"1:30 PM", {{Date, 0, 7, "1:30 PM"}}},
        {"1:30pm,2", {{Date, 0, 6, "1:30pm"}, {',', 6, 1, nullptr}, {Num, 7, 1, "2"}}},
        {"3 AM\t", {{Num, 0, 1, "3"}, {Name, 2, 2, "AM"}}},
        {"3 AMX", {{Num, 0, 1, "3"}, {Name, 2, 3, "AMX"}}},
        {"1 Jan 2000", {{Date, 0, 10, "1 Jan 2000"}}},
        {"1 Jan", {{Num, 0, 1, "1"}, {Name, 2, 3, "Jan"}}},
        {"1 Jan 2000 12:30", {{Date, 0, 16, "1 Jan 2000 12:30"}}},
        {"1 Jan 2000 12:30 PM", {{Date, 0, 19, "1 Jan 2000 12:30 PM"}}},
        {"Jan 1, 2000 12:30", {{Date, 0, 17, "Jan 1, 2000 12:30"}}},
        {"Jan 1,2000", {{Date, 0, 10, "Jan 1,2000"}}},
        {"Jan 1 , 2000", {{Name, 0, 3, "Jan"}, {Num, 4, 1, "1"}, {',', 6, 1, nullptr}, {Num, 8, 4, "2000"}}},
        {"12:30", {{Date, 0, 5, "12:30"}}},
        {"12.30", {{Num, 0, 5, "12.30"}}},
        {"1.5.3", {{Date, 0, 5, "1.5.3"}}},
        {"12:30:15.25", {{Date, 0, 11, "12:30:15.25"}}},
        {"1.2.3.4.5.6.7", {{Date, 0, 13, "1.2.3.4.5.6.7"}}},
        {"1-Jan-2000", {{Date, 0, 10, "1-Jan-2000"}}},
        {"2000-01-02 12:30:00", {{Date, 0, 19, "2000-01-02 12:30:00"}}},
        {"2000/1/2-10.5 am)", {{Date, 0, 16, "2000/1/2-10.5 am"}, {')', 16, 1, nullptr}}},
        {"10:30-5", {{Date, 0, 7, "10:30-5"}}},
    });
}

TEST(Tokens, DatesCheckedWithRangesAndSets) {
    constexpr uint16_t RS = ECFlagRangesAndSets;
    runCases({
        {"1/2/2000", {{Date, 0, 8, "1/2/2000"}}, RS},
        {"3 PM", {{Date, 0, 4, "3 PM"}}, RS},
        {"1 Jan 2000", {{Date, 0, 10, "1 Jan 2000"}}, RS},
        {"3 XX", {{Num, 0, 1, "3"}, {Name, 2, 2, "XX"}}, RS},
        {"99/99/2000",
         {{Num, 0, 2, "99"}, {'/', 2, 1, nullptr}, {Num, 3, 2, "99"}, {'/', 5, 1, nullptr},
          {Num, 6, 4, "2000"}},
         RS},
    });
}

// The first date refused is noted, and a new parse does not forget it.
TEST(Tokens, DateErrorNote) {
    LeakCheck leaks;
    Context ctx(ECFlagRangesAndSets);
    {
        LockGuard g(&gParserLock);
        gParse.dateError = DateErrorNote{};
    }
    scan(ctx.ec, "1 + 99/99/2000 + 98/98/2000");
    LockGuard g(&gParserLock);
    EXPECT_EQ(gParse.dateError.noted, 1);
    EXPECT_EQ(gParse.dateError.start, 4u);
    EXPECT_EQ(gParse.dateError.length, 10u);
    StartParse(ctx.ec, "1", 0);
    EXPECT_EQ(gParse.dateError.noted, 1);
    EXPECT_EQ(gParse.dateError.start, 4u);
    gParse.dateError = DateErrorNote{};
}

TEST(Tokens, TwoWordKeywords) {
    LeakCheck leaks;
    Context ctx;
    ctx.keyword("Foo Bar");
    ctx.keyword("Ab Cd", 1);
    ctx.keyword("Qu Ux");
    expectTokens(scan(ctx.ec, "Foo Bar"), {{Name, 0, 7, "Foo Bar"}}, "Foo Bar");
    expectTokens(scan(ctx.ec, "foo bar+1"), {{Name, 0, 7, "foo bar"}, {'+', 7, 1, nullptr}, {Num, 8, 1, "1"}},
                 "foo bar+1");
    expectTokens(scan(ctx.ec, "Foo  Bar"), {{Name, 0, 3, "Foo"}, {Name, 5, 3, "Bar"}}, "Foo  Bar");
    expectTokens(scan(ctx.ec, "Foo\tBar"), {{Name, 0, 3, "Foo"}, {Name, 4, 3, "Bar"}}, "Foo\tBar");
    expectTokens(scan(ctx.ec, "Ab Cd"), {{Name, 0, 5, "Ab Cd"}}, "Ab Cd");
    expectTokens(scan(ctx.ec, "ab cd"), {{Name, 0, 2, "ab"}, {Name, 3, 2, "cd"}}, "ab cd");
    expectTokens(scan(ctx.ec, "Foo Bar", 1), {{Name, 0, 3, "Foo"}, {Name, 4, 3, "Bar"}}, "validating");
    // A refusal tries the shorter texts too: "Qu Ux" inside "Qu Uxe".
    expectTokens(scan(ctx.ec, "Qu Uxe"), {{Name, 0, 5, "Qu Ux"}, {Name, 5, 1, "e"}}, "Qu Uxe");
    expectTokens(scan(ctx.ec, "Qu Uxe("), {{Name, 0, 5, "Qu Ux"}, {Fn, 5, 2, "e"}}, "Qu Uxe(");
    expectTokens(scan(ctx.ec, "Qu (Ux"), {{Fn, 0, 4, "Qu"}, {Name, 4, 2, "Ux"}}, "Qu (Ux");
}

// ---- Code pages. Under 932 a lead byte and its trail are one character;
// under 1252 every byte is one, and the name check asks the system which
// are letters.

TEST(Tokens, NamesUnderBothCodePages) {
    const char *table = "\x95\x5C";  // a double-byte character whose trail is a backslash
    std::vector<Case> cp932 = {
        {table, {{Name, 0, 2, table}}},
        {"\x95\x5C(1)", {{Fn, 0, 3, table}, {Num, 3, 1, "1"}, {')', 4, 1, nullptr}}},
        {"\x83\x7C", {{Name, 0, 2, "\x83\x7C"}}},
        {"\x8A||b", {{Name, 0, 2, "\x8A|"}, {Bad, 2, 1, nullptr}, {Name, 3, 1, "b"}}},
        {"\xE9t\xE9", {{Bad, 2, 1, nullptr}}},
        {"\xB1\xB2", {{Name, 0, 2, "\xB1\xB2"}}},
        {"\xD7", {{Name, 0, 1, "\xD7"}}},
        {"\xA0", {{Bad, 0, 1, nullptr}}},
        {"a\x81" "1+2", {{Bad, 2, 1, nullptr}, {'+', 3, 1, nullptr}, {Num, 4, 1, "2"}}},
        {"a\x81#", {{Bad, 2, 1, nullptr}}},
        {"a\x81", {{Bad, 1, 1, nullptr}}},
        {"\"\x81\"", {{Bad, 2, 1, nullptr}}},
        {"\"\x81\x40\"", {{Name, 0, 4, "\"\x81\x40\""}}},
        {"\xB1 (", {{Fn, 0, 3, "\xB1"}}},
        {"\xA0(", {{Bad, 0, 1, nullptr}}},
        {"a\x83'b'", {{Bad, 1, 1, nullptr}, {Str, 2, 3, "b"}}},
    };
    runCases(cp932);
    CodePage page(1252);
    std::vector<Case> cp1252 = {
        {"\x95\x5C+1", {{Bad, 0, 1, nullptr}, {'+', 2, 1, nullptr}, {Num, 3, 1, "1"}}},
        {"\x8A||b", {{Name, 0, 1, "\x8A"}, {Cat, 1, 2, nullptr}, {Name, 3, 1, "b"}}},
        {"\x8A|", {{Name, 0, 1, "\x8A"}, {Bad, 1, 1, nullptr}}},
        {"\xE9t\xE9", {{Name, 0, 3, "\xE9t\xE9"}}},
        {"\xD7", {{Bad, 0, 1, nullptr}}},
        {"\xC0\xD7", {{Bad, 1, 1, nullptr}}},
        {"a\x81" "1", {{Bad, 1, 1, nullptr}}},
        {"\"\x81\"", {{Name, 0, 3, "\"\x81\""}}},
        {"\xD7(", {{Bad, 0, 1, nullptr}}},
        {"\xC0 (x", {{Fn, 0, 3, "\xC0"}, {Name, 3, 1, "x"}}},
        {"a\x83'b'", {{Name, 0, 2, "a\x83"}, {Str, 2, 3, "b"}}},
    };
    runCases(cp1252);
}

TEST(Tokens, StringsUnderBothCodePages) {
    std::vector<Case> cp932 = {
        // The trail 0x5C is no escape: the quote behind it closes.
        {"'\x95\x5C' + 'b'", {{Str, 0, 4, "\x95\x5C"}, {'+', 5, 1, nullptr}, {Str, 7, 3, "b"}}},
        // A quote that is a trail byte cannot close a string.
        {"'\x83' + 'a'", {{Bad, 0, 1, nullptr}, {Bad, 1, 1, nullptr}, {Str, 2, 5, " + "},
                          {Name, 7, 1, "a"}, {Bad, 8, 1, nullptr}}},
        {"'\x83''x'", {{Bad, 0, 1, nullptr}, {Bad, 1, 1, nullptr}, {Str, 2, 2, ""},
                       {Name, 4, 1, "x"}, {Bad, 5, 1, nullptr}}},
        {"'\x83\x81'", {{Str, 0, 4, "\x83\x81"}}},
    };
    runCases(cp932);
    CodePage page(1252);
    std::vector<Case> cp1252 = {
        {"'\x95\x5C' + 'b'", {{Str, 0, 8, "\x95\\' + "}, {Name, 8, 1, "b"}, {Bad, 9, 1, nullptr}}},
        {"'\x83' + 'a'", {{Str, 0, 3, "\x83"}, {'+', 4, 1, nullptr}, {Str, 6, 3, "a"}}},
        {"'\x83''x'", {{Str, 0, 6, "\x83''x"}}},
    };
    runCases(cp1252);
}

// ---- Read-ahead: the scanner takes a byte only while the text so far can
// still grow into a match, and the bytes it took are what DeliveredCount
// tells. matchLength is the latest match, blanks skipped included.

struct Step {
    int token;
    uint32_t delivered;
    uint32_t matchLength;
};

void expectSteps(const char *text, const std::vector<Step> &steps) {
    SCOPED_TRACE(text);
    LeakCheck leaks;
    Context ctx;
    LockGuard g(&gParserLock);
    StartParse(ctx.ec, text, 0);
    for (const Step &s : steps) {
        int token = NextToken();
        SvcFree(carriesValue(token) ? gParse.tokenValue : nullptr);
        gParse.tokenValue = nullptr;
        EXPECT_EQ(token, s.token);
        EXPECT_EQ(DeliveredCount(), s.delivered);
        EXPECT_EQ(gParse.matchLength, s.matchLength);
    }
}

TEST(Tokens, ReadAhead) {
    expectSteps("1 2 + 3", {{Num, 3, 1}, {Num, 5, 1}, {'+', 5, 1}, {Num, 8, 1}, {TokEnd, 8, 1}, {TokEnd, 8, 1}});
    expectSteps("1 +", {{Num, 3, 1}, {'+', 3, 1}, {TokEnd, 4, 1}});
    expectSteps("(1)", {{'(', 1, 1}, {Num, 3, 1}, {')', 3, 1}, {TokEnd, 4, 1}});
    // Blanks behind a word might still lead to its "(".
    expectSteps("ab   ", {{Name, 6, 2}, {TokEnd, 6, 4}});
    expectSteps("3 PM+1", {{Date, 5, 4}, {'+', 5, 1}, {Num, 7, 1}, {TokEnd, 7, 1}});
    expectSteps("f  (x", {{Fn, 4, 4}, {Name, 6, 1}, {TokEnd, 6, 1}});
    expectSteps("'a'", {{Str, 4, 3}, {TokEnd, 4, 1}});
    expectSteps("a||b", {{Name, 2, 1}, {Cat, 3, 2}, {Name, 5, 1}});
    expectSteps("", {{TokEnd, 1, 1}, {TokEnd, 1, 1}});
}

TEST(Tokens, InputByteGivesOneBlankAtTheEnd) {
    LockGuard g(&gParserLock);
    StartParse(nullptr, "ab", 0);
    EXPECT_EQ(DeliveredCount(), 0u);
    EXPECT_EQ(InputByte(), 'a');
    EXPECT_EQ(InputByte(), 'b');
    EXPECT_EQ(gParse.endBlankGiven, 0);
    EXPECT_EQ(InputByte(), ' ');
    EXPECT_EQ(gParse.endBlankGiven, 1);
    EXPECT_EQ(InputByte(), 0);
    EXPECT_EQ(InputByte(), 0);
    EXPECT_EQ(DeliveredCount(), 3u);
    StartParse(nullptr, "\xFF", 0);
    EXPECT_EQ(InputByte(), 0xFF);
}

TEST(Tokens, StartParseClearsTheState) {
    LeakCheck leaks;
    Context ctx;
    LockGuard g(&gParserLock);
    StartParse(ctx.ec, "3 days", 0);
    EXPECT_EQ(NextToken(), Num);
    SvcFree(gParse.tokenValue);
    EXPECT_EQ(NextToken(), Unit);
    gParse.error = ExpError{109, 1, 2};
    gParse.quantifier = 2;
    StartParse(ctx.ec, "x", 1);
    EXPECT_EQ(gParse.unit, 0);
    EXPECT_EQ(gParse.quantifier, 0);
    EXPECT_EQ(gParse.error.code, 0u);
    EXPECT_EQ(gParse.tokenValue, nullptr);
    EXPECT_EQ(gParse.validating, 1);
    EXPECT_EQ(gParse.matchLength, 0u);
    EXPECT_EQ(gParse.ec, ctx.ec);
    EXPECT_EQ(NextToken(), Name);
    EXPECT_EQ(DeliveredCount(), 2u);
    SvcFree(gParse.tokenValue);
    gParse.tokenValue = nullptr;
}

// ---- The token length limit.

struct LimitRun {
    std::vector<int> tokens;
    std::vector<uint32_t> lengths;
    ExpError error;
    uint32_t delivered;
};

LimitRun scanLimit(const std::string &text) {
    LimitRun run{};
    Context ctx;
    LockGuard g(&gParserLock);
    StartParse(ctx.ec, text.c_str(), 0);
    for (int token; (token = NextToken()) != TokEnd;) {
        run.tokens.push_back(token);
        run.lengths.push_back(gParse.tokenLength);
        SvcFree(carriesValue(token) ? gParse.tokenValue : nullptr);
        gParse.tokenValue = nullptr;
    }
    run.error = gParse.error;
    run.delivered = DeliveredCount();
    EXPECT_EQ(NextToken(), TokEnd);  // and it stays at the end
    return run;
}

std::string repeat(char c, size_t n) { return std::string(n, c); }

TEST(Tokens, LengthLimit) {
    LeakCheck leaks;
    {
        LimitRun r = scanLimit(repeat('1', 2047) + "+1");
        EXPECT_EQ(r.tokens, (std::vector<int>{Num, '+', Num}));
        EXPECT_EQ(r.lengths[0], 2047u);
        EXPECT_EQ(r.error.code, 0u);
    }
    {
        LimitRun r = scanLimit(repeat('1', 2048) + "+1");
        EXPECT_TRUE(r.tokens.empty());
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
        EXPECT_EQ(r.delivered, 2048u);
        EXPECT_EQ(r.error.start, 2049u);
        EXPECT_EQ(r.error.length, 1u);
    }
    {
        // The span comes from the match before: here the blank behind "+".
        LimitRun r = scanLimit("1 + " + repeat('a', 3000));
        EXPECT_EQ(r.tokens, (std::vector<int>{Num, '+'}));
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
        EXPECT_EQ(r.delivered, 4u + 2048u);
        EXPECT_EQ(r.error.start, 4u + 2048u);
        EXPECT_EQ(r.error.length, 2u);
    }
    {
        // Blanks behind a number might still make a date.
        LimitRun r = scanLimit("1" + repeat(' ', 2046) + "+");
        EXPECT_EQ(r.tokens, (std::vector<int>{Num, '+'}));
        EXPECT_EQ(r.error.code, 0u);
        r = scanLimit("1" + repeat(' ', 2047) + "+");
        EXPECT_TRUE(r.tokens.empty());
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
    }
    {
        LimitRun r = scanLimit(repeat(' ', 2047) + "x");
        EXPECT_EQ(r.tokens, (std::vector<int>{Name}));
        r = scanLimit(repeat(' ', 2048) + "x");
        EXPECT_TRUE(r.tokens.empty());
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
    }
    {
        // 2048 bytes that no byte could extend pass.
        LimitRun r = scanLimit("f" + repeat(' ', 2046) + "(1)");
        EXPECT_EQ(r.tokens, (std::vector<int>{Fn, Num, ')'}));
        EXPECT_EQ(r.lengths[0], 2048u);
        EXPECT_EQ(r.error.code, 0u);
        r = scanLimit("f" + repeat(' ', 2047) + "(1)");
        EXPECT_TRUE(r.tokens.empty());
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
    }
    {
        // A string can always grow behind its closing quote.
        LimitRun r = scanLimit("'" + repeat('x', 2045) + "'");
        EXPECT_EQ(r.tokens, (std::vector<int>{Str}));
        r = scanLimit("'" + repeat('x', 2046) + "'");
        EXPECT_TRUE(r.tokens.empty());
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
    }
    {
        // A long text of short tokens has no limit.
        std::string text;
        for (int i = 0; i < 1000; i++) text += "ab + ";
        LimitRun r = scanLimit(text + "1");
        EXPECT_EQ(r.tokens.size(), 2001u);
        EXPECT_EQ(r.error.code, 0u);
    }
}

// ---- Long texts. The scanner holds a window of the text and moves it on
// as it goes; nothing of that may show. A text made of copies of one piece
// must give, copy by copy, what two copies give: the same tokens, values,
// spans and read-ahead, shifted by the copy's offset.

struct Traced {
    int token;
    uint32_t start;
    uint32_t length;
    std::string value;
    uint32_t delivered;
    uint32_t matchLength;
};

std::vector<Traced> trace(HEC ec, const std::string &text) {
    std::vector<Traced> out;
    LockGuard g(&gParserLock);
    StartParse(ec, text.c_str(), 0);
    for (;;) {
        gParse.tokenValue = nullptr;
        int token = NextToken();
        Traced t{token, gParse.tokenStart, gParse.tokenLength, "", DeliveredCount(), gParse.matchLength};
        if (carriesValue(token)) {
            const char *value = (const char *)gParse.tokenValue;
            t.value = token == TokNumber ? std::string(value, sizeof(Number)) : std::string(value);
            SvcFree(gParse.tokenValue);
            gParse.tokenValue = nullptr;
        }
        out.push_back(t);
        if (token == TokEnd) break;
    }
    return out;
}

void expectShifted(const Traced &got, const Traced &want, uint32_t shift) {
    EXPECT_EQ(got.token, want.token);
    if (want.token != TokEnd) {
        EXPECT_EQ(got.start, want.start + shift);
        EXPECT_EQ(got.length, want.length);
    }
    EXPECT_EQ(got.value, want.value);
    EXPECT_EQ(got.delivered, want.delivered + shift);
    EXPECT_EQ(got.matchLength, want.matchLength);
}

TEST(Tokens, LongTextIsItsPiecesInTurn) {
    // Refused matches, trailing letters, escapes and a lead byte, so that
    // every sort of backing up meets the window's moves somewhere.
    const std::string piece =
        "Price * 1.5E+3 - 12.5E+3 + f (x) || 'it''s' || \"a b\".c + 3 PM+1/2/2000 - 3DAYS\t"
        "+ Foo Baz + @pi\n- 1 Jan 2000 12:30 PM + 'x\\'y' + \x8A||b + x.y.z.w + ";
    const uint32_t size = (uint32_t)piece.size();
    const int copies = 50000 / (int)size;
    LeakCheck leaks;
    Context ctx;
    for (uint32_t pad : {0u, 1u, 2u, 3u, 5u, 8u, 13u, 21u, 34u, 55u}) {
        SCOPED_TRACE("pad " + std::to_string(pad));
        std::string lead(pad, ' ');
        std::vector<Traced> two = trace(ctx.ec, lead + piece + piece);
        std::string text = lead;
        for (int i = 0; i < copies; i++) text += piece;
        std::vector<Traced> all = trace(ctx.ec, text);
        // The first copy's steps are those before the second copy's first token.
        size_t first = 0;
        while (two[first].token == TokEnd || two[first].start < pad + size) first++;
        size_t last = two.size() - first;
        ASSERT_EQ(all.size(), first * (copies - 1) + last);
        for (int i = 0; i < copies - 1; i++)
            for (size_t j = 0; j < first; j++) expectShifted(all[i * first + j], two[j], i * size);
        for (size_t j = 0; j < last; j++)
            expectShifted(all[(copies - 1) * first + j], two[first + j], (copies - 2) * size);
        if (HasFailure()) return;
    }
}

// A long token anywhere in a long text: "ab + " pieces and up to four
// blanks put it at `offset`; the blanks behind the last "+" are the match
// before it.
std::string textWithTokenAt(uint32_t offset, const std::string &token) {
    std::string text;
    for (uint32_t i = 0; i < offset / 5; i++) text += "ab + ";
    return text + std::string(offset % 5, ' ') + token + "+1";
}

TEST(Tokens, LongTokensDeepInLongTexts) {
    LeakCheck leaks;
    std::vector<uint32_t> offsets;
    for (uint32_t at = 100; at < 45000; at += 2999) offsets.push_back(at);
    // Around the edges of the first window, which holds eight times the limit.
    for (uint32_t edge : {7u * 2048, 8u * 2048})
        for (uint32_t at = edge - 2055; at < edge + 6; at++)
            if (at < edge - 2045 || at > edge - 6) offsets.push_back(at);
    const std::string passing[] = {std::string(2047, '7'), "'" + std::string(2045, 'x') + "'",
                                   "f" + std::string(2046, ' ') + "("};
    const int kinds[] = {Num, Str, Fn};
    for (uint32_t at : offsets) {
        SCOPED_TRACE("offset " + std::to_string(at));
        size_t before = at / 5 * 2;  // an "ab" and a "+" for each piece
        for (int k = 0; k < 3; k++) {
            LimitRun r = scanLimit(textWithTokenAt(at, passing[k]));
            ASSERT_EQ(r.tokens.size(), before + 3);
            EXPECT_EQ(r.tokens[before], kinds[k]);
            EXPECT_EQ(r.lengths[before], (uint32_t)passing[k].size());
            EXPECT_EQ(r.error.code, 0u);
        }
        LimitRun r = scanLimit(textWithTokenAt(at, std::string(2048, '7')));
        EXPECT_EQ(r.tokens.size(), before);
        EXPECT_EQ(r.error.code, (uint32_t)ERR_MAXTOKEN);
        EXPECT_EQ(r.delivered, at + 2048);
        uint32_t blanks = at < 5 ? at : 1 + at % 5;
        EXPECT_EQ(r.error.start, at + 2048 + 1 - blanks);
        EXPECT_EQ(r.error.length, blanks + 1);
        if (HasFailure()) return;
    }
}

// A parse left half way, or ended by a token too long, leaves nothing that
// the next parse could see.
TEST(Tokens, NextParseStartsClean) {
    LeakCheck leaks;
    std::string text;
    for (int i = 0; i < 5000; i++) text += "abc + ";
    {
        Context ctx;
        LockGuard g(&gParserLock);
        StartParse(ctx.ec, text.c_str(), 0);
        for (int i = 0; i < 4000; i++) {
            ASSERT_NE(NextToken(), TokEnd);
            SvcFree(gParse.tokenValue);
            gParse.tokenValue = nullptr;
        }
    }
    expectSteps("1 2 + 3", {{Num, 3, 1}, {Num, 5, 1}, {'+', 5, 1}, {Num, 8, 1}, {TokEnd, 8, 1}});
    scanLimit(text + std::string(3000, '1'));
    expectSteps("1 2 + 3", {{Num, 3, 1}, {Num, 5, 1}, {'+', 5, 1}, {Num, 8, 1}, {TokEnd, 8, 1}});
    scanLimit(std::string(3000, ' '));
    expectSteps("'a'", {{Str, 4, 3}, {TokEnd, 4, 1}});
}

// ---- Allocation failures: the token whose value cannot be had is
// TokNoMemory, nothing leaks, and the scan goes on behind it.

TEST(Tokens, EachAllocationFails) {
    Context ctx;
    const char *text = "a 1 'x' f( @pi 1/2/2000 DAYS";
    const std::vector<int> normal = {Name, Num, Str, Fn, Const, Date, Unit};
    // The allocations in order: a word's copy and its upper-cased copy for
    // the unit test, then one value for each of the next five tokens, then
    // the two copies of DAYS. Failing allocation -> {token index, token}.
    struct Effect {
        int index;
        int token;
    };
    const std::vector<Effect> effects = {
        {-1, 0}, {0, TokNoMemory}, {-1, 0}, {1, TokNoMemory}, {2, TokNoMemory}, {3, TokNoMemory},
        {4, TokNoMemory}, {5, TokNoMemory}, {6, TokNoMemory}, {6, Name}, {-1, 0},
    };
    int runs = EachAllocationFails([&](int n) {
        std::vector<Got> got = scan(ctx.ec, text);
        ASSERT_EQ(got.size(), normal.size());
        for (size_t i = 0; i < normal.size(); i++) {
            int want = normal[i];
            if (n < (int)effects.size() && effects[n].index == (int)i) want = effects[n].token;
            EXPECT_EQ(got[i].token, want) << "run " << n << " token " << i;
            if (got[i].token == TokNoMemory) {
                EXPECT_EQ(got[i].start, kMarkStart);
                EXPECT_FALSE(got[i].hasValue);
            }
        }
    });
    EXPECT_EQ(runs, 10);
}

TEST(Tokens, AllocationFailsInTwoWordsAndWords) {
    Context ctx(ECFlagQualifiers);
    ctx.keyword("Foo Bar");
    for (const char *text : {"Foo Bar", "Foo Baz", "x AND all + \"q\".r"}) {
        SCOPED_TRACE(text);
        EachAllocationFails([&](int) {
            std::vector<Got> got = scan(ctx.ec, text);
            EXPECT_FALSE(got.empty());
        });
    }
}
