// Fills the places of a text template ("%s", "%d", "%.4f") from given arguments. The template comes from a table of
// texts, so nothing in it is trusted: a place without a fitting argument stays as it stands, and no argument is
// read as another type than it has.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace vlm {

using TextArgument = std::variant<std::string_view, long long, double>;

// Places: "%s" takes a text or a whole number; "%d", "%i", "%u", "%ld" a whole number; "%g", "%e", "%f", with an
// optional ".N", a number of either kind; "%%" is a percent sign. Arguments are taken in order, one a place.
std::string FormatText(std::string_view pattern, std::initializer_list<TextArgument> arguments);

}  // namespace vlm
