#include "workbench/cli/apply_monitor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "base/parse_number.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/data/names.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/report/scorecard_report.h"
#include "workbench/scorecard/binned_cases.h"
#include "workbench/scorecard/scorecard.h"

namespace velmora {
namespace {

constexpr std::size_t kSaved = 0, kNew = 1;  // the groups

// --- Conditions
// A figure that --fail-on compares. When every predictor has it, one that meets the condition
// suffices.
struct Figure {
  const char* name;
  const char* meaning;
  bool ofScore;       // the scorecard's
  bool ofPredictors;  // each predictor's
  double (*value)(const ResponseStability& response, const PredictorStability& one, bool isScore);
};

double Difference(double now, double before) {
  const bool known = now != kMissing && before != kMissing && std::isfinite(now) && std::isfinite(before);
  return known ? now - before : kMissing;
}

double AreaOf(const ResponseStability& response, const PredictorStability& one, bool isScore,
              std::size_t group) {
  return isScore ? response.scoreArea[group] : one.groups[group].areaUnderCurve;
}

double RateOf(const PredictorStability& one, std::size_t group) {
  double cases = 0, sum = 0;
  for (const BinInGroup& bin : one.groups[group].bins) {
    if (bin.rate == kMissing) continue;
    cases += bin.cases;
    sum += bin.cases * bin.rate;
  }
  return cases > 0 ? sum / cases : kMissing;
}

const Figure kFigures[] = {
    {"psi", "population stability index", true, true,
     [](const ResponseStability&, const PredictorStability& one, bool) {
       return one.groups[kNew].shareIndex;
     }},
    {"score-psi", "the same of the score", true, false,
     [](const ResponseStability&, const PredictorStability& one, bool) {
       return one.groups[kNew].shareIndex;
     }},
    {"woe-psi", "index of the rates within the bins", false, true,
     [](const ResponseStability&, const PredictorStability& one, bool) { return one.groups[kNew].woeIndex; }},
    {"iv", "information value", false, true,
     [](const ResponseStability&, const PredictorStability& one, bool) { return one.groups[kNew].strength; }},
    {"iv-change", "its change", false, true,
     [](const ResponseStability&, const PredictorStability& one, bool) {
       return Difference(one.groups[kNew].strength, one.groups[kSaved].strength);
     }},
    {"auc", "area under the curve", true, false,
     [](const ResponseStability& response, const PredictorStability& one, bool isScore) {
       return AreaOf(response, one, isScore, kNew);
     }},
    {"auc-change", "its change", true, false,
     [](const ResponseStability& response, const PredictorStability& one, bool isScore) {
       return Difference(AreaOf(response, one, isScore, kNew), AreaOf(response, one, isScore, kSaved));
     }},
    {"gini", "2 AUC - 1", true, false,
     [](const ResponseStability& response, const PredictorStability& one, bool isScore) {
       const double area = AreaOf(response, one, isScore, kNew);
       return area == kMissing ? kMissing : 2 * area - 1;
     }},
    {"ks", "Kolmogorov-Smirnov distance", true, false,
     [](const ResponseStability& response, const PredictorStability&, bool) {
       return response.scoreKs[kNew];
     }},
    {"rate-change", "change of the bad rate or the mean", true, true,
     [](const ResponseStability&, const PredictorStability& one, bool) {
       return Difference(RateOf(one, kNew), RateOf(one, kSaved));
     }},
    {"unbinned", "share of cases without a bin", false, true,
     [](const ResponseStability&, const PredictorStability& one, bool) {
       return one.groups[kNew].unbinnedShare;
     }},
};

struct Condition {
  std::string text;
  const Figure* figure = nullptr;
  bool above = true, orEqual = false;
  double limit = 0;

