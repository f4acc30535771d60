#include "workbench/api/result_tables.h"

#include <map>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/options.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {
namespace {

// The members of a predictor that are figures, after those that lead the row.
void AppendFigures(const Json& predictor, Json& row) {
  for (const auto& [name, value] : predictor.items()) {
    if (!value.is_structured() && name != "name") row[name] = value;
  }
}

Json RankingOfFeatureSelection(const FeatureSelectionReport& report, const Json& json) {
  Json rows = Json::array();
  for (std::size_t d = 0; d < report.dependents.size(); ++d) {
    const Json& dependent = json["dependents"][d];
    std::map<int, const Json*> byNumber;
    for (const Json& predictor : dependent["predictors"])
      byNumber[predictor["number"].get<int>()] = &predictor;
    int rank = 0;
    for (const int index : OrderedPredictors(report, report.dependents[d])) {
      const ReportedPredictor& predictor = report.predictors[static_cast<std::size_t>(index)];
      Json row = {{"dependent", dependent["name"]}, {"rank", ++rank}, {"predictor", predictor.name}};
      AppendFigures(*byNumber.at(predictor.number), row);
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

Json RankingOfScreening(const Json& json) {
  Json rows = Json::array();
  for (const Json& response : json["responses"]) {
    int rank = 0;
    for (const Json& predictor : response["predictors"]) {
      Json row = {{"response", response["name"]},
                  {"rank", ++rank},
                  {"predictor", predictor["name"]},
                  {"bins", predictor["rows"].size()}};
      AppendFigures(predictor, row);
      std::string warnings;
      for (const Json& warning : predictor["warnings"])
        warnings += (warnings.empty() ? "" : "; ") + warning["text"].get<std::string>();
      row["warnings"] = TextOrNull(warnings);
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

Json BinsOfScreening(const Json& json) {
  Json rows = Json::array();
  for (const Json& response : json["responses"]) {
    for (const Json& predictor : response["predictors"]) {
      int number = 0;
      for (const Json& bin : predictor["rows"]) {
        Json row = {{"response", response["name"]}, {"predictor", predictor["name"]}, {"bin", ++number}};
        for (const auto& [name, value] : bin.items()) row[name] = value;
        rows.push_back(std::move(row));
      }
    }
  }
  return rows;
}

ArrowTable NamedTable(const std::string& name,
                      const std::vector<std::pair<std::string, const ReportTable*>>& tables) {
  std::vector<std::string> names;
  for (const auto& [known, table] : tables) {
    if (name == known) return TableOfRows(RowsJson(*table));
    names.push_back(known);
  }
  throw UsageError("The result has no table " + ShortenedText(name) + "; its tables are " +
                   JoinWords(names, " and ") + ".");
}

}  // namespace

ArrowTable ResultTable(FinishedRun& run, const std::string& name) {
  if (run.scorecard) {
    const ScorecardTables tables = TablesOf(*run.scorecard);
    return NamedTable(name, {{"points", &tables.points},
                             {"coefficients", &tables.coefficients},
                             {"quality", &tables.quality},
                             {"scores", &tables.scores}});
  }
  if (run.monitor) {
    const StabilityTables tables = TablesOf(*run.monitor);
    return NamedTable(name,
                      {{"ranking", &tables.summary}, {"groups", &tables.groups}, {"bins", &tables.bins}});
  }
  const bool ranking = name == "ranking";
  if (!ranking && (name != "bins" || !run.screening))
    throw UsageError("The result has no table " + ShortenedText(name) +
                     (run.screening ? "; its tables are ranking and bins." : "; its table is ranking."));
  const Json json = Json::parse(run.Writers().json());
  if (run.featureSelection) return TableOfRows(RankingOfFeatureSelection(*run.featureSelection, json));
  return TableOfRows(ranking ? RankingOfScreening(json) : BinsOfScreening(json));
}

}  // namespace velmora
