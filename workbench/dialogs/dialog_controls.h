// The controls of one dialog and its pages: the state of each, and whether a user can change it.
// They are loaded from the module's templates and changed by the module and by the user. Nothing
// here calls the module.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/resources.h"

namespace velmora {

// Buttons that every dialog has.
inline constexpr int kOkButton = 1;
inline constexpr int kCancelButton = 2;
// Buttons of functions that this host does not have; they are hidden.
inline constexpr int kOptionsButton = 10710;
inline constexpr int kByGroupButton = 10720;
// Buttons whose commands come back from the module as questions of the host.
inline constexpr int kCaseSelectionButton = 1001;
inline constexpr int kCaseWeightButton = 1002;
inline constexpr int kOpenDataButton = 1003;

struct Control {
  int id = 0;
  int pageIndex = -1;  // -1: on the dialog itself, else index of its page
  vlm::ControlClass controlClass = vlm::kButton;
  std::string caption;  // of the template; '&' and "!249" marks included
  int x = 0, y = 0, width = 0, height = 0;
  bool groupStart = false;
  bool isDefault = false;  // pressed by the return key
  bool tabStop = true;

  bool enabled = true;
  bool shown = true;
  bool checked = false;
  std::string text;                        // what edits and captions show
  std::optional<double> minimum, maximum;  // of an edit that takes numbers
  bool truncate = false;                   // a real edit shows six digits
  int valuesOf = 0;                        // variable whose values the edit takes; 0: of none
  std::vector<std::string> items;          // of a drop-down list
  int selectedItem = -1;
  std::string error;  // shown on the field until its text changes

  bool IsEdit() const { return controlClass >= vlm::kIntegerEdit && controlClass <= vlm::kValueEdit; }
  // Why the text is not a number in the edit's range, in one sentence; empty when it is, or when
  // there is no range. Shown while the user types; the module decides how a run treats a wrong
  // number.
  std::string RangeError(std::string_view decimalSeparator) const;
};

// "button", "check box" and so on, as scripts and the page read it.
const char* ControlKind(vlm::ControlClass controlClass);

struct DialogPage {
  int templateId = 0;
  int tabControlId = 0;
  std::string caption;
};

class DialogControls {
 public:
  // The controls of the dialog's own template.
  void Load(const vlm::DialogTemplate& dialogTemplate) { LoadControls(dialogTemplate, -1); }
  // The first page added is the selected one.
  void AddPage(const vlm::DialogTemplate& page, int tabControlId);

  const std::vector<Control>& All() const { return controls_; }
  const std::vector<DialogPage>& Pages() const { return pages_; }
  // Index of the selected page; -1 when there are no pages.
  int SelectedPage() const { return selectedPage_; }
  // False when there is no such page.
  bool SelectPage(int pageIndex);

  // The first control with this id, or null; of FindUsable the first that is shown and enabled.
  const Control* Find(int controlId) const;
  Control* FindUsable(int controlId);
  // Calls change for every control with the id: one may be on several pages. False when there is
  // none.
  bool Change(int controlId, const std::function<void(Control&)>& change);
  // Checks a radio button and unchecks the others of its group. Returns the controls that changed.
  std::vector<int> CheckRadioButton(const Control& button);

 private:
  void LoadControls(const vlm::DialogTemplate& dialogTemplate, int pageIndex);

  std::vector<Control> controls_;
  std::vector<DialogPage> pages_;
  int selectedPage_ = -1;
};

}  // namespace velmora
