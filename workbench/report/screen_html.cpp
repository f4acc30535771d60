#include "workbench/report/screen_html.h"

#include <cmath>
#include <filesystem>

#include "workbench/documents/embedded_files.h"
#include "workbench/documents/page_charts.h"
#include "workbench/documents/page_parts.h"
#include "workbench/documents/texts.h"
#include "workbench/report/json_text.h"

namespace velmora {
namespace {

constexpr std::size_t kRowsShown = 100;        // of a table before "Show more"
constexpr std::size_t kMostDetail = 1600000;   // bytes of bins; what is left out stands in the other formats
constexpr std::size_t kMostCountColumns = 60;  // codes of a response in a bin table
constexpr std::size_t kManyNotices = 8;

// Large numbers without decimals, their digits in groups.
bool IsLarge(double value, const char* format) {
  return *format == 0 && std::fabs(value) >= 1e5 && std::fabs(value) < 1e18;
}

std::string Shown(double value, const char* format) {
  if (IsMissing(value, kMissing)) return "–";
  if (format == nullptr) return ShownProbability(value);
  return IsLarge(value, format) ? GroupedDigits(std::llround(value)) : ShownNumber(value, format);
}

std::string Count(std::int64_t count, const char* one, const char* many) {
  return GroupedDigits(count) + " " + (count == 1 ? one : many);
}

// A number of the page's data with the decimals that are shown; null where there is none.
std::string DataNumber(double value, const char* format) {
  if (!std::isfinite(value) || IsMissing(value, kMissing)) return "null";
  return ShownNumber(value, IsLarge(value, format) ? "0" : format);
}

int DecimalsOf(const std::string& format) {
  if (format.empty()) return -1;  // as many as the number has
  const std::size_t point = format.find('.');
  return point == std::string::npos ? 0 : static_cast<int>(format.size() - point - 1);
}

// The figures of a bin that people see.
std::vector<ScreenBinColumn> ShownBinColumns(vlm::ResponseKind kind) {
  std::vector<ScreenBinColumn> shown;
  for (const ScreenBinColumn& column : BinColumnsOf(kind)) {
    if (column.format != nullptr) shown.push_back(column);
  }
  return shown;
}

class ScreenPage {
 public:
  ScreenPage(const ScreenReport& report, const ScreenDocuments& documents, const Workbook& workbook)
      : report_(report), documents_(documents), workbook_(workbook) {}

  std::string Write() {
    AddHeader();
    AddFacts();
    AddNotices();
    AddContents();
    body_ += "<main id=\"results\">\n";
    for (std::size_t i = 0; i < report_.responses.size(); ++i) AddResponse(i);
    AddRules();
    AddLeftOut();
    AddGuide();
    body_ += "</main>\n</div>\n";
    PageParts parts;
    parts.title = "Screening of " + FileName();
    parts.style = ScreeningStyle();
    parts.script = ScreeningScript();
    parts.body = std::move(body_);
    parts.threeDimensions = threeDimensions_;
    parts.data = "{\"rowsShown\":" + std::to_string(kRowsShown) + ",\"charts\":" + EmbeddedJson(charts_) +
                 ",\"tables\":" + EmbeddedJson(tables_) + ",\"responses\":[" + WithoutMarkup(responses_) +
                 "]}";
    return AssemblePage(parts);
  }

 private:
  std::string FileName() const { return Utf8Of(std::filesystem::path(report_.dataFile).filename().string()); }

