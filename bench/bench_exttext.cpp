// Extended text: a formula that inlines a chain of 50 named formulas, and an
// everyday formula with an escaped call and a date literal.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>

#include <vector>

#include "bench_support.h"

namespace {

HEC makeContext() {
    HEC ec = ZEMCreateEC(0, 0, 0, 0);
    BenchItem(ec, ZEM_ITEM_INPUT, ZEM_TYPE_NUMBER, "x");
    BenchItem(ec, ZEM_ITEM_INPUT, ZEM_TYPE_DATETIME, "OrderDate");
    static const int any[1] = {ZEM_TYPE_ANY};
    BenchItem(ec, ZEM_ITEM_FUNCTION, ZEM_TYPE_ANY, "Ucase", 1, any, 1, ZEM_FN_ESCAPED);
    ZEMSetDateConvert(ec, "{d '%s'}", "{ts '%s'}", "{t '%s'}", 0x0002);
    ZEMSetDatePicture(ec, "yyyy-mm-dd", "yyyy-mm-dd HH:nn:ss", "HH:nn:ss");
    return ec;
}

// F1 = 1 + x, F2 = F1() + 1, ... F50 = F49() + 1.
HEXP makeChain(HEC ec) {
    uint16_t type;
    HEXP last = ZEMParseString(ec, "1 + x", "F1", 0, &type);
    char name[16], text[32];
    for (int i = 2; i <= 50; i++) {
        snprintf(name, sizeof name, "F%d", i);
        snprintf(text, sizeof text, "F%d() + 1", i - 1);
        last = ZEMParseString(ec, text, name, 0, &type);
    }
    return last;
}

void render(benchmark::State &state, HEC ec, HEXP exp) {
    int32_t length = ZEMGetExtendedTextLength(ec, exp, 1);
    std::vector<char> buffer((size_t)length + 1);
    int32_t written = 0;
    for (auto _ : state) {
        length = ZEMGetExtendedTextLength(ec, exp, 1);
        written = ZEMGetExtendedText(ec, exp, length + 1, buffer.data(), 1);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.counters["bytes"] = written + 1;
    state.SetBytesProcessed((int64_t)state.iterations() * (written + 1));
}

void BM_InlinedChainOf50(benchmark::State &state) {
    HEC ec = makeContext();
    HEXP top = makeChain(ec);
    render(state, ec, top);
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_InlinedChainOf50);

void BM_EverydayFormula(benchmark::State &state) {
    HEC ec = makeContext();
    uint16_t type;
    HEXP exp = ZEMParseString(ec, "Ucase(OrderDate - 1/31/2001) * 2 + x", 0, 0, &type);
    render(state, ec, exp);
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_EverydayFormula);

}  // namespace
