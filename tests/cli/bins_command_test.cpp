// velmora bins as a process: a screening's bins corrected by hand and screened again with
// --cut-points, and refused edits.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

const Words kScreen = {"screen", "data.csv", "--binary-response", "risk", "--good", "good", "--bad",
                       "bad",    "--quiet"};

ProcessResult RunIn(const TemporaryFolder& folder, const Words& words) {
  ProcessOptions options;
  options.folder = folder.Path();
  return RunVelmora(words, options);
}

const Json& PredictorIn(const Json& bins, const std::string& name) {
  return Named(bins["responses"][0]["predictors"], name);
}

TEST(Bins, EditedBinsAreThoseOfTheNextRun) {
  const TemporaryFolder folder;
  folder.Write("data.csv", ReadFile(Sample("german_credit.csv")));
  ASSERT_EQ(RunIn(folder, With(kScreen, {"--bins", "bins.json", "--save-best", "30"})).exitCode, 0);
  const auto read = [&](const char* name) { return Json::parse(ReadFile(folder.Path() / name)); };
  const Json first = read("bins.json");
  const Json duration = PredictorIn(first, "duration_months");
  ASSERT_GE(duration["bins"].size(), 2u);

  // The counts are those of the run, so a bin's weight of evidence follows from them.
  double bad = 0, good = 0;
  for (const Json& bin : duration["bins"]) {
    bad += bin["counts"][0].get<double>();
    good += bin["counts"][1].get<double>();
  }
  EXPECT_EQ(bad + good, 1000);
  for (const Json& bin : duration["bins"]) {
    const double badHere = bin["counts"][0], goodHere = bin["counts"][1];
    if (badHere == 0 || goodHere == 0) continue;
    const double woe = 100 * std::log(goodHere / good / (badHere / bad));
    EXPECT_NEAR(bin["woe"].get<double>(), woe, 1e-9);
  }

  const Words edit = {"bins", "edit", "bins.json"};
  const ProcessResult merged = RunIn(folder, With(edit, {"merge", "duration_months", "1", "2"}));
  EXPECT_EQ(merged.exitCode, 0) << merged.err;
  EXPECT_NE(merged.out.find("duration_months, before\n"), std::string::npos);
  EXPECT_NE(merged.out.find("duration_months, after\n"), std::string::npos);
  const std::string cut = duration["preBins"][0]["last"].dump();
  EXPECT_EQ(RunIn(folder, With(edit, {"split", "duration_months", cut})).exitCode, 0);
  EXPECT_EQ(RunIn(folder, With(edit, {"group", "housing", "rent"})).exitCode, 0);
  EXPECT_EQ(RunIn(folder, With(edit, {"label", "housing", "1", "first"})).exitCode, 0);
  const Json edited = read("bins.json");

  const ProcessResult again = RunIn(
      folder, With(kScreen, {"--cut-points", "bins.json", "--bins", "again.json", "--save-best", "30"}));
  ASSERT_EQ(again.exitCode, 0) << again.err;
  const Json next = read("again.json");
  EXPECT_EQ(PredictorIn(next, "duration_months")["cutPoints"],
            PredictorIn(edited, "duration_months")["cutPoints"]);
  for (const char* const name : {"duration_months", "housing", "checking_account"}) {
    const Json& bins = PredictorIn(next, name)["bins"];
    const Json& wanted = PredictorIn(edited, name)["bins"];
    ASSERT_EQ(bins.size(), wanted.size()) << name;
    for (std::size_t i = 0; i < bins.size(); ++i) {
      EXPECT_EQ(bins[i]["counts"], wanted[i]["counts"]) << name;
      if (!bins[i]["woe"].is_null()) {
        EXPECT_NEAR(bins[i]["woe"].get<double>(), wanted[i]["woe"].get<double>(), 1e-9) << name;
      }
    }
  }

  for (int step = 0; step < 4; ++step) EXPECT_EQ(RunIn(folder, With(edit, {"undo"})).exitCode, 0);
  EXPECT_EQ(read("bins.json"), first);
  EXPECT_EQ(RunIn(folder, With(edit, {"undo"})).exitCode, 1);
}

