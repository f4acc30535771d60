#include "workbench/cli/screen/screen_binning.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/run_files.h"
#include "workbench/cli/screen/search_log.h"
#include "workbench/cli/words.h"
#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kPreBinLimit = 1000;
constexpr int kMostBins = 100;
constexpr int kMostCases = 1000000000;
constexpr std::size_t kNamedInNotice = 5;  // in a notice

using binning::Criterion;
using binning::Shape;

constexpr std::pair<const char*, Criterion> kCriteria[] = {{"deviance", Criterion::kDeviance},
                                                           {"iv", Criterion::kInformationValue},
                                                           {"gini", Criterion::kGini},
                                                           {"variance", Criterion::kVariance}};
constexpr std::pair<const char*, Shape> kShapes[] = {{"free", Shape::kFree},
                                                     {"monotone", Shape::kMonotone},
                                                     {"ascending", Shape::kAscending},
                                                     {"descending", Shape::kDescending},
                                                     {"peak", Shape::kPeak},
                                                     {"valley", Shape::kValley},
                                                     {"auto", Shape::kAuto}};

// Options without effect under --classic and, where treesToo, under --binning tree.
struct NewOption {
  const char* name;
  bool treesToo;
};
constexpr NewOption kNewOptions[] = {{"--binning", false},       {"--criterion", true},
                                     {"--shape", true},          {"--shapes", true},
                                     {"--max-bins", true},       {"--min-bins", true},
                                     {"--bin-count", true},      {"--min-bin-share", true},
                                     {"--min-bin-cases", true},  {"--min-bin-events", true},
                                     {"--max-adjacent-p", true}, {"--min-level-share", true},
                                     {"--pre-bins", true},       {"--missing-bin", false},
                                     {"--special", false},       {"--pure-bin-correction", false},
                                     {"--ordinal", false},       {"--nominal", false},
                                     {"--rank-by", false},       {"--save-chance", false},
                                     {"--count", false},         {"--permutations", true},
                                     {"--strata", true},         {"--clusters", true}};

template <typename Pairs>
std::vector<std::string> WordsOf(const Pairs& pairs) {
  std::vector<std::string> words;
  for (const auto& pair : pairs) words.emplace_back(pair.first);
  return words;
}

Shape ShapeOf(const std::string& word) {
  for (const auto& [name, shape] : kShapes) {
    if (word == name) return shape;
  }
  throw UsageError("--shape takes " + JoinWords(WordsOf(kShapes), " or ") + ", not " + word + ".");
}

// A word, or NAME=WORD.
std::pair<std::string, std::string> SplitShape(const std::string& text) {
  const std::size_t equals = text.rfind('=');
  if (equals == std::string::npos) return {"", text};
  return {text.substr(0, equals), text.substr(equals + 1)};
}

// The shapes of a file, as NAME=WORD.
std::vector<std::string> ReadShapes(const std::string& path) {
  Json json;
  try {
    json = ParseJson(ReadWholeFile(path), path);
  } catch (const DataError& error) {
    throw RunError(error.what());
  }
  if (!json.is_object()) throw RunError(path + R"( is not an object such as {"age": "ascending"}.)");
  std::vector<std::string> shapes;
  for (const auto& [name, shape] : json.items()) {
    if (!shape.is_string()) throw RunError(path + ": the shape of " + name + " is not a text.");
    const std::string word = shape.get<std::string>();
    try {
      ShapeOf(word);
    } catch (const UsageError&) {
      throw RunError(path + ": the shape of " + name + " is " + word + "; there are " +
                     JoinWords(WordsOf(kShapes), " and ") + ".");
    }
    shapes.push_back(name + "=" + word);
  }
  return shapes;
}

// "default", then the name of every figure once.
std::vector<std::string> RankingWords() {
  std::vector<std::string> words = {"default"};
  for (const ScreenRanking& ranking : ScreenRankings()) {
    if (std::find(words.begin(), words.end(), ranking.name) == words.end()) words.emplace_back(ranking.name);
  }
  return words;
}

// option: the least number that each bin must hold. held: how many of them the predictor has, which
// two bins would share.
template <typename Held>
void AddIfNoSecondBin(const char* option, double least, const ScreenedResponse& response, Held held,
                      std::vector<std::string>& notices) {
  std::size_t count = 0;
  double most = 0;
  for (const ScreenedPredictor& predictor : response.predictors) {
    const double cases = held(predictor);
    if (2 * least <= cases) continue;
    ++count;
    most = std::max(most, cases);
  }
  if (count == 0) return;
  notices.push_back(std::string(option) + " " + ShortestNumber(least) + " allows no second bin of " +
                    std::to_string(count) + " of " +
                    Counted(response.predictors.size(), "predictor", "predictors") + " for " + response.name +
                    "; " + ShortestNumber(std::floor(most / 2)) + " or less does.");
}

}  // namespace

