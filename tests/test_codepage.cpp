// The stand-in code pages and the Win32-named character calls.
#include <string.h>

#include <string>
#include <thread>

#include "services/platform.h"
#include "support.h"

namespace {

// Selects a code page for one branch of a test and puts 932 back at its
// end. On Windows the code page is the system's and cannot be changed:
// there only the branch of the active code page runs (active is false for
// the other).
struct UseCodePage {
    explicit UseCodePage(unsigned cp) : active(SvcSelectCodePage(cp) == 1) {
#ifndef _WIN32
        EXPECT_TRUE(active) << cp;
#endif
    }
    ~UseCodePage() { SvcSelectCodePage(932); }
    bool active;
};

std::string fold(std::string s, bool up, size_t n = std::string::npos) {
    DWORD len = (DWORD)(n == std::string::npos ? s.size() : n);
    DWORD done = up ? CharUpperBuffA(s.data(), len) : CharLowerBuffA(s.data(), len);
#ifndef _WIN32
    // The system gives 0 for a text that ends in a lead byte without its
    // trail; the library never reads the count.
    EXPECT_EQ(done, len);
#endif
    (void)done;
    return s;
}

int sign(int v) { return (v > 0) - (v < 0); }

}  // namespace

#ifdef _WIN32
TEST(CodePage, TheSystemCodePageStays) {
    unsigned system = GetACP();
    EXPECT_EQ(ZEMGetSystemCodePage(), system);
    EXPECT_EQ(ZEMSetSystemCodePage(system), 1) << "the active code page can be asked for";
    for (unsigned other : {0u, 437u, 932u, 1252u, 65001u}) {
        if (other == system) continue;
        EXPECT_EQ(ZEMSetSystemCodePage(other), 0) << other;
    }
    EXPECT_EQ(GetACP(), system);
    EXPECT_EQ(SvcIsDoubleByte() != 0, system == 932);
}
#else
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
        for (unsigned other : {0u, 437u, 936u, 65001u}) {
            EXPECT_EQ(ZEMSetSystemCodePage(other), 0) << other;
            EXPECT_EQ(GetACP(), 1252u) << "a refused code page changes nothing";
        }
    }
    EXPECT_EQ(ZEMSetSystemCodePage(932), 1);
    EXPECT_EQ(GetACP(), 932u);
}
#endif

// Per byte and code page: L lead byte, A IsCharAlphaA, W SvcIsWordChar.
TEST(CodePage, ByteClasses) {
    struct Case { int byte; const char *c932, *c1252; };
    const Case cases[] = {
        {'a', "A", "A"},    {'Z', "A", "A"},    {'5', "", ""},      {'_', "", ""},
        {0x5C, "", ""},     {0x80, "", ""},     {0x81, "L", ""},    {0x83, "L", "AW"},
        {0x8A, "L", "AW"},  {0x9F, "L", "AW"},  {0xA0, "", ""},     {0xA1, "W", ""},
        {0xA5, "W", ""},    {0xA6, "AW", ""},   {0xAA, "AW", "AW"}, {0xB0, "AW", ""},
        {0xB2, "AW", ""},   {0xB5, "AW", "AW"}, {0xC0, "AW", "AW"}, {0xD7, "AW", ""},
        {0xDE, "AW", "AW"}, {0xDF, "AW", "AW"}, {0xE0, "L", "AW"},  {0xF7, "L", ""},
        {0xFC, "L", "AW"},  {0xFD, "", "AW"},   {0xFF, "", "AW"},
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        if (!use.active) continue;
        for (const Case &c : cases) {
            const char *want = cp == 932 ? c.c932 : c.c1252;
            std::string got = SvcIsLead(c.byte) ? "L" : "";
            if (IsCharAlphaA((CHAR)c.byte)) got += "A";
            if (c.byte >= 0x80 && SvcIsWordChar(c.byte)) got += "W";
            EXPECT_EQ(got, want) << cp << " byte " << std::hex << c.byte;
            EXPECT_EQ(IsDBCSLeadByte((BYTE)c.byte) != 0, strchr(want, 'L') != nullptr);
        }
        EXPECT_EQ(SvcIsLead((char)0x81) != 0, cp == 932) << "a sign-extended char counts by its low byte";
        EXPECT_TRUE(IsCharAlphaNumericA('7'));
        EXPECT_FALSE(IsCharAlphaNumericA('-'));
    }
}

TEST(CodePage, CharNext) {
    const char dbcs[] = "\x83\x5C" "a", cut[] = "a\x83", empty[] = "";
    EXPECT_EQ(CharNextA(empty), empty);
    if (UseCodePage cp(932); cp.active) {
        EXPECT_EQ(CharNextA(dbcs), dbcs + 2);
        EXPECT_EQ(CharNextA(cut + 1), cut + 2) << "a lead byte stops at the terminator";
    }
    if (UseCodePage cp(1252); cp.active) {
        EXPECT_EQ(CharNextA(dbcs), dbcs + 1);
    }
}

