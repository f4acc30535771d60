// The module's published interface, stated a second time: changing a number, a caption or a help
// string breaks existing scripts and dialogs. Read through the module's instance handle, as a host
// does.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "module/resources/module_resources.h"

namespace vlmfsl {
namespace {

using vlm::AutomationMember;
using vlm::ControlTemplate;
using vlm::DialogTemplate;

// One line per control: number, kind, caption. Controls that the host draws have no caption.
struct Page {
  const char* caption;
  const char* controls;
};

const Page kFeatureSelectionStartup[] = {{" Feature Selection and Variable Screening", R"(
1 button OK
2 button Cancel
10710 button Options
1003 icon
1001 icon
1002 icon
1000 tab
)"},
                                         {"Quick", R"(
1005 button &Variables
1008 label Dependent; continuous:
1006 list
1009 label Dependent; categorical:
1007 list
1012 label Predictors; continuous:
1013 list
1010 label Predictors; categorical:
1011 list
1026 button &Count Variable:
1027 list
1033 label Number of cuts for continuous &predictors:
1032 integer
1035 check Casewise deletion of &missing data
1040 check &Treat continuous dependent variable as categorical
1042 label Number of cuts for continuous &dependent:
1041 integer
1004 check Use case &weights as given
1019 group Weighted moments
1020 radio Mode 0
1021 radio Mode 1
)"},
                                         {"Advanced", R"(
- group Categorical dependent statistic
1098 radio Cramer's V
1099 radio Chi-square
)"}};

const Page kFeatureSelectionResults[] = {{"FSL Results ", R"(
1000 tab
1022 button !249Summary
2 button Cancel
10710 button Options
10720 button !443B&y Group
)"},
                                         {"Quick", R"(
1025 group Criterion for selecting predictors
1029 radio &Display
1024 integer
1023 label best predictors
1030 radio Display &best predictors with p <
1028 real
1039 radio &Display
1038 integer
1037 label best predictors, sorted by p
1022 button !249Summary: Best &k predictors (features)
1031 button !233&Histogram of importance for best k predictors
1034 button qReport of b&est k predictors (features)
1072 button !654Save predictors to variable bundle
)"}};

const Page kScreeningStartup[] = {{"Predictor Screening", R"(
1 button OK
2 button Cancel
10710 button Options
1003 icon
1001 icon
1000 tab
)"},
                                  {"Quick", R"(
1005 button !185&Variables
1008 label Dependent; continuous:
1006 list
1077 label Dependent; categorical:
1078 list
1009 label Dependent; binary:
1007 list
1010 label Predictors; categorical:
1011 list
1012 label Predictors; continuous:
1013 list
1079 button i&Response codes:
1080 list
1044 button i&Factor codes:
1054 list
1047 label Good code:
1048 value
1045 label Bad code:
1046 value
)"},
                                  {"Advanced", R"(
- group Sort Predictors for Binary response
1055 radio Sort by Gini coefficient
1059 radio Sort by Information value
1096 group Sort Predictors for Categorical response
1093 radio Sort by Chi-square p-value
1094 radio Sort by Chi-square value
1058 group Sort Predictors for Continuous response
1057 radio Sort by R-squared value
1056 radio Sort by F-statistic
)"}};

const Page kScreeningResults[] = {{"Predictor Screening Results ", R"(
1000 tab
1022 button !249Summary
2 button Cancel
10710 button Options
)"},
                                  {"Binary response", R"(
1060 button !249Summary: Variable importance
1049 label Select predictor
1050 drop
1053 group Continuous predictors
1051 button !263Distribution
1052 button !269Default rates
1061 button !249Crosstabulation
1062 group Results
)"},
                                  {"Continuous response", R"(
1063 button !249Summary: Variable importance
1049 label Select predictor
1065 drop
1064 group Results
1067 button !249Breakdown summary
1068 button !225Box Plot
1069 button !269Overlaid scatterplot with means
)"},
                                  {"Categorical response", R"(
1076 button !249Summary: Variable importance
1074 label Select predictor
1073 drop
1075 group Results
1081 button !249 Crosstabulation
1082 button !222 Interaction plot of frequencies
1083 button !087 Categorized histograms
1084 button !231 3D Histograms
)"},
                                  {"Save", R"(
1085 group Best predictors
1070 label Number of predictors to save : )"
                                           "\n"
                                           R"(1071 integer
1072 button !654Save predictors to variable bundle
1090 group Coded variables
1088 button !654Add coded variables to spreadsheet
1089 check Save to variable bundle
1086 button !654Save as data recode conditions
1087 button !654Save as rules
1097 button qR&ules report
)"}};

const char* KindOf(const ControlTemplate& control) {
  static const char* const kKinds[] = {"button",  "check", "radio", "group", "label", "list",
                                       "integer", "real",  "value", "drop",  "tab",   "icon"};
  return kKinds[control.controlClass];
}

std::string LineOf(const ControlTemplate& control, bool numbered) {
  const bool captioned = control.controlClass <= vlm::kLabel;
  return (numbered ? std::to_string(control.id) : "-") + " " + KindOf(control) +
         (captioned ? std::string(" ") + control.caption : "");
}

// The visible controls are those that are published, no more and no fewer; the order is the
// layout's.
void ExpectControls(const DialogTemplate& dialog, const char* published) {
  std::map<std::string, int> missing;
  std::istringstream lines(published);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) ++missing[line];
  }
  for (int i = 0; i < dialog.controlCount; ++i) {
    const ControlTemplate& control = dialog.controls[i];
    if (control.flags & vlm::kControlHidden) continue;
    const bool numbered = missing.contains(LineOf(control, true));
    const auto found = missing.find(LineOf(control, numbered));
    if (found == missing.end()) {
      ADD_FAILURE() << dialog.caption << " has " << LineOf(control, true) << ", which is not published";
    } else if (--found->second == 0) {
      missing.erase(found);
    }
  }
  for (const auto& [line, count] : missing) ADD_FAILURE() << dialog.caption << " lacks " << line;
}

TEST(PublishedTables, DialogsHaveTheirControls) {
  struct Dialog {
    int templateId;
    std::vector<int> pageIds;
    std::span<const Page> published;
  };
  const Dialog dialogs[] = {{4873, {4874, 4875}, kFeatureSelectionStartup},
                            {4872, {4876}, kFeatureSelectionResults},
                            {16056, {16057, 16058}, kScreeningStartup},
                            {16059, {16060, 16061, 16062, 16063}, kScreeningResults}};
  for (const Dialog& dialog : dialogs) {
    std::vector<int> ids = dialog.pageIds;
    ids.insert(ids.begin(), dialog.templateId);
    ASSERT_EQ(ids.size(), dialog.published.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
      const DialogTemplate* found = ModuleResources().FindDialogTemplate(ids[i]);
      ASSERT_NE(found, nullptr) << ids[i];
      EXPECT_STREQ(found->caption, dialog.published[i].caption);
      ExpectControls(*found, dialog.published[i].controls);
    }
  }
}

// One line per member: number, "get" and "put" or "method", type got or answered, type put,
// argument, name, help. "-": none.
const char* const kInterfaces[] = {
    R"(VlmAnalysisDialog: Velmora Dialog
0 get text - - Name -
1 get object - - Application Returns application object
2 get object - - Parent Returns the parent of the object
3 method int - - OK -
4 method - - - Cancel -
5 put - variant - ResultsSelection -
6 put - variant - ResultsSelectionOption -
7 put - variant - ResultsVariables -
8 put - int - ResultsOption -
9 put - variant - ResultsCodes -
10 put - text - ResultsSaveFileName -
11 put - variant - ResultsValues -
12 put - variant - ResultsOutputFields -
)",
    R"(FSLStartup: Feature selection startup dialog
60030000 get/put text variant - Variables Variables
60030002 get/put text variant - CountVariable Count variable
60030004 get/put int int - NumberOfCutsForContinuousPredictor Number of cuts for continuous predictor
60030006 get/put int int - CasewiseDeletionOfMD Casewise (listwise) deletion of missing data
60030008 get/put int int - TreatContinuousDependentAsCategorical Treat continuous dependent variables as categorical ones with intervals
6003000a get/put int int - NumberOfCutsForContinuousDependentVariable Number of cuts for continuous dependent variable
6003000c get/put int int - UseCramerVForCategoricalDependentVariable Use Cramer's V for categorical dependent variable
6003000e get/put int int - UseChiSquareForCategoricalDependentVariable Use Chi-square for categorical dependent variable
)",
    R"(FSLResults: Feature selection result dialog
60030000 get/put int int - DisplayFixedNumberOfBestPredictors Display fixed number of best predictors
60030002 get/put int int - DisplayFixedNumberOfBestPredictorsByPValue Display fixed number of best predictors sorted by p
60030004 get/put int int - DisplayBestPredictorsWithFixedPValue Display best predictors with p less than specified value
60030006 get/put int int - FixedNumberOfBestPredictors Fixed number of best predictors
60030008 get/put int int - FixedNumberOfBestPredictorsByPValue Fixed number of best predictors sorted by p
6003000a get/put real real - FixedPValueOfBestPredictors p value criterion of best predictor list // p value criterion of best predictors list
6003000c get object - - Summary Summary: Best k predictors
6003000d get object - - HistogramOfImportanceForBestPredictors Histogram of importance for best predictors
6003000e get object - - ReportOfBestKPredictors Report of best k predictors
6003000f get integers - int:VarNumber BestContinuousPredictors Get best continuous predictors for a specific dependent variable
60030010 get integers - int:VarNumber BestCategoricalPredictors Get best categorical predictors for a specific dependent variable
60030011 get text - int:VarNumber BestContinuousPredictorString Get best continuous predictor string for a specific dependent variable
60030012 get text - int:VarNumber BestCategoricalPredictorString Get best categorical predictor string for a specific dependent variable
60030013 method - - - SavePredictorsToVariableBundle Save predictors to variable bundle
)",
    R"(PredictorScreeningStartup: Feature selection template startup dialog
60030000 get/put text variant - Variables *
60030002 get/put text variant - FactorCodes Codes for
60030004 get/put text variant - ResponseCodes Codes for
60030006 get/put text variant - GoodCode Good Code.
60030008 get/put text variant - BadCode Bad Code.
6003000a get/put int int - SortByChiSqrPValue Set this option to 'True' if.
6003000c get/put int int - SortByChiSqrValue Set this option to 'True' if.
6003000e get/put int int - SortByGiniCoefficient Set this option to 'True' if.
60030010 get/put int int - SortByInfoValue Set this option to 'True' if.
60030012 get/put int int - SortByRSqrdPValue Set this option to 'True' if.
60030014 get/put int int - SortByFStatistic Set this option to 'True' if.
)",
    R"(PredictorScreeningResults: Feature selection template result dialog
