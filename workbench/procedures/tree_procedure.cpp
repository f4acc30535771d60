// The tree procedure: one predictor, one response; the tree as data, as sheets, and as bins of a
// work sheet.
#include <algorithm>
#include <numeric>
#include <string_view>

#include "base/tolerant.h"
#include "workbench/binning/assess_bins.h"
#include "workbench/documents/texts.h"
#include "workbench/language/expression.h"
#include "workbench/procedures/procedure.h"
#include "workbench/procedures/work_sheet.h"
#include "workbench/stats/tree.h"

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

class TreeData final : public vlm::ITree {
 public:
  TreeData(std::vector<vlm::TreeNode> nodes, BinsPointer bins, std::vector<std::vector<double>> levels,
           std::vector<std::string> levelTexts, const vlm::TreeFit& fit)
      : fit_(fit),
        nodes_(std::move(nodes)),
        bins_(std::move(bins)),
        levels_(std::move(levels)),
        levelTexts_(std::move(levelTexts)) {}

  void AddReference() override { ++references_; }
  void ReleaseReference() override {
    if (--references_ == 0) delete this;
  }
  int GetNodeCount() override { return static_cast<int>(nodes_.size()); }
  void GetNode(int nodeNumber, vlm::TreeNode* node) override {
    const bool exists = nodeNumber >= 1 && nodeNumber <= GetNodeCount();
    *node = exists ? nodes_[static_cast<std::size_t>(nodeNumber - 1)]
                   : vlm::TreeNode{0, 0, 0, -1, vlm::kMissingValue};
  }
  int GetBinCount() override { return static_cast<int>(bins_->nodes.size()); }
  void GetCutPoints(double* cutPoints) override {
    std::copy(bins_->cutPoints.begin(), bins_->cutPoints.end(), cutPoints);
  }
  int GetLevelCount(int bin) override { return HasBin(bin) ? static_cast<int>(At(levels_, bin).size()) : 0; }
  void GetLevels(int bin, double* levels) override {
    if (HasBin(bin)) std::copy(At(levels_, bin).begin(), At(levels_, bin).end(), levels);
  }
  void GetLevelText(int bin, vlm::ITextSink* text) override {
    const std::string_view list = HasBin(bin) ? std::string_view(At(levelTexts_, bin)) : std::string_view();
    text->Assign(list.data(), vlm::LengthOf(list));
  }
  void GetFit(vlm::TreeFit* fit) override { *fit = fit_; }

 private:
  ~TreeData() = default;
  bool HasBin(int bin) { return bin >= 0 && bin < GetBinCount(); }
  template <class T>
  static const T& At(const std::vector<T>& list, int bin) {
    return list[static_cast<std::size_t>(bin)];
  }

  vlm::TreeFit fit_;
  std::vector<vlm::TreeNode> nodes_;
  BinsPointer bins_;
  std::vector<std::vector<double>> levels_;  // of each bin
  std::vector<std::string> levelTexts_;
  int references_ = 1;
};

