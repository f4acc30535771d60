// The output spreadsheet and its formula columns.
#include "workbench/documents/sheet.h"

#include <algorithm>
#include <cmath>

#include "workbench/documents/texts.h"

namespace velmora {
namespace {

const std::string kNoText;

bool LessValue(const ValueLabel& label, double value) { return label.value < value; }

}  // namespace

bool IsEmptyCell(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  if (bits == ~std::uint64_t{0}) return true;
  if (!std::isfinite(value)) return false;
  // Both positive, so the order of the bit patterns is the order of the values.
  constexpr auto kMissingBits = std::bit_cast<std::uint64_t>(kMissing);
  return bits >= kMissingBits - 15 && bits <= kMissingBits + 15;
}

Sheet::Sheet(int rowCount, int columnCount) : rowCount_(std::max(rowCount, 0)) {
  columns_.resize(static_cast<std::size_t>(std::max(columnCount, 0)));
  for (SheetColumn& column : columns_)
    column.values.assign(static_cast<std::size_t>(rowCount_), kNeverWritten);
}

const std::string& Sheet::ColumnName(int column) const {
  return HasColumn(column) ? At(column).name : kNoText;
}

bool Sheet::SetColumnName(int column, std::string_view name) {
  if (!HasColumn(column)) return false;
  At(column).name = columnNameWidth_ > 0 ? FirstCharacters(name, columnNameWidth_) : name;
  return true;
}

const std::string& Sheet::ColumnLongName(int column) const {
  if (!HasColumn(column)) return kNoText;
  return At(column).isFormula ? At(column).formula.Text() : At(column).longName;
}

bool Sheet::SetColumnLongName(int column, std::string_view longName) {
  if (!HasColumn(column)) return false;
  At(column).longName = longName;
  if (At(column).isFormula) {
    At(column).isFormula = false;
    At(column).formula = Formula();
    std::erase(formulaOrder_, column);
  }
  return true;
}

const std::string& Sheet::RowName(int row) const {
  return HasRow(row) && !rowNames_.empty() ? rowNames_[static_cast<std::size_t>(row - 1)] : kNoText;
}

bool Sheet::SetRowName(int row, std::string_view name) {
  if (!HasRow(row)) return false;
  if (rowNames_.empty()) rowNames_.resize(static_cast<std::size_t>(rowCount_));
  rowNames_[static_cast<std::size_t>(row - 1)] =
      rowNameWidth_ > 0 ? FirstCharacters(name, rowNameWidth_) : name;
  return true;
}

const std::string& Sheet::Format(int column) const { return HasColumn(column) ? At(column).format : kNoText; }

bool Sheet::SetFormat(int column, std::string_view format) {
  if (!HasColumn(column)) return false;
  At(column).format = format;
  return true;
}

NumberRole Sheet::Role(int column) const { return HasColumn(column) ? At(column).role : NumberRole::kPlain; }

bool Sheet::SetRole(int column, NumberRole role) {
  if (!HasColumn(column)) return false;
  At(column).role = role;
  return true;
}

double Sheet::Cell(int row, int column) const {
  return HasRow(row) && HasColumn(column) ? At(column).values[static_cast<std::size_t>(row - 1)]
                                          : kNeverWritten;
}

bool Sheet::SetCell(int row, int column, double value) {
  if (!HasRow(row) || !HasColumn(column) || At(column).isFormula) return false;
  const auto rowIndex = static_cast<std::size_t>(row - 1);
  At(column).values[rowIndex] = value;
  CellsChanged(rowIndex, rowIndex + 1);
  return true;
}

bool Sheet::SetInteger(int row, int column, std::int64_t value) {
  if (!SetCell(row, column, static_cast<double>(value))) return false;
  if (At(column).format.empty()) At(column).format = "0";
  return true;
}

std::span<const double> Sheet::Values(int column) const {
  return HasColumn(column) ? std::span<const double>(At(column).values) : std::span<const double>();
}

bool Sheet::SetValues(int column, std::span<const double> values) {
  if (!HasColumn(column) || At(column).isFormula) return false;
  const std::size_t count = std::min(values.size(), At(column).values.size());
  std::copy_n(values.begin(), count, At(column).values.begin());
  CellsChanged(0, count);
  return true;
}

const std::string& Sheet::Text(int row, int column) const {
  if (!HasRow(row) || !HasColumn(column)) return kNoText;
  const auto found = At(column).texts.find(row - 1);
  return found == At(column).texts.end() ? kNoText : found->second;
}

bool Sheet::SetText(int row, int column, std::string_view text) {
  if (!HasRow(row) || !HasColumn(column)) return false;
  if (text.empty()) {
    At(column).texts.erase(row - 1);
  } else {
    At(column).texts.insert_or_assign(row - 1, std::string(text));
  }
  return true;
}

const std::vector<ValueLabel>& Sheet::Labels(int column) const {
  static const std::vector<ValueLabel> kNoLabels;
  return HasColumn(column) ? At(column).labels : kNoLabels;
}

bool Sheet::SetLabels(int column, std::vector<ValueLabel> labels) {
  if (!HasColumn(column)) return false;
  std::erase_if(labels, [](const ValueLabel& label) { return std::isnan(label.value); });
  std::stable_sort(labels.begin(), labels.end(),
                   [](const ValueLabel& a, const ValueLabel& b) { return a.value < b.value; });
  const auto sameValue = [](const ValueLabel& a, const ValueLabel& b) { return !(a.value < b.value); };
  labels.erase(std::unique(labels.begin(), labels.end(), sameValue), labels.end());
  At(column).labels = std::move(labels);
  return true;
}

const std::string* Sheet::LabelOf(int column, double value) const {
  const std::vector<ValueLabel>& labels = Labels(column);
  const auto found = std::lower_bound(labels.begin(), labels.end(), value, LessValue);
  return found != labels.end() && found->value == value ? &found->text
                                                        : nullptr;  // labels belong to exact codes
}

const std::string* Sheet::ShownText(int row, int column) const {
  if (const std::string& text = Text(row, column); !text.empty()) return &text;
  if (!HasColumn(column) || At(column).labels.empty()) return nullptr;
  return LabelOf(column, Cell(row, column));
}

std::string Sheet::SetFormula(int column, std::string_view text) {
  if (!HasColumn(column)) return "There is no column " + std::to_string(column) + ".";
  Formula formula;
  std::string error;
  if (!formula.Parse(text, error)) return error;
  if (!formula.References().empty() && formula.References().back() > ColumnCount()) {
    return "Formula \"" + std::string(text) + "\": there is no column v" +
           std::to_string(formula.References().back()) + ".";
  }
  SheetColumn& target = At(column);
  const bool wasFormula = target.isFormula;
  std::swap(target.formula, formula);
  target.isFormula = true;
  std::vector<int> order;
  if (!OrderFormulas(order)) {
    std::swap(target.formula, formula);
    target.isFormula = wasFormula;
    return "Formula \"" + std::string(text) + "\" of column v" + std::to_string(column) +
           " depends on itself.";
  }
  formulaOrder_ = std::move(order);
  CellsChanged(0, static_cast<std::size_t>(rowCount_));
  return {};
}

bool Sheet::IsFormula(int column) const { return HasColumn(column) && At(column).isFormula; }

bool Sheet::InsertColumns(int after, int count) {
  if (after < 0 || after > ColumnCount() || count < 1) return false;
  SheetColumn empty;
  empty.values.assign(static_cast<std::size_t>(rowCount_), kNeverWritten);
  columns_.insert(columns_.begin() + after, static_cast<std::size_t>(count), empty);
  for (SheetColumn& column : columns_) {
    if (column.isFormula) column.formula.ColumnsInserted(after, count);
  }
  for (int& column : formulaOrder_) {
    if (column > after) column += count;
  }
  return true;
}

std::string Sheet::InsertColumn(int after, std::string_view name, std::string_view longName,
                                std::string_view format) {
  if (after < 0 || after > ColumnCount()) {
    return "There is no column " + std::to_string(after) + " to insert after.";
  }
  // The formula is checked first: a refused one must not leave a column behind.
  const bool isFormula = !longName.empty() && longName.front() == '=';
  if (isFormula) {
    Formula formula;
    std::string error;
    if (!formula.Parse(longName, error)) return error;
    for (const int reference : formula.References()) {
      if (reference > ColumnCount() + 1 || reference == after + 1) {
        return "Formula \"" + std::string(longName) + "\": there is no column v" + std::to_string(reference) +
               " to read.";
      }
    }
  }
  InsertColumns(after);
  SetColumnName(after + 1, name);
  SetFormat(after + 1, format);
  // No other column refers to a new column, so its formula cannot close a cycle.
  if (isFormula) return SetFormula(after + 1, longName);
  SetColumnLongName(after + 1, longName);
  return {};
}

// Depth first from each formula column in turn; false when a formula reaches itself.
bool Sheet::OrderFormulas(std::vector<int>& order) const {
  enum class Mark : unsigned char { kNew, kOpen, kDone };
  std::vector<Mark> marks(columns_.size() + 1, Mark::kNew);
  std::vector<int> pending;
  for (int first = 1; first <= ColumnCount(); ++first) {
    if (!At(first).isFormula || marks[static_cast<std::size_t>(first)] != Mark::kNew) continue;
    pending.push_back(first);
    while (!pending.empty()) {
      const int column = pending.back();
      Mark& mark = marks[static_cast<std::size_t>(column)];
      if (mark != Mark::kNew) {
        if (mark == Mark::kOpen) order.push_back(column);
        mark = Mark::kDone;
        pending.pop_back();
        continue;
      }
      mark = Mark::kOpen;
      for (const int reference : At(column).formula.References()) {
        if (!At(reference).isFormula) continue;
        if (marks[static_cast<std::size_t>(reference)] == Mark::kOpen) return false;
        if (marks[static_cast<std::size_t>(reference)] == Mark::kNew) pending.push_back(reference);
      }
    }
  }
  return true;
}

void Sheet::ComputeRow(std::size_t rowIndex, int column) {
  At(column).values[rowIndex] =
      At(column).formula.Evaluate([&](int reference) { return At(reference).values[rowIndex]; });
}

void Sheet::CellsChanged(std::size_t firstRow, std::size_t endRow) {
  for (const int column : formulaOrder_) {
    for (std::size_t rowIndex = firstRow; rowIndex < endRow; ++rowIndex) ComputeRow(rowIndex, column);
  }
}

}  // namespace velmora
