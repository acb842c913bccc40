// The tokeniser: tokens, values and spans to the byte, two-word keywords, both
// code pages, the token length limit across the moving window, failing allocations.
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/startup.h"
#include "language/parsestate.h"
#include "support.h"

namespace {

int gSentinel;  // tokenValue before each token: a valueless token leaves it

struct Got {
    int token;
    uint32_t start, length;
    std::string value;  // a number's bytes, a text, a unit's or quantifier's code
    bool hasValue;
    uint32_t delivered, matchLength;
};

std::vector<Got> scan(HEC ec, const std::string &text, int validating = 0) {
    LockGuard g(&gParserLock);
    StartParse(ec, text.c_str(), validating);
    std::vector<Got> got;
    for (;;) {
        gParse.tokenValue = &gSentinel;
        gParse.tokenStart = gParse.tokenLength = 0xDEAD;
        int token = NextToken();
        Got t{token, gParse.tokenStart, gParse.tokenLength, "", gParse.tokenValue != &gSentinel,
              DeliveredCount(), gParse.matchLength};
        if (t.hasValue && gParse.tokenValue) {
            const char *value = (const char *)gParse.tokenValue;
            t.value = token == TokNumber ? std::string(value, sizeof(Number)) : std::string(value);
            SvcFree(gParse.tokenValue);
        }
        gParse.tokenValue = nullptr;
        if (token == TokUnit) t.value = std::to_string(gParse.unit);
        if (token == TokQuantifier) t.value = std::to_string(gParse.quantifier);
        got.push_back(t);
        if (token == TokEnd) return got;
    }
}

// A context with the two-word keywords Foo Bar, Qu Ux and the case-sensitive Ab Cd.
struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0) : ec(ZEMCreateEC(nullptr, nullptr, nullptr, flags)) {
        for (const char *name : {"Foo Bar", "Qu Ux", "Ab Cd"})
            AddItem(ec, ZEM_ITEM_KEYWORD, name, 256, {.optional = name[0] == 'A'});
    }
    ~Context() { ZEMDestroyEC(ec); }
};

// The tokens as "<kind><start>,<length>[=code]": N number, A name, F function,
// C constant, S string, D date, B bad, U unit, Q quantifier, | concatenation,
// & AND (a bare & has no span), or the operator's own character. A value must
// be the span's text, a string's unquoted, a function's without "(", a
// number's bytes: one that differs or is missing shows behind a "!".
std::string show(const std::string &text, const std::vector<Got> &got) {
    static const char kinds[] = "NAFCSDBUQ|&";
    static const int tokens[] = {TokNumber, TokName, TokFunction, TokConstant, TokString, TokDate,
                                 TokBad, TokUnit, TokQuantifier, TokConcat, TokAnd};
    std::string out;
    for (size_t i = 0; got[i].token != TokEnd; i++) {
        const Got &t = got[i];
        char kind = (char)t.token;
        for (size_t k = 0; k < sizeof tokens / sizeof *tokens; k++)
            if (tokens[k] == t.token) kind = kinds[k];
        out += (i ? " " : "") + std::string(1, kind);
        if (t.start != 0xDEAD || t.length != 0xDEAD)
            out += std::to_string(t.start) + "," + std::to_string(t.length);
        if (kind == 'U' || kind == 'Q') out += "=" + t.value;
        std::string value = t.start == 0xDEAD ? "" : text.substr(t.start, t.length);
        if (kind == 'N') {
            Number n;
            SvcNumFromText(&n, value.c_str());
            value = std::string((const char *)n.bytes, sizeof n.bytes);
        }
        if (kind == 'S') value = value.substr(1, value.size() - 2);
        if (kind == 'F') value = value.substr(0, value.find_first_of(" (\t"));
        bool valued = strchr("NACSDF", kind) != nullptr;
        if (t.hasValue != valued || (valued && t.value != value)) out += "!" + t.value;
    }
    return out;
}

struct Case {
    const char *text, *tokens;
    uint16_t flags = 0;
};

void runCases(const std::vector<Case> &cases) {
    for (const Case &c : cases) {
        LeakCheck leaks;
        Context ctx(c.flags);
        EXPECT_EQ(c.tokens, show(c.text, scan(ctx.ec, c.text))) << "text: " << c.text;
    }
}

constexpr uint16_t RS = ECFlagRangesAndSets, QF = ECFlagQualifiers;

}  // namespace

