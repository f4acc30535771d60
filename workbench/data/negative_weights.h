// The sentence on weights and counts below 0, the same wherever the cases are.
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

// what: "weight" or "count", the option's name without its dashes. cases: how many, or 0 where only
// a part of them is known.
inline std::string NegativeWeights(const std::string& what, std::int64_t cases, const std::string& variable) {
  const std::string subject = cases == 0   ? "at least one case has"
                              : cases == 1 ? "1 case has"
                                           : std::to_string(cases) + " cases have";
  return "--" + what + ": " + subject + " a negative " + what + " in " + variable + "; a " + what +
         " is 0 or more.";
}

}  // namespace velmora
