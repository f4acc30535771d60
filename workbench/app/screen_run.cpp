// One run of screening through the module's dialogs and automation.
#include "workbench/app/screen_run.h"

#include <algorithm>

#include "workbench/app/analysis_run.h"
#include "workbench/app/console.h"
#include "workbench/app/exit_codes.h"
#include "workbench/automation/sinks.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr char kAnalysisName[] = "screening";

// What automation calls the things of a response kind.
struct KindMembers {
  vlm::ScreeningResponse kind;
  const char* importance;
  const char* choosePredictor;
  const char* predictorTable;
};
constexpr KindMembers kKinds[] = {
    {vlm::kBinaryResponse, "BinaryResponseVariableImportance", "SelectBinaryResponsePredictor",
     "BinaryResponseCrosstabulation"},
    {vlm::kContinuousResponse, "ContinuousResponseVariableImportance", "SelectContinuousResponsePredictor",
     "ContinuousResponseBreakdownTable"},
    {vlm::kCategoricalResponse, "CategoricalResponseVariableImportance", "SelectCategoricalResponsePredictor",
     "CategoricalResponseCrosstabulation"},
};

std::vector<int> ListOf(int variableNumber) {
  return variableNumber == 0 ? std::vector<int>() : std::vector<int>{variableNumber};
}

void PutStartupSettings(const AutomationClient& startup, const ScreenChoice& choice,
                        const ScreenSettings& settings) {
  startup.Put("Variables", Variant::Array{ListOf(choice.continuousResponse),
                                          ListOf(choice.categoricalResponse), ListOf(choice.binaryResponse),
                                          choice.categoricalPredictors, choice.continuousPredictors});
  std::string allLevels;
  for (std::size_t i = 0; i < choice.categoricalPredictors.size(); ++i) allLevels += i == 0 ? "*" : " | *";
  if (!allLevels.empty()) startup.Put("FactorCodes", allLevels);
  if (choice.categoricalResponse != 0) startup.Put("ResponseCodes", "*");
  if (choice.binaryResponse != 0) {
    startup.Put("GoodCode", choice.goodCode);
    startup.Put("BadCode", choice.badCode);
  }
  startup.Put(settings.sortBinary == 0 ? "SortByGiniCoefficient" : "SortByInfoValue", true);
  startup.Put(settings.sortContinuous == 0 ? "SortByRSqrdPValue" : "SortByFStatistic", true);
  startup.Put(settings.sortCategorical == 0 ? "SortByChiSqrPValue" : "SortByChiSqrValue", true);
}

class ResponseReader {
 public:
  ResponseReader(vlm::IScreeningResults& results, const Table& table, vlm::ScreeningResponse kind)
      : results_(results), table_(table), kind_(kind) {}

  ScreenedResponse Read() const {
    ScreenedResponse response;
    response.kind = kind_;
    results_.GetRun(kind_, &response.run);
    response.name = table_.Variable(response.run.responseNumber).name;
    for (int code = 0; code < response.run.classCount; ++code) {
      response.codes.push_back(
          TextOfCall([&](vlm::ITextSink* sink) { results_.GetClassText(kind_, code, sink); }));
    }
    IntegerSink order;
    results_.GetOrder(kind_, &order);
    for (const int index : order.numbers) {
      response.predictors.push_back(ReadPredictor(index, response.run.classCount));
      StopIfInterrupted();
    }
    for (int i = 0; i < response.run.failedCount; ++i) {
      const int number = results_.GetFailedNumber(kind_, i);
      response.failed.push_back({number, table_.Variable(number).name, TextOfCall([&](vlm::ITextSink* sink) {
                                   results_.GetFailedReason(kind_, i, sink);
                                 })});
    }
    return response;
  }

 private:
  template <typename Call>
  static std::string TextOfCall(Call call) {
    StringSink sink;
    call(&sink);
    return sink.text;
  }

  ScreenedPredictor ReadPredictor(int index, int classCount) const {
    ScreenedPredictor predictor;
    results_.GetPredictor(kind_, index, &predictor.figures);
    const Column& column = table_.Variable(predictor.figures.predictorNumber);
    predictor.name = column.name;
    predictor.cutPoints.resize(static_cast<std::size_t>(predictor.figures.cutPointCount));
    results_.GetCutPoints(kind_, index, predictor.cutPoints.data());
    for (int bin = 0; bin < predictor.figures.binCount; ++bin) {
      predictor.bins.push_back(ReadBin(index, bin, classCount));
    }
    predictor.total = ReadBin(index, predictor.figures.binCount, classCount);
    predictor.total.label = "All";
    predictor.total.figures.informationValue = predictor.figures.informationValue;
    const int levelCount = results_.GetLevelCount(kind_, index);
    for (int i = 0; i < levelCount; ++i) {
      ScreenedLevel level;
      results_.GetLevel(kind_, index, i, &level.value, &level.bin);
      const std::string* label = column.LabelOf(level.value);
      level.text = label != nullptr ? *label : ShortestNumber(level.value);
      predictor.levels.push_back(std::move(level));
    }
    return predictor;
  }

