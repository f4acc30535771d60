#include "workbench/server/first_rows.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "workbench/data/atomic_file.h"
#include "workbench/data/sql_text.h"
#include "workbench/report/json_text.h"
#include "workbench/system/scratch.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kSmallestFile = 4 << 20;  // a smaller file is read quickly enough
constexpr std::size_t kBeginning = 256 << 10;      // of a text file
constexpr int kRows = 200;
constexpr int kColumns = 300;

enum class Beginning { kNone, kQuery, kText };

Beginning BeginningOf(const fs::path& file) {
  const std::string ending = file.extension().string();
  for (const char* queried : {".parquet", ".jsonl", ".ndjson"}) {
    if (ending == queried) return Beginning::kQuery;
  }
  for (const char* text : {".csv", ".tsv", ".txt"}) {
    if (ending == text) return Beginning::kText;
  }
  return Beginning::kNone;
}

// The whole lines among the first bytes; empty when there is none, or when the bytes are in an
// encoding in which a line does not end with a single byte.
std::string FirstLines(const fs::path& file) {
  std::string bytes(kBeginning, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(stream.gcount()));
  const std::size_t end = bytes.rfind('\n');
  if (end == std::string::npos || bytes.find('\0') != std::string::npos) return "";
  bytes.resize(end + 1);
  return bytes;
}

}  // namespace

std::optional<Table> ReadFirstRows(const std::string& path, const ReadOptions& reading) {
  const fs::path file = PathOf(path);
  const Beginning beginning = BeginningOf(file);
  std::error_code error;
  if (beginning == Beginning::kNone || reading.part.Any() || fs::file_size(file, error) < kSmallestFile ||
      error)
    return std::nullopt;
  ReadOptions options = reading;
  options.threads = 1;
  if (beginning == Beginning::kQuery) {
    options.part.query = "SELECT * FROM " + SqlText(path) + " LIMIT " + std::to_string(kRows);
    return ReadTable("", options);
  }
  const std::string lines = FirstLines(file);
  const Scratch scratch(fs::temp_directory_path(), error);
  if (lines.empty() || error) return std::nullopt;
  const fs::path copy = scratch.Path() / ("first" + file.extension().string());
  WriteFileAtomically(copy.string(), lines);
  return ReadTable(copy.string(), options);
}

std::string FirstRowsJson(const Table& table) {
  Json names = Json::array();
  for (const Column& column : table.columns) names.push_back(column.name);
  Json block = Json::parse(GridJson(table, {.row = 0, .rows = kRows, .column = 0, .columns = kColumns}));
  const std::size_t rows = block.at("cells").size();
  return JsonText({{"names", std::move(names)}, {"rows", rows}, {"cells", std::move(block.at("cells"))}});
}

std::string GridOfFirstRows(const std::string& firstRows, const GridBlock& block) {
  const Json known = Json::parse(firstRows);
  Json cells = Json::array();
  const auto at = [](const Json& list, std::int64_t first, std::int64_t count) {
    const auto size = static_cast<std::int64_t>(list.size());
    const std::int64_t from = std::clamp<std::int64_t>(first, 0, size);
    return std::pair(list.begin() + from,
                     list.begin() + from + std::clamp<std::int64_t>(count, 0, size - from));
  };
  const auto [row, end] = at(known.at("cells"), block.row, block.rows);
  for (auto line = row; line != end; ++line) {
    const auto [first, last] = at(*line, block.column, block.columns);
    Json& part = cells.emplace_back(Json::array());
    std::for_each(first, last, [&](const Json& cell) { part.push_back(cell); });
  }
  return JsonText({{"row", block.row}, {"column", block.column}, {"cells", std::move(cells)}});
}

}  // namespace velmora
