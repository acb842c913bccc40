// Text operations in characters of each code page, the stand-in code pages and the
// Win32-named character calls (tools/compare_charops.py holds them against the system's).
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "services/platform.h"
#include "support.h"

namespace {

// A heap copy of exactly the text's size, so that a read past the end shows.
struct Exact {
    char *p;
    explicit Exact(const char *s) : p((char *)malloc(strlen(s) + 1)) { strcpy(p, s); }
    ~Exact() { free(p); }
};

// Runs `write` on a copy of `in` into a guarded buffer and in place: both agree, and nothing is
// written behind the result's terminator (with `loose`, behind the length of `in`).
std::string run(const char *in, const std::function<void(char *, const char *)> &write, bool loose = false) {
    Exact src(in);
    char buf[64], same[64];
    memset(buf, '~', sizeof buf);
    write(buf, src.p);
    size_t n = strnlen(buf, sizeof buf), end = loose ? strlen(in) : n;
    for (size_t i = end + 1; i < sizeof buf; i++) EXPECT_EQ(buf[i], '~') << in << " written at " << i;
    write(strcpy(same, in), same);
    EXPECT_EQ(std::string(same), std::string(buf, n)) << in << " in place";
    return std::string(buf, n);
}

// x, katakana so (its trail is a backslash), y, hiragana a: 4 characters under 932, 6 under 1252.
const char kMixed[] = "x\x83\x5Cy\x82\xA0";

#ifdef _WIN32
const bool kStandIn = false;
#define SHARP_S "i"  // the system's caseless comparison takes sharp s for SS
#else
const bool kStandIn = true;
#define SHARP_S ""
#endif

int sign(int v) { return (v > 0) - (v < 0); }

}  // namespace

TEST(Text, Operations) {
    enum Op { Right, Mid, Copy, Replace, Proper, Trim, RTrim, Normalise };
    struct Case { Op op; long start, count; const char *in, *out932, *out1252, *rep = ""; };
    const Case cases[] = {
        {Copy, 0, 3, "ab\x83", "ab\x83", "ab\x83"}, {Copy, 0, 0, "ab", "", ""},
        {Right, 0, LONG_MIN, kMixed, "", ""}, {Mid, 6, 1, kMixed, "", ""},
        {Mid, LONG_MIN, LONG_MAX, kMixed, kMixed, kMixed},
        {Replace, 0, 0, "abc", "xyabc", "xyabc", "xy"}, {Replace, 2, 100, "abcdef", "abxy", "abxy", "xy"},
        {Replace, 3, 1, kMixed, "x\x83\x5Cy", "x\x83\x5C\x82\xA0"},
        {Proper, 0, 0, "o'neil mc-donald wORLD", "O'Neil Mc-Donald World", "O'Neil Mc-Donald World"},
        {Proper, 0, 0, "abc1DEF 2nd", "Abc1def 2nd", "Abc1def 2nd"},
        {Proper, 0, 0, "\xE9LAN \xE0", "\xE9LAn \xE0", "\xC9lan \xC0"},     // a lead byte under 932
        {Proper, 0, 0, "\x82\x81" "BC", "\x82\x81" "Bc", "\x82\x81" "Bc"},  // full-width a left alone
        {Proper, 0, 0, "\x83\x61" "BC", "\x83\x61" "Bc", "\x83\x61" "bc"},  // trail a; f-hook a
        {Proper, 0, 0, "stra\xDF" "E", "Stra\xDF" "e", "Stra\xDF" "e"}, {Proper, 0, 0, "\xB1" "BC", "\xB1" "bc", "\xB1" "Bc"},
        {RTrim, 0, 0, "  a b  ", "  a b", "  a b"}, {Trim, 0, 0, "   ", "", ""}, {RTrim, 0, 0, "   ", "", ""},
        {Trim, 0, 0, " \ta\t ", "\ta\t", "\ta\t"}, {Trim, 0, 0, " \x81\x40 ", "\x81\x40", "\x81\x40"},  // no blanks
        {Normalise, 0, 0, " name  ", "name", "name"}, {Normalise, 0, 0, "a b", "a b", "a b"},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            std::string got = run(c.in, [&](char *d, const char *s) {
                switch (c.op) {
                case Right: return SvcStrRight(d, s, c.count);
                case Mid: return SvcStrMid(d, s, c.start, c.count);
                case Copy: return SvcCopyChars(d, s, c.count);
                case Replace: return SvcStrReplace(d, s, c.rep, c.start, c.count);
                case Proper: return SvcStrProper(d, s);
                case Trim: return SvcStrTrim(d, s);
                case RTrim: return SvcStrRTrim(d, s);
                default: break;
                }
                memmove(d, s, strlen(s) + 1);
                if (c.op == Normalise) SvcStrNormalise(d);
            }, c.op >= Proper);
            EXPECT_EQ(got, cp == 932 ? c.out932 : c.out1252) << cp << " op " << c.op << " " << c.in;
        }
    }
    char buf[32];  // overlapping but not equal, both ways
    SvcStrReplace(strcpy(buf, "01234567abcdefgh"), buf + 8, "Z", 4, 1);
    EXPECT_STREQ(buf, "abcdZfgh");
    strcpy(buf, "abcdefgh");
    SvcStrReplace(buf + 3, buf, "Z", 4, 1);
    EXPECT_STREQ(buf + 3, "abcdZfgh");
}

