// One run of screening through the module's dialogs and automation.
#include "workbench/cli/screen/screen_run.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "contract/text.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/screen/screen_binning.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr char kAnalysisName[] = "screening";

// Automation members of the results dialog for a response kind.
struct KindMembers {
  vlm::ResponseKind kind;
  const char* choosePredictor;
  const char* graphs[3];  // of a predictor; null where there are fewer
};
constexpr KindMembers kKinds[] = {
    {vlm::kBinaryResponse,
     "SelectBinaryResponsePredictor",
     {"BinaryResponseDefaultRateGraph", "BinaryResponseDistributionGraph", nullptr}},
    {vlm::kContinuousResponse,
     "SelectContinuousResponsePredictor",
     {"ContinuousResponseBoxPlot", "ContinuousResponseOverlaidScatterWithMeans", nullptr}},
    {vlm::kCategoricalResponse,
     "SelectCategoricalResponsePredictor",
     {"CategoricalResponseInteractionPlot", "CategoricalResponseCategorizedHistogram",
      "CategoricalResponse3dHistogram"}},
};

const KindMembers& MembersOf(vlm::ResponseKind kind) {
  return *std::find_if(std::begin(kKinds), std::end(kKinds),
                       [&](const KindMembers& members) { return members.kind == kind; });
}

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
    const auto levelCount = static_cast<std::size_t>(results_.GetLevelCount(kind_, index));
    std::vector<double> values(levelCount);
    std::vector<int> bins(levelCount);
    results_.GetLevels(kind_, index, values.data(), bins.data());
    predictor.levels.reserve(levelCount);
    for (std::size_t i = 0; i < levelCount; ++i) {
      const std::string* label = column.LabelOf(values[i]);
      predictor.levels.push_back({values[i], label != nullptr ? *label : ShortestNumber(values[i]), bins[i]});
    }
    const int missingBin = predictor.figures.missingBin;
    predictor.missingHasOwnBin =
        missingBin >= 0 &&
        (predictor.figures.categorical != 0 || missingBin > predictor.figures.cutPointCount) &&
        std::none_of(predictor.levels.begin(), predictor.levels.end(),
                     [&](const ScreenedLevel& level) { return level.bin == missingBin; });
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

// The code in a form that the startup dialog, which searches the labels first, reads back as the
// same value.
std::string CodeForDialog(const Column& column, double code) {
  const std::string* label = column.LabelOf(code);
  const bool blankEnds = label != nullptr && !label->empty() &&
                         (label->front() == ' ' || label->back() == ' ' || label->find('\t') != label->npos);
  if (label != nullptr && !label->empty() && !blankEnds) {
    const double* value = column.ValueOf(*label);
    if (value != nullptr && vlm::NearlyEqual(*value, code)) return *label;
  }
  return ShortestNumber(code);
}

// The documents that a member of the dialog makes.
std::vector<int> DocumentsOf(Session& session, const AutomationClient& dialog, const char* member) {
  return session.DocumentsShownBy([&] { dialog.Get(member); });
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
      // The report is made without the graph.
      session.Documents().AddNotice("A graph of " + predictorName + " is missing: " + error.what());
    }
  }
  return graphs;
}

}  // namespace

std::vector<MemberValue> StartupSettings(const Table& table, const ScreenChoice& choice,
                                         const ScreenSettings& settings) {
  std::vector<MemberValue> put = {
      {"Variables", Variant::Array{ListOf(choice.continuousResponse), ListOf(choice.categoricalResponse),
                                   ListOf(choice.binaryResponse), choice.categoricalPredictors,
                                   choice.continuousPredictors}}};
  std::string allLevels;
  for (std::size_t i = 0; i < choice.categoricalPredictors.size(); ++i) allLevels += i == 0 ? "*" : " | *";
  if (!allLevels.empty()) put.push_back({"FactorCodes", allLevels});
  if (choice.categoricalResponse != 0) put.push_back({"ResponseCodes", "*"});
  if (choice.binaryResponse != 0) {
    const Column& response = table.Variable(choice.binaryResponse);
    put.push_back({"GoodCode", CodeForDialog(response, choice.good)});
    put.push_back({"BadCode", CodeForDialog(response, choice.bad)});
  }
  put.push_back({settings.sortBinary == 0 ? "SortByGiniCoefficient" : "SortByInfoValue", true});
  put.push_back({settings.sortContinuous == 0 ? "SortByRSqrdPValue" : "SortByFStatistic", true});
  put.push_back({settings.sortCategorical == 0 ? "SortByChiSqrPValue" : "SortByChiSqrValue", true});
  return put;
}

