// States as bytes: a header with a version, the length and a checksum around one CBOR value (RFC
// 8949). Whole columns are byte strings inside it.
//
//   Packed state = {{"kind", "survey"}, {"means", PackDoubles(means)}};
//   const std::string bytes = Sealed(state);
//   const Packed again = Unsealed(bytes);   // DataError when a bit of it has changed
#pragma once

#include <concepts>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace velmora::states {

using Packed = nlohmann::json;

std::string Sealed(const Packed& state);
// The header with its length and checksum, then the body.
std::string SealedBody(std::string_view body);
// Throws DataError for bytes that are damaged, cut short, from another version, or not a state.
Packed Unsealed(std::string_view bytes);

Packed PackDoubles(std::span<const double> values);
// Throws DataError, like the functions below, for anything that the packing functions did not make.
std::vector<double> UnpackDoubles(const Packed& packed);
// Whole numbers from 0 on in one to nine bytes each.
Packed PackCounts(std::span<const double> counts);
std::vector<double> UnpackCounts(const Packed& packed);

// The member of a state. Whole numbers must be whole and fit their type.
const Packed& Member(const Packed& state, const char* name);
template <typename Value>
Value Get(const Packed& state, const char* name);
// A number of cases as a double: from 0 to 2^53, beyond which doubles are not exact.
double CheckedCount(double count);

[[noreturn]] void FailDamaged();

template <typename Value>
struct IsList : std::false_type {};
template <typename Item>
struct IsList<std::vector<Item>> : std::true_type {};

template <typename Value>
Value ValueFrom(const Packed& packed) {
  if constexpr (std::is_integral_v<Value> && !std::same_as<Value, bool>) {
    if (packed.is_number_unsigned() && std::in_range<Value>(packed.get<std::uint64_t>()))
      return packed.get<Value>();
    if (packed.is_number_integer() && !packed.is_number_unsigned() &&
        std::in_range<Value>(packed.get<std::int64_t>()))
      return packed.get<Value>();
    FailDamaged();
  } else if constexpr (IsList<Value>::value) {
    if (!packed.is_array()) FailDamaged();
    Value values;
    for (const Packed& item : packed) values.push_back(ValueFrom<typename Value::value_type>(item));
    return values;
  } else {
    return packed.get<Value>();
  }
}

template <typename Value>
Value Get(const Packed& state, const char* name) {
  try {
    return ValueFrom<Value>(Member(state, name));
  } catch (const nlohmann::json::exception&) {
    FailDamaged();
  }
}

}  // namespace velmora::states
