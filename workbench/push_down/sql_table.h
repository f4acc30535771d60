// A table inside a database and how SQL reads its columns: numbers as doubles, truth values as 0 and
// 1, days and seconds since 1970, everything else as texts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "workbench/data/database_connection.h"

namespace velmora::push_down {

struct SqlTable {
  DatabaseKind kind = DatabaseKind::kDuckDb;
  std::string source;  // as FROM names it
  std::function<std::vector<SqlRow>(const std::string& sql)> run;
};

enum class ValueKind { kNumber, kTruth, kText, kDays, kSeconds };

struct SqlColumn {
  std::string name;
  std::string type;               // in lower case, as the database calls it
  std::optional<ValueKind> kind;  // none: lists, structures and bytes
  bool isBigWhole = false;        // whole numbers that a double may not hold
};

// In the order of the table. Throws what run throws.
std::vector<SqlColumn> ReadColumns(const SqlTable& table);

// The value of a column that has a kind. It is null where the value is missing, which includes
// infinities, NaN, and texts of blanks and tabs.
std::string ValueExpression(const SqlColumn& column, DatabaseKind database);

// A double as a literal that reads back to it, also where literals without an exponent are decimals.
std::string NumberLiteral(double value);

// The number in a cell of a result; null is 0. Throws DataError.
double NumberOf(const std::optional<std::string>& cell);

}  // namespace velmora::push_down