  void AddHeader() {
    body_ +=
        "<a class=\"skip\" href=\"#results\">Skip to the results</a>\n<div class=\"page\">\n<header>\n"
        "<p class=\"eyebrow\">Predictor screening</p>\n<h1>" +
        Escaped(FileName()) + "</h1>\n";
    for (const ScreenedResponse& response : report_.responses) {
      body_ += "<p class=\"lead\">";
      const std::size_t count = response.predictors.size();
      body_ += "How well does each of " + Count(static_cast<std::int64_t>(count), "variable", "variables") +
               " tell <b>" + Escaped(response.name) + "</b>?";
      for (std::size_t i = 0; i < std::min<std::size_t>(count, 3); ++i) {
        const ScreenedPredictor& predictor = response.predictors[i];
        body_ += i == 0 ? " Best: " : ", ";
        body_ += "<a href=\"#" + PanelId(response, i) + "\">" + Escaped(predictor.name) + "</a>";
        if (i == 0) body_ += " (" + SortFigure(response, predictor) + ")";
      }
      body_ += count > 0 ? ".</p>\n" : "</p>\n";
    }
    body_ += "</header>\n";
  }

  static std::string SortFigure(const ScreenedResponse& response, const ScreenedPredictor& predictor) {
    const ScreenStatistic& statistic = SortStatisticOf(response);
    return std::string(statistic.header) + " " +
           Escaped(Shown(predictor.figures.*statistic.value, statistic.format));
  }

  std::size_t IndexOf(const ScreenedResponse& response) const {
    return static_cast<std::size_t>(&response - report_.responses.data());
  }
  std::string PanelId(const ScreenedResponse& response, std::size_t rank) const {
    return "p" + std::to_string(IndexOf(response)) + "-" + std::to_string(rank + 1);
  }

  void AddFact(const std::string& key, const std::string& value) {
    body_ += "<div><dt>" + Escaped(key) + "</dt><dd>" + Escaped(value) + "</dd></div>\n";
  }

  void AddFacts() {
    body_ +=
        "<section class=\"facts-section\" aria-labelledby=\"screened\">\n<h2 id=\"screened\">What was "
        "screened</h2>\n<dl class=\"facts\">\n";
    AddFact("Data file", report_.dataFile);
    AddFact("Cases in the file", GroupedDigits(report_.caseCount));
    if (!report_.select.empty()) AddFact("Only cases for which", report_.select);
    if (!report_.exclude.empty()) AddFact("Not the cases for which", report_.exclude);
    if (!report_.weightVariable.empty()) AddFact("Weighted by", report_.weightVariable);
    for (const ScreenedResponse& response : report_.responses)
      AddFact("Cases of " + response.name, CasesText(response.cases));
    if (!report_.responses.empty()) {
      const ScreenedResponse& first = report_.responses.front();
      const auto tried = static_cast<std::int64_t>(first.predictors.size() + first.failed.size());
      std::string text = GroupedDigits(tried) + " screened";
      if (!first.failed.empty()) text += ", " + std::to_string(first.failed.size()) + " not binned";
      if (!report_.leftOut.empty())
        text += "; " + Count(static_cast<std::int64_t>(report_.leftOut.size()), "variable", "variables") +
                " left out";
      AddFact("Predictors", text);
    }
    AddFact("Bins", std::string("cut by trees, ") + (report_.pruned ? "pruned" : "not pruned") +
                        (report_.cutPointsFile.empty() ? "" : "; some given in " + report_.cutPointsFile));
    body_ += "</dl>\n</section>\n";
  }

  void AddNotices() {
    if (workbook_.notices.empty()) return;
    const bool folded = workbook_.notices.size() > kManyNotices;
    body_ += "<section class=\"notices\" aria-labelledby=\"notices\">\n<h2 id=\"notices\">Notices</h2>\n";
    if (folded)
      body_ += "<details><summary>" + GroupedDigits(static_cast<long long>(workbook_.notices.size())) +
               " notices</summary>\n";
    body_ += "<ul>\n";
    for (const Notice& notice : workbook_.notices) body_ += "<li>" + Escaped(notice.text) + "</li>\n";
    body_ += folded ? "</ul></details>\n</section>\n" : "</ul>\n</section>\n";
  }

