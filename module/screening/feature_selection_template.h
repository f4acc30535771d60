// Predictor screening: its choices, its results by kind of response, and the operations of a run by
// their names. What an operation does in steps are functions in the file that defines it. The steps
// that open dialogs are the entry's; outputs of the records are functions of screening_outputs/.
//
// One run: RunTemplateAnalysis -> for each response kind and predictor RunCARTAnalysis (bins, coded
// predictor)
//   -> Binary-, Categorical- or ContinuousSummaryAnalysis (statistics) -> SortPredictors.
#pragma once

#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/dialogs.h"
#include "contract/ref.h"
#include "contract/screening_results.h"
#include "module/frame/analysis_support.h"
#include "module/screening/host_calls.h"
#include "module/screening/pred_summary.h"
#include "module/screening/screening_results_view.h"

namespace vlmfsl {

class CQvdProgressBar;

enum BinarySort : int { kSortByGini = 0, kSortByInformationValue = 1, kSortByNothing = 2 };
enum CategoricalSort : int { kSortByChiSquareP = 0, kSortByChiSquare = 1 };
enum ContinuousSort : int { kSortByRSquared = 0, kSortByF = 1 };

// Codes chosen for one variable. all: they mean all values of the cases selected when a run starts.
struct ChosenCodes {
  std::vector<double> codes;
  bool all = false;
};

// The choices that the startup dialog edits.
struct ScreeningChoices {
  // Of each list only the first response is analysed.
  std::vector<int> binaryResponses, continuousResponses, categoricalResponses;
  std::vector<int> categoricalPredictors, continuousPredictors;
  std::vector<std::string> categoricalPredictorNames, continuousPredictorNames;
  std::string binaryResponseName, continuousResponseName, categoricalResponseName;
  int categoricalResponseCount = 0;  // 0 or 1
  int binaryResponseCount = 0;
  int continuousResponseCount = 0;
  int categoricalPredictorCount = 0;
  int continuousPredictorCount = 0;
  int binarySort = kSortByGini;
  int categoricalSort = kSortByChiSquareP;
  int continuousSort = kSortByRSquared;
  std::string badCodeText, goodCodeText;
  double goodCode = 0;
  double badCode = 0;
  std::vector<double> responseCodes;  // of the categorical response
  std::vector<double> factorCodes;    // of all categorical predictors, one after the other
  std::vector<int> factorCodeCounts;  // one per categorical predictor
  // The choice that those codes come from: one list per categorical response or predictor, or no
  // list at all.
  std::vector<ChosenCodes> chosenResponseCodes, chosenFactorCodes;
};

// The results of one response kind.
struct ResultList {
  std::vector<PredSummary> analysed;  // in the order of analysis
  std::vector<PredSummary> failed;
  std::vector<int> order;                           // 0-based positions, best first
  int bestCount = std::numeric_limits<int>::max();  // outputs of the best predictors take no more
};

// What lasts as long as a run.
struct RunMemory {
  RunMemory() noexcept;
  ~RunMemory();
  RunMemory& operator=(RunMemory&&) noexcept;

  std::unique_ptr<CQvdProgressBar> progress;
  int caseWeight = 0;  // variable number of the run's case weights, 0: none
  bool exclusionNoticeShown = false;
  vlm::ScreeningSettings settings{};
};

struct ScreeningState : ScreeningChoices, RunMemory {
  ResultList lists[vlm::kResponseKindCount];
};

class CFeatureSelectionTemplate : public CAnalysisSupport, public ScreeningState {
 public:
  static constexpr int kAnalysisId = 4871;

  vlm::IScreeningResults* GetScreeningResults() override;

  // Steps 100 to 102, made by the entry. Init selects everything, drops all results and always
  // returns 1; the others open the dialogs and return -1, or 0 when that failed.
  virtual int Init() = 0;
  virtual int StartAnalysis() = 0;
  virtual int ResultDialog() = 0;

