// Cases of a table as bins of saved predictors and as classes of a saved response.
//
//   const SavedResponse& response = bins.responses[0];
//   BinnedPredictor age = BinCases(response.predictors[0], "bins.json", table, notices);
//   age.bins[0] == 2;   // the first case is in the third bin
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/bins/coding_program.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/language/selection.h"

namespace velmora {

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

// What every case adds to the counts of its bin.
class ResponseCases {
 public:
  // weight: the variable of the weights, 0 for none. Throws DataError when the table has no such
  // response.
  ResponseCases(const Table& table, const CaseBitmap& selected, int weight, const SavedResponse& response);

  // The case is selected, has a weight above 0 and the response with one of its codes.
  bool Uses(std::size_t i) const { return classOf_[i] != kNotUsed; }
  // Its place among the codes; 0 for a continuous response.
  int ClassOf(std::size_t i) const { return classOf_[i]; }
  double Weight(std::size_t i) const;
  SavedCounts None() const { return SavedCounts(size_); }
  void Add(std::size_t i, SavedCounts& counts) const;

 private:
  static constexpr int kNotUsed = -1;
  const Column& column_;
  const Column* const weights_;
  const bool isContinuous_;
  const std::size_t size_;
  std::vector<int> classOf_;
};

}  // namespace velmora
