#include "workbench/ranking/survey_design.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "workbench/binning/pre_bins.h"
#include "workbench/data/absent_value.h"
#include "workbench/data/errors.h"

namespace velmora::ranking {
namespace {

template <typename Key>
void AddRanges(std::span<const std::uint8_t> used, Key key, SurveySample& sample) {
  stats::SurveyDesign& design = sample.design;
  bool clusterUsed = false, stratumUsed = false;
  const auto closeCluster = [&](std::size_t end) {
    design.clusters.back().end = end;
    sample.clusters += clusterUsed ? 1 : 0;
    clusterUsed = false;
  };
  const auto closeStratum = [&] {
    design.strata.back().end = design.clusters.size();
    if (!stratumUsed) return;
    ++sample.strata;
    stratumUsed = false;
    if (design.strata.back().end - design.strata.back().begin == 1) ++sample.lonelyStrata;
  };
  for (std::size_t at = 0; at < design.cases.size(); ++at) {
    const auto now = key(design.cases[at]);
    const bool isFirst = at == 0;
    const auto before = isFirst ? now : key(design.cases[at - 1]);
    if (!isFirst && now != before) closeCluster(at);
    if (!isFirst && now.first != before.first) closeStratum();
    if (isFirst || now.first != before.first) design.strata.push_back({design.clusters.size(), 0});
    if (isFirst || now != before) design.clusters.push_back({at, 0});
    const bool isUsed = used[design.cases[at]] != 0;
    clusterUsed = clusterUsed || isUsed;
    stratumUsed = stratumUsed || isUsed;
  }
  if (design.cases.empty()) return;
  closeCluster(design.cases.size());
  closeStratum();
}

}  // namespace

SurveySample MakeSurveySample(const Table& table, std::span<const std::uint8_t> used,
                              const DesignVariables& variables) {
  SurveySample sample;
  const auto columnOf = [&](int number) { return number == 0 ? nullptr : &table.Variable(number); };
  const Column* const strata = columnOf(variables.strata);
  const Column* const clusters = columnOf(variables.clusters);
  const Column* const weights = columnOf(variables.weight);
  std::vector<std::uint32_t>& order = sample.design.cases;
  for (std::uint32_t i = 0; i < used.size(); ++i) {
    if (weights != nullptr && (IsAbsent(*weights, i) || vlm::NearlyEqual(weights->values[i], 0))) continue;
    bool known = true;
    for (const Column* column : {strata, clusters}) {
      if (column == nullptr || !IsAbsent(*column, i)) continue;
      known = false;
      if (used[i] != 0)
        throw DataError(std::string(column == strata ? "The stratum " : "The cluster ") + column->name +
                        " of case " + std::to_string(i + 1) + " is missing.");
    }
    if (known) order.push_back(i);
  }
  const auto key = [&](std::uint32_t i) {
    return std::pair(strata == nullptr ? 0 : strata->values[i],
                     clusters == nullptr ? static_cast<double>(i) : clusters->values[i]);
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return key(a) < key(b); });
  AddRanges(used, key, sample);
  sample.design.degreesOfFreedom = static_cast<double>(sample.clusters) - static_cast<double>(sample.strata);
  if (!order.empty() && !(sample.design.degreesOfFreedom > 0))
    throw DataError("The design has as many strata as clusters (" + std::to_string(sample.strata) +
                    "), which leaves no variance to compare.");
  return sample;
}

double ClusterEffect(const stats::TreeResponse& response, const stats::SurveyDesign& design) {
  const auto weightOf = [&](std::size_t i) { return response.weights.empty() ? 1.0 : response.weights[i]; };
  const std::size_t size = response.continuous ? 1 : static_cast<std::size_t>(response.classCount);
  std::vector<double> shares(size);  // or the mean
  double total = 0, squares = 0, cases = 0;
  for (std::size_t i = 0; i < response.caseCount; ++i) {
    if (!binning::CountsForResponse(response, i)) continue;
    const double weight = weightOf(i);
    total += weight;
    squares += response.weightsAreCounts ? weight : weight * weight;
    cases += response.weightsAreCounts ? weight : 1;
    if (response.continuous) {
      shares[0] += weight * response.deviations[i];
    } else {
      shares[response.classOf[i]] += weight;
    }
  }
  if (!(total > 0) || !(cases > 1)) return 1;
  for (double& share : shares) share /= total;
  double ofOneCase = 0;  // variance of a case: of its response, or of its classes together
  for (std::size_t i = 0; response.continuous && i < response.caseCount; ++i) {
    if (!binning::CountsForResponse(response, i)) continue;
    const double deviation = response.deviations[i] - shares[0];
    ofOneCase += weightOf(i) / total * deviation * deviation;
  }
  for (std::size_t c = 0; !response.continuous && c < size; ++c) ofOneCase += shares[c] * (1 - shares[c]);
  const std::vector<double> covariance =
      response.continuous
          ? stats::ClusterCovariance(design, 1,
                                     [&](std::uint32_t i, auto add) {
                                       if (binning::CountsForResponse(response, i))
                                         add(0, weightOf(i) / total * (response.deviations[i] - shares[0]));
                                     })
          : stats::ClusterCovariance(
                design, size,
                [&](std::uint32_t i, auto add) {
                  if (binning::CountsForResponse(response, i))
                    add(std::size_t{response.classOf[i]}, weightOf(i) / total);
                },
                shares);
  double variance = 0;
  for (std::size_t c = 0; c < size; ++c) variance += covariance[c * size + c];
  const double independent = ofOneCase * cases / (cases - 1) * squares / (total * total);
  return independent > 0 ? std::max(1.0, variance / independent) : 1;
}

}  // namespace velmora::ranking
