#include "workbench/states/variable_survey.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/tolerant.h"
#include "workbench/data/absent_value.h"
#include "workbench/data/errors.h"
#include "workbench/data/measurement.h"

namespace velmora::states {
namespace {

using Kind = VariableSurvey::Kind;

const char* KindWords(Kind kind) {
  switch (kind) {
    case Kind::kNumbers:
      return "numbers";
    case Kind::kTruth:
      return "true and false";
    case Kind::kDays:
      return "dates";
    case Kind::kSeconds:
      return "points in time";
    case Kind::kTexts:
      return "texts";
    case Kind::kNothing:
      break;
  }
  return "nothing";
}

Kind KindOf(const Column& column) {
  if (column.fromText) return Kind::kTexts;
  if (column.fromBoolean) return Kind::kTruth;
  if (column.dateUnit == DateUnit::kDays) return Kind::kDays;
  if (column.dateUnit == DateUnit::kSeconds) return Kind::kSeconds;
  return Kind::kNumbers;
}

bool AreWhole(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return v == std::floor(v); });
}

// The sum of what is made of each value, in four sums that do not wait for each other.
template <typename Make>
double SumOf(std::span<const double> values, Make make) {
  double sums[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= values.size(); i += 4) {
    for (std::size_t j = 0; j < 4; ++j) sums[j] += make(values[i + j]);
  }
  for (; i < values.size(); ++i) sums[0] += make(values[i]);
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

// Deviations are taken from the first value, so that little is lost far from zero.
ranking::Moments MomentsOf(std::span<const double> values) {
  if (values.empty()) return {};
  const auto count = static_cast<double>(values.size());
  const double first = values.front();
  const double mean = SumOf(values, [&](double v) { return v - first; }) / count;
  const auto square = [&](double v) { return (v - first - mean) * (v - first - mean); };
  return {count, first + mean, SumOf(values, square)};
}

}  // namespace

VariableSurvey::VariableSurvey(std::string name, const SurveyLimits& limits)
    : name_(std::move(name)), limits_(limits), used_(limits.cells) {}

void VariableSurvey::SetKind(Kind kind) {
  if (kind == Kind::kNothing || kind == kind_) return;
  if (kind_ != Kind::kNothing)
    throw DataError("The column \"" + name_ + "\" holds " + KindWords(kind_) +
                    " in one part of the data and " + KindWords(kind) + " in another.");
  kind_ = kind;
}

void VariableSurvey::Take(const Column& column, const PartCases& cases, bool keepAll) {
  keepsAll_ = keepAll;
  if (column.declaredMeasurement) declared_ = column.declaredMeasurement;
  double valid = 0;
  const MissingRange missing(column.missingCode);
  for (std::size_t i = 0; i < cases.Count(); ++i)
    valid += IsAbsent(column.values[i], missing) ? 0 : cases.cases[i];
  const Kind kind = KindOf(column);
  // A column without any value may be of either kind.
  if (valid > 0 || (kind != Kind::kNumbers && kind != Kind::kTexts)) SetKind(kind);
  valid_ += valid;
  if (valid == 0) return;
  if (kind == Kind::kTexts) return TakeTexts(column, cases);
  if (cases.areSingle) return TakeSingle(column, cases, valid, keepAll);
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    const double value = column.values[i];
    if (IsAbsent(value, missing)) continue;
    whole_ = whole_ && value == std::floor(value);
    if (keepAll) all_.Add(value, cases.cases[i], cases.cases[i]);
    if (cases.used[i] == 0) continue;
    usedCases_ += cases.cases[i];
    used_.Add(value, cases.cases[i], cases.weight[i]);
    moments_.Add(value, cases.weight[i]);
  }
}

void VariableSurvey::TakeSingle(const Column& column, const PartCases& cases, double valid, bool keepAll) {
  const MissingRange missing(column.missingCode);
  std::vector<double> present, used;
  if (const auto count = static_cast<double>(cases.Count());
      !keepAll && cases.totals.used == count && valid == count) {
    return TakeUsed({column.values.data(), cases.Count()});
  }
  present.reserve(cases.Count());
  used.reserve(cases.Count());
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    const double value = column.values[i];
    if (IsAbsent(value, missing)) continue;
    if (keepAll) present.push_back(value);
    if (cases.used[i] != 0) used.push_back(value);
  }
  whole_ = whole_ && AreWhole(present);
  if (keepAll) all_.AddAll(present);
  TakeUsed(used);
}

