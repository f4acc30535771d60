#include "workbench/report/screen_page.h"

#include <cmath>
#include <filesystem>
#include <set>

#include "base/parse_number.h"
#include "workbench/documents/page.h"
#include "workbench/documents/page_charts.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/report/data_name.h"
#include "workbench/report/screen_columns.h"
#include "workbench/report/stability_report.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

// Bytes of bins, roughly; the other formats hold the rest.
constexpr std::size_t kMostDetail = 1600000;
constexpr std::size_t kMostInHeatMap = 40;  // predictors
constexpr int kPanelChartHeight = 330;      // pixels
constexpr std::size_t kManyRemarks = 12;    // a longer table of remarks is folded away

// Large numbers are shown without decimals, their digits in groups.
bool IsLarge(double value, const char* format) {
  return *format == 0 && std::fabs(value) >= 1e5 && std::fabs(value) < 1e18;
}

bool HasFigure(double value) { return std::isfinite(value) && !IsMissing(value, kMissing); }

std::string Shown(double value, const char* format) {
  if (IsMissing(value, kMissing)) return "–";
  if (format == nullptr) return ShownProbability(value);
  return IsLarge(value, format) ? GroupedDigits(std::llround(value)) : ShownNumber(value, format);
}

std::string Counted(std::int64_t count, const char* one, const char* many) {
  return GroupedDigits(count) + " " + (count == 1 ? one : many);
}

// A figure with the digits that the page shows; null where there is none.
PageJson Figure(double value, const char* format) {
  if (!HasFigure(value)) return {};
  const std::string text = ShownNumber(value, IsLarge(value, format) ? "0" : format);
  return vlm::ParseNumber<double>(text).value_or(value);
}

// Decimals of a number format; null for as many as the number has.
PageJson DecimalsOf(const std::string& format) {
  if (format.empty()) return {};
  const std::size_t point = format.find('.');
  return point == std::string::npos ? 0 : static_cast<int>(format.size() - point - 1);
}

// One line per bin: the condition on the predictor's value, and the bin. Numbers read back to the
// same double.
std::string RulesOf(const ScreenedPredictor& predictor) {
  std::vector<std::string> conditions(predictor.bins.size());
  const auto cut = [&](std::size_t i) { return ShortestNumber(predictor.cutPoints[i]); };
  // Levels of a categorical predictor, special codes of a continuous one.
  for (const ScreenedLevel& level : predictor.levels) {
    if (level.bin < 0 || static_cast<std::size_t>(level.bin) >= conditions.size()) continue;
    std::string& condition = conditions[static_cast<std::size_t>(level.bin)];
    condition += (condition.empty() ? predictor.name + " = " : ", ") + DisplayLabel(level.text);
  }
  const std::size_t intervals = predictor.figures.categorical != 0 ? 0 : predictor.cutPoints.size() + 1;
  for (std::size_t b = 0; b < intervals && b < conditions.size(); ++b) {
    const bool first = b == 0, last = b >= predictor.cutPoints.size();
    if (first && last) {
      conditions[b] = predictor.name + " has any value";
    } else if (first) {
      conditions[b] = predictor.name + " <= " + cut(b);
    } else if (last) {
      conditions[b] = predictor.name + " > " + cut(b - 1);
    } else {
      conditions[b] = cut(b - 1) + " < " + predictor.name + " <= " + cut(b);
    }
  }
  if (const int missing = predictor.figures.missingBin; missing >= 0) {
    std::string& condition = conditions[static_cast<std::size_t>(missing)];
    condition = condition.empty() ? predictor.name + " is missing" : condition + " or missing";
  }
  constexpr int kWidestCondition = 48;
  int width = 0;
  for (const std::string& condition : conditions)
    width = std::max(width, std::min(WidthOf(condition), kWidestCondition));
  std::string rules;
  for (std::size_t b = 0; b < conditions.size(); ++b) {
    rules += conditions[b];
    rules.append(static_cast<std::size_t>(std::max(width - WidthOf(conditions[b]), 0)), ' ');
    rules += "  ->  " + DisplayLabel(predictor.bins[b].label) + "\n";
  }
  return Utf8Of(rules);
}

