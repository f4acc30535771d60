#include "workbench/cli/screen/screen_choice.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/parse_number.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/distinct_values.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr std::size_t kMostCodesListed = 12;
constexpr std::size_t kMostResponseCodes = 1000;

// The cases that count: selected, with a positive weight.
class UsedCases {
 public:
  UsedCases(const Table& table, const CaseBitmap& selected, int weight) : table_(table), selected_(selected) {
    if (weight != 0) weights_ = &table.Variable(weight);
  }
  bool Contains(std::size_t index) const {
    if (!selected_.Contains(static_cast<std::int64_t>(index))) return false;
    return weights_ == nullptr ||
           (!IsMissing(weights_->values[index], weights_->missingCode) && weights_->values[index] > 0);
  }

  // The distinct values of a variable, ascending.
  std::vector<double> Distinct(int variableNumber) const {
    DistinctValues values;
    ForValues(variableNumber, [&](double value) {
      values.Add(value);
      return true;
    });
    return std::move(values).Ascending();
  }

  // The same, at most limit of them; values that differ only by rounding are one.
  std::vector<double> Distinct(int variableNumber, std::size_t limit) const {
    std::vector<double> values;
    ForValues(variableNumber, [&](double value) {
      if (!values.empty() && values.back() == value) return true;  // files are often sorted
      if (std::none_of(values.begin(), values.end(),
                       [&](double seen) { return seen == value || vlm::NearlyEqual(seen, value); }))
        values.push_back(value);
      return values.size() < limit;
    });
    std::sort(values.begin(), values.end());
    return values;
  }

 private:
  // Until use(value) is false.
  template <typename Use>
  void ForValues(int variableNumber, Use use) const {
    const Column& column = table_.Variable(variableNumber);
    const MissingRange missing(column.missingCode);
    for (std::size_t index = 0; index < column.values.size(); ++index) {
      const double value = column.values[index];
      if (std::isnan(value) || missing.Contains(value) || !Contains(index)) continue;
      if (!use(value)) return;
    }
  }

  const Table& table_;
  const CaseBitmap& selected_;
  const Column* weights_ = nullptr;
};

std::string CodeShown(const Column& column, double code) {
  const std::string* label = column.LabelOf(code);
  if (label == nullptr) return ShortestNumber(code);
  return column.fromText || column.fromBoolean ? *label : ShortestNumber(code) + " (" + *label + ")";
}

// A response needs at least two values.
[[noreturn]] void FailOneValue(const Column& column, const std::vector<double>& values) {
  throw RunError("The response " + column.name + " has " +
                 (values.empty() ? "no value" : "one value, " + CodeShown(column, values.front()) + ",") +
                 " in the cases used.");
}

std::string CodesShown(const Column& column, const std::vector<double>& codes) {
  std::string text;
  for (std::size_t i = 0; i < codes.size() && i < kMostCodesListed; ++i) {
    if (i > 0) text += i + 1 == codes.size() ? " and " : ", ";
    text += CodeShown(column, codes[i]);
  }
  if (codes.size() > kMostCodesListed)
    text += " and " + std::to_string(codes.size() - kMostCodesListed) + " more";
  return text;
}

// The code with this label or, where the values are numbers, this number.
double FindCode(const Column& column, const std::vector<double>& codes, const std::string& option,
                const std::string& text) {
  const auto among = [&](double value) {
    return std::find_if(codes.begin(), codes.end(),
                        [&](double code) { return vlm::NearlyEqual(code, value); });
  };
  if (const double* labelled = column.ValueOf(text); labelled != nullptr && among(*labelled) != codes.end())
    return *among(*labelled);
  const auto number = column.fromText ? std::nullopt : vlm::ParseNumber<double>(text);
  if (number && among(*number) != codes.end()) return *among(*number);
  std::vector<std::string> words;
  for (const double code : codes) {
    const std::string* label = column.LabelOf(code);
    if (label != nullptr) words.push_back(*label);
  }
  const std::string nearest = NearestWord(text, words);
  throw UsageError(option + ": " + ShortenedText(text) + " is not a value of " + column.name +
                   ", whose values are " + CodesShown(column, codes) +
                   (nearest.empty() ? "." : "; did you mean " + nearest + "?"));
}

