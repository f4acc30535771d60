// Automation objects of the C interface: values in both directions, failures, lifetimes of handles.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "include/velmora.h"
#include "tests/cli/process.h"
#include "tests/support/paths.h"

namespace velmora {
namespace {

using nlohmann::json;
using velmora::testing::RunVelmora;
using velmora::testing::Sample;

// text must outlive the value.
velmora_value Text(std::string_view text) {
  velmora_value value{};
  value.type = VELMORA_TEXT;
  value.length = static_cast<std::int64_t>(text.size());
  value.as.text = text.data();
  return value;
}
velmora_value Integer(std::int64_t integer) {
  velmora_value value{};
  value.type = VELMORA_INTEGER;
  value.as.integer = integer;
  return value;
}
velmora_value Real(double real) {
  velmora_value value{};
  value.type = VELMORA_REAL;
  value.as.real = real;
  return value;
}
velmora_value Array(const std::vector<velmora_value>& items) {
  velmora_value value{};
  value.type = VELMORA_ARRAY;
  value.length = static_cast<std::int64_t>(items.size());
  value.as.items = items.data();
  return value;
}
velmora_value ObjectValue(velmora_object* object) {
  velmora_value value{};
  value.type = VELMORA_OBJECT;
  value.as.object = object;
  return value;
}

// A session with its application; the session may end before the objects.
struct Objects : ::testing::Test {
  Objects() { session = Open(); }
  ~Objects() override {
    velmora_object_free(application);
    velmora_close(session);
  }
  static velmora_session* Open() {
    velmora_session* opened = nullptr;
    const std::string options = json{{"module", ModulePath()}}.dump();
    EXPECT_EQ(velmora_open(&opened, options.c_str()), VELMORA_OK) << velmora_last_error(nullptr);
    return opened;
  }
  void Start(const char* options = R"({"quiet": true})") {
    ASSERT_EQ(velmora_application(session, options, &application), VELMORA_OK) << velmora_last_error(session);
  }
  std::string Failure() const { return velmora_last_error(session); }

  velmora_value Get(velmora_object* object, const char* member) const {
    velmora_value value{};
    EXPECT_EQ(velmora_object_get(object, member, &value), VELMORA_OK) << Failure();
    return value;
  }
  velmora_value Call(velmora_object* object, const char* member,
                     const std::vector<velmora_value>& arguments) const {
    velmora_value value{};
    EXPECT_EQ(velmora_object_call(object, member, arguments.data(), arguments.size(), &value), VELMORA_OK)
        << Failure();
    return value;
  }
  void Put(velmora_object* object, const char* member, const velmora_value& value) const {
    EXPECT_EQ(velmora_object_put(object, member, &value), VELMORA_OK) << Failure();
  }
  velmora_object* OpenCredit() const {
    return Call(application, "Open", {Text(Sample("german_credit.csv"))}).as.object;
  }

