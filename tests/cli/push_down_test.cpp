// Analyses that a DuckDB database counts, against the same ones of its cases.
#include <gmock/gmock.h>

#include <cmath>

#include "tests/cli/command_checks.h"
#include "workbench/data/duckdb_session.h"

namespace velmora::testing {
namespace {

using ::testing::HasSubstr;

// The first place where two results differ by more than rounding; empty: none.
std::string Difference(const Json& ours, const Json& whole, const std::string& path = {}) {
  if (ours.is_number() && whole.is_number()) {
    const double a = ours.get<double>(), b = whole.get<double>();
    const bool isNear = std::abs(a - b) <= 1e-9 * std::max({std::abs(a), std::abs(b), 1.0});
    return isNear ? "" : path + ": " + ours.dump() + " and " + whole.dump();
  }
  if (ours.is_object() && whole.is_object()) {
    for (const auto& [name, value] : whole.items()) {
      if (!ours.contains(name)) return path + "/" + name + " is missing";
      if (const std::string found = Difference(ours[name], value, path + "/" + name); !found.empty())
        return found;
    }
    return {};
  }
  if (ours.is_array() && whole.is_array() && ours.size() == whole.size()) {
    for (std::size_t i = 0; i < ours.size(); ++i) {
      const std::string found = Difference(ours[i], whole[i], path + "/" + std::to_string(i));
      if (!found.empty()) return found;
    }
    return {};
  }
  return ours == whole ? "" : path + ": " + ours.dump() + " and " + whole.dump();
}

class PushDown : public ::testing::Test {
 protected:
  void SetUp() override {
    DuckDbSession session(1);
    session.Run("ATTACH " + SqlText(Database()) + " AS made");
    session.Run("USE made");
    session.Run("CREATE TABLE cases AS SELECT *, row_number() OVER () AS place FROM read_csv(" +
                SqlText(Sample("german_credit.csv")) + ")");
    // Weights, counts, missing values, many numbers, and columns that no analysis takes.
    session.Run(
        "CREATE TABLE loans AS SELECT * EXCLUDE (place), 0.5 + (place * 37 % 100) / 64.0 AS w, "
        "place - 10.5 AS less, 1 + place % 3 AS n, CASE place % 7 WHEN 0 THEN NULL WHEN 1 THEN ' ' ELSE "
        "purpose END AS aim, CASE WHEN place % 5 = 0 THEN -9 ELSE age * 1.25 END AS worth, "
        "amount * 1000 + place AS many, place % 11 < 4 AS flag, place AS id, "
        "9007199254740992 + place AS account, DATE '2024-01-01' + CAST(place % 300 AS INTEGER) AS day, "
        "[place] AS list, CASE WHEN place % 13 = 0 THEN 'NaN'::DOUBLE WHEN place % 17 = 0 THEN "
        "'Infinity'::DOUBLE ELSE age / 3 END AS odd, "
        "1e9 + amount / 2800.0 + place % 97 / 97.0 AS far, "
        "CASE WHEN place % 7 < 2 THEN 0 ELSE 1e6 + amount / 2800.0 END AS partly, "
        "CASE WHEN place % 7 < 2 THEN 0 ELSE 0.1 END AS level FROM cases");
    session.Run("DROP TABLE cases");
    session.Run("USE memory");
    session.Run("DETACH made");
  }

  std::string Database() const { return (folder_.Path() / "bank.duckdb").string(); }

  Json Run(const Words& words) const {
    return JsonFrom(With({words.front(), Database()},
                         With(Words(words.begin() + 1, words.end()), {"--format", "json", "--quiet"})));
  }

