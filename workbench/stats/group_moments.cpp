#include "workbench/stats/group_moments.h"

namespace velmora::stats {

// Chan, Golub and LeVeque 1983, doi:10.1080/00031305.1983.10483115.
void GroupMoments::Merge(const GroupMoments& other) {
  if (!(other.weight > 0)) return;
  if (!(weight > 0)) {
    *this = other;
    return;
  }
  const auto join = [](double& ours, double& ourDeviations, double ourWeight, double theirs,
                       double theirDeviations, double theirWeight) {
    const double step = theirs - ours, both = ourWeight + theirWeight;
    ourDeviations += theirDeviations + step * step * (ourWeight / both) * theirWeight;
    ours += step * (theirWeight / both);
  };
  join(mean, deviations, weight, other.mean, other.deviations, other.weight);
  join(squaresMean, squaresDeviations, squares, other.squaresMean, other.squaresDeviations, other.squares);
  cases += other.cases;
  frequency += other.frequency;
  weight += other.weight;
  squares += other.squares;
}

}  // namespace velmora::stats
