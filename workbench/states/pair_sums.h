// The second pass over one predictor and one outcome: sums of the cases in each group of the
// predictor, by class of the outcome or with the moments of a measured one.
//
//   Grouping age = ...;                       // intervals, by the first pass
//   std::vector<std::uint32_t> groupOf = age.Assign(column, cases);
//   PairSums sums(age.Count(), classes, folds);
//   sums.Take(groupOf, outcome, cases);       // for every part
//   sums.Merge(otherParts);
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "workbench/states/part_cases.h"
#include "workbench/stats/group_moments.h"

namespace velmora::states {

inline constexpr std::uint32_t kNoGroup = std::numeric_limits<std::uint32_t>::max();

// The groups of a variable: its levels, or intervals of its values.
struct Grouping {
  std::string variable;
  bool isText = false;
  std::vector<double> highest;      // of each group, ascending; larger values are in no group
  std::vector<std::string> levels;  // of texts, ascending by bytes

  std::uint32_t Count() const { return static_cast<std::uint32_t>(isText ? levels.size() : highest.size()); }
  // The group of each case: Count() without a value, kNoGroup when the case is not used or its
  // value is in no group, which happens when the data have changed since the first pass.
  std::vector<std::uint32_t> Assign(const Column& column, const PartCases& cases) const;

  Packed Pack() const;
  static Grouping Unpack(const Packed& packed);
};

// A measured outcome, centred and scaled to values between -1 and 1 by powers of two, which changes
// no figure.
struct MeasuredOutcome {
  std::string variable;
  double centre = 0;
  int exponent = 0, widthExponent = 0;
  bool finite = true;

  static MeasuredOutcome Of(const std::string& variable, double lowest, double highest, double mean);
  double Scaled(double value) const;
  // Value and square in the outcome's own unit.
  double Unscaled(double scaled) const;
  double SquareUnit() const;
  // How far from 0 a scaled value was before it was centred.
  double DistanceFromZero(double scaled) const;

  Packed Pack() const;
  static MeasuredOutcome Unpack(const Packed& packed);
};

// An outcome over the cases of one part.
struct OutcomePart {
  std::uint32_t classes = 0;           // 0: measured
  std::vector<std::uint32_t> classOf;  // kNoGroup: none; of a measured outcome 0
  std::vector<double> values;          // scaled, of a measured outcome
  std::vector<std::uint8_t> folds;     // empty: none
};

class PairSums {
 public:
  PairSums() = default;
  // folds: the number of folds whose sums are kept apart for held-out figures; 0: none.
  PairSums(std::uint32_t groups, std::uint32_t classes, std::uint32_t folds);

  void Take(const std::vector<std::uint32_t>& groupOf, const OutcomePart& outcome, const PartCases& cases);
  void Merge(const PairSums& other);

  std::uint32_t Groups() const { return groups_; }
  std::uint32_t Classes() const { return classes_; }

  // Cells are group x class (classes 1 for a measured outcome); group Groups() holds the cases
  // without the predictor.
  using Cell = stats::GroupMoments;
  // fold: kNoGroup for all cases.
  Cell At(std::uint32_t group, std::uint32_t classIndex, std::uint32_t fold = kNoGroup) const;

  Packed Pack() const;
  static PairSums Unpack(const Packed& packed);

 private:
  // Of single cases and an outcome of classes.
  std::vector<Cell> CountCases(const std::vector<std::uint32_t>& groupOf, const OutcomePart& outcome) const;
  std::size_t Place(std::uint32_t group, std::uint32_t classIndex, std::uint32_t fold) const {
    return (std::size_t{fold} * (groups_ + 1) + group) * Columns() + classIndex;
  }
  std::uint32_t Columns() const { return classes_ == 0 ? 1 : classes_; }

  std::uint32_t groups_ = 0, classes_ = 0, folds_ = 0;
  std::vector<Cell> cells_;
};

}  // namespace velmora::states
