#include "workbench/cli/help_page.h"

#include <algorithm>
#include <span>

#include "workbench/data/readers.h"

namespace velmora {
namespace {

// The options that are the same in the help of several commands: on reading data, and on a run.
struct OptionText {
  const char* option;
  const char* text;
};
constexpr OptionText kDataOptions[] = {
    {"--missing NAME=CODE...",
     "a number or a label that means missing in this variable; NAME=CODE,CODE for several, a pattern such as "
     "'q*=99' for several variables"},
    {"--missing-text TEXT",
     "a text that means missing in every variable of a text file, such as NA; A,B for several"},
    {"--delimiter C", "field separator of a text file (default: detected); tab for a tab"},
    {"--encoding E", "of a text file: utf-8, utf-16, utf-16be or windows-1252 (default: detected)"},
    {"--no-header", "the first line of a text file is a case; variables are called v1, v2, ..."},
    {"--ragged HOW",
     "what to do with rows of a text file that have more or fewer fields than columns: error (default), pad "
     "(add missing values, drop surplus fields) or skip"},
    {"--date-parts NAME", "adds year, month, day and weekday of this date as variables"},
    {"--since NAME=DATE", "adds the days since DATE (YYYY-MM-DD) as a variable"},
    {"--sheet NAME", "sheet of a workbook, by name or number (default: the first that is visible)"},
    {"--range CELLS", "cells of a sheet, such as B3:F200; the first row names the columns"},
    {"--table NAME", "table of a database, where it has several"},
    {"--sql-from QUERY",
     "SELECT over a database, or without DATA over files: \"SELECT * FROM 'a.parquet'\""}};

constexpr OptionText kDatabaseOptions[] = {
    {"--push-down",
     "count inside the database: PostgreSQL, DuckDB, or a .parquet file by DuckDB; only counts, sums and "
     "quantiles "
     "leave it, no case does. docs/scale.md says what is the same and what is not"},
    {"--where CONDITION", "only the cases for which this condition in SQL is true, such as \"age > 30\""},
    {"--cells N",
     "different numbers of a column that are counted one by one (default 400, 20 to 10000); columns that "
     "have more "
     "are cut at as many quantiles first"}};

constexpr OptionText kRunOptions[] = {
    {"--threads N", "threads that work at once (default: one per processor); results do not depend on it"},
    {"--memory LIMIT",
     "memory that the run may take, such as 2G (default: three quarters of the free memory); a table that "
     "does "
     "not fit is kept in scratch files in TMPDIR or /var/tmp"},
    {"--quiet", "print only warnings and failures on standard error"},
    {"--module PATH", "the module to load (default: beside the command, or VELMORA_MODULE)"},
    {"--decimal-separator C",
     "of numbers in labels (default: of your locale in text, HTML and XLSX, a point as soon as a program "
     "reads one of the outputs)"},
    {"--log FILE", "append the log entries of the module to FILE (default: VELMORA_LOG)"}};

// Texts begin at a column; lines are shorter than 120 characters.
std::string OptionLines(std::span<const OptionText> options, std::size_t column) {
  constexpr std::size_t kMostColumns = 119;
  std::string lines;
  for (const OptionText& one : options) {
    std::string line = std::string("  ") + one.option;
    line.resize(column - 1, ' ');
    for (std::string_view rest = one.text; !rest.empty();) {
      const std::size_t end = std::min(rest.find(' '), rest.size());
      if (line.size() + 1 + end > kMostColumns) {
        lines += line + "\n";
        line.assign(column - 1, ' ');
      }
      line.append(" ").append(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    lines += line + "\n";
  }
  return lines;
}

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
}

#ifdef _WIN32
// Command lines for cmd.exe: double quotes, and a caret at the end of a line that goes on.
void AdaptCommands(std::string& text) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    const std::size_t first = line.find_first_not_of(' ');
    const bool isCommand = first != std::string::npos && first >= 2 && line.find("velmora ", first) == first;
    if (isCommand || (first != std::string::npos && first >= 10))
      std::replace(line.begin(), line.end(), '\'', '"');
    if (line.ends_with(" \\")) line.back() = '^';
    text.replace(begin, end - begin, line);
    begin += line.size() + 1;
  }
}
#else
void AdaptCommands(std::string&) {}
#endif

}  // namespace

std::string HelpPage(std::string_view page) {
  std::string text(page);
  std::string files =
      "a CSV, TSV, Parquet, JSON-lines, Arrow (.arrow .feather), Excel (.xlsx .xls), OpenDocument (.ods), "
      "SPSS\n"
      "(.sav .por), SAS (.sas7bdat .xpt) or Stata (.dta) file, ";
  files +=
      ReadsDatabases()
          ? "a DuckDB or SQLite database (.duckdb,\n"
            ".sqlite, .db), or the address of one, postgresql://USER@HOST/DATABASE?table=NAME or mysql://..."
          : "or a DuckDB database (.duckdb)";
  ReplaceAll(text, "@DATA_FILES@", files);
  ReplaceAll(text, "@DATA_OPTIONS@", OptionLines(kDataOptions, 30));
  ReplaceAll(text, "@DATA_OPTIONS_26@", OptionLines(kDataOptions, 26));
  ReplaceAll(text, "@DATABASE_OPTIONS@", OptionLines(kDatabaseOptions, 30));
  ReplaceAll(text, "@RUN_OPTIONS@", OptionLines(kRunOptions, 30));
  AdaptCommands(text);
  return text;
}

}  // namespace velmora
