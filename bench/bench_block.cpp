// The context block: how long the size and the write take, and how large
// the block is, for contexts of 100 to 10,000 input items with as many
// stored expressions.
#include <benchmark/benchmark.h>
#include <stdio.h>

#include <vector>

#include "bench_support.h"

namespace {

// n input items, each with a function name, and n expressions using them.
HEC makeContext(int n) {
    HEC ec = ZEMCreateEC(0, 0, 0, 0);
    ZEMSetOperatorCallback(ec, 4, 0, "JoinNumbers");
    char name[65], function[32], text[64];
    for (int i = 0; i < n; i++) {
        snprintf(function, sizeof function, "ValueOfItem%d", i);
        snprintf(name, sizeof name, "Item%d", i);
        BenchItem(ec, ZEM_ITEM_INPUT, ZEM_TYPE_NUMBER, name, 0, nullptr, 0, 0, function);
    }
    uint16_t type;
    for (int i = 0; i < n; i++) {
        snprintf(name, sizeof name, "Calc%d", i);
        snprintf(text, sizeof text, "Item%d * 2 + Item%d / 4", i, (i * 7) % n);
        ZEMParseString(ec, text, name, 0, &type);
    }
    return ec;
}

void BM_BlockSize(benchmark::State &state) {
    HEC ec = makeContext((int)state.range(0));
    uint32_t size = 0;
    for (auto _ : state) {
        size = ZEMGetECBlockSize(ec, 1);
        benchmark::DoNotOptimize(size);
    }
    state.counters["block_bytes"] = size;
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_BlockSize)->Arg(100)->Arg(1000)->Arg(10000);

void BM_BlockWrite(benchmark::State &state) {
    HEC ec = makeContext((int)state.range(0));
    uint32_t size = ZEMGetECBlockSize(ec, 1);
    std::vector<unsigned char> buffer(size);
    for (auto _ : state) {
        uint32_t written = ZEMGetECBlock(ec, (int32_t)size, buffer.data());
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.counters["block_bytes"] = size;
    state.SetBytesProcessed(state.iterations() * (int64_t)size);
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_BlockWrite)->Arg(100)->Arg(1000)->Arg(10000);

// The host's whole save: ask the size, allocate, write.
void BM_BlockSave(benchmark::State &state) {
    HEC ec = makeContext((int)state.range(0));
    for (auto _ : state) {
        uint32_t size = ZEMGetECBlockSize(ec, 1);
        std::vector<unsigned char> buffer(size);
        benchmark::DoNotOptimize(ZEMGetECBlock(ec, (int32_t)size, buffer.data()));
    }
    ZEMDestroyEC(ec);
}
BENCHMARK(BM_BlockSave)->Arg(100)->Arg(1000)->Arg(10000);

}  // namespace
