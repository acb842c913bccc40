// Number values: the packed form inside the 25 bytes, and the operations
// that need no arithmetic beyond digit handling (compare, sign, rounding to
// places).
//
// Behind the length byte a value that is not null holds:
//   byte 1      1 for a negative number, else 0
//   byte 2      the digit count, 0 to 40 (0 is zero)
//   bytes 3-4   the exponent, signed 16-bit, low byte first
//   bytes 5-24  the digits in BCD, two a byte, high nibble first
// The value is digits * 10^exponent. Values are always normalised: no
// leading or trailing zero digit, zero has sign 0 and exponent 0, and every
// byte behind the used ones is 0. So equal numbers have equal bytes, and a
// byte-wise copy or comparison of two values is meaningful. Byte 0 is 4 plus
// the digit bytes in use.
//
// The leading digit of a value that is not zero sits at a power of ten from
// -300 to 300: a result that reaches 1E+301 after rounding is the null value,
// one below 1E-300 becomes zero.
#include <string.h>

#include "services/values.h"

namespace {

enum {
    SIGN_BYTE = 1,
    COUNT_BYTE = 2,
    EXPONENT_BYTE = 3,
    DIGIT_BYTE = 5,
    TOP_MAX = 300,
    TOP_MIN = -300,
    // Rounding or cutting beyond this many places either way keeps every
    // digit or none, so larger counts are held to it.
    PLACES_LIMIT = 1000,
};

void setNull(Number *value) { memset(value, 0, sizeof *value); }

void setZero(Number *value) {
    memset(value, 0, sizeof *value);
    value->bytes[0] = DIGIT_BYTE - 1;
}

// Rounds digits[0..count) to NUM_PRECISION digits half-even, into kept.
// Gives the count kept and adds the digits dropped to *exponent.
int roundToPrecision(const char *digits, int count, char *kept, long long *exponent) {
    memcpy(kept, digits, NUM_PRECISION);
    *exponent += count - NUM_PRECISION;
    char guard = digits[NUM_PRECISION];
    bool up = guard > '5';
    if (guard == '5') {
        bool rest = false;
        for (int i = NUM_PRECISION + 1; i < count && !rest; i++) rest = digits[i] != '0';
        up = rest || ((digits[NUM_PRECISION - 1] - '0') & 1);
    }
    if (!up) return NUM_PRECISION;
    for (int i = NUM_PRECISION - 1; i >= 0; i--) {
        if (kept[i] != '9') {
            kept[i]++;
            return NUM_PRECISION;
        }
        kept[i] = '0';
    }
    // All nines became a one followed by zeros.
    kept[0] = '1';
    *exponent += NUM_PRECISION;
    return 1;
}

void pack(Number *value, int negative, const char *digits, int count, int exponent) {
    unsigned char *b = value->bytes;
    memset(b, 0, sizeof value->bytes);
    b[0] = (unsigned char)(DIGIT_BYTE - 1 + (count + 1) / 2);
    b[SIGN_BYTE] = negative ? 1 : 0;
    b[COUNT_BYTE] = (unsigned char)count;
    b[EXPONENT_BYTE] = (unsigned char)(exponent & 0xFF);
    b[EXPONENT_BYTE + 1] = (unsigned char)((exponent >> 8) & 0xFF);
    for (int i = 0; i < count; i++) {
        int d = digits[i] - '0';
        b[DIGIT_BYTE + i / 2] |= (unsigned char)(i % 2 == 0 ? d << 4 : d);
    }
}

int topOf(const NumDigits *n) { return n->exponent + n->count - 1; }

// -1, 0 or 1 as |x| is below, equal to or above |y|; neither is zero.
int compareMagnitude(const NumDigits *x, const NumDigits *y) {
    if (topOf(x) != topOf(y)) return topOf(x) < topOf(y) ? -1 : 1;
    int longest = x->count > y->count ? x->count : y->count;
    for (int i = 0; i < longest; i++) {
        char dx = i < x->count ? x->digits[i] : '0';
        char dy = i < y->count ? y->digits[i] : '0';
        if (dx != dy) return dx < dy ? -1 : 1;
    }
    return 0;
}

int signOf(const NumDigits *n) { return n->count == 0 ? 0 : n->negative ? -1 : 1; }

// Keeps the digits at 10^-places and above. With roundHalf, a dropped part
// of one half unit or more adds one unit: half away from zero, as the sign
// is kept apart. Without it the digits are cut, toward zero.
void keepPlaces(Number *result, const Number *value, int places, bool roundHalf) {
    NumDigits n;
    if (!NumDecode(value, &n)) {
        setNull(result);
        return;
    }
    if (places > PLACES_LIMIT) places = PLACES_LIMIT;
    if (places < -PLACES_LIMIT) places = -PLACES_LIMIT;
    int lowest = -places;
    if (n.count == 0 || n.exponent >= lowest) {
        NumEncodeDigits(result, n.negative, n.digits, n.count, n.exponent);
        return;
    }
    // digits[0..keep) stand at lowest and above; digits[keep] is the first
    // one dropped when keep >= 0.
    int keep = topOf(&n) - lowest + 1;
    bool up = roundHalf && keep >= 0 && n.digits[keep] >= '5';
    if (keep < 0) keep = 0;
    char buffer[NUM_PRECISION + 2];
    buffer[0] = '0';  // room for a carry out of the top digit
    memcpy(buffer + 1, n.digits, keep);
    for (int i = keep; up && i >= 0; i--) {
        if (buffer[i] == '9') {
            buffer[i] = '0';
        } else {
            buffer[i]++;
            up = false;
        }
    }
    NumEncodeDigits(result, n.negative, buffer, keep + 1, lowest);
}

}  // namespace

