// Finds which of many predictors say the same, and how much each adds to others, from the bins of
// their cases.
//
//   BinTables tables(classOf, 2);                        // good and bad cases
//   for (const auto& one : coded) tables.Add(one.binOf, one.binCount);
//   if (!tables.Count(pool, progress)) throw Cancelled();
//   const std::vector<double> v = Associations(tables);  // v[i * tables.Size() + j]
//   const std::vector<Likeness> alike = Cluster(v, tables.Size(), 0.6);
//   const std::vector<Step> order = OrderOfAdding(tables);
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "workbench/system/worker_pool.h"

namespace velmora::evidence {

// The cross tables of the bins of every two predictors, for each class of the cases. Cases are put
// in order of class and bins are packed as bits, one bit per case, so that a cell is the number of
// bits that two words share: a million cases take 16,000 steps per cell.
class BinTables {
 public:
  static constexpr std::uint8_t kNone = 255;  // no class, or no bin

  // classOf: of each case, kNone for a case that is left out. classCount: up to 255.
  BinTables(std::span<const std::uint8_t> classOf, std::size_t classCount);

  // binOf: of each case, below binCount, which is at most 255; kNone for a case without a bin.
  void Add(std::span<const std::uint8_t> binOf, std::size_t binCount);
  // Counts the cells of all pairs. False: stopped by progress.
  [[nodiscard]] bool Count(WorkerPool& pool, const WorkerPool::Progress& progress = {});

  std::size_t Size() const { return predictors_.size(); }
  std::size_t ClassCount() const { return classCount_; }
  std::size_t BinCount(std::size_t predictor) const { return predictors_[predictor].binCount; }
  // Cases of each bin and class: [bin * ClassCount() + class].
  const std::vector<std::uint32_t>& Bins(std::size_t predictor) const {
    return predictors_[predictor].counts;
  }
  // Cases of two predictors, first > second: [(bin of first * bins of second + bin of second) *
  // ClassCount() + class].
  const std::vector<std::uint32_t>& Cells(std::size_t first, std::size_t second) const {
    return cells_[first * (first - 1) / 2 + second];
  }

 private:
  struct Predictor {
    std::size_t binCount = 0;
    bool isComplete = true;           // every case has a bin
    std::vector<std::uint8_t> binOf;  // by place
    std::vector<std::uint64_t> bits;  // bin by bin, wordCount_ words
    std::vector<std::uint32_t> counts;
  };
  void CountPair(const Predictor& first, const Predictor& second, std::vector<std::uint32_t>& cells) const;
  void CountBits(const Predictor& first, const Predictor& second, std::vector<std::uint32_t>& cells) const;

  std::size_t classCount_;
  std::vector<std::uint32_t> placeOf_;  // of each case; kNoPlace: left out
  std::vector<std::size_t> firstWord_;  // of each class, and the end
  std::size_t wordCount_ = 0;
  std::vector<Predictor> predictors_;
  std::vector<std::vector<std::uint32_t>> cells_;
};

// Cramer's V of every two predictors, corrected for the numbers of bins (Bergsma 2013,
// doi:10.1016/j.jkss.2012.10.002): 0 on average where there is no association. Row by row; 1 on the
// diagonal.
std::vector<double> Associations(const BinTables& tables);

struct Likeness {
  int cluster = 0;  // from 0, in order of their best predictors
  int sameAs = -1;  // the best predictor of its cluster; -1: this one is
  double v = 0;     // association with it
};
// Predictors in order, the best first: each joins the cluster whose best predictor it is most
// associated with, where that is at least `from`, or begins one (leader clustering, Hartigan 1975,
// Clustering Algorithms, chapter 3). So every predictor of a cluster is associated with the one
// that represents it.
std::vector<Likeness> Cluster(const std::vector<double>& v, std::size_t count, double from);

struct Step {
  std::size_t predictor = 0;
  // The share of the predictor's information about the classes that no predictor before it has.
  double share = 1;
};
// All predictors in the order in which they add most: a greedy choice by maximal relevance and
// minimal redundancy (Peng, Long and Ding 2005, doi:10.1109/TPAMI.2005.159). Each step takes the
// predictor that adds most information about the class to the earlier predictor to which it adds
// least (Fleuret 2004, J. Mach. Learn. Res. 5, 1531). The information is corrected for the numbers
// of bins (Miller 1955), and not below 0.
std::vector<Step> OrderOfAdding(const BinTables& tables);

}  // namespace velmora::evidence