  void AddContents() {
    if (report_.responses.size() < 2) return;
    body_ += "<nav aria-label=\"Contents\"><strong>Contents</strong><ul>\n";
    for (std::size_t i = 0; i < report_.responses.size(); ++i)
      body_ +=
          "<li><a href=\"#r" + std::to_string(i) + "\">" + Escaped(report_.responses[i].name) + "</a></li>\n";
    body_ += "</ul></nav>\n";
  }

  void AddResponse(std::size_t index) {
    const ScreenedResponse& response = report_.responses[index];
    const std::string id = "r" + std::to_string(index);
    body_ += "<section id=\"" + id + "\" class=\"response\" aria-labelledby=\"" + id +
             "-title\">\n<h2 id=\"" + id + "-title\">" + Escaped(response.name) + "</h2>\n<p class=\"kind\">";
    body_ += Escaped(std::string(ResponseKindName(response.kind)) + " response");
    if (response.kind == vlm::kBinaryResponse) {
      body_ += Escaped("; bad: " + response.codes[0] + ", good: " + response.codes[1]);
    } else if (response.kind == vlm::kCategoricalResponse) {
      body_ += Escaped(" of " + Count(static_cast<std::int64_t>(response.codes.size()), "class", "classes"));
    }
    body_ += "; " + Count(response.cases.used, "case", "cases") + "; in the order of " +
             Escaped(SortStatisticOf(response).header);
    if (response.kind == vlm::kBinaryResponse && response.run.sortChoice == 0) body_ += ", smallest first";
    body_ += "</p>\n";
    if (!response.predictors.empty()) {
      AddRanking(response, id);
      const std::size_t panels = std::min(documents_.panels[index].size(), response.predictors.size());
      AddResponseData(response, panels);
      AddPanels(response, id, panels);
    } else {
      body_ += "<p>No predictor could be binned.</p>\n";
    }
    AddFailed(response, id);
    body_ += "</section>\n";
  }

  // The ranking's first rows as markup; the script makes all of them from the data.
  void AddRanking(const ScreenedResponse& response, const std::string& id) {
    const std::size_t total = response.predictors.size();
    body_ += "<div id=\"" + id + "-ranking\">\n<h3 id=\"" + id +
             "-ranking-title\">Ranking</h3>\n<div class=\"tools\"><p class=\"count\">" +
             Count(static_cast<std::int64_t>(total), "row", "rows");
    if (total > kRowsShown) body_ += ", the first " + std::to_string(kRowsShown) + " shown";
    body_ += "</p></div>\n<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-labelledby=\"" + id +
             "-ranking-title\">\n<table class=\"ranking\" aria-labelledby=\"" + id +
             "-ranking-title\">\n<thead><tr><th scope=\"col\" class=\"number\">Rank</th><th "
             "scope=\"col\">Predictor</th>";
    const std::vector<ScreenStatistic>& statistics = StatisticsOf(response.kind);
    for (const ScreenStatistic& statistic : statistics)
      body_ += "<th scope=\"col\" class=\"number\">" + Escaped(WithoutBreaks(statistic.header)) + "</th>";
    body_ +=
        "<th scope=\"col\">Strength</th><th scope=\"col\">Shape</th><th scope=\"col\">Kind</th><th "
        "scope=\"col\" "
        "class=\"number\">Bins</th><th scope=\"col\" class=\"number\">" +
        std::string(Weighted() ? "Weighted n" : "Cases") + "</th></tr></thead>\n<tbody>\n";
    const double strongest = Strongest(response);
    for (std::size_t rank = 0; rank < std::min(total, kRowsShown); ++rank) {
      const ScreenedPredictor& predictor = response.predictors[rank];
      body_ += "<tr><td class=\"number\">" + std::to_string(rank + 1) + "</td><th scope=\"row\">" +
               Escaped(predictor.name) + "</th>";
      for (const ScreenStatistic& statistic : statistics) {
        body_ += "<td class=\"number\">" +
                 Escaped(Shown(predictor.figures.*statistic.value, statistic.format)) + "</td>";
      }
      body_ += "<td class=\"bar\"><i style=\"--part:" + Part(response, predictor, strongest) +
               "\"></i></td><td class=\"shape\"></td><td>" + PredictorKindName(predictor) +
               "</td><td class=\"number\">" + std::to_string(predictor.bins.size()) +
               "</td><td class=\"number\">" + GroupedDigits(predictor.figures.validN) + "</td></tr>\n";
    }
    body_ += "</tbody>\n</table>\n</div>\n</div>\n";
  }

