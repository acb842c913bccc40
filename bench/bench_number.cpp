// The decimal Number services: arithmetic on everyday values (10 to 20
// digits), on 34-digit values (the ones bench/py_decimal.py times with
// Python's decimal module) and on full 40-digit values, reading literals,
// and decoding a value back to text.
#include <benchmark/benchmark.h>
#include <string.h>

#include "services/values.h"

namespace {

Number num(const char *text) {
    Number v;
    SvcNumFromText(&v, text);
    return v;
}

// Everyday amounts and full-precision values, a few of each so that the
// loop is not one pair over and over.
const char *const SHORT[] = {"12345678.90", "-98765.4321", "1234567890.123456", "0.000123456789",
                             "7654321.0987654321", "-3141592653.58979"};
const char *const LONG[] = {"1234567890.123456789012345678901234567891", "-0.9876543210987654321098765432109876543219",
                            "3.141592653589793238462643383279502884197", "2718281828459045235360287471352662497.757",
                            "-1.414213562373095048801688724209698078570", "0.5772156649015328606065120900824024310422"};
// Keep in step with OPERANDS in bench/py_decimal.py.
const char *const MID[] = {"1234567890.123456789012345678901234", "-0.9876543210987654321098765432109876",
                           "3.141592653589793238462643383279503", "271828182845904523536028747135266.2",
                           "-1.414213562373095048801688724209698", "0.5772156649015328606065120900824024"};
enum { COUNT = sizeof SHORT / sizeof SHORT[0] };

template <typename Op>
void runOp(benchmark::State &state, const char *const *texts, Op op) {
    Number values[COUNT], result;
    for (int i = 0; i < COUNT; i++) values[i] = num(texts[i]);
    int i = 0;
    for (auto _ : state) {
        op(&result, &values[i], &values[(i + 1) % COUNT]);
        benchmark::DoNotOptimize(result);
        i = (i + 1) % COUNT;
    }
}

void BM_AddShort(benchmark::State &s) { runOp(s, SHORT, SvcNumAdd); }
void BM_AddLong(benchmark::State &s) { runOp(s, LONG, SvcNumAdd); }
void BM_Add34(benchmark::State &s) { runOp(s, MID, SvcNumAdd); }
void BM_Mul34(benchmark::State &s) { runOp(s, MID, SvcNumMul); }
void BM_Div34(benchmark::State &s) { runOp(s, MID, SvcNumDiv); }
void BM_Compare34(benchmark::State &s) {
    runOp(s, MID, [](Number *r, const Number *a, const Number *b) { r->bytes[0] = (unsigned char)SvcNumCompare(a, b); });
}
void BM_MulShort(benchmark::State &s) { runOp(s, SHORT, SvcNumMul); }
void BM_MulLong(benchmark::State &s) { runOp(s, LONG, SvcNumMul); }
void BM_DivShort(benchmark::State &s) { runOp(s, SHORT, SvcNumDiv); }
void BM_DivLong(benchmark::State &s) { runOp(s, LONG, SvcNumDiv); }

void BM_FromText(benchmark::State &state) {
    Number result;
    int i = 0;
    for (auto _ : state) {
        SvcNumFromText(&result, i < COUNT ? SHORT[i] : LONG[i - COUNT]);
        benchmark::DoNotOptimize(result);
        i = (i + 1) % (2 * COUNT);
    }
}

// Plain decimal text of a decoded value.
size_t format(const NumDigits *d, char *out) {
    char *p = out;
    if (d->negative) *p++ = '-';
    int top = d->exponent + d->count - 1;
    if (d->count == 0) {
        *p++ = '0';
    } else if (top < 0) {
        *p++ = '0';
        *p++ = '.';
        for (int i = -1; i > top; i--) *p++ = '0';
        memcpy(p, d->digits, d->count);
        p += d->count;
    } else {
        for (int pos = top, i = 0; pos >= 0 || i < d->count; pos--, i++) {
            if (pos == -1) *p++ = '.';
            *p++ = i < d->count ? d->digits[i] : '0';
        }
    }
    *p = 0;
    return (size_t)(p - out);
}

void BM_DecodeToText(benchmark::State &state) {
    Number values[2 * COUNT];
    for (int i = 0; i < COUNT; i++) {
        values[i] = num(SHORT[i]);
        values[COUNT + i] = num(LONG[i]);
    }
    char text[400];
    int i = 0;
    for (auto _ : state) {
        NumDigits d;
        NumDecode(&values[i], &d);
        benchmark::DoNotOptimize(format(&d, text));
        i = (i + 1) % (2 * COUNT);
    }
}

}  // namespace

BENCHMARK(BM_AddShort);
BENCHMARK(BM_AddLong);
BENCHMARK(BM_Add34);
BENCHMARK(BM_Mul34);
BENCHMARK(BM_Div34);
BENCHMARK(BM_Compare34);
BENCHMARK(BM_MulShort);
BENCHMARK(BM_MulLong);
BENCHMARK(BM_DivShort);
BENCHMARK(BM_DivLong);
BENCHMARK(BM_FromText);
BENCHMARK(BM_DecodeToText);
