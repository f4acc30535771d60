// Processor time of comparing many predictors of eight bins, every two of them, over many cases of
// two classes.
//
//   redundancy_bench [PREDICTORS] [CASES]     (200 and 1,000,000)
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "base/split_mix.h"
#include "workbench/evidence/redundancy.h"

namespace {

double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

}  // namespace

int main(int argc, char** argv) {
  const auto sizeAt = [&](int place, std::size_t usual) {
    return argc > place ? std::strtoul(argv[place], nullptr, 10) : usual;
  };
  const std::size_t predictors = sizeAt(1, 200), cases = sizeAt(2, 1000000);
  vlm::SplitMix random(1);
  std::vector<std::uint8_t> classOf(cases), binOf(cases);
  for (std::uint8_t& one : classOf) one = static_cast<std::uint8_t>(random.Next() >> 63);
  velmora::evidence::BinTables tables(classOf, 2);
  for (std::size_t p = 0; p < predictors; ++p) {
    // Every tenth predictor partly determines the class.
    for (std::size_t i = 0; i < cases; ++i) {
      const std::uint64_t bits = random.Next();
      binOf[i] = static_cast<std::uint8_t>(p % 10 == 0 && bits % 4 == 0 ? classOf[i] * 7u : bits >> 61);
    }
    tables.Add(binOf, 8);
  }
  velmora::WorkerPool pool(1);
  const double begin = ProcessorSeconds();
  if (!tables.Count(pool)) return 1;
  const double counted = ProcessorSeconds();
  const std::vector<double> v = velmora::evidence::Associations(tables);
  const auto clusters = velmora::evidence::Cluster(v, tables.Size(), 0.6);
  const auto order = velmora::evidence::OrderOfAdding(tables);
  std::printf("counting %.2f s, associations, clusters and order %.2f s; predictor %zu comes first of %zu\n",
              counted - begin, ProcessorSeconds() - counted, order.front().predictor, clusters.size());
  return 0;
}
