#include "workbench/windows/questions.h"

#include <algorithm>
#include <span>

#include "contract/com/values.h"
#include "workbench/data/errors.h"
#include "workbench/windows/modal_dialog.h"

namespace velmora {

namespace {

using vlmcom::Utf16;

constexpr int kMargin = 6;  // dialog units

std::string VariableText(const Table& table, int number) {
  return table.Variable(number).name + " (" + std::to_string(number) + ")";
}

// As many variables at a time as the question says, each with its codes as a text and a button for
// all of them; below, the values of the variable that has the keyboard focus.
class CodesDialog final : public ModalDialog {
 public:
  CodesDialog(const DialogWindow& window, CodesQuestion& question)
      : ModalDialog(Utf16(question.title), 400, 12 + Rows(question) * kRow + 48),
        window_(window),
        question_(question) {
    question_.choices.resize(question_.variables.size());
    for (std::size_t index = 0; index < question_.variables.size(); ++index) {
      const CodeChoice& choice = question_.choices[index];
      texts_.push_back(choice.all ? "*" : PrintCodes(ColumnOf(index), choice.codes));
    }
    for (int row = 0; row < Rows(question_); ++row) {
      AddLabel(kFirstName + row, "", {kMargin, 9 + row * kRow, 172, 9});
      AddEdit(kFirstEdit + row, {182, 7 + row * kRow, 160, 12});
      AddButton(kFirstAll + row, "All", {348, 6 + row * kRow, 46, 14}, BS_PUSHBUTTON);
    }
    const int y = 10 + Rows(question_) * kRow;
    AddLabel(kValues, "", {kMargin, y, 388, 26});
    AddButton(kPrevious, "&Previous", {kMargin, y + 30, 52, 14}, BS_PUSHBUTTON);
    AddButton(kNext, "&Next", {kMargin + 56, y + 30, 52, 14}, BS_PUSHBUTTON);
    AddLabel(kPosition, "", {kMargin + 116, y + 33, 160, 9});
    AddButton(kAllOfAll, "&All codes of all variables", {284, y + 30, 110, 14}, BS_PUSHBUTTON);
  }

 private:
  enum : int {
    kFirstName = 100,
    kFirstEdit = 200,
    kFirstAll = 300,
    kPrevious = 400,
    kNext = 401,
    kPosition = 402,
    kValues = 403,
    kAllOfAll = 404
  };
  static constexpr int kRow = 18;

  static int Rows(const CodesQuestion& question) {
    const int all = static_cast<int>(question.variables.size());
    return std::clamp(question.shownAtOnce > 0 ? std::min(question.shownAtOnce, all) : all, 1, 8);
  }
  const Column& ColumnOf(std::size_t index) const {
    return window_.Data().Variable(question_.variables[index]);
  }

  void Fill() override { ShowFrom(0); }

  void ShowFrom(std::size_t first) {
    first_ = first;
    const std::size_t count = question_.variables.size();
    for (int row = 0; row < Rows(question_); ++row) {
      const std::size_t index = first + static_cast<std::size_t>(row);
      const bool used = index < count;
      for (const int id : {kFirstName + row, kFirstEdit + row, kFirstAll + row}) {
        ShowWindow(Item(id), used ? SW_SHOW : SW_HIDE);
      }
      if (!used) continue;
      SetText(kFirstName + row, VariableText(window_.Data(), question_.variables[index]) + ":");
      SetText(kFirstEdit + row, texts_[index]);
    }
    const std::size_t last = std::min(count, first + static_cast<std::size_t>(Rows(question_)));
    EnableWindow(Item(kPrevious), first > 0);
    EnableWindow(Item(kNext), last < count);
    SetText(kPosition, "Variables " + std::to_string(first + 1) + " to " + std::to_string(last) + " of " +
                           std::to_string(count));
  }

  void Keep() {
    for (int row = 0; row < Rows(question_); ++row) {
      const std::size_t index = first_ + static_cast<std::size_t>(row);
      if (index < texts_.size()) texts_[index] = TextOf(kFirstEdit + row);
    }
  }

  void Command(int id, int code) override {
    if (id >= kFirstEdit && id < kFirstEdit + Rows(question_) && code == EN_SETFOCUS)
      return ShowValues(first_ + static_cast<std::size_t>(id - kFirstEdit));
    if (code != BN_CLICKED) return;
    const auto rows = static_cast<std::size_t>(Rows(question_));
    if (id == kPrevious || id == kNext) {
      Keep();
      ShowFrom(id == kNext ? first_ + rows : first_ - std::min(first_, rows));
    } else if (id == kAllOfAll) {
      texts_.assign(texts_.size(), "*");
      ShowFrom(first_);
    } else if (id >= kFirstAll && id < kFirstAll + Rows(question_)) {
      ChooseAll(id - kFirstAll);
    }
  }

