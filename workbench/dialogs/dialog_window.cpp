// The dialog runtime: control state, commands, and the host's own questions.
#include "workbench/dialogs/dialog_window.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <exception>
#include <utility>

#include "workbench/automation/sinks.h"
#include "workbench/data/errors.h"

namespace velmora {

namespace {

// A face that nobody looks at answers the same each time; a person gives up earlier.
constexpr int kMaximumAttempts = 100;

std::string_view Trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  text = Trimmed(text);
  // A sign is the user's to write, but only one.
  if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Takes the point and the user's separator for the decimal mark; "inf" and "nan" are no numbers of an edit.
std::optional<double> ParseRealText(std::string_view text, std::string_view separator) {
  std::string plain(Trimmed(text));
  if (!separator.empty() && separator != ".") {
    const std::size_t position = plain.find(separator);
    if (position != std::string::npos) plain.replace(position, separator.size(), ".");
  }
  const std::optional<double> value = ParseNumber<double>(plain);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

// Shortest text that reads back to the same double; six digits where the edit shows truncated numbers.
std::string RealText(double value, bool truncate, std::string_view separator) {
  char buffer[40];
  const auto [end, error] =
      truncate ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6)
               : std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, error == std::errc() ? end : buffer);
  const std::size_t point = text.find('.');
  if (point != std::string::npos && !separator.empty()) text.replace(point, 1, separator);
  return text;
}

class CallScope {
 public:
  explicit CallScope(DialogOwner& owner) : owner_(owner) { owner_.BeginCall(); }
  ~CallScope() { owner_.EndCall(); }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  DialogOwner& owner_;
};

// The parts of a text between marks that stand outside double quotation marks.
std::vector<std::string> SplitOutsideQuotes(std::string_view text, char mark) {
  std::vector<std::string> parts(1);
  bool quoted = false;
  for (const char c : text) {
    if (c == '"') quoted = !quoted;
    if (c == mark && !quoted) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// What a script gave for several lists, one item each: an array of one value a list, or a text with the lists
// between '|'. One list takes the value itself. Lists that nothing was given for stay empty.
std::vector<Variant> ItemsOf(const Variant& value, std::size_t listCount) {
  std::vector<Variant> items;
  if (listCount == 1 && value.Type() != vlm::kAutomationText) {
    items = {value};
  } else if (value.Type() == vlm::kAutomationArray) {
    items = value.AsArray();
  } else if (value.Type() == vlm::kAutomationText) {
    for (std::string& part : SplitOutsideQuotes(value.AsText(), '|')) items.emplace_back(std::move(part));
  } else {
    items = {value};
  }
  if (items.size() > listCount) {
    throw DataError("There are " + std::to_string(listCount) + " lists to choose, and " +
                    std::to_string(items.size()) + " were given.");
  }
  items.resize(listCount);
  return items;
}

// Numbers and value labels; a label with blanks stands in double quotation marks.
std::vector<double> CodesOf(const Variant& value, const Column& variable) {
  std::vector<double> codes;
  const auto add = [&](const Variant& item) {
    const bool isText = item.Type() == vlm::kAutomationText;
    const double* const labelled = isText ? variable.ValueOf(item.AsText()) : nullptr;
    const std::optional<double> number = isText ? ParseRealText(item.AsText(), ".") : item.AsReal();
    if (labelled == nullptr && !number) {
      throw DataError("\"" + item.AsText() + "\" is neither a code nor a value label of " + variable.name +
                      ".");
    }
    codes.push_back(labelled != nullptr ? *labelled : *number);
  };
  switch (value.Type()) {
    case vlm::kAutomationEmpty:
      break;
    case vlm::kAutomationArray:
      for (const Variant& item : value.AsArray()) add(item);
      break;
    case vlm::kAutomationIntArray:
      for (const int code : value.AsIntegers()) add(code);
      break;
    case vlm::kAutomationText:
      for (std::string word : SplitOutsideQuotes(value.AsText(), ' ')) {
        std::erase(word, '"');
        if (!word.empty()) add(word);
      }
      break;
    default:
      add(value);
  }
  return codes;
}

int SetFailure(vlm::IAutomationResult* result, int code, std::string_view description) {
  if (result != nullptr) result->SetError(code, description.data(), LengthOf(description));
  return vlm::kDispatchException;
}

enum InheritedMember : int {
  kNameMember = 0,
  kApplicationMember = 1,
  kParentMember = 2,
  kOkMember = 3,
  kCancelMember = 4,
  kFirstResultsMember = 5,
  kResultsVariables = 7,
  kResultsCodes = 9,
  kResultsSaveFileName = 10,
  kLastResultsMember = 12
};

}  // namespace

bool Control::InRange(std::string_view decimalSeparator) const {
  if (!minimum || !maximum) return true;
  std::optional<double> value;
  if (controlClass == vlm::kIntegerEdit) {
    if (const auto whole = ParseNumber<int>(text)) value = *whole;
  } else {
    value = ParseRealText(text, decimalSeparator);
  }
  return value && *minimum <= *value && *value <= *maximum;
}

std::string_view IconMark(std::string_view caption) {
  if (caption.starts_with('!')) {
    const std::size_t end = caption.find_first_not_of("0123456789", 1);
    return caption.substr(1, (end == std::string_view::npos ? caption.size() : end) - 1);
  }
  // One small letter in front of the capital that the caption begins with.
  const std::size_t first = caption.starts_with("i&") || caption.starts_with("q&") ? 2 : 1;
  const bool marked = caption.size() > first && (caption[0] == 'i' || caption[0] == 'q') &&
                      caption[first] >= 'A' && caption[first] <= 'Z';
  return caption.substr(0, marked ? 1 : 0);
}

std::string PlainCaption(std::string_view caption) {
  caption.remove_prefix(IconMark(caption).size() + (caption.starts_with('!') ? 1 : 0));
  std::string plain;
  for (std::size_t index = 0; index < caption.size(); ++index) {
    // "&&" is an ampersand to be read.
    if (caption[index] == '&' && ++index == caption.size()) break;
    plain += caption[index];
  }
  return plain;
}

char Accelerator(std::string_view caption) {
  for (std::size_t index = 0; index + 1 < caption.size(); ++index) {
    if (caption[index] != '&') continue;
    const char letter = caption[++index];
    if (letter != '&') return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return 0;
}

template <typename Function>
auto DialogWindow::Guarded(Function function, decltype(function()) failure) noexcept -> decltype(function()) {
  try {
    return function();
  } catch (...) {
    owner_.KeepCurrentException();
    return failure;
  }
}

template <typename Function>
void DialogWindow::Guarded(Function function) noexcept {
  try {
    function();
  } catch (...) {
    owner_.KeepCurrentException();
  }
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
    const Reference<vlm::IDialogClient> client = client_;
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
    control.text = TextOf(text, length);
    control.error.clear();
  });
}

void DialogWindow::GetDlgItemText(int controlId, vlm::ITextSink* text) {
  const Control* control = Find(controlId);
  if (control == nullptr) {
    text->Assign(nullptr, 0);
  } else {
    text->Assign(control->text.data(), LengthOf(control->text));
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
  const auto number = control == nullptr ? std::nullopt : ParseNumber<int>(control->text);
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
                             : std::string(TextOf(noneText, noneLength));
  });
}

