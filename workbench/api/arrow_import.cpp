// Plain numbers are used in place. Every other column is read across all batches, and a second
// time, as texts, when its numbers do not fit into doubles.
#include "workbench/api/arrow_import.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

#include "workbench/cli/console.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/data/arrow_cells.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/unicode.h"

namespace velmora {
namespace {

// Puts the cells of a column into its builder.
class BuilderCells {
 public:
  BuilderCells(ColumnBuilder& builder, bool asTexts) : builder_(builder), asTexts_(asTexts) {}

  bool HasEnough() const { return builder_.NeedsTexts(); }
  void AddMissing() { builder_.AddMissing(); }
  void AddNumber(double value) { builder_.AddNumber(value); }
  void AddDigits(std::string_view digits) { builder_.AddField(digits); }
  void AddText(std::string_view text) {
    IsCleanText(text) ? builder_.AddText(text) : builder_.AddText(CleanText(text));
  }
  // A number beyond 2^53 must be exact as a double, otherwise the column becomes text.
  template <typename Whole>
  void AddWhole(Whole cell) {
    if (asTexts_) return builder_.AddText(std::to_string(cell));
    const auto value = static_cast<double>(cell);
    if (value < 9.2e18 && static_cast<Whole>(value) == cell) return builder_.AddNumber(value);
    builder_.AddBigWhole();
  }

 private:
  ColumnBuilder& builder_;
  bool asTexts_;
};

// One column of a table over all batches.
class ColumnSource {
 public:
  ColumnSource(const ArrowSchema& field, int index) : column_(field), index_(index) {}

  bool IsLeftOut() const { return column_.IsLeftOut(); }

  void Read(const std::vector<ArrowArray>& batches, ColumnBuilder& builder) const {
    if (column_.IsDictionary() && column_.Type().IsText()) builder.ForceText();
    ReadAll(batches, false, builder);
    if (!builder.NeedsTexts()) return;
    builder.RestartAsText();
    ReadAll(batches, true, builder);
  }

  // The cells in place when they can be used unchanged; otherwise nothing.
  std::span<const double> PlainNumbers(const std::vector<ArrowArray>& batches) const {
    if (column_.IsDictionary() || column_.Type().cells != ArrowCells::kDouble || batches.size() != 1)
      return {};
    const ArrowArray& array = *batches.front().children[index_];
    if (ValidityOf(array) != nullptr) return {};
    const auto* const buffer = BufferOf<double>(array, 1);
    if (reinterpret_cast<std::uintptr_t>(buffer) % alignof(double) != 0) return {};
    const std::span<const double> cells(buffer + array.offset + batches.front().offset,
                                        static_cast<std::size_t>(batches.front().length));
    const MissingRange missing(kMissing);
    const auto isPlain = [&](double cell) { return std::isfinite(cell) && !missing.Contains(cell); };
    return std::all_of(cells.begin(), cells.end(), isPlain) ? cells : std::span<const double>();
  }

  void Describe(Column& column) const {
    const ArrowCellType& type = column_.Type();
    if (!column.fromText && type.dateUnit != DateUnit::kNone) column.dateUnit = type.dateUnit;
    if (column_.IsDictionary()) column.declaredMeasurement = Measurement::kCategorical;
    if (type.cells != ArrowCells::kBool) return;
    column.fromBoolean = true;
    column.labels = {{0, "false"}, {1, "true"}};
  }

 private:
  void ReadAll(const std::vector<ArrowArray>& batches, bool asTexts, ColumnBuilder& builder) const {
    BuilderCells cells(builder, asTexts);
    for (const ArrowArray& batch : batches)
      if (!column_.Read(*batch.children[index_], batch.offset, batch.length, cells))
        throw DataError("Column " + column_.Name() +
                        " refers to an entry that its dictionary does not have.");
  }

  ArrowColumn column_;
  int index_;
};

}  // namespace

struct ArrowBatches::Held final : ValuesOwner {
  ~Held() override {
    for (ArrowArray& batch : batches) {
      if (batch.release != nullptr) batch.release(&batch);
    }
    if (schema.release != nullptr) schema.release(&schema);
  }

