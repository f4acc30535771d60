// The moments of a measured outcome in each group of a predictor, from two passes over the cases.
//
//   const auto forEach = [&](auto visit) { for (i ...) visit(groupOf[i], y[i], CaseMass{}); };
//   std::vector<GroupMoments> groups = CollectMoments<false>(count, origin, forEach);
//   groups[0].Merge(groups[1]);   // neighbours joined, or the same group of another part
//
// Means first, then deviations from them, both taken from the first value of the group: the
// rounding depends on the spread of the values, not on their distance from zero, and equal values
// have no deviation at all.
#pragma once

#include <cstddef>
#include <vector>

namespace velmora::stats {

// The mass of one case, or of several equal ones.
struct CaseMass {
  double cases = 1, frequency = 1, weight = 1;
  double squares = 1;  // frequency times the squared weight of one
};

struct GroupMoments {
  double cases = 0, frequency = 0, weight = 0, squares = 0;
  double mean = 0, deviations = 0;                // weighted; deviations: squared, about the mean
  double squaresMean = 0, squaresDeviations = 0;  // weighted by the squared weights

  void Merge(const GroupMoments& other);
};

// forEach calls its argument with the group, the value and the mass of every case, in the same order
// each time. Means are relative to origin. kIsWeighted: otherwise every mass is 1.
template <bool kIsWeighted, typename ForEach>
std::vector<GroupMoments> CollectMoments(std::size_t groupCount, double origin, const ForEach& forEach) {
  std::vector<GroupMoments> groups(groupCount);
  std::vector<double> firsts(groupCount);
  forEach([&](std::size_t g, double value, const CaseMass& mass) {
    GroupMoments& group = groups[g];
    if (group.cases == 0) firsts[g] = value;
    const double step = value - firsts[g];
    group.cases += mass.cases;
    group.mean += kIsWeighted ? mass.weight * step : step;
    if (!kIsWeighted) return;
    group.frequency += mass.frequency;
    group.weight += mass.weight;
    group.squares += mass.squares;
    group.squaresMean += mass.squares * step;
  });
  for (GroupMoments& group : groups) {
    if (!kIsWeighted) group.frequency = group.weight = group.squares = group.cases;
    if (group.weight > 0) group.mean /= group.weight;
    if (group.squares > 0) group.squaresMean /= group.squares;
  }
  forEach([&](std::size_t g, double value, const CaseMass& mass) {
    GroupMoments& group = groups[g];
    const double step = value - firsts[g], deviation = step - group.mean;
    const double square = deviation * deviation;
    group.deviations += kIsWeighted ? mass.weight * square : square;
    if (!kIsWeighted) return;
    const double other = step - group.squaresMean;
    group.squaresDeviations += mass.squares * other * other;
  });
  for (std::size_t g = 0; g < groupCount; ++g) {
    GroupMoments& group = groups[g];
    if (group.cases == 0) continue;
    group.mean += firsts[g] - origin;
    group.squaresMean += firsts[g] - origin;
    if (kIsWeighted) continue;
    group.squaresMean = group.mean;
    group.squaresDeviations = group.deviations;
  }
  return groups;
}

}  // namespace velmora::stats
