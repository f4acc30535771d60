#include "workbench/bins/json_input.h"

#include <set>
#include <vector>

#include "workbench/data/errors.h"

namespace velmora {
namespace {

// Reads a text once before it becomes a tree, so that no text can exhaust the stack with one.
class JsonCheck final : public nlohmann::json_sax<Json> {
 public:
  explicit JsonCheck(const std::string& file) : file_(file) {}

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return Open(); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override { return Open(); }
  bool end_array() override { return Close(); }
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
  bool Open() {
    constexpr std::size_t kDeepest = 64;
    if (names_.size() == kDeepest)
      throw DataError(file_ + " is nested more than " + std::to_string(kDeepest) + " deep.");
    names_.emplace_back();
    return true;
  }
  bool Close() {
    names_.pop_back();
    return true;
  }

  const std::string& file_;
  std::vector<std::set<std::string>> names_;  // of the open objects; none for an array
};

}  // namespace

Json ParseJson(std::string_view text, const std::string& file) {
  JsonCheck check(file);
  Json::sax_parse(text, &check);
  return Json::parse(text);
}

}  // namespace velmora
