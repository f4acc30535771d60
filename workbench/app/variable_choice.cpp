// Dependents and predictors of a run, out of the command line and of what the columns are good for.
#include "workbench/app/variable_choice.h"

#include <algorithm>

#include "workbench/app/data_input.h"
#include "workbench/app/exit_codes.h"
#include "workbench/data/measurement.h"

namespace velmora {
namespace {

bool Holds(const std::vector<int>& numbers, int number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

void SplitByKind(const Table& table, const std::vector<int>& numbers, std::vector<int>& continuous,
                 std::vector<int>& categorical) {
  for (const int number : numbers) {
    const bool isContinuous = table.Variable(number).measurement == Measurement::kContinuous;
    (isContinuous ? continuous : categorical).push_back(number);
  }
}

// Patterns may match a dependent, the weight or the count by chance; those are quietly no predictors.
std::vector<int> NamedPredictors(const Table& table, const VariableRequest& request,
                                 const std::vector<int>& dependents, const VariableChoice& choice) {
  std::vector<int> predictors;
  for (const int number : NamedVariables(table, "--predictors", request.predictors)) {
    const bool isDependent = Holds(dependents, number);
    const bool isTaken = isDependent || number == choice.weight || number == choice.count;
    if (isTaken && !NamedExactly(table, request.predictors, number)) continue;
    if (isDependent) {
      throw UsageError("--predictors: " + table.Variable(number).name + " is also a dependent variable.");
    }
    predictors.push_back(number);
  }
  return predictors;
}

std::vector<int> DefaultPredictors(const Table& table, const std::vector<int>& dependents,
                                   VariableChoice& choice) {
  std::vector<char> taken(table.columns.size() + 1, 0);
  for (const int number : dependents) taken[static_cast<std::size_t>(number)] = 1;
  taken[static_cast<std::size_t>(choice.weight)] = 1;
  taken[static_cast<std::size_t>(choice.count)] = 1;
  std::vector<int> predictors;
  for (int number = 1; number <= table.VariableCount(); ++number) {
    if (taken[static_cast<std::size_t>(number)]) continue;
    const Column& column = table.Variable(number);
    if (column.role == Role::kUsable) {
      predictors.push_back(number);
    } else {
      choice.leftOut.push_back({number, column.name, RoleName(column.role), column.roleReason});
    }
  }
  return predictors;
}

// A number to weight or to count by: the variable of the option.
int NumberVariable(const Table& table, const std::string& option, const std::string& name) {
  const int number = NamedVariable(table, option, name);
  if (table.Variable(number).fromText) {
    throw UsageError(option + ": " + table.Variable(number).name + " holds texts, not numbers.");
  }
  return number;
}

void CheckWeights(const Column& weights) {
  const bool any = std::any_of(weights.values.begin(), weights.values.end(), [&](double value) {
    return !IsMissing(value, weights.missingCode) && !NearlyEqualDoubles(value, 0);
  });
  if (!any) throw RunError("The weight variable " + weights.name + " is 0 or missing in every case.");
}

}  // namespace

VariableChoice ChooseVariables(const Table& table, const VariableRequest& request) {
  VariableChoice choice;
  const std::vector<int> dependents = NamedVariables(table, "--dependents", request.dependents);
  if (dependents.empty()) throw UsageError("--dependents names no variable.");
  if (!request.weight.empty()) {
    choice.weight = NumberVariable(table, "--weight", request.weight);
    CheckWeights(table.Variable(choice.weight));
  }
  if (!request.count.empty()) choice.count = NumberVariable(table, "--count", request.count);
  const std::vector<int> predictors = request.predictors.empty()
                                          ? DefaultPredictors(table, dependents, choice)
                                          : NamedPredictors(table, request, dependents, choice);
  if (predictors.empty()) {
    throw UsageError(request.predictors.empty()
                         ? "No usable variable is left as a predictor; name some with --predictors."
                         : "--predictors names no variable besides the dependents.");
  }
  SplitByKind(table, dependents, choice.continuousDependents, choice.categoricalDependents);
  SplitByKind(table, predictors, choice.continuousPredictors, choice.categoricalPredictors);
  return choice;
}

}  // namespace velmora