  // The values as they can be written into the field, as many as the label has room for.
  void ShowValues(std::size_t index) {
    constexpr std::size_t kMostLetters = 200;
    if (index >= question_.variables.size()) return;
    const Column& column = ColumnOf(index);
    std::string text = "Values of " + column.name + ":";
    for (const double value : window_.SelectedValues(question_.variables[index])) {
      if (text.size() > kMostLetters) {
        text += " ...";
        break;
      }
      text += "  " + PrintCodes(column, std::span(&value, 1));
      const std::string* const label = column.LabelOf(value);
      if (label != nullptr && !label->empty()) text += " = " + *label;
    }
    SetText(kValues, text);
  }

  void ChooseAll(int row) { SetText(kFirstEdit + row, "*"); }

  bool Accept() override {
    Keep();
    std::vector<CodeChoice> choices;
    for (std::size_t index = 0; index < texts_.size(); ++index) {
      try {
        choices.push_back(ParseCodes(ColumnOf(index), texts_[index],
                                     [&] { return window_.SelectedValues(question_.variables[index]); }));
      } catch (const DataError& error) {
        const auto rows = static_cast<std::size_t>(Rows(question_));
        ShowFrom(index / rows * rows);
        Complain(kFirstEdit + static_cast<int>(index % rows), error.what());
        return false;
      }
    }
    question_.choices = std::move(choices);
    return true;
  }

  const DialogWindow& window_;
  CodesQuestion& question_;
  std::vector<std::string> texts_;  // as the user left them, one per variable
  std::size_t first_ = 0;           // index of the variable in the first row
};

class CaseSelectionDialog final : public ModalDialog {
 public:
  explicit CaseSelectionDialog(CaseSelectionText& selection)
      : ModalDialog(L"Case selection conditions", 300, 74), selection_(selection) {
    AddLabel(-1, "&Include cases for which this is true (empty for all):", {kMargin, 8, 288, 9});
    AddEdit(kInclude, {kMargin, 19, 288, 12});
    AddLabel(-1, "&Exclude cases for which this is true (empty for none):", {kMargin, 38, 288, 9});
    AddEdit(kExclude, {kMargin, 49, 288, 12});
  }

 private:
  enum : int { kInclude = 100, kExclude = 101 };
  void Fill() override {
    SetText(kInclude, selection_.include);
    SetText(kExclude, selection_.exclude);
  }
  bool Accept() override {
    selection_ = {TextOf(kInclude), TextOf(kExclude)};
    return true;
  }
  CaseSelectionText& selection_;
};

class CaseWeightDialog final : public ModalDialog {
 public:
  CaseWeightDialog(const Table& table, int& variableNumber)
      : ModalDialog(L"Case weights", 200, 34), table_(table), variableNumber_(variableNumber) {
    AddLabel(-1, "&Weight variable:", {kMargin, 10, 60, 9});
    Template().Add(kVariable, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP | WS_VISIBLE,
                   {70, 8, 124, 140});
  }

 private:
  enum : int { kVariable = 100 };
  void Fill() override {
    SendMessageW(Item(kVariable), CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L"none"));
    for (int number = 1; number <= table_.VariableCount(); ++number) {
      SendMessageW(Item(kVariable), CB_ADDSTRING, 0,
                   reinterpret_cast<LPARAM>(Utf16(VariableText(table_, number)).c_str()));
    }
    SendMessageW(Item(kVariable), CB_SETCURSEL, static_cast<WPARAM>(variableNumber_), 0);
  }
  bool Accept() override {
    variableNumber_ = std::max(0, static_cast<int>(SendMessageW(Item(kVariable), CB_GETCURSEL, 0, 0)));
    return true;
  }
  const Table& table_;
  int& variableNumber_;
};

}  // namespace

bool AskCodesNatively(HWND owner, const DialogWindow& window, CodesQuestion& question) {
  return CodesDialog(window, question).Run(owner);
}

bool AskCaseSelectionNatively(HWND owner, CaseSelectionText& selection) {
  return CaseSelectionDialog(selection).Run(owner);
}

bool AskCaseWeightNatively(HWND owner, const Table& table, int& variableNumber) {
  return CaseWeightDialog(table, variableNumber).Run(owner);
}

}  // namespace velmora