TEST(Bins, RefusesWhatDoesNotFitAndKeepsTheFile) {
  struct Row {
    Words words;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {{}, 2, {"show, edit or export"}},
      {{"sho"}, 2, {"There is no action sho"}},
      {{"show"}, 2, {"FILE is missing"}},
      {{"show", "none.json"}, 1, {"none.json cannot be read"}},
      {{"show", "bins.json", "agee"}, 1, {"no predictor agee", "did you mean age?"}},
      {{"edit", "bins.json"}, 2, {"The operation is missing"}},
      {{"edit", "bins.json", "merg", "age", "1", "2"}, 2, {"did you mean merge?"}},
      {{"edit", "bins.json", "merge", "age", "1"}, 2, {"merge PREDICTOR BIN BIN"}},
      {{"edit", "bins.json", "merge", "age", "1", "x"}, 2, {"number, from 1"}},
      {{"edit", "bins.json", "merge", "age", "1", "99"}, 1, {"no bin 99"}},
      {{"edit", "bins.json", "split", "age", "-5"}, 1, {"at -5 would leave a bin without cases"}},
      {{"edit", "bins.json", "merge", "age", "1", "2", "--missing"}, 2, {"belong to group"}},
      {{"edit", "bins.json", "undo"}, 1, {"has no edit to undo"}},
      {{"edit", "bins.json", "reset", "--out", "bins.json"}, 2, {"--out", "bins.json"}},
      {{"export", "bins.json"}, 2, {"--sql, --python or --pmml"}},
      {{"export", "bins.json", "--sql", "a.sql", "--sql-dialect", "db2"}, 2, {"bigquery"}},
  };
  const TemporaryFolder folder;
  folder.Write("data.csv", ReadFile(Sample("german_credit.csv")));
  ASSERT_EQ(RunIn(folder, With(kScreen, {"--bins", "bins.json", "--save-best", "30"})).exitCode, 0);
  const std::string before = ReadFile(folder.Path() / "bins.json");
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    const ProcessResult result = RunIn(folder, With({"bins"}, row.words));
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(ReadFile(folder.Path() / "bins.json"), before);
    EXPECT_EQ(folder.Names(), (Words{"bins.json", "data.csv"}));
  }
}

TEST(Bins, ExportIsWhatScreenWrites) {
  const TemporaryFolder folder;
  folder.Write("data.csv", ReadFile(Sample("german_credit.csv")));
  ASSERT_EQ(RunIn(folder, With(kScreen, {"--bins", "bins.json", "--sql", "a.sql", "--python", "a.py",
                                         "--sql-dialect", "mysql"}))
                .exitCode,
            0);
  ASSERT_EQ(RunIn(folder, {"bins", "export", "bins.json", "--sql", "b.sql", "--python", "b.py",
                           "--sql-dialect", "mysql"})
                .exitCode,
            0);
  EXPECT_EQ(ReadFile(folder.Path() / "a.sql"), ReadFile(folder.Path() / "b.sql"));
  EXPECT_EQ(ReadFile(folder.Path() / "a.py"), ReadFile(folder.Path() / "b.py"));
}

