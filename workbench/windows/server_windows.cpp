#include "workbench/windows/server_windows.h"

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <stdexcept>
#include <utility>

#include "contract/com/values.h"
#include "workbench/windows/apartment_windows.h"

namespace velmora {

namespace {

// How long a server that was started waits for the client that had it started.
constexpr DWORD kPatienceMilliseconds = 60'000;

class RegistryKey {
 public:
  RegistryKey(HKEY parent, const std::wstring& path) {
    const LSTATUS status =
        RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key_, nullptr);
    if (status != ERROR_SUCCESS) Fail(path, status);
  }
  ~RegistryKey() { RegCloseKey(key_); }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  void SetDefault(const std::wstring& value) const {
    const LSTATUS status =
        RegSetValueExW(key_, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    if (status != ERROR_SUCCESS) Fail(value, status);
  }

 private:
  [[noreturn]] static void Fail(const std::wstring& what, LSTATUS status) {
    throw std::runtime_error("The registry does not take " + vlmcom::Utf8(what) + " (error " +
                             std::to_string(status) + ").");
  }
  HKEY key_ = nullptr;
};

HKEY RootOf(RegistrationScope scope) {
  return scope == RegistrationScope::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

constexpr wchar_t kClasses[] = L"Software\\Classes\\";
std::wstring ProgId() { return vlmcom::Utf16(kApplicationProgId); }
std::wstring ClassIdText() { return vlmcom::Utf16(kApplicationClassId); }

// Lives on the stack of ServeApplication: its count is for nobody.
class ApplicationFactory final : public IClassFactory {
 public:
  explicit ApplicationFactory(const std::function<ObjectReference()>& makeApplication)
      : makeApplication_(makeApplication) {}

  bool WasAsked() const { return wasAsked_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IClassFactory) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    wasAsked_ = true;
    try {
      const ObjectReference application = makeApplication_();
      auto* const dispatch = static_cast<IDispatch*>(application->MakeComObject(application.get()));
      if (!dispatch) return E_OUTOFMEMORY;
      const HRESULT result = dispatch->QueryInterface(id, object);
      dispatch->Release();
      return result;
    } catch (const std::exception& error) {
      Tell(error.what());
      return E_FAIL;
    }
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock) {
      CoAddRefServerProcess();
    } else {
      CoReleaseServerProcess();
    }
    return S_OK;
  }

 private:
  static void Tell(const char* description) {
    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create))) return;
    const BSTR text = vlmcom::MakeBstr(description);
    create->SetDescription(text);
    SysFreeString(text);
    IErrorInfo* information = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&information)))) {
      SetErrorInfo(0, information);
      information->Release();
    }
    create->Release();
  }

  const std::function<ObjectReference()>& makeApplication_;
  bool wasAsked_ = false;
};

// Objects that count for the process. Reading the count means counting one more for a moment.
bool AnyObjectLives() {
  CoAddRefServerProcess();
  return CoReleaseServerProcess() != 0;
}

// Dispatches messages, calls of clients among them, until no object is left after the first client came.
void RunUntilUnused(const ApplicationFactory& factory) {
  const ULONGLONG start = GetTickCount64();
  while (true) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) return;
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    // The client's own reference is there once the call that made the object has been answered.
    if (factory.WasAsked() && !AnyObjectLives()) return;
    const ULONGLONG waited = GetTickCount64() - start;
    if (!factory.WasAsked() && waited >= kPatienceMilliseconds) return;
    const DWORD timeout = factory.WasAsked() ? INFINITE : static_cast<DWORD>(kPatienceMilliseconds - waited);
    MsgWaitForMultipleObjectsEx(0, nullptr, timeout, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  }
}

}  // namespace

void RegisterServer(RegistrationScope scope, const std::string& server) {
  const HKEY root = RootOf(scope);
  const std::wstring classKey = kClasses + (L"CLSID\\" + ClassIdText());
  RegistryKey(root, kClasses + ProgId()).SetDefault(L"Velmora workbench");
  RegistryKey(root, kClasses + ProgId() + L"\\CLSID").SetDefault(ClassIdText());
  RegistryKey(root, classKey).SetDefault(L"Velmora workbench");
  RegistryKey(root, classKey + L"\\ProgID").SetDefault(ProgId());
  RegistryKey(root, classKey + L"\\LocalServer32")
      .SetDefault(L"\"" + vlmcom::Utf16(server) + L"\" /automation");
}

void UnregisterServer(RegistrationScope scope) {
  for (const std::wstring& key : {kClasses + ProgId(), kClasses + (L"CLSID\\" + ClassIdText())}) {
    const LSTATUS status = RegDeleteTreeW(RootOf(scope), key.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
      throw std::runtime_error("The registry does not let " + vlmcom::Utf8(key) + " be removed (error " +
                               std::to_string(status) + ").");
    }
  }
}

void ServeApplication(const std::function<ObjectReference()>& makeApplication) {
  const ComApartment apartment;
  ApplicationFactory factory(makeApplication);
  CLSID classId;
  if (FAILED(CLSIDFromString(ClassIdText().c_str(), &classId))) {
    throw std::runtime_error("The application's class identifier is not well formed.");
  }
  DWORD registration = 0;
  if (FAILED(
          CoRegisterClassObject(classId, &factory, CLSCTX_LOCAL_SERVER, REGCLS_SINGLEUSE, &registration))) {
    throw std::runtime_error("The application's class cannot be offered to other programs.");
  }
  RunUntilUnused(factory);
  CoRevokeClassObject(registration);
}

}  // namespace velmora
