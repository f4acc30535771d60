#include "workbench/cli/states/database_run.h"

#include <algorithm>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/states/survey_run.h"
#include "workbench/data/measurement.h"
#include "workbench/push_down/table_counter.h"

namespace velmora {
namespace {

using push_down::SqlColumn;
using push_down::TableCounter;
using push_down::ValueKind;

// Columns of the parts that the answers become. No column of a table is called so by chance.
constexpr char kCases[] = "velmora cases", kSquares[] = "velmora squares";
constexpr std::size_t kMostTexts = 100000;
constexpr std::size_t kMostValues = 1 << 16;

// What the options of either analysis say about columns.
struct ColumnRequest {
  std::string outcomeOption;
  std::vector<std::string> outcomes, predictors;  // values of options
  PushDownOptions pushDown;
};

ColumnRequest RequestOf(const std::string& analysis, const std::vector<std::string>& words) {
  if (analysis == "feature-selection") {
    const FeatureSelectionOptions options = ParseFeatureSelection(words);
    return {"--dependents", options.variables.dependents, options.variables.predictors, options.pushDown};
  }
  const ScreenOptions options = ParseScreen(words);
  const ScreenRequest& request = options.request;
  if (!request.continuous.empty())
    throw UsageError(
        "--continuous-response needs the cases, which stay in the database with --push-down; "
        "feature-selection ranks the predictors of a measured outcome there.");
  const bool isBinary = !request.binary.empty();
  return {isBinary ? "--binary-response" : "--categorical-response",
          {isBinary ? request.binary : request.categorical},
          request.predictors,
          options.pushDown};
}

// The columns without those that the readers of databases leave out, so that variable numbers
// agree.
std::vector<SqlColumn> ColumnsWithValues(const push_down::SqlTable& table) {
  std::vector<SqlColumn> columns = push_down::ReadColumns(table);
  std::string left;
  for (const SqlColumn& column : columns)
    if (!column.kind) left += (left.empty() ? "" : ", ") + column.name;
  if (!left.empty()) Warn("Columns of lists, structures or bytes are left out: " + left + ".");
  std::erase_if(columns, [](const SqlColumn& column) { return !column.kind; });
  return columns;
}

// The columns without cases, for names and patterns of options.
Table HeaderOf(const std::vector<SqlColumn>& columns) {
  Table header;
  for (const SqlColumn& one : columns) {
    Column& column = header.columns.emplace_back();
    column.name = one.name;
    column.fromText = one.kind == ValueKind::kText;
  }
  return header;
}

std::map<std::string, std::vector<std::string>> MissingCodesOf(const DataOptions& data, const Table& header) {
  std::map<std::string, std::vector<std::string>> codes;
  for (const std::string& option : data.missingCodes) {
    try {
      const MissingOption parsed = ParseMissingOption(header, option);
      for (const int number : parsed.variableNumbers) {
        std::vector<std::string>& own = codes[header.Variable(number).name];
        for (std::string& code : SplitList({parsed.codes})) own.push_back(std::move(code));
      }
    } catch (const DataError& error) {
      throw UsageError(std::string("--missing: ") + error.what());
    }
  }
  return codes;
}

class DatabaseRun {
 public:
  DatabaseRun(const std::string& analysis, const std::vector<std::string>& words,
              const push_down::SqlTable& table)
      : request_(RequestOf(analysis, words)),
        first_(StartPartRun(analysis, words, {{kMostValues, kMostTexts}, kCases, kSquares})),
        survey_(dynamic_cast<SurveyRun&>(*first_)),
        table_(table),
        columns_(ColumnsWithValues(table)),
        header_(HeaderOf(columns_)) {}

  std::unique_ptr<FinishedRun> Run(const std::string& dataName) {
    const std::vector<TableCounter::Chosen> chosen = Choose();
    ProgressBar bar;
    push_down::CountingRules rules;
    rules.where = request_.pushDown.where;
    rules.cases = survey_.Rules();
    rules.cells = static_cast<std::size_t>(request_.pushDown.cells);
    rules.levels = kMostTexts;
    rules.missingTexts = survey_.MissingTexts();
    rules.missingCodes = MissingCodesOf(survey_.Data(), header_);
    rules.progress = [&](double fraction) {
      StopIfInterrupted();
      bar.Update(fraction);
    };
    TableCounter counter(table_, columns_, rules);
    bar.Start("Counting values in the database");
    const states::CaseTotals totals = counter.CountCases();
    std::vector<std::string> names;
    for (const SqlColumn& column : columns_) names.push_back(column.name);
    survey_.StartCounted(names, totals);
    if (totals.used > 0) counter.Survey(chosen, [&](Table part) { survey_.Take(std::move(part)); });
    RequireOutcomes(counter);
    const std::unique_ptr<PartRun> second = ReadPartRun(survey_.SecondPass());
    bar.Start("Counting cases in the database");
    CountPairs(counter, dynamic_cast<SumsRun&>(*second));
    bar.Finish();
    std::unique_ptr<FinishedRun> run = survey_.Finish(*second, "");
    for (const push_down::LeftOutColumn& one : counter.LeftOut()) AddLeftOut(one);
    if (run->featureSelection) Complete(dataName, counter, *run->featureSelection);
    if (run->screening) Complete(dataName, counter, *run->screening);
    if (run->bins) run->bins->dataFile = dataName;
    return run;
  }