  // Narrow headers break at blanks, not in R-squared.
  static std::string WithoutBreaks(std::string text) {
    for (std::size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 3))
      text.replace(at, 1, "\u2011");
    return text;
  }

  static double Strongest(const ScreenedResponse& response) {
    double strongest = 0;
    for (const ScreenedPredictor& predictor : response.predictors)
      strongest = std::max(strongest, StrengthOf(response, predictor.figures));
    return strongest;
  }
  static std::string Part(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                          double strongest) {
    const double part = strongest > 0 ? StrengthOf(response, predictor.figures) / strongest : 0;
    return ShownNumber(part, "0.000");
  }

  void AddResponseData(const ScreenedResponse& response, std::size_t panels) {
    const bool counts = response.kind == vlm::kCategoricalResponse;
    std::string json = responses_.empty() ? "{" : ",{";
    json += "\"id\":" + JsonText("r" + std::to_string(IndexOf(response)));
    json += ",\"kind\":" + JsonText(ResponseKindName(response.kind));
    json += ",\"name\":" + JsonText(response.name) + ",\"codes\":" + JsonText(response.codes);
    json += ",\"panels\":" + std::to_string(panels);
    json += ",\"sort\":" + std::to_string(response.run.sortChoice == 0 ? 0 : 1);
    Json statistics = Json::array();
    for (const ScreenStatistic& statistic : StatisticsOf(response.kind)) {
      const bool smallest =
          statistic.format == nullptr || statistic.value == &vlm::ScreeningPredictor::giniAfter;
      statistics.push_back({{"header", statistic.header}, {"smallestFirst", smallest}});
    }
    json += ",\"statistics\":" + JsonText(statistics);
    Json columns = Json::array();
    for (const ScreenBinColumn& column : ShownBinColumns(response.kind))
      columns.push_back(Json::array({column.header, column.name, DecimalsOf(column.format)}));
    if (counts) {
      for (const std::string& code : response.codes) columns.push_back(Json::array({code, "count", -1}));
      columns.push_back(Json::array({"total", "total", -1}));
    }
    json += ",\"columns\":" + JsonText(columns) + ",\"predictors\":[";
    const double strongest = Strongest(response);
    for (std::size_t rank = 0; rank < response.predictors.size(); ++rank) {
      const ScreenedPredictor& predictor = response.predictors[rank];
      json += rank == 0 ? "\n[" : ",\n[";
      json += JsonText(predictor.name) + "," + std::to_string(predictor.figures.predictorNumber) + "," +
              (predictor.figures.categorical ? "1," : "0,") + std::to_string(predictor.bins.size()) + "," +
              std::to_string(predictor.figures.validN) + "," + Part(response, predictor, strongest) + ",[";
      bool first = true;
      for (const ScreenStatistic& statistic : StatisticsOf(response.kind)) {
        const double value = predictor.figures.*statistic.value;
        if (!first) json += ",";
        first = false;
        // A p-value sorts by its own size, whatever is shown of it.
        json += "[" + (statistic.format == nullptr && std::isfinite(value) && !IsMissing(value, kMissing)
                           ? ShownNumber(value, "0.00E+00")
                           : DataNumber(value, statistic.format == nullptr ? "" : statistic.format));
        json += "," + JsonText(Shown(value, statistic.format)) + "]";
      }
      json += "]";
      if (detail_ < kMostDetail) {
        const std::string bins = BinsData(response, predictor, counts);
        detail_ += bins.size();
        json += bins;
      }
      json += "]";
    }
    responses_ += json + "]}";
  }

