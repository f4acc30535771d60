// velmora apply as a process: saved files on other data, and the messages when they do not fit.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

const char kAges[] =
    "[SelectionConditions]\nConditionSize=2[SelectionConditions\\Cond0]\nIgnore=0\nCondition=\"\"\"age\"\"<="
    "2.500000000000000e+01\"\nValue=(-Inf, "
    "25]\n[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"age\"\">"
    "2.500000000000000e+01\"\nValue=(25, Inf)\n\n";
const char kHomes[] = "If( EvalExpr(\"\"\"home\"\"=\"\"own\"\"\") )\n\"risk_home_Coded\"=\"own\"\nEndIf\n";
const char kData[] = "id,age,home\n1,25,own\n2,25.01,rent\n3,,own\n4,-3,\n";
const char kCoded[] =
    "id,age_Coded,risk_home_Coded\n1,\"(-Inf, 25]\",own\n2,\"(25, Inf)\",\n3,,own\n4,\"(-Inf, 25]\",\n";

TEST(Apply, WritesTheCodedTable) {
  const TemporaryFolder folder;
  const Words files = {"apply", folder.Write("a.ini", kAges), folder.Write("b.bas", kHomes),
                       folder.Write("data.csv", kData)};
  const ProcessResult piped = RunVelmora(With(files, {"--keep", "id"}));
  EXPECT_EQ(piped.exitCode, 0) << piped.err;
  EXPECT_EQ(piped.out, kCoded);
  EXPECT_EQ(piped.err,
            "Warning: 1 case of home with a level that the bins do not have: rent (1).\n"
            "Coded: 2 variables; without a value: age_Coded (1 case), risk_home_Coded (2 cases).\n");

  const std::string out = (folder.Path() / "out.parquet").string();
  const ProcessResult written = RunVelmora(With(files, {"--out", out, "--quiet"}));
  EXPECT_EQ(written.exitCode, 0);
  EXPECT_EQ(written.out + written.err,
            "Warning: 1 case of home with a level that the bins do not have: rent (1).\n");
  const Json variables = JsonFrom({"variables", out})["variables"];
  ASSERT_EQ(variables.size(), 5u);
  EXPECT_EQ(variables[3]["labels"].size(), 2u);
}

TEST(Apply, SaysWhatDoesNotFitAndWritesNothing) {
  struct Row {
    const char* name;
    Words words;  // after apply; out.csv is where the result would go
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"nothing", {}, 2, {"FILE and DATA are missing"}},
      {"no data", {"a.ini"}, 2, {"DATA is missing", "a.ini"}},
      {"no such file", {"none.ini", "data.csv"}, 1, {"none.ini cannot be read: No such file"}},
      {"a folder", {".", "data.csv"}, 1, {". is a folder without recode_names.json; name the recode files"}},
      {"nothing in it", {"empty.ini", "data.csv"}, 1, {"empty.ini is empty."}},
      {"missing section",
       {"section.ini", "data.csv"},
       1,
       {"section.ini, line 2", "[SelectionConditions\\Cond2]"}},
      {"unknown variable", {"unknown.ini", "data.csv"}, 1, {"unknown.ini, line 4", "\"agee\"", "\"age\"?"}},
      {"broken quotes", {"quotes.ini", "data.csv"}, 1, {"quotes.ini, line 4", "a quotation mark is opened"}},
      {"unknown statement", {"b.bas", "print.bas", "data.csv"}, 1, {"print.bas, line 2", "\"Print\""}},
      {"made twice", {"a.ini", "a.ini", "data.csv"}, 1, {"age_Coded"}},
      {"there already", {"a.ini", "coded.csv"}, 1, {"age_Coded", "coded.csv", "--keep"}},
      {"over what is read", {"a.ini", "data.csv", "--out", "data.csv"}, 2, {"--out", "data.csv"}},
      {"unknown ending", {"a.ini", "data.csv", "--out", "out.doc"}, 2, {"out.doc", ".csv, .tsv or .parquet"}},
      {"nothing to keep", {"a.ini", "data.csv", "--keep", "nr"}, 2, {"--keep", "nr"}},
      {"no such data", {"a.ini", "nodata.csv"}, 1, {"nodata.csv"}},
  };
  const std::string ages = kAges;
  const auto with = [&](const std::string& from, const std::string& to) {
    return std::string(ages).replace(ages.find(from), from.size(), to);
  };
  const TemporaryFolder folder;
  folder.Write("data.csv", kData);
  folder.Write("coded.csv", "age,age_Coded\n1,x\n2,y\n");
  folder.Write("a.ini", ages);
  folder.Write("b.bas", kHomes);
  folder.Write("empty.ini", "\n");
  folder.Write("section.ini", with("Size=2", "Size=3"));
  folder.Write("unknown.ini", with("\"age\"", "\"agee\""));
  folder.Write("quotes.ini", with("\"\"\"age", "\"age"));
  folder.Write("print.bas", std::string("\nPrint 5\n") + kHomes);
  const Words before = folder.Names();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const bool hasOut = std::find(row.words.begin(), row.words.end(), "--out") != row.words.end();
    const Words out = hasOut ? Words() : Words{"--out", "out.csv"};
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(With({"apply"}, With(row.words, out)), options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(folder.Names(), before);
    EXPECT_EQ(ReadFile(folder.Path() / "data.csv"), kData);
  }
}

