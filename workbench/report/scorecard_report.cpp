#include "workbench/report/scorecard_report.h"

#include <algorithm>
#include <cmath>

#include "workbench/documents/graph.h"
#include "workbench/documents/page.h"
#include "workbench/documents/page_charts.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

using Row = ReportTable::Row;

constexpr char kText[] = "text";
constexpr char kProbability[] = "probability";

ReportTable QualityTable(const ScorecardReport& report) {
  ReportTable table{"quality",
                    "How well the score separates",
                    {{"Sample", "sample", kText},
                     {"Cases", "cases", "0"},
                     {"Bad rate", "badRate", "0.0000"},
                     {"Mean probability", "meanProbability", "0.0000"},
                     {"AUC", "auc", "0.0000"},
                     {"Gini", "gini", "0.0000"},
                     {"KS", "ks", "0.0000"},
                     {"KS at", "ksScore", "0.0"},
                     {"Brier score", "brierScore", "0.0000"},
                     {"Log loss", "logLoss", "0.0000", true}},
                    {}};
  for (const ScorecardSample& sample : report.samples) {
    const ScoreQuality& quality = sample.quality;
    table.rows.push_back({sample.name, static_cast<double>(quality.cases), quality.BadRate(),
                          quality.meanProbability, quality.areaUnderCurve, quality.Gini(), quality.ksDistance,
                          quality.ksScore, quality.brierScore, quality.logLoss});
  }
  return table;
}

ReportTable CoefficientTable(const ScorecardReport& report) {
  const bool sampled = !report.weightVariable.empty() && !report.rawWeights;
  ReportTable table{
      "coefficients",
      "Coefficients of the weights of evidence, for the log odds of " + report.Response().codes[0],
      {{"Predictor", "predictor", kText},
       {"Coefficient", "coefficient", "0.0000"},
       {"Standard error", "standardError", "0.0000"},
       {"Wald", "wald", "0.00"},
       {"p", "waldP", kProbability},
       {"LR", "likelihoodRatio", "0.00"},
       {"p of LR", "likelihoodRatioP", kProbability},
       {"VIF", "varianceInflation", "0.00"},
       {"Design effect", "designEffect", "0.00", !sampled}},
      {}};
  const double wald = std::pow(report.card.fit.coefficients[0] / report.card.interceptError, 2);
  table.rows.push_back({std::string("(intercept)"), report.card.fit.coefficients[0],
                        report.card.interceptError, wald, kMissing, kMissing, kMissing, kMissing, kMissing});
  for (const ScorecardTerm& term : report.card.terms)
    table.rows.push_back({term.predictor, term.coefficient, term.standardError, term.wald, term.waldP,
                          term.likelihoodRatio, term.likelihoodRatioP, term.varianceInflation,
                          term.designEffect});
  return table;
}

const SavedPredictor& PredictorOf(const SavedResponse& response, const std::string& name) {
  return *std::find_if(response.predictors.begin(), response.predictors.end(),
                       [&](const SavedPredictor& one) { return one.name == name; });
}

ReportTable PointsTable(const ScorecardReport& report) {
  const std::string format = report.settings.roundPoints ? "0" : "0.0";
  ReportTable table{"points",
                    "Points of the bins",
                    {{"Predictor", "predictor", kText},
                     {"Bin", "bin", kText},
                     {"Points", "points", format},
                     {"WOE", "woe", "0.00"},
                     {"Cases", "cases", ""},
                     {"Share", "share", "0.0000", true},
                     {"Bad rate", "badRate", "0.0000"}},
                    {}};
  const SavedScorecard& scorecard = report.Scorecard();
  for (std::size_t t = 0; t < scorecard.terms.size(); ++t) {
    const SavedScorecard::Term& term = scorecard.terms[t];
    const SavedPredictor& predictor = PredictorOf(report.Response(), term.predictor);
    double all = 0;
    for (const SavedCounts& counts : report.counts[t]) all += counts[0] + counts[1];
    for (std::size_t bin = 0; bin < predictor.bins.size(); ++bin) {
      const SavedCounts& counts = report.counts[t][bin];
      const double cases = counts[0] + counts[1];
      table.rows.push_back({predictor.name, predictor.bins[bin].label, term.points[bin],
                            predictor.bins[bin].figures.front(), cases, all > 0 ? cases / all : kMissing,
                            cases > 0 ? counts[0] / cases : kMissing});
    }
    const bool mayLackBin = !predictor.missingBin || (predictor.categorical && !predictor.otherBin);
    if (mayLackBin)
      table.rows.push_back({predictor.name, std::string("(without a bin)"), term.neutralPoints, 0.0, kMissing,
                            kMissing, kMissing});
  }
  return table;
}

