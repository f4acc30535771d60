// The dialogs' COM objects in the process of their host: early and late binding to the same
// members, errors with their descriptions, and objects that outlive their dialogs, their session
// and their module's last use.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/com/com_support.h"
#include "tests/support/paths.h"
#include "workbench/session/session.h"
// Made from the type library's source.
#include <vlmfsl.h>

namespace velmora {
namespace {

using namespace velmora::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// yield follows temperature, grade follows machine.
Table ProcessTable() {
  Table table;
  table.fileName = "process.csv";
  const auto add = [&](const char* name, std::vector<double> values, Measurement measurement) {
    Column column;
    column.name = name;
    column.values = std::move(values);
    column.measurement = measurement;
    table.columns.push_back(std::move(column));
  };
  add("yield", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, Measurement::kContinuous);
  add("grade", {0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 1}, Measurement::kCategorical);
  add("temperature", {11, 12, 13, 21, 22, 23, 31, 32, 33, 41, 42, 43}, Measurement::kContinuous);
  add("pressure", {5, 1, 4, 2, 3, 6, 5, 2, 4, 1, 6, 3}, Measurement::kContinuous);
  add("machine", {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3}, Measurement::kCategorical);
  table.caseCount = 12;
  return table;
}

struct DualInterfaces : ::testing::Test {
  DualInterfaces() : session(std::make_unique<Session>(frontend, Options())) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    session->SetTable(ProcessTable());
  }
  ~DualInterfaces() override { CoUninitialize(); }
  static SessionOptions Options() {
    SessionOptions options;
    options.modulePath = ModulePath();
    return options;
  }
  static ComReference<IDispatch> ComOf(const AutomationClient& client) {
    return ComReference<IDispatch>(static_cast<IDispatch*>(client.Object()->MakeComObject(client.Object())));
  }
  ComReference<FSLStartup> Startup() { return ComOf(session->StartFeatureSelection()).As<FSLStartup>(); }
  // After a run on continuous and categorical dependents and predictors.
  ComReference<FSLResults> Results() {
    const ComReference<FSLStartup> startup = Startup();
    EXPECT_EQ(startup->put_Variables(*Value("1 | 2 | 3 4 | 5")), S_OK);
    int done = 0;
    EXPECT_EQ(startup->OK(&done), S_OK);
    EXPECT_EQ(done, 1);
    return ComOf(session->ResultsDialog()).As<FSLResults>();
  }

