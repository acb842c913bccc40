// The system code page and its characters. Off Windows the library carries
// two stand-in code pages of its own, 932 (Shift-JIS) and 1252 (Western),
// and supplies the Win32 character calls for them.
#include <atomic>

#include "services/platform.h"
#include "services/services.h"

#ifndef _WIN32

namespace {

// Process-wide on purpose: texts keep their bytes across threads, so every
// thread must read them under the same code page.
std::atomic<unsigned> activeCodePage{932};

bool is932() { return activeCodePage.load(std::memory_order_relaxed) == 932; }

bool lead932(unsigned char b) { return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC); }

// ---- Single bytes of 1252.

// Bytes 0x80-0xBF that are letters: the general categories L* of their
// characters (ƒ ˆ Š Œ Ž š œ ž Ÿ ª µ º).
bool letter1252High(unsigned char b) {
    switch (b) {
    case 0x83: case 0x88: case 0x8A: case 0x8C: case 0x8E:
    case 0x9A: case 0x9C: case 0x9E: case 0x9F:
    case 0xAA: case 0xB5: case 0xBA:
        return true;
    default:
        return false;
    }
}

bool alpha1252(unsigned char b) {
    if (b >= 0xC0) return b != 0xD7 && b != 0xF7;  // × and ÷
    return b >= 0x80 && letter1252High(b);
}

// ß, µ, ƒ and ˆ have no capital in 1252 and stay as they are.
unsigned char upper1252(unsigned char b) {
    if (b >= 'a' && b <= 'z') return (unsigned char)(b - 32);
    if (b >= 0xE0 && b <= 0xFE && b != 0xF7) return (unsigned char)(b - 32);
    switch (b) {
    case 0x9A: return 0x8A;  // š Š
    case 0x9C: return 0x8C;  // œ Œ
    case 0x9E: return 0x8E;  // ž Ž
    case 0xFF: return 0x9F;  // ÿ Ÿ
    default: return b;
    }
}

unsigned char lower1252(unsigned char b) {
    if (b >= 'A' && b <= 'Z') return (unsigned char)(b + 32);
    if (b >= 0xC0 && b <= 0xDE && b != 0xD7) return (unsigned char)(b + 32);
    switch (b) {
    case 0x8A: return 0x9A;
    case 0x8C: return 0x9C;
    case 0x8E: return 0x9E;
    case 0x9F: return 0xFF;
    default: return b;
    }
}

// ---- Characters of 932.

unsigned char upperAscii(unsigned char b) { return b >= 'a' && b <= 'z' ? (unsigned char)(b - 32) : b; }
unsigned char lowerAscii(unsigned char b) { return b >= 'A' && b <= 'Z' ? (unsigned char)(b + 32) : b; }

// A run of double-byte characters of one case and the run of the other case
// it maps to, both under the same lead byte.
struct CaseRun {
    unsigned char lead, first, last, to;
};

// Full-width Latin, Greek and Cyrillic. The Cyrillic small letters skip the
// trail 0x7F, so they come in two runs.
constexpr CaseRun kToUpper932[] = {
    {0x82, 0x81, 0x9A, 0x60},
    {0x83, 0xBF, 0xD6, 0x9F},
    {0x84, 0x70, 0x7E, 0x40},
    {0x84, 0x80, 0x91, 0x4F},
};
constexpr CaseRun kToLower932[] = {
    {0x82, 0x60, 0x79, 0x81},
    {0x83, 0x9F, 0xB6, 0xBF},
    {0x84, 0x40, 0x4E, 0x70},
    {0x84, 0x4F, 0x60, 0x80},
};

template <size_t N>
void foldDouble(const CaseRun (&runs)[N], unsigned char *at) {
    for (const CaseRun &r : runs)
        if (at[0] == r.lead && at[1] >= r.first && at[1] <= r.last) {
            at[1] = (unsigned char)(r.to + (at[1] - r.first));
            return;
        }
}

// The Roman numerals are a case pair in two rows: capitals 0x8754-0x875D,
// small ones 0xFA40-0xFA49.
void foldRomanNumeral(unsigned char *at, bool upper) {
    if (upper && at[0] == 0xFA && at[1] >= 0x40 && at[1] <= 0x49) {
        at[0] = 0x87;
        at[1] = (unsigned char)(at[1] + 0x14);
    } else if (!upper && at[0] == 0x87 && at[1] >= 0x54 && at[1] <= 0x5D) {
        at[0] = 0xFA;
        at[1] = (unsigned char)(at[1] - 0x14);
    }
}

// Folds `length` bytes in place; a double-byte character is folded whole,
// and a lead byte whose trail lies beyond `length` is left alone.
DWORD foldBuffer(char *text, DWORD length, bool upper) {
    if (!text) return 0;
    unsigned char *p = (unsigned char *)text;
    if (!is932()) {
        for (DWORD i = 0; i < length; i++) p[i] = upper ? upper1252(p[i]) : lower1252(p[i]);
        return length;
    }
    for (DWORD i = 0; i < length; i++) {
        if (lead932(p[i])) {
            if (i + 1 >= length || p[i + 1] == 0) continue;
            if (upper) foldDouble(kToUpper932, p + i);
            else foldDouble(kToLower932, p + i);
            foldRomanNumeral(p + i, upper);
            i++;
            continue;
        }
        p[i] = upper ? upperAscii(p[i]) : lowerAscii(p[i]);
    }
    return length;
}

