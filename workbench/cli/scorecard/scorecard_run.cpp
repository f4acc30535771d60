#include "workbench/cli/scorecard/scorecard_run.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/data/errors.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/scorecard/binned_cases.h"

namespace velmora {
namespace {

void CheckCode(const std::string& option, const std::string& code, const std::string& saved,
               const std::string& binsFile) {
  if (!code.empty() && code != saved)
    throw UsageError(option + " is " + ShortenedText(code) + ", but the bins of " + binsFile +
                     " were made with " + saved + ".");
}

// The predictors of the response that enter, in the order of the bins: the best first.
std::vector<const SavedPredictor*> ChosenPredictors(const Table& table, const SavedResponse& response,
                                                    const ScorecardRequest& request,
                                                    const std::string& binsFile) {
  std::set<std::string> named;
  for (const int number : NamedVariables(table, "--predictors", request.predictors)) {
    const std::string& name = table.Variable(number).name;
    const bool known = std::any_of(response.predictors.begin(), response.predictors.end(),
                                   [&](const SavedPredictor& one) { return one.name == name; });
    if (!known && NamedExactly(table, request.predictors, number))
      throw UsageError("--predictors: " + binsFile + " has no bins of " + name + " for " + response.name +
                       ".");
    named.insert(name);
  }
  std::vector<const SavedPredictor*> chosen;
  for (const SavedPredictor& predictor : response.predictors) {
    if (request.predictors.empty() || named.contains(predictor.name)) chosen.push_back(&predictor);
  }
  if (chosen.empty()) throw UsageError(binsFile + " has no predictor of " + response.name + " to use.");
  return chosen;
}

// Weights of evidence as natural logarithms. Throws RunError for a bin without one.
std::vector<double> WeightsOfEvidence(const SavedPredictor& predictor) {
  std::vector<double> woe;
  for (const SavedBin& bin : predictor.bins) {
    if (bin.figures.front() == kMissing)
      throw RunError(
          "The bin " + ShortenedText(bin.label) + " of " + predictor.name +
          " separates the bad cases from the good ones: it lacks one of the two, so it has no weight "
          "of evidence. Join it to another one with velmora bins edit.");
    woe.push_back(bin.figures.front() / 100);
  }
  return woe;
}

// Cases of one table with their bins, before they are divided into samples.
class SampleReader {
 public:
  SampleReader(const Table& table, const SavedResponse& response, const ScorecardRequest& request)
      : table_(table),
        weight_(ChooseCaseWeight(table, request.cases, false)),
        meaning_(request.cases.MeaningOfWeights()),
        cases_(table, CaseWeights(table, SelectedCases(table, request.cases), weight_, meaning_), response) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(table.caseCount); ++i) {
      if (cases_.Uses(i)) used_.push_back(i);
    }
    for (int code = 0; code < 2; ++code) {
      if (std::none_of(used_.begin(), used_.end(), [&](std::size_t i) { return cases_.ClassOf(i) == code; }))
        throw RunError("There is no case with " + response.name + " = " +
                       response.codes[static_cast<std::size_t>(code)] + " in the cases used of " +
                       table.fileName + ".");
    }
  }

  const std::string& WeightName() const {
    static const std::string none;
    return weight_ == 0 ? none : table_.Variable(weight_).name;
  }

  WoeCases Read(const std::vector<const SavedPredictor*>& predictors, const std::string& binsFile,
                std::vector<std::string>& notices) const {
    WoeCases cases;
    for (const std::size_t i : used_) {
      cases.isBad.push_back(cases_.ClassOf(i) == 0 ? 1 : 0);
      if (weight_ != 0) cases.weights.push_back(cases_.Weight(i));
    }
    cases.sampled = weight_ != 0 && meaning_ == WeightMeaning::kSampling;
    ProgressBar bar;
    bar.Start("Binning " + table_.fileName);
    for (std::size_t k = 0; k < predictors.size(); ++k) {
      bar.Update(static_cast<double>(k) / static_cast<double>(predictors.size()));
      cases.predictors.push_back(BinnedCases(*predictors[k], binsFile, notices));
    }
    bar.Finish();
    return cases;
  }

