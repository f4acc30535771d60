#include "workbench/data/json_input.h"

#include <set>
#include <vector>

#include "workbench/data/errors.h"

namespace velmora {
namespace {

class TextCheck final : public JsonCheck<Json> {
 public:
  explicit TextCheck(const std::string& file) : file_(file) {}

  bool key(string_t& name) override {
    if (!names_.back().insert(name).second) throw DataError(file_ + " names " + name + " twice.");
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
    std::string reason = error.what();
    if (const std::size_t end = reason.find("] "); end != std::string::npos) reason.erase(0, end + 2);
    throw DataError(file_ + " is not valid JSON: " + reason + ".");
  }

 private:
  bool Opened(std::size_t, std::size_t depth) override {
    if (depth > kDeepestJson)
      throw DataError(file_ + " is nested more than " + std::to_string(kDeepestJson) + " deep.");
    names_.emplace_back();
    return true;
  }
  void Closed() override { names_.pop_back(); }

  const std::string& file_;
  std::vector<std::set<std::string>> names_;  // of the open objects; none for an array
};

}  // namespace

Json ParseJson(std::string_view text, const std::string& file) {
  TextCheck check(file);
  Json::sax_parse(text, &check);
  return Json::parse(text);
}

}  // namespace velmora
