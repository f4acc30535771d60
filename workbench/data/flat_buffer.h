// Tables of the FlatBuffers format, in which Arrow describes its messages. Every place is checked
// when it is looked at, so bytes may be damaged.
//
//   const FlatTable message = FlatTable::Root(bytes);
//   const auto length = message.Scalar<std::int64_t>(3, 0);  // the fourth field, or 0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>

namespace velmora {

class FlatBufferError : public std::runtime_error {
 public:
  FlatBufferError() : std::runtime_error("a description refers to a place outside of it") {}
};

class FlatVector;

// Refers to bytes that outlive it. Fields count from 0 in the order of the schema; one that is
// absent has its default.
class FlatTable {
 public:
  // Throws FlatBufferError, like every function here.
  static FlatTable Root(std::span<const std::byte> bytes);
  FlatTable(std::span<const std::byte> bytes, std::size_t place);

  bool Has(std::size_t field) const { return PlaceOf(field) != 0; }
  template <class Value>
  Value Scalar(std::size_t field, Value otherwise) const {
    const std::size_t place = PlaceOf(field);
    return place == 0 ? otherwise : ValueAt<Value>(bytes_, place);
  }
  FlatTable Table(std::size_t field) const;
  std::string_view Text(std::size_t field) const;
  // Empty where the field is absent.
  FlatVector Vector(std::size_t field) const;

  template <class Value>
  static Value ValueAt(std::span<const std::byte> bytes, std::size_t place) {
    if (place > bytes.size() || bytes.size() - place < sizeof(Value)) throw FlatBufferError();
    Value value;
    std::memcpy(&value, bytes.data() + place, sizeof value);
    return value;
  }
  // The place that the offset at this place leads to.
  static std::size_t Follow(std::span<const std::byte> bytes, std::size_t place) {
    return place + ValueAt<std::uint32_t>(bytes, place);
  }

 private:
  // 0: absent.
  std::size_t PlaceOf(std::size_t field) const;

  std::span<const std::byte> bytes_;
  std::size_t place_;
  std::size_t fields_;  // the table of their places
};

class FlatVector {
 public:
  FlatVector() = default;
  FlatVector(std::span<const std::byte> bytes, std::size_t place)
      : bytes_(bytes),
        first_(place + sizeof(std::uint32_t)),
        size_(FlatTable::ValueAt<std::uint32_t>(bytes, place)) {}

  std::size_t Size() const { return size_; }
  FlatTable Table(std::size_t index) const {
    return {bytes_, FlatTable::Follow(bytes_, Element(index, sizeof(std::uint32_t)))};
  }
  // A part of an element of a structure of so many bytes.
  template <class Value>
  Value Part(std::size_t index, std::size_t elementBytes, std::size_t partPlace) const {
    return FlatTable::ValueAt<Value>(bytes_, Element(index, elementBytes) + partPlace);
  }

 private:
  std::size_t Element(std::size_t index, std::size_t elementBytes) const {
    if (index >= size_) throw FlatBufferError();
    return first_ + index * elementBytes;
  }

  std::span<const std::byte> bytes_;
  std::size_t first_ = 0;
  std::size_t size_ = 0;
};

}  // namespace velmora