  // ,minimum,maximum,[cut points],[[label,figures...]...], the last row the whole's.
  static std::string BinsData(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                              bool counts) {
    const bool any = predictor.figures.minimum <= predictor.figures.maximum;
    std::string json = any ? "," + DataNumber(predictor.figures.minimum, "") + "," +
                                 DataNumber(predictor.figures.maximum, "")
                           : ",null,null";
    json += ",[";
    for (std::size_t i = 0; i < predictor.cutPoints.size(); ++i)
      json += (i == 0 ? "" : ",") + DataNumber(predictor.cutPoints[i], "");
    json += "],[";
    const auto add = [&](const ScreenedBin& bin, bool first) {
      json += (first ? "[" : ",[") + JsonText(bin.label);
      for (const ScreenBinColumn& column : BinColumnsOf(response.kind)) {
        if (column.format != nullptr) json += "," + DataNumber(bin.figures.*column.value, column.format);
      }
      if (counts) {
        for (const double count : bin.counts) json += "," + DataNumber(count, "");
        json += "," + DataNumber(bin.figures.total, "");
      }
      json += "]";
    };
    for (std::size_t b = 0; b < predictor.bins.size(); ++b) add(predictor.bins[b], b == 0);
    add(predictor.total, false);
    return json + "]";
  }

  void AddPanels(const ScreenedResponse& response, const std::string& id, std::size_t panels) {
    body_ += "<div id=\"" + id + "-panels\" class=\"panels\">\n";
    if (panels > 0) {
      body_ += "<h3>" +
               (panels < response.predictors.size()
                    ? "The " + (panels == 1 ? std::string("best") : std::to_string(panels) + " best") +
                          ", bin by bin"
                    : std::string("Bin by bin")) +
               "</h3>\n";
    }
    if (panels < response.predictors.size())
      body_ += "<p class=\"hint\">The bins of any " + std::string(panels > 0 ? "other " : "") +
               "predictor appear here when you choose it in the "
               "ranking.</p>\n";
    for (std::size_t rank = 0; rank < panels; ++rank) AddPanel(response, rank);
    body_ += "</div>\n";
  }

  void AddPanel(const ScreenedResponse& response, std::size_t rank) {
    const ScreenedPredictor& predictor = response.predictors[rank];
    const ScreenDocuments::Panel& panel = documents_.panels[IndexOf(response)][rank];
    const std::string id = PanelId(response, rank);
    body_ += "<article class=\"panel\" id=\"" + id + "\" tabindex=\"-1\" aria-labelledby=\"" + id +
             "-title\">\n<div class=\"opening\">\n<h4 id=\"" + id + "-title\"><span class=\"rank\">" +
             std::to_string(rank + 1) + "</span> " + Escaped(predictor.name) +
             "</h4>\n<p class=\"figures\">" + FiguresOf(response, predictor) +
             "</p>\n<div class=\"graphs\">\n";
    bool any = false;
    for (const int document : panel.graphs) {
      const Document* found = workbook_.Find(document);
      if (found == nullptr || found->AsGraph() == nullptr) continue;
      const std::string chartId = "chart" + std::to_string(document);
      PageChart chart = ChartOf(*found->AsGraph(), chartId, workbook_.shortNames, TipsOf(*found->AsGraph()));
      if (chart.data.is_null()) continue;
      chart.height = 330;
      body_ += FigureMarkup(*found->AsGraph(), chart, chartId, id + "-bins");
      threeDimensions_ = threeDimensions_ || chart.threeDimensions;
      charts_.push_back(std::move(chart.data));
      any = true;
    }
    // The script draws the bins where the module has no graph of its own.
    if (!any) body_ += "<figure class=\"own\" data-rank=\"" + std::to_string(rank) + "\"></figure>\n";
    body_ += "</div>\n</div>\n";
    AddBinTable(response, predictor, id);
    body_ += "<details class=\"rule\"><summary>Rules</summary><pre>" + Escaped(RulesOf(predictor)) +
             "</pre></details>\n</article>\n";
  }

