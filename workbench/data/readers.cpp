// Chooses the reader by the file's extension, with the steps before and after that all readers
// need.
#include "workbench/data/readers.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>
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
#include "workbench/system/scratch.h"
#include "workbench/system/standard_input.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

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

bool IsDelimited(const std::string& extension) {
  return extension == "csv" || extension == "txt" || extension == "tsv";
}

// The extension of credit.csv.gz is csv.
std::string ExtensionInside(const std::string& path) { return LowerExtension(PathOf(path).stem().string()); }

void ReadByExtension(const std::string& path, const ReadOptions& options, Table& table,
                     std::vector<std::string>& warnings) {
  std::string extension = LowerExtension(path);
  if (extension == "gz" || extension == "zst") {
    extension = ExtensionInside(path);
    if (!IsDelimited(extension))
      throw DataError("Cannot read " + path +
                      ": of packed files, those that end in .csv.gz, .tsv.gz, .txt.gz and " +
                      "the like with .zst are read.");
  }
  RequireFittingPart(path, extension, options.part);
  if (IsDelimited(extension)) {
    const char usual = extension == "tsv" ? '\t' : '\0';
    return ReadDelimited(path, path, options, options.delimiter != 0 ? options.delimiter : usual, table,
                         warnings);
  }
  if (IsForeignExtension(extension)) {
    const ForeignFile file{
        path, path, extension, options.threads, options.part, options.userMissing != nullptr};
    return ReadForeignFile(file, options, LimitsFor(file), table, warnings);
  }
  std::string known;
  for (const std::string& ending : ReadableExtensions()) known += " " + ending;
  throw DataError("The ending of " + path + " does not say what kind of file it is; known endings are" +
                  known + ".");
}

}  // namespace

std::vector<std::string> ReadableExtensions() {
  std::vector<std::string> known = {".csv",    ".tsv",   ".txt",      ".parquet", ".json", ".jsonl",
                                    ".ndjson", ".arrow", ".feather",  ".arrows",  ".ipc",  ".sav",
                                    ".zsav",   ".por",   ".sas7bdat", ".xpt",     ".dta",  ".xlsx",
                                    ".xlsm",   ".xls",   ".ods"};
  if (ReadsDatabases()) known.insert(known.end(), {".sqlite", ".sqlite3"});
  known.insert(known.end(), {".duckdb", ".db"});
  return known;
}

void SettleNames(const std::string& path, std::vector<std::string>& names,
                 std::vector<std::string>& warnings) {
  // Names that occur once in the file stay as they are.
  std::unordered_set<std::string> taken(names.begin(), names.end());
  std::unordered_set<std::string> seen;
  std::unordered_map<std::string, std::size_t> uses;
  std::size_t repeated = 0;
  std::string firstRepeated;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty() || seen.insert(names[i]).second) continue;
    std::size_t& use = uses.try_emplace(names[i], 1).first->second;
    std::string name;
    do {
      name = names[i] + "_" + std::to_string(++use);
    } while (!taken.insert(name).second);
    if (repeated++ == 0)
      firstRepeated = "Column name \"" + names[i] + "\" occurs again in " + path + "; column " +
                      std::to_string(i + 1) + " is called " + name;
    names[i] = std::move(name);
  }
  const auto warn = [&](const std::string& sentence, std::size_t columns) {
    if (columns > 0)
      warnings.push_back(sentence +
                         (columns == 1 ? "." : ", and " + std::to_string(columns - 1) + " more likewise."));
  };
  std::size_t count = 0;
  std::string first;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names[i].empty()) continue;
    std::string name = "Var" + std::to_string(i + 1);
    while (!taken.insert(name).second) name += '_';
    if (count++ == 0)
      first = "Column " + std::to_string(i + 1) + " of " + path + " has no name and is called " + name;
    names[i] = std::move(name);
  }
  warn(first, count);
  warn(firstRepeated, repeated);
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

// Reads a source that is not a file: a table of a server, or a query over files.
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

