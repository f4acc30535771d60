// Both analyses from data to saved files through the application's object alone, as any script
// language does it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "module/resources/control_ids.h"
#include "tests/session/session_support.h"
#include "tests/support/paths.h"

namespace velmora {
namespace {

using enum vlmfsl::ControlId;

using testing::HasSubstr;
namespace fs = std::filesystem;

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct ObjectModel : testing::Test {
  ObjectModel() : session(frontend, ModuleOptions()), application(session.Application()) {
    frontend.session = &session;
    folder = fs::temp_directory_path() / ("object_model_" + std::to_string(::getpid()));
    fs::create_directories(folder);
  }
  ~ObjectModel() override { fs::remove_all(folder); }
  std::string File(const char* name) const { return (folder / name).string(); }

  // Records whether results are shown while an analysis runs.
  struct WorkingFrontend : WindowFrontend {
    void ProgressOpened(std::string_view caption, int stepCount) override {
      WindowFrontend::ProgressOpened(caption, stepCount);
      updatedAtWork.push_back(session->UpdatesScreen());
    }
    const Session* session = nullptr;
    std::vector<bool> updatedAtWork;
  };

  WorkingFrontend frontend;
  Session session;
  AutomationClient application;
  fs::path folder;
};

TEST_F(ObjectModel, AFeatureSelectionFromDataToFiles) {
  const AutomationClient spreadsheets = application.GetObject("spreadsheets");
  EXPECT_EQ(spreadsheets.Get("Count").AsInt(), 0);
  const AutomationClient data = spreadsheets.GetObject("Open", {SourceDir() + "/samples/german_credit.csv"});
  EXPECT_EQ(spreadsheets.GetObject("Item", {1}).Get("CaseCount").AsInt(), 1000);
  EXPECT_EQ(data.Get("Measurement", {data.Get("VariableNumber", {"risk"})}).AsText(), "categorical");
  EXPECT_EQ(data.Get("Measurement", {data.Get("VariableNumber", {"amount"})}).AsText(), "continuous");
  // The two conditions are independent.
  data.Call("IncludeCases", {"age > 30"});
  data.Call("ExcludeCases", {"amount > 10000"});
  EXPECT_EQ(data.Get("IncludeCondition").AsText(), "age > 30");
  EXPECT_THAT(ErrorOf([&] { data.Call("IncludeCases", {"height > 30"}); }), HasSubstr("height"));
  EXPECT_EQ(data.Get("ExcludeCondition").AsText(), "amount > 10000");

  const AutomationClient analyses = application.GetObject("Analyses");
  EXPECT_THAT(ErrorOf([&] { analyses.Call("Add", {1}); }), HasSubstr("There is no analysis 1;"));
  const AutomationClient analysis = analyses.GetObject("Add", {4870});
  EXPECT_EQ(analyses.Get("Count").AsInt(), 1);
  EXPECT_EQ(analyses.GetObject("Item", {1}).Object(), analysis.Object());
  EXPECT_EQ(ErrorOf([&] { analysis.Call("Run"); }), "Variable selection not valid.");
  const AutomationClient startup = analysis.GetObject("Dialog");
  startup.Put("Variables", "amount | risk | duration_months age | checking_account telephone");
  EXPECT_EQ(startup.GetObject("Parent").Object(), analysis.Object());
  EXPECT_EQ(analysis.Call("Run").AsInt(), 1);
  EXPECT_EQ(ErrorOf([&] { analysis.Call("Run"); }), "The analysis has no startup dialog open.");

  const AutomationClient results = analysis.GetObject("Dialog");
  const AutomationClient sheet = results.GetObject("Summary").GetObject("Item", {1});
  sheet.Call("Save", {File("summary.csv")});
  EXPECT_THAT(Contents(folder / "summary.csv"), HasSubstr("duration_months,"));
  const AutomationClient outputs = application.GetObject("Outputs");
  EXPECT_EQ(outputs.Get("Count").AsInt(), 2);
  outputs.Put("Title", "Credit");
  for (const char* name : {"all.html", "all.XLSX", "all.json", "all.txt"}) {
    outputs.Call("Save", {File(name)});
    EXPECT_GT(fs::file_size(folder / name), 500U) << name;
  }
  EXPECT_THAT(ErrorOf([&] { outputs.Call("Save", {File("all.csv")}); }), HasSubstr("holds one table"));
  EXPECT_THAT(ErrorOf([&] { outputs.Call("Save", {File("all.doc")}); }), HasSubstr("must end in .html"));
  EXPECT_THAT(ErrorOf([&] { outputs.Call("Save", {"/proc/nowhere/all.json"}); }), HasSubstr("/proc/nowhere"));

  results.Call("SavePredictorsToVariableBundle");
  EXPECT_GT(data.Get("BundleCount").AsInt(), 0);
  data.Call("Save", {File("credit.csv")});
  spreadsheets.GetObject("Open", {File("credit.csv")});
  EXPECT_GT(data.Get("BundleCount").AsInt(), 0) << "bundles are read back";
  EXPECT_FALSE(analysis.GetObject("ResultsDialog")) << "results of the old data are closed";
  EXPECT_TRUE(analysis.GetObject("StartupDialog")) << "on the new data, afresh";
  analysis.Call("Close");
  EXPECT_EQ(analyses.Get("Count").AsInt(), 0);
  EXPECT_FALSE(analysis.GetObject("Dialog"));
  EXPECT_EQ(analysis.Get("ID").AsInt(), 4870) << "a handle held stays usable";
}

// A button and its member are two ways to one output, and no member of the table is left without an
// answer.
TEST_F(ObjectModel, AScreeningByButtonsAndByMembers) {
  application.Call("Open", {SourceDir() + "/samples/german_credit.csv"});
  const AutomationClient analysis = application.GetObject("Analyses").GetObject("Add", {4871});
  const AutomationClient startup = analysis.GetObject("Dialog");
  EXPECT_EQ(startup.Get("Name").AsText(), "Predictor Screening startup dialog");
  startup.Put("Variables", "amount | housing | risk | purpose savings | duration_months age");
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  startup.Put("FactorCodes", "* | *");
  startup.Put("ResponseCodes", "*");
  frontend.updatedAtWork.clear();
  EXPECT_EQ(application.Get("ScreenUpdating").AsInt(), 1);
  ASSERT_EQ(analysis.Call("Run").AsInt(), 1);
  // The analysis does not show results while it runs.
  EXPECT_THAT(frontend.updatedAtWork, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(false)));
  EXPECT_TRUE(session.UpdatesScreen());
  const AutomationClient results = analysis.GetObject("Dialog");
  EXPECT_EQ(results.Get("Name").AsText(), "Predictor Screening result dialog");
  results.Put("ResultsSaveFileName", File("rules.txt"));

