// A dialog's window for scripts: every control by its number, as a user sees it. The dialog's own
// automation object has named members instead; both lead to the same commands.
#include <algorithm>
#include <optional>
#include <utility>

#include "workbench/automation/host_object.h"
#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"

namespace velmora {

namespace {

using Arguments = std::vector<Variant>;

// Why a script cannot press a button that asks the user, and what it does instead. Empty for other
// controls.
std::string WayOfScripts(int controlId) {
  switch (controlId) {
    case kCaseSelectionButton:
      return "asks for case selection conditions; a script sets them by SelectCases of the input "
             "spreadsheet.";
    case kCaseWeightButton:
      return "asks for the case weights; a script sets CaseWeight of the input spreadsheet.";
    case kOpenDataButton:
      return "asks for a data file; a script opens it by Open of the application.";
    default:
      return {};
  }
}

class WindowObject final : public HostObject<WindowObject> {
 public:
  WindowObject(std::weak_ptr<SessionCore> core, std::weak_ptr<DialogWindow> window)
      : core_(std::move(core)), window_(std::move(window)) {}
  static const HostMemberTable<WindowObject>& Members();

 private:
  friend class HostObject<WindowObject>;
  friend Counted;
  ~WindowObject() = default;

  [[noreturn]] static void Refuse(const std::string& sentence) {
    throw AutomationError(vlm::kAutomationErrorCode, sentence);
  }
  // Empty when the window is closed or the session has ended.
  std::shared_ptr<DialogWindow> Open() const {
    const std::shared_ptr<DialogWindow> window = core_.expired() ? nullptr : window_.lock();
    return window != nullptr && window->IsOpen() ? window : nullptr;
  }
  std::shared_ptr<DialogWindow> Require() const {
    LockedCore(core_);
    std::shared_ptr<DialogWindow> window = Open();
    if (window == nullptr) Refuse("The dialog is closed.");
    return window;
  }
  Control ControlOf(const Variant& number) const {
    const Control* const control = Require()->Find(number.AsInt());
    if (control == nullptr) Refuse("The dialog has no control " + number.AsText() + ".");
    return *control;
  }

  // The control. Throws AutomationError when it cannot be used now.
  Control UsableControlOf(const Variant& number) const {
    Control control = ControlOf(number);
    if (!Require()->TakesCommands()) Refuse("The dialog is busy.");
    if (!control.shown) Refuse("Control " + number.AsText() + " is hidden.");
    if (!control.enabled) Refuse("Control " + number.AsText() + " is disabled.");
    return control;
  }

  Variant Press(const Variant& number) const {
    const int controlId = UsableControlOf(number).id;
    if (const std::string way = WayOfScripts(controlId); !way.empty())
      Refuse("Control " + number.AsText() + " " + way);
    return Act(number, [&](DialogWindow& window) { return window.Press(controlId); });
  }

  // Performs a user action on a control. Throws AutomationError when it is not possible. action
  // does not throw.
  template <typename Action>
  Variant Act(const Variant& number, Action action) const {
    const Control control = UsableControlOf(number);
    const std::shared_ptr<DialogWindow> window = Require();
    const std::shared_ptr<SessionCore> core = LockedCore(core_);
    const auto running =
        std::find_if(core->analyses.begin(), core->analyses.end(), [&](const auto& analysis) {
          return analysis->DialogOf(kStartupStep) == window.get() ||
                 analysis->DialogOf(kResultsStep) == window.get();
        });
    std::optional<AutomationError> raised;
    bool done = false;
    {
      const ModuleCall call(*core);
      ++core->automationDepth;
      done = action(*window);
      --core->automationDepth;
      if (running != core->analyses.end()) raised = (*running)->TakeAutomationError();
    }
    core->ThrowKept();
    if (raised) throw *raised;
    if (!done)
      Refuse("Control " + number.AsText() + " is a " + ControlKind(control.controlClass) +
             ", which cannot be used in this way.");
    return {};
  }

