// Number arithmetic: + - * / exact to 40 significant digits, rounded
// half-even.
//
// Each operation works on the whole coefficients of its operands, in limbs
// of eight decimal digits, and computes the exact result (for division:
// enough quotient digits and whether a remainder is left) with a power of
// ten beside it; NumPack rounds, normalises and checks the range.
#include <string.h>

#include "services/number_bytes.h"

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

enum { WINDOW_LIMBS = NUM_PRECISION / NUM_LIMB_DIGITS };

// r = x * y for operands of one window each, low limb first. The columns
// of products first, each below 10^17; then each column keeps its low limb
// and hands its high part on, twice over, which leaves carries of 0 or 1.
// Splitting every column on its own keeps the divisions out of one long
// chain.
void multiply(NumWide *r, const uint32_t *x, const uint32_t *y) {
    enum { W = WINDOW_LIMBS };
    uint64_t column[2 * W] = {0};
    for (int i = 0; i < W; i++)
        for (int j = 0; j < W; j++) column[i + j] += (uint64_t)x[i] * y[j];
    for (int pass = 0; pass < 2; pass++) {
        uint64_t high = 0;
        for (int k = 0; k < 2 * W; k++) {
            uint64_t next = column[k] / BASE;
            column[k] = column[k] % BASE + high;
            high = next;
        }
    }
    uint32_t carry = 0;
    for (int k = 0; k < 2 * W; k++) {
        uint32_t t = (uint32_t)column[k] + carry;
        carry = t >= BASE;
        r->limb[k] = carry ? t - BASE : t;
    }
    r->n = 2 * W;
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
// As in NumMulSmall each product is split on its own, so only a borrow of
// 0 to 2 runs from limb to limb.
uint32_t divideStep(uint32_t *u, const NumWide *v, uint64_t qhat) {
    int n = v->n;
    int64_t high = 0, borrow = 0;
    for (int i = 0; i < n; i++) {
        uint64_t p = qhat * v->limb[i];
        int64_t t = (int64_t)u[i] - (int64_t)(p % BASE) - high - borrow;
        high = (int64_t)(p / BASE);
        borrow = (t < 0) + (t < -(int64_t)BASE);
        u[i] = (uint32_t)(t + borrow * BASE);
    }
    int64_t t = (int64_t)u[n] - high - borrow;
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

void addWide(Number *result, const Number *left, const Number *right, bool subtracting) {
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

// ---- Sums worked on the digit bytes themselves.

// An operand as its digits in three words, the first the highest, with
// the power of ten of the leading digit.
struct Digits {
    uint64_t word[3];
    int top;
    bool negative;
    bool zero;
};

// False for the null value and for bytes not built here (a nibble above 9,
// a leading zero), which the limbs deal with.
bool readDigits(const Number *value, Digits *d) {
    const unsigned char *b = value->bytes;
    if (b[0] == 0) return false;
    int count = NumReadCount(b);
    if (!NumReadWords(b, count, d->word)) return false;
    d->zero = count == 0;
    d->negative = !d->zero && b[NUM_SIGN_BYTE] != 0;
    d->top = d->zero ? 0 : NumReadExponent(b) + count - 1;
    return d->zero || d->word[0] >> 60 != 0;
}

// The product of two windows, each at least 10^39, rounded into result.
// Its 79 or 80 digits reach the top limb of ten. As in NumPackRound, the
// top six limbs go to NumPackDigits as BCD and the four below only as
// whether any is not zero; here all ten limbs are known to be there, which
// saves NumPackRound's tests, a measurable part of this path.
// Unlike multiply, each column is split once, with the carry from the one
// below: half the divisions, the multiplier being what bounds this path,
// at the cost of a chain. The chain runs in two halves side by side; the
// lower half's carry then goes into the upper, where it takes up to six
// from one limb and at most one from each after that.
void multiplyWindows(Number *result, const Digits *a, const Digits *b) {
    enum { W = WINDOW_LIMBS };
    uint32_t x[W], y[W];
    NumWordsToLimbs(a->word, W, x);
    NumWordsToLimbs(b->word, W, y);
    uint64_t column[2 * W - 1] = {0};
    for (int i = 0; i < W; i++)
        for (int j = 0; j < W; j++) column[i + j] += (uint64_t)x[i] * y[j];
    uint32_t limb[2 * W];
    uint64_t high = 0, upper = 0;
    for (int k = 0; k < W; k++) {
        uint64_t t = column[k] + high;
        high = t / BASE;
        limb[k] = (uint32_t)(t - high * BASE);
        if (k + W < 2 * W - 1) {
            uint64_t u = column[k + W] + upper;
            upper = u / BASE;
            limb[k + W] = (uint32_t)(u - upper * BASE);
        }
    }
    limb[2 * W - 1] = (uint32_t)upper;
    uint32_t t = limb[W] + (uint32_t)high, carry = t / BASE;
    limb[W] = t - carry * BASE;
    for (int k = W + 1; carry && k < 2 * W; k++) {
        t = limb[k] + carry;
        carry = t >= BASE;
        limb[k] = carry ? t - BASE : t;
    }
    uint64_t words[3];
    for (int j = 0; j < 3; j++)
        words[j] = (uint64_t)NumBcdOf8(limb[2 * W - 1 - 2 * j]) << 32 | NumBcdOf8(limb[2 * W - 2 - 2 * j]);
    bool sticky = (limb[0] | limb[1] | limb[2] | limb[3]) != 0;
    long long last = (long long)a->top + b->top - 2 * (NUM_PRECISION - 1);
    NumPackDigits(result, a->negative != b->negative, words, 3, last + 2 * W * NUM_LIMB_DIGITS - 1, sticky);
}

// The three words shifted down by at nibbles into the six of s.
void place(uint64_t *s, const uint64_t *w, int at) {
    int q = at / 16, shift = 4 * (at % 16);
    for (int j = 0; j < 6; j++) {
        int i = j - q;
        uint64_t high = i >= 0 && i < 3 ? w[i] : 0, low = i >= 1 && i <= 3 ? w[i - 1] : 0;
        s[j] = high >> shift | (shift ? low << (64 - shift) : 0);
    }
}

// One word of a BCD sum with the carry in and out: each nibble is given 6
// beforehand, so that a decimal carry is a binary one, and the nibbles
// that did not carry give it back.
uint64_t addWord(uint64_t a, uint64_t b, unsigned *carry) {
    uint64_t t1 = a + 0x6666666666666666ull;
    uint64_t t2 = t1 + b;
    unsigned out = t2 < t1;
    uint64_t sum = t2 + *carry;
    out |= sum < t2;
    uint64_t carries = ~(sum ^ t1 ^ b) & 0x1111111111111110ull;
    *carry = out;
    return sum - ((carries >> 2) | (carries >> 3)) - (out ? 0 : 0x6000000000000000ull);
}

int compareWords(const uint64_t *x, const uint64_t *y) {
    for (int i = 0; i < 6; i++)
        if (x[i] != y[i]) return x[i] < y[i] ? -1 : 1;
    return 0;
}

// r = x + y, or x - y when x >= y, on six words.
void addWords(uint64_t *r, const uint64_t *x, const uint64_t *y, bool subtracting) {
    unsigned carry = subtracting;
    for (int i = 5; i >= 0; i--) r[i] = addWord(x[i], subtracting ? NUM_NINES - y[i] : y[i], &carry);
}

// Both operands placed below a spare digit for the carry: 42 digits apart
// at the most and 40 each, so within 83 digits.
void addSigned(Number *result, const Number *left, const Number *right, bool subtracting) {
    Digits a, b;
    if (!readDigits(left, &a) || !readDigits(right, &b)) {
        addWide(result, left, right, subtracting);
        return;
    }
    if (subtracting) b.negative = !b.negative;
    if (a.zero || b.zero) {
        const Digits *only = a.zero ? &b : &a;
        NumPackDigits(result, only->negative, only->word, 3, only->top, false);
        return;
    }
    Digits *hi = a.top >= b.top ? &a : &b, *lo = hi == &a ? &b : &a;
    int gap = hi->top - lo->top;
    if (gap > SUM_REACH - 1) {
        lo->word[0] = 1ull << 60;
        lo->word[1] = lo->word[2] = 0;
        gap = SUM_REACH;
    }
    uint64_t x[6], y[6], r[6];
    place(x, hi->word, 1);
    place(y, lo->word, 1 + gap);
    bool negative = hi->negative;
    if (hi->negative == lo->negative) {
        addWords(r, x, y, false);
    } else if (compareWords(x, y) >= 0) {
        addWords(r, x, y, true);
    } else {
        addWords(r, y, x, true);
        negative = lo->negative;
    }
    NumPackDigits(result, negative, r, 6, hi->top + 1, false);
}

#ifdef __SIZEOF_INT128__
// ---- Quotients on 64-bit words.
// Both operands as windows of 40 digits, binary numbers of three words
// between 10^39 and 10^40, so that their quotient lies between 0.1 and 10.
// Its digit above the point and then three groups of 16 below it come one
// step each from a binary remainder; the estimate of each group from the
// top 64 bits of the divisor is at most two too big.
typedef unsigned __int128 u128;

const uint64_t E8 = 100000000ull, E16 = E8 * E8;

// The window of a value read by readDigits, low word first.
void windowOf(const Digits *d, uint64_t *w) {
    uint64_t high = NumBcdToLimbs(d->word[0]), mid = NumBcdToLimbs(d->word[1]);
    uint64_t low = NumBcdToLimbs(d->word[2]) >> 32;
    u128 top = ((u128)((high >> 32) * E8 + (uint32_t)high)) * E16 + (mid >> 32) * E8 + (uint32_t)mid;
    u128 x = (u128)(uint64_t)top * E8 + low;
    u128 y = (u128)(uint64_t)(top >> 64) * E8 + (uint64_t)(x >> 64);
    w[0] = (uint64_t)x;
    w[1] = (uint64_t)y;
    w[2] = (uint64_t)(y >> 64);
}

// r = r * factor - q * v with q the whole quotient of r * factor by v,
// which is below 10^16; every number of three words, r < v after. Gives q.
uint64_t divideGroup(uint64_t *r, const uint64_t *v, uint64_t factor, int low) {
    u128 x = (u128)r[0] * factor;
    u128 y = (u128)r[1] * factor + (uint64_t)(x >> 64);
    u128 z = (u128)r[2] * factor + (uint64_t)(y >> 64);
    uint64_t t[3] = {(uint64_t)x, (uint64_t)y, (uint64_t)z};
    // Both cut below the divisor's top 64 bits; low (2 to 5) is the
    // divisor's bit length less 128.
    uint64_t top = v[2] << (64 - low) | v[1] >> low;
    u128 head = (u128)t[2] << (64 - low) | t[1] >> low;
    uint64_t q = (uint64_t)(head / top);
    x = (u128)q * v[0];
    y = (u128)q * v[1] + (uint64_t)(x >> 64);
    z = (u128)q * v[2] + (uint64_t)(y >> 64);
    uint64_t p[3] = {(uint64_t)x, (uint64_t)y, (uint64_t)z};
    unsigned borrow = 0;
    for (int i = 0; i < 3; i++) {
        uint64_t d = t[i] - p[i];
        unsigned b = t[i] < p[i];
        r[i] = d - borrow;
        borrow = b | (d < borrow);
    }
    // Gone below zero: the estimate was too big.
    while (borrow) {
        unsigned carry = 0;
        for (int i = 0; i < 3; i++) {
            uint64_t s = r[i] + v[i];
            unsigned c = s < r[i];
            r[i] = s + carry;
            carry = c | (r[i] < s);
        }
        borrow = !carry;
        q--;
    }
    return q;
}

// False, leaving result alone, for operands the limbs deal with: zero,
// null or not in the form built here.
bool divideWindows(Number *result, const Number *left, const Number *right) {
    Digits a, b;
    if (!readDigits(left, &a) || !readDigits(right, &b) || a.zero || b.zero) return false;
    uint64_t r[3], v[3];
    windowOf(&a, r);
    windowOf(&b, v);
    int low = 64 - __builtin_clzll(v[2]);
    uint64_t words[4];
    words[0] = divideGroup(r, v, 1, low);
    for (int i = 1; i < 4; i++) words[i] = NumBcdOf16(divideGroup(r, v, E16, low));
    bool rest = (r[0] | r[1] | r[2]) != 0;
    // words[0] holds the units of the quotient of the windows.
    NumPackDigits(result, a.negative != b.negative, words, 4, (long long)a.top - b.top + 15, rest);
    return true;
}
#else
bool divideWindows(Number *, const Number *, const Number *) { return false; }
#endif

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
    Digits a, b;
    if (readDigits(left, &a) && readDigits(right, &b)) {
        if (a.zero || b.zero) {
            NumSetZero(result);
            return 1;
        }
        multiplyWindows(result, &a, &b);
        return 1;
    }
    // Operands the digit words do not take: unpacked one by one.
    NumParts p, q;
    if (!unpackBoth(result, left, right, &p, &q)) return 1;
    uint32_t x[WINDOW_LIMBS] = {0}, y[WINDOW_LIMBS] = {0};
    memcpy(x, p.whole.limb, p.whole.n * sizeof x[0]);
    memcpy(y, q.whole.limb, q.whole.n * sizeof y[0]);
    NumWide r;
    multiply(&r, x, y);
    NumPack(result, p.negative != q.negative, &r, (long long)p.exponent + q.exponent);
    return 1;
}

// Correctly rounded. A zero divisor gives the null value.
ZEMAPI int ZEMCALL SvcNumDiv(Number *result, const Number *left, const Number *right) {
    if (NumShortOp(result, '/', left, right)) return 1;
    if (divideWindows(result, left, right)) return 1;
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
    // Scale the dividend by whole limbs, which move without a
    // multiplication, so that the quotient has at least one digit more
    // than the precision; the remainder then only says whether anything is
    // left below it.
    int scale = NUM_PRECISION + 1 + NumCountDigits(&b.whole) - NumCountDigits(&a.whole);
    scale = scale < 0 ? 0 : (scale + NUM_LIMB_DIGITS - 1) / NUM_LIMB_DIGITS * NUM_LIMB_DIGITS;
    NumShiftUp(&a.whole, scale);
    NumWide q;
    long long exponent = (long long)a.exponent - scale - b.exponent;
    bool rest = divide(&q, &a.whole, &b.whole);
    NumPackRound(result, a.negative != b.negative, &q, exponent, rest);
    return 1;
}

}  // extern "C"