  RecordingFrontend frontend;
  std::unique_ptr<Session> session;
};

TEST_F(DualInterfaces, EarlyAndLateCallsReachTheSameMembers) {
  const ComReference<FSLStartup> startup = Startup();
  ASSERT_TRUE(startup);
  IDispatch* const late = startup.get();

  // Each kind of value: put by one way, got by the other.
  EXPECT_EQ(startup->put_NumberOfCutsForContinuousPredictor(7), S_OK);
  EXPECT_EQ(Get(late, "numberofcutsforcontinuouspredictor").value.Int(), 7) << "names in any case";
  EXPECT_EQ(Put(late, "CasewiseDeletionOfMD", 1).result, S_OK);
  int flag = 0;
  EXPECT_EQ(startup->get_CasewiseDeletionOfMD(&flag), S_OK);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(Put(late, "Variables", "1 | 2 | 3 4 | 5").result, S_OK);
  BSTR text = nullptr;
  EXPECT_EQ(startup->get_Variables(&text), S_OK);
  EXPECT_EQ(Get(late, "Variables").value.Text(), Taken(text));

  ComReference<ITypeInfo> information, again;
  ASSERT_EQ(late->GetTypeInfo(0, 0, information.Receive()), S_OK);
  EXPECT_EQ(late->GetTypeInfo(0, 0, again.Receive()), S_OK);
  OLECHAR variables[] = L"Variables";
  OLECHAR* names[] = {variables};
  MEMBERID typed = 0, called = 0;
  EXPECT_EQ(information->GetIDsOfNames(names, 1, &typed), S_OK);
  EXPECT_EQ(late->GetIDsOfNames(IID_NULL, names, 1, 0, &called), S_OK);
  EXPECT_EQ(typed, called);

  // A member of the base interface.
  BSTR name = nullptr;
  EXPECT_EQ(startup->get_Name(&name), S_OK);
  EXPECT_EQ(Taken(name), "Feature Selection startup dialog");
  ComReference<IDispatch> application;
  EXPECT_EQ(startup->get_Application(application.Receive()), S_OK);
  EXPECT_EQ(Get(application.get(), "Name").value.Text(), "Velmora");
  // A property's object answers for arguments that the property does not take, as scripts write it.
  EXPECT_EQ(Get(Get(application.get(), "Analyses", {1}).value.Object().get(), "ID").result, S_OK);
  EXPECT_EQ(Get(application.get(), "Name", {1}).result, DISP_E_BADPARAMCOUNT);
  // From an analysis a script comes back to a dialog with the same vtable.
  const ComReference<IDispatch> parent = Get(late, "Parent").value.Object();
  ASSERT_TRUE(parent);
  EXPECT_TRUE(Get(parent.get(), "StartupDialog").value.Object().As<FSLStartup>());

  const ComReference<FSLResults> results = [&] {
    int done = 0;
    EXPECT_EQ(startup->OK(&done), S_OK);
    return ComOf(session->ResultsDialog()).As<FSLResults>();
  }();
  ASSERT_TRUE(results);
  EXPECT_EQ(results->put_FixedPValueOfBestPredictors(0.25), S_OK);
  double criterion = 0;
  EXPECT_EQ(results->get_FixedPValueOfBestPredictors(&criterion), S_OK);
  EXPECT_EQ(criterion, 0.25);
  SAFEARRAY* array = nullptr;
  EXPECT_EQ(results->get_BestContinuousPredictors(1, &array), S_OK);
  EXPECT_THAT(Taken(array), ElementsAre(3, 4));
  EXPECT_THAT(Get(results.get(), "BestContinuousPredictors", {1}).value.Numbers(), ElementsAre(3, 4));
  EXPECT_THAT(Get(results.get(), "BestCategoricalPredictors", {1}).value.Numbers(), ElementsAre(5));
  EXPECT_EQ(Get(results.get(), "BestContinuousPredictorString", {1}).value.Text(), " 3 4");
  ComReference<IDispatch> report;
  EXPECT_EQ(results->get_ReportOfBestKPredictors(report.Receive()), S_OK);
  EXPECT_THAT(Get(report.get(), "Text").value.Text(), HasSubstr("Best continuous predictors: 3 4"));
}

TEST_F(DualInterfaces, ErrorsCarryCodeAndDescription) {
  const ComReference<FSLResults> results = Results();
  ASSERT_TRUE(results);
  const std::string description = "Cannot find the variable in dependent variable list";
  const Called late = Get(results.get(), "BestContinuousPredictors", {4});
  EXPECT_EQ(late.result, DISP_E_EXCEPTION);
  EXPECT_EQ(late.code, 65535);
  EXPECT_EQ(late.description, description);

  SAFEARRAY* array = nullptr;
  EXPECT_EQ(results->get_BestContinuousPredictors(4, &array),
            MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 65535));
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(LeftDescription(), description);
  EXPECT_TRUE(results.As<ISupportErrorInfo>());
  EXPECT_EQ(results.As<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(__uuidof(FSLResults)), S_OK);

  // Errors of the call itself.
  EXPECT_EQ(Get(results.get(), "NoSuchMember").result, DISP_E_UNKNOWNNAME);
  EXPECT_EQ(Get(results.get(), "BestContinuousPredictors").result, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Put(results.get(), "Summary", 1).result, DISP_E_MEMBERNOTFOUND);
  const Called mismatch = Put(results.get(), "FixedNumberOfBestPredictors", "many");
  EXPECT_EQ(mismatch.result, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(mismatch.wrongArgument, 0u);
  Value object;
  V_VT(&object) = VT_DISPATCH;
  V_DISPATCH(&object) = results.get();
  results->AddRef();
  EXPECT_EQ(Put(results.get(), "FixedNumberOfBestPredictors", object).result, DISP_E_TYPEMISMATCH);
}

// The forms in which script hosts pass the same list.
TEST_F(DualInterfaces, ValuesComeAsScriptsMakeThem) {
  const ComReference<FSLStartup> startup = Startup();
  const auto expect = [&](const char* what, const VARIANT& value) {
    EXPECT_EQ(startup->put_CountVariable(*Value("")), S_OK);
    EXPECT_EQ(startup->put_CountVariable(value), S_OK) << what;
    EXPECT_EQ(Get(startup.get(), "CountVariable").value.Text(), "3") << what;
  };
  expect("a text", *Value("3"));
  expect("a name", *Value("temperature"));
  expect("a whole number", *Value(3));
  VARIANT value;
  V_VT(&value) = VT_R8;
  V_R8(&value) = 3.0;
  expect("a real number", value);
  V_VT(&value) = VT_I2;
  V_I2(&value) = 3;
  expect("a short number", value);
  Value number(3);
  V_VT(&value) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&value) = &number;
  expect("a variable by reference", value);

