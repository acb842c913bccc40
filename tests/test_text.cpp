// Text operations, counted in characters of each code page.
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>
#include <vector>

#include "services/platform.h"
#include "support.h"

namespace {

struct UseCodePage {
    explicit UseCodePage(unsigned cp) { EXPECT_EQ(SvcSelectCodePage(cp), 1); }
    ~UseCodePage() { SvcSelectCodePage(932); }
};

// A heap copy of exactly the text's size, so that a read past the end shows.
struct Exact {
    char *p;
    explicit Exact(const char *s) : p((char *)malloc(strlen(s) + 1)) { strcpy(p, s); }
    ~Exact() { free(p); }
};

const char kGuard = 0x7E;

// Runs `write` on a copy of `in`: once into a guarded buffer and once in
// place; both must agree. Nothing may be written behind the result's
// terminator, or with `loose` behind the length of `in`.
std::string run(const char *in, const std::function<void(char *, const char *)> &write, bool loose = false) {
    Exact src(in);
    char buf[64], same[64];
    memset(buf, kGuard, sizeof buf);
    write(buf, src.p);
    size_t n = strnlen(buf, sizeof buf), end = loose ? strlen(in) : n;
    for (size_t i = end + 1; i < sizeof buf; i++) EXPECT_EQ(buf[i], kGuard) << in << " written at " << i;
    strcpy(same, in);
    write(same, same);
    EXPECT_EQ(std::string(same), std::string(buf, n)) << in << " in place";
    return std::string(buf, n);
}

// x, katakana so (its trail is a backslash), y, hiragana a: 4 characters
// under 932 and 6 under 1252.
const char kMixed[] = "x\x83\x5Cy\x82\xA0";

}  // namespace

TEST(Text, Counting) {
    struct Case { const char *text; long count; size_t chars932, chars1252, skip932, skip1252; };
    const Case cases[] = {
        {"", 1, 0, 0, 0, 0},          {kMixed, 2, 4, 6, 3, 2},         {kMixed, 100, 4, 6, 6, 6},
        {kMixed, -1, 4, 6, 0, 0},     {"a\x83", 5, 2, 2, 2, 2},        {"\x81\x40x", 1, 2, 3, 2, 1},
        {"\xB1\xB2", 1, 2, 2, 1, 1},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            Exact t(c.text);
            EXPECT_EQ(SvcStrLen(t.p), strlen(c.text));
            EXPECT_EQ(SvcCharLen(t.p), cp == 932 ? c.chars932 : c.chars1252) << cp << " " << c.text;
            EXPECT_EQ((size_t)(SvcStrSkip(t.p, c.count) - t.p), cp == 932 ? c.skip932 : c.skip1252)
                << cp << " " << c.text << " " << c.count;
        }
    }
    EXPECT_EQ(SvcStrLen(nullptr), 0u);
    EXPECT_EQ(SvcCharLen(nullptr), 0u);
}

TEST(Text, CutsKeepCharactersWhole) {
    enum Op { Left, Right, Mid, Copy };
    struct Case { Op op; long start, count; const char *in, *out932, *out1252; };
    const Case cases[] = {
        {Left, 0, 2, kMixed, "x\x83\x5C", "x\x83"},       {Left, 0, -1, kMixed, "", ""},
        {Left, 0, 100, kMixed, kMixed, kMixed},           {Copy, 0, 2, kMixed, "x\x83\x5C", "x\x83"},
        {Copy, 0, 3, "ab\x83", "ab\x83", "ab\x83"},       {Copy, 0, 0, "ab", "", ""},
        {Right, 0, 1, kMixed, "\x82\xA0", "\xA0"},        {Right, 0, 3, kMixed, "\x83\x5Cy\x82\xA0", "y\x82\xA0"},
        {Right, 0, -2, kMixed, "", ""},                   {Right, 0, 100, kMixed, kMixed, kMixed},
        {Right, 0, LONG_MIN, kMixed, "", ""},             {Mid, 1, 2, kMixed, "\x83\x5Cy", "\x83\x5C"},
        {Mid, 3, 100, kMixed, "\x82\xA0", "y\x82\xA0"},   {Mid, -3, 1, kMixed, "x", "x"},
        {Mid, 6, 1, kMixed, "", ""},                      {Mid, 1, -1, kMixed, "", ""},
        {Mid, LONG_MIN, LONG_MAX, kMixed, kMixed, kMixed},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            std::string got = run(c.in, [&](char *d, const char *s) {
                if (c.op == Left) SvcStrLeft(d, s, c.count);
                if (c.op == Right) SvcStrRight(d, s, c.count);
                if (c.op == Mid) SvcStrMid(d, s, c.start, c.count);
                if (c.op == Copy) SvcCopyChars(d, s, c.count);
            });
            EXPECT_EQ(got, cp == 932 ? c.out932 : c.out1252)
                << cp << " op " << c.op << " " << c.start << "," << c.count;
        }
    }
}

