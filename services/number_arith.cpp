// Number arithmetic: + - * / exact to 40 significant digits, rounded
// half-even.
//
// Each operation works on the whole coefficients of its operands, in limbs
// of eight decimal digits, and computes the exact result (for division:
// enough quotient digits and whether a remainder is left) with a power of
// ten beside it; NumPack rounds, normalises and checks the range.
#include <string.h>

#include "services/values.h"

namespace {

const uint32_t BASE = NUM_LIMB_BASE;

enum {
    // Two digits beyond the precision: the one that decides the rounding
    // and one below it, so that a far smaller addend can stand in as a
    // sticky unit there.
    SUM_REACH = NUM_PRECISION + 2,
};

int compare(const NumWide *x, const NumWide *y) {
    if (x->n != y->n) return x->n < y->n ? -1 : 1;
    for (int i = x->n - 1; i >= 0; i--)
        if (x->limb[i] != y->limb[i]) return x->limb[i] < y->limb[i] ? -1 : 1;
    return 0;
}

// r = x + y where x has at least as many limbs as y; r may be x.
void add(NumWide *r, const NumWide *x, const NumWide *y) {
    uint32_t carry = 0;
    for (int i = 0; i < x->n; i++) {
        uint32_t t = x->limb[i] + (i < y->n ? y->limb[i] : 0) + carry;
        carry = t >= BASE;
        r->limb[i] = carry ? t - BASE : t;
    }
    r->n = x->n;
    if (carry) r->limb[r->n++] = 1;
}

// r = x - y where x >= y; r may be x.
void subtract(NumWide *r, const NumWide *x, const NumWide *y) {
    uint32_t borrow = 0;
    for (int i = 0; i < x->n; i++) {
        uint32_t s = (i < y->n ? y->limb[i] : 0) + borrow;
        borrow = x->limb[i] < s;
        r->limb[i] = borrow ? x->limb[i] + BASE - s : x->limb[i] - s;
    }
    r->n = x->n;
    NumTrim(r);
}

// Column by column: each product is below 10^16, so a column of up to
// NUM_LIMBS of them and the carry stay far inside 64 bits.
void multiply(NumWide *r, const NumWide *x, const NumWide *y) {
    int n = x->n + y->n;
    uint64_t carry = 0;
    for (int k = 0; k < n; k++) {
        int first = k < y->n ? 0 : k - y->n + 1, last = k < x->n ? k : x->n - 1;
        uint64_t t = carry;
        for (int i = first; i <= last; i++) t += (uint64_t)x->limb[i] * y->limb[k - i];
        r->limb[k] = (uint32_t)(t % BASE);
        carry = t / BASE;
    }
    r->n = n;
    NumTrim(r);
}

// q = u / v for v of one limb; gives whether a remainder is left.
bool divideShort(NumWide *q, const NumWide *u, uint32_t v) {
    uint64_t rest = 0;
    for (int i = u->n - 1; i >= 0; i--) {
        uint64_t t = rest * BASE + u->limb[i];
        q->limb[i] = (uint32_t)(t / v);
        rest = t % v;
    }
    q->n = u->n;
    NumTrim(q);
    return rest != 0;
}

// One step of long division: takes qhat times v from the n+1 limbs of u at
// u[0..n] and gives the quotient limb, corrected when qhat was one too big.
uint32_t divideStep(uint32_t *u, const NumWide *v, uint64_t qhat) {
    int n = v->n;
    uint64_t carry = 0;
    int64_t borrow = 0;
    for (int i = 0; i < n; i++) {
        uint64_t p = qhat * v->limb[i] + carry;
        carry = p / BASE;
        int64_t t = (int64_t)u[i] - (int64_t)(p % BASE) - borrow;
        borrow = t < 0;
        u[i] = (uint32_t)(borrow ? t + BASE : t);
    }
    int64_t t = (int64_t)u[n] - (int64_t)carry - borrow;
    if (t >= 0) {
        u[n] = (uint32_t)t;
        return (uint32_t)qhat;
    }
    // The step went below zero: add v back once.
    u[n] = (uint32_t)(t + BASE);
    uint32_t c = 0;
    for (int i = 0; i < n; i++) {
        uint32_t s = u[i] + v->limb[i] + c;
        c = s >= BASE;
        u[i] = c ? s - BASE : s;
    }
    u[n] = (u[n] + c) % BASE;
    return (uint32_t)(qhat - 1);
}

// q = u / v, v not zero; gives whether a remainder is left. Long division
// with both scaled so that v's top limb is at least half the base, which
// keeps each estimated quotient limb at most one too big after the test.
bool divide(NumWide *q, const NumWide *u, const NumWide *v) {
    int n = v->n, m = u->n - n;
    if (m < 0) {
        q->n = 0;
        return u->n != 0;
    }
    if (n == 1) return divideShort(q, u, v->limb[0]);
    uint32_t scale = BASE / (v->limb[n - 1] + 1);
    NumWide un = *u, vn = *v;
    NumMulSmall(&un, scale);  // leaves limb[u->n] set, 0 or the carry
    NumMulSmall(&vn, scale);
    uint32_t top = vn.limb[n - 1], next = vn.limb[n - 2];
    for (int j = m; j >= 0; j--) {
        uint64_t head = (uint64_t)un.limb[j + n] * BASE + un.limb[j + n - 1];
        uint64_t qhat = head / top, rhat = head % top;
        while (qhat >= BASE || qhat * next > rhat * BASE + un.limb[j + n - 2]) {
            qhat--;
            rhat += top;
            if (rhat >= BASE) break;
        }
        q->limb[j] = divideStep(un.limb + j, &vn, qhat);
    }
    q->n = m + 1;
    NumTrim(q);
    for (int i = 0; i < n; i++)
        if (un.limb[i]) return true;
    return false;
}

// The power of ten of the leading digit; x is not zero.
int topOf(const NumParts *x) { return x->exponent + NumCountDigits(&x->whole) - 1; }

// Both operands unpacked; false, with result null, when either is null.
bool unpackBoth(Number *result, const Number *left, const Number *right, NumParts *a, NumParts *b) {
    if (NumUnpack(left, a) && NumUnpack(right, b)) return true;
    memset(result, 0, sizeof *result);
    return false;
}

void addSigned(Number *result, const Number *left, const Number *right, bool subtracting) {
    NumParts a, b;
    if (!unpackBoth(result, left, right, &a, &b)) return;
    if (subtracting) b.negative = !b.negative;
    if (a.whole.n == 0 || b.whole.n == 0) {
        NumParts *only = a.whole.n ? &a : &b;
        NumPack(result, only->negative, &only->whole, only->exponent);
        return;
    }
    int topA = topOf(&a), topB = topOf(&b);
    NumParts *hi = topA >= topB ? &a : &b, *lo = hi == &a ? &b : &a;
    int topHi = topA >= topB ? topA : topB, topLo = topA >= topB ? topB : topA;
    // An addend entirely below the digit that decides the rounding of the
    // sum changes only which side of the larger one the sum falls: a single
    // unit one place further down does the same.
    if (topLo < topHi - (SUM_REACH - 1)) {
        lo->whole.n = 1;
        lo->whole.limb[0] = 1;
        lo->exponent = topHi - SUM_REACH;
    }
    int low = a.exponent < b.exponent ? a.exponent : b.exponent;
    NumShiftUp(&hi->whole, hi->exponent - low);
    NumShiftUp(&lo->whole, lo->exponent - low);
    NumWide *x = &hi->whole, *y = &lo->whole;
    bool negative = hi->negative;
    if (hi->negative == lo->negative) {
        if (x->n >= y->n) add(x, x, y);
        else add(x, y, x);
    } else if (compare(x, y) >= 0) {
        subtract(x, x, y);
    } else {
        subtract(x, y, x);
        negative = lo->negative;
    }
    NumPack(result, negative, x, low);
}

}  // namespace

