// Helpers for tests of COM objects: references, late-bound calls by name, texts.
#pragma once

#include <windows.h>
// Needs windows.h before it.
#include <oleauto.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::testing {

template <typename Interface>
class ComReference {
 public:
  ComReference() = default;
  explicit ComReference(Interface* adopted) : object_(adopted) {}
  ComReference(const ComReference& other) : object_(other.object_) {
    if (object_) object_->AddRef();
  }
  ComReference(ComReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComReference& operator=(ComReference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComReference() {
    if (object_) object_->Release();
  }
  Interface* operator->() const { return object_; }
  Interface* get() const { return object_; }
  Interface** Receive() { return &object_; }
  explicit operator bool() const { return object_ != nullptr; }
  template <typename Other>
  ComReference<Other> As() const {
    ComReference<Other> other;
    if (object_) object_->QueryInterface(__uuidof(Other), reinterpret_cast<void**>(other.Receive()));
    return other;
  }

 private:
  Interface* object_ = nullptr;
};

inline std::wstring Wide(std::string_view text) {
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(),
                                                                 static_cast<int>(text.size()), nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                      static_cast<int>(wide.size()));
  return wide;
}

inline std::string Narrow(BSTR text) {
  const int length = static_cast<int>(SysStringLen(text));
  if (length == 0) return {};
  std::string narrow(
      static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr)),
      '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, length, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                      nullptr);
  return narrow;
}

// Takes ownership of the text.
inline std::string Taken(BSTR text) {
  std::string narrow = Narrow(text);
  SysFreeString(text);
  return narrow;
}

class Value {
 public:
  Value() { VariantInit(&variant_); }
  Value(int number) : Value() {
    V_VT(&variant_) = VT_I4;
    V_I4(&variant_) = number;
  }
  Value(const char* text) : Value() {
    V_VT(&variant_) = VT_BSTR;
    V_BSTR(&variant_) = SysAllocString(Wide(text).c_str());
  }
  Value(const Value& other) : Value() { VariantCopy(&variant_, const_cast<VARIANT*>(&other.variant_)); }
  Value& operator=(Value other) {
    std::swap(variant_, other.variant_);
    return *this;
  }
  ~Value() { VariantClear(&variant_); }
  VARIANT* operator&() { return &variant_; }
  const VARIANT& operator*() const { return variant_; }

  int Int() const {
    return V_VT(&variant_) == VT_I4 ? V_I4(&variant_) : throw std::runtime_error("no whole number");
  }
  std::string Text() const { return V_VT(&variant_) == VT_BSTR ? Narrow(V_BSTR(&variant_)) : "no text"; }
  ComReference<IDispatch> Object() const {
    if (V_VT(&variant_) != VT_DISPATCH || !V_DISPATCH(&variant_)) return {};
    V_DISPATCH(&variant_)->AddRef();
    return ComReference<IDispatch>(V_DISPATCH(&variant_));
  }
  // The whole numbers of an array of VARIANTs, the kind that script hosts take.
  std::vector<int> Numbers() const {
    std::vector<int> numbers;
    if (V_VT(&variant_) != (VT_ARRAY | VT_VARIANT)) throw std::runtime_error("no array of VARIANTs");
    const SAFEARRAY* const array = V_ARRAY(&variant_);
    for (ULONG index = 0; index < array->rgsabound[0].cElements; ++index) {
      numbers.push_back(V_I4(&static_cast<const VARIANT*>(array->pvData)[index]));
    }
    return numbers;
  }

 private:
  VARIANT variant_;
};

// The answer of a late-bound call, or how it failed.
struct Called {
  HRESULT result = S_OK;
  Value value;
  int code = 0;             // of an exception
  std::string description;  // likewise
  UINT wrongArgument = 99;
};

inline Called CallLate(IDispatch* object, const char* name, WORD kind, std::vector<Value> arguments = {}) {
  Called called;
  std::wstring wide = Wide(name);
  LPOLESTR names[] = {wide.data()};
  DISPID id = DISPID_UNKNOWN;
  called.result = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(called.result)) return called;
  std::vector<VARIANT> backwards;
  for (std::size_t index = arguments.size(); index > 0; --index) backwards.push_back(*arguments[index - 1]);
  DISPID putId = DISPID_PROPERTYPUT;
  const bool isPut = kind == DISPATCH_PROPERTYPUT;
  DISPPARAMS parameters{backwards.data(), isPut ? &putId : nullptr, static_cast<UINT>(backwards.size()),
                        isPut ? 1u : 0u};
  EXCEPINFO exception{};
  called.result = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                 isPut ? nullptr : &called.value, &exception, &called.wrongArgument);
  called.code = exception.wCode;
  called.description = Taken(exception.bstrDescription);
  SysFreeString(exception.bstrSource);
  return called;
}
inline Called Get(IDispatch* object, const char* name, std::vector<Value> arguments = {}) {
  return CallLate(object, name, DISPATCH_PROPERTYGET | DISPATCH_METHOD, std::move(arguments));
}
inline Called Put(IDispatch* object, const char* name, Value value) {
  return CallLate(object, name, DISPATCH_PROPERTYPUT, {std::move(value)});
}

// The description that an early-bound call left for this thread.
inline std::string LeftDescription() {
  ComReference<IErrorInfo> information;
  if (GetErrorInfo(0, information.Receive()) != S_OK) return "none";
  BSTR text = nullptr;
  information->GetDescription(&text);
  return Taken(text);
}

inline std::vector<int> Taken(SAFEARRAY* array) {
  std::vector<int> numbers;
  if (!array) return numbers;
  const auto* const data = static_cast<const int*>(array->pvData);
  numbers.assign(data, data + array->rgsabound[0].cElements);
  SafeArrayDestroy(array);
  return numbers;
}

}  // namespace velmora::testing