TEST(Text, Replace) {
    struct Case { const char *in, *rep; long start, count; const char *out932, *out1252; };
    const Case cases[] = {
        {"abcdef", "xy", 1, 2, "axydef", "axydef"},       {"abcdef", "xy", 0, 0, "xyabcdef", "xyabcdef"},
        {"abcdef", "xy", 6, 2, "abcdefxy", "abcdefxy"},   {"abcdef", "xy", 100, 1, "abcdefxy", "abcdefxy"},
        {"abcdef", "xy", 4, 100, "abcdxy", "abcdxy"},     {"abcdef", "", -2, 1, "bcdef", "bcdef"},
        {"abcdef", "Q", 2, -5, "abQcdef", "abQcdef"},     {kMixed, "Z", 1, 1, "xZy\x82\xA0", "xZ\x5Cy\x82\xA0"},
        {kMixed, "", 3, 1, "x\x83\x5Cy", "x\x83\x5C\x82\xA0"},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases)
            EXPECT_EQ(run(c.in, [&](char *d, const char *s) {
                          SvcStrReplace(d, s, c.rep, c.start, c.count);
                      }), cp == 932 ? c.out932 : c.out1252)
                << cp << " " << c.in << " " << c.start << "," << c.count;
    }
    char buf[32];  // overlapping but not equal, both ways
    strcpy(buf, "01234567abcdefgh");
    SvcStrReplace(buf, buf + 8, "Z", 4, 1);
    EXPECT_STREQ(buf, "abcdZfgh");
    strcpy(buf, "abcdefgh");
    SvcStrReplace(buf + 3, buf, "Z", 4, 1);
    EXPECT_STREQ(buf + 3, "abcdZfgh");
}

TEST(Text, CaseAndBlanks) {
    enum Op { Proper, Upper, Lower, Trim, RTrim, LTrim, Normalise };
    struct Case { Op op; const char *in, *out932, *out1252; };
    const Case cases[] = {
        {Proper, "hello wORLD", "Hello World", "Hello World"},
        {Proper, "o'neil mc-donald", "O'Neil Mc-Donald", "O'Neil Mc-Donald"},
        {Proper, "abc1DEF 2nd", "Abc1def 2nd", "Abc1def 2nd"},
        {Proper, "\xE9LAN \xE0", "\xE9LAn \xE0", "\xC9lan \xC0"},                // a lead byte under 932
        {Proper, "\x82\x81" "BC", "\x82\x81" "Bc", "\x82\x81" "Bc"},             // full-width a left alone
        {Proper, "\x83\x61" "BC", "\x83\x61" "Bc", "\x83\x61" "bc"},             // trail a; f-hook a
        {Proper, "stra\xDF" "E", "Stra\xDF" "e", "Stra\xDF" "e"},
        {Proper, "\xB1" "BC", "\xB1" "bc", "\xB1" "Bc"},                         // katakana is a letter
        {Upper, "ab\x82\x81\x83\x61\xE9", "AB\x82\x60\x83\x61\xE9", "AB\x82\x81\x83\x41\xC9"},
        {Lower, "AB\x82\x60\x83\x41\xC9", "ab\x82\x81\x83\x41\xC9", "ab\x82\x60\x83\x61\xE9"},
        {Trim, "  a b  ", "a b", "a b"},       {RTrim, "  a b  ", "  a b", "  a b"},
        {LTrim, "  a b  ", "a b  ", "a b  "},  {Trim, "   ", "", ""},   {RTrim, "   ", "", ""},
        {Trim, " \ta\t ", "\ta\t", "\ta\t"},   {RTrim, "a\t ", "a\t", "a\t"},    // a tab is no blank
        {Trim, " \x81\x40 ", "\x81\x40", "\x81\x40"},                            // nor a full-width space
        {Normalise, " name  ", "name", "name"}, {Normalise, "a b", "a b", "a b"},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            std::string got = run(c.in, [&](char *d, const char *s) {
                if (c.op == Proper) return SvcStrProper(d, s);
                if (c.op == Trim) return SvcStrTrim(d, s);
                if (c.op == RTrim) return SvcStrRTrim(d, s);
                if (c.op == LTrim) s = SvcStrLTrim(s);
                memmove(d, s, strlen(s) + 1);
                if (c.op == Upper) SvcStrUpper(d);
                if (c.op == Lower) SvcStrLower(d);
                if (c.op == Normalise) SvcStrNormalise(d);
            }, true);
            EXPECT_EQ(got, cp == 932 ? c.out932 : c.out1252) << cp << " op " << c.op << " " << c.in;
        }
    }
}

