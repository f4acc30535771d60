#include "workbench/python/python_objects.h"

#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "workbench/automation/host_object.h"
#include "workbench/data/names.h"

namespace velmora {

namespace {

// A member as scripts see it; copied, so that it outlives the module that described it.
struct Member {
  int dispatchId = 0;
  std::string interfaceName, name, argumentNames, help;
  int kinds = 0, getType = 0, putType = 0, argumentCount = 0, argumentType = 0;

  bool Is(int kind) const { return (kinds & kind) != 0; }
  bool IsCalled() const { return Is(vlm::kInvokeMethod) || argumentCount > 0; }
  std::string QualifiedName() const { return interfaceName + "." + name; }
};

struct InterfaceClass {
  std::string name;
  std::vector<Member> members;  // the interface's own, then its bases'
  const Member* count = nullptr;
  const Member* item = nullptr;
  PythonReference type;

  const Member* Find(std::string_view wanted) const {
    for (const Member& member : members) {
      if (vlm::EqualMemberNames(member.name, wanted)) return &member;
    }
    return nullptr;
  }
};

struct ObjectInstance {
  PyObject ob_base;
  vlm::IAutomationObject* target;  // one counted reference
  const InterfaceClass* description;
};

// A callable: a method, or a property with arguments, of one object.
struct CallableInstance {
  PyObject ob_base;
  PyObject* owner;  // ObjectInstance
  const Member* member;
};

// A member as its class shows it, to help() and dir().
struct MemberInstance {
  PyObject ob_base;
  const Member* member;
};

// The state of the process: Python runs once. Never destroyed, because objects may be released very
// late.
struct State {
  std::thread::id thread;
  void (*forgetInterruption)() = nullptr;
  PyTypeObject* objectType = nullptr;
  PyTypeObject* collectionType = nullptr;
  PyTypeObject* callableType = nullptr;
  PyTypeObject* memberType = nullptr;
  PyObject* error = nullptr;
  std::map<std::string, std::unique_ptr<InterfaceClass>> classes;
  // Objects dropped on other threads; the next call on the module's thread releases them. Guarded
  // by the interpreter lock.
  std::vector<vlm::IAutomationObject*> abandoned;
};
State& TheState() {
  static State* const state = new State;
  return *state;
}

ObjectInstance* AsObject(PyObject* object) { return reinterpret_cast<ObjectInstance*>(object); }
CallableInstance* AsCallable(PyObject* object) { return reinterpret_cast<CallableInstance*>(object); }
const Member& MemberOf(PyObject* object) { return *reinterpret_cast<MemberInstance*>(object)->member; }
bool IsObject(PyObject* object) {
  return TheState().objectType != nullptr && PyObject_TypeCheck(object, TheState().objectType);
}

template <typename Instance>
Instance* Allocate(PyTypeObject* type) {
  return reinterpret_cast<Instance*>(Owned(PyType_GenericAlloc(type, 0)).Release());
}

void Deallocate(PyObject* self) {
  PyTypeObject* const type = Py_TYPE(self);
  const auto release = reinterpret_cast<freefunc>(PyType_GetSlot(type, Py_tp_free));
  release(self);
  Py_DECREF(type);
}

const char* TypeName(int type) {
  switch (type) {
    case vlm::kAutomationInt:
      return "int";
    case vlm::kAutomationReal:
      return "float";
    case vlm::kAutomationText:
      return "str";
    case vlm::kAutomationObject:
      return "object";
    case vlm::kAutomationIntArray:
      return "list of int";
    case vlm::kAutomationArray:
      return "list";
    case vlm::kAutomationVariant:
      return "value";
    default:
      return "None";
  }
}

// "Value(Row, Column) -> value", "Title: str", "CountVariable: str, takes a value".
std::string Signature(const Member& member) {
  if (member.IsCalled()) return member.name + "(" + member.argumentNames + ") -> " + TypeName(member.getType);
  const bool get = member.Is(vlm::kInvokeGet);
  std::string text = member.name + ": " + TypeName(get ? member.getType : member.putType);
  if (!get) return text + ", write only";
  if (!member.Is(vlm::kInvokePut)) return text + ", read only";
  if (member.putType != member.getType) text += std::string(", takes a ") + TypeName(member.putType);
  return text;
}

std::string Documentation(const Member& member) {
  return member.help.empty() ? Signature(member) : Signature(member) + "\n" + member.help;
}

[[noreturn]] void RaiseError(const Member& member, int code, const std::string& description) {
  const PythonReference text = PythonText(member.QualifiedName() + ": " + description);
  const PythonReference error = Owned(PyObject_CallFunctionObjArgs(TheState().error, text.get(), nullptr));
  const PythonReference described = PythonText(description);
  const PythonReference name = PythonText(member.QualifiedName());
  const PythonReference number = Owned(PyLong_FromLong(code));
  PyObject_SetAttrString(error.get(), "description", described.get());
  PyObject_SetAttrString(error.get(), "member", name.get());
  PyObject_SetAttrString(error.get(), "code", number.get());
  PyErr_SetObject(TheState().error, error.get());
  throw PythonRaised();
}

void RequireThread() {
  if (std::this_thread::get_id() == TheState().thread) return;
  Raise(PyExc_RuntimeError, "Objects of velmora can be used on the main thread only.");
}

void StopWhenInterrupted() {
  if (PyErr_CheckSignals() != 0) throw PythonRaised();
}

// Lets other threads of Python run.
class WithoutInterpreterLock {
 public:
  WithoutInterpreterLock() : state_(PyEval_SaveThread()) {}
  ~WithoutInterpreterLock() { PyEval_RestoreThread(state_); }
  WithoutInterpreterLock(const WithoutInterpreterLock&) = delete;
  WithoutInterpreterLock& operator=(const WithoutInterpreterLock&) = delete;

