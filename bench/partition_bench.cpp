// The best partitions of pre-bins that another program gives, and the processor time they take.
// Beside bench/partition_beside_optbinning.py, which makes the input and runs a solver-based
// program on the same pre-bins.
//
// Standard input, one line per predictor: SHAPE MAX_BINS MIN_SHARE M, then M times "bads goods".
// Standard output, one line per predictor: seconds, information value, ends of the bins.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <string>

#include "workbench/binning/partition.h"

namespace {

using namespace velmora::binning;

Shape ShapeNamed(const std::string& name) {
  if (name == "ascending") return Shape::kAscending;
  if (name == "descending") return Shape::kDescending;
  if (name == "peak") return Shape::kPeak;
  if (name == "valley") return Shape::kValley;
  return Shape::kFree;
}

double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

}  // namespace

int main() {
  std::string shape;
  PartitionRules rules;
  rules.criterion = Criterion::kInformationValue;
  std::size_t count = 0;
  while (std::cin >> shape >> rules.maxBins >> rules.minShare >> count) {
    rules.shape = ShapeNamed(shape);
    PreBinSums sums;
    for (std::size_t b = 0; b < count; ++b) {
      double bads = 0, goods = 0;
      std::cin >> bads >> goods;
      sums.values.insert(sums.values.end(), {bads, goods});
      sums.cases.push_back(bads + goods);
      sums.squaredWeights += bads + goods;
    }
    constexpr int kRepeats = 5;
    const double begin = ProcessorSeconds();
    Partitions found;
    for (int i = 0; i < kRepeats; ++i) found = FindPartitions(sums, rules);
    const double seconds = (ProcessorSeconds() - begin) / kRepeats;
    const Partition* best = &found.byBinCount[0];
    for (const Partition& partition : found.byBinCount) {
      if (!partition.ends.empty() && partition.criterion > best->criterion) best = &partition;
    }
    std::printf("%.9f %.15g", seconds, best->criterion);
    for (const int end : best->ends) std::printf(" %d", end);
    std::printf("\n");
  }
}