  const std::map<std::string, int> buttons = {
      {"Summary", kControlSummary},
      {"BinaryResponseVariableImportance", kControlBinaryImportance},
      {"BinaryResponseCrosstabulation", kControlBinaryCrosstab},
      {"ContinuousResponseBreakdownTable", kControlBreakdown},
      {"CategoricalResponseVariableImportance", kControlCategoricalImportance},
      {"CategoricalResponseCrosstabulation", kControlCategoricalCrosstab},
      {"ContinuousResponseVariableImportance", kControlContinuousImportance},
      {"BinaryResponseDistributionGraph", kControlBinaryDistribution},
      {"BinaryResponseDefaultRateGraph", kControlBinaryDefaultRates},
      {"ContinuousResponseBoxPlot", kControlBoxPlot},
      {"ContinuousResponseOverlaidScatterWithMeans", kControlMeanDiamonds},
      {"CategoricalResponseInteractionPlot", kControlInteractionPlot},
      {"CategoricalResponseCategorizedHistogram", kControlCategorizedHistograms},
      {"CategoricalResponse3dHistogram", kControlHistograms3D},
      {"RulesReport", kControlRulesReport}};
  const auto& documents = session.Documents().Documents();
  const auto titlesSince = [&](std::size_t first) {
    std::vector<std::string> titles;
    for (std::size_t i = first; i < documents.size(); ++i) titles.push_back(documents[i].Title());
    return titles;
  };
  std::size_t outputs = 0;
  const vlm::AutomationInterface& members = *results.Object()->GetInterface();
  for (int i = 0; i < members.memberCount; ++i) {
    const vlm::AutomationMember& member = members.members[i];
    SCOPED_TRACE(member.name);
    const std::size_t before = documents.size();
    if (member.kinds & vlm::kInvokeMethod) {
      if (member.argumentCount == 0) {
        results.Call(member.name);
      } else {
        results.Call(member.name, {File("recode.ini")});
      }
      EXPECT_EQ(documents.size(), before);
      continue;
    }
    const Variant answer = results.Get(member.name);
    if (member.kinds & vlm::kInvokePut) {
      results.Put(member.name, answer);
      EXPECT_EQ(results.Get(member.name).AsText(), answer.AsText());
      continue;
    }
    ++outputs;
    EXPECT_TRUE(answer.AsObject());
    const std::vector<std::string> called = titlesSince(before);
    EXPECT_THAT(called, testing::Not(testing::IsEmpty()));
    ASSERT_TRUE(frontend.window != nullptr && buttons.contains(member.name));
    EXPECT_TRUE(frontend.window->Press(buttons.at(member.name)));
    std::vector<std::string> pressed = titlesSince(before + called.size());
    // A button may show a table beside its graph.
    if (pressed.size() > called.size()) pressed.resize(called.size());
    EXPECT_EQ(pressed, called) << member.name;
  }
  EXPECT_EQ(outputs, buttons.size());
  EXPECT_GT(fs::file_size(folder / "rules.txt"), 0U);
  const auto isRecode = [](const fs::directory_entry& entry) {
    return entry.path().filename().string().starts_with("recode") && entry.path().extension() == ".ini";
  };
  EXPECT_GT(std::count_if(fs::directory_iterator(folder), fs::directory_iterator(), isRecode), 0);
  EXPECT_THAT(frontend.messages, testing::Each(testing::HasSubstr("have been saved")));
  EXPECT_THAT(session.LogTexts(), testing::IsEmpty());
  EXPECT_TRUE(frontend.window->Press(kControlCancel));
  EXPECT_EQ(application.GetObject("Analyses").Get("Count").AsInt(), 0) << "Cancel ends a screening";
}

// The same analysis by keys and clicks alone.
TEST_F(ObjectModel, AFeatureSelectionControlByControl) {
  application.Call("Open", {SourceDir() + "/samples/german_credit.csv"});
  const AutomationClient analysis = application.GetObject("Analyses").GetObject("Add", {4870});
  const AutomationClient dialog = analysis.GetObject("Dialog"), window = analysis.GetObject("Window");
  EXPECT_EQ(window.Get("Caption").AsText(), " Feature Selection and Variable Screening");
  EXPECT_EQ(window.Get("Pages").AsArray().size(), 2U);
  EXPECT_EQ(window.Get("Kind", {kControlPredictorCuts}).AsText(), "edit");
  EXPECT_EQ(window.Get("ControlCaption", {kControlCasewiseDeletion}).AsText(),
            "Casewise deletion of missing data");
  EXPECT_EQ(ErrorOf([&] { window.Call("Press", {1}); }), "Variable selection not valid.");
  EXPECT_EQ(ErrorOf([&] { window.Call("Press", {9}); }), "The dialog has no control 9.");
  EXPECT_EQ(ErrorOf([&] { window.Call("Press", {kControlOptions}); }), "Control 10710 is hidden.");
  EXPECT_EQ(ErrorOf([&] {
              window.Call("TypeText", {kControlDependentCuts, "5"});
            }),
            "Control 1041 is disabled.");
  for (const int question : {kControlCaseSelection, kControlCaseWeights, kControlOpenData}) {
    EXPECT_THAT(ErrorOf([&] { window.Call("Press", {question}); }),
                ::testing::StartsWith("Control " + std::to_string(question) + " asks for "));
  }
  EXPECT_EQ(ErrorOf([&] {
              window.Call("TypeText", {kControlCasewiseDeletion, "5"});
            }),
            "Control 1035 is a check box, which cannot be used in this way.");
  dialog.Put("ResultsVariables", "amount | risk | duration_months age | checking_account");
  window.Call("Press", {kControlVariables});
  EXPECT_EQ(window.Get("Text", {kControlContinuousDependents}).AsText(),
            dialog.Get("Variables").AsText().substr(0, 1));
  window.Call("Press", {kControlCutDependents});
  EXPECT_EQ(window.Get("IsChecked", {kControlCutDependents}).AsInt(), 1);
  window.Call("TypeText", {kControlDependentCuts, "5"});
  window.Call("TypeText", {kControlPredictorCuts, "1e"});
  EXPECT_EQ(window.Get("Error", {kControlPredictorCuts}).AsText(), "Enter a whole number from 2 to 20.")
      << "before anything runs";
  window.Put("Page", 2);
  window.Call("Press", {1});
  EXPECT_EQ(window.Get("IsOpen").AsInt(), 0) << "a wrong number does not stop the run";
  EXPECT_EQ(ErrorOf([&] { window.Get("Caption"); }), "The dialog is closed.");
  const AutomationClient results = analysis.GetObject("Window");
  EXPECT_EQ(results.Get("Caption").AsText(), "FSL Results ");
  results.Call("TypeText", {kControlFixedNumber, "0"});
  results.Call("Press", {kControlSummary});
  EXPECT_EQ(results.Get("Error", {kControlFixedNumber}).AsText(), "Invalid integer entered in edit field");
  EXPECT_GT(application.GetObject("Outputs").Get("Count").AsInt(), 0);
  EXPECT_EQ(ErrorOf([&] { results.Call("Press", {kControlByGroup}); }), "Control 10720 is hidden.")
      << "this host has no by-group runs";
  results.Call("Press", {2});
  EXPECT_EQ(analysis.GetObject("Dialog").Get("NumberOfCutsForContinuousDependentVariable").AsInt(), 5);
  EXPECT_EQ(analysis.GetObject("Dialog").Get("NumberOfCutsForContinuousPredictor").AsInt(), 10);
}

}  // namespace
}  // namespace velmora
