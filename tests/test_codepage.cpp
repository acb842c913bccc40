// The stand-in code pages and the Win32-named character calls.
#include <string>
#include <thread>

#include "services/platform.h"
#include "support.h"

namespace {

// Selects a code page for one test and puts 932 back at its end.
struct UseCodePage {
    explicit UseCodePage(unsigned cp) { EXPECT_EQ(SvcSelectCodePage(cp), 1); }
    ~UseCodePage() { SvcSelectCodePage(932); }
};

std::string upper(std::string s, size_t n = std::string::npos) {
    CharUpperBuffA(s.data(), (DWORD)(n == std::string::npos ? s.size() : n));
    return s;
}

std::string lower(std::string s) {
    CharLowerBuffA(s.data(), (DWORD)s.size());
    return s;
}

int sign(int v) { return (v > 0) - (v < 0); }

}  // namespace

TEST(CodePage, SelectionIsProcessWide) {
    EXPECT_EQ(GetACP(), 932u) << "932 is the default";
    EXPECT_TRUE(SvcIsDoubleByte());
    {
        UseCodePage cp(1252);
        EXPECT_EQ(ZEMGetSystemCodePage(), 1252u);
        EXPECT_FALSE(SvcIsDoubleByte());
        unsigned seen = 0;
        std::thread([&] { seen = GetACP(); }).join();
        EXPECT_EQ(seen, 1252u) << "another thread reads the same code page";
        for (unsigned other : {0u, 437u, 65001u, 936u}) {
            EXPECT_EQ(ZEMSetSystemCodePage(other), 0) << other;
            EXPECT_EQ(GetACP(), 1252u) << "a refused code page changes nothing";
        }
    }
    EXPECT_EQ(ZEMSetSystemCodePage(932), 1);
    EXPECT_EQ(GetACP(), 932u);
}

TEST(CodePage, LeadBytesAndStepping) {
    struct Case { int byte; bool lead932; };
    const Case cases[] = {{0x40, false}, {0x5C, false}, {0x80, false}, {0x81, true}, {0x9F, true},
                          {0xA0, false}, {0xA1, false}, {0xDF, false}, {0xE0, true}, {0xFC, true},
                          {0xFD, false}, {0xFF, false}};
    for (const Case &c : cases) {
        EXPECT_EQ(SvcIsLead(c.byte) != 0, c.lead932) << std::hex << c.byte;
        EXPECT_EQ(IsDBCSLeadByte((BYTE)c.byte) != 0, c.lead932) << std::hex << c.byte;
    }
    EXPECT_TRUE(SvcIsLead((char)0x81)) << "a sign-extended char counts by its low byte";
    EXPECT_TRUE(SvcIsLead(0x181));

    const char dbcs[] = "\x83\x5C" "a", cut[] = "a\x83", empty[] = "";
    EXPECT_EQ(CharNextA(dbcs), dbcs + 2);
    EXPECT_EQ(CharNextA(cut + 1), cut + 2) << "a lead byte stops at the terminator";
    EXPECT_EQ(CharNextA(empty), empty);
    UseCodePage cp(1252);
    for (const Case &c : cases) EXPECT_FALSE(SvcIsLead(c.byte)) << std::hex << c.byte;
    EXPECT_EQ(CharNextA(dbcs), dbcs + 1);
}

TEST(CodePage, CaseFolding932) {
    struct Case { const char *in, *up, *low; };
    const Case cases[] = {
        {"az AZ 09_", "AZ AZ 09_", "az az 09_"},
        {"\x82\x81\x82\x9A", "\x82\x60\x82\x79", "\x82\x81\x82\x9A"},  // full-width a z
        {"\x82\x60\x82\x79", "\x82\x60\x82\x79", "\x82\x81\x82\x9A"},  // full-width A Z
        {"\x83\xBF\x83\xD6", "\x83\x9F\x83\xB6", "\x83\xBF\x83\xD6"},  // Greek alpha omega
        {"\x84\x7E\x84\x80", "\x84\x4E\x84\x4F", "\x84\x7E\x84\x80"},  // Cyrillic around the gap
        {"\x84\x40\x84\x60", "\x84\x40\x84\x60", "\x84\x70\x84\x91"},
        {"\x83\x61\x83\x41", "\x83\x61\x83\x41", "\x83\x61\x83\x41"},  // trails a and A untouched
        {"\xE0\x61\xB1\xDF", "\xE0\x61\xB1\xDF", "\xE0\x61\xB1\xDF"},  // lead then trail; katakana
        {"x\xE9", "X\xE9", "x\xE9"},                                     // a lead byte alone
    };
    for (const Case &c : cases) {
        EXPECT_EQ(upper(c.in), c.up) << c.in;
        EXPECT_EQ(lower(c.in), c.low) << c.in;
    }
    EXPECT_EQ(upper("abc", 2), "ABc");
    EXPECT_EQ(upper("\x82\x81", 1), "\x82\x81") << "a character cut by the length stays whole";
    char buf[] = "abc";
    EXPECT_EQ(CharUpperBuffA(buf, 3), 3u);
}

