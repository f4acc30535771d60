// Chooses the reader by the file's extension and does what all of them need before and after.
#include "workbench/data/readers.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

#include "workbench/data/atomic_file.h"
#include "workbench/data/database_address.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/file_kinds.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"
#include "workbench/data/reader_parts.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr const char* kStatExtensions[] = {".sav", ".zsav", ".por", ".sas7bdat", ".xpt", ".dta"};

constexpr const char* kTableExtensions[] = {".xlsx", ".xlsm", ".ods", ".sqlite", ".sqlite3"};

std::string LowerExtension(const std::string& path) {
  std::string extension = PathOf(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

void RequireReadableFile(const std::string& path) {
  RequirePath(path);
  std::error_code code;
  const auto status = std::filesystem::status(PathOf(path), code);
  if (!std::filesystem::exists(status)) throw DataError("There is no file " + path + ".");
  if (std::filesystem::is_directory(status)) throw DataError(path + " is a directory, not a data file.");
  if (!std::filesystem::is_regular_file(status)) throw DataError(path + " is not a regular file.");
  std::FILE* file = OpenFile(PathOf(path), "rb");
  if (file == nullptr) throw DataError("Cannot open " + path + " for reading: " + std::strerror(errno) + ".");
  std::fclose(file);
  if (std::filesystem::file_size(PathOf(path), code) == 0) throw DataError(path + " is empty.");
}

void ReadByExtension(const std::string& path, const ReadOptions& options, Table& table,
                     std::vector<std::string>& warnings) {
  const std::string extension = LowerExtension(path);
  RequireFittingPart(path, extension, options.part);
  if (extension == "csv" || extension == "txt")
    return ReadDelimited(path, options, options.delimiter, table, warnings);
  if (extension == "tsv")
    return ReadDelimited(path, options, options.delimiter != 0 ? options.delimiter : '\t', table, warnings);
  if (IsForeignExtension(extension)) {
    const ForeignFile file{path, path, extension, options.threads, options.part};
    return ReadForeignFile(file, options, LimitsFor(file), table, warnings);
  }
  if (extension == "xls")
    throw DataError("Cannot read " + path +
                    ": .xls is the format of Excel before 2007; save the workbook as .xlsx.");
  std::string known;
  for (const std::string& ending : ReadableExtensions()) known += " " + ending;
  throw DataError("The ending of " + path + " does not say what kind of file it is; known endings are" +
                  known + ".");
}

}  // namespace

std::vector<std::string> ReadableExtensions() {
  std::vector<std::string> known = {".csv", ".tsv", ".txt", ".parquet", ".json", ".jsonl", ".ndjson"};
  if (ReadsStatisticalPackages())
    known.insert(known.end(), std::begin(kStatExtensions), std::end(kStatExtensions));
  if (ReadsWorkbooks()) known.insert(known.end(), std::begin(kTableExtensions), std::end(kTableExtensions));
  known.insert(known.end(), {".duckdb", ".db"});
  return known;
}

void SettleNames(const std::string& path, std::vector<std::string>& names,
                 std::vector<std::string>& warnings) {
  std::unordered_map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) continue;
    const auto [at, isNew] = places.emplace(names[i], i);
    if (!isNew)
      throw DataError("Column name \"" + names[i] + "\" occurs twice in " + path + ", in columns " +
                      std::to_string(at->second + 1) + " and " + std::to_string(i + 1) + ".");
  }
  std::size_t count = 0;
  std::string first;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names[i].empty()) continue;
    std::string name = "Var" + std::to_string(i + 1);
    while (places.count(name) > 0) name += '_';
    places.emplace(name, i);
    if (count++ == 0)
      first = "Column " + std::to_string(i + 1) + " of " + path + " has no name and is called " + name;
    names[i] = std::move(name);
  }
  if (count > 0)
    warnings.push_back(first + (count == 1 ? "." : ", and " + std::to_string(count - 1) + " more likewise."));
}

namespace {

// Size and time of a file, which tell whether it was written to.
struct FileStamp {
  std::uintmax_t size = 0;
  std::filesystem::file_time_type time;
  explicit FileStamp(const std::string& path) {
    std::error_code code;
    size = std::filesystem::file_size(PathOf(path), code);
    time = std::filesystem::last_write_time(PathOf(path), code);
  }
  bool operator==(const FileStamp&) const = default;
};

}  // namespace

