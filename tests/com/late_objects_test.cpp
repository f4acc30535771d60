// The workbench's own objects through COM, in the process of their host: type information against
// the member tables, default members, and arrays as spreadsheet programs and JScript pass them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>

#include "contract/com/type_information.h"
#include "contract/com/type_library.h"
#include "tests/com/com_support.h"
#include "tests/support/paths.h"
#include "workbench/session/session.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct LateObjects : ::testing::Test {
  LateObjects() : session(frontend, Options()) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Table table;
    table.fileName = "process.csv";
    table.caseCount = 6;
    for (const char* name : {"yield", "temperature", "pressure", "speed"}) {
      Column column;
      column.name = name;
      for (int row = 0; row < 6; ++row)
        column.values.Own().push_back(row * static_cast<double>(std::string_view(name).size() % 4 + 1) + row % 2);
      column.measurement = Measurement::kContinuous;
      table.columns.push_back(std::move(column));
    }
    session.SetTable(std::move(table));
    const AutomationClient client = session.Application();
    application =
        ComReference<IDispatch>(static_cast<IDispatch*>(client.Object()->MakeComObject(client.Object())));
  }
  ~LateObjects() override {
    application = {};
    CoUninitialize();
  }
  static SessionOptions Options() {
    SessionOptions options;
    options.modulePath = ModulePath();
    return options;
  }
  ComReference<IDispatch> Data() { return Get(application.get(), "Spreadsheets", {1}).value.Object(); }

  RecordingFrontend frontend;
  Session session;
  ComReference<IDispatch> application;
};

// Cells of a range: rows x columns of VARIANTs, from 1 as a spreadsheet program counts them.
Value Cells(ULONG rows, ULONG columns, const std::function<Value(ULONG row, ULONG column)>& cell) {
  SAFEARRAYBOUND bounds[] = {{rows, 1}, {columns, 1}};
  SAFEARRAY* const array = SafeArrayCreate(VT_VARIANT, 2, bounds);
  for (ULONG row = 1; row <= rows; ++row) {
    for (ULONG column = 1; column <= columns; ++column) {
      LONG place[] = {static_cast<LONG>(row), static_cast<LONG>(column)};
      Value value = cell(row, column);
      SafeArrayPutElement(array, place, &value);
    }
  }
  Value cells;
  V_VT(&cells) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&cells) = array;
  return cells;
}

Value Real(double number) {
  Value value;
  V_VT(&value) = VT_R8;
  V_R8(&value) = number;
  return value;
}

// An object with the members length, 0, 1 ... (an Array of JScript), or with a default property (a
// Range).
class ScriptedObject final : public IDispatch {
 public:
  ScriptedObject(std::vector<Value> items, bool isArray) : items_(std::move(items)), isArray_(isArray) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    const std::wstring name = names[0];
    if (!isArray_) return DISP_E_UNKNOWNNAME;
    *ids = name == L"length" ? 1000 : std::stoi(name) + 1;
    return name == L"length" || *ids <= static_cast<DISPID>(items_.size()) ? S_OK : DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                   UINT*) override {
    if (id == DISPID_VALUE && isArray_) return DISP_E_MEMBERNOTFOUND;
    const Value answer = id == DISPID_VALUE ? items_.front()
                         : id == 1000       ? Value(static_cast<int>(items_.size()))
                                            : items_[static_cast<std::size_t>(id - 1)];
    return VariantCopy(result, const_cast<VARIANT*>(&*answer));
  }

 private:
  std::vector<Value> items_;
  bool isArray_;
};

Value ObjectValue(IDispatch& object) {
  Value value;
  V_VT(&value) = VT_DISPATCH;
  V_DISPATCH(&value) = &object;
  object.AddRef();
  return value;
}

