// A whole text file, as people have them: the first bytes choose the format. A column that is read
// alone is the same as when read with the others.
#include <cstring>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "tests/fuzz/memory_file.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/readers.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

Table ReadText(const std::string& path, const ReadOptions& options, char delimiter) {
  Table table;
  std::vector<std::string> warnings;
  ReadDelimited(path, "fuzz.csv", options, delimiter, table, warnings);
  for (const std::string& warning : warnings) fuzz::Require(IsCleanText(warning), "warnings are UTF-8");
  return table;
}

bool AreSame(const Column& a, const Column& b) {
  return a.name == b.name && a.fromText == b.fromText && a.dateUnit == b.dateUnit &&
         a.values.size() == b.values.size() &&
         std::memcmp(a.values.data(), b.values.data(), 8 * a.values.size()) == 0;
}

void Run(std::string_view bytes) {
  if (bytes.size() < 2) return;
  const auto format = static_cast<unsigned char>(bytes[0]), choice = static_cast<unsigned char>(bytes[1]);
  ReadOptions options;
  options.threads = 1;
  options.text.encoding = static_cast<TextEncoding>(format % 5);
  options.text.hasHeader = (format & 32) == 0;
  options.text.ragged = static_cast<RaggedRecords>((format >> 6) % 3);
  if ((choice & 1) != 0) options.missingTexts = {"unknown", "-9"};
  constexpr char kDelimiters[] = {0, ',', ';', '\t', '|'};
  const char delimiter = kDelimiters[(choice >> 1) % 5];
  const std::string& path = fuzz::FileOf(bytes.substr(2));
  const Table table = ReadText(path, options, delimiter);
  fuzz::Require(table.caseCount > 0, "a table has cases");
  for (const Column& column : table.columns)
    fuzz::Require(IsCleanText(column.name) && !column.name.empty(), "a column has a name");
  fuzz::RequireSound(table);
  const std::size_t wanted = choice % table.columns.size();
  options.choose = [&](const std::vector<std::string>& names) {
    fuzz::Require(names.size() == table.columns.size(), "columns are those of the whole reading");
    std::vector<bool> chosen(names.size());
    chosen[wanted] = true;
    return chosen;
  };
  const Table alone = ReadText(path, options, delimiter);
  fuzz::Require(AreSame(alone.columns[wanted], table.columns[wanted]), "a column alone is the same");
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
