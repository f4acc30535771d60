// The module's string table: a row is the name that code uses, the number and the text. Everything
// else that knows texts is made from these rows. Numbers without a row are free.
#pragma once

#define VLM_TEXT_TABLE(ROW)                                                                                 \
  ROW(kTextAnalysisName, 10000, " Feature Selection and Variable Screening")                                \
  ROW(kTextNone, 10002, "none")                                                                             \
  ROW(kTextInvalidInteger, 10003, "Invalid integer entered in edit field")                                  \
  ROW(kTextInvalidPValue, 10004, "Invalid p value entered in edit field")                                   \
  ROW(kTextImportancePlot, 10005, "Importance plot")                                                        \
  ROW(kTextDependentVariable, 10006, "Dependent variable: %s")                                              \
  ROW(kTextImportanceAxis, 10007, "Importance")                                                             \
  ROW(kTextScreeningName, 10008, "Predictor Screening")                                                     \
  ROW(kTextInitializing, 10010, "Initializing...")                                                          \
  ROW(kTextReadingData, 10011, "Reading data...")                                                           \
  ROW(kTextPreparingResults, 10012, "Preparing results...")                                                 \
  ROW(kTextBestForContinuous, 10013, "Best predictors for continuous dependent var: %s")                    \
  ROW(kTextBestForCategorical, 10014, "Best predictors for categorical dependent var: %s")                  \
  ROW(kTextFValue, 10015, "F-value")                                                                        \
  ROW(kTextPValue, 10016, "p-value")                                                                        \
  ROW(kTextChiSquare, 10017, "Chi-square")                                                                  \
  ROW(kTextPValueCategorical, 10018, "p-value")                                                             \
  ROW(kTextBestPredictorLists, 10019, "Best predictor lists")                                               \
  ROW(kTextReportContinuousHeading, 10020, "Best predictors for continuous dependent var: %s\n\n")          \
  ROW(kTextReportCategoricalHeading, 10021, "Best predictors for categorical dependent var: %s\n\n")        \
  ROW(kTextBestContinuousPredictors, 10022, "Best continuous predictors:")                                  \
  ROW(kTextBestCategoricalPredictors, 10023, "Best categorical predictors:")                                \
  ROW(kTextNotADependentString, 10024, "Cannot find the variable in dependent variable list")               \
  ROW(kTextInsufficientMemory, 10025, "Insufficient memory; close other applications and try again.")       \
  ROW(kTextNotADependent, 10026, "Cannot find the variable in dependent variable list")                     \
  ROW(kTextNotEnoughMemory, 10027, "Not enough memory available.")                                          \
  ROW(kTextSelectCountVariable, 10028, "Select count variable")                                             \
  ROW(kTextCountVariable, 10029, "Count variable")                                                          \
  ROW(kTextSelectVariables, 10030, "Select dependent variables and predictors")                             \
  ROW(kTextContinuousDependents, 10031, "Dependent; continuous:")                                           \
  ROW(kTextCategoricalDependents, 10032, "Dependent; categorical:")                                         \
  ROW(kTextContinuousPredictors, 10033, "Predictors; continuous:")                                          \
  ROW(kTextCategoricalPredictors, 10034, "Predictors; categorical:")                                        \
  ROW(kTextNoneMeetsCriterion, 10035,                                                                       \
      "None of the predictor variables for dependent variable %s meet the specified p-value criterion; "    \
      "all predictors will be selected and shown instead.")                                                 \
  ROW(kTextTooManyBest, 10036,                                                                              \
      "The number of predictor variables for dependent variable %s are more than %d. the first %d "         \
      "predictors will be displayed.")                                                                      \
  ROW(kTextResultDialog, 10037, "Feature Selection result dialog")                                          \
  ROW(kTextStartupDialog, 10038, "Feature Selection startup dialog")                                        \
  ROW(kTextSelectionNotValid, 10039, "Variable selection not valid.")                                       \
  ROW(kTextTooFewVariables, 10040,                                                                          \
      "Too few variables selected; select at least one dependent variable and two predictors.")             \
  ROW(kTextTooManyVariables, 10041,                                                                         \
      "More than 1,000,000 variables selected. Please reduce the number of selected variables in order to " \
      "avoid memory allocation error.")                                                                     \
  ROW(kTextSelectScreeningVariables, 10042,                                                                 \
      "Select continuous dependent(s), binary dependent(s), categorical predictor(s), continuous "          \
      "predictor(s)")                                                                                       \
  ROW(kTextScreeningContinuousResponse, 10043, "Continuous dep.:")                                          \
  ROW(kTextScreeningBinaryResponse, 10044, "Binary dep.:")                                                  \
  ROW(kTextScreeningCategoricalPredictors, 10045, "Categorical predictors:")                                \
  ROW(kTextNoPredictorsSelected, 10046, "No predictor variables have been selected.")                       \
  ROW(kTextNoResponsesSelected, 10047, "No response variables have been selected.")                         \
  ROW(kTextSelectFactorCodes, 10048, "Select factor codes")                                                 \
  ROW(kTextSelected, 10049, "selected")                                                                     \
  ROW(kTextIdenticalCodes, 10050, "Good and bad codes are identical.\nPlease select different codes.")      \
  ROW(kTextTooFewFactorCodes, 10051,                                                                        \
      "For at least one selected categorical predictor there are not enough distinct factor codes.\n"       \
      "Please review variables for appropriate values.")                                                    \
  ROW(kTextBadCodeNotAppropriate, 10052, "The code used to specify 'Bad' is not appropriate.")              \
  ROW(kTextGoodCodeNotAppropriate, 10053, "The code used to specify 'Good' is not appropriate.")            \
  ROW(kTextFatalError, 10054, "An fatal error has occurred and the analysis must close.")                   \
  ROW(kTextFindingBestPredictors, 10055, "Finding best predictors...")                                      \
  ROW(kTextNoResults, 10056,                                                                                \
      "No results can be computed. Please review the dataset for appropriate values.")                      \
  ROW(kTextPredictorsFailed, 10057,                                                                         \
      "One or more predictor(s) failed and will be omitted from the valid predictors list.")                \
  ROW(kTextScreeningUnable, 10058,                                                                          \
      "Predictor screening is unable to complete the requested analysis.  Please review data for "          \
      "appropriate values.")                                                                                \
  ROW(kTextCodesNotSelected, 10059,                                                                         \
      "No codes have been selected; select codes for each variable in the list.")                           \
  ROW(kTextScreeningContinuousPredictors, 10060, "Continuous predictors:")                                  \
  ROW(kTextCodedSuffix, 10061, "_Coded")                                                                    \
  ROW(kTextCoded, 10062, "Coded")                                                                           \
  ROW(kTextScreeningStartupDialog, 10063, "Predictor Screening startup dialog")                             \
  ROW(kTextScreeningResultDialog, 10064, "Predictor Screening result dialog")                               \
  ROW(kTextDistributionGraph, 10066, "Distribution graph")                                                  \
  ROW(kTextCutPoints, 10067, "cutpoints=[")                                                                 \
  ROW(kTextFrequencies, 10068, "freqs=[")                                                                   \
  ROW(kTextDefaultRate, 10070, "Default Rate")                                                              \
  ROW(kTextGiniBeforeAfter, 10071, "Gini before/after cat :%.4f /%.4f")                                     \
  ROW(kTextContinuousPredictorLine, 10072, "Continuous predictor: %s")                                      \
  ROW(kTextCategoricalPredictorLine, 10073, "Categorical predictor: %s")                                    \
  ROW(kTextGini, 10074, "Gini")                                                                             \
  ROW(kTextInformationValue, 10075, "Information value")                                                    \
  ROW(kTextCramersV, 10076, "Cramer's V")                                                                   \
  ROW(kTextAllPredictors, 10077, "All predictors")                                                          \
  ROW(kTextRSquared, 10078, "R-squared")                                                                    \
  ROW(kTextFStatistic, 10079, "F-statistic")                                                                \
  ROW(kTextRank, 10080, "Rank")                                                                             \
  ROW(kTextImportance, 10081, "Importance")                                                                 \
  ROW(kTextRulesReport, 10082, "Rules report")                                                              \
  ROW(kTextDefaultRateGraph, 10083, "Default rate graph")                                                   \
  ROW(kTextCrosstabulationResults, 10084, "Crosstabulation results : ")                                     \
  ROW(kTextDistributionResults, 10085, "Distribution : ")                                                   \
  ROW(kTextBreakdownResults, 10086, "Breakdown results : ")                                                 \
  ROW(kTextSse, 10087, "SSE")                                                                               \
  ROW(kTextRSquaredLine, 10088, "R2 (coeff. of determination) = %.4f \n R2 for ranked response = %.4f ")    \
  ROW(kTextCategorizedBoxPlot, 10089, "Categorized Box plot")                                               \
  ROW(kTextBoxPlotOf, 10090, "Box Plot of %s grouped by %s")                                                \
  ROW(kTextMeanDiamonds, 10091, "Overlaid scatterplot with mean diamond plots")                             \
  ROW(kTextCodedVariablesSaved, 10092, "Coded variables have been saved to spreadsheet.")                   \
  ROW(kTextNumberToSave, 10093, "Please specify an appropriate number of predictors to save.")              \
  ROW(kTextBundlesSaved, 10094, "Predictors have been saved to input spreadsheet as a variable bundle.")    \
  ROW(kTextCategoricalPredictorsLabel, 10095, "Categorical predictors")                                     \
  ROW(kTextContinuousPredictorsLabel, 10096, "Continuous predictors")                                       \
  ROW(kTextVariableNumber, 10097, "Variable number")                                                        \
  ROW(kTextScreeningCategoricalResponse, 10098, "Categorical dep.:")                                        \
  ROW(kTextSaveRecode, 10099, "Save as recode function(s)")                                                 \
  ROW(kTextSaveRules, 10100, "Save as rules")                                                               \
  ROW(kTextRecodeSaved, 10101, "Recode functions have been saved.")                                         \
  ROW(kTextRulesSaved, 10102, "Rules have been saved.")                                                     \
  ROW(kTextBadRateColumn, 34474, "Bad rate (Col.)")                                                         \
  ROW(kTextGoodRateColumn, 34475, "Good rate (Col.)")                                                       \
  ROW(kTextWoe, 34476, "WOE")                                                                               \
  ROW(kTextOdds, 34477, "Odds")                                                                             \
  ROW(kTextPercentValidN, 34478, "% Valid N")                                                               \
  ROW(kTextBadRateRow, 34479, "Bad Rate (Row)")                                                             \
  ROW(kTextSummaryCrosstabulation, 34480, "Summary crosstabulation of %s vs. %s")                           \
  ROW(kTextSmoothedPdf, 34481, " smoothed pdf")                                                             \
  ROW(kTextEmpiricalCdf, 34482, "Empirical CDF")                                                            \
  ROW(kTextUniqueDefaultRate, 34483, "default rate")                                                        \
  ROW(kTextBad, 34484, "Bad")                                                                               \
  ROW(kTextGood, 34485, "Good")                                                                             \
  ROW(kTextBundleContinuous, 34486, "%s - best continuous predictors")                                      \
  ROW(kTextBundleCategorical, 34487, "%s - best categorical predictors")                                    \
  ROW(kTextTooFewValidCases, 34489, "There are not enough valid cases (<3)")                                \
  ROW(kTextBinaryResponse, 34490, "binary response")                                                        \
  ROW(kTextCategoricalResponse, 34491, "categorical response")                                              \
  ROW(kTextContinuousResponse, 34492, "continuous response")                                                \
  ROW(kTextExclusionNotInTree, 34493,                                                                       \
      "The exclusion of the case selection is not applied where predictors are cut into bins; all "         \
      "statistics are computed on the selected cases.")                                                     \
  ROW(kTextNoSplit, 34494, "No split of the predictor separates the response.")                             \
  ROW(kTextNoCommonCases, 34495, "There are no cases with a value of the predictor and of the response.")   \
  ROW(kTextFileNotWritten, 34496, "The file %s cannot be written.")                                         \
  ROW(kTextNoFileName, 34497, "No file has been named: put ResultsSaveFileName before saving.")             \
  ROW(kTextBundleCoded, 34498, "%s - coded predictors")                                                     \
  ROW(kTextRanked, 34499, "%s (ranks)")                                                                     \
  ROW(kTextInPercent, 34500, "%s (%%)")                                                                     \
  ROW(kTextCases, 34501, "Cases")                                                                           \
  ROW(kTextMeanWithLimits, 34502, "Mean with 95% limits")                                                   \
  ROW(kTextSampleShown, 34503,                                                                              \
      "%d of %d cases are shown, drawn at random along the predictor; means and limits are of all cases.")  \
  ROW(kTextInteractionPlot, 34504, "Interaction plot of frequencies")                                       \
  ROW(kTextCategorizedHistograms, 34505, "Categorized histograms")                                          \
  ROW(kText3DHistogram, 34506, "3D Histogram")                                                              \
  ROW(kTextFrequency, 34507, "Frequency")                                                                   \
  ROW(kTextMostFrequentClasses, 34508, "The %d most frequent of %d classes are drawn.")                     \
  ROW(kTextInfiniteValues, 34509, "%s has infinite values; its statistics cannot be computed.")             \
  ROW(kTextNoVariance, 34510,                                                                               \
      "The values of %s are too large or too close together for a variance, which its intervals need.")     \
  ROW(kTextCommandFailed, 34511, "The command failed: %s")                                                  \
  ROW(kTextDialogBusy, 34512, "The dialog is busy.")                                                        \
  ROW(kTextNoSuchVariable, 34513, "There is no variable number %d: the data have %d variables.")            \
  ROW(kTextNotAVariableList, 34514, "\"%s\" is not a list of variables.")                                   \
  ROW(kTextTooManyLists, 34515, "Variables takes %d lists, and %d were given.")                             \
  ROW(kTextNoSuchOutput, 34516, "There is no output %d: outputs are numbered 1 to %d.")                     \
  ROW(kTextNothingToSave, 34517, "There are no best predictors to save.")                                   \
  ROW(kTextNoSelectedCases, 34518, "No selected case has a value of the predictor and of the response.")    \
  ROW(kTextOneBinLeft, 34519, "All selected cases with a value of the predictor are in one bin.")           \
  ROW(kTextConstantResponse, 34520,                                                                         \
      "The response is constant over the selected cases with a value of the predictor.")                    \
  ROW(kTextMorePredictorsFailed, 34521, "%d more predictors failed.")                                       \
  ROW(kTextMissingBin, 34522, "Missing")                                                                    \
  ROW(kTextMissingRate, 34523, "Missing: %s %% of %s cases")                                                \
  ROW(kTextNothingToShow, 34524, "There are no best predictors to show.")
