#include "contract/com/late_object.h"

#include <new>
#include <vector>

#include "contract/com/type_information.h"
#include "contract/com/values.h"

namespace vlmcom {
namespace {

// The source of an error, as interpreters show it.
constexpr wchar_t kErrorSource[] = L"Velmora";

// The text of a failure that carries none.
constexpr char kFailedCall[] = " failed.";

std::string NameOfMember(vlm::IAutomationObject& target, int dispatchId) {
  const vlm::AutomationInterface* const own = target.GetInterface();
  for (const vlm::AutomationInterface* level = own; level; level = level->base) {
    for (int index = 0; index < level->memberCount; ++index) {
      if (level->members[index].dispatchId == dispatchId) {
        return std::string(own->name) + "." + level->members[index].name;
      }
    }
  }
  return own ? own->name : "The call";
}

void FillException(EXCEPINFO* exception, int code, const std::wstring& description) {
  if (!exception) return;
  *exception = {};
  // An exception has either a number of its own or a result code.
  if (code > 0 && code <= 0xFFFF) {
    exception->wCode = static_cast<WORD>(code);
  } else {
    exception->scode = E_FAIL;
  }
  exception->bstrSource = SysAllocString(kErrorSource);
  exception->bstrDescription = SysAllocStringLen(description.data(), static_cast<UINT>(description.size()));
}

HRESULT InvokeOrThrow(vlm::IAutomationObject& target, int dispatchId, int kind,
                      const VARIANT* const* arguments, int count, VARIANT* result, EXCEPINFO* exception,
                      int* argumentError) {
  // An error that an earlier call left on this thread must not be taken for this one's.
  SetErrorInfo(0, nullptr);
  ArgumentViews views;
  for (int index = 0; index < count; ++index) {
    const HRESULT added = views.Add(*arguments[index]);
    if (SUCCEEDED(added)) continue;
    if (argumentError) *argumentError = index;
    return added == E_OUTOFMEMORY ? added : DISP_E_TYPEMISMATCH;
  }
  VariantResult answer;
  switch (target.Invoke(dispatchId, kind, views.Data(), views.Count(), &answer)) {
    case vlm::kDispatchOk:
      if (answer.OutOfMemory()) return E_OUTOFMEMORY;
      if (result) *result = answer.Take();
      return S_OK;
    case vlm::kDispatchMemberNotFound:
      return DISP_E_MEMBERNOTFOUND;
    case vlm::kDispatchBadParameterCount:
      return DISP_E_BADPARAMCOUNT;
    case vlm::kDispatchTypeMismatch:
      if (argumentError) *argumentError = count > 0 ? count - 1 : 0;
      return DISP_E_TYPEMISMATCH;
    case vlm::kDispatchException:
      FillException(exception, answer.ErrorCode(), answer.Description());
      return DISP_E_EXCEPTION;
    default:
      FillException(exception, 0,
                    answer.Description().empty()
                        ? Utf16(NameOfMember(target, dispatchId) + kFailedCall)
                        : Utf16(NameOfMember(target, dispatchId) + ": ") + answer.Description());
      return DISP_E_EXCEPTION;
  }
}

class LateObject final : public DispatchOver<IDispatch> {
 public:
  explicit LateObject(vlm::IAutomationObject* target) : DispatchOver(target) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    // A dispinterface has no functions beyond those of IDispatch, so its identifier names the same
    // table.
    if (id != IID_IUnknown && id != IID_IDispatch && id != InterfaceIdOf(*Target().GetInterface()))
      return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IDispatch*>(this);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** information) override {
    if (!information) return E_POINTER;
    *information = nullptr;
    return index == 0 ? DescribeInterface(*Target().GetInterface(), information) : DISP_E_BADINDEX;
  }

 private:
  ~LateObject() override = default;
};

// The items of an object that has Count and Item(Index), for "For Each". Each step asks for the
// count, so a collection that grows meanwhile is enumerated to its end.
class ItemEnumerator final : public IEnumVARIANT {
 public:
  ItemEnumerator(IDispatch* collection, int itemId, int countId, int next)
      : collection_(collection), itemId_(itemId), countId_(countId), next_(next) {
    collection_->AddRef();
    CoAddRefServerProcess();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IEnumVARIANT) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IEnumVARIANT*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG asked, VARIANT* items, ULONG* fetched) override {
    ULONG made = 0;
    for (; made < asked && next_ <= Count(); ++made) {
      VARIANT number;
      V_VT(&number) = VT_I4;
      V_I4(&number) = next_;
      VariantInit(&items[made]);
      const HRESULT result = Get(itemId_, &number, 1, &items[made]);
      if (FAILED(result)) {
        next_ -= static_cast<int>(made);
        while (made > 0) VariantClear(&items[--made]);
        if (fetched) *fetched = 0;
        return result;
      }
      ++next_;
    }
    if (fetched) *fetched = made;
    return made == asked ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const ULONG left = next_ <= Count() ? static_cast<ULONG>(Count() - next_ + 1) : 0;
    next_ += static_cast<int>(count < left ? count : left);
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) override {
    if (!copy) return E_POINTER;
    *copy = new (std::nothrow) ItemEnumerator(collection_, itemId_, countId_, next_);
    return *copy ? S_OK : E_OUTOFMEMORY;
  }

