// Automation values and the portable dispatch interface of dialogs, documents and the host's
// objects, as scripts call them. On Windows an adapter offers the same objects through OLE
// automation; nothing here depends on it.
#pragma once

#include "contract/types.h"

namespace vlm {

struct IAutomationObject;

enum AutomationType : int {
  kAutomationEmpty = 0,
  kAutomationInt = 1,       // 32-bit whole number; flags too
  kAutomationReal = 2,      // double
  kAutomationText = 3,      // UTF-8
  kAutomationObject = 4,    // dispatch
  kAutomationIntArray = 5,  // one-dimensional array of int
  kAutomationArray = 6,     // one-dimensional array of values
  kAutomationVariant = 7,   // in descriptions only: any of the above
};

// A borrowed view of one argument, valid during the call. The member that type names is set, the
// others are not.
struct AutomationValue {
  int type;  // AutomationType
  int intValue;
  double realValue;
  const char* text;
  int length;  // bytes of text, or number of items
  const int* integers;
  const AutomationValue* items;
  IAutomationObject* object;
};

enum InvokeKind : int { kInvokeMethod = 1, kInvokeGet = 2, kInvokePut = 4 };

// Receives the answer of a call. Owned by the caller; copies what it is given. Only the last Set
// call takes effect.
struct IAutomationResult {
  virtual void SetEmpty() = 0;
  virtual void SetInt(int value) = 0;
  virtual void SetReal(double value) = 0;
  virtual void SetText(const char* text, int length) = 0;
  virtual void SetIntArray(const int* values, int count) = 0;
  virtual void SetObject(IAutomationObject* object) = 0;  // counts a reference; null allowed
  // One-dimensional, of values of any type, arrays included; kAutomationEmpty for a missing value.
  virtual void SetArray(const AutomationValue* items, int count) = 0;
  // An automation exception: the number and description of the error that a script sees.
  virtual void SetError(int code, const char* description, int length) = 0;

 protected:
  ~IAutomationResult() = default;
};

// Code of the automation exceptions that the module raises itself.
inline constexpr int kAutomationErrorCode = 65535;

enum DispatchStatus : int {
  kDispatchOk = 0,
  kDispatchMemberNotFound = 1,
  kDispatchBadParameterCount = 2,
  kDispatchTypeMismatch = 3,
  kDispatchException = 4,  // the result holds code and description
  // A closed dialog, an unexpected error: logged; the result may hold the reason.
  kDispatchFailed = 5,
};

// Description of one member, for type libraries, help and late binding.
struct AutomationMember {
  int dispatchId;
  const char* name;   // NUL-terminated ASCII
  int kinds;          // InvokeKind flags
  int getType;        // AutomationType of a get or of a method's result (kAutomationEmpty: none)
  int putType;        // AutomationType of a put
  int argumentCount;  // without the value of a put: 0 or 1, for objects of the host more
  int argumentType;
  const char* argumentName;
  const char* getHelp;  // help string of the get or the method
  const char* putHelp;
};

struct AutomationInterface {
  const char* name;
  const char* help;
  const AutomationInterface* base;  // null for the root
  const AutomationMember* members;
  int memberCount;
};

struct IAutomationObject : ICounted {
  virtual const AutomationInterface* GetInterface() = 0;
  // Case-insensitive, inherited members included. Returns kDispatchOk or kDispatchMemberNotFound.
  virtual int GetIdOfName(const char* name, int length, int* dispatchId) = 0;
  // arguments in declaration order; for a put the value is the last. Returns a DispatchStatus.
  virtual int Invoke(int dispatchId, int kind, const AutomationValue* arguments, int argumentCount,
                     IAutomationResult* result) = 0;
  // Windows: returns a new COM object for this object (an IDispatch* whose one reference belongs to
  // the caller); for an interface of a type library it has the vtable of that interface. Its calls
  // go through `through`: this object, or an object of the host that forwards to it; the COM object
  // counts a reference of it. The module stays loaded while such an object lives, and until its
  // last Release has returned. Null elsewhere, or when memory is short.
  virtual void* MakeComObject(IAutomationObject* through) = 0;

 protected:
  ~IAutomationObject() = default;
};

}  // namespace vlm
