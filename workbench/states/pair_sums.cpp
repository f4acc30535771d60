#include "workbench/states/pair_sums.h"

#include <algorithm>
#include <cmath>

#include "base/tolerant.h"
#include "workbench/data/absent_value.h"
#include "workbench/data/errors.h"

namespace velmora::states {
namespace {

// How many of the ascending ends are below the value: a search without branches, which processors
// cannot foresee here.
std::size_t CountBelow(const std::vector<double>& ends, double value) {
  if (ends.empty()) return 0;
  const double* first = ends.data();
  for (std::size_t count = ends.size(); count > 1;) {
    const std::size_t half = count / 2;
    first += half & (std::size_t{0} - static_cast<std::size_t>(first[half - 1] < value));
    count -= half;
  }
  return static_cast<std::size_t>(first - ends.data()) + (*first < value ? 1 : 0);
}

}  // namespace

std::vector<std::uint32_t> Grouping::Assign(const Column& column, const PartCases& cases) const {
  std::vector<std::uint32_t> groupOf(cases.Count(), kNoGroup);
  std::vector<std::uint32_t> ofCode(column.labels.size() + 1, kNoGroup);
  if (isText) {
    for (std::size_t code = 1; code < ofCode.size(); ++code) {
      const auto at = std::lower_bound(levels.begin(), levels.end(), column.labels[code - 1].text);
      if (at != levels.end() && *at == column.labels[code - 1].text)
        ofCode[code] = static_cast<std::uint32_t>(at - levels.begin());
    }
  }
  const MissingRange missing(column.missingCode);
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (cases.used[i] == 0) continue;
    const double value = column.values[i];
    if (IsAbsent(value, missing)) {
      groupOf[i] = Count();
      continue;
    }
    if (isText != column.fromText)
      throw DataError("The column \"" + variable +
                      "\" holds texts in one part of the data and numbers in another.");
    if (isText) {
      groupOf[i] = ofCode[static_cast<std::size_t>(value)];
      continue;
    }
    const std::size_t at = CountBelow(highest, value);
    if (at < highest.size()) groupOf[i] = static_cast<std::uint32_t>(at);
  }
  return groupOf;
}

Packed Grouping::Pack() const {
  return {{"variable", variable}, {"isText", isText}, {"highest", PackDoubles(highest)}, {"levels", levels}};
}

Grouping Grouping::Unpack(const Packed& packed) {
  Grouping grouping{Get<std::string>(packed, "variable"), Get<bool>(packed, "isText"),
                    UnpackDoubles(Member(packed, "highest")),
                    Get<std::vector<std::string>>(packed, "levels")};
  const auto ascends = [](const auto& list) {
    return std::adjacent_find(list.begin(), list.end(),
                              [](const auto& a, const auto& b) { return !(a < b); }) == list.end();
  };
  if (!ascends(grouping.highest) || !ascends(grouping.levels)) FailDamaged();
  return grouping;
}

MeasuredOutcome MeasuredOutcome::Of(const std::string& variable, double lowest, double highest, double mean) {
  MeasuredOutcome outcome;
  outcome.variable = variable;
  const double largest = std::max(std::fabs(lowest), std::fabs(highest));
  outcome.finite = std::isfinite(largest);
  if (!outcome.finite || largest == 0) return outcome;
  std::frexp(largest, &outcome.exponent);
  outcome.centre = std::ldexp(mean, -outcome.exponent);
  const double width = std::max(std::fabs(std::ldexp(lowest, -outcome.exponent) - outcome.centre),
                                std::fabs(std::ldexp(highest, -outcome.exponent) - outcome.centre));
  if (width > 0) std::frexp(width, &outcome.widthExponent);
  return outcome;
}

double MeasuredOutcome::Scaled(double value) const {
  return std::ldexp(std::ldexp(value, -exponent) - centre, -widthExponent);
}

double MeasuredOutcome::Unscaled(double scaled) const {
  return std::ldexp(std::ldexp(scaled, widthExponent) + centre, exponent);
}

double MeasuredOutcome::DistanceFromZero(double scaled) const {
  return std::fabs(scaled + std::ldexp(centre, -widthExponent));
}

double MeasuredOutcome::SquareUnit() const { return std::ldexp(1.0, 2 * (widthExponent + exponent)); }

Packed MeasuredOutcome::Pack() const {
  return {{"variable", variable},
          {"centre", PackDoubles(std::vector{centre})},
          {"exponent", exponent},
          {"widthExponent", widthExponent},
          {"finite", finite}};
}

MeasuredOutcome MeasuredOutcome::Unpack(const Packed& packed) {
  const std::vector<double> centre = UnpackDoubles(Member(packed, "centre"));
  if (centre.size() != 1 || !std::isfinite(centre[0])) FailDamaged();
  constexpr int kMost = 1100;  // beyond the exponent of any double
  MeasuredOutcome outcome{Get<std::string>(packed, "variable"), centre[0], Get<int>(packed, "exponent"),
                          Get<int>(packed, "widthExponent"), Get<bool>(packed, "finite")};
  for (const int exponent : {outcome.exponent, outcome.widthExponent})
    if (exponent < -kMost || exponent > kMost) FailDamaged();
  return outcome;
}

PairSums::PairSums(std::uint32_t groups, std::uint32_t classes, std::uint32_t folds)
    : groups_(groups), classes_(classes), folds_(std::max(folds, 1U)) {
  cells_.resize(Place(0, 0, folds_));
}

