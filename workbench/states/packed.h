// States as bytes: a header with a version, the length and a checksum around one CBOR value (RFC 8949). Whole columns
// are byte strings inside it.
//
//   Packed state = {{"kind", "survey"}, {"means", PackDoubles(means)}};
//   const std::string bytes = Sealed(state);
//   const Packed again = Unsealed(bytes);   // DataError when a bit of it has changed
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::states {

using Packed = nlohmann::json;

std::string Sealed(const Packed& state);
// Throws DataError for bytes that are damaged, cut short, of another version or no state at all.
Packed Unsealed(std::string_view bytes);

Packed PackDoubles(std::span<const double> values);
// Throws DataError, as the functions below do, for anything that the others did not make.
std::vector<double> UnpackDoubles(const Packed& packed);
// Whole numbers from 0 on in one to nine bytes each.
Packed PackCounts(std::span<const double> counts);
std::vector<double> UnpackCounts(const Packed& packed);

// The member of a state.
const Packed& Member(const Packed& state, const char* name);
template <typename Value>
Value Get(const Packed& state, const char* name);

[[noreturn]] void FailDamaged();

template <typename Value>
Value Get(const Packed& state, const char* name) {
  try {
    return Member(state, name).get<Value>();
  } catch (const nlohmann::json::exception&) {
    FailDamaged();
  }
}

}  // namespace velmora::states
