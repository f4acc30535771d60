// Initialises COM on the calling thread while the object lives: a single-threaded apartment, which
// windows need.
#pragma once

#include <windows.h>
// after windows.h
#include <objbase.h>

#include <stdexcept>

namespace velmora {

class ComApartment {
 public:
  ComApartment() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
      throw std::runtime_error("The system's automation cannot be used on this thread.");
    }
  }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

}  // namespace velmora
