// Bins of one predictor: drives the host's tree analysis, reads its splits back as cut points, labels the
// terminal nodes and has the statistics of the response kind computed on the coded predictor.
#include <algorithm>
#include <cmath>
#include <map>

#include "base/format_text.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening_outputs/interval_labels.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {
namespace {

constexpr double kLeastShareOfCases = 0.05;  // of a node to be split and of each child
constexpr int kEnoughNodes = 5;              // a re-run that reaches them is the last

std::string CodeList(std::span<const double> codes) {
  std::string list;
  for (const double code : codes) list += CodeText(code) + " ";
  return list;
}

// Columns of the tree-structure sheet.
struct StructureColumns {
  explicit StructureColumns(int first)
      : predictor(first),
        leftText(first + 1),
        rightText(first + 2),
        leftNode(first + 3),
        rightNode(first + 4) {}
  int predictor;  // empty for a terminal node
  int leftText;
  int rightText;  // not empty for a splitting node
  int leftNode;
  int rightNode;
};

// What the structure sheet says of one node.
struct NodeRow {
  int node = 0;
  bool terminal = false;
  bool splits = false;
  std::string leftText, rightText;
  int leftNode = 0, rightNode = 0;
};

int NodeNumber(double cell) { return HasValue(cell) ? static_cast<int>(cell) : 0; }

std::vector<NodeRow> ReadStructure(vlm::ISpreadsheet& sheet, const StructureColumns& columns) {
  std::vector<NodeRow> rows;
  for (int row = 1; row <= sheet.GetRowCount(); ++row) {
    NodeRow node;
    node.node = static_cast<int>(ParseMachineNumber(RowName(sheet, row)));
    node.terminal = CellText(sheet, row, columns.predictor).empty();
    node.leftText = CellText(sheet, row, columns.leftText);
    node.rightText = CellText(sheet, row, columns.rightText);
    node.splits = !node.rightText.empty();
    node.leftNode = NodeNumber(sheet.GetValue(row, columns.leftNode));
    node.rightNode = NodeNumber(sheet.GetValue(row, columns.rightNode));
    rows.push_back(std::move(node));
  }
  return rows;
}

// The parent of a node, by row order, a left branch being looked for first in each row. Null for the root.
const NodeRow* FindParent(const std::vector<NodeRow>& rows, int node, bool& isLeft) {
  for (const NodeRow& row : rows) {
    if (!row.splits) continue;
    isLeft = row.leftNode == node;
    if (isLeft || row.rightNode == node) return &row;
  }
  return nullptr;
}

std::map<int, double> ReadSplitConstants(vlm::IProcedure& tree, const std::vector<NodeRow>& rows) {
  std::map<int, double> constants;
  for (const NodeRow& row : rows) {
    if (row.splits) constants[row.node] = GetResult(tree, vlm::kTreeNodeResult, row.node)->GetValue(1, 2);
  }
  return constants;
}

struct Leaf {
  int node;
  std::size_t bin;
  std::string label;
};

// Terminal nodes of a continuous predictor: a left branch is the bin that its parent's split constant closes, a
// right branch the bin that it opens.
std::vector<Leaf> IntervalLeaves(const std::vector<NodeRow>& rows, const std::map<int, double>& constants,
                                 const PredSummary& record) {
  std::vector<Leaf> leaves;
  for (const NodeRow& row : rows) {
    bool isLeft = false;
    const NodeRow* parent = row.terminal ? FindParent(rows, row.node, isLeft) : nullptr;
    if (parent == nullptr) continue;
    const double constant = constants.at(parent->node);
    const auto place = std::lower_bound(record.cutPoints.begin(), record.cutPoints.end(), constant);
    const auto bin = static_cast<std::size_t>(place - record.cutPoints.begin()) + (isLeft ? 0 : 1);
    leaves.push_back({row.node, bin, record.levelNames[bin]});
  }
  std::sort(leaves.begin(), leaves.end(), [](const Leaf& a, const Leaf& b) { return a.bin < b.bin; });
  return leaves;
}

// Terminal nodes of a categorical predictor, from left to right: the levels that the parent's branch lists.
std::vector<Leaf> LevelLeaves(const std::vector<NodeRow>& rows) {
  std::vector<Leaf> leaves;
  for (const NodeRow& row : rows) {
    bool isLeft = false;
    const NodeRow* parent = row.terminal ? FindParent(rows, row.node, isLeft) : nullptr;
    if (parent == nullptr) continue;
    leaves.push_back({row.node, 0, OnOneLine(isLeft ? parent->leftText : parent->rightText)});
  }
  std::sort(leaves.begin(), leaves.end(), [](const Leaf& a, const Leaf& b) { return a.node < b.node; });
  return leaves;
}

int CountNodes(const vlm::Ref<vlm::ISpreadsheet>& summary) { return summary ? summary->GetRowCount() : 0; }

// Runs the tree with its smallest nodes at least this size. Returns its summary, null when there is none.
vlm::Ref<vlm::ISpreadsheet> RunTree(vlm::IProcedure& tree, int leastCases) {
  SetOption(tree, vlm::kLeastCasesToSplitOption, leastCases);
  SetOption(tree, vlm::kLeastCasesInChildOption, leastCases);
  if (tree.Run() != 0) return {};
  return vlm::Ref<vlm::ISpreadsheet>::Adopt(tree.GetResult(vlm::kTreeSummaryResult, 0));
}

}  // namespace