  TemporaryFolder folder_;
};

TEST_F(PushDown, RankingsAreThoseOfTheCases) {
  const struct {
    const char* name;
    Words words, pushed;  // pushed: only inside the database
    Words cases;          // only outside
  } rows[] = {
      {"classes", {"--dependents", "risk"}, {}, {}},
      {"a measured outcome",
       {"--dependents", "amount", "--predictors", "age", "purpose", "flag", "odd"},
       {},
       {}},
      {"an outcome far from zero",
       {"--dependents", "far", "--predictors", "age", "purpose", "flag", "w", "many"},
       {},
       {}},
      {"an outcome far from zero where the predictor has values",
       {"--dependents", "partly", "--predictors", "aim", "--categorical", "aim"},
       {},
       {}},
      {"an outcome that is constant where the predictor has values",
       {"--dependents", "level", "--continuous", "level", "--predictors", "aim"},
       {},
       {}},
      {"two outcomes",
       {"--dependents", "risk", "duration_months", "--predictors", "v5", "housing", "worth"},
       {},
       {}},
      {"weights", {"--dependents", "risk", "--weight", "w"}, {}, {}},
      {"counts", {"--dependents", "risk", "--count", "n"}, {}, {}},
      {"counts and weights", {"--dependents", "risk", "--count", "n", "--weight", "w"}, {}, {}},
      {"complete cases",
       {"--dependents", "risk", "--predictors", "aim", "worth", "odd", "--casewise", "--missing", "worth=-9"},
       {},
       {}},
      {"an outcome cut into intervals",
       {"--dependents", "many", "--predictors", "age", "aim", "--cut-dependents"},
       {},
       {}},
      {"declared kinds",
       {"--dependents", "risk", "--categorical", "age", "--missing", "aim=business,education"},
       {},
       {}},
      {"named identifiers and dates", {"--dependents", "risk", "--predictors", "id", "day", "age"}, {}, {}},
      {"a selection",
       {"--dependents", "risk"},
       {"--where", "age > 30 AND housing <> 'rent'"},
       {"--select", "age > 30 And housing <> 'rent'"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Words words = With({"feature-selection"}, row.words);
    const Json whole = Run(With(words, row.cases));
    const Json ours = Run(With(With(words, {"--push-down", "--cells", "5000"}), row.pushed));
    EXPECT_EQ(Difference(ours["dependents"], whole["dependents"]), "");
    for (const char* const name :
         {"cases", "excludedCases", "zeroWeightCases", "badCountCases", "incompleteCases", "acceptedCases",
          "validCases", "totalWeight", "weightDesignEffect"})
      EXPECT_EQ(Difference(ours["run"][name], whole["run"][name]), "") << name;
    EXPECT_EQ(ours["run"]["select"], row.pushed.empty() ? Json() : Json(row.pushed.back()));
  }
}

TEST_F(PushDown, ColumnsThatIdentifyCasesStayInTheDatabase) {
  const ProcessResult run = RunVelmora({"feature-selection", Database(), "--dependents", "risk",
                                        "--push-down", "--cells", "50", "--format", "csv"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  ExpectSaid(run, {"Not screened: id (looks like an identifier: consecutive numbers, one per case)",
                   "Not screened: account (looks like an identifier: 1000 distinct texts in 1000 cases)",
                   "Not screened: day (date)", "Columns of lists, structures or bytes are left out: list."});
  const Json ours = Run({"feature-selection", "--dependents", "risk", "--push-down", "--cells", "50"});
  EXPECT_THAT(ours["run"]["notices"].dump(), HasSubstr("more than 50 different values"));
  // Ends of intervals move by cases of a fiftieth at most.
  const Json whole = Run({"feature-selection", "--dependents", "risk", "--predictors", "many"});
  const double exact = whole["dependents"][0]["predictors"][0]["effect"];
  for (const Json& one : ours["dependents"][0]["predictors"]) {
    if (one["name"] != "many") continue;
    EXPECT_NEAR(one["effect"].get<double>(), exact, 0.05);
  }
}

TEST_F(PushDown, BinsAreThoseOfTheCasesAndBecomeAView) {
  const Words binary = {"screen", "--binary-response", "risk", "--good", "good", "--bad", "bad"};
  for (const Words& words : {binary, With(binary, {"--weight", "w"}), With(binary, {"--missing", "worth=-9"}),
                             Words{"screen", "--categorical-response", "housing"}}) {
    SCOPED_TRACE(words.back());
    const Json whole = Run(words), ours = Run(With(words, {"--push-down", "--cells", "5000"}));
    const Json& predictors = whole["responses"][0]["predictors"];
    ASSERT_FALSE(predictors.empty());
    for (const Json& predictor : predictors) {
      const Json& same = Named(ours["responses"][0]["predictors"], predictor["name"]);
      for (const char* const member :
           {"cutPoints", "labels", "levels", "missingBin", "rows", "total", "cases", "missing",
            "informationValue", "giniAfter", "chiSquare", "pValue"}) {
        if (!predictor.contains(member)) continue;
        EXPECT_EQ(Difference(same.value(member, Json()), predictor[member]), "")
            << predictor["name"] << " " << member;
      }
    }
  }
  const std::string bins = (folder_.Path() / "bins.json").string(),
                    coded = (folder_.Path() / "coded.csv").string();
  Run(With(binary, {"--push-down", "--bins", bins}));
  EXPECT_EQ(RunVelmora({"apply", bins, Database(), "--create-view", "coded"}).exitCode, 0);
  // The view is a table of the file, too.
  EXPECT_NE(RunVelmora({"apply", bins, Database(), "--create-view", "coded"}).exitCode, 0);
  EXPECT_EQ(RunVelmora({"apply", bins, Database(), "--table", "loans", "--create-view", "coded"}).exitCode,
            0);
  // A view of itself: the one from before is kept.
  EXPECT_NE(RunVelmora({"apply", bins, Database(), "--table", "coded", "--create-view", "coded"}).exitCode,
            0);
  ASSERT_EQ(RunVelmora({"apply", bins, Database(), "--table", "loans", "--out", coded}).exitCode, 0);
  DuckDbSession session(1);
  session.Run("ATTACH " + SqlText(Database()) + " AS made (READ_ONLY)");
  std::string differing;
  const std::string name = "\"risk_duration_months_Coded\"";
  session.Rows(
      "SELECT count(*), count(v." + name + "), count(*) FILTER (WHERE f." + name + " IS DISTINCT FROM v." +
          name + ") FROM made.coded v JOIN read_csv(" + SqlText(coded) + ") f USING (id)",
      [&](const char* const* texts) { differing = std::string(texts[0]) + " " + texts[1] + " " + texts[2]; });
  EXPECT_EQ(differing, "1000 1000 0");
}

TEST_F(PushDown, OtherSourcesOfDuckDb) {
  DuckDbSession session(1);
  const std::string parquet = (folder_.Path() / "loans.parquet").string();
  session.Run("ATTACH " + SqlText(Database()) + " AS made (READ_ONLY)");
  session.Run("COPY made.loans TO " + SqlText(parquet) + " (FORMAT parquet)");
  session.Run("DETACH made");
  const std::string bins = (folder_.Path() / "bins.json").string();
  RunVelmora({"screen", parquet, "--binary-response", "risk", "--good", "good", "--bad", "bad",
              "--predictors", "age", "--quiet", "--bins", bins});
  EXPECT_THAT(RunVelmora({"apply", bins, parquet, "--create-view", "v"}).err,
              HasSubstr("Only PostgreSQL and .duckdb files can be changed, unlike " + parquet));
  const Words words = {"--dependents", "risk", "--predictors", "age",        "aim",
                       "--format",     "csv",  "--quiet",      "--push-down"};
  const std::string ours = RunVelmora(With({"feature-selection", Database()}, words)).out;
  EXPECT_NE(ours, "");
  EXPECT_EQ(RunVelmora(With({"feature-selection", parquet}, words)).out, ours);
  EXPECT_EQ(
      RunVelmora(With({"feature-selection", "--sql-from", "SELECT * FROM " + SqlText(parquet)}, words)).out,
      ours);
}

TEST_F(PushDown, BadInputIsOneSentence) {
  const Words ranking = {"--dependents", "risk", "--push-down"};
  const struct {
    Words words;
    const char* sentence;
  } rows[] = {
      {With({"feature-selection", Database(), "--select", "age > 30"}, ranking), "use --where"},
      {With({"feature-selection", Database(), "--where", "agee > 30"}, ranking), "agee"},
      {With({"feature-selection", Database(), "--where", "age > 3000"}, ranking), "No case is used"},
      {With({"feature-selection", Database(), "--weight", "less"}, ranking),
       "--weight: 10 cases have a negative weight in less; a weight is 0 or more."},
      {With({"feature-selection", Database(), "--weight", "wight"}, ranking), "There is no column \"wight\""},
      {With({"feature-selection", Database(), "--weight", "purpose"}, ranking),
       "purpose holds varchar, not numbers"},
      {With({"feature-selection", Database(), "--predictors", "list"}, ranking),
       "There is no variable \"list\""},
      {With({"feature-selection", Database(), "--strata", "housing"}, ranking),
       "need all cases in one place"},
      {{"feature-selection", Database(), "--dependents", "amount", "--weight", "w", "--push-down"},
       "Weights and counts with the measured outcome amount"},
      {{"feature-selection", Database(), "--dependents", "risk", "--where", "age > 3"},
       "--where needs --push-down"},
      {With({"feature-selection", Sample("german_credit.csv")}, ranking),
       "PostgreSQL (postgresql://...) or DuckDB"},
      {With({"feature-selection", "mysql://host/bank?table=loans"}, ranking), "unlike mysql://host/bank"},
      {{"screen", Database(), "--continuous-response", "amount", "--push-down"}, "feature-selection ranks"},
      {{"screen", Database(), "--binary-response", "risk", "--good", "good", "--bad", "bad", "--push-down",
        "--coded", "a.csv"},
       "--coded needs the cases"},
      {{"screen", Database(), "--binary-response", "risk", "--good", "good", "--bad", "awful", "--push-down"},
       "The response risk has one value"},
      {{"apply", folder_.Write("bins.json", "{}"), Database(), "--create-view", "v", "--out", "a.csv"},
       "--out has no effect on --create-view"},
  };
  for (const auto& row : rows) {
    const ProcessResult run = RunVelmora(row.words);
    EXPECT_NE(run.exitCode, 0) << row.sentence;
    EXPECT_THAT(run.err, HasSubstr(row.sentence));
    EXPECT_EQ(run.out, "");
  }
}

}  // namespace
}  // namespace velmora::testing
