// Literals and identifiers of standard SQL.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// 'text' as a literal.
std::string SqlText(std::string_view text);
// "name" as an identifier. The name has no NUL.
std::string SqlName(std::string_view name);
// "schema"."name" of SCHEMA.NAME, or "name".
std::string QualifiedName(std::string_view name);
// `name` as an identifier of MySQL.
std::string MySqlName(std::string_view name);

}  // namespace velmora