TEST(Text, FindAndCompare) {
    struct Scan { const char *text, *pattern; long at932, at1252; };
    const Scan scans[] = {
        {"abcabc", "ca", 2, 2},   {"abc", "x", -1, -1},  {"abc", "", 0, 0},  {"", "a", -1, -1},
        {"abc", "abcd", -1, -1},
        {"\x83\x5C" "ab\\", "\\", 3, 1},          // the first backslash is a trail byte
        {"\x82\xA0\x82\xA2", "\xA0\x82", -1, 1},  // straddles two characters
        {"\x82\xA0\x82\xA2x", "x", 2, 4},         // a position counts characters
        {"\x83\x5C", "\x83", -1, 0},              // would split a character
    };
    struct Chr { const char *text; int ch; long at932, at1252; };
    const Chr chrs[] = {{"a,b", ',', 1, 1}, {"\x83\x7C|", '|', 2, 1}, {"abc", 'x', -1, -1},
                        {"ab", 0, 2, 2},    {"a\xB1", (char)0xB1, 1, 1}};
    struct Starts { const char *text, *prefix; long count; bool yes932, yes1252; };
    const Starts starts[] = {
        {"Formula12", "Formula", 7, true, true}, {"Form", "Formula", 7, false, false},
        {"Formula", "Formula", 9, true, true},   {"Formulb", "Formula", 6, true, true},
        {"abc", "xyz", 0, true, true},           {"\x83\x5Cx", "\x83\x5Cy", 2, false, true},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Scan &s : scans) {
            Exact t(s.text);
            EXPECT_EQ(SvcStrScan(t.p, s.pattern), cp == 932 ? s.at932 : s.at1252) << cp << " " << s.text;
        }
        for (const Chr &c : chrs) {
            Exact t(c.text);
            const char *hit = SvcStrChr(t.p, c.ch);
            EXPECT_EQ(hit ? hit - t.p : -1, cp == 932 ? c.at932 : c.at1252) << cp << " " << c.text;
        }
        for (const Starts &s : starts)
            EXPECT_EQ(SvcStrStartsWith(s.text, s.prefix, s.count) != 0, cp == 932 ? s.yes932 : s.yes1252)
                << cp << " " << s.text << " " << s.count;
    }
    EXPECT_TRUE(SvcStrEqual("a b", "a b"));
    EXPECT_FALSE(SvcStrEqual("a", "A"));
    EXPECT_FALSE(SvcStrEqual("a", "a "));
    EXPECT_TRUE(SvcStrEqual(nullptr, ""));
}

TEST(Text, NextToken) {
    const char *delims = " \t\r()*+-/|%,";
    struct Step { const char *token; size_t consumed; };
    struct Case { unsigned cp; const char *text; std::vector<Step> steps; };
    const Case cases[] = {
        {932, "a+ b", {{"a", 1}, {"b", 3}}},
        {932, "x  ", {{"x", 1}, {"", 2}}},
        {932, " \t\r", {{"", 3}}},
        {932, "\"a b\"+c", {{"\"a b\"", 5}, {"c", 2}}},
        {932, "\"a|(b", {{"\"a|(b", 5}}},
        {932, "f(x,y)", {{"f", 1}, {"x", 2}, {"y", 2}, {"", 1}}},
        {932, "1%x-y*z/w", {{"1", 1}, {"x", 2}, {"y", 2}, {"z", 2}, {"w", 2}}},
        {932, "\x83\x7C+a", {{"\x83\x7C", 2}, {"a", 2}}},  // the trail is a bar
        {1252, "\x83\x7C+a", {{"\x83", 1}, {"a", 3}}},
    };
    for (const Case &c : cases) {
        UseCodePage use(c.cp);
        Exact text(c.text);
        size_t at = 0, n = 0;
        for (; text.p[at]; n++) {
            ASSERT_LT(n, c.steps.size()) << c.text;
            std::vector<char> token(strlen(text.p) + 1, kGuard);
            size_t used = SvcNextToken(token.data(), text.p + at, delims, delims, 0, 34, 0);
            EXPECT_STREQ(token.data(), c.steps[n].token) << c.text << " step " << n;
            EXPECT_EQ(used, c.steps[n].consumed) << c.text << " step " << n;
            size_t len = strlen(token.data());
            ASSERT_GE(used, len);
            EXPECT_EQ(memcmp(text.p + at + used - len, token.data(), len), 0) << "the token ends the run";
            at += used;
        }
        EXPECT_EQ(n, c.steps.size()) << c.text;
    }
}