TEST_F(LateObjects, ArraysOfSpreadsheetProgramsAndJScriptAreTaken) {
  const ComReference<IDispatch> data = Data();
  const std::vector<double> numbers = {1.5, 2, 3, 4, 5, 6};
  const auto number = [&](ULONG row, ULONG column) { return Real(numbers[std::max(row, column) - 1]); };
  const Value cells = Cells(6, 1, number);
  ScriptedObject list({Real(1.5), Real(2), Real(3), Real(4), Real(5), Real(6)}, true);
  ScriptedObject range({cells}, false);
  const Value ways[] = {cells, Cells(1, 6, number), ObjectValue(list), ObjectValue(range)};
  int added = 4;
  for (const Value& way : ways) {
    const Called called = Get(data.get(), "AddVariable", {("v_" + std::to_string(added)).c_str(), way});
    ASSERT_EQ(called.result, S_OK) << added << ": " << called.description;
    EXPECT_EQ(session.Data().Variable(++added).values, numbers) << added;
  }
  // One list per column, each as long as its last cell that is not empty.
  const auto startup = Get(application.get(), "StartFeatureSelection").value.Object();
  const Value lists = Cells(3, 4, [](ULONG row, ULONG column) {
    if (column == 1) return row == 1 ? Value(1) : Value();
    if (column == 3) return Value(static_cast<int>(row) + 1);
    return Value();
  });
  ASSERT_EQ(Put(startup.get(), "Variables", lists).result, S_OK);
  EXPECT_EQ(Get(startup.get(), "Variables").value.Text(), "1 |  | 2-4 | ");
  // An object without a value of its own is no argument.
  EXPECT_EQ(Get(data.get(), "AddVariable", {"w", ObjectValue(*application.get())}).result,
            DISP_E_TYPEMISMATCH);
}

TEST_F(LateObjects, CollectionsHaveTheirItemsAsDefaultMember) {
  const auto temperature = Get(Data().get(), "Variables", {"temperature"});
  ASSERT_EQ(temperature.result, S_OK);
  EXPECT_EQ(Get(temperature.value.Object().get(), "Number").value.Int(), 2);
  session.Documents().Add(std::make_shared<TextDocument>(TextDocument{0, "Note", "text"}));
  const auto document = Get(application.get(), "Outputs", {1});
  ASSERT_EQ(document.result, S_OK);
  EXPECT_EQ(Get(document.value.Object().get(), "Title").value.Text(), "Note");
}

std::string NameOf(ITypeInfo& information, MEMBERID member = MEMBERID_NIL, std::string* help = nullptr) {
  BSTR name = nullptr, text = nullptr;
  if (FAILED(information.GetDocumentation(member, &name, &text, nullptr, nullptr))) return "none";
  if (help) *help = Narrow(text);
  SysFreeString(text);
  return Taken(name);
}

