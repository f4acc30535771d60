#include "module/frame/com_object.h"

#include <vlmfsl_dual.h>  // made from the member tables

#include <new>
#include <string>

#include "contract/com/type_library.h"
#include "module/frame/module_context.h"
#include "module/frame/windows/dual_object.h"
#include "module/resources/automation_tables.h"

namespace vlmfsl {
namespace {

template <typename Dual>
void* MakeDual(vlm::IAutomationObject* through) noexcept {
  // The address as an IDispatch, which differs from that of the object's other bases.
  return static_cast<IDispatch*>(new (std::nothrow) Dual(through));
}

struct DualClass {
  const vlm::AutomationInterface* description;
  void* (*make)(vlm::IAutomationObject* through) noexcept;
};
constexpr DualClass kDualClasses[] = {
    {&kFslStartup, MakeDual<FSLStartupDual>},
    {&kFslResults, MakeDual<FSLResultsDual>},
    {&kPredictorScreeningStartup, MakeDual<PredictorScreeningStartupDual>},
    {&kPredictorScreeningResults, MakeDual<PredictorScreeningResultsDual>},
};

SRWLOCK sharesLock = SRWLOCK_INIT;
int shares = 0;
ITypeLib* sharedLibrary = nullptr;

class SharesLock {
 public:
  SharesLock() noexcept { AcquireSRWLockExclusive(&sharesLock); }
  ~SharesLock() { ReleaseSRWLockExclusive(&sharesLock); }
  SharesLock(const SharesLock&) = delete;
  SharesLock& operator=(const SharesLock&) = delete;
};

}  // namespace

void* MakeComObjectOf(const vlm::AutomationInterface& description, vlm::IAutomationObject* through) noexcept {
  for (const DualClass& dual : kDualClasses) {
    if (dual.description == &description) return dual.make(through);
  }
  return vlmcom::MakeLateObject(through);
}

OwnTypeLibrary::OwnTypeLibrary() noexcept {
  const SharesLock lock;
  ++shares;
}

OwnTypeLibrary::~OwnTypeLibrary() {
  const SharesLock lock;
  if (--shares > 0 || !sharedLibrary) return;
  sharedLibrary->Release();
  sharedLibrary = nullptr;
}

HRESULT OwnTypeLibrary::GetTypeInfo(REFGUID interfaceId, ITypeInfo** information) const noexcept try {
  const SharesLock lock;
  if (!sharedLibrary) {
    const std::wstring file = vlmcom::FileOf(static_cast<HMODULE>(ModuleInstance()));
    const HRESULT loaded = LoadTypeLibEx(file.c_str(), REGKIND_NONE, &sharedLibrary);
    if (FAILED(loaded)) return loaded;
  }
  return sharedLibrary->GetTypeInfoOfGuid(interfaceId, information);
} catch (...) {
  return E_OUTOFMEMORY;  // no memory for the file's name
}

HRESULT RaiseException(REFGUID interfaceId, EXCEPINFO& exception) noexcept {
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    create->SetGUID(interfaceId);
    create->SetSource(exception.bstrSource);
    create->SetDescription(exception.bstrDescription);
    IErrorInfo* information = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&information)))) {
      SetErrorInfo(0, information);
      information->Release();
    }
    create->Release();
  }
  SysFreeString(exception.bstrSource);
  SysFreeString(exception.bstrDescription);
  return exception.wCode ? MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, exception.wCode) : exception.scode;
}

HRESULT HandOver(VARIANT& answer, int* value) noexcept {
  const HRESULT result = VariantChangeType(&answer, &answer, 0, VT_I4);
  if (SUCCEEDED(result)) *value = V_I4(&answer);
  return result;
}

HRESULT HandOver(VARIANT& answer, double* value) noexcept {
  const HRESULT result = VariantChangeType(&answer, &answer, 0, VT_R8);
  if (SUCCEEDED(result)) *value = V_R8(&answer);
  return result;
}

HRESULT HandOver(VARIANT& answer, BSTR* value) noexcept {
  if (V_VT(&answer) == VT_EMPTY) return S_OK;
  const HRESULT result = VariantChangeType(&answer, &answer, 0, VT_BSTR);
  if (FAILED(result)) return result;
  *value = V_BSTR(&answer);
  VariantInit(&answer);
  return S_OK;
}

HRESULT HandOver(VARIANT& answer, IDispatch** value) noexcept {
  if (V_VT(&answer) == VT_EMPTY) return S_OK;
  if (V_VT(&answer) != VT_DISPATCH) return DISP_E_TYPEMISMATCH;
  *value = V_DISPATCH(&answer);
  VariantInit(&answer);
  return S_OK;
}

HRESULT HandOver(VARIANT& answer, SAFEARRAY** value) noexcept {
  if (V_VT(&answer) != (VT_ARRAY | VT_I4)) return DISP_E_TYPEMISMATCH;
  *value = V_ARRAY(&answer);
  VariantInit(&answer);
  return S_OK;
}

}  // namespace vlmfsl