// A folder, and a pattern that takes in its list of names, are the recode files in it.
TEST(Apply, TakesAFolderOfRecodeFiles) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path() / "recodes");
  folder.Write("recodes/a.ini", kAges);
  folder.Write("recodes/b.ini", kAges);
  folder.Write("recodes/c.ini", kAges);
  folder.Write("recodes/recode_names.json",
               R"({"format":"velmora recode names","version":1,"variables":{"a.ini":"A","c.ini":"C"}})");
  folder.Write("data.csv", kData);
  ProcessOptions options;
  options.folder = folder.Path();
  const auto apply = [&](const Words& files) {
    return RunVelmora(With(With({"apply"}, files), {"data.csv", "--keep", "id", "--quiet"}), options);
  };
  const std::string names = "recodes/recode_names.json";
  const std::pair<Words, std::string> rows[] = {
      {{"recodes"}, "id,A,C"},
      {{"recodes/"}, "id,A,C"},
      {{names}, "id,A,C"},
      {{"recodes/a.ini", "recodes/b.ini", "recodes/c.ini", names}, "id,A,age_Coded,C"},
      {{"recodes/c.ini", names}, "id,C"},
      {{"recodes/b.ini"}, "id,age_Coded"}};
  for (const auto& [files, header] : rows) {
    const ProcessResult result = apply(files);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), header);
  }
  std::filesystem::remove(folder.Path() / "recodes" / "c.ini");
  ExpectSaid(apply({"recodes"}), {"c.ini cannot be read: No such file"});
  folder.Write(names, "[]");
  ExpectSaid(apply({"recodes"}), {"recode_names.json does not name the variables of recode files."});
}

