// The tokeniser alone: tokens per second over everyday formulas (operators,
// calls, dates, strings, names of other formulas), over one formula of
// 100 KB, and the time of single long tokens near the length limit.
#include <benchmark/benchmark.h>

#include <string>

#include "context/ec.h"
#include "context/startup.h"
#include "language/parsestate.h"
#include "services/services.h"

namespace {

bool carriesValue(int token) {
    switch (token) {
    case TokNumber: case TokName: case TokFunction: case TokConstant:
    case TokString: case TokDate:
        return true;
    default:
        return false;
    }
}

// Cuts the whole text into tokens, dropping their values; gives the count.
long tokenise(HEC ec, const char *text) {
    LockGuard guard(&gParserLock);
    StartParse(ec, text, 0);
    long count = 0;
    for (int token; (token = NextToken()) != TokEnd; count++) {
        if (carriesValue(token)) SvcFree(gParse.tokenValue);
        gParse.tokenValue = nullptr;
    }
    return count;
}

const char *const FORMULAS[] = {
    "Price * Quantity * (1 + TaxRate / 100)",
    "IF(Total > 1000, Total * 0.95, Total)",
    "StrLeft(CustomerName, 10) || ' (' || Region || ')'",
    "DateAddDay(OrderDate, 30) - 1/15/2024",
    "Due + 3 DAYS",
    "NumberRound(Net.Amount * 1.08, 2) + Shipping",
    "'Invoice ' || StrTrim(InvoiceNo) || ' of ' || 1 Jan 2024",
    "(Sales2023 - Sales2022) / Sales2022 * 100",
    "StartTime + 1:30 PM - 12:00",
    "SubTotal + Discount - @NOW",
};
enum { FORMULA_COUNT = sizeof FORMULAS / sizeof FORMULAS[0] };

struct Context {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ~Context() { ZEMDestroyEC(ec); }
};

void BM_EverydayFormulas(benchmark::State &state) {
    Context ctx;
    long tokens = 0;
    int i = 0;
    for (auto _ : state) {
        tokens += tokenise(ctx.ec, FORMULAS[i]);
        i = (i + 1) % FORMULA_COUNT;
    }
    state.counters["tokens/s"] = benchmark::Counter((double)tokens, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_EverydayFormulas);

// About 100 KB of the everyday formulas joined by "+".
std::string longFormula() {
    std::string text;
    for (int i = 0; text.size() < 100 * 1024; i = (i + 1) % FORMULA_COUNT) {
        text += FORMULAS[i];
        text += " +\n";
    }
    return text + "0";
}

void BM_LongFormula(benchmark::State &state) {
    Context ctx;
    std::string text = longFormula();
    long tokens = 0;
    for (auto _ : state) tokens += tokenise(ctx.ec, text.c_str());
    state.counters["tokens/s"] = benchmark::Counter((double)tokens, benchmark::Counter::kIsRate);
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)text.size());
}
BENCHMARK(BM_LongFormula)->Unit(benchmark::kMillisecond);

// One token of the longest length that passes, then "+1".
void runLongToken(benchmark::State &state, const std::string &text) {
    Context ctx;
    for (auto _ : state) benchmark::DoNotOptimize(tokenise(ctx.ec, text.c_str()));
}

void BM_Number2047Digits(benchmark::State &state) { runLongToken(state, std::string(2047, '7') + "+1"); }
BENCHMARK(BM_Number2047Digits)->Unit(benchmark::kMicrosecond);

void BM_String2047Bytes(benchmark::State &state) {
    runLongToken(state, "'" + std::string(2045, 'x') + "'+1");
}
BENCHMARK(BM_String2047Bytes)->Unit(benchmark::kMicrosecond);

void BM_Name2047Bytes(benchmark::State &state) { runLongToken(state, std::string(2047, 'n') + "+1"); }
BENCHMARK(BM_Name2047Bytes)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