// One response: its section of the page.
class ResponseSection {
 public:
  ResponseSection(const ScreenReport& report, std::size_t index, std::size_t& detailBytes)
      : report_(report),
        response_(report.responses[index]),
        id_("r" + std::to_string(index)),
        panelPrefix_("p" + std::to_string(index) + "-"),
        detailBytes_(detailBytes) {}

  PageJson Make(const std::vector<ScreenDocuments::Panel>& panels, const Workbook& workbook, Page& page) {
    PageJson parts = PageJson::array();
    PageJson section = {{"id", id_},
                        {"look", "response"},
                        {"listed", true},
                        {"title", Utf8Of(response_.name)},
                        {"kind", Utf8Of(Kind())}};
    if (!response_.predictors.empty()) {
      parts.push_back(Ranking());
      section["response"] = Response();
      parts.push_back(Panels(panels, workbook, page));
      if (response_.compared > 1) parts.push_back(HeatMap());
    } else {
      parts.push_back(PageTextPart("Ranking", "No predictor could be binned."));
    }
    if (!response_.failed.empty()) parts.push_back(Failed());
    section["parts"] = std::move(parts);
    return section;
  }

  // The page's opening question, with the three best predictors.
  PageJson Lead() const {
    PageJson best = PageJson::array();
    for (std::size_t i = 0; i < std::min<std::size_t>(CountAboveChance(response_), 3); ++i) {
      const ScreenedPredictor& predictor = response_.predictors[i];
      PageJson one = {{"name", Utf8Of(predictor.name)}, {"target", panelPrefix_ + std::to_string(i + 1)}};
      if (i == 0) {
        const ScreenStatistic& statistic = RankingOf(response_).statistic;
        one["figure"] =
            std::string(statistic.header) + " " + Shown(predictor.figures.*statistic.value, statistic.format);
      }
      best.push_back(std::move(one));
    }
    const auto count = static_cast<std::int64_t>(response_.predictors.size());
    return {{"question", count == 1
                             ? "How well does the variable predict "
                             : "How well does each of the " + GroupedDigits(count) + " variables predict "},
            {"subject", Utf8Of(response_.name)},
            {"best", std::move(best)}};
  }

 private:
  std::string Kind() const {
    std::string text = std::string(ResponseKindName(response_.kind)) + " response";
    if (response_.kind == vlm::kBinaryResponse) {
      text += "; bad: " + response_.codes[0] + ", good: " + response_.codes[1];
    } else if (response_.kind == vlm::kCategoricalResponse) {
      text += " with " + Counted(static_cast<std::int64_t>(response_.codes.size()), "class", "classes");
    }
    text += "; " + Counted(response_.cases.used, "case", "cases") + "; sorted by " +
            RankingOf(response_).statistic.header;
    if (RankingOf(response_).by == RankBy::kGini) text += ", smallest first";
    return text;
  }

  template <typename ValueOf>
  PageJson Values(ValueOf valueOf) const {
    PageJson values = PageJson::array();
    for (const ScreenedPredictor& predictor : response_.predictors) values.push_back(valueOf(predictor));
    return values;
  }

  // The member "summary" is the column's text in a panel's heading, with "%" for the cell.
  PageJson StatisticColumn(const ScreenStatistic& statistic) const {
    const bool probability = statistic.format == nullptr;
    const bool smallest = probability || statistic.value == &vlm::ScreeningPredictor::giniAfter;
    PageJson column = {{"title", statistic.header},
                       {"role", smallest ? "smallest" : "number"},
                       {"summary", std::string(statistic.header) + " %"}};
    // A p-value sorts by its value, not by the rounded text.
    column["values"] = Values([&](const ScreenedPredictor& predictor) {
      return Figure(predictor.figures.*statistic.value, probability ? "0.00E+00" : statistic.format);
    });
    if (probability) {
      column["texts"] = Values([&](const ScreenedPredictor& predictor) {
        return PageJson(Shown(predictor.figures.*statistic.value, statistic.format));
      });
    } else {
      column["decimals"] = DecimalsOf(statistic.format);
    }
    return column;
  }