// One character of a text, folded to capitals, as a key that orders like
// the folded bytes. Advances the text behind the character.
unsigned foldedKey(const unsigned char *&p) {
    unsigned char c[2] = {p[0], 0};
    if (IsDBCSLeadByte(p[0]) && p[1]) {
        c[1] = p[1];
        foldDouble(kToUpper932, c);
        foldRomanNumeral(c, true);
        p += 2;
        return (unsigned)c[0] << 8 | c[1];
    }
    p++;
    return (unsigned)(is932() ? upperAscii(c[0]) : upper1252(c[0])) << 8;
}

}  // namespace

unsigned GetACP(void) { return activeCodePage.load(std::memory_order_relaxed); }

BOOL IsDBCSLeadByte(BYTE ch) { return is932() && lead932(ch); }

// Never steps past the terminator, nor over a lead byte whose trail is it.
char *CharNextA(const char *at) {
    if (!at || !*at) return (char *)at;
    if (IsDBCSLeadByte((BYTE)at[0]) && at[1]) return (char *)at + 2;
    return (char *)at + 1;
}

DWORD CharUpperBuffA(char *text, DWORD length) { return foldBuffer(text, length, true); }
DWORD CharLowerBuffA(char *text, DWORD length) { return foldBuffer(text, length, false); }

// Letters are what Unicode files under a letter category (L*). Under 932
// that takes in all of 0xA6-0xDF, the prolonged sound mark and the two
// half-width voiced sound marks among them; a lead byte alone is no letter.
BOOL IsCharAlphaA(CHAR ch) {
    unsigned char b = (unsigned char)ch;
    if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z')) return 1;
    if (is932()) return b >= 0xA6 && b <= 0xDF;
    return alpha1252(b);
}

// Under 1252 the superscript digits ² ³ ¹ count as digits too, as they do
// for the system.
BOOL IsCharAlphaNumericA(CHAR ch) {
    unsigned char b = (unsigned char)ch;
    if (b >= '0' && b <= '9') return 1;
    if (!is932() && (b == 0xB2 || b == 0xB3 || b == 0xB9)) return 1;
    return IsCharAlphaA(ch);
}

// Windows orders both comparisons by the user's locale. The library relies
// only on equality and on a sign that is consistent, so byte order (of the
// folded texts for lstrcmpiA) serves. As on Windows the result is -1, 0 or
// 1, which StrCompare hands on.
// A null text comes before every text, the empty one too, as on Windows.
int nullOrder(const char *a, const char *b) { return a ? 1 : b ? -1 : 0; }

int lstrcmpA(const char *a, const char *b) {
    if (!a || !b) return nullOrder(a, b);
    const unsigned char *p = (const unsigned char *)a;
    const unsigned char *q = (const unsigned char *)b;
    while (*p && *p == *q) p++, q++;
    return *p == *q ? 0 : *p < *q ? -1 : 1;
}

int lstrcmpiA(const char *a, const char *b) {
    if (!a || !b) return nullOrder(a, b);
    const unsigned char *p = (const unsigned char *)a;
    const unsigned char *q = (const unsigned char *)b;
    for (;;) {
        if (!*p || !*q) return *p == *q ? 0 : *p < *q ? -1 : 1;
        unsigned x = foldedKey(p), y = foldedKey(q);
        if (x != y) return x < y ? -1 : 1;
    }
}

int SvcSelectCodePage(unsigned codePage) {
    if (codePage != 932 && codePage != 1252) return 0;
    activeCodePage.store(codePage, std::memory_order_relaxed);
    return 1;
}

int SvcIsDoubleByte(void) { return is932(); }

#else  // _WIN32

// The system's code page is the user's setting and stays as it is: asking
// for it succeeds, asking for another fails.
int SvcSelectCodePage(unsigned codePage) { return codePage == GetACP(); }

int SvcIsDoubleByte(void) {
    CPINFO info;
    return GetCPInfo(CP_ACP, &info) && info.MaxCharSize > 1;
}

#endif

int SvcIsLead(int ch) { return IsDBCSLeadByte((BYTE)(ch & 0xFF)) != 0; }

int SvcIsLeadAt(const char *at) { return at && SvcIsLead((unsigned char)*at); }

// Single-byte characters that a name may hold besides ASCII letters, digits
// and the marks: under a double-byte code page the half-width katakana with
// their punctuation (0xA1-0xDF); elsewhere the letters above ASCII.
int SvcIsWordChar(int ch) {
    unsigned char b = (unsigned char)(ch & 0xFF);
    if (SvcIsDoubleByte()) return b >= 0xA1 && b <= 0xDF;
    return b >= 0x80 && IsCharAlphaA((CHAR)b);
}

ZEMAPI int ZEMCALL ZEMSetSystemCodePage(uint32_t codePage) { return SvcSelectCodePage(codePage); }

ZEMAPI uint32_t ZEMCALL ZEMGetSystemCodePage(void) { return GetACP(); }
