// Both analyses from data to saved files through the application's object alone, as any script language does it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "workbench/host/session.h"

namespace velmora {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

std::string ErrorOf(const auto& call) {
  try {
    call();
  } catch (const AutomationError& error) {
    return error.what();
  }
  return "no error";
}

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct ObjectModel : testing::Test {
  ObjectModel() : session(face, Options()), application(session.Application()) {
    folder = fs::temp_directory_path() / ("object_model_" + std::to_string(::getpid()));
    fs::create_directories(folder);
  }
  ~ObjectModel() override { fs::remove_all(folder); }
  static SessionOptions Options() {
    SessionOptions options;
    options.modulePath = VELMORA_BINARY_DIR "/libvlmfsl.so";
    return options;
  }
  std::string File(const char* name) const { return (folder / name).string(); }

  RecordingFace face;
  Session session;
  AutomationClient application;
  fs::path folder;
};

TEST_F(ObjectModel, AFeatureSelectionFromDataToFiles) {
  const AutomationClient spreadsheets = application.GetObject("spreadsheets");
  EXPECT_EQ(spreadsheets.Get("Count").AsInt(), 0);
  const AutomationClient data =
      spreadsheets.GetObject("Open", {VELMORA_SOURCE_DIR "/samples/german_credit.csv"});
  EXPECT_EQ(spreadsheets.GetObject("Item", {1}).Get("CaseCount").AsInt(), 1000);
  EXPECT_EQ(data.Get("Measurement", {data.Get("VariableNumber", {"risk"})}).AsText(), "categorical");
  EXPECT_EQ(data.Get("Measurement", {data.Get("VariableNumber", {"amount"})}).AsText(), "continuous");
  // The two conditions leave each other alone.
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

TEST_F(ObjectModel, AScreeningOfEveryKindOfResponse) {
  application.Call("Open", {VELMORA_SOURCE_DIR "/samples/german_credit.csv"});
  const AutomationClient analysis = application.GetObject("Analyses").GetObject("Add", {4871});
  const AutomationClient startup = analysis.GetObject("Dialog");
  EXPECT_EQ(startup.Get("Name").AsText(), "Predictor Screening startup dialog");
  startup.Put("Variables", "amount | housing | risk | purpose savings | duration_months age");
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  startup.Put("FactorCodes", "* | *");
  startup.Put("ResponseCodes", "*");
  EXPECT_EQ(analysis.Call("Run").AsInt(), 1);
  const AutomationClient results = analysis.GetObject("Dialog");
  EXPECT_EQ(results.Get("Name").AsText(), "Predictor Screening result dialog");
  EXPECT_EQ(results.GetObject("Summary").Get("Count").AsInt(), 3);
}

}  // namespace
}  // namespace velmora