  static PageJson BasisColumn(const RankingColumn& column) {
    PageJson json = {{"title", column.title}, {"role", column.values.empty() ? "text" : "number"}};
    if (column.kind == RankingColumn::kProbability) json["role"] = "smallest";
    if (!column.summary.empty()) json["summary"] = column.summary;
    const bool asText = column.kind == RankingColumn::kProbability;
    if (!column.values.empty()) {
      PageJson values = PageJson::array();
      for (const double value : column.values)
        values.push_back(std::isnan(value) ? PageJson() : Figure(value, asText ? "0.00E+00" : "0.0000"));
      json["values"] = std::move(values);
      if (!asText) json["decimals"] = column.kind == RankingColumn::kCount ? 0 : 4;
    }
    if (column.values.empty() || asText) {
      PageJson texts = PageJson::array();
      for (const std::string& text : column.texts) texts.push_back(Utf8Of(text));
      json["texts"] = std::move(texts);
    }
    return json;
  }

  PageJson Ranking() const {
    double strongest = 0;
    for (const ScreenedPredictor& predictor : response_.predictors)
      strongest = std::max(strongest, StrengthOf(response_, predictor.figures));
    std::size_t rank = 0;
    PageJson columns = PageJson::array();
    columns.push_back({{"title", "Rank"},
                       {"role", "smallest"},
                       {"values", Values([&](const ScreenedPredictor&) { return PageJson(++rank); })}});
    columns.push_back(
        {{"title", "Predictor"},
         {"role", "name"},
         {"targets", panelPrefix_},
         {"texts", Values([](const ScreenedPredictor& one) { return PageJson(Utf8Of(one.name)); })}});
    for (const ScreenStatistic& statistic : StatisticsOf(response_))
      columns.push_back(StatisticColumn(statistic));
    columns.push_back(
        {{"title", "Strength"}, {"role", "bar"}, {"values", Values([&](const ScreenedPredictor& one) {
                                                    const double part =
                                                        strongest > 0
                                                            ? StrengthOf(response_, one.figures) / strongest
                                                            : 0;
                                                    return Figure(part, "0.000");
                                                  })}});
    columns.push_back({{"title", "Shape"}, {"role", "shape"}});
    if (CountAboveChance(response_) < response_.predictors.size()) {
      columns.push_back({{"title", "Chance"},
                         {"role", "text"},
                         {"texts", Values([](const auto& one) {
                            return PageJson(one.figures.noBetterThanChance != 0 ? "no better" : "better");
                          })}});
    }
    for (const RankingColumn& column : BasisColumns(report_, response_, response_.predictors.size())) {
      if (!column.title.empty()) columns.push_back(BasisColumn(column));
    }
    return {{"type", "table"},
            {"id", id_ + "-ranking"},
            {"title", "Ranking"},
            {"look", "ranking"},
            {"rowCount", response_.predictors.size()},
            {"columns", std::move(columns)}};
  }

  // The associations between the best predictors, each with each.
  PageJson HeatMap() const {
    const std::size_t count = std::min(response_.compared, kMostInHeatMap);
    PageJson names = PageJson::array(), cells = PageJson::array();
    for (std::size_t i = 0; i < count; ++i) {
      names.push_back(Utf8Of(DisplayLabel(response_.predictors[i].name)));
      for (std::size_t j = 0; j < count; ++j)
        cells.push_back(
            PageJson::array({j, i, Figure(response_.associations[i * response_.compared + j], "0.00")}));
    }
    constexpr int kRowHeight = 18, kAxesHeight = 150;
    return {{"type", "chart"},
            {"id", id_ + "-alike"},
            {"titles", PageJson::array({"Which predictors say the same"})},
            {"description", "Association of the bins of each predictor with those of each other."},
            {"height", kAxesHeight + kRowHeight * static_cast<int>(count)},
            {"notes", PageJson::array({"Corrected Cramer's V of the bins, from 0 to 1."})},
            {"chart",
             {{"layout", "map"},
              {"position", {{"title", ""}}},
              {"depth", {{"title", ""}}},
              {"value", {{"title", "corrected V"}}},
              {"xTexts", names},
              {"yTexts", names},
              {"cells", std::move(cells)}}}};
  }

