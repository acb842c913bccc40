// The evaluator: evaluations per second of everyday formulas whose input
// items come through host callbacks (numbers, dates, strings, a named
// formula, built-in calls), and the cost per node of a chain of additions.
// The arithmetic formulas also run as plain compiled C++ on doubles, and the
// run ends with the ratio of the two: what parsing once, fetching inputs
// through callbacks and exact decimal arithmetic cost over native code.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <string>

#include "eval/convert.h"
#include "bench_support.h"

namespace {

// ---- The host: four input items with fixed values.

Number gPrice, gQty, gRate;
DateTime gDue;

int ZEMCALL inputValue(HEC, HEXP, int32_t size, void **value, const char *name) {
    switch (name[0]) {
    case 'P': memcpy(*value, &gPrice, sizeof gPrice); return 1;
    case 'Q': memcpy(*value, &gQty, sizeof gQty); return 1;
    case 'R': memcpy(*value, &gRate, sizeof gRate); return 1;
    case 'D': memcpy(*value, &gDue, sizeof gDue); return 1;
    default: return FUNStrVarResult(value, size, "Yamada Hanako");
    }
}

void addInput(HEC ec, const char *name, int type) {
    BenchItem(ec, ZEM_ITEM_INPUT, type, name, 0, nullptr, 0, 0, nullptr, (ZEMProc)inputValue);
}

struct Host {
    HEC ec;
    Host() {
        SvcNumFromText(&gPrice, "12.50");
        SvcNumFromText(&gQty, "3");
        SvcNumFromText(&gRate, "0.08");
        TextToDate(&gDue, "1/31/2001");
        ec = ZEMCreateEC(0, 0, 0, 0);
        FUNDefineFunctions(ec);
        addInput(ec, "Price", ZEM_TYPE_NUMBER);
        addInput(ec, "Qty", ZEM_TYPE_NUMBER);
        addInput(ec, "Rate", ZEM_TYPE_NUMBER);
        addInput(ec, "Due", ZEM_TYPE_DATETIME);
        addInput(ec, "Name", ZEM_TYPE_STRING);
        parse("Price * Qty", "Total");
    }
    ~Host() { ZEMDestroyEC(ec); }
    HEXP parse(const char *text, const char *name = 0) {
        ExpError report = {};
        uint16_t type = 0;
        return ZEMParseString(ec, text, name, &report, &type);
    }
};

Host &host() {
    static Host h;
    return h;
}

void evaluate(benchmark::State &state, const char *text) {
    HEXP exp = host().parse(text);
    if (!exp) {
        state.SkipWithError("the formula does not parse");
        return;
    }
    char buffer[256];
    for (auto _ : state) {
        if (!ZEMEvaluateExpression(host().ec, exp, sizeof buffer, buffer)) {
            state.SkipWithError("no value");
            break;
        }
        benchmark::DoNotOptimize(buffer);
    }
    state.SetItemsProcessed(state.iterations());
    ZEMDestroyEXP(host().ec, exp);
}

// ---- Formulas both engines can say: arithmetic on variables.

const char kArithmetic[] = "Price * Qty * (1 + Rate) - Price / 7";
// A literal and three input items, each fetched through its callback.
const char kThreeInputs[] = "Price * 1.08 + Qty - Rate / 2";

// A chain of n additions of one variable: 2n + 1 nodes.
std::string chain(int n) {
    std::string text = "Price";
    for (int i = 0; i < n; i++) text += " + Price";
    return text;
}

void BM_Zem_Arithmetic(benchmark::State &s) { evaluate(s, kArithmetic); }
void BM_Zem_ThreeInputs(benchmark::State &s) { evaluate(s, kThreeInputs); }
void BM_Zem_Chain(benchmark::State &s) {
    evaluate(s, chain((int)s.range(0)).c_str());
    s.SetItemsProcessed(s.iterations() * (2 * s.range(0) + 1));  // nodes per second
}

// ---- Formulas of this engine alone.

void BM_Zem_Named(benchmark::State &s) { evaluate(s, "Total() * (1 + Rate)"); }
void BM_Zem_DateStep(benchmark::State &s) { evaluate(s, "Due + 1 MONTH"); }
void BM_Zem_DateDifference(benchmark::State &s) { evaluate(s, "Due - 1/1/2001"); }
void BM_Zem_Concatenation(benchmark::State &s) { evaluate(s, "'Dear ' || Name || ', thank you'"); }
void BM_Zem_BuiltinNumber(benchmark::State &s) { evaluate(s, "NumberRound(Price / 7, 2)"); }
void BM_Zem_BuiltinString(benchmark::State &s) {
    evaluate(s, "StrUpper(StrLeft(Name, 6)) || NumberToStr(Total(), 2)");
}
void BM_Zem_BuiltinDate(benchmark::State &s) { evaluate(s, "DateToStr(DateMonthEnd(Due + 1 MONTH))"); }

BENCHMARK(BM_Zem_Arithmetic);
BENCHMARK(BM_Zem_ThreeInputs);
BENCHMARK(BM_Zem_Chain)->Arg(1)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(BM_Zem_Named);
BENCHMARK(BM_Zem_DateStep);
BENCHMARK(BM_Zem_DateDifference);
BENCHMARK(BM_Zem_Concatenation);
BENCHMARK(BM_Zem_BuiltinNumber);
BENCHMARK(BM_Zem_BuiltinString);
BENCHMARK(BM_Zem_BuiltinDate);

// The same arithmetic as compiled C++ on doubles, the inputs read through
// volatile so that nothing is folded away.
volatile double gNativePrice = 12.5, gNativeQty = 3, gNativeRate = 0.08;

void BM_Native_Arithmetic(benchmark::State &state) {
    for (auto _ : state) {
        double price = gNativePrice, qty = gNativeQty, rate = gNativeRate;
        benchmark::DoNotOptimize(price * qty * (1 + rate) - price / 7);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Native_ThreeInputs(benchmark::State &state) {
    for (auto _ : state) {
        double price = gNativePrice, qty = gNativeQty, rate = gNativeRate;
        benchmark::DoNotOptimize(price * 1.08 + qty - rate / 2);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Native_Chain(benchmark::State &state) {
    for (auto _ : state) {
        double sum = gNativePrice;
        for (long i = 0; i < state.range(0); i++) sum += gNativePrice;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * (2 * state.range(0) + 1));
}

BENCHMARK(BM_Native_Arithmetic);
BENCHMARK(BM_Native_ThreeInputs);
BENCHMARK(BM_Native_Chain)->Arg(1)->Arg(8)->Arg(64)->Arg(512);

// Prints as usual, and at the end the time of each BM_Zem_ run over the
// native run of the same name.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            // With repetitions only the median stands for a benchmark.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            times_[run.run_name.str()] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const auto &[name, time] : times_) {
            if (name.rfind("BM_Zem_", 0) != 0) continue;
            auto other = times_.find("BM_Native_" + name.substr(7));
            if (other == times_.end() || other->second <= 0) continue;
            printf("%-28s %8.1f times the time of compiled C++\n", name.c_str() + 7,
                   time / other->second);
        }
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
