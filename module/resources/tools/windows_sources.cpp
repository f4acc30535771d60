#include "module/resources/tools/windows_sources.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace vlmfsl {
namespace {

// --- Resource script

// Quotation marks are doubled; backslashes and line breaks escaped.
std::string ScriptText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        quoted += "\"\"";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\t':
        quoted += "\\t";
        break;
      default:
        quoted += c;
    }
  }
  return quoted + "\"";
}

// The window class and the style of a control class.
struct ControlStyle {
  vlm::ControlClass controlClass;
  const char* windowClass;
  const char* style;
};
constexpr ControlStyle kControlStyles[] = {
    {vlm::kButton, "BUTTON", "BS_PUSHBUTTON"},
    {vlm::kCheckBox, "BUTTON", "BS_AUTOCHECKBOX"},
    {vlm::kRadioButton, "BUTTON", "BS_AUTORADIOBUTTON"},
    {vlm::kGroupBox, "BUTTON", "BS_GROUPBOX"},
    {vlm::kLabel, "STATIC", "SS_LEFT"},
    {vlm::kListCaption, vlm::kListCaptionWindowClass, "SS_NOPREFIX"},
    {vlm::kIntegerEdit, vlm::kIntegerEditWindowClass, "ES_AUTOHSCROLL | WS_BORDER"},
    {vlm::kRealEdit, vlm::kRealEditWindowClass, "ES_AUTOHSCROLL | WS_BORDER"},
    {vlm::kValueEdit, vlm::kValueEditWindowClass, "ES_AUTOHSCROLL | WS_BORDER"},
    {vlm::kDropDown, "COMBOBOX", "CBS_DROPDOWNLIST | WS_VSCROLL"},
    {vlm::kTab, "SysTabControl32", "WS_CLIPSIBLINGS"},
    {vlm::kIconButton, vlm::kIconButtonWindowClass, "BS_PUSHBUTTON"},
};

std::string ControlLine(const vlm::ControlTemplate& control) {
  const auto style = std::ranges::find(kControlStyles, static_cast<vlm::ControlClass>(control.controlClass),
                                       &ControlStyle::controlClass);
  if (style == std::end(kControlStyles)) {
    throw std::invalid_argument("Control " + std::to_string(control.id) + " is of no known class.");
  }
  const auto has = [&](int flag) { return (control.flags & flag) != 0; };
  std::string styles = has(vlm::kControlDefault) ? "BS_DEFPUSHBUTTON" : style->style;
  if (!has(vlm::kControlNoTabStop) && control.controlClass != vlm::kGroupBox) styles += " | WS_TABSTOP";
  if (has(vlm::kControlGroupStart)) styles += " | WS_GROUP";
  if (has(vlm::kControlHidden)) styles += " | NOT WS_VISIBLE";
  const bool drops = control.controlClass == vlm::kDropDown;
  const int height = control.height + (drops ? vlm::kDropDownListHeight : 0);
  std::string line = "  CONTROL " + ScriptText(control.caption) + ", " + std::to_string(control.id) + ", \"" +
                     style->windowClass + "\", " + styles;
  for (const int number : {int{control.x}, int{control.y}, int{control.width}, height}) {
    line += ", " + std::to_string(number);
  }
  return line + "\n";
}

bool HasTab(const vlm::DialogTemplate& dialog) {
  return std::any_of(dialog.controls, dialog.controls + dialog.controlCount,
                     [](const vlm::ControlTemplate& control) { return control.controlClass == vlm::kTab; });
}

// A dialog carries a tab control; what does not is a page of one.
std::string DialogText(const vlm::DialogTemplate& dialog) {
  std::string text = std::to_string(dialog.id) + " DIALOGEX 0, 0, " + std::to_string(dialog.width) + ", " +
                     std::to_string(dialog.height) + "\n";
  text += HasTab(dialog) ? "STYLE DS_SETFONT | DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU\n"
                         : "STYLE DS_SETFONT | DS_CONTROL | WS_CHILD\nEXSTYLE WS_EX_CONTROLPARENT\n";
  text += "CAPTION " + ScriptText(dialog.caption) + "\nFONT 8, \"MS Shell Dlg\", 400, 0, 1\nBEGIN\n";
  for (int i = 0; i < dialog.controlCount; ++i) text += ControlLine(dialog.controls[i]);
  return text + "END\n\n";
}