void ChooseCodes(const Table& table, const ScreenRequest& request, const UsedCases& used,
                 ScreenChoice& choice) {
  const Column& column = table.Variable(choice.binaryResponse);
  const std::vector<double> codes = used.Distinct(choice.binaryResponse);
  if (codes.size() < 2) FailOneValue(column, codes);
  if (request.good.empty() || request.bad.empty()) {
    const bool both = request.good.empty() && request.bad.empty();
    throw UsageError("--binary-response " + column.name + " needs " +
                     (both                   ? "--good CODE and --bad CODE"
                      : request.good.empty() ? "--good CODE"
                                             : "--bad CODE") +
                     "; its codes are " + CodesShown(column, codes) + ".");
  }
  const double good = FindCode(column, codes, "--good", request.good);
  const double bad = FindCode(column, codes, "--bad", request.bad);
  if (good == bad) {
    throw UsageError("--good and --bad both name " + CodeShown(column, good) + "; the codes of " +
                     column.name + " are " + CodesShown(column, codes) + ".");
  }
  choice.good = good;
  choice.bad = bad;
}

void CheckContinuousResponse(const Table& table, const UsedCases& used, int response) {
  const Column& column = table.Variable(response);
  if (column.fromText) {
    throw UsageError("--continuous-response: " + column.name +
                     " holds texts, not numbers; did you mean --categorical-response?");
  }
  const std::vector<double> values = used.Distinct(response, 2);
  if (values.size() < 2) FailOneValue(column, values);
}

void CheckCategoricalResponse(const Table& table, const UsedCases& used, int response) {
  const Column& column = table.Variable(response);
  const std::vector<double> codes = used.Distinct(response);
  if (codes.size() < 2) FailOneValue(column, codes);
  if (codes.size() > kMostResponseCodes) {
    throw UsageError("--categorical-response: " + column.name + " has " + std::to_string(codes.size()) +
                     " different values; a categorical response has at most " +
                     std::to_string(kMostResponseCodes) + ".");
  }
  if (!std::isfinite(codes.front()) || !std::isfinite(codes.back()))
    throw RunError("The response " + column.name + " has infinite values, which cannot be codes.");
}

// Categorical predictors need two levels. Those that were not named are left out with the reason.
void LeaveOutOneLevel(const Table& table, const ScreenRequest& request, const UsedCases& used,
                      ScreenChoice& choice) {
  std::vector<int> kept;
  for (const int number : choice.categoricalPredictors) {
    const Column& column = table.Variable(number);
    const std::vector<double> levels = used.Distinct(number, 2);
    if (levels.size() == 2) {
      kept.push_back(number);
      continue;
    }
    const std::string reason = levels.empty()
                                   ? "no level in the cases used"
                                   : "one level in the cases used, " + CodeShown(column, levels.front());
    if (!request.predictors.empty() && NamedExactly(table, request.predictors, number)) {
      throw UsageError("--predictors: " + column.name + " has " + reason +
                       "; a categorical predictor needs two.");
    }
    choice.leftOut.push_back({number, column.name, RoleName(Role::kConstant), reason});
  }
  choice.categoricalPredictors = std::move(kept);
}

// Whether the values of a categorical variable have an order: numbers that are more than names.
bool HasOrder(const Table& table, const UsedCases& used, int number) {
  constexpr std::size_t kFewestToOrder = 3;
  const Column& column = table.Variable(number);
  return !column.fromText && !column.fromBoolean && column.labels.empty() &&
         used.Distinct(number, kFewestToOrder).size() == kFewestToOrder;
}

