// One run of screening through the module's dialogs and automation.
#include "workbench/cli/screen/screen_run.h"

#include <algorithm>

#include "contract/text.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr char kAnalysisName[] = "screening";
constexpr std::size_t kMostBinRows = 1000000;  // of a worksheet
constexpr std::size_t kMostCellsWithShares =
    1000000;  // counts of classes that get their percentages beside them

// What automation calls the things of a response kind.
struct KindMembers {
  vlm::ResponseKind kind;
  const char* importance;
  const char* choosePredictor;
  const char* predictorTable;
  const char* graphs[3];  // of a predictor; null where there are fewer
};
constexpr KindMembers kKinds[] = {
    {vlm::kBinaryResponse,
     "BinaryResponseVariableImportance",
     "SelectBinaryResponsePredictor",
     "BinaryResponseCrosstabulation",
     {"BinaryResponseDefaultRateGraph", "BinaryResponseDistributionGraph", nullptr}},
    {vlm::kContinuousResponse,
     "ContinuousResponseVariableImportance",
     "SelectContinuousResponsePredictor",
     "ContinuousResponseBreakdownTable",
     {"ContinuousResponseBoxPlot", "ContinuousResponseOverlaidScatterWithMeans", nullptr}},
    {vlm::kCategoricalResponse,
     "CategoricalResponseVariableImportance",
     "SelectCategoricalResponsePredictor",
     "CategoricalResponseCrosstabulation",
     {"CategoricalResponseInteractionPlot", "CategoricalResponseCategorizedHistogram",
      "CategoricalResponse3dHistogram"}},
};

std::vector<int> ListOf(int variableNumber) {
  return variableNumber == 0 ? std::vector<int>() : std::vector<int>{variableNumber};
}

class ResponseReader {
 public:
  ResponseReader(vlm::IScreeningResults& results, const Table& table, vlm::ResponseKind kind)
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
    vlm::IntegerSink order;
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
    vlm::StringSink sink;
    call(&sink);
    return sink.Text();
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
  vlm::ResponseKind kind_;
};

void AppendOnce(std::vector<std::string>& texts, const std::vector<std::string>& more) {
  for (const std::string& text : more) {
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
  }
}

void AddNamed(Workbook& workbook, std::shared_ptr<Sheet> sheet, int group, const std::string& name) {
  workbook.SetName(workbook.Add(std::move(sheet), group), name);
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
  AddNamed(workbook, std::move(sheet), group, "Not binned " + response.name);
}

// A bin's classes in percent of the bin, in percent of each class, and as expected were there no association.
void AddShares(Sheet& sheet, int row, int column, const ScreenedBin& bin, const ScreenedBin& whole) {
  const std::size_t classCount = bin.counts.size();
  const int next = static_cast<int>(classCount);
  for (std::size_t c = 0; c < classCount; ++c, ++column) {
    if (bin.figures.total > 0) sheet.SetCell(row, column, 100 * bin.counts[c] / bin.figures.total);
    if (whole.counts[c] > 0) sheet.SetCell(row, column + next, 100 * bin.counts[c] / whole.counts[c]);
    if (whole.figures.total > 0)
      sheet.SetCell(row, column + 2 * next, bin.figures.total * whole.counts[c] / whole.figures.total);
  }
}

// The bins of every predictor in one table, to be filtered.
void AddBins(Workbook& workbook, const ScreenedResponse& response, int group) {
  std::size_t rows = 0;
  for (const ScreenedPredictor& predictor : response.predictors) rows += predictor.bins.size();
  if (rows == 0 || rows > kMostBinRows) return;
  const std::vector<ScreenBinColumn>& figures = BinColumnsOf(response.kind);
  const bool counts = response.kind == vlm::kCategoricalResponse;
  const int firstFigure = 4;
  const std::size_t classCount = counts ? response.codes.size() : 0;
  const bool shares = classCount * rows <= kMostCellsWithShares;
  const int columns =
      firstFigure - 1 + static_cast<int>(counts ? (shares ? 4 : 1) * classCount + 1 : figures.size());
  auto sheet = std::make_shared<Sheet>(static_cast<int>(rows), columns);
  sheet->SetTitle("Bins of all predictors: " + response.name);
  sheet->SetColumnName(1, "Rank");
  sheet->SetColumnName(2, "Bin");
  sheet->SetColumnName(3, "Label");
  int column = firstFigure;
  for (const ScreenBinColumn& figure : figures) {
    sheet->SetColumnName(column, figure.header);
    sheet->SetFormat(column++, figure.format == nullptr ? "0.0000" : figure.format);
  }
  if (counts) {
    for (const std::string& code : response.codes) sheet->SetColumnName(column++, code);
    sheet->SetColumnName(column++, "total");
    for (const char* what : {" % of bin", " % of class", " expected"}) {
      for (std::size_t c = 0; shares && c < classCount; ++c) {
        sheet->SetColumnName(column, response.codes[c] + what);
        sheet->SetFormat(column++, "0.00");
      }
    }
  }
  int row = 0;
  for (std::size_t rank = 0; rank < response.predictors.size(); ++rank) {
    const ScreenedPredictor& predictor = response.predictors[rank];
    for (std::size_t b = 0; b < predictor.bins.size(); ++b) {
      const ScreenedBin& bin = predictor.bins[b];
      sheet->SetRowName(++row, predictor.name);
      sheet->SetInteger(row, 1, static_cast<int>(rank) + 1);
      sheet->SetInteger(row, 2, static_cast<int>(b) + 1);
      sheet->SetText(row, 3, bin.label);
      column = firstFigure;
      for (const ScreenBinColumn& figure : figures) sheet->SetCell(row, column++, bin.figures.*figure.value);
      if (!counts) continue;
      for (const double count : bin.counts) sheet->SetCell(row, column++, count);
      sheet->SetCell(row, column++, bin.figures.total);
      if (shares) AddShares(*sheet, row, column, bin, predictor.total);
    }
  }
  AddNamed(workbook, std::move(sheet), group, "Bins " + response.name);
}