 private:
  PyThreadState* state_;
};

PythonReference Invoke(PyObject* self, const Member& member, int kind,
                       const std::vector<Variant>& arguments) {
  State& state = TheState();
  RequireThread();
  for (vlm::IAutomationObject* object : std::exchange(state.abandoned, {})) object->ReleaseReference();
  // The order matters: an earlier interruption is raised here, a later one cancels the call.
  state.forgetInterruption();
  StopWhenInterrupted();

  std::vector<std::vector<vlm::AutomationValue>> storage;
  std::vector<vlm::AutomationValue> views;
  for (const Variant& argument : arguments) views.push_back(argument.View(storage));
  const ObjectReference target(AsObject(self)->target);
  AutomationResult result;
  int status = vlm::kDispatchFailed;
  {
    const WithoutInterpreterLock others;
    status = target->Invoke(member.dispatchId, kind, views.data(), static_cast<int>(views.size()), &result);
  }
  StopWhenInterrupted();
  switch (status) {
    case vlm::kDispatchOk:
      return PythonValue(result.value);
    case vlm::kDispatchException:
      if (result.errorCode == 0) Raise(PyExc_TypeError, member.QualifiedName() + ": " + result.description);
      RaiseError(member, result.errorCode, result.description);
    case vlm::kDispatchTypeMismatch:
      Raise(PyExc_TypeError,
            member.QualifiedName() + ": The value has the wrong type; " + Signature(member) + ".");
    case vlm::kDispatchMemberNotFound:
      Raise(PyExc_AttributeError,
            member.QualifiedName() + " cannot be used in this way; " + Signature(member) + ".");
    case vlm::kDispatchBadParameterCount:
      Raise(PyExc_TypeError, member.QualifiedName() + " takes another number of arguments.");
    default:
      RaiseError(member, 0, result.description.empty() ? "The call failed." : result.description);
  }
}

PythonReference GetMember(PyObject* self, const Member& member) {
  if (member.IsCalled()) {
    auto* callable = Allocate<CallableInstance>(TheState().callableType);
    Py_INCREF(self);
    callable->owner = self;
    callable->member = &member;
    return PythonReference(reinterpret_cast<PyObject*>(callable));
  }
  if (!member.Is(vlm::kInvokeGet))
    Raise(PyExc_AttributeError, member.QualifiedName() + " can be set but not read.");
  return Invoke(self, member, vlm::kInvokeGet, {});
}

// --- velmora.Object

void ReleaseObject(PyObject* self) {
  vlm::IAutomationObject* const target = std::exchange(AsObject(self)->target, nullptr);
  if (target != nullptr) {
    if (std::this_thread::get_id() == TheState().thread) {
      target->ReleaseReference();
    } else {
      TheState().abandoned.push_back(target);
    }
  }
  Deallocate(self);
}

PyObject* NoNewObject(PyTypeObject*, PyObject*, PyObject*) {
  PyErr_SetString(PyExc_TypeError,
                  "Objects of velmora are not made by scripts; begin with velmora.Application.");
  return nullptr;
}

PyObject* ShowObject(PyObject* self) {
  return GuardedForPython<PyObject*>(
      nullptr, [&] { return PythonText("<velmora." + AsObject(self)->description->name + ">").Release(); });
}

// Raises an AttributeError without name and object: with them, Python would add its own suggestion
// to ours.
[[noreturn]] void RaiseAttributeError(const std::string& text) {
  const PythonReference message = PythonText(text);
  const PythonReference error =
      Owned(PyObject_CallFunctionObjArgs(PyExc_AttributeError, message.get(), nullptr));
  for (const char* const name : {"name", "obj"}) {
    if (PyObject_SetAttrString(error.get(), name, Py_None) != 0) throw PythonRaised();
  }
  PyErr_SetObject(PyExc_AttributeError, error.get());
  throw PythonRaised();
}

[[noreturn]] void RaiseUnknown(const InterfaceClass& description, const std::string& name) {
  std::vector<std::string_view> names;
  for (const Member& member : description.members) names.push_back(member.name);
  const int nearest = NearestText(name, names);
  RaiseAttributeError(
      description.name + " has no member " + name +
      (nearest < 0 ? "." : "; did you mean " + std::string(names[static_cast<std::size_t>(nearest)]) + "?"));
}

PyObject* GetAttribute(PyObject* self, PyObject* name) {
  return GuardedForPython<PyObject*>(nullptr, [&]() -> PyObject* {
    const InterfaceClass& description = *AsObject(self)->description;
    const std::string text = TextOfPython(name);
    if (const Member* member = description.Find(text)) return GetMember(self, *member).Release();
    if (PyObject* found = PyObject_GenericGetAttr(self, name)) return found;
    if (!PyErr_ExceptionMatches(PyExc_AttributeError)) return nullptr;
    PyErr_Clear();
    RaiseUnknown(description, text);
  });
}

int SetAttribute(PyObject* self, PyObject* name, PyObject* value) {
  return GuardedForPython(-1, [&] {
    const InterfaceClass& description = *AsObject(self)->description;
    const std::string text = TextOfPython(name);
    const Member* const member = description.Find(text);
    if (member == nullptr) RaiseUnknown(description, text);
    if (!member->Is(vlm::kInvokePut) || value == nullptr) {
      Raise(PyExc_AttributeError,
            member->QualifiedName() + " cannot be " + (value == nullptr ? "deleted." : "set."));
    }
    std::vector<Variant> arguments;
    arguments.push_back(ValueOfPython(value));
    Invoke(self, *member, vlm::kInvokePut, arguments);
    return 0;
  });
}

// --- velmora.Collection

Py_ssize_t CountOf(PyObject* self) {
  const PythonReference count = Invoke(self, *AsObject(self)->description->count, vlm::kInvokeGet, {});
  const long number = PyLong_AsLong(count.get());
  if (number == -1 && PyErr_Occurred() != nullptr) throw PythonRaised();
  return number;
}

PythonReference ItemOf(PyObject* self, Variant which) {
  const Member& item = *AsObject(self)->description->item;
  std::vector<Variant> arguments;
  arguments.push_back(std::move(which));
  return Invoke(self, item, item.Is(vlm::kInvokeGet) ? vlm::kInvokeGet : vlm::kInvokeMethod, arguments);
}

Py_ssize_t Length(PyObject* self) {
  return GuardedForPython<Py_ssize_t>(-1, [&] { return CountOf(self); });
}

PyObject* Subscript(PyObject* self, PyObject* key) {
  return GuardedForPython<PyObject*>(nullptr, [&]() -> PyObject* {
    if (PyUnicode_Check(key)) return ItemOf(self, Variant(TextOfPython(key))).Release();
    const Py_ssize_t count = CountOf(self);
    if (PySlice_Check(key)) {
      Py_ssize_t start = 0, stop = 0, step = 0;
      if (PySlice_Unpack(key, &start, &stop, &step) != 0) return nullptr;
      const Py_ssize_t length = PySlice_AdjustIndices(count, &start, &stop, step);
      PythonReference list = Owned(PyList_New(0));
      for (Py_ssize_t index = 0; index < length; ++index) {
        const PythonReference item = ItemOf(self, Variant(static_cast<int>(start + index * step + 1)));
        if (PyList_Append(list.get(), item.get()) != 0) return nullptr;
      }
      return list.Release();
    }
    const Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
    if (index == -1 && PyErr_Occurred() != nullptr) return nullptr;
    const Py_ssize_t place = index < 0 ? index + count : index;
    if (place < 0 || place >= count) {
      Raise(PyExc_IndexError, AsObject(self)->description->name + " index out of range: " +
                                  std::to_string(index) + " of " + std::to_string(count) + ".");
    }
    return ItemOf(self, Variant(static_cast<int>(place + 1))).Release();
  });
}

// --- Callables

void ReleaseCallable(PyObject* self) {
  Py_XDECREF(AsCallable(self)->owner);
  Deallocate(self);
}

PyObject* ShowCallable(PyObject* self) {
  return GuardedForPython<PyObject*>(nullptr, [&] {
    const Member& member = *AsCallable(self)->member;
    return PythonText("<velmora." + member.interfaceName + "." + Signature(member) + ">").Release();
  });
}

PyObject* CallMember(PyObject* self, PyObject* positional, PyObject* named) {
  return GuardedForPython<PyObject*>(nullptr, [&] {
    const Member& member = *AsCallable(self)->member;
    const auto given = static_cast<int>(PyTuple_Size(positional));
    if (named != nullptr && PyDict_Size(named) > 0)
      Raise(PyExc_TypeError, member.QualifiedName() + " takes no keyword arguments.");
    if (given != member.argumentCount) {
      Raise(PyExc_TypeError, member.QualifiedName() + "(" + member.argumentNames + ") takes " +
                                 (member.argumentCount == 0 ? "no" : std::to_string(member.argumentCount)) +
                                 (member.argumentCount == 1 ? " argument, " : " arguments, ") +
                                 std::to_string(given) + " given.");
    }
    std::vector<Variant> arguments;
    for (int index = 0; index < given; ++index)
      arguments.push_back(ValueOfPython(PyTuple_GetItem(positional, index)));
    const int kind = member.Is(vlm::kInvokeMethod) ? vlm::kInvokeMethod : vlm::kInvokeGet;
    return Invoke(AsCallable(self)->owner, member, kind, arguments).Release();
  });
}

PyObject* DocumentationOfCallable(PyObject* self, void*) {
  return GuardedForPython<PyObject*>(
      nullptr, [&] { return PythonText(Documentation(*AsCallable(self)->member)).Release(); });
}
PyObject* NameOfCallable(PyObject* self, void*) {
  return GuardedForPython<PyObject*>(nullptr,
                                     [&] { return PythonText(AsCallable(self)->member->name).Release(); });
}

// --- Members of classes

void ReleaseMember(PyObject* self) { Deallocate(self); }

PyObject* ShowMember(PyObject* self) {
  return GuardedForPython<PyObject*>(
      nullptr, [&] { return PythonText("<member " + MemberOf(self).QualifiedName() + ">").Release(); });
}
PyObject* GetThroughMember(PyObject* self, PyObject* object, PyObject* /*type*/) {
  return GuardedForPython<PyObject*>(nullptr, [&]() -> PyObject* {
    if (object == nullptr || !IsObject(object)) {
      Py_INCREF(self);
      return self;
    }
    return GetMember(object, MemberOf(self)).Release();
  });
}
// Makes it a data descriptor, which is how help() lists properties.
int SetThroughMember(PyObject* self, PyObject* object, PyObject* value) {
  return GuardedForPython(-1, [&] {
    const PythonReference name = PythonText(MemberOf(self).name);
    return SetAttribute(object, name.get(), value);
  });
}
PyObject* DocumentationOfMember(PyObject* self, void*) {
  return GuardedForPython<PyObject*>(nullptr,
                                     [&] { return PythonText(Documentation(MemberOf(self))).Release(); });
}
PyObject* NameOfMember(PyObject* self, void*) {
  return GuardedForPython<PyObject*>(nullptr, [&] { return PythonText(MemberOf(self).name).Release(); });
}

// --- Types

template <typename Function>
void* Slot(Function function) {
  return reinterpret_cast<void*>(function);
}

PyTypeObject* MakeType(PyObject* module, PyType_Spec& spec, PyTypeObject* base) {
  PyObject* const type = base == nullptr
                             ? PyType_FromSpec(&spec)
                             : PyType_FromSpecWithBases(&spec, Owned(PyTuple_Pack(1, base)).get());
  if (type == nullptr) throw PythonRaised();
  if (PyObject_SetAttrString(type, "__module__", PythonText("velmora").get()) != 0) throw PythonRaised();
  if (module != nullptr && PyModule_AddObjectRef(module, spec.name + sizeof("velmora"), type) != 0)
    throw PythonRaised();
  return reinterpret_cast<PyTypeObject*>(type);
}

void MakeTypes(PyObject* module) {
  static char objectHelp[] = "An object of the workbench or of one of its dialogs.";
  static char collectionHelp[] = "Objects in a row: len(), iteration, [0] for the first, [-1] for the last.";
  static PyType_Slot objectSlots[] = {{Py_tp_dealloc, Slot(ReleaseObject)},
                                      {Py_tp_new, Slot(NoNewObject)},
                                      {Py_tp_repr, Slot(ShowObject)},
                                      {Py_tp_getattro, Slot(GetAttribute)},
                                      {Py_tp_setattro, Slot(SetAttribute)},
                                      {Py_tp_doc, objectHelp},
                                      {0, nullptr}};
  static PyType_Spec objectSpec = {"velmora.Object", sizeof(ObjectInstance), 0,
                                   Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, objectSlots};
  static PyType_Slot collectionSlots[] = {
      {Py_mp_length, Slot(Length)},
      {Py_mp_subscript, Slot(Subscript)},
      {Py_tp_iter, Slot(PySeqIter_New)},
      {Py_sq_item, Slot(+[](PyObject* self, Py_ssize_t index) -> PyObject* {
         PyObject* const key = PyLong_FromSsize_t(index);
         PyObject* const item = key == nullptr ? nullptr : Subscript(self, key);
         Py_XDECREF(key);
         return item;
       })},
      {Py_tp_doc, collectionHelp},
      {0, nullptr}};
  static PyType_Spec collectionSpec = {"velmora.Collection", sizeof(ObjectInstance), 0,
                                       Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, collectionSlots};
  static PyGetSetDef callableFields[] = {{"__doc__", DocumentationOfCallable, nullptr, nullptr, nullptr},
                                         {"__name__", NameOfCallable, nullptr, nullptr, nullptr},
                                         {nullptr, nullptr, nullptr, nullptr, nullptr}};
  static PyType_Slot callableSlots[] = {{Py_tp_dealloc, Slot(ReleaseCallable)},
                                        {Py_tp_repr, Slot(ShowCallable)},
                                        {Py_tp_call, Slot(CallMember)},
                                        {Py_tp_getset, callableFields},
                                        {0, nullptr}};
  static PyType_Spec callableSpec = {"velmora.Method", sizeof(CallableInstance), 0,
                                     Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, callableSlots};
  static PyGetSetDef memberFields[] = {{"__doc__", DocumentationOfMember, nullptr, nullptr, nullptr},
                                       {"__name__", NameOfMember, nullptr, nullptr, nullptr},
                                       {nullptr, nullptr, nullptr, nullptr, nullptr}};
  static PyType_Slot memberSlots[] = {{Py_tp_dealloc, Slot(ReleaseMember)},
                                      {Py_tp_repr, Slot(ShowMember)},
                                      {Py_tp_descr_get, Slot(GetThroughMember)},
                                      {Py_tp_descr_set, Slot(SetThroughMember)},
                                      {Py_tp_getset, memberFields},
                                      {0, nullptr}};
  static PyType_Spec memberSpec = {"velmora.Member", sizeof(MemberInstance), 0,
                                   Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, memberSlots};
  State& state = TheState();
  state.objectType = MakeType(module, objectSpec, nullptr);
  state.collectionType = MakeType(module, collectionSpec, state.objectType);
  state.callableType = MakeType(nullptr, callableSpec, nullptr);
  state.memberType = MakeType(nullptr, memberSpec, nullptr);
}

std::string TextOrEmpty(const char* text) { return text == nullptr ? std::string() : std::string(text); }

void CopyMembers(const vlm::AutomationInterface& description, const std::string& shownInterface,
                 std::vector<Member>& members) {
  for (int index = 0; index < description.memberCount; ++index) {
    const vlm::AutomationMember& given = description.members[index];
    Member member;
    member.dispatchId = given.dispatchId;
    member.interfaceName = shownInterface;
    member.name = TextOrEmpty(given.name);
    member.argumentNames = TextOrEmpty(given.argumentName);
    member.help =
        TextOrEmpty(given.getHelp).empty() ? TextOrEmpty(given.putHelp) : TextOrEmpty(given.getHelp);
    member.kinds = given.kinds;
    member.getType = given.getType;
    member.putType = given.putType;
    member.argumentCount = given.argumentCount;
    member.argumentType = given.argumentType;
    members.push_back(std::move(member));
  }
  if (description.base != nullptr) CopyMembers(*description.base, shownInterface, members);
}

// The class of an interface, with a member object for each member and no room for other attributes.
std::unique_ptr<InterfaceClass> MakeClass(const vlm::AutomationInterface& description) {
  auto made = std::make_unique<InterfaceClass>();
  made->name = TextOrEmpty(description.name);
  CopyMembers(description, made->name, made->members);
  made->count = made->Find("Count");
  made->item = made->Find("Item");
  const bool isCollection = made->count != nullptr && made->item != nullptr && made->item->argumentCount == 1;
  const PythonReference attributes = Owned(PyDict_New());
  const auto set = [&](const char* name, const PythonReference& value) {
    if (PyDict_SetItemString(attributes.get(), name, value.get()) != 0) throw PythonRaised();
  };
  set("__slots__", Owned(PyTuple_New(0)));
  set("__module__", PythonText("velmora"));
  set("__doc__", PythonText(TextOrEmpty(description.help)));
  for (const Member& member : made->members) {
    auto* shown = Allocate<MemberInstance>(TheState().memberType);
    shown->member = &member;
    set(member.name.c_str(), PythonReference(reinterpret_cast<PyObject*>(shown)));
  }
  made->type = Owned(PyObject_CallFunction(
      reinterpret_cast<PyObject*>(&PyType_Type), "s(O)O", made->name.c_str(),
      isCollection ? TheState().collectionType : TheState().objectType, attributes.get()));
  return made;
}

const InterfaceClass& ClassOf(const vlm::AutomationInterface& description) {
  std::unique_ptr<InterfaceClass>& known =
      TheState().classes[TextOrEmpty(description.name) + "/" + std::to_string(description.memberCount)];
  if (known == nullptr) known = MakeClass(description);
  return *known;
}

}  // namespace

void AddObjectTypes(PyObject* module, void (*forgetInterruption)()) {
  State& state = TheState();
  state.thread = std::this_thread::get_id();
  state.forgetInterruption = forgetInterruption;
  MakeTypes(module);
  const PythonReference fields =
      Owned(Py_BuildValue("{s:s,s:s,s:i}", "description", "", "member", "", "code", 0));
  state.error =
      Owned(PyErr_NewExceptionWithDoc("velmora.Error",
                                      "A call of the workbench that failed: description says why, member "
                                      "which one, code is the automation error's number.",
                                      PyExc_Exception, fields.get()))
          .Release();
  if (PyModule_AddObjectRef(module, "Error", state.error) != 0) throw PythonRaised();
}

PythonReference MakePythonObject(const ObjectReference& object) {
  const vlm::AutomationInterface* const description = object->GetInterface();
  static constexpr vlm::AutomationInterface kNameless = {"Object", "", nullptr, nullptr, 0};
  const InterfaceClass& shown = ClassOf(description == nullptr ? kNameless : *description);
  auto* made = Allocate<ObjectInstance>(reinterpret_cast<PyTypeObject*>(shown.type.get()));
  object->AddReference();
  made->target = object.Get();
  made->description = &shown;
  return PythonReference(reinterpret_cast<PyObject*>(made));
}

vlm::IAutomationObject* AutomationObjectOf(PyObject* object) {
  return IsObject(object) ? AsObject(object)->target : nullptr;
}

}  // namespace velmora