namespace {

// Puts the predictors in order of a figure, those that are no better than chance after the others,
// and those without the figure last. Equal ones keep the order of the dialog's sort choice.
void RankPredictors(vlm::IScreeningResults& results, vlm::ResponseKind kind, RankBy by, bool saveChance) {
  vlm::ScreeningRun run{};
  results.GetRun(kind, &run);
  if (!run.selected) return;
  const ScreenRanking& ranking = RankingOf(kind, by, run.sortChoice);
  struct Place {
    int index;
    bool chance;
    double key;  // larger is better
  };
  vlm::IntegerSink order;
  results.GetOrder(kind, &order);
  std::vector<Place> places;
  int bestCount = 0;
  for (const int index : order.numbers) {
    vlm::ScreeningPredictor figures{};
    results.GetPredictor(kind, index, &figures);
    const double value = figures.*ranking.statistic.value;
    const bool isKnown = !IsMissing(value, kMissing) && !std::isnan(value);
    const double key = !isKnown                ? -std::numeric_limits<double>::infinity()
                       : ranking.smallestFirst ? -value
                                               : value;
    places.push_back({index, figures.noBetterThanChance != 0, key});
    if (figures.noBetterThanChance == 0) ++bestCount;
  }
  std::stable_sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    return a.chance != b.chance ? b.chance : a.key > b.key;
  });
  std::vector<int> indices;
  for (const Place& place : places) indices.push_back(place.index);
  const int count = static_cast<int>(indices.size());
  results.SetOrder(kind, indices.data(), count, saveChance ? count : bestCount);
}

}  // namespace

ScreenReport RunScreening(Session& session, TerminalFrontend& frontend, const ScreenChoice& choice,
                          const ScreenSettings& settings, std::map<int, UserBins> userBins) {
  session.AnalysisSettings().pruneTrees = !settings.noPruning;
  const AutomationClient startup = session.StartScreening();
  session.AnalysisSettings().userBins = std::move(userBins);
  for (const MemberValue& setting : StartupSettings(session.Data(), choice, settings))
    startup.Put(setting.member, setting.value);
  AnalysisNotes& notes = session.Notes();
  notes.leftOut = choice.leftOut;
  notes.cutPointsFile = settings.cutPointsFile;
  notes.shownPredictors = settings.best;
  notes.binning = settings.binning;
  PressOk(startup, session, frontend, kAnalysisName, settings.cases);
  if (!session.ResultsDialog() || session.ScreeningResults() == nullptr)
    FailRun(session, frontend, kAnalysisName, settings.cases);
  if (settings.rankBy == RankBy::kPrescribed) return ReadScreening(session);
  for (const KindMembers& members : kKinds)
    RankPredictors(*session.ScreeningResults(), members.kind, settings.rankBy, settings.saveChance);
  ScreenReport report = ReadScreening(session);
  for (ScreenedResponse& response : report.responses) {
    response.rankedBy = settings.rankBy;
    response.savesChance = settings.saveChance;
  }
  return report;
}

namespace {

// The choice that the session ran with.
ScreenChoice ChoiceOf(const Session& session, const ScreenReport& report) {
  ScreenChoice choice;
  choice.weight = session.WeightVariable();
  for (const ScreenedResponse& response : report.responses) {
    const int number = response.run.responseNumber;
    if (response.kind == vlm::kContinuousResponse) choice.continuousResponse = number;
    if (response.kind == vlm::kCategoricalResponse) choice.categoricalResponse = number;
    if (response.kind != vlm::kBinaryResponse) continue;
    choice.binaryResponse = number;
    choice.good = response.run.goodCode;
    choice.bad = response.run.badCode;
  }
  return choice;
}

}  // namespace

