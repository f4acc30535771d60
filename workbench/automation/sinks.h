// The contract's sinks over standard containers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "contract/types.h"

namespace velmora {

class StringSink final : public vlm::ITextSink {
 public:
  virtual ~StringSink() = default;
  void Assign(const char* data, int length) override {
    text.assign(data == nullptr || length <= 0 ? "" : data,
                length > 0 && data != nullptr ? static_cast<std::size_t>(length) : 0);
  }
  std::string text;
};

class IntegerSink final : public vlm::IIntegerSink {
 public:
  virtual ~IntegerSink() = default;
  void Clear() override { numbers.clear(); }
  void Append(int value) override { numbers.push_back(value); }
  std::vector<int> numbers;
};

// A text of the contract, which may be null when it is empty.
inline std::string_view TextOf(const char* text, int length) {
  return text == nullptr || length <= 0 ? std::string_view()
                                        : std::string_view(text, static_cast<std::size_t>(length));
}
inline int LengthOf(std::string_view text) { return static_cast<int>(text.size()); }

}  // namespace velmora
