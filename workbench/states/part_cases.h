// The cases of one part of the data and the weight of each.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/states/packed.h"

namespace velmora::states {

struct CaseRules {
  std::string select, exclude;          // expressions; empty: none
  std::string weight, count;            // variables; empty: none
  bool refusesNegativeWeights = false;  // else cases with them are left out
  std::vector<std::string> complete;    // variables that a case must have values of
  std::string response;                 // a case needs a value of it; empty: none
  std::vector<std::string> codes;       // one of these, as texts; empty: any
  // For data that a database has already counted, whose weight and count are sums: the columns with
  // the number of cases of a row and the sum of their squared weights. Empty: each row is a case.
  // Counted parts have the columns of one variable, or of a predictor and an outcome, or none of
  // them.
  std::string cases, squares;

  bool LeavesOut() const {
    return !select.empty() || !exclude.empty() || !weight.empty() || !count.empty() || !complete.empty() ||
           !response.empty();
  }
};

// Sums over all parts. Whole numbers, which doubles hold up to 2^53.
struct CaseTotals {
  double rows = 0, notSelected = 0, withoutWeight = 0, withoutCount = 0, incomplete = 0, used = 0,
         withoutResponse = 0, otherCodes = 0;
  // Of the used cases: sums of counts, of counts x weights and of counts x squared weights.
  double frequency = 0, weight = 0, squares = 0;

  void Merge(const CaseTotals& other);
  Packed Pack() const;
  static CaseTotals Unpack(const Packed& packed);
};

struct PartCases {
  std::vector<std::uint8_t> used;
  std::vector<double> cases;      // how many the row is
  std::vector<double> frequency;  // by the count variable, else as cases
  std::vector<double> weight;     // count x weight
  std::vector<double> squares;    // count x squared weight
  bool areSingle = false;         // each row is one case with a weight of 1
  CaseTotals totals;

  std::size_t Count() const { return used.size(); }
};

// Throws DataError for a wrong expression, a variable that is missing, and a weight below 0 where
// it is refused.
PartCases CollectCases(const Table& table, const CaseRules& rules);

// Null where there is none.
const Column* FindColumn(const Table& table, const std::string& name);
// The column of that name, which must be in the data: names only, no patterns. Throws DataError.
const Column& ColumnNamed(const Table& table, const std::string& name);

}  // namespace velmora::states
