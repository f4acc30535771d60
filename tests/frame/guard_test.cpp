// The error path of an exception: the script, the log and the crash-report library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "module/frame/dispatch.h"
#include "module/frame/error_report.h"
#include "module/frame/guarded.h"
#include "module/resources/automation_tables.h"
#include "tests/frame/error_home.h"
#include "tests/frame/host_process.h"
#include "tests/support/automation_values.h"
#include "workbench/system/system.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class GuardTest : public ::testing::Test {
 protected:
  void SetUp() override { Process() = {}; }

  const ErrorHome home_;
};

// Loaded here, the library is found by its name.
class FakeCrashLibrary {
 public:
  FakeCrashLibrary() : handle_(velmora::LoadSharedLibrary(velmora::PathOf(VELMORA_CRASH_RPT_PATH), error_)) {
    Call<void>("ForgetCrashReportCalls");
  }
  ~FakeCrashLibrary() { velmora::UnloadSharedLibrary(handle_); }
  std::string Calls() const { return Call<const char*>("CrashReportCalls"); }

 private:
  template <typename Result>
  Result Call(const char* name) const {
    return reinterpret_cast<Result (*)()>(velmora::FindFunction(handle_, name))();
  }
  std::string error_;
  void* handle_;
};

TEST_F(GuardTest, EachExceptionHasItsEnd) {
  struct Row {
    const char* name;
    void (*throws)();
    int status;
    std::string error, logged;
  };
  const std::string prefix = "1 0 Exception in automation method [CTest::get_It]: ";
  const Row rows[] = {
      {"none", [] {}, vlm::kDispatchOk, "", ""},
      {"for the script", [] { throw AutomationException("wrong variable"); }, vlm::kDispatchException,
       "65535: wrong variable", prefix + "wrong variable"},
      {"of the library", [] { throw std::runtime_error("it broke"); }, vlm::kDispatchFailed,
       "65535: it broke", prefix + "it broke"},
      {"of another kind", [] { throw 7; }, vlm::kDispatchFailed, "65535: Unexpected error",
       prefix + "Unexpected error"},
      {"percent signs", [] { throw std::runtime_error("100 %s"); }, vlm::kDispatchFailed, "65535: 100 %s",
       prefix + "100 %s"},
      {"closed", [] { throw DialogClosedException(); }, vlm::kDispatchFailed, "65535: The dialog is closed.",
       prefix + "The dialog is closed."},
      {"wrong type", [] { throw TypeMismatchException(); }, vlm::kDispatchTypeMismatch, "",
       prefix + "Type mismatch."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Process().logCache.clear();
    Answer answer;
    EXPECT_EQ(Guarded("CTest::get_It", &answer, [&] { row.throws(); }), row.status);
    EXPECT_EQ(answer.error, row.error);
    EXPECT_EQ(Process().logCache,
              row.logged.empty() ? std::vector<std::string>{} : std::vector<std::string>{row.logged});
  }
}

TEST_F(GuardTest, ComputingAccessorsLogOnlyWhereTheApplicationListens) {
  struct Row {
    bool application, on;
    std::size_t entries;
  };
  for (const Row row : {Row{false, false, 0}, Row{true, false, 0}, Row{true, true, 2}}) {
    Process() = {};
    Process().hasApplication = row.application;
    Process().applicationLogOn = row.on;
    Answer answer;
    EXPECT_EQ(GuardedAnalysisMethod(&answer, [] { throw std::runtime_error("no memory"); }),
              vlm::kDispatchFailed);
    EXPECT_EQ(GuardedAnalysisMethod(&answer, [] { throw 1; }), vlm::kDispatchFailed);
    EXPECT_THAT(Process().logCache, IsEmpty());
    ASSERT_EQ(Process().applicationLog.size(), row.entries);
    if (row.entries == 0) continue;
    EXPECT_THAT(Process().applicationLog, ElementsAre("1 0 Exception in analysis method: no memory",
                                                      "1 0 Exception in analysis method: Unexpected error"));
  }
}

TEST_F(GuardTest, AnUnexpectedErrorLeavesAReportInTheErrorFolder) {
  const FakeCrashLibrary library;
  Answer answer;
  Process().hasApplication = Process().applicationLogOn = true;
  EXPECT_EQ(Guarded("CTest::put_It", &answer, [] { throw std::runtime_error("bad block"); }),
            vlm::kDispatchFailed);
  const std::string folder = home_.Folder();
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_EQ(library.Calls(), "StackTrace 0 9999 0 context 0\nReport 0 " + folder +
                                 " exception Exception in automation method [CTest::put_It]: bad block\n");
  EXPECT_THAT(Process().applicationLog,
              ElementsAre("1 0 Exception in automation method [CTest::put_It]: bad block",
                          "1 0 Process dump was generated in [" + folder + "]"));
}

TEST_F(GuardTest, AnswersToTheScriptLeaveNoReport) {
  const FakeCrashLibrary library;
  Answer answer;
  EXPECT_EQ(Guarded("CTest::put_It", &answer, [] { throw AutomationException("wrong"); }),
            vlm::kDispatchException);
  EXPECT_EQ(Guarded("CTest::put_It", &answer, [] { throw TypeMismatchException(); }),
            vlm::kDispatchTypeMismatch);
  EXPECT_EQ(Guarded("CTest::put_It", &answer, [] { throw DialogClosedException(); }), vlm::kDispatchFailed);
  EXPECT_EQ(library.Calls(), "");
}

TEST_F(GuardTest, ACommandSaysWhyItFailed) {
  struct Row {
    const char* name;
    void (*throws)();
    bool done;
    std::string reason;
  };
  const Row rows[] = {{"none", [] {}, true, ""},
                      {"memory", [] { throw std::bad_alloc(); }, false, ""},
                      {"refused", [] { throw AutomationException("no such code"); }, false, "no such code"},
                      {"of another kind", [] { throw 7; }, false, "Unexpected error"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Process().logCache.clear();
    const CommandOutcome outcome = GuardedCommand("CTest", [&] { row.throws(); });
    EXPECT_EQ(outcome.done, row.done);
    EXPECT_EQ(outcome.reason, row.reason);
    EXPECT_EQ(Process().logCache.empty(), row.done);
  }
}

TEST_F(GuardTest, NoCrashLibraryIsTakenFromTheCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(velmora::PathOf(VELMORA_CRASH_RPT_PATH).parent_path());
  EXPECT_FALSE(GenerateCrashReport(home_.Folder(), nullptr, "bad block"));
  std::filesystem::current_path(before);
}

// --- The dispatch layer over a member table of its own

constexpr vlm::AutomationMember kMembers[] = {
    {10, "Level", vlm::kInvokeGet | vlm::kInvokePut, vlm::kAutomationInt, vlm::kAutomationInt, 0, 0, nullptr,
     "", ""},
    {12, "Share", vlm::kInvokePut, 0, vlm::kAutomationReal, 0, 0, nullptr, nullptr, ""},
    {13, "Label", vlm::kInvokePut, 0, vlm::kAutomationText, 0, 0, nullptr, nullptr, ""},
    {14, "Square", vlm::kInvokeGet, vlm::kAutomationInt, 0, 1, vlm::kAutomationInt, "Of", "", nullptr},
    {15, "Reset", vlm::kInvokeMethod, 0, 0, 0, 0, nullptr, "", nullptr},
};
constexpr vlm::AutomationInterface kTestInterface = {"Test", "", &kVlmAnalysisDialog, kMembers, 5};

class TestObject final : public AutomationDispatch {
 public:
  TestObject() : AutomationDispatch(kTestInterface, "CTest") {}
  virtual ~TestObject() = default;
  void AddReference() override {}
  void ReleaseReference() override {}
  std::string heard;

 private:
  void Call(const AutomationCall& call) override {
    static constexpr MemberHandler<TestObject> kHandlers[] = {
        {10, &TestObject::GetLevel, &TestObject::PutLevel},
        {12, nullptr, &TestObject::PutShare},
        {13, nullptr, &TestObject::PutLabel},
        {14, &TestObject::GetSquare, nullptr},
        {15, &TestObject::Reset, nullptr},
    };
    CallHandler<TestObject>(kHandlers, *this, call);
  }
  void GetLevel(const AutomationCall& call) { call.result.SetInt(5); }
  void PutLevel(const AutomationCall& call) { heard = std::to_string(call.Int()); }
  void PutShare(const AutomationCall& call) { heard = std::to_string(call.Real()); }
  void PutLabel(const AutomationCall& call) { heard = ToText(call.Value()); }
  void GetSquare(const AutomationCall& call) { call.result.SetInt(call.Int() * call.Int()); }
  void Reset(const AutomationCall&) { heard = "reset"; }
};

// Inherited members are the host's; here they fail.
class FailingBase final : public AutomationDispatch {
 public:
  FailingBase() : AutomationDispatch(kTestInterface, "CTest") {}
  virtual ~FailingBase() = default;
  void AddReference() override {}
  void ReleaseReference() override {}

 private:
  void Call(const AutomationCall&) override {}
  int InvokeInherited(int, int, const vlm::AutomationValue*, int, vlm::IAutomationResult*) override {
    throw std::runtime_error("it broke");
  }
};

TEST_F(GuardTest, InheritedMembersAreLoggedWithTheirClass) {
  struct Row {
    const char* member;
    int kind;
    const char* logged;
  };
  const Row rows[] = {{"OK", vlm::kInvokeMethod, "CTest::OK"},
                      {"Name", vlm::kInvokeGet | vlm::kInvokeMethod, "CTest::get_Name"},
                      {"ResultsCodes", vlm::kInvokePut, "CTest::put_ResultsCodes"}};
  for (const Row& row : rows) {
    Process().logCache.clear();
    FailingBase object;
    Answer answer;
    EXPECT_EQ(CallByName(object, row.member, row.kind, {}, answer), vlm::kDispatchFailed);
    EXPECT_THAT(Process().logCache, ElementsAre(std::string("1 0 Exception in automation method [") +
                                                row.logged + "]: it broke"));
  }
}

TEST(Dispatch, CallsByNameConvertAndCount) {
  struct Row {
    const char* name;
    int kind;
    std::vector<vlm::AutomationValue> arguments;
    int status;
    std::string answer, heard;
  };
  const Row rows[] = {
      {"level", vlm::kInvokeGet, {}, vlm::kDispatchOk, "5", ""},
      {"LEVEL", vlm::kInvokePut, {IntValue(-3)}, vlm::kDispatchOk, "", "-3"},
      {"Level", vlm::kInvokePut, {RealValue(2.5)}, vlm::kDispatchOk, "", "2"},
      {"Level", vlm::kInvokePut, {RealValue(3.5)}, vlm::kDispatchOk, "", "4"},
      {"Level", vlm::kInvokePut, {TextValue(" 7 ")}, vlm::kDispatchOk, "", "7"},
      {"Level", vlm::kInvokePut, {TextValue("7x")}, vlm::kDispatchTypeMismatch, "", ""},
      {"Level", vlm::kInvokePut, {TextValue("")}, vlm::kDispatchTypeMismatch, "", ""},
      {"Level", vlm::kInvokePut, {RealValue(3e9)}, vlm::kDispatchTypeMismatch, "", ""},
      {"Level", vlm::kInvokePut, {ArrayValue({})}, vlm::kDispatchTypeMismatch, "", ""},
      {"Level", vlm::kInvokePut, {}, vlm::kDispatchBadParameterCount, "", ""},
      {"Level", vlm::kInvokeMethod, {}, vlm::kDispatchMemberNotFound, "", ""},
      {"Share", vlm::kInvokePut, {IntValue(2)}, vlm::kDispatchOk, "", "2.000000"},
      {"Share", vlm::kInvokePut, {TextValue("1e-2")}, vlm::kDispatchOk, "", "0.010000"},
      {"Share", vlm::kInvokePut, {TextValue("0,5")}, vlm::kDispatchTypeMismatch, "", ""},
      {"Share", vlm::kInvokeGet, {}, vlm::kDispatchMemberNotFound, "", ""},
      {"Label", vlm::kInvokePut, {RealValue(0.1)}, vlm::kDispatchOk, "", "0.1"},
      {"Square", vlm::kInvokeGet, {IntValue(4)}, vlm::kDispatchOk, "16", ""},
      {"Square", vlm::kInvokeGet | vlm::kInvokeMethod, {IntValue(4)}, vlm::kDispatchOk, "16", ""},
      {"Square", vlm::kInvokeGet, {}, vlm::kDispatchBadParameterCount, "", ""},
      {"Reset", vlm::kInvokeMethod, {}, vlm::kDispatchOk, "", "reset"},
      // Inherited, and not served.
      {"Name", vlm::kInvokeGet, {}, vlm::kDispatchMemberNotFound, "", ""},
      {"Levels", vlm::kInvokeGet, {}, vlm::kDispatchMemberNotFound, "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TestObject object;
    Answer answer;
    EXPECT_EQ(CallByName(object, row.name, row.kind, row.arguments, answer), row.status);
    EXPECT_EQ(answer.text, row.answer);
    EXPECT_EQ(object.heard, row.heard);
  }
  TestObject object;
  EXPECT_EQ(object.Invoke(14, vlm::kInvokeGet, nullptr, 0, nullptr), vlm::kDispatchBadParameterCount);
  EXPECT_EQ(object.Invoke(10, vlm::kInvokeGet, nullptr, 0, nullptr), vlm::kDispatchOk)
      << "nobody wants the answer";
}

}  // namespace
}  // namespace vlmfsl::testing