ReportTable ScoreTable(const ScorecardReport& report) {
  ReportTable table{"scores",
                    "Scores",
                    {{"Sample", "sample", kText},
                     {"Scores", "label", kText},
                     {"Cases", "cases", ""},
                     {"Bad", "bad", ""},
                     {"Good", "good", ""},
                     {"Bad rate", "badRate", "0.0000"},
                     {"Mean probability", "meanProbability", "0.0000"},
                     {"Up to", "upTo", "0.00", true}},
                    {}};
  for (const ScorecardSample& sample : report.samples) {
    const std::vector<ScoreBand>& bands = sample.quality.bands;
    std::vector<double> ends;
    for (const ScoreBand& band : bands) ends.push_back(band.upTo);
    for (std::size_t i = 0; i < bands.size(); ++i) {
      const ScoreBand& band = bands[i];
      table.rows.push_back({sample.name, ScoreBandLabel(ends, i), band.Total(), band.bad, band.good,
                            band.Total() > 0 ? band.BadRate() : kMissing,
                            band.Total() > 0 ? band.meanProbability : kMissing,
                            i + 1 < bands.size() ? band.upTo : kMissing});
    }
  }
  return table;
}

ReportTable StepTable(const ScorecardReport& report) {
  ReportTable table{"steps",
                    "Steps of the choice",
                    {{"Predictor", "predictor", kText},
                     {"Step", "step", kText},
                     {"Gain", "gain", "0.00"},
                     {"Standard error", "gainError", "0.00"}},
                    {}};
  for (const ScorecardStep& step : report.card.steps)
    table.rows.push_back(
        {step.predictor, std::string(step.added ? "added" : "removed"), step.gain, step.gainError});
  return table;
}

std::string Heading(const ScorecardReport& report) {
  const SavedResponse& response = report.Response();
  return "Scorecard for " + response.name + " (bad: " + response.codes[0] + ", good: " + response.codes[1] +
         "): " + Counted(report.card.terms.size(), "predictor", "predictors");
}

std::vector<Fact> Facts(const ScorecardReport& report) {
  const SavedScorecard& scorecard = report.Scorecard();
  std::vector<Fact> facts = {
      {"Data", report.dataFile},
      {"Cases", std::to_string(report.samples.front().quality.cases) + " of " +
                    std::to_string(report.caseCount) + " in the training sample"},
      {"Bins", report.binsFile},
      {"Response", report.Response().name + " (bad: " + report.Response().codes[0] +
                       ", good: " + report.Response().codes[1] + ")"},
      {"Points", ShownNumber(scorecard.basePoints, "") + " at odds of " + ShownNumber(scorecard.odds, "") +
                     " : 1, " + ShownNumber(scorecard.pdo, "") + " more at twice the odds"},
      {"Choice of predictors", report.settings.stepwise ? "stepwise, by out-of-fold deviance" : "all"}};
  if (!report.countVariable.empty()) facts.push_back({"Counts", report.countVariable});
  if (!report.weightVariable.empty())
    facts.push_back({"Weights", report.weightVariable + (report.rawWeights ? ", as they are" : "")});
  if (!report.select.empty()) facts.push_back({"Selected", report.select});
  if (!report.exclude.empty()) facts.push_back({"Excluded", report.exclude});
  AppendProvenance(report.provenance, facts);
  return facts;
}

Json NamesJson(const std::vector<std::string>& names) { return Json(names); }

// --- Charts
GraphSeries Line(const std::string& name, std::vector<double> x, std::vector<double> y) {
  GraphSeries series;
  series.kind = SeriesKind::kLine;
  series.name = name;
  series.x = std::move(x);
  series.y = std::move(y);
  return series;
}

Graph RocGraph(const ScorecardReport& report) {
  Graph graph;
  graph.titleLines = {"ROC curve",
                      "share of bad cases against share of good cases, from the lowest score up"};
  graph.positionAxis = {"share of good cases", 0, 1, kMissing, {}};
  graph.valueAxis = {"share of bad cases", 0, 1, kMissing, {}};
  for (const ScorecardSample& sample : report.samples) {
    std::vector<double> x, y;
    for (const RocPoint& point : sample.quality.curve) {
      x.push_back(point.goodShare);
      y.push_back(point.badShare);
    }
    graph.series.push_back(Line(sample.name, std::move(x), std::move(y)));
  }
  graph.series.push_back(Line("chance", {0, 1}, {0, 1}));
  return graph;
}

