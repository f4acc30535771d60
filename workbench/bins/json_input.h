// JSON that users hand in: bins and cut points.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace velmora {

using Json = nlohmann::ordered_json;

// Throws DataError that names the file: not valid JSON, nested more than 64 deep, or an object with
// a name twice.
Json ParseJson(std::string_view text, const std::string& file);

}  // namespace velmora