// Whole characters only: a trail byte is never found, nor a prefix that ends inside a character.
TEST(Text, FindAndCompare) {
    struct Find { const char *text, *pattern; long at932, at1252; };
    const Find chrs[] = {{"a,b", ",", 1, 1}, {"\x83\x7C|", "|", 2, 1}, {"abc", "x", -1, -1}, {"ab", "", 2, 2},
                         {"a\xB1", "\xB1", 1, 1}};
    const Find starts[] = {{"Form", "Formula", 7, 0}, {"Formula", "Formula", 9, 1}, {"Formulb", "Formula", 6, 1},
                           {"abc", "xyz", 0, 1}, {"\x83\x5Cx", "\x83\x5Cy", 2, 2}};  // count, yes in: 1 both, 2 1252
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Find &c : chrs) {
            Exact t(c.text);
            const char *hit = SvcStrChr(t.p, (unsigned char)c.pattern[0]);
            EXPECT_EQ(hit ? hit - t.p : -1, cp == 932 ? c.at932 : c.at1252) << cp << " " << c.text;
        }
        for (const Find &s : starts)
            EXPECT_EQ(SvcStrStartsWith(s.text, s.pattern, s.at932) != 0, s.at1252 == 1 || (s.at1252 == 2 && cp == 1252))
                << s.text;
    }
}

TEST(Text, NextToken) {
    const char *delims = " \t\r()*+-/|%,";
    struct Case { unsigned cp; const char *text; std::vector<std::pair<const char *, size_t>> steps; };
    const Case cases[] = {
        {932, "x  ", {{"x", 1}, {"", 2}}}, {932, "\"a b\"+c", {{"\"a b\"", 5}, {"c", 2}}},
        {932, "\"a|(b", {{"\"a|(b", 5}}}, {932, "f(x,y)", {{"f", 1}, {"x", 2}, {"y", 2}, {"", 1}}},
        {932, "\x83\x7C+a", {{"\x83\x7C", 2}, {"a", 2}}}, {1252, "\x83\x7C+a", {{"\x83", 1}, {"a", 3}}},
    };
    for (const Case &c : cases) {
        UseCodePage use(c.cp);
        Exact text(c.text);
        size_t at = 0, n = 0;
        for (; text.p[at]; n++) {
            ASSERT_LT(n, c.steps.size()) << c.text;
            std::vector<char> token(strlen(text.p) + 1, '~');
            size_t used = SvcNextToken(token.data(), text.p + at, delims, delims, 0, 34, 0);
            size_t len = strlen(token.data());
            EXPECT_STREQ(token.data(), c.steps[n].first) << c.text << " step " << n;
            EXPECT_EQ(used, c.steps[n].second) << c.text << " step " << n;
            ASSERT_GE(used, len);
            EXPECT_EQ(memcmp(text.p + at + used - len, token.data(), len), 0) << "the token ends the run";
            at += used;
        }
        EXPECT_EQ(n, c.steps.size()) << c.text;
    }
}

TEST(CodePage, Selection) {
#ifdef _WIN32
    unsigned system = GetACP();
    EXPECT_EQ(ZEMSetSystemCodePage(system), 1) << "the active code page can be asked for";
    for (unsigned other : {0u, 437u, 932u, 1252u, 65001u}) {
        if (other == system) continue;
        EXPECT_EQ(ZEMSetSystemCodePage(other), 0) << other;
    }
    EXPECT_EQ(GetACP(), system);
    EXPECT_EQ(ZEMGetSystemCodePage(), system);
    EXPECT_EQ(SvcIsDoubleByte() != 0, system == 932);
#else
    EXPECT_EQ(GetACP(), 932u) << "932 is the default";
    {
        UseCodePage cp(1252);
        EXPECT_EQ(ZEMGetSystemCodePage(), 1252u);
        unsigned seen = 0;
        std::thread([&] { seen = GetACP(); }).join();
        EXPECT_EQ(seen, 1252u) << "another thread reads the same code page";
        for (unsigned other : {0u, 437u, 936u, 65001u}) EXPECT_EQ(ZEMSetSystemCodePage(other), 0) << other;
        EXPECT_EQ(GetACP(), 1252u) << "a refused code page changes nothing";
    }
    EXPECT_EQ(ZEMSetSystemCodePage(932), 1);
    EXPECT_EQ(GetACP(), 932u);
#endif
}