TEST(CodePage, CaseFolding1252) {
    UseCodePage cp(1252);
    struct Case { const char *in, *up, *low; };
    const Case cases[] = {
        {"az AZ", "AZ AZ", "az az"},
        {"\xE0\xFE\xC0\xDE", "\xC0\xDE\xC0\xDE", "\xE0\xFE\xE0\xFE"},        // à þ À Þ
        {"\x9A\x9C\x9E\xFF", "\x8A\x8C\x8E\x9F", "\x9A\x9C\x9E\xFF"},        // š œ ž ÿ
        {"\x8A\x8C\x8E\x9F", "\x8A\x8C\x8E\x9F", "\x9A\x9C\x9E\xFF"},
        {"\xDF\xB5\x83\xD7\xF7", "\xDF\xB5\x83\xD7\xF7", "\xDF\xB5\x83\xD7\xF7"},  // ß µ ƒ × ÷
        {"\x83\x61\x82\x81", "\x83\x41\x82\x81", "\x83\x61\x82\x81"},        // no double bytes here
    };
    for (const Case &c : cases) {
        EXPECT_EQ(upper(c.in), c.up) << c.in;
        EXPECT_EQ(lower(c.in), c.low) << c.in;
    }
    // Every byte that changes case is a letter and comes back.
    for (int b = 1; b < 256; b++) {
        std::string s(1, (char)b), u = upper(s);
        if (u == s) continue;
        EXPECT_TRUE(IsCharAlphaA(s[0])) << b;
        EXPECT_EQ(lower(u), s) << b;
    }
}

TEST(CodePage, Letters) {
    struct Case { int byte; bool alpha932, alpha1252; };
    const Case cases[] = {
        {'a', true, true},    {'Z', true, true},     {'5', false, false},   {'_', false, false},
        {0xA1, false, false}, {0xA5, false, false},  {0xA6, true, false},   {0xB0, true, false},
        {0xDD, true, true},   {0xDE, true, true},    {0xDF, true, true},    {0x81, false, false},
        {0xC0, true, true},   {0xE0, false, true},   {0xD7, true, false},  {0xF7, false, false},
        {0xFF, false, true},  {0xAA, true, true},    {0xBA, true, true},   {0xB5, true, true},
        {0x83, false, true},  {0x8A, false, true},   {0x9F, false, true},   {0x80, false, false},
        {0xB2, true, false},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            bool want = cp == 932 ? c.alpha932 : c.alpha1252;
            EXPECT_EQ(IsCharAlphaA((CHAR)c.byte) != 0, want) << cp << " " << std::hex << c.byte;
        }
        EXPECT_TRUE(IsCharAlphaNumericA('7'));
        EXPECT_FALSE(IsCharAlphaNumericA('-'));
    }
}

TEST(CodePage, WordChars) {
    struct Case { int byte; bool word932, word1252; };
    const Case cases[] = {{0xA0, false, false}, {0xA1, true, false}, {0xA5, true, false},
                          {0xDF, true, true},   {0xE0, false, true}, {0xD7, true, false},
                          {0xFD, false, true},  {0x80, false, false}};
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases)
            EXPECT_EQ(SvcIsWordChar(c.byte) != 0, cp == 932 ? c.word932 : c.word1252)
                << cp << " " << std::hex << c.byte;
    }
}

TEST(CodePage, Comparisons) {
    struct Case { const char *a, *b; bool same932, same1252, sameI932, sameI1252; };
    const Case cases[] = {
        {"abc", "abc", true, true, true, true},
        {"abc", "ABC", false, false, true, true},
        {"abc", "abcd", false, false, false, false},
        {"", nullptr, true, true, true, true},
        {"\x82\x81", "\x82\x60", false, false, true, false},  // full-width a and A
        {"\x83\x61", "\x83\x41", false, false, false, true},  // a trail is not a letter
        {"\xE0", "\xC0", false, false, false, true},          // à and À
        {"\xDF", "SS", false, false, false, false},
        {"x\x9Ay", "X\x8AY", false, false, false, true},      // š and Š
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        for (const Case &c : cases) {
            bool same = cp == 932 ? c.same932 : c.same1252;
            bool sameI = cp == 932 ? c.sameI932 : c.sameI1252;
            EXPECT_EQ(lstrcmpA(c.a, c.b) == 0, same) << cp << " " << c.a;
            EXPECT_EQ(lstrcmpiA(c.a, c.b) == 0, sameI) << cp << " " << c.a;
            EXPECT_EQ(sign(lstrcmpA(c.a, c.b)), -sign(lstrcmpA(c.b, c.a))) << c.a;
            EXPECT_EQ(sign(lstrcmpiA(c.a, c.b)), -sign(lstrcmpiA(c.b, c.a))) << c.a;
        }
        EXPECT_LT(lstrcmpA("a", "b"), 0);
        EXPECT_LT(lstrcmpiA("a", "B"), 0);
        EXPECT_GT(lstrcmpA("ab", "a"), 0);
    }
}
