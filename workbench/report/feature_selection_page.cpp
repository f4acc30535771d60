// The page of a feature selection run: a ranking of all predictors for every dependent.
#include <cmath>

#include "workbench/documents/page.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

std::string FileName(const std::string& path) { return Utf8Of(PathOf(path).filename().string()); }

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
      if (i == 0)
        one["figure"] = Utf8Of(dependent_.statisticName) + " " + ShownStatistic(dependent_, PairAt(i));
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

  template <typename ValueOf>
  PageJson Values(ValueOf valueOf) const {
    PageJson values = PageJson::array();
    for (std::size_t position = 0; position < order_.size(); ++position) values.push_back(valueOf(position));
    return values;
  }
  static PageJson NumberOrNothing(bool there, double value) {
    return there && std::isfinite(value) ? PageJson(value) : PageJson();
  }

  PageJson Ranking() const {
    double largest = 0;
    for (const vlm::FeatureSelectionPair& pair : dependent_.pairs) {
      if (!pair.notComputable && std::isfinite(pair.statistic)) largest = std::max(largest, pair.statistic);
    }
    const auto computed = [&](std::size_t position) { return PairAt(position).notComputable == 0; };
    PageJson columns = PageJson::array();
    columns.push_back({{"title", "Rank"}, {"role", "smallest"}, {"values", Values([&](std::size_t position) {
                                                                   return position < dependent_.best.size()
                                                                              ? PageJson(position + 1)
                                                                              : PageJson();
                                                                 })}});
    columns.push_back({{"title", "Predictor"}, {"role", "name"}, {"texts", Values([&](std::size_t position) {
                                                                    return PageJson(
                                                                        Utf8Of(PredictorAt(position).name));
                                                                  })}});
    columns.push_back({{"title", Utf8Of(dependent_.statisticName)},
                       {"role", "number"},
                       {"values", Values([&](std::size_t position) {
                          return NumberOrNothing(computed(position), PairAt(position).statistic);
                        })},
                       {"texts", Values([&](std::size_t position) {
                          return PageJson(computed(position) ? ShownStatistic(dependent_, PairAt(position))
                                                             : "–");
                        })}});
    columns.push_back({{"title", "p-value"},
                       {"role", "smallest"},
                       {"values", Values([&](std::size_t position) {
                          return NumberOrNothing(computed(position), PairAt(position).pValue);
                        })},
                       {"texts", Values([&](std::size_t position) {
                          return PageJson(computed(position) ? ShownProbability(PairAt(position).pValue)
                                                             : "–");
                        })}});
    columns.push_back({{"title", "Strength"},
                       {"role", "bar"},
                       {"values", Values([&](std::size_t position) {
                          const double statistic = computed(position) ? PairAt(position).statistic : 0;
                          const double part =
                              largest > 0 ? std::min(std::max(statistic, 0.0) / largest, 1.0) : 0;
                          return PageJson(std::round(part * 1000) / 1000);
                        })}});
    columns.push_back({{"title", "Kind"}, {"role", "text"}, {"texts", Values([&](std::size_t position) {
                                                               return PageJson(
                                                                   KindName(PredictorAt(position).kind));
                                                             })}});
    columns.push_back({{"title", "N"}, {"role", "number"}, {"values", Values([&](std::size_t position) {
                                                              return PageJson(PairAt(position).usedCases);
                                                            })}});
    columns.push_back({{"title", "Missing"}, {"role", "number"}, {"values", Values([&](std::size_t position) {
                                                                    return PageJson(
                                                                        PairAt(position).missingCases);
                                                                  })}});
    columns.push_back({{"title", "df"},
                       {"role", "number"},
                       {"values", Values([&](std::size_t position) {
                          return NumberOrNothing(computed(position), PairAt(position).df1);
                        })},
                       {"texts", Values([&](std::size_t position) {
                          return PageJson(computed(position) ? DegreesOfFreedomText(PairAt(position)) : "–");
                        })}});
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
  const auto term = [&](const std::string& name, const char* meaning) {
    guide.push_back({{"term", name}, {"meaning", meaning}});
  };
  std::vector<std::string> named;
  for (const ReportedDependent& dependent : report.dependents) {
    if (std::find(named.begin(), named.end(), dependent.statisticName) != named.end()) continue;
    named.push_back(dependent.statisticName);
    term(Utf8Of(dependent.statisticName), StatisticMeaning(dependent.statistic));
  }
  term("p-value",
       "Probability of a value at least this large if predictor and outcome were unrelated (one test, not "
       "adjusted).");
  term("Strength", "The statistic relative to the largest one of the dependent.");
  term("N, Missing", "Cases that entered the statistic, and cases that did not because a value is missing.");
  term(
      "df",
      "Degrees of freedom: of the groups and within them for F, of the table for Chi-square and Cramer's V.");
  return guide;
}

}  // namespace

std::string FeatureSelectionPage(const FeatureSelectionReport& report) {
  PageJson leads = PageJson::array(), sections = PageJson::array();
  for (std::size_t i = 0; i < report.dependents.size(); ++i) {
    const DependentSection section(report, i);
    if (report.dependents.size() <= 3) leads.push_back(section.Lead());
    sections.push_back(section.Make());
  }
  Page page;
  page.data = {{"eyebrow", "Feature selection"},
               {"title", FileName(report.dataFile)},
               {"leads", std::move(leads)},
               {"factsTitle", "The run"},
               {"facts", PageFacts(RunFacts(report))},
               {"notices", PageJson::array()},
               {"sections", std::move(sections)},
               {"guide", Guide(report)}};
  return PageText(page);
}

}  // namespace velmora