void VariableSurvey::TakeUsed(std::span<const double> used) {
  whole_ = whole_ && AreWhole(used);
  usedCases_ += static_cast<double>(used.size());
  used_.AddAll(used);
  moments_.Merge(MomentsOf(used));
}

void VariableSurvey::TakeTexts(const Column& column, const PartCases& cases) {
  std::vector<LevelCount> counts(column.labels.size() + 1);
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (IsAbsent(column, i)) continue;
    const double code = column.values[i];
    if (!(code >= 1 && code <= static_cast<double>(column.labels.size()))) continue;
    LevelCount& count = counts[static_cast<std::size_t>(code)];
    count.all += cases.cases[i];
    if (cases.used[i] == 0) continue;
    count.cases += cases.cases[i];
    count.mass += cases.weight[i];
  }
  for (std::size_t code = 1; code < counts.size(); ++code) {
    usedCases_ += counts[code].cases;
    moments_.mass += counts[code].mass;
    if (tooManyLevels_ || counts[code].all == 0) continue;
    LevelCount& level = levels_[column.labels[code - 1].text];
    level.all += counts[code].all;
    level.cases += counts[code].cases;
    level.mass += counts[code].mass;
  }
  CheckLevels();
}

void VariableSurvey::CheckLevels() {
  if (levels_.size() <= limits_.levels) return;
  tooManyLevels_ = true;
  levels_.clear();
}

void VariableSurvey::Merge(const VariableSurvey& other) {
  SetKind(other.kind_);
  if (other.declared_) declared_ = other.declared_;
  whole_ = whole_ && other.whole_;
  valid_ += other.valid_;
  all_.Merge(other.all_);
  used_.Merge(other.used_);
  usedCases_ += other.usedCases_;
  if (kind_ == Kind::kTexts) {
    moments_.mass += other.moments_.mass;
  } else {
    moments_.Merge(other.moments_);
  }
  tooManyLevels_ = tooManyLevels_ || other.tooManyLevels_;
  if (tooManyLevels_) {
    levels_.clear();
    return;
  }
  for (const auto& [text, count] : other.levels_) {
    LevelCount& level = levels_[text];
    level.all += count.all;
    level.cases += count.cases;
    level.mass += count.mass;
  }
  CheckLevels();
}

double VariableSurvey::Lowest() const { return used_.Cells().empty() ? 0 : used_.Cells().front().low; }
double VariableSurvey::Highest() const { return used_.Cells().empty() ? 0 : used_.Cells().back().high; }

std::size_t VariableSurvey::Distinct() const {
  if (kind_ == Kind::kTexts)
    return static_cast<std::size_t>(std::count_if(levels_.begin(), levels_.end(),
                                                  [](const auto& level) { return level.second.cases > 0; }));
  return used_.Cells().size();
}

