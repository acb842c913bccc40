// Prints what the platform layer's character and text calls give, "key<TAB>value" a line, to
// hold the Linux stand-ins against the system's calls: every byte, every double-byte pair of
// 932, name comparisons, the string table. Usage: charops_dump [CODEPAGE] (exit 2: not usable).
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include "context/startup.h"
#include "services/platform.h"
#include "services/services.h"

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

void hex(const char *text, int n, char *out) {
    out[0] = 0;
    for (int i = 0; i < n; i++) sprintf(out + 2 * i, "%02X", (unsigned char)text[i]);
}

// Lead byte, step of CharNextA, upper and lower case, letter, letter or
// digit, name character of the tokeniser.
void dumpBytes() {
    for (int b = 0; b < 256; b++) {
        char text[3] = {(char)b, 'a', 0};
        char up[2] = {(char)b, 0}, low[2] = {(char)b, 0};
        CharUpperBuffA(up, 1);
        CharLowerBuffA(low, 1);
        printf("byte %02X lead\t%d\nbyte %02X next\t%d\n", b, IsDBCSLeadByte((BYTE)b) != 0, b,
               (int)(CharNextA(text) - text));
        printf("byte %02X upper\t%02X\nbyte %02X lower\t%02X\n", b, (unsigned char)up[0], b, (unsigned char)low[0]);
        printf("byte %02X alpha\t%d\nbyte %02X alnum\t%d\nbyte %02X word\t%d\n", b, IsCharAlphaA((CHAR)b) != 0, b,
               IsCharAlphaNumericA((CHAR)b) != 0, b, SvcIsWordChar(b) != 0);
    }
}

// Each lead byte with each trail byte: the step over it and its cases.
void dumpDoubleBytes() {
    for (int lead = 0x81; lead <= 0xFC; lead++)
        for (int trail = 0x40; trail <= 0xFC && (lead <= 0x9F || lead >= 0xE0); trail += trail == 0x7E ? 2 : 1) {
            char text[4] = {(char)lead, (char)trail, 'a', 0};
            char up[3] = {(char)lead, (char)trail, 0}, low[3] = {(char)lead, (char)trail, 0};
            CharUpperBuffA(up, 2);
            CharLowerBuffA(low, 2);
            printf("pair %02X%02X next\t%d\npair %02X%02X upper\t%02X%02X\npair %02X%02X lower\t%02X%02X\n", lead,
                   trail, (int)(CharNextA(text) - text), lead, trail, (unsigned char)up[0], (unsigned char)up[1], lead,
                   trail, (unsigned char)low[0], (unsigned char)low[1]);
        }
}

// Names compared exactly and without case; the texts are bytes of code page 932.
const char *const kPairs[][2] = {
    {"abc", "abc"}, {"abc", "ABC"}, {"abc", "abd"}, {"abc", "ABD"}, {"a", "B"}, {"B", "a"},
    {"Zeta", "alpha"}, {"abc", "abcd"}, {"", "a"}, {"and", "AND"}, {"Distinct", "DISTINCT"},
    {"Item1", "Item10"}, {"Item2", "Item10"}, {"Item9", "item9"}, {"1", "9"}, {"10", "9"}, {"a1", "aa"},
    {"a_b", "ab"}, {"a_b", "a-b"}, {"a.b", "a_b"}, {"a#", "a$"}, {"a@", "a_"}, {"_a", "a"},
    {"a b", "ab"}, {"x_1", "X_1"}, {"Total", "TOTAL"}, {"\xDF", "SS"}, {"\xE0", "\xC0"},
    {"x\x9Ay", "X\x8AY"}, {"\x83\x41\x83\x43", "\x83\x41\x83\x43"},
    {"\x83\x41\x83\x43", "\x83\x41\x83\x45"}, {"\x83\x41\x83\x43", "\xB1\xB2"},
    {"\xB1\xB2", "\xB1\xB3"}, {"\xB1\xB2", "\xB1\xB2"}, {"\xB6\xDE", "\xB6"}, {"\x82\xA0", "\x83\x41"},
    {"\x82\x81", "\x82\x60"}, {"\x82\x81\x82\x82", "\x82\x60\x82\x61"}, {"\x82\x81", "a"},
    {"\x82\x50", "1"}, {"\x8B\xE0\x8A\x7A", "\x8B\xE0\x8A\x7A"}, {"\x8B\xE0\x8A\x7A", "\x8B\xE0"},
    {"\x8B\xE0\x8A\x7A" "1", "\x8B\xE0\x8A\x7A" "2"}, {"\x83\x61", "\x83\x41"}, {"A\x83\x41", "a\x83\x41"},
};

void dumpComparisons() {
    for (const auto &p : kPairs) {
        char a[32], b[32];
        hex(p[0], (int)strlen(p[0]), a);
        hex(p[1], (int)strlen(p[1]), b);
        printf("compare %s %s equal\t%d%d\n", a, b, lstrcmpA(p[0], p[1]) == 0, lstrcmpiA(p[0], p[1]) == 0);
        printf("compare %s %s sign\t%d %d\n", a, b, sign(lstrcmpA(p[0], p[1])), sign(lstrcmpiA(p[0], p[1])));
    }
}

// Every string whole, and cut to a few buffer sizes.
void dumpStrings() {
    for (unsigned id = 0; id <= 20100; id++) {
        char buf[512], out[1100];
        int n = LoadStringA(ModuleHandle(), id, buf, sizeof buf);
        if (n == 0) continue;
        hex(buf, n, out);
        printf("string %u\t%d %s\n", id, n, out);
        for (int size : {2, 3, 4, 5, 12, 13}) {
            int m = LoadStringA(ModuleHandle(), id, buf, size);
            hex(buf, m, out);
            printf("string %u cut %d\t%d %s\n", id, size, m, out);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);  // the same line ends as elsewhere
#endif
    if (argc > 1 && !SvcSelectCodePage((unsigned)atoi(argv[1]))) {
        fprintf(stderr, "code page %s is not active and cannot be selected\n", argv[1]);
        return 2;
    }
    printf("codepage\t%u\n", GetACP());
    printf("double-byte\t%d\n", SvcIsDoubleByte() != 0);
    dumpBytes();
    if (SvcIsDoubleByte()) dumpDoubleBytes();
    dumpComparisons();
    dumpStrings();
    return 0;
}