std::size_t ValueBinCount(const ScreenedPredictor& predictor) {
  if (predictor.figures.categorical == 0) return predictor.cutPoints.size() + 1;
  std::set<int> bins;
  for (const ScreenedLevel& level : predictor.levels) bins.insert(level.bin);
  return bins.size();
}

void BinningOptions::AddTo(CommandParser& parser) {
  parser.Flag("--classic", classic);
  parser.Choice("--binning", search, {"optimal", "tree"});
  parser.Choice("--criterion", criterion, WordsOf(kCriteria));
  parser.Repeated("--shape", shapes);
  parser.Text("--shapes", shapesFile);
  parser.WholeNumber("--max-bins", maxBins, 1, kMostBins);
  parser.WholeNumber("--min-bins", minBins, 1, kMostBins);
  parser.WholeNumber("--bin-count", binCount, 1, kMostBins);
  parser.Share("--min-bin-share", minShare);
  parser.WholeNumber("--min-bin-cases", minCases, 0, kMostCases);
  parser.WholeNumber("--min-bin-events", minEvents, 0, kMostCases);
  parser.Share("--max-adjacent-p", maxAdjacentP, true);
  parser.Share("--min-level-share", minLevelShare);
  parser.WholeNumber("--pre-bins", preBins, 2, kPreBinLimit);
  parser.Choice("--missing-bin", missingBin, {"drop", "own", "lowest", "highest", "most-alike"});
  parser.Choice("--pure-bin-correction", pureBinCorrection, {"on", "off"});
  parser.Choice("--rank-by", rankBy, RankingWords());
  parser.Flag("--save-chance", saveChance);
}

void BinningOptions::Check(const CommandParser& parser, const ScreenRequest& request) const {
  for (const NewOption& option : kNewOptions) {
    if (classic && parser.Has(option.name)) {
      throw UsageError("--classic runs exactly as the dialogs do and takes no " + std::string(option.name) +
                       "; leave one of them out.");
    }
    if (search == 1 && option.treesToo && parser.Has(option.name)) {
      throw UsageError(std::string(option.name) +
                       " is about optimal bins; leave it out or leave out --binning tree.");
    }
  }
  if (!classic && search == 0 && parser.Has("--no-prune"))
    throw UsageError("--no-prune is about trees; add --binning tree or --classic.");
  if (binCount > 0 && (parser.Has("--max-bins") || parser.Has("--min-bins")))
    throw UsageError("--bin-count sets the number of bins; leave out --max-bins and --min-bins.");
  if (minBins > maxBins) {
    throw UsageError("--min-bins " + std::to_string(minBins) + " is more than --max-bins " +
                     std::to_string(maxBins) + ".");
  }
  const int least = std::max(minBins, binCount);
  if (least * minShare > 1 + 1e-9) {
    throw UsageError(std::to_string(least) + " bins cannot each hold the --min-bin-share of the cases; " +
                     std::to_string(static_cast<int>(1 / minShare + 1e-9)) + " can.");
  }
  if (minShare > 0.5 + 1e-9)
    throw UsageError("--min-bin-share " + ShortestNumber(minShare) +
                     " allows no predictor a second bin; 0.5 or less does.");
  if (least > preBins) {
    throw UsageError(std::to_string(least) + " bins cannot be made of " + std::to_string(preBins) +
                     " pre-bins; raise --pre-bins.");
  }
  const bool binary = !request.binary.empty(), measured = !request.continuous.empty(),
             classes = !request.categorical.empty();
  const char* const lacks = criterion == 1 && !binary ? "a --binary-response"
                            : criterion == 2 && !binary && !classes
                                ? "a --binary-response or --categorical-response"
                            : criterion == 3 && !measured ? "a --continuous-response"
                                                          : nullptr;
  if (lacks != nullptr)
    throw UsageError("--criterion " + std::string(kCriteria[criterion].first) + " needs " + lacks + ".");
  for (const std::string& shape : shapes) {
    if (ShapeOf(SplitShape(shape).second) != Shape::kFree && !binary && !measured) {
      throw UsageError(
          "--shape is that of a rate or a mean and needs a --binary-response or --continuous-response.");
    }
  }
}

