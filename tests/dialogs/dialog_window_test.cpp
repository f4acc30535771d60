// The dialog runtime with a small module side written here: templates, a client that does what a
// row says, and an owner that records its calls.
#include "workbench/dialogs/dialog_window.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "contract/text.h"
#include "module/resources/control_ids.h"
#include "workbench/data/errors.h"

namespace velmora {
namespace {

using enum vlmfsl::ControlId;

constexpr vlm::ControlTemplate kMainControls[] = {
    {1, vlm::kButton, "OK", 0, 0, 1, 1, vlm::kControlDefault},
    {2, vlm::kButton, "Cancel", 0, 0, 1, 1, 0},
    {kControlByGroup, vlm::kButton, "!443B&y Group", 0, 0, 1, 1, 0},
    {kControlTabs, vlm::kTab, "", 0, 0, 1, 1, 0},
    {kControlSummary, vlm::kButton, "!249Summary", 0, 0, 1, 1, 0},
};
constexpr vlm::ControlTemplate kPageControls[] = {
    {kControlSummary, vlm::kButton, "Summary: &best", 0, 0, 1, 1, 0},
    {kControlModeFixedNumber, vlm::kRadioButton, "&Display", 0, 0, 1, 1, vlm::kControlGroupStart},
    {kControlFixedNumber, vlm::kIntegerEdit, "", 0, 0, 1, 1, 0},
    {kControlModePValue, vlm::kRadioButton, "p <", 0, 0, 1, 1, 0},
    {kControlPCriterion, vlm::kRealEdit, "", 0, 0, 1, 1, 0},
    {kControlCramersV, vlm::kRadioButton, "V", 0, 0, 1, 1, vlm::kControlGroupStart},
    {kControlCasewiseDeletion, vlm::kCheckBox, "Casewise", 0, 0, 1, 1, vlm::kControlGroupStart},
    {kControlContinuousDependents, vlm::kListCaption, "", 0, 0, 1, 1, 0},
    {kControlUseWeightsAsGiven, vlm::kCheckBox, "hidden", 0, 0, 1, 1, vlm::kControlHidden},
    {kControlBinaryPredictor, vlm::kDropDown, "", 0, 0, 1, 1, 0},
};
constexpr vlm::DialogTemplate kTemplates[] = {
    {100, " Main", 200, 100, kMainControls, 5},
    {200, "Quick", 200, 100, kPageControls, 10},
};

struct FakeResources final : vlm::IModuleResources {
  int LoadText(int, vlm::ITextSink*) override { return 1; }
  const vlm::DialogTemplate* FindDialogTemplate(int id) override {
    for (const auto& dialogTemplate : kTemplates) {
      if (dialogTemplate.id == id) return &dialogTemplate;
    }
    return second.id == id ? &second : nullptr;
  }
  vlm::DialogTemplate second{};
  const vlm::AutomationInterface* GetAutomationInterface(int) override { return nullptr; }
};

struct FakeClient final : vlm::IDialogClient {
  void AddReference() override { ++references; }
  void ReleaseReference() override { --references; }
  void OnInitDialog(vlm::IDialogWindow* opened) override {
    window = opened;
    const int pages[] = {200};
    window->AddDlgTabs(kControlTabs, pages, 1);
    window->InitOpeningDialog();
    window->SetIntEditRange(kControlFixedNumber, 2, 20);
    window->SetDlgItemInt(kControlFixedNumber, 10);
    if (onInit) onInit(*window);
  }
  void OnCommand(int controlId) override {
    commands.push_back(controlId);
    if (onCommand) onCommand(*window, controlId);
  }
  void OnClosed(int step) override {
    closedBy = step;
    window = nullptr;
  }
  void OnCasesChanged() override { ++caseChanges; }
  void GetAutomationWindowText(vlm::ITextSink* text) override { text->Assign("Fake dialog", 11); }
  vlm::IAutomationObject* GetAutomationObject() override { return nullptr; }