  bool Weighted() const { return !report_.weightVariable.empty(); }
  std::string ValidCases(const vlm::ScreeningPredictor& figures) const {
    return Weighted() ? "weighted n " + GroupedDigits(figures.validN)
                      : Count(figures.validN, "case", "cases");
  }

  std::string FiguresOf(const ScreenedResponse& response, const ScreenedPredictor& predictor) {
    const vlm::ScreeningPredictor& figures = predictor.figures;
    std::string text = std::string(PredictorKindName(predictor)) + ", " +
                       Count(static_cast<std::int64_t>(predictor.bins.size()), "bin", "bins") + ", " +
                       ValidCases(figures);
    if (!figures.categorical && figures.minimum <= figures.maximum)
      text += ", values " + ShownNumber(figures.minimum, "") + " to " + ShownNumber(figures.maximum, "");
    for (const ScreenStatistic& statistic : StatisticsOf(response.kind)) {
      text += std::string(" · ") + statistic.header + " " + Shown(figures.*statistic.value, statistic.format);
      if (statistic.value == &vlm::ScreeningPredictor::giniAfter)
        text += " (before binning " + Shown(figures.giniBefore, statistic.format) + ")";
    }
    return Escaped(text);
  }

  void AddBinTable(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                   const std::string& id) {
    const std::vector<ScreenBinColumn> columns = ShownBinColumns(response.kind);
    const std::size_t counts =
        response.kind == vlm::kCategoricalResponse ? std::min(response.codes.size(), kMostCountColumns) : 0;
    body_ += "<div class=\"scroll\" id=\"" + id +
             "-bins\" tabindex=\"0\" role=\"region\" aria-labelledby=\"" + id +
             "-title\">\n<table class=\"bins\" aria-labelledby=\"" + id +
             "-title\">\n<thead><tr><th scope=\"col\">Bin</th>";
    const auto header = [&](const std::string& text) {
      body_ += "<th scope=\"col\" class=\"number\">" + Escaped(text) + "</th>";
    };
    for (const ScreenBinColumn& column : columns) header(column.header);
    for (std::size_t c = 0; c < counts; ++c) header(response.codes[c]);
    if (response.kind == vlm::kCategoricalResponse) header("total");
    body_ += "</tr></thead>\n<tbody>\n";
    const auto row = [&](const ScreenedBin& bin, bool total) {
      body_ += std::string("<tr") + (total ? " class=\"total\"" : "") + "><th scope=\"row\">" +
               Escaped(bin.label) + "</th>";
      for (const ScreenBinColumn& column : columns)
        body_ += "<td class=\"number\">" + Escaped(Shown(bin.figures.*column.value, column.format)) + "</td>";
      for (std::size_t c = 0; c < counts; ++c) {
        const double share = bin.figures.total > 0 ? bin.counts[c] / bin.figures.total : 0;
        body_ += "<td class=\"number share\" style=\"--part:" + ShownNumber(share, "0.00") + "\">" +
                 Escaped(Shown(bin.counts[c], "")) + "</td>";
      }
      if (response.kind == vlm::kCategoricalResponse)
        body_ += "<td class=\"number\">" + Escaped(Shown(bin.figures.total, "")) + "</td>";
      body_ += "</tr>\n";
    };
    for (const ScreenedBin& bin : predictor.bins) row(bin, false);
    row(predictor.total, true);
    body_ += "</tbody>\n</table>\n</div>\n";
    if (counts < response.codes.size() && response.kind == vlm::kCategoricalResponse)
      body_ += "<p class=\"footnote\">The first " + std::to_string(counts) + " of " +
               std::to_string(response.codes.size()) + " classes; screening_bins.csv has all.</p>\n";
  }

