// Delimited text in small blocks: the scanner's invariants, and the columns that its fields become.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/delimited_text.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

void Run(std::string_view rest) {
  if (rest.empty()) return;
  const char choices[] = {0, ',', ';', '\t', '|'};
  const auto choice = static_cast<unsigned char>(rest[0]);
  rest.remove_prefix(1);
  DelimitedText text("fuzz.csv", choices[choice % 5],
                     {[&](char* buffer, std::size_t size) {
                        const std::size_t count = std::min(size, rest.size());
                        std::memcpy(buffer, rest.data(), count);
                        rest.remove_prefix(count);
                        return count;
                      },
                      [] { return 0; }},
                     {}, 1U + choice / 5);
  const std::vector<std::string> missingTexts = {"n/a"};
  const std::size_t columnCount = text.Names().size();
  std::vector<ColumnBuilder> builders;
  for (std::size_t i = 0; i < columnCount; ++i)
    builders.emplace_back(text.Names()[i], static_cast<int>(i) + 1, text.Delimiter() != ',', &missingTexts);
  // Columns of numbers and of texts in turn.
  const RecordScanner scanner(text.Delimiter(), columnCount);
  std::vector<ColumnPlan> plans(columnCount);
  for (std::size_t i = 0; i < columnCount; ++i)
    plans[i] = {i % 2 == 0 ? ColumnUse::kNumbers : ColumnUse::kTexts, text.Delimiter() == ',' ? '.' : ','};
  std::int64_t rows = 0;
  std::string scratch;
  const auto add = [&](ColumnBuilder& builder, const TextBlock& block, FieldPlace place) {
    const std::string_view field = block.Text(place, scratch);
    fuzz::Require(IsCleanText(field), "fields are UTF-8 without NUL");
    builder.AddField(field);
  };
  for (TextBlock block; text.NextBytes(block);) {
    scanner.Scan(block, plans);
    text.Settle(block, scanner, plans);
    rows += block.rowCount;
    for (std::size_t column = 0; column < columnCount && block.rowCount > 0; ++column) {
      const std::span<const double> cells = block.Cells(column);
      if (plans[column].use == ColumnUse::kTexts) {
        for (const double cell : cells) add(builders[column], block, std::bit_cast<FieldPlace>(cell));
        continue;
      }
      std::size_t row = 0;
      for (const TextBlock::OtherField& other : block.Others(column)) {
        fuzz::Require(other.row >= row && other.row < cells.size(), "other fields are in the order of rows");
        if (!builders[column].NeedsTexts()) {
          builders[column].AddNumbers(cells.subspan(row, other.row - row));
          add(builders[column], block, other.place);
        }
        row = other.row + 1;
      }
      if (!builders[column].NeedsTexts()) builders[column].AddNumbers(cells.subspan(row));
    }
  }
  fuzz::Require(rows == text.RowCount(), "rows are counted");
  text.CheckEnd();
  std::vector<ColumnNote> notes;
  for (std::size_t i = 0; i < columnCount; ++i) {
    // A column of numbers that contains a text would be read again.
    const bool isBroken = plans[i].use == ColumnUse::kNumbers && builders[i].HoldsTexts();
    if (isBroken || builders[i].NeedsTexts()) continue;
    const Column column = builders[i].Finish(notes);
    fuzz::Require(static_cast<std::int64_t>(column.values.size()) == rows, "a column has a cell per row");
    for (const double value : column.values)
      fuzz::Require(
          !column.fromText || IsMissing(value, column.missingCode) || column.LabelOf(value) != nullptr,
          "codes of texts have labels");
  }
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