// Copies standard input into a scratch file, since a column may be read a second time.
Table ReadStandardInput(const ReadOptions& options, std::vector<std::string>& warnings) {
  RequireFittingPart("standard input", "csv", options.part);
  static const std::string name = "standard input";
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  if (!error) RemoveStaleScratch(folder);
  const Scratch scratch(folder, error);
  if (error)
    throw DataError("Cannot keep standard input in " + folder.string() + ": " + error.message() + ".");
  const std::string path = (scratch.Path() / "input.txt").string();
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> copy(OpenFile(PathOf(path), "wb"), &std::fclose);
  if (!copy)
    throw DataError("Cannot keep standard input in " + folder.string() + ": " + std::strerror(errno) + ".");
  std::vector<char> bytes(std::size_t{1} << 18);
  bool any = false;
  while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), StandardInput())) {
    any = true;
    if (std::fwrite(bytes.data(), 1, count, copy.get()) != count)
      throw DataError("Cannot keep standard input in " + folder.string() + ": " + std::strerror(errno) + ".");
    if (options.progress && !options.progress(0)) throw Cancelled();
  }
  if (std::ferror(StandardInput()) != 0) throw DataError("Cannot read standard input to its end.");
  if (!any) throw DataError("Standard input is empty.");
  if (std::fflush(copy.get()) != 0)
    throw DataError("Cannot keep standard input in " + folder.string() + ": " + std::strerror(errno) + ".");
  Table table;
  table.fileName = name;
  ReadDelimited(path, name, options, options.delimiter, table, warnings);
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
    requireUnchanged();  // otherwise the sentence might fit neither the old nor the new content
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
  Table table = path == kStandardInput ? ReadStandardInput(options, warnings)
                : isSource             ? ReadSource(address, options, warnings)
                                       : ReadFile(path, options, warnings);
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
  for (double& value : column.values.Writable()) {
    if (before.Contains(value)) {
      value = code;
    } else if (after.Contains(value)) {
      value = code;
      ++becameMissing;
    }
  }
  column.values.Release();
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

MissingOption ParseMissingOption(const Table& table, std::string_view option) {
  const std::size_t equals = option.rfind('=');
  if (equals == std::string_view::npos || equals == 0 || equals + 1 == option.size())
    throw DataError("The missing-data code \"" + std::string(option) + "\" is not of the form NAME=CODE.");
  const std::string name(option.substr(0, equals));
  return {ResolveVariables(table, std::span(&name, 1)), std::string(option.substr(equals + 1))};
}

std::int64_t ApplyMissingOption(Table& table, std::string_view option) {
  const MissingOption parsed = ParseMissingOption(table, option);
  std::int64_t becameMissing = 0;
  const auto apply = [&](std::string_view code) {
    std::size_t fits = 0;
    for (const int number : parsed.variableNumbers) {
      const std::string name = table.Variable(number).name;
      // When several variables are named, a number is not a code of those that hold texts.
      if (parsed.variableNumbers.size() > 1 && table.Variable(number).fromText &&
          table.Variable(number).ValueOf(code) == nullptr)
        continue;
      try {
        becameMissing += SetMissingCode(table, name, ParseMissingCode(table.Variable(number), code));
        ++fits;
      } catch (const DataError&) {
        if (parsed.variableNumbers.size() == 1) throw;
      }
    }
    if (fits == 0)
      throw DataError("The missing-data code \"" + std::string(code) +
                      "\" is neither a number nor a value label of the " +
                      std::to_string(parsed.variableNumbers.size()) + " variables of \"" +
                      std::string(option.substr(0, option.rfind('='))) + "\".");
  };
  const auto isLabel = [&](int number) { return table.Variable(number).ValueOf(parsed.codes) != nullptr; };
  if (std::any_of(parsed.variableNumbers.begin(), parsed.variableNumbers.end(), isLabel)) {
    apply(parsed.codes);
    return becameMissing;
  }
  std::string_view codes = parsed.codes;
  for (std::size_t comma = 0; comma != std::string_view::npos; codes.remove_prefix(comma + 1)) {
    comma = codes.find(',');
    apply(codes.substr(0, comma));
    if (comma == std::string_view::npos) break;
  }
  return becameMissing;
}

}  // namespace velmora
