// The kernels of the two passes under Google Benchmark, each on every vector unit of the machine:
// time for one value of one case (items). Data: sixteen predictors, 256 cases, ten intervals, in
// the nearest cache.
#include <benchmark/benchmark.h>

#include <numeric>
#include <random>
#include <vector>

#include "module/feature_selection/cross_table.h"
#include "module/feature_selection/key_dictionary.h"
#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {
namespace {

constexpr int kCases = 256;
constexpr int kBounds = 9;

struct Block {
  std::vector<double> values, bounds, dependent, mass, runningMass, reciprocal;
  std::vector<std::uint16_t> present, others;
  std::vector<std::uint32_t> slots, classes;
  MissingLanes missing{};

  Block() : present(kCases), others(kCases), slots(kCases * kLanes, 1), classes(kCases) {
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    for (int i = 0; i < kCases * kLanes; ++i) values.push_back(normal(random));
    for (int k = 0; k < kBounds; ++k) bounds.insert(bounds.end(), kLanes, (k - 4) * 0.4);
    for (int i = 0; i < kCases; ++i) {
      dependent.push_back(normal(random));
      mass.push_back(0.5 + i % 3);
      runningMass.push_back(i + 1.0);
      reciprocal.push_back(1.0 / (i + 1.0));
      classes[static_cast<std::size_t>(i)] = 1 + random() % 5;
    }
    std::fill(std::begin(missing.first), std::end(missing.first), 1.7e308);
    std::fill(std::begin(missing.last), std::end(missing.last), 1.7e308);
    for (std::uint32_t& slot : slots) slot = 1 + random() % 10;
  }
  LaneValues Lanes() const { return {values.data(), kLanes, kLanes}; }
};

// The argument is a VectorUnit; on a machine without it the benchmark is left out.
bool Choose(benchmark::State& state) {
  if (ForceVectorUnit(static_cast<VectorUnit>(state.range(0)))) {
    state.SetLabel(Kernels().name);
    return true;
  }
  state.SkipWithError("the machine does not have this unit");
  return false;
}

void Count(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * kCases * kLanes); }

void BM_PresentLanes(benchmark::State& state) {
  Block block;
  if (!Choose(state)) return;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Kernels().presentLanes(block.Lanes(), kCases, block.missing, block.present.data()));
  }
  Count(state);
}

void BM_Moments(benchmark::State& state) {
  Block block;
  if (!Choose(state)) return;
  MomentsLanes moments{};
  const LaneValues lanes = block.Lanes();
  const MomentsInput input{
      kCases, block.mass.data(), block.runningMass.data(), block.reciprocal.data(), nullptr, 0};
  for (auto _ : state) {
    Kernels().moments(&lanes, 1, input, &moments);
    benchmark::DoNotOptimize(moments);
  }
  Count(state);
}

void BM_IntervalSlots(benchmark::State& state) {
  Block block;
  if (!Choose(state)) return;
  for (auto _ : state) {
    Kernels().intervalSlots(block.Lanes(), kCases, block.bounds.data(), kBounds, nullptr, block.slots.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}

void UpdateGroups(benchmark::State& state, GroupUpdate update) {
  const Block block;
  std::vector<GroupMoments> table(kLanes * 11);
  GroupMoments* tables[kLanes];
  for (std::size_t l = 0; l < kLanes; ++l) tables[l] = &table[l * 11];
  const LaneSlots lanes{block.slots.data(), tables, kLanes};
  const GroupInput input{block.dependent.data(), nullptr,           kCases, block.mass.data(),
                         block.mass.data(),      block.mass.data(), 123.0};
  for (auto _ : state) {
    update(input, &lanes, 1);
    benchmark::ClobberMemory();
  }
  Count(state);
}
void BM_GroupsPlain(benchmark::State& state) {
  if (Choose(state)) UpdateGroups(state, Kernels().groupsPlain);
}
void BM_GroupsWeighted(benchmark::State& state) {
  if (Choose(state)) UpdateGroups(state, Kernels().groupsWeighted);
}

void BM_CrossTable(benchmark::State& state) {
  const Block block;
  CrossTable table;
  table.Start(state.range(0) == 0);
  table.Fit(11, 6);
  for (auto _ : state) {
    for (int l = 0; l < kLanes; ++l) {
      table.Add(block.slots.data() + l, block.classes.data(),
                state.range(0) == 0 ? nullptr : block.mass.data(), kCases);
    }
    benchmark::ClobberMemory();
  }
  state.SetLabel(state.range(0) == 0 ? "counts" : "masses");
  Count(state);
}

void BM_Dictionary(benchmark::State& state) {
  KeyDictionary dictionary;
  std::mt19937 random(1);
  std::vector<double> keys(1 << 16);
  for (double& key : keys) key = static_cast<double>(random() % static_cast<unsigned>(state.range(0)));
  for (auto _ : state) {
    for (const double key : keys) benchmark::DoNotOptimize(dictionary.Number(key));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

constexpr int kFirstUnit = static_cast<int>(VectorUnit::kSse2),
              kLastUnit = static_cast<int>(VectorUnit::kAvx512);
BENCHMARK(BM_PresentLanes)->DenseRange(kFirstUnit, kLastUnit);
BENCHMARK(BM_Moments)->DenseRange(kFirstUnit, kLastUnit);
BENCHMARK(BM_IntervalSlots)->DenseRange(kFirstUnit, kLastUnit);
BENCHMARK(BM_GroupsPlain)->DenseRange(kFirstUnit, kLastUnit);
BENCHMARK(BM_GroupsWeighted)->DenseRange(kFirstUnit, kLastUnit);
BENCHMARK(BM_CrossTable)->Arg(0)->Arg(1);
BENCHMARK(BM_Dictionary)->Arg(100)->Arg(100000);

}  // namespace
}  // namespace vlmfsl

BENCHMARK_MAIN();
