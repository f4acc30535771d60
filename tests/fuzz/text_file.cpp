// A whole text file, as people have them: the first bytes choose the format. A column that is read
// alone is the same as when read with the others.
#include <unistd.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include <sys/mman.h>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/readers.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

// A file in memory, which each input replaces.
const std::string& FileOf(std::string_view bytes) {
  static const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  fuzz::Require(ftruncate(descriptor, 0) == 0, "the file can be emptied");
  const ssize_t written = pwrite(descriptor, bytes.data(), bytes.size(), 0);
  fuzz::Require(written == static_cast<ssize_t>(bytes.size()), "the file can be written");
  return path;
}

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
  const std::string& path = FileOf(bytes.substr(2));
  const Table table = ReadText(path, options, delimiter);
  fuzz::Require(table.caseCount > 0, "a table has cases");
  for (const Column& column : table.columns) {
    fuzz::Require(static_cast<std::int64_t>(column.values.size()) == table.caseCount,
                  "a column has a cell per case");
    fuzz::Require(IsCleanText(column.name) && !column.name.empty(), "a column has a name");
    for (std::size_t i = 1; i < column.labels.size(); ++i)
      fuzz::Require(column.labels[i - 1].value < column.labels[i].value, "labels ascend");
    for (const double value : column.values)
      fuzz::Require(
          !column.fromText || IsMissing(value, column.missingCode) || column.LabelOf(value) != nullptr,
          "codes of texts have labels");
  }
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
