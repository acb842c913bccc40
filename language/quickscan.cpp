// The quick scan reads blanks, operators, plain names and words, function
// names, numbers without exponent and strings without escapes, and leaves
// everything else (dates, two-word keywords, dotted and quoted names,
// double-byte text, escapes) to the generated scanner. Besides the token it
// tells how far that scanner's automaton would have read: it reads a byte
// as long as the text so far can still grow into a match of some rule, so
// it stops having read the first byte that no rule can take, or right
// behind a text that nothing can extend (an operator, a function's "(").
// A byte that no rule takes at `end` is the NUL there, no byte of the text.
#include "language/quickscan.h"

#include <string.h>

#include "language/parsestate.h"

namespace {

bool isLetter(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

bool isBlank(unsigned char c) { return c == ' ' || c == '\t' || c == '\n'; }

bool isWordByte(unsigned char c) {
    return isLetter(c) || isDigit(c) || c == '_' || c == '#' || c == '$' || c == '@';
}

// The scan read `looked` bytes from `at`. When the last of them is the NUL
// at `end`, the text ran out: that is a token too long when the limit
// stands there, which is the generated scanner's to report.
int found(QuickMatch *match, const char *at, const char *end, int rule, uint32_t length,
          uint32_t looked) {
    if (at + looked > end) {
        if (end - at >= TOKEN_BUFFER) return 0;
        looked = (uint32_t)(end - at);
    }
    match->rule = rule;
    match->length = length;
    match->reach = looked;
    return 1;
}

// Behind a word, blanks may lead on to two words (one space and a letter),
// a function ("(" behind spaces), or a date such as "Jan 1, 2000" (three
// letters or more, blanks and a digit). Behind any other name only the
// function is left.
int word(const char *at, const char *end, QuickMatch *match) {
    const char *p = at + 1;
    bool letters = true;
    for (; isWordByte(*p); p++)
        if (!isLetter(*p)) letters = false;
    if (*p == '.' || (unsigned char)*p >= 0x80) return 0;
    uint32_t length = (uint32_t)(p - at);
    int rule = letters ? RuleWord : RuleName;
    bool dateLike = letters && length >= 3;
    bool spaces = true;
    const char *q = p;
    for (; isBlank(*q); q++) {
        if (*q == ' ') continue;
        if (!dateLike) return found(match, at, end, rule, length, (uint32_t)(q - at + 1));
        spaces = false;
    }
    uint32_t looked = (uint32_t)(q - at + 1);
    if (*q == '(' && spaces) return found(match, at, end, RuleFunction, looked, looked);
    if (isLetter(*q) && letters && q == p + 1 && *p == ' ') return 0;
    if (isDigit(*q) && dateLike) return 0;
    return found(match, at, end, rule, length, looked);
}

// Behind a whole number and blanks, letters may still make a time of day
// ("3 PM", two letters and a byte that ends it) or a date ("1 Jan 2000",
// three letters or more, a space or comma and spaces, and a digit). Gives
// where the scan stops, or 0 when it may have found one of them.
const char *wordAfterNumber(const char *q) {
    const char *p = q;
    while (isLetter(*p)) p++;
    size_t letters = (size_t)(p - q);
    if (letters == 2 && strchr("\n ()*+,-/|", *p) && *p) return 0;
    if (letters < 3) return p;
    const char *gap = p + (*p == ',');
    while (*gap == ' ') gap++;
    if (gap > p && isDigit(*gap)) return 0;
    return gap > p ? gap : p;
}

// Digits with an optional fraction. A point without digits behind it, an
// exponent, a time or a date are left alone, and so are blanks and a letter
// behind a fraction.
int number(const char *at, const char *end, QuickMatch *match) {
    const char *p = at;
    while (isDigit(*p)) p++;
    bool whole = *p != '.';
    if (!whole) {
        if (!isDigit(p[1])) return 0;
        for (p++; isDigit(*p);) p++;
    }
    unsigned char c = (unsigned char)*p;
    if (isLetter(c) || c == '.' || c == ':' || c == '-' || c == '/' || c == '\\') return 0;
    const char *q = p;
    while (isBlank(*q)) q++;
    if (q > p && isLetter(*q)) {
        if (!whole) return 0;
        q = wordAfterNumber(q);
        if (!q) return 0;
    }
    return found(match, at, end, RuleNumber, (uint32_t)(p - at), (uint32_t)(q - at + 1));
}

// A single-byte string without backslash or doubled quote: a quote behind
// the closing one would make it a doubled quote.
int string(const char *at, const char *end, QuickMatch *match) {
    const char *p = at + 1;
    while (*p != '\'' && *p != '\\' && *p && (unsigned char)*p < 0x80) p++;
    if (*p != '\'' || p[1] == '\'') return 0;
    uint32_t length = (uint32_t)(p + 1 - at);
    return found(match, at, end, RuleString, length, length + 1);
}

}  // namespace

int QuickScan(const char *at, const char *end, QuickMatch *match) {
    unsigned char c = (unsigned char)*at;
    if (isLetter(c)) return word(at, end, match);
    if (isDigit(c)) return number(at, end, match);
    if (isBlank(c)) {
        const char *p = at;
        while (isBlank(*p)) p++;
        uint32_t length = (uint32_t)(p - at);
        return found(match, at, end, RuleBlanks, length, length + 1);
    }
    switch (c) {
    case '%': case '<': case '=': case '>': case '(': case ')': case '*':
    case '+': case ',': case '-': case '/': case '{': case '}':
        return found(match, at, end, RuleOperator, 1, 1);
    case '|':
        return at[1] == '|' && found(match, at, end, RuleConcat, 2, 2);
    case '\'':
        return string(at, end, match);
    default:
        return 0;
    }
}
