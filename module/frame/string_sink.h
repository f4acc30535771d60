// A text sink of the contract over std::string, and texts of host calls as values.
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "contract/types.h"

namespace vlmfsl {

class StringSink final : public vlm::ITextSink {
 public:
  // Without memory the text stays empty: a sink must not throw into the host.
  void Assign(const char* data, int length) override {
    try {
      text_.assign(data ? data : "", data && length > 0 ? static_cast<std::size_t>(length) : 0);
    } catch (...) {
      text_.clear();
      failed_ = true;
    }
  }
  const std::string& Text() const { return text_; }
  std::string Take() { return std::move(text_); }
  // The same for a text that must not be lost. Throws std::bad_alloc when it was.
  std::string TakeWhole() {
    if (failed_) throw std::bad_alloc();
    return std::move(text_);
  }

 private:
  std::string text_;
  bool failed_ = false;
};

// The text that fill(ITextSink*) hands back: TextOf([&](vlm::ITextSink* sink) { host.GetVarNameEx(0, 3,
// sink); }).
template <typename Fill>
[[nodiscard]] std::string TextOf(Fill&& fill) {
  StringSink sink;
  fill(static_cast<vlm::ITextSink*>(&sink));
  return sink.Take();
}

// The same for a text that figures depend on: throws std::bad_alloc rather than hand back an empty one.
template <typename Fill>
[[nodiscard]] std::string WholeTextOf(Fill&& fill) {
  StringSink sink;
  fill(static_cast<vlm::ITextSink*>(&sink));
  return sink.TakeWhole();
}

// Length of a text as the contract counts it.
[[nodiscard]] inline int LengthOf(std::string_view text) { return static_cast<int>(text.size()); }

}  // namespace vlmfsl
