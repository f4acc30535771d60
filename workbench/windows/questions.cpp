#include "workbench/windows/questions.h"

#include <algorithm>
#include <optional>
#include <set>

#include "contract/com/values.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/windows/modal_dialog.h"

namespace velmora {

namespace {

using vlmcom::Utf16;

constexpr int kMargin = 6;  // dialog units

std::string VariableText(const Table& table, int number) {
  return std::to_string(number) + " - " + table.Variable(number).name;
}

// A list box for each of the lists, and below it the same choice as a text of variable numbers. The text decides:
// it can name what the list box does not show.
class VariableListsDialog final : public ModalDialog {
 public:
  VariableListsDialog(const Table& table, std::string_view title, std::vector<VariableListQuestion>& lists)
      : ModalDialog(Utf16(title), std::max(kMargin + static_cast<int>(lists.size()) * kColumn, 200), 180),
        table_(table),
        lists_(lists) {
    for (int index = 0; index < Count(); ++index) {
      const int x = kMargin + index * kColumn;
      const VariableListQuestion& list = lists_[static_cast<std::size_t>(index)];
      AddLabel(kFirstCaption + index, list.caption, {x, 6, kColumn - kMargin, 9});
      const DWORD several = list.maximumCount > 1 ? LBS_EXTENDEDSEL : 0;
      Template().Add(
          kFirstList + index, L"LISTBOX", L"",
          LBS_NOTIFY | LBS_NOINTEGRALHEIGHT | several | WS_BORDER | WS_VSCROLL | WS_TABSTOP | WS_VISIBLE,
          {x, 17, kColumn - kMargin, 128});
      AddEdit(kFirstEdit + index, {x, 149, kColumn - kMargin, 12});
    }
    AddButton(kAppropriate, "Show &appropriate variables only", {kMargin, 167, 180, 10}, BS_AUTOCHECKBOX);
  }

 private:
  enum : int { kFirstCaption = 100, kFirstList = 200, kFirstEdit = 300, kAppropriate = 400 };
  static constexpr int kColumn = 116;

  int Count() const { return static_cast<int>(lists_.size()); }

  void Fill() override {
    // What is offered first: the variables that the list is for.
    CheckDlgButton(Handle(), kAppropriate, BST_CHECKED);
    for (int index = 0; index < Count(); ++index) {
      SetText(kFirstEdit + index, PrintVariableList(lists_[static_cast<std::size_t>(index)].variables));
      FillList(index);
    }
  }

  bool IsOffered(const VariableListQuestion& list, int number, const std::set<int>& chosen) const {
    if (IsDlgButtonChecked(Handle(), kAppropriate) != BST_CHECKED || list.variableKind == 0) return true;
    const bool categorical = table_.Variable(number).measurement == Measurement::kCategorical;
    return (list.variableKind == 1) == categorical || chosen.contains(number);
  }

  void FillList(int index) {
    const HWND box = Item(kFirstList + index);
    const std::optional<std::set<int>> chosen = Chosen(index);
    SendMessageW(box, WM_SETREDRAW, FALSE, 0);
    SendMessageW(box, LB_RESETCONTENT, 0, 0);
    for (int number = 1; number <= table_.VariableCount(); ++number) {
      if (!IsOffered(lists_[static_cast<std::size_t>(index)], number, chosen.value_or(std::set<int>())))
        continue;
      const LRESULT item = SendMessageW(
          box, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Utf16(VariableText(table_, number)).c_str()));
      SendMessageW(box, LB_SETITEMDATA, static_cast<WPARAM>(item), number);
    }
    if (chosen) SelectInList(index, *chosen);
    SendMessageW(box, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(box, nullptr, TRUE);
  }

  bool TakesSeveral(int index) const { return lists_[static_cast<std::size_t>(index)].maximumCount > 1; }

  void SelectInList(int index, const std::set<int>& chosen) {
    const HWND box = Item(kFirstList + index);
    if (TakesSeveral(index)) {
      SendMessageW(box, LB_SETSEL, FALSE, -1);
    } else {
      SendMessageW(box, LB_SETCURSEL, static_cast<WPARAM>(-1), 0);
    }
    const LRESULT count = SendMessageW(box, LB_GETCOUNT, 0, 0);
    for (LRESULT item = 0; item < count; ++item) {
      const auto place = static_cast<WPARAM>(item);
      if (!chosen.contains(static_cast<int>(SendMessageW(box, LB_GETITEMDATA, place, 0)))) continue;
      if (TakesSeveral(index)) {
        SendMessageW(box, LB_SETSEL, TRUE, item);
      } else {
        SendMessageW(box, LB_SETCURSEL, place, 0);
      }
    }
  }