Graph DistanceGraph(const ScorecardReport& report) {
  Graph graph;
  const ScoreQuality& quality = report.samples.back().quality;
  graph.titleLines = {"Cumulative shares by score", report.samples.back().name + " sample; KS " +
                                                        ShownNumber(quality.ksDistance, "0.000") + " at " +
                                                        ShownNumber(quality.ksScore, "0.0")};
  graph.positionAxis.title = "score";
  graph.valueAxis = {"share of cases up to the score", 0, 1, kMissing, {}};
  std::vector<double> x, bad, good;
  for (const RocPoint& point : quality.curve) {
    x.push_back(point.score);
    bad.push_back(point.badShare);
    good.push_back(point.goodShare);
  }
  graph.series.push_back(Line(report.Response().codes[0], x, bad));
  graph.series.push_back(Line(report.Response().codes[1], x, good));
  return graph;
}

Graph DistributionGraph(const ScorecardReport& report) {
  Graph graph;
  graph.kind = GraphKind::kVerticalBars;
  const ScoreQuality& quality = report.samples.front().quality;
  graph.titleLines = {"Distribution of the score",
                      "shares of the bad and of the good cases, training sample"};
  graph.positionAxis.title = "score";
  graph.valueAxis.title = "share";
  GraphSeries bad, good;
  bad.kind = good.kind = SeriesKind::kBars;
  bad.name = report.Response().codes[0];
  good.name = report.Response().codes[1];
  for (std::size_t i = 0; i < quality.bands.size(); ++i) {
    const auto position = static_cast<double>(i + 1);
    graph.positionAxis.ticks.push_back({position, i + 1 < quality.bands.size()
                                                      ? "up to " + ShownNumber(quality.bands[i].upTo, "0")
                                                      : "above"});
    bad.x.push_back(position);
    good.x.push_back(position);
    bad.y.push_back(quality.bad > 0 ? quality.bands[i].bad / quality.bad : 0);
    good.y.push_back(quality.good > 0 ? quality.bands[i].good / quality.good : 0);
  }
  graph.series = {std::move(bad), std::move(good)};
  return graph;
}

Graph CalibrationGraph(const ScorecardReport& report) {
  Graph graph;
  graph.titleLines = {"Calibration", "observed bad rate against mean probability, by classes of the score"};
  graph.positionAxis.title = "mean probability of " + report.Response().codes[0];
  graph.valueAxis.title = "observed bad rate";
  double highest = 0;
  for (const ScorecardSample& sample : report.samples) {
    std::vector<double> x, y;
    for (auto band = sample.quality.bands.rbegin(); band != sample.quality.bands.rend(); ++band) {
      if (!(band->Total() > 0)) continue;
      x.push_back(band->meanProbability);
      y.push_back(band->BadRate());
      highest = std::max({highest, x.back(), y.back()});
    }
    graph.series.push_back(Line(sample.name, std::move(x), std::move(y)));
  }
  graph.series.push_back(Line("agreement", {0, highest}, {0, highest}));
  return graph;
}

PageJson Guide() {
  PageJson guide = PageJson::array();
  const auto term = [&](const char* name, const char* meaning) {
    guide.push_back({{"term", name}, {"meaning", meaning}});
  };
  term("Points",
       "The score of a case is the sum of the points of its bins; a higher score means a better case.");
  term("AUC",
       "Share of the pairs of a bad and a good case in which the good one scores higher: 0.5 by chance.");
  term("Gini", "2 AUC - 1.");
  term("KS", "Largest distance between the distributions of the score of bad and of good cases.");
  term("Brier score", "Mean squared distance of probability and outcome; smaller is better.");
  term("Wald, LR",
       "Tests of whether the predictor adds anything to the others, each with 1 degree of freedom.");
  term("VIF", "How much the other predictors inflate the variance of the coefficient; above 5 is much.");
  return guide;
}

}  // namespace

std::string ScoreBandLabel(const std::vector<double>& upTo, std::size_t band) {
  if (band + 1 < upTo.size()) return "up to " + ShownNumber(upTo[band], "0.0");
  return band > 0 ? "above " + ShownNumber(upTo[band - 1], "0.0") : "all";
}

ScorecardTables TablesOf(const ScorecardReport& report) {
  return {QualityTable(report), CoefficientTable(report), PointsTable(report), ScoreTable(report),
          StepTable(report)};
}

