// The module's dialogs as windows of the system: every control against the templates, user actions
// in the windows against the headless frontend, and a whole run by mouse and keyboard.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
// Needs windows.h before it.
#include <commctrl.h>

#include <algorithm>
#include <functional>

#include "contract/com/values.h"
#include "module/resources/control_ids.h"
#include "module/resources/dialog_templates.h"
#include "tests/support/paths.h"
#include "workbench/data/errors.h"
#include "workbench/dialogs/edit_text.h"
#include "workbench/session/session.h"
#include "workbench/windows/native_frontend.h"
#include "workbench/windows/questions.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using vlmcom::Utf16;
using vlmcom::Utf8;

Table ProcessTable() {
  Table table;
  table.fileName = "process.csv";
  table.caseCount = 24;
  const auto add = [&](const char* name, Measurement measurement, const std::function<double(int)>& value) {
    Column column;
    column.name = name;
    column.measurement = measurement;
    for (int i = 0; i < 24; ++i) column.values.Own().push_back(value(i));
    table.columns.push_back(std::move(column));
  };
  add("yield", Measurement::kContinuous, [](int i) { return i; });
  add("grade", Measurement::kCategorical, [](int i) { return i / 12; });
  add("temperature", Measurement::kContinuous, [](int i) { return 20 + i + i % 3; });
  add("pressure", Measurement::kContinuous, [](int i) { return i * 7 % 11; });
  add("machine", Measurement::kCategorical, [](int i) { return i % 3; });
  return table;
}

// A native frontend that keeps the sentences it would show and the dialogs that are open.
class TestFrontend : public NativeFrontend {
 public:
  void Notice(std::string_view text) override { sentences.emplace_back(text); }
  void Message(std::string_view text) override { sentences.emplace_back(text); }
  void DialogOpened(DialogWindow& window) override {
    NativeFrontend::DialogOpened(window);
    open.push_back(&window);
  }
  void DialogClosed(DialogWindow& window) override {
    NativeFrontend::DialogClosed(window);
    std::erase(open, &window);
  }
  void ShowHelp() override { ++helps; }
  std::vector<std::string> sentences;
  std::vector<DialogWindow*> open;
  int helps = 0;
};

// The same without windows.
class HeadlessFrontend : public RecordingFrontend {
 public:
  void DialogOpened(DialogWindow& window) override { open.push_back(&window); }
  void DialogClosed(DialogWindow& window) override { std::erase(open, &window); }
  std::vector<DialogWindow*> open;
};

SessionOptions Options() {
  SessionOptions options;
  options.modulePath = ModulePath();
  return options;
}

// Called once a modal window is open, from its own message loop.
std::function<void(HWND)> whenModal;
void CALLBACK LookForModal(HWND, UINT, UINT_PTR timer, DWORD) {
  const HWND active = GetActiveWindow();
  if (!whenModal || active == nullptr || GetWindow(active, GW_OWNER) == nullptr) return;
  KillTimer(nullptr, timer);
  std::exchange(whenModal, nullptr)(active);
}
void WhenModal(std::function<void(HWND)> act) {
  whenModal = std::move(act);
  SetTimer(nullptr, 0, 50, LookForModal);
}

std::wstring TextOf(HWND window) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)), L'\0');
  if (!text.empty()) GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1);
  return text;
}

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = {};
  GetClassNameW(window, name, 64);
  return name;
}

int VisibleBalloons() {
  int count = 0;
  EnumThreadWindows(
      GetCurrentThreadId(),
      [](HWND window, LPARAM found) -> BOOL {
        if (ClassOf(window) == TOOLTIPS_CLASSW && IsWindowVisible(window)) ++*reinterpret_cast<int*>(found);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&count));
  return count;
}

const wchar_t* ExpectedClass(int controlClass) {
  switch (controlClass) {
    case vlm::kLabel:
    case vlm::kListCaption:
      return L"Static";
    case vlm::kIntegerEdit:
    case vlm::kRealEdit:
      return L"Edit";
    case vlm::kValueEdit:
    case vlm::kDropDown:
      return L"ComboBox";
    case vlm::kTab:
      return WC_TABCONTROLW;
    default:
      return L"Button";
  }
}

