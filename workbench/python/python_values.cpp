#include "workbench/python/python_values.h"

#include <cstdint>
#include <limits>

#include "workbench/python/python_objects.h"

namespace velmora {

namespace {

constexpr int kDeepestArray = 32;  // a list that contains itself ends here

// Numbers are read before texts and sequences: the numbers of numpy are neither.
Variant NumberOfPython(PyObject* number) {
  int overflow = 0;
  const long long whole = PyLong_AsLongLongAndOverflow(number, &overflow);
  if (whole == -1 && overflow == 0 && PyErr_Occurred() != nullptr) throw PythonRaised();
  if (overflow == 0 && whole >= std::numeric_limits<int>::min() && whole <= std::numeric_limits<int>::max())
    return static_cast<int>(whole);
  const double real = PyLong_AsDouble(number);
  if (real == -1 && PyErr_Occurred() != nullptr) throw PythonRaised();
  constexpr long long kExactLimit = 1LL << 53;
  if (overflow != 0 || whole > kExactLimit || whole < -kExactLimit)
    Raise(PyExc_OverflowError, "A whole number beyond 2 to the power of 53 cannot be passed exactly.");
  return real;
}

Variant ConvertFromPython(PyObject* value, int depth);

Variant ArrayOfPython(PyObject* sequence, int depth) {
  if (depth >= kDeepestArray) Raise(PyExc_ValueError, "Lists are nested too deeply.");
  const PythonReference list = Owned(PySequence_List(sequence));
  const Py_ssize_t count = PyList_Size(list.get());
  Variant::Array items;
  items.reserve(static_cast<std::size_t>(count));
  for (Py_ssize_t index = 0; index < count; ++index)
    items.push_back(ConvertFromPython(PyList_GetItem(list.get(), index), depth + 1));
  return items;
}

Variant ConvertFromPython(PyObject* value, int depth) {
  if (value == Py_None) return {};
  if (PyLong_Check(value)) return NumberOfPython(value);  // bool is a subclass
  if (PyFloat_Check(value)) return PyFloat_AsDouble(value);
  if (PyUnicode_Check(value)) return TextOfPython(value);
  if (vlm::IAutomationObject* object = AutomationObjectOf(value)) return ObjectReference(object);
  if (PyBytes_Check(value) || PyByteArray_Check(value))
    Raise(PyExc_TypeError, "Bytes cannot be passed; decode them to a text first.");
  if (PyObject_HasAttrString(value, "tolist")) {  // arrays and numbers of numpy
    const PythonReference plain = Owned(PyObject_CallMethod(value, "tolist", nullptr));
    if (PyObject_HasAttrString(plain.get(), "tolist"))
      Raise(PyExc_TypeError, "The array has no plain items.");
    return ConvertFromPython(plain.get(), depth);
  }
  if (PyObject_HasAttrString(value, "__fspath__")) {
    const PythonReference path = Owned(PyOS_FSPath(value));
    return TextOfPython(path.get());
  }
  if (PyIndex_Check(value)) return NumberOfPython(Owned(PyNumber_Index(value)).get());
  const bool isView = PyObject_HasAttrString(value, "mapping") != 0;  // of a dict's keys or values
  if ((PySequence_Check(value) && !PyDict_Check(value)) || isView) return ArrayOfPython(value, depth);
  const PythonReference type =
      Owned(PyObject_GetAttrString(reinterpret_cast<PyObject*>(Py_TYPE(value)), "__name__"));
  Raise(PyExc_TypeError, "A value of type " + TextOfPython(type.get()) + " cannot be passed.");
}

}  // namespace

std::string TextOfPython(PyObject* text) {
  Py_ssize_t length = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text, &length);
  if (bytes == nullptr) throw PythonRaised();
  return {bytes, static_cast<std::size_t>(length)};
}

PythonReference PythonText(std::string_view text) {
  return Owned(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

void Raise(PyObject* exceptionType, const std::string& text) {
  const PythonReference message = PythonText(text);
  PyErr_SetObject(exceptionType, message.get());
  throw PythonRaised();
}

Variant ValueOfPython(PyObject* value) { return ConvertFromPython(value, 0); }

PythonReference PythonValue(const Variant& value) {
  const auto list = [](const auto& items, const auto& convert) {
    PythonReference made = Owned(PyList_New(static_cast<Py_ssize_t>(items.size())));
    for (std::size_t index = 0; index < items.size(); ++index)
      PyList_SetItem(made.get(), static_cast<Py_ssize_t>(index), convert(items[index]).Release());
    return made;
  };
  switch (value.Type()) {
    case vlm::kAutomationInt:
      return Owned(PyLong_FromLong(value.AsInt()));
    case vlm::kAutomationReal:
      return Owned(PyFloat_FromDouble(value.AsReal()));
    case vlm::kAutomationText:
      return PythonText(value.AsText());
    case vlm::kAutomationIntArray:
      return list(value.AsIntegers(), [](int item) { return Owned(PyLong_FromLong(item)); });
    case vlm::kAutomationArray:
      return list(value.AsArray(), [](const Variant& item) { return PythonValue(item); });
    case vlm::kAutomationObject:
      if (const ObjectReference object = value.AsObject()) return MakePythonObject(object);
      break;
    default:
      break;
  }
  Py_INCREF(Py_None);
  return PythonReference(Py_None);
}

}  // namespace velmora
