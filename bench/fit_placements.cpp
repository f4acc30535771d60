// Fits the constants of the pruning rule (kPlacementBase and kPlacementPerSplit in
// workbench/stats/tree_prune.cpp).
//
//   build/release/bench/fit_placements [TREES]      trees per setting, default 1000: a few minutes
//
// Trees are grown on pure noise. The rule multiplies the tail probability of a tree, taken as if
// its splits had been fixed beforehand, by an effective number of ways in which they could have
// been placed. At the 1 % point of that probability the product must be 0.01, which gives the
// number for a setting; its logarithm is modelled as
//   sqrt(ln(cuts / splits)) (base + perSplit x splits)
// and fitted by least squares. Settings differ in the numbers of cuts and of splits and in the kind
// of the response.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

struct Setting {
  int cases;
  int values;  // distinct ones of the predictor; one less are cuts
  int least;   // cases of a terminal node
  int classes;
};

double Uniform(std::uint64_t& state) {
  state = state * 6364136223846793005u + 1442695040888963407u;
  return (static_cast<double>(state >> 11) + 0.5) * 0x1p-53;
}

struct NoiseTree {
  double splits = 0;
  double tail = 0;
};

NoiseTree GrowOnNoise(const Setting& setting, std::uint64_t& state) {
  std::vector<double> x(static_cast<std::size_t>(setting.cases)), y(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = std::floor(setting.values * Uniform(state));
    const double u = Uniform(state);
    y[i] = setting.classes == 0 ? std::sqrt(-2 * std::log(u)) * std::cos(6.283185307179586 * Uniform(state))
                                : std::floor(setting.classes * u);
  }
  std::vector<double> codes(static_cast<std::size_t>(setting.classes));
  std::iota(codes.begin(), codes.end(), 0.0);
  const TreeResponse response =
      setting.classes == 0 ? MakeContinuousResponse(y, 1.7e308) : MakeClassResponse(y, codes);
  SortScratch sortScratch;
  SortedOrder order;
  SortColumn(x, 1.7e308, {}, sortScratch, order);
  TreeScratch scratch;
  TreeItems items(response, x, order, PredictorKind::kContinuous, scratch);
  TreeOptions options;
  options.leastCasesToSplit = options.leastCasesInChild = setting.least;
  const std::vector<GrownNode> nodes = GrowNodes(items, options, scratch);
  double gain = 0, leafDeviance = 0, impurity = nodes[0].impurity;
  NoiseTree tree;
  for (const GrownNode& node : nodes) {
    gain += node.gain;
    if (node.left >= 0) ++tree.splits;
    if (node.left < 0) leafDeviance += static_cast<double>(node.cases) * node.deviance;
  }
  if (tree.splits == 0) return tree;
  if (setting.classes == 0) impurity = items.MomentsOf(0, items.Count()).squares;
  tree.tail = LogNoiseTail(setting.classes, setting.cases, tree.splits, std::min(1.0, gain / impurity),
                           setting.cases * nodes[0].deviance - leafDeviance);
  return tree;
}

}  // namespace
}  // namespace velmora::stats

int main(int argc, char** argv) {
  using namespace velmora::stats;
  const int trees = argc > 1 ? std::atoi(argv[1]) : 1000;
  std::uint64_t state = 20;
  // Least squares of P / sqrt(ln(cuts / splits)) on splits: sums of 1, splits, splits^2, P', P'
  // splits.
  double count = 0, sum = 0, squares = 0, target = 0, product = 0;
  std::printf("classes   cases    cuts  splits   fitted to   the rule\n");
  for (const int classes : {2, 5, 0})
    for (const auto& [cases, values] :
         {std::pair{600, 10}, {1000, 30}, {4000, 300}, {4000, 4000}, {100000, 100000}})
      for (const double share : {0.3, 0.1, 0.05, 0.0125}) {
        const Setting setting{cases, values, std::max(10, static_cast<int>(share * cases)), classes};
        std::vector<double> tails;
        double splits = 0;
        const int runs = cases > 50000 ? std::max(trees / 5, 100) : trees;
        for (int run = 0; run < runs; ++run) {
          const NoiseTree tree = GrowOnNoise(setting, state);
          splits += tree.splits / runs;
          tails.push_back(tree.tail);
        }
        const auto point = tails.begin() + runs / 100;
        std::nth_element(tails.begin(), point, tails.end());
        const double cuts = values - 1;
        if (splits < 1 || splits > 0.8 * cuts) continue;  // saturated
        const double placements = std::log(0.01) - *point;
        const double scaled = placements / std::sqrt(std::log(cuts / splits));
        count += 1;
        sum += splits;
        squares += splits * splits;
        target += scaled;
        product += scaled * splits;
        std::printf("%7d %7d %7d %7.1f %11.2f %10.2f\n", classes, cases, values - 1, splits, placements,
                    LogPlacements(cuts, splits, setting.least));
      }
  const double perSplit = (count * product - sum * target) / (count * squares - sum * sum);
  std::printf("base %.3f  perSplit %.3f\n", (target - perSplit * sum) / count, perSplit);
  return 0;
}
