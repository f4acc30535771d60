#include "workbench/data/sql_text.h"

namespace velmora {

namespace {

// The text in quotation marks; marks inside it are doubled.
std::string Quoted(std::string_view text, char mark) {
  std::string quoted(1, mark);
  for (const char c : text) {
    if (c == mark) quoted += mark;
    quoted += c;
  }
  return quoted + mark;
}

}  // namespace

std::string SqlText(std::string_view text) { return Quoted(text, '\''); }

std::string SqlName(std::string_view name) { return Quoted(name, '"'); }

std::string QualifiedName(std::string_view name) {
  const std::size_t point = name.find('.');
  if (point == std::string_view::npos) return SqlName(name);
  return SqlName(name.substr(0, point)) + "." + QualifiedName(name.substr(point + 1));
}

std::string MySqlName(std::string_view name) { return Quoted(name, '`'); }

}  // namespace velmora