  std::weak_ptr<SessionCore> core_;
  std::weak_ptr<DialogWindow> window_;
};

const HostMemberTable<WindowObject>& WindowObject::Members() {
  using Self = WindowObject;
  using vlm::kAutomationArray, vlm::kAutomationInt, vlm::kAutomationIntArray, vlm::kAutomationText;
  const auto ofControl = [](int id, const char* name, int type, const char* help) {
    return Getter(id, name, type, help, 1, kAutomationInt, "ControlID");
  };
  static const HostMemberTable<Self> table(
      "DialogWindow", "The window of a dialog, control by control",
      {{Getter(1, "IsOpen", kAutomationInt, "0 once the dialog is closed"),
        [](Self& s, const Arguments&) { return Variant(s.Open() != nullptr); }, nullptr},
       {Getter(2, "Caption", kAutomationText, "Caption of the window"),
        [](Self& s, const Arguments&) { return Variant(s.Require()->Caption()); }, nullptr},
       {Getter(3, "DataLine", kAutomationText, "The data that the dialog uses: file, selection, weights"),
        [](Self& s, const Arguments&) { return Variant(s.Require()->DataLine()); }, nullptr},
       {Getter(4, "Controls", kAutomationIntArray,
               "Numbers of the controls; a control may be on several pages"),
        [](Self& s, const Arguments&) {
          std::vector<int> numbers;
          for (const Control& control : s.Require()->Controls()) numbers.push_back(control.id);
          return Variant(std::move(numbers));
        },
        nullptr},
       {Getter(5, "Pages", kAutomationArray, "Captions of the pages"),
        [](Self& s, const Arguments&) {
          Variant::Array captions;
          for (const DialogPage& page : s.Require()->Pages()) captions.emplace_back(page.caption);
          return Variant(std::move(captions));
        },
        nullptr},
       {{6, "Page", vlm::kInvokeGet | vlm::kInvokePut, kAutomationInt, kAutomationInt, 0, 0, "",
         "Number of the visible page", "Brings a page to the front"},
        [](Self& s, const Arguments&) { return Variant(s.Require()->SelectedPage() + 1); },
        [](Self& s, const Arguments& a) {
          if (!s.Require()->SelectPage(a[0].AsInt() - 1)) Refuse("There is no page " + a[0].AsText() + ".");
        }},
       {ofControl(7, "Kind", kAutomationText, "What a control is: button, edit, check box ..."),
        [](Self& s, const Arguments& a) { return Variant(ControlKind(s.ControlOf(a[0]).controlClass)); },
        nullptr},
       {ofControl(8, "ControlCaption", kAutomationText, "Caption of a control"),
        [](Self& s, const Arguments& a) { return Variant(PlainCaption(s.ControlOf(a[0]).caption)); },
        nullptr},
       {ofControl(9, "Text", kAutomationText, "The text that an edit or a list shows"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).text); }, nullptr},
       {ofControl(10, "Error", kAutomationText, "The error shown on an edit; empty for none"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).error); }, nullptr},
       {ofControl(11, "IsEnabled", kAutomationInt, "1 when the control can be used"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).enabled); }, nullptr},
       {ofControl(12, "IsShown", kAutomationInt, "0 for a hidden control"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).shown); }, nullptr},
       {ofControl(13, "IsChecked", kAutomationInt, "1 for a checked box or radio button"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).checked); }, nullptr},
       {ofControl(14, "Items", kAutomationArray, "Items of a drop-down list"),
        [](Self& s, const Arguments& a) {
          Variant::Array items;
          for (const std::string& item : s.ControlOf(a[0]).items) items.emplace_back(item);
          return Variant(std::move(items));
        },
        nullptr},
       {ofControl(15, "ChosenItem", kAutomationInt,
                  "Number of the item chosen in a drop-down list; 0 for none"),
        [](Self& s, const Arguments& a) { return Variant(s.ControlOf(a[0]).selectedItem + 1); }, nullptr},
       {Method(16, "Press", "Presses a button, a box or a radio button", 1, kAutomationInt, "ControlID"),
        [](Self& s, const Arguments& a) { return s.Press(a[0]); }, nullptr},
       {Method(17, "TypeText", "Types a text into an edit", 2, vlm::kAutomationVariant, "ControlID, Text"),
        [](Self& s, const Arguments& a) {
          const std::string text = a[1].AsText();
          return s.Act(a[0], [&](DialogWindow& window) { return window.TypeText(a[0].AsInt(), text); });
        },
        nullptr},
       {Method(18, "ChooseItem", "Chooses an item of a drop-down list by its number", 2, kAutomationInt,
               "ControlID, Item"),
        [](Self& s, const Arguments& a) {
          const int count = static_cast<int>(s.ControlOf(a[0]).items.size());
          const int item = a[1].AsInt();
          if (item < 1 || item > count) {
            Refuse("There is no item " + a[1].AsText() + "; there are " + std::to_string(count) + ".");
          }
          return s.Act(a[0], [&](DialogWindow& window) { return window.ChooseItem(a[0].AsInt(), item - 1); });
        },
        nullptr}});
  return table;
}

}  // namespace

const vlm::AutomationInterface* WindowInterface() { return WindowObject::Members().Description(); }

ObjectReference MakeWindowObject(const std::shared_ptr<SessionCore>& core, DialogWindow& window) {
  return ObjectReference::Adopt(new WindowObject(core, window.weak_from_this()));
}

}  // namespace velmora
