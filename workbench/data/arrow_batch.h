// The schema of an Arrow IPC table, and the columns of its record batches as arrays of the Arrow C
// data interface. Every function throws ArrowError and FlatBufferError for damaged bytes.
//
//   const ArrowSchemaInfo schema(message.Table(2), version);
//   const auto columns = ReadArrowBatch(schema, dictionaries, message.Table(2), body, wanted);
//   column.Read(columns[i]->Array(), 0, rowCount, cells);   // arrow_cells.h
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "include/velmora.h"
#include "workbench/data/flat_buffer.h"

namespace velmora {

// The reason why a file cannot be read, a part of a sentence.
class ArrowError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A field of a schema: a column, or a part of one.
struct ArrowField {
  std::string name;
  std::string format;       // of the C data interface; empty: a type that no variable can hold
  std::string indexFormat;  // of the indices, where the cells are entries of a dictionary
  std::int64_t dictionary = -1;
  int bufferCount = 0;  // in a batch, without those of views
  bool isView = false;  // the batch says how many buffers it has
  std::vector<ArrowField> children;

  bool IsDictionary() const { return !indexFormat.empty(); }
};

class ArrowSchemaInfo {
 public:
  ArrowSchemaInfo(const FlatTable& schema, int metadataVersion);

  const std::vector<ArrowField>& Fields() const { return fields_; }

 private:
  std::vector<ArrowField> fields_;
};

// The bytes after the description of a message.
struct ArrowBody {
  std::shared_ptr<std::byte[]> memory;
  std::size_t size = 0;
};

// An array and the memory that it refers to.
class ArrowColumnArray {
 public:
  ArrowColumnArray() = default;
  ArrowColumnArray(const ArrowColumnArray&) = delete;
  ArrowColumnArray& operator=(const ArrowColumnArray&) = delete;

  const ArrowArray& Array() const { return array_; }

 private:
  friend class ArrowBatchReader;

  ArrowArray array_{};
  std::vector<const void*> buffers_;
  std::vector<std::int64_t> sizes_;  // of the texts of views
  std::shared_ptr<std::byte[]> body_;
  std::vector<std::unique_ptr<std::byte[]>> unpacked_;
  std::shared_ptr<ArrowColumnArray> dictionary_;
};

// The newest entries of each dictionary.
using ArrowDictionaries = std::map<std::int64_t, std::shared_ptr<ArrowColumnArray>>;

// The columns of a record batch; those that are not wanted are null.
std::vector<std::shared_ptr<ArrowColumnArray>> ReadArrowBatch(const ArrowSchemaInfo& schema,
                                                              const ArrowDictionaries& dictionaries,
                                                              const FlatTable& batch, const ArrowBody& body,
                                                              const std::vector<bool>& wanted);

// Takes the entries of a dictionary batch.
void TakeArrowDictionary(const ArrowSchemaInfo& schema, const FlatTable& batch, const ArrowBody& body,
                         ArrowDictionaries& dictionaries);

// How the buffers of a batch are compressed.
enum class ArrowCodec : std::int8_t { kLz4 = 0, kZstd = 1 };

// Fills all of unpacked.
void UnpackArrowBuffer(ArrowCodec codec, std::span<const std::byte> packed, std::span<std::byte> unpacked);

}  // namespace velmora