// Per byte: L lead byte, A IsCharAlphaA, W SvcIsWordChar; case folding up and down; c lstrcmpA, i lstrcmpiA equal.
TEST(CodePage, CharacterCalls) {
    struct Byte { int byte; const char *c932, *c1252; };
    const Byte bytes[] = {{'a', "A", "A"}, {'5', "", ""}, {0x80, "", ""}, {0x81, "L", ""}, {0x9F, "L", "AW"},
                          {0xA0, "", ""}, {0xA1, "W", ""}, {0xA6, "AW", ""}, {0xAA, "AW", "AW"}, {0xD7, "AW", ""},
                          {0xDF, "AW", "AW"}, {0xE0, "L", "AW"}, {0xF7, "L", ""}, {0xFC, "L", "AW"}, {0xFD, "", "AW"}};
    struct Text { unsigned cp; const char *a, *b, *c; };
    const Text folds[] = {
        {932, "az AZ 09_", "AZ AZ 09_", "az az 09_"}, {932, "\x82\x81\x82\x9A", "\x82\x60\x82\x79", "\x82\x81\x82\x9A"},
        {932, "\xE0\x61\xB1\xDF" "x\xE9", "\xE0\x61\xB1\xDF" "X\xE9", "\xE0\x61\xB1\xDF" "x\xE9"},
        {1252, "\xE0\xFE\xC0\xDE", "\xC0\xDE\xC0\xDE", "\xE0\xFE\xE0\xFE"},
        {1252, "\x9A\x9C\x9E\xFF", "\x8A\x8C\x8E\x9F", "\x9A\x9C\x9E\xFF"},
    };
    const char *compares[][4] = {
        {"abc", "ABC", "i", "i"}, {"", nullptr, "", ""}, {nullptr, nullptr, "ci", "ci"},
        {"\xDF", "SS", "", SHARP_S}, {"\x82\x81", "\x82\x60", "i", ""}, {"\x83\x61", "\x83\x41", "", "i"},
        {"x\x9Ay", "X\x8AY", "", "i"},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        if (!use.active) continue;
        for (const Byte &c : bytes) {
            const char *want = cp == 932 ? c.c932 : c.c1252;
            std::string got = std::string(SvcIsLead(c.byte) ? "L" : "") + (IsCharAlphaA((CHAR)c.byte) ? "A" : "") +
                              (c.byte >= 0x80 && SvcIsWordChar(c.byte) ? "W" : "");
            EXPECT_EQ(got, want) << cp << " byte " << std::hex << c.byte;
        }
        EXPECT_EQ(SvcIsLead((char)0x81) != 0, cp == 932) << "a sign-extended char counts by its low byte";
        EXPECT_TRUE(IsCharAlphaNumericA('7') && !IsCharAlphaNumericA('-'));
        const char dbcs[] = "\x83\x5C" "a", cut[] = "a\x83";
        EXPECT_EQ(CharNextA(dbcs), dbcs + (cp == 932 ? 2 : 1));
        EXPECT_EQ(CharNextA(cut + 1), cut + 2) << "a lead byte stops at the terminator";
        EXPECT_EQ(CharNextA(cut + 2), cut + 2);
        for (const Text &f : folds) {
            if (f.cp != cp) continue;
            std::string up = f.a, low = f.a;
            CharUpperBuffA(up.data(), (DWORD)up.size());
            DWORD done = CharLowerBuffA(low.data(), (DWORD)low.size());
            EXPECT_TRUE(!kStandIn || done == low.size()) << "the system gives 0 for a text cut after a lead byte";
            EXPECT_EQ(up, f.b) << cp << " " << f.a;
            EXPECT_EQ(low, f.c) << cp << " " << f.a;
        }
        char part[] = "abc", dbcsPart[] = "\x82\x81";
        CharUpperBuffA(part, 2);
        CharUpperBuffA(dbcsPart, 1);
        EXPECT_STREQ(part, "ABc");
        EXPECT_STREQ(dbcsPart, "\x82\x81") << "a character cut by the length stays whole";
        for (const auto &c : compares) {
            std::string same = std::string(lstrcmpA(c[0], c[1]) ? "" : "c") + (lstrcmpiA(c[0], c[1]) ? "" : "i");
            EXPECT_EQ(same, c[cp == 932 ? 2 : 3]) << cp << " " << c[0];
            EXPECT_EQ(sign(lstrcmpA(c[0], c[1])), -sign(lstrcmpA(c[1], c[0]))) << c[0];
            EXPECT_EQ(sign(lstrcmpiA(c[0], c[1])), -sign(lstrcmpiA(c[1], c[0]))) << c[0];
        }
        EXPECT_TRUE(lstrcmpA("a", "b") < 0 && lstrcmpiA("a", "B") < 0);
    }
}
