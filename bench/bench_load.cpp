// Loading a context block against parsing the same texts directly, for
// contexts of 100 to 10,000 input items and as many named formulas. The
// formulas name items and each other; every tenth names a formula stored
// after it, so that the reader postpones it and takes it up again in a
// later pass. Context creation and destruction are not timed.
#include <benchmark/benchmark.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "bench_support.h"

namespace {

void ZEMCALL dummy(void) {}
ZEMProc ZEMCALL resolve(const char *) { return dummy; }

HEC newContext() {
    HEC ec = ZEMCreateEC(0, resolve, 0, 0);
    FUNDefineFunctions(ec);
    return ec;
}

void addItems(HEC ec, int n) {
    char name[32], function[32];
    for (int i = 0; i < n; i++) {
        snprintf(name, sizeof name, "Item%d", i);
        snprintf(function, sizeof function, "ValueOfItem%d", i);
        BenchItem(ec, ZEM_ITEM_INPUT, ZEM_TYPE_NUMBER, name, 0, nullptr, 0, 0, function);
    }
}

std::string formulaName(int i) { return "Calc" + std::to_string(i); }

// Formula i of n. Within each ten, the first names the sixth, and the third
// to the tenth name the one before them: no circle, one forward reference.
std::string formulaText(int i, int n) {
    std::string text = "Item" + std::to_string(i) + " * 2 + Item" + std::to_string(i * 7 % n);
    if (i % 10 == 0 && i + 5 < n) text += " + " + formulaName(i + 5) + "()";
    else if (i % 10 > 1) text += " - " + formulaName(i - 1) + "()";
    return text;
}

bool namesLater(int i, int n) { return i % 10 == 0 && i + 5 < n; }

// The order in which every formula finds what it names already stored.
std::vector<int> parseOrder(int n) {
    std::vector<int> order;
    for (int i = 0; i < n; i++)
        if (!namesLater(i, n)) order.push_back(i);
    for (int i = 0; i < n; i++)
        if (namesLater(i, n)) order.push_back(i);
    return order;
}

// The block of a context whose store holds the formulas in index order:
// each forward formula is stored as a stand-in first and replaced in place
// once what it names exists.
std::vector<unsigned char> makeBlock(int n) {
    HEC ec = newContext();
    addItems(ec, n);
    std::vector<HEXP> stored(n);
    uint16_t type;
    for (int i = 0; i < n; i++) {
        std::string text = namesLater(i, n) ? "0" : formulaText(i, n);
        stored[i] = ZEMParseString(ec, text.c_str(), formulaName(i).c_str(), 0, &type);
    }
    for (int i = 0; i < n; i++)
        if (namesLater(i, n))
            ZEMParseFormula(ec, stored[i], formulaText(i, n).c_str(), formulaName(i).c_str(), 0,
                            &type);
    std::vector<unsigned char> block(ZEMGetECBlockSize(ec, 1));
    block.resize(ZEMGetECBlock(ec, (int32_t)block.size(), block.data()));
    ZEMDestroyEC(ec);
    return block;
}

// Loads the block into a fresh context per iteration; loadExpressions 0
// times the operator names and input items alone.
void loadBlock(benchmark::State &state, int loadExpressions) {
    int n = (int)state.range(0);
    std::vector<unsigned char> block = makeBlock(n);
    for (auto _ : state) {
        state.PauseTiming();
        HEC ec = newContext();
        state.ResumeTiming();
        int ok = ZEMSetECContents(ec, (int32_t)block.size(), block.data(), loadExpressions, 0);
        state.PauseTiming();
        if (!ok || ZEMGetExpressionCount(ec) != (loadExpressions ? n : 0))
            state.SkipWithError("the block did not load");
        ZEMDestroyEC(ec);
        state.ResumeTiming();
    }
    state.counters["block_bytes"] = (double)block.size();
}

void BM_LoadBlock(benchmark::State &state) { loadBlock(state, 1); }
BENCHMARK(BM_LoadBlock)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_LoadBlockItemsOnly(benchmark::State &state) { loadBlock(state, 0); }
BENCHMARK(BM_LoadBlockItemsOnly)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// The same texts parsed in an order that needs no second pass, into a fresh
// context that already holds the input items.
void BM_ParseTexts(benchmark::State &state) {
    int n = (int)state.range(0);
    std::vector<std::string> texts, names;
    for (int i : parseOrder(n)) {
        texts.push_back(formulaText(i, n));
        names.push_back(formulaName(i));
    }
    uint16_t type;
    for (auto _ : state) {
        state.PauseTiming();
        HEC ec = newContext();
        addItems(ec, n);
        state.ResumeTiming();
        for (int i = 0; i < n; i++)
            ZEMParseString(ec, texts[i].c_str(), names[i].c_str(), 0, &type);
        state.PauseTiming();
        if (ZEMGetExpressionCount(ec) != n) state.SkipWithError("a text did not parse");
        ZEMDestroyEC(ec);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ParseTexts)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
