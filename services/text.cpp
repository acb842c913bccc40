// Text operations on zero-terminated byte strings of the system code page.
// Counts and positions are characters (a double-byte character is one
// character of two bytes); positions start at 0. A null text reads as empty.
// Out-of-range counts and positions are clamped to the text, and every
// operation that writes a destination may be given the source itself.
#include <string.h>

#include "services/platform.h"
#include "services/services.h"

namespace {

// Bytes of the character at `p`: 0 at the terminator, 2 for a lead byte with
// a trail, else 1. A lead byte before the terminator is a character alone.
size_t charBytes(const char *p) {
    if (!*p) return 0;
    return SvcIsLeadAt(p) && p[1] ? 2 : 1;
}

// Bytes taken by the first `count` characters of `text`, up to its end.
size_t bytesOfChars(const char *text, long count) {
    size_t n = 0;
    for (long i = 0; i < count; i++) {
        size_t step = charBytes(text + n);
        if (!step) break;
        n += step;
    }
    return n;
}

const char *orEmpty(const char *text) { return text ? text : ""; }

// Writes `n` bytes of `src` to `dest` and terminates; they may overlap.
void putBytes(char *dest, const char *src, size_t n) {
    memmove(dest, src, n);
    dest[n] = 0;
}

// Blank is the space alone; tabs and line ends are kept.
bool isBlank(char c) { return c == ' '; }

// Bytes from the start of `text` to the end of its last non-blank character.
size_t contentEnd(const char *text) {
    size_t end = 0;
    for (size_t i = 0; text[i];) {
        size_t step = charBytes(text + i);
        i += step;
        if (step == 2 || !isBlank(text[i - 1])) end = i;
    }
    return end;
}

// Does `text` begin with the characters of `pattern`, whole ones only?
bool startsWithWhole(const char *text, const char *pattern) {
    size_t i = 0;
    while (pattern[i]) {
        size_t step = charBytes(pattern + i);
        if (charBytes(text + i) != step || memcmp(text + i, pattern + i, step) != 0) return false;
        i += step;
    }
    return true;
}

}  // namespace

size_t SvcStrLen(const char *text) { return text ? strlen(text) : 0; }

char *SvcStrCopy(const char *text) {
    size_t length = SvcStrLen(text);
    char *copy = (char *)SvcAlloc(length + 1);
    if (copy && length) memcpy(copy, text, length);  // the block comes zeroed
    return copy;
}

size_t SvcCharLen(const char *text) {
    size_t n = 0;
    for (const char *p = orEmpty(text); *p; p += charBytes(p)) n++;
    return n;
}

void SvcCopyChars(char *dest, const char *src, long count) {
    src = orEmpty(src);
    putBytes(dest, src, bytesOfChars(src, count));
}

void SvcStrLeft(char *dest, const char *src, long count) { SvcCopyChars(dest, src, count); }

void SvcStrMid(char *dest, const char *src, long start, long count) {
    src = SvcStrSkip(orEmpty(src), start);
    putBytes(dest, src, bytesOfChars(src, count));
}

void SvcStrRight(char *dest, const char *src, long count) {
    src = orEmpty(src);
    long total = (long)SvcCharLen(src);
    if (count < 0) count = 0;
    if (count > total) count = total;
    src = SvcStrSkip(src, total - count);
    putBytes(dest, src, strlen(src));
}

// The replacement must not lie inside the destination.
void SvcStrReplace(char *dest, const char *src, const char *replacement, long start, long count) {
    src = orEmpty(src);
    replacement = orEmpty(replacement);
    size_t head = bytesOfChars(src, start);
    const char *tail = SvcStrSkip(src + head, count);
    size_t tailLen = strlen(tail), repLen = strlen(replacement);
    // Move in the order that cannot overwrite bytes still to be moved.
    if ((uintptr_t)dest > (uintptr_t)src) {
        putBytes(dest + head + repLen, tail, tailLen);
        memmove(dest, src, head);
    } else {
        memmove(dest, src, head);
        putBytes(dest + head + repLen, tail, tailLen);
    }
    memcpy(dest + head, replacement, repLen);
}