class TreeProcedure final : public Procedure {
 public:
  TreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table)
      : Procedure(vlm::kTreeProcedure, std::move(shared), std::move(table)) {}

 private:
  void Compute() override;
  std::shared_ptr<Sheet> MakeResult(int result, int index) override;
  vlm::IWorkSheet* MakeWork() override;
  vlm::ITree* MakeTree() override;

  void ReadVariables();
  ResponsePointer ResponseFor(CaseSettings cases);
  const UserBins* OwnBins() const;
  int UserBinOf(const UserBins& own, std::size_t bin) const;
  OrderPointer TakeOutSpecialCodes(OrderPointer order);
  stats::Tree Grow(const stats::SortedOrder& order);
  stats::Tree GrowUserBins(const stats::SortedOrder& order, const UserBins& own);
  stats::Tree GrowOptimal(const stats::SortedOrder& order, const BinningPlan& plan);
  std::vector<int> BinOfValues(const stats::SortedOrder& order) const;
  binning::SearchedPredictor Searched(binning::PreBins values);
  binning::Validation Assess(const binning::SearchedPredictor& searched, const std::vector<int>& binOf,
                             const binning::BinFinder& find);
  void Report(const binning::PreBins& pre, const stats::SortedOrder& order,
              const binning::BinningRules* rules, const binning::Validation& validation) const;
  std::vector<std::uint16_t> PreBinOfCases(const stats::SortedOrder& order,
                                           const std::vector<int>& preBinOfValue, std::size_t count) const;
  std::vector<int> PreBinOfValues(const binning::PreBins& pre, const stats::SortedOrder& order) const;
  void PlaceMissingCases(const stats::SortedOrder& order);
  void ReportDropped(const std::vector<stats::DroppedCut>& dropped);

  std::shared_ptr<Sheet> SummarySheet() const;
  std::shared_ptr<Sheet> StructureSheet() const;
  std::shared_ptr<Sheet> NodeSheet(int number) const;
  void FillNodeFigures(Sheet& sheet, int row, const stats::TreeNode& node) const;
  std::string BranchText(const stats::TreeNode& parent, bool left) const;
  std::string LevelList(int node) const;
  bool MissingHasOwnBin() const;
  Bins BinsOfValues() const;
  const BinsPointer& TreeBins();
  double FrequentClass(int node) const;
  int NumberOf(int node) const { return numbers_[static_cast<std::size_t>(node - 1)]; }

  vlm::MissingBin MissingPlace() const {
    return static_cast<vlm::MissingBin>(Option(vlm::kMissingBinOption));
  }
  int UserMissingBin() const;
  const Column& Predictor() const { return table_->Variable(predictor_); }
  bool IsRegression() const { return Option(vlm::kRegressionTreeOption) != 0; }

  int response_ = 0;
  int predictor_ = 0;
  bool categorical_ = false;
  std::vector<double> codes_;  // of a categorical predictor
  ResponsePointer grownOn_;
  stats::Tree tree_;
  std::vector<std::uint32_t> missing_;  // cases without the predictor that get a bin
  struct SpecialBin {
    std::vector<double> codes;
    std::vector<std::uint32_t> cases;
  };
  std::vector<SpecialBin> special_;
  vlm::TreeFit fit_{};
  std::vector<int> numbers_;  // shown number of each node
  std::vector<int> nodeAt_;   // node of each shown number
  BinsPointer bins_;          // made when first asked for
};

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
  // Cases without the predictor are left out of every tree, so a condition that says no more needs
  // no selection of its own for each predictor.
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

// The user's group or interval that a bin of the tree is; -1 where it is another one, because a cut
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

// The bin of the tree that the user's bins put the missing cases into; -1 where they do not, or where
// the run leaves them out.
int TreeProcedure::UserMissingBin() const {
  const UserBins* const own = OwnBins();
  if (own == nullptr || own->missingBin < 0 || MissingPlace() == vlm::kMissingLeftOut) return -1;
  for (std::size_t bin = 0; bin < tree_.bins.size(); ++bin) {
    if (UserBinOf(*own, bin) == own->missingBin) return static_cast<int>(bin);
  }
  return -1;
}

