// Automation objects as Python objects. Each automation interface is a class, made from its table
// when an object of it is first met: members are attributes, found whatever the case of their
// letters; help() shows the table's texts. A class with Count and Item is also a sequence, numbered
// from 0 as in Python.
#pragma once

#include "workbench/python/python_values.h"

namespace velmora {

// Adds velmora.Object, velmora.Collection and velmora.Error to the module. forgetInterruption: see
// PythonScript. The calling thread becomes the one that may use the objects. Throws PythonRaised.
void AddObjectTypes(PyObject* module, void (*forgetInterruption)());

PythonReference MakePythonObject(const ObjectReference& object);
// Borrowed; null for anything that is not an automation object.
vlm::IAutomationObject* AutomationObjectOf(PyObject* object);

}  // namespace velmora
