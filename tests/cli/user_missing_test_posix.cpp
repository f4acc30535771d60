// Values that a file of a statistics program declares missing, as special codes of
// screen and in what follows it.
#include <gtest/gtest.h>
#include <readstat.h>

#include <cmath>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

ssize_t AppendBytes(const void* data, size_t length, void* context) {
  static_cast<std::string*>(context)->append(static_cast<const char*>(data), length);
  return static_cast<ssize_t>(length);
}

// Income decides the risk; who refuses (98) is risky, who was not asked (99) is not. Both codes are
// user-missing, and some incomes are missing without a code.
std::string Survey(int first, int last) {
  std::string bytes;
  readstat_writer_t* writer = readstat_writer_init();
  readstat_set_data_writer(writer, AppendBytes);
  readstat_label_set_t* labels = readstat_add_label_set(writer, READSTAT_TYPE_DOUBLE, "labels");
  readstat_label_double_value(labels, 98, "refused");
  readstat_variable_t* risk = readstat_add_variable(writer, "risk", READSTAT_TYPE_DOUBLE, 0);
  readstat_variable_t* income = readstat_add_variable(writer, "income", READSTAT_TYPE_DOUBLE, 0);
  readstat_variable_set_label_set(income, labels);
  readstat_variable_add_missing_double_range(income, 98, 99);
  EXPECT_EQ(readstat_begin_writing_sav(writer, &bytes, last - first), READSTAT_OK);
  for (int i = first; i < last; ++i) {
    readstat_begin_row(writer);
    const int kind = i % 10;
    const double value = kind == 0 ? 98 : kind == 1 ? 99 : (i * 7) % 60;
    const int badPercent = kind == 0 ? 80 : kind == 1 ? 5 : value > 30 ? 10 : 40;
    readstat_insert_double_value(writer, risk, (i / 10 * 37) % 100 < badPercent ? 1 : 0);
    if (kind == 2) {
      readstat_insert_missing_value(writer, income);
    } else {
      readstat_insert_double_value(writer, income, value);
    }
    readstat_end_row(writer);
  }
  EXPECT_EQ(readstat_end_writing(writer), READSTAT_OK);
  readstat_writer_free(writer);
  return bytes;
}

TEST(UserMissing, AreSpecialCodesFromScreeningToScores) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("may.sav", Survey(0, 2000));
  const std::string june = folder.Write("june.sav", Survey(2000, 3000));
  const std::string bins = (folder.Path() / "bins.json").string();
  const Words run = {"screen", data, "--binary-response", "risk",  "--good", "0",
                     "--bad",  "1",  "--predictors",      "income"};
  const Json plain = JsonFrom(run)["responses"][0]["predictors"][0];
  EXPECT_EQ(plain["missing"], 600);
  const Json json = JsonFrom(With(run, {"--special", "user-missing"}))["responses"][0]["predictors"][0];
  EXPECT_EQ(json["missing"], 200);
  ASSERT_EQ(json["levels"].size(), 2u) << json["levels"];
  EXPECT_EQ(json["levels"][0]["value"], 98);
  EXPECT_EQ(json["levels"][0]["label"], "refused");
  EXPECT_NE(json["levels"][0]["bin"], json["levels"][1]["bin"]);
  EXPECT_EQ(json["rows"][json["levels"][0]["bin"].get<std::size_t>()]["total"], 200);
  EXPECT_LT(json["rows"][json["levels"][0]["bin"].get<std::size_t>()]["woe"], -100);
  for (const Json& cut : json["cutPoints"]) EXPECT_LT(cut.get<double>(), 60);
  const Json together = JsonFrom(With(run, {"--special", "user-missing", "--special-together"}));
  EXPECT_EQ(together["responses"][0]["predictors"][0]["levels"][0]["bin"],
            together["responses"][0]["predictors"][0]["levels"][1]["bin"]);

  // What was saved finds the codes in new files by itself, and leaves the variable as it is.
  const ProcessResult saved = RunVelmora(With(run, {"--special", "user-missing", "--bins", bins, "--quiet"}));
  ASSERT_EQ(saved.exitCode, 0) << saved.err;
  const ProcessResult applied = RunVelmora({"apply", bins, june});
  ASSERT_EQ(applied.exitCode, 0) << applied.err;
  EXPECT_NE(applied.out.find(",,refused,"), std::string::npos) << applied.out.substr(0, 600);
  EXPECT_EQ(applied.out.find(",98,"), std::string::npos);
  ExpectSaid(applied, {"Missing: income in 100 cases"});
  const std::string out = (folder.Path() / "monitor.json").string();
  const ProcessResult monitor = RunVelmora({"apply", bins, june, "--monitor", "--out", out});
  ASSERT_EQ(monitor.exitCode, 0) << monitor.err;
  const Json groups = Json::parse(ReadFile(folder.Path() / "monitor.json"))["groups"];
  EXPECT_LT(groups[1]["psi"].get<double>(), 0.01);
  const Json card = JsonFrom({"scorecard", data, "--bins", bins});
  double cases = 0;
  for (const Json& row : card["points"]) cases += row["bin"] == "refused" ? row["cases"].get<double>() : 0;
  EXPECT_EQ(cases, 200);

  const ProcessResult none = RunVelmora({"screen", Sample("german_credit.csv"), "--binary-response", "risk",
                                         "--good", "good", "--bad", "bad", "--special", "user-missing"});
  EXPECT_EQ(none.exitCode, 0);
  ExpectSaid(none, {"--special user-missing: ", "has no predictor with values that it declares missing"});
}

}  // namespace
}  // namespace velmora::testing