  velmora_session* session = nullptr;
  velmora_object* application = nullptr;
};

TEST_F(Objects, RunAnAnalysisAsTheCommandDoes) {
  Start();
  velmora_object* const data = OpenCredit();
  EXPECT_STREQ(velmora_object_interface(data), "InputSpreadsheet");
  EXPECT_EQ(Get(data, "casecount").as.integer, 1000);
  velmora_object* const analyses = Get(application, "Analyses").as.object;
  velmora_object* const analysis = Call(analyses, "Add", {Text("Feature selection")}).as.object;
  velmora_object* const startup = Get(analysis, "StartupDialog").as.object;

  const std::vector<velmora_value> dependents = {Text("risk")}, continuous = {Integer(14), Text("amount")},
                                   categorical = {Text("purpose")};
  const std::vector<velmora_value> lists = {Array({}), Array(dependents), Array(continuous),
                                            Array(categorical)};
  Put(startup, "Variables", Array(lists));
  EXPECT_EQ(Call(analysis, "Run", {}).as.integer, 1);
  const velmora_value text = Call(analysis, "Results", {Text("json")});
  ASSERT_EQ(text.type, VELMORA_TEXT);
  json made = json::parse(std::string(text.as.text, static_cast<std::size_t>(text.length)));
  json expected = json::parse(
      RunVelmora({"feature-selection", Sample("german_credit.csv"), "--classic", "--dependents", "risk",
                  "--predictors", "age", "amount", "purpose", "--format", "json", "--quiet"})
          .out);
  EXPECT_EQ(made["dependents"], expected["dependents"]);
  EXPECT_FALSE(made["dependents"].empty());

  // A collection, item by item; a closed dialog is nothing.
  velmora_object* const results = Get(analysis, "ResultsDialog").as.object;
  velmora_object* const summary = Get(results, "Summary").as.object;
  ASSERT_EQ(Get(summary, "Count").as.integer, 1);
  velmora_object* const sheet = Call(summary, "Item", {Integer(1)}).as.object;
  EXPECT_EQ(Get(sheet, "RowCount").as.integer, 3);
  EXPECT_EQ(Get(analysis, "StartupDialog").type, VELMORA_EMPTY);
  for (velmora_object* const object : {data, analyses, analysis, startup, results, summary, sheet})
    velmora_object_free(object);
}

TEST_F(Objects, DescribeTheirMembers) {
  Start();
  const char* text = nullptr;
  ASSERT_EQ(velmora_object_members(application, &text), VELMORA_OK);
  const json shown = json::parse(text);
  EXPECT_EQ(shown["name"], "Application");
  json members;
  for (const json& member : shown["members"]) members[member["name"].get<std::string>()] = member;
  EXPECT_EQ(members["OpenText"]["arguments"], json({"FileName", "Delimiter", "MissingTexts"}));
  EXPECT_EQ(members["OpenText"]["call"], true);
  EXPECT_EQ(members["PruneTrees"], json::parse(R"({"name": "PruneTrees", "signature": "PruneTrees: int",
      "help": "1: splits that are no better than chance are pruned", "arguments": [], "call": false,
      "read": true, "write": true})"));
  EXPECT_EQ(members["Name"]["write"], false);
}

// Numbers and texts come back to the last bit; what is empty stays empty.
TEST_F(Objects, ValuesSurviveBothWays) {
  Start();
  std::string csv = "a,b\n";
  for (int i = 0; i < 6; ++i) csv += std::to_string(i) + ",x\n";
  const velmora::testing::TemporaryFolder folder;
  velmora_object* const data = Call(application, "Open", {Text(folder.Write("six.csv", csv))}).as.object;
  const double kept[] = {0.1, -0.0, std::numeric_limits<double>::denorm_min(), 1e308, 9007199254740992.0};
  std::vector<velmora_value> values;
  for (const double number : kept) values.push_back(Real(number));
  values.push_back(velmora_value{});
  EXPECT_EQ(Call(data, "AddVariable",
                 {Text("gr\xC3\xB6\xC3\x9F"
                       "e"),
                  Array(values)})
                .as.integer,
            3);
  velmora_object* const variables = Get(data, "Variables").as.object;
  velmora_object* const variable = Call(variables, "Item", {Integer(3)}).as.object;
  const velmora_value name = Get(variable, "Name");
  EXPECT_STREQ(name.as.text,
               "gr\xC3\xB6\xC3\x9F"
               "e");
  const velmora_value read = Get(variable, "Values");
  ASSERT_EQ(read.type, VELMORA_ARRAY);
  ASSERT_EQ(read.length, 6);
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(read.as.items[i].type, VELMORA_REAL);
    EXPECT_EQ(std::memcmp(&read.as.items[i].as.real, &kept[i], sizeof(double)), 0) << kept[i];
  }
  EXPECT_EQ(read.as.items[5].type, VELMORA_EMPTY);
  const velmora_value numbers = Call(data, "VariableNumbers", {Array({Text("b"), Integer(1)})});
  ASSERT_EQ(numbers.length, 2);
  EXPECT_EQ(numbers.as.items[0].as.integer, 2);
  for (velmora_object* const object : {data, variables, variable}) velmora_object_free(object);
}

TEST_F(Objects, SayWhatIsWrong) {
  Start();
  velmora_object* const data = OpenCredit();
  velmora_session* const elsewhere = Open();
  velmora_object* foreign = nullptr;
  ASSERT_EQ(velmora_application(elsewhere, nullptr, &foreign), VELMORA_OK);
  velmora_value unknownType{}, negative = Text("abc"), nothing = Text("abc");
  unknownType.type = 77;
  negative.length = -1;
  nothing.as.text = nullptr;
  const struct Row {
    velmora_object* object;
    const char *use, *member;
    std::vector<velmora_value> values;
    int code;
    const char* sentence;
  } rows[] = {
      {application,
       "get",
       "Wrkbook",
       {},
       VELMORA_BAD_USE,
       "Application has no member Wrkbook; did you mean Workbook?"},
      {application, "put", "Name", {Text("x")}, VELMORA_BAD_USE, "Application.Name cannot be set."},
      {application,
       "get",
       "Open",
       {},
       VELMORA_BAD_USE,
       "Application.Open is called: Open(FileName) -> object."},
      {application,
       "call",
       "Name",
       {},
       VELMORA_BAD_USE,
       "Application.Name is not called: Name: str, read only."},
      {data,
       "call",
       "Value",
       {Integer(1)},
       VELMORA_BAD_USE,
       "InputSpreadsheet.Value(Case, Variable) takes 2 arguments, 1 given."},
      {data,
       "call",
       "Value",
       {Integer(0), Integer(1)},
       VELMORA_FAILED,
       "InputSpreadsheet.Value: There is no case 0; there are 1000."},
      {data,
       "call",
       "Value",
       {ObjectValue(foreign), Integer(1)},
       VELMORA_BAD_USE,
       "An object of another session cannot be passed."},
      {data,
       "call",
       "Value",
       {ObjectValue(nullptr), Integer(1)},
       VELMORA_BAD_USE,
       "The argument object of a value is null."},
      {data, "call", "VariableNumber", {Text("\xFF")}, VELMORA_BAD_USE, "A text of a value is not UTF-8."},
      {data, "call", "VariableNumber", {negative}, VELMORA_BAD_USE, "The length of a value is -1."},
      {data, "call", "VariableNumber", {nothing}, VELMORA_BAD_USE, "A value with a length has no content."},
      {data, "call", "VariableNumber", {unknownType}, VELMORA_BAD_USE, "There is no type of values 77."},
      {data,
       "put",
       "CaseWeight",
       {Integer((std::int64_t{1} << 53) + 1)},
       VELMORA_BAD_USE,
       "A whole number beyond 2 to the power of 53 cannot be passed exactly."},
      {nullptr, "get", "Name", {}, VELMORA_BAD_USE, "The argument object is null."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.use) + " " + row.member + ": " + row.sentence);
    velmora_value given{};
    const std::string use = row.use;
    const int code = use == "get"   ? velmora_object_get(row.object, row.member, &given)
                     : use == "put" ? velmora_object_put(row.object, row.member, row.values.data())
                                    : velmora_object_call(row.object, row.member, row.values.data(),
                                                          row.values.size(), &given);
    EXPECT_EQ(code, row.code);
    EXPECT_STREQ(velmora_last_error(row.object == nullptr ? nullptr : session), row.sentence);
    const char *member = nullptr, *reason = nullptr;
    std::int32_t number = 0;
    const bool failed = velmora_object_failure(row.object, &member, &reason, &number) == VELMORA_OK;
    EXPECT_EQ(failed, row.code == VELMORA_FAILED);
    if (!failed) continue;
    EXPECT_EQ(std::string(member) + ": " + reason, row.sentence);
    EXPECT_NE(number, 0);
  }
  // Arrays that are nested without end.
  velmora_value loop[1];
  loop[0] = velmora_value{VELMORA_ARRAY, 0, 1, {.items = loop}};
  EXPECT_EQ(velmora_object_call(data, "VariableNumbers", loop, 1, nullptr), VELMORA_BAD_USE);
  EXPECT_EQ(Failure(), "Arrays are nested too deeply.");

