// The design of a sample: clusters within strata, from the variables that name them.
//
//   const DesignVariables design = {.strata = 3, .clusters = 4, .weight = 5};
//   const SurveySample sample = MakeSurveySample(table, used, design);
//   sample.design.degreesOfFreedom;   // clusters - strata
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "workbench/data/table.h"
#include "workbench/stats/cluster_covariance.h"
#include "workbench/stats/tree.h"

namespace velmora::ranking {

// Variable numbers from 1; 0: none.
struct DesignVariables {
  int strata = 0, clusters = 0;
  int weight = 0;

  bool Any() const { return strata != 0 || clusters != 0; }
  bool operator==(const DesignVariables&) const = default;
};

struct SurveySample {
  stats::SurveyDesign design;
  std::size_t strata = 0, clusters = 0;  // with cases that are used
  std::size_t lonelyStrata = 0;          // of one cluster
};

// used: one per case. All cases with a weight belong to the sample, whatever is used: a selection
// is a part of the population. Clusters are numbered within their strata; without clusters every
// case is one. Throws DataError for a used case without a stratum or cluster, and when there are
// not more clusters than strata.
SurveySample MakeSurveySample(const Table& table, std::span<const std::uint8_t> used,
                              const DesignVariables& variables);

// The number of cases of the sample that are worth one case drawn independently, with these
// weights, for the shares of the classes, or the mean, of the response. At least 1, since strata
// that gain precision for the response need not do so for its predictors.
double ClusterEffect(const stats::TreeResponse& response, const stats::SurveyDesign& design);

}  // namespace velmora::ranking
