// Texts in and out of the contract's calls, for both sides of the boundary.
//
//   host.MessageOutput(text.data(), vlm::LengthOf(text));
//   const auto name = vlm::TextOf([&](vlm::ITextSink* sink) { host.GetVarNameEx(0, 3, sink); });
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/types.h"

namespace vlm {

// The text of a pointer and a length in bytes; the pointer may be null when the text is empty.
[[nodiscard]] inline std::string_view TextOf(const char* text, int length) {
  return text == nullptr || length <= 0 ? std::string_view()
                                        : std::string_view(text, static_cast<std::size_t>(length));
}

// The length of a text in bytes, as the contract passes it.
[[nodiscard]] inline int LengthOf(std::string_view text) { return static_cast<int>(text.size()); }

// Receives a text. Never throws into the side that fills it: without memory the text stays empty.
class StringSink final : public ITextSink {
 public:
  virtual ~StringSink() = default;
  void Assign(const char* data, int length) override {
    try {
      text_.assign(TextOf(data, length));
    } catch (...) {
      text_.clear();
      failed_ = true;
    }
  }
  [[nodiscard]] const std::string& Text() const { return text_; }
  [[nodiscard]] std::string Take() { return std::move(text_); }
  // The text, or std::bad_alloc when it was lost for lack of memory.
  [[nodiscard]] std::string TakeWhole() {
    if (failed_) throw std::bad_alloc();
    return std::move(text_);
  }

 private:
  std::string text_;
  bool failed_ = false;
};

// Receives whole numbers.
class IntegerSink final : public IIntegerSink {
 public:
  virtual ~IntegerSink() = default;
  void Clear() override { numbers.clear(); }
  void Append(int value) override { numbers.push_back(value); }
  std::vector<int> numbers;
};

// The text that fill(ITextSink*) hands back.
template <typename Fill>
[[nodiscard]] std::string TextOf(Fill&& fill) {
  StringSink sink;
  fill(static_cast<ITextSink*>(&sink));
  return sink.Take();
}

// The same for a text that results depend on: throws std::bad_alloc instead of returning an empty
// one.
template <typename Fill>
[[nodiscard]] std::string WholeTextOf(Fill&& fill) {
  StringSink sink;
  fill(static_cast<ITextSink*>(&sink));
  return sink.TakeWhole();
}

}  // namespace vlm
