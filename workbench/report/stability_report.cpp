#include "workbench/report/stability_report.h"

#include <algorithm>
#include <cmath>

#include "workbench/documents/page_charts.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr char kText[] = "text";
constexpr std::size_t kMostPanels = 12;  // predictors with small multiples on the page
constexpr std::size_t kMostGroupsDrawn = 16;
constexpr std::size_t kMostLines = 60;                 // of a table on a terminal
constexpr std::size_t kMostPageRows = 5000;            // of a table on the page
constexpr double kSomeShift = 0.1, kMuchShift = 0.25;  // of an index, as commonly interpreted

// The name of the strength of a response kind.
const char* StrengthTitle(const std::string& kind) {
  if (kind == "binary") return "IV";
  return kind == "continuous" ? "R-squared" : "Cramer's V";
}

template <typename Use>
void ForEachPredictor(const StabilityReport& report, Use use) {
  for (const ResponseStability& response : report.responses) {
    for (const PredictorStability& score : response.scores) use(response, score);
    for (const PredictorStability& predictor : response.predictors) use(response, predictor);
  }
}

bool HasSeveral(const StabilityReport& report) { return report.responses.size() > 1; }

// The headers that depend on the kinds of the responses.
std::string StrengthHeader(const StabilityReport& report) {
  std::string header;
  for (const ResponseStability& response : report.responses) {
    const std::string title = StrengthTitle(response.kind);
    if (header.find(title) == std::string::npos) header += (header.empty() ? "" : " / ") + title;
  }
  return header;
}

ReportTable SummaryTable(const StabilityReport& report) {
  const std::string strength = StrengthHeader(report);
  ReportTable table{
      "stability",
      report.binsFile.empty() ? "Stability over " + report.byVariable : "New cases against those of the bins",
      {{"Predictor", "predictor", kText},
       {"Response", "response", kText, !HasSeveral(report)},
       {"PSI", "psi", "0.0000"},
       {"In", "psiGroup", kText, !report.binsFile.empty()},
       {"Reading", "reading", kText},
       {"PSI of WOE", "woePsi", "0.0000"},
       {"In", "woePsiGroup", kText, !report.binsFile.empty()},
       {strength + " first", "firstStrength", "0.0000"},
       {strength + " last", "lastStrength", "0.0000"},
       {"Trend", "trend", "0.0000", !report.binsFile.empty()},
       {"Crossings", "crossings", "0"}},
      {}};
  ForEachPredictor(report, [&](const ResponseStability& response, const PredictorStability& one) {
    const std::size_t share = one.WorstShare(), woe = one.WorstWoe();
    int crossings = 0;
    for (const PredictorInGroup& group : one.groups) crossings += group.crossings;
    const double woeIndex = one.groups[woe].woeIndex;
    table.rows.push_back({one.name, response.name, one.groups[share].shareIndex, report.groups[share],
                          std::string(ReadingOf(one.groups[share].shareIndex)), woeIndex,
                          woeIndex == kMissing ? std::string() : report.groups[woe],
                          one.groups.front().strength, one.groups.back().strength, one.trend,
                          static_cast<double>(crossings)});
  });
  return table;
}

ReportTable GroupTable(const StabilityReport& report) {
  ReportTable table{"stability-groups",
                    "Predictors by group",
                    {{"Predictor", "predictor", kText},
                     {"Response", "response", kText, !HasSeveral(report)},
                     {"Group", "group", kText},
                     {"Cases", "cases", ""},
                     {"Without a bin", "unbinnedShare", "0.0000"},
                     {"PSI", "psi", "0.0000"},
                     {"PSI of WOE", "woePsi", "0.0000"},
                     {StrengthHeader(report), "strength", "0.0000"},
                     {"AUC", "auc", "0.0000"},
                     {"Gini", "gini", "0.0000", true},
                     {"KS", "ks", "0.0000", true},
                     {"Crossings", "crossings", "0"}},
                    {}};
  ForEachPredictor(report, [&](const ResponseStability& response, const PredictorStability& one) {
    const bool isScore = !response.scores.empty() && &one == response.scores.data();
    for (std::size_t g = 0; g < one.groups.size(); ++g) {
      const PredictorInGroup& group = one.groups[g];
      const double area = isScore ? response.scoreArea[g] : group.areaUnderCurve;
      const bool known = area != kMissing && std::isfinite(area);
      table.rows.push_back({one.name, response.name, report.groups[g], group.cases, group.unbinnedShare,
                            group.shareIndex, group.woeIndex, group.strength, known ? area : kMissing,
                            known ? 2 * area - 1 : kMissing, isScore ? response.scoreKs[g] : kMissing,
                            static_cast<double>(group.crossings)});
    }
  });
  return table;
}