std::string VersionText(FileVersion version) {
  const auto joined = [&](const char* separator) {
    return std::to_string(version.major) + separator + std::to_string(version.minor) + separator +
           std::to_string(version.patch) + separator + "0";
  };
  const auto value = [](const char* name, const std::string& text) {
    return std::string("      VALUE \"") + name + "\", " + ScriptText(text) + "\n";
  };
  const std::string numbers = joined(",");
  return "1 VERSIONINFO\nFILEVERSION " + numbers + "\nPRODUCTVERSION " + numbers +
         "\nFILEOS VOS_NT_WINDOWS32\nFILETYPE VFT_DLL\nBEGIN\n"
         "  BLOCK \"StringFileInfo\"\n  BEGIN\n    BLOCK \"040904B0\"\n    BEGIN\n" +
         value("CompanyName", "Velmora") + value("FileDescription", kLibraryHelp) +
         value("FileVersion", joined(".")) + value("InternalName", "vlmfsl") +
         value("OriginalFilename", "vlmfsl.dll") + value("ProductName", "Velmora") +
         value("ProductVersion", joined(".")) +
         "    END\n  END\n  BLOCK \"VarFileInfo\"\n  BEGIN\n    VALUE \"Translation\", 0x409, 1200\n"
         "  END\nEND\n\n";
}

// --- Type library

std::string LibraryText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) > 126 || static_cast<unsigned char>(c) < 32) {
      throw std::invalid_argument("The help string \"" + std::string(text) + "\" is not plain ASCII.");
    }
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

std::string BareId(std::string_view id) { return std::string(id.substr(1, id.size() - 2)); }

const char* TypeName(int type) {
  switch (type) {
    case vlm::kAutomationInt:
      return "int";
    case vlm::kAutomationReal:
      return "double";
    case vlm::kAutomationText:
      return "BSTR";
    case vlm::kAutomationObject:
      return "IDispatch*";
    case vlm::kAutomationIntArray:
      return "SAFEARRAY(int)";
    default:
      return "VARIANT";
  }
}

std::string HexId(int id) {
  char text[16];
  std::snprintf(text, sizeof text, id > 9 ? "0x%08x" : "%d", static_cast<unsigned>(id));
  return text;
}

// kind: the InvokeKind that the line declares.
std::string MemberLine(const vlm::AutomationMember& member, int kind) {
  const char* attribute = kind == vlm::kInvokeGet ? "propget, " : kind == vlm::kInvokePut ? "propput, " : "";
  const char* help = kind == vlm::kInvokePut ? member.putHelp : member.getHelp;
  std::string line = "    [" + std::string(attribute) + "id(" + HexId(member.dispatchId) + ")";
  if (help && *help) line += ", helpstring(" + LibraryText(help) + ")";
  line += "] HRESULT " + std::string(member.name) + "(";
  std::string arguments;
  const auto add = [&](const std::string& argument) {
    arguments += (arguments.empty() ? "" : ", ") + argument;
  };
  if (member.argumentCount == 1) {
    add(std::string("[in] ") + TypeName(member.argumentType) + " " + member.argumentName);
  }
  if (kind == vlm::kInvokePut) {
    add(std::string("[in] ") + TypeName(member.putType) + " value");
  } else if (member.getType != vlm::kAutomationEmpty) {
    add(std::string("[out, retval] ") + TypeName(member.getType) + "* value");
  }
  return line + arguments + ");\n";
}

// line(member, kind) of every kind of every member, in the order of the vtable.
template <typename Line>
std::string MemberLines(const vlm::AutomationInterface& description, Line line) {
  std::string text;
  for (int i = 0; i < description.memberCount; ++i) {
    for (const int kind : {vlm::kInvokeGet, vlm::kInvokePut, vlm::kInvokeMethod}) {
      if (description.members[i].kinds & kind) text += line(description.members[i], kind);
    }
  }
  return text;
}

std::string InterfaceText(const LibraryInterface& entry) {
  const vlm::AutomationInterface& description = *entry.description;
  std::string text = "  [object, dual, oleautomation, uuid(" + BareId(entry.id) + "), helpstring(" +
                     LibraryText(description.help) + ")]\n  interface " + description.name + " : " +
                     (description.base ? description.base->name : "IDispatch") + "\n  {\n";
  return text + MemberLines(description, MemberLine) + "  };\n";
}

