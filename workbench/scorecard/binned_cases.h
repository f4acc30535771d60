// Cases of a table as bins of saved predictors and as classes of a saved response.
//
//   const SavedResponse& response = bins.responses[0];
//   BinnedPredictor age = BinCases(response.predictors[0], "bins.json", table, notices);
//   age.bins[0] == 2;   // the first case is in the third bin
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "workbench/bins/coding_program.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/data/user_missing.h"
#include "workbench/data/weight_meaning.h"
#include "workbench/language/selection.h"

namespace velmora {

// Values that the file declares missing and that are special codes of the bins, by
// variable number of the table.
std::map<int, UserMissingCells> CoveredUserMissing(const SavedBins& bins, const UserMissing& userMissing,
                                                   const Table& table);
// The same, put back into the table.
void RestoreCovered(const SavedBins& bins, const UserMissing& userMissing, Table& table);
// The same for as long as it lives; cells and table outlive it.
class RestoredCells {
 public:
  RestoredCells(const std::map<int, UserMissingCells>& cells, Table& table) : cells_(cells), table_(table) {
    for (const auto& [number, own] : cells_) RestoreUserMissing(own, table_.Variable(number));
  }
  ~RestoredCells() {
    for (const auto& [number, own] : cells_) RemoveUserMissing(own, table_.Variable(number));
  }
  RestoredCells(const RestoredCells&) = delete;
  RestoredCells& operator=(const RestoredCells&) = delete;

 private:
  const std::map<int, UserMissingCells>& cells_;
  Table& table_;
};

struct BinnedPredictor {
  static constexpr std::int32_t kNoBin = -1;
  std::vector<std::int32_t> bins;  // one per case of the table, from 0
  CodingProgram::Uncovered uncovered;
};

// file: where the bins are from, for messages. notices: gets a sentence when the table has none of
// the levels. goesOn: called with the fraction done; false ends the work. Throws DataError for a
// predictor that the table does not have or that is of another type there, Cancelled.
BinnedPredictor BinCases(const SavedPredictor& predictor, const std::string& file, const Table& table,
                         std::vector<std::string>& notices, const std::function<bool(double)>& goesOn = {});

// The weight of each case of a table: 1 without weights.
class CaseWeights {
 public:
  // variable: that of the weights, 0 for none.
  CaseWeights(const Table& table, const CaseBitmap& selected, int variable, WeightMeaning meaning);

  // Weights of a sample are relative to their mean over the selected cases, so that half a case is
  // half a case in any unit. 0: not selected, or without a weight.
  double Of(std::size_t i) const { return weights_[i]; }
  // The sum of the squared weights of a sample over the sum of the weights, of the cases for which
  // uses(i); 1 for weights of other kinds.
  template <typename Uses>
  double Spread(Uses uses) const {
    double sum = 0, squares = 0;
    for (std::size_t i = 0; isSample_ && i < weights_.size(); ++i) {
      if (!uses(i)) continue;
      sum += weights_[i];
      squares += weights_[i] * weights_[i];
    }
    return squares > 0 ? squares / sum : 1;
  }
  // Scales weights of a sample so that their mean over the cases for which uses(i) holds is 1;
  // other weights stay as they are.
  template <typename Uses>
  void MakeRelative(Uses uses) {
    if (!isSample_) return;
    double sum = 0, count = 0;
    for (std::size_t i = 0; i < weights_.size(); ++i) {
      if (!(weights_[i] > 0) || !uses(i)) continue;
      sum += weights_[i];
      ++count;
    }
    if (!(sum > 0) || !std::isfinite(sum)) return;
    for (double& weight : weights_) weight /= sum / count;
  }

 private:
  std::vector<double> weights_;
  const bool isSample_;
};

// Adds the cases of a table to the counts of bins.
class ResponseCases {
 public:
  // Weights of a sample become relative to their mean over the cases that are used. Throws
  // DataError when the table has no such response.
  ResponseCases(const Table& table, CaseWeights weights, const SavedResponse& response);

  // Whether the case is selected, has a weight above 0 and a response with one of its codes.
  bool Uses(std::size_t i) const { return classOf_[i] != kNotUsed; }
  // Its place among the codes; 0 for a continuous response.
  int ClassOf(std::size_t i) const { return classOf_[i]; }
  double Weight(std::size_t i) const { return weights_.Of(i); }
  const CaseWeights& Weights() const { return weights_; }
  SavedCounts None() const { return SavedCounts(size_); }
  void Add(std::size_t i, SavedCounts& counts) const;

 private:
  static constexpr int kNotUsed = -1;
  const Column& column_;
  CaseWeights weights_;
  const bool isContinuous_;
  const std::size_t size_;
  std::vector<int> classOf_;
};

// Whether a case has no value.
inline bool IsMissingIn(const Column& column, double value) {
  return !std::isfinite(value) || IsMissing(value, column.missingCode);
}

}  // namespace velmora