  bool HasClasses() const { return response_.kind == vlm::kCategoricalResponse; }

  PageJson Response() {
    PageJson figures = PageJson::array();
    const auto add = [&](const char* name, const char* title, const char* format) {
      PageJson figure = {{"name", name}, {"title", title}};
      if (const PageJson decimals = DecimalsOf(format); !decimals.is_null()) figure["decimals"] = decimals;
      figures.push_back(std::move(figure));
    };
    for (const ScreenBinColumn& column : BinColumnsOf(response_.kind)) {
      if (column.format != nullptr) add(column.name, column.header, column.format);
    }
    if (HasClasses()) add("total", "total", "");
    PageJson codes = PageJson::array();
    for (const std::string& code : response_.codes) codes.push_back(Utf8Of(DisplayLabel(code)));
    const char* const level = response_.kind == vlm::kBinaryResponse ? "badRateRow" : "mean";
    PageJson json = {{"kind", ResponseKindName(response_.kind)},
                     {"name", Utf8Of(response_.name)},
                     {"panelPrefix", panelPrefix_},
                     {"classic", report_.classic},
                     {"codes", std::move(codes)},
                     {"size", response_.kind == vlm::kContinuousResponse ? "n" : "total"},
                     {"level", HasClasses() ? PageJson() : PageJson(level)},
                     {"figures", std::move(figures)}};
    PageJson details = PageJson::array();
    for (const ScreenedPredictor& predictor : response_.predictors) {
      if (detailBytes_ >= kMostDetail) break;
      details.push_back(Detail(predictor));
      detailBytes_ += details.back().dump(-1, ' ', false, PageJson::error_handler_t::replace).size();
    }
    json["details"] = std::move(details);
    return json;
  }

  // The bins of a predictor, by figure, each list with the total last.
  PageJson Detail(const ScreenedPredictor& predictor) const {
    const bool any = predictor.figures.minimum <= predictor.figures.maximum;
    std::vector<const ScreenedBin*> rows;
    for (const ScreenedBin& bin : predictor.bins) rows.push_back(&bin);
    rows.push_back(&predictor.total);
    const auto list = [&](auto valueOf) {
      PageJson values = PageJson::array();
      for (const ScreenedBin* bin : rows) values.push_back(valueOf(*bin));
      return values;
    };
    PageJson cuts = PageJson::array();
    for (const double cut : predictor.cutPoints) cuts.push_back(Figure(cut, ""));
    PageJson figures = PageJson::object();
    for (const ScreenBinColumn& column : BinColumnsOf(response_.kind)) {
      if (column.format == nullptr) continue;
      figures[column.name] =
          list([&](const ScreenedBin& bin) { return Figure(bin.figures.*column.value, column.format); });
    }
    PageJson detail = {
        {"minimum", any ? Figure(predictor.figures.minimum, "") : PageJson()},
        {"maximum", any ? Figure(predictor.figures.maximum, "") : PageJson()},
        {"cuts", std::move(cuts)},
        {"labels", list([](const ScreenedBin& bin) { return PageJson(Utf8Of(DisplayLabel(bin.label))); })}};
    PageJson apart = PageJson::array();
    for (std::size_t b = 0; b < predictor.bins.size(); ++b) {
      if (predictor.IsApart(b)) apart.push_back(b);
    }
    detail["apart"] = std::move(apart);
    if (HasClasses()) {
      figures["total"] = list([](const ScreenedBin& bin) { return Figure(bin.figures.total, ""); });
      PageJson counts = PageJson::array();
      for (std::size_t code = 0; code < response_.codes.size(); ++code)
        counts.push_back(list([&](const ScreenedBin& bin) { return Figure(bin.counts[code], ""); }));
      detail["counts"] = std::move(counts);
    }
    detail["figures"] = std::move(figures);
    return detail;
  }