// A word starts behind anything that is not a single-byte letter or digit;
// a double-byte character is such a thing and is left as it is.
void SvcStrProper(char *dest, const char *src) {
    src = orEmpty(src);
    putBytes(dest, src, strlen(src));
    bool inWord = false;
    for (char *p = dest; *p;) {
        size_t step = charBytes(p);
        if (step == 2) {
            inWord = false;
        } else if (IsCharAlphaNumericA(*p)) {
            if (inWord) CharLowerBuffA(p, 1);
            else CharUpperBuffA(p, 1);
            inWord = true;
        } else {
            inWord = false;
        }
        p += step;
    }
}

void SvcStrTrim(char *dest, const char *src) {
    src = SvcStrLTrim(orEmpty(src));
    putBytes(dest, src, contentEnd(src));
}

void SvcStrRTrim(char *dest, const char *src) {
    src = orEmpty(src);
    putBytes(dest, src, contentEnd(src));
}

const char *SvcStrLTrim(const char *text) {
    if (!text) return text;
    while (isBlank(*text)) text++;
    return text;
}

void SvcStrUpper(char *text) {
    if (text) CharUpperBuffA(text, (DWORD)strlen(text));
}

void SvcStrLower(char *text) {
    if (text) CharLowerBuffA(text, (DWORD)strlen(text));
}

// The character position of the first whole-character match, from 0; -1
// when the pattern does not occur. An empty pattern is found at 0.
long SvcStrScan(const char *text, const char *pattern) {
    text = orEmpty(text);
    pattern = orEmpty(pattern);
    long position = 0;
    for (const char *p = text;; p += charBytes(p), position++) {
        if (startsWithWhole(p, pattern)) return position;
        if (!*p) return -1;
    }
}

// Looks at whole characters only, so a trail byte never matches. The
// terminator is found for 0.
const char *SvcStrChr(const char *text, int ch) {
    if (!text) return 0;
    char c = (char)(ch & 0xFF);
    for (const char *p = text;; p += charBytes(p)) {
        if (*p == c) return p;
        if (!*p) return 0;
    }
}

int SvcStrEqual(const char *a, const char *b) { return strcmp(orEmpty(a), orEmpty(b)) == 0; }

// Both texts compared over their first `count` characters; a text that
// ends early matches only a text that ends at the same place.
int SvcStrStartsWith(const char *text, const char *prefix, long count) {
    text = orEmpty(text);
    prefix = orEmpty(prefix);
    size_t a = bytesOfChars(text, count), b = bytesOfChars(prefix, count);
    return a == b && memcmp(text, prefix, a) == 0;
}

const char *SvcStrSkip(const char *text, long count) {
    if (!text) return text;
    return text + bytesOfChars(text, count);
}

void SvcStrNormalise(char *text) {
    if (text) SvcStrTrim(text, text);
}

namespace {

bool inSet(const char *set, char c) { return set && c && strchr(set, c); }

}  // namespace

// Passes leading delimiters, then takes the token up to the next delimiter
// outside quotes; the quotes stay in the token. Gives the bytes consumed.
size_t SvcNextToken(char *token, const char *text, const char *delims1, const char *delims2,
                    int, int quote, int) {
    text = orEmpty(text);
    auto isDelim = [&](char c) { return inSet(delims1, c) || inSet(delims2, c); };
    size_t i = 0;
    while (isDelim(text[i])) i++;
    size_t start = i;
    bool quoted = false;
    while (text[i]) {
        size_t step = charBytes(text + i);
        if (step == 1) {
            if (quote && (unsigned char)text[i] == (unsigned)quote) quoted = !quoted;
            else if (!quoted && isDelim(text[i])) break;
        }
        i += step;
    }
    putBytes(token, text + start, i - start);
    return i;
}

// The list controls size themselves; nothing to do.
void SvcListFit(void *) {}
