// The dialog runtime: control state, commands, and what scripts inherit.
#include "workbench/dialogs/dialog_window.h"

#include <algorithm>
#include <utility>

#include "contract/text.h"

namespace velmora {

namespace {

class CallScope {
 public:
  explicit CallScope(DialogOwner& owner) : owner_(owner) { owner_.BeginCall(); }
  ~CallScope() { owner_.EndCall(); }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  DialogOwner& owner_;
};

int SetFailure(vlm::IAutomationResult* result, int code, std::string_view description) {
  if (result != nullptr) result->SetError(code, description.data(), vlm::LengthOf(description));
  return vlm::kDispatchException;
}

}  // namespace

bool Control::InRange(std::string_view decimalSeparator) const {
  if (!minimum || !maximum) return true;
  std::optional<double> value;
  if (controlClass == vlm::kIntegerEdit) {
    if (const auto whole = ParseWholeText(text)) value = *whole;
  } else {
    value = ParseRealText(text, decimalSeparator);
  }
  return value && *minimum <= *value && *value <= *maximum;
}

DialogWindow::DialogWindow(DialogOwner& owner, DialogFace& face, vlm::IModuleResources& resources,
                           vlm::IDialogClient* client, int templateId)
    : owner_(owner), face_(face), resources_(resources), client_(client), templateId_(templateId) {}

bool DialogWindow::Open() {
  const vlm::DialogTemplate* dialogTemplate = resources_.FindDialogTemplate(templateId_);
  if (dialogTemplate == nullptr) {
    owner_.Misbehaved("The module asked for dialog template " + std::to_string(templateId_) +
                      ", which it has not.");
    return false;
  }
  caption_ = dialogTemplate->caption;
  LoadControls(*dialogTemplate, -1);
  open_ = true;
  const auto self = shared_from_this();
  {
    const CallScope scope(owner_);
    client_->OnInitDialog(this);
    if (open_) face_.DialogOpened(*this);
  }
  return true;
}

void DialogWindow::Close(int step) {
  if (!open_) return;
  const auto self = shared_from_this();
  open_ = false;
  if (lockCount_ != 0) {
    owner_.Misbehaved("A dialog of the module was closed with results still locked.");
    lockCount_ = 0;
    owner_.LockResults(false);
  }
  face_.DialogClosed(*this);
  client_->OnClosed(step);
  client_ = {};
}

const Control* DialogWindow::Find(int controlId) const {
  const auto found = std::find_if(controls_.begin(), controls_.end(),
                                  [&](const Control& control) { return control.id == controlId; });
  return found == controls_.end() ? nullptr : &*found;
}

Control* DialogWindow::FindUsable(int controlId) {
  if (!TakesCommands()) return nullptr;
  const auto found = std::find_if(controls_.begin(), controls_.end(), [&](const Control& control) {
    return control.id == controlId && control.enabled && control.shown;
  });
  return found == controls_.end() ? nullptr : &*found;
}

bool DialogWindow::Press(int controlId) {
  Control* control = FindUsable(controlId);
  if (control == nullptr) return false;
  if (control->controlClass == vlm::kCheckBox) {
    CheckDlgButton(controlId, !control->checked);
  } else if (control->controlClass == vlm::kRadioButton) {
    // A radio button leaves the others of its group on its page unchecked.
    int group = 0, ownGroup = 0;
    for (const Control& other : controls_) {
      if (other.groupStart) ++group;
      if (&other == control) ownGroup = group;
    }
    group = 0;
    for (Control& other : controls_) {
      if (other.groupStart) ++group;
      if (other.controlClass != vlm::kRadioButton || other.pageIndex != control->pageIndex ||
          group != ownGroup)
        continue;
      if (other.checked != (&other == control)) {
        other.checked = &other == control;
        face_.ControlChanged(*this, other.id);
      }
    }
  }
  SendCommand(controlId);
  return true;
}

bool DialogWindow::SelectPage(int pageIndex) {
  if (!TakesCommands() || pageIndex < 0 || pageIndex >= static_cast<int>(pages_.size())) return false;
  if (selectedPage_ != pageIndex) {
    selectedPage_ = pageIndex;
    face_.PageSelected(*this);
  }
  return true;
}

void DialogWindow::ShowPageOf(int controlId) {
  const Control* control = Find(controlId);
  if (control == nullptr || control->pageIndex < 0 || control->pageIndex == selectedPage_) return;
  selectedPage_ = control->pageIndex;
  if (open_) face_.PageSelected(*this);
}

void DialogWindow::SetLocked(bool locked) {
  if (locked_ == locked) return;
  locked_ = locked;
  AvailabilityChanged();
}

void DialogWindow::AvailabilityChanged() {
  if (open_) face_.AvailabilityChanged(*this);
}

bool DialogWindow::TypeText(int controlId, std::string_view text) {
  Control* control = FindUsable(controlId);
  if (control == nullptr || control->controlClass < vlm::kIntegerEdit ||
      control->controlClass > vlm::kValueEdit) {
    return false;
  }
  control->text = text;
  control->error.clear();
  face_.ControlChanged(*this, controlId);
  return true;
}

bool DialogWindow::ChooseItem(int controlId, int itemIndex) {
  Control* control = FindUsable(controlId);
  if (control == nullptr || control->controlClass != vlm::kDropDown || itemIndex < 0 ||
      itemIndex >= static_cast<int>(control->items.size())) {
    return false;
  }
  control->selectedItem = itemIndex;
  face_.ControlChanged(*this, controlId);
  SendCommand(controlId);
  return true;
}

void DialogWindow::SendCommand(int controlId) {
  const auto self = shared_from_this();
  const CallScope scope(owner_);
  if (controlId == kByGroupButton) {
    owner_.Message("This host offers no by-group run of the analysis.");
  } else if (controlId == kOptionsButton) {
    owner_.Message("There are no options to choose for this dialog.");
  } else if (client_) {
    const vlm::Ref<vlm::IDialogClient> client = client_;
    if (runningCommands_++ == 0) AvailabilityChanged();
    client->OnCommand(controlId);
    if (--runningCommands_ == 0) AvailabilityChanged();
  }
}

void DialogWindow::LoadControls(const vlm::DialogTemplate& dialogTemplate, int pageIndex) {
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
    // A group never reaches over the border of a template.
    control.isDefault = (source.flags & vlm::kControlDefault) != 0;
    control.tabStop = (source.flags & vlm::kControlNoTabStop) == 0;
    control.groupStart = index == 0 || (source.flags & vlm::kControlGroupStart) != 0;
    control.shown = (source.flags & vlm::kControlHidden) == 0;
    controls_.push_back(std::move(control));
  }
}

