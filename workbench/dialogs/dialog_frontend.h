// The frontend of dialogs: nothing (tests, scripts, the command line), native windows, or a page.
// The runtime (DialogWindow) keeps the state of every control and is the only one to call the
// module; a frontend shows that state and passes user actions on. It changes no control itself and
// never calls the module.
//
//   module -> DialogWindow -> frontend   DialogOpened, then ControlChanged, PageSelected ...
//   user -> frontend -> DialogWindow     Press, TypeText, ChooseItem, SelectPage
//
// A frontend must:
//   - DialogOpened: build the dialog from Caption(), Pages() and Controls(). Positions are in
//     dialog units, those of a page relative to the page. Captions carry '&' and icon marks
//     (PlainCaption, CaptionWithoutIcon, IconMark). The controls of all pages exist all the time;
//     the selected page is SelectedPage().
//   - ControlChanged: show the control's new state: text, check, items, enabled, shown, error. The
//     call also follows the frontend's own actions, so set a text only where it differs.
//   - Pass on every key and click at once: a text after every change, so that a command sees
//     half-typed numbers; a press once, the new check of a box comes with ControlChanged.
//   - AvailabilityChanged: while TakesCommands() is false, user actions have no effect; show it.
//   - Ask...: modal; the call returns the user's answer. A frontend with an event loop runs it
//     meanwhile. The dialog takes no commands then, and may be closed when the call returns.
// All calls are made on the session's thread. A window may be used from DialogOpened until
// DialogClosed.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/code_lists.h"

namespace velmora {

class DialogWindow;

// One list of a variable dialog, as asked and as answered.
struct VariableListQuestion {
  std::string caption;
  int variableKind = 0;  // shown first: 1 categorical, 2 continuous, 0 any
  int maximumCount = 0;
  int setNumber = 0;           // lists of one set may name the same variable; 0: no other list may
  std::vector<int> variables;  // 1-based; in: the present choice, out: the answer
};

struct CodesQuestion {
  std::string title;
  std::vector<int> variables;  // 1-based
  int shownAtOnce = 0;
  double minimum = 0, maximum = 0;  // codes outside are refused
  std::vector<CodeChoice> choices;  // one per variable; in: the present choice, out: the answer
};

// Which cases are used: expressions over the variables, empty for none.
struct CaseSelectionText {
  std::string include;
  std::string exclude;
};

// The base class shows nothing and cancels every question.
class DialogFrontend {
 public:
  virtual ~DialogFrontend() = default;

  virtual void DialogOpened(DialogWindow& /*window*/) {}
  virtual void ControlChanged(DialogWindow& /*window*/, int /*controlId*/) {}
  virtual void PageSelected(DialogWindow& /*window*/) {}
  virtual void DataLineChanged(DialogWindow& /*window*/) {}
  virtual void AvailabilityChanged(DialogWindow& /*window*/) {}
  virtual void DialogClosed(DialogWindow& /*window*/) {}

  // The control's error is set and its page is selected.
  virtual void ShowEditError(DialogWindow& /*window*/, int /*controlId*/, std::string_view /*text*/) {}
  virtual void ShowInstructionError(DialogWindow& /*window*/, std::string_view /*text*/) {}

  // OkCalled: before a script's OK; OkRefused: after one that started no run, for the reason given
  // by the messages in between.
  virtual void OkCalled(DialogWindow& /*window*/) {}
  virtual void OkRefused(DialogWindow& /*window*/) {}

  // Each returns false, or nothing, for Cancel. After an invalid answer (unknown variable, too
  // many), ShowInstructionError is called and the question is asked again with that answer.
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
  // True when the files, all of which exist, may be replaced.
  virtual bool AskReplaceFiles(DialogWindow& /*window*/, const std::vector<std::string>& /*paths*/) {
    return false;
  }
};

}  // namespace velmora