  velmora_object* again = nullptr;
  EXPECT_EQ(velmora_application(session, R"({"quiet": false})", &again), VELMORA_OK) << "false is no option";
  velmora_object_free(again);
  EXPECT_EQ(velmora_application(session, R"({"quiet": true})", &again), VELMORA_BAD_USE);
  EXPECT_NE(Failure().find("started already"), std::string::npos) << Failure();
  velmora_close(elsewhere);
  velmora_object_free(foreign);
  velmora_object_free(data);
}

TEST_F(Objects, TheApplicationBeginsWithTheTableOfTheSession) {
  ASSERT_EQ(velmora_read_file(session, Sample("german_credit.csv").c_str(), nullptr), VELMORA_OK)
      << Failure();
  Start();
  velmora_object* const data = Get(application, "InputSpreadsheet").as.object;
  EXPECT_EQ(Get(data, "VariableCount").as.integer, 21);
  EXPECT_EQ(Call(data, "VariableNumber", {Text("age")}).as.integer, 14);
  const velmora_value kind = Call(data, "Measurement", {Integer(1)});
  EXPECT_STREQ(kind.as.text, "categorical");
  velmora_result* result = nullptr;
  EXPECT_EQ(velmora_run(session, "feature-selection", R"({"dependents": ["risk"]})", &result),
            VELMORA_BAD_USE)
      << "the table is the application's";
  velmora_object_free(data);

  velmora_session* const wrong = Open();
  velmora_object* none = nullptr;
  for (const char* const options :
       {R"({"module": "x.so"})", R"({"decimal-separator": "15"})", R"({"loud": true})"})
    EXPECT_EQ(velmora_application(wrong, options, &none), VELMORA_BAD_USE) << options;
  velmora_close(wrong);
}