// Every member of the table is in the type information, with its kinds and as many parameters;
// nothing else but the enumerator is.
void ExpectMembers(ITypeInfo& information, const vlm::AutomationInterface& description) {
  SCOPED_TRACE(description.name);
  std::string help;
  EXPECT_EQ(NameOf(information, MEMBERID_NIL, &help), description.name);
  EXPECT_EQ(help, description.help);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(information.GetTypeAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
  EXPECT_EQ(attributes->guid, vlmcom::InterfaceIdOf(description));
  std::multiset<std::string> found, expected;
  for (UINT index = 0; index < attributes->cFuncs; ++index) {
    FUNCDESC* function = nullptr;
    ASSERT_EQ(information.GetFuncDesc(index, &function), S_OK);
    // The functions of IDispatch itself have identifiers of their own range.
    if (function->memid != DISPID_NEWENUM && function->memid < 0x60000000) {
      found.insert(std::to_string(function->memid) + " " + NameOf(information, function->memid) + " " +
                   std::to_string(function->invkind) + " " + std::to_string(function->cParams));
    }
    information.ReleaseFuncDesc(function);
  }
  information.ReleaseTypeAttr(attributes);
  for (int index = 0; index < description.memberCount; ++index) {
    const vlm::AutomationMember& member = description.members[index];
    for (const auto& [kind, invoke] :
         {std::pair(vlm::kInvokeMethod, INVOKE_FUNC), std::pair(vlm::kInvokeGet, INVOKE_PROPERTYGET),
          std::pair(vlm::kInvokePut, INVOKE_PROPERTYPUT)}) {
      if (!(member.kinds & kind)) continue;
      expected.insert(std::to_string(member.dispatchId) + " " + member.name + " " + std::to_string(invoke) +
                      " " + std::to_string(member.argumentCount + (kind == vlm::kInvokePut ? 1 : 0)));
    }
  }
  EXPECT_EQ(found, expected);
}

TEST_F(LateObjects, EveryObjectDescribesItself) {
  std::set<std::string> identifiers;
  for (const vlm::AutomationInterface* const description : ObjectModel()) {
    ComReference<ITypeInfo> information;
    ASSERT_EQ(vlmcom::DescribeInterface(*description, information.Receive()), S_OK) << description->name;
    ExpectMembers(*information.get(), *description);
    const GUID id = vlmcom::InterfaceIdOf(*description);
    identifiers.insert(std::string(reinterpret_cast<const char*>(&id), sizeof id));
  }
  EXPECT_EQ(identifiers.size(), ObjectModel().size()) << "two interfaces share an identifier";

  // By the object itself, which also answers for its interface's identifier.
  const ComReference<IDispatch> data = Data();
  UINT count = 0;
  ASSERT_EQ(data->GetTypeInfoCount(&count), S_OK);
  ASSERT_EQ(count, 1u);
  ComReference<ITypeInfo> information;
  ASSERT_EQ(data->GetTypeInfo(0, 0, information.Receive()), S_OK);
  EXPECT_EQ(NameOf(*information.get()), "InputSpreadsheet");
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
  ComReference<IDispatch> typed;
  EXPECT_EQ(data->QueryInterface(attributes->guid, reinterpret_cast<void**>(typed.Receive())), S_OK);
  information->ReleaseTypeAttr(attributes);
  EXPECT_TRUE(typed);
}

TEST_F(LateObjects, TheWrittenLibraryHoldsThemAndACreatableClass) {
  const std::filesystem::path file = std::filesystem::temp_directory_path() / "velmora_test_objects.tlb";
  const auto interfaces = ObjectModel();
  const GUID libraryId = {0x1, 0x2, 0x3, {4}}, classId = {0x5, 0x6, 0x7, {8}};
  ASSERT_EQ(vlmcom::WriteTypeLibrary({.id = libraryId,
                                      .name = L"Velmora",
                                      .help = L"Objects",
                                      .classId = classId,
                                      .className = L"Workbench",
                                      .classInterface = interfaces.front(),
                                      .interfaces = interfaces},
                                     file.wstring()),
            S_OK);
  ComReference<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(file.c_str(), REGKIND_NONE, library.Receive()), S_OK);
  EXPECT_EQ(library->GetTypeInfoCount(), interfaces.size() + 1);
  for (const vlm::AutomationInterface* const description : interfaces) {
    ComReference<ITypeInfo> information;
    ASSERT_EQ(library->GetTypeInfoOfGuid(vlmcom::InterfaceIdOf(*description), information.Receive()), S_OK);
    ExpectMembers(*information.get(), *description);
  }
  ComReference<ITypeInfo> creatable, interfaceOfClass;
  ASSERT_EQ(library->GetTypeInfoOfGuid(classId, creatable.Receive()), S_OK);
  HREFTYPE reference = 0;
  ASSERT_EQ(creatable->GetRefTypeOfImplType(0, &reference), S_OK);
  ASSERT_EQ(creatable->GetRefTypeInfo(reference, interfaceOfClass.Receive()), S_OK);
  EXPECT_EQ(NameOf(*interfaceOfClass.get()), "Application");
  library = {};
  creatable = interfaceOfClass = {};
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
}

}  // namespace
}  // namespace velmora