const vlm::DialogTemplate& TemplateOf(int id) {
  const auto all = vlmfsl::DialogTemplates();
  const auto found = std::ranges::find(all, id, &vlm::DialogTemplate::id);
  if (found == all.end()) throw std::runtime_error("no template " + std::to_string(id));
  return *found;
}

// The windows of one template: the template's controls, in its order, nothing between them.
void ExpectControlsOf(const vlm::DialogTemplate& expected, HWND container, const DialogWindow& dialog,
                      int pageIndex) {
  HWND child = GetWindow(container, GW_CHILD);
  for (int index = 0; index < expected.controlCount; ++index, child = GetWindow(child, GW_HWNDNEXT)) {
    // The pages follow the tab control that they belong to.
    while (child != nullptr && ClassOf(child) == L"#32770") child = GetWindow(child, GW_HWNDNEXT);
    const vlm::ControlTemplate& control = expected.controls[index];
    SCOPED_TRACE(std::string(expected.caption) + ", control " + std::to_string(control.id));
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(GetDlgCtrlID(child), control.id);
    EXPECT_EQ(lstrcmpiW(ClassOf(child).c_str(), ExpectedClass(control.controlClass)), 0)
        << Utf8(ClassOf(child));
    RECT place = {control.x, control.y, control.x + control.width, control.y + control.height};
    MapDialogRect(container, &place);
    RECT found;
    GetWindowRect(child, &found);
    MapWindowPoints(nullptr, container, reinterpret_cast<POINT*>(&found), 2);
    EXPECT_NEAR(found.left, place.left, 1);
    EXPECT_NEAR(found.top, place.top, 1);
    EXPECT_NEAR(found.right, place.right, 1);
    if (control.controlClass != vlm::kDropDown && control.controlClass != vlm::kValueEdit) {
      EXPECT_NEAR(found.bottom, place.bottom, 1);
    }
    const auto& states = dialog.Controls();
    const auto state = std::ranges::find_if(
        states, [&](const Control& row) { return row.id == control.id && row.pageIndex == pageIndex; });
    ASSERT_NE(state, states.end());
    EXPECT_EQ(IsWindowEnabled(child) != FALSE, state->enabled);
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(child, GWL_STYLE));
    EXPECT_EQ((style & WS_VISIBLE) == 0, (control.flags & vlm::kControlHidden) != 0 || !state->shown);
    EXPECT_EQ((style & WS_GROUP) != 0, state->groupStart);
    const bool stops =
        control.controlClass != vlm::kGroupBox && (control.flags & vlm::kControlNoTabStop) == 0;
    // A radio button gives its stop to the checked one of its group.
    if (control.controlClass != vlm::kRadioButton) {
      EXPECT_EQ((style & WS_TABSTOP) != 0, stops);
    }
    if (control.controlClass == vlm::kButton || control.controlClass == vlm::kGroupBox) {
      EXPECT_EQ(Utf8(TextOf(child)), CaptionWithoutIcon(control.caption));
      EXPECT_EQ(PlainCaption(control.caption).find('!'), std::string::npos);
    }
  }
}

struct NativeDialogs : ::testing::Test {
  NativeDialogs() : session(frontend, Options()) { session.SetTable(ProcessTable()); }