  bool Holds(double value) const {
    if (orEqual && value == limit) return true;
    return above ? value > limit : value < limit;
  }
};

// "psi>0.25"
Condition ParseCondition(const std::string& text) {
  Condition condition;
  condition.text = text;
  std::string words = text;
  std::erase(words, ' ');
  const std::size_t at = words.find_first_of("<>");
  std::vector<std::string> names;
  for (const Figure& figure : kFigures) {
    names.emplace_back(figure.name);
    if (at != std::string::npos && words.substr(0, at) == figure.name) condition.figure = &figure;
  }
  const std::string form = "--fail-on takes a condition such as psi>0.25, not " + ShortenedText(text);
  if (at == std::string::npos) throw UsageError(form + ".");
  if (condition.figure == nullptr)
    throw UsageError("--fail-on: there is no figure " + ShortenedText(words.substr(0, at)) +
                     "; the figures are " + JoinWords(names, " and ") + ".");
  condition.above = words[at] == '>';
  condition.orEqual = at + 1 < words.size() && words[at + 1] == '=';
  const auto limit = vlm::ParseNumber<double>(words.substr(at + (condition.orEqual ? 2 : 1)));
  if (!limit) throw UsageError(form + ".");
  condition.limit = *limit;
  return condition;
}

StabilityCondition Judged(const Condition& condition, const StabilityReport& report) {
  StabilityCondition judged{condition.text, false, ""};
  double worst = kMissing;
  std::string of;
  const auto consider = [&](const ResponseStability& response, const PredictorStability& one, bool isScore) {
    const double value = condition.figure->value(response, one, isScore);
    if (value == kMissing || !std::isfinite(value)) return;
    if (worst != kMissing && (condition.above ? value <= worst : value >= worst)) return;
    worst = value;
    of = one.name;
  };
  for (const ResponseStability& response : report.responses) {
    if (condition.figure->ofScore) {
      for (const PredictorStability& score : response.scores) consider(response, score, true);
    }
    // Without a scorecard its figures are those of the predictors.
    if (condition.figure->ofPredictors ||
        (response.scores.empty() && std::string(condition.figure->name).starts_with("auc")))
      for (const PredictorStability& one : response.predictors) consider(response, one, false);
  }
  if (worst == kMissing) {
    judged.finding = std::string(condition.figure->name) + " is not known";
    return judged;
  }
  judged.isMet = condition.Holds(worst);
  judged.finding = std::string(condition.figure->name) + " of " + of + " is " + ShownNumber(worst, "0.0000");
  return judged;
}

// --- Groups
double CasesIn(const SavedCounts& counts, const std::string& kind) {
  if (kind == "continuous") return counts.empty() ? 0 : counts.front();
  double cases = 0;
  for (const double count : counts) cases += count;
  return cases;
}

// The cases that the bins were made from.
GroupedPredictor SavedGroup(const SavedPredictor& predictor, const SavedResponse& response,
                            const std::string& binsFile) {
  GroupedPredictor grouped = EmptyGroups(predictor, 2, {});
  grouped.counts[kNew].clear();  // until the outcomes of the new cases are known
  for (std::size_t bin = 0; bin < predictor.bins.size(); ++bin) {
    const SavedCounts& counts = predictor.bins[bin].counts;
    if (counts.empty())
      throw RunError(binsFile + " has no counts of the bins of " + predictor.name +
                     "; velmora screen --bins saves them.");
    grouped.cases[kSaved][bin] = CasesIn(counts, response.kind);
    grouped.counts[kSaved][bin] = counts;
  }
  if (!predictor.missingBin) grouped.unbinned[kSaved] = CasesIn(predictor.missingCounts, response.kind);
  return grouped;
}

// The cases of one run of a monitor.
class NewCases {
 public:
  NewCases(const Table& table, const MonitorOptions& options)
      : table_(table),
        weights_(table, Selected(table, options.cases), ChooseCaseWeight(table, options.cases, false),
                 options.cases.MeaningOfWeights()) {}

  const Table& Data() const { return table_; }
  // 0: the case is not used.
  double Weight(std::size_t i) const { return weights_.Of(i); }
  // Nothing when the data have no such response.
  std::optional<ResponseCases> Outcomes(const SavedResponse& response) const {
    if (FindVariable(table_, response.name) == 0) return std::nullopt;
    return ResponseCases(table_, weights_, response);
  }

 private:
  static CaseBitmap Selected(const Table& table, const CaseOptions& options) {
    CaseBitmap selected = SelectedCases(table, options);
    if (selected.IncludedCount() == 0)
      throw RunError("The selection keeps none of the " + std::to_string(selected.CaseCount()) + " cases.");
    return selected;
  }

