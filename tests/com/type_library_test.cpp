// The registered type library read back and held against the member tables: names, ids, kinds,
// types, helps, order.
#include <gtest/gtest.h>

#include <map>

#include "contract/com/type_library.h"
#include "module/resources/automation_tables.h"
#include "tests/com/com_support.h"
#include "tests/support/paths.h"

namespace velmora {
namespace {

using namespace velmora::testing;

GUID IdOf(const char* text) {
  GUID id{};
  EXPECT_EQ(CLSIDFromString(Wide(text).c_str(), &id), S_OK);
  return id;
}

std::pair<std::string, std::string> NameAndHelp(const auto& library, auto which) {
  BSTR name = nullptr, help = nullptr;
  library->GetDocumentation(which, &name, &help, nullptr, nullptr);
  std::string taken = Taken(name);
  return {taken, Taken(help)};
}

std::string TypeText(const TYPEDESC& type) {
  switch (type.vt) {
    case VT_INT:
      return "int";
    case VT_R8:
      return "double";
    case VT_BSTR:
      return "text";
    case VT_VARIANT:
      return "variant";
    case VT_DISPATCH:
      return "object";
    case VT_HRESULT:
      return "HRESULT";
    case VT_PTR:
      return TypeText(*type.lptdesc) + "*";
    case VT_SAFEARRAY:
      return TypeText(*type.lptdesc) + "[]";
    default:
      return "vt " + std::to_string(type.vt);
  }
}

std::string TypeText(int type) {
  switch (type) {
    case vlm::kAutomationInt:
      return "int";
    case vlm::kAutomationReal:
      return "double";
    case vlm::kAutomationText:
      return "text";
    case vlm::kAutomationObject:
      return "object";
    case vlm::kAutomationIntArray:
      return "int[]";
    default:
      return "variant";
  }
}

// "get 0x60030000 Variables(text* value) = HRESULT "Variables"" of each member, in the order of the
// vtable.
std::vector<std::string> LinesOf(ITypeInfo* information, const TYPEATTR& attributes) {
  std::map<int, std::string> byPlace;
  for (UINT index = 0; index < attributes.cFuncs; ++index) {
    FUNCDESC* function = nullptr;
    if (FAILED(information->GetFuncDesc(index, &function))) continue;
    const auto [name, help] = NameAndHelp(information, function->memid);
    std::string line = (function->invkind == INVOKE_PROPERTYGET   ? "get "
                        : function->invkind == INVOKE_PROPERTYPUT ? "put "
                                                                  : "method ") +
                       std::to_string(function->memid) + " " + name + "(";
    for (SHORT parameter = 0; parameter < function->cParams; ++parameter) {
      const ELEMDESC& description = function->lprgelemdescParam[parameter];
      if (parameter > 0) line += ", ";
      if (description.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) line += "retval ";
      line += TypeText(description.tdesc);
    }
    byPlace[function->oVft] = line + ") " + TypeText(function->elemdescFunc.tdesc) + " \"" + help + "\"";
    information->ReleaseFuncDesc(function);
  }
  std::vector<std::string> lines;
  for (auto& [place, line] : byPlace) lines.push_back(std::move(line));
  return lines;
}

std::vector<std::string> LinesOf(const vlm::AutomationInterface& description) {
  std::vector<std::string> lines;
  for (int index = 0; index < description.memberCount; ++index) {
    const vlm::AutomationMember& member = description.members[index];
    for (const int kind : {vlm::kInvokeGet, vlm::kInvokePut, vlm::kInvokeMethod}) {
      if (!(member.kinds & kind)) continue;
      std::string parameters = member.argumentCount == 1 ? TypeText(member.argumentType) : "";
      const auto add = [&](const std::string& parameter) {
        parameters += (parameters.empty() ? "" : ", ") + parameter;
      };
      if (kind == vlm::kInvokePut) {
        add(TypeText(member.putType));
      } else if (member.getType != vlm::kAutomationEmpty) {
        add("retval " + TypeText(member.getType) + "*");
      }
      // A library tells the help of an id, which for a pair is that of its get.
      const char* const help = member.getHelp ? member.getHelp : member.putHelp;
      lines.push_back(std::string(kind == vlm::kInvokeGet   ? "get "
                                  : kind == vlm::kInvokePut ? "put "
                                                            : "method ") +
                      std::to_string(member.dispatchId) + " " + member.name + "(" + parameters +
                      ") HRESULT \"" + (help ? help : "") + "\"");
    }
  }
  return lines;
}

// The vtable's side of a dual interface.
ComReference<ITypeInfo> VtableSide(const ComReference<ITypeInfo>& dispatch) {
  HREFTYPE reference = 0;
  ComReference<ITypeInfo> vtable;
  if (SUCCEEDED(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference))) {
    dispatch->GetRefTypeInfo(reference, vtable.Receive());
  }
  return vtable;
}

TEST(TypeLibrary, TheRegisteredOneIsTheTables) {
  ASSERT_EQ(vlmcom::RegisterTypeLibraryFile(Wide(ModulePath())), S_OK);
  ComReference<ITypeLib> library;
  ASSERT_EQ(LoadRegTypeLib(IdOf(vlmfsl::kLibraryId), vlmfsl::kLibraryMajorVersion,
                           vlmfsl::kLibraryMinorVersion, LOCALE_NEUTRAL, library.Receive()),
            S_OK);
  EXPECT_EQ(NameAndHelp(library, -1),
            std::pair(std::string(vlmfsl::kLibraryName), std::string(vlmfsl::kLibraryHelp)));
  ASSERT_EQ(library->GetTypeInfoCount(), vlmfsl::LibraryInterfaces().size());

  UINT place = 0;
  for (const vlmfsl::LibraryInterface& entry : vlmfsl::LibraryInterfaces()) {
    const vlm::AutomationInterface& description = *entry.description;
    EXPECT_EQ(NameAndHelp(library, static_cast<INT>(place++)),
              std::pair(std::string(description.name), std::string(description.help)));
    ComReference<ITypeInfo> information;
    ASSERT_EQ(library->GetTypeInfoOfGuid(IdOf(entry.id), information.Receive()), S_OK) << description.name;
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
    EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FDUAL) << description.name;
    information->ReleaseTypeAttr(attributes);
    const ComReference<ITypeInfo> vtable = VtableSide(information);
    ASSERT_TRUE(vtable) << description.name;
    ASSERT_EQ(vtable->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(LinesOf(vtable.get(), *attributes), LinesOf(description)) << description.name;
    vtable->ReleaseTypeAttr(attributes);

    HREFTYPE reference = 0;
    ComReference<ITypeInfo> base;
    ASSERT_EQ(vtable->GetRefTypeOfImplType(0, &reference), S_OK);
    ASSERT_EQ(vtable->GetRefTypeInfo(reference, base.Receive()), S_OK);
    EXPECT_EQ(NameAndHelp(base, MEMBERID_NIL).first, description.base ? description.base->name : "IDispatch");
  }
}

}  // namespace
}  // namespace velmora
