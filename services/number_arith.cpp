// Number arithmetic: + - * / exact to 40 significant digits, rounded
// half-even.
//
// Each operation computes the exact result (for division: enough quotient
// digits and whether a remainder is left) as a whole number in base 10^9
// limbs with a power of ten beside it, and hands the digits to
// NumEncodeDigits, which rounds, normalises and checks the range.
#include <string.h>

#include "services/values.h"

namespace {

enum {
    BASE = 1000000000,
    LIMB_DIGITS = 9,
    // The widest number: an 81-digit sum or dividend and one limb more.
    MAX_LIMBS = 12,
    // Two digits beyond the precision: the one that decides the rounding
    // and one below it, so that a far smaller addend can stand in as a
    // sticky unit there.
    SUM_REACH = NUM_PRECISION + 2,
};

const uint32_t POW10[LIMB_DIGITS] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// A whole number, limb[0] the lowest; n limbs in use, 0 for zero.
struct Wide {
    uint32_t limb[MAX_LIMBS];
    int n;
};

void trim(Wide *w) {
    while (w->n > 0 && w->limb[w->n - 1] == 0) w->n--;
}

void fromDigits(Wide *w, const char *digits, int count) {
    w->n = 0;
    for (int end = count; end > 0; end -= LIMB_DIGITS) {
        int start = end > LIMB_DIGITS ? end - LIMB_DIGITS : 0;
        uint32_t v = 0;
        for (int i = start; i < end; i++) v = v * 10 + (uint32_t)(digits[i] - '0');
        w->limb[w->n++] = v;
    }
    trim(w);
}

// All limbs at nine digits each, leading zeros included; gives the count.
int toDigits(const Wide *w, char *out) {
    int count = 0;
    for (int i = w->n - 1; i >= 0; i--) {
        uint32_t v = w->limb[i];
        for (int k = LIMB_DIGITS - 1; k >= 0; k--) {
            out[count + k] = (char)('0' + v % 10);
            v /= 10;
        }
        count += LIMB_DIGITS;
    }
    return count;
}

void mulSmall(Wide *w, uint32_t factor) {
    uint64_t carry = 0;
    for (int i = 0; i < w->n; i++) {
        uint64_t t = (uint64_t)w->limb[i] * factor + carry;
        w->limb[i] = (uint32_t)(t % BASE);
        carry = t / BASE;
    }
    w->limb[w->n] = (uint32_t)carry;
    if (carry) w->n++;
}

// Multiplies by 10^k.
void shiftUp(Wide *w, int k) {
    if (w->n == 0 || k == 0) return;
    mulSmall(w, POW10[k % LIMB_DIGITS]);
    int whole = k / LIMB_DIGITS;
    memmove(w->limb + whole, w->limb, w->n * sizeof w->limb[0]);
    memset(w->limb, 0, whole * sizeof w->limb[0]);
    w->n += whole;
}

int compare(const Wide *x, const Wide *y) {
    if (x->n != y->n) return x->n < y->n ? -1 : 1;
    for (int i = x->n - 1; i >= 0; i--)
        if (x->limb[i] != y->limb[i]) return x->limb[i] < y->limb[i] ? -1 : 1;
    return 0;
}

void add(Wide *r, const Wide *x, const Wide *y) {
    int n = x->n > y->n ? x->n : y->n;
    uint32_t carry = 0;
    for (int i = 0; i < n; i++) {
        uint32_t t = (i < x->n ? x->limb[i] : 0) + (i < y->n ? y->limb[i] : 0) + carry;
        carry = t >= BASE;
        r->limb[i] = carry ? t - BASE : t;
    }
    r->limb[n] = carry;
    r->n = n + 1;
    trim(r);
}

// r = x - y where x >= y.
void subtract(Wide *r, const Wide *x, const Wide *y) {
    int32_t borrow = 0;
    for (int i = 0; i < x->n; i++) {
        int32_t t = (int32_t)x->limb[i] - (int32_t)(i < y->n ? y->limb[i] : 0) - borrow;
        borrow = t < 0;
        r->limb[i] = (uint32_t)(borrow ? t + BASE : t);
    }
    r->n = x->n;
    trim(r);
}

void multiply(Wide *r, const Wide *x, const Wide *y) {
    int n = x->n + y->n;
    memset(r->limb, 0, n * sizeof r->limb[0]);
    for (int i = 0; i < x->n; i++) {
        uint64_t carry = 0;
        for (int j = 0; j < y->n; j++) {
            uint64_t t = (uint64_t)x->limb[i] * y->limb[j] + r->limb[i + j] + carry;
            r->limb[i + j] = (uint32_t)(t % BASE);
            carry = t / BASE;
        }
        r->limb[i + y->n] = (uint32_t)carry;
    }
    r->n = n;
    trim(r);
}

// q = u / v for v of one limb; gives whether a remainder is left.
bool divideShort(Wide *q, const Wide *u, uint32_t v) {
    uint64_t rest = 0;
    for (int i = u->n - 1; i >= 0; i--) {
        uint64_t t = rest * BASE + u->limb[i];
        q->limb[i] = (uint32_t)(t / v);
        rest = t % v;
    }
    q->n = u->n;
    trim(q);
    return rest != 0;
}

// One step of long division: takes qhat times v from the n+1 limbs of u at
// u[0..n] and gives the quotient limb, corrected when qhat was one too big.
uint32_t divideStep(uint32_t *u, const Wide *v, uint64_t qhat) {
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
bool divide(Wide *q, const Wide *u, const Wide *v) {
    int n = v->n, m = u->n - n;
    if (m < 0) {
        q->n = 0;
        return u->n != 0;
    }
    if (n == 1) return divideShort(q, u, v->limb[0]);
    uint32_t scale = BASE / (v->limb[n - 1] + 1);
    Wide un = *u, vn = *v;
    mulSmall(&un, scale);  // leaves limb[u->n] set, 0 or the carry
    mulSmall(&vn, scale);
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
    trim(q);
    for (int i = 0; i < n; i++)
        if (un.limb[i]) return true;
    return false;
}

// Rounds w * 10^exponent into result; a remainder left over adds a sticky
// digit below the last one.
void encode(Number *result, bool negative, const Wide *w, int exponent, bool remainder) {
    char digits[MAX_LIMBS * LIMB_DIGITS + 1];
    int count = toDigits(w, digits);
    if (remainder) {
        digits[count++] = '1';
        exponent--;
    }
    NumEncodeDigits(result, negative, digits, count, exponent);
}

int topOf(const NumDigits *n) { return n->exponent + n->count - 1; }

// Both operands decoded; false, with result null, when either is null.
bool decodeBoth(Number *result, const Number *left, const Number *right, NumDigits *a, NumDigits *b) {
    if (NumDecode(left, a) && NumDecode(right, b)) return true;
    memset(result, 0, sizeof *result);
    return false;
}

void addSigned(Number *result, const Number *left, const Number *right, bool subtracting) {
    NumDigits a, b;
    if (!decodeBoth(result, left, right, &a, &b)) return;
    if (subtracting) b.negative = !b.negative;
    if (b.count == 0 || a.count == 0) {
        const NumDigits *only = a.count ? &a : &b;
        NumEncodeDigits(result, only->negative, only->digits, only->count, only->exponent);
        return;
    }
    const NumDigits *hi = topOf(&a) >= topOf(&b) ? &a : &b;
    NumDigits *lo = hi == &a ? &b : &a;
    // An addend entirely below the digit that decides the rounding of the
    // sum changes only which side of the larger one the sum falls: a single
    // unit one place further down does the same.
    if (topOf(lo) < topOf(hi) - (SUM_REACH - 1)) {
        lo->count = 1;
        lo->digits[0] = '1';
        lo->exponent = topOf(hi) - SUM_REACH;
    }
    int low = a.exponent < b.exponent ? a.exponent : b.exponent;
    Wide x, y, r;
    fromDigits(&x, hi->digits, hi->count);
    shiftUp(&x, hi->exponent - low);
    fromDigits(&y, lo->digits, lo->count);
    shiftUp(&y, lo->exponent - low);
    bool negative = hi->negative;
    if (hi->negative == lo->negative) {
        add(&r, &x, &y);
    } else if (compare(&x, &y) >= 0) {
        subtract(&r, &x, &y);
    } else {
        subtract(&r, &y, &x);
        negative = lo->negative;
    }
    encode(result, negative, &r, low, false);
}

}  // namespace

extern "C" {

// A null operand gives the null value, in each of the four.
ZEMAPI int ZEMCALL SvcNumAdd(Number *result, const Number *left, const Number *right) {
    addSigned(result, left, right, false);
    return 1;
}

ZEMAPI int ZEMCALL SvcNumSub(Number *result, const Number *left, const Number *right) {
    addSigned(result, left, right, true);
    return 1;
}

ZEMAPI int ZEMCALL SvcNumMul(Number *result, const Number *left, const Number *right) {
    NumDigits a, b;
    if (!decodeBoth(result, left, right, &a, &b)) return 1;
    Wide x, y, r;
    fromDigits(&x, a.digits, a.count);
    fromDigits(&y, b.digits, b.count);
    multiply(&r, &x, &y);
    encode(result, a.negative != b.negative, &r, a.exponent + b.exponent, false);
    return 1;
}

// Correctly rounded. A zero divisor gives the null value.
ZEMAPI int ZEMCALL SvcNumDiv(Number *result, const Number *left, const Number *right) {
    NumDigits a, b;
    if (!decodeBoth(result, left, right, &a, &b)) return 1;
    if (b.count == 0) {
        memset(result, 0, sizeof *result);
        return 1;
    }
    // Scale the dividend so that the quotient has at least one digit more
    // than the precision; the remainder then only says whether anything is
    // left below it.
    int scale = a.count == 0 ? 0 : NUM_PRECISION + 1 + b.count - a.count;
    Wide x, y, q;
    fromDigits(&x, a.digits, a.count);
    shiftUp(&x, scale);
    fromDigits(&y, b.digits, b.count);
    bool remainder = divide(&q, &x, &y);
    encode(result, a.negative != b.negative, &q, a.exponent - scale - b.exponent, remainder);
    return 1;
}

}  // extern "C"