  const Table& table_;
  const CaseWeights weights_;
};

void AddNewGroup(const NewCases& cases, const std::optional<ResponseCases>& outcomes,
                 const std::vector<std::int32_t>& bins, GroupedPredictor& grouped) {
  if (outcomes) grouped.counts[kNew].assign(grouped.labels.size(), outcomes->None());
  if (outcomes)
    grouped.weightSpread = {1, outcomes->Weights().Spread([&](std::size_t i) { return outcomes->Uses(i); })};
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const double weight = cases.Weight(i);
    if (!(weight > 0)) continue;
    grouped.AddCases(kNew, bins[i], weight);
    if (bins[i] >= 0 && outcomes && outcomes->Uses(i))
      outcomes->Add(i, grouped.counts[kNew][static_cast<std::size_t>(bins[i])]);
  }
}

// The score as a predictor whose bins are its bands.
void AddScore(const SavedScorecard& scorecard, const std::vector<double>& scores, const NewCases& cases,
              const std::optional<ResponseCases>& outcomes, ResponseStability& stability) {
  GroupedPredictor grouped;
  grouped.name = scorecard.scoreVariable;
  grouped.cases.resize(2);
  grouped.counts.resize(2);
  grouped.unbinned.resize(2);
  std::vector<double> ends;
  for (const SavedScorecard::Band& band : scorecard.bands) ends.push_back(band.upTo);
  for (const SavedScorecard::Band& band : scorecard.bands) {
    grouped.labels.push_back(ScoreBandLabel(ends, grouped.labels.size()));
    grouped.values.push_back(band.upTo);
    grouped.cases[kSaved].push_back(CasesIn(band.counts, stability.kind));
    grouped.counts[kSaved].push_back(band.counts);
  }
  ends.pop_back();  // the last band has no end
  grouped.cases[kNew].resize(grouped.labels.size());
  std::vector<std::int32_t> bands;
  ScoredCases scored;
  for (std::size_t i = 0; i < scores.size(); ++i) {
    bands.push_back(
        static_cast<std::int32_t>(std::lower_bound(ends.begin(), ends.end(), scores[i]) - ends.begin()));
    if (!outcomes || !outcomes->Uses(i)) continue;
    scored.scores.push_back(scores[i]);
    scored.probabilities.push_back(scorecard.Probability(scores[i]));
    scored.isBad.push_back(outcomes->ClassOf(i) == 0 ? 1 : 0);
    scored.weights.push_back(outcomes->Weight(i));
  }
  AddNewGroup(cases, outcomes, bands, grouped);
  stability.scores.push_back(StabilityOf(grouped, stability.kind));
  const auto known = [](double value) {
    return value == SavedScorecard::kUnknown || !std::isfinite(value) ? kMissing : value;
  };
  const ScoreQuality quality = MeasureScores(scored);
  const bool measured = outcomes && quality.bad > 0 && quality.good > 0;
  stability.scoreArea = {known(scorecard.areaUnderCurve), measured ? quality.areaUnderCurve : kMissing};
  stability.scoreKs = {known(scorecard.ksDistance), measured ? quality.ksDistance : kMissing};
}

void AddUnseen(const CodingProgram::Uncovered& uncovered, const std::string& predictor,
               StabilityReport& report) {
  constexpr std::size_t kMostListed = 20;
  if (uncovered.unseen == 0) return;
  if (std::any_of(report.unseen.begin(), report.unseen.end(),
                  [&](const UnseenOfPredictor& one) { return one.predictor == predictor; }))
    return;
  UnseenOfPredictor& unseen = report.unseen.emplace_back();
  unseen.predictor = predictor;
  unseen.cases = uncovered.unseen;
  unseen.levels.assign(
      uncovered.levels.begin(),
      uncovered.levels.begin() + static_cast<std::ptrdiff_t>(std::min(uncovered.levels.size(), kMostListed)));
}

ResponseStability Compared(const SavedResponse& response, const std::string& binsFile, const NewCases& cases,
                           StabilityReport& report) {
  ResponseStability stability;
  stability.name = response.name;
  stability.kind = response.kind;
  stability.codes = response.codes;
  const std::optional<ResponseCases> outcomes = cases.Outcomes(response);
  stability.known = outcomes.has_value();
  if (!outcomes)
    report.notices.push_back(
        cases.Data().fileName + " has no " + response.name +
        ", so rates, information values and AUC of the new cases are not known; --response "
        "names the response where it is called otherwise.");
  std::vector<double> scores;
  if (response.scorecard) scores.assign(static_cast<std::size_t>(cases.Data().caseCount), 0);
  ProgressBar bar;
  bar.Start("Binning " + cases.Data().fileName);
  for (std::size_t k = 0; k < response.predictors.size(); ++k) {
    const SavedPredictor& predictor = response.predictors[k];
    bar.Update(static_cast<double>(k) / static_cast<double>(response.predictors.size()));
    const BinnedPredictor binned =
        BinCases(predictor, binsFile, cases.Data(), report.notices, [](double) { return !WasInterrupted(); });
    GroupedPredictor grouped = SavedGroup(predictor, response, binsFile);
    AddNewGroup(cases, outcomes, binned.bins, grouped);
    stability.predictors.push_back(StabilityOf(grouped, response.kind));
    AddUnseen(binned.uncovered, predictor.name, report);
    if (!response.scorecard) continue;
    for (const SavedScorecard::Term& term : response.scorecard->terms) {
      if (term.predictor != predictor.name) continue;
      for (std::size_t i = 0; i < scores.size(); ++i)
        scores[i] +=
            binned.bins[i] < 0 ? term.neutralPoints : term.points[static_cast<std::size_t>(binned.bins[i])];
    }
  }
  bar.Finish();
  if (response.scorecard && !response.scorecard->bands.empty())
    AddScore(*response.scorecard, scores, cases, outcomes, stability);
  return stability;
}

}  // namespace

