// The page of a screening run in a browser, and how it grows.
#include <gtest/gtest.h>

#include "tests/cli/command_checks.h"
#include "tests/support/browser.h"
#include "workbench/documents/embedded_files.h"
#include "workbench/report/screen_page.h"

namespace velmora::testing {
namespace {

const std::string kHostile = "a</script><b>\"q\" & 'x' 面積";

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

// 240 cases: 12 without a response, 24 of another code. The hostile predictor and its levels are
// the best, noise comes after it, one predictor is constant.
std::string HostileTable() {
  std::string csv = "flag," + Quoted(kHostile) + ",x,y,z,same\n";
  for (int i = 0; i < 240; ++i) {
    const bool bad = i % 4 == 0;
    const std::string flag = i % 20 == 1 ? "" : i % 10 == 3 ? "other" : bad ? "bad" : "good";
    csv += flag + "," + Quoted(bad || i % 7 == 0 ? kHostile : "plain \"level\"") + "," +
           std::to_string((i * 37) % 101 + (bad ? 30 : 0)) + ".5," + std::to_string((i * 53) % 97) + ".25," +
           std::to_string((i * 29) % 89) + ".75,1\n";
  }
  return csv;
}

TEST(ScreenPage, ShowsTheRunAndMakesPanelsOnDemand) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", HostileTable());
  const Words words = {"screen", data,       "--binary-response", "flag",   "--good", "good",    "--bad",
                       "bad",    "--select", "v3 < 125",          "--best", "1",      "--quiet", "--format"};
  const Json results = Json::parse(RunVelmora(With(words, {"json"})).out);
  const ProcessResult page = RunVelmora(With(words, {"html"}));
  ASSERT_EQ(page.exitCode, 0) << page.err;
  const Json& predictors = results["responses"][0]["predictors"];
  ASSERT_EQ(predictors.size(), 4u);
  ASSERT_EQ(predictors[0]["name"], kHostile);

