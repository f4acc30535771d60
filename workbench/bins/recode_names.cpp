#include "workbench/bins/recode_names.h"

#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"

namespace velmora {
namespace {

constexpr char kFormat[] = "velmora recode names";
constexpr int kVersion = 1;

}  // namespace

std::string RecodeNamesJson(const RecodeNames& names) {
  Json json = {{"format", kFormat}, {"version", kVersion}, {"variables", names}};
  return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

RecodeNames ParseRecodeNames(std::string_view text, const std::string& file) {
  const Json json = ParseJson(text, file);
  const bool isKnown = json.is_object() && json.value("format", Json()) == Json(kFormat) &&
                       json.value("version", Json()) == Json(kVersion) && json.contains("variables") &&
                       json.at("variables").is_object();
  if (!isKnown) throw DataError(file + " does not name the variables of recode files.");
  RecodeNames names;
  for (const auto& [name, variable] : json.at("variables").items()) {
    if (!variable.is_string()) throw DataError(file + " has no variable for " + name + ".");
    names[name] = variable.get<std::string>();
  }
  return names;
}

}  // namespace velmora
