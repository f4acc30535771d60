#include "workbench/push_down/sql_table.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "workbench/data/sql_text.h"

namespace velmora::push_down {
namespace {

bool StartsWithAny(const std::string& type, std::initializer_list<const char*> starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](const char* start) { return type.starts_with(start); });
}

bool IsWholeType(const std::string& type) {
  return StartsWithAny(type, {"smallint", "integer", "bigint", "tinyint", "hugeint", "uhugeint", "ubigint",
                              "uinteger", "usmallint", "utinyint", "oid"});
}

// Whether the database converts the digits of this type to a double via a text, as the readers of
// files do.
bool IsDecimalType(const std::string& type) {
  return StartsWithAny(type, {"numeric", "decimal", "hugeint", "uhugeint"});
}

std::optional<ValueKind> KindOfType(const std::string& type) {
  if (type.ends_with("]") || StartsWithAny(type, {"struct", "map(", "union", "bytea", "blob"}))
    return std::nullopt;
  if (type == "boolean") return ValueKind::kTruth;
  if (type == "date") return ValueKind::kDays;
  if (type.starts_with("timestamp")) return ValueKind::kSeconds;
  const bool isFraction = StartsWithAny(type, {"double", "float", "real"});
  return IsWholeType(type) || IsDecimalType(type) || isFraction ? ValueKind::kNumber : ValueKind::kText;
}

std::string ColumnsStatement(const SqlTable& table) {
  if (table.kind == DatabaseKind::kDuckDb)
    return "SELECT column_name AS r0, column_type AS r1 FROM (DESCRIBE SELECT * FROM " + table.source + ")";
  return "SELECT attname AS r0, format_type(CASE WHEN typtype = 'd' THEN typbasetype ELSE atttypid END, "
         "NULL) AS r1 FROM pg_attribute JOIN pg_type ON pg_type.oid = atttypid WHERE attrelid = " +
         SqlText(table.source) + "::regclass AND attnum > 0 AND NOT attisdropped ORDER BY attnum";
}

std::string NumberExpression(const std::string& name, const std::string& type, bool isPostgres) {
  if (IsWholeType(type) && !IsDecimalType(type)) return "CAST(" + name + " AS DOUBLE PRECISION)";
  // PostgreSQL shows a float4 by its shortest digits, which the readers of tables take.
  const bool byText = IsDecimalType(type) || (isPostgres && type == "real");
  const std::string number =
      "CAST(" + (byText ? "CAST(" + name + " AS TEXT)" : name) + " AS DOUBLE PRECISION)";
  return "CASE WHEN abs(" + number + ") < CAST('Infinity' AS DOUBLE PRECISION) THEN " + number + " END";
}

std::string SecondsExpression(const std::string& name, const std::string& type, bool isPostgres) {
  if (isPostgres) return "CAST(extract(epoch FROM " + name + ") AS DOUBLE PRECISION)";
  const bool hasZone = type.ends_with("time zone");
  return "epoch_us(" + (hasZone ? name : "CAST(" + name + " AS TIMESTAMP)") + ") / 1e6";
}

}  // namespace

std::vector<SqlColumn> ReadColumns(const SqlTable& table) {
  std::vector<SqlColumn> columns;
  for (const SqlRow& row : table.run(ColumnsStatement(table))) {
    if (row.size() != 2 || !row[0] || !row[1]) throw DataError("The database does not describe its columns.");
    SqlColumn& column = columns.emplace_back();
    column.name = *row[0];
    column.type = *row[1];
    for (char& c : column.type) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    column.kind = KindOfType(column.type);
    column.isBigWhole =
        StartsWithAny(column.type, {"bigint", "ubigint", "hugeint", "uhugeint", "numeric", "decimal", "oid"});
  }
  return columns;
}

std::string ValueExpression(const SqlColumn& column, DatabaseKind database) {
  const std::string name = SqlName(column.name);
  const bool isPostgres = database == DatabaseKind::kPostgres;
  switch (*column.kind) {
    case ValueKind::kNumber:
      return NumberExpression(name, column.type, isPostgres);
    case ValueKind::kTruth:
      return "CAST(" + name + " AS INTEGER)";
    case ValueKind::kDays:
      return "CASE WHEN isfinite(" + name + ") THEN CAST(" +
             (isPostgres ? name + " - DATE '1970-01-01'"
                         : "date_diff('day', DATE '1970-01-01', " + name + ")") +
             " AS DOUBLE PRECISION) END";
    case ValueKind::kSeconds:
      return "CASE WHEN isfinite(" + name + ") THEN " + SecondsExpression(name, column.type, isPostgres) +
             " END";
    case ValueKind::kText:
      break;
  }
  // Texts of blanks and tabs are missing, as in files.
  const std::string text = "CAST(" + name + " AS TEXT)";
  return "CASE WHEN REPLACE(REPLACE(" + text + ", '\t', ''), ' ', '') <> '' THEN " + text + " END";
}

std::string NumberLiteral(double value) {
  std::array<char, 32> digits{};
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::scientific);
  return {digits.data(), end.ptr};
}

double NumberOf(const std::optional<std::string>& cell) {
  if (!cell) return 0;
  double value = 0;
  const char* const end = cell->data() + cell->size();
  const auto read = std::from_chars(cell->data(), end, value);
  if (read.ec != std::errc() || read.ptr != end)
    throw DataError("The database answers \"" + *cell + "\" where a number is expected.");
  return value;
}

}  // namespace velmora::push_down
