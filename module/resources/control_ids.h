// Identifiers of the dialog templates, their pages and their controls.
#pragma once

namespace vlmfsl {

enum TemplateId : int {
  kResultsTemplate = 4872,
  kStartupTemplate = 4873,
  kStartupQuickPage = 4874,
  kStartupAdvancedPage = 4875,
  kResultsQuickPage = 4876,
  kScreeningStartupTemplate = 16056,
  kScreeningStartupQuickPage = 16057,
  kScreeningStartupAdvancedPage = 16058,
  kScreeningResultsTemplate = 16059,
  kScreeningBinaryPage = 16060,
  kScreeningContinuousPage = 16061,
  kScreeningCategoricalPage = 16062,
  kScreeningSavePage = 16063,
};

// The two dialogs of an analysis use one numbering; the meaning of a number is beside its template.
enum ControlId : int {
  // Every dialog.
  kControlOk = 1,
  kControlCancel = 2,
  kControlTabs = 1000,
  kControlCaseSelection = 1001,
  kControlCaseWeights = 1002,
  kControlOpenData = 1003,
  kControlVariables = 1005,
  kControlSummary = 1022,
  kControlOptions = 10710,
  kControlByGroup = 10720,

  // Feature selection, startup.
  kControlUseWeightsAsGiven = 1004,
  kControlContinuousDependents = 1006,
  kControlCategoricalDependents = 1007,
  kControlContinuousDependentsLabel = 1008,
  kControlCategoricalDependentsLabel = 1009,
  kControlCategoricalPredictorsLabel = 1010,
  kControlCategoricalPredictors = 1011,
  kControlContinuousPredictorsLabel = 1012,
  kControlContinuousPredictors = 1013,
  kControlWeightedMoments = 1019,
  kControlWeightedMomentsMode0 = 1020,
  kControlWeightedMomentsMode1 = 1021,
  kControlCountVariable = 1026,
  kControlCountVariableCaption = 1027,
  kControlPredictorCuts = 1032,
  kControlPredictorCutsLabel = 1033,
  kControlCasewiseDeletion = 1035,
  kControlCutDependents = 1040,
  kControlDependentCuts = 1041,
  kControlDependentCutsLabel = 1042,
  kControlCategoricalStatistic = 1043,
  kControlCramersV = 1098,
  kControlChiSquare = 1099,

  // Feature selection, results.
  kControlBestPredictorsLabel = 1023,
  kControlFixedNumber = 1024,
  kControlCriterionGroup = 1025,
  kControlPCriterion = 1028,
  kControlModeFixedNumber = 1029,
  kControlModePValue = 1030,
  kControlHistogram = 1031,
  kControlReport = 1034,
  kControlBestByPLabel = 1037,
  kControlFixedNumberByP = 1038,
  kControlModeFixedNumberByP = 1039,
  kControlSaveBundle = 1072,

  // Predictor screening, startup.
  kControlBinaryResponse = 1007,
  kControlBinaryResponseLabel = 1009,
  kControlFactorCodes = 1044,
  kControlFactorCodesCaption = 1054,
  kControlBadCodeLabel = 1045,
  kControlBadCode = 1046,
  kControlGoodCodeLabel = 1047,
  kControlGoodCode = 1048,
  kControlSortGini = 1055,
  kControlSortFStatistic = 1056,
  kControlSortRSquared = 1057,
  kControlSortContinuousGroup = 1058,
  kControlSortInformationValue = 1059,
  kControlSortBinaryGroup = 1091,
  kControlCategoricalResponseLabel = 1077,
  kControlCategoricalResponse = 1078,
  kControlResponseCodes = 1079,
  kControlResponseCodesCaption = 1080,
  kControlSortChiSquareP = 1093,
  kControlSortChiSquare = 1094,
  kControlSortBinaryWithoutKey = 1095,  // a command without a control
  kControlSortCategoricalGroup = 1096,

  // Predictor screening, results.
  kControlPredictorLabel = 1049,
  kControlBinaryPredictor = 1050,
  kControlBinaryDistribution = 1051,
  kControlBinaryDefaultRates = 1052,
  kControlBinaryContinuousGroup = 1053,
  kControlBinaryImportance = 1060,
  kControlBinaryCrosstab = 1061,
  kControlBinaryResultsGroup = 1062,
  kControlContinuousImportance = 1063,
  kControlContinuousResultsGroup = 1064,
  kControlContinuousPredictor = 1065,
  kControlBreakdown = 1067,
  kControlBoxPlot = 1068,
  kControlMeanDiamonds = 1069,
  kControlNumberToSaveLabel = 1070,
  kControlNumberToSave = 1071,
  kControlCategoricalPredictor = 1073,
  kControlCategoricalPredictorLabel = 1074,
  kControlCategoricalResultsGroup = 1075,
  kControlCategoricalImportance = 1076,
  kControlCategoricalCrosstab = 1081,
  kControlInteractionPlot = 1082,
  kControlCategorizedHistograms = 1083,
  kControlHistograms3D = 1084,
  kControlBestPredictorsGroup = 1085,
  kControlSaveRecode = 1086,
  kControlSaveRules = 1087,
  kControlAddCodedVariables = 1088,
  kControlSaveCodedToBundle = 1089,
  kControlCodedVariablesGroup = 1090,
  kControlDeployRules = 1092,
  kControlRulesReport = 1097,
};

// Commands that the framework takes from the results dialogs.
enum FrameworkCommand : int {
  kCommandBundlesSaved = 52818,
  kCommandCodedVariablesAdded = 52819,
  kCommandRulesSaved = 52821,
};

// Steps that a dialog exits with.
enum ExitStep : int { kExitNone = 0, kExitResultsCancelled = 101, kExitShowResults = 102 };

}  // namespace vlmfsl