// Objects may be freed late, in any order, on another thread, and after their session.
TEST_F(Objects, HandlesMayEndAnywhere) {
  Start();
  velmora_object* const data = OpenCredit();
  std::atomic<bool> ends = false;
  std::vector<velmora_object*> passed(64, nullptr);
  std::atomic<std::size_t> made = 0;
  std::thread other([&] {
    for (std::size_t freed = 0; freed < passed.size();) {
      if (freed < made) velmora_object_free(passed[freed++]);
    }
    ends = true;
  });
  for (std::size_t index = 0; index < passed.size(); ++index) {
    passed[index] = Get(data, "Variables").as.object;
    made = index + 1;
  }
  while (!ends) EXPECT_EQ(Get(data, "CaseCount").as.integer, 1000);
  other.join();

  velmora_object* const variables = Get(data, "Variables").as.object;
  velmora_object* const startup = Call(application, "StartScreening", {}).as.object;
  velmora_value variable = Call(variables, "Item", {Text("age")});
  velmora_object_free(variables);
  EXPECT_EQ(Get(variable.as.object, "Number").as.integer, 14) << "an item needs no collection";
  velmora_object_free(application);
  application = nullptr;
  velmora_close(std::exchange(session, nullptr));
  velmora_value value{};
  for (velmora_object* const object : {data, startup, variable.as.object}) {
    EXPECT_EQ(velmora_object_get(object, "Name", &value), VELMORA_FAILED);
    EXPECT_NE(velmora_object_interface(object)[0], '\0');
    velmora_object_free(object);
  }
  velmora_object_free(nullptr);
}

// Each application has an image of the module, so sessions work side by side.
TEST_F(Objects, ApplicationsAreIndependent) {
  Start();
  velmora_object* const data = OpenCredit();
  velmora_session* const second = Open();
  velmora_object* other = nullptr;
  ASSERT_EQ(velmora_application(second, nullptr, &other), VELMORA_OK) << velmora_last_error(second);
  velmora_value startups[2], spreadsheet{};
  ASSERT_EQ(velmora_object_call(other, "StartFeatureSelection", nullptr, 0, &startups[0]), VELMORA_OK)
      << velmora_last_error(second);
  startups[1] = Call(application, "StartFeatureSelection", {});
  ASSERT_EQ(velmora_object_get(other, "InputSpreadsheet", &spreadsheet), VELMORA_OK);
  velmora_value count{};
  ASSERT_EQ(velmora_object_get(spreadsheet.as.object, "CaseCount", &count), VELMORA_OK);
  EXPECT_EQ(count.as.integer, 0);
  EXPECT_EQ(Get(data, "CaseCount").as.integer, 1000);
  for (velmora_object* const object :
       {data, other, startups[0].as.object, startups[1].as.object, spreadsheet.as.object})
    velmora_object_free(object);
  velmora_close(second);
}

}  // namespace
}  // namespace velmora