// The documents that a member of the dialog makes.
std::vector<int> DocumentsOf(Session& session, const AutomationClient& dialog, const char* member) {
  return session.DocumentsShownBy([&] { dialog.Get(member); });
}

void SetFacts(Workbook& workbook, const ScreenReport& report) {
  workbook.title = "Predictor screening: " + report.dataFile;
  workbook.SetFact("Data file", report.dataFile);
  workbook.SetFact("Cases", std::to_string(report.caseCount));
  for (const ScreenedResponse& response : report.responses)
    workbook.SetFact("Cases of " + response.name, CasesText(response.cases));
  if (!report.select.empty()) workbook.SetFact("Selection", report.select);
  if (!report.exclude.empty()) workbook.SetFact("Exclusion", report.exclude);
  if (!report.weightVariable.empty()) workbook.SetFact("Weight", report.weightVariable);
  if (!report.cutPointsFile.empty()) workbook.SetFact("Cut points", report.cutPointsFile);
  workbook.SetFact("Trees", report.pruned ? "pruned" : "not pruned");
  for (const LeftOutVariable& variable : report.leftOut) {
    workbook.SetFact("Not screened: " + variable.name, variable.role + ", " + variable.reason);
  }
}

// The graphs of the chosen predictor.
std::vector<int> GraphsOf(Session& session, const AutomationClient& dialog, const KindMembers& members,
                          const std::string& predictorName) {
  std::vector<int> graphs;
  for (const char* member : members.graphs) {
    if (member == nullptr) continue;
    try {
      for (const int id : DocumentsOf(session, dialog, member)) graphs.push_back(id);
    } catch (const AutomationError& error) {
      // The rest of the report is worth having without one graph.
      session.Documents().AddNotice("A graph of " + predictorName + " is missing: " + error.what());
    }
  }
  return graphs;
}

// The rules of the best predictors, and the table of all, which the module makes with them.
void AddRules(Session& session, const AutomationClient& dialog, const ScreenReport& report,
              ScreenDocuments& made) {
  std::size_t count = 0;
  for (const ScreenedResponse& response : report.responses)
    count = std::max(count, report.ShownOf(response, kBestInDocuments));
  if (count == 0) return;
  const Variant before = dialog.Get("NumberOfPredictorsToSave");
  dialog.Put("NumberOfPredictorsToSave", static_cast<int>(count));
  for (const int id : DocumentsOf(session, dialog, "RulesReport")) {
    const bool isText = session.Documents().Find(id)->AsText() != nullptr;
    session.Documents().SetName(id, isText ? "Rules" : "All predictors");
    if (isText) made.rules = id;
  }
  dialog.Put("NumberOfPredictorsToSave", before);
}

}  // namespace

std::vector<MemberValue> StartupSettings(const ScreenChoice& choice, const ScreenSettings& settings) {
  std::vector<MemberValue> put = {
      {"Variables", Variant::Array{ListOf(choice.continuousResponse), ListOf(choice.categoricalResponse),
                                   ListOf(choice.binaryResponse), choice.categoricalPredictors,
                                   choice.continuousPredictors}}};
  std::string allLevels;
  for (std::size_t i = 0; i < choice.categoricalPredictors.size(); ++i) allLevels += i == 0 ? "*" : " | *";
  if (!allLevels.empty()) put.push_back({"FactorCodes", allLevels});
  if (choice.categoricalResponse != 0) put.push_back({"ResponseCodes", "*"});
  if (choice.binaryResponse != 0) {
    put.push_back({"GoodCode", choice.goodCode});
    put.push_back({"BadCode", choice.badCode});
  }
  put.push_back({settings.sortBinary == 0 ? "SortByGiniCoefficient" : "SortByInfoValue", true});
  put.push_back({settings.sortContinuous == 0 ? "SortByRSqrdPValue" : "SortByFStatistic", true});
  put.push_back({settings.sortCategorical == 0 ? "SortByChiSqrPValue" : "SortByChiSqrValue", true});
  return put;
}

