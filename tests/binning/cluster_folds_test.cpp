// Folds of samples of clusters: whole clusters, each stratum over all folds.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <vector>

#include "workbench/binning/pre_bins.h"

namespace velmora::binning {
namespace {

TEST(ClusterFolds, ClustersStayWholeAndStrataAreSpread) {
  std::mt19937 random(5);
  for (const bool continuous : {false, true}) {
    stats::TreeResponse response;
    stats::SurveyDesign design;
    response.continuous = continuous;
    response.classCount = continuous ? 0 : 2;
    for (int stratum = 0; stratum < 3; ++stratum) {
      const std::size_t first = design.clusters.size();
      for (int cluster = 0; cluster < 60; ++cluster) {
        const std::size_t begin = design.cases.size();
        for (unsigned i = 0; i < 2 + random() % 9; ++i) {
          design.cases.push_back(static_cast<std::uint32_t>(response.caseCount++));
          response.classOf.push_back(static_cast<std::uint16_t>((cluster + random() % 30) / 45));
          response.deviations.push_back(cluster + static_cast<double>(random() % 100));
        }
        design.clusters.push_back({begin, design.cases.size()});
      }
      design.strata.push_back({first, design.clusters.size()});
    }
    const std::vector<std::uint8_t> folds = ClusterFolds(response, design);
    ASSERT_EQ(folds.size(), response.caseCount);
    for (const stats::SurveyDesign::Range& stratum : design.strata) {
      std::array<int, kFoldCount> clusters{};
      for (std::size_t k = stratum.begin; k < stratum.end; ++k) {
        std::set<int> ofCluster;
        for (std::size_t at = design.clusters[k].begin; at < design.clusters[k].end; ++at)
          ofCluster.insert(folds[design.cases[at]]);
        ASSERT_EQ(ofCluster.size(), 1u);
        ++clusters[static_cast<std::size_t>(*ofCluster.begin())];
      }
      for (const int count : clusters) EXPECT_EQ(count, 6) << continuous;
    }
    EXPECT_EQ(folds, ClusterFolds(response, design));
  }
}

}  // namespace
}  // namespace velmora::binning
