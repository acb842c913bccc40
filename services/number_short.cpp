// Arithmetic on everyday values: operands of at most 16 digits whose exact
// result has at most 16 digits are worked in one 64-bit word each, and the
// result goes straight back into the digit bytes. An exact result of so few
// digits is its own rounding, so the bytes are those of the general path;
// whatever does not fit (a null operand, a long or inexact result, a value
// with a nibble above 9) is left to it.
#include "services/number_bytes.h"

namespace {

enum { SHORT_DIGITS = 16 };

const uint64_t POW10[20] = {1ull,
                            10ull,
                            100ull,
                            1000ull,
                            10000ull,
                            100000ull,
                            1000000ull,
                            10000000ull,
                            100000000ull,
                            1000000000ull,
                            10000000000ull,
                            100000000000ull,
                            1000000000000ull,
                            10000000000000ull,
                            100000000000000ull,
                            1000000000000000ull,
                            10000000000000000ull,
                            100000000000000000ull,
                            1000000000000000000ull,
                            10000000000000000000ull};

struct Short {
    uint64_t coefficient;  // 0 for zero
    int exponent;
    int digits;  // of the coefficient; 0 for zero
    bool negative;
};

// From the bit length: 1233 / 4096 is just above log10(2).
int digitsOf(uint64_t x) {
    if (x == 0) return 0;
    int d = (64 - __builtin_clzll(x)) * 1233 >> 12;
    return d + (d < 20 && x >= POW10[d]);
}

// Takes the trailing zero digits off x (not zero), in halving steps; each
// step divides by a constant, which costs no division instruction.
template <int STEP>
uint64_t dropStep(uint64_t x, long long *exponent) {
    constexpr uint64_t power = STEP == 16 ? 10000000000000000ull : STEP == 8 ? 100000000ull
                               : STEP == 4 ? 10000ull : STEP == 2 ? 100ull : 10ull;
    while (x % power == 0) {
        x /= power;
        *exponent += STEP;
    }
    return x;
}

uint64_t dropZeros(uint64_t x, long long *exponent) {
    x = dropStep<16>(x, exponent);
    x = dropStep<8>(x, exponent);
    x = dropStep<4>(x, exponent);
    x = dropStep<2>(x, exponent);
    return dropStep<1>(x, exponent);
}

// False for the null value, more than 16 digits or a nibble above 9.
bool readShort(const Number *value, Short *s) {
    const unsigned char *b = value->bytes;
    int count = b[NUM_COUNT_BYTE];
    if (b[0] == 0 || count > SHORT_DIGITS) return false;
    s->coefficient = 0;
    s->digits = 0;
    s->negative = false;
    s->exponent = 0;
    if (count == 0) return true;
    uint64_t x;
    memcpy(&x, b + NUM_DIGIT_BYTE, 8);
    x = NumBigEndian64(x) >> 4 * (SHORT_DIGITS - count);
    if (NumNibbleAbove9(x)) return false;
    uint64_t limbs = NumBcdToLimbs(x);
    s->coefficient = (limbs >> 32) * 100000000ull + (uint32_t)limbs;
    if (s->coefficient == 0) return true;  // digits all zero: zero
    s->digits = digitsOf(s->coefficient);
    s->negative = b[NUM_SIGN_BYTE] != 0;
    s->exponent = (int16_t)(b[NUM_EXPONENT_BYTE] | b[NUM_EXPONENT_BYTE + 1] << 8);
    return true;
}

// Writes negative * coefficient * 10^exponent; false, writing nothing,
// when more than 16 digits are left after the trailing zeros.
bool writeShort(Number *value, bool negative, uint64_t coefficient, long long exponent) {
    if (coefficient == 0) {
        NumSetZero(value);
        return true;
    }
    if (coefficient % 10 == 0) coefficient = dropZeros(coefficient, &exponent);
    int count = digitsOf(coefficient);
    if (count > SHORT_DIGITS) return false;
    long long top = exponent + count - 1;
    if (top > NUM_TOP_MAX) {
        NumSetNull(value);
        return true;
    }
    if (top < NUM_TOP_MIN) {
        NumSetZero(value);
        return true;
    }
    memset(value, 0, sizeof *value);
    uint64_t bcd = count <= 8 ? NumBcdOf8((uint32_t)coefficient)
                              : (uint64_t)NumBcdOf8((uint32_t)(coefficient / 100000000u)) << 32 |
                                    NumBcdOf8((uint32_t)(coefficient % 100000000u));
    bcd <<= 4 * (SHORT_DIGITS - count);
    bcd = NumBigEndian64(bcd);
    memcpy(value->bytes + NUM_DIGIT_BYTE, &bcd, 8);
    NumWriteHead(value, negative, count, (int)exponent);
    return true;
}

bool readBoth(const Number *left, const Number *right, Short *a, Short *b) {
    return readShort(left, a) && readShort(right, b);
}

}  // namespace

bool NumShortAdd(Number *result, const Number *left, const Number *right, bool subtracting) {
    Short a, b;
    if (!readBoth(left, right, &a, &b)) return false;
    if (subtracting) b.negative = !b.negative;
    if (a.coefficient == 0) return writeShort(result, b.negative, b.coefficient, b.exponent);
    if (b.coefficient == 0) return writeShort(result, a.negative, a.coefficient, a.exponent);
    int low = a.exponent < b.exponent ? a.exponent : b.exponent;
    int upA = a.exponent - low, upB = b.exponent - low;
    // Both aligned below 10^18, so that their sum stays inside the word.
    if (a.digits + upA > 18 || b.digits + upB > 18) return false;
    uint64_t x = a.coefficient * POW10[upA], y = b.coefficient * POW10[upB];
    if (a.negative == b.negative) return writeShort(result, a.negative, x + y, low);
    if (x >= y) return writeShort(result, a.negative, x - y, low);
    return writeShort(result, b.negative, y - x, low);
}

bool NumShortMul(Number *result, const Number *left, const Number *right) {
    Short a, b;
    if (!readBoth(left, right, &a, &b)) return false;
    if (a.coefficient == 0 || b.coefficient == 0) return writeShort(result, false, 0, 0);
    if (a.digits + b.digits > 19) return false;
    return writeShort(result, a.negative != b.negative, a.coefficient * b.coefficient,
                      (long long)a.exponent + b.exponent);
}

// Only a quotient that comes out exact within 18 digits is taken here.
bool NumShortDiv(Number *result, const Number *left, const Number *right) {
    Short a, b;
    if (!readBoth(left, right, &a, &b)) return false;
    if (b.coefficient == 0) {
        memset(result, 0, sizeof *result);
        return true;
    }
    if (a.coefficient == 0) return writeShort(result, false, 0, 0);
    int up = 18 - a.digits;
    uint64_t dividend = a.coefficient * POW10[up];
    if (dividend % b.coefficient != 0) return false;
    return writeShort(result, a.negative != b.negative, dividend / b.coefficient,
                      (long long)a.exponent - up - b.exponent);
}