// One text among numbers, levels that screening has not seen, missing values: counted separately,
// and the user chooses how to treat them.
TEST(Apply, CountsMissingUnseenAndBadValuesApart) {
  const TemporaryFolder folder;
  const std::string bins = folder.Write(
      "bins.json",
      R"json({"format":"velmora bins","version":2,"dataFile":"a","responses":[{"name":"r","kind":"binary",
      "codes":["b","g"],"predictors":[
      {"name":"age","kind":"continuous","codedVariable":"age_Coded","figureVariables":["age_WOE"],"cutPoints":[30],
       "missing":{"bin":2},
       "bins":[{"label":"young","woe":1},{"label":"old","woe":2},{"label":"Missing","woe":3}]},
      {"name":"home","kind":"categorical","codedVariable":"home_Coded","figureVariables":["home_WOE"],
       "levels":[{"level":"own","bin":0}],"bins":[{"label":"own","woe":4}]}]}]})json");
  const std::string data =
      folder.Write("data.csv", "age,home\n20,own\n40,tent\nunknown,boat\n,own\n25,boat\n31,\n");
  const auto applied = [&](const Words& options) {
    return RunVelmora(With({"apply", bins, data, "--quiet", "--keep", "age"}, options));
  };
  const std::string badText =
      "Warning: age is not a number in case 3 of " + data + ", \"unknown\"; it counts as missing.";
  const std::string unseen = "3 cases of home with levels that the bins do not have: boat (2), tent (1).";
  const ProcessResult result = applied({});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out,
            "age,age_Coded,age_WOE,home_Coded,home_WOE\n20,young,1,own,4\n40,old,2,,\nunknown,Missing,3,,\n"
            ",Missing,3,own,4\n25,young,1,,\n31,old,2,,\n");
  ExpectSaid(result, {badText, "Warning: " + unseen});
  EXPECT_NE(applied({"--unseen", "own"}).out.find("\n40,old,2,own,4\n"), std::string::npos);
  EXPECT_NE(applied({"--unseen", "new"}).out.find("\n40,old,2,new,\n"), std::string::npos);
  EXPECT_EQ(applied({"--unseen", "missing"}).out, result.out);
  for (const auto& [options, said] :
       {std::pair(Words{"--unseen", "error"}, unseen),
        std::pair(Words{"--strict"}, std::string("age is not a number in case 3"))}) {
    const ProcessResult failed = applied(options);
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(failed.out, "");
    ExpectSaid(failed, {said});
  }
  const std::string rules = folder.Write("a.ini", kAges);
  const ProcessResult refused = RunVelmora({"apply", rules, data, "--unseen", "old"});
  EXPECT_EQ(refused.exitCode, 2);
  ExpectSaid(refused, {"--unseen old works with bins of --bins", "a.ini holds rules"});
}

TEST(Apply, PageIsTrue) { ExpectPageIsTrue("apply", 6); }

// 100 cases of the bins with an index of 0.4159 by hand: shares 0.5, 0.5 and now 0.2, 0.8.
const char kMonitored[] = R"({"format":"velmora bins","version":2,"dataFile":"a.csv","responses":[
{"name":"risk","kind":"binary","codes":["bad","good"],
 "scorecard":{"version":1,"scoreVariable":"s","probabilityVariable":"p","basePoints":600,"odds":50,"pdo":20,
  "intercept":0,"terms":[{"predictor":"home","coefficient":-1,"points":[20,10],"neutralPoints":15}],
  "bands":[{"upTo":10,"counts":[20,30]},{"upTo":20,"counts":[10,40]}],"auc":0.6,"ks":0.2},
 "predictors":[
 {"name":"home","kind":"categorical","codedVariable":"c","figureVariables":["w"],
  "levels":[{"level":"own","bin":0,"counts":[10,40]},{"level":"rent","bin":1,"counts":[20,30]}],
  "bins":[{"label":"own","woe":53.9,"counts":[10,40]},{"label":"rent","woe":-44.18,"counts":[20,30]}]}]}]})";