  // Four lists as an array of arrays.
  SAFEARRAY* const lists = SafeArrayCreateVector(VT_VARIANT, 0, 4);
  auto* const items = static_cast<VARIANT*>(lists->pvData);
  V_VT(&items[0]) = VT_I4;
  V_I4(&items[0]) = 1;
  SAFEARRAY* const predictors = SafeArrayCreateVector(VT_I4, 0, 2);
  static_cast<LONG*>(predictors->pvData)[0] = 3;
  static_cast<LONG*>(predictors->pvData)[1] = 4;
  V_VT(&items[2]) = VT_ARRAY | VT_I4;
  V_ARRAY(&items[2]) = predictors;
  Value array;
  V_VT(&array) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&array) = lists;
  EXPECT_EQ(startup->put_Variables(*array), S_OK);
  EXPECT_EQ(Get(startup.get(), "Variables").value.Text(), "1 |  | 3 4 | ");
}

TEST_F(DualInterfaces, AClosedDialogFailsAndNothingElse) {
  const ComReference<FSLStartup> startup = Startup();
  EXPECT_EQ(startup->put_Variables(*Value("1 | | 3 4 | ")), S_OK);
  int done = 0;
  EXPECT_EQ(startup->OK(&done), S_OK);
  const ComReference<IDispatch> results = ComOf(session->ResultsDialog());
  const auto expectFailure = [&](const char* when, const char* reason) {
    BSTR text = nullptr;
    EXPECT_EQ(startup->get_Variables(&text), E_FAIL) << when;
    EXPECT_THAT(LeftDescription(), HasSubstr(std::string("FSLStartup.Variables") + reason)) << when;
    const Called late = Put(startup.get(), "CountVariable", "1");
    EXPECT_EQ(late.result, DISP_E_EXCEPTION) << when;
    EXPECT_THAT(late.description, HasSubstr(std::string("FSLStartup.CountVariable") + reason)) << when;
  };
  expectFailure("after the run", ": The dialog is closed.");
  EXPECT_EQ(Get(results.get(), "FixedNumberOfBestPredictors").result, S_OK) << "the results are open";
  session->EndAnalysis();
  expectFailure("after the analysis", ": The dialog is closed.");
  EXPECT_EQ(Get(results.get(), "FixedNumberOfBestPredictors").result, DISP_E_EXCEPTION);
  session.reset();
  expectFailure("after the session", " failed.");
}

// Nothing of a session is left that would let the objects' code go while they are released.
TEST_F(DualInterfaces, TheLastReleaseMayComeAfterTheSession) {
  ComReference<FSLStartup> startup = Startup();
  session.reset();
  startup = {};
  SUCCEED();
}

TEST_F(DualInterfaces, CollectionsAreEnumerated) {
  const ComReference<FSLResults> results = Results();
  ComReference<IDispatch> outputs;
  ASSERT_EQ(results->get_Summary(outputs.Receive()), S_OK);
  ASSERT_EQ(Get(outputs.get(), "Count").value.Int(), 2);
  DISPPARAMS none{};
  Value found;
  ASSERT_EQ(outputs->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                            &found, nullptr, nullptr),
            S_OK);
  ComReference<IEnumVARIANT> items;
  V_UNKNOWN(&found)->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(items.Receive()));
  ASSERT_TRUE(items);
  std::vector<std::string> titles;
  for (Value item; items->Next(1, &item, nullptr) == S_OK; item = Value()) {
    titles.push_back(Get(item.Object().get(), "Title").value.Text());
  }
  ASSERT_EQ(titles.size(), 2u);
  EXPECT_THAT(titles[0], HasSubstr("yield"));
  EXPECT_THAT(titles[1], HasSubstr("grade"));
}

}  // namespace
}  // namespace velmora
