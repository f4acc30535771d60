#include "workbench/cli/screen/screen_evidence.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <unordered_set>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/words.h"
#include "workbench/data/errors.h"
#include "workbench/documents/page.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/evidence/likely_codes.h"
#include "workbench/evidence/permutation_test.h"
#include "workbench/evidence/warning_signs.h"

namespace velmora {
namespace {

// Siddiqi 2006, Credit Risk Scorecards: above this information value a predictor is suspected.
constexpr double kSuspectInformationValue = 0.5;
constexpr double kSuspectAuc = 0.95;
// A bin of one class gives the outcome away when chance alone would hardly produce it.
constexpr double kLogChance = -13.815510557964274;  // ln 1e-6
constexpr double kFewestCases = 20;                 // of one class only, for a warning

bool IsKnown(double value) { return std::isfinite(value) && !IsMissing(value, kMissing); }

// Finds suspicious signs of one predictor.
class Suspicion {
 public:
  Suspicion(const ScreenedResponse& response, const Column& column, ScreenedPredictor& predictor)
      : response_(response), column_(column), predictor_(predictor) {}

  void LookAtFigures() {
    const vlm::ScreeningPredictor& figures = predictor_.figures;
    if (response_.kind != vlm::kBinaryResponse) {
      if (IsKnown(figures.heldOutExplained) && figures.heldOutExplained > evidence::kGivesAway)
        Add("leakage", "explains " + ShownNumber(100 * figures.heldOutExplained, "0.0") + " % of " +
                           response_.name + ", as if it were made from it");
      return;
    }
    const double auc = IsKnown(figures.heldOutGini) ? (figures.heldOutGini + 1) / 2 : 0;
    const double value =
        IsKnown(figures.heldOutInformationValue) ? figures.heldOutInformationValue : figures.informationValue;
    if (auc > kSuspectAuc) {
      Add("leakage",
          "AUC " + ShownNumber(auc, "0.000") + " on cases held out is above 0.95, as if it were made from " +
              response_.name,
          CommonWarning::kAuc, auc);
    } else if (IsKnown(value) && value > kSuspectInformationValue) {
      Add("leakage",
          "information value " + ShownNumber(value, "0.00") + " is above 0.5; is it known before " +
              response_.name + "?",
          CommonWarning::kInformationValue, value);
    }
  }

  // Bins with cases of one class alone, among bins that are more than a range of numbers: levels,
  // dates, special codes and missing values.
  void LookAtBins() {
    if (response_.kind != vlm::kBinaryResponse) return;
    const double bads = predictor_.total.figures.bad, goods = predictor_.total.figures.good;
    if (!(bads > 0) || !(goods > 0)) return;
    double knownBads = 0, knownGoods = 0;
    for (std::size_t b = 0; b < predictor_.bins.size(); ++b) {
      if (IsMissingBin(b)) continue;
      knownBads += predictor_.bins[b].figures.bad;
      knownGoods += predictor_.bins[b].figures.good;
    }
    if (IsOneClass(knownBads, knownGoods)) {
      Add("leakage", "known only where " + response_.name + " is " +
                         DisplayLabel(response_.codes[knownBads > 0 ? 0 : 1]));
      return;
    }
    for (std::size_t b = 0; b < predictor_.bins.size(); ++b) {
      const double bad = predictor_.bins[b].figures.bad, good = predictor_.bins[b].figures.good;
      const bool named =
          predictor_.figures.categorical != 0 || predictor_.IsApart(b) || column_.dateUnit != DateUnit::kNone;
      if (!named || !IsOneClass(bad, good)) continue;
      const double share = (bad > 0 ? bads : goods) / (bads + goods);
      if ((bad + good) * std::log(share) > kLogChance) continue;
      const std::string label = ShortenedText(DisplayLabel(predictor_.bins[b].label));
      Add("leakage", response_.name + " is " + DisplayLabel(response_.codes[bad > 0 ? 0 : 1]) + " in all " +
                         ShownNumber(bad + good, "0") + " cases of " + label);
    }
  }

  void LookForIdentifier(const CaseBitmap& selected) {
    if (predictor_.figures.categorical != 0) {
      const auto levels = static_cast<std::int64_t>(predictor_.levels.size());
      if (evidence::HasNearlyALevelPerCase(levels, predictor_.cases))
        Add("identifier", GroupedDigits(levels) + " levels in " + GroupedDigits(predictor_.cases) +
                              " cases, nearly one each, as an identifier has");
      return;
    }
    std::unordered_set<double> seen;
    std::int64_t cases = 0;
    const MissingRange missing(column_.missingCode);
    for (std::size_t i = 0; i < column_.values.size(); ++i) {
      const double value = column_.values[i];
      if (!selected.Contains(static_cast<std::int64_t>(i)) || std::isnan(value) || missing.Contains(value))
        continue;
      if (value != std::floor(value) || !seen.insert(value).second) return;
      ++cases;
    }
    if (evidence::HasNoNumberTwice(column_, cases, cases))
      Add("identifier", "whole numbers of which none occurs twice, as of an identifier");
  }