extern "C" {

// A null operand gives the null value, in each of the four.
ZEMAPI int ZEMCALL SvcNumAdd(Number *result, const Number *left, const Number *right) {
    if (!NumShortOp(result, '+', left, right)) addSigned(result, left, right, false);
    return 1;
}

ZEMAPI int ZEMCALL SvcNumSub(Number *result, const Number *left, const Number *right) {
    if (!NumShortOp(result, '-', left, right)) addSigned(result, left, right, true);
    return 1;
}

ZEMAPI int ZEMCALL SvcNumMul(Number *result, const Number *left, const Number *right) {
    if (NumShortOp(result, '*', left, right)) return 1;
    NumParts a, b;
    if (!unpackBoth(result, left, right, &a, &b)) return 1;
    NumWide r;
    multiply(&r, &a.whole, &b.whole);
    NumPack(result, a.negative != b.negative, &r, (long long)a.exponent + b.exponent);
    return 1;
}

// Correctly rounded. A zero divisor gives the null value.
ZEMAPI int ZEMCALL SvcNumDiv(Number *result, const Number *left, const Number *right) {
    if (NumShortOp(result, '/', left, right)) return 1;
    NumParts a, b;
    if (!unpackBoth(result, left, right, &a, &b)) return 1;
    if (b.whole.n == 0) {
        memset(result, 0, sizeof *result);
        return 1;
    }
    if (a.whole.n == 0) {
        NumPack(result, 0, &a.whole, 0);
        return 1;
    }
    // Scale the dividend so that the quotient has at least one digit more
    // than the precision; the remainder then only says whether anything is
    // left below it, which a unit one place further down stands for.
    int scale = NUM_PRECISION + 1 + NumCountDigits(&b.whole) - NumCountDigits(&a.whole);
    if (scale < 0) scale = 0;
    NumShiftUp(&a.whole, scale);
    NumWide q;
    long long exponent = (long long)a.exponent - scale - b.exponent;
    if (divide(&q, &a.whole, &b.whole)) {
        NumShiftUp(&q, 1);
        q.limb[0] |= 1;
        exponent--;
    }
    NumPack(result, a.negative != b.negative, &q, exponent);
    return 1;
}

}  // extern "C"