ReportTable BinTable(const StabilityReport& report) {
  ReportTable table{"stability-bins",
                    "Bins by group",
                    {{"Predictor", "predictor", kText},
                     {"Response", "response", kText, !HasSeveral(report)},
                     {"Bin", "bin", kText},
                     {"Group", "group", kText},
                     {"Cases", "cases", ""},
                     {"Share", "share", "0.0000"},
                     {"Rate", "rate", "0.0000"},
                     {"WOE", "woe", "0.00"}},
                    {}};
  ForEachPredictor(report, [&](const ResponseStability& response, const PredictorStability& one) {
    for (std::size_t bin = 0; bin < one.labels.size(); ++bin) {
      for (std::size_t g = 0; g < one.groups.size(); ++g) {
        const BinInGroup& at = one.groups[g].bins[bin];
        table.rows.push_back({one.name, response.name, one.labels[bin], report.groups[g], at.cases, at.share,
                              at.rate, at.woe});
      }
    }
  });
  return table;
}

ReportTable UnseenTable(const StabilityReport& report) {
  ReportTable table{"stability-unseen",
                    "Levels that the bins do not have",
                    {{"Predictor", "predictor", kText}, {"Level", "level", kText}, {"Cases", "cases", "0"}},
                    {}};
  for (const UnseenOfPredictor& one : report.unseen) {
    for (const auto& [level, cases] : one.levels)
      table.rows.push_back({one.predictor, level, static_cast<double>(cases)});
  }
  return table;
}

ReportTable ConditionTable(const StabilityReport& report) {
  ReportTable table{"stability-conditions",
                    "Conditions",
                    {{"Condition", "condition", kText}, {"Met", "met", kText}, {"Finding", "finding", kText}},
                    {}};
  for (const StabilityCondition& condition : report.conditions)
    table.rows.push_back({condition.text, std::string(condition.isMet ? "yes" : "no"), condition.finding});
  return table;
}

std::vector<Fact> Facts(const StabilityReport& report) {
  std::vector<Fact> facts = {{"Data", report.dataFile}};
  if (!report.binsFile.empty()) facts.push_back({"Bins", report.binsFile});
  if (!report.byVariable.empty()) facts.push_back({"Groups by", report.byVariable});
  facts.push_back({"Compared with", report.referenceIsAll ? "all groups together" : report.groups.front()});
  AppendProvenance(report.provenance, facts);
  return facts;
}

// A screen or two; the other formats have all rows.
ReportTable Shortened(ReportTable table) {
  if (table.rows.size() > kMostLines) {
    table.title +=
        " (the first " + std::to_string(kMostLines) + " of " + std::to_string(table.rows.size()) + ")";
    table.rows.resize(kMostLines);
  }
  return table;
}

// The rate of every bin, or its share where there is no rate, one panel per group.
Graph PanelsOf(const StabilityReport& report, const ResponseStability& response,
               const PredictorStability& one) {
  Graph graph;
  graph.kind = GraphKind::kPanels;
  const bool hasRate = response.kind != "categorical" && response.known;
  const char* const title = !hasRate ? "share of cases" : response.kind == "binary" ? "bad rate" : "mean";
  graph.titleLines = {one.name, std::string(title) + " of the bins, by group"};
  graph.valueAxis.title = title;
  for (std::size_t bin = 0; bin < one.labels.size(); ++bin)
    graph.positionAxis.ticks.push_back({static_cast<double>(bin + 1), one.labels[bin]});
  for (std::size_t g = 0; g < std::min(one.groups.size(), kMostGroupsDrawn); ++g) {
    GraphSeries series;
    series.kind = SeriesKind::kBars;
    series.name = report.groups[g];
    for (std::size_t bin = 0; bin < one.labels.size(); ++bin) {
      const BinInGroup& at = one.groups[g].bins[bin];
      const double value = hasRate ? at.rate : at.share;
      series.x.push_back(static_cast<double>(bin + 1));
      series.y.push_back(value == kMissing ? 0 : value);
    }
    graph.series.push_back(std::move(series));
  }
  return graph;
}

PageJson Guide() {
  PageJson guide = PageJson::array();
  const auto term = [&](const char* name, const char* meaning) {
    guide.push_back({{"term", name}, {"meaning", meaning}});
  };
  term(
      "PSI",
      "Population stability index: how far the shares of the bins are from those of the reference. Up to 0.1 "
      "stable, above 0.25 shifted.");
  term("PSI of WOE",
       "The same for the rates within the bins, for equal shares of bins and an equal overall rate: whether "
       "the predictor still says the same.");
  term("Crossings",
       "Pairs of bins whose rates are in the other order than in the reference, by more than one standard "
       "error.");
  term("Trend", "Change of the strength from one group to the next.");
  return guide;
}

}  // namespace

