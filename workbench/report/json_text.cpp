#include "workbench/report/json_text.h"

namespace velmora {

std::string JsonText(const Json& value, int indent) {
  return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string Indented(const std::string& text) {
  std::string moved;
  for (const char character : text) {
    moved += character;
    if (character == '\n') moved += "  ";
  }
  return moved;
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json NumberOrNull(double value) { return IsMissing(value, kMissing) ? Json(nullptr) : Json(value); }

Json LeftOutJson(const std::vector<LeftOutVariable>& leftOut) {
  Json list = Json::array();
  for (const LeftOutVariable& variable : leftOut) {
    list.push_back({{"name", variable.name},
                    {"number", variable.number},
                    {"role", variable.role},
                    {"reason", variable.reason}});
  }
  return list;
}

}  // namespace velmora
