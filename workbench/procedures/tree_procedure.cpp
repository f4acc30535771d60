// The tree procedure: one predictor, one response; the tree as data, as sheets, and as bins of a
// work sheet.
#include <algorithm>
#include <cmath>
#include <string_view>

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

class TreeData final : public vlm::ITree {
 public:
  TreeData(std::vector<vlm::TreeNode> nodes, BinsPointer bins, std::vector<std::vector<double>> levels,
           std::vector<std::string> levelTexts)
      : nodes_(std::move(nodes)),
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

 private:
  ~TreeData() = default;
  bool HasBin(int bin) { return bin >= 0 && bin < GetBinCount(); }
  template <class T>
  static const T& At(const std::vector<T>& list, int bin) {
    return list[static_cast<std::size_t>(bin)];
  }

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
  stats::Tree Grow(const stats::SortedOrder& order);
  void ReportDropped(const std::vector<stats::DroppedCut>& dropped);

  std::shared_ptr<Sheet> SummarySheet() const;
  std::shared_ptr<Sheet> StructureSheet() const;
  std::shared_ptr<Sheet> NodeSheet(int number) const;
  void FillNodeFigures(Sheet& sheet, int row, const stats::TreeNode& node) const;
  std::string BranchText(const stats::TreeNode& parent, bool left) const;
  std::string LevelList(int node) const;
  const BinsPointer& TreeBins();
  double FrequentClass(int node) const;
  int NumberOf(int node) const { return numbers_[static_cast<std::size_t>(node - 1)]; }

  const Column& Predictor() const { return table_->Variable(predictor_); }
  bool IsRegression() const { return Option(vlm::kRegressionTreeOption) != 0; }

  int response_ = 0;
  int predictor_ = 0;
  bool categorical_ = false;
  std::vector<double> codes_;  // of a categorical predictor
  ResponsePointer grownOn_;
  stats::Tree tree_;
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
  const OrderPointer order =
      RestrictOrder(shared_->OrderOf(table_, predictor_), Predictor().values, {}, codes_);
  tree_ = Grow(*order);
  numbers_ = NumbersFromLeftToRight(tree_);
  nodeAt_.assign(numbers_.size(), 0);
  for (std::size_t i = 0; i < numbers_.size(); ++i) {
    nodeAt_[static_cast<std::size_t>(numbers_[i] - 1)] = static_cast<int>(i) + 1;
  }
}

stats::Tree TreeProcedure::Grow(const stats::SortedOrder& order) {
  const std::vector<double>& column = Predictor().values;
  const ProcedureSettings& settings = shared_->settings;
  const UserBinsByVariable& bins = settings.analysisBins ? *settings.analysisBins : settings.userBins;
  if (const auto own = bins.find(predictor_); own != bins.end()) {
    std::vector<stats::DroppedCut> dropped;
    stats::Tree tree = categorical_
                           ? stats::TreeFromGroups(grownOn_->tree, column, order, own->second.groups,
                                                   shared_->treeScratch, dropped)
                           : stats::TreeFromCutPoints(grownOn_->tree, column, order, own->second.cutPoints,
                                                      shared_->treeScratch, dropped);
    ReportDropped(dropped);
    return tree;
  }
  stats::TreeOptions options;
  options.leastCasesToSplit = Option(vlm::kLeastCasesToSplitOption);
  options.leastCasesInChild = Option(vlm::kLeastCasesInChildOption);
  options.prune.enabled = shared_->settings.pruneTrees;
  return stats::GrowTree(
      grownOn_->tree, column, order,
      categorical_ ? stats::PredictorKind::kCategorical : stats::PredictorKind::kContinuous, options,
      shared_->treeScratch);
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

std::string TreeProcedure::LevelList(int node) const {
  std::string text;
  for (const double level : tree_.Levels(node))
    text += (text.empty() ? "" : ", ") + CodeTextOf(Predictor(), level);
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

const BinsPointer& TreeProcedure::TreeBins() {
  if (bins_) return bins_;
  auto bins = std::make_shared<Bins>();
  bins->categorical = categorical_;
  for (const int node : tree_.bins) bins->nodes.push_back(NumberOf(node));
  if (categorical_) {
    for (std::size_t bin = 0; bin < tree_.bins.size(); ++bin) {
      for (const double level : tree_.Levels(tree_.bins[bin]))
        bins->levels.emplace_back(level, static_cast<int>(bin));
    }
    std::sort(bins->levels.begin(), bins->levels.end());
  } else {
    bins->cutPoints = tree_.CutPoints();
  }
  return bins_ = std::move(bins);
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
  for (const int node : tree_.bins) {
    levels.push_back(categorical_ ? tree_.Levels(node) : std::vector<double>());
    levelTexts.push_back(categorical_ ? LevelList(node) : std::string());
  }
  return new TreeData(std::move(nodes), TreeBins(), std::move(levels), std::move(levelTexts));
}

}  // namespace

vlm::IProcedure* MakeTreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table) {
  return new TreeProcedure(std::move(shared), std::move(table));
}

}  // namespace velmora