  PageJson Panels(const std::vector<ScreenDocuments::Panel>& panels, const Workbook& workbook,
                  Page& page) const {
    const std::size_t total = response_.predictors.size();
    const std::size_t count = std::min(panels.size(), total);
    PageJson prepared = PageJson::array();
    for (std::size_t rank = 0; rank < count; ++rank) {
      PageJson charts = PageJson::array();
      for (const int id : panels[rank].graphs) {
        const Document* const document = workbook.Find(id);
        if (document == nullptr || document->AsGraph() == nullptr) continue;
        PageJson chart =
            ChartPart(*document->AsGraph(), "chart" + std::to_string(id),
                      panelPrefix_ + std::to_string(rank + 1) + "-bins", workbook.shortNames, page);
        if (chart.is_null()) continue;
        chart["height"] = kPanelChartHeight;
        charts.push_back(std::move(chart));
      }
      prepared.push_back({{"charts", std::move(charts)}, {"rules", RulesOf(response_.predictors[rank])}});
    }
    PageJson part = {{"type", "panels"}};
    if (count > 0) {
      part["title"] = count == total ? "Bin by bin"
                      : count == 1   ? "The best, bin by bin"
                                     : "The " + std::to_string(count) + " best, bin by bin";
    }
    if (count < total) {
      part["hint"] = std::string("The bins of any ") + (count > 0 ? "other " : "") +
                     "predictor appear here when you choose it in the ranking.";
    }
    part["panels"] = std::move(prepared);
    return part;
  }

  PageJson Failed() const {
    PageJson names = PageJson::array(), reasons = PageJson::array();
    for (const FailedPredictor& failed : response_.failed) {
      names.push_back(Utf8Of(failed.name));
      reasons.push_back(Utf8Of(failed.reason));
    }
    const std::size_t count = response_.failed.size();
    return {{"type", "table"},
            {"id", id_ + "-failed"},
            {"title", "Not binned: " + Counted(static_cast<std::int64_t>(count), "predictor", "predictors")},
            {"rowCount", count},
            {"folded", count > kManyRemarks},
            {"columns",
             {{{"title", "Predictor"}, {"role", "name"}, {"texts", std::move(names)}},
              {{"title", "Reason"}, {"role", "text"}, {"texts", std::move(reasons)}}}}};
  }

  const ScreenReport& report_;
  const ScreenedResponse& response_;
  std::string id_, panelPrefix_;
  std::size_t& detailBytes_;  // of all responses so far
};

PageJson LeftOutSection(const ScreenReport& report) {
  PageJson names = PageJson::array(), roles = PageJson::array(), reasons = PageJson::array();
  for (const LeftOutVariable& variable : report.leftOut) {
    names.push_back(Utf8Of(variable.name));
    roles.push_back(Utf8Of(variable.role));
    reasons.push_back(Utf8Of(variable.reason));
  }
  const std::size_t count = report.leftOut.size();
  const PageJson table = {
      {"type", "table"},
      {"id", "left-out"},
      {"title", "Not screened: " + Counted(static_cast<std::int64_t>(count), "variable", "variables")},
      {"rowCount", count},
      {"folded", count > kManyRemarks},
      {"columns",
       {{{"title", "Variable"}, {"role", "name"}, {"texts", std::move(names)}},
        {{"title", "Treated as"}, {"role", "text"}, {"texts", std::move(roles)}},
        {{"title", "Reason"}, {"role", "text"}, {"texts", std::move(reasons)}}}}};
  return {{"id", "not-screened"}, {"parts", PageJson::array({table})}};
}

