// A text that is one number as a whole, with a decimal point in every locale.
//
//   ParseNumber<double>("1.5e3")      -> 1500
//   ParseNumber<int>("12 ")           -> nothing
//   ParseTypedNumber<int>(" +12 ")    -> 12
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/trim_blanks.h"

namespace vlm {

// As programs write it: no blanks, no plus sign. Nothing also for a number beyond the range of its
// type. "inf" and "nan" are doubles.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  const char* const end = text.data() + text.size();
  Number number{};
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return number;
}

// As people type it: with blanks around it, or a plus sign.
template <typename Number>
std::optional<Number> ParseTypedNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  return ParseNumber<Number>(text);
}

}  // namespace vlm
