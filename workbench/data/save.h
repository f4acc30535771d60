// Saves a table, completely or not at all.
//
//   .csv .tsv   texts as they are, numbers in the shortest form that reads back to the same
//               double, dates as YYYY-MM-DD and YYYY-MM-DD HH:MM:SS, missing cells empty.
//               Everything else (bundles, long names, codes, labels) goes to the sidecar
//               NAME.csv.bundles.json, which is removed when there is nothing to say.
//   .parquet    the same types as columns, everything else inside the file.
//
// ReadTable reads both back: cells to the last bit, names, long names, missing-data codes, labels
// and bundles.
//
//   SaveTable(table, "coded.csv", {.progress = [&](double) { return !cancelled; }});
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {

// Makes the cells of columns that a table only names, some rows at a time, so that they need never
// be in memory as a whole. Their texts have the codes 1, 2, ... of their labels.
class RowMaker {
 public:
  virtual ~RowMaker() = default;
  static constexpr std::size_t kMostRows = 4096;
  // Makes count rows from first on: all rows in their order, each once, on any thread.
  virtual void Make(std::int64_t first, std::size_t count) = 0;
  // Those rows of a column by its place in the table, from 0; empty for one that the table holds.
  virtual std::span<const double> Rows(std::size_t column) const = 0;
};

struct SaveTableOptions {
  // Called with the fraction done, 0 to 1, many times a second; false cancels the saving, which
  // throws Cancelled and leaves nothing.
  std::function<bool(double)> progress = {};
  // What messages call the file, where path is in a folder that only serves until the end of a run.
  std::string shownPath = {};
  // .csv and .tsv: texts that a spreadsheet program would take for formulas get an apostrophe in
  // front, see spreadsheet_csv.h. Such a file does not read back as it was.
  bool forSpreadsheet = false;
  // .parquet: of columns without values; null: there are none.
  RowMaker* maker = nullptr;
};

// Throws DataError for another ending and when the file cannot be written.
void SaveTable(const Table& table, const std::string& path, const SaveTableOptions& options = {});

// Throws DataError for a name with another ending; nothing else is checked.
void CheckSavable(const std::string& path);

// The table as a .csv file has it, handed to write in pieces of about a megabyte. write may throw.
void WriteCsv(const Table& table, bool forSpreadsheet, const std::function<void(std::string_view)>& write);

}  // namespace velmora