  int references = 0, caseChanges = 0;
  vlm::IDialogWindow* window = nullptr;
  std::vector<int> commands;
  std::optional<int> closedBy;
  std::function<void(vlm::IDialogWindow&)> onInit;
  std::function<void(vlm::IDialogWindow&, int)> onCommand;
};

struct FakeOwner final : DialogOwner {
  void BeginCall() override { ++depth; }
  void EndCall() override {
    if (--depth == 0 && window != nullptr && window->RequestedStep()) window->Close(*window->RequestedStep());
  }
  bool UnderAutomation() const override { return automation; }
  void RaiseAutomationError(std::string_view sentence) override {
    error.emplace(vlm::kAutomationErrorCode, std::string(sentence));
  }
  std::optional<AutomationError> TakeAutomationError() override { return std::exchange(error, std::nullopt); }
  void KeepCurrentException() noexcept override { ++kept; }
  void Misbehaved(std::string_view sentence) override { misbehaviour.emplace_back(sentence); }
  const Table& Data() const override { return table; }
  std::vector<double> SelectedValues(int) const override { return {1, 2, 3}; }
  std::string DecimalSeparator() const override { return separator; }
  std::string PrintVariables(std::span<const int> numbers) const override {
    return std::to_string(numbers.size()) + " variables";
  }
  std::vector<int> ParseVariables(std::string_view text) const override {
    if (text == "all") return {1, 2, 3};
    if (text == "second") return {2};
    throw DataError("Unknown list.");
  }
  CaseSelectionText CaseSelection() const override { return selection; }
  void SetCaseSelection(const CaseSelectionText& text) override {
    if (text.include == "wrong") throw DataError("The expression is wrong.");
    selection = text;
  }
  int CaseWeight() const override { return 0; }
  void SetCaseWeight(int) override {}
  void OpenDataFile(const std::string& path) override { throw DataError("There is no file " + path + "."); }
  void LockResults(bool lock) override { locks += lock ? 1 : -1; }
  void RestoreResults() override {}
  void FrameworkCommand(int command) override { frameworkCommand = command; }
  void Notice(std::string_view text) override { notices.emplace_back(text); }
  vlm::IAutomationObject* ApplicationObject() override { return nullptr; }
  vlm::IAutomationObject* AnalysisObject() override { return nullptr; }

  DialogWindow* window = nullptr;
  Table table;
  int depth = 0, kept = 0, locks = 0, frameworkCommand = 0;
  bool automation = false;
  std::string separator = ".";
  std::optional<AutomationError> error;
  CaseSelectionText selection;
  std::vector<std::string> misbehaviour, notices;
};

struct AnsweringFrontend final : DialogFrontend {
  void ShowEditError(DialogWindow&, int controlId, std::string_view text) override {
    errors.push_back(std::to_string(controlId) + " " + std::string(text));
  }
  void ShowInstructionError(DialogWindow&, std::string_view text) override { errors.emplace_back(text); }
  void PageSelected(DialogWindow& window) override {
    shown.push_back("page " + std::to_string(window.SelectedPage()));
  }
  void AvailabilityChanged(DialogWindow& window) override {
    shown.emplace_back(window.TakesCommands() ? "free" : "busy");
  }
  bool AskVariableLists(DialogWindow&, std::string_view title,
                        std::vector<VariableListQuestion>& lists) override {
    lastTitle = title;
    if (answers.empty()) return false;
    for (std::size_t index = 0; index < lists.size(); ++index)
      lists[index].variables = answers.front()[index];
    answers.erase(answers.begin());
    return true;
  }
  bool AskCaseSelection(DialogWindow&, CaseSelectionText& selection) override {
    if (selections.empty()) return false;
    selection.include = selections.front();
    selections.erase(selections.begin());
    return true;
  }
  bool AskCodes(DialogWindow&, CodesQuestion&) override { return keepsCodes; }
  std::optional<std::string> AskDataFile(DialogWindow&) override {
    if (dataFiles.empty()) return std::nullopt;
    const std::string file = dataFiles.front();
    dataFiles.erase(dataFiles.begin());
    return file;
  }
  bool AskReplaceFiles(DialogWindow&, const std::vector<std::string>& paths) override {
    replaced += paths.size();
    return false;
  }