 private:
  WoeCases::Predictor BinnedCases(const SavedPredictor& saved, const std::string& binsFile,
                                  std::vector<std::string>& notices) const {
    WoeCases::Predictor predictor;
    predictor.name = saved.name;
    predictor.woe = WeightsOfEvidence(saved);
    const BinnedPredictor binned =
        BinCases(saved, binsFile, table_, notices, [](double) { return !WasInterrupted(); });
    std::size_t unbinned = 0;
    for (const std::size_t i : used_) {
      predictor.bins.push_back(binned.bins[i]);
      unbinned += binned.bins[i] < 0 ? 1 : 0;
    }
    if (unbinned > 0)
      notices.push_back(Counted(unbinned, "case", "cases") + " of " + table_.fileName +
                        (unbinned == 1 ? " has" : " have") + " no bin of " + saved.name + " and " +
                        (unbinned == 1 ? "counts" : "count") + " as neutral.");
    return predictor;
  }

  const Table& table_;
  const int weight_;
  const WeightMeaning meaning_;
  const ResponseCases cases_;
  std::vector<std::size_t> used_;
};

WoeCases Part(const WoeCases& cases, const std::vector<bool>& heldOut, bool wanted) {
  WoeCases part;
  part.sampled = cases.sampled;
  for (const WoeCases::Predictor& predictor : cases.predictors)
    part.predictors.push_back({predictor.name, predictor.woe, {}});
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (heldOut[i] != wanted) continue;
    part.isBad.push_back(cases.isBad[i]);
    if (!cases.weights.empty()) part.weights.push_back(cases.weights[i]);
    for (std::size_t k = 0; k < cases.predictors.size(); ++k)
      part.predictors[k].bins.push_back(cases.predictors[k].bins[i]);
  }
  return part;
}

// A name that no variable of the response has yet.
std::string UnusedName(const SavedResponse& response, const std::string& name) {
  std::set<std::string> taken;
  for (const SavedPredictor& predictor : response.predictors) {
    taken.insert(predictor.codedVariable);
    taken.insert(predictor.figureVariables.begin(), predictor.figureVariables.end());
  }
  std::string unused = name;
  for (int number = 2; taken.contains(unused); ++number) unused = name + "_" + std::to_string(number);
  return unused;
}

std::vector<double> EndsOf(const std::vector<ScoreBand>& bands) {
  std::vector<double> ends;
  for (std::size_t i = 0; i + 1 < bands.size(); ++i) ends.push_back(bands[i].upTo);
  return ends;
}

// The bins to save: the response with the predictors of the scorecard.
SavedBins Saved(const SavedBins& bins, const SavedResponse& response, const FittedScorecard& card,
                const ScoreQuality& quality) {
  SavedBins saved;
  saved.dataFile = bins.dataFile;
  SavedResponse& own = saved.responses.emplace_back(response);
  own.predictors.clear();
  for (const SavedScorecard::Term& term : card.saved.terms)
    own.predictors.push_back(
        *std::find_if(response.predictors.begin(), response.predictors.end(),
                      [&](const SavedPredictor& one) { return one.name == term.predictor; }));
  own.scorecard = card.saved;
  own.scorecard->scoreVariable = UnusedName(own, response.name + "_Score");
  own.scorecard->probabilityVariable = UnusedName(own, response.name + "_Probability");
  own.scorecard->areaUnderCurve = quality.areaUnderCurve;
  own.scorecard->ksDistance = quality.ksDistance;
  for (const ScoreBand& band : quality.bands)
    own.scorecard->bands.push_back({band.upTo, {band.bad, band.good}});
  // Labels given by hand are kept; the edits are dropped, because they do not fit the remaining
  // predictors.
  for (SavedPredictor& predictor : own.predictors) predictor.original.reset();
  return saved;
}

std::vector<std::vector<SavedCounts>> CountsOf(const WoeCases& cases, const LogisticFit& fit) {
  std::vector<std::vector<SavedCounts>> counts;
  for (const std::size_t k : fit.predictors) {
    const WoeCases::Predictor& predictor = cases.predictors[k];
    std::vector<SavedCounts>& bins = counts.emplace_back(predictor.woe.size(), SavedCounts(2));
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (predictor.bins[i] >= 0)
        bins[static_cast<std::size_t>(predictor.bins[i])][cases.isBad[i] != 0 ? 0 : 1] += cases.Weight(i);
    }
  }
  return counts;
}

}  // namespace