60030000 get/put int int - SelectContinuousResponsePredictor Select the continuous response predictor.
60030002 get/put int int - SelectCategoricalResponsePredictor Select the categorical response predictor.
60030004 get/put int int - SelectBinaryResponsePredictor Select the binary response predictor.
60030006 get/put text text - SelectContinuousResponsePredictorString Select the continuous response predictor.
60030008 get/put text text - SelectCategoricalResponsePredictorString Select the categorical response predictor.
6003000a get/put text text - SelectBinaryResponsePredictorString Select the binary response predictor.
6003000c get/put int int - NumberOfPredictorsToSave Check this option to.
6003000e get/put int int - SaveToVariableBundle Check this option to.
60030010 get object - - Summary Summary variable importance
60030011 get object - - BinaryResponseVariableImportance *
60030012 get object - - BinaryResponseCrosstabulation *
60030013 get object - - ContinuousResponseBreakdownTable *
60030014 get object - - CategoricalResponseVariableImportance *
60030015 get object - - CategoricalResponseCrosstabulation *
60030016 get object - - ContinuousResponseVariableImportance *
60030017 get object - - BinaryResponseDistributionGraph *
60030018 get object - - BinaryResponseDefaultRateGraph *
60030019 get object - - ContinuousResponseBoxPlot *
6003001a get object - - ContinuousResponseOverlaidScatterWithMeans *
6003001b get object - - CategoricalResponseInteractionPlot *
6003001c get object - - CategoricalResponseCategorizedHistogram *
6003001d get object - - CategoricalResponse3dHistogram *
6003001e method - - - SavePredictorsToVariableBundle *
6003001f method - - - AddCodedVarsToSprSheet Add coded variables to spreadsheet
60030020 method - - text:filename SaveAsDataRecodeConditions Call this function to save settings in INI format.
60030021 method - - - SaveAsRules Call this function to save as rules.
60030022 get object - - RulesReport Rules report
)"};