  // A line a bin: what a value must be, and the bin. Numbers read back to the same double.
  static std::string RulesOf(const ScreenedPredictor& predictor) {
    std::vector<std::string> conditions(predictor.bins.size());
    for (std::size_t b = 0; b < conditions.size(); ++b) {
      const auto cut = [&](std::size_t i) { return ShortestNumber(predictor.cutPoints[i]); };
      if (predictor.figures.categorical) {
        for (const ScreenedLevel& level : predictor.levels) {
          if (static_cast<std::size_t>(level.bin) != b) continue;
          conditions[b] += (conditions[b].empty() ? predictor.name + " = " : ", ") + level.text;
        }
      } else if (b < predictor.cutPoints.size()) {
        conditions[b] = (b > 0 ? cut(b - 1) + " < " : "") + predictor.name + " <= " + cut(b);
      } else if (b > 0 && b == predictor.cutPoints.size()) {
        conditions[b] = predictor.name + " > " + cut(b - 1);
      }
    }
    int width = 0;
    for (const std::string& condition : conditions) width = std::max(width, std::min(WidthOf(condition), 48));
    std::string text;
    for (std::size_t b = 0; b < conditions.size(); ++b) {
      text += conditions[b];
      text.append(static_cast<std::size_t>(std::max(width - WidthOf(conditions[b]), 0)), ' ');
      text += "  ->  " + predictor.bins[b].label + "\n";
    }
    return text;
  }

  // A table of texts that the page's script sorts and searches.
  void AddTextTable(const std::string& id, const std::string& title, const std::vector<std::string>& headers,
                    const std::vector<std::vector<std::string>>& rows, bool folded) {
    body_ +=
        "<div id=\"" + id + "\" class=\"extra\">\n<h3 id=\"" + id + "-title\">" + Escaped(title) + "</h3>\n";
    if (folded)
      body_ += "<details><summary>Show " + GroupedDigits(static_cast<long long>(rows.size())) +
               (rows.size() == 1 ? " row" : " rows") + "</summary>\n";
    body_ += "<div class=\"tools\"><p class=\"count\">" +
             Count(static_cast<std::int64_t>(rows.size()), "row", "rows") +
             "</p></div>\n<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-labelledby=\"" + id +
             "-title\">\n<table aria-labelledby=\"" + id + "-title\">\n<thead><tr>";
    for (const std::string& header : headers) body_ += "<th scope=\"col\">" + Escaped(header) + "</th>";
    body_ += "</tr></thead>\n<tbody>\n";
    PageJson data = PageJson::array();
    for (std::size_t i = 0; i < rows.size(); ++i) {
      PageJson cells = PageJson::array();
      if (i < kRowsShown) body_ += "<tr>";
      for (std::size_t c = 0; c < rows[i].size(); ++c) {
        cells.push_back(Utf8Of(rows[i][c]));
        if (i >= kRowsShown) continue;
        const char* tag = c == 0 ? "th scope=\"row\"" : "td";
        body_ += std::string("<") + tag + ">" + Escaped(rows[i][c]) + (c == 0 ? "</th>" : "</td>");
      }
      if (i < kRowsShown) body_ += "</tr>\n";
      data.push_back(std::move(cells));
    }
    body_ +=
        folded ? "</tbody>\n</table>\n</div>\n</details>\n</div>\n" : "</tbody>\n</table>\n</div>\n</div>\n";
    tables_.push_back({{"id", id},
                       {"title", title},
                       {"nameColumn", 0},
                       {"numeric", std::vector<int>(headers.size(), 0)},
                       {"rows", std::move(data)}});
  }

