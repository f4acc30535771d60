#include "workbench/data/table_sink.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "workbench/data/unicode.h"

namespace velmora {

namespace {

// Cells are read one by one, since the other side of a shared block may still write to it.
template <class T>
T Load(const std::byte* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

bool IsPresent(const std::byte* bitmap, std::int64_t row) {
  return bitmap == nullptr || ((static_cast<unsigned>(bitmap[row / 8]) >> (row % 8)) & 1U) != 0;
}

template <class Add>
void ForCells(const std::byte* bitmap, std::int64_t rowCount, ColumnBuilder& builder, Add add) {
  for (std::int64_t row = 0; row < rowCount; ++row) {
    if (IsPresent(bitmap, row))
      add(row);
    else
      builder.AddMissing();
  }
}

// Numbers that a builder takes as they are.
bool IsPlain(double cell) { return cell > -1.69e308 && cell < 1.69e308; }
bool IsPlain(std::int64_t cell) {
  constexpr std::int64_t kMost = std::int64_t{1} << 53;
  return cell >= -kMost && cell <= kMost;
}

// Adds a slice at once where each of its cells is plain or missing; otherwise adds nothing and
// returns false.
template <class Cell>
bool AddPlainCells(const std::byte* values, const std::byte* bitmap, std::int64_t rowCount,
                   ColumnBuilder& builder) {
  const std::span<double> cells = builder.AddRoom(static_cast<std::size_t>(rowCount));
  bool isPlain = true, isAnyPresent = false;
  for (std::int64_t row = 0; row < rowCount; ++row) {
    const Cell cell = Load<Cell>(values + 8 * row);
    const bool isPresent = IsPresent(bitmap, row);
    isPlain &= !isPresent | IsPlain(cell);
    isAnyPresent |= isPresent;
    cells[static_cast<std::size_t>(row)] = isPresent ? static_cast<double>(cell) : kMissing;
  }
  builder.SettleRoom(cells.size(), isPlain, isAnyPresent);
  return isPlain;
}

// A whole number beyond 2^53 must be exact as a double, otherwise the column becomes text.
template <class Whole>
void AddWhole(Whole cell, ColumnBuilder& builder) {
  const auto value = static_cast<double>(cell);
  // 2^63 and 2^64 cannot be cast back.
  if (value < 9.2e18 && static_cast<Whole>(value) == cell) return builder.AddNumber(value);
  builder.AddBigWhole();
}

}  // namespace

void TableSink::Begin(const ForeignHeader& header) {
  header_ = header;
  names_.clear();
  builders_.clear();
  for (const ForeignColumn& column : header_.columns) names_.push_back(CleanText(column.name));
  SettleNames(path_, names_, nameWarnings_);
  if (!header_.sidecar.empty()) sidecar_ = ParseSidecar(header_.sidecar, "The description inside " + path_);
  if (std::all_of(header_.columns.begin(), header_.columns.end(),
                  [](const ForeignColumn& c) { return c.kind == CellKind::kLeftOut; }))
    throw DataError(header_.columns.empty() ? path_ + " has no variables."
                                            : path_ + " has no column of numbers or texts.");
  builders_.reserve(names_.size());
  for (std::size_t i = 0; i < names_.size(); ++i)
    builders_.emplace_back(names_[i], static_cast<int>(i) + 1, false, &options_.missingTexts);
  ForceTexts(sidecar_, builders_);
  cleaned_.resize(names_.size());
  wanted_.assign(names_.size(), true);
}

bool TableSink::IsRead(std::size_t column) const {
  return wanted_[column] && header_.columns[column].kind != CellKind::kLeftOut;
}

std::vector<std::size_t> TableSink::ColumnsToRead() {
  const auto numbers = [this] {
    std::vector<std::size_t> read;
    for (std::size_t i = 0; i < names_.size(); ++i)
      if (IsRead(i)) read.push_back(i);
    return read;
  };
  if (options_.choose) wanted_ = options_.choose(names_);
  if (std::vector<std::size_t> read = numbers(); !read.empty()) return read;
  wanted_.assign(names_.size(), true);
  return numbers();
}

void TableSink::ReserveCells() {
  isReserved_ = true;
  // A damaged header claims any number of rows; a sound one rarely more than eight cells per byte.
  const auto most = static_cast<std::int64_t>(
      std::max<std::uint64_t>(65536, 8 * fileBytes_ / static_cast<std::uint64_t>(names_.size())));
  const std::int64_t expected = std::min(header_.caseCount, most);
  if (expected <= 0) return;
  std::uint64_t read = 0;
  for (std::size_t i = 0; i < builders_.size(); ++i) read += IsRead(i);
  StoreWhereLarge(static_cast<std::uint64_t>(expected) * read);
  for (std::size_t i = 0; i < builders_.size(); ++i)
    if (IsRead(i)) builders_[i].Reserve(expected);
}

void TableSink::StoreWhereLarge(std::uint64_t cells) {
  if (isStored_ || !memory_.StoreFor(cells)) return;
  isStored_ = true;
  for (ColumnBuilder& builder : builders_)
    builder.StoreIn(memory_.StoreFor(cells), memory_.WaitingCells(builders_.size()));
}

std::byte* TableSink::Buffer(std::uint64_t byteCount) {
  if (buffer_.size() < byteCount) buffer_.resize(byteCount);
  return buffer_.data();
}

void TableSink::Deliver(std::span<const ColumnSlice> slices, std::int64_t rowCount, double fraction) {
  Take(buffer_, slices, rowCount);
  progress_.Check(fraction);
}

void TableSink::Take(std::span<const std::byte> block, std::span<const ColumnSlice> slices,
                     std::int64_t rowCount) {
  if (builders_.empty()) throw DataError("Cannot read " + path_ + ": a block of its rows is damaged.");
  if (!isReserved_) ReserveCells();
  for (const ColumnSlice& slice : slices) {
    if (slice.column >= builders_.size()) throw DataError("Cannot read " + path_ + ": a column is unknown.");
    TakeSlice(block, slice, rowCount);
    builders_[slice.column].Flush();
  }
  cells_ += slices.size() * static_cast<std::uint64_t>(rowCount);
  StoreWhereLarge(cells_);
}

void TableSink::TakeSlice(std::span<const std::byte> block, const ColumnSlice& slice, std::int64_t rowCount) {
  const auto rows = static_cast<std::uint64_t>(rowCount);
  const auto part = [&](std::uint64_t offset, std::uint64_t byteCount) -> const std::byte* {
    if (offset > block.size() || byteCount > block.size() - offset)
      throw DataError("Cannot read " + path_ + ": a block of its rows is damaged.");
    return block.data() + offset;
  };
  if (rowCount < 0 || rows > block.size())
    throw DataError("Cannot read " + path_ + ": a block of its rows is damaged.");
  const std::byte* const bitmap = slice.bitmap == kNoBitmap ? nullptr : part(slice.bitmap, (rows + 7) / 8);
  ColumnBuilder& builder = builders_[slice.column];
  if (builder.NeedsTexts() || !IsRead(slice.column)) return;
  if (slice.kind == CellKind::kText || slice.kind == CellKind::kDigits) {
    const std::byte* const offsets = part(slice.values, 8 * (rows + 1));
    const auto* const bytes = reinterpret_cast<const char*>(part(slice.bytes, slice.byteCount));
    const bool digits = slice.kind == CellKind::kDigits;
    return ForCells(bitmap, rowCount, builder, [&](std::int64_t row) {
      const auto begin = Load<std::uint64_t>(offsets + 8 * row);
      const auto end = Load<std::uint64_t>(offsets + 8 * row + 8);
      if (begin > end || end > slice.byteCount)
        throw DataError("Cannot read " + path_ + ": a text of its rows is damaged.");
      const std::string_view text(bytes + begin, end - begin);
      if (digits) return builder.AddField(text);
      if (builder.AddKnownText(text)) return;
      if (IsCleanText(text)) return builder.AddText(text);
      builder.AddText(CleanText(text));
      cleaned_[slice.column] = true;
    });
  }
  const std::byte* const values = part(slice.values, 8 * rows);
  switch (slice.kind) {
    case CellKind::kNumber:
      if (AddPlainCells<double>(values, bitmap, rowCount, builder)) return;
      return ForCells(bitmap, rowCount, builder,
                      [&](std::int64_t row) { builder.AddNumber(Load<double>(values + 8 * row)); });
    case CellKind::kWhole:
      if (AddPlainCells<std::int64_t>(values, bitmap, rowCount, builder)) return;
      return ForCells(bitmap, rowCount, builder, [&](std::int64_t row) {
        if (!builder.NeedsTexts()) AddWhole(Load<std::int64_t>(values + 8 * row), builder);
      });
    case CellKind::kUnsigned:
      return ForCells(bitmap, rowCount, builder, [&](std::int64_t row) {
        if (!builder.NeedsTexts()) AddWhole(Load<std::uint64_t>(values + 8 * row), builder);
      });
    default:
      throw DataError("Cannot read " + path_ + ": a column of its rows is of no known kind.");
  }
}

std::vector<std::size_t> TableSink::ColumnsToRepeat() {
  std::vector<std::size_t> again;
  for (std::size_t i = 0; i < builders_.size(); ++i) {
    if (!builders_[i].NeedsTexts()) continue;
    builders_[i].RestartAsText();
    again.push_back(i);
  }
  return again;
}

void TableSink::MoveInto(Table& table, std::vector<std::string>& warnings) {
  warnings.insert(warnings.end(), nameWarnings_.begin(), nameWarnings_.end());
  for (const std::string& warning : details_.warnings) warnings.push_back(CleanText(warning));
  bool first = true;
  for (std::size_t i = 0; i < builders_.size(); ++i) {
    if (!IsRead(i)) continue;
    const std::int64_t cases = builders_[i].CaseCount();
    if (first) table.caseCount = cases;
    first = false;
    if (cases != table.caseCount)
      throw DataError("Cannot read " + path_ + ": variable \"" + names_[i] + "\" ends after " +
                      std::to_string(cases) + " of " + std::to_string(table.caseCount) + " cases.");
  }
  if (table.caseCount == 0) throw DataError(path_ + " has variables but no cases.");
  std::vector<ColumnNote> notes;
  for (std::size_t i = 0; i < builders_.size(); ++i) {
    const ForeignColumn& source = header_.columns[i];
    if (source.kind == CellKind::kLeftOut) {
      notes.push_back(
          {ColumnNoteKind::kLeftOut, names_[i], "Columns of lists or structures are left out", ""});
      continue;
    }
    if (!wanted_[i]) {
      // Keeps its place, so that variables keep their numbers, and has no values.
      table.columns.emplace_back().name = names_[i];
      sidecar_.variables.erase(names_[i]);
      continue;
    }
    Column column = builders_[i].Finish(notes);
    if (cleaned_[i])
      notes.push_back({ColumnNoteKind::kReplacedBytes, names_[i],
                       "NUL characters and bytes that are not UTF-8 are replaced by U+FFFD", ""});
    column.longName = CleanText(source.longName);
    column.declaredMeasurement = source.declared;
    if (source.dateUnit != DateUnit::kNone) column.dateUnit = source.dateUnit;
    if (source.boolean) {
      column.fromBoolean = true;
      column.labels = {{0, "false"}, {1, "true"}};
    }
    UserMissingCells& missing = details_.userMissing[i];
    ApplyLabels(source, column, missing);
    if (details_.weightColumn == static_cast<std::int64_t>(i)) table.declaredWeight = column.name;
    const bool anyMissing = !missing.rows.empty() || !missing.declared.empty();
    if (anyMissing && options_.userMissing != nullptr) {
      const auto isRow = [&](std::uint32_t row) { return row < column.values.size(); };
      const auto isPlace = [&](double place) {
        return place >= 0 && place < static_cast<double>(missing.texts.size());
      };
      const bool isKnown =
          std::all_of(missing.rows.begin(), missing.rows.end(), isRow) &&
          (!column.fromText || std::all_of(missing.values.begin(), missing.values.end(), isPlace));
      if (!isKnown) throw DataError("Cannot read " + path_ + ": a case of " + column.name + " is unknown.");
      options_.userMissing->insert_or_assign(column.name, std::move(missing));
    }
    table.columns.push_back(std::move(column));
  }
  AppendSentences(notes, path_, warnings);
  ApplySidecar(sidecar_, table, warnings);
}

// Labels of numbers are kept, also those of missing values. A text column shows the labels of its
// texts when these are all different.
void TableSink::ApplyLabels(const ForeignColumn& source, Column& column, UserMissingCells& missing) const {
  for (std::string& text : missing.texts) text = CleanText(text);
  const auto found = details_.labelSets.find(source.labelSet);
  if (source.labelSet.empty() || found == details_.labelSets.end()) return;
  const LabelSet& set = found->second;
  if (source.kind != CellKind::kText) {
    for (const auto& [value, text] : set.numbers)
      if (std::isfinite(value)) column.labels.push_back({value, CleanText(text)});
    return;
  }
  std::vector<ValueLabel> shown = column.labels;
  std::vector<std::string> shownMissing = missing.texts;
  std::map<std::string, int> uses;
  const auto show = [&](std::string& shownText) {
    std::string key = shownText;
    auto text = set.texts.find(key);
    // The keys of the set may be padded with blanks like the values.
    for (; text == set.texts.end() && key.size() < 8; text = set.texts.find(key)) key += ' ';
    if (text != set.texts.end()) shownText = CleanText(text->second);
    ++uses[shownText];
  };
  for (ValueLabel& label : shown) show(label.text);
  for (std::string& text : shownMissing) show(text);
  if (std::any_of(uses.begin(), uses.end(), [](const auto& use) { return use.second > 1; })) return;
  column.labels = std::move(shown);
  missing.texts = std::move(shownMissing);
}

}  // namespace velmora