// The order without the special codes, whose cases go to special_: one bin for each group of codes
// that has cases.
OrderPointer TreeProcedure::TakeOutSpecialCodes(OrderPointer order) {
  special_.clear();
  const BinningPlan* const plan = shared_->settings.binning.get();
  if (plan == nullptr || !plan->specialCodes.contains(predictor_)) return order;
  for (const std::vector<double>& codes : plan->specialCodes.at(predictor_)) {
    SplitOrder split = SplitCodes(std::move(order), Predictor().values, codes);
    order = std::move(split.values);
    SpecialBin bin{codes, {}};
    for (const std::uint32_t index : split.codes->cases) {
      if (binning::CountsForResponse(grownOn_->tree, index)) bin.cases.push_back(index);
    }
    if (!bin.cases.empty()) special_.push_back(std::move(bin));
  }
  return order;
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
  if (values.Count() == 1 && missing_.empty() && special_.empty())
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
  Report(pre, order, &rules, validation);
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

// The predictor with its special codes and its missing cases, which count in the comparison with
// other predictors even when they are left out of the bins.
binning::SearchedPredictor TreeProcedure::Searched(binning::PreBins values) {
  const HostProcedures::Shared::FoldsPointer folds = shared_->FoldsOf(grownOn_);
  const auto preBinOf = [&](const std::vector<std::uint32_t>& cases) {
    binning::PreBins bin = binning::MakeMissingBin(grownOn_->tree, cases, *folds);
    binning::SwapTwoClasses(bin);
    return bin;
  };
  binning::SearchedPredictor searched;
  searched.missingPlace = MissingPlace();
  searched.missingBin = UserMissingBin();
  searched.values = std::move(values);
  binning::SwapTwoClasses(searched.values);
  for (const SpecialBin& special : special_) searched.specials.push_back(preBinOf(special.cases));
  const std::vector<std::uint32_t> without =
      MissingPlace() == vlm::kMissingLeftOut ? CasesWithoutValue(Predictor(), grownOn_->tree) : missing_;
  if (!without.empty()) searched.missing = preBinOf(without);
  return searched;
}

// What the bins are worth on other cases, and whether they say more than one bin of all cases.
binning::Validation TreeProcedure::Assess(const binning::SearchedPredictor& searched,
                                          const std::vector<int>& binOf, const binning::BinFinder& find) {
  const binning::Assessment assessment = binning::AssessBins(searched, binOf, find);
  const binning::Validation& validation = assessment.validation;
  if (!grownOn_->tree.continuous && grownOn_->tree.classCount == 2) {
    fit_.heldOutInformationValue = validation.informationValue;
    fit_.heldOutGini = validation.gini;
  }
  fit_.heldOutExplained = validation.explained;
  fit_.noBetterThanChance = assessment.noBetterThanChance ? 1 : 0;
  return validation;
}

// Gives the plan's observer what the search worked on. rules: null for the user's bins.
void TreeProcedure::Report(const binning::PreBins& pre, const stats::SortedOrder& order,
                           const binning::BinningRules* rules, const binning::Validation& validation) const {
  const binning::SearchObserver& observer = shared_->settings.binning->observer;
  if (!observer.take) return;
  binning::SearchRecord record;
  record.response = response_;
  record.predictor = predictor_;
  record.cases = {grownOn_, &grownOn_->tree};
  record.categorical = categorical_;
  record.given = rules == nullptr;
  if (rules != nullptr) record.rules = *rules;
  record.preBinCount = pre.Count();
  record.separateCount = special_.size();
  if (!missing_.empty() && MissingPlace() == vlm::kMissingOwnBin) ++record.separateCount;
  const bool fits = record.preBinCount + record.separateCount < binning::SearchRecord::kNoPreBin;
  if (observer.wantsPreBins && fits) {
    const std::vector<int> ofValues = record.given ? BinOfValues(order) : PreBinOfValues(pre, order);
    record.preBinOf = PreBinOfCases(order, ofValues, pre.Count());
  }
  record.validation = validation;
  observer.take(std::move(record));
}

// preBinOfValue: of each distinct value of the order, -1 for none.
std::vector<std::uint16_t> TreeProcedure::PreBinOfCases(const stats::SortedOrder& order,
                                                        const std::vector<int>& preBinOfValue,
                                                        std::size_t count) const {
  std::vector<std::uint16_t> preBinOf(static_cast<std::size_t>(table_->caseCount),
                                      binning::SearchRecord::kNoPreBin);
  const auto put = [&](std::size_t index, std::size_t preBin) {
    if (binning::CountsForResponse(grownOn_->tree, index))
      preBinOf[index] = static_cast<std::uint16_t>(preBin);
  };
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    if (preBinOfValue[d] < 0) continue;
    for (auto at = order.starts[d]; at < order.starts[d + 1]; ++at)
      put(order.cases[static_cast<std::size_t>(at)], static_cast<std::size_t>(preBinOfValue[d]));
  }
  for (const SpecialBin& special : special_) {
    for (const std::uint32_t index : special.cases) put(index, count);
    ++count;
  }
  if (MissingPlace() == vlm::kMissingOwnBin) {
    for (const std::uint32_t index : missing_) put(index, count);
  }
  return preBinOf;
}

// The pre-bin of each distinct value of the order, of pre-bins of neighbouring values.
std::vector<int> TreeProcedure::PreBinOfValues(const binning::PreBins& pre,
                                               const stats::SortedOrder& order) const {
  std::vector<int> preBinOf(order.DistinctCount(), -1);
  std::size_t preBin = 0;
  for (std::size_t d = 0; d < preBinOf.size(); ++d) {
    const double value = order.Value(Predictor().values, d);
    while (preBin + 1 < pre.Count() && value > pre.last[preBin]) ++preBin;
    preBinOf[d] = static_cast<int>(preBin);
  }
  return preBinOf;
}

// The bin of each distinct value of the order.
std::vector<int> TreeProcedure::BinOfValues(const stats::SortedOrder& order) const {
  std::vector<int> binOf(order.DistinctCount(), -1);
  const Bins bins = BinsOfValues();
  std::size_t bin = 0;
  for (std::size_t d = 0; d < binOf.size(); ++d) {
    const double value = order.Value(Predictor().values, d);
    if (categorical_) {
      binOf[d] = bins.BinOfLevel(value);
      continue;
    }
    while (bin < bins.cutPoints.size() && value > vlm::RaisedByTolerance(bins.cutPoints[bin])) ++bin;
    binOf[d] = static_cast<int>(bin);
  }
  return binOf;
}