void DialogWindow::ClearDropDown(int controlId) {
  ChangeControl(controlId, [](Control& control) {
    control.items.clear();
    control.selectedItem = -1;
  });
}

void DialogWindow::AddDropDownItem(int controlId, const char* text, int length) {
  ChangeControl(controlId, [&](Control& control) { control.items.emplace_back(TextOf(text, length)); });
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
  ChangeControl(controlId, [&](Control& control) { control.error = TextOf(text, length); });
  Guarded([&] {
    ShowPageOf(controlId);
    face_.ShowEditError(*this, controlId, TextOf(text, length));
  });
}

void DialogWindow::DisplayInstError(const char* text, int length) {
  Guarded([&] { face_.ShowInstructionError(*this, TextOf(text, length)); });
}

template <typename Ask, typename Use>
bool DialogWindow::AskUntilTaken(Ask ask, Use use) {
  std::string lastReason;
  for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
    if (!ask()) return false;
    try {
      use();
      return true;
    } catch (const DataError& error) {
      // A script's answer would be the same again.
      const bool repeated = owner_.UnderAutomation() || lastReason == error.what();
      lastReason = error.what();
      face_.ShowInstructionError(*this, lastReason);
      if (repeated) return false;
    }
  }
  return false;
}

void DialogWindow::CheckLists(const std::vector<VariableListQuestion>& questions) const {
  for (const VariableListQuestion& question : questions) {
    const std::string list = "The list \"" + PlainCaption(question.caption) + "\" ";
    if (static_cast<int>(question.variables.size()) > question.maximumCount) {
      throw DataError(list + "takes at most " + std::to_string(question.maximumCount) + " variables; " +
                      std::to_string(question.variables.size()) + " were given.");
    }
    std::vector<int> sorted = question.variables;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t index = 0; index < sorted.size(); ++index) {
      if (sorted[index] < 1 || sorted[index] > owner_.Data().VariableCount()) {
        throw DataError(list + "names variable " + std::to_string(sorted[index]) + "; the data have " +
                        std::to_string(owner_.Data().VariableCount()) + ".");
      }
      if (index > 0 && sorted[index] == sorted[index - 1]) {
        throw DataError(list + "names variable " + std::to_string(sorted[index]) + " twice.");
      }
    }
  }
}

