#include "workbench/procedures/tree_procedure.h"

#include <algorithm>
#include <numeric>

#include "workbench/documents/texts.h"
#include "workbench/language/expression.h"

namespace velmora {

namespace {

// Number of each node so that a left branch, with all nodes below it, comes before the right one.
std::vector<int> NumbersFromLeftToRight(const stats::Tree& tree) {
  std::vector<int> numbers(tree.nodes.size());
  std::vector<int> pending;
  if (!tree.nodes.empty()) pending.push_back(1);
  for (int next = 1; !pending.empty(); ++next) {
    const int node = pending.back();
    pending.pop_back();
    numbers[static_cast<std::size_t>(node - 1)] = next;
    if (tree.Node(node).right != 0) {
      pending.push_back(tree.Node(node).right);
      pending.push_back(tree.Node(node).left);
    }
  }
  return numbers;
}

constexpr vlm::TreeFit kNoFit = {
    -1, 0, 0, vlm::kAnyShape, vlm::kMissingValue, vlm::kMissingValue, vlm::kMissingValue};

}  // namespace

void TreeProcedure::ReadVariables() {
  const std::vector<int>& categorical = Field(1);
  const std::vector<int>& continuous = Field(2);
  if (Field(0).size() != 1 || categorical.size() + continuous.size() != 1) {
    throw DataError("A tree takes one response and one predictor.");
  }
  categorical_ = !categorical.empty();
  response_ = Field(0).front();
  predictor_ = categorical_ ? categorical.front() : continuous.front();
  for (const int variable : {response_, predictor_}) {
    if (variable > table_->VariableCount()) {
      throw DataError("There is no variable " + std::to_string(variable) + ".");
    }
  }
  codes_.clear();
  if (categorical_) codes_ = ParseCodeList(predictorCodes_, Predictor().labels).codes;
}

ResponsePointer TreeProcedure::ResponseFor(CaseSettings cases) {
  // Cases without the predictor are left out of every tree, so a condition that only says this does
  // not need a separate selection for each predictor.
  if (cases.enabled != 0 && IsMissingTest(cases.exclusion, *table_, predictor_)) cases.exclusion.clear();
  if (!cases.HasConditions()) cases = {0, "", "", cases.weightVariable};
  const std::vector<double> codes =
      IsRegression() ? std::vector<double>()
                     : ParseCodeList(responseCodes_, table_->Variable(response_).labels).codes;
  return shared_->ResponseOf(table_, response_, IsRegression(), codes, cases);
}

void TreeProcedure::Compute() {
  tree_ = {};
  bins_ = {};
  ReadVariables();
  shared_->Checkpoint();
  grownOn_ = ResponseFor(cases_);
  const OrderPointer order = TakeOutSpecialCodes(
      RestrictOrder(shared_->OrderOf(table_, predictor_), Predictor().values, {}, codes_));
  const vlm::MissingBin place = MissingPlace();
  missing_ = place == vlm::kMissingLeftOut ? std::vector<std::uint32_t>()
                                           : CasesWithoutValue(Predictor(), grownOn_->tree);
  ShareBinWithMissing();
  fit_ = kNoFit;
  tree_ = Grow(*order);
  PlaceMissingCases(*order);
  numbers_ = NumbersFromLeftToRight(tree_);
  nodeAt_.assign(numbers_.size(), 0);
  for (std::size_t i = 0; i < numbers_.size(); ++i) {
    nodeAt_[static_cast<std::size_t>(numbers_[i] - 1)] = static_cast<int>(i) + 1;
  }
}

// The user's bins of the predictor; null where there are none.
const UserBins* TreeProcedure::OwnBins() const {
  const ProcedureSettings& settings = shared_->settings;
  const UserBinsByVariable& bins = settings.analysisBins ? *settings.analysisBins : settings.userBins;
  const auto own = bins.find(predictor_);
  return own != bins.end() ? &own->second : nullptr;
}

// The user's group or interval that equals a bin of the tree; -1 when there is none because a cut
// point was dropped.
int TreeProcedure::UserBinOf(const UserBins& own, std::size_t bin) const {
  if (categorical_) {
    const std::vector<double> levels = tree_.Levels(tree_.bins[bin]);
    for (std::size_t group = 0; group < own.groups.size(); ++group) {
      const std::vector<double>& listed = own.groups[group];
      if (!levels.empty() && std::find(listed.begin(), listed.end(), levels.front()) != listed.end())
        return static_cast<int>(group);
    }
    return -1;
  }
  std::vector<double> wanted = own.cutPoints;
  std::sort(wanted.begin(), wanted.end());
  const std::vector<double> cuts = tree_.CutPoints();
  const auto isSameEnd = [&](std::size_t cut, std::size_t userCut) {
    const bool isEnd = cut == cuts.size(), isUserEnd = userCut == wanted.size();
    return isEnd || isUserEnd ? isEnd == isUserEnd : cuts[cut] == wanted[userCut];
  };
  for (std::size_t interval = 0; interval <= wanted.size(); ++interval) {
    const bool lowerEnds = bin == 0 || interval == 0 ? bin == interval : isSameEnd(bin - 1, interval - 1);
    if (lowerEnds && isSameEnd(bin, interval)) return static_cast<int>(interval);
  }
  return -1;
}

// The bin of the tree into which the user's bins put the missing cases; -1 when they do not, or
// when the run leaves them out.
int TreeProcedure::UserMissingBin() const {
  const UserBins* const own = OwnBins();
  if (own == nullptr || own->missingBin < 0 || MissingPlace() == vlm::kMissingLeftOut) return -1;
  for (std::size_t bin = 0; bin < tree_.bins.size(); ++bin) {
    if (UserBinOf(*own, bin) == own->missingBin) return static_cast<int>(bin);
  }
  return -1;
}

// The order without the special codes, whose cases go to special_: one bin for each group of codes,
// even if no case has them, for new data.
OrderPointer TreeProcedure::TakeOutSpecialCodes(OrderPointer order) {
  special_.clear();
  placed_.clear();
  const UserBins* const own = OwnBins();
  const BinningPlan* const plan = shared_->settings.binning.get();
  if (plan == nullptr || !plan->specialCodes.contains(predictor_)) return order;
  for (const std::vector<double>& codes : plan->specialCodes.at(predictor_)) {
    SplitOrder split = SplitCodes(std::move(order), Predictor().values, codes);
    order = std::move(split.values);
    SpecialBin bin{codes, {}};
    for (const std::uint32_t index : split.codes->cases) {
      if (binning::CountsForResponse(grownOn_->tree, index)) bin.cases.push_back(index);
    }
    int userBin = -1;
    for (std::size_t i = 0; own != nullptr && i < own->specialBins.size(); ++i) {
      if (own->specialCodes[i] == codes) userBin = own->specialBins[i];
    }
    if (userBin < 0) {
      special_.push_back(std::move(bin));
    } else {
      placed_.push_back({std::move(bin), userBin});
    }
  }
  return order;
}

// Finds the bins of the tree for codes that the user's bins put into intervals. Codes whose
// interval is not a bin of the tree, because a cut point was dropped, get a bin of their own.
void TreeProcedure::PlaceCodes() {
  const UserBins* const own = OwnBins();
  for (PlacedCodes& placed : placed_) {
    for (std::size_t bin = 0; bin < tree_.bins.size() && placed.bin < 0; ++bin) {
      if (UserBinOf(*own, bin) == placed.userBin) placed.bin = static_cast<int>(bin);
    }
    if (placed.bin < 0) special_.push_back(placed.special);
  }
  std::erase_if(placed_, [](const PlacedCodes& placed) { return placed.bin < 0; });
}

// Adds the missing cases to the special codes with which they share one of the user's bins.
void TreeProcedure::ShareBinWithMissing() {
  missingSpecial_ = -1;
  const UserBins* const own = OwnBins();
  const std::size_t intervals = own == nullptr ? 0 : own->cutPoints.size() + 1;
  if (categorical_ || own == nullptr || own->missingBin < 0 || missing_.empty()) return;
  const std::size_t group = static_cast<std::size_t>(own->missingBin) - intervals;
  if (static_cast<std::size_t>(own->missingBin) < intervals || group >= own->specialCodes.size()) return;
  for (std::size_t i = 0; i < special_.size(); ++i) {
    if (special_[i].codes != own->specialCodes[group]) continue;
    missingSpecial_ = static_cast<int>(i);
    special_[i].cases.insert(special_[i].cases.end(), missing_.begin(), missing_.end());
    missing_.clear();
    return;
  }
}

std::size_t TreeProcedure::SpecialBinsWithCases() const {
  return static_cast<std::size_t>(std::count_if(
      special_.begin(), special_.end(), [](const SpecialBin& special) { return !special.cases.empty(); }));
}

stats::Tree TreeProcedure::Grow(const stats::SortedOrder& order) {
  const ProcedureSettings& settings = shared_->settings;
  if (const UserBins* const own = OwnBins()) return GrowUserBins(order, *own);
  if (settings.binning && settings.binning->optimal) return GrowOptimal(order, *settings.binning);
  stats::TreeOptions options;
  options.leastCasesToSplit = Option(vlm::kLeastCasesToSplitOption);
  options.leastCasesInChild = Option(vlm::kLeastCasesInChildOption);
  options.prune.enabled = shared_->settings.pruneTrees;
  return stats::GrowTree(
      grownOn_->tree, Predictor().values, order,
      categorical_ ? stats::PredictorKind::kCategorical : stats::PredictorKind::kContinuous, options,
      *shared_->BorrowTreeScratch());
}

stats::Tree TreeProcedure::GrowUserBins(const stats::SortedOrder& order, const UserBins& own) {
  const std::span<const double> column = Predictor().values;
  std::vector<stats::DroppedCut> dropped;
  stats::Tree tree = categorical_ ? stats::TreeFromGroups(grownOn_->tree, column, order, own.groups,
                                                          *shared_->BorrowTreeScratch(), dropped)
                                  : stats::TreeFromCutPoints(grownOn_->tree, column, order, own.cutPoints,
                                                             *shared_->BorrowTreeScratch(), dropped);
  ReportDropped(dropped);
  if (shared_->settings.binning && !tree.nodes.empty()) {
    tree_ = std::move(tree);
    PlaceCodes();
    std::vector<int> each(tree_.bins.size());
    std::iota(each.begin(), each.end(), 0);
    const binning::SearchedPredictor searched = Searched(
        binning::MakeBins(grownOn_->tree, column, order, BinOfValues(order), *shared_->FoldsOf(grownOn_)));
    Report(searched.values, order, nullptr,
           Assess(searched, each, [&](const binning::PreBinSums&) { return each; }));
    tree = std::move(tree_);
  }
  return tree;
}

stats::Tree TreeProcedure::GrowOptimal(const stats::SortedOrder& order, const BinningPlan& plan) {
  const std::span<const double> column = Predictor().values;
  const binning::BinningRules rules = binning::RulesThatApply(
      plan.RulesFor(predictor_), grownOn_->tree.continuous ? 0 : grownOn_->tree.classCount);
  const HostProcedures::Shared::FoldsPointer folds = shared_->FoldsOf(grownOn_);
  binning::PreBins values = categorical_
                                ? binning::MakeLevels(grownOn_->tree, column, order, *folds)
                                : binning::MakePreBins(grownOn_->tree, column, order, plan.preBins, *folds);
  if (values.Count() == 0) return {};
  if (values.Count() == 1 && missing_.empty() && SpecialBinsWithCases() == 0)
    throw DataError("It has one value in the cases used.");
  binning::SearchedPredictor searched = Searched(std::move(values));
  searched.selectionCost = binning::SelectionCost(rules);
  const binning::PreBins& pre = searched.values;
  shared_->Checkpoint();
  const auto find = [&](const binning::PreBinSums& sums) {
    return categorical_ ? binning::FindLevelBins(sums, rules) : binning::FindOrderedBins(sums, rules);
  };
  const binning::OptimalBins found = find(pre.sums);
  fit_.mergedGreedily = found.greedy ? 1 : 0;
  fit_.shape = binning::ShapeNumber(found.shape);
  const binning::Validation validation = Assess(searched, found.binOf, [&](const binning::PreBinSums& sums) {
    shared_->Checkpoint();
    return find(sums).binOf;
  });
  binning::Shape otherShape = binning::Shape::kFree;
  if (found.count == 1 && !categorical_ && rules.partition.shape != binning::Shape::kFree &&
      rules.partition.shape != binning::Shape::kAuto) {
    binning::BinningRules other = rules;
    other.partition.shape = binning::Shape::kAuto;
    const binning::OptimalBins best = binning::FindOrderedBins(pre.sums, other);
    if (best.count > 1) otherShape = best.shape;
  }
  Report(pre, order, &rules, validation, otherShape);
  std::vector<stats::DroppedCut> dropped;
  if (categorical_) {
    std::vector<std::vector<double>> groups(static_cast<std::size_t>(found.count));
    for (std::size_t level = 0; level < pre.Count(); ++level)
      groups[static_cast<std::size_t>(found.binOf[level])].push_back(pre.first[level]);
    return stats::TreeFromGroups(grownOn_->tree, column, order, groups, *shared_->BorrowTreeScratch(),
                                 dropped);
  }
  std::vector<double> cuts;
  for (std::size_t bin = 1; bin < pre.Count(); ++bin) {
    if (found.binOf[bin] != found.binOf[bin - 1])
      cuts.push_back(binning::CutBetween(pre.last[bin - 1], pre.first[bin]));
  }
  return stats::TreeFromCutPoints(grownOn_->tree, column, order, cuts, *shared_->BorrowTreeScratch(),
                                  dropped);
}

void TreeProcedure::PlaceMissingCases(const stats::SortedOrder& order) {
  if (missingSpecial_ >= 0) {
    fit_.missingBin = static_cast<int>(tree_.bins.size()) + missingSpecial_;
    return;
  }
  if (missing_.empty() || tree_.nodes.empty()) return;
  if (const int bin = UserMissingBin(); bin >= 0) {
    fit_.missingBin = bin;
    return;
  }
  const binning::PreBins bins =
      binning::MakeBins(grownOn_->tree, Predictor().values, order, BinOfValues(order));
  fit_.missingBin = binning::PlaceOfMissing(MissingPlace(), bins.sums,
                                            binning::MakeMissingBin(grownOn_->tree, missing_).sums);
  if (MissingPlace() == vlm::kMissingOwnBin) fit_.missingBin += static_cast<int>(special_.size());
}

void TreeProcedure::ReportDropped(const std::vector<stats::DroppedCut>& dropped) {
  if (!shared_->environment.notice) return;
  for (const stats::DroppedCut& one : dropped) {
    const std::string what =
        one.isGroup ? "Group " + ShortestNumber(one.value)
                    : (categorical_ ? "Level " : "Cut point ") + CodeTextOf(Predictor(), one.value);
    shared_->environment.notice(what + " of \"" + Predictor().name + "\" is not used: it " + one.reason +
                                ".");
  }
}

vlm::IProcedure* MakeTreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table) {
  return new TreeProcedure(std::move(shared), std::move(table));
}

}  // namespace velmora
