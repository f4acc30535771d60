#include "workbench/data/server_rows.h"

#include <charconv>
#include <string>

#include "workbench/data/errors.h"
#include "workbench/data/field_parser.h"
#include "workbench/system/system.h"

namespace velmora {

void AddServerCell(const ForeignColumn& column, bool asText, std::size_t index, std::string_view text,
                   RowBlocks& blocks) {
  if (asText || column.kind == CellKind::kText || column.kind == CellKind::kDigits)
    return blocks.AddText(index, text);
  const char* const end = text.data() + text.size();
  if (column.kind == CellKind::kWhole) {
    std::int64_t whole = 0;
    if (std::from_chars(text.data(), end, whole).ptr != end || text.empty()) return blocks.AddMissing(index);
    return blocks.AddWhole(index, whole);
  }
  double number = 0;
  if (!text.empty() && std::from_chars(text.data(), end, number).ptr == end)
    return blocks.AddNumber(index, number);
  if (const auto day = ParseIsoDate(text)) return blocks.AddNumber(index, *day);
  if (const auto moment = ParseIsoDateTime(text)) return blocks.AddNumber(index, *moment);
  blocks.AddMissing(index);
}

ServerLibrary::ServerLibrary(const char* fileName, const char* whatFor) {
  std::string reason;
  library_ = LoadSharedLibrary(fileName, reason);
  if (library_ == nullptr)
    throw DataError(std::string("The library ") + fileName + ", which reads " + whatFor +
                    ", cannot be loaded: install it (" + reason + ").");
}

void* ServerLibrary::Address(const char* name) const {
  void* const function = FindFunction(library_, name);
  if (function == nullptr)
    throw DataError(std::string("A library for a database server lacks ") + name + ".");
  return function;
}

}  // namespace velmora