  std::string lastTitle;
  std::vector<std::vector<std::vector<int>>> answers;
  std::vector<std::string> selections, dataFiles, errors, shown;
  bool keepsCodes = false;
  std::size_t replaced = 0;
};

struct DialogTest : testing::Test {
  DialogTest() {
    owner.table.columns.resize(4);
    window = std::make_shared<DialogWindow>(owner, frontend, resources, &client, 100);
    owner.window = window.get();
  }
  std::string TextOfControl(int id) const { return window->Find(id)->text; }

  FakeOwner owner;
  AnsweringFrontend frontend;
  FakeResources resources;
  FakeClient client;
  std::shared_ptr<DialogWindow> window;
};

TEST_F(DialogTest, LoadsTheDialogAndItsPages) {
  ASSERT_TRUE(window->Open());
  EXPECT_EQ(window->Controls().size(), 15U);
  ASSERT_EQ(window->Pages().size(), 1U);
  EXPECT_EQ(window->Pages()[0].caption, "Quick");
  EXPECT_EQ(window->Find(kControlPCriterion)->pageIndex, 0);
  EXPECT_EQ(window->Find(kControlTabs)->pageIndex, -1);
  EXPECT_EQ(TextOfControl(kControlFixedNumber), "10");
  EXPECT_EQ(client.references, 1);
  EXPECT_TRUE(owner.misbehaviour.empty());
}

TEST_F(DialogTest, AnUnknownTemplateDoesNotOpen) {
  DialogWindow other(owner, frontend, resources, &client, 101);
  EXPECT_FALSE(other.Open());
  EXPECT_EQ(owner.misbehaviour.size(), 1U);
}

TEST_F(DialogTest, CaptionsReadPlain) {
  const std::pair<const char*, const char*> rows[] = {
      {"!249Summary: Best &k predictors", "Summary: Best k predictors"},
      {"&Variables", "Variables"},
      {"R&&D", "R&D"},
      {"qReport of b&est", "Report of best"},
      {"i&Factor codes:", "Factor codes:"},
      {"!222 Interaction plot", "Interaction plot"},
      {"&Interaction", "Interaction"},
      {"quick", "quick"},
      {"end&", "end"},
      {"!12", ""}};
  for (const auto& [caption, plain] : rows) EXPECT_EQ(PlainCaption(caption), plain);
  EXPECT_EQ(IconMark("!249Summary"), "249");
  EXPECT_EQ(IconMark("qR&ules report"), "q");
  EXPECT_EQ(IconMark("index"), "");
}

// A frontend is notified of every change, and user actions while a command runs have no effect.
TEST_F(DialogTest, OneCommandAtATimeWhateverTheFrontendLetsThrough) {
  const vlm::ControlTemplate edit[] = {{kControlPredictorCuts, vlm::kIntegerEdit, "", 0, 0, 1, 1, 0}};
  resources.second = {201, "Advanced", 200, 100, edit, 1};
  client.onInit = [](vlm::IDialogWindow& opened) {
    const int pages[] = {201};
    opened.AddDlgTabs(kControlTabs, pages, 1);
  };
  ASSERT_TRUE(window->Open());
  EXPECT_EQ(window->SelectedPage(), 0);
  client.onCommand = [&](vlm::IDialogWindow& opened, int) {
    EXPECT_FALSE(window->TakesCommands());
    EXPECT_FALSE(window->Press(kControlCasewiseDeletion));
    EXPECT_FALSE(window->Find(kControlCasewiseDeletion)->checked) << "its check stays as it is too";
    EXPECT_FALSE(window->TypeText(kControlFixedNumber, "7"));
    EXPECT_FALSE(window->SelectPage(1));
    AutomationResult result;
    owner.automation = true;
    EXPECT_EQ(opened.InvokeInherited(3, vlm::kInvokeMethod, nullptr, 0, &result), vlm::kDispatchException);
    EXPECT_EQ(result.description, "The dialog is busy.");
    opened.ShowEditError(kControlPredictorCuts, "Wrong", 5);
  };
  EXPECT_TRUE(window->Press(kControlSummary));
  EXPECT_EQ(client.commands, std::vector<int>{kControlSummary});
  EXPECT_EQ(window->SelectedPage(), 1) << "where the error stands";
  EXPECT_TRUE(window->SelectPage(0));
  EXPECT_FALSE(window->SelectPage(2));
  window->SetLocked(true);
  EXPECT_EQ(frontend.shown, (std::vector<std::string>{"busy", "page 1", "free", "page 0", "busy"}));
}

TEST_F(DialogTest, OnlyUsableControlsTakeCommands) {
  ASSERT_TRUE(window->Open());
  EXPECT_TRUE(window->Press(kControlSummary));
  EXPECT_FALSE(window->Press(kControlUseWeightsAsGiven)) << "hidden";
  EXPECT_FALSE(window->Press(4711)) << "not there";
  window->EnableWindow(kControlModePValue, 0);
  EXPECT_FALSE(window->Press(kControlModePValue)) << "disabled";
  EXPECT_FALSE(window->Press(kByGroupButton)) << "this host has no by-group runs";
  EXPECT_EQ(client.commands, std::vector<int>{kControlSummary});
  window->SetLocked(true);
  EXPECT_FALSE(window->Press(kControlSummary)) << "locked";
}

TEST_F(DialogTest, BoxesAndRadioButtonsChangeAsInWindows) {
  ASSERT_TRUE(window->Open());
  window->CheckDlgButton(kControlModeFixedNumber, 1);
  window->CheckDlgButton(kControlCramersV, 1);
  window->Press(kControlModePValue);
  EXPECT_FALSE(window->Find(kControlModeFixedNumber)->checked);
  EXPECT_TRUE(window->Find(kControlModePValue)->checked);
  EXPECT_TRUE(window->Find(kControlCramersV)->checked) << "of another group";
  window->Press(kControlCasewiseDeletion);
  EXPECT_TRUE(window->Find(kControlCasewiseDeletion)->checked);
  window->Press(kControlCasewiseDeletion);
  EXPECT_FALSE(window->Find(kControlCasewiseDeletion)->checked);
}

TEST_F(DialogTest, ReadsWholeNumbers) {
  ASSERT_TRUE(window->Open());
  struct Row {
    const char* text;
    std::optional<int> value;
    bool inRange;
  };
  const Row rows[] = {{"12", 12, true},
                      {" 7 ", 7, true},
                      {"+5", 5, true},
                      {"1", 1, false},
                      {"21", 21, false},
                      {"-3", -3, false},
                      {"", std::nullopt, false},
                      {"1e1", std::nullopt, false},
                      {"12.0", std::nullopt, false},
                      {"+-5", std::nullopt, false},
                      {"99999999999", std::nullopt, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    ASSERT_TRUE(window->TypeText(kControlFixedNumber, row.text));
    int value = 0;
    EXPECT_EQ(window->GetDlgItemLong(kControlFixedNumber, &value) == 0, row.value.has_value());
    if (row.value) {
      EXPECT_EQ(value, *row.value);
    }
    EXPECT_EQ(window->Find(kControlFixedNumber)->error,
              row.inRange ? "" : "Enter a whole number from 2 to 20.");
  }
}

TEST_F(DialogTest, RealNumbersFollowTheUsersSeparatorAndKeepTheirBits) {
  owner.separator = ",";
  ASSERT_TRUE(window->Open());
  for (const double value : {0.01, 1.0 / 3, 1e-5, 0.99999}) {
    window->SetDlgItemReal(kControlPCriterion, value);
    double read = 0;
    EXPECT_EQ(window->GetDlgItemReal(kControlPCriterion, &read), 0);
    EXPECT_EQ(read, value);
  }
  const std::pair<const char*, int> rows[] = {{"0,05", 0}, {"0.05", 0}, {"0,0,5", 1},
                                              {"inf", 1},  {"nan", 1},  {"0,", 0}};
  for (const auto& [text, failure] : rows) {
    double read = 0;
    window->TypeText(kControlPCriterion, text);
    EXPECT_EQ(window->GetDlgItemReal(kControlPCriterion, &read), failure) << text;
  }
}

TEST_F(DialogTest, AnErrorStandsOnItsEditUntilTheUserTypes) {
  ASSERT_TRUE(window->Open());
  window->ShowEditError(kControlFixedNumber, "Invalid", 7);
  EXPECT_EQ(window->Find(kControlFixedNumber)->error, "Invalid");
  EXPECT_EQ(frontend.errors, std::vector<std::string>{std::to_string(kControlFixedNumber) + " Invalid"});
  window->TypeText(kControlFixedNumber, "3");
  EXPECT_EQ(window->Find(kControlFixedNumber)->error, "");
}

TEST_F(DialogTest, LeavesWhenTheCommandHasReturned) {
  bool openDuringCommand = false;
  client.onCommand = [&](vlm::IDialogWindow& leaving, int) {
    leaving.ExitDialog(102);
    leaving.ExitDialog(0);
    openDuringCommand = client.window != nullptr;
  };
  ASSERT_TRUE(window->Open());
  EXPECT_TRUE(window->Press(1));
  EXPECT_TRUE(openDuringCommand);
  EXPECT_EQ(client.closedBy, 102) << "the first exit stands";
  EXPECT_EQ(owner.misbehaviour.size(), 1U);
  EXPECT_EQ(client.references, 0);
  EXPECT_FALSE(window->Press(1)) << "closed";
}

TEST_F(DialogTest, MayBeLeftWhileItOpens) {
  client.onInit = [](vlm::IDialogWindow& opening) { opening.ExitDialog(0); };
  EXPECT_TRUE(window->Open());
  EXPECT_EQ(client.closedBy, 0);
}

TEST_F(DialogTest, UnknownControlsAreNamedAndIgnored) {
  ASSERT_TRUE(window->Open());
  window->CheckDlgButton(4711, 1);
  int value = 5;
  EXPECT_NE(window->GetDlgItemLong(4711, &value), 0);
  EXPECT_EQ(value, 5);
  ASSERT_EQ(owner.misbehaviour.size(), 1U);
  EXPECT_EQ(owner.misbehaviour[0], "The module used control 4711, which is not in dialog template 100.");
}

TEST_F(DialogTest, LocksAreBalancedWhenTheModuleForgets) {
  ASSERT_TRUE(window->Open());
  window->UnlockResults();
  window->LockResults();
  window->LockResults();
  window->UnlockResults();
  EXPECT_EQ(owner.locks, 1);
  window->Close(0);
  EXPECT_EQ(owner.locks, 0);
  EXPECT_EQ(owner.misbehaviour.size(), 2U);
}

TEST_F(DialogTest, VariableListsAreCheckedBeforeTheModuleSeesThem) {
  ASSERT_TRUE(window->Open());
  int first[3] = {1}, second[1] = {2};
  int firstCount = 1, secondCount = 1;
  const vlm::VariableListRequest lists[] = {{"&First:", 7, 2, 3, first, &firstCount, 3, 0},
                                            {"Second:", 7, 0, 5, second, &secondCount, 1, 0}};
  owner.table.columns[3].name = "age";
  frontend.answers = {{{1, 2, 3, 4}, {}}, {{1, 9}, {}},  {{4, 4}, {}},
                      {{1}, {2, 3}},      {{1, 4}, {4}}, {{4, 1}, {2}}};
  EXPECT_EQ(window->VariableListsDialog("Title", 5, lists, 2), 1);
  EXPECT_EQ(frontend.errors, (std::vector<std::string>{
                                 "The list \"First:\" takes at most 3 variables; 4 were given.",
                                 "The list \"First:\" names variable 9; the data have 4.",
                                 "The list \"First:\" names age twice.",
                                 "The list \"Second:\" takes at most 1 variables; 2 were given.",
                                 "The variable age is in two lists, \"First:\" and \"Second:\"; it can be in "
                                 "one."}));
  EXPECT_EQ(firstCount, 2);
  EXPECT_EQ(first[0], 4);
  EXPECT_EQ(secondCount, 1);
  // Cancel leaves the lists alone.
  EXPECT_EQ(window->VariableListsDialog("Title", 5, lists, 2), 0);
  EXPECT_EQ(firstCount, 2);
}

// A user who makes a mistake again keeps the typed text; a script's answer is used once.
TEST_F(DialogTest, QuestionsAreAskedUntilTheAnswerIsRight) {
  ASSERT_TRUE(window->Open());
  frontend.selections = {"wrong", "wrong", "v1 > 3"};
  EXPECT_EQ(window->DefineSelCond(), 1);
  EXPECT_EQ(owner.selection.include, "v1 > 3");
  frontend.dataFiles = {"gone.csv", "gone.csv"};
  EXPECT_EQ(window->OpenQvdFile(), 0);
  EXPECT_EQ(frontend.errors,
            (std::vector<std::string>{"The expression is wrong.", "The expression is wrong.",
                                      "There is no file gone.csv.", "There is no file gone.csv."}));
  EXPECT_EQ(window->DataLine().find("gone"), std::string::npos);
}

struct ChosenCodes final : vlm::ICodesSink {
  explicit ChosenCodes(int count) : lists(static_cast<std::size_t>(count)) {}
  virtual ~ChosenCodes() = default;
  void Clear() override { lists.assign(lists.size(), {}); }
  void AppendCode(int index, double code) override {
    lists[static_cast<std::size_t>(index)].codes.push_back(code);
  }
  void ChooseAll(int index) override { lists[static_cast<std::size_t>(index)].all = true; }
  std::vector<CodeChoice> lists;
};

TEST_F(DialogTest, CodesAreShownAsChosenAndComeBackTheSame) {
  ASSERT_TRUE(window->Open());
  const double present[] = {3, 1};
  const vlm::CodesRequest requests[] = {{1, present, 2, 0}, {2, present, 1, 1}};
  frontend.keepsCodes = true;
  ChosenCodes chosen(2);
  EXPECT_EQ(window->CodesListDialog("Codes", 5, requests, 2, 8, -10, 10, &chosen), 1);
  EXPECT_EQ(chosen.lists, (std::vector<CodeChoice>{{{3, 1}, false}, {{3}, true}}));
  frontend.keepsCodes = false;
  EXPECT_EQ(window->CodesListDialog("Codes", 5, requests, 2, 8, -10, 10, &chosen), 0);
}

// The answers of a script have the notation of the properties.
TEST_F(DialogTest, ScriptsAnswerInTheNotationOfTheProperties) {
  ASSERT_TRUE(window->Open());
  owner.automation = true;
  owner.table.columns[1].labels = {{7, "far west"}};
  const vlm::CodesRequest requests[] = {{1, nullptr, 0, 0}, {2, nullptr, 0, 0}};
  struct Row {
    Variant given;
    std::vector<CodeChoice> expected;
  };
  const Row rows[] = {{"*", {{{1, 2, 3}, true}, {{1, 2, 3}, true}}},
                      {"2-4 | far west", {{{2, 3, 4}, false}, {{7}, false}}},
                      {" | \"far west\" 9", {{}, {{7, 9}, false}}},
                      {Variant::Array{std::vector<int>{1, 2}, Variant::Array{1, 2.0, "3"}},
                       {{{1, 2}, false}, {{1, 2, 3}, false}}}};
  for (const Row& row : rows) {
    std::vector<std::vector<vlm::AutomationValue>> storage;
    const vlm::AutomationValue value = row.given.View(storage);
    AutomationResult result;
    ASSERT_EQ(window->InvokeInherited(9, vlm::kInvokePut, &value, 1, &result), vlm::kDispatchOk);
    ChosenCodes chosen(2);
    ASSERT_EQ(window->CodesListDialog("Codes", 5, requests, 2, 8, -10, 10, &chosen), 1);
    EXPECT_EQ(chosen.lists, row.expected);
  }
  int first[3] = {1}, second[3] = {2};
  int firstCount = 1, secondCount = 1;
  const vlm::VariableListRequest lists[] = {{"&First:", 7, 2, 3, first, &firstCount, 3, 0},
                                            {"Second:", 7, 0, 3, second, &secondCount, 3, 0}};
  const Variant names = Variant::Array{Variant::Array{"second", 1}, std::vector<int>{}};
  std::vector<std::vector<vlm::AutomationValue>> storage;
  const vlm::AutomationValue value = names.View(storage);
  AutomationResult result;
  ASSERT_EQ(window->InvokeInherited(7, vlm::kInvokePut, &value, 1, &result), vlm::kDispatchOk);
  EXPECT_EQ(window->VariableListsDialog("Title", 5, lists, 2), 1);
  EXPECT_EQ(firstCount, 2);
  EXPECT_EQ(first[0], 2);
  EXPECT_EQ(secondCount, 0);
}

TEST_F(DialogTest, FilesThatExistAreReplacedOnlyWhenThePersonAgrees) {
  ASSERT_TRUE(window->Open());
  const std::string self = std::filesystem::path(__FILE__).string();
  const char* const absent[] = {"no such file"};
  const char* const paths[] = {"no such file", self.c_str()};
  EXPECT_EQ(window->ConfirmReplacing(absent, 1), 1);
  EXPECT_EQ(window->ConfirmReplacing(paths, 2), std::filesystem::exists(self) ? 0 : 1);
  EXPECT_EQ(frontend.replaced, std::filesystem::exists(self) ? 1U : 0U);
  owner.automation = true;
  EXPECT_EQ(window->ConfirmReplacing(paths, 2), 1) << "a script means its files";
}

TEST_F(DialogTest, ShowsAnotherSelection) {
  ASSERT_TRUE(window->Open());
  owner.selection.include = "v1 > 3";
  window->CasesChanged();
  EXPECT_NE(window->DataLine().find("cases where v1 > 3"), std::string::npos);
  EXPECT_EQ(client.caseChanges, 1);
}

TEST_F(DialogTest, ScriptsPressOkAndSeeWhetherItRan) {
  ASSERT_TRUE(window->Open());
  AutomationResult result;
  EXPECT_EQ(window->InvokeInherited(3, vlm::kInvokeMethod, nullptr, 0, &result), vlm::kDispatchOk);
  EXPECT_EQ(result.value.AsInt(), 0) << "stayed";
  client.onCommand = [&](vlm::IDialogWindow&, int) {
    owner.error.emplace(65535, "Variable selection not valid.");
  };
  EXPECT_EQ(window->InvokeInherited(3, vlm::kInvokeMethod, nullptr, 0, &result), vlm::kDispatchException);
  EXPECT_EQ(result.errorCode, 65535);
  EXPECT_EQ(result.description, "Variable selection not valid.");
  client.onCommand = [](vlm::IDialogWindow& leaving, int id) { leaving.ExitDialog(id == 1 ? 102 : 0); };
  EXPECT_EQ(window->InvokeInherited(3, vlm::kInvokeMethod, nullptr, 0, &result), vlm::kDispatchOk);
  EXPECT_EQ(result.value.AsInt(), 1);
  EXPECT_EQ(client.closedBy, 102);
  EXPECT_EQ(window->InvokeInherited(0, vlm::kInvokeGet, nullptr, 0, &result), vlm::kDispatchFailed);
}

TEST_F(DialogTest, InheritedMembersAreCheckedByKindAndCount) {
  ASSERT_TRUE(window->Open());
  AutomationResult result;
  const vlm::AutomationValue name = [] {
    vlm::AutomationValue value{};
    value.type = vlm::kAutomationText;
    value.text = "out.txt";
    value.length = 7;
    return value;
  }();
  struct Row {
    int id, kind, count, status;
  };
  const Row rows[] = {{0, vlm::kInvokeGet, 0, vlm::kDispatchOk},
                      {0, vlm::kInvokePut, 1, vlm::kDispatchMemberNotFound},
                      {4, vlm::kInvokeGet, 0, vlm::kDispatchMemberNotFound},
                      {10, vlm::kInvokePut, 1, vlm::kDispatchOk},
                      {10, vlm::kInvokePut, 0, vlm::kDispatchBadParameterCount},
                      {10, vlm::kInvokeGet, 0, vlm::kDispatchMemberNotFound},
                      {13, vlm::kInvokePut, 1, vlm::kDispatchMemberNotFound},
                      {-1, vlm::kInvokeGet, 0, vlm::kDispatchMemberNotFound}};
  for (const Row& row : rows) {
    EXPECT_EQ(window->InvokeInherited(row.id, row.kind, &name, row.count, &result), row.status)
        << row.id << " by kind " << row.kind;
  }
  // The value that the script put answers the dialog that a command opens, but only for the script.
  vlm::StringSink path;
  EXPECT_EQ(window->SaveFileDialog("Save", 4, ".txt", 4, &path), 0);
  owner.automation = true;
  EXPECT_EQ(window->SaveFileDialog("Save", 4, ".txt", 4, &path), 1);
  EXPECT_EQ(path.Text(), "out.txt");
}

}  // namespace
}  // namespace velmora