TEST(Apply, MonitorComparesWithTheCasesOfTheBins) {
  const TemporaryFolder folder;
  const std::string bins = folder.Write("bins.json", kMonitored);
  std::string csv = "risk,outcome,home\n";
  for (int i = 0; i < 20; ++i)  // bad: 2 of 4 owners, 4 of 16 tenants
    csv += std::string(i % 4 < 1 || i == 1 ? "bad" : "good") + (i % 4 < 1 || i == 1 ? ",bad," : ",good,") +
           (i < 4 ? "own\n" : "rent\n");
  const std::string data = folder.Write("new.csv", csv);
  const std::string report = (folder.Path() / "report.json").string();
  const ProcessResult met = RunVelmora({"apply", bins, data, "--monitor", "--fail-on", "psi>0.25",
                                        "--fail-on", "score-psi>=0.5", "--out", report});
  EXPECT_EQ(met.exitCode, 3) << met.err;
  ExpectSaid(met, {"Condition psi>0.25 is met: psi of s is 0.4159"});
  const Json json = Json::parse(ReadFile(report));
  ASSERT_EQ(json["groups"].size(), 4u);
  const Json &score = json["groups"][1], &before = json["groups"][2], &now = json["groups"][3];
  EXPECT_NEAR(score["psi"], 0.4158883083359672, 1e-12);
  EXPECT_NEAR(now["psi"], 0.4158883083359672, 1e-12);
  // Pairs: bad owners before good owners and after good tenants: (2 (2/2) + 4 (2 + 12/2)) / (6 14).
  EXPECT_NEAR(score["auc"], (2 * 1 + 4 * (2 + 6)) / 84.0, 1e-12);
  EXPECT_EQ(json["groups"][0]["auc"], 0.6);
  EXPECT_NEAR(score["ks"], 4 / 6.0 - 12 / 14.0 < 0 ? 12 / 14.0 - 4 / 6.0 : 4 / 6.0 - 12 / 14.0, 1e-12);
  EXPECT_NEAR(before["strength"],
              (40 / 70.0 - 10 / 30.0) * std::log((40 / 70.0) / (10 / 30.0)) +
                  (30 / 70.0 - 20 / 30.0) * std::log((30 / 70.0) / (20 / 30.0)),
              1e-12);
  EXPECT_NEAR(now["strength"],
              (2 / 14.0 - 2 / 6.0) * std::log((2 / 14.0) / (2 / 6.0)) +
                  (12 / 14.0 - 4 / 6.0) * std::log((12 / 14.0) / (4 / 6.0)),
              1e-12);
  EXPECT_EQ(now["crossings"], 0);  // owners are now the worse ones, but there are too few to tell
  EXPECT_EQ(json["conditions"][1]["met"], "no");

  // The response may have another name, or be unknown; new levels are counted.
  const Words run = {"apply", bins, folder.Write("later.csv", "state,home\ngood,own\nbad,tent\ngood,tent\n"),
                     "--monitor"};
  const ProcessResult unknown = RunVelmora(With(run, {"--fail-on", "auc<0.9"}));
  EXPECT_EQ(unknown.exitCode, 0) << unknown.err;
  ExpectSaid(unknown, {"later.csv has no risk"});
  EXPECT_NE(unknown.out.find("tent"), std::string::npos);
  EXPECT_EQ(RunVelmora(With(run, {"--response", "state", "--fail-on", "unbinned>0.5"})).exitCode, 3);

  struct Row {
    Words words;
    std::vector<std::string> said;
  };
  const Row rows[] = {{{"--fail-on", "psi"}, {"--fail-on takes a condition such as psi>0.25"}},
                      {{"--fail-on", "psy>1"}, {"no figure psy", "woe-psi"}},
                      {{"--fail-on", "psi>x"}, {"--fail-on takes a condition"}},
                      {{"--keep", "home"}, {"--keep is for coded data"}},
                      {{"--out", "a.parquet"}, {"a report of --monitor ends with .html"}}};
  for (const Row& row : rows) {
    const ProcessResult result = RunVelmora(With(run, row.words));
    EXPECT_EQ(result.exitCode, 2) << row.words.back();
    ExpectSaid(result, row.said);
  }
  const ProcessResult alone = RunVelmora({"apply", bins, data, "--fail-on", "psi>1"});
  EXPECT_EQ(alone.exitCode, 2);
  ExpectSaid(alone, {"--fail-on needs --monitor"});
}

}  // namespace
}  // namespace velmora::testing