PageJson Guide(const ScreenReport& report) {
  PageJson guide = PageJson::array();
  const auto term = [&](const std::string& name, const std::string& meaning) {
    guide.push_back({{"term", name}, {"meaning", meaning}});
  };
  const auto has = [&](vlm::ResponseKind kind) {
    return std::any_of(report.responses.begin(), report.responses.end(),
                       [&](const ScreenedResponse& response) { return response.kind == kind; });
  };
  term("Bins",
       report.optimal
           ? "Of all ways to join a predictor's values into bins, the one that describes the response "
             "best, with as many bins as the data support. Predictors are judged one at a time, so "
             "redundant variables all rank high."
           : "Each predictor is binned by its own decision tree; then the bins are scored. Predictors "
             "are judged one at a time, so redundant variables all rank high.");
  if (report.optimal) {
    term("(CV)", "On cases that had no part in finding the bins, by 10-fold cross-validation.");
    term("Chance", "No bins describe the response better than one bin of all cases.");
  }
  term("Strength",
       "The statistic that the ranking is sorted by, relative to the best predictor; for Gini, its decrease "
       "by the bins.");
  std::set<std::string> explained;
  for (const ScreenedResponse& response : report.responses) {
    for (const RankingColumn& column : BasisColumns(report, response, response.predictors.size())) {
      if (!column.title.empty() && !column.meaning.empty() && explained.insert(column.title).second)
        term(column.title, column.meaning);
    }
  }
  if (has(vlm::kBinaryResponse) || has(vlm::kContinuousResponse))
    term("Shape",
         "The bins, as wide as their cases: upwards where the bad rate or the mean is above that of all "
         "cases.");
  if (has(vlm::kCategoricalResponse))
    term("Shape of classes", "The share of each class in each bin, in the order of the classes.");
  if (has(vlm::kBinaryResponse)) {
    term("Gini", "Impurity left in the bins, at most 0.5; smaller is better.");
    term("Information value", "Below 0.02 negligible, 0.3 or more strong, above 0.5 check for leakage.");
    term("WOE",
         "Weight of evidence, 100 ln(share of good / share of bad); negative: more bads than average.");
    term("Bad rate", "Share of bads among the cases of the bin.");
  }
  if (has(vlm::kContinuousResponse)) {
    term("R-squared", "Share of the response's variance that the bins explain.");
    term("F-statistic", "Variance between the bins divided by the variance within them.");
    term("SSE", "Sum of squares within the bin.");
  }
  if (has(vlm::kCategoricalResponse)) {
    term("p-value",
         "Probability of a Chi-square at least this large if predictor and response were unrelated (one "
         "test, not adjusted).");
    term("Chi-square",
         "Distance of the counts from those expected if predictor and response were unrelated.");
  }
  if (has(vlm::kBinaryResponse) || has(vlm::kCategoricalResponse))
    term("Cramer's V", "Strength of the association from 0 to 1.");
  return guide;
}

}  // namespace

std::string ScreenPage(const ScreenReport& report, const ScreenDocuments& documents,
                       const Workbook& workbook) {
  Page page;
  page.charts = true;  // panels that are made on demand have charts
  page.eyebrow = "Predictor screening";
  page.title = DataName(report.dataFile);
  page.factsTitle = "What was screened";
  page.facts = PageFacts(RunFacts(report));
  page.guide = Guide(report);
  std::size_t detailBytes = 0;
  for (std::size_t i = 0; i < report.responses.size(); ++i) {
    ResponseSection section(report, i, detailBytes);
    page.leads.push_back(section.Lead());
    page.sections.push_back(section.Make(documents.panels[i], workbook, page));
  }
  if (report.stability) {
    for (PageJson& section : StabilitySections(*report.stability, page))
      page.sections.push_back(std::move(section));
  }
  const Document* const rules = workbook.Find(documents.rules);
  if (rules != nullptr && rules->AsText() != nullptr) {
    const TextDocument& text = *rules->AsText();
    page.sections.push_back(
        {{"id", "rules"},
         {"parts", PageJson::array(
                       {PageTextPart(text.title, text.text, "The bins of the best predictors as rules")})}});
  }
  if (!report.leftOut.empty()) page.sections.push_back(LeftOutSection(report));
  for (const Notice& notice : workbook.notices) page.notices.push_back(notice.text);
  return PageText(page);
}

}  // namespace velmora
