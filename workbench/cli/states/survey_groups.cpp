#include "workbench/cli/states/survey_groups.h"

#include "base/tolerant.h"

namespace velmora {

using states::Grouping;
using states::VariableSurvey;

std::vector<SurveyedValue> ValuesOf(const VariableSurvey& survey) {
  std::vector<SurveyedValue> values;
  const bool isExact = survey.Cells().IsExact();
  for (const states::ValueCell& cell : survey.Cells().Cells()) {
    if (isExact && !values.empty() && vlm::NearlyEqual(values.back().high, cell.low)) {
      SurveyedValue& last = values.back();
      last.high = cell.high;
      last.cases += cell.cases;
      last.mass += cell.mass;
    } else {
      values.push_back({cell.low, cell.high, cell.cases, cell.mass});
    }
  }
  return values;
}

Grouping LevelsOf(const VariableSurvey& survey) {
  Grouping grouping;
  grouping.variable = survey.Name();
  grouping.isText = survey.HoldsKind() == VariableSurvey::Kind::kTexts;
  if (grouping.isText) {
    for (const auto& [text, count] : survey.Levels()) {
      if (count.cases > 0) grouping.levels.push_back(text);
    }
  } else {
    for (const SurveyedValue& value : ValuesOf(survey)) grouping.highest.push_back(value.high);
  }
  return grouping;
}

Grouping IntervalsOf(const VariableSurvey& survey, const ranking::IntervalRule& rule, double massFactor) {
  Grouping grouping;
  grouping.variable = survey.Name();
  const std::vector<SurveyedValue> values = ValuesOf(survey);
  if (values.empty()) return grouping;
  std::vector<double> bounds;
  if (rule.method == ranking::IntervalMethod::kEqualWidth) {
    ranking::Moments moments = survey.UsedMoments();
    moments.mass *= massFactor;
    moments.squares *= massFactor;
    bounds = ranking::EqualWidthBounds(values.front().low, moments, rule.intervals);
  } else {
    std::vector<ranking::ValueMass> masses;
    for (const SurveyedValue& value : values) masses.push_back({value.high, value.mass});
    bounds = ranking::QuantileBounds(masses, rule.intervals);
  }
  std::size_t bound = 0;
  for (const SurveyedValue& value : values) {
    bool isNext = grouping.highest.empty();
    for (; bound < bounds.size() && vlm::GreaterBeyondTolerance(value.low, bounds[bound]); ++bound)
      isNext = true;
    if (isNext) grouping.highest.push_back(value.high);
    grouping.highest.back() = value.high;
  }
  return grouping;
}

}  // namespace velmora
