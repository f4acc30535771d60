// What shows dialogs to somebody: nobody (tests, scripts, the command line), native windows or a page. The
// runtime (DialogWindow) keeps every control's state and is the one that talks to the module; a face shows that
// state and hands on what a person does. No face changes a control itself, and none reaches the module.
//
//   module -> DialogWindow -> face     DialogOpened, then ControlChanged, PageSelected, AvailabilityChanged ...
//   person -> face -> DialogWindow     Press, TypeText, ChooseItem, SelectPage
//
// What a face must do:
//   - DialogOpened: build the dialog from Caption(), Pages() and Controls(): places in dialog units, those of a
//     page count from the page's corner; captions carry '&' and icon marks (PlainCaption, Accelerator, IconMark).
//     Every page's controls are there all the time; the page in front is SelectedPage().
//   - ControlChanged: show the control anew: text, check, items, enabled, shown, error. It also comes for what the
//     face itself has just passed on, so a face that sets a text only where it differs never runs in circles.
//   - hand on each key or click as it comes: a text after every change, so that a half-typed number is what a
//     command finds; a press once, the check of a box follows by ControlChanged.
//   - AvailabilityChanged: while TakesCommands() is false nothing a person does has an effect; show it so.
//   - Ask...: modal. The call returns when the person has answered; a face with a loop of its own runs it
//     meanwhile. The dialog takes no commands then, and may be gone when the call returns.
// All calls come and are made on the session's thread. A window may be used from DialogOpened until DialogClosed.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class DialogWindow;

// One list of a variable dialog, as asked and as answered.
struct VariableListQuestion {
  std::string caption;
  int variableKind = 0;  // 1 categorical, 2 continuous, 0 any: what is offered first
  int maximumCount = 0;
  std::vector<int> variables;  // 1-based; the present choice going in, the answer coming out
};

struct CodesQuestion {
  std::string title;
  std::vector<int> variables;  // 1-based
  int shownAtOnce = 0;
  double minimum = 0, maximum = 0;         // codes outside are refused
  std::vector<std::vector<double>> codes;  // one list a variable, going in and out
};

// Which cases are used: expressions over the variables, empty for none.
struct CaseSelectionText {
  std::string include;
  std::string exclude;
};

// The answers of a face that nobody looks at are those of a user who cancels every question.
class DialogFace {
 public:
  virtual ~DialogFace() = default;

  virtual void DialogOpened(DialogWindow& /*window*/) {}
  virtual void ControlChanged(DialogWindow& /*window*/, int /*controlId*/) {}
  virtual void PageSelected(DialogWindow& /*window*/) {}
  virtual void DataLineChanged(DialogWindow& /*window*/) {}
  virtual void AvailabilityChanged(DialogWindow& /*window*/) {}
  virtual void DialogClosed(DialogWindow& /*window*/) {}

  // The control's error is set and its page is in front.
  virtual void ShowEditError(DialogWindow& /*window*/, int /*controlId*/, std::string_view /*text*/) {}
  virtual void ShowInstructionError(DialogWindow& /*window*/, std::string_view /*text*/) {}

  // OK from a script, and that it started no run: what was said in between tells why.
  virtual void OkCalled(DialogWindow& /*window*/) {}
  virtual void OkRefused(DialogWindow& /*window*/) {}

  // Each returns false, or nothing, for Cancel. An answer that the host refuses (unknown variable, too many)
  // is reported by ShowInstructionError and asked again while attempts are left.
  virtual bool AskVariableLists(DialogWindow& /*window*/, std::string_view /*title*/,
                                std::vector<VariableListQuestion>& /*lists*/) {
    return false;
  }
  virtual bool AskCodes(DialogWindow& /*window*/, CodesQuestion& /*question*/) { return false; }
  virtual bool AskCaseSelection(DialogWindow& /*window*/, CaseSelectionText& /*selection*/) { return false; }
  // variableNumber: 0 for no weights.
  virtual bool AskCaseWeight(DialogWindow& /*window*/, int& /*variableNumber*/) { return false; }
  virtual std::optional<std::string> AskDataFile(DialogWindow& /*window*/) { return std::nullopt; }
  virtual std::optional<std::string> AskSaveFile(DialogWindow& /*window*/, std::string_view /*title*/,
                                                 std::string_view /*extension*/) {
    return std::nullopt;
  }
};

}  // namespace velmora
