// The kernels of one binned predictor: its order, a tree per kind of response, and the steps after
// the tree. Items per second are cases; 1e9 / items per second is ns per case.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "workbench/stats/crosstab.h"
#include "workbench/stats/descriptives.h"
#include "workbench/stats/tree.h"

namespace velmora::stats {
namespace {

double Uniform(std::uint64_t& state) {
  state = state * 6364136223846793005u + 1442695040888963407u;
  return (static_cast<double>(state >> 11) + 0.5) * 0x1p-53;
}

enum Shape { kBell, kMoney, kYears };

struct Data {
  std::vector<double> x, flag, amount, kind;

  Data(std::size_t count, int shape) {
    std::uint64_t state = 12345;
    for (std::size_t i = 0; i < count; ++i) {
      const double z = Uniform(state) + Uniform(state) + Uniform(state) + Uniform(state) - 2;
      x.push_back(shape == kBell    ? z
                  : shape == kMoney ? std::floor(1e5 * std::exp(2 * z)) / 100
                                    : std::floor(45 + 20 * z));
      const double signal = z + 3 * Uniform(state);
      flag.push_back(signal > 2.6 ? 1 : 0);
      amount.push_back(50 + 10 * signal);
      kind.push_back(1 + std::floor(5 * Uniform(state)));
    }
  }
  TreeResponse Response(int classes) const {
    if (classes == 0) return MakeContinuousResponse(amount, 1.7e308);
    return classes == 2 ? MakeClassResponse(flag, std::vector<double>{0, 1})
                        : MakeClassResponse(kind, std::vector<double>{1, 2, 3, 4, 5});
  }
};

void Order(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
  SortScratch scratch;
  SortedOrder order;
  for (auto _ : state) {
    SortColumn(data.x, 1.7e308, {}, scratch, order);
    benchmark::DoNotOptimize(order.cases.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Order)->ArgsProduct({{100000, 1000000}, {kBell, kMoney, kYears}})->ArgNames({"cases", "shape"});

// classes 0: a continuous response.
void GrowOverOrder(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)), kBell);
  const TreeResponse response = data.Response(static_cast<int>(state.range(1)));
  SortScratch sortScratch;
  SortedOrder order;
  SortColumn(data.x, 1.7e308, {}, sortScratch, order);
  TreeScratch scratch;
  TreeOptions options;
  options.leastCasesToSplit = options.leastCasesInChild = state.range(0) / 20;
  options.prune.enabled = state.range(2) != 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(GrowTree(response, data.x, order, PredictorKind::kContinuous, options, scratch));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(GrowOverOrder)
    ->ArgsProduct({{100000, 1000000}, {2, 0, 5}, {0, 1}})
    ->ArgNames({"cases", "classes", "prune"});

void CrosstabOfRanges(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)), kYears);
  SortScratch scratch;
  SortedOrder order;
  SortColumn(data.x, 1.7e308, {}, scratch, order);
  std::vector<CodedRange> rows;
  for (std::size_t d = 0; d < order.DistinctCount(); ++d)
    rows.push_back({static_cast<std::size_t>(order.starts[d]), static_cast<std::size_t>(order.starts[d + 1]),
                    order.Value(data.x, d)});
  const TreeResponse response = data.Response(2);
  const ClassColumns columns{{0, 1}, {0, 1}};
  for (auto _ : state)
    benchmark::DoNotOptimize(
        TestIndependence(CountClasses(rows, order.cases, response.classOf, columns, {})).chiSquare);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(CrosstabOfRanges)->Arg(100000);

void BreakDownByRanges(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)), kYears);
  std::vector<std::size_t> ends;
  for (std::size_t level = 1; level <= 15; ++level) ends.push_back(data.amount.size() * level / 15);
  SummaryOptions options;
  options.quartiles = state.range(1) != 0;
  std::vector<double> values(data.amount.size());
  for (auto _ : state) {
    std::copy(data.amount.begin(), data.amount.end(), values.begin());
    benchmark::DoNotOptimize(BreakDown(values, {}, ends, options).total.mean);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BreakDownByRanges)->Args({100000, 0})->Args({100000, 1})->ArgNames({"cases", "quartiles"});

}  // namespace
}  // namespace velmora::stats

BENCHMARK_MAIN();