// Sets up the tree: variables, codes, kind, and the case selection with the cases without the predictor left
// out. Returns the selection of the screening itself.
CaseSelection CFeatureSelectionTemplate::PrepareTree(vlm::IProcedure& tree, const PredSummary& record) {
  const bool continuous = record.predictorKind == kContinuousPredictor;
  const std::string predictor = std::to_string(record.predictorVariable);
  const std::string response = std::to_string(record.responseVariable);
  SetVariableList(
      tree, continuous ? " " + response + " | | " + predictor : " " + response + " | " + predictor + " | ");

  const auto own = CreateProcedure(Host(), vlm::kCallingAnalysis);
  CopyAnalysisSelCondsAndWeights(*own, tree);
  CaseSelection selection = vlmfsl::GetCaseSelection(tree);
  CaseSelection treeSelection = selection;
  const std::string withoutPredictor = "IsMD(v" + predictor + ")";
  if (!selection.enabled) {
    treeSelection = {1, "", withoutPredictor};
  } else if (selection.exclusion.empty()) {
    treeSelection.exclusion = withoutPredictor;
  } else {
    // The exclusion of the user is not kept in the tree's, on purpose; statistics keep it.
    treeSelection.exclusion = " And " + withoutPredictor;
    if (!exclusionNoticeShown) ShowNotice(Text(kTextExclusionNotInTree));
    exclusionNoticeShown = true;
  }
  SetCaseSelection(tree, treeSelection);

  SetOption(tree, vlm::kRegressionTreeOption, static_cast<unsigned>(record.responseKind) - 1u > 1u ? 1 : 0);
  if (record.responseKind == vlm::kBinaryResponse)
    SetResponseCodes(tree, CodeText(goodCode) + " " + CodeText(badCode));
  if (record.responseKind == vlm::kCategoricalResponse) SetResponseCodes(tree, CodeList(responseCodes));
  if (!continuous) {
    const auto place =
        std::find(categoricalPredictors.begin(), categoricalPredictors.end(), record.predictorVariable);
    SetPredictorCodes(tree,
                      CodeList(FactorCodes(static_cast<std::size_t>(place - categoricalPredictors.begin()))));
  }
  return selection;
}

int CFeatureSelectionTemplate::RunCARTAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record) {
  const auto tree = CreateProcedure(Host(), vlm::kTreeProcedure);
  const CaseSelection selection = PrepareTree(*tree, record);
  int leastCases = static_cast<int>(std::floor(kLeastShareOfCases * Services().GetNbCases()));
  if (leastCases <= 1) leastCases = 1;

  const vlm::Ref<vlm::ISpreadsheet> summary = RunTree(*tree, leastCases);
  if (CountNodes(summary) == 0) {
    record.failureReason = vlm::TextOf([&](vlm::ITextSink* sink) { tree->GetError(sink); });
    if (record.failureReason.empty()) record.failureReason = Text(kTextNoCommonCases);
    return kFailed;
  }
  record.totalSumOfSquares = summary->GetValue(1, 1) * summary->GetValue(1, 3);
  int nodeCount = CountNodes(summary);
  if (nodeCount == 1) {
    int previous = 0;
    do {
      previous = nodeCount;
      nodeCount = CountNodes(RunTree(*tree, 1));
    } while (nodeCount < kEnoughNodes && nodeCount != previous);
  }
  if (nodeCount <= 1) {
    record.failureReason = Text(kTextNoSplit);
    return kFailed;
  }
  record.nodeCount = nodeCount;

  CodePredictor(*tree, selection, record);
  StoreAggregateLevelsForCategoricalPredictor(record);
  return ComputeStatistics(parentWindow, record);
}