const SavedResponse& BinaryResponseOf(const SavedBins& bins, const std::string& binsFile,
                                      const std::string& name) {
  const SavedResponse* found = nullptr;
  for (const SavedResponse& response : bins.responses) {
    if (!name.empty() ? response.name != name : response.kind != "binary") continue;
    found = &response;
    if (response.kind == "binary") break;
  }
  if (found == nullptr)
    throw UsageError(name.empty()
                         ? binsFile + " has no bins for a binary response."
                         : "--response: " + binsFile + " has no bins for " + ShortenedText(name) + ".");
  if (found->kind != "binary")
    throw UsageError("--response: the bins of " + binsFile + " for " + name + " are for a " + found->kind +
                     " response; a scorecard needs a binary one.");
  return *found;
}

ScorecardReport MakeScorecard(const Table& table, const SavedBins& bins, const std::string& binsFile,
                              const ScorecardRequest& request, const std::optional<Table>& test) {
  const SavedResponse& response = BinaryResponseOf(bins, binsFile, request.response);
  CheckCode("--bad", request.bad, response.codes[0], binsFile);
  CheckCode("--good", request.good, response.codes[1], binsFile);
  ScorecardReport report;
  report.dataFile = table.fileName;
  report.binsFile = binsFile;
  report.caseCount = table.caseCount;
  report.rawWeights = request.cases.rawWeights;
  report.select = request.cases.select;
  report.exclude = request.cases.exclude;
  report.settings = request.settings;
  const std::vector<const SavedPredictor*> predictors = ChosenPredictors(table, response, request, binsFile);
  const SampleReader reader(table, response, request);
  (request.cases.count.empty() ? report.weightVariable : report.countVariable) = reader.WeightName();
  WoeCases training = reader.Read(predictors, binsFile, report.notices);
  std::optional<WoeCases> heldOut, tested;
  if (request.holdout > 0) {
    if (bins.dataFile == table.fileName)
      report.notices.push_back(
          "The bins were found in " + table.fileName +
          ", too, so the cases that are held out had a part in them; find the bins in other "
          "cases for an honest test.");
    const std::vector<bool> isHeldOut = HeldOutCases(training.isBad, request.holdout, request.settings.seed);
    heldOut = Part(training, isHeldOut, true);
    training = Part(training, isHeldOut, false);
    if (heldOut->isBad.empty() || std::adjacent_find(training.isBad.begin(), training.isBad.end(),
                                                     std::not_equal_to<>()) == training.isBad.end())
      throw RunError("--holdout leaves no bad or no good case in one of the samples.");
  }
  if (test) {
    tested = SampleReader(*test, response, request).Read(predictors, binsFile, report.notices);
  }
  ProgressBar bar;
  bar.Start("Fitting the scorecard");
  report.card = FitScorecard(training, request.settings, [] { return WasInterrupted(); });
  bar.Finish();
  report.notices.insert(report.notices.end(), report.card.notices.begin(), report.card.notices.end());
  const auto measure = [&](const char* name, const std::string& file, const WoeCases& cases) {
    const std::vector<double> ends =
        report.samples.empty() ? std::vector<double>() : EndsOf(report.samples.front().quality.bands);
    report.samples.push_back({name, file, MeasureScores(ScoresOf(cases, report.card.saved), ends)});
  };
  measure("training", table.fileName, training);
  if (heldOut) measure("holdout", table.fileName, *heldOut);
  if (tested) measure("test", test->fileName, *tested);
  report.counts = CountsOf(training, report.card.fit);
  report.saved = Saved(bins, response, report.card, report.samples.front().quality);
  for (const SavedPredictor* predictor : predictors) {
    const bool isIn =
        std::any_of(report.card.terms.begin(), report.card.terms.end(),
                    [&](const ScorecardTerm& term) { return term.predictor == predictor->name; });
    if (!isIn) report.leftOut.push_back(predictor->name);
  }
  return report;
}

}  // namespace velmora
