#include "workbench/data/spreadsheet_csv.h"

#include <algorithm>

#include "base/parse_number.h"

namespace velmora {
namespace {

bool IsNumber(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  // To a spreadsheet, infinities and NaN are names.
  return vlm::ParseNumber<double>(text) &&
         text.find_first_not_of("+-.0123456789eE") == std::string_view::npos;
}

bool MayBeFormula(std::string_view field) {
  return !field.empty() && std::string_view("=+-@\t\r").find(field.front()) != std::string_view::npos &&
         !IsNumber(field);
}

}  // namespace

std::string SpreadsheetCsv(std::string_view csv, char delimiter) {
  std::string text;
  text.reserve(csv.size());
  for (std::size_t begin = 0; begin < csv.size();) {
    const bool quoted = csv[begin] == '"';
    std::size_t end = begin;
    if (quoted) {
      // Doubled quotes inside are two quoted stretches, one after the other.
      while (end < csv.size() && csv[end] == '"') end = std::min(csv.find('"', end + 1), csv.size() - 1) + 1;
    } else {
      while (end < csv.size() && csv[end] != delimiter && csv[end] != '\n') ++end;
    }
    const std::string_view field = csv.substr(begin, end - begin);
    if (quoted) text += '"';
    if (MayBeFormula(quoted ? field.substr(1, field.size() - 2) : field)) text += '\'';
    text += quoted ? field.substr(1) : field;
    if (end < csv.size()) text += csv[end];
    begin = end + 1;
  }
  return text;
}

}  // namespace velmora