TEST(CodePage, CaseFolding) {
    struct Case { unsigned cp; const char *in, *up, *low; };
    const Case cases[] = {
        {932, "az AZ 09_", "AZ AZ 09_", "az az 09_"},
        {932, "\x82\x81\x82\x9A", "\x82\x60\x82\x79", "\x82\x81\x82\x9A"},  // full-width a z
        {932, "\x82\x60\x82\x79", "\x82\x60\x82\x79", "\x82\x81\x82\x9A"},  // full-width A Z
        {932, "\x83\xBF\x83\xD6", "\x83\x9F\x83\xB6", "\x83\xBF\x83\xD6"},  // Greek alpha omega
        {932, "\x84\x7E\x84\x80", "\x84\x4E\x84\x4F", "\x84\x7E\x84\x80"},  // Cyrillic around the gap
        {932, "\x84\x40\x84\x60", "\x84\x40\x84\x60", "\x84\x70\x84\x91"},
        {932, "\x83\x61\x83\x41", "\x83\x61\x83\x41", "\x83\x61\x83\x41"},  // trails a and A untouched
        {932, "\xE0\x61\xB1\xDF", "\xE0\x61\xB1\xDF", "\xE0\x61\xB1\xDF"},  // a lead byte, katakana
        {932, "x\xE9", "X\xE9", "x\xE9"},                                     // a lead byte alone
        {932, "\x87\x54\xFA\x49", "\x87\x54\x87\x5D", "\xFA\x40\xFA\x49"},  // Roman I and x, two rows
        {1252, "\xE0\xFE\xC0\xDE", "\xC0\xDE\xC0\xDE", "\xE0\xFE\xE0\xFE"},   // à þ À Þ
        {1252, "\x9A\x9C\x9E\xFF", "\x8A\x8C\x8E\x9F", "\x9A\x9C\x9E\xFF"},   // š œ ž ÿ
        {1252, "\x8A\x8C\x8E\x9F", "\x8A\x8C\x8E\x9F", "\x9A\x9C\x9E\xFF"},
        {1252, "\xDF\xB5\x83\xD7\xF7", "\xDF\xB5\x83\xD7\xF7", "\xDF\xB5\x83\xD7\xF7"},  // ß µ ƒ × ÷
        {1252, "\x83\x61\x82\x81", "\x83\x41\x82\x81", "\x83\x61\x82\x81"},   // no double bytes
    };
    for (const Case &c : cases) {
        UseCodePage use(c.cp);
        if (!use.active) continue;
        EXPECT_EQ(fold(c.in, true), c.up) << c.cp << " " << c.in;
        EXPECT_EQ(fold(c.in, false), c.low) << c.cp << " " << c.in;
    }
    EXPECT_EQ(fold("abc", true, 2), "ABc");
    if (UseCodePage use(932); use.active) {
        EXPECT_EQ(fold("\x82\x81", true, 1), "\x82\x81") << "a character cut by the length stays whole";
    }
    UseCodePage use(1252);
    for (int b = 1; use.active && b < 256; b++) {  // what changes case is a letter and comes back
        std::string s(1, (char)b), u = fold(s, true);
        EXPECT_TRUE(u == s || (IsCharAlphaA(s[0]) && fold(u, false) == s)) << b;
    }
}

#ifdef _WIN32
#define SHARP_S "i"
#else
#define SHARP_S ""
#endif

TEST(CodePage, Comparisons) {
    struct Case { const char *a, *b; const char *same932, *same1252; };  // c lstrcmpA, i lstrcmpiA
    const Case cases[] = {
        {"abc", "abc", "ci", "ci"},      {"abc", "ABC", "i", "i"},  {"abc", "abcd", "", ""},
        {"", nullptr, "", ""},           {nullptr, nullptr, "ci", "ci"},
        {"\xDF", "SS", "", SHARP_S},      // the system's caseless comparison takes sharp s for SS
        {"\x82\x81", "\x82\x60", "i", ""},    // full-width a and A
        {"\x87\x55", "\xFA\x41", "i", ""},    // Roman numerals II and ii
        {"\x83\x61", "\x83\x41", "", "i"},    // a trail is no letter
        {"\xE0", "\xC0", "", "i"},            // à and À
        {"x\x9Ay", "X\x8AY", "", "i"},        // š and Š
    };
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        if (!use.active) continue;
        for (const Case &c : cases) {
            std::string same = std::string(lstrcmpA(c.a, c.b) ? "" : "c") + (lstrcmpiA(c.a, c.b) ? "" : "i");
            EXPECT_EQ(same, cp == 932 ? c.same932 : c.same1252) << cp << " " << c.a;
            EXPECT_EQ(sign(lstrcmpA(c.a, c.b)), -sign(lstrcmpA(c.b, c.a))) << c.a;
            EXPECT_EQ(sign(lstrcmpiA(c.a, c.b)), -sign(lstrcmpiA(c.b, c.a))) << c.a;
        }
        EXPECT_LT(lstrcmpA("a", "b"), 0);
        EXPECT_LT(lstrcmpiA("a", "B"), 0);
    }
}