  void LookForCodes(const std::vector<evidence::LikelyCode>& codes, const BinningPlan& plan) {
    const auto special = plan.specialCodes.find(predictor_.figures.predictorNumber);
    for (const evidence::LikelyCode& code : codes) {
      const bool known =
          special != plan.specialCodes.end() &&
          std::any_of(special->second.begin(), special->second.end(), [&](const auto& together) {
            return std::find(together.begin(), together.end(), code.value) != together.end();
          });
      if (known) continue;
      const std::string value = ShownNumber(code.value, "");
      Add("code", Counted(static_cast<std::size_t>(code.cases), "case holds", "cases hold") + " " + value +
                      ", apart from all other values; if it is a code, use --special " +
                      ShellWord(column_.name + "=" + value));
    }
  }

 private:
  void Add(const char* kind, std::string text, CommonWarning common = CommonWarning::kNone,
           double figure = 0) {
    predictor_.warnings.push_back({kind, std::move(text), common, figure});
  }
  static bool IsOneClass(double bad, double good) {
    return (bad > 0) != (good > 0) && bad + good >= kFewestCases;
  }
  bool IsMissingBin(std::size_t bin) const {
    return predictor_.missingHasOwnBin && static_cast<int>(bin) == predictor_.figures.missingBin;
  }

  const ScreenedResponse& response_;
  const Column& column_;
  ScreenedPredictor& predictor_;
};

}  // namespace

void EvidenceOptions::AddTo(CommandParser& parser) {
  parser.WholeNumber("--permutations", permutations, 19, 1000000);
  parser.WholeNumber("--seed", seed, 0, 2147483647);
}

void EvidenceOptions::Check(const CommandParser& parser) const {
  if (parser.Has("--seed") && permutations == 0) throw UsageError("--seed needs --permutations.");
}

void AddPermutations(const EvidenceOptions& options, int threads, const SearchLog& log,
                     ScreenReport& report) {
  report.permutations = options.permutations;
  report.seed = options.seed;
  if (options.permutations == 0) return;
  WorkerPool pool(threads);
  for (ScreenedResponse& response : report.responses) {
    std::vector<const binning::SearchRecord*> records;
    std::vector<ScreenedPredictor*> predictors;
    for (ScreenedPredictor& predictor : response.predictors) {
      const binning::SearchRecord* const record = log.Find(response, predictor);
      if (record == nullptr) continue;
      records.push_back(record);
      predictors.push_back(&predictor);
    }
    ProgressBar bar;
    bar.Start("Permuting " + response.name + "...");
    evidence::SearchTest test;
    try {
      test = evidence::TestSearches(records, {options.permutations, static_cast<std::uint64_t>(options.seed)},
                                    pool, [&](double fraction) {
                                      bar.Update(fraction);
                                      return !WasInterrupted();
                                    });
    } catch (const std::invalid_argument& error) {
      throw RunError("--permutations: " + std::string(error.what()) + " (--count " + report.countVariable +
                     ").");
    }
    bar.Finish();
    if (test.cancelled) throw Cancelled();
    for (std::size_t i = 0; i < records.size(); ++i) {
      predictors[i]->searchP = test.p[i];
      predictors[i]->adjustedSearchP = test.adjustedP[i];
    }
  }
}

void AddWarnings(const Table& table, const CaseBitmap& selected, const BinningPlan& plan,
                 ScreenReport& report) {
  std::map<int, std::vector<evidence::LikelyCode>> codes;  // by variable
  for (ScreenedResponse& response : report.responses) {
    for (ScreenedPredictor& predictor : response.predictors) {
      const int number = predictor.figures.predictorNumber;
      const Column& column = table.Variable(number);
      if (predictor.figures.categorical == 0 && !codes.contains(number))
        codes.emplace(number, evidence::LikelyCodes(column, selected));
      const bool isChance = predictor.figures.noBetterThanChance != 0;
      Suspicion suspicion(response, column, predictor);
      if (!isChance) {
        suspicion.LookAtBins();
        suspicion.LookAtFigures();
      }
      suspicion.LookForIdentifier(selected);
      if (predictor.figures.categorical == 0) suspicion.LookForCodes(codes.at(number), plan);
      column.values.Release();
    }
  }
}

}  // namespace velmora