  DialogWindow& Dialog() { return *frontend.open.at(0); }
  NativeDialog& Window() { return *frontend.WindowOf(Dialog()); }
  // The child window that has the controls of a page, in their order.
  HWND Page(int page) {
    std::vector<int> wanted;
    for (const velmora::Control& control : Dialog().Controls())
      if (control.pageIndex == page) wanted.push_back(control.id);
    for (HWND child = GetWindow(Window().Handle(), GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
      if (ClassOf(child) != L"#32770") continue;
      std::vector<int> found;
      for (HWND control = GetWindow(child, GW_CHILD); control != nullptr;
           control = GetWindow(control, GW_HWNDNEXT))
        found.push_back(GetDlgCtrlID(control));
      if (found == wanted) return child;
    }
    throw std::runtime_error("no window of page " + std::to_string(page));
  }
  // Of two controls with one id the one on a page.
  HWND Control(int id) {
    int page = -1;
    for (const velmora::Control& control : Dialog().Controls())
      if (control.id == id) page = std::max(page, control.pageIndex);
    return GetDlgItem(page < 0 ? Window().Handle() : Page(page), id);
  }
  void Click(int id) { SendMessageW(Control(id), BM_CLICK, 0, 0); }
  void Type(int id, const wchar_t* text) {
    SendMessageW(Control(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
  }
  void ExpectTemplates(int dialogId, std::initializer_list<int> pageIds) {
    ASSERT_EQ(Dialog().TemplateId(), dialogId);
    ExpectControlsOf(TemplateOf(dialogId), Window().Handle(), Dialog(), -1);
    EXPECT_EQ(Utf8(TextOf(Window().Handle())), TemplateOf(dialogId).caption);
    int page = 0;
    for (const int id : pageIds) {
      wchar_t caption[64] = {};
      TCITEMW item{};
      item.mask = TCIF_TEXT;
      item.pszText = caption;
      item.cchTextMax = 64;
      SendMessageW(Control(vlmfsl::kControlTabs), TCM_GETITEMW, static_cast<WPARAM>(page),
                   reinterpret_cast<LPARAM>(&item));
      EXPECT_EQ(Utf8(caption), TemplateOf(id).caption);
      ExpectControlsOf(TemplateOf(id), Page(page), Dialog(), page);
      EXPECT_EQ(IsWindowVisible(Page(page)) != FALSE, page == Dialog().SelectedPage());
      ++page;
    }
    EXPECT_EQ(SendMessageW(Control(vlmfsl::kControlTabs), TCM_GETITEMCOUNT, 0, 0), page);
  }

  TestFrontend frontend;
  Session session;
};

TEST_F(NativeDialogs, EveryControlStandsWhereTheTemplatesPutIt) {
  const AutomationClient startup = session.StartFeatureSelection();
  ExpectTemplates(vlmfsl::kStartupTemplate, {vlmfsl::kStartupQuickPage, vlmfsl::kStartupAdvancedPage});
  EXPECT_FALSE(IsWindowEnabled(Control(vlmfsl::kControlDependentCuts)));
  startup.Put("Variables", "1 | 2 | 3 4 | 5");
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
  ExpectTemplates(vlmfsl::kResultsTemplate, {vlmfsl::kResultsQuickPage});
  session.EndAnalysis();

  const AutomationClient screening = session.StartScreening();
  ExpectTemplates(vlmfsl::kScreeningStartupTemplate,
                  {vlmfsl::kScreeningStartupQuickPage, vlmfsl::kScreeningStartupAdvancedPage});
  screening.Put("Variables", "1 |  |  | 5 | 3 4");
  screening.Put("FactorCodes", "0 1 2");
  EXPECT_EQ(screening.Call("OK").AsInt(), 1);
  ExpectTemplates(vlmfsl::kScreeningResultsTemplate,
                  {vlmfsl::kScreeningBinaryPage, vlmfsl::kScreeningContinuousPage,
                   vlmfsl::kScreeningCategoricalPage, vlmfsl::kScreeningSavePage});
  session.EndAnalysis();
  EXPECT_TRUE(frontend.open.empty());
}

std::string StateOf(const DialogWindow& dialog) {
  std::string state = "page " + std::to_string(dialog.SelectedPage()) + "\n";
  for (const Control& control : dialog.Controls()) {
    state += std::to_string(control.id) + (control.enabled ? " enabled" : " disabled") +
             (control.shown ? " shown" : " hidden") + (control.checked ? " checked " : " ") + control.text +
             " " + control.error + "\n";
  }
  return state;
}

// Each step once through the windows and once through the runtime itself.
TEST_F(NativeDialogs, AreTheHeadlessDialogsToTheLastState) {
  HeadlessFrontend headless;
  Session other(headless, Options());
  other.SetTable(ProcessTable());
  session.StartFeatureSelection();
  other.StartFeatureSelection();
  const auto expectSame = [&](const char* after) {
    EXPECT_EQ(StateOf(Dialog()), StateOf(*headless.open.at(0))) << after;
  };
  expectSame("opening");
  struct Step {
    int control;
    const char* text;  // null: a click
  };
  const Step steps[] = {{vlmfsl::kControlCutDependents, nullptr}, {vlmfsl::kControlDependentCuts, "5"},
                        {vlmfsl::kControlPredictorCuts, "1x"},    {vlmfsl::kControlCasewiseDeletion, nullptr},
                        {vlmfsl::kControlCutDependents, nullptr}, {vlmfsl::kControlCasewiseDeletion, nullptr},
                        {vlmfsl::kControlPredictorCuts, "12"}};
  for (const Step& step : steps) {
    if (step.text == nullptr) {
      Click(step.control);
      headless.open.at(0)->Press(step.control);
    } else {
      Type(step.control, Utf16(step.text).c_str());
      headless.open.at(0)->TypeText(step.control, step.text);
    }
    expectSame(std::to_string(step.control).c_str());
  }
  // The other page, by the tab control as a click on it does.
  SendMessageW(Control(vlmfsl::kControlTabs), TCM_SETCURFOCUS, 1, 0);
  headless.open.at(0)->SelectPage(1);
  expectSame("the page");
  EXPECT_TRUE(IsWindowVisible(Page(1)));
  EXPECT_FALSE(IsWindowVisible(Page(0)));
  Click(vlmfsl::kControlChiSquare);
  headless.open.at(0)->Press(vlmfsl::kControlChiSquare);
  expectSame("Chi-square");
  EXPECT_EQ(SendMessageW(Control(vlmfsl::kControlCramersV), BM_GETCHECK, 0, 0), BST_UNCHECKED);
  session.EndAnalysis();
}

// Chosen in the variable dialog, run, a wrong number, an output, and back, in one loop of messages.
TEST_F(NativeDialogs, APersonRunsAnAnalysis) {
  session.StartFeatureSelection();
  WhenModal([&](HWND modal) {
    EXPECT_EQ(Utf8(TextOf(modal)), "Select dependent variables and predictors");
    const char* lists[] = {"1", "2", "3-4", "machine"};
    for (int index = 0; index < 4; ++index) SetDlgItemTextW(modal, 300 + index, Utf16(lists[index]).c_str());
    // The lists follow what is typed; only variables of their kind are offered.
    EXPECT_EQ(SendDlgItemMessageW(modal, 202, LB_GETSELCOUNT, 0, 0), 2);
    EXPECT_EQ(SendDlgItemMessageW(modal, 203, LB_GETCOUNT, 0, 0), 2);
    // What was typed and is not offered stays when another is chosen from the list.
    SetDlgItemTextW(modal, 302, L"2 3");
    SendDlgItemMessageW(modal, 202, LB_SETSEL, TRUE, 2);
    SendMessageW(modal, WM_COMMAND, MAKEWPARAM(202, LBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(GetDlgItem(modal, 202)));
    EXPECT_EQ(Utf8(TextOf(GetDlgItem(modal, 302))), "2-4");
    SetDlgItemTextW(modal, 302, L"3-4");
    SendDlgItemMessageW(modal, IDOK, BM_CLICK, 0, 0);
  });
  // By its accelerator, through the loop.
  const HWND focus = GetFocus();
  ASSERT_NE(focus, nullptr) << "the keyboard has no place";
  PostMessageW(focus, WM_SYSCHAR, L'v', 1 << 29);
  int step = 0;
  static std::function<void()> next;
  next = [&] {
    if (whenModal || GetWindow(GetActiveWindow(), GW_OWNER) != nullptr) return;
    switch (step++) {
      case 0:
        EXPECT_EQ(Utf8(TextOf(Control(vlmfsl::kControlContinuousPredictors))), "3 4");
        EXPECT_EQ(Utf8(TextOf(Control(vlmfsl::kControlCategoricalPredictors))), "5");
        Click(vlmfsl::kControlOk);
        break;
      case 1:
        ASSERT_EQ(Dialog().TemplateId(), vlmfsl::kResultsTemplate);
        Type(vlmfsl::kControlFixedNumber, L"0");
        Click(vlmfsl::kControlSummary);
        EXPECT_EQ(Dialog().Find(vlmfsl::kControlFixedNumber)->error, "Invalid integer entered in edit field");
        EXPECT_EQ(GetFocus(), Control(vlmfsl::kControlFixedNumber)) << "the wrong edit";
        EXPECT_EQ(VisibleBalloons(), 1) << "the error at the edit";
        EXPECT_EQ(session.Documents().Documents().size(), 2u) << "the output is made nevertheless";
        Type(vlmfsl::kControlFixedNumber, L"5");
        EXPECT_EQ(VisibleBalloons(), 0) << "the edit has another text";
        Click(vlmfsl::kControlModePValue);
        EXPECT_TRUE(IsWindowEnabled(Control(vlmfsl::kControlPCriterion)));
        EXPECT_FALSE(IsWindowEnabled(Control(vlmfsl::kControlFixedNumber)));
        break;
      case 2:  // back to the startup dialog by the escape key, and out by the window's frame
        PostMessageW(Window().Handle(), WM_KEYDOWN, VK_ESCAPE, 0);
        break;
      case 3:
        EXPECT_EQ(Dialog().TemplateId(), vlmfsl::kStartupTemplate);
        PostMessageW(Window().Handle(), WM_CLOSE, 0, 0);
        break;
      default:
        break;
    }
  };
  const UINT_PTR timer = SetTimer(nullptr, 0, 100, [](HWND, UINT, UINT_PTR, DWORD) { next(); });
  frontend.Run();
  KillTimer(nullptr, timer);
  EXPECT_EQ(step, 4);
  session.ThrowKept();
}

// A user who leaves the results finds the choices again, in both analyses.
TEST_F(NativeDialogs, LeavingTheResultsLeadsBackToTheChoices) {
  struct Row {
    const char* name;
    AutomationClient (Session::*start)();
    const char* variables;
    const char* factorCodes;
    int startupTemplate, resultsTemplate;
  };
  const Row rows[] = {
      {"feature selection", &Session::StartFeatureSelection, "1 | 2 | 3-4 | 5", nullptr,
       vlmfsl::kStartupTemplate, vlmfsl::kResultsTemplate},
      {"screening", &Session::StartScreening, "1 |  |  | 5 | 3-4", "0 1 2", vlmfsl::kScreeningStartupTemplate,
       vlmfsl::kScreeningResultsTemplate},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const AutomationClient startup = (session.*row.start)();
    startup.Put("Variables", row.variables);
    if (row.factorCodes != nullptr) startup.Put("FactorCodes", row.factorCodes);
    const std::string chosen = startup.Get("Variables").AsText();
    ASSERT_EQ(startup.Call("OK").AsInt(), 1);
    ASSERT_EQ(Dialog().TemplateId(), row.resultsTemplate);
    SendMessageW(Window().Handle(), WM_CLOSE, 0, 0);
    ASSERT_EQ(frontend.open.size(), 1u);
    EXPECT_EQ(Dialog().TemplateId(), row.startupTemplate);
    EXPECT_EQ(session.StartupDialog().Get("Variables").AsText(), chosen);
    // And from there out.
    SendMessageW(Window().Handle(), WM_CLOSE, 0, 0);
    EXPECT_TRUE(frontend.open.empty());
  }
}

TEST_F(NativeDialogs, DisabledFieldsAndTheirLabelsLookDisabledAndTheHelpKeyHelps) {
  session.StartFeatureSelection();
  const HWND edit = Control(vlmfsl::kControlDependentCuts);
  ASSERT_FALSE(IsWindowEnabled(edit));
  const HDC device = GetDC(edit);
  const LRESULT brush = SendMessageW(GetParent(edit), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(device),
                                     reinterpret_cast<LPARAM>(edit));
  EXPECT_EQ(brush, reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_BTNFACE)));
  EXPECT_EQ(GetTextColor(device), GetSysColor(COLOR_GRAYTEXT));
  ReleaseDC(edit, device);
  SendMessageW(Window().Handle(), WM_HELP, 0, 0);
  EXPECT_EQ(frontend.helps, 1);
  session.EndAnalysis();
}

// Good and bad codes are chosen from the values of the response, which are shown with their labels.
TEST_F(NativeDialogs, ValueEditsOfferTheValuesOfTheirVariable) {
  Table table = ProcessTable();
  table.Variable(2).labels = {{0, "reject"}, {1, "first choice"}};
  session.SetTable(std::move(table));
  session.StartScreening().Put("Variables", " |  | 2 | 5 | 3-4");
  const HWND good = Control(vlmfsl::kControlGoodCode);
  ASSERT_TRUE(IsWindowEnabled(good));
  const auto notify = [&](int code) {
    SendMessageW(GetParent(good), WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(good), code),
                 reinterpret_cast<LPARAM>(good));
  };
  notify(CBN_DROPDOWN);
  ASSERT_EQ(SendMessageW(good, CB_GETCOUNT, 0, 0), 2);
  wchar_t text[64] = {};
  SendMessageW(good, CB_GETLBTEXT, 1, reinterpret_cast<LPARAM>(text));
  EXPECT_EQ(Utf8(text), "1 - first choice");
  SendMessageW(good, CB_SETCURSEL, 1, 0);
  notify(CBN_SELCHANGE);
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  EXPECT_EQ(Utf8(TextOf(good)), "1");
  EXPECT_EQ(Dialog().Find(vlmfsl::kControlGoodCode)->text, "1");
  session.EndAnalysis();
}

int listMessages = 0;
WNDPROC listProcedure = nullptr;
LRESULT CALLBACK CountListMessages(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message >= LB_ADDSTRING && message < LB_MSGMAX) ++listMessages;
  return CallWindowProcW(listProcedure, window, message, wParam, lParam);
}

