#include "workbench/data/part_choice.h"

#include <algorithm>
#include <charconv>

#include "workbench/data/errors.h"

namespace velmora {

namespace {

constexpr std::size_t kMostNamed = 8;

template <class Item>
std::string NamesOf(const std::vector<Item>& items) {
  std::string names;
  for (std::size_t i = 0; i < std::min(items.size(), kMostNamed); ++i)
    names += (i == 0 ? "" : ", ") + items[i].name;
  if (items.size() > kMostNamed) names += " and " + std::to_string(items.size() - kMostNamed) + " more";
  return names;
}

}  // namespace

std::size_t ChooseSheet(const ForeignFile& file, const std::vector<SheetName>& sheets,
                        ForeignDetails& details) {
  if (sheets.empty()) throw DataError("Cannot read " + file.path + ": it has no sheets.");
  const std::string& wanted = file.part.sheet;
  if (wanted.empty()) {
    const auto isVisible = [](const SheetName& sheet) { return !sheet.hidden; };
    const auto found = std::find_if(sheets.begin(), sheets.end(), isVisible);
    const std::size_t index = found == sheets.end() ? 0 : static_cast<std::size_t>(found - sheets.begin());
    if (std::count_if(sheets.begin(), sheets.end(), isVisible) > 1)
      details.warnings.push_back("Sheet \"" + sheets[index].name + "\" of " + file.path +
                                 " is read; it has " + std::to_string(sheets.size()) + " sheets (" +
                                 NamesOf(sheets) + "), and --sheet names another.");
    return index;
  }
  for (std::size_t i = 0; i < sheets.size(); ++i)
    if (sheets[i].name == wanted) return i;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(wanted.data(), wanted.data() + wanted.size(), number);
  if (error == std::errc() && end == wanted.data() + wanted.size() && number >= 1 && number <= sheets.size())
    return number - 1;
  throw DataError("There is no sheet \"" + wanted + "\" in " + file.path + "; it has " + NamesOf(sheets) +
                  ".");
}

std::size_t ChooseTable(const ForeignFile& file, const std::vector<TableName>& tables) {
  if (tables.empty()) throw DataError("Cannot read " + file.path + ": the database has no tables.");
  const std::string& wanted = file.part.table;
  if (wanted.empty()) {
    if (tables.size() == 1) return 0;
    throw DataError(file.path + " has " + std::to_string(tables.size()) + " tables (" + NamesOf(tables) +
                    "): name one by --table.");
  }
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < tables.size(); ++i) {
    if (tables[i].schema + "." + tables[i].name == wanted) return i;
    if (tables[i].name == wanted) found.push_back(i);
  }
  if (found.size() == 1) return found.front();
  if (found.empty())
    throw DataError("There is no table \"" + wanted + "\" in " + file.path + "; it has " + NamesOf(tables) +
                    ".");
  throw DataError("The table \"" + wanted + "\" of " + file.path + " is in the schemas " +
                  tables[found[0]].schema + " and " + tables[found[1]].schema + ": write --table " +
                  tables[found[0]].schema + "." + wanted + ".");
}

std::string RowSource(const ForeignFile& file, const std::vector<TableName>& tables,
                      std::string (*quote)(std::string_view)) {
  if (!file.part.query.empty()) {
    if (!file.part.table.empty()) throw DataError("--table and --sql-from exclude each other.");
    std::string query = file.part.query;
    while (!query.empty() && (query.back() == ';' || query.back() == ' ' || query.back() == '\n'))
      query.pop_back();
    return "(" + query + "\n)";  // a comment may end the query
  }
  const TableName& table = tables[ChooseTable(file, tables)];
  return (table.schema.empty() ? "" : quote(table.schema) + ".") + quote(table.name);
}

}  // namespace velmora