 private:
  std::vector<TableCounter::Chosen> Choose() {
    std::vector<TableCounter::Chosen> chosen;
    const states::CaseRules& rules = survey_.Rules();
    outcomes_ = NamedVariables(header_, request_.outcomeOption, request_.outcomes);
    for (const int number : outcomes_) chosen.push_back({header_.Variable(number).name, true});
    std::vector<int> predictors = NamedVariables(header_, "--predictors", request_.predictors);
    if (request_.predictors.empty()) {
      for (int number = 1; number <= header_.VariableCount(); ++number) predictors.push_back(number);
    }
    for (const int number : predictors) {
      const SqlColumn& column = columns_[static_cast<std::size_t>(number - 1)];
      const bool isNamed = !request_.predictors.empty() && NamedExactly(header_, request_.predictors, number);
      if (std::find(outcomes_.begin(), outcomes_.end(), number) != outcomes_.end()) continue;
      if (column.name == rules.weight || column.name == rules.count) {
        if (isNamed)
          throw UsageError("--predictors: " + column.name +
                           " weights the cases, and is no predictor with --push-down.");
        continue;
      }
      if (isNamed || IsCounted(column, number)) chosen.push_back({column.name, isNamed});
    }
    return chosen;
  }

  // Columns that are left out by default need no counting.
  bool IsCounted(const SqlColumn& column, int number) {
    if (column.kind != ValueKind::kDays && column.kind != ValueKind::kSeconds) return true;
    leftOut_.push_back({number, column.name, RoleName(Role::kDate),
                        column.kind == ValueKind::kDays ? "date" : "date and time"});
    return false;
  }

  void AddLeftOut(const push_down::LeftOutColumn& one) {
    leftOut_.push_back(
        {NamedVariable(header_, "--predictors", one.name), one.name, RoleName(one.role), one.reason});
  }

  void RequireOutcomes(const TableCounter& counter) const {
    for (const push_down::LeftOutColumn& one : counter.LeftOut()) {
      for (const int number : outcomes_) {
        if (header_.Variable(number).name == one.name)
          throw UsageError(request_.outcomeOption + ": " + one.name + " has " + one.reason + ".");
      }
    }
  }

  static void CountPairs(TableCounter& counter, SumsRun& second) {
    const SumsRun::Plan& plan = second.ThePlan();
    for (std::size_t d = 0; d < plan.outcomes.size(); ++d) {
      const SumsRun::Outcome& outcome = plan.outcomes[d];
      if (outcome.IsMeasured() && !(plan.rules.weight.empty() && plan.rules.count.empty()))
        throw UsageError("Weights and counts with the measured outcome " + outcome.measured.variable +
                         " need the cases, which stay in the database with --push-down.");
      std::vector<std::string> predictors;
      for (std::size_t p = 0; p < plan.predictors.size(); ++p) {
        if (plan.counted[p * plan.outcomes.size() + d] != 0)
          predictors.push_back(plan.predictors[p].variable);
      }
      counter.CountPairs(predictors,
                         outcome.IsMeasured() ? outcome.measured.variable : outcome.classes.variable,
                         outcome.IsMeasured(), [&](Table part) { second.Take(std::move(part)); });
    }
  }

  template <typename Report>
  void Complete(const std::string& dataName, const TableCounter& counter, Report& report) const {
    report.dataFile = dataName;
    report.select = request_.pushDown.where;
    const auto isOurs = [&](const LeftOutVariable& variable) {
      return std::any_of(leftOut_.begin(), leftOut_.end(),
                         [&](const LeftOutVariable& ours) { return ours.number == variable.number; });
    };
    std::erase_if(report.leftOut, isOurs);
    report.leftOut.insert(report.leftOut.end(), leftOut_.begin(), leftOut_.end());
    std::sort(report.leftOut.begin(), report.leftOut.end(),
              [](const LeftOutVariable& a, const LeftOutVariable& b) { return a.number < b.number; });
    const push_down::CutColumns cut = counter.CutColumns();
    if (cut.count > 0)
      report.notices.push_back(
          PrecisionSentence(cut.count, static_cast<std::size_t>(request_.pushDown.cells), cut.largestShare));
  }

  ColumnRequest request_;
  std::unique_ptr<PartRun> first_;
  SurveyRun& survey_;
  const push_down::SqlTable& table_;
  std::vector<SqlColumn> columns_;
  Table header_;
  std::vector<int> outcomes_;
  std::vector<LeftOutVariable> leftOut_;
};

}  // namespace

std::unique_ptr<FinishedRun> RunInDatabase(const std::string& analysis, const std::vector<std::string>& words,
                                           const push_down::SqlTable& table, const std::string& dataName) {
  try {
    return DatabaseRun(analysis, words, table).Run(dataName);
  } catch (const push_down::ColumnError& error) {
    throw UsageError(error.what());
  }
}

std::unique_ptr<FinishedRun> RunPushedDown(const std::string& analysis, const std::vector<std::string>& words,
                                           const DataOptions& data) {
  const DatabaseTable table = OpenDatabaseTable(data.path, data.part, data.threads);
  const auto run = [&](const std::string& sql) {
    return table.connection->Rows(sql, [] { return !WasInterrupted(); });
  };
  return RunInDatabase(analysis, words, {table.kind, table.source, run}, table.name);
}

}  // namespace velmora