void TreeProcedure::PlaceMissingCases(const stats::SortedOrder& order) {
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

std::shared_ptr<Sheet> TreeProcedure::MakeResult(int result, int index) {
  switch (result) {
    case vlm::kTreeSummaryResult:
      return SummarySheet();
    case vlm::kTreeStructureResult:
      return tree_.nodes.empty() ? nullptr : StructureSheet();
    case vlm::kTreeNodeResult:
      return index >= 1 && index <= static_cast<int>(nodeAt_.size()) ? NodeSheet(index) : nullptr;
    default:
      return nullptr;
  }
}

double TreeProcedure::FrequentClass(int node) const {
  const std::span<const double> weights = tree_.ClassWeights(node);
  const auto most =
      static_cast<std::size_t>(std::max_element(weights.begin(), weights.end()) - weights.begin());
  return grownOn_->codes[most];
}

std::shared_ptr<Sheet> TreeProcedure::SummarySheet() const {
  auto sheet = std::make_shared<Sheet>(static_cast<int>(tree_.nodes.size()), 3);
  const bool classes = tree_.classCount > 0;
  sheet->SetColumnName(1, "N");
  sheet->SetColumnName(2, classes ? "Class" : "Mean");
  sheet->SetColumnName(3, classes ? "Impurity" : "Variance");
  for (int row = 1; row <= sheet->RowCount(); ++row) {
    const int nodeNumber = nodeAt_[static_cast<std::size_t>(row - 1)];
    const stats::TreeNode& node = tree_.Node(nodeNumber);
    sheet->SetRowName(row, std::to_string(row));
    sheet->SetCell(row, 1, node.weight);
    sheet->SetCell(row, 2, classes ? FrequentClass(nodeNumber) : node.mean);
    sheet->SetCell(row, 3, classes ? node.impurity : node.variance);
  }
  return sheet;
}

std::string TreeProcedure::BranchText(const stats::TreeNode& parent, bool left) const {
  if (!categorical_) return (left ? "<=" : ">") + ShortestNumber(parent.splitConstant);
  return LevelList(left ? parent.left : parent.right);
}

// A long list is cut after its first levels, which no other bin has: it is the label of every case
// and rule of the bin.
std::string TreeProcedure::LevelList(int node) const {
  constexpr std::size_t kMostLevelsListed = 30;
  constexpr std::size_t kLevelsOfLongList = 3;
  const std::vector<double> levels = tree_.Levels(node);
  const std::size_t listed = levels.size() > kMostLevelsListed ? kLevelsOfLongList : levels.size();
  std::string text;
  for (std::size_t i = 0; i < listed; ++i) text += (i == 0 ? "" : ", ") + CodeTextOf(Predictor(), levels[i]);
  if (listed < levels.size()) text += " and " + std::to_string(levels.size() - listed) + " more";
  return text;
}

std::shared_ptr<Sheet> TreeProcedure::StructureSheet() const {
  const int classCount = tree_.classCount;
  const int predictorColumn = classCount > 0 ? classCount + 4 : 5;
  auto sheet = std::make_shared<Sheet>(static_cast<int>(tree_.nodes.size()), predictorColumn + 4);
  const char* const names[] = {"Split", "Left branch", "Right branch", "Left node", "Right node"};
  for (int i = 0; i < 5; ++i) sheet->SetColumnName(predictorColumn + i, names[i]);
  sheet->SetColumnName(1, "N");
  for (int row = 1; row <= sheet->RowCount(); ++row) {
    const int nodeNumber = nodeAt_[static_cast<std::size_t>(row - 1)];
    const stats::TreeNode& node = tree_.Node(nodeNumber);
    sheet->SetRowName(row, std::to_string(row));
    sheet->SetCell(row, 1, node.weight);
    if (classCount > 0) {
      const std::span<const double> weights = tree_.ClassWeights(nodeNumber);
      for (int c = 0; c < classCount; ++c) sheet->SetCell(row, 2 + c, weights[static_cast<std::size_t>(c)]);
      sheet->SetCell(row, classCount + 2, FrequentClass(nodeNumber));
      sheet->SetCell(row, classCount + 3, node.impurity);
    } else {
      sheet->SetCell(row, 2, node.mean);
      sheet->SetCell(row, 3, node.variance);
      sheet->SetCell(row, 4, static_cast<double>(node.cases));
    }
    if (node.right == 0) continue;
    sheet->SetText(row, predictorColumn, Predictor().name);
    sheet->SetText(row, predictorColumn + 1, BranchText(node, true));
    sheet->SetText(row, predictorColumn + 2, BranchText(node, false));
    sheet->SetInteger(row, predictorColumn + 3, NumberOf(node.left));
    sheet->SetInteger(row, predictorColumn + 4, NumberOf(node.right));
  }
  return sheet;
}

std::shared_ptr<Sheet> TreeProcedure::NodeSheet(int number) const {
  const stats::TreeNode& node = tree_.Node(nodeAt_[static_cast<std::size_t>(number - 1)]);
  auto sheet = std::make_shared<Sheet>(1, 3);
  sheet->SetRowName(1, std::to_string(number));
  if (node.right == 0) return sheet;
  sheet->SetInteger(1, 1, predictor_);
  if (!categorical_) sheet->SetCell(1, 2, node.splitConstant);
  sheet->SetCell(1, 3, node.improvement);
  return sheet;
}

bool TreeProcedure::MissingHasOwnBin() const {
  return fit_.missingBin == static_cast<int>(tree_.bins.size() + special_.size());
}

const BinsPointer& TreeProcedure::TreeBins() {
  if (bins_) return bins_;
  auto bins = std::make_shared<Bins>(BinsOfValues());
  for (const int node : tree_.bins) bins->nodes.push_back(NumberOf(node));
  bins->missingBin = fit_.missingBin;
  for (std::size_t i = 0; i < special_.size(); ++i) {
    const int bin = static_cast<int>(bins->nodes.size());
    bins->nodes.push_back(static_cast<int>(tree_.nodes.size() + i) + 1);
    for (const double code : special_[i].codes) bins->specialCodes.emplace_back(code, bin);
  }
  std::sort(bins->specialCodes.begin(), bins->specialCodes.end());
  if (MissingHasOwnBin()) bins->nodes.push_back(static_cast<int>(tree_.nodes.size() + special_.size()) + 1);
  return bins_ = std::move(bins);
}

// Without the numbers of their nodes.
Bins TreeProcedure::BinsOfValues() const {
  Bins bins;
  bins.categorical = categorical_;
  if (categorical_) {
    for (std::size_t bin = 0; bin < tree_.bins.size(); ++bin) {
      for (const double level : tree_.Levels(tree_.bins[bin]))
        bins.levels.emplace_back(level, static_cast<int>(bin));
    }
    std::sort(bins.levels.begin(), bins.levels.end());
  } else {
    bins.cutPoints = tree_.CutPoints();
  }
  return bins;
}

vlm::IWorkSheet* TreeProcedure::MakeWork() {
  if (tree_.nodes.empty()) throw DataError("The tree has not been run.");
  return MakeWorkSheet(
      std::make_shared<WorkData>(shared_, table_, predictor_, ResponseFor(cases_), codes_, TreeBins()));
}

vlm::ITree* TreeProcedure::MakeTree() {
  if (tree_.nodes.empty()) return nullptr;
  std::vector<vlm::TreeNode> nodes;
  for (const int place : nodeAt_) {
    const stats::TreeNode& node = tree_.Node(place);
    const auto shown = [&](int number) { return number == 0 ? 0 : NumberOf(number); };
    const bool isCut = node.left != 0 && !categorical_;
    nodes.push_back({shown(node.parent), shown(node.left), shown(node.right), node.bin,
                     isCut ? node.splitConstant : vlm::kMissingValue});
  }
  std::vector<std::string> levelTexts;
  std::vector<std::vector<double>> levels;
  const UserBins* const own = OwnBins();
  for (std::size_t bin = 0; bin < tree_.bins.size(); ++bin) {
    const int node = tree_.bins[bin];
    levels.push_back(categorical_ ? tree_.Levels(node) : std::vector<double>());
    const int userBin = own == nullptr || own->labels.empty() ? -1 : UserBinOf(*own, bin);
    const std::string label = userBin < 0 ? std::string() : own->labels[static_cast<std::size_t>(userBin)];
    levelTexts.push_back(!label.empty() ? label : categorical_ ? LevelList(node) : std::string());
  }
  for (std::size_t i = 0; i < special_.size(); ++i) {
    nodes.push_back({0, 0, 0, static_cast<int>(tree_.bins.size() + i), vlm::kMissingValue});
    levels.push_back(special_[i].codes);
    std::string text;
    for (const double code : special_[i].codes)
      text += (text.empty() ? "" : ", ") + CodeTextOf(Predictor(), code);
    levelTexts.push_back(std::move(text));
  }
  if (MissingHasOwnBin()) {
    nodes.push_back({0, 0, 0, fit_.missingBin, vlm::kMissingValue});
    levels.emplace_back();
    levelTexts.emplace_back();
  }
  return new TreeData(std::move(nodes), TreeBins(), std::move(levels), std::move(levelTexts), fit_);
}

}  // namespace

vlm::IProcedure* MakeTreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table) {
  return new TreeProcedure(std::move(shared), std::move(table));
}

}  // namespace velmora