// --- Vtables

// One overriding member; kind as above.
std::string DualMember(const vlm::AutomationMember& member, int kind) {
  const char* const prefix = kind == vlm::kInvokeGet ? "get_" : kind == vlm::kInvokePut ? "put_" : "";
  const bool answers = kind != vlm::kInvokePut && member.getType != vlm::kAutomationEmpty;
  std::string parameters, passed;
  const auto add = [&](const std::string& type, const std::string& name) {
    parameters += (parameters.empty() ? "" : ", ") + type + " " + name;
  };
  if (member.argumentCount == 1) {
    add(TypeName(member.argumentType), member.argumentName);
    passed += std::string(", ") + member.argumentName;
  }
  if (kind == vlm::kInvokePut) {
    add(TypeName(member.putType), "value");
    passed += ", value";
  } else if (answers) {
    const bool isArray = member.getType == vlm::kAutomationIntArray;
    add(std::string(isArray ? "SAFEARRAY*" : TypeName(member.getType)) + "*", "value");
  }
  const char* const kindName = kind == vlm::kInvokeGet   ? "vlm::kInvokeGet"
                               : kind == vlm::kInvokePut ? "vlm::kInvokePut"
                                                         : "vlm::kInvokeMethod";
  return std::string("  HRESULT STDMETHODCALLTYPE ") + prefix + member.name + "(" + parameters +
         ") override {\n    return this->" + (answers ? "Ask(" : "Tell(") + HexId(member.dispatchId) + ", " +
         kindName + (answers ? ", value" : "") + passed + ");\n  }\n";
}

constexpr char kMadeFromTables[] =
    "// Made from the tables of resources/ by make_windows_sources; not to be edited.\n";

}  // namespace

std::string ResourceScript(std::span<const TextRow> texts, std::span<const vlm::DialogTemplate> dialogs,
                           FileVersion version, const std::string& typeLibraryFile) {
  std::string script = kMadeFromTables;
  script +=
      "#pragma code_page(65001)\n#include <windows.h>\n#include <commctrl.h>\n\n"
      "LANGUAGE LANG_ENGLISH, SUBLANG_ENGLISH_US\n\n" +
      VersionText(version) + "1 TYPELIB " + ScriptText(typeLibraryFile) + "\n\nSTRINGTABLE\nBEGIN\n";
  for (const TextRow& row : texts)
    script += "  " + std::to_string(row.number) + " " + ScriptText(row.text) + "\n";
  script += "END\n\n";
  for (const vlm::DialogTemplate& dialog : dialogs) script += DialogText(dialog);
  return script;
}

std::string TypeLibrarySource(std::span<const LibraryInterface> interfaces) {
  std::string source = kMadeFromTables;
  source += "import \"oaidl.idl\";\nimport \"ocidl.idl\";\n\n[uuid(" + BareId(kLibraryId) + "), version(" +
            std::to_string(kLibraryMajorVersion) + "." + std::to_string(kLibraryMinorVersion) +
            "), helpstring(" + LibraryText(kLibraryHelp) + ")]\nlibrary " + kLibraryName +
            "\n{\n  importlib(\"stdole2.tlb\");\n";
  for (const LibraryInterface& entry : interfaces) source += "\n" + InterfaceText(entry);
  return source + "};\n";
}

std::string DualClassesSource(std::span<const LibraryInterface> interfaces) {
  std::string source = kMadeFromTables;
  source += "#pragma once\n\n#include \"module/frame/windows/dual_object.h\"\n\nnamespace vlmfsl {\n";
  for (const LibraryInterface& entry : interfaces) {
    const vlm::AutomationInterface& description = *entry.description;
    const std::string name = std::string(description.name) + "Dual";
    const std::string base = description.base
                                 ? std::string(description.base->name) + "Dual<" + description.name + ">"
                                 : "DualObject<Interface>";
    source +=
        description.base ? "\nclass " + name + " final" : "\ntemplate <typename Interface>\nclass " + name;
    source += " : public " + base + " {\n public:\n  using " + base +
              "::" + (description.base ? description.base->name : "DualObject") +
              (description.base ? "Dual" : "") + ";\n\n";
    source += MemberLines(description, DualMember) + "};\n";
  }
  return source + "\n}  // namespace vlmfsl\n";
}

}  // namespace vlmfsl
