#include "workbench/data/flat_buffer.h"

namespace velmora {

FlatTable FlatTable::Root(std::span<const std::byte> bytes) { return {bytes, Follow(bytes, 0)}; }

FlatTable::FlatTable(std::span<const std::byte> bytes, std::size_t place) : bytes_(bytes), place_(place) {
  const auto back = ValueAt<std::int32_t>(bytes, place);
  const auto fields = static_cast<std::int64_t>(place) - back;
  if (fields < 0) throw FlatBufferError();
  fields_ = static_cast<std::size_t>(fields);
}

std::size_t FlatTable::PlaceOf(std::size_t field) const {
  constexpr std::size_t kHeader = 2 * sizeof(std::uint16_t);  // the size of this table, and of the other
  const std::size_t entry = kHeader + field * sizeof(std::uint16_t);
  if (entry + sizeof(std::uint16_t) > ValueAt<std::uint16_t>(bytes_, fields_)) return 0;
  const auto offset = ValueAt<std::uint16_t>(bytes_, fields_ + entry);
  return offset == 0 ? 0 : place_ + offset;
}

FlatTable FlatTable::Table(std::size_t field) const {
  const std::size_t place = PlaceOf(field);
  if (place == 0) throw FlatBufferError();
  return {bytes_, Follow(bytes_, place)};
}

std::string_view FlatTable::Text(std::size_t field) const {
  const std::size_t place = PlaceOf(field);
  if (place == 0) return {};
  const std::size_t text = Follow(bytes_, place);
  const auto length = ValueAt<std::uint32_t>(bytes_, text);
  const std::size_t first = text + sizeof length;
  if (length > bytes_.size() - first) throw FlatBufferError();
  return {reinterpret_cast<const char*>(bytes_.data()) + first, length};
}

FlatVector FlatTable::Vector(std::size_t field) const {
  const std::size_t place = PlaceOf(field);
  return place == 0 ? FlatVector() : FlatVector(bytes_, Follow(bytes_, place));
}

}  // namespace velmora