// Moves the predictors whose values have an order to the continuous ones.
void TakeInOrder(const Table& table, const ScreenRequest& request, const UsedCases& used,
                 ScreenChoice& choice) {
  const std::vector<int> ordinal = NamedVariables(table, "--ordinal", request.ordinal);
  const std::vector<int> nominal = NamedVariables(table, "--nominal", request.nominal);
  const std::vector<int> categories = NamedVariables(table, "--categorical", request.categories);
  const auto holds = [](const std::vector<int>& numbers, int number) {
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
  };
  for (const int number : ordinal) {
    const Column& column = table.Variable(number);
    if (holds(nominal, number)) throw UsageError("--ordinal and --nominal both name " + column.name + ".");
    if (column.fromText) {
      throw UsageError("--ordinal: " + column.name +
                       " holds texts, whose order is not known; give its groups in order with --cut-points.");
    }
  }
  std::vector<int> unordered;
  for (const int number : choice.categoricalPredictors) {
    const bool ordered =
        holds(ordinal, number) || (request.ordersNumbers && !holds(nominal, number) &&
                                   !holds(categories, number) && HasOrder(table, used, number));
    (ordered ? choice.continuousPredictors : unordered).push_back(number);
  }
  std::vector<int> ordered;
  for (const int number : choice.continuousPredictors)
    (holds(nominal, number) ? unordered : ordered).push_back(number);
  choice.categoricalPredictors = std::move(unordered);
  choice.continuousPredictors = std::move(ordered);
  std::sort(choice.categoricalPredictors.begin(), choice.categoricalPredictors.end());
  std::sort(choice.continuousPredictors.begin(), choice.continuousPredictors.end());
}

}  // namespace

int ScreenChoice::Response(vlm::ResponseKind kind) const {
  if (kind == vlm::kBinaryResponse) return binaryResponse;
  return kind == vlm::kContinuousResponse ? continuousResponse : categoricalResponse;
}

bool ScreenChoice::IsPredictor(int variableNumber) const {
  const auto holds = [&](const std::vector<int>& numbers) {
    return std::find(numbers.begin(), numbers.end(), variableNumber) != numbers.end();
  };
  return holds(continuousPredictors) || holds(categoricalPredictors);
}

ScreenChoice ChooseForScreening(const Table& table, const ScreenRequest& request, const CaseBitmap& selected,
                                int weight) {
  ScreenChoice choice;
  choice.weight = weight;
  std::vector<int> responses;
  const auto name = [&](const char* option, const std::string& text, int& number) {
    if (text.empty()) return;
    number = NamedVariable(table, option, text);
    responses.push_back(number);
  };
  name("--binary-response", request.binary, choice.binaryResponse);
  name("--continuous-response", request.continuous, choice.continuousResponse);
  name("--categorical-response", request.categorical, choice.categoricalResponse);

  if (selected.IncludedCount() == 0) {
    throw RunError("The selection keeps none of the " + std::to_string(selected.CaseCount()) + " cases.");
  }
  const UsedCases used(table, selected, weight);
  if (choice.binaryResponse != 0) ChooseCodes(table, request, used, choice);
  if (choice.continuousResponse != 0) CheckContinuousResponse(table, used, choice.continuousResponse);
  if (choice.categoricalResponse != 0) CheckCategoricalResponse(table, used, choice.categoricalResponse);

  std::vector<int> taken = {weight};
  for (const auto& [option, variable] :
       {std::pair("--by", &request.by), std::pair("--strata", &request.strata),
        std::pair("--clusters", &request.clusters)}) {
    if (variable->empty()) continue;
    taken.push_back(NamedVariable(table, option, *variable));
    if (std::find(responses.begin(), responses.end(), taken.back()) != responses.end())
      throw UsageError(std::string(option) + ": " + table.Variable(taken.back()).name +
                       " is the response; name a variable that makes groups of cases.");
  }
  const std::vector<int> predictors =
      ChoosePredictors(table, {request.predictors, responses, std::move(taken), "response"}, choice.leftOut);
  SplitByKind(table, predictors, choice.continuousPredictors, choice.categoricalPredictors);
  if (request.ordersNumbers || !request.ordinal.empty() || !request.nominal.empty())
    TakeInOrder(table, request, used, choice);
  LeaveOutOneLevel(table, request, used, choice);
  const bool anyVaries = !choice.categoricalPredictors.empty() ||
                         std::any_of(choice.continuousPredictors.begin(), choice.continuousPredictors.end(),
                                     [&](int number) { return used.Distinct(number, 2).size() == 2; });
  if (!anyVaries) throw RunError("No predictor has two different values in the cases used.");
  return choice;
}

}  // namespace velmora
