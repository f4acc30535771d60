// The page in a browser: its script runs, tables sort, search and grow, charts are drawn, nothing
// is fetched.
#include <gtest/gtest.h>

#include "tests/documents/graph_sample.h"
#include "tests/documents/sample.h"
#include "tests/support/browser.h"

namespace velmora {
namespace {

using testing::InBrowser;
using Json = nlohmann::json;

TEST(Page, TablesSortSearchAndGrow) {
  const Json out = InBrowser(WriteHtml(sample::Large(450)), R"(
    const box = document.getElementById('table1');
    const names = () => [...box.querySelectorAll('tbody th')].slice(0, 2).map((th) => th.textContent);
    const sort = (i) => box.querySelectorAll('thead button')[i].click();
    const state = (i) => box.querySelectorAll('thead th')[i].getAttribute('aria-sort');
    out.chartBars = document.querySelectorAll('#chart2 svg path').length;
    out.rows = [box.querySelectorAll('tbody tr').length];
    sort(2); out.byP = names(); out.state = [state(1), state(2)];
    sort(2); out.byPDescending = names(); out.state.push(state(2));
    const last = () => { box.querySelector('.more button:last-child').click();
      return [...box.querySelectorAll('tbody th')].pop().textContent; };
    out.emptyLast = last();
    out.rows.push(box.querySelectorAll('tbody tr').length);
    sort(2); out.back = names(); out.state.push(state(2));
    sort(0); out.byName = names();
    out.count = box.querySelector('.count').textContent;
    const search = box.querySelector('input');
    search.value = 'PREDICTOR_44'; search.dispatchEvent(new Event('input'));
    await new Promise((done) => setTimeout(done, 300));
    out.found = box.querySelector('.count').textContent;
    out.foundRows = box.querySelectorAll('tbody tr').length;
  )");
  EXPECT_EQ(Json::array(), out["errors"]);
  EXPECT_GE(out["chartBars"], 50);
  EXPECT_EQ((Json{200, 450}), out["rows"]);
  EXPECT_EQ((Json{"predictor_1", "predictor_2"}), out["byP"]) << "small p-values are wanted first";
  EXPECT_EQ((Json{"predictor_450", "predictor_449"}), out["byPDescending"]);
  EXPECT_EQ("predictor_448", out["emptyLast"]) << "rows without a value are last";
  EXPECT_EQ((Json{"predictor_1", "predictor_2"}), out["back"]);
  EXPECT_EQ((Json{"predictor_1", "predictor_2"}), out["byName"]) << "numbers in names sort as numbers";
  EXPECT_EQ((Json{"none", "ascending", "descending", "none"}), out["state"]);
  EXPECT_EQ("450 rows", out["count"]);
  EXPECT_EQ("11 of 450 rows match", out["found"]);  // 44, 440 to 449
  EXPECT_EQ(11, out["foundRows"]);
}

TEST(Page, HostileTextsAndNamesForReaders) {
  const Json out = InBrowser(WriteHtml(sample::Everything()), R"(
    out.scripts = document.scripts.length;
    out.bold = document.querySelectorAll('pre b').length;
    out.hostile = document.querySelector('#group2 h2').textContent;
    const numbers = document.getElementById('table5');
    out.row = numbers.querySelectorAll('tbody th')[1].textContent;
    out.labels = [...document.querySelectorAll('[role=img]')].map((n) => n.getAttribute('aria-label').slice(0, 15));
    out.details = [...document.querySelectorAll('[aria-details]')].every((n) => document.getElementById(n.getAttribute('aria-details')));
    out.unnamed = [...document.querySelectorAll('button, input')].filter((n) => !n.textContent && !n.getAttribute('aria-label')).length;
    out.scopes = [...document.querySelectorAll('th')].filter((n) => !n.scope).length;
    out.fetched = performance.getEntriesByType('resource').length;
  )",
                             "--blink-settings=preferredColorScheme=0");
  EXPECT_EQ(Json::array(), out["errors"]);
  EXPECT_EQ(5, out["scripts"]) << "three of the page, two of this test";
  EXPECT_EQ(0, out["bold"]);
  EXPECT_EQ(sample::kHostile, out["hostile"]);
  EXPECT_EQ(sample::kHostile, out["row"]);
  EXPECT_EQ((Json{"Importance plot", "Importance plot"}), out["labels"]);
  EXPECT_EQ(true, out["details"]);
  EXPECT_EQ(0, out["unnamed"]);
  EXPECT_EQ(0, out["scopes"]);
  EXPECT_EQ(0, out["fetched"]);
}

// Charts 1 to 7: default rates, distribution, box plot, scatter with diamonds, interaction plot,
// panels, 3-D.
TEST(Page, EveryKindOfGraphIsDrawnWithItsTexts) {
  for (const int bins : {2, 20}) {
    SCOPED_TRACE(bins);
    const Json out = InBrowser(WriteHtml(sample::EveryGraph(bins)), R"(
      const node = (i) => document.getElementById('chart' + i);
      const tipOf = (i, seriesIndex, dataIndex) => {
        const chart = echarts.getInstanceByDom(node(i));
        const last = chart.getOption().series.length - 1;
        chart.dispatchAction({ type: 'showTip', seriesIndex: seriesIndex < 0 ? last : seriesIndex, dataIndex });
        return node(i).querySelector('.tip').innerText;
      };
      await new Promise((done) => setTimeout(done, 500));
      out.drawn = [1, 2, 3, 4, 5, 6, 7].map((i) => node(i).querySelectorAll('svg, canvas').length > 0);
      out.rate = tipOf(1, -1, 1);
      out.distribution = tipOf(2, -1, 0);
      out.box = tipOf(3, 0, 1);
      out.diamond = tipOf(4, 1, 0);
      out.bold = document.querySelectorAll('.chart b').length;
      out.labels = [3, 5].map((i) => {
        const texts = [...node(i).querySelectorAll('text')].filter((text) => /Inf|^\(/.test(text.textContent));
        return texts.length;
      });
      out.fetched = performance.getEntriesByType('resource').length;
    )",
                               "--window-size=1200,4000");  // all of them in sight
    EXPECT_EQ(Json::array(), out["errors"]);
    EXPECT_EQ(Json(std::vector<bool>(7, true)), out["drawn"]);
    const std::string second = bins == 2 ? "(1250, Inf)" : "(1250, 2500]";
    EXPECT_EQ(second + "\n" + sample::kGraphHostile, out["rate"]);
    EXPECT_EQ("(-Inf, 1250]\n" + sample::kGraphHostile, out["distribution"]);
    EXPECT_EQ(0u, out["box"].get<std::string>().rfind(second + "\nMean:48.0", 0)) << out["box"];
    EXPECT_NE(std::string::npos, out["diamond"].get<std::string>().find("mean")) << out["diamond"];
    EXPECT_EQ(0, out["bold"]) << "texts of the data are no markup";
    EXPECT_EQ((Json{bins, bins}), out["labels"]) << "every bin has its label";
    EXPECT_EQ(0, out["fetched"]);
  }
}

}  // namespace
}  // namespace velmora
