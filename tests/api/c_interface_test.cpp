// The C interface as another program uses it: the command's figures, errors, threads, bins.
#include "include/velmora.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "tests/cli/process.h"
#include "tests/support/paths.h"
#include "tests/support/survey_file.h"
#include "workbench/api/arrow_export.h"
#include "workbench/data/readers.h"

namespace velmora {
namespace {

using nlohmann::json;
using velmora::testing::RunVelmora;
using velmora::testing::Sample;
using velmora::testing::SurveyFile;
using velmora::testing::TemporaryFolder;

constexpr char kScreenOptions[] = R"({"binary-response": "risk", "good": "good", "bad": "bad"})";

// Handles that free themselves; a failed call fails the test.
class OpenSession {
 public:
  OpenSession() {
    const std::string options = json{{"module", ModulePath()}}.dump();
    EXPECT_EQ(velmora_open(&session_, options.c_str()), VELMORA_OK) << velmora_last_error(nullptr);
  }
  ~OpenSession() { velmora_close(session_); }
  OpenSession(const OpenSession&) = delete;
  OpenSession& operator=(const OpenSession&) = delete;

  void Read(const std::string& path, const char* options = nullptr) const {
    EXPECT_EQ(velmora_read_file(session_, path.c_str(), options), VELMORA_OK) << velmora_last_error(session_);
  }
  velmora_result* Run(const char* analysis, const std::string& options) const {
    velmora_result* result = nullptr;
    EXPECT_EQ(velmora_run(session_, analysis, options.c_str(), &result), VELMORA_OK)
        << velmora_last_error(session_);
    return result;
  }
  // The JSON of a run; the result is freed.
  std::string RunJson(const char* analysis, const std::string& options) const;
  velmora_session* Get() const { return session_; }