namespace {

// What is not a file: a table of a server, or a query over files.
Table ReadSource(const DatabaseAddress& address, const ReadOptions& options,
                 std::vector<std::string>& warnings) {
  const bool isQuery = address.server == DatabaseServer::kNone;
  ForeignFile source{isQuery ? "the query" : address.shown, address.withoutTable, kQuerySource,
                     options.threads, options.part};
  if (!isQuery)
    source.extension = address.server == DatabaseServer::kPostgres ? kPostgresSource : kMySqlSource;
  if (source.part.table.empty() && source.part.query.empty()) source.part.table = address.table;
  RequireFittingPart(source.path, source.extension, source.part);
  Table table;
  table.fileName = source.path;
  ReadForeignFile(source, options, LimitsFor(source), table, warnings);
  return table;
}

Table ReadFile(const std::string& path, const ReadOptions& options, std::vector<std::string>& warnings) {
  RequireReadableFile(path);
  Table table;
  table.fileName = path;
  const FileStamp before(path);
  const auto requireUnchanged = [&] {
    if (FileStamp(path) != before) throw DataError(path + " was changed while it was read; read it again.");
  };
  try {
    ReadByExtension(path, options, table, warnings);
  } catch (const DataError&) {
    requireUnchanged();  // or else the sentence would be about neither the old nor the new content
    throw;
  }
  requireUnchanged();
  return table;
}

}  // namespace

Table ReadTable(const std::string& path, const ReadOptions& options, ReadReport* report) {
  std::vector<std::string> warnings;
  const DatabaseAddress address = ParseDatabaseAddress(path);
  const bool isSource =
      address.server != DatabaseServer::kNone || (path.empty() && !options.part.query.empty());
  Table table = isSource ? ReadSource(address, options, warnings) : ReadFile(path, options, warnings);
  if (options.infer)
    InferMeasurements(table, [&](double) { return !options.progress || options.progress(1); });
  if (report != nullptr) report->warnings.insert(report->warnings.end(), warnings.begin(), warnings.end());
  return table;
}

std::int64_t SetMissingCode(Table& table, std::string_view name, double code) {
  Column& column = table.Variable(ResolveVariable(table, name));
  if (!std::isfinite(code))
    throw DataError("The missing-data code of \"" + column.name + "\" must be a finite number.");
  const MissingRange before(column.missingCode);
  const MissingRange after(code);
  std::int64_t becameMissing = 0;
  for (double& value : column.values) {
    if (before.Contains(value)) {
      value = code;
    } else if (after.Contains(value)) {
      value = code;
      ++becameMissing;
    }
  }
  column.missingCode = code;
  return becameMissing;
}

namespace {

double ParseMissingCode(const Column& column, std::string_view text) {
  if (const double* labelled = column.ValueOf(text)) return *labelled;
  const Field field = ParseField(text, false);
  if (field.kind != FieldKind::kNumber && field.kind != FieldKind::kBigWhole)
    throw DataError("The missing-data code \"" + std::string(text) + "\" of \"" + column.name +
                    "\" is neither a number nor one of its value labels.");
  return field.value;
}

}  // namespace

std::int64_t ApplyMissingOption(Table& table, std::string_view option) {
  const std::size_t equals = option.rfind('=');
  if (equals == std::string_view::npos || equals == 0 || equals + 1 == option.size())
    throw DataError("The missing-data code \"" + std::string(option) + "\" is not of the form NAME=CODE.");
  const std::string_view name = option.substr(0, equals);
  std::string_view codes = option.substr(equals + 1);
  const Column& column = table.Variable(ResolveVariable(table, name));
  if (const double* labelled = column.ValueOf(codes)) return SetMissingCode(table, name, *labelled);
  std::int64_t becameMissing = 0;
  for (std::size_t comma = 0; comma != std::string_view::npos; codes.remove_prefix(comma + 1)) {
    comma = codes.find(',');
    becameMissing += SetMissingCode(table, name, ParseMissingCode(column, codes.substr(0, comma)));
    if (comma == std::string_view::npos) break;
  }
  return becameMissing;
}

}  // namespace velmora
