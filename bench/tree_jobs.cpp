// The jobs with trees, on the continuous predictors.
//
//   tree_bin, tree_cont, tree_cls   the tree of each predictor for one response: the host's tree
//                                   analysis is set up, run and read through the contract, as the
//                                   module does it, up to the cut points
//   screen_bin, screen_cont,        a whole run of the module in a session, from its startup dialog
//   screen_cls, screen_3            to the importance tables: trees, coding and statistics, for one
//                                   response or all three
//
// A leaf keeps 5 % of the cases. No tree is pruned, as the peers' are not; variation "prune" does.
// Every repetition begins without anything made from the data. Variation "categorical" adds the
// categorical predictors to a whole run.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "bench/protocol.h"
#include "contract/text.h"
#include "module/screening/host_calls.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/session/document_adapters.h"
#include "workbench/session/frontend.h"
#include "workbench/session/session.h"

namespace velmora::bench {
namespace {

using vlm::Ref;

// One of the three responses, with the settings of the tree for it.
struct Response {
  const char* word;
  int variable;
  int classCount;  // 0: continuous
  const char* codes;
};
constexpr Response kResponses[kDependents] = {
    {"bin", 1, 2, "0 1"}, {"cont", 2, 0, ""}, {"cls", 3, 5, "1 2 3 4 5"}};

const Response* ResponseOf(const std::string& jobName) {
  const std::string word = jobName.substr(jobName.find('_') + 1);
  const auto found = std::find_if(std::begin(kResponses), std::end(kResponses),
                                  [&](const Response& response) { return response.word == word; });
  return found == std::end(kResponses) ? nullptr : found;
}

// The dependents and the first columns of the predictors that the job takes; STEM.npy has whole
// columns.
Table ReadColumns(const Job& job, const DataShape& shape, bool withCategorical) {
  std::ifstream file(job.stem + ".npy", std::ios::binary);
  Table table;
  table.caseCount = shape.caseCount;
  const auto columnBytes = static_cast<std::streamoff>(shape.caseCount) * std::streamoff{sizeof(double)};
  const auto read = [&](int column, std::string name) {
    Column& added = table.columns.emplace_back();
    added.name = std::move(name);
    std::vector<double>& values = added.values.Own();
    values.resize(static_cast<std::size_t>(shape.caseCount));
    file.seekg(static_cast<std::streamoff>(shape.headerBytes) + column * columnBytes);
    file.read(reinterpret_cast<char*>(values.data()), columnBytes);
    if (!file) throw std::runtime_error("cannot read " + job.stem + ".npy");
  };
  for (int i = 0; i < kDependents; ++i) read(i, std::string("y_") + kResponses[i].word);
  for (int i = 0; i < shape.continuous; ++i) read(kDependents + i, "x" + std::to_string(i));
  for (int i = 0; withCategorical && i < shape.categorical; ++i)
    read(kDependents + shape.allContinuous + i, "c" + std::to_string(i));
  return table;
}

// --- Trees
// ------------------------------------------------------------------------------------------------

// The first column of the structure sheet after the figures of the node.
int SplitColumn(const Response& response) { return response.classCount > 0 ? response.classCount + 4 : 5; }

// Sets one tree up, runs it and reads its sheets. Returns the sheet with its nodes.
vlm::Ref<vlm::ISpreadsheet> ReadTree(HostProcedures& host, const Response& response, int predictor,
                                     int leastCases, std::vector<double>& cutPoints) {
  const auto tree = vlm::Ref<vlm::IProcedure>::Adopt(host.Create(vlm::kTreeProcedure));
  const std::string number = std::to_string(predictor);
  vlmfsl::SetVariableList(*tree, " " + std::to_string(response.variable) + " | | " + number);
  vlmfsl::SetCaseSelection(*tree, {1, "", "IsMD(v" + number + ")"});
  vlmfsl::SetOption(*tree, vlm::kRegressionTreeOption, response.classCount == 0 ? 1 : 0);
  vlmfsl::SetResponseCodes(*tree, response.codes);
  vlmfsl::SetOption(*tree, vlm::kLeastCasesToSplitOption, leastCases);
  vlmfsl::SetOption(*tree, vlm::kLeastCasesInChildOption, leastCases);
  vlmfsl::Run(*tree);
  if (vlmfsl::GetResult(*tree, vlm::kTreeSummaryResult)->GetRowCount() == 0)
    throw std::runtime_error("a tree has no nodes");

  auto structure = vlmfsl::GetResult(*tree, vlm::kTreeStructureResult);
  const int column = SplitColumn(response);
  cutPoints.clear();
  for (int row = 1; row <= structure->GetRowCount(); ++row) {
    const int node = static_cast<int>(vlmfsl::ParseMachineNumber(vlmfsl::RowName(*structure, row)));
    bool splits = true;  // the cells of the predictor and of both branches are filled
    for (int i = 0; i < 3; ++i) splits = !vlmfsl::CellText(*structure, row, column + i).empty() && splits;
    for (int i = 3; i < 5; ++i) splits = vlmfsl::HasValue(structure->GetValue(row, column + i)) && splits;
    if (!splits) continue;
    cutPoints.push_back(vlmfsl::GetResult(*tree, vlm::kTreeNodeResult, node)->GetValue(1, 2));
  }
  std::sort(cutPoints.begin(), cutPoints.end());
  return structure;
}

// Rows of the structure sheet that are terminal nodes.
std::vector<int> Leaves(vlm::ISpreadsheet& structure, const Response& response) {
  std::vector<int> rows;
  for (int row = 1; row <= structure.GetRowCount(); ++row)
    if (vlmfsl::CellText(structure, row, SplitColumn(response)).empty()) rows.push_back(row);
  return rows;
}

// Bins, R-squared, F.
nlohmann::json RegressionFigures(vlm::ISpreadsheet& structure, const Response& response) {
  const std::vector<int> leaves = Leaves(structure, response);
  const auto bins = static_cast<double>(leaves.size());
  const double total = structure.GetValue(1, 1), mean = structure.GetValue(1, 2);
  const double squares = total * structure.GetValue(1, 3);
  double between = 0;
  for (const int row : leaves) {
    const double gap = structure.GetValue(row, 2) - mean;
    between += structure.GetValue(row, 1) * gap * gap;
  }
  const double f = bins > 1 ? between * (total - bins) / (squares - between) / (bins - 1) : 0;
  return {leaves.size(), between / squares, f};
}

// Bins, with two classes information value and Gini, then chi-square.
nlohmann::json ClassFigures(vlm::ISpreadsheet& structure, const Response& response) {
  const std::vector<int> leaves = Leaves(structure, response);
  const double total = structure.GetValue(1, 1);
  double informationValue = 0, gini = 0, chiSquare = 0;
  for (const int row : leaves) {
    const double cases = structure.GetValue(row, 1);
    double squares = 0;
    for (int c = 2; c < 2 + response.classCount; ++c) {
      const double count = structure.GetValue(row, c), expected = cases * structure.GetValue(1, c) / total;
      chiSquare += (count - expected) * (count - expected) / expected;
      squares += count * count;
    }
    gini += (cases - squares / cases) / total;
    const double first = structure.GetValue(row, 2) / structure.GetValue(1, 2);
    const double second = structure.GetValue(row, 3) / structure.GetValue(1, 3);
    if (first > 0 && second > 0) informationValue += (first - second) * std::log(first / second);
  }
  if (response.classCount == 2) return {leaves.size(), informationValue, gini, chiSquare};
  return {leaves.size(), chiSquare};
}

nlohmann::json RunTrees(const Job& job, const Response& response) {
  const DataShape shape(job);
  const Table table = ReadColumns(job, shape, false);
  const auto home = std::make_shared<DocumentHome>();
  ProcedureEnvironment environment;
  environment.table = [&]() -> const Table& { return table; };
  environment.selection = [](std::string&, std::string&) {};
  environment.weightVariable = [] { return 0; };
  environment.wrapSheet = [&](std::shared_ptr<Sheet> sheet) {
    return MakeSpreadsheet(home, 0, std::move(sheet));
  };
  HostProcedures host(std::move(environment));
  host.Settings().pruneTrees = job.Varies("prune");
  const auto leastCases = static_cast<int>(std::max<std::int64_t>(1, shape.caseCount / 20));

  Stopwatch watch;
  std::vector<double> cutPoints;
  std::vector<vlm::Ref<vlm::ISpreadsheet>> checked;
  for (int go = 0; go < job.inner; ++go) {
    host.ForgetCaches();
    checked.clear();
    watch.Start();
    for (int p = 0; p < shape.continuous; ++p) {
      auto structure = ReadTree(host, response, kDependents + 1 + p, leastCases, cutPoints);
      if (p < kChecked) checked.push_back(std::move(structure));
    }
    watch.Stop();
  }
  nlohmann::json check = nlohmann::json::array();
  for (const auto& structure : checked) {
    check.push_back(response.classCount == 0 ? RegressionFigures(*structure, response)
                                             : ClassFigures(*structure, response));
  }
  return watch.Line(shape, table.columns.size(), shape.continuous, std::move(check));
}

// --- Whole runs
// -------------------------------------------------------------------------------------------

class QuietFrontend final : public Frontend {
 public:
  void Message(std::string_view text) override { lastMessage = text; }
  std::string lastMessage;
};

std::string NumbersFrom(int first, int count) {
  std::string list;
  for (int i = 0; i < count; ++i) list += std::to_string(first + i) + " ";
  return list;
}

// Bins and the figure that the predictors are ranked by, of the first predictors in the order of
// the data.
nlohmann::json ScreeningFigures(vlm::IScreeningResults& results, int response) {
  nlohmann::json check = nlohmann::json::array();
  vlm::ScreeningRun run{};
  results.GetRun(response, &run);
  for (int p = 0; p < std::min(kChecked, run.predictorCount); ++p) {
    vlm::ScreeningPredictor predictor{};
    results.GetPredictor(response, p, &predictor);
    const double figure = response == vlm::kBinaryResponse       ? predictor.informationValue
                          : response == vlm::kContinuousResponse ? predictor.rSquared
                                                                 : predictor.chiSquare;
    check.push_back({predictor.binCount, figure});
  }
  return check;
}

class ScreeningJob {
 public:
  explicit ScreeningJob(const Job& job)
      : shape_(job), withCategorical_(job.Varies("categorical")), session_(frontend_, OptionsOf(job)) {
    const bool all = job.name == "screen_3";
    for (int i = 0; i < kDependents; ++i) wanted_[i] = all || ResponseOf(job.name) == &kResponses[i];
    Table table = ReadColumns(job, shape_, withCategorical_);
    columnCount_ = table.columns.size();
    session_.SetTable(std::move(table));
    session_.AnalysisSettings().pruneTrees = job.Varies("prune");
  }

