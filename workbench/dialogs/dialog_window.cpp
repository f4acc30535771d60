// The dialog runtime: commands, the module's calls, and the inherited automation members.
#include "workbench/dialogs/dialog_window.h"

#include <algorithm>
#include <utility>

#include "contract/automation_members.h"
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

// Dispatch ids of the members that every dialog's automation object inherits. Those from
// kResultsSelection on can be put before a question is asked.
enum InheritedMember : int {
  kNameMember = 0,
  kApplicationMember = 1,
  kParentMember = 2,
  kOkMember = 3,
  kCancelMember = 4,
  kResultsSelection = 5,
  kResultsVariables = 7,
  kResultsOption = 8,
  kResultsCodes = 9,
  kResultsSaveFileName = 10,
  kResultsOutputFields = 12,
};

bool IsWhole(const vlm::AutomationValue& value) {
  try {
    (void)Variant(value).AsInt();
    return true;
  } catch (const AutomationError&) {
    return false;
  }
}

int SetFailure(vlm::IAutomationResult* result, int code, std::string_view description) {
  if (result != nullptr) result->SetError(code, description.data(), vlm::LengthOf(description));
  return vlm::kDispatchException;
}

}  // namespace

DialogWindow::DialogWindow(DialogOwner& owner, DialogFrontend& frontend, vlm::IModuleResources& resources,
                           vlm::IDialogClient* client, int templateId)
    : owner_(owner),
      frontend_(frontend),
      resources_(resources),
      client_(client),
      templateId_(templateId),
      questions_(owner, frontend, *this) {}

