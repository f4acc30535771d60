// A table that goes out through the Arrow C stream interface, as one record batch.
//
//   ArrowTable table;
//   table.AddNumbers("iv", {0.4, kMissing});
//   table.Export(stream);   // the caller of the C interface releases it
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "include/velmora.h"
#include "workbench/data/table.h"
#include "workbench/report/json_text.h"

namespace velmora {

class ArrowTable {
 public:
  ArrowTable();
  ~ArrowTable();
  ArrowTable(ArrowTable&&) noexcept;

  // Columns have the same length. kMissing and nothing become null.
  void AddNumbers(const std::string& name, std::span<const double> values);
  void AddIntegers(const std::string& name, const std::vector<std::optional<std::int64_t>>& values);
  void AddFlags(const std::string& name, const std::vector<std::optional<bool>>& values);
  void AddTexts(const std::string& name, const std::vector<std::optional<std::string>>& values);
  // Texts that repeat: codes are indices of texts, negative for null.
  void AddCategories(const std::string& name, const std::vector<std::int32_t>& codes,
                     const std::vector<std::string>& texts);
  // Numbers, or the labels of a text column as categories.
  void AddVariable(const Column& column);

  // Hands the columns over to stream, which must be empty.
  void Export(ArrowArrayStream& stream) &&;

 private:
  struct Data;
  std::shared_ptr<Data> data_;
};

// The JSON of a report as a table: a column per member of the rows, in the order in which members
// first occur. Names become snake case; the members of an object are prefixed with its name.
ArrowTable TableOfRows(const Json& rows);

}  // namespace velmora