TEST(Tokens, TextsGiveTokens) {
    runCases({
        {"12.5E+3", "N0,4 A4,1 +5,1 N6,1"}, {"1.5E3", "N0,3 A3,2"}, {"5. .5", "N0,2 N3,2"},
        {".", "B0,1"}, {"a.1", "A0,1 N1,2"}, {"2*(3)/5", "N0,1 *1,1 (2,1 N3,1 )4,1 /5,1 N6,1"},
        {"<=>{},", "<0,1 =1,1 >2,1 {3,1 }4,1 ,5,1"}, {"a||b", "A0,1 |1,2 A3,1"},
        {"7%2", "N0,1 B1,1 N2,1"}, {"7%2", "N0,1 %1,1 N2,1", ECFlagModulo}, {" \t\n ", ""},
        {"!&;?^~:`", "B0,1 B1,1 B2,1 B3,1 B4,1 B5,1 B6,1 B7,1"}, {"\"ab", "B0,1 A1,2"},
        {"# $ _ @", "A0,1 A2,1 A4,1 A6,1"}, {"x_1.y$.@z", "A0,9"}, {"\"a b\".c `a+b`", "A0,7 A8,5"},
        {"a.b.c.d", "A0,5 B5,1 A6,1"}, {"@now @Pi+1", "C0,4 C5,3 +8,1 N9,1"}, {"x and", "A0,1 &"},
        {"x AnD y", "A0,1 &2,5 A6,1"},  // "AnD y" was tried as two words first
        {"f (x)", "F0,3 A3,1 )4,1"}, {"Sum  ()", "F0,6 )6,1"}, {"f\t(x", "A0,1 (2,1 A3,1"},
        {"\"f\"(x", "A0,3 (3,1 A4,1"}, {"x AND (y)", "A0,1 F2,5 A7,1 )8,1"},
        {"@now()", "F0,5 )5,1"}, {"foo bar+1", "A0,7 +7,1 N8,1"}, {"Foo  Bar", "A0,3 A5,3"},
        {"Qu Uxe", "A0,5 A5,1"}, {"Qu (Ux", "F0,4 A4,2"},  // a refusal tries the shorter texts too
        {"'it''s' ''''", "S0,7 S8,4"}, {"'abc", "B0,1 A1,3"}, {"'a\\' + 'b'", "S0,8 A8,1 B9,1"},
        {"'x' || 'y'", "S0,3 |4,2 S7,3"}, {"3DAYS", "N0,1 U1,4=1"},
        {"day month MONTHS Year hours minute Seconds",
         "U0,3=1 U4,5=2 U10,6=2 U17,4=4 U22,5=8 U28,6=16 U35,7=32"},
        {"days", "A0,4", ECFlagNoDateMath}, {"distinct All", "A0,8 A9,3"},
        {"distinct All days", "Q0,8=1 Q9,3=2 U13,4=1", QF}, {"DISTINCT(", "F0,9", QF},
        {"all days", "Q0,3=2 A4,4", QF | ECFlagNoDateMath}, {"1/2/2000", "D0,8"},
        {"10-5-3", "D0,6"}, {"3PM+1", "D0,3 +3,1 N4,1"}, {"1:30pm,2", "D0,6 ,6,1 N7,1"},
        {"3 AM\t", "N0,1 A2,2"}, {"1 Jan 2000 12:30 PM", "D0,19"}, {"1 Jan", "N0,1 A2,3"},
        {"Jan 1, 2000 12:30", "D0,17"}, {"Jan 1 , 2000", "A0,3 N4,1 ,6,1 N8,4"},
        {"2000-01-02 12:30:00", "D0,19"}, {"2000/1/2-10.5 am)", "D0,16 )16,1"},
        {"99/99/2000", "N0,2 /2,1 N3,2 /5,1 N6,4", RS},
    });
}

