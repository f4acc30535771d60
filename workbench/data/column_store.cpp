#include "workbench/data/column_store.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/system/mapped_file.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr std::size_t kMostWaiting = std::size_t{1} << 17;  // cells: one megabyte
constexpr std::size_t kFewestWaiting = 512;                 // a page

DataError CannotStore(const std::filesystem::path& folder, const std::string& reason) {
  return DataError("The table is larger than the memory it may take and cannot be kept in " +
                   folder.string() + ": " + reason +
                   ". TMPDIR names another folder, --memory another limit.");
}

class StoredColumn final : public ValuesOwner {
 public:
  StoredColumn(std::shared_ptr<ColumnStore> store, const std::filesystem::path& path, std::error_code& error)
      : store_(std::move(store)), file_(path, error) {}

  std::span<const double> Values() const { return file_.Values(); }
  void Release() const noexcept override { file_.Release(); }
  std::span<double> Writable() override { return file_.Values(); }

 private:
  std::shared_ptr<ColumnStore> store_;  // outlives the mapping
  MappedFile file_;
};

std::atomic<std::uint64_t> columnMemoryLimit = 0;

}  // namespace

void LimitColumnMemory(std::uint64_t bytes) { columnMemoryLimit = bytes; }

std::uint64_t ColumnMemoryLimit() { return columnMemoryLimit; }

std::shared_ptr<ColumnStore> ColumnStore::Open() {
  const std::filesystem::path folder = LargeScratchFolder();
  RemoveStaleScratch(folder);
  std::error_code error;
  std::shared_ptr<ColumnStore> store(new ColumnStore(folder, error));
  if (error) throw CannotStore(folder, error.message());
  return store;
}

std::filesystem::path ColumnStore::PathOfColumn(std::size_t column) const {
  return scratch_.Path() / std::to_string(column);
}

void ColumnStore::Append(std::size_t column, std::span<const double> cells) const {
  if (cells.empty()) return;
  const std::filesystem::path path = PathOfColumn(column);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenFile(path, "ab"), &std::fclose);
  const auto fail = [&] { throw CannotStore(path.parent_path().parent_path(), std::strerror(errno)); };
  if (!file) fail();
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  if (std::fwrite(cells.data(), sizeof(double), cells.size(), file.get()) != cells.size()) fail();
  // Some file systems report a full disk only here.
  if (std::fclose(file.release()) != 0) fail();
}

ColumnValues ColumnStore::Reserved(std::size_t column, std::size_t cells) {
  const std::filesystem::path path = PathOfColumn(column);
  std::error_code error;
  ReserveFile(path, cells * sizeof(double), error);
  if (error) throw CannotStore(path.parent_path().parent_path(), error.message());
  return Finish(column);
}

void ColumnStore::Clear(std::size_t column) const noexcept {
  std::error_code ignored;
  std::filesystem::remove(PathOfColumn(column), ignored);
}

ColumnValues ColumnStore::Finish(std::size_t column) {
  const std::filesystem::path path = PathOfColumn(column);
  std::error_code error;
  auto stored = std::make_shared<StoredColumn>(shared_from_this(), path, error);
  if (error) throw CannotStore(path.parent_path().parent_path(), error.message());
  // Where the system keeps the content of a mapped file, the name can go.
  std::filesystem::remove(path, error);
  const std::span<const double> values = stored->Values();
  return {values, std::move(stored)};
}

const std::shared_ptr<ColumnStore>& ColumnMemory::StoreFor(std::uint64_t cells) {
  if (!store_ && mostBytes_ > 0 && cells > mostBytes_ / sizeof(double)) store_ = ColumnStore::Open();
  return store_;
}

std::size_t ColumnMemory::WaitingCells(std::size_t columns) const {
  const std::uint64_t share = mostBytes_ / 8 / sizeof(double) / std::max<std::size_t>(columns, 1);
  return static_cast<std::size_t>(std::clamp<std::uint64_t>(share, kFewestWaiting, kMostWaiting));
}

}  // namespace velmora
