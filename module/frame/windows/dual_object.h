// COM objects of the dialogs' automation interfaces: the dual vtable of the type library over the
// portable calls.
//
//   early bound: FSLStartup::put_CountVariable(VARIANT) --.
//                                                         |-> through->Invoke -> dialog's handler
//   late bound:  IDispatch::Invoke(0x60030002, ...) ------'
//
// The classes are generated from the member tables (vlmfsl_dual.h).
#pragma once

#include <windows.h>
// after windows.h
#include <oleauto.h>
#include <vlmfsl.h>  // made from the type library's source by widl

#include <iterator>

#include "contract/automation.h"
#include "contract/com/late_object.h"

namespace vlmfsl {

// A share in the module's type library. The library is loaded at the first request for type
// information and released with the last share, never during the unloading of the module, which
// holds the loader's lock.
class OwnTypeLibrary {
 public:
  OwnTypeLibrary() noexcept;
  ~OwnTypeLibrary();
  OwnTypeLibrary(const OwnTypeLibrary&) = delete;
  OwnTypeLibrary& operator=(const OwnTypeLibrary&) = delete;

  // The information of one interface; the caller releases it.
  [[nodiscard]] HRESULT GetTypeInfo(REFGUID interfaceId, ITypeInfo** information) const noexcept;
};

// Stores the code and the description of an exception for the calling thread and returns the
// matching result. Takes ownership of the texts of exception.
[[nodiscard]] HRESULT RaiseException(REFGUID interfaceId, EXCEPINFO& exception) noexcept;

// Values of the declared types as VARIANTs that own nothing.
inline VARIANT Borrowed(int value) {
  VARIANT variant;
  V_VT(&variant) = VT_I4;
  V_I4(&variant) = value;
  return variant;
}
inline VARIANT Borrowed(double value) {
  VARIANT variant;
  V_VT(&variant) = VT_R8;
  V_R8(&variant) = value;
  return variant;
}
inline VARIANT Borrowed(BSTR value) {
  VARIANT variant;
  V_VT(&variant) = VT_BSTR;
  V_BSTR(&variant) = value;
  return variant;
}
inline VARIANT Borrowed(const VARIANT& value) { return value; }

// Each moves a result into the type that the member declares, converting it where the types differ.
[[nodiscard]] HRESULT HandOver(VARIANT& answer, int* value) noexcept;
[[nodiscard]] HRESULT HandOver(VARIANT& answer, double* value) noexcept;
[[nodiscard]] HRESULT HandOver(VARIANT& answer, BSTR* value) noexcept;
[[nodiscard]] HRESULT HandOver(VARIANT& answer, IDispatch** value) noexcept;
[[nodiscard]] HRESULT HandOver(VARIANT& answer, SAFEARRAY** value) noexcept;

template <typename Interface>
class DualObject : public vlmcom::DispatchOver<Interface>, public ISupportErrorInfo {
 public:
  explicit DualObject(vlm::IAutomationObject* through) : vlmcom::DispatchOver<Interface>(through) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(VlmAnalysisDialog) ||
        id == __uuidof(Interface)) {
      *object = static_cast<Interface*>(this);
    } else if (id == IID_ISupportErrorInfo) {
      *object = static_cast<ISupportErrorInfo*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return vlmcom::DispatchOver<Interface>::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return vlmcom::DispatchOver<Interface>::Release(); }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** information) override {
    if (!information) return E_POINTER;
    *information = nullptr;
    return index == 0 ? typeLibrary_.GetTypeInfo(__uuidof(Interface), information) : DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override {
    return id == __uuidof(Interface) || id == __uuidof(VlmAnalysisDialog) ? S_OK : S_FALSE;
  }

 protected:
  ~DualObject() override = default;

  // A call with a result: get or method.
  template <typename Value, typename... Arguments>
  HRESULT Ask(int dispatchId, int kind, Value* value, const Arguments&... arguments) {
    if (!value) return E_POINTER;
    *value = {};
    VARIANT answer;
    VariantInit(&answer);
    HRESULT result = Call(dispatchId, kind, &answer, arguments...);
    if (SUCCEEDED(result)) result = HandOver(answer, value);
    VariantClear(&answer);
    return result;
  }
  // A call without one: put or method.
  template <typename... Arguments>
  HRESULT Tell(int dispatchId, int kind, const Arguments&... arguments) {
    return Call(dispatchId, kind, nullptr, arguments...);
  }

 private:
  OwnTypeLibrary typeLibrary_;

  template <typename... Arguments>
  HRESULT Call(int dispatchId, int kind, VARIANT* answer, const Arguments&... arguments) {
    const VARIANT borrowed[] = {Borrowed(arguments)..., VARIANT{}};
    const VARIANT* given[std::size(borrowed)];
    for (std::size_t index = 0; index < std::size(borrowed); ++index) given[index] = &borrowed[index];
    EXCEPINFO exception{};
    const HRESULT result =
        vlmcom::InvokeAutomation(this->Target(), dispatchId, kind, given,
                                 static_cast<int>(sizeof...(Arguments)), answer, &exception, nullptr);
    return result == DISP_E_EXCEPTION ? RaiseException(__uuidof(Interface), exception) : result;
  }
};

}  // namespace vlmfsl