template <typename Change>
void DialogWindow::ChangeControl(int controlId, Change change) {
  Guarded([&] {
    bool found = false;
    for (Control& control : controls_) {
      if (control.id != controlId) continue;
      found = true;
      change(control);
    }
    if (!found) {
      owner_.Misbehaved("The module used control " + std::to_string(controlId) + ", which dialog template " +
                        std::to_string(templateId_) + " has not.");
    } else if (open_) {
      face_.ControlChanged(*this, controlId);
    }
  });
}

void DialogWindow::AddDlgTabs(int tabControlId, const int* pageTemplateIds, int pageCount) {
  Guarded([&] {
    if (Find(tabControlId) == nullptr) {
      owner_.Misbehaved("The module put pages on control " + std::to_string(tabControlId) +
                        ", which dialog template " + std::to_string(templateId_) + " has not.");
    }
    for (int index = 0; index < pageCount; ++index) {
      const vlm::DialogTemplate* page = resources_.FindDialogTemplate(pageTemplateIds[index]);
      if (page == nullptr) {
        owner_.Misbehaved("The module asked for page template " + std::to_string(pageTemplateIds[index]) +
                          ", which it has not.");
        continue;
      }
      pages_.push_back({page->id, tabControlId, page->caption == nullptr ? "" : page->caption});
      LoadControls(*page, static_cast<int>(pages_.size()) - 1);
      if (selectedPage_ < 0) selectedPage_ = 0;
    }
  });
}

void DialogWindow::InitOpeningDialog() {
  Guarded([&] { RefreshDataLine(); });
}