int DialogWindow::VariableListsDialog(const char* title, int titleLength,
                                      const vlm::VariableListRequest* lists, int listCount) {
  return Guarded(
      [&] {
        std::vector<VariableListQuestion> questions;
        for (int index = 0; index < listCount; ++index) {
          const vlm::VariableListRequest& list = lists[index];
          const int count = std::clamp(*list.count, 0, list.capacity);
          questions.push_back({std::string(TextOf(list.caption, list.captionLength)), list.variableKind,
                               std::min(list.maximumCount, list.capacity),
                               std::vector<int>(list.variables, list.variables + count)});
        }
        const std::vector<VariableListQuestion> asked = questions;
        const auto scripted = resultsSettings_.find(kResultsVariables);
        const bool fromScript = owner_.UnderAutomation() && scripted != resultsSettings_.end();
        const auto ask = [&] {
          if (!fromScript) return face_.AskVariableLists(*this, TextOf(title, titleLength), questions);
          const std::vector<Variant> given = ItemsOf(scripted->second, questions.size());
          for (std::size_t index = 0; index < questions.size(); ++index) {
            const Variant& item = given[index];
            questions[index].variables = item.IsEmpty() ? std::vector<int>()
                                         : item.Type() == vlm::kAutomationText
                                             ? owner_.ParseVariables(item.AsText())
                                             : item.AsIntegers();
          }
          return true;
        };
        if (!AskUntilTaken(ask, [&] { CheckLists(questions); })) return 0;
        for (int index = 0; index < listCount; ++index) {
          const std::vector<int>& chosen = questions[static_cast<std::size_t>(index)].variables;
          std::copy(chosen.begin(), chosen.end(), lists[index].variables);
          *lists[index].count = static_cast<int>(chosen.size());
        }
        return 1;
      },
      0);
}

int DialogWindow::CodesListDialog(const char* title, int titleLength, const int* variables, int variableCount,
                                  int shownAtOnce, double minimum, double maximum, vlm::ICodesSink* codes) {
  return Guarded(
      [&] {
        CodesQuestion question{std::string(TextOf(title, titleLength)),
                               {variables, variables + variableCount},
                               shownAtOnce,
                               minimum,
                               maximum,
                               {}};
        question.codes.resize(static_cast<std::size_t>(variableCount));
        const auto scripted = resultsSettings_.find(kResultsCodes);
        const bool fromScript = owner_.UnderAutomation() && scripted != resultsSettings_.end();
        const auto ask = [&] {
          if (!fromScript) return face_.AskCodes(*this, question);
          const std::vector<Variant> given = ItemsOf(scripted->second, question.codes.size());
          for (std::size_t index = 0; index < question.codes.size(); ++index) {
            question.codes[index] = CodesOf(given[index], owner_.Data().Variable(variables[index]));
          }
          return true;
        };
        const auto check = [&] {
          question.codes.resize(static_cast<std::size_t>(variableCount));
          for (const std::vector<double>& list : question.codes) {
            for (const double code : list) {
              if (code >= minimum && code <= maximum) continue;
              throw DataError("The code " + RealText(code, false, ".") + " lies outside " +
                              RealText(minimum, false, ".") + " to " + RealText(maximum, false, ".") + ".");
            }
          }
        };
        if (!AskUntilTaken(ask, check)) return 0;
        codes->Clear();
        for (int index = 0; index < variableCount; ++index) {
          for (const double code : question.codes[static_cast<std::size_t>(index)])
            codes->AppendCode(index, code);
        }
        return 1;
      },
      0);
}

int DialogWindow::DefineSelCond() {
  return Guarded(
      [&] {
        CaseSelectionText selection = owner_.CaseSelection();
        return AskUntilTaken([&] { return face_.AskCaseSelection(*this, selection); },
                             [&] {
                               owner_.SetCaseSelection(selection);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::DefineWeight() {
  return Guarded(
      [&] {
        int variableNumber = owner_.CaseWeight();
        return AskUntilTaken([&] { return face_.AskCaseWeight(*this, variableNumber); },
                             [&] {
                               owner_.SetCaseWeight(variableNumber);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::OpenQvdFile() {
  return Guarded(
      [&] {
        std::optional<std::string> path;
        const auto ask = [&] { return (path = face_.AskDataFile(*this)).has_value(); };
        return AskUntilTaken(ask,
                             [&] {
                               owner_.OpenDataFile(*path);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::SaveFileDialog(const char* title, int titleLength, const char* extension,
                                 int extensionLength, vlm::ITextSink* path) {
  return Guarded(
      [&] {
        std::optional<std::string> answer;
        const auto scripted = resultsSettings_.find(kResultsSaveFileName);
        if (owner_.UnderAutomation() && scripted != resultsSettings_.end()) {
          answer = scripted->second.AsText();
        } else {
          answer = face_.AskSaveFile(*this, TextOf(title, titleLength), TextOf(extension, extensionLength));
        }
        if (!answer || answer->empty()) return 0;
        path->Assign(answer->data(), LengthOf(*answer));
        return 1;
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
  const Control* control = FindUsable(controlId);
  if (control != nullptr) SendCommand(controlId);
  if (const std::optional<AutomationError> error = owner_.TakeAutomationError()) {
    return SetFailure(result, error->Code(), error->what());
  }
  // A run that succeeded leaves for the step of its results.
  if (controlId == kOkButton && result != nullptr) result->SetInt(requestedStep_.value_or(0) != 0 ? 1 : 0);
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
        StringSink name;
        switch (dispatchId) {
          case kNameMember:
            client_->GetAutomationWindowText(&name);
            result->SetText(name.text.data(), LengthOf(name.text));
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
