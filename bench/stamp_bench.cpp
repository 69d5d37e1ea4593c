// The division of long lines of a stamp: as it is done, and unit by unit as it is defined. A line of 2,000
// characters in both, and longer ones to see that the time grows with the line and not with its square.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "quzo/actions/stamp_line_limit.h"
#include "tests/library/stamp_line_reference.h"

namespace quzo::bench {
namespace {

constexpr int kLimit = 990; // bytes, the built-in one

std::string lineOf(std::int64_t characters) {
    static constexpr const char* kCharacters[] = {"a", "\u00E9", "b", "\u3042", " "};
    std::string line;
    for (std::int64_t i = 0; i < characters; ++i) {
        line += kCharacters[i % 5];
    }
    return line;
}

void divideFast(benchmark::State& state) {
    const std::string line = lineOf(state.range(0));
    for (auto _ : state) {
        std::string text = line;
        benchmark::DoNotOptimize(divideLongLines(text, "utf-8", kLimit));
    }
    state.SetComplexityN(state.range(0));
}

void divideUnitByUnit(benchmark::State& state) {
    const std::string line = lineOf(state.range(0));
    for (auto _ : state) {
        std::string text = line;
        std::vector<std::string> log;
        benchmark::DoNotOptimize(test::divideUnitByUnit(text, "utf-8", kLimit, log));
    }
}

BENCHMARK(divideFast)->Arg(2000)->Arg(20000)->Arg(200000)->Complexity();
BENCHMARK(divideUnitByUnit)->Arg(2000);

} // namespace
} // namespace quzo::bench

BENCHMARK_MAIN();
