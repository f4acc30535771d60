#include <algorithm>
#include <string_view>

#include "contract/counted.h"
#include "workbench/documents/texts.h"
#include "workbench/procedures/tree_procedure.h"

namespace velmora {

namespace {

class TreeData final : public vlm::Counted<TreeData, vlm::ITree> {
 public:
  TreeData(std::vector<vlm::TreeNode> nodes, BinsPointer bins, std::vector<std::vector<double>> levels,
           std::vector<std::string> levelTexts, const vlm::TreeFit& fit)
      : fit_(fit),
        nodes_(std::move(nodes)),
        bins_(std::move(bins)),
        levels_(std::move(levels)),
        levelTexts_(std::move(levelTexts)) {}

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
  friend Counted;
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
};

}  // namespace

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

// A long list is cut after its first levels, which no other bin has, because it becomes the label
// of every case and rule of the bin.
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
  for (const PlacedCodes& placed : placed_) {
    for (const double code : placed.special.codes) bins->specialCodes.emplace_back(code, placed.bin);
  }
  std::sort(bins->specialCodes.begin(), bins->specialCodes.end());
  if (MissingHasOwnBin()) bins->nodes.push_back(static_cast<int>(tree_.nodes.size() + special_.size()) + 1);
  return bins_ = std::move(bins);
}

// The user's label, or the codes.
std::string TreeProcedure::SpecialBinText(const std::vector<double>& codes, bool withMissing) const {
  if (const UserBins* const own = OwnBins(); own != nullptr && !own->specialLabels.empty()) {
    const auto group = std::find(own->specialCodes.begin(), own->specialCodes.end(), codes);
    if (group != own->specialCodes.end()) {
      const auto place = static_cast<std::size_t>(group - own->specialCodes.begin());
      if (!own->specialLabels[place].empty()) return own->specialLabels[place];
    }
  }
  std::string text;
  for (const double code : codes) text += (text.empty() ? "" : ", ") + CodeTextOf(Predictor(), code);
  return withMissing ? text + ", Missing" : text;
}

// The bins of the values, without the numbers of their nodes.
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
  for (const PlacedCodes& placed : placed_) {
    std::vector<double>& codes = levels[static_cast<std::size_t>(placed.bin)];
    codes.insert(codes.end(), placed.special.codes.begin(), placed.special.codes.end());
  }
  for (std::size_t i = 0; i < special_.size(); ++i) {
    nodes.push_back({0, 0, 0, static_cast<int>(tree_.bins.size() + i), vlm::kMissingValue});
    levels.push_back(special_[i].codes);
    levelTexts.push_back(SpecialBinText(special_[i].codes, static_cast<int>(i) == missingSpecial_));
  }
  if (MissingHasOwnBin()) {
    nodes.push_back({0, 0, 0, fit_.missingBin, vlm::kMissingValue});
    levels.emplace_back();
    levelTexts.push_back(own != nullptr ? own->missingLabel : std::string());
  }
  return new TreeData(std::move(nodes), TreeBins(), std::move(levels), std::move(levelTexts), fit_);
}

}  // namespace velmora
