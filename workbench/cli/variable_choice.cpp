// Dependents and predictors of a run, from the command line and the roles of the columns.
#include "workbench/cli/variable_choice.h"

#include <algorithm>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/measurement.h"
#include "workbench/data/negative_weights.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"

namespace velmora {
namespace {

constexpr std::size_t kMostLeftOutReported = 20;

bool Holds(const std::vector<int>& numbers, int number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

// Patterns and bundles may match a response, the weight or the count by chance; those are skipped
// without a message.
std::vector<int> NamedPredictors(const Table& table, const PredictorRequest& request) {
  std::vector<int> predictors;
  for (const int number : NamedVariables(table, "--predictors", request.names)) {
    const bool isResponse = Holds(request.responses, number);
    const bool isTaken = isResponse || Holds(request.taken, number);
    if (isTaken && !NamedExactly(table, request.names, number)) continue;
    if (isResponse) {
      throw UsageError("--predictors: " + table.Variable(number).name + " is also a " + request.responseWord +
                       ".");
    }
    predictors.push_back(number);
  }
  return predictors;
}

std::vector<int> DefaultPredictors(const Table& table, const PredictorRequest& request,
                                   std::vector<LeftOutVariable>& leftOut) {
  std::vector<char> taken(table.columns.size() + 1, 0);
  for (const int number : request.responses) taken[static_cast<std::size_t>(number)] = 1;
  for (const int number : request.taken) taken[static_cast<std::size_t>(number)] = 1;
  std::vector<int> predictors;
  for (int number = 1; number <= table.VariableCount(); ++number) {
    if (taken[static_cast<std::size_t>(number)]) continue;
    const Column& column = table.Variable(number);
    if (column.role == Role::kUsable) {
      predictors.push_back(number);
    } else {
      leftOut.push_back({number, column.name, RoleName(column.role), column.roleReason});
    }
  }
  if (!predictors.empty()) return predictors;
  // Consecutive numbers look like an identifier, but are taken as measurements when no other
  // predictor is left.
  std::erase_if(leftOut, [&](const LeftOutVariable& variable) {
    const Column& column = table.Variable(variable.number);
    if (column.role != Role::kIdentifier || column.fromText) return false;
    predictors.push_back(variable.number);
    return true;
  });
  return predictors;
}

// The variable of --weight or --count, which must be a number.
int NumberVariable(const Table& table, const std::string& option, const std::string& name) {
  const int number = NamedVariable(table, option, name);
  if (table.Variable(number).fromText) {
    throw UsageError(option + ": " + table.Variable(number).name + " holds texts, not numbers.");
  }
  return number;
}

void CheckWeights(const Column& weights, const std::string& option, bool any) {
  const bool anyWeight = std::any_of(weights.values.begin(), weights.values.end(), [&](double value) {
    return !IsMissing(value, weights.missingCode) && !vlm::NearlyEqual(value, 0);
  });
  const bool isCount = option == "--count";
  if (!anyWeight) {
    throw RunError(std::string(isCount ? "The count" : "The weight") + " variable " + weights.name +
                   " is 0 or missing in every case.");
  }
  const auto negative = std::count_if(weights.values.begin(), weights.values.end(), [&](double value) {
    return value < 0 && !IsMissing(value, weights.missingCode);
  });
  if (negative > 0 && !any)
    throw UsageError(NegativeWeights(isCount ? "count" : "weight", negative, weights.name));
  if (negative > 0) {
    Warn(Counted(static_cast<std::size_t>(negative), "case has", "cases have") + " a negative weight in " +
         weights.name + "; negative weights are not valid.");
  }
}

// Such a dependent has an empty ranking; the warning gives the reason.
void WarnOfUselessDependents(const Table& table, const std::vector<int>& dependents) {
  for (const int number : dependents) {
    const Column& column = table.Variable(number);
    if (column.role == Role::kAllMissing) {
      Warn("The dependent variable " + column.name + " has no values.");
    } else if (column.role == Role::kConstant) {
      Warn("The dependent variable " + column.name + " has one value only.");
    }
  }
}

const std::string& ReasonOf(const LeftOutVariable& variable) {
  return variable.reason.empty() ? variable.role : variable.reason;
}

// The sentence that no predictor is left, with the variables that were left out and why.
std::string NothingLeft(const std::vector<LeftOutVariable>& leftOut) {
  constexpr std::size_t kMostNamed = 5;
  std::string text = "No usable variable is left as a predictor";
  for (std::size_t i = 0; i < leftOut.size() && i < kMostNamed; ++i) {
    text +=
        (i == 0 ? "; left out: " : ", ") + ShortenedText(leftOut[i].name) + " (" + ReasonOf(leftOut[i]) + ")";
  }
  if (leftOut.size() > kMostNamed) text += " and " + std::to_string(leftOut.size() - kMostNamed) + " more";
  return text + (leftOut.empty() ? "." : ". Use --predictors to screen them anyway.");
}

}  // namespace

void ReportLeftOut(const std::vector<LeftOutVariable>& leftOut) {
  std::size_t told = 0;
  for (const LeftOutVariable& variable : leftOut) {
    if (told++ == kMostLeftOutReported) {
      Report("Not screened: " + std::to_string(leftOut.size() - kMostLeftOutReported) +
             " more; 'velmora variables' lists them all.");
      return;
    }
    Report("Not screened: " + variable.name + " (" + ReasonOf(variable) + ")");
  }
}

std::vector<int> ChoosePredictors(const Table& table, const PredictorRequest& request,
                                  std::vector<LeftOutVariable>& leftOut) {
  const bool named = !request.names.empty();
  std::vector<int> predictors =
      named ? NamedPredictors(table, request) : DefaultPredictors(table, request, leftOut);
  if (predictors.empty() && named) {
    throw UsageError("--predictors names no variable other than each " + std::string(request.responseWord) +
                     ".");
  }
  if (predictors.empty()) throw UsageError(NothingLeft(leftOut));
  return predictors;
}

int ChooseWeight(const Table& table, const std::string& name, bool any) {
  if (name.empty()) {
    if (!table.declaredWeight.empty()) {
      Warn(table.fileName + " weights its cases by " + table.declaredWeight + "; without --weight " +
           table.declaredWeight + " every case counts the same here.");
    }
    return 0;
  }
  const int weight = NumberVariable(table, "--weight", name);
  CheckWeights(table.Variable(weight), "--weight", any);
  return weight;
}

int ChooseCount(const Table& table, const std::string& name) {
  const int count = NumberVariable(table, "--count", name);
  CheckWeights(table.Variable(count), "--count", false);
  return count;
}

int ChooseCaseWeight(const Table& table, const CaseOptions& cases, bool any) {
  if (!cases.count.empty()) return ChooseCount(table, cases.count);
  return ChooseWeight(table, cases.weight, any);
}

void SplitByKind(const Table& table, const std::vector<int>& numbers, std::vector<int>& continuous,
                 std::vector<int>& categorical) {
  for (const int number : numbers) {
    const bool isContinuous = table.Variable(number).measurement == Measurement::kContinuous;
    (isContinuous ? continuous : categorical).push_back(number);
  }
}

void CheckStrataOfCounts(const std::string& strata, const std::string& clusters, const std::string& count) {
  if (!strata.empty() && clusters.empty() && !count.empty())
    throw UsageError("--strata with --count needs --clusters: a row of several cases is not one cluster.");
}

VariableChoice ChooseVariables(const Table& table, const VariableRequest& request) {
  VariableChoice choice;
  const std::vector<int> dependents = NamedVariables(table, "--dependents", request.dependents);
  if (dependents.empty()) throw UsageError("--dependents names no variable.");
  choice.weight = ChooseWeight(table, request.weight, request.anyWeights);
  if (!request.count.empty()) choice.count = NumberVariable(table, "--count", request.count);
  const auto groups = [&](const char* option, const std::string& name) {
    if (name.empty()) return 0;
    const int number = NamedVariable(table, option, name);
    if (std::find(dependents.begin(), dependents.end(), number) != dependents.end())
      throw UsageError(std::string(option) + ": " + table.Variable(number).name +
                       " is the dependent variable; name a variable that makes groups of cases.");
    return number;
  };
  choice.strata = groups("--strata", request.strata);
  choice.clusters = groups("--clusters", request.clusters);
  const std::vector<int> predictors =
      ChoosePredictors(table,
                       {request.predictors,
                        dependents,
                        {choice.weight, choice.count, choice.strata, choice.clusters},
                        "dependent variable"},
                       choice.leftOut);
  WarnOfUselessDependents(table, dependents);
  SplitByKind(table, dependents, choice.continuousDependents, choice.categoricalDependents);
  SplitByKind(table, predictors, choice.continuousPredictors, choice.categoricalPredictors);
  return choice;
}

}  // namespace velmora
