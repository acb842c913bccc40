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

typedef NumShort Short;

// From the bit length: 1233 / 4096 is just above log10(2).
int digitsOf(uint64_t x) {
    if (x == 0) return 0;
    int d = (64 - __builtin_clzll(x)) * 1233 >> 12;
    return d + (d < 20 && x >= POW10[d]);
}

// 10^k divides x when 2^k and 5^k do: k is at most the trailing zero bits,
// and x * inverse(5^k), taken modulo 2^64, is x / 5^k exactly when that is
// whole and otherwise lands above UINT64_MAX / 5^k. So the trailing zero
// digits come off in halving steps of one multiplication each.
constexpr uint64_t inverseOf(uint64_t odd) {
    uint64_t x = odd;  // Newton's step doubles the bits that are right
    for (int i = 0; i < 6; i++) x *= 2 - odd * x;
    return x;
}

constexpr uint64_t power5(int k) { return k == 0 ? 1 : 5 * power5(k - 1); }

struct FiveStep {
    int k;
    uint64_t inverse, limit;
};
constexpr FiveStep FIVE_STEPS[] = {{16, inverseOf(power5(16)), UINT64_MAX / power5(16)},
                                   {8, inverseOf(power5(8)), UINT64_MAX / power5(8)},
                                   {4, inverseOf(power5(4)), UINT64_MAX / power5(4)},
                                   {2, inverseOf(power5(2)), UINT64_MAX / power5(2)},
                                   {1, inverseOf(power5(1)), UINT64_MAX / power5(1)}};

bool multipleOf5(uint64_t x) { return x * FIVE_STEPS[4].inverse <= FIVE_STEPS[4].limit; }

uint64_t dropZeros(uint64_t x, long long *exponent) {
    if (!multipleOf5(x)) return x;  // most values end in no zero
    int twos = __builtin_ctzll(x), k = 0;
    for (const FiveStep &step : FIVE_STEPS) {
        if (k + step.k > twos) continue;
        uint64_t q = x * step.inverse;
        if (q <= step.limit) {
            x = q;
            k += step.k;
        }
    }
    *exponent += k;
    return x >> k;
}

// Whether x * 10^up stays below 10^18.
bool alignsBelow18(uint64_t x, int up) { return up <= 18 && x < POW10[18 - up]; }

// negative * coefficient * 10^exponent, zero positive with exponent 0.
// Trailing zero digits stay until the value is packed, unless they are what
// takes it beyond 16 digits. False when more than 16 digits are left or the
// value is out of range (the general path gives null or zero). The range is
// about the place of the leading digit, which the zeros do not move; it is
// counted only near the ends of the range.
bool shortResult(Short *r, bool negative, uint64_t coefficient, long long exponent) {
    if (coefficient == 0) {
        *r = Short{0, 0, false};
        return true;
    }
    if (coefficient >= POW10[SHORT_DIGITS]) {
        if (coefficient & 1) return false;
        coefficient = dropZeros(coefficient, &exponent);
        if (coefficient >= POW10[SHORT_DIGITS]) return false;
    }
    if (exponent < NUM_TOP_MIN || exponent + SHORT_DIGITS - 1 > NUM_TOP_MAX) {
        long long top = exponent + digitsOf(coefficient) - 1;
        if (top > NUM_TOP_MAX || top < NUM_TOP_MIN) return false;
    }
    *r = Short{coefficient, (int)exponent, negative};
    return true;
}

bool readBoth(const Number *left, const Number *right, Short *a, Short *b) {
    return NumShortRead(left, a) && NumShortRead(right, b);
}

bool shortAdd(Short *r, const Short *a, const Short *b, bool subtracting) {
    bool bNegative = b->negative != subtracting;
    if (a->coefficient == 0) return shortResult(r, bNegative, b->coefficient, b->exponent);
    if (b->coefficient == 0) return shortResult(r, a->negative, a->coefficient, a->exponent);
    int low = a->exponent < b->exponent ? a->exponent : b->exponent;
    int upA = a->exponent - low, upB = b->exponent - low;
    // Both aligned below 10^18, so that their sum stays inside the word.
    if (!alignsBelow18(a->coefficient, upA) || !alignsBelow18(b->coefficient, upB)) return false;
    uint64_t x = a->coefficient * POW10[upA], y = b->coefficient * POW10[upB];
    if (a->negative == bNegative) return shortResult(r, bNegative, x + y, low);
    if (x >= y) return shortResult(r, a->negative, x - y, low);
    return shortResult(r, bNegative, y - x, low);
}

bool shortMul(Short *r, const Short *a, const Short *b) {
    if (a->coefficient == 0 || b->coefficient == 0) return shortResult(r, false, 0, 0);
    uint64_t product;
    if (__builtin_mul_overflow(a->coefficient, b->coefficient, &product)) return false;
    return shortResult(r, a->negative != b->negative, product, (long long)a->exponent + b->exponent);
}

// Only a quotient that comes out exact within 18 digits is taken here; a
// zero divisor is left to the caller's rule.
bool shortDiv(Short *r, const Short *a, const Short *b) {
    if (b->coefficient == 0) return false;
    if (a->coefficient == 0) return shortResult(r, false, 0, 0);
    // A whole quotient of the coefficients needs no scaling, and its
    // division is the quicker one. A divisor prime to 10 that does not
    // divide the coefficient divides no power of ten times it either.
    if (a->coefficient % b->coefficient == 0)
        return shortResult(r, a->negative != b->negative, a->coefficient / b->coefficient,
                           (long long)a->exponent - b->exponent);
    if ((b->coefficient & 1) && !multipleOf5(b->coefficient)) return false;
    int up = 18 - digitsOf(a->coefficient);
    uint64_t dividend = a->coefficient * POW10[up];
    if (dividend % b->coefficient != 0) return false;
    return shortResult(r, a->negative != b->negative, dividend / b->coefficient,
                       (long long)a->exponent - up - b->exponent);
}

}  // namespace

void NumShortWrite(Number *value, const NumShort *s) {
    if (s->coefficient == 0) {
        NumSetZero(value);
        return;
    }
    uint64_t coefficient = s->coefficient;
    long long exponent = s->exponent;
    if (!(coefficient & 1)) coefficient = dropZeros(coefficient, &exponent);
    int digits = digitsOf(coefficient);
    memset(value, 0, sizeof *value);
    uint64_t bcd = NumBigEndian64(NumBcdOf16(coefficient) << 4 * (SHORT_DIGITS - digits));
    memcpy(value->bytes + NUM_DIGIT_BYTE, &bcd, 8);
    NumWriteHead(value, s->negative, digits, (int)exponent);
}

bool NumShortCalc(NumShort *result, int op, const NumShort *a, const NumShort *b) {
    switch (op) {
    case '+': return shortAdd(result, a, b, false);
    case '-': return shortAdd(result, a, b, true);
    case '*': return shortMul(result, a, b);
    default: return shortDiv(result, a, b);
    }
}

bool NumShortOp(Number *result, int op, const Number *left, const Number *right) {
    Short a, b, r;
    if (!readBoth(left, right, &a, &b) || !NumShortCalc(&r, op, &a, &b)) return false;
    NumShortWrite(result, &r);
    return true;
}