void DialogWindow::RefreshDataLine() {
  dataLine_ = owner_.Data().fileName;
  const CaseSelectionText selection = owner_.CaseSelection();
  if (!selection.include.empty()) dataLine_ += "; cases where " + selection.include;
  if (!selection.exclude.empty()) dataLine_ += "; not cases where " + selection.exclude;
  if (const int weight = owner_.CaseWeight(); weight != 0) {
    dataLine_ += "; weighted by " + owner_.Data().Variable(weight).name;
  }
  if (open_) face_.DataLineChanged(*this);
}

void DialogWindow::EnableWindow(int controlId, int enabled) {
  ChangeControl(controlId, [&](Control& control) { control.enabled = enabled != 0; });
}

void DialogWindow::ShowControl(int controlId, int shown) {
  ChangeControl(controlId, [&](Control& control) { control.shown = shown != 0; });
}

void DialogWindow::CheckDlgButton(int controlId, int checked) {
  ChangeControl(controlId, [&](Control& control) { control.checked = checked != 0; });
}

void DialogWindow::SetDlgItemText(int controlId, const char* text, int length) {
  ChangeControl(controlId, [&](Control& control) {
    control.text = vlm::TextOf(text, length);
    control.error.clear();
  });
}

void DialogWindow::GetDlgItemText(int controlId, vlm::ITextSink* text) {
  const Control* control = Find(controlId);
  if (control == nullptr) {
    text->Assign(nullptr, 0);
  } else {
    text->Assign(control->text.data(), vlm::LengthOf(control->text));
  }
}

void DialogWindow::SetDlgItemInt(int controlId, int value) {
  ChangeControl(controlId, [&](Control& control) {
    control.text = std::to_string(value);
    control.error.clear();
  });
}

int DialogWindow::GetDlgItemLong(int controlId, int* value) {
  const Control* control = Find(controlId);
  const auto number = control == nullptr ? std::nullopt : ParseWholeText(control->text);
  if (!number) return 1;
  *value = *number;
  return 0;
}

void DialogWindow::SetDlgItemReal(int controlId, double value) {
  ChangeControl(controlId, [&](Control& control) {
    control.text = RealText(value, control.truncate, owner_.DecimalSeparator());
    control.error.clear();
  });
}

int DialogWindow::GetDlgItemReal(int controlId, double* value) {
  return Guarded(
      [&] {
        const Control* control = Find(controlId);
        const auto number =
            control == nullptr ? std::nullopt : ParseRealText(control->text, owner_.DecimalSeparator());
        if (!number) return 1;
        *value = *number;
        return 0;
      },
      1);
}

void DialogWindow::SetIntEditRange(int controlId, int minimum, int maximum) {
  SetRealEditRange(controlId, minimum, maximum, 0);
}

void DialogWindow::SetRealEditRange(int controlId, double minimum, double maximum, int truncate) {
  ChangeControl(controlId, [&](Control& control) {
    control.minimum = minimum;
    control.maximum = maximum;
    control.truncate = truncate != 0;
  });
}

void DialogWindow::WriteVarListToCaptionLong(int controlId, const int* variables, int count,
                                             const char* noneText, int noneLength) {
  ChangeControl(controlId, [&](Control& control) {
    control.text = count > 0 ? owner_.PrintVariables({variables, static_cast<std::size_t>(count)})
                             : std::string(vlm::TextOf(noneText, noneLength));
  });
}

void DialogWindow::ClearDropDown(int controlId) {
  ChangeControl(controlId, [](Control& control) {
    control.items.clear();
    control.selectedItem = -1;
  });
}

void DialogWindow::AddDropDownItem(int controlId, const char* text, int length) {
  ChangeControl(controlId, [&](Control& control) { control.items.emplace_back(vlm::TextOf(text, length)); });
}

void DialogWindow::SelectDropDownItem(int controlId, int itemIndex) {
  ChangeControl(controlId, [&](Control& control) {
    const bool exists = itemIndex >= 0 && itemIndex < static_cast<int>(control.items.size());
    control.selectedItem = exists ? itemIndex : -1;
  });
}

int DialogWindow::GetSelectedDropDownItem(int controlId) {
  const Control* control = Find(controlId);
  return control == nullptr ? -1 : control->selectedItem;
}