std::shared_ptr<const BinningPlan> BinningOptions::MakePlan(const Table& table,
                                                            const ScreenChoice& choice) const {
  if (classic) return nullptr;
  auto plan = std::make_shared<BinningPlan>();
  plan->optimal = search == 0;
  plan->preBins = preBins;
  plan->weights = weights;
  binning::PartitionRules& partition = plan->rules.partition;
  partition.criterion = kCriteria[criterion].second;
  partition.maxBins = maxBins;
  partition.minShare = minShare;
  partition.minCases = minCases;
  partition.minEvents = minEvents;
  partition.maxAdjacentP = maxAdjacentP;
  partition.correctPureBins = pureBinCorrection == 0;
  plan->rules.minBins = minBins;
  plan->rules.exactBins = binCount;
  plan->rules.minLevelShare = minLevelShare;
  plan->rules.candidates = choice.continuousPredictors.size() + choice.categoricalPredictors.size();
  for (const std::string& text : shapes) {
    if (const auto [name, word] = SplitShape(text); name.empty()) partition.shape = ShapeOf(word);
  }
  const auto setShapes = [&](const char* option, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      const auto [name, word] = SplitShape(text);
      if (name.empty()) continue;
      const std::vector<int> numbers = NamedVariables(table, option, {name});
      for (const int number : numbers) {
        if (!choice.IsPredictor(number)) {
          if (numbers.size() > 1) continue;  // a pattern means those of its matches that are predictors
          throw UsageError(std::string(option) + ": " + table.Variable(number).name +
                           " is not a predictor of this run.");
        }
        plan->rulesOf.try_emplace(number, plan->rules).first->second.partition.shape = ShapeOf(word);
      }
    }
  };
  if (!shapesFile.empty()) setShapes("--shapes", ReadShapes(shapesFile));
  setShapes("--shape", shapes);
  const int usual = plan->optimal ? vlm::kMissingOwnBin : vlm::kMissingLeftOut;
  plan->screening.missingBin = missingBin < 0 ? usual : missingBin;
  plan->screening.acceptOneBin = plan->optimal ? 1 : 0;
  plan->screening.correctPureBins = pureBinCorrection == 0 ? 1 : 0;
  plan->screening.searchSelectedCases = 1;
  return plan;
}

RankBy BinningOptions::Ranking(const CommandParser& parser) const {
  for (const ScreenRanking& ranking : ScreenRankings()) {
    if (rankBy > 0 && RankingWords()[static_cast<std::size_t>(rankBy)] == ranking.name) return ranking.by;
  }
  const bool prescribed = classic || search == 1 || parser.Has("--sort-binary") ||
                          parser.Has("--sort-continuous") || parser.Has("--sort-categorical");
  return prescribed ? RankBy::kPrescribed : RankBy::kOutOfFold;
}

std::vector<std::string> UnmetBinCounts(const ScreenReport& report, const BinningPlan& plan) {
  std::vector<std::string> notices;
  if (!plan.optimal) return notices;
  const binning::BinningRules& rules = plan.rules;
  const auto least = static_cast<std::size_t>(rules.exactBins > 0 ? rules.exactBins : rules.minBins);
  for (const ScreenedResponse& response : report.responses) {
    AddIfNoSecondBin(
        "--min-bin-cases", rules.partition.minCases, response,
        [](const ScreenedPredictor& predictor) {
          return std::max(predictor.total.figures.total, static_cast<double>(predictor.cases));
        },
        notices);
    AddIfNoSecondBin(
        "--min-bin-events", rules.partition.minEvents, response,
        [](const ScreenedPredictor& predictor) {
          const std::vector<double>& counts = predictor.total.counts;
          return counts.empty() ? std::numeric_limits<double>::infinity()
                                : *std::min_element(counts.begin(), counts.end());
        },
        notices);
    std::vector<std::string> names;
    for (const ScreenedPredictor& predictor : response.predictors) {
      const std::size_t bins = ValueBinCount(predictor);
      if (bins >= least && (rules.exactBins == 0 || bins == least)) continue;
      names.push_back(predictor.name + " (" + std::to_string(bins) + ")");
    }
    if (names.empty()) continue;
    notices.push_back(
        (rules.exactBins > 0 ? "--bin-count " : "--min-bins ") + std::to_string(least) + ": " +
        Counted(names.size(), "predictor has", "predictors have") +
        (rules.exactBins > 0 ? " another number of bins" : " fewer bins") + " for " + response.name +
        ", because their values or the other rules allow no more: " + JoinFirst(names, kNamedInNotice) + ".");
  }
  return notices;
}

namespace {

std::string ShapeWord(Shape shape) {
  const auto* const known = std::find_if(std::begin(kShapes), std::end(kShapes),
                                         [shape](const auto& one) { return one.second == shape; });
  return known->first;
}

}  // namespace

std::vector<std::string> UnmetShapes(const ScreenReport& report, const SearchLog& log) {
  std::vector<std::string> notices;
  for (const ScreenedResponse& response : report.responses) {
    std::map<Shape, std::vector<std::string>> unmet;  // by the demanded shape
    for (const ScreenedPredictor& predictor : response.predictors) {
      const binning::SearchRecord* const record = log.Find(response, predictor);
      if (record == nullptr || record->otherShape == Shape::kFree) continue;
      unmet[record->rules.partition.shape].push_back(predictor.name + " (" + ShapeWord(record->otherShape) +
                                                     ")");
    }
    for (const auto& [shape, names] : unmet) {
      notices.push_back(
          "--shape " + ShapeWord(shape) + ": no bins of this shape describe " + response.name +
          " better than one bin does; bins of another shape do: " + JoinFirst(names, kNamedInNotice) + ".");
    }
  }
  return notices;
}

}  // namespace velmora
