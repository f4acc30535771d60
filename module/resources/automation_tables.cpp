#include "module/resources/automation_tables.h"

namespace vlmfsl {
namespace {

using vlm::AutomationMember;
using enum vlm::AutomationType;
using enum vlm::InvokeKind;

constexpr AutomationMember Get(int id, const char* name, int type, const char* help) {
  return {id, name, kInvokeGet, type, kAutomationEmpty, 0, kAutomationEmpty, nullptr, help, nullptr};
}
constexpr AutomationMember GetOf(int id, const char* name, int type, int argumentType, const char* argument,
                                 const char* help) {
  return {id, name, kInvokeGet, type, kAutomationEmpty, 1, argumentType, argument, help, nullptr};
}
constexpr AutomationMember Put(int id, const char* name, int type, const char* help) {
  return {id, name, kInvokePut, kAutomationEmpty, type, 0, kAutomationEmpty, nullptr, nullptr, help};
}
constexpr AutomationMember GetPut(int id, const char* name, int getType, int putType, const char* getHelp,
                                  const char* putHelp) {
  return {id,      name,   kInvokeGet | kInvokePut, getType, putType, 0, kAutomationEmpty, nullptr,
          getHelp, putHelp};
}
constexpr AutomationMember GetPut(int id, const char* name, int type, const char* help) {
  return GetPut(id, name, type, type, help, help);
}
constexpr AutomationMember Method(int id, const char* name, int resultType, const char* help) {
  return {id, name, kInvokeMethod, resultType, kAutomationEmpty, 0, kAutomationEmpty, nullptr, help, nullptr};
}
constexpr AutomationMember MethodOf(int id, const char* name, int argumentType, const char* argument,
                                    const char* help) {
  return {id,           name,     kInvokeMethod, kAutomationEmpty, kAutomationEmpty, 1,
          argumentType, argument, help,          nullptr};
}

template <std::size_t kCount>
constexpr vlm::AutomationInterface Interface(const char* name, const char* help,
                                             const vlm::AutomationInterface* base,
                                             const AutomationMember (&members)[kCount]) {
  return {name, help, base, members, static_cast<int>(kCount)};
}

// clang-format off
constexpr AutomationMember kBaseMembers[] = {
    Get(kDispName, "Name", kAutomationText, ""),
    Get(kDispApplication, "Application", kAutomationObject, "Returns application object"),
    Get(kDispParent, "Parent", kAutomationObject, "Returns the parent of the object"),
    Method(kDispOk, "OK", kAutomationInt, ""),
    Method(kDispCancel, "Cancel", kAutomationEmpty, ""),
    Put(kDispResultsSelection, "ResultsSelection", kAutomationVariant, ""),
    Put(kDispResultsSelectionOption, "ResultsSelectionOption", kAutomationVariant, ""),
    Put(kDispResultsVariables, "ResultsVariables", kAutomationVariant, ""),
    Put(kDispResultsOption, "ResultsOption", kAutomationInt, ""),
    Put(kDispResultsCodes, "ResultsCodes", kAutomationVariant, ""),
    Put(kDispResultsSaveFileName, "ResultsSaveFileName", kAutomationText, ""),
    Put(kDispResultsValues, "ResultsValues", kAutomationVariant, ""),
    Put(kDispResultsOutputFields, "ResultsOutputFields", kAutomationVariant, ""),
};

constexpr AutomationMember kStartupMembers[] = {
    GetPut(kDispVariables, "Variables", kAutomationText, kAutomationVariant, "Variables", "Variables"),
    GetPut(kDispCountVariable, "CountVariable", kAutomationText, kAutomationVariant, "Count variable", "Count variable"),
    GetPut(kDispPredictorCuts, "NumberOfCutsForContinuousPredictor", kAutomationInt,
           "Number of cuts for continuous predictor"),
    GetPut(kDispCasewiseDeletion, "CasewiseDeletionOfMD", kAutomationInt, "Casewise (listwise) deletion of missing data"),
    GetPut(kDispCutDependents, "TreatContinuousDependentAsCategorical", kAutomationInt,
           "Treat continuous dependent variables as categorical ones with intervals"),
    GetPut(kDispDependentCuts, "NumberOfCutsForContinuousDependentVariable", kAutomationInt,
           "Number of cuts for continuous dependent variable"),
    GetPut(kDispUseCramersV, "UseCramerVForCategoricalDependentVariable", kAutomationInt,
           "Use Cramer's V for categorical dependent variable"),
    GetPut(kDispUseChiSquare, "UseChiSquareForCategoricalDependentVariable", kAutomationInt,
           "Use Chi-square for categorical dependent variable"),
};

constexpr AutomationMember kResultsMembers[] = {
    GetPut(kDispModeFixedNumber, "DisplayFixedNumberOfBestPredictors", kAutomationInt,
           "Display fixed number of best predictors"),
    GetPut(kDispModeFixedNumberByP, "DisplayFixedNumberOfBestPredictorsByPValue", kAutomationInt,
           "Display fixed number of best predictors sorted by p"),
    GetPut(kDispModePValue, "DisplayBestPredictorsWithFixedPValue", kAutomationInt,
           "Display best predictors with p less than specified value"),
    GetPut(kDispFixedNumber, "FixedNumberOfBestPredictors", kAutomationInt, "Fixed number of best predictors"),
    GetPut(kDispFixedNumberByP, "FixedNumberOfBestPredictorsByPValue", kAutomationInt,
           "Fixed number of best predictors sorted by p"),
    GetPut(kDispPCriterion, "FixedPValueOfBestPredictors", kAutomationReal, kAutomationReal,
           "p value criterion of best predictor list", "p value criterion of best predictors list"),
    Get(kDispSummary, "Summary", kAutomationObject, "Summary: Best k predictors"),
    Get(kDispHistogram, "HistogramOfImportanceForBestPredictors", kAutomationObject,
        "Histogram of importance for best predictors"),
    Get(kDispReport, "ReportOfBestKPredictors", kAutomationObject, "Report of best k predictors"),
    GetOf(kDispBestContinuous, "BestContinuousPredictors", kAutomationIntArray, kAutomationInt, "VarNumber",
          "Get best continuous predictors for a specific dependent variable"),
    GetOf(kDispBestCategorical, "BestCategoricalPredictors", kAutomationIntArray, kAutomationInt, "VarNumber",
          "Get best categorical predictors for a specific dependent variable"),
    GetOf(kDispBestContinuousString, "BestContinuousPredictorString", kAutomationText, kAutomationInt, "VarNumber",
          "Get best continuous predictor string for a specific dependent variable"),
    GetOf(kDispBestCategoricalString, "BestCategoricalPredictorString", kAutomationText, kAutomationInt, "VarNumber",
          "Get best categorical predictor string for a specific dependent variable"),
    Method(kDispSaveBundle, "SavePredictorsToVariableBundle", kAutomationEmpty, "Save predictors to variable bundle"),
};

constexpr char kSortHelp[] = "Set this option to 'True' if.";

constexpr AutomationMember kScreeningStartupMembers[] = {
    GetPut(kDispScreeningVariables, "Variables", kAutomationText, kAutomationVariant, "Variables", "Variables"),
    GetPut(kDispFactorCodes, "FactorCodes", kAutomationText, kAutomationVariant, "Codes for", "Codes for"),
    GetPut(kDispResponseCodes, "ResponseCodes", kAutomationText, kAutomationVariant, "Codes for", "Codes for"),
    GetPut(kDispGoodCode, "GoodCode", kAutomationText, kAutomationVariant, "Good Code.", "Good Code."),
    GetPut(kDispBadCode, "BadCode", kAutomationText, kAutomationVariant, "Bad Code.", "Bad Code."),
    GetPut(kDispSortChiSquareP, "SortByChiSqrPValue", kAutomationInt, kSortHelp),
    GetPut(kDispSortChiSquare, "SortByChiSqrValue", kAutomationInt, kSortHelp),
    GetPut(kDispSortGini, "SortByGiniCoefficient", kAutomationInt, kSortHelp),
    GetPut(kDispSortInformationValue, "SortByInfoValue", kAutomationInt, kSortHelp),
    // The name says p-value, the dialog R-squared: the criterion is R-squared.
    GetPut(kDispSortRSquared, "SortByRSqrdPValue", kAutomationInt, kSortHelp),
    GetPut(kDispSortFStatistic, "SortByFStatistic", kAutomationInt, kSortHelp),
};

constexpr char kContinuousPredictorHelp[] = "Select the continuous response predictor.";
constexpr char kCategoricalPredictorHelp[] = "Select the categorical response predictor.";
constexpr char kBinaryPredictorHelp[] = "Select the binary response predictor.";
constexpr char kOptionHelp[] = "Check this option to.";

constexpr AutomationMember kScreeningResultsMembers[] = {
    GetPut(kDispContinuousPredictor, "SelectContinuousResponsePredictor", kAutomationInt, kContinuousPredictorHelp),
    GetPut(kDispCategoricalPredictor, "SelectCategoricalResponsePredictor", kAutomationInt, kCategoricalPredictorHelp),
    GetPut(kDispBinaryPredictor, "SelectBinaryResponsePredictor", kAutomationInt, kBinaryPredictorHelp),
    GetPut(kDispContinuousPredictorString, "SelectContinuousResponsePredictorString", kAutomationText,
           kContinuousPredictorHelp),
    GetPut(kDispCategoricalPredictorString, "SelectCategoricalResponsePredictorString", kAutomationText,
           kCategoricalPredictorHelp),
    GetPut(kDispBinaryPredictorString, "SelectBinaryResponsePredictorString", kAutomationText, kBinaryPredictorHelp),
    GetPut(kDispNumberToSave, "NumberOfPredictorsToSave", kAutomationInt, kOptionHelp),
    GetPut(kDispSaveToBundle, "SaveToVariableBundle", kAutomationInt, kOptionHelp),
    Get(kDispScreeningSummary, "Summary", kAutomationObject, "Summary variable importance"),
    Get(kDispBinaryImportance, "BinaryResponseVariableImportance", kAutomationObject,
        "Variable importance for the binary response"),
    Get(kDispBinaryCrosstab, "BinaryResponseCrosstabulation", kAutomationObject,
        "Crosstabulation for the binary response"),
    Get(kDispContinuousBreakdown, "ContinuousResponseBreakdownTable", kAutomationObject,
        "Breakdown summary for the continuous response"),
    Get(kDispCategoricalImportance, "CategoricalResponseVariableImportance", kAutomationObject,
        "Variable importance for the categorical response"),
    Get(kDispCategoricalCrosstab, "CategoricalResponseCrosstabulation", kAutomationObject,
        "Crosstabulation for the categorical response"),
    Get(kDispContinuousImportance, "ContinuousResponseVariableImportance", kAutomationObject,
        "Variable importance for the continuous response"),
    Get(kDispBinaryDistribution, "BinaryResponseDistributionGraph", kAutomationObject,
        "Distribution graph for the binary response"),
    Get(kDispBinaryDefaultRates, "BinaryResponseDefaultRateGraph", kAutomationObject,
        "Default rate graph for the binary response"),
    Get(kDispContinuousBoxPlot, "ContinuousResponseBoxPlot", kAutomationObject, "Box plot for the continuous response"),
    Get(kDispContinuousMeanDiamonds, "ContinuousResponseOverlaidScatterWithMeans", kAutomationObject,
        "Overlaid scatterplot with means for the continuous response"),
    Get(kDispCategoricalInteraction, "CategoricalResponseInteractionPlot", kAutomationObject,
        "Interaction plot of frequencies for the categorical response"),
    Get(kDispCategoricalHistograms, "CategoricalResponseCategorizedHistogram", kAutomationObject,
        "Categorized histograms for the categorical response"),
    Get(kDispCategoricalHistograms3D, "CategoricalResponse3dHistogram", kAutomationObject,
        "3D histograms for the categorical response"),
    Method(kDispScreeningSaveBundle, "SavePredictorsToVariableBundle", kAutomationEmpty,
           "Save predictors to variable bundle"),
    Method(kDispAddCodedVariables, "AddCodedVarsToSprSheet", kAutomationEmpty, "Add coded variables to spreadsheet"),
    MethodOf(kDispSaveRecode, "SaveAsDataRecodeConditions", kAutomationText, "filename",
             "Call this function to save settings in INI format."),
    Method(kDispSaveRules, "SaveAsRules", kAutomationEmpty, "Call this function to save as rules."),
    Get(kDispRulesReport, "RulesReport", kAutomationObject, "Rules report"),
};

constexpr AutomationMember kOutputCollectionMembers[] = {
    GetOf(kDispItem, "Item", kAutomationObject, kAutomationInt, "Index", "Returns an output by its number, from 1"),
    Get(kDispCount, "Count", kAutomationInt, "Number of outputs"),
};
// clang-format on

// Own members of a dialog's interface: the ids run on without a gap.
constexpr bool IdsRunOn(std::span<const AutomationMember> members) {
  int expected = kFirstOwnDispatchId;
  for (const AutomationMember& member : members) {
    if (member.dispatchId != expected) return false;
    expected += member.kinds == (kInvokeGet | kInvokePut) ? 2 : 1;
  }
  return true;
}
static_assert(IdsRunOn(kStartupMembers) && IdsRunOn(kResultsMembers) && IdsRunOn(kScreeningStartupMembers) &&
              IdsRunOn(kScreeningResultsMembers));

}  // namespace

constexpr vlm::AutomationInterface kVlmAnalysisDialog =
    Interface("VlmAnalysisDialog", "Velmora Dialog", nullptr, kBaseMembers);
constexpr vlm::AutomationInterface kFslStartup =
    Interface("FSLStartup", "Feature selection startup dialog", &kVlmAnalysisDialog, kStartupMembers);
constexpr vlm::AutomationInterface kFslResults =
    Interface("FSLResults", "Feature selection result dialog", &kVlmAnalysisDialog, kResultsMembers);
constexpr vlm::AutomationInterface kPredictorScreeningStartup =
    Interface("PredictorScreeningStartup", "Feature selection template startup dialog", &kVlmAnalysisDialog,
              kScreeningStartupMembers);
constexpr vlm::AutomationInterface kPredictorScreeningResults =
    Interface("PredictorScreeningResults", "Feature selection template result dialog", &kVlmAnalysisDialog,
              kScreeningResultsMembers);
constexpr vlm::AutomationInterface kOutputCollection =
    Interface("OutputCollection", "Outputs of one request", nullptr, kOutputCollectionMembers);

std::span<const LibraryInterface> LibraryInterfaces() {
  static constexpr LibraryInterface kInterfaces[] = {
      {&kVlmAnalysisDialog, "{71DE934F-FDB9-4B66-98F3-492FCD40B631}"},
      {&kFslStartup, "{DC336877-8FEF-4C1C-BAE3-322ECB85441B}"},
      {&kFslResults, "{3C1A71A6-4DFF-481D-8578-A64825B955AE}"},
      {&kPredictorScreeningStartup, "{A2275787-4B63-4831-9D45-C29B6C75D343}"},
      {&kPredictorScreeningResults, "{B1CDB769-466D-420D-AE13-536E1941BEE7}"},
  };
  return kInterfaces;
}

}  // namespace vlmfsl