std::string ScorecardJson(const ScorecardReport& report) {
  const ScorecardTables tables = TablesOf(report);
  const SavedScorecard& scorecard = report.Scorecard();
  const SavedResponse& response = report.Response();
  Json run = ProvenanceJson(report.provenance);
  const Json members = {{"dataFile", TextOrNull(report.dataFile)},
                        {"binsFile", TextOrNull(report.binsFile)},
                        {"cases", report.caseCount},
                        {"weightVariable", TextOrNull(report.weightVariable)},
                        {"countVariable", TextOrNull(report.countVariable)},
                        {"rawWeights", report.rawWeights},
                        {"select", TextOrNull(report.select)},
                        {"exclude", TextOrNull(report.exclude)},
                        {"stepwise", report.settings.stepwise},
                        {"folds", report.settings.folds},
                        {"seed", report.settings.seed},
                        {"leftOut", NamesJson(report.leftOut)},
                        {"notices", NamesJson(report.notices)}};
  run.update(members);
  const Json scale = {{"basePoints", scorecard.basePoints},
                      {"odds", scorecard.odds},
                      {"pdo", scorecard.pdo},
                      {"rounded", report.settings.roundPoints}};
  const Json fit = {{"deviance", report.card.fit.deviance},
                    {"nullDeviance", report.card.nullDeviance},
                    {"outOfFoldDeviance", report.card.heldOutDeviance},
                    {"iterations", report.card.fit.iterations}};
  std::string text = "{\n  \"run\": " + Indented(JsonText(run, 2));
  text += ",\n  \"response\": " +
          JsonText({{"name", response.name}, {"bad", response.codes[0]}, {"good", response.codes[1]}});
  text += ",\n  \"scale\": " + JsonText(scale) + ",\n  \"fit\": " + JsonText(fit);
  AppendTableJson(text, "coefficients", tables.coefficients);
  AppendTableJson(text, "points", tables.points);
  AppendTableJson(text, "quality", tables.quality);
  AppendTableJson(text, "scores", tables.scores);
  AppendTableJson(text, "steps", tables.steps);
  Json curves = Json::array();
  for (const ScorecardSample& sample : report.samples) {
    for (const RocPoint& point : sample.quality.curve)
      curves.push_back({{"sample", sample.name},
                        {"score", point.score},
                        {"goodShare", point.goodShare},
                        {"badShare", point.badShare}});
  }
  text += ",\n  \"roc\": ";
  AppendLines(text, curves, "  ", [&](const Json& row) { text += "    " + JsonText(row); });
  return text + "\n}\n";
}

std::string ScorecardText(const ScorecardReport& report, int width, bool utf8) {
  const ScorecardTables tables = TablesOf(report);
  std::string text = Heading(report) + "\n";
  const SavedScorecard& scorecard = report.Scorecard();
  text += ShownNumber(scorecard.basePoints, "") + " points at odds of " + ShownNumber(scorecard.odds, "") +
          " : 1, " + ShownNumber(scorecard.pdo, "") + " more points at twice the odds\n";
  for (const ReportTable* table :
       {&tables.steps, &tables.quality, &tables.coefficients, &tables.points, &tables.scores}) {
    if (!table->rows.empty()) text += "\n" + TerminalText(*table, width, utf8);
  }
  return text;
}

Workbook ScorecardWorkbook(const ScorecardReport& report) {
  Workbook workbook;
  workbook.title = Heading(report);
  workbook.facts = Facts(report);
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  const ScorecardTables tables = TablesOf(report);
  for (const ReportTable* table :
       {&tables.points, &tables.coefficients, &tables.quality, &tables.scores, &tables.steps}) {
    if (!table->rows.empty()) AddSheet(*table, workbook);
  }
  return workbook;
}

std::string ScorecardPage(const ScorecardReport& report) {
  Page page;
  page.charts = true;
  const ScorecardTables tables = TablesOf(report);
  const ShortNames noShortNames;
  PageJson quality = PageJson::array(), points = PageJson::array();
  quality.push_back(PageTablePart(tables.quality));
  int number = 0;
  for (const Graph& graph :
       {RocGraph(report), DistanceGraph(report), DistributionGraph(report), CalibrationGraph(report)}) {
    PageJson chart = ChartPart(graph, "chart" + std::to_string(++number), "scores", noShortNames, page);
    if (!chart.is_null()) quality.push_back(std::move(chart));
  }
  quality.push_back(PageTablePart(tables.scores));
  points.push_back(PageTablePart(tables.points));
  points.push_back(PageTablePart(tables.coefficients));
  if (!tables.steps.rows.empty()) points.push_back(PageTablePart(tables.steps));
  page.eyebrow = "Scorecard";
  page.title = report.Response().name;
  page.factsTitle = "What the scorecard was made from";
  page.facts = PageFacts(Facts(report));
  page.notices = report.notices;
  page.sections.push_back(
      {{"id", "points-section"}, {"title", "Points"}, {"listed", true}, {"parts", std::move(points)}});
  page.sections.push_back(
      {{"id", "quality-section"}, {"title", "Quality"}, {"listed", true}, {"parts", std::move(quality)}});
  page.guide = Guide();
  return PageText(page);
}

}  // namespace velmora