  // The variables that the text names; nothing while it is half typed.
  std::optional<std::set<int>> Chosen(int index) const {
    try {
      const std::vector<int> numbers = ParseVariableList(table_, TextOf(kFirstEdit + index));
      return std::set<int>(numbers.begin(), numbers.end());
    } catch (const DataError&) {
      return std::nullopt;
    }
  }

  void Command(int id, int code) override {
    if (id == kAppropriate && code == BN_CLICKED) {
      for (int index = 0; index < Count(); ++index) FillList(index);
    } else if (id >= kFirstList && id < kFirstList + Count() && code == LBN_SELCHANGE) {
      TakeFromList(id - kFirstList);
    } else if (id >= kFirstEdit && id < kFirstEdit + Count() && code == EN_CHANGE) {
      if (const auto chosen = Chosen(id - kFirstEdit)) SelectInList(id - kFirstEdit, *chosen);
    }
  }

  void TakeFromList(int index) {
    const HWND box = Item(kFirstList + index);
    // What the text names and the box does not show stays chosen.
    std::set<int> numbers;
    if (TakesSeveral(index)) numbers = Chosen(index).value_or(numbers);
    const LRESULT count = SendMessageW(box, LB_GETCOUNT, 0, 0);
    for (LRESULT item = 0; item < count; ++item) {
      const auto place = static_cast<WPARAM>(item);
      const int number = static_cast<int>(SendMessageW(box, LB_GETITEMDATA, place, 0));
      if (SendMessageW(box, LB_GETSEL, place, 0) > 0) {
        numbers.insert(number);
      } else {
        numbers.erase(number);
      }
    }
    SetText(kFirstEdit + index, PrintVariableList(std::vector<int>(numbers.begin(), numbers.end())));
  }

  bool Accept() override {
    std::vector<std::vector<int>> answers;
    for (int index = 0; index < Count(); ++index) {
      try {
        answers.push_back(ParseVariableList(table_, TextOf(kFirstEdit + index)));
      } catch (const DataError& error) {
        Complain(kFirstEdit + index, error.what());
        return false;
      }
    }
    for (std::size_t index = 0; index < answers.size(); ++index)
      lists_[index].variables = std::move(answers[index]);
    return true;
  }

  const Table& table_;
  std::vector<VariableListQuestion>& lists_;
};

// So many variables at a time as the question says, each with its codes as a text and a button for all of them.
class CodesDialog final : public ModalDialog {
 public:
  CodesDialog(const DialogWindow& window, CodesQuestion& question)
      : ModalDialog(Utf16(question.title), 320, 12 + Rows(question) * kRow + 20),
        window_(window),
        question_(question) {
    question_.choices.resize(question_.variables.size());
    for (std::size_t index = 0; index < question_.variables.size(); ++index) {
      const CodeChoice& choice = question_.choices[index];
      texts_.push_back(choice.all ? "*" : PrintCodes(ColumnOf(index), choice.codes));
    }
    for (int row = 0; row < Rows(question_); ++row) {
      AddLabel(kFirstName + row, "", {kMargin, 9 + row * kRow, 92, 9});
      AddEdit(kFirstEdit + row, {102, 7 + row * kRow, 160, 12});
      AddButton(kFirstAll + row, "All", {268, 6 + row * kRow, 46, 14}, BS_PUSHBUTTON);
    }
    const int y = 10 + Rows(question_) * kRow;
    AddButton(kPrevious, "&Previous", {kMargin, y, 60, 14}, BS_PUSHBUTTON);
    AddButton(kNext, "&Next", {70, y, 60, 14}, BS_PUSHBUTTON);
    AddLabel(kPosition, "", {138, y + 3, 176, 9});
  }

 private:
  enum : int {
    kFirstName = 100,
    kFirstEdit = 200,
    kFirstAll = 300,
    kPrevious = 400,
    kNext = 401,
    kPosition = 402
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
    if (code != BN_CLICKED) return;
    const auto rows = static_cast<std::size_t>(Rows(question_));
    if (id == kPrevious || id == kNext) {
      Keep();
      ShowFrom(id == kNext ? first_ + rows : first_ - std::min(first_, rows));
    } else if (id >= kFirstAll && id < kFirstAll + Rows(question_)) {
      ChooseAll(id - kFirstAll);
    }
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
  std::vector<std::string> texts_;  // as a person left them, one per variable
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

bool AskVariableListsNatively(HWND owner, const Table& table, std::string_view title,
                              std::vector<VariableListQuestion>& lists) {
  return VariableListsDialog(table, title, lists).Run(owner);
}

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