void MonitorOptions::AddTo(CommandParser& parser) {
  parser.Flag("--monitor", monitor);
  parser.Text("--response", response);
  cases.AddTo(parser);
  cases.AddWeightsTo(parser);
  parser.Repeated("--fail-on", conditions);
}

void MonitorOptions::Check(const CommandParser& parser) const {
  for (const char* option :
       {"--response", "--select", "--exclude", "--weight", "--count", "--raw-weights", "--fail-on"}) {
    if (!monitor && parser.Has(option)) throw UsageError(std::string(option) + " needs --monitor.");
  }
  static_cast<void>(cases.MeaningOfWeights());
  for (const std::string& text : SplitList(conditions)) ParseCondition(text);
}

StabilityReport Monitor(const SavedBins& bins, const std::string& binsFile, const Table& table,
                        const MonitorOptions& options) {
  StabilityReport report;
  report.dataFile = table.fileName;
  report.binsFile = binsFile;
  report.groups = {"saved", "new"};
  if (!options.response.empty() && bins.responses.size() != 1)
    throw UsageError("--response: " + binsFile +
                     " has bins for several responses, which are found in the data by their names.");
  const NewCases cases(table, options);
  for (const SavedResponse& saved : bins.responses) {
    SavedResponse response = saved;
    if (!options.response.empty())
      response.name = table.Variable(NamedVariable(table, "--response", options.response)).name;
    report.responses.push_back(Compared(response, binsFile, cases, report));
  }
  for (const std::string& text : SplitList(options.conditions))
    report.conditions.push_back(Judged(ParseCondition(text), report));
  return report;
}

StabilityReport RunMonitorOn(Table table, const SavedBins& bins, const std::vector<std::string>& arguments) {
  MonitorOptions options;
  CommandParser parser;
  options.AddTo(parser);
  parser.Parse(arguments);
  options.monitor = true;
  options.Check(parser);
  table = PrepareTable(std::move(table), {});
  return Monitor(bins, "the bins", table, options);
}

bool AnyConditionMet(const StabilityReport& report) {
  return std::any_of(report.conditions.begin(), report.conditions.end(),
                     [](const StabilityCondition& condition) { return condition.isMet; });
}

OutputWriters WritersOf(const StabilityReport& report) {
  OutputWriters writers;
  writers.stem = "monitor";
  writers.text = [&](const Terminal& terminal) {
    return PrintableText(StabilityText(report, terminal.width, terminal.utf8), true);
  };
  writers.json = [&] { return StabilityJson(report) + "\n"; };
  writers.csv = [&] { return CsvText(TablesOf(report).groups); };
  writers.csvFiles = [&]() -> std::vector<std::pair<std::string, std::string>> {
    const StabilityTables tables = TablesOf(report);
    return {{"monitor.csv", CsvText(tables.groups)}, {"monitor_bins.csv", CsvText(tables.bins)}};
  };
  writers.workbook = [&] { return StabilityWorkbook(report); };
  writers.page = [&] { return StabilityPage(report); };
  return writers;
}

}  // namespace velmora