int NumDecode(const Number *value, NumDigits *out) {
    const unsigned char *b = value->bytes;
    if (b[0] == 0) return 0;
    // A value built elsewhere than here is held to the digits there are room
    // for, so that no reading goes astray.
    int count = b[COUNT_BYTE];
    if (count > NUM_PRECISION) count = NUM_PRECISION;
    out->count = count;
    out->negative = count > 0 && b[SIGN_BYTE] != 0;
    out->exponent = count > 0 ? (int16_t)(b[EXPONENT_BYTE] | b[EXPONENT_BYTE + 1] << 8) : 0;
    for (int i = 0; i < count; i++) {
        int byte = b[DIGIT_BYTE + i / 2];
        int d = i % 2 == 0 ? byte >> 4 : byte & 0x0F;
        out->digits[i] = (char)('0' + (d > 9 ? 9 : d));
    }
    out->digits[count] = 0;
    return 1;
}

void NumEncodeDigits(Number *value, int negative, const char *digits, int count, int exponent) {
    while (count > 0 && *digits == '0') {
        digits++;
        count--;
    }
    char kept[NUM_PRECISION];
    long long exp = exponent;
    if (count > NUM_PRECISION) {
        count = roundToPrecision(digits, count, kept, &exp);
    } else {
        memcpy(kept, digits, count);
    }
    while (count > 0 && kept[count - 1] == '0') {
        count--;
        exp++;
    }
    if (count == 0) {
        setZero(value);
        return;
    }
    long long top = exp + count - 1;
    if (top > TOP_MAX) {
        setNull(value);
    } else if (top < TOP_MIN) {
        setZero(value);
    } else {
        pack(value, negative, kept, count, (int)exp);
    }
}

extern "C" {

ZEMAPI void ZEMCALL SvcNumNegate(Number *value) {
    unsigned char *b = value->bytes;
    if (b[0] != 0 && b[COUNT_BYTE] != 0) b[SIGN_BYTE] = b[SIGN_BYTE] ? 0 : 1;
}

// A null value sorts below every other value; two nulls are equal.
ZEMAPI int ZEMCALL SvcNumCompare(const Number *a, const Number *b) {
    NumDigits x, y;
    int hasX = NumDecode(a, &x), hasY = NumDecode(b, &y);
    if (!hasX || !hasY) return hasX - hasY;
    int sx = signOf(&x), sy = signOf(&y);
    if (sx != sy) return sx < sy ? -1 : 1;
    if (sx == 0) return 0;
    return sx * compareMagnitude(&x, &y);
}

// The null value is not zero.
ZEMAPI int ZEMCALL SvcNumIsZero(const Number *value) {
    return value->bytes[0] != 0 && value->bytes[COUNT_BYTE] == 0;
}

// A value that is not null is left as it is.
ZEMAPI void ZEMCALL SvcNumNullToZero(Number *value) {
    if (value->bytes[0] == 0) setZero(value);
}

// width is the room the text form may take; every value fits the 300 that
// callers pass, so it plays no part. A null value stays null.
ZEMAPI void ZEMCALL SvcNumTruncate(Number *value, int width, int places) {
    (void)width;
    keepPlaces(value, value, places, false);
}

// A null value gives the null value.
ZEMAPI void ZEMCALL SvcNumRound(Number *result, const Number *value, int places) {
    keepPlaces(result, value, places, true);
}

}  // extern "C"
