// The exceptions of the data layer. None crosses the contract to a module.
#pragma once

#include <stdexcept>
#include <string>

namespace velmora {

// what() is one sentence for the user; it names the file, the row, the variable or the option at
// fault.
class DataError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The user cancelled a long operation; nothing is left half-done.
class Cancelled : public std::runtime_error {
 public:
  Cancelled() : std::runtime_error("Cancelled.") {}
};

}  // namespace velmora
