// Automation values as Python's and back.
//
//   empty      None
//   int        int; a bool becomes 0 or 1
//   real       float; an int beyond 32 bits too, where a double holds it
//   text       str; a path becomes its text
//   object     velmora.Object
//   array      list; tuples, ranges, other sequences and NumPy arrays are accepted
#pragma once

// Types and calls that every later Python 3 has too.
#ifndef Py_LIMITED_API
#define Py_LIMITED_API 0x030b0000
#endif
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "workbench/automation/automation_client.h"

namespace velmora {

// One owned reference to a Python object.
class PythonReference {
 public:
  PythonReference() = default;
  explicit PythonReference(PyObject* owned) : object_(owned) {}
  PythonReference(PythonReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  PythonReference& operator=(PythonReference&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~PythonReference() { Py_XDECREF(object_); }
  PyObject* get() const { return object_; }
  PyObject* Release() { return std::exchange(object_, nullptr); }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  PyObject* object_ = nullptr;
};

// Thrown when a Python exception is set; caught by GuardedForPython.
struct PythonRaised {};

// Runs a function that Python calls; no C++ exception leaves it.
template <typename Result, typename Function>
Result GuardedForPython(Result failure, Function function) noexcept {
  try {
    return function();
  } catch (const PythonRaised&) {
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  }
  return failure;
}

// The result of a Python call that must not have failed. Throws PythonRaised for null.
inline PythonReference Owned(PyObject* object) {
  if (object == nullptr) throw PythonRaised();
  return PythonReference(object);
}

// The text of a str. Throws PythonRaised for anything else.
std::string TextOfPython(PyObject* text);
PythonReference PythonText(std::string_view text);  // invalid UTF-8 becomes U+FFFD
// Sets the exception with the text and throws PythonRaised.
[[noreturn]] void Raise(PyObject* exceptionType, const std::string& text);

// Both throw PythonRaised: TypeError for a value that cannot be converted, OverflowError for a
// number too large.
Variant ValueOfPython(PyObject* value);
PythonReference PythonValue(const Variant& value);

}  // namespace velmora