ScreenReport RunScreening(Session& session, TerminalFace& face, const ScreenChoice& choice,
                          const ScreenSettings& settings, std::map<int, UserBins> userBins) {
  session.AnalysisSettings().pruneTrees = !settings.noPruning;
  const AutomationClient startup = session.StartScreening();
  session.AnalysisSettings().userBins = std::move(userBins);
  for (const MemberValue& setting : StartupSettings(choice, settings))
    startup.Put(setting.member, setting.value);
  AnalysisNotes& notes = session.Notes();
  notes.leftOut = choice.leftOut;
  notes.cutPointsFile = settings.cutPointsFile;
  notes.shownPredictors = settings.best;
  PressOk(startup, session, face, kAnalysisName, settings.cases);
  if (!session.ResultsDialog() || session.ScreeningResults() == nullptr)
    FailRun(session, face, kAnalysisName, settings.cases);
  return ReadScreening(session);
}

namespace {

// The value that a code of the startup dialog stands for.
double CodeValue(const Column& column, const AnalysisNotes& notes, std::string_view member) {
  for (const MemberValue& setting : notes.startupSettings) {
    if (setting.member != member) continue;
    const std::string text = setting.value.AsText();
    const double* const labelled = column.ValueOf(text);
    return labelled != nullptr ? *labelled : Variant(text).AsReal();
  }
  return kMissing;
}

// What the session ran with.
ScreenChoice ChoiceOf(const Session& session, const AnalysisNotes& notes, const ScreenReport& report) {
  ScreenChoice choice;
  choice.weight = session.WeightVariable();
  for (const ScreenedResponse& response : report.responses) {
    const int number = response.run.responseNumber;
    if (response.kind == vlm::kContinuousResponse) choice.continuousResponse = number;
    if (response.kind == vlm::kCategoricalResponse) choice.categoricalResponse = number;
    if (response.kind != vlm::kBinaryResponse) continue;
    choice.binaryResponse = number;
    choice.good = CodeValue(session.Data().Variable(number), notes, "GoodCode");
    choice.bad = CodeValue(session.Data().Variable(number), notes, "BadCode");
  }
  return choice;
}

}  // namespace

ScreenReport ReadScreening(Session& session) {
  const Table& table = session.Data();
  const AnalysisNotes& notes = session.Notes();
  vlm::IScreeningResults* const results = session.ScreeningResults();
  ScreenReport report;
  AppendOnce(report.notices, notes.cutPointNotices);
  AppendOnce(report.notices, notes.notices);
  report.dataFile = table.fileName;
  report.caseCount = table.caseCount;
  report.selectedCases = session.SelectedCaseCount();
  if (session.WeightVariable() != 0) report.weightVariable = table.Variable(session.WeightVariable()).name;
  report.select = session.Selection().include;
  report.exclude = session.Selection().exclude;
  report.cutPointsFile = notes.cutPointsFile;
  report.pruned = session.AnalysisSettings().pruneTrees;
  report.best = notes.shownPredictors;
  report.leftOut = notes.leftOut;
  for (const KindMembers& members : kKinds) {
    vlm::ScreeningRun run{};
    results->GetRun(members.kind, &run);
    if (run.selected) report.responses.push_back(ResponseReader(*results, table, members.kind).Read());
  }
  CountCases(table, ChoiceOf(session, notes, report), SelectCases(table, {report.select, report.exclude}),
             report);
  return report;
}

ScreenDocuments MakeScreenDocuments(Session& session, const ScreenReport& report, bool withGraphs) {
  Workbook& workbook = session.Documents();
  SetFacts(workbook, report);
  workbook.notices.clear();
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  const AutomationClient dialog = session.ResultsDialog();
  ScreenDocuments made;
  for (const ScreenedResponse& response : report.responses) {
    const KindMembers& members = kKinds[response.kind];
    std::string description = std::string(ResponseKindName(response.kind)) + " response";
    if (response.kind == vlm::kBinaryResponse)
      description += ", bad: " + response.codes[0] + ", good: " + response.codes[1];
    const int group = workbook.GroupOfSubject(response.run.responseNumber, response.name, description);
    if (!response.predictors.empty()) dialog.Get(members.importance);
    AddBins(workbook, response, group);
    std::vector<ScreenDocuments::Panel>& panels = made.panels.emplace_back();
    for (std::size_t i = 0; i < report.ShownOf(response, kBestInDocuments); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      dialog.Put(members.choosePredictor, predictor.figures.predictorNumber);
      ScreenDocuments::Panel& panel = panels.emplace_back();
      panel.tables = DocumentsOf(session, dialog, members.predictorTable);
      // The percentages of a crosstabulation stand beside its counts in the table of all bins.
      for (std::size_t further = 1; further < panel.tables.size(); ++further)
        workbook.Remove(panel.tables[further]);
      panel.tables.resize(std::min<std::size_t>(panel.tables.size(), 1));
      const std::string name =
          report.responses.size() == 1 ? predictor.name : predictor.name + " " + response.name;
      for (const int id : panel.tables) workbook.SetName(id, name);
      if (withGraphs) panel.graphs = GraphsOf(session, dialog, members, predictor.name);
      StopIfInterrupted();
    }
    AddFailed(workbook, response, group);
  }
  AddRules(session, dialog, report, made);
  return made;
}

}  // namespace velmora