// Under 932 a lead byte and its trail are one character; under 1252 a byte.
TEST(Tokens, CodePages) {
    runCases({
        {"\x95\x5C \x95\x5C(1)", "A0,2 F3,3 N6,1 )7,1"},  // a trail byte that is a backslash
        {"\x83\x7C \xB1\xB2", "A0,2 A3,2"}, {"\x8A||b", "A0,2 B2,1 A3,1"}, {"\xE9t\xE9", "B2,1"},
        {"\xD7 \xA0", "A0,1 B2,1"}, {"a\x81" "1+2", "B2,1 +3,1 N4,1"}, {"a\x81#", "B2,1"},
        {"a\x81", "B1,1"}, {"\"\x81\"", "B2,1"}, {"\"\x81\x40\"", "A0,4"}, {"\xB1 (", "F0,3"},
        {"\xA0(", "B0,1"}, {"a\x83'b'", "B1,1 S2,3"},
        {"'\x95\x5C' + 'b'", "S0,4 +5,1 S7,3"},  // the trail 0x5C is no escape
        {"'\x83' + 'a'", "B0,1 B1,1 S2,5 A7,1 B8,1"},  // a trail quote cannot close
        {"'\x83''x'", "B0,1 B1,1 S2,2 A4,1 B5,1"}, {"'\x83\x81'", "S0,4"},
        {"'a\\'", "B0,1 A1,1 B2,1 B3,1"},  // in 932 \' is an escaped quote
    });
    ASSERT_EQ(1, ZEMSetSystemCodePage(1252));
    runCases({
        {"\x95\x5C+1", "B0,1 +2,1 N3,1"}, {"\x8A||b", "A0,1 |1,2 A3,1"}, {"\x8A|", "A0,1 B1,1"},
        {"\xE9t\xE9", "A0,3"}, {"\xD7", "B0,1"}, {"\xC0\xD7", "B1,1"}, {"a\x81" "1", "B1,1"},
        {"\"\x81\"", "A0,3"}, {"\xD7(", "B0,1"}, {"\xC0 (x", "F0,3 A3,1"},
        {"a\x83'b'", "A0,2 S2,3"}, {"'a\\'", "S0,4"}, {"'\x95\x5C' + 'b'", "S0,8 A8,1 B9,1"},
        {"'\x83' + 'a'", "S0,3 +4,1 S6,3"}, {"'\x83''x'", "S0,6"},
    });
    ZEMSetSystemCodePage(932);
}

// ---- The token length limit, alone and deep in a long text: "ab + " pieces
// and up to four blanks put the token at `at`; the blanks behind the last
// "+" are the match before it, which gives the report's span.
TEST(Tokens, LengthLimit) {
    LeakCheck leaks;
    Context ctx;
    struct { std::string text; int token; uint32_t length; } cases[] = {  // each fails one byte longer
        {std::string(2047, '7'), TokNumber, 2047},
        {"1" + std::string(2046, ' '), TokNumber, 1},  // blanks behind a number might make a date
        {std::string(2047, ' ') + "x", TokName, 1},
        {"f" + std::string(2046, ' ') + "(", TokFunction, 2048},  // no byte could extend these
        {"'" + std::string(2045, 'x') + "'", TokString, 2047},  // a string can grow behind its quote
    };
    std::vector<uint32_t> offsets = {0, 4, 3099};
    for (uint32_t edge : {7u * 2048, 8u * 2048})  // the first window holds eight times the limit
        for (int d : {-2055, -2049, -2048, -2047, -2046, -5, -1, 0, 1, 5}) offsets.push_back(edge + d);
    for (uint32_t at : offsets) {
        std::string lead;
        for (uint32_t i = 0; i < at / 5; i++) lead += "ab + ";
        lead += std::string(at % 5, ' ');
        size_t before = at / 5 * 2;
        uint32_t blanks = at < 5 ? at : 1 + at % 5;
        for (auto &c : cases) {
            if (c.token == TokName && blanks) continue;  // the blanks before count too
            std::vector<Got> got = scan(ctx.ec, lead + c.text + "+1");
            ASSERT_EQ(before + 4, got.size()) << at << " " << c.text.size();
            EXPECT_EQ(c.token, got[before].token) << at;
            EXPECT_EQ(c.length, got[before].length) << at;
            size_t longer = c.token == TokName ? 0 : 1;
            got = scan(ctx.ec, lead + std::string(c.text).insert(longer, 1, c.text[longer]) + "+1");
            EXPECT_EQ(before + 1, got.size()) << at << " " << c.text.size();
            LockGuard g(&gParserLock);
            EXPECT_EQ((uint32_t)ERR_MAXTOKEN, gParse.error.code) << at;
        }
        std::vector<Got> got = scan(ctx.ec, lead + std::string(2048, '7') + "+1");
        LockGuard g(&gParserLock);
        EXPECT_EQ(at + 2048, got.back().delivered) << at;
        EXPECT_EQ(at + 2048 + 1 - blanks, gParse.error.start) << at;
        EXPECT_EQ(blanks + 1, gParse.error.length) << at;
        if (HasFailure()) return;
    }
}

