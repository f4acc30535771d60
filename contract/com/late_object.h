// The late-bound COM object over an automation object: IDispatch on top of the portable calls.
//
//   script -> IDispatch::Invoke -> IAutomationObject::Invoke -> result or EXCEPINFO with the reason
//
// A live object keeps the process that serves it alive (CoAddRefServerProcess): the server ends
// with the last one.
#pragma once

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <atomic>

#include "contract/automation.h"

namespace vlmcom {

// Makes one call; arguments are in order, first to last. On DISP_E_EXCEPTION fills exception,
// unless it is null, with texts that the caller frees. On DISP_E_TYPEMISMATCH sets *argumentError,
// unless it is null, to the index of the argument that has no portable form. result may be null.
[[nodiscard]] HRESULT InvokeAutomation(vlm::IAutomationObject& target, int dispatchId, int kind,
                                       const VARIANT* const* arguments, int count, VARIANT* result,
                                       EXCEPINFO* exception, int* argumentError) noexcept;

// Returns a new object that holds a reference to target; its one reference is the caller's. Null
// when memory is short.
[[nodiscard]] IDispatch* MakeLateObject(vlm::IAutomationObject* target) noexcept;

// The common part of late-bound and dual objects: the reference count, and IDispatch except for
// type information. Interface is IDispatch or a dual interface.
template <typename Interface>
class DispatchOver : public Interface {
 public:
  DispatchOver(const DispatchOver&) = delete;
  DispatchOver& operator=(const DispatchOver&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                   VARIANT* result, EXCEPINFO* exception, UINT* argumentError) override;

 protected:
  explicit DispatchOver(vlm::IAutomationObject* target) : target_(target) {
    target_->AddReference();
    CoAddRefServerProcess();
  }
  virtual ~DispatchOver() {
    target_->ReleaseReference();
    CoReleaseServerProcess();
  }
  vlm::IAutomationObject& Target() const { return *target_; }

 private:
  std::atomic<ULONG> references_{1};
  vlm::IAutomationObject* target_;
};

namespace detail {
HRESULT FindNames(vlm::IAutomationObject& target, LPOLESTR* names, UINT count, DISPID* ids) noexcept;
HRESULT InvokeLate(IDispatch& self, vlm::IAutomationObject& target, DISPID id, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept;
}  // namespace detail

template <typename Interface>
HRESULT DispatchOver<Interface>::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  return detail::FindNames(*target_, names, count, ids);
}

template <typename Interface>
HRESULT DispatchOver<Interface>::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError) {
  return detail::InvokeLate(*this, *target_, id, flags, parameters, result, exception, argumentError);
}

}  // namespace vlmcom