std::string LineOf(const AutomationMember& member) {
  static const char* const kTypes[] = {"-", "int", "real", "text", "object", "integers", "array", "variant"};
  std::ostringstream line;
  if (member.dispatchId > 12) line << std::hex;
  line << member.dispatchId << std::dec;
  const bool put = member.kinds & vlm::kInvokePut;
  line << (member.kinds & vlm::kInvokeMethod ? " method"
           : member.kinds & vlm::kInvokeGet  ? " get"
                                             : " ")
       << (put ? member.kinds & vlm::kInvokeGet ? "/put" : "put" : "");
  line << ' ' << kTypes[member.getType] << ' ' << kTypes[member.putType] << ' ';
  if (member.argumentCount == 0) line << '-';
  if (member.argumentCount == 1) line << kTypes[member.argumentType] << ':' << member.argumentName;
  line << ' ' << member.name << ' ';
  const std::string getHelp = member.getHelp ? member.getHelp : member.putHelp;
  const std::string putHelp = member.putHelp ? member.putHelp : getHelp;
  line << (getHelp.empty() ? "-" : getHelp) << (putHelp != getHelp ? " // " + putHelp : "");
  return line.str();
}

TEST(PublishedTables, InterfacesHaveTheirMembers) {
  int index = 0;
  for (const char* published : kInterfaces) {
    const vlm::AutomationInterface* description = ModuleResources().GetAutomationInterface(index++);
    ASSERT_NE(description, nullptr);
    std::istringstream lines(published);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(std::string(description->name) + ": " + description->help, line);
    EXPECT_EQ(description->base, index == 1 ? nullptr : ModuleResources().GetAutomationInterface(0));
    int member = 0;
    for (; std::getline(lines, line); ++member) {
      if (member >= description->memberCount) break;
      const std::string own = LineOf(description->members[member]);
      // "*" at the end: any help.
      if (line.ends_with(" *")) {
        line.pop_back();
        EXPECT_TRUE(own.starts_with(line)) << own << "\n" << line;
      } else {
        EXPECT_EQ(own, line);
      }
    }
    EXPECT_EQ(member, description->memberCount) << description->name;
  }
}

}  // namespace
}  // namespace vlmfsl
