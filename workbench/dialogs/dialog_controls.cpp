#include "workbench/dialogs/dialog_controls.h"

#include <algorithm>

#include "workbench/dialogs/edit_text.h"

namespace velmora {

const char* ControlKind(vlm::ControlClass controlClass) {
  switch (controlClass) {
    case vlm::kButton:
    case vlm::kIconButton:
      return "button";
    case vlm::kCheckBox:
      return "check box";
    case vlm::kRadioButton:
      return "radio button";
    case vlm::kGroupBox:
      return "group";
    case vlm::kLabel:
      return "label";
    case vlm::kListCaption:
      return "list";
    case vlm::kDropDown:
      return "drop-down list";
    case vlm::kTab:
      return "tabs";
    default:
      return "edit";
  }
}

std::string Control::RangeError(std::string_view decimalSeparator) const {
  if (!minimum || !maximum) return {};
  const bool whole = controlClass == vlm::kIntegerEdit;
  std::optional<double> value;
  if (whole) {
    if (const auto number = ParseWholeText(text)) value = *number;
  } else {
    value = ParseRealText(text, decimalSeparator);
  }
  if (value && *minimum <= *value && *value <= *maximum) return {};
  return std::string(whole ? "Enter a whole number from " : "Enter a number from ") +
         RealText(*minimum, true, decimalSeparator) + " to " + RealText(*maximum, true, decimalSeparator) +
         ".";
}

void DialogControls::LoadControls(const vlm::DialogTemplate& dialogTemplate, int pageIndex) {
  for (int index = 0; index < dialogTemplate.controlCount; ++index) {
    const vlm::ControlTemplate& source = dialogTemplate.controls[index];
    Control control;
    control.id = source.id;
    control.pageIndex = pageIndex;
    control.controlClass = static_cast<vlm::ControlClass>(source.controlClass);
    control.caption = source.caption == nullptr ? "" : source.caption;
    control.x = source.x;
    control.y = source.y;
    control.width = source.width;
    control.height = source.height;
    control.isDefault = (source.flags & vlm::kControlDefault) != 0;
    control.tabStop = (source.flags & vlm::kControlNoTabStop) == 0;
    // A group never extends beyond its template.
    control.groupStart = index == 0 || (source.flags & vlm::kControlGroupStart) != 0;
    control.shown = (source.flags & vlm::kControlHidden) == 0 && source.id != kOptionsButton &&
                    source.id != kByGroupButton;
    controls_.push_back(std::move(control));
  }
}

void DialogControls::AddPage(const vlm::DialogTemplate& page, int tabControlId) {
  pages_.push_back({page.id, tabControlId, page.caption == nullptr ? "" : page.caption});
  LoadControls(page, static_cast<int>(pages_.size()) - 1);
  if (selectedPage_ < 0) selectedPage_ = 0;
}

bool DialogControls::SelectPage(int pageIndex) {
  if (pageIndex < 0 || pageIndex >= static_cast<int>(pages_.size())) return false;
  selectedPage_ = pageIndex;
  return true;
}

const Control* DialogControls::Find(int controlId) const {
  const auto found = std::find_if(controls_.begin(), controls_.end(),
                                  [&](const Control& control) { return control.id == controlId; });
  return found == controls_.end() ? nullptr : &*found;
}

Control* DialogControls::FindUsable(int controlId) {
  const auto found = std::find_if(controls_.begin(), controls_.end(), [&](const Control& control) {
    return control.id == controlId && control.enabled && control.shown;
  });
  return found == controls_.end() ? nullptr : &*found;
}

bool DialogControls::Change(int controlId, const std::function<void(Control&)>& change) {
  bool found = false;
  for (Control& control : controls_) {
    if (control.id != controlId) continue;
    found = true;
    change(control);
  }
  return found;
}

std::vector<int> DialogControls::CheckRadioButton(const Control& button) {
  // Groups are counted over all controls, in the order of the templates.
  int group = 0, ownGroup = 0;
  for (const Control& control : controls_) {
    if (control.groupStart) ++group;
    if (&control == &button) ownGroup = group;
  }
  std::vector<int> changed;
  group = 0;
  for (Control& control : controls_) {
    if (control.groupStart) ++group;
    const bool sameGroup = control.controlClass == vlm::kRadioButton && group == ownGroup &&
                           control.pageIndex == button.pageIndex;
    const bool checked = &control == &button;
    if (!sameGroup || control.checked == checked) continue;
    control.checked = checked;
    changed.push_back(control.id);
  }
  return changed;
}

}  // namespace velmora
