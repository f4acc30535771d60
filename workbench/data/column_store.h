// Columns of a table that is larger than the memory it may take: each is a file in a scratch
// folder, mapped into memory once it is complete. The files are removed with the last column; those
// that a killed process leaves are removed when the next table is stored.
//
//   const std::shared_ptr<ColumnStore> store = ColumnStore::Open();
//   store->Append(7, cells);                              // again and again
//   column.values = store->Finish(7);
//   column.values.Release();                              // they have been used; their memory goes
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "workbench/data/column_values.h"
#include "workbench/system/scratch.h"

namespace velmora {

// How much memory the columns of a table that this process reads may take; 0, as at the start: no
// limit. The columns of larger tables are stored.
void LimitColumnMemory(std::uint64_t bytes);
std::uint64_t ColumnMemoryLimit();

// Cells of stored columns that are read before their memory is given back: 32 megabytes.
inline constexpr std::size_t kCellsHeld = std::size_t{1} << 22;

class ColumnStore : public std::enable_shared_from_this<ColumnStore> {
 public:
  // In TMPDIR, or where the system keeps large temporary files. Throws DataError.
  static std::shared_ptr<ColumnStore> Open();

  // Adds cells to the end of a column. Threads may work on different columns at once. Throws
  // DataError.
  void Append(std::size_t column, std::span<const double> cells) const;
  // A column of this many cells, not yet written. Throws DataError, also when the disk has no room
  // for them.
  ColumnValues Reserved(std::size_t column, std::size_t cells);
  // Forgets its cells.
  void Clear(std::size_t column) const noexcept;
  // Returns the cells of a column, which is then complete. Throws DataError.
  ColumnValues Finish(std::size_t column);

 private:
  ColumnStore(const std::filesystem::path& folder, std::error_code& error) : scratch_(folder, error) {}
  std::filesystem::path PathOfColumn(std::size_t column) const;

  Scratch scratch_;
};

// Decides whether and when the columns that a reader fills are moved to files.
class ColumnMemory {
 public:
  // The store for columns with so many cells in all, null while they may stay in memory. The same
  // store from then on.
  const std::shared_ptr<ColumnStore>& StoreFor(std::uint64_t cells);
  // How many cells of a column wait in memory before they are written, when there are so many
  // columns.
  std::size_t WaitingCells(std::size_t columns) const;

 private:
  std::uint64_t mostBytes_ = ColumnMemoryLimit();
  std::shared_ptr<ColumnStore> store_;
};

}  // namespace velmora
