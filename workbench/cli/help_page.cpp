#include "workbench/cli/help_page.h"

#include <algorithm>

#include "workbench/data/readers.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

struct Place {
  const char* name;
  const char* withXlsx;
  const char* withoutXlsx;
};

constexpr Place kPlaces[] = {
    {"@FORMATS@", "terminal, json, csv, xlsx or html", "terminal, json, csv or html"},
    {"@SCREEN_FILES@", "screening.html, .xlsx, .json, .csv and screening_bins.csv",
     "screening.html, .json, .csv and screening_bins.csv"},
    {"@FEATURE_FILES@", "feature_selection.html, .xlsx, .json and .csv",
     "feature_selection.html, .json and .csv"},
    {"@AND_WORKBOOK@", " and the workbook", ""},
    {"@COMMA_XLSX@", ", XLSX", ""},
    {"@AND_COLLEAGUE@", " and a workbook for a colleague", ""},
    {"@PAGE_FORMATS@", "html,xlsx", "html"},
};

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
  for (const Place& place : kPlaces)
    ReplaceAll(text, place.name, WritesXlsx() ? place.withXlsx : place.withoutXlsx);
  ReplaceAll(
      text, "@DATA_FILES@",
      ReadsStatisticalPackages()
          ? "a CSV, TSV, Parquet, JSON-lines, Excel (.xlsx), OpenDocument (.ods), SPSS (.sav .por), SAS\n"
            "(.sas7bdat .xpt) or Stata (.dta) file, a DuckDB or SQLite database (.duckdb, .sqlite, .db), or "
            "the\n"
            "address of one, postgresql://USER@HOST/DATABASE?table=NAME or mysql://..."
          : "a CSV, TSV, Parquet or JSON-lines file or a DuckDB database (.duckdb)");
  AdaptCommands(text);
  return text;
}

}  // namespace velmora