 private:
  velmora_session* session_ = nullptr;
};

std::string TextOf(velmora_result* result, const char* format) {
  const char* text = nullptr;
  std::size_t length = 0;
  EXPECT_EQ(velmora_result_text(result, format, &text, &length), VELMORA_OK) << format;
  return text == nullptr ? "" : std::string(text, length);
}

std::string OpenSession::RunJson(const char* analysis, const std::string& options) const {
  velmora_result* const result = Run(analysis, options);
  std::string text = TextOf(result, "json");
  velmora_result_free(result);
  return text;
}

// What the command writes, with the file's name as a table in memory has it.
std::string CommandJson(std::vector<std::string> words, bool ofFile) {
  words.insert(words.end(), {"--format", "json", "--quiet"});
  json made = json::parse(RunVelmora(words).out);
  made["run"].erase("provenance");
  if (!ofFile) made["run"]["dataFile"] = nullptr;
  // Only a command has provenance.
  if (made["run"].contains("provenance")) made["run"]["provenance"] = nullptr;
  return made.dump();
}

// --- Figures

TEST(CInterface, GivesTheFiguresOfTheCommand) {
  const struct Row {
    const char *name, *analysis, *data, *options;
    std::vector<std::string> words;
  } rows[] = {
      {"classes",
       "feature-selection",
       "german_credit.csv",
       R"({"dependents": ["risk"]})",
       {"--dependents", "risk"}},
      {"numbers and texts as options",
       "feature-selection",
       "schools.csv",
       R"({"dependents": ["api2000", "awards"], "weight": "weight", "casewise": true, "best": 3,
           "show": "p", "p-criterion": 0.05, "missing": {"target": [1, 2]}, "count": null})",
       {"--dependents", "api2000", "awards", "--weight", "weight", "--casewise", "--best", "3", "--show", "p",
        "--p-criterion", "0.05", "--missing", "target=1,2"}},
      {"screening",
       "screen",
       "german_credit.csv",
       R"({"binary-response": "risk", "good": "good", "bad": "bad", "select": "age > 25"})",
       {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--select", "age > 25"}},
      {"three responses",
       "screen",
       "vehicle.csv",
       R"({"categorical-response": "class"})",
       {"--categorical-response", "class"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const OpenSession session;
    session.Read(Sample(row.data));
    std::vector<std::string> words = {row.analysis, Sample(row.data)};
    words.insert(words.end(), row.words.begin(), row.words.end());
    json made = json::parse(session.RunJson(row.analysis, row.options));
    made["run"].erase("provenance");  // of a command
    EXPECT_EQ(made.dump(), CommandJson(words, true));
  }
}

// A data frame's route: the file's columns go out as Arrow data and come back in.
TEST(CInterface, TakesArrowDataAsTheFile) {
  const Table table = ReadTable(Sample("german_credit.csv"));
  ArrowTable arrow;
  for (const Column& column : table.columns) arrow.AddVariable(column);
  ArrowArrayStream stream;
  std::move(arrow).Export(stream);
  const OpenSession session;
  ASSERT_EQ(velmora_take_stream(session.Get(), &stream, nullptr), VELMORA_OK)
      << velmora_last_error(session.Get());
  EXPECT_EQ(stream.release, nullptr) << "the stream is taken";
  velmora_result* const screened = session.Run("screen", kScreenOptions);
  EXPECT_TRUE(TextOf(screened, "terminal").starts_with("Predictor screening: data in memory\n"));
  velmora_result_free(screened);
  json made = json::parse(session.RunJson("screen", kScreenOptions));
  made["run"].erase("provenance");
  EXPECT_EQ(made.dump(), CommandJson({"screen", Sample("german_credit.csv"), "--binary-response", "risk",
                                      "--good", "good", "--bad", "bad"},
                                     false));
}

// A batch of columns of numbers in the test's own memory.
class OwnBatch {
 public:
  explicit OwnBatch(std::vector<std::vector<double>>& columns) {
    array_.length = static_cast<std::int64_t>(columns.front().size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      names_.push_back("x" + std::to_string(i));
      buffers_.push_back({nullptr, columns[i].data()});
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      schemas_.push_back({"g", names_[i].c_str(), nullptr, 0, 0, nullptr, nullptr, ReleaseSchema, this});
      arrays_.push_back(
          {array_.length, 0, 0, 2, 0, buffers_[i].data(), nullptr, nullptr, ReleaseArray, this});
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      schemaChildren_.push_back(&schemas_[i]);
      arrayChildren_.push_back(&arrays_[i]);
    }
    const auto count = static_cast<std::int64_t>(columns.size());
    schema_ = {"+s", "", nullptr, 0, count, schemaChildren_.data(), nullptr, ReleaseSchema, this};
    array_ = {array_.length, 0, 0, 1, count, &noBuffer_, arrayChildren_.data(), nullptr, ReleaseArray, this};
  }
  int GiveTo(velmora_session* session, const char* options = nullptr) {
    return velmora_take_batch(session, &schema_, &array_, options);
  }
  bool IsReleased() const { return released_ == 2; }

 private:
  static void ReleaseSchema(ArrowSchema* schema) {
    ++static_cast<OwnBatch*>(schema->private_data)->released_;
    schema->release = nullptr;
  }
  static void ReleaseArray(ArrowArray* array) {
    ++static_cast<OwnBatch*>(array->private_data)->released_;
    array->release = nullptr;
  }

  std::vector<std::string> names_;
  std::vector<std::array<const void*, 2>> buffers_;
  std::vector<ArrowSchema> schemas_;
  std::vector<ArrowArray> arrays_;
  std::vector<ArrowSchema*> schemaChildren_;
  std::vector<ArrowArray*> arrayChildren_;
  const void* noBuffer_ = nullptr;
  ArrowSchema schema_{};
  ArrowArray array_{};
  int released_ = 0;
};

TEST(CInterface, PlainNumbersOfArrowStayWhereTheyAreAndAsTheyAre) {
  std::vector<std::vector<double>> columns(3);
  for (int i = 0; i < 400; ++i) {
    columns[0].push_back(i % 7 + 0.25 * (i % 3));
    columns[1].push_back(i % 5 == 0 ? std::nan("") : i % 11);
    columns[2].push_back(i % 2);
  }
  const std::vector<std::vector<double>> before = columns;
  const char options[] = R"({"dependents": "x2", "threads": 1})";
  std::string copied;
  {
    const OpenSession session;
    for (std::size_t i = 0; i < columns.size(); ++i)
      ASSERT_EQ(velmora_add_numbers(session.Get(), ("x" + std::to_string(i)).c_str(), columns[i].data(), 400),
                VELMORA_OK);
    copied = session.RunJson("feature-selection", options);
  }
  OwnBatch plain(columns), recoded(columns);
  std::string page, binsBefore;
  velmora_result* result = nullptr;
  {
    const OpenSession session;
    ASSERT_EQ(plain.GiveTo(session.Get()), VELMORA_OK) << velmora_last_error(session.Get());
    EXPECT_FALSE(plain.IsReleased());
    EXPECT_EQ(session.RunJson("feature-selection", options), copied);
    EXPECT_EQ(session.RunJson("feature-selection", options), copied);
    const char screening[] = R"({"binary-response": "x2", "good": "0", "bad": "1", "save-chance": true})";
    result = session.Run("screen", screening);
    velmora_result* const twin = session.Run("screen", screening);
    page = TextOf(twin, "html");
    velmora_bins* bins = nullptr;
    ASSERT_EQ(velmora_result_bins(twin, 0, &bins), VELMORA_OK);
    const char* saved = nullptr;
    ASSERT_EQ(velmora_bins_text(bins, "json", &saved, nullptr), VELMORA_OK);
    binsBefore = saved;
    velmora_bins_free(bins);
    velmora_result_free(twin);
    ASSERT_EQ(recoded.GiveTo(session.Get(), R"({"missing": {"x0": [0, 6.5], "x2": [5]}})"), VELMORA_OK);
    const char* text = nullptr;
    ASSERT_EQ(velmora_variables(session.Get(), &text), VELMORA_OK);
    EXPECT_LT(json::parse(text)["variables"][0]["valid"], 400);
  }
  // After the session is closed, its result no longer reads the caller's memory.
  EXPECT_TRUE(recoded.IsReleased());
  EXPECT_TRUE(plain.IsReleased());
  for (const std::size_t i : {0, 2}) EXPECT_EQ(columns[i], before[i]);
  for (std::vector<double>& column : columns) std::fill(column.begin(), column.end(), 0.0);
  EXPECT_EQ(TextOf(result, "html"), page);
  velmora_bins* bins = nullptr;
  ASSERT_EQ(velmora_result_bins(result, 0, &bins), VELMORA_OK);
  const char* saved = nullptr;
  ASSERT_EQ(velmora_bins_text(bins, "json", &saved, nullptr), VELMORA_OK);
  EXPECT_EQ(json::parse(saved), json::parse(binsBefore));
  velmora_bins_free(bins);
  velmora_result_free(result);
}

TEST(CInterface, TablesHoldTheNumbersOfTheJson) {
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  velmora_result* const result = session.Run("screen", kScreenOptions);
  const json whole = json::parse(TextOf(result, "json"));
  // Reading the table back shows that other programs can read it.
  const auto back = [&](const char* name) {
    ArrowArrayStream stream;
    EXPECT_EQ(velmora_result_table(result, name, &stream), VELMORA_OK);
    const OpenSession other;
    EXPECT_EQ(velmora_take_stream(other.Get(), &stream, nullptr), VELMORA_OK)
        << velmora_last_error(other.Get());
    const char* text = nullptr;
    EXPECT_EQ(velmora_variables(other.Get(), &text), VELMORA_OK);
    json variables;
    const json listed = json::parse(text);
    for (const json& variable : listed["variables"])
      variables[variable["name"].get<std::string>()] = variable;
    return variables;
  };
  const json& predictors = whole["responses"][0]["predictors"];
  const json ranking = back("ranking");
  EXPECT_EQ(ranking["rank"]["maximum"], predictors.size());
  double most = 0;
  std::size_t bins = 0;
  for (const json& predictor : predictors) {
    most = std::max(most, predictor["informationValue"].get<double>());
    bins += predictor["rows"].size();
  }
  EXPECT_EQ(ranking["information_value"]["maximum"].get<double>(), most);
  EXPECT_EQ(back("bins")["woe"]["valid"], bins);
  velmora_result_free(result);
}

TEST(CInterface, ARunMayTakeTheTableOver) {
  const OpenSession session;
  session.Read(Sample("house_prices.csv"));
  const std::string options = R"({"dependents": "price"})";
  const std::string expected = session.RunJson("feature-selection", options);
  velmora_result* result = nullptr;
  ASSERT_EQ(velmora_run_once(session.Get(), "feature-selection", options.c_str(), &result), VELMORA_OK);
  EXPECT_EQ(TextOf(result, "json"), expected);
  velmora_result* none = nullptr;
  EXPECT_EQ(velmora_run(session.Get(), "feature-selection", options.c_str(), &none), VELMORA_BAD_USE);
  EXPECT_NE(std::string(velmora_last_error(session.Get())).find("has no data"), std::string::npos);
  velmora_result_free(result);
}

// --- Bins

std::string BinsText(velmora_bins* bins, const char* format) {
  const char* text = nullptr;
  EXPECT_EQ(velmora_bins_text(bins, format, &text, nullptr), VELMORA_OK);
  return text == nullptr ? "" : text;
}

TEST(CInterface, BinsCodeNewDataAsApplyDoes) {
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  velmora_result* const result = session.Run("screen", kScreenOptions);
  velmora_bins* bins = nullptr;
  ASSERT_EQ(velmora_result_bins(result, 3, &bins), VELMORA_OK);
  velmora_result_free(result);  // the bins live on
  const std::string saved = BinsText(bins, "json");
  EXPECT_EQ(json::parse(saved)["responses"][0]["predictors"].size(), 3u);
  EXPECT_NE(BinsText(bins, "sql").find("CASE"), std::string::npos);
  EXPECT_NE(BinsText(bins, "python").find("def code_case"), std::string::npos);
  velmora_bins_free(bins);

  const TemporaryFolder folder;
  const std::string file = folder.Write("bins.json", saved);
  const std::string byCommand = (folder.Path() / "coded.csv").string();
  ASSERT_EQ(
      RunVelmora({"apply", file, Sample("german_credit.csv"), "--keep", "risk", "--out", byCommand}).exitCode,
      0);
  ASSERT_EQ(velmora_load_bins(session.Get(), saved.data(), saved.size(), &bins), VELMORA_OK);
  ArrowArrayStream stream;
  ASSERT_EQ(velmora_bins_apply(bins, &stream), VELMORA_OK) << velmora_last_error(session.Get());
  velmora_bins_free(bins);

  const auto variablesOf = [](velmora_session* from) {
    const char* text = nullptr;
    EXPECT_EQ(velmora_variables(from, &text), VELMORA_OK);
    std::map<std::string, std::string> byName;
    json listed = json::parse(text);
    for (json& variable : listed["variables"]) {
      const std::string name = variable["name"];
      variable.erase("number");
      variable.erase("measurementReason");  // dictionaries declare their measurement
      if (name != "risk") byName[name] = variable.dump();
    }
    return byName;
  };
  const OpenSession coded, expected;
  ASSERT_EQ(velmora_take_stream(coded.Get(), &stream, nullptr), VELMORA_OK)
      << velmora_last_error(coded.Get());
  expected.Read(byCommand);
  EXPECT_EQ(variablesOf(coded.Get()), variablesOf(expected.Get()));
  EXPECT_EQ(variablesOf(coded.Get()).size(), 6u);
}

TEST(CInterface, ValuesThatAFileDeclaresMissingAreSpecialCodes) {
  const TemporaryFolder folder;
  const std::string may = folder.Write("may.sav", SurveyFile(0, 2000));
  const std::string june = folder.Write("june.sav", SurveyFile(2000, 3000));
  const OpenSession session;
  session.Read(may);
  const std::string options =
      R"({"binary-response": "risk", "good": "0", "bad": "1", "predictors": ["income", "job"],
          "special": "user-missing"})";
  velmora_result* const result = session.Run("screen", options);
  const json predictors = json::parse(TextOf(result, "json"))["responses"][0]["predictors"];
  EXPECT_EQ(predictors.size(), 2u);
  for (const json& predictor : predictors)
    EXPECT_EQ(predictor["missing"], predictor["name"] == "income" ? 200 : 0) << predictor;
  velmora_bins* bins = nullptr;
  ASSERT_EQ(velmora_result_bins(result, 0, &bins), VELMORA_OK) << velmora_last_error(session.Get());
  velmora_result_free(result);

  // New cases of another file: the codes count in a comparison with those of the bins.
  session.Read(june);
  velmora_result* monitor = nullptr;
  ASSERT_EQ(velmora_bins_monitor(bins, nullptr, &monitor), VELMORA_OK) << velmora_last_error(session.Get());
  for (const json& group : json::parse(TextOf(monitor, "json"))["groups"])
    EXPECT_LT(group.value("psi", 0.0), 0.01) << group;
  velmora_result_free(monitor);
  ArrowArrayStream stream;
  ASSERT_EQ(velmora_bins_apply(bins, &stream), VELMORA_OK) << velmora_last_error(session.Get());
  const OpenSession coded;
  ASSERT_EQ(velmora_take_stream(coded.Get(), &stream, nullptr), VELMORA_OK);
  const char* variables = nullptr;
  ASSERT_EQ(velmora_variables(coded.Get(), &variables), VELMORA_OK);
  for (const json& variable : json::parse(variables)["variables"])
    EXPECT_EQ(variable["missing"], 0) << variable;  // every case has a bin
  velmora_bins_free(bins);

  // The codes belong to the file; data in memory have none.
  ASSERT_EQ(velmora_clear_data(session.Get()), VELMORA_OK);
  const double numbers[] = {0, 1, 0, 1};
  ASSERT_EQ(velmora_add_numbers(session.Get(), "risk", numbers, 4), VELMORA_OK);
  velmora_result* refused = nullptr;
  EXPECT_NE(velmora_run(session.Get(), "screen", options.c_str(), &refused), VELMORA_OK);
  EXPECT_NE(std::string(velmora_last_error(session.Get())).find("not for a table in memory"),
            std::string::npos);
}

TEST(CInterface, BinsAreCorrectedByHand) {
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  velmora_result* const result = session.Run("screen", kScreenOptions);
  velmora_bins* bins = nullptr;
  ASSERT_EQ(velmora_result_bins(result, 1, &bins), VELMORA_OK);
  velmora_result_free(result);
  const std::string found = BinsText(bins, "json");
  const json before = json::parse(found)["responses"][0]["predictors"][0];
  const json edit = {{"operation", "merge"}, {"predictor", before["name"]}, {"bins", {0, 1}}};
  ASSERT_EQ(velmora_bins_edit(bins, edit.dump().c_str()), VELMORA_OK) << velmora_last_error(session.Get());
  const json after = json::parse(BinsText(bins, "json"))["responses"][0]["predictors"][0];
  ASSERT_EQ(after["bins"].size() + 1, before["bins"].size());
  for (int code = 0; code < 2; ++code) {
    EXPECT_EQ(
        after["bins"][0]["counts"][code].get<double>(),
        before["bins"][0]["counts"][code].get<double>() + before["bins"][1]["counts"][code].get<double>());
  }
  EXPECT_EQ(velmora_bins_edit(bins, R"({"operation": "melt"})"), VELMORA_FAILED);
  EXPECT_EQ(velmora_bins_undo(bins), VELMORA_OK);
  EXPECT_EQ(BinsText(bins, "json"), found);
  EXPECT_EQ(velmora_bins_undo(bins), VELMORA_BAD_USE);
  velmora_bins_free(bins);
}

// --- Errors

TEST(CInterface, WrongUseIsOneSentence) {
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  velmora_session* const s = session.Get();
  velmora_result* result = nullptr;
  velmora_bins* bins = nullptr;
  const auto run = [&](const char* analysis, const char* options) {
    return velmora_run(s, analysis, options, &result);
  };
  const double numbers[] = {1, 2};
  const struct Row {
    const char* name;
    std::function<int()> call;
    int code;
    const char* part;
  } rows[] = {
      {"no analysis", [&] { return run("screening", "{}"); }, VELMORA_BAD_USE,
       "the analyses are feature-selection and screen"},
      {"unknown option", [&] { return run("screen", R"({"binry-response": "risk"})"); }, VELMORA_BAD_USE,
       "did you mean --binary-response"},
      {"unknown variable", [&] { return run("feature-selection", R"({"dependents": ["rsk"]})"); },
       VELMORA_BAD_USE, "rsk"},
      {"number out of range",
       [&] { return run("feature-selection", R"({"dependents": "risk", "best": 0})"); }, VELMORA_BAD_USE,
       "--best takes a whole number"},
      {"no JSON", [&] { return run("screen", "{"); }, VELMORA_BAD_USE, "not valid JSON"},
      {"no object", [&] { return run("screen", "[1]"); }, VELMORA_BAD_USE, "JSON object"},
      {"an option of the command", [&] { return run("screen", R"({"out": "there"})"); }, VELMORA_BAD_USE,
       "velmora_result_write"},
      {"null argument", [&] { return run(nullptr, "{}"); }, VELMORA_BAD_USE, "analysis is null"},
      {"no file", [&] { return velmora_read_file(s, "/no/file.csv", nullptr); }, VELMORA_FAILED,
       "/no/file.csv"},
      {"other length", [&] { return velmora_add_numbers(s, "x", numbers, 2); }, VELMORA_BAD_USE,
       "has 2 cases where the table has 1000"},
      {"name taken", [&] { return velmora_add_numbers(s, "risk", nullptr, 2); }, VELMORA_BAD_USE,
       "values is null"},
      {"no bins", [&] { return velmora_load_bins(s, "{}", 2, &bins); }, VELMORA_FAILED, "the bins"},
      {"released stream",
       [&] {
         ArrowArrayStream none{};
         return velmora_take_stream(s, &none, nullptr);
       },
       VELMORA_FAILED, "released"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.call(), row.code);
    EXPECT_NE(std::string(velmora_last_error(s)).find(row.part), std::string::npos) << velmora_last_error(s);
  }
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(velmora_clear_data(nullptr), VELMORA_BAD_USE);
  EXPECT_STREQ(velmora_last_error(nullptr), "The argument session is null.");
  // The failures left the table as it was.
  EXPECT_NE(session.RunJson("feature-selection", R"({"dependents": "risk"})").find("\"cases\": 1000"),
            std::string::npos);
}

TEST(CInterface, ScorecardsAndMonitorsAreThoseOfTheCommand) {
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  velmora_result* screened = session.Run("screen", kScreenOptions);
  velmora_bins *bins = nullptr, *card = nullptr;
  ASSERT_EQ(velmora_result_bins(screened, 0, &bins), VELMORA_OK);
  velmora_result_free(screened);
  velmora_result* result = nullptr;
  ASSERT_EQ(velmora_bins_scorecard(bins, R"({"stepwise": true, "pdo": 40})", &result), VELMORA_OK)
      << velmora_last_error(session.Get());
  const TemporaryFolder folder;
  const std::string file = folder.Write("bins.json", BinsText(bins, "json"));
  const json found = json::parse(TextOf(result, "json"));
  const json commands = json::parse(RunVelmora({"scorecard", Sample("german_credit.csv"), "--bins", file,
                                                "--stepwise", "--pdo", "40", "--format", "json"})
                                        .out);
  for (const char* list : {"coefficients", "points", "quality"})
    EXPECT_EQ(found[list], commands[list]) << list;
  ASSERT_EQ(velmora_result_bins(result, 0, &card), VELMORA_OK);
  velmora_result_free(result);
  EXPECT_NE(BinsText(card, "pmml").find("<Scorecard"), std::string::npos);

  ASSERT_EQ(velmora_bins_monitor(card, R"({"fail-on": ["psi>0.1", "auc>0.5"]})", &result), VELMORA_OK);
  const json compared = json::parse(TextOf(result, "json"));
  EXPECT_EQ(compared["conditions"][0]["met"], "no");
  EXPECT_EQ(compared["conditions"][1]["met"], "yes");
  velmora_result_free(result);
  // Without a scorecard there is no PMML, and options are checked.
  const char* text = nullptr;
  EXPECT_EQ(velmora_bins_text(bins, "pmml", &text, nullptr), VELMORA_FAILED);
  EXPECT_EQ(velmora_bins_scorecard(bins, R"({"pdo": 0})", &result), VELMORA_BAD_USE);
  velmora_bins_free(bins);
  velmora_bins_free(card);
}

TEST(CInterface, NoticesAreThoseOfTheLatestCall) {
  const OpenSession session;
  const TemporaryFolder folder;
  session.Read(folder.Write("a.csv", "x,same,y\n1,7,2\n2,7,3\n3,7,9\n"));
  const std::string options = R"({"dependents": "y"})";
  velmora_result* const result = session.Run("feature-selection", options);
  EXPECT_EQ(json::parse(velmora_notices(session.Get())),
            json({"Not screened: same (constant: only one value)"}));
  velmora_result_free(result);
  EXPECT_STREQ(velmora_notices(session.Get()), "[]") << "freeing is a call, too";
}

// --- Threads, cancelling, life times

TEST(CInterface, ProgressAndCancelling) {
  const OpenSession session;
  std::vector<double> numbers(2'000'000);
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<double>(i * 7919 % 100003);
  for (const char* name : {"x", "y", "z"}) {
    for (double& number : numbers)
      number = static_cast<double>(static_cast<std::int64_t>(number * 31 + 7) % 100003);
    ASSERT_EQ(
        velmora_add_numbers(session.Get(), name, numbers.data(), static_cast<std::int64_t>(numbers.size())),
        VELMORA_OK);
  }
  struct Seen {
    std::thread::id thread;
    int calls = 0;
  } seen;
  const auto stop = [](void* user, const char* /*stage*/, double fraction) {
    EXPECT_TRUE(fraction >= 0 && fraction <= 1);
    static_cast<Seen*>(user)->thread = std::this_thread::get_id();
    return ++static_cast<Seen*>(user)->calls == 2 ? 1 : 0;
  };
  velmora_set_progress(session.Get(), stop, &seen);
  velmora_result* result = nullptr;
  EXPECT_EQ(velmora_run(session.Get(), "screen", R"({"continuous-response": "y"})", &result),
            VELMORA_CANCELLED);
  EXPECT_EQ(result, nullptr);
  EXPECT_GE(seen.calls, 2);
  EXPECT_EQ(seen.thread, std::this_thread::get_id());
  velmora_set_progress(session.Get(), nullptr, nullptr);
  velmora_result_free(session.Run("feature-selection", R"({"dependents": "y"})"));
}

// Each of the module's images has its own selection and weights.
TEST(CInterface, SessionsAndResultsDoNotMeet) {
  const std::string all = R"({"dependents": "risk"})";
  const std::string some = R"({"dependents": "risk", "select": "age > 40", "weight": "amount"})";
  const OpenSession session;
  session.Read(Sample("german_credit.csv"));
  const std::string expectedAll = session.RunJson("feature-selection", all);
  const std::string expectedSome = session.RunJson("feature-selection", some);
  ASSERT_NE(expectedAll, expectedSome);
  // Two results of one session live at once.
  velmora_result* const first = session.Run("feature-selection", some);
  velmora_result* const second = session.Run("feature-selection", all);
  EXPECT_EQ(TextOf(second, "json"), expectedAll);
  EXPECT_EQ(TextOf(first, "json"), expectedSome);
  velmora_result_free(first);
  velmora_result_free(second);
  // Sessions on several threads at once.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const OpenSession own;
      own.Read(Sample("german_credit.csv"));
      for (int i = 0; i < 5; ++i)
        EXPECT_EQ(own.RunJson("feature-selection", t % 2 == 0 ? all : some),
                  t % 2 == 0 ? expectedAll : expectedSome);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(CInterface, ResultsOutliveTheirSessionAndThread) {
  velmora_result* result = nullptr;
  std::thread([&] {
    const OpenSession session;
    session.Read(Sample("house_prices.csv"));
    result = session.Run("screen", R"({"continuous-response": "price"})");
  }).join();
  EXPECT_NE(TextOf(result, "html").find("</html>"), std::string::npos);
  EXPECT_TRUE(TextOf(result, "xlsx").starts_with("PK"));
  const TemporaryFolder folder;
  EXPECT_EQ(velmora_result_write(result, folder.Path().c_str(), "json,csv"), VELMORA_OK);
  EXPECT_EQ(folder.Names(),
            (std::vector<std::string>{"screening.csv", "screening.json", "screening_bins.csv"}));
  velmora_result_free(result);
}

TEST(CInterface, AChildProcessIsRefusedTheSessionsOfItsParent) {
  const OpenSession session;
  session.Read(Sample("house_prices.csv"));
  velmora_result* const result = session.Run("screen", R"({"continuous-response": "price"})");
  const pid_t child = fork();
  if (child == 0) {
    velmora_result* none = nullptr;
    const int code = velmora_run(session.Get(), "screen", R"({"continuous-response": "price"})", &none);
    velmora_result_free(result);
    _exit(code == VELMORA_FAILED ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  velmora_result_free(result);
}

}  // namespace
}  // namespace velmora
