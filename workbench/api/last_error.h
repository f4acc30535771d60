// The one place where an exception becomes a code of the C interface.
#pragma once

#include <new>
#include <string>

#include "include/velmora.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/errors.h"

namespace velmora {

// Holds the sentence of a failure. Its memory is reserved, so that a lack of memory can be
// reported, too.
class LastError {
 public:
  LastError() { text_.reserve(kRoom); }
  void Set(const char* sentence) noexcept {
    try {
      text_ = sentence;
    } catch (...) {
      text_.assign(sentence, kRoom);  // within the capacity
    }
  }
  const char* Text() const { return text_.c_str(); }

 private:
  static constexpr std::size_t kRoom = 200;
  std::string text_;
};

// Runs work. Any exception becomes a code and a sentence in error.
template <typename Work>
int Guarded(LastError& error, Work work) noexcept {
  try {
    work();
    return VELMORA_OK;
  } catch (const UsageError& failure) {
    error.Set(failure.what());
    return VELMORA_BAD_USE;
  } catch (const Cancelled&) {
    error.Set("Cancelled.");
    return VELMORA_CANCELLED;
  } catch (const std::bad_alloc&) {
    error.Set("There is not enough memory for this.");
    return VELMORA_NO_MEMORY;
  } catch (const std::exception& failure) {
    error.Set(failure.what());
    return VELMORA_FAILED;
  } catch (...) {
    error.Set("An unknown failure.");
    return VELMORA_FAILED;
  }
}

}  // namespace velmora
