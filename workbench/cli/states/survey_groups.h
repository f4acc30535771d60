// The groups of a variable for the second pass, from the values that the first one keeps.
#pragma once

#include <vector>

#include "workbench/ranking/case_groups.h"
#include "workbench/states/pair_sums.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

// A run of distinct values that are equal within the tolerance, or a cell of many.
struct SurveyedValue {
  double low = 0, high = 0, cases = 0, mass = 0;
};
// Of the used cases, ascending.
std::vector<SurveyedValue> ValuesOf(const states::VariableSurvey& survey);

// The groups of a variable: its levels, or its intervals. massFactor: the factor that gives the
// weights a mean of 1.
states::Grouping LevelsOf(const states::VariableSurvey& survey);
states::Grouping IntervalsOf(const states::VariableSurvey& survey, const ranking::IntervalRule& rule,
                             double massFactor);

}  // namespace velmora
