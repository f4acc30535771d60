// The module's type library: its identifiers, its interfaces, and the dispatch ids that handlers
// name.
#pragma once

#include <span>

#include "contract/automation.h"

namespace vlmfsl {

inline constexpr char kLibraryName[] = "VLMFSL";
inline constexpr char kLibraryHelp[] = "Velmora Feature Selection And Variable Screening Library";
inline constexpr char kLibraryId[] = "{9E580613-81EC-4682-A8E0-4D190935C47C}";
inline constexpr int kLibraryMajorVersion = 1;
inline constexpr int kLibraryMinorVersion = 0;

// First dispatch id of an interface's own members. A get/put pair shares one id and takes two,
// anything else one.
inline constexpr int kFirstOwnDispatchId = 0x60030000;

// Members of the base interface, served by the host.
enum BaseDispatchId : int {
  kDispName = 0,
  kDispApplication = 1,
  kDispParent = 2,
  kDispOk = 3,
  kDispCancel = 4,
  kDispResultsSelection = 5,
  kDispResultsSelectionOption = 6,
  kDispResultsVariables = 7,
  kDispResultsOption = 8,
  kDispResultsCodes = 9,
  kDispResultsSaveFileName = 10,
  kDispResultsValues = 11,
  kDispResultsOutputFields = 12,
};
inline constexpr int kLastBaseDispatchId = kDispResultsOutputFields;

enum StartupDispatchId : int {
  kDispVariables = 0x60030000,
  kDispCountVariable = 0x60030002,
  kDispPredictorCuts = 0x60030004,
  kDispCasewiseDeletion = 0x60030006,
  kDispCutDependents = 0x60030008,
  kDispDependentCuts = 0x6003000a,
  kDispUseCramersV = 0x6003000c,
  kDispUseChiSquare = 0x6003000e,
};

enum ResultsDispatchId : int {
  kDispModeFixedNumber = 0x60030000,
  kDispModeFixedNumberByP = 0x60030002,
  kDispModePValue = 0x60030004,
  kDispFixedNumber = 0x60030006,
  kDispFixedNumberByP = 0x60030008,
  kDispPCriterion = 0x6003000a,
  kDispSummary = 0x6003000c,
  kDispHistogram = 0x6003000d,
  kDispReport = 0x6003000e,
  kDispBestContinuous = 0x6003000f,
  kDispBestCategorical = 0x60030010,
  kDispBestContinuousString = 0x60030011,
  kDispBestCategoricalString = 0x60030012,
  kDispSaveBundle = 0x60030013,
};

enum ScreeningStartupDispatchId : int {
  kDispScreeningVariables = 0x60030000,
  kDispFactorCodes = 0x60030002,
  kDispResponseCodes = 0x60030004,
  kDispGoodCode = 0x60030006,
  kDispBadCode = 0x60030008,
  kDispSortChiSquareP = 0x6003000a,
  kDispSortChiSquare = 0x6003000c,
  kDispSortGini = 0x6003000e,
  kDispSortInformationValue = 0x60030010,
  kDispSortRSquared = 0x60030012,
  kDispSortFStatistic = 0x60030014,
};

enum ScreeningResultsDispatchId : int {
  kDispContinuousPredictor = 0x60030000,
  kDispCategoricalPredictor = 0x60030002,
  kDispBinaryPredictor = 0x60030004,
  kDispContinuousPredictorString = 0x60030006,
  kDispCategoricalPredictorString = 0x60030008,
  kDispBinaryPredictorString = 0x6003000a,
  kDispNumberToSave = 0x6003000c,
  kDispSaveToBundle = 0x6003000e,
  kDispScreeningSummary = 0x60030010,
  kDispBinaryImportance = 0x60030011,
  kDispBinaryCrosstab = 0x60030012,
  kDispContinuousBreakdown = 0x60030013,
  kDispCategoricalImportance = 0x60030014,
  kDispCategoricalCrosstab = 0x60030015,
  kDispContinuousImportance = 0x60030016,
  kDispBinaryDistribution = 0x60030017,
  kDispBinaryDefaultRates = 0x60030018,
  kDispContinuousBoxPlot = 0x60030019,
  kDispContinuousMeanDiamonds = 0x6003001a,
  kDispCategoricalInteraction = 0x6003001b,
  kDispCategoricalHistograms = 0x6003001c,
  kDispCategoricalHistograms3D = 0x6003001d,
  kDispScreeningSaveBundle = 0x6003001e,
  kDispAddCodedVariables = 0x6003001f,
  kDispSaveRecode = 0x60030020,
  kDispSaveRules = 0x60030021,
  kDispRulesReport = 0x60030022,
};

extern const vlm::AutomationInterface kVlmAnalysisDialog;
extern const vlm::AutomationInterface kFslStartup;
extern const vlm::AutomationInterface kFslResults;
extern const vlm::AutomationInterface kPredictorScreeningStartup;
extern const vlm::AutomationInterface kPredictorScreeningResults;
// Several outputs of one call, counted from 1. Not in the type library: a script meets it
// late-bound.
extern const vlm::AutomationInterface kOutputCollection;
enum OutputCollectionDispatchId : int { kDispItem = 0, kDispCount = 1 };

struct LibraryInterface {
  const vlm::AutomationInterface* description;
  const char* id;  // interface identifier in braces
};

// In the library's order: the base, then the four dialogs.
[[nodiscard]] std::span<const LibraryInterface> LibraryInterfaces();

}  // namespace vlmfsl
