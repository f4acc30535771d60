// The dialog that chooses variables: per list a list box, and below it the same choice as a text.
#include <algorithm>
#include <optional>
#include <set>

#include "contract/com/values.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/windows/modal_dialog.h"
#include "workbench/windows/questions.h"

namespace velmora {

namespace {

using vlmcom::Utf16;

std::wstring LowerCase(std::wstring text) {
  CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

// The text determines the choice: it can name variables that its list box does not show.
class VariableListsDialog final : public ModalDialog {
 public:
  VariableListsDialog(const Table& table, std::string_view title, std::vector<VariableListQuestion>& lists)
      : ModalDialog(Utf16(title), std::max(kMargin + Count(lists) * ColumnWidth(lists), 260), 200),
        table_(table),
        lists_(lists),
        shown_(lists.size()) {
    for (int number = 1; number <= table.VariableCount(); ++number) {
      const std::wstring name = Utf16(table.Variable(number).name);
      // The name comes first, so that typing its beginning finds it.
      texts_.push_back(name + L" (" + std::to_wstring(number) + L")");
      lowerNames_.push_back(LowerCase(name));
    }
    const int width = ColumnWidth(lists);
    for (int index = 0; index < Count(lists); ++index) {
      const int x = kMargin + index * width;
      const VariableListQuestion& list = lists_[static_cast<std::size_t>(index)];
      AddLabel(kFirstCaption + index, list.caption, {x, 6, width - kMargin, 9});
      const DWORD several = list.maximumCount > 1 ? LBS_EXTENDEDSEL : 0;
      Template().Add(kFirstList + index, L"LISTBOX", L"",
                     LBS_NOTIFY | LBS_NOINTEGRALHEIGHT | several | WS_BORDER | WS_VSCROLL | WS_HSCROLL |
                         WS_TABSTOP | WS_VISIBLE,
                     {x, 17, width - kMargin, 132});
      AddEdit(kFirstEdit + index, {x, 153, width - kMargin - (several ? 28 : 0), 12});
      if (several)
        AddButton(kFirstAll + index, "All", {x + width - kMargin - 26, 152, 26, 14}, BS_PUSHBUTTON);
    }
    AddLabel(-1, "&Find:", {kMargin, 174, 20, 9});
    AddEdit(kFind, {kMargin + 22, 172, 110, 12});
    AddButton(kAppropriate, "Show &appropriate variables only", {kMargin, 189, 140, 10}, BS_AUTOCHECKBOX);
  }

 private:
  enum : int {
    kFirstCaption = 100,
    kFirstList = 200,
    kFirstEdit = 300,
    kAppropriate = 400,
    kFind = 401,
    kFirstAll = 500
  };
  static constexpr int kMargin = 6;  // dialog units

  static int Count(const std::vector<VariableListQuestion>& lists) { return static_cast<int>(lists.size()); }
  // All lists fit on a screen of 1366 pixels.
  static int ColumnWidth(const std::vector<VariableListQuestion>& lists) {
    return std::clamp(620 / std::max(Count(lists), 1), 100, 156);
  }
  const VariableListQuestion& List(int index) const { return lists_[static_cast<std::size_t>(index)]; }
  bool TakesSeveral(int index) const { return List(index).maximumCount > 1; }

  void Fill() override {
    CheckDlgButton(Handle(), kAppropriate, BST_CHECKED);
    for (int index = 0; index < Count(lists_); ++index) {
      SetText(kFirstEdit + index, PrintVariableList(List(index).variables));
      FillList(index);
    }
  }

  bool IsOffered(const VariableListQuestion& list, int number, const std::set<int>& chosen,
                 const std::wstring& find) const {
    const auto place = static_cast<std::size_t>(number - 1);
    if (!find.empty()) return lowerNames_[place].find(find) != std::wstring::npos;
    if (IsDlgButtonChecked(Handle(), kAppropriate) != BST_CHECKED || list.variableKind == 0) return true;
    const bool categorical = table_.Variable(number).measurement == Measurement::kCategorical;
    return (list.variableKind == 1) == categorical || chosen.contains(number);
  }

  void FillList(int index) {
    const HWND box = Item(kFirstList + index);
    const std::optional<std::set<int>> chosen = Chosen(index);
    const std::wstring find = LowerCase(Utf16(TextOf(kFind)));
    std::vector<int>& shown = shown_[static_cast<std::size_t>(index)];
    shown.clear();
    SendMessageW(box, WM_SETREDRAW, FALSE, 0);
    SendMessageW(box, LB_RESETCONTENT, 0, 0);
    std::size_t longest = 0;
    for (int number = 1; number <= table_.VariableCount(); ++number) {
      if (!IsOffered(List(index), number, chosen.value_or(std::set<int>()), find)) continue;
      const std::wstring& text = texts_[static_cast<std::size_t>(number - 1)];
      SendMessageW(box, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
      shown.push_back(number);
      longest = std::max(longest, text.size());
    }
    RECT letter = {0, 0, 5, 0};  // dialog units of a wide letter
    MapDialogRect(Handle(), &letter);
    SendMessageW(box, LB_SETHORIZONTALEXTENT, longest * static_cast<std::size_t>(letter.right), 0);
    SendMessageW(box, WM_SETREDRAW, TRUE, 0);
    if (chosen) SelectInList(index, *chosen);
    InvalidateRect(box, nullptr, TRUE);
  }

  // Selects by ranges with the drawing off, so that thousands of variables take no time.
  void SelectInList(int index, const std::set<int>& chosen) {
    const HWND box = Item(kFirstList + index);
    const std::vector<int>& shown = shown_[static_cast<std::size_t>(index)];
    const auto isChosen = [&](int number) { return chosen.contains(number); };
    if (!TakesSeveral(index)) {
      const auto found = std::find_if(shown.begin(), shown.end(), isChosen);
      const auto place = found == shown.end() ? -1 : found - shown.begin();
      SendMessageW(box, LB_SETCURSEL, static_cast<WPARAM>(place), 0);
      return;
    }
    SendMessageW(box, WM_SETREDRAW, FALSE, 0);
    SendMessageW(box, LB_SETSEL, FALSE, -1);
    for (auto first = std::find_if(shown.begin(), shown.end(), isChosen); first != shown.end();) {
      const auto end = std::find_if_not(first, shown.end(), isChosen);
      const auto from = static_cast<WPARAM>(first - shown.begin());
      const auto to = static_cast<LPARAM>(end - shown.begin()) - 1;
      // The system takes a range of one item as a request to deselect it.
      if (static_cast<LPARAM>(from) == to) {
        SendMessageW(box, LB_SETSEL, TRUE, to);
      } else {
        SendMessageW(box, LB_SELITEMRANGEEX, from, to);
      }
      first = std::find_if(end, shown.end(), isChosen);
    }
    SendMessageW(box, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(box, nullptr, TRUE);
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
    const auto isOf = [&](int first) { return id >= first && id < first + Count(lists_); };
    if ((id == kAppropriate && code == BN_CLICKED) || (id == kFind && code == EN_CHANGE)) {
      for (int index = 0; index < Count(lists_); ++index) FillList(index);
    } else if (isOf(kFirstList) && code == LBN_SELCHANGE) {
      TakeFromList(id - kFirstList);
    } else if (isOf(kFirstEdit) && code == EN_CHANGE) {
      if (const auto chosen = Chosen(id - kFirstEdit)) SelectInList(id - kFirstEdit, *chosen);
    } else if (isOf(kFirstAll) && code == BN_CLICKED) {
      SendMessageW(Item(kFirstList + id - kFirstAll), LB_SETSEL, TRUE, -1);
      TakeFromList(id - kFirstAll);
    }
  }

  std::vector<int> SelectedItems(int index) const {
    const HWND box = Item(kFirstList + index);
    if (!TakesSeveral(index)) {
      const LRESULT place = SendMessageW(box, LB_GETCURSEL, 0, 0);
      return place < 0 ? std::vector<int>() : std::vector<int>{static_cast<int>(place)};
    }
    std::vector<int> items(
        static_cast<std::size_t>(std::max<LRESULT>(SendMessageW(box, LB_GETSELCOUNT, 0, 0), 0)));
    if (!items.empty())
      SendMessageW(box, LB_GETSELITEMS, items.size(), reinterpret_cast<LPARAM>(items.data()));
    return items;
  }

  void TakeFromList(int index) {
    // Variables that the text names and the box does not show stay chosen.
    std::set<int> numbers;
    if (TakesSeveral(index)) numbers = Chosen(index).value_or(numbers);
    const std::vector<int>& shown = shown_[static_cast<std::size_t>(index)];
    for (const int number : shown) numbers.erase(number);
    for (const int item : SelectedItems(index)) numbers.insert(shown[static_cast<std::size_t>(item)]);
    SetText(kFirstEdit + index, PrintVariableList(std::vector<int>(numbers.begin(), numbers.end())));
  }

  bool Accept() override {
    std::vector<std::vector<int>> answers;
    for (int index = 0; index < Count(lists_); ++index) {
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
  std::vector<std::wstring> texts_, lowerNames_;  // of the variables
  // Per list the numbers of the variables that its box shows.
  std::vector<std::vector<int>> shown_;
};

}  // namespace

bool AskVariableListsNatively(HWND owner, const Table& table, std::string_view title,
                              std::vector<VariableListQuestion>& lists) {
  return VariableListsDialog(table, title, lists).Run(owner);
}

}  // namespace velmora
