#include "workbench/windows/server_windows.h"

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "contract/com/type_information.h"
#include "contract/com/type_library.h"
#include "contract/com/values.h"
#include "workbench/system/folders.h"
#include "workbench/system/system.h"
#include "workbench/system/text_windows.h"
#include "workbench/windows/apartment_windows.h"
#include "workbench/windows/application_data.h"

namespace velmora {

namespace {

// How long a server waits for the client that had it started.
constexpr DWORD kPatienceMilliseconds = 60'000;

[[noreturn]] void FailRegistration(const std::wstring& key, LSTATUS status) {
  throw std::runtime_error("The registry key " + vlmcom::Utf8(key) +
                           " cannot be written: " + SystemMessage(static_cast<DWORD>(status)) + ".");
}

class RegistryKey {
 public:
  RegistryKey(HKEY parent, const std::wstring& path) : path_(path) {
    const LSTATUS status =
        RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key_, nullptr);
    if (status != ERROR_SUCCESS) FailRegistration(path_, status);
  }
  ~RegistryKey() { RegCloseKey(key_); }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  void SetDefault(const std::wstring& value) const {
    const LSTATUS status =
        RegSetValueExW(key_, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    if (status != ERROR_SUCCESS) FailRegistration(path_, status);
  }

 private:
  std::wstring path_;
  HKEY key_ = nullptr;
};

constexpr wchar_t kClasses[] = L"Software\\Classes\\";
constexpr wchar_t kModuleLibraryKey[] = L"\\ModuleTypeLibrary";  // of the class: what to unregister
std::wstring ProgId() { return vlmcom::Utf16(kApplicationProgId); }
std::wstring ClassIdText() { return vlmcom::Utf16(kApplicationClassId); }
std::wstring ClassKey() { return kClasses + (L"CLSID\\" + ClassIdText()); }

HKEY RootOf(RegistrationScope scope) {
  return scope == RegistrationScope::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

GUID IdOf(const char* text) {
  GUID id{};
  if (FAILED(CLSIDFromString(vlmcom::Utf16(text).c_str(), &id)))
    throw std::runtime_error(std::string(text) + " is not a class identifier.");
  return id;
}

std::filesystem::path ObjectLibraryFile(RegistrationScope scope) {
  return ApplicationDataFolder(scope == RegistrationScope::kUser ? ApplicationData::kOfUser
                                                                 : ApplicationData::kOfMachine) /
         "objects.tlb";
}

void CheckLibrary(HRESULT result, const std::filesystem::path& file) {
  if (SUCCEEDED(result)) return;
  throw std::runtime_error("The type library of " + file.string() +
                           " cannot be registered: " + SystemMessage(static_cast<DWORD>(result)) + ".");
}

void RegisterObjectLibrary(const std::filesystem::path& file,
                           const std::vector<const vlm::AutomationInterface*>& interfaces) {
  if (const std::string reason = MakeFolders(file.parent_path()); !reason.empty())
    throw std::runtime_error("The folder of " + file.string() + " cannot be made: " + reason + ".");
  CheckLibrary(vlmcom::WriteTypeLibrary({.id = IdOf(kObjectLibraryId),
                                         .name = L"Velmora",
                                         .help = L"Velmora workbench 1.0",
                                         .classId = IdOf(kApplicationClassId),
                                         .className = L"Workbench",
                                         .classInterface = interfaces.front(),
                                         .interfaces = interfaces},
                                        file.wstring()),
               file);
  CheckLibrary(vlmcom::RegisterTypeLibraryFile(file.wstring()), file);
}

// "{id} major minor", as the registration notes it.
std::wstring VersionText(const vlmcom::TypeLibraryVersion& version) {
  wchar_t id[64] = {};
  StringFromGUID2(version.id, id, 64);
  return id + (L" " + std::to_wstring(version.majorVersion)) + L" " + std::to_wstring(version.minorVersion);
}

void UnregisterLibrary(const std::wstring& versionText) {
  vlmcom::TypeLibraryVersion version;
  std::wistringstream text(versionText);
  std::wstring id;
  text >> id >> version.majorVersion >> version.minorVersion;
  if (FAILED(CLSIDFromString(id.c_str(), &version.id))) return;
  static_cast<void>(vlmcom::UnregisterTypeLibrary(version));
  // The system reads the library to find its interfaces; when the file is gone, the entry itself
  // remains.
  for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
    RegDeleteTreeW(root, (kClasses + (L"TypeLib\\" + id)).c_str());
}

std::wstring ReadDefault(HKEY root, const std::wstring& key) {
  wchar_t text[256] = {};
  DWORD bytes = sizeof text - sizeof(wchar_t);
  return RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text, &bytes) == ERROR_SUCCESS
             ? text
             : std::wstring();
}

// Lives on the stack of ServeApplication, so nothing depends on its reference count.
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
      auto* const dispatch = static_cast<IDispatch*>(application->MakeComObject(application.Get()));
      if (!dispatch) return E_OUTOFMEMORY;
      const HRESULT result = dispatch->QueryInterface(id, object);
      dispatch->Release();
      return result;
    } catch (const std::exception& error) {
      LeaveDescription(error.what());
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
  // Leaves the text where the client's interpreter looks for it.
  static void LeaveDescription(const char* description) {
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

// The process-wide count of live objects can only be read by counting one more for a moment.
bool AnyObjectLives() {
  CoAddRefServerProcess();
  return CoReleaseServerProcess() != 0;
}

// Dispatches messages, among them the calls of clients, until the first client has come and no
// object is left.
void RunUntilUnused(const ApplicationFactory& factory) {
  const ULONGLONG start = GetTickCount64();
  while (true) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) return;
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    // The client holds its reference once the call that made the object has returned.
    if (factory.WasAsked() && !AnyObjectLives()) return;
    const ULONGLONG waited = GetTickCount64() - start;
    if (!factory.WasAsked() && waited >= kPatienceMilliseconds) return;
    const DWORD timeout = factory.WasAsked() ? INFINITE : static_cast<DWORD>(kPatienceMilliseconds - waited);
    MsgWaitForMultipleObjectsEx(0, nullptr, timeout, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  }
}

}  // namespace

void RegisterServer(RegistrationScope scope, const ServerFiles& files,
                    const std::vector<const vlm::AutomationInterface*>& interfaces) {
  const HKEY root = RootOf(scope);
  const std::filesystem::path module = PathOf(files.module);
  vlmcom::TypeLibraryVersion version;
  CheckLibrary(vlmcom::ReadTypeLibraryVersion(module.wstring(), &version), module);
  try {
    RegistryKey(root, kClasses + ProgId()).SetDefault(L"Velmora workbench");
    RegistryKey(root, kClasses + ProgId() + L"\\CLSID").SetDefault(ClassIdText());
    RegistryKey(root, ClassKey()).SetDefault(L"Velmora workbench");
    RegistryKey(root, ClassKey() + L"\\ProgID").SetDefault(ProgId());
    RegistryKey(root, ClassKey() + L"\\LocalServer32")
        .SetDefault(L"\"" + vlmcom::Utf16(files.program) + L"\" /automation");
    RegistryKey(root, ClassKey() + L"\\TypeLib").SetDefault(vlmcom::Utf16(kObjectLibraryId));
    RegistryKey(root, ClassKey() + L"\\Version").SetDefault(L"1.0");
    RegistryKey(root, ClassKey() + kModuleLibraryKey).SetDefault(VersionText(version));
    CheckLibrary(vlmcom::RegisterTypeLibraryFile(module.wstring()), module);
    RegisterObjectLibrary(ObjectLibraryFile(scope), interfaces);
  } catch (...) {
    try {
      UnregisterServer(scope);
    } catch (const std::exception&) {
      // The first failure is the one to report.
    }
    throw;
  }
}

void UnregisterServer(RegistrationScope scope) {
  const HKEY root = RootOf(scope);
  UnregisterLibrary(ReadDefault(root, ClassKey() + kModuleLibraryKey));
  const std::filesystem::path file = ObjectLibraryFile(scope);
  UnregisterLibrary(vlmcom::Utf16(kObjectLibraryId) + L" 1 0");
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  std::filesystem::remove(file.parent_path(), ignored);  // unless other files are in it
  for (const std::wstring& key : {kClasses + ProgId(), ClassKey()}) {
    const LSTATUS status = RegDeleteTreeW(root, key.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
      throw std::runtime_error("The registry key " + vlmcom::Utf8(key) +
                               " cannot be removed: " + SystemMessage(static_cast<DWORD>(status)) + ".");
    }
  }
}

void ServeApplication(const std::function<ObjectReference()>& makeApplication) {
  const ComApartment apartment;
  ApplicationFactory factory(makeApplication);
  DWORD registration = 0;
  if (FAILED(CoRegisterClassObject(IdOf(kApplicationClassId), &factory, CLSCTX_LOCAL_SERVER, REGCLS_SINGLEUSE,
                                   &registration))) {
    throw std::runtime_error("The class Velmora.Application cannot be offered to other programs.");
  }
  RunUntilUnused(factory);
  CoRevokeClassObject(registration);
}

}  // namespace velmora