bool DialogWindow::Open() {
  const vlm::DialogTemplate* dialogTemplate = resources_.FindDialogTemplate(templateId_);
  if (dialogTemplate == nullptr) {
    owner_.Misbehaved("The module asked for dialog template " + std::to_string(templateId_) +
                      ", which it does not have.");
    return false;
  }
  caption_ = dialogTemplate->caption;
  controls_.Load(*dialogTemplate);
  open_ = true;
  const auto self = shared_from_this();
  {
    const CallScope scope(owner_);
    client_->OnInitDialog(this);
    if (open_) frontend_.DialogOpened(*this);
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
  frontend_.DialogClosed(*this);
  client_->OnClosed(step);
  client_ = {};
}

void DialogWindow::CasesChanged() {
  if (!open_) return;
  const auto self = shared_from_this();
  const CallScope scope(owner_);
  RefreshDataLine();
  client_->OnCasesChanged();
}

bool DialogWindow::Press(int controlId) {
  Control* control = FindUsable(controlId);
  if (control == nullptr) return false;
  if (control->controlClass == vlm::kCheckBox) {
    CheckDlgButton(controlId, !control->checked);
  } else if (control->controlClass == vlm::kRadioButton) {
    for (const int changed : controls_.CheckRadioButton(*control)) frontend_.ControlChanged(*this, changed);
  }
  SendCommand(controlId);
  return true;
}

bool DialogWindow::SelectPage(int pageIndex) {
  const int before = controls_.SelectedPage();
  if (!TakesCommands() || !controls_.SelectPage(pageIndex)) return false;
  if (before != pageIndex) frontend_.PageSelected(*this);
  return true;
}

void DialogWindow::ShowPageOf(int controlId) {
  const Control* control = Find(controlId);
  if (control == nullptr || control->pageIndex < 0 || control->pageIndex == SelectedPage()) return;
  controls_.SelectPage(control->pageIndex);
  if (open_) frontend_.PageSelected(*this);
}

void DialogWindow::SetLocked(bool locked) {
  if (locked_ == locked) return;
  locked_ = locked;
  AvailabilityChanged();
}

void DialogWindow::AvailabilityChanged() {
  if (open_) frontend_.AvailabilityChanged(*this);
}

bool DialogWindow::TypeText(int controlId, std::string_view text) {
  Control* control = FindUsable(controlId);
  if (control == nullptr || !control->IsEdit()) return false;
  control->text = text;
  control->error = control->RangeError(owner_.DecimalSeparator());
  frontend_.ControlChanged(*this, controlId);
  return true;
}

bool DialogWindow::ChooseItem(int controlId, int itemIndex) {
  Control* control = FindUsable(controlId);
  if (control == nullptr || control->controlClass != vlm::kDropDown || itemIndex < 0 ||
      itemIndex >= static_cast<int>(control->items.size())) {
    return false;
  }
  control->selectedItem = itemIndex;
  frontend_.ControlChanged(*this, controlId);
  SendCommand(controlId);
  return true;
}

void DialogWindow::SendCommand(int controlId) {
  const auto self = shared_from_this();
  const CallScope scope(owner_);
  if (!client_) return;
  const vlm::Ref<vlm::IDialogClient> client = client_;
  runningCommands_.push_back(controlId);
  if (runningCommands_.size() == 1) AvailabilityChanged();
  client->OnCommand(controlId);
  runningCommands_.pop_back();
  if (runningCommands_.empty()) AvailabilityChanged();
}

template <typename Change>
void DialogWindow::ChangeControl(int controlId, Change change) {
  Guarded([&] {
    if (!controls_.Change(controlId, change)) {
      owner_.Misbehaved("The module used control " + std::to_string(controlId) +
                        ", which is not in dialog template " + std::to_string(templateId_) + ".");
    } else if (open_) {
      frontend_.ControlChanged(*this, controlId);
    }
  });
}

void DialogWindow::AddDlgTabs(int tabControlId, const int* pageTemplateIds, int pageCount) {
  Guarded([&] {
    if (Find(tabControlId) == nullptr) {
      owner_.Misbehaved("The module put pages on control " + std::to_string(tabControlId) +
                        ", which is not in dialog template " + std::to_string(templateId_) + ".");
    }
    for (int index = 0; index < pageCount; ++index) {
      const vlm::DialogTemplate* page = resources_.FindDialogTemplate(pageTemplateIds[index]);
      if (page == nullptr) {
        owner_.Misbehaved("The module asked for page template " + std::to_string(pageTemplateIds[index]) +
                          ", which it does not have.");
        continue;
      }
      controls_.AddPage(*page, tabControlId);
    }
  });
}

void DialogWindow::SelectDlgTab(int /*tabControlId*/, int pageIndex) {
  Guarded([&] {
    const int before = SelectedPage();
    if (controls_.SelectPage(pageIndex) && before != pageIndex && open_) frontend_.PageSelected(*this);
  });
}

void DialogWindow::InitOpeningDialog() {
  Guarded([&] { RefreshDataLine(); });
}

void DialogWindow::RefreshDataLine() {
  dataLine_ = owner_.Data().fileName;
  const CaseSelectionText selection = owner_.CaseSelection();
  if (!selection.include.empty()) dataLine_ += "; cases where " + selection.include;
  if (!selection.exclude.empty()) dataLine_ += "; except cases where " + selection.exclude;
  if (const int weight = owner_.CaseWeight(); weight != 0) {
    dataLine_ += "; weighted by " + owner_.Data().Variable(weight).name;
  }
  if (open_) frontend_.DataLineChanged(*this);
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

void DialogWindow::OfferValues(int controlId, int variableNumber) {
  ChangeControl(controlId, [&](Control& control) { control.valuesOf = variableNumber; });
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
    frontend_.ShowEditError(*this, controlId, vlm::TextOf(text, length));
  });
}

void DialogWindow::DisplayInstError(const char* text, int length) {
  Guarded([&] { frontend_.ShowInstructionError(*this, vlm::TextOf(text, length)); });
}