  const Json out = InBrowser(page.out, R"(
    const text = (query) => [...document.querySelectorAll(query)].map((node) => node.innerText);
    out.facts = Object.fromEntries(text('.facts > div').map((fact) => fact.split('\n')));
    out.ranking = text('#r0-ranking tbody th');
    out.shapes = document.querySelectorAll('#r0-ranking svg.shape').length;
    out.panels = [...document.querySelectorAll('.panel')].map((panel) => panel.id);
    const link = document.querySelectorAll('#r0-ranking tbody a')[2];
    link.click();
    await new Promise((done) => setTimeout(done, 200));
    out.focused = document.activeElement.id;
    out.opened = text('#p0-3 h4')[0];
    out.rows = [...document.querySelectorAll('#p0-3 tbody tr')].map((row) => [...row.cells].map((cell) => cell.innerText));
    out.chart = document.querySelectorAll('#p0-3 svg').length;
    out.rules = document.querySelector('#p0-1 .rule pre').textContent;
    out.left = text('#left-out tbody tr')[0];
    out.bold = document.querySelectorAll('main b').length;
    out.unnamed = [...document.querySelectorAll('button, input, a')].filter((n) => !n.textContent && !n.getAttribute('aria-label')).length;
    out.scopes = [...document.querySelectorAll('th')].filter((n) => !n.scope).length;
    out.fetched = performance.getEntriesByType('resource').length;
  )");
  EXPECT_EQ(out["errors"], Json::array());
  EXPECT_EQ(out["facts"]["Cases in the data"], "240");
  int used = 0, notSelected = 0, missing = 0, other = 0;
  for (int i = 0; i < 240; ++i) {
    if ((i * 37) % 101 + (i % 4 == 0 ? 30 : 0) + 0.5 >= 125) {
      ++notSelected;
    } else {
      ++(i % 20 == 1 ? missing : i % 10 == 3 ? other : used);
    }
  }
  EXPECT_EQ(out["facts"]["Cases of flag"],
            std::to_string(used) + " used; left out: " + std::to_string(notSelected) + " not selected, " +
                std::to_string(missing) + " without a value, " + std::to_string(other) + " with other codes");
  EXPECT_EQ(results["responses"][0]["cases"], (Json{{"used", used},
                                                    {"effective", used},
                                                    {"totalWeight", used},
                                                    {"notSelected", notSelected},
                                                    {"withoutWeight", 0},
                                                    {"withoutResponse", missing},
                                                    {"otherCodes", other}}));
  Json order = Json::array();
  for (const Json& predictor : predictors) order.push_back(predictor["name"]);
  EXPECT_EQ(out["ranking"], order);
  EXPECT_EQ(out["shapes"], 4);
  EXPECT_EQ(out["panels"], Json{"p0-1"});
  EXPECT_EQ(out["focused"], "p0-3");
  EXPECT_EQ(out["opened"], "3 " + order[2].get<std::string>());
  const Json& third = predictors[2];
  ASSERT_EQ(out["rows"].size(), third["rows"].size() + 1);
  for (std::size_t b = 0; b < third["rows"].size(); ++b) {
    EXPECT_EQ(out["rows"][b][0], third["rows"][b]["label"]);
    EXPECT_NEAR(std::stod(out["rows"][b][6].get<std::string>()), third["rows"][b]["woe"].get<double>(),
                0.005);
  }
  EXPECT_EQ(out["chart"], 2) << "cases with bad rate, and weight of evidence";
  EXPECT_NE(out["rules"].get<std::string>().find(kHostile + " = plain \"level\""), std::string::npos)
      << out["rules"];
  EXPECT_NE(out["left"].get<std::string>().find("same"), std::string::npos);
  EXPECT_EQ(out["bold"], 0) << "texts of the data are no markup";
  EXPECT_EQ(out["unnamed"], 0);
  EXPECT_EQ(out["scopes"], 0);
  EXPECT_EQ(out["fetched"], 0);
}

// The tables of the bins turn from counts to percentages and back, those made later too.
TEST(ScreenPage, ShowsClassesInPercent) {
  const ProcessResult page = RunVelmora({"screen", Sample("vehicle.csv"), "--categorical-response", "class",
                                         "--best", "1", "--quiet", "--format", "html"});
  ASSERT_EQ(page.exitCode, 0) << page.err;
  const Json out = InBrowser(page.out, R"(
    const choice = document.querySelector('#r0-panels select');
    const rows = (panel) => [...document.querySelectorAll(`#p0-${panel} tbody tr`)].map((row) => [...row.cells].slice(1).map((cell) => Number(cell.innerText)));
    out.counts = rows(1);
    const seen = [];
    for (const figure of [1, 2, 3]) {
      choice.value = String(figure);
      choice.dispatchEvent(new Event('change'));
      seen.push(rows(1));
    }
    [out.ofBin, out.ofClass, out.expected] = seen;
    location.hash = '#p0-2';
    await new Promise((done) => setTimeout(done, 200));
    out.later = rows(2).pop();
    choice.value = '0';
    choice.dispatchEvent(new Event('change'));
    out.again = rows(1);
  )");
  EXPECT_EQ(out["errors"], Json::array());
  EXPECT_EQ(out["again"], out["counts"]);
  EXPECT_EQ(out["later"], (Json{218.0, 212.0, 217.0, 199.0, 846}));
  const Json& counts = out["counts"];
  const Json& whole = counts.back();
  for (std::size_t row = 0; row < counts.size(); ++row) {
    for (std::size_t c = 0; c < 4; ++c) {
      const double count = counts[row][c], bin = counts[row][4], ofClass = whole[c], all = whole[4];
      EXPECT_NEAR(out["ofBin"][row][c].get<double>(), 100 * count / bin, 0.051);
      EXPECT_NEAR(out["ofClass"][row][c].get<double>(), 100 * count / ofClass, 0.051);
      EXPECT_NEAR(out["expected"][row][c].get<double>(), bin * ofClass / all, 0.051);
    }
  }
}

// Three responses with 5,000 predictors each, twenty bins per predictor, and weights that make
// every figure long.
TEST(ScreenPage, StaysSmallWithThousandsOfPredictors) {
  ScreenReport report;
  ScreenDocuments documents;
  for (const vlm::ResponseKind kind :
       {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    ScreenedResponse& response = report.responses.emplace_back();
    response.kind = kind;
    response.name = "response";
    response.codes = {"bad", "good"};
    for (int i = 0; i < 5000; ++i) {
      ScreenedPredictor& predictor = response.predictors.emplace_back();
      predictor.name = "a_name_of_usual_length_" + std::to_string(i);
      predictor.figures.giniAfter = predictor.figures.rSquared = predictor.figures.chiSquareP = 1.0 / (i + 7);
      for (int b = 0; b < 20; ++b) {
        ScreenedBin& bin = predictor.bins.emplace_back();
        bin.label = "(" + std::to_string(b * 1234.5) + ", " + std::to_string((b + 1) * 1234.5) + "]";
        bin.figures.total = bin.figures.bad = bin.figures.good = bin.figures.variance = 1e5 / (b + 7);
        bin.counts = {1e4 / (b + 3), 1e4 / (b + 7)};
        if (b > 0) predictor.cutPoints.push_back(b * 1234.5);
      }
      predictor.total = predictor.bins.back();
    }
    documents.panels.emplace_back();
  }
  const std::string page = ScreenPage(report, documents, Workbook());
  EXPECT_LT(page.size() - ChartLibrary().size(), 4000000u);
  const Json out = InBrowser(page, R"(
    out.rows = document.querySelectorAll('#r0-ranking tbody tr').length;
    const open = async (address) => { location.hash = address; await new Promise((done) => setTimeout(done, 100));
      return document.getElementById(address).querySelectorAll('tbody tr').length; };
    out.first = await open('p0-2');
    out.last = await open('p2-5000');
    out.hint = document.querySelector('#p2-5000 .hint').textContent;
  )");
  EXPECT_EQ(out["errors"], Json::array());
  EXPECT_EQ(out["rows"], 100);
  EXPECT_EQ(out["first"], 21);
  EXPECT_EQ(out["last"], 0);
  EXPECT_NE(out["hint"].get<std::string>().find("screening_bins.csv"), std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