  nlohmann::json Run(int inner) {
    Stopwatch watch;
    for (int go = 0; go < inner; ++go) {
      session_.EndAnalysis();
      // as after a change of the data: drops everything made from them
      session_.SelectCases("", "");
      watch.Start();
      Screen();
      ReadTables();
      watch.Stop();
    }
    const int response = wanted_[0]   ? vlm::kBinaryResponse
                         : wanted_[1] ? vlm::kContinuousResponse
                                      : vlm::kCategoricalResponse;
    return watch.Line(shape_, columnCount_, shape_.continuous + CategoricalCount(),
                      ScreeningFigures(*session_.ScreeningResults(), response));
  }

 private:
  static SessionOptions OptionsOf(const Job& job) {
    SessionOptions options;
    options.threads = job.threads;
    return options;
  }

  int CategoricalCount() const { return withCategorical_ ? shape_.categorical : 0; }

  void Screen() {
    AutomationClient startup = session_.StartScreening();
    const auto chosen = [&](int i) {
      return wanted_[i] ? std::to_string(kResponses[i].variable) : std::string();
    };
    startup.Put("Variables", chosen(1) + "|" + chosen(2) + "|" + chosen(0) + "|" +
                                 NumbersFrom(kDependents + 1 + shape_.continuous, CategoricalCount()) + "|" +
                                 NumbersFrom(kDependents + 1, shape_.continuous));
    if (wanted_[0]) {
      startup.Put("GoodCode", "0");
      startup.Put("BadCode", "1");
    }
    if (wanted_[2]) startup.Put("ResponseCodes", "*");
    if (CategoricalCount() > 0) {
      std::string codes = "*";
      for (int i = 1; i < CategoricalCount(); ++i) codes += "|*";
      startup.Put("FactorCodes", codes);
    }
    startup.Call("OK");
    if (session_.ScreeningResults() == nullptr)
      throw std::runtime_error("the run failed: " + frontend_.lastMessage);
  }

  void ReadTables() {
    constexpr const char* kTables[kDependents] = {"BinaryResponseVariableImportance",
                                                  "ContinuousResponseVariableImportance",
                                                  "CategoricalResponseVariableImportance"};
    AutomationClient results = session_.ResultsDialog();
    for (int i = 0; i < kDependents; ++i)
      if (wanted_[i]) results.Get(kTables[i]);
  }

  DataShape shape_;
  bool withCategorical_;
  bool wanted_[kDependents] = {};
  std::size_t columnCount_ = 0;
  QuietFrontend frontend_;
  Session session_;
};

}  // namespace

bool IsTreeJob(const std::string& name) {
  if (name == "screen_3") return true;
  return (name.starts_with("tree_") || name.starts_with("screen_")) && ResponseOf(name) != nullptr;
}

nlohmann::json RunTreeJob(const Job& job) {
  if (job.name.starts_with("screen_")) return ScreeningJob(job).Run(job.inner);
  return RunTrees(job, *ResponseOf(job.name));
}

}  // namespace velmora::bench