Column VariableSurvey::Representative(std::optional<Measurement> declared) const {
  Column column;
  column.name = name_;
  column.declaredMeasurement = declared ? declared : declared_;
  ValueSurvey survey;
  survey.valid = static_cast<std::int64_t>(valid_);
  if (kind_ == Kind::kTexts) {
    column.fromText = true;
    double code = 0;
    for (const auto& [text, count] : levels_) {
      column.labels.push_back({++code, text});
      if (count.cases > 0) column.values.Own().push_back(code);
    }
    survey.distinct = static_cast<std::int64_t>(levels_.size());
    if (tooManyLevels_) survey.distinct = static_cast<std::int64_t>(limits_.levels) + 1;
  } else {
    column.fromBoolean = kind_ == Kind::kTruth;
    if (column.fromBoolean) column.labels = {{0, "false"}, {1, "true"}};
    if (kind_ == Kind::kDays) column.dateUnit = DateUnit::kDays;
    if (kind_ == Kind::kSeconds) column.dateUnit = DateUnit::kSeconds;
    for (const ValueCell& cell : used_.Cells()) column.values.Own().push_back(cell.low);
    const ValueCells& all = keepsAll_ ? all_ : used_;
    survey.whole = whole_;
    survey.everyValueLabelled = column.fromBoolean;
    if (!all.Cells().empty()) {
      survey.minimum = all.Cells().front().low;
      survey.maximum = all.Cells().back().high;
    }
    survey.distinct = static_cast<std::int64_t>(all.Cells().size());
    // Cells of whole numbers of which none can occur twice.
    const auto isFull = [](const ValueCell& cell) { return cell.cases <= cell.high - cell.low + 1; };
    if (whole_ && !all.IsExact() && std::all_of(all.Cells().begin(), all.Cells().end(), isFull))
      survey.distinct = survey.valid;
  }
  InferMeasurement(survey, column);
  if (tooManyLevels_) {
    column.role = Role::kIdentifier;
    column.roleReason = "more than " + std::to_string(limits_.levels) + " different texts";
  }
  return column;
}

Packed VariableSurvey::Pack() const {
  Packed packed = {
      {"name", name_},
      {"cells", limits_.cells},
      {"levelLimit", limits_.levels},
      {"kind", static_cast<int>(kind_)},
      {"declared", declared_ ? static_cast<int>(*declared_) : -1},
      {"whole", whole_},
      {"keepsAll", keepsAll_},
      {"all", all_.Pack()},
      {"used", used_.Pack()},
      {"tooManyLevels", tooManyLevels_},
      {"sums", PackDoubles(std::vector{valid_, usedCases_, moments_.mass, moments_.mean, moments_.squares})}};
  std::vector<double> counts[3];
  Packed texts = Packed::array();
  for (const auto& [text, count] : levels_) {
    texts.push_back(text);
    counts[0].push_back(count.all);
    counts[1].push_back(count.cases);
    counts[2].push_back(count.mass);
  }
  packed["levels"] = {{"texts", std::move(texts)},
                      {"all", PackCounts(counts[0])},
                      {"cases", PackCounts(counts[1])},
                      {"mass", PackCounts(counts[2])}};
  return packed;
}

VariableSurvey VariableSurvey::Unpack(const Packed& packed) {
  VariableSurvey survey(Get<std::string>(packed, "name"),
                        {Get<std::size_t>(packed, "cells"), Get<std::size_t>(packed, "levelLimit")});
  const int kind = Get<int>(packed, "kind"), declared = Get<int>(packed, "declared");
  const std::vector<double> sums = UnpackDoubles(Member(packed, "sums"));
  if (kind < 0 || kind > static_cast<int>(Kind::kTexts) || declared < -1 || declared > 1 || sums.size() != 5)
    FailDamaged();
  survey.kind_ = static_cast<Kind>(kind);
  if (declared >= 0) survey.declared_ = static_cast<Measurement>(declared);
  survey.whole_ = Get<bool>(packed, "whole");
  survey.keepsAll_ = Get<bool>(packed, "keepsAll");
  survey.all_ = ValueCells::Unpack(Member(packed, "all"));
  survey.used_ = ValueCells::Unpack(Member(packed, "used"));
  survey.tooManyLevels_ = Get<bool>(packed, "tooManyLevels");
  survey.valid_ = CheckedCount(sums[0]);
  survey.usedCases_ = CheckedCount(sums[1]);
  survey.moments_ = {sums[2], sums[3], sums[4]};
  const Packed& levels = Member(packed, "levels");
  const auto texts = Get<std::vector<std::string>>(levels, "texts");
  const std::vector<double> all = UnpackCounts(Member(levels, "all"));
  const std::vector<double> cases = UnpackCounts(Member(levels, "cases"));
  const std::vector<double> mass = UnpackCounts(Member(levels, "mass"));
  if (all.size() != texts.size() || cases.size() != texts.size() || mass.size() != texts.size())
    FailDamaged();
  for (std::size_t i = 0; i < texts.size(); ++i) survey.levels_[texts[i]] = {all[i], cases[i], mass[i]};
  return survey;
}

}  // namespace velmora::states
