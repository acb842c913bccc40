// Parsing: parses per second on realistic formulas and long texts, and how
// the cost grows with the number of items and stored expressions.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "bench_support.h"

namespace {

// Functions take a String and then Numbers.
void addItem(HEC ec, int kind, int type, const char *name, int params = 0) {
    static const int types[4] = {2, 0, 0, 0};
    BenchItem(ec, kind, type, name, params, types);
}

// A context with the items the mix names, plus `extra` filler items and
// stored expressions that every lookup walks past.
HEC makeContext(int extra) {
    HEC ec = ZEMCreateEC(0, 0, 0, ECFlagRangesAndSets);
    char name[32];
    uint16_t type;
    for (int i = 0; i < extra; i++) {
        snprintf(name, sizeof(name), "Filler%d", i);
        addItem(ec, ZEM_ITEM_INPUT, 0, name);
        snprintf(name, sizeof(name), "Stored%d", i);
        ZEMParseString(ec, "1", name, 0, &type);
    }
    addItem(ec, ZEM_ITEM_INPUT, 0, "Price");
    addItem(ec, ZEM_ITEM_INPUT, 0, "Quantity");
    addItem(ec, ZEM_ITEM_INPUT, 2, "Customer");
    addItem(ec, ZEM_ITEM_INPUT, 1, "OrderDate");
    addItem(ec, ZEM_ITEM_FUNCTION, 2, "StrLeft", 2);
    addItem(ec, ZEM_ITEM_FUNCTION, 0, "NumberRound", 2);
    ZEMParseString(ec, "Price * Quantity", "Total", 0, &type);
    return ec;
}

const char *const kMix[] = {
    "Price * Quantity + 12.50",
    "NumberRound(Total() * 1.08, 2)",
    "StrLeft(Customer, 3) || ' / ' || 'order'",
    "OrderDate + 30 DAYS",
    "OrderDate - 1/31/2001",
    "(Price - 2) * (Quantity + 1) / 4",
    "Jan 1, 2000 12:30 PM + 1 MONTH",
};

void parseMix(benchmark::State &state, HEC ec) {
    uint16_t type;
    size_t bytes = 0;
    for (auto _ : state) {
        for (const char *text : kMix) {
            HEXP e = ZEMParseString(ec, text, "Bench", 0, &type);
            ZEMDestroyEXP(ec, e);
            bytes += strlen(text);
        }
    }
    state.SetItemsProcessed(state.iterations() * (sizeof(kMix) / sizeof(kMix[0])));
    state.SetBytesProcessed((int64_t)bytes);
}

void BM_ParseMix(benchmark::State &state) {
    HEC ec = makeContext(0);
    parseMix(state, ec);
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_ParseMix);

void BM_ParseMixInLargeContext(benchmark::State &state) {
    HEC ec = makeContext((int)state.range(0));
    parseMix(state, ec);
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_ParseMixInLargeContext)->Arg(100)->Arg(1000)->Arg(10000);

// One short formula over three input items that come last in a context of
// `range` items: the cost of finding names as the context grows.
void BM_ParseAmongItems(benchmark::State &state) {
    HEC ec = ZEMCreateEC(0, 0, 0, 0);
    char name[32];
    for (int i = 3; i < state.range(0); i++) {
        snprintf(name, sizeof(name), "Filler%d", i);
        addItem(ec, ZEM_ITEM_INPUT, 0, name);
    }
    for (const char *last : {"a", "b", "c"}) addItem(ec, ZEM_ITEM_INPUT, 0, last);
    uint16_t type;
    for (auto _ : state) {
        HEXP e = ZEMParseString(ec, "a * 1.08 + b - c / 2", "Bench", 0, &type);
        ZEMDestroyEXP(ec, e);
    }
    state.SetItemsProcessed(state.iterations());
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_ParseAmongItems)->Arg(3)->Arg(10000);

void BM_ParseLongText(benchmark::State &state) {
    HEC ec = makeContext(0);
    std::string text = "Price";
    while ((long)text.size() < state.range(0)) text += " + Price * 2";
    uint16_t type;
    for (auto _ : state) {
        HEXP e = ZEMParseString(ec, text.c_str(), "Long", 0, &type);
        ZEMDestroyEXP(ec, e);
    }
    state.SetBytesProcessed(state.iterations() * (int64_t)text.size());
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_ParseLongText)->Arg(1000)->Arg(10000);

}  // namespace
