// Delimited text: the splitter in small pieces, its invariants, and the columns that its fields
// become.
#include <algorithm>
#include <cstring>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/record_splitter.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  if (text.empty()) return;
  const char choices[] = {0, ',', ';', '\t', '|'};
  const auto choice = static_cast<unsigned char>(text[0]);
  const char delimiter = choices[choice % 5];
  text.remove_prefix(1);
  RecordSplitter splitter(
      "fuzz.csv", delimiter,
      [&](char* buffer, std::size_t size) {
        const std::size_t count = std::min(size, text.size());
        std::memcpy(buffer, text.data(), count);
        text.remove_prefix(count);
        return count;
      },
      1U + choice / 5);
  const std::vector<std::string> missingTexts = {"n/a"};
  std::vector<ColumnBuilder> builders;
  for (std::size_t i = 0; i < splitter.Names().size(); ++i)
    builders.emplace_back(splitter.Names()[i], static_cast<int>(i) + 1, splitter.Delimiter() != ',',
                          &missingTexts);
  RecordBlock block;
  std::int64_t rows = 0;
  while (splitter.Next(block)) {
    fuzz::Require(block.rowCount > 0, "a block has rows");
    fuzz::Require(block.fields.size() == builders.size() * static_cast<std::size_t>(block.rowCount),
                  "each row has a field per column");
    rows += block.rowCount;
    for (std::size_t column = 0; column < builders.size(); ++column) {
      for (std::int64_t row = 0; row < block.rowCount; ++row) {
        const std::string_view field = block.Text(row, column);
        fuzz::Require(IsCleanText(field), "fields are UTF-8 without NUL");
        builders[column].AddField(field);
      }
    }
  }
  fuzz::Require(rows == splitter.RowCount(), "rows are counted");
  std::vector<ColumnNote> notes;
  for (ColumnBuilder& builder : builders) {
    if (builder.NeedsTexts()) continue;
    const Column column = builder.Finish(notes);
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