void PairSums::Take(const std::vector<std::uint32_t>& groupOf, const OutcomePart& outcome,
                    const PartCases& cases) {
  const auto forEach = [&](auto visit) {
    for (std::size_t i = 0; i < groupOf.size(); ++i) {
      const std::uint32_t classIndex = outcome.classOf[i];
      if (groupOf[i] == kNoGroup || classIndex == kNoGroup) continue;
      visit(Place(groupOf[i], classIndex, outcome.folds.empty() ? 0 : outcome.folds[i]),
            classes_ == 0 ? outcome.values[i] : 0,
            stats::CaseMass{cases.cases[i], cases.frequency[i], cases.weight[i], cases.squares[i]});
    }
  };
  std::vector<Cell> part;
  if (classes_ == 0) {
    part = cases.areSingle ? stats::CollectMoments<false>(cells_.size(), 0, forEach)
                           : stats::CollectMoments<true>(cells_.size(), 0, forEach);
  } else if (cases.areSingle) {
    part = CountCases(groupOf, outcome);
  } else {
    part.resize(cells_.size());
    forEach([&](std::size_t place, double, const stats::CaseMass& mass) {
      part[place].cases += mass.cases;
      part[place].frequency += mass.frequency;
      part[place].weight += mass.weight;
      part[place].squares += mass.squares;
    });
  }
  for (std::size_t at = 0; at < part.size(); ++at) cells_[at].Merge(part[at]);
}

std::vector<PairSums::Cell> PairSums::CountCases(const std::vector<std::uint32_t>& groupOf,
                                                 const OutcomePart& outcome) const {
  std::vector<std::uint64_t> counts(cells_.size());
  for (std::size_t i = 0; i < groupOf.size(); ++i) {
    if (groupOf[i] == kNoGroup || outcome.classOf[i] == kNoGroup) continue;
    ++counts[Place(groupOf[i], outcome.classOf[i], outcome.folds.empty() ? 0 : outcome.folds[i])];
  }
  std::vector<Cell> part(cells_.size());
  for (std::size_t at = 0; at < part.size(); ++at)
    part[at].cases = part[at].frequency = part[at].weight = part[at].squares =
        static_cast<double>(counts[at]);
  return part;
}

void PairSums::Merge(const PairSums& other) {
  if (other.cells_.size() != cells_.size() || other.classes_ != classes_) FailDamaged();
  for (std::size_t i = 0; i < cells_.size(); ++i) cells_[i].Merge(other.cells_[i]);
}

PairSums::Cell PairSums::At(std::uint32_t group, std::uint32_t classIndex, std::uint32_t fold) const {
  if (fold != kNoGroup) return cells_[Place(group, classIndex, fold)];
  Cell all;
  for (std::uint32_t one = 0; one < folds_; ++one) all.Merge(cells_[Place(group, classIndex, one)]);
  return all;
}

Packed PairSums::Pack() const {
  const auto column = [&](double Cell::*member) {
    std::vector<double> values;
    for (const Cell& cell : cells_) values.push_back(cell.*member);
    return values;
  };
  Packed packed = {{"groups", groups_},
                   {"classes", classes_},
                   {"folds", folds_},
                   {"cases", PackCounts(column(&Cell::cases))}};
  const auto same = [&](double Cell::*a, double Cell::*b) {
    return std::all_of(cells_.begin(), cells_.end(), [&](const Cell& c) { return c.*a == c.*b; });
  };
  if (!same(&Cell::frequency, &Cell::cases)) packed["frequency"] = PackCounts(column(&Cell::frequency));
  if (!same(&Cell::weight, &Cell::cases)) packed["weight"] = PackCounts(column(&Cell::weight));
  if (!same(&Cell::squares, &Cell::weight)) packed["squares"] = PackCounts(column(&Cell::squares));
  if (classes_ == 0) {
    packed["means"] = PackDoubles(column(&Cell::mean));
    packed["deviations"] = PackDoubles(column(&Cell::deviations));
    if (packed.contains("squares")) {
      packed["squaresMeans"] = PackDoubles(column(&Cell::squaresMean));
      packed["squaresDeviations"] = PackDoubles(column(&Cell::squaresDeviations));
    }
  }
  return packed;
}

PairSums PairSums::Unpack(const Packed& packed) {
  const auto groups = Get<std::uint32_t>(packed, "groups"), classes = Get<std::uint32_t>(packed, "classes"),
             folds = Get<std::uint32_t>(packed, "folds");
  const std::vector<double> cases = UnpackCounts(Member(packed, "cases"));
  // Checked before anything of that size is allocated.
  const double cells = (static_cast<double>(groups) + 1) * std::max(classes, 1U) * std::max(folds, 1U);
  if (static_cast<double>(cases.size()) != cells) FailDamaged();
  PairSums sums(groups, classes, folds);
  const auto take = [&](const char* name, double Cell::*member, const std::vector<double>& otherwise) {
    std::vector<double> values = otherwise;
    if (packed.contains(name)) {
      const Packed& column = Member(packed, name);
      values = UnpackCounts(column);
    }
    if (values.size() != sums.cells_.size()) FailDamaged();
    for (std::size_t i = 0; i < values.size(); ++i) sums.cells_[i].*member = values[i];
    return values;
  };
  const std::vector<double> zeros(cases.size());
  take("cases", &Cell::cases, cases);
  take("frequency", &Cell::frequency, cases);
  const std::vector<double> weights = take("weight", &Cell::weight, cases);
  take("squares", &Cell::squares, weights);
  if (classes > 0) return sums;
  const std::vector<double> means = take("means", &Cell::mean, zeros);
  const std::vector<double> deviations = take("deviations", &Cell::deviations, zeros);
  take("squaresMeans", &Cell::squaresMean, means);
  take("squaresDeviations", &Cell::squaresDeviations, deviations);
  return sums;
}

}  // namespace velmora::states
