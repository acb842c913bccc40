// Numbers from and to literals, 32-bit integers and doubles. The double
// conversions are the one place where binary floating point meets a Number.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "services/values.h"

namespace {

enum {
    // Digits a literal keeps before rounding: two beyond the precision, so
    // that the rounding digit is exact, and a sticky digit behind them
    // stands for everything further down.
    LITERAL_DIGITS = NUM_PRECISION + 2,
    // Exponents are held to this size while being read; anything that far
    // out is beyond the range either way.
    EXPONENT_LIMIT = 1000000,
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The significant digits of a literal's mantissa, and the power of ten of
// the last one kept.
struct Mantissa {
    char digits[LITERAL_DIGITS + 1];
    int count;
    long long exponent;
    bool sticky;  // a non-zero digit was dropped
};

void takeDigit(Mantissa *m, char c, bool behindPoint) {
    if (m->count == 0 && c == '0') {
        if (behindPoint) m->exponent--;
    } else if (m->count < LITERAL_DIGITS) {
        m->digits[m->count++] = c;
        if (behindPoint) m->exponent--;
    } else {
        if (!behindPoint && m->exponent < EXPONENT_LIMIT) m->exponent++;
        if (c != '0') m->sticky = true;
    }
}

// Reads [+-] digits after an E; 0 when there are none or no sign.
const char *readExponent(const char *p, long long *exponent) {
    if ((*p != '+' && *p != '-') || !isDigit(p[1])) return 0;
    bool down = *p++ == '-';
    long long e = 0;
    for (; isDigit(*p); p++)
        if (e < EXPONENT_LIMIT) e = e * 10 + (*p - '0');
    *exponent = down ? -e : e;
    return p;
}

// The literal forms: digits, digits "." digits*, digits* "." digits, and
// one digit "." digits E sign digits; a sign may lead. False for anything
// else.
bool readLiteral(const char *p, Number *result) {
    bool negative = *p == '-';
    if (*p == '-' || *p == '+') p++;
    Mantissa m{};
    int before = 0, after = 0;
    for (; isDigit(*p); p++, before++) takeDigit(&m, *p, false);
    if (*p == '.') {
        for (p++; isDigit(*p); p++, after++) takeDigit(&m, *p, true);
    }
    if (before + after == 0) return false;
    if (*p == 'E' || *p == 'e') {
        long long e;
        if (before != 1 || after == 0 || !(p = readExponent(p + 1, &e))) return false;
        m.exponent += e;
    }
    if (*p) return false;
    if (m.sticky) {
        m.digits[m.count++] = '1';
        m.exponent--;
    }
    if (m.exponent > EXPONENT_LIMIT) m.exponent = EXPONENT_LIMIT;
    if (m.exponent < -EXPONENT_LIMIT) m.exponent = -EXPONENT_LIMIT;
    NumEncodeDigits(result, negative, m.digits, m.count, (int)m.exponent);
    return true;
}

// The fewest significant digits that read back as the same double, in the
// form "[-]d.ddde[+-]x" of the C library (its point may be the locale's).
void shortestText(double value, char *text, size_t size) {
    for (int precision = 1; precision < 17; precision++) {
        snprintf(text, size, "%.*e", precision - 1, value);
        if (strtod(text, 0) == value) return;
    }
    snprintf(text, size, "%.16e", value);
}

}  // namespace

extern "C" {

// A text that is none of the literal forms gives zero.
ZEMAPI void ZEMCALL SvcNumFromText(Number *result, const char *text) {
    if (!text || !readLiteral(text, result)) NumEncodeDigits(result, 0, "", 0, 0);
}

ZEMAPI void ZEMCALL SvcNumFromLong(Number *result, int32_t value) {
    long long magnitude = value < 0 ? -(long long)value : value;
    char text[12];
    int start = sizeof text;
    do {
        text[--start] = (char)('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude > 0);
    NumEncodeDigits(result, value < 0, text + start, (int)sizeof text - start, 0);
}

ZEMAPI void ZEMCALL SvcNumFromInt(Number *result, int value) { SvcNumFromLong(result, value); }

// The null value gives 0.
ZEMAPI int32_t ZEMCALL SvcNumToLong(const Number *value) {
    NumDigits n;
    if (!NumDecode(value, &n) || n.count == 0) return 0;
    int top = n.exponent + n.count - 1;
    if (top < 0) return 0;
    long long whole = 0;
    if (top > 9) {
        whole = 1LL << 40;  // beyond either end
    } else {
        for (int i = 0; i <= top; i++) whole = whole * 10 + (i < n.count ? n.digits[i] - '0' : 0);
    }
    if (n.negative) whole = -whole;
    if (whole > INT32_MAX) return INT32_MAX;
    if (whole < INT32_MIN) return INT32_MIN;
    return (int32_t)whole;
}

// The nearest double. The null value gives 0.
ZEMAPI void ZEMCALL SvcNumToDouble(const Number *value, double *out) {
    NumDigits n;
    if (!NumDecode(value, &n) || n.count == 0) {
        *out = 0;
        return;
    }
    // Digits and an exponent without a point read alike in every locale.
    char text[NUM_PRECISION + 16];
    snprintf(text, sizeof text, "%s%se%d", n.negative ? "-" : "", n.digits, n.exponent);
    *out = strtod(text, 0);
}

// The shortest decimal that reads back as the same double. NaN and the
// infinities give the null value, as does a magnitude of 1E+301 or more.
ZEMAPI void ZEMCALL SvcNumFromDouble(Number *result, double value) {
    if (isnan(value) || isinf(value)) {
        memset(result, 0, sizeof *result);
        return;
    }
    char text[64];
    shortestText(value, text, sizeof text);
    const char *p = text;
    bool negative = *p == '-';
    char digits[24];
    int count = 0, exponent = 0;
    for (; *p && *p != 'e'; p++)
        if (isDigit(*p) && count < (int)sizeof digits) digits[count++] = *p;
    if (*p == 'e') exponent = atoi(p + 1);
    NumEncodeDigits(result, negative, digits, count, exponent - (count - 1));
}

}  // extern "C"