  ScreenedBin ReadBin(int index, int binIndex, int classCount) const {
    ScreenedBin bin;
    bin.label = TextOfCall([&](vlm::ITextSink* sink) { results_.GetBinLabel(kind_, index, binIndex, sink); });
    results_.GetBin(kind_, index, binIndex, &bin.figures);
    bin.counts.resize(static_cast<std::size_t>(classCount));
    if (classCount > 0) results_.GetClassCounts(kind_, index, binIndex, bin.counts.data());
    return bin;
  }

  vlm::IScreeningResults& results_;
  const Table& table_;
  vlm::ScreeningResponse kind_;
};

void AppendOnce(std::vector<std::string>& texts, const std::vector<std::string>& more) {
  for (const std::string& text : more) {
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
  }
}

// The predictors that could not be binned, as a table of the response.
void AddFailed(Workbook& workbook, const ScreenedResponse& response, int group) {
  if (response.failed.empty()) return;
  auto sheet = std::make_shared<Sheet>(static_cast<int>(response.failed.size()), 2);
  sheet->SetTitle("Not binned: " + response.name);
  sheet->SetColumnName(1, "Reason");
  sheet->SetColumnName(2, "Variable number");
  for (std::size_t i = 0; i < response.failed.size(); ++i) {
    const int row = static_cast<int>(i) + 1;
    sheet->SetRowName(row, response.failed[i].name);
    sheet->SetText(row, 1, response.failed[i].reason);
    sheet->SetInteger(row, 2, response.failed[i].number);
  }
  workbook.Add(std::move(sheet), group);
}

void SetFacts(Workbook& workbook, const ScreenReport& report) {
  workbook.title = "Predictor screening: " + report.dataFile;
  workbook.SetFact("Data file", report.dataFile);
  workbook.SetFact("Cases", std::to_string(report.caseCount));
  if (report.selectedCases < report.caseCount)
    workbook.SetFact("Cases selected", std::to_string(report.selectedCases));
  if (!report.select.empty()) workbook.SetFact("Selection", report.select);
  if (!report.exclude.empty()) workbook.SetFact("Exclusion", report.exclude);
  if (!report.weightVariable.empty()) workbook.SetFact("Weight", report.weightVariable);
  if (!report.cutPointsFile.empty()) workbook.SetFact("Cut points", report.cutPointsFile);
  workbook.SetFact("Trees", report.pruned ? "pruned" : "not pruned");
  for (const LeftOutVariable& variable : report.leftOut) {
    workbook.SetFact("Not screened: " + variable.name, variable.role + ", " + variable.reason);
  }
}

}  // namespace

ScreenReport RunScreening(Session& session, TerminalFace& face, const ScreenChoice& choice,
                          const ScreenSettings& settings, std::map<int, OwnBins> ownBins) {
  session.AnalysisSettings().pruneTrees = !settings.noPruning;
  session.AnalysisSettings().ownBins = std::move(ownBins);
  const AutomationClient startup = session.StartScreening();
  PutStartupSettings(startup, choice, settings);
  PressOk(startup, session, face, kAnalysisName, settings.cases);
  vlm::IScreeningResults* const results = session.ScreeningResults();
  if (!session.ResultsDialog() || results == nullptr) FailRun(session, face, kAnalysisName, settings.cases);

  const Table& table = session.Data();
  ScreenReport report;
  AppendOnce(report.notices, face.TakeSaid());
  report.dataFile = table.fileName;
  report.caseCount = table.caseCount;
  if (choice.weight != 0) report.weightVariable = table.Variable(choice.weight).name;
  report.select = settings.cases.select;
  report.exclude = settings.cases.exclude;
  report.cutPointsFile = settings.cutPointsFile;
  report.pruned = !settings.noPruning;
  report.best = settings.best;
  report.leftOut = choice.leftOut;
  for (const KindMembers& members : kKinds) {
    vlm::ScreeningRun run{};
    results->GetRun(members.kind, &run);
    if (run.selected) report.responses.push_back(ResponseReader(*results, table, members.kind).Read());
  }
  return report;
}

void MakeScreenDocuments(Session& session, const ScreenReport& report) {
  Workbook& workbook = session.Documents();
  SetFacts(workbook, report);
  workbook.notices.clear();
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  const AutomationClient dialog = session.ResultsDialog();
  for (const ScreenedResponse& response : report.responses) {
    const KindMembers& members = kKinds[response.kind];
    std::string description = std::string(ResponseKindName(response.kind)) + " response";
    if (response.kind == vlm::kBinaryResponse)
      description += ", bad: " + response.codes[0] + ", good: " + response.codes[1];
    const int group = workbook.AddGroup(response.name, description);
    session.SetCurrentGroup(group);
    if (!response.predictors.empty()) dialog.Get(members.importance);
    const auto shown = std::min(response.predictors.size(), static_cast<std::size_t>(report.best));
    for (std::size_t i = 0; i < shown; ++i) {
      dialog.Put(members.choosePredictor, response.predictors[i].figures.predictorNumber);
      dialog.Get(members.predictorTable);
      StopIfInterrupted();
    }
    AddFailed(workbook, response, group);
  }
  session.SetCurrentGroup(0);
}

}  // namespace velmora