  void AddFailed(const ScreenedResponse& response, const std::string& id) {
    if (response.failed.empty()) return;
    std::vector<std::vector<std::string>> rows;
    for (const FailedPredictor& failed : response.failed) rows.push_back({failed.name, failed.reason});
    AddTextTable(id + "-failed",
                 "Not binned: " + Count(static_cast<std::int64_t>(rows.size()), "predictor", "predictors"),
                 {"Predictor", "Reason"}, rows, rows.size() > 12);
  }

  void AddLeftOut() {
    if (report_.leftOut.empty()) return;
    std::vector<std::vector<std::string>> rows;
    for (const LeftOutVariable& variable : report_.leftOut)
      rows.push_back({variable.name, variable.role, variable.reason});
    body_ += "<section aria-label=\"Variables left out\">\n";
    AddTextTable("left-out",
                 "Not screened: " + Count(static_cast<std::int64_t>(rows.size()), "variable", "variables"),
                 {"Variable", "Taken as", "Reason"}, rows, rows.size() > 12);
    body_ += "</section>\n";
  }

  void AddRules() {
    const Document* document = workbook_.Find(documents_.rules);
    const TextDocument* rules = document == nullptr ? nullptr : document->AsText();
    if (rules == nullptr) return;
    body_ += "<section aria-labelledby=\"rules\">\n<h2 id=\"rules\">" + Escaped(rules->title) +
             "</h2>\n<details><summary>The bins of the best predictors as rules</summary>\n<pre>" +
             Escaped(rules->text) + "</pre>\n</details>\n</section>\n";
  }

  void AddGuide() {
    body_ +=
        "<section class=\"guide\" aria-labelledby=\"guide\">\n<h2 id=\"guide\">How to read the "
        "figures</h2>\n<dl>\n";
    const auto term = [&](const char* name, const char* meaning) {
      body_ += std::string("<dt>") + name + "</dt><dd>" + meaning + "</dd>\n";
    };
    const auto has = [&](vlm::ResponseKind kind) {
      return std::any_of(report_.responses.begin(), report_.responses.end(),
                         [&](const ScreenedResponse& response) { return response.kind == kind; });
    };
    term("Bins",
         "Every predictor is cut into bins by a tree of its own; then the bins are scored. Predictors are "
         "never looked at together, so two that say the same both rank high.");
    if (has(vlm::kBinaryResponse)) {
      term("Gini", "Impurity left in the bins, at most 0.5; smaller is better.");
      term("Information value", "Below 0.02 next to nothing, from 0.3 strong.");
      term("WOE",
           "Weight of evidence, 100 ln(share of good / share of bad); below 0 where there are more bad ones "
           "than elsewhere.");
      term("Bad rate", "Share of bad ones among the cases of the bin.");
    }
    if (has(vlm::kContinuousResponse)) {
      term("R-squared", "Share of the response's variance that the bins explain.");
      term("F-statistic", "Variance between the bins over variance within them.");
      term("SSE", "Sum of squares within the bin.");
    }
    if (has(vlm::kCategoricalResponse)) {
      term("p-value",
           "Chance of a Chi-square at least this large if the predictor told nothing; one test at a time.");
      term("Chi-square", "Distance of the counts from what they were if the predictor told nothing.");
    }
    if (has(vlm::kBinaryResponse) || has(vlm::kCategoricalResponse))
      term("Cramer's V", "Strength of the relation from 0 to 1.");
    body_ += "</dl>\n</section>\n";
  }

  const ScreenReport& report_;
  const ScreenDocuments& documents_;
  const Workbook& workbook_;
  std::string body_;
  std::string responses_;
  PageJson charts_ = PageJson::array();
  PageJson tables_ = PageJson::array();
  std::size_t detail_ = 0;  // bytes
  bool threeDimensions_ = false;
};

}  // namespace

std::string ScreenHtml(const ScreenReport& report, const ScreenDocuments& documents,
                       const Workbook& workbook) {
  return ScreenPage(report, documents, workbook).Write();
}

}  // namespace velmora
