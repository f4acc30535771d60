// Record batches of the Arrow C data interface as a table.
//
//   ArrowBatches batches(stream);              // takes the stream and its batches
//   Table table = batches.MakeTable(options, notices);
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "include/velmora.h"
#include "workbench/data/table.h"

namespace velmora {

inline constexpr char kTableName[] = "the table";  // the name in messages of a table that is not a file

// Owns a schema and its batches. They are released with the last column that is made of them
// without a copy: numbers of 64 bits in one batch of which none is missing.
class ArrowBatches {
 public:
  // Takes the stream and reads it to its end. Throws DataError with the stream's own sentence.
  explicit ArrowBatches(ArrowArrayStream& stream);
  // Takes both. Throws DataError when one of them has already been released.
  ArrowBatches(ArrowSchema& schema, ArrowArray& batch);

  std::int64_t RowCount() const;
  // A variable per column, without measurements. missingTexts: as ReadOptions. Columns that no
  // variable can hold are left out, with a notice. Throws DataError that names the column.
  Table MakeTable(const std::vector<std::string>& missingTexts, std::vector<std::string>& notices) const;

 private:
  struct Held;
  void CheckSchema() const;

  std::shared_ptr<Held> held_;
};

}  // namespace velmora
