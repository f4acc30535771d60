// JSON from outside: bins, cut points, options, requests of the page. A text is read twice, first
// by a check that builds no tree, so that no input can exhaust the stack or the memory.
//
//   const Json options = ParseJson(text, "The options");
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace velmora {

using Json = nlohmann::ordered_json;

// Throws DataError that names the file: not valid JSON, nested too deep, or an object with a name
// twice.
Json ParseJson(std::string_view text, const std::string& file);

inline constexpr std::size_t kDeepestJson = 64;

// Follows objects and lists through an input of any format and accepts every value. A derived class
// says when an input is refused.
template <typename Tree>
class JsonCheck : public nlohmann::json_sax<Tree> {
 public:
  using typename nlohmann::json_sax<Tree>::binary_t;
  using typename nlohmann::json_sax<Tree>::number_float_t;
  using typename nlohmann::json_sax<Tree>::number_integer_t;
  using typename nlohmann::json_sax<Tree>::number_unsigned_t;
  using typename nlohmann::json_sax<Tree>::string_t;

  bool null() final { return true; }
  bool boolean(bool) final { return true; }
  bool number_integer(number_integer_t) final { return true; }
  bool number_unsigned(number_unsigned_t) final { return true; }
  bool number_float(number_float_t, const string_t&) final { return true; }
  bool string(string_t&) final { return true; }
  bool binary(binary_t&) final { return true; }
  bool key(string_t&) override { return true; }
  bool start_object(std::size_t size) final { return Begin(size); }
  bool start_array(std::size_t size) final { return Begin(size); }
  bool end_object() final { return End(); }
  bool end_array() final { return End(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 protected:
  static constexpr std::size_t kUnknownSize = static_cast<std::size_t>(-1);

  // size: kUnknownSize when the format does not give it. depth: 1 for the outermost. Returns false
  // to refuse.
  virtual bool Opened(std::size_t size, std::size_t depth) = 0;
  virtual void Closed() {}

 private:
  bool Begin(std::size_t size) { return Opened(size, ++depth_); }
  bool End() {
    --depth_;
    Closed();
    return true;
  }

  std::size_t depth_ = 0;
};

}  // namespace velmora
