// Bins of one predictor: runs the host's tree, takes its cut points or levels, labels its terminal
// nodes and has the statistics of the response kind computed on the coded predictor.
#include <algorithm>
#include <cmath>

#include "base/format_text.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/bin_texts.h"
#include "module/screening/failed_predictor.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening/interval_labels.h"
#include "module/screening/run_progress.h"

namespace vlmfsl {
namespace {

constexpr double kLeastShareOfCases = 0.05;  // of a node to be split and of each child
constexpr int kEnoughNodes = 5;              // a re-run that finds as many is the last

std::string CodeList(std::span<const double> codes) {
  std::string list;
  for (const double code : codes) list += CodeText(code) + " ";
  return list;
}

int CountNodes(const vlm::Ref<vlm::ISpreadsheet>& summary) { return summary ? summary->GetRowCount() : 0; }

// Runs the tree with its smallest nodes at least this size. Returns its summary, null when there is
// none.
vlm::Ref<vlm::ISpreadsheet> RunTree(vlm::IProcedure& tree, int leastCases) {
  SetOption(tree, vlm::kLeastCasesToSplitOption, leastCases);
  SetOption(tree, vlm::kLeastCasesInChildOption, leastCases);
  if (tree.Run() != 0) return {};
  return vlm::Ref<vlm::ISpreadsheet>::Adopt(tree.GetResult(vlm::kTreeSummaryResult, 0));
}

// The host's text for a bin, empty for an interval without one.
std::string LevelText(vlm::ITree& tree, int bin) {
  return OnOneLine(vlm::WholeTextOf([&](vlm::ITextSink* sink) { tree.GetLevelText(bin, sink); }));
}

// Sets up the tree: variables, codes, kind, and the case selection with the cases without the
// predictor left out. Returns the selection of the screening itself.
CaseSelection PrepareTree(CFeatureSelectionTemplate& analysis, vlm::IProcedure& tree,
                          const PredSummary& record) {
  const bool continuous = record.predictorKind == kContinuousPredictor;
  const std::string predictor = std::to_string(record.predictorVariable);
  const std::string response = std::to_string(record.responseVariable);
  SetVariableList(
      tree, continuous ? " " + response + " | | " + predictor : " " + response + " | " + predictor + " | ");

  const auto own = CreateProcedure(analysis.Host(), vlm::kCallingAnalysis);
  CFeatureSelectionTemplate::CopyAnalysisSelCondsAndWeights(*own, tree);
  CaseSelection selection = vlmfsl::GetCaseSelection(tree);
  CaseSelection treeSelection = selection;
  const std::string withoutPredictor = "IsMD(v" + predictor + ")";
  if (analysis.settings.searchSelectedCases != 0) {
    // The tree itself leaves out the cases without the predictor.
  } else if (!selection.enabled) {
    treeSelection = {1, "", withoutPredictor};
  } else if (selection.exclusion.empty()) {
    treeSelection.exclusion = withoutPredictor;
  } else {
    // The tree deliberately does not keep the user's exclusion; statistics do.
    treeSelection.exclusion = " And " + withoutPredictor;
  }
  SetCaseSelection(tree, treeSelection);

  SetOption(tree, vlm::kMissingBinOption, analysis.settings.missingBin);
  SetOption(tree, vlm::kRegressionTreeOption, record.responseKind == vlm::kContinuousResponse ? 1 : 0);
  if (record.responseKind == vlm::kBinaryResponse)
    SetResponseCodes(tree, CodeText(analysis.goodCode) + " " + CodeText(analysis.badCode));
  if (record.responseKind == vlm::kCategoricalResponse)
    SetResponseCodes(tree, CodeList(analysis.responseCodes));
  if (!continuous) {
    const auto place = std::find(analysis.categoricalPredictors.begin(), analysis.categoricalPredictors.end(),
                                 record.predictorVariable);
    SetPredictorCodes(tree, CodeList(analysis.FactorCodes(
                                static_cast<std::size_t>(place - analysis.categoricalPredictors.begin()))));
  }
  return selection;
}

// Bins of special codes, which the tree names, then that of the missing cases. Their labels differ
// from those of all other bins: outputs tell bins apart by their labels.
void StoreExtraBins(CFeatureSelectionTemplate& analysis, vlm::ITree& tree, PredSummary& record) {
  std::vector<double> codes;
  for (std::size_t bin = record.bins.nodes.size() - record.bins.extraCount; bin < record.bins.nodes.size();
       ++bin) {
    const int number = static_cast<int>(bin);
    codes.resize(static_cast<std::size_t>(tree.GetLevelCount(number)));
    tree.GetLevels(number, codes.data());
    for (const double code : codes) record.bins.levelOf[code] = number;
    std::string label = LevelText(tree, number);
    if (label.empty()) label = analysis.Text(kTextMissingBin);
    const auto isTaken = [&] {
      return std::find(record.bins.names.begin(), record.bins.names.end(), label) != record.bins.names.end();
    };
    while (isTaken()) label = "(" + label + ")";
    record.bins.names.push_back(label);
    record.bins.lowerTexts.emplace_back();
    record.bins.upperTexts.emplace_back();
  }
}

// Takes the bins of the tree, and makes the work sheet with the coded predictor.
void CodePredictor(CFeatureSelectionTemplate& analysis, vlm::IProcedure& procedure,
                   const CaseSelection& selection, PredSummary& record) {
  const auto tree = vlm::Ref<vlm::ITree>::Adopt(procedure.CreateTree());
  if (!tree) throw HostCallError(ReasonOf(procedure));
  record.bins.nodes.resize(static_cast<std::size_t>(tree->GetBinCount()));
  record.bins.extraCount = 0;
  for (int number = 1; number <= tree->GetNodeCount(); ++number) {
    vlm::TreeNode node{};
    tree->GetNode(number, &node);
    if (node.bin < 0) continue;
    record.bins.nodes[static_cast<std::size_t>(node.bin)] = number;
    if (number > 1 && node.parent == 0) ++record.bins.extraCount;
  }
  tree->GetFit(&record.bins.fit);
  if (record.predictorKind == kContinuousPredictor) {
    record.bins.levelOf.clear();
    record.bins.cutPoints.resize(record.bins.nodes.size() - record.bins.extraCount - 1);
    tree->GetCutPoints(record.bins.cutPoints.data());
    IntervalTexts texts =
        MakeIntervalTexts(record.bins.cutPoints, analysis.IntervalSeparator(), analysis.DecimalSeparator());
    for (std::size_t bin = 0; bin < texts.labels.size(); ++bin) {
      const std::string text = LevelText(*tree, static_cast<int>(bin));
      if (!text.empty()) texts.labels[bin] = text;
    }
    // An edit by hand may have put special codes into an interval.
    std::vector<double> codes;
    for (int bin = 0; bin < static_cast<int>(texts.labels.size()); ++bin) {
      codes.resize(static_cast<std::size_t>(tree->GetLevelCount(bin)));
      tree->GetLevels(bin, codes.data());
      for (const double code : codes) record.bins.levelOf[code] = bin;
    }
    record.bins.names = DistinctLabels(std::move(texts.labels));
    record.bins.lowerTexts = std::move(texts.lower);
    record.bins.upperTexts = std::move(texts.upper);
  } else {
    analysis.StoreAggregateLevelsForCategoricalPredictor(*tree, record);
  }
  StoreExtraBins(analysis, *tree, record);

  SetCaseSelection(procedure, selection);
  record.workSheet = vlm::Ref<vlm::IWorkSheet>::Adopt(procedure.CreateWorkSheet());
  if (!record.workSheet) throw HostCallError(ReasonOf(procedure));
  constexpr int kCodedColumn = 3;
  const std::string name = record.predictorName + analysis.Text(kTextCodedSuffix);
  const std::string description = ResponseKindText(analysis, record.responseKind);
  record.workSheet->SetColumnName(kCodedColumn, name.data(), vlm::LengthOf(name));
  record.workSheet->SetColumnLongName(kCodedColumn, description.data(), vlm::LengthOf(description));
  if (record.responseKind == vlm::kBinaryResponse) {
    // Statistics ask for the codes by these texts, and find their cases by them.
    constexpr int kResponseColumn = 2;
    const auto label = [&](double code, const std::string& text) {
      record.workSheet->SetValueLabel(kResponseColumn, code, text.data(), vlm::LengthOf(text));
    };
    label(analysis.badCode, record.badCodeText);
    label(analysis.goodCode, record.goodCodeText);
  }
  for (std::size_t bin = 0; bin < record.bins.nodes.size(); ++bin) {
    const std::string& binLabel = record.bins.names[bin];
    record.workSheet->SetValueLabel(kCodedColumn, record.bins.nodes[bin], binLabel.data(),
                                    vlm::LengthOf(binLabel));
  }
}

int ComputeStatistics(CFeatureSelectionTemplate& analysis, vlm::IDialogWindow* parentWindow,
                      PredSummary& record) {
  int status = kFailed;
  switch (record.responseKind) {
    case vlm::kBinaryResponse:
      status = analysis.BinarySummaryAnalysis(parentWindow, record);
      break;
    case vlm::kCategoricalResponse:
      status = analysis.CategoricalSummaryAnalysis(parentWindow, record);
      break;
    default:
      status = analysis.ContinuousSummaryAnalysis(parentWindow, record);
      break;
  }
  if (status != kOk) return status;
  try {
    if (record.responseKind != vlm::kContinuousResponse) analysis.ComputeAssociation(record);
    analysis.ComputeBasicStatsForCovariate(record);
    return kOk;
  } catch (const HostCallError& error) {
    return FailAtHost(analysis, record, error);
  }
}

}  // namespace

int CFeatureSelectionTemplate::RunCARTAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record) {
  const auto tree = CreateProcedure(Host(), vlm::kTreeProcedure);
  const CaseSelection selection = PrepareTree(*this, *tree, record);
  int leastCases = static_cast<int>(std::floor(kLeastShareOfCases * Services().GetNbCases()));
  if (leastCases <= 1) leastCases = 1;

  const vlm::Ref<vlm::ISpreadsheet> summary = RunTree(*tree, leastCases);
  if (CountNodes(summary) == 0) {
    record.failureReason = vlm::TextOf([&](vlm::ITextSink* sink) { tree->GetError(sink); });
    return record.failureReason.empty() ? Fail(*this, record, kTextNoCommonCases) : kFailed;
  }
  record.continuous.totalSumOfSquares = summary->GetValue(1, 1) * summary->GetValue(1, 3);
  int nodeCount = CountNodes(summary);
  if (nodeCount == 1 && settings.acceptOneBin == 0) {
    int previous = 0;
    do {
      previous = nodeCount;
      nodeCount = CountNodes(RunTree(*tree, 1));
    } while (nodeCount < kEnoughNodes && nodeCount != previous);
  }
  if (nodeCount <= 1 && settings.acceptOneBin == 0) return Fail(*this, record, kTextNoSplit);
  record.bins.nodeCount = nodeCount;

  CodePredictor(*this, *tree, selection, record);
  // The tree does not see the exclusion of the user, the statistics do: no case may be left.
  if (record.workSheet->GetRowCount() == 0) return Fail(*this, record, kTextNoSelectedCases);
  return ComputeStatistics(*this, parentWindow, record);
}

// The levels of the tree, also those that only cases have which the user excludes: every case is
// coded, and the label of the bin names them.
void CFeatureSelectionTemplate::StoreAggregateLevelsForCategoricalPredictor(vlm::ITree& tree,
                                                                            PredSummary& record) {
  record.bins.levelOf.clear();
  std::vector<double> levels;
  std::vector<std::string> labels;
  const int valueBins = static_cast<int>(record.bins.nodes.size() - record.bins.extraCount);
  for (int bin = 0; bin < valueBins; ++bin) {
    levels.resize(static_cast<std::size_t>(tree.GetLevelCount(bin)));
    tree.GetLevels(bin, levels.data());
    for (const double level : levels) record.bins.levelOf[level] = bin;
    labels.push_back(LevelText(tree, bin));
  }
  record.bins.names = DistinctLabels(std::move(labels));
}

}  // namespace vlmfsl