void DialogWindow::ShowEditError(int controlId, const char* text, int length) {
  ChangeControl(controlId, [&](Control& control) { control.error = vlm::TextOf(text, length); });
  Guarded([&] {
    ShowPageOf(controlId);
    face_.ShowEditError(*this, controlId, vlm::TextOf(text, length));
  });
}

void DialogWindow::DisplayInstError(const char* text, int length) {
  Guarded([&] { face_.ShowInstructionError(*this, vlm::TextOf(text, length)); });
}

void DialogWindow::LockResults() {
  Guarded([&] {
    if (lockCount_++ == 0) owner_.LockResults(true);
  });
}

void DialogWindow::UnlockResults() {
  Guarded([&] {
    if (lockCount_ == 0) {
      owner_.Misbehaved("The module unlocked results that it had not locked.");
    } else if (--lockCount_ == 0) {
      owner_.LockResults(false);
    }
  });
}

void DialogWindow::RestoreResults() {
  Guarded([&] { owner_.RestoreResults(); });
}

void DialogWindow::EnableStartupMenus(int enabled) {
  Guarded([&] { owner_.EnableStartupMenus(enabled != 0); });
}

void DialogWindow::SendFrameworkCommand(int command) {
  Guarded([&] { owner_.FrameworkCommand(command); });
}

void DialogWindow::ExitDialog(int step) {
  Guarded([&] {
    if (requestedStep_) {
      owner_.Misbehaved("The module left a dialog by step " + std::to_string(step) +
                        " after it had left it by step " + std::to_string(*requestedStep_) +
                        "; the first stands.");
      return;
    }
    // Without a command running there is nothing to wait for.
    const auto self = shared_from_this();
    const CallScope scope(owner_);
    requestedStep_ = step;
  });
}

int DialogWindow::PressFromScript(int controlId, vlm::IAutomationResult* result) {
  const auto self = shared_from_this();
  owner_.TakeAutomationError();
  if (runningCommands_ != 0) return SetFailure(result, vlm::kAutomationErrorCode, "The dialog is busy.");
  if (controlId == kOkButton) face_.OkCalled(*this);
  const Control* control = FindUsable(controlId);
  if (control != nullptr) SendCommand(controlId);
  if (const std::optional<AutomationError> error = owner_.TakeAutomationError()) {
    return SetFailure(result, error->Code(), error->what());
  }
  if (controlId != kOkButton) return vlm::kDispatchOk;
  // A run that succeeded leaves for the step of its results.
  const bool hasRun = requestedStep_.value_or(0) != 0;
  if (!hasRun) face_.OkRefused(*this);
  if (result != nullptr) result->SetInt(hasRun ? 1 : 0);
  return vlm::kDispatchOk;
}

int DialogWindow::InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments,
                                  int argumentCount, vlm::IAutomationResult* result) {
  if (!open_) return vlm::kDispatchFailed;
  return Guarded(
      [&]() -> int {
        const CallScope scope(owner_);
        const bool isResults = dispatchId >= kFirstResultsMember && dispatchId <= kLastResultsMember;
        const int expectedKind = isResults                 ? vlm::kInvokePut
                                 : dispatchId >= kOkMember ? vlm::kInvokeMethod
                                                           : vlm::kInvokeGet;
        if (dispatchId < 0 || dispatchId > kLastResultsMember || (kind & expectedKind) == 0) {
          return vlm::kDispatchMemberNotFound;
        }
        if (argumentCount != (isResults ? 1 : 0)) return vlm::kDispatchBadParameterCount;
        if (isResults) {
          resultsSettings_[dispatchId] = Variant(arguments[0]);
          return vlm::kDispatchOk;
        }
        vlm::StringSink name;
        switch (dispatchId) {
          case kNameMember:
            client_->GetAutomationWindowText(&name);
            result->SetText(name.Text().data(), vlm::LengthOf(name.Text()));
            return vlm::kDispatchOk;
          case kApplicationMember:
            result->SetObject(owner_.ApplicationObject());
            return vlm::kDispatchOk;
          case kParentMember:
            result->SetObject(owner_.AnalysisObject());
            return vlm::kDispatchOk;
          case kOkMember:
            return PressFromScript(kOkButton, result);
          default:
            return PressFromScript(kCancelButton, result);
        }
      },
      vlm::kDispatchFailed);
}

}  // namespace velmora
