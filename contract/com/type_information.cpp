#include "contract/com/type_information.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "contract/com/values.h"

namespace vlmcom {
namespace {

struct ReleaseObject {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using Held = std::unique_ptr<Interface, ReleaseObject>;

// A failed call inside this file; never leaves it.
struct Failure {
  HRESULT result;
};
void Check(HRESULT result) {
  if (FAILED(result)) throw Failure{result};
}

// The system's library of automation types, which declares IDispatch.
constexpr GUID kStandardLibrary = {0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Tables leave texts out that a member does not need.
std::wstring WideText(const char* text) { return text ? Utf16(text) : std::wstring(); }

VARTYPE TypeOf(int automationType) {
  switch (automationType) {
    case vlm::kAutomationEmpty:
      return VT_VOID;
    case vlm::kAutomationInt:
      return VT_I4;
    case vlm::kAutomationReal:
      return VT_R8;
    case vlm::kAutomationText:
      return VT_BSTR;
    case vlm::kAutomationObject:
      return VT_DISPATCH;
    default:
      return VT_VARIANT;  // arrays too: script hosts hold them in a VARIANT
  }
}

// The table names the parameters of a member in one text: "Row, Column".
std::vector<std::wstring> ParameterNames(const vlm::AutomationMember& member) {
  std::vector<std::wstring> names;
  const std::string_view all = member.argumentName ? member.argumentName : "";
  for (std::size_t begin = 0; begin < all.size();) {
    const std::size_t comma = std::min(all.find(", ", begin), all.size());
    names.push_back(Utf16(all.substr(begin, comma - begin)));
    begin = comma + 2;
  }
  const auto count = static_cast<std::size_t>(member.argumentCount);
  while (names.size() < count) names.push_back(L"Argument" + std::to_wstring(names.size() + 1));
  names.resize(count);
  return names;
}

// Adds the functions of one dispinterface.
class InterfaceWriter {
 public:
  explicit InterfaceWriter(ICreateTypeInfo& information) : information_(information) {}

  void Add(const vlm::AutomationMember& member) {
    if (member.kinds & vlm::kInvokeMethod) Add(member, INVOKE_FUNC);
    if (member.kinds & vlm::kInvokeGet) Add(member, INVOKE_PROPERTYGET);
    if (member.kinds & vlm::kInvokePut) Add(member, INVOKE_PROPERTYPUT);
  }

  // The enumerator that "For Each" asks for.
  void AddEnumerator() {
    FUNCDESC function = Describe(DISPID_NEWENUM, INVOKE_PROPERTYGET, VT_UNKNOWN);
    function.wFuncFlags = FUNCFLAG_FRESTRICTED | FUNCFLAG_FHIDDEN;
    Check(information_.AddFuncDesc(index_, &function));
    std::wstring name = L"_NewEnum";
    LPOLESTR names[] = {name.data()};
    Check(information_.SetFuncAndParamNames(index_, names, 1));
    ++index_;
  }

 private:
  static FUNCDESC Describe(MEMBERID id, INVOKEKIND kind, VARTYPE result) {
    FUNCDESC function{};
    function.memid = id;
    function.funckind = FUNC_DISPATCH;
    function.invkind = kind;
    function.callconv = CC_STDCALL;
    function.elemdescFunc.tdesc.vt = result;
    return function;
  }

  void Add(const vlm::AutomationMember& member, INVOKEKIND kind) {
    const bool isPut = kind == INVOKE_PROPERTYPUT;
    FUNCDESC function =
        Describe(member.dispatchId, kind, TypeOf(isPut ? vlm::kAutomationEmpty : member.getType));
    std::vector<ELEMDESC> parameters(static_cast<std::size_t>(member.argumentCount) + (isPut ? 1 : 0));
    for (ELEMDESC& parameter : parameters) {
      parameter.tdesc.vt = TypeOf(member.argumentType);
      parameter.paramdesc.wParamFlags = PARAMFLAG_FIN;
    }
    if (isPut) parameters.back().tdesc.vt = TypeOf(member.putType);
    function.cParams = static_cast<SHORT>(parameters.size());
    function.lprgelemdescParam = parameters.data();
    Check(information_.AddFuncDesc(index_, &function));

    // The value that is put has no name of its own.
    std::vector<std::wstring> texts = ParameterNames(member);
    texts.insert(texts.begin(), Utf16(member.name));
    std::vector<LPOLESTR> names;
    for (std::wstring& text : texts) names.push_back(text.data());
    Check(information_.SetFuncAndParamNames(index_, names.data(), static_cast<UINT>(names.size())));
    std::wstring help = WideText(isPut ? member.putHelp : member.getHelp);
    if (!help.empty()) Check(information_.SetFuncDocString(index_, help.data()));
    ++index_;
  }

  ICreateTypeInfo& information_;
  UINT index_ = 0;
};

bool HasMember(const vlm::AutomationInterface& description, std::string_view name) {
  for (int index = 0; index < description.memberCount; ++index) {
    if (description.members[index].name == name) return true;
  }
  return false;
}

Held<ITypeInfo> DispatchInformation() {
  ITypeLib* library = nullptr;
  Check(LoadRegTypeLib(kStandardLibrary, 2, 0, LOCALE_NEUTRAL, &library));
  const Held<ITypeLib> held(library);
  ITypeInfo* information = nullptr;
  Check(held->GetTypeInfoOfGuid(IID_IDispatch, &information));
  return Held<ITypeInfo>(information);
}

Held<ICreateTypeInfo> AddType(ICreateTypeLib& library, std::wstring name, TYPEKIND kind, const GUID& id,
                              std::wstring help) {
  ICreateTypeInfo* made = nullptr;
  Check(library.CreateTypeInfo(name.data(), kind, &made));
  Held<ICreateTypeInfo> information(made);
  Check(information->SetGuid(id));
  Check(information->SetDocString(help.data()));
  Check(information->SetVersion(1, 0));
  return information;
}

void AddBase(ICreateTypeInfo& information, ITypeInfo& base) {
  HREFTYPE reference = 0;
  Check(information.AddRefTypeInfo(&base, &reference));
  Check(information.AddImplType(0, reference));
}

Held<ITypeInfo> AsTypeInfo(ICreateTypeInfo& information) {
  ITypeInfo* described = nullptr;
  Check(information.QueryInterface(IID_ITypeInfo, reinterpret_cast<void**>(&described)));
  return Held<ITypeInfo>(described);
}

Held<ITypeInfo> AddInterface(ICreateTypeLib& library, const vlm::AutomationInterface& description) {
  const auto information = AddType(library, Utf16(description.name), TKIND_DISPATCH,
                                   InterfaceIdOf(description), WideText(description.help));
  AddBase(*information, *DispatchInformation());
  InterfaceWriter writer(*information);
  // The members of a base come first, as its functions do in a table of functions.
  std::vector<const vlm::AutomationInterface*> levels;
  for (const vlm::AutomationInterface* level = &description; level; level = level->base)
    levels.insert(levels.begin(), level);
  for (const vlm::AutomationInterface* level : levels) {
    for (int index = 0; index < level->memberCount; ++index) writer.Add(level->members[index]);
  }
  if (HasMember(description, "Item") && HasMember(description, "Count")) writer.AddEnumerator();
  Check(information->LayOut());
  return AsTypeInfo(*information);
}

Held<ICreateTypeLib2> NewLibrary(const wchar_t* file, const GUID& id, std::wstring name, std::wstring help) {
  ICreateTypeLib2* made = nullptr;
  Check(CreateTypeLib2(SYS_WIN64, file, &made));
  Held<ICreateTypeLib2> library(made);
  Check(library->SetGuid(id));
  Check(library->SetName(name.data()));
  Check(library->SetDocString(help.data()));
  Check(library->SetVersion(1, 0));
  Check(library->SetLcid(LOCALE_NEUTRAL));
  return library;
}

// Runs what may throw, for functions that must not.
template <typename Function>
HRESULT AsResult(Function function) noexcept {
  try {
    function();
    return S_OK;
  } catch (const Failure& failure) {
    return failure.result;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace

GUID InterfaceIdOf(const vlm::AutomationInterface& description) noexcept {
  // FNV-1a with 64 bits: https://datatracker.ietf.org/doc/draft-eastlake-fnv
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : std::string_view(description.name)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  }
  GUID id = {0x7E1B0C54, 0x2F6D, 0x4C1A, {}};
  for (std::size_t index = 0; index < sizeof id.Data4; ++index) {
    id.Data4[index] = static_cast<unsigned char>(hash >> (8 * index));
  }
  id.Data4[0] = static_cast<unsigned char>((id.Data4[0] & 0x3F) | 0x80);  // the variant of RFC 4122
  return id;
}

HRESULT DescribeInterface(const vlm::AutomationInterface& description, ITypeInfo** information) noexcept {
  *information = nullptr;
  return AsResult([&] {
    // Never destroyed: the system's code may be gone before statics are.
    static auto& mutex = *new std::mutex;
    static auto& known = *new std::map<const vlm::AutomationInterface*, Held<ITypeInfo>>;
    const std::lock_guard lock(mutex);
    auto found = known.find(&description);
    if (found == known.end()) {
      // A library in memory: its name is never written.
      const auto library = NewLibrary(L"velmora_objects.tlb", InterfaceIdOf(description), L"VelmoraObjects",
                                      L"Objects of the Velmora workbench");
      found = known.emplace(&description, AddInterface(*library, description)).first;
    }
    *information = found->second.get();
    (*information)->AddRef();
  });
}

HRESULT WriteTypeLibrary(const TypeLibraryDescription& description, const std::wstring& file) noexcept {
  return AsResult([&] {
    DeleteFileW(file.c_str());
    const auto library = NewLibrary(file.c_str(), description.id, description.name, description.help);
    Held<ITypeInfo> classInterface;
    for (const vlm::AutomationInterface* each : description.interfaces) {
      Held<ITypeInfo> made = AddInterface(*library, *each);
      if (each == description.classInterface) classInterface = std::move(made);
    }
    const auto creatable = AddType(*library, description.className, TKIND_COCLASS, description.classId,
                                   Utf16(description.classInterface->help));
    Check(creatable->SetTypeFlags(TYPEFLAG_FCANCREATE));
    AddBase(*creatable, *classInterface);
    Check(creatable->SetImplTypeFlags(0, IMPLTYPEFLAG_FDEFAULT));
    Check(creatable->LayOut());
    Check(library->SaveAllChanges());
  });
}

}  // namespace vlmcom