  // --- The run
  // parentWindow: the dialog that started it, may be null. Returns 0; 1 after a cancel, an
  // exception or when no predictor gave a result. Shows the user how it ended.
  int RunTemplateAnalysis(vlm::IDialogWindow* parentWindow);
  // Rebuilds the order of each result list by its sort choice. Throws std::bad_alloc when the host
  // has no memory.
  void SortPredictors();

  // --- Binning: cuts the predictor into bins, codes it and computes its statistics. Returns 0, or
  // 1 when the predictor failed (the record says why). Throws HostCallError when the host fails
  // before there are bins.
  int RunCARTAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record);

  // --- Statistics, one operation per response kind. Return 0, or 1 after an error message.
  int BinarySummaryAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record);
  int CategoricalSummaryAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record);
  int ContinuousSummaryAnalysis(vlm::IDialogWindow* parentWindow, PredSummary& record);

  // --- Their parts. They throw HostCallError.
  void ComputeAdditionalTemplateCrossTabStats(vlm::ISpreadsheet& crosstab, PredSummary& record);
  void ComputeAdditionalTemplateMultiCrossTabStats(const vlm::Ref<vlm::ISpreadsheet>& crosstab,
                                                   PredSummary& record);
  void UpdateCrosstabIndices(PredSummary& record);
  void ComputeAdditionalBreakdownStats(vlm::IProcedure& procedure, vlm::ISpreadsheet& breakdown,
                                       PredSummary& record);
  void ComputeBasicStatsForCovariate(PredSummary& record);
  // Chi-square of the summary crosstab (binary response) and Cramer's V.
  void ComputeAssociation(PredSummary& record);
  double ComputeGiniBeforeCategorization(PredSummary& record);
  void MakeUniqueValuesSpreadsheet(PredSummary& record);
  void StoreAggregateLevelsForCategoricalPredictor(vlm::ITree& tree, PredSummary& record);

  // --- Procedures of the host
  // So that every statistic is computed on the cases of the screening.
  static void CopyAnalysisSelCondsAndWeights(vlm::IProcedure& source, vlm::IProcedure& target);
  // An analysis on the record's work sheet, with the screening's selection and weights.
  vlm::Ref<vlm::IProcedure> CreateStatisticsProcedure(PredSummary& record, int analysisId);
  // Between the bounds of an interval's text: ',', or ';' where the locale's decimal separator is a
  // comma.
  [[nodiscard]] std::string IntervalSeparator();
  [[nodiscard]] std::string DecimalSeparator();  // of the user's locale

  // --- For the dialogs and outputs
  [[nodiscard]] std::string Text(int textId);
  // A code as outputs show it: its value label without formatting, else its digits.
  [[nodiscard]] std::string DisplayText(int variableNumber, double code);
  void ShowMessage(int textId);
  // The codes of the categorical predictor at this place of the list.
  [[nodiscard]] std::span<const double> FactorCodes(std::size_t predictorIndex) const;
  [[nodiscard]] std::vector<PredSummary>& Results(int responseKind) { return lists[responseKind].analysed; }
  [[nodiscard]] std::vector<PredSummary>& Failed(int responseKind) { return lists[responseKind].failed; }
  [[nodiscard]] std::vector<int>& Order(int responseKind) { return lists[responseKind].order; }
  // 0 or 1, and the first response of the kind (0 when none is selected).
  [[nodiscard]] int ResponseCount(int responseKind) const;
  [[nodiscard]] int ResponseVariable(int responseKind) const;
  [[nodiscard]] const std::string& ResponseName(int responseKind) const;
  void ClearResults();
  // Takes another order of the kind's results; false unless it has each of their positions once.
  bool SetOrder(int responseKind, std::span<const int> positions, int bestCount);
  // Makes the lists the analysis's current results, or (false) says that there are none any more.
  void SetResultsAvailable(bool available);

 protected:
  // document may be null. Cannot fail.
  explicit CFeatureSelectionTemplate(CAnalysisDoc* document) noexcept;
  ~CFeatureSelectionTemplate() override;

 private:
  ScreeningResultsView resultsView_{*this};
  bool resultsAvailable_ = false;
};

}  // namespace vlmfsl