// Reads the bins of the tree, and makes the work sheet with the coded predictor.
void CFeatureSelectionTemplate::CodePredictor(vlm::IProcedure& tree, const CaseSelection& selection,
                                              PredSummary& record) {
  const auto structure = GetResult(tree, vlm::kTreeStructureResult);
  const int classCount =
      record.responseKind == vlm::kBinaryResponse ? 2 : static_cast<int>(responseCodes.size());
  const StructureColumns columns(record.responseKind == vlm::kContinuousResponse ? 5 : classCount + 4);
  const std::vector<NodeRow> rows = ReadStructure(*structure, columns);

  std::vector<Leaf> leaves;
  if (record.predictorKind == kContinuousPredictor) {
    const std::map<int, double> constants = ReadSplitConstants(tree, rows);
    for (const auto& [node, constant] : constants) record.cutPoints.push_back(constant);
    std::sort(record.cutPoints.begin(), record.cutPoints.end());
    record.cutPoints.erase(std::unique(record.cutPoints.begin(), record.cutPoints.end()),  // exact duplicates
                           record.cutPoints.end());
    IntervalTexts texts = MakeIntervalTexts(record.cutPoints, IntervalSeparator(), DecimalSeparator());
    record.levelNames = std::move(texts.labels);
    record.lowerTexts = std::move(texts.lower);
    record.upperTexts = std::move(texts.upper);
    leaves = IntervalLeaves(rows, constants, record);
  } else {
    leaves = LevelLeaves(rows);
    for (const Leaf& leaf : leaves) record.levelNames.push_back(leaf.label);
  }

  SetCaseSelection(tree, selection);
  record.workSheet = vlm::Ref<vlm::IWorkSheet>::Adopt(tree.CreateWorkSheet());
  if (!record.workSheet) {
    throw HostCallError(vlm::TextOf([&](vlm::ITextSink* sink) { tree.GetError(sink); }));
  }
  constexpr int kCodedColumn = 3;
  const std::string name = record.predictorName + Text(kTextCodedSuffix);
  const std::string description = ResponseKindText(*this, record.responseKind);
  record.workSheet->SetColumnName(kCodedColumn, name.data(), vlm::LengthOf(name));
  record.workSheet->SetColumnLongName(kCodedColumn, description.data(), vlm::LengthOf(description));
  if (record.responseKind == vlm::kBinaryResponse) {
    // Statistics ask for the codes by these texts, and find their cases by them.
    constexpr int kResponseColumn = 2;
    const auto label = [&](double code, const std::string& text) {
      record.workSheet->SetValueLabel(kResponseColumn, code, text.data(), vlm::LengthOf(text));
    };
    label(badCode, record.badCodeText);
    label(goodCode, record.goodCodeText);
  }
  for (const Leaf& leaf : leaves) {
    record.binNodes.push_back(leaf.node);
    record.workSheet->SetValueLabel(kCodedColumn, leaf.node, leaf.label.data(), vlm::LengthOf(leaf.label));
  }
}

int CFeatureSelectionTemplate::ComputeStatistics(vlm::IDialogWindow* parentWindow, PredSummary& record) {
  int status = kFailed;
  switch (record.responseKind) {
    case vlm::kBinaryResponse:
      status = BinarySummaryAnalysis(parentWindow, record);
      break;
    case vlm::kCategoricalResponse:
      status = CategoricalSummaryAnalysis(parentWindow, record);
      break;
    default:
      status = ContinuousSummaryAnalysis(parentWindow, record);
      break;
  }
  if (status != kOk) return status;
  try {
    if (record.responseKind != vlm::kContinuousResponse) ComputeAssociation(record);
    ComputeBasicStatsForCovariate(record);
    return kOk;
  } catch (const HostCallError& error) {
    record.failureReason = error.what();
    ShowMessage(kTextFatalError);
    return kFailed;
  }
}

}  // namespace vlmfsl