  ArrowSchema schema{};
  std::vector<ArrowArray> batches;
};

ArrowBatches::ArrowBatches(ArrowArrayStream& stream) : held_(std::make_shared<Held>()) {
  if (stream.release == nullptr) throw DataError("The Arrow stream has been released already.");
  ArrowArrayStream taken = stream;
  stream.release = nullptr;
  try {
    const auto check = [&](int code) {
      if (code == 0) return;
      const char* const text = taken.get_last_error(&taken);
      throw DataError("The Arrow stream cannot be read: " +
                      std::string(text != nullptr ? text : "it gives no reason") + ".");
    };
    check(taken.get_schema(&taken, &held_->schema));
    CheckSchema();
    for (;;) {
      // In its place from the start, so that a failure releases it.
      ArrowArray& batch = held_->batches.emplace_back();
      check(taken.get_next(&taken, &batch));
      if (batch.release == nullptr) break;
    }
    held_->batches.pop_back();  // the stream's end
  } catch (...) {
    taken.release(&taken);
    throw;
  }
  taken.release(&taken);
}

ArrowBatches::ArrowBatches(ArrowSchema& schema, ArrowArray& batch) : held_(std::make_shared<Held>()) {
  if (schema.release == nullptr || batch.release == nullptr)
    throw DataError("The Arrow schema or the batch has been released already.");
  held_->batches.reserve(1);
  held_->schema = schema;
  schema.release = nullptr;
  held_->batches.push_back(batch);
  batch.release = nullptr;
  CheckSchema();
}

void ArrowBatches::CheckSchema() const {
  if (held_->schema.format == nullptr || std::string_view(held_->schema.format) != "+s")
    throw DataError("The Arrow data are one column, not a table; pass record batches.");
}

std::int64_t ArrowBatches::RowCount() const {
  std::int64_t rows = 0;
  for (const ArrowArray& batch : held_->batches) rows += batch.length;
  return rows;
}

Table ArrowBatches::MakeTable(const std::vector<std::string>& missingTexts,
                              std::vector<std::string>& notices) const {
  std::vector<std::string> names;
  for (std::int64_t i = 0; i < held_->schema.n_children; ++i) {
    const char* const name = held_->schema.children[i]->name;
    names.push_back(CleanText(name == nullptr ? "" : name));
  }
  if (names.empty()) throw DataError("The table has no columns.");
  SettleNames(kTableName, names, notices);
  Table table;
  for (const ArrowArray& batch : held_->batches) {
    if (batch.null_count != 0 && BufferOf<std::uint8_t>(batch, 0) != nullptr)
      throw DataError("The Arrow data hold rows that are null as a whole.");
    if (batch.n_children != held_->schema.n_children)
      throw DataError("A batch of the Arrow data has " + std::to_string(batch.n_children) +
                      " columns where the schema has " + std::to_string(held_->schema.n_children) + ".");
    table.caseCount += batch.length;
  }
  if (table.caseCount == 0) throw DataError("The table has columns but no rows.");
  std::vector<ColumnNote> notes;
  ProgressBar bar;
  bar.Start("Reading the table");
  for (std::size_t i = 0; i < names.size(); ++i) {
    StopIfInterrupted();
    bar.Update(static_cast<double>(i) / static_cast<double>(names.size()));
    const auto index = static_cast<int>(i);
    const ColumnSource source(*held_->schema.children[i], index);
    if (source.IsLeftOut()) {
      notes.push_back(
          {ColumnNoteKind::kLeftOut, names[i], "Columns that no variable can hold are left out", ""});
      continue;
    }
    Column column;
    if (const std::span<const double> numbers = source.PlainNumbers(held_->batches); !numbers.empty()) {
      column.name = names[i];
      column.values = ColumnValues(numbers, held_);
    } else {
      ColumnBuilder builder(names[i], index + 1, false, &missingTexts);
      builder.Reserve(table.caseCount);
      source.Read(held_->batches, builder);
      column = builder.Finish(notes);
    }
    source.Describe(column);
    table.columns.push_back(std::move(column));
  }
  AppendSentences(notes, kTableName, notices);
  if (table.columns.empty()) throw DataError("The table has no column of numbers or texts.");
  return table;
}

}  // namespace velmora
