// The page of a feature selection run: a ranking of all predictors for every dependent.
#include <cmath>
#include <set>

#include "workbench/documents/page.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/report/data_name.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/report/ranking_columns.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

// One dependent: all predictors, the best ones first, as columns of a table.
class DependentSection {
 public:
  DependentSection(const FeatureSelectionReport& report, std::size_t index)
      : report_(report),
        dependent_(report.dependents[index]),
        id_("d" + std::to_string(index)),
        order_(OrderedPredictors(report, dependent_)) {}

  PageJson Make() const {
    PageJson notices = PageJson::array();
    for (const std::string& notice : dependent_.notices) notices.push_back(Utf8Of(notice));
    return {{"id", id_},
            {"look", "response"},
            {"listed", true},
            {"title", Utf8Of(dependent_.name)},
            {"kind", Kind()},
            {"notices", std::move(notices)},
            {"parts", PageJson::array({Ranking()})}};
  }

  PageJson Lead() const {
    PageJson best = PageJson::array();
    for (std::size_t i = 0; i < std::min<std::size_t>(dependent_.best.size(), 3); ++i) {
      PageJson one = {{"name", Utf8Of(PredictorAt(i).name)}, {"target", id_ + "-ranking"}};
      if (i == 0) one["figure"] = Figure(i);
      best.push_back(std::move(one));
    }
    return {{"question", "Which of the " + GroupedDigits(static_cast<long long>(order_.size())) +
                             " predictors are related to "},
            {"subject", Utf8Of(dependent_.name)},
            {"best", std::move(best)}};
  }

 private:
  const vlm::FeatureSelectionPair& PairAt(std::size_t position) const {
    return dependent_.pairs[static_cast<std::size_t>(order_[position])];
  }
  std::string Figure(std::size_t position) const {
    if (!dependent_.ranked)
      return Utf8Of(dependent_.statisticName) + " " + ShownStatistic(dependent_, PairAt(position));
    return std::string(EffectName(dependent_.statistic)) + " " +
           ShownNumber(
               dependent_.ranked->pairs[static_cast<std::size_t>(order_[position])].association.effect,
               "0.000");
  }
  const ReportedPredictor& PredictorAt(std::size_t position) const {
    return report_.predictors[static_cast<std::size_t>(order_[position])];
  }

  std::string Kind() const {
    std::string text = std::string(KindName(dependent_.kind)) + " dependent; " +
                       GroupedDigits(dependent_.cases.validCases) + " cases with a value";
    if (dependent_.cases.missingCases > 0)
      text += ", " + GroupedDigits(dependent_.cases.missingCases) + " without";
    return text + "; " + Utf8Of(ShownPredictors(report_, dependent_));
  }

  // The effect, or without one the statistic relative to the largest one.
  double Strength(std::size_t position) const {
    const vlm::FeatureSelectionPair& pair = PairAt(position);
    if (pair.notComputable != 0 || !std::isfinite(pair.statistic)) return 0;
    if (dependent_.ranked)
      return dependent_.ranked->pairs[static_cast<std::size_t>(order_[position])].association.effect;
    double largest = 0;
    for (const vlm::FeatureSelectionPair& other : dependent_.pairs) {
      if (!other.notComputable && std::isfinite(other.statistic))
        largest = std::max(largest, other.statistic);
    }
    return largest > 0 ? std::min(std::max(pair.statistic, 0.0) / largest, 1.0) : 0;
  }

  static PageJson ColumnJson(const RankingColumn& column) {
    static constexpr const char* kRoles[] = {"text", "name", "number", "number", "smallest"};
    PageJson json = {{"title", Utf8Of(column.title)},
                     {"role", column.title == "Rank" ? "smallest" : kRoles[column.kind]}};
    PageJson texts = PageJson::array(), values = PageJson::array();
    for (const std::string& text : column.texts) texts.push_back(Utf8Of(text == "-" ? "–" : text));
    for (const double value : column.values)
      values.push_back(std::isfinite(value) ? PageJson(value) : PageJson());
    json["texts"] = std::move(texts);
    if (!column.values.empty()) json["values"] = std::move(values);
    return json;
  }

  PageJson Ranking() const {
    PageJson columns = PageJson::array();
    for (const RankingColumn& column : RankingColumns(report_, dependent_, order_)) {
      if (column.title.empty()) continue;
      columns.push_back(ColumnJson(column));
      if (column.kind != RankingColumn::kName) continue;
      PageJson strengths = PageJson::array();
      for (std::size_t position = 0; position < order_.size(); ++position)
        strengths.push_back(std::round(Strength(position) * 1000) / 1000);
      columns.push_back({{"title", "Strength"}, {"role", "bar"}, {"values", std::move(strengths)}});
    }
    return {{"type", "table"},   {"id", id_ + "-ranking"},    {"title", "Ranking"},
            {"look", "ranking"}, {"rowCount", order_.size()}, {"columns", std::move(columns)}};
  }

  const FeatureSelectionReport& report_;
  const ReportedDependent& dependent_;
  std::string id_;
  std::vector<int> order_;
};

PageJson Guide(const FeatureSelectionReport& report) {
  PageJson guide = PageJson::array();
  const auto term = [&](const std::string& name, const std::string& meaning) {
    guide.push_back({{"term", name}, {"meaning", meaning}});
  };
  std::set<std::string> named;
  for (const ReportedDependent& dependent : report.dependents) {
    for (const RankingColumn& column : RankingColumns(report, dependent, {})) {
      if (!column.meaning.empty() && named.insert(column.title + column.meaning).second)
        term(Utf8Of(column.title), column.meaning);
    }
  }
  if (report.ranking) {
    term("Strength", "The effect, from 0 to 1.");
    term("n.s.", "Not distinguishable from chance: the adjusted p is above " +
                     ShownNumber(report.ranking->alpha, "") + ".");
  } else {
    term("Strength", "The statistic relative to the largest one of the dependent.");
  }
  return guide;
}

}  // namespace

std::string FeatureSelectionPage(const FeatureSelectionReport& report) {
  Page page;
  page.eyebrow = "Feature selection";
  page.title = DataName(report.dataFile);
  page.factsTitle = "The run";
  page.facts = PageFacts(RunFacts(report));
  page.notices = report.notices;
  for (std::size_t i = 0; i < report.dependents.size(); ++i) {
    const DependentSection section(report, i);
    if (report.dependents.size() <= 3) page.leads.push_back(section.Lead());
    page.sections.push_back(section.Make());
  }
  page.guide = Guide(report);
  return PageText(page);
}

}  // namespace velmora