// The token whose value cannot be had is TokNoMemory and the scan goes on.
// Allocations: a word and its upper-cased copy, five values, DAYS twice.
TEST(Tokens, EachAllocationFails) {
    Context ctx, qualifiers(QF);
    const std::vector<int> normal = {TokName, TokNumber, TokString, TokFunction, TokConstant, TokDate,
                                     TokUnit};
    const int failing[][2] = {{0, TokNoMemory}, {-1, 0}, {1, TokNoMemory}, {2, TokNoMemory},
                              {3, TokNoMemory}, {4, TokNoMemory}, {5, TokNoMemory},
                              {6, TokNoMemory}, {6, TokName}};
    int runs = EachAllocationFails([&](int n) {
        std::vector<Got> got = scan(ctx.ec, "a 1 'x' f( @pi 1/2/2000 DAYS");
        ASSERT_EQ(got.size(), normal.size() + 1);
        for (size_t i = 0; i < normal.size(); i++) {
            bool hit = n <= 9 && failing[n - 1][0] == (int)i;
            EXPECT_EQ(got[i].token, hit ? failing[n - 1][1] : normal[i]) << n << " " << i;
            if (got[i].token == TokNoMemory) {
                EXPECT_EQ(got[i].start, 0xDEADu);
                EXPECT_FALSE(got[i].hasValue);
            }
        }
    });
    EXPECT_EQ(runs, 10);
    for (const char *text : {"Foo Bar", "Foo Baz", "x AND all + \"q\".r"})
        EachAllocationFails([&](int) { EXPECT_GT(scan(qualifiers.ec, text).size(), 1u) << text; });
}

// ---- The quick scan against the generated scanner alone: every token, its
// value and span, the bytes taken and the match length, and the report.
namespace {

std::string everything(HEC ec, const std::string &text, int validating) {
    std::string out;
    for (const Got &t : scan(ec, text, validating))
        out += std::to_string(t.token) + "," + std::to_string(t.start) + "," +
               std::to_string(t.length) + (t.hasValue ? "=" + t.value : "") + " " +
               std::to_string(t.delivered) + "," + std::to_string(t.matchLength) + ";";
    LockGuard g(&gParserLock);
    const ExpError &e = gParse.error;
    return out + std::to_string(e.code) + "," + std::to_string(e.start) + "," +
           std::to_string(e.length);
}

}  // namespace

TEST(Tokens, QuickScanGivesWhatTheScannerGives) {
    const char *pieces[] = {
        "Price", "ab", "abc", "x", "e", "E", "Jan", "DAYS", "Month", "and", "AnD", "distinct",
        "All", "Foo", "Bar", "Foo Bar", "Qu", "Ux", "Ab Cd", "PM", "am", "x1", "a_b", "q$#@",
        "@now", "@Pi", "#", "_", "0", "1", "12", "1.2", "1.2.3", "1e", "1E+3", "1.5E3", "5.", ".5",
        "3.25", "12:30", "1/31/2001", "10-5-3", "1 Jan", "2 pm", "3 x", "30 DAYS", ", 2000", ",5",
        "\x82\xA0", "\x95\x5C", "\x83\x7C", "\xB1", "\xE9", "\x81", "\xA0", "\xFD", "'", "'ab'",
        "''", "'a b'", "\"", "\"q r\"", "`", "\\", "+", "-", "*", "/", "%", "(", ")", ",", "|",
        "||", "<", "=", ">", "{", "}", ".", ":", "!", "&", ";", "[", "^", "~", "\x7F", " ", "  ",
        "\t", "\n", " (", "\t("};
    std::vector<std::string> texts;
    for (const char *a : pieces)
        for (const char *b : pieces)
            for (const char *gap : {"", " "}) texts.push_back(std::string(a) + gap + b);
    std::mt19937 rng(7);
    for (int i = 0; i < 3000; i++) {
        std::string text;
        for (int n = 3 + (int)(rng() % 6); n > 0; n--) text += pieces[rng() % std::size(pieces)];
        texts.push_back(text);
    }
    std::string longText;  // the window slides
    while (longText.size() < 40000) longText += pieces[rng() % std::size(pieces)];
    texts.push_back(longText);
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage page(cp);
        if (!page.active) continue;
        for (uint16_t flags : {(uint16_t)0, (uint16_t)(RS | QF | ECFlagModulo)}) {
            LeakCheck leaks;
            Context ctx(flags);
            for (size_t i = 0; i < texts.size(); i++) {
                int validating = (int)(i % 2);
                ScanQuick(0);
                std::string slow = everything(ctx.ec, texts[i], validating);
                ScanQuick(1);
                ASSERT_EQ(slow, everything(ctx.ec, texts[i], validating)) << cp << " " << texts[i];
            }
        }
    }
}
