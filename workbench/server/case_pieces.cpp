#include "workbench/server/case_pieces.h"

#include <algorithm>
#include <cmath>

#include "workbench/binning/assess_bins.h"
#include "workbench/binning/cross_validate.h"
#include "workbench/binning/optimal_bins.h"
#include "workbench/cli/data_input.h"
#include "workbench/data/names.h"
#include "workbench/scorecard/binned_cases.h"
#include "workbench/scorecard/stability.h"

namespace velmora {
namespace {

constexpr std::size_t kMostPieces = 500;

std::size_t PieceCount(const CasePieces& pieces) {
  return pieces.predictor.preBins.size() + pieces.predictor.levels.size() + (pieces.hasMissing ? 1 : 0);
}

// The predictor with a bin for each piece.
SavedPredictor InPieces(const SavedPredictor& predictor) {
  SavedPredictor split = predictor;
  split.cutPoints.clear();
  for (std::size_t i = 0; i + 1 < split.preBins.size(); ++i) split.cutPoints.push_back(split.preBins[i].last);
  int bin = static_cast<int>(split.preBins.size());
  for (SavedLevel& level : split.levels) level.bin = bin++;
  split.missingBin = bin;
  split.otherBin.reset();
  split.bins.assign(static_cast<std::size_t>(bin) + 1,
                    {"", std::vector<double>(split.figureVariables.size())});
  return split;
}

bool IsSameLevel(const SavedLevel& a, const SavedLevel& b) {
  return a.number == b.number && a.text == b.text;
}

// The bin of each piece, -1 for a piece in none.
std::vector<int> BinsOfPieces(const CasePieces& pieces, const SavedPredictor& edited) {
  std::vector<int> bins;
  std::size_t interval = 0;
  for (const SavedPreBin& one : pieces.predictor.preBins) {
    while (interval < edited.cutPoints.size() && one.first > MissingRange(edited.cutPoints[interval]).high)
      ++interval;
    bins.push_back(static_cast<int>(interval));
  }
  for (std::size_t i = 0; i < pieces.predictor.levels.size(); ++i) {
    const SavedLevel& level = pieces.predictor.levels[i];
    // Edits keep the order of the levels, so the first comparison nearly always finds the level.
    if (i < edited.levels.size() && IsSameLevel(edited.levels[i], level)) {
      bins.push_back(edited.levels[i].bin);
      continue;
    }
    const auto at = std::find_if(edited.levels.begin(), edited.levels.end(),
                                 [&](const SavedLevel& one) { return IsSameLevel(one, level); });
    bins.push_back(at == edited.levels.end() ? -1 : at->bin);
  }
  if (pieces.hasMissing) bins.push_back(edited.missingBin.value_or(-1));
  return bins;
}

binning::PreBinSums SumOf(const std::vector<binning::PreBinSums>& folds) {
  binning::PreBinSums sum = folds.front();
  for (std::size_t f = 1; f < folds.size(); ++f) {
    for (std::size_t i = 0; i < sum.values.size(); ++i) sum.values[i] += folds[f].values[i];
    for (std::size_t i = 0; i < sum.cases.size(); ++i) sum.cases[i] += folds[f].cases[i];
    sum.squaredWeights += folds[f].squaredWeights;
  }
  return sum;
}

// Only one of the pieces.
binning::PreBins Only(const binning::PreBins& all, std::size_t piece) {
  std::vector<int> binOf(all.Count(), -1);
  binOf[piece] = 0;
  binning::PreBins one;
  one.first = one.last = {0};
  one.sums = binning::SumBins(all.sums, binOf, 1);
  for (const binning::PreBinSums& fold : all.folds) one.folds.push_back(binning::SumBins(fold, binOf, 1));
  return one;
}

Json OutOfFold(const CasePieces& pieces, const std::vector<int>& binOf) {
  binning::PreBins all;
  all.folds = pieces.folds;
  all.sums = SumOf(pieces.folds);
  all.first.resize(binOf.size());
  all.last.resize(binOf.size());
  std::vector<int> each = binOf;
  // Missing cases that are in no bin are held out, too; they have no weight of evidence.
  std::optional<binning::PreBins> leftOut;
  binning::MissingCases rule;
  if (pieces.hasMissing && binOf.back() < 0) {
    leftOut = Only(all, binOf.size() - 1);
    if (leftOut->sums.TotalWeight() > 0) rule = {&*leftOut, vlm::kMissingLeftOut};
  }
  const binning::Validation found = binning::CrossValidate(
      all, [&](const binning::PreBinSums&) { return each; }, rule);
  if (all.sums.classCount != 2) return {{"explained", found.explained}};
  return {{"informationValue", found.informationValue}, {"gini", found.gini}, {"explained", found.explained}};
}

Json Stability(const CasePieces& pieces, const SavedResponse& response, const std::vector<int>& binOf) {
  const SavedPredictor& predictor = response.predictors.front();
  GroupedPredictor grouped =
      EmptyGroups(predictor, pieces.groups.size(), SavedCounts(CountsPerBin(response)));
  grouped.weightSpread = pieces.weightSpread;
  for (std::size_t group = 0; group < pieces.groups.size(); ++group) {
    for (std::size_t piece = 0; piece < binOf.size(); ++piece) {
      grouped.AddCases(group, binOf[piece], pieces.cases[group][piece]);
      if (binOf[piece] < 0) continue;
      SavedCounts& counts = grouped.counts[group][static_cast<std::size_t>(binOf[piece])];
      for (std::size_t i = 0; i < counts.size(); ++i) counts[i] += pieces.counts[group][piece][i];
    }
  }
  const PredictorStability stability =
      StabilityOf(grouped, response.kind, pieces.referenceIsAll ? kAllGroups : 0);
  Json groups = Json::array();
  for (std::size_t group = 0; group < pieces.groups.size(); ++group) {
    const PredictorInGroup& own = stability.groups[group];
    groups.push_back({{"name", pieces.groups[group]},
                      {"cases", own.cases},
                      {"psi", NumberOrNull(own.shareIndex)},
                      {"reading", own.shareIndex == kMissing ? Json() : Json(ReadingOf(own.shareIndex))},
                      {"strength", NumberOrNull(own.strength)},
                      {"isReference", !pieces.referenceIsAll && group == 0}});
  }
  return {{"by", pieces.by}, {"groups", groups}};
}

// The cases of a response as a search for bins sees them.
struct SearchedCases {
  stats::TreeResponse response;
  std::vector<std::uint8_t> foldOf;
  bool swaps = false;  // class 0 is the good one
};

SearchedCases CasesOfSearch(const ScreeningCases& screened, const ResponseCases& cases,
                            const SavedResponse& response) {
  const Column& column = screened.table.Variable(ResolveVariable(screened.table, response.name));
  std::vector<std::uint8_t> used(column.values.size());
  for (std::size_t i = 0; i < used.size(); ++i) used[i] = cases.Uses(i) ? 1 : 0;
  std::vector<double> weights;
  if (screened.weight != 0) {
    for (std::size_t i = 0; i < used.size(); ++i) weights.push_back(used[i] == 0 ? 0 : cases.Weight(i));
  }
  SearchedCases searched;
  if (response.kind == "continuous") {
    searched.response = stats::MakeContinuousResponse(column.values, column.missingCode, used, weights);
  } else {
    // Searches see a flag with its good code first; the folds depend on the order of the classes.
    searched.swaps = response.kind == "binary";
    std::vector<double> classes(used.size(), kMissing), codes;
    const auto codeCount = static_cast<int>(response.codes.size());
    for (int code = 0; code < codeCount; ++code) codes.push_back(code);
    for (std::size_t i = 0; i < used.size(); ++i) {
      if (used[i] != 0) classes[i] = searched.swaps ? codeCount - 1 - cases.ClassOf(i) : cases.ClassOf(i);
    }
    searched.response = stats::MakeClassResponse(classes, codes, used, weights);
  }
  searched.response.weightsAreCounts = screened.meaning == WeightMeaning::kCounts;
  searched.foldOf = binning::StratifiedFolds(searched.response);
  return searched;
}

// casesOf: by piece.
void CountGroups(const ScreeningCases& screened, const ResponseCases& sums,
                 const std::vector<std::vector<std::uint32_t>>& casesOf, CasePieces& pieces) {
  const Table& data = screened.table;
  const CaseGroups groups =
      GroupCases(data.Variable(NamedVariable(data, "--by", screened.by.variable)), screened.selected);
  pieces.by = screened.by.variable;
  pieces.groups = groups.names;
  pieces.referenceIsAll = screened.by.reference != 0;
  for (int group = 0; group < static_cast<int>(groups.names.size()); ++group)
    pieces.weightSpread.push_back(
        sums.Weights().Spread([&](std::size_t i) { return sums.Uses(i) && groups.groupOf[i] == group; }));
  pieces.counts.assign(groups.names.size(), std::vector<SavedCounts>(casesOf.size(), sums.None()));
  pieces.cases.assign(groups.names.size(), std::vector<double>(casesOf.size()));
  for (std::size_t piece = 0; piece < casesOf.size(); ++piece) {
    for (const std::uint32_t i : casesOf[piece]) {
      if (groups.groupOf[i] < 0) continue;
      const auto group = static_cast<std::size_t>(groups.groupOf[i]);
      pieces.cases[group][piece] += sums.Weight(i);
      sums.Add(i, pieces.counts[group][piece]);
    }
  }
}

}  // namespace

std::optional<CasePieces> CountPieces(const ScreeningCases& screened, const SavedResponse& response) {
  CasePieces pieces;
  pieces.predictor = InPieces(response.predictors.front());
  const std::size_t places = pieces.predictor.bins.size();
  if (places > kMostPieces) return std::nullopt;
  const Table& data = screened.table;
  const ResponseCases sums(data, {data, screened.selected, screened.weight, screened.meaning}, response);
  const SearchedCases searched = CasesOfSearch(screened, sums, response);
  std::vector<std::string> notices;
  const BinnedPredictor cases = BinCases(pieces.predictor, "the bins", data, notices);
  std::vector<std::vector<std::uint32_t>> casesOf(places);
  for (std::size_t i = 0; i < cases.bins.size(); ++i) {
    if (cases.bins[i] >= 0 && binning::CountsForResponse(searched.response, i))
      casesOf[static_cast<std::size_t>(cases.bins[i])].push_back(static_cast<std::uint32_t>(i));
  }
  pieces.hasMissing = !casesOf.back().empty();
  if (!pieces.hasMissing) casesOf.pop_back();
  binning::PreBins all;
  for (const std::vector<std::uint32_t>& ones : casesOf) {
    binning::PreBins one = binning::MakeMissingBin(searched.response, ones, searched.foldOf);
    if (&ones == &casesOf.front()) {
      all = std::move(one);
    } else {
      binning::Append(one, all);
    }
  }
  if (searched.swaps) binning::SwapTwoClasses(all);
  // The folds of a sample are made from its clusters, about which the pieces know nothing.
  if (!screened.hasDesign) pieces.folds = std::move(all.folds);
  if (!screened.by.variable.empty()) CountGroups(screened, sums, casesOf, pieces);
  return pieces;
}

std::string PiecesJson(const CasePieces& pieces) {
  Json levels = Json::array(), preBins = Json::array(), folds = Json::array();
  for (const SavedLevel& level : pieces.predictor.levels)
    levels.push_back({level.number ? Json(*level.number) : Json(), level.text});
  for (const SavedPreBin& one : pieces.predictor.preBins) preBins.push_back({one.first, one.last});
  for (const binning::PreBinSums& fold : pieces.folds)
    folds.push_back({{"values", fold.values}, {"cases", fold.cases}, {"squares", fold.squaredWeights}});
  return JsonText({{"levels", levels},
                   {"preBins", preBins},
                   {"hasMissing", pieces.hasMissing},
                   {"classes", pieces.folds.empty() ? 0 : pieces.folds.front().classCount},
                   {"folds", folds},
                   {"by", pieces.by},
                   {"groups", pieces.groups},
                   {"referenceIsAll", pieces.referenceIsAll},
                   {"counts", pieces.counts},
                   {"casesOfGroups", pieces.cases},
                   {"weightSpread", pieces.weightSpread}});
}

CasePieces ParsePieces(const std::string& text) {
  const Json json = Json::parse(text);
  CasePieces pieces;
  for (const Json& one : json.at("levels")) {
    SavedLevel& level = pieces.predictor.levels.emplace_back();
    if (!one.at(0).is_null()) level.number = one.at(0).get<double>();
    level.text = one.at(1).get<std::string>();
  }
  for (const Json& one : json.at("preBins"))
    pieces.predictor.preBins.push_back({one.at(0).get<double>(), one.at(1).get<double>(), {}});
  pieces.hasMissing = json.at("hasMissing").get<bool>();
  for (const Json& one : json.at("folds")) {
    binning::PreBinSums& fold = pieces.folds.emplace_back();
    fold.classCount = json.at("classes").get<int>();
    fold.values = one.at("values").get<std::vector<double>>();
    fold.cases = one.at("cases").get<std::vector<double>>();
    fold.squaredWeights = one.at("squares").get<double>();
  }
  pieces.by = json.at("by").get<std::string>();
  pieces.groups = json.at("groups").get<std::vector<std::string>>();
  pieces.referenceIsAll = json.at("referenceIsAll").get<bool>();
  pieces.counts = json.at("counts").get<std::vector<std::vector<SavedCounts>>>();
  pieces.cases = json.at("casesOfGroups").get<std::vector<std::vector<double>>>();
  pieces.weightSpread = json.at("weightSpread").get<std::vector<double>>();
  return pieces;
}

Json WorthOfCases(const CasePieces& pieces, const SavedResponse& response) {
  const std::vector<int> binOf = BinsOfPieces(pieces, response.predictors.front());
  Json json = Json::object();
  if (PieceCount(pieces) == 0) return json;
  if (!pieces.folds.empty()) json["outOfFold"] = OutOfFold(pieces, binOf);
  if (!pieces.groups.empty()) json["stability"] = Stability(pieces, response, binOf);
  return json;
}

}  // namespace velmora