TEST(Bins, CutPointsSayWhatTheyDoNotList) {
  const TemporaryFolder folder;
  folder.Write("data.csv", ReadFile(Sample("german_credit.csv")));
  folder.Write("cuts.json", R"({"housing": [["own"], ["rented"]], "age": [500]})");
  Words screen = kScreen;
  const ProcessResult result = RunIn(folder, With(screen, {"--cut-points", "cuts.json"}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  ExpectSaid(result, {"Level rented of \"housing\" is not used",
                      "cuts.json does not list 2 levels of housing, which make one more bin: for free, rent.",
                      "cuts.json: age ends in one bin, which says nothing about risk."});
}

// income: two special codes among values from 1 to 100, missing values; home: a level of its own.
std::string DataWithCodes() {
  std::string text = "income,home,risk\n";
  for (int i = 0; i < 1200; ++i) {
    const int value = i * 37 % 100 + 1;
    const bool isCode = i % 12 == 3, isMissing = i % 12 == 7;
    const bool bad = isCode ? i % 24 == 3 : isMissing ? i % 5 < 2 : (i * 31 % 100) < 50 - value / 3;
    text += (isCode      ? i % 24 == 3 || i % 36 == 3 ? "-999" : "-998"
             : isMissing ? ""
                         : std::to_string(value)) +
            std::string(i % 4 == 0   ? ",rent"
                        : i % 4 == 1 ? ",own"
                        : i % 4 == 2 ? ",none"
                                     : ",free") +
            (bad ? ",bad\n" : ",good\n");
  }
  return text;
}

TEST(Bins, SpecialCodesAreBinsOfTheirOwn) {
  const TemporaryFolder folder;
  folder.Write("data.csv", DataWithCodes());
  const Words screen = With(kScreen, {"--missing-bin", "own", "--save-chance"});
  const auto saved = [&](const Words& options) {
    const ProcessResult result = RunIn(folder, With(With(screen, options), {"--bins", "b.json"}));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Json::parse(ReadFile(folder.Path() / "b.json"));
  };
  const auto binOf = [](const Json& predictor, const char* label) -> const Json& {
    for (const Json& bin : predictor["bins"]) {
      if (bin["label"] == label) return bin;
    }
    ADD_FAILURE() << "no bin " << label << " in " << predictor.dump();
    return predictor["bins"][0];
  };
  const Json apart = saved({"--special", "income=-999,-998", "--special", "home=none"});
  const Json& income = PredictorIn(apart, "income");
  const std::size_t intervals = income["cutPoints"].size() + 1;
  ASSERT_GE(intervals, 2u);
  EXPECT_GT(income["cutPoints"][0].get<double>(), 0) << "the codes are not among the values";
  EXPECT_EQ(income["bins"].size(), intervals + 3);
  EXPECT_EQ(binOf(income, "-999")["counts"].dump(), "[50.0,17.0]");
  EXPECT_EQ(binOf(income, "-998")["counts"].dump(), "[0.0,33.0]");
  EXPECT_FALSE(binOf(income, "-998")["woe"].is_null()) << "half a case is added to both counts";
  EXPECT_EQ(binOf(income, "Missing")["counts"].dump(), "[40.0,60.0]");
  EXPECT_EQ(binOf(PredictorIn(apart, "home"), "none")["counts"][0].get<int>() +
                binOf(PredictorIn(apart, "home"), "none")["counts"][1].get<int>(),
            300);

  const Json together = saved({"--special", "inc*=-999,-998", "--special-together"});
  EXPECT_EQ(binOf(PredictorIn(together, "income"), "-999, -998")["counts"].dump(), "[50.0,50.0]");

  // Edited and screened again, the bins are the same, with the user's label.
  ASSERT_EQ(RunIn(folder, {"bins", "edit", "b.json", "merge", "income", "1", std::to_string(intervals + 2)})
                .exitCode,
            0);
  ASSERT_EQ(RunIn(folder, {"bins", "edit", "b.json", "label", "income", "1", "low or unknown"}).exitCode, 0);
  const Json edited = Json::parse(ReadFile(folder.Path() / "b.json"));
  const ProcessResult again = RunIn(folder, With(screen, {"--cut-points", "b.json", "--bins", "c.json"}));
  ASSERT_EQ(again.exitCode, 0) << again.err;
  const Json last = Json::parse(ReadFile(folder.Path() / "c.json"));
  const Json& next = PredictorIn(last, "income");
  const Json& wanted = PredictorIn(edited, "income");
  ASSERT_EQ(next["bins"].size(), wanted["bins"].size());
  for (std::size_t i = 0; i < next["bins"].size(); ++i) {
    EXPECT_EQ(next["bins"][i]["label"], wanted["bins"][i]["label"]);
    EXPECT_EQ(next["bins"][i]["counts"], wanted["bins"][i]["counts"]);
    EXPECT_NEAR(next["bins"][i]["woe"].get<double>(), wanted["bins"][i]["woe"].get<double>(), 1e-9);
  }
}

// Labels of bins of special codes and of missing values, and codes that no case has, in two runs one
// after the other; a code that only the options name joins those of the file.
TEST(Bins, SpecialCodesAndTheirLabelsAreThoseOfTheNextRun) {
  const TemporaryFolder folder;
  folder.Write("data.csv", DataWithCodes());
  const Words screen = With(kScreen, {"--predictors", "income"});
  ASSERT_EQ(RunIn(folder, With(screen, {"--special", "income=-999,-998,-7", "--bins", "a.json"})).exitCode,
            0);
  const auto binsOf = [&](const char* file) {
    return PredictorIn(Json::parse(ReadFile(folder.Path() / file)), "income")["bins"];
  };
  const std::size_t intervals = binsOf("a.json").size() - 4;
  const Words label = {"bins", "edit", "a.json", "label", "income"};
  const auto number = [&](std::size_t place) { return std::to_string(intervals + place); };
  ASSERT_EQ(RunIn(folder, With(label, {number(1), "refused"})).exitCode, 0);
  ASSERT_EQ(RunIn(folder, With(label, {number(3), "not asked"})).exitCode, 0);
  ASSERT_EQ(RunIn(folder, With(label, {number(4), "no answer"})).exitCode, 0);
  const Words again = With(screen, {"--special", "income=-5", "--bins"});
  ASSERT_EQ(RunIn(folder, With(again, {"b.json", "--cut-points", "a.json"})).exitCode, 0);
  ASSERT_EQ(RunIn(folder, With(again, {"c.json", "--cut-points", "b.json"})).exitCode, 0);
  const Json bins = binsOf("c.json"), wanted = binsOf("a.json");
  ASSERT_EQ(bins.size(), intervals + 5) << bins;
  Json found = Json::object();
  for (const Json& bin : bins) found[bin["label"].get<std::string>()] = bin["counts"];
  EXPECT_EQ(found["-5"], Json({0, 0}));
  for (const Json& bin : wanted) EXPECT_EQ(found[bin["label"].get<std::string>()], bin["counts"]) << bin;
}

TEST(Bins, SpecialCodesThatDoNotFitAreRefused) {
  const TemporaryFolder folder;
  folder.Write("data.csv", DataWithCodes());
  folder.Write("cuts.json", R"({"income": [-999, 50]})");
  struct Row {
    Words options;
    int exitCode;
    const char* said;
  };
  const Row rows[] = {
      {{"--special", "income"}, 2, "--special takes NAME=CODE,... or user-missing, not income"},
      {{"--special", "incom=-999"}, 2, "did you mean \"income\"?"},
      {{"--special", "income="}, 2, "write codes after income=, such as -999,-998"},
      {{"--special", "income=x"}, 2, "--special: "},
      {{"--special", "home=tent"}, 2, "there is no level tent of home"},
      {{"--special", "risk=bad"}, 2, "risk is not a predictor of this run"},
      {{"--special", "income=-9", "--missing", "income=-9"}, 2, "-9 of income means missing already"},
      {{"--special", "income=-999", "--cut-points", "cuts.json"}, 2, "-999 of income is also a cut point"},
      {{"--special", "income=-999", "--classic"}, 2, "--classic"},
      {{"--special-together"}, 2, "--special-together needs --special"},
      {{"--special", "income=-5,-6"},
       0,
       "No case of income has the special code -6 or -5; new cases that have it get its bin."},
      {{"--special", "income=-999,-5"}, 0, "No case of income has the special code -5; new cases"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.options));
    const ProcessResult result = RunIn(folder, With(kScreen, row.options));
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    ExpectSaid(result, {row.said});
  }
}

TEST(Bins, PageIsTrue) { ExpectPageIsTrue("bins", 8); }

}  // namespace
}  // namespace velmora::testing
