// The automation server from outside: the registered class, early binding through the type
// library's marshaller, the sample scripts, and the end of the server with its last object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
// Needs windows.h before it.
#include <tlhelp32.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "contract/com/type_information.h"
#include "module/resources/automation_tables.h"
#include "tests/com/com_support.h"
#include "tests/support/paths.h"
#include "workbench/session/session.h"
#include "workbench/system/text_windows.h"
#include "workbench/windows/server_windows.h"
// Made from the type library's source.
#include <vlmfsl.h>

namespace velmora {
namespace {

using namespace velmora::testing;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

struct Finished {
  DWORD exitCode = 99;
  std::string output;
};

Finished RunProgram(const std::wstring& commandLine) {
  const fs::path outputFile =
      fs::temp_directory_path() / ("velmora_test_" + std::to_string(GetCurrentProcessId()));
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const HANDLE output = CreateFileW(outputFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = start.hStdError = output;
  PROCESS_INFORMATION process{};
  std::wstring line = commandLine;
  Finished finished;
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) {
    WaitForSingleObject(process.hProcess, 120'000);
    GetExitCodeProcess(process.hProcess, &finished.exitCode);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  CloseHandle(output);
  std::ifstream text(outputFile, std::ios::binary);
  finished.output.assign(std::istreambuf_iterator<char>(text), {});
  text.close();
  fs::remove(outputFile);
  return finished;
}

std::wstring Quoted(const fs::path& path) { return L"\"" + path.wstring() + L"\""; }
const fs::path kSamples = fs::path(SourceDir()) / "samples";

int RunningServers() {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = Process32FirstW(all, &entry); more; more = Process32NextW(all, &entry)) {
    if (lstrcmpiW(entry.szExeFile, L"velmoraw.exe") == 0) ++count;
  }
  CloseHandle(all);
  return count;
}

// Under Wine the server of a killed client goes on running; the servers of earlier tests do not
// count.
bool ServersEnd(int atStart) {
  for (int attempt = 0; attempt < 200; ++attempt, Sleep(50)) {
    if (RunningServers() <= atStart) return true;
  }
  return false;
}

struct AutomationServer : ::testing::Test {
  AutomationServer() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const Finished registered = RunProgram(Quoted(VELMORA_COMMAND_PATH) + L" /regserver");
    EXPECT_EQ(registered.exitCode, 0u) << registered.output;
  }
  ~AutomationServer() override { CoUninitialize(); }

  const int serversAtStart = RunningServers();

  static ComReference<IDispatch> CreateApplication() {
    CLSID classId{};
    EXPECT_EQ(CLSIDFromProgID(Wide(kApplicationProgId).c_str(), &classId), S_OK);
    ComReference<IDispatch> application;
    EXPECT_EQ(CoCreateInstance(classId, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch,
                               reinterpret_cast<void**>(application.Receive())),
              S_OK);
    return application;
  }
};

TEST_F(AutomationServer, IsDrivenThroughTheTypeLibrarysMarshaller) {
  {
    const ComReference<IDispatch> application = CreateApplication();
    ASSERT_TRUE(application);
    EXPECT_EQ(Get(application.get(), "Name").value.Text(), "Velmora");
    const Called missing = Get(application.get(), "Open", {"no_such_file.csv"});
    EXPECT_EQ(missing.result, DISP_E_EXCEPTION);
    EXPECT_THAT(missing.description, HasSubstr("no_such_file.csv"));
    ASSERT_EQ(Get(application.get(), "Open", {(kSamples / "schools.csv").string().c_str()}).result, S_OK);

    // The proxy of a dual interface is made from the registered type library.
    const auto startup = Get(application.get(), "StartFeatureSelection").value.Object().As<FSLStartup>();
    ASSERT_TRUE(startup);
    EXPECT_EQ(startup->put_Variables(*Value("1 |  | 2-5 | ")), S_OK);
    EXPECT_EQ(startup->put_NumberOfCutsForContinuousPredictor(5), S_OK);
    BSTR text = nullptr;
    EXPECT_EQ(startup->get_Variables(&text), S_OK);
    EXPECT_EQ(Taken(text), "1 |  | 2-5 | ");
    int done = 0;
    EXPECT_EQ(startup->OK(&done), S_OK);
    EXPECT_EQ(done, 1);
    EXPECT_EQ(startup->get_Variables(&text), E_FAIL) << "the dialog is closed";

    const auto analysis = Get(application.get(), "Analyses", {1}).value.Object();
    const auto results = Get(analysis.get(), "ResultsDialog").value.Object().As<FSLResults>();
    ASSERT_TRUE(results);
    EXPECT_EQ(results->put_FixedPValueOfBestPredictors(0.125), S_OK);
    double criterion = 0;
    EXPECT_EQ(results->get_FixedPValueOfBestPredictors(&criterion), S_OK);
    EXPECT_EQ(criterion, 0.125);
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(results->get_BestContinuousPredictors(1, &array), S_OK);
    const std::vector<int> early = Taken(array);
    EXPECT_EQ(early.size(), 4u);
    EXPECT_EQ(Get(results.get(), "BestContinuousPredictors", {1}).value.Numbers(), early);
    const Called wrong = Get(results.get(), "BestContinuousPredictors", {2});
    EXPECT_EQ(wrong.code, 65535);
    EXPECT_EQ(wrong.description, "Cannot find the variable in dependent variable list");
    ComReference<IDispatch> outputs;
    EXPECT_EQ(results->get_Summary(outputs.Receive()), S_OK);
    EXPECT_EQ(Get(outputs.get(), "Count").value.Int(), 1);
  }
  EXPECT_TRUE(ServersEnd(serversAtStart)) << "the last reference has gone";
}

bool KeyExists(const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

// The keys that a registration writes: the class, its name, both type libraries, an interface of
// each.
std::vector<std::wstring> RegisteredKeys() {
  std::vector<std::wstring> keys = {L"Velmora.Application", L"CLSID\\" + Wide(kApplicationClassId),
                                    L"TypeLib\\" + Wide(kObjectLibraryId),
                                    L"TypeLib\\" + Wide(vlmfsl::kLibraryId)};
  const auto addId = [&](const wchar_t* parent, const GUID& id) {
    wchar_t text[64] = {};
    StringFromGUID2(id, text, 64);
    keys.push_back(parent + std::wstring(text));
  };
  addId(L"Interface\\", __uuidof(FSLStartup));
  addId(L"Interface\\", vlmcom::InterfaceIdOf(*ObjectModel().front()));
  for (std::wstring& key : keys) key.insert(0, L"Software\\Classes\\");
  return keys;
}

TEST_F(AutomationServer, RegistrationIsWholeOrAbsent) {
  for (const std::wstring& key : RegisteredKeys()) EXPECT_TRUE(KeyExists(key)) << Utf8Of(key);
  EXPECT_EQ(RunProgram(Quoted(VELMORA_COMMAND_PATH) + L" /unregserver").exitCode, 0u);
  for (const std::wstring& key : RegisteredKeys()) EXPECT_FALSE(KeyExists(key)) << Utf8Of(key);
  EXPECT_EQ(RunProgram(Quoted(VELMORA_COMMAND_PATH) + L" /unregserver").exitCode, 0u) << "nothing to remove";
  // An analysis registers nothing.
  const std::wstring data = Quoted(kSamples / "schools.csv");
  EXPECT_EQ(RunProgram(Quoted(VELMORA_COMMAND_PATH) + L" feature-selection " + data +
                       L" --dependents api2000 --quiet")
                .exitCode,
            0u);
  // Nor does a registration that fails: here without a module that can be loaded.
  SetEnvironmentVariableW(L"VELMORA_MODULE", (kSamples / "schools.csv").c_str());
  const Finished failed = RunProgram(Quoted(VELMORA_COMMAND_PATH) + L" /regserver");
  SetEnvironmentVariableW(L"VELMORA_MODULE", nullptr);
  EXPECT_EQ(failed.exitCode, 1u);
  EXPECT_THAT(failed.output, HasSubstr("schools.csv"));
  for (const std::wstring& key : RegisteredKeys()) EXPECT_FALSE(KeyExists(key)) << Utf8Of(key);
}

TEST_F(AutomationServer, GivesReportsAndTheScriptOfARun) {
  const fs::path folder = fs::temp_directory_path() / "velmora_test_results";
  fs::remove_all(folder);
  std::string script;
  {
    const ComReference<IDispatch> application = CreateApplication();
    ASSERT_TRUE(application);
    ASSERT_EQ(Get(application.get(), "Open", {(kSamples / "schools.csv").string().c_str()}).result, S_OK);
    const auto startup = Get(application.get(), "StartFeatureSelection").value.Object();
    ASSERT_EQ(Put(startup.get(), "Variables", "1 |  | 2-5 | ").result, S_OK);
    ASSERT_EQ(Get(startup.get(), "OK").value.Int(), 1);
    const auto analysis = Get(application.get(), "Analyses", {1}).value.Object();
    const Called json = Get(analysis.get(), "Results", {"json"});
    EXPECT_EQ(json.result, S_OK) << json.description;
    EXPECT_THAT(json.value.Text(), HasSubstr("\"dependents\""));
    EXPECT_THAT(Get(analysis.get(), "Results", {"csv"}).value.Text(), HasSubstr("predictor"));
    const Called written = Get(analysis.get(), "WriteResults", {folder.string().c_str(), "json, html"});
    EXPECT_EQ(written.result, S_OK) << written.description;
    EXPECT_TRUE(fs::exists(folder / "feature_selection.json"));
    EXPECT_TRUE(fs::exists(folder / "feature_selection.html"));
    const Called wrong = Get(analysis.get(), "Results", {"pdf"});
    EXPECT_EQ(wrong.result, DISP_E_EXCEPTION);
    EXPECT_THAT(wrong.description, HasSubstr("pdf"));
    script = Get(analysis.get(), "SettingsScript").value.Text();
  }
  // The script is one that the system runs, and it repeats the run.
  const fs::path file = fs::temp_directory_path() / "velmora_test_settings.vbs";
  std::ofstream(file, std::ios::binary) << script;
  const Finished finished = RunProgram(L"cscript.exe //nologo " + Quoted(file));
  EXPECT_THAT(finished.output, HasSubstr("api1999")) << script;
  fs::remove(file);
  fs::remove_all(folder);
}

TEST_F(AutomationServer, SampleScriptsRun) {
  struct Row {
    const wchar_t* arguments;
    std::vector<const char*> output;
  };
  const fs::path report = fs::temp_directory_path() / "velmora_test_report.html";
  const Row rows[] = {
      {L"feature_selection.vbs house_prices.csv price",
       {"price", "Best categorical predictors: aircon, bathrooms"}},
      {L"screening.vbs german_credit.csv risk good bad", {"Importance: risk", "checking_account"}},
  };
  fs::current_path(kSamples);
  for (const Row& row : rows) {
    fs::remove(report);
    const Finished finished =
        RunProgram(std::wstring(L"cscript.exe //nologo ") + row.arguments + L" " + Quoted(report));
    for (const char* text : row.output) EXPECT_THAT(finished.output, HasSubstr(text)) << finished.exitCode;
    EXPECT_TRUE(fs::exists(report)) << row.arguments;
  }
  fs::remove(report);
  // Does not check that the servers end: the script host of Wine sometimes ends without its last
  // Release.
}

}  // namespace
}  // namespace velmora
