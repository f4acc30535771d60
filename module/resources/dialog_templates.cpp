// The four dialogs and their pages. Positions are dialog units; those of a page count from the
// page's corner. A command without a place of its own in the layout is a hidden control of the page
// that it belongs to.
#include "module/resources/dialog_templates.h"

#include "module/resources/control_ids.h"

namespace vlmfsl {
namespace {

using vlm::ControlTemplate;
using enum vlm::ControlClass;

constexpr int kHidden = vlm::kControlHidden;
constexpr int kDefault = vlm::kControlDefault;
constexpr int kGroupStart = vlm::kControlGroupStart;
constexpr int kNoTabStop = vlm::kControlNoTabStop;

// clang-format off
// --- Feature selection, startup

constexpr ControlTemplate kStartup[] = {
    {kControlTabs,          kTab,        "",             6,   6, 264, 196, 0},
    {kControlOk,            kButton,     "OK",         276,   6,  64,  14, kDefault},
    {kControlCancel,        kButton,     "Cancel",     276,  24,  64,  14, 0},
    {kControlOptions,       kButton,     "Options",    276,  42,  64,  14, 0},
    {kControlOpenData,      kIconButton, "Open Data",  276,  66,  64,  14, 0},
    {kControlCaseSelection, kIconButton, "Select cases", 276, 84, 64,  14, 0},
    {kControlCaseWeights,   kIconButton, "Case weights", 276, 102, 64, 14, 0},
};

constexpr ControlTemplate kStartupQuick[] = {
    {kControlVariables,                  kButton,      "&Variables",                6,   6,  64, 14, 0},
    {kControlContinuousDependentsLabel,  kLabel,       "Dependent; continuous:",    6,  26,  88,  9, kNoTabStop},
    {kControlContinuousDependents,       kListCaption, "none",                     98,  26, 156,  9, kNoTabStop},
    {kControlCategoricalDependentsLabel, kLabel,       "Dependent; categorical:",   6,  38,  88,  9, kNoTabStop},
    {kControlCategoricalDependents,      kListCaption, "none",                     98,  38, 156,  9, kNoTabStop},
    {kControlContinuousPredictorsLabel,  kLabel,       "Predictors; continuous:",   6,  50,  88,  9, kNoTabStop},
    {kControlContinuousPredictors,       kListCaption, "none",                     98,  50, 156,  9, kNoTabStop},
    {kControlCategoricalPredictorsLabel, kLabel,       "Predictors; categorical:",  6,  62,  88,  9, kNoTabStop},
    {kControlCategoricalPredictors,      kListCaption, "none",                     98,  62, 156,  9, kNoTabStop},
    {kControlCountVariable,              kButton,      "&Count Variable:",          6,  76,  64, 14, 0},
    {kControlCountVariableCaption,       kListCaption, "none",                     98,  79, 156,  9, kNoTabStop},
    {kControlPredictorCutsLabel,         kLabel,       "Number of cuts for continuous &predictors:", 6, 98, 150, 9, kNoTabStop},
    {kControlPredictorCuts,              kIntegerEdit, "",                        160,  96,  40, 12, 0},
    {kControlCasewiseDeletion,           kCheckBox,    "Casewise deletion of &missing data", 6, 114, 248, 10, 0},
    {kControlCutDependents,              kCheckBox,    "&Treat continuous dependent variable as categorical", 6, 130, 248, 10, 0},
    {kControlDependentCutsLabel,         kLabel,       "Number of cuts for continuous &dependent:", 18, 146, 138, 9, kNoTabStop},
    {kControlDependentCuts,              kIntegerEdit, "",                        160, 144,  40, 12, 0},
    {kControlUseWeightsAsGiven,          kCheckBox,    "Use case &weights as given", 6, 162, 120, 10, 0},
    {kControlWeightedMoments,            kGroupBox,    "Weighted moments",        130, 158, 124, 24, 0},
    {kControlWeightedMomentsMode0,       kRadioButton, "Mode 0",                  136, 168,  54, 10, kGroupStart},
    {kControlWeightedMomentsMode1,       kRadioButton, "Mode 1",                  194, 168,  54, 10, 0},
};

constexpr ControlTemplate kStartupAdvanced[] = {
    {kControlCategoricalStatistic, kGroupBox,    "Categorical dependent statistic", 6, 6, 248, 44, 0},
    {kControlCramersV,             kRadioButton, "Cramer's V",                14,  18, 232, 10, kGroupStart},
    {kControlChiSquare,            kRadioButton, "Chi-square",                14,  32, 232, 10, 0},
};

// --- Feature selection, results

constexpr ControlTemplate kResults[] = {
    {kControlTabs,    kTab,    "",               6,   6, 264, 176, 0},
    {kControlSummary, kButton, "!249Summary",  276,   6,  64,  14, kDefault},
    {kControlCancel,  kButton, "Cancel",       276,  24,  64,  14, 0},
    {kControlOptions, kButton, "Options",      276,  42,  64,  14, 0},
    {kControlByGroup, kButton, "!443B&y Group", 276, 66,  64,  14, 0},
};

constexpr ControlTemplate kResultsQuick[] = {
    {kControlCriterionGroup,      kGroupBox,    "Criterion for selecting predictors", 6, 6, 248, 62, 0},
    {kControlModeFixedNumber,     kRadioButton, "&Display",                   14,  18,  46, 10, kGroupStart},
    {kControlFixedNumber,         kIntegerEdit, "",                           62,  17,  40, 12, 0},
    {kControlBestPredictorsLabel, kLabel,       "best predictors",           106,  19, 140,  9, kNoTabStop},
    {kControlModePValue,          kRadioButton, "Display &best predictors with p <", 14, 34, 126, 10, 0},
    {kControlPCriterion,          kRealEdit,    "",                          142,  33,  52, 12, 0},
    {kControlModeFixedNumberByP,  kRadioButton, "&Display",                   14,  50,  46, 10, 0},
    {kControlFixedNumberByP,      kIntegerEdit, "",                           62,  49,  40, 12, 0},
    {kControlBestByPLabel,        kLabel,       "best predictors, sorted by p", 106, 51, 140, 9, kNoTabStop},
    {kControlSummary,             kButton,      "!249Summary: Best &k predictors (features)", 6, 76, 248, 14, kGroupStart},
    {kControlHistogram,           kButton,      "!233&Histogram of importance for best k predictors", 6, 94, 248, 14, 0},
    {kControlReport,              kButton,      "qReport of b&est k predictors (features)", 6, 112, 248, 14, 0},
    {kControlSaveBundle,          kButton,      "!654Save predictors to variable bundle", 6, 136, 248, 14, 0},
};

// --- Predictor screening, startup

constexpr ControlTemplate kScreeningStartup[] = {
    {kControlTabs,          kTab,        "",             6,   6, 264, 178, 0},
    {kControlOk,            kButton,     "OK",         276,   6,  64,  14, kDefault},
    {kControlCancel,        kButton,     "Cancel",     276,  24,  64,  14, 0},
    {kControlOptions,       kButton,     "Options",    276,  42,  64,  14, 0},
    {kControlOpenData,      kIconButton, "Open Data",  276,  66,  64,  14, 0},
    {kControlCaseSelection, kIconButton, "Select cases", 276, 84, 64,  14, 0},
    {kControlCaseWeights,   kIconButton, "Case weights", 276, 102, 64, 14, kHidden},
};

constexpr ControlTemplate kScreeningStartupQuick[] = {
    {kControlVariables,                  kButton,      "!185&Variables",            6,   6,  64, 14, 0},
    {kControlContinuousDependentsLabel,  kLabel,       "Dependent; continuous:",    6,  26,  88,  9, kNoTabStop},
    {kControlContinuousDependents,       kListCaption, "none",                     98,  26, 156,  9, kNoTabStop},
    {kControlCategoricalResponseLabel,   kLabel,       "Dependent; categorical:",   6,  38,  88,  9, kNoTabStop},
    {kControlCategoricalResponse,        kListCaption, "none",                     98,  38, 156,  9, kNoTabStop},
    {kControlBinaryResponseLabel,        kLabel,       "Dependent; binary:",        6,  50,  88,  9, kNoTabStop},
    {kControlBinaryResponse,             kListCaption, "none",                     98,  50, 156,  9, kNoTabStop},
    {kControlCategoricalPredictorsLabel, kLabel,       "Predictors; categorical:",  6,  62,  88,  9, kNoTabStop},
    {kControlCategoricalPredictors,      kListCaption, "none",                     98,  62, 156,  9, kNoTabStop},
    {kControlContinuousPredictorsLabel,  kLabel,       "Predictors; continuous:",   6,  74,  88,  9, kNoTabStop},
    {kControlContinuousPredictors,       kListCaption, "none",                     98,  74, 156,  9, kNoTabStop},
    {kControlResponseCodes,              kButton,      "i&Response codes:",         6,  90,  84, 14, 0},
    {kControlResponseCodesCaption,       kListCaption, "none",                     98,  93, 156,  9, kNoTabStop},
    {kControlFactorCodes,                kButton,      "i&Factor codes:",           6, 108,  84, 14, 0},
    {kControlFactorCodesCaption,         kListCaption, "none",                     98, 111, 156,  9, kNoTabStop},
    {kControlGoodCodeLabel,              kLabel,       "Good code:",                6, 130,  88,  9, kNoTabStop},
    {kControlGoodCode,                   kValueEdit,   "",                         98, 128,  80, 12, 0},
    {kControlBadCodeLabel,               kLabel,       "Bad code:",                 6, 146,  88,  9, kNoTabStop},
    {kControlBadCode,                    kValueEdit,   "",                         98, 144,  80, 12, 0},
};

constexpr ControlTemplate kScreeningStartupAdvanced[] = {
    {kControlSortBinaryGroup,      kGroupBox,    "Sort Predictors for Binary response",      6,   6, 248, 44, 0},
    {kControlSortGini,             kRadioButton, "Sort by Gini coefficient",                14,  18, 232, 10, kGroupStart},
    {kControlSortInformationValue, kRadioButton, "Sort by Information value",               14,  32, 232, 10, 0},
    {kControlSortCategoricalGroup, kGroupBox,    "Sort Predictors for Categorical response", 6,  56, 248, 44, 0},
    {kControlSortChiSquareP,       kRadioButton, "Sort by Chi-square p-value",              14,  68, 232, 10, kGroupStart},
    {kControlSortChiSquare,        kRadioButton, "Sort by Chi-square value",                14,  82, 232, 10, 0},
    {kControlSortContinuousGroup,  kGroupBox,    "Sort Predictors for Continuous response",  6, 106, 248, 44, 0},
    {kControlSortRSquared,         kRadioButton, "Sort by R-squared value",                 14, 118, 232, 10, kGroupStart},
    {kControlSortFStatistic,       kRadioButton, "Sort by F-statistic",                     14, 132, 232, 10, 0},
};

// --- Predictor screening, results

constexpr ControlTemplate kScreeningResults[] = {
    {kControlTabs,    kTab,    "",                6,   6, 264, 176, 0},
    {kControlSummary, kButton, "!249Summary",   276,   6,  64,  14, kDefault},
    {kControlCancel,  kButton, "Cancel",        276,  24,  64,  14, 0},
    {kControlOptions, kButton, "Options",       276,  42,  64,  14, 0},
    {kControlByGroup, kButton, "!443B&y Group", 276,  66,  64,  14, kHidden},
};

constexpr ControlTemplate kScreeningBinary[] = {
    {kControlBinaryImportance,      kButton,   "!249Summary: Variable importance", 6, 6, 248, 14, 0},
    {kControlPredictorLabel,        kLabel,    "Select predictor",                 6, 30,  70,  9, kNoTabStop},
    {kControlBinaryPredictor,       kDropDown, "",                                80, 28, 174, 12, 0},
    {kControlBinaryContinuousGroup, kGroupBox, "Continuous predictors",            6, 46, 248, 50, 0},
    {kControlBinaryDistribution,    kButton,   "!263Distribution",                14, 58, 232, 14, 0},
    {kControlBinaryDefaultRates,    kButton,   "!269Default rates",               14, 76, 232, 14, 0},
    {kControlBinaryResultsGroup,    kGroupBox, "Results",                          6, 102, 248, 32, 0},
    {kControlBinaryCrosstab,        kButton,   "!249Crosstabulation",             14, 114, 232, 14, 0},
};

constexpr ControlTemplate kScreeningContinuous[] = {
    {kControlContinuousImportance,   kButton,   "!249Summary: Variable importance", 6, 6, 248, 14, 0},
    {kControlPredictorLabel,         kLabel,    "Select predictor",                 6, 30,  70,  9, kNoTabStop},
    {kControlContinuousPredictor,    kDropDown, "",                                80, 28, 174, 12, 0},
    {kControlContinuousResultsGroup, kGroupBox, "Results",                          6, 46, 248, 68, 0},
    {kControlBreakdown,              kButton,   "!249Breakdown summary",           14, 58, 232, 14, 0},
    {kControlBoxPlot,                kButton,   "!225Box Plot",                    14, 76, 232, 14, 0},
    {kControlMeanDiamonds,           kButton,   "!269Overlaid scatterplot with means", 14, 94, 232, 14, 0},
};

constexpr ControlTemplate kScreeningCategorical[] = {
    {kControlCategoricalImportance,     kButton,   "!249Summary: Variable importance", 6, 6, 248, 14, 0},
    {kControlCategoricalPredictorLabel, kLabel,    "Select predictor",                 6, 30,  70,  9, kNoTabStop},
    {kControlCategoricalPredictor,      kDropDown, "",                                80, 28, 174, 12, 0},
    {kControlCategoricalResultsGroup,   kGroupBox, "Results",                          6, 46, 248, 86, 0},
    {kControlCategoricalCrosstab,       kButton,   "!249 Crosstabulation",            14, 58, 232, 14, 0},
    {kControlInteractionPlot,           kButton,   "!222 Interaction plot of frequencies", 14, 76, 232, 14, 0},
    {kControlCategorizedHistograms,     kButton,   "!087 Categorized histograms",     14, 94, 232, 14, 0},
    {kControlHistograms3D,              kButton,   "!231 3D Histograms",              14, 112, 232, 14, 0},
};

constexpr ControlTemplate kScreeningSave[] = {
    {kControlBestPredictorsGroup, kGroupBox,    "Best predictors",                    6,   6, 248, 46, 0},
    {kControlNumberToSaveLabel,   kLabel,       "Number of predictors to save : ",   14,  19, 130,  9, kNoTabStop},
    {kControlNumberToSave,        kIntegerEdit, "",                                 150,  17,  40, 12, 0},
    {kControlSaveBundle,          kButton,      "!654Save predictors to variable bundle", 14, 33, 232, 14, 0},
    {kControlCodedVariablesGroup, kGroupBox,    "Coded variables",                    6,  58, 248, 44, 0},
    {kControlAddCodedVariables,   kButton,      "!654Add coded variables to spreadsheet", 14, 70, 232, 14, 0},
    {kControlSaveCodedToBundle,   kCheckBox,    "Save to variable bundle",           14,  88, 232, 10, 0},
    {kControlSaveRecode,          kButton,      "!654Save as data recode conditions",  6, 108, 248, 14, 0},
    {kControlSaveRules,           kButton,      "!654Save as rules",                  6, 126, 248, 14, 0},
    {kControlRulesReport,         kButton,      "qR&ules report",                     6, 144, 248, 14, 0},
    {kControlDeployRules,         kButton,      "Deploy rules",                       6, 160, 120,  8, kHidden},
};
// clang-format on

template <std::size_t kCount>
constexpr vlm::DialogTemplate Template(int id, const char* caption, short width, short height,
                                       const ControlTemplate (&controls)[kCount]) {
  return {id, caption, width, height, controls, static_cast<int>(kCount)};
}

constexpr vlm::DialogTemplate kTemplates[] = {
    Template(kResultsTemplate, "FSL Results ", 346, 188, kResults),
    Template(kStartupTemplate, " Feature Selection and Variable Screening", 346, 208, kStartup),
    Template(kStartupQuickPage, "Quick", 260, 182, kStartupQuick),
    Template(kStartupAdvancedPage, "Advanced", 260, 182, kStartupAdvanced),
    Template(kResultsQuickPage, "Quick", 260, 160, kResultsQuick),
    Template(kScreeningStartupTemplate, "Predictor Screening", 346, 190, kScreeningStartup),
    Template(kScreeningStartupQuickPage, "Quick", 260, 164, kScreeningStartupQuick),
    Template(kScreeningStartupAdvancedPage, "Advanced", 260, 164, kScreeningStartupAdvanced),
    Template(kScreeningResultsTemplate, "Predictor Screening Results ", 346, 188, kScreeningResults),
    Template(kScreeningBinaryPage, "Binary response", 260, 162, kScreeningBinary),
    Template(kScreeningContinuousPage, "Continuous response", 260, 162, kScreeningContinuous),
    Template(kScreeningCategoricalPage, "Categorical response", 260, 162, kScreeningCategorical),
    Template(kScreeningSavePage, "Save", 260, 170, kScreeningSave),
};

}  // namespace

std::span<const vlm::DialogTemplate> DialogTemplates() { return kTemplates; }

}  // namespace vlmfsl
