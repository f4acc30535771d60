// The start window's buttons, and the page of results that grows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/paths.h"
#include "workbench/windows/results_page.h"
#include "workbench/windows/start_window.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Commands final : public StartCommands {
 public:
  void OpenData() override { called.emplace_back("open"); }
  void OpenData(const std::string& path) override { called.push_back("open " + path); }
  void StartFeatureSelection() override { called.emplace_back("feature selection"); }
  void StartScreening() override { throw std::runtime_error("The module cannot be loaded."); }
  void ChooseWeights() override { called.emplace_back("weights"); }
  void SaveData() override { called.emplace_back("save"); }
  void ShowResults() override { called.emplace_back("results"); }
  void ShowHelp() override { called.emplace_back("help"); }
  bool IsReady() const override { return ready; }
  bool MayClose() override {
    called.emplace_back("close?");
    return mayClose;
  }
  void ShowFailure(std::string_view sentence) override {
    called.push_back("failure: " + std::string(sentence));
  }

  std::vector<std::string> called;
  bool ready = true, mayClose = false;
};

HWND ButtonOf(const StartWindow& window, const wchar_t* caption) {
  return FindWindowExW(window.Handle(), nullptr, L"Button", caption);
}

TEST(StartWindowTest, OffersWhatCanBeDone) {
  Commands commands;
  StartWindow window(commands);
  const wchar_t* const needData[] = {L"&Feature selection...", L"&Predictor screening...",
                                     L"Case &weights...", L"&Save data as..."};
  for (const wchar_t* caption : needData) {
    ASSERT_NE(ButtonOf(window, caption), nullptr);
    EXPECT_FALSE(IsWindowEnabled(ButtonOf(window, caption)));
  }
  EXPECT_FALSE(IsWindowEnabled(ButtonOf(window, L"Show &results")));
  window.Show({"a.csv: 3 cases, 2 variables", {"C:\\a.csv", "C:\\b.csv"}, "C:\\r.html"});
  const auto click = [&](const wchar_t* caption) { SendMessageW(ButtonOf(window, caption), BM_CLICK, 0, 0); };
  for (const wchar_t* caption : needData) {
    EXPECT_TRUE(IsWindowEnabled(ButtonOf(window, caption)));
    click(caption);
  }
  click(L"&Open data...");
  click(L"Show &results");
  const HWND list = FindWindowExW(window.Handle(), nullptr, L"ListBox", nullptr);
  SendMessageW(list, LB_SETCURSEL, 1, 0);
  SendMessageW(window.Handle(), WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(list), LBN_DBLCLK),
               reinterpret_cast<LPARAM>(list));
  EXPECT_THAT(commands.called, ElementsAre("feature selection", "failure: The module cannot be loaded.",
                                           "weights", "save", "open", "results", "open C:\\b.csv"));

  // While a dialog is busy only help is available; then the window closes when its owner agrees.
  commands.called.clear();
  commands.ready = false;
  click(L"&Open data...");
  click(L"&Help");
  commands.ready = true;
  click(L"Close");
  EXPECT_TRUE(IsWindow(window.Handle()));
  commands.mayClose = true;
  SendMessageW(window.Handle(), WM_COMMAND, IDCANCEL, 0);
  EXPECT_FALSE(IsWindow(window.Handle()));
  EXPECT_THAT(commands.called, ElementsAre("help", "close?", "close?"));
}

TEST(ResultsPageTest, GrowsInOneFile) {
  RecordingFrontend frontend;
  SessionOptions options;
  options.modulePath = ModulePath();
  Session session(frontend, options);
  Table table;
  table.fileName = "steel.csv";
  table.caseCount = 1234;
  Column column;
  column.name = "yield";
  column.values.Own().resize(1234);
  table.columns.push_back(column);
  session.SetTable(std::move(table));
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "velmora_page_test";
  std::filesystem::remove_all(folder);
  ResultsPage page(session, folder, false);
  EXPECT_FALSE(page.Update());
  EXPECT_EQ(page.File(), "");
  const auto add = [&](const char* title) {
    session.Documents().Add(std::make_shared<TextDocument>(TextDocument{0, title, "text"}));
  };
  const auto text = [&] {
    std::ifstream file(page.File(), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
  };
  add("First output");
  EXPECT_TRUE(page.Update());
  EXPECT_FALSE(page.Update()) << "nothing is new";
  for (const char* part : {"Results: steel.csv", "1,234", "First output", "location.reload()"})
    EXPECT_THAT(text(), HasSubstr(part));
  add("Second output");
  EXPECT_TRUE(page.Update());
  EXPECT_THAT(text(), HasSubstr("Second output"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace velmora