const char* ReadingOf(double index) {
  return index > kMuchShift ? "shifted" : index > kSomeShift ? "watch" : "stable";
}

StabilityTables TablesOf(const StabilityReport& report) {
  return {SummaryTable(report), GroupTable(report), BinTable(report), UnseenTable(report),
          ConditionTable(report)};
}

std::string StabilityJson(const StabilityReport& report) {
  const StabilityTables tables = TablesOf(report);
  Json run = ProvenanceJson(report.provenance);
  const Json members = {{"dataFile", TextOrNull(report.dataFile)},
                        {"by", TextOrNull(report.byVariable)},
                        {"binsFile", TextOrNull(report.binsFile)},
                        {"groups", report.groups},
                        {"reference", report.referenceIsAll ? Json("all") : Json(report.groups.front())},
                        {"ungroupedCases", report.ungroupedCases},
                        {"notices", report.notices}};
  run.update(members);
  std::string text = "{\n  \"run\": " + Indented(JsonText(run, 2));
  AppendTableJson(text, "predictors", tables.summary);
  AppendTableJson(text, "groups", tables.groups);
  AppendTableJson(text, "bins", tables.bins);
  AppendTableJson(text, "unseen", tables.unseen);
  AppendTableJson(text, "conditions", tables.conditions);
  return text + "\n}";
}

std::string StabilityText(const StabilityReport& report, int width, bool utf8) {
  const StabilityTables tables = TablesOf(report);
  std::string text = TerminalText(Shortened(tables.summary), width, utf8);
  if (tables.groups.rows.size() <= kMostLines) text += "\n" + TerminalText(tables.groups, width, utf8);
  for (const ReportTable* table : {&tables.unseen, &tables.conditions}) {
    if (!table->rows.empty()) text += "\n" + TerminalText(Shortened(*table), width, utf8);
  }
  return text;
}

void AddStabilitySheets(const StabilityReport& report, Workbook& workbook) {
  const StabilityTables tables = TablesOf(report);
  for (const ReportTable* table :
       {&tables.summary, &tables.groups, &tables.bins, &tables.unseen, &tables.conditions}) {
    if (!table->rows.empty()) AddSheet(*table, workbook);
  }
}

Workbook StabilityWorkbook(const StabilityReport& report) {
  Workbook workbook;
  workbook.title = "New cases against those of the bins";
  workbook.facts = Facts(report);
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  AddStabilitySheets(report, workbook);
  return workbook;
}

PageJson StabilitySections(const StabilityReport& report, Page& page) {
  const StabilityTables tables = TablesOf(report);
  const ShortNames noShortNames;
  PageJson parts = PageJson::array();
  for (const ReportTable* table : {&tables.conditions, &tables.summary, &tables.unseen}) {
    if (!table->rows.empty()) parts.push_back(PageTablePart(*table));
  }
  struct Drawn {
    const ResponseStability* response;
    const PredictorStability* predictor;
  };
  std::vector<Drawn> drawn;
  ForEachPredictor(report, [&](const ResponseStability& response, const PredictorStability& one) {
    drawn.push_back({&response, &one});
  });
  std::stable_sort(drawn.begin(), drawn.end(), [](const Drawn& a, const Drawn& b) {
    return a.predictor->groups[a.predictor->WorstShare()].shareIndex >
           b.predictor->groups[b.predictor->WorstShare()].shareIndex;
  });
  drawn.resize(std::min(drawn.size(), kMostPanels));
  int number = 0;
  for (const Drawn& one : drawn) {
    PageJson chart =
        ChartPart(PanelsOf(report, *one.response, *one.predictor),
                  "stability-chart" + std::to_string(++number), "stability-groups", noShortNames, page);
    if (!chart.is_null()) parts.push_back(std::move(chart));
  }
  for (const ReportTable* table : {&tables.groups, &tables.bins}) {
    if (table->rows.size() > kMostPageRows) continue;  // the other formats hold them
    PageJson part = PageTablePart(*table);
    part["folded"] = table->rows.size() > 30;
    parts.push_back(std::move(part));
  }
  const PageJson section = {
      {"id", "stability-section"}, {"title", "Stability"}, {"listed", true}, {"parts", std::move(parts)}};
  return PageJson::array({section});
}

std::string StabilityPage(const StabilityReport& report) {
  Page page;
  page.charts = true;
  page.eyebrow = "Monitor";
  page.title = report.dataFile;
  page.factsTitle = "What was compared";
  page.facts = PageFacts(Facts(report));
  page.notices = report.notices;
  page.sections = StabilitySections(report, page);
  page.guide = Guide();
  return PageText(page);
}

}  // namespace velmora
