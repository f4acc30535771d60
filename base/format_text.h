// Fills the placeholders of a text template ("%s", "%d", "%.4f"). The template comes from a table
// of texts, so nothing in it is trusted: a placeholder without a fitting argument stays as it is,
// and no argument is read as a type that it does not have.
//
//   FormatText("%s: %d cases", {name, count})
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace vlm {

using TextArgument = std::variant<std::string_view, long long, double>;

// Placeholders: "%s" takes a text or a whole number; "%d", "%i", "%u", "%ld" a whole number; "%g",
// "%e", "%f", with an optional ".N", a number of either kind; "%%" is a percent sign. Arguments are
// taken in order, one per placeholder.
std::string FormatText(std::string_view pattern, std::initializer_list<TextArgument> arguments);

}  // namespace vlm
