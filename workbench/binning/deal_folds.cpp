#include "workbench/binning/deal_folds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "base/split_mix.h"
#include "workbench/system/log_gamma.h"

namespace velmora::binning {
namespace {

double LogChooseReal(double n, double k) { return LogGamma(n + 1) - LogGamma(k + 1) - LogGamma(n - k + 1); }

// How many of `drawn` cases out of `all` are among `marked` of them: inversion, outwards from the
// mode, whose number of steps is of the order of the standard deviation.
double Hypergeometric(double all, double marked, double drawn, vlm::SplitMix& random) {
  const double least = std::max(0.0, drawn + marked - all), most = std::min(drawn, marked);
  if (!(most > least)) return least;
  const double mode = std::clamp(std::floor((drawn + 1) * (marked + 1) / (all + 2)), least, most);
  const double atMode = std::exp(LogChooseReal(marked, mode) + LogChooseReal(all - marked, drawn - mode) -
                                 LogChooseReal(all, drawn));
  const auto upper = [&](double k) {  // p(k + 1) / p(k)
    return (marked - k) * (drawn - k) / ((k + 1) * (all - marked - drawn + k + 1));
  };
  double rest = random.Share() - atMode;
  double low = mode, high = mode, lowP = atMode, highP = atMode;
  while (rest > 0 && (low > least || high < most)) {
    if (high < most) {
      highP *= upper(high);
      rest -= highP;
      if (!(rest > 0)) return high + 1;
      ++high;
    }
    if (low > least) {
      lowP /= upper(low - 1);
      rest -= lowP;
      if (!(rest > 0)) return low - 1;
      --low;
    }
    if (lowP < 1e-300 && highP < 1e-300) break;  // a remainder left by rounding
  }
  return mode;
}

struct Place {
  PreBins* group;
  std::size_t bin;
};

void DealClass(const std::vector<Place>& places, const std::vector<std::vector<double>>& cases, std::size_t c,
               vlm::SplitMix& random) {
  double total = 0;
  for (const std::vector<double>& of : cases) total += of[c];
  std::array<double, kFoldCount> room{};
  for (int f = 0; f < kFoldCount; ++f)
    room[static_cast<std::size_t>(f)] = std::floor((total + f) / kFoldCount);
  for (std::size_t i = 0; i < places.size(); ++i) {
    double left = cases[i][c];
    double open = std::accumulate(room.begin(), room.end(), 0.0);
    PreBins& bins = *places[i].group;
    const std::size_t at = places[i].bin * bins.sums.Stride() + c;
    const double each = left > 0 ? bins.sums.values[at] / left : 0;
    for (int f = 0; f < kFoldCount; ++f) {
      double& its = room[static_cast<std::size_t>(f)];
      const double dealt = f + 1 == kFoldCount ? left : Hypergeometric(open, its, left, random);
      open -= its;
      its -= dealt;
      left -= dealt;
      PreBinSums& fold = bins.folds[static_cast<std::size_t>(f)];
      fold.values[at] += dealt * each;
      fold.cases[places[i].bin] += dealt;
    }
  }
}

}  // namespace

void DealFolds(std::span<PreBins* const> groups, const std::vector<std::vector<double>>& cases) {
  std::vector<Place> places;
  for (PreBins* const group : groups) {
    PreBinSums empty = group->sums;
    std::fill(empty.values.begin(), empty.values.end(), 0.0);
    std::fill(empty.cases.begin(), empty.cases.end(), 0.0);
    group->folds.assign(kFoldCount, empty);
    for (std::size_t bin = 0; bin < group->sums.Count(); ++bin) places.push_back({group, bin});
  }
  vlm::SplitMix random(1);
  const std::size_t classes = groups.empty() ? 0 : static_cast<std::size_t>(groups[0]->sums.classCount);
  for (std::size_t c = 0; c < classes; ++c) DealClass(places, cases, c, random);
  for (PreBins* const group : groups) {
    const double all = std::accumulate(group->sums.cases.begin(), group->sums.cases.end(), 0.0);
    for (PreBinSums& fold : group->folds) {
      const double its = std::accumulate(fold.cases.begin(), fold.cases.end(), 0.0);
      fold.squaredWeights = all > 0 ? group->sums.squaredWeights * its / all : 0;
    }
  }
}

}  // namespace velmora::binning