 private:
  ~ItemEnumerator() {
    collection_->Release();
    CoReleaseServerProcess();
  }
  HRESULT Get(int id, VARIANT* arguments, UINT count, VARIANT* result) const {
    DISPPARAMS parameters{arguments, nullptr, count, 0};
    return collection_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &parameters, result,
                               nullptr, nullptr);
  }
  int Count() const {
    VARIANT count;
    VariantInit(&count);
    return SUCCEEDED(Get(countId_, nullptr, 0, &count)) && V_VT(&count) == VT_I4 ? V_I4(&count) : 0;
  }

  std::atomic<ULONG> references_{1};
  IDispatch* collection_;
  int itemId_, countId_, next_;
};

HRESULT MakeEnumerator(IDispatch& self, vlm::IAutomationObject& target, VARIANT* result) {
  int itemId = 0, countId = 0;
  if (!result || target.GetIdOfName("Item", 4, &itemId) != vlm::kDispatchOk ||
      target.GetIdOfName("Count", 5, &countId) != vlm::kDispatchOk) {
    return DISP_E_MEMBERNOTFOUND;
  }
  auto* const items = new (std::nothrow) ItemEnumerator(&self, itemId, countId, 1);
  if (!items) return E_OUTOFMEMORY;
  V_VT(result) = VT_UNKNOWN;
  V_UNKNOWN(result) = items;
  return S_OK;
}

// "Analyses(1)" in a script passes an argument to a property that takes none. It means the default
// member of the object that the property returns.
HRESULT InvokeDefaultOf(vlm::IAutomationObject& target, DISPID id, WORD flags, DISPPARAMS* parameters,
                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError) {
  VARIANT owner;
  VariantInit(&owner);
  const HRESULT got = InvokeAutomation(target, id, vlm::kInvokeGet, nullptr, 0, &owner, exception, nullptr);
  if (got != S_OK) return got == DISP_E_EXCEPTION ? got : DISP_E_BADPARAMCOUNT;
  const HRESULT called = V_VT(&owner) == VT_DISPATCH && V_DISPATCH(&owner)
                             ? V_DISPATCH(&owner)->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, flags,
                                                          parameters, result, exception, argumentError)
                             : DISP_E_BADPARAMCOUNT;
  VariantClear(&owner);
  return called;
}

}  // namespace

HRESULT InvokeAutomation(vlm::IAutomationObject& target, int dispatchId, int kind,
                         const VARIANT* const* arguments, int count, VARIANT* result, EXCEPINFO* exception,
                         int* argumentError) noexcept {
  try {
    return InvokeOrThrow(target, dispatchId, kind, arguments, count, result, exception, argumentError);
  } catch (...) {
    return E_OUTOFMEMORY;  // only allocations throw here
  }
}

IDispatch* MakeLateObject(vlm::IAutomationObject* target) noexcept {
  return new (std::nothrow) LateObject(target);
}

namespace detail {

HRESULT FindNames(vlm::IAutomationObject& target, LPOLESTR* names, UINT count, DISPID* ids) noexcept {
  if (!names || !ids || count == 0) return E_INVALIDARG;
  try {
    // The first name is the member's; the others would name its parameters, which are not looked up
    // by name.
    for (UINT index = 1; index < count; ++index) ids[index] = DISPID_UNKNOWN;
    const std::string name = Utf8(names[0]);
    int id = DISPID_UNKNOWN;
    const bool found =
        target.GetIdOfName(name.data(), static_cast<int>(name.size()), &id) == vlm::kDispatchOk;
    ids[0] = found ? id : DISPID_UNKNOWN;
    return found && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT InvokeLate(IDispatch& self, vlm::IAutomationObject& target, DISPID id, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept {
  if (!parameters) return E_INVALIDARG;
  if (result) VariantInit(result);
  if (id == DISPID_NEWENUM) return MakeEnumerator(self, target, result);
  const bool isPut = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  const bool namesValue =
      parameters->cNamedArgs == 1 && parameters->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
  if (parameters->cNamedArgs != 0 && !(isPut && namesValue)) return DISP_E_NONAMEDARGS;
  try {
    // Arguments come last to first; the value of a put comes first of all.
    std::vector<const VARIANT*> arguments;
    for (UINT index = parameters->cArgs; index > 0; --index)
      arguments.push_back(&parameters->rgvarg[index - 1]);
    const int kind = isPut ? vlm::kInvokePut
                           : (flags & DISPATCH_METHOD ? vlm::kInvokeMethod : 0) |
                                 (flags & DISPATCH_PROPERTYGET ? vlm::kInvokeGet : 0);
    int wrongArgument = 0;
    const HRESULT called =
        InvokeAutomation(target, id, kind, arguments.data(), static_cast<int>(arguments.size()), result,
                         exception, &wrongArgument);
    if (called == DISP_E_TYPEMISMATCH && argumentError) {
      *argumentError = parameters->cArgs == 0 ? 0 : parameters->cArgs - 1 - static_cast<UINT>(wrongArgument);
    }
    if (called == DISP_E_BADPARAMCOUNT && !isPut && parameters->cArgs > 0) {
      return InvokeDefaultOf(target, id, flags, parameters, result, exception, argumentError);
    }
    if (called != S_OK || !result) return called;
    const HRESULT made = MakeScriptArray(result);
    if (FAILED(made)) VariantClear(result);
    return made;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace detail
}  // namespace vlmcom
