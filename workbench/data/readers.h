// Reads a data file into a Table.
//
//   .csv .tsv .txt                       delimited text, also packed as .csv.gz or .csv.zst
//   -                                    delimited text from standard input
//   .parquet .json .jsonl .ndjson        by DuckDB; .arrow .feather .arrows .ipc by our own reader
//   .sav .zsav .por .sas7bdat .xpt .dta  SPSS, SAS and Stata, by ReadStat
//   .xlsx .xlsm .xls .ods                a sheet of a workbook, or a range of it
//   .duckdb .sqlite .sqlite3 .db         a table of a database, or a query over it
//   postgresql:// mysql:// mariadb://    a table of a server, or a query (database_address.h)
//   nothing                              a query over the files that it names, by DuckDB
//
// Everything but text is read in a process of its own, which can write nothing.
//
//   ReadReport report;
//   Table table = ReadTable("credit.csv", {.missingTexts = {"unknown"}}, &report);
//
// Every reader:
// - A number column becomes doubles; a missing cell becomes the column's missing-data code,
//   kMissing. NaN is missing. An infinite value is missing too, with a warning. A value that equals
//   kMissing is missing, with a warning.
// - A text column becomes the codes 1..k in the byte order of its distinct texts, with the texts as
//   value labels, so the codes do not depend on the order of the rows. An empty text is missing.
// - true and false become 1 and 0 with labels. Dates become days, points in time seconds, since
//   1970-01-01 00:00 UTC.
// - A column of whole numbers that doubles cannot hold exactly (beyond 2^53) is kept as text, with
//   a warning, so that identifiers keep their digits. Columns of lists or structures are left out,
//   with a warning.
// - Texts are UTF-8. In files that are not text, U+FFFD replaces NUL and bytes that are not UTF-8,
//   with a warning.
//
// Delimited text:
// - UTF-8 with or without byte-order mark, UTF-16 or Windows-1252, both with a warning unless they
//   are asked for; the first line that is not blank names the columns. Blanks around a name are
//   dropped. An empty name becomes VarN (N the column's number) and a name that occurs again gets a
//   number (a, a_2), with a warning each.
// - .tsv is separated by tabs; for .csv and .txt the delimiter is the one of , ; tab | that gives
//   the first records equally many fields, the one with the most fields if several do. A first line
//   "sep=;" names it.
// - Every record has as many fields as the header, unless TextFormat::ragged takes others. Blank
//   lines are skipped, except in a file of one column, where they are missing values.
// - A column holds numbers only if every field that is not empty is a number. 00123 is a code, not
//   a number. nan and inf in any spelling count as numbers; so do NA, N/A, NULL, . and ? in a
//   column that otherwise holds numbers: they are missing there, with a warning. In a text column
//   they are texts like any other.
// - Where the delimiter is not a comma, a comma in a number is the decimal mark (a column that uses
//   both marks is text), except where every comma of the column could separate thousands (1,022)
//   and decimal points occur elsewhere in the file; likewise a point where commas are the decimal
//   marks.
// - A column whose every field is a number with separated thousands (1,022.5 or 1.022,5), or a
//   percentage (12 %, which becomes 12), or a number with one and the same currency or unit ($12,
//   3 kg), holds numbers, with a warning.
// - A column whose every text is a date (2024-05-31, 31.5.2024, 5/31/2024; 5/6/2024 if other cases
//   distinguish day and month) or a point in time (2024-05-31 12:30:00) holds dates.
//
// Sidecar: beside NAME.csv, a file NAME.csv.bundles.json written by SaveTable restores bundles,
// long names, labels and codes. A Parquet file written by SaveTable carries the same inside.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"
#include "workbench/data/table_part.h"
#include "workbench/data/text_format.h"
#include "workbench/data/user_missing.h"

namespace velmora {

// The path that means standard input.
inline constexpr std::string_view kStandardInput = "-";

struct ReadOptions {
  int threads = 0;     // of DuckDB; 0 = one per processor
  char delimiter = 0;  // of delimited text; 0 = as described above
  TextFormat text;     // of delimited text
  bool infer = true;   // fill measurement and role of every column (measurement.h)
  // Texts that mean a missing value in any column, e.g. {"NA", "n/a"}.
  std::vector<std::string> missingTexts;
  TablePart part;  // of a file with more than one table
  // Receives the values that the file declares missing; they are missing in the table. Null: not
  // wanted.
  UserMissing* userMissing = nullptr;
  // Chooses which of the columns with these names are read, at least one; empty: all. Called for
  // delimited text, Parquet, JSON, Arrow, DuckDB's files and queries, and only where no column
  // affects how others are read. Columns that are not chosen have no values.
  std::function<std::vector<bool>(const std::vector<std::string>& names)> choose;
  // Called on the calling thread with the fraction done, 0 to 1, many times a second; false cancels
  // the reading, which throws Cancelled.
  std::function<bool(double)> progress;
};

// What the user should know about the data, a sentence each.
struct ReadReport {
  std::vector<std::string> warnings;
};

// path: of a file, an address, or empty with a query over files. Throws DataError when the file
// cannot be read whole or changes meanwhile, Cancelled when progress returns false.
Table ReadTable(const std::string& path, const ReadOptions& options = {}, ReadReport* report = nullptr);

// Makes code the missing-data code of the variable called name (resolved as in names.h): cells that
// were missing stay missing under the new code, and cells nearly equal to it become missing.
// Returns the number of cells that became missing. Throws DataError for an unknown name or a code
// that is not finite.
std::int64_t SetMissingCode(Table& table, std::string_view name, double code);

// The option text NAME=CODE or NAME=CODE,CODE,... Each CODE is a number or a value label of the
// variable. NAME may be a pattern (names.h): then each code is missing in the variables that have
// it, and one that fits none of them is an error.
std::int64_t ApplyMissingOption(Table& table, std::string_view option);

// The variables that such an option names, and its codes.
struct MissingOption {
  std::vector<int> variableNumbers;
  std::string codes;
};
MissingOption ParseMissingOption(const Table& table, std::string_view option);

// Whether this build reads SQLite databases and tables of database servers.
[[nodiscard]] bool ReadsDatabases();

}  // namespace velmora
