#include "module/resources/automation_tables.h"

#include "contract/automation_members.h"

namespace vlmfsl {
namespace {

using vlm::AutomationMember;
using vlm::Getter;
using vlm::Method;
using vlm::Property;
using vlm::Putter;
using enum vlm::AutomationType;
using enum vlm::InvokeKind;

template <std::size_t kCount>
constexpr vlm::AutomationInterface Interface(const char* name, const char* help,
                                             const vlm::AutomationInterface* base,
                                             const AutomationMember (&members)[kCount]) {
  return {name, help, base, members, static_cast<int>(kCount)};
}

// clang-format off
constexpr AutomationMember kBaseMembers[] = {
    Getter(kDispName, "Name", kAutomationText, ""),
    Getter(kDispApplication, "Application", kAutomationObject, "Returns application object"),
    Getter(kDispParent, "Parent", kAutomationObject, "Returns the parent of the object"),
    Method(kDispOk, "OK", "", 0, kAutomationEmpty, nullptr, kAutomationInt),
    Method(kDispCancel, "Cancel", ""),
    Putter(kDispResultsSelection, "ResultsSelection", kAutomationVariant, ""),
    Putter(kDispResultsSelectionOption, "ResultsSelectionOption", kAutomationVariant, ""),
    Putter(kDispResultsVariables, "ResultsVariables", kAutomationVariant, ""),
    Putter(kDispResultsOption, "ResultsOption", kAutomationInt, ""),
    Putter(kDispResultsCodes, "ResultsCodes", kAutomationVariant, ""),
    Putter(kDispResultsSaveFileName, "ResultsSaveFileName", kAutomationText, ""),
    Putter(kDispResultsValues, "ResultsValues", kAutomationVariant, ""),
    Putter(kDispResultsOutputFields, "ResultsOutputFields", kAutomationVariant, ""),
};

constexpr AutomationMember kStartupMembers[] = {
    Property(kDispVariables, "Variables", kAutomationText, kAutomationVariant, "Variables", "Variables"),
    Property(kDispCountVariable, "CountVariable", kAutomationText, kAutomationVariant, "Count variable", "Count variable"),
    Property(kDispPredictorCuts, "NumberOfCutsForContinuousPredictor", kAutomationInt, "Number of cuts for continuous predictor"),
    Property(kDispCasewiseDeletion, "CasewiseDeletionOfMD", kAutomationInt, "Casewise (listwise) deletion of missing data"),
    Property(kDispCutDependents, "TreatContinuousDependentAsCategorical", kAutomationInt, "Treat continuous dependent variables as categorical ones with intervals"),
    Property(kDispDependentCuts, "NumberOfCutsForContinuousDependentVariable", kAutomationInt, "Number of cuts for continuous dependent variable"),
    Property(kDispUseCramersV, "UseCramerVForCategoricalDependentVariable", kAutomationInt, "Use Cramer's V for categorical dependent variable"),
    Property(kDispUseChiSquare, "UseChiSquareForCategoricalDependentVariable", kAutomationInt, "Use Chi-square for categorical dependent variable"),
};

constexpr AutomationMember kResultsMembers[] = {
    Property(kDispModeFixedNumber, "DisplayFixedNumberOfBestPredictors", kAutomationInt, "Display fixed number of best predictors"),
    Property(kDispModeFixedNumberByP, "DisplayFixedNumberOfBestPredictorsByPValue", kAutomationInt, "Display fixed number of best predictors sorted by p"),
    Property(kDispModePValue, "DisplayBestPredictorsWithFixedPValue", kAutomationInt, "Display best predictors with p less than specified value"),
    Property(kDispFixedNumber, "FixedNumberOfBestPredictors", kAutomationInt, "Fixed number of best predictors"),
    Property(kDispFixedNumberByP, "FixedNumberOfBestPredictorsByPValue", kAutomationInt, "Fixed number of best predictors sorted by p"),
    Property(kDispPCriterion, "FixedPValueOfBestPredictors", kAutomationReal, kAutomationReal, "p value criterion of best predictor list", "p value criterion of best predictors list"),
    Getter(kDispSummary, "Summary", kAutomationObject, "Summary: Best k predictors"),
    Getter(kDispHistogram, "HistogramOfImportanceForBestPredictors", kAutomationObject, "Histogram of importance for best predictors"),
    Getter(kDispReport, "ReportOfBestKPredictors", kAutomationObject, "Report of best k predictors"),
    Getter(kDispBestContinuous, "BestContinuousPredictors", kAutomationIntArray, "Get best continuous predictors for a specific dependent variable", 1, kAutomationInt, "VarNumber"),
    Getter(kDispBestCategorical, "BestCategoricalPredictors", kAutomationIntArray, "Get best categorical predictors for a specific dependent variable", 1, kAutomationInt, "VarNumber"),
    Getter(kDispBestContinuousString, "BestContinuousPredictorString", kAutomationText, "Get best continuous predictor string for a specific dependent variable", 1, kAutomationInt, "VarNumber"),
    Getter(kDispBestCategoricalString, "BestCategoricalPredictorString", kAutomationText, "Get best categorical predictor string for a specific dependent variable", 1, kAutomationInt, "VarNumber"),
    Method(kDispSaveBundle, "SavePredictorsToVariableBundle", "Save predictors to variable bundle"),
};

constexpr char kSortHelp[] = "Set this option to 'True' if.";

constexpr AutomationMember kScreeningStartupMembers[] = {
    Property(kDispScreeningVariables, "Variables", kAutomationText, kAutomationVariant, "Variables", "Variables"),
    Property(kDispFactorCodes, "FactorCodes", kAutomationText, kAutomationVariant, "Codes for", "Codes for"),
    Property(kDispResponseCodes, "ResponseCodes", kAutomationText, kAutomationVariant, "Codes for", "Codes for"),
    Property(kDispGoodCode, "GoodCode", kAutomationText, kAutomationVariant, "Good Code.", "Good Code."),
    Property(kDispBadCode, "BadCode", kAutomationText, kAutomationVariant, "Bad Code.", "Bad Code."),
    Property(kDispSortChiSquareP, "SortByChiSqrPValue", kAutomationInt, kSortHelp),
    Property(kDispSortChiSquare, "SortByChiSqrValue", kAutomationInt, kSortHelp),
    Property(kDispSortGini, "SortByGiniCoefficient", kAutomationInt, kSortHelp),
    Property(kDispSortInformationValue, "SortByInfoValue", kAutomationInt, kSortHelp),
    // The name says p-value, the dialog R-squared: the criterion is R-squared.
    Property(kDispSortRSquared, "SortByRSqrdPValue", kAutomationInt, kSortHelp),
    Property(kDispSortFStatistic, "SortByFStatistic", kAutomationInt, kSortHelp),
};

constexpr char kContinuousPredictorHelp[] = "Select the continuous response predictor.";
constexpr char kCategoricalPredictorHelp[] = "Select the categorical response predictor.";
constexpr char kBinaryPredictorHelp[] = "Select the binary response predictor.";
constexpr char kOptionHelp[] = "Check this option to.";

constexpr AutomationMember kScreeningResultsMembers[] = {
    Property(kDispContinuousPredictor, "SelectContinuousResponsePredictor", kAutomationInt, kContinuousPredictorHelp),
    Property(kDispCategoricalPredictor, "SelectCategoricalResponsePredictor", kAutomationInt, kCategoricalPredictorHelp),
    Property(kDispBinaryPredictor, "SelectBinaryResponsePredictor", kAutomationInt, kBinaryPredictorHelp),
    Property(kDispContinuousPredictorString, "SelectContinuousResponsePredictorString", kAutomationText, kContinuousPredictorHelp),
    Property(kDispCategoricalPredictorString, "SelectCategoricalResponsePredictorString", kAutomationText, kCategoricalPredictorHelp),
    Property(kDispBinaryPredictorString, "SelectBinaryResponsePredictorString", kAutomationText, kBinaryPredictorHelp),
    Property(kDispNumberToSave, "NumberOfPredictorsToSave", kAutomationInt, kOptionHelp),
    Property(kDispSaveToBundle, "SaveToVariableBundle", kAutomationInt, kOptionHelp),
    Getter(kDispScreeningSummary, "Summary", kAutomationObject, "Summary variable importance"),
    Getter(kDispBinaryImportance, "BinaryResponseVariableImportance", kAutomationObject, "Variable importance for the binary response"),
    Getter(kDispBinaryCrosstab, "BinaryResponseCrosstabulation", kAutomationObject, "Crosstabulation for the binary response"),
    Getter(kDispContinuousBreakdown, "ContinuousResponseBreakdownTable", kAutomationObject, "Breakdown summary for the continuous response"),
    Getter(kDispCategoricalImportance, "CategoricalResponseVariableImportance", kAutomationObject, "Variable importance for the categorical response"),
    Getter(kDispCategoricalCrosstab, "CategoricalResponseCrosstabulation", kAutomationObject, "Crosstabulation for the categorical response"),
    Getter(kDispContinuousImportance, "ContinuousResponseVariableImportance", kAutomationObject, "Variable importance for the continuous response"),
    Getter(kDispBinaryDistribution, "BinaryResponseDistributionGraph", kAutomationObject, "Distribution graph for the binary response"),
    Getter(kDispBinaryDefaultRates, "BinaryResponseDefaultRateGraph", kAutomationObject, "Default rate graph for the binary response"),
    Getter(kDispContinuousBoxPlot, "ContinuousResponseBoxPlot", kAutomationObject, "Box plot for the continuous response"),
    Getter(kDispContinuousMeanDiamonds, "ContinuousResponseOverlaidScatterWithMeans", kAutomationObject, "Overlaid scatterplot with means for the continuous response"),
    Getter(kDispCategoricalInteraction, "CategoricalResponseInteractionPlot", kAutomationObject, "Interaction plot of frequencies for the categorical response"),
    Getter(kDispCategoricalHistograms, "CategoricalResponseCategorizedHistogram", kAutomationObject, "Categorized histograms for the categorical response"),
    Getter(kDispCategoricalHistograms3D, "CategoricalResponse3dHistogram", kAutomationObject, "3D histograms for the categorical response"),
    Method(kDispScreeningSaveBundle, "SavePredictorsToVariableBundle", "Save predictors to variable bundle"),
    Method(kDispAddCodedVariables, "AddCodedVarsToSprSheet", "Add coded variables to spreadsheet"),
    Method(kDispSaveRecode, "SaveAsDataRecodeConditions", "Call this function to save settings in INI format.", 1, kAutomationText, "filename"),
    Method(kDispSaveRules, "SaveAsRules", "Call this function to save as rules."),
    Getter(kDispRulesReport, "RulesReport", kAutomationObject, "Rules report"),
};

constexpr AutomationMember kOutputCollectionMembers[] = {
    Getter(kDispItem, "Item", kAutomationObject, "Returns an output by its number, from 1", 1, kAutomationInt, "Index"),
    Getter(kDispCount, "Count", kAutomationInt, "Number of outputs"),
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