int DialogWindow::VariableListsDialog(const char* title, int titleLength,
                                      const vlm::VariableListRequest* lists, int listCount) {
  return Guarded(
      [&] {
        return questions_.AskVariableLists(vlm::TextOf(title, titleLength),
                                           {lists, static_cast<std::size_t>(listCount)})
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::CodesListDialog(const char* title, int titleLength, const vlm::CodesRequest* variables,
                                  int variableCount, int shownAtOnce, double minimum, double maximum,
                                  vlm::ICodesSink* codes) {
  return Guarded(
      [&] {
        return questions_.AskCodes(vlm::TextOf(title, titleLength),
                                   {variables, static_cast<std::size_t>(variableCount)}, shownAtOnce, minimum,
                                   maximum, *codes)
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::DefineSelCond() {
  return Guarded([&] { return questions_.AskCaseSelection() ? 1 : 0; }, 0);
}

int DialogWindow::DefineWeight() {
  return Guarded([&] { return questions_.AskCaseWeight() ? 1 : 0; }, 0);
}

int DialogWindow::OpenQvdFile() {
  return Guarded(
      [&] {
        if (!questions_.AskDataFile()) return 0;
        RefreshDataLine();
        return 1;
      },
      0);
}

int DialogWindow::SaveFileDialog(const char* title, int titleLength, const char* extension,
                                 int extensionLength, vlm::ITextSink* path) {
  return Guarded(
      [&] {
        const std::optional<std::string> answer =
            questions_.AskSaveFile(vlm::TextOf(title, titleLength), vlm::TextOf(extension, extensionLength));
        if (!answer) return 0;
        path->Assign(answer->data(), vlm::LengthOf(*answer));
        return 1;
      },
      0);
}

int DialogWindow::ConfirmReplacing(const char* const* paths, int count) {
  return Guarded(
      [&] {
        return questions_.ConfirmReplacing({paths, static_cast<std::size_t>(count)}) ? 1 : 0;
      },
      0);
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

void DialogWindow::SendFrameworkCommand(int command) {
  Guarded([&] { owner_.FrameworkCommand(command); });
}

void DialogWindow::ExitDialog(int step) {
  Guarded([&] {
    if (requestedStep_) {
      owner_.Misbehaved("The module left a dialog by step " + std::to_string(step) +
                        " after it had left it by step " + std::to_string(*requestedStep_) +
                        "; the first counts.");
      return;
    }
    // If no command is running, the dialog closes at the end of this scope.
    const auto self = shared_from_this();
    const CallScope scope(owner_);
    requestedStep_ = step;
  });
}

int DialogWindow::PressFromScript(int controlId, vlm::IAutomationResult* result) {
  const auto self = shared_from_this();
  owner_.TakeAutomationError();
  if (!runningCommands_.empty()) return SetFailure(result, vlm::kAutomationErrorCode, "The dialog is busy.");
  if (controlId == kOkButton) frontend_.OkCalled(*this);
  const Control* control = FindUsable(controlId);
  if (control != nullptr) SendCommand(controlId);
  if (const std::optional<AutomationError> error = owner_.TakeAutomationError()) {
    return SetFailure(result, error->Code(), error->what());
  }
  if (controlId != kOkButton) return vlm::kDispatchOk;
  // A run that succeeded leaves for the step of its results.
  const bool hasRun = requestedStep_.value_or(0) != 0;
  if (!hasRun) frontend_.OkRefused(*this);
  if (result != nullptr) result->SetInt(hasRun ? 1 : 0);
  return vlm::kDispatchOk;
}

// Stores the answer to a question; a notice says so when this host has no such question.
void DialogWindow::PutAnswer(int dispatchId, const vlm::AutomationValue& value) {
  switch (dispatchId) {
    case kResultsVariables:
      questions_.scripted.variables = Variant(value);
      return;
    case kResultsCodes:
      questions_.scripted.codes = Variant(value);
      return;
    case kResultsSaveFileName:
      questions_.scripted.saveFileName = Variant(value);
      return;
    default:
      break;
  }
  vlm::IAutomationObject* const object = client_->GetAutomationObject();
  const vlm::AutomationMember* const member =
      object == nullptr ? nullptr : vlm::FindMember(object->GetInterface(), dispatchId);
  owner_.Notice(std::string(member == nullptr ? "The setting" : member->name) +
                " has no effect: this host asks no such question.");
}

int DialogWindow::InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments,
                                  int argumentCount, vlm::IAutomationResult* result) {
  if (!open_) {
    if (result != nullptr) {
      constexpr std::string_view kClosed = "The dialog is closed.";
      result->SetError(0, kClosed.data(), vlm::LengthOf(kClosed));
    }
    return vlm::kDispatchFailed;
  }
  return Guarded(
      [&]() -> int {
        const CallScope scope(owner_);
        const bool isResults = dispatchId >= kResultsSelection && dispatchId <= kResultsOutputFields;
        const int expectedKind = isResults                 ? vlm::kInvokePut
                                 : dispatchId >= kOkMember ? vlm::kInvokeMethod
                                                           : vlm::kInvokeGet;
        if (dispatchId < 0 || dispatchId > kResultsOutputFields || (kind & expectedKind) == 0) {
          return vlm::kDispatchMemberNotFound;
        }
        if (argumentCount != (isResults ? 1 : 0)) return vlm::kDispatchBadParameterCount;
        if (isResults) {
          if (dispatchId == kResultsOption && !IsWhole(arguments[0])) return vlm::kDispatchTypeMismatch;
          PutAnswer(dispatchId, arguments[0]);
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