// The work of a typed range does not grow with its length.
TEST(VariableLists, ThousandsOfVariablesTypedAsARangeAreSelectedAtOnce) {
  constexpr int kCount = 5001;
  Table table;
  for (int number = 1; number <= kCount; ++number) {
    Column column;
    column.name = "variable_with_a_long_name_" + std::to_string(number);
    column.measurement = Measurement::kContinuous;
    table.columns.push_back(std::move(column));
  }
  std::vector<VariableListQuestion> lists(2);
  lists[0].caption = "Dependent";
  lists[0].maximumCount = 1;
  lists[1].caption = "Predictors";
  lists[1].maximumCount = kCount;
  WhenModal([&](HWND modal) {
    const HWND box = GetDlgItem(modal, 201);
    EXPECT_EQ(SendMessageW(box, LB_GETCOUNT, 0, 0), kCount);
    EXPECT_GT(SendMessageW(box, LB_GETHORIZONTALEXTENT, 0, 0), 100) << "long names can be scrolled";
    listProcedure = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(box, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(CountListMessages)));
    listMessages = 0;
    SetDlgItemTextW(modal, 301, L"2-5001");
    EXPECT_LT(listMessages, 20);
    EXPECT_EQ(SendMessageW(box, LB_GETSELCOUNT, 0, 0), kCount - 1);
    // Names are found by a part of them, whatever the case of letters, and the choice is kept.
    SetDlgItemTextW(modal, 401, L"NAME_4999");
    EXPECT_EQ(SendMessageW(box, LB_GETCOUNT, 0, 0), 1);
    EXPECT_EQ(SendMessageW(box, LB_GETSELCOUNT, 0, 0), 1);
    SetDlgItemTextW(modal, 401, L"");
    SetDlgItemTextW(modal, 301, L"");
    SetDlgItemTextW(modal, 401, L"name_499");
    SendDlgItemMessageW(modal, 501, BM_CLICK, 0, 0);
    EXPECT_EQ(Utf8(TextOf(GetDlgItem(modal, 301))), "499 4990-4999");
    SetDlgItemTextW(modal, 300, L"1");
    SetWindowLongPtrW(box, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(listProcedure));
    SendDlgItemMessageW(modal, IDOK, BM_CLICK, 0, 0);
  });
  const HWND owner = CreateWindowExW(0, L"STATIC", L"owner", WS_POPUP | WS_VISIBLE, 0, 0, 10, 10, nullptr,
                                     nullptr, nullptr, nullptr);
  EXPECT_TRUE(AskVariableListsNatively(owner, table, "Variables", lists));
  DestroyWindow(owner);
  EXPECT_THAT(lists[0].variables, ElementsAre(1));
  EXPECT_EQ(lists[1].variables.size(), 11u);
}

}  // namespace
}  // namespace velmora