void AppendOnce(std::vector<std::string>& texts, const std::vector<std::string>& more) {
  for (const std::string& text : more) {
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
  }
}

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
  report.select = session.Selection().include;
  report.exclude = session.Selection().exclude;
  report.cutPointsFile = notes.cutPointsFile;
  if (notes.binning != nullptr) report.weights = notes.binning->weights;
  if (session.WeightVariable() != 0) {
    const bool counts = report.weights == WeightMeaning::kCounts;
    (counts ? report.countVariable : report.weightVariable) = table.Variable(session.WeightVariable()).name;
  }
  report.classic = notes.binning == nullptr;
  report.optimal = notes.binning != nullptr && notes.binning->optimal;
  report.correctsPureBins = notes.binning != nullptr && notes.binning->screening.correctPureBins != 0;
  report.pruned = session.AnalysisSettings().pruneTrees;
  report.best = notes.shownPredictors;
  report.leftOut = notes.leftOut;
  for (const KindMembers& members : kKinds) {
    vlm::ScreeningRun run{};
    results->GetRun(members.kind, &run);
    if (run.selected) report.responses.push_back(ResponseReader(*results, table, members.kind).Read());
  }
  CountCases(table, ChoiceOf(session, report), SelectCases(table, {report.select, report.exclude}), report);
  return report;
}

int MakeRules(Session& session, const ScreenReport& report) {
  std::size_t count = 0;
  for (const ScreenedResponse& response : report.responses)
    count = std::max(count, report.ShownOf(response, kBestInDocuments));
  if (count == 0) return 0;
  const AutomationClient dialog = session.ResultsDialog();
  const Variant before = dialog.Get("NumberOfPredictorsToSave");
  dialog.Put("NumberOfPredictorsToSave", static_cast<int>(count));
  int rules = 0;
  for (const int id : DocumentsOf(session, dialog, "RulesReport")) {
    if (session.Documents().Find(id)->AsText() != nullptr) rules = id;
  }
  dialog.Put("NumberOfPredictorsToSave", before);
  return rules;
}

std::set<int> VariablesOfDocuments(const Session& session, const ScreenReport& report) {
  const Table& table = session.Data();
  std::set<int> variables = {session.WeightVariable()};
  const bool selects = !report.select.empty() || !report.exclude.empty();
  std::size_t most = 0;
  for (const ScreenedResponse& response : report.responses)
    most = std::max(most, report.ShownOf(response, kBestInDocuments));
  for (const ScreenedResponse& response : report.responses) {
    variables.insert(response.run.responseNumber);
    for (std::size_t i = 0; i < std::min(most, response.predictors.size()); ++i)
      variables.insert(response.predictors[i].figures.predictorNumber);
  }
  // The selection may name any variable.
  for (int number = 1; selects && number <= table.VariableCount(); ++number) variables.insert(number);
  variables.erase(0);
  return variables;
}

ScreenDocuments MakeScreenDocuments(Session& session, const ScreenReport& report) {
  for (const std::string& notice : report.notices) session.Documents().AddNotice(notice);
  const AutomationClient dialog = session.ResultsDialog();
  ScreenDocuments made;
  for (const ScreenedResponse& response : report.responses) {
    const KindMembers& members = MembersOf(response.kind);
    std::vector<ScreenDocuments::Panel>& panels = made.panels.emplace_back();
    for (std::size_t i = 0; i < report.ShownOf(response, kBestInDocuments); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      dialog.Put(members.choosePredictor, predictor.figures.predictorNumber);
      panels.push_back({GraphsOf(session, dialog, members, predictor.name)});
      StopIfInterrupted();
    }
  }
  made.rules = MakeRules(session, report);
  return made;
}

}  // namespace velmora
