#include "module/screening_outputs/rules_report.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "base/format_text.h"
#include "base/utf8_text.h"
#include "module/resources/text_ids.h"
#include "module/screening_outputs/importance_tables.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {
namespace {

constexpr int kReportDocument = 2;
constexpr std::size_t kColumnGap = 2;

std::string Padded(std::string text, std::size_t width) {
  text.append(width - std::min(width, vlm::CharacterCount(text)), ' ');
  return text;
}

std::string RuleOfInterval(const PredSummary& record, std::size_t bin, const std::string& name) {
  if (record.bins.cutPoints.empty()) return name + " has any value";
  const bool first = bin == 0;
  const bool last = bin == record.bins.cutPoints.size();
  if (first) return name + " <= " + record.bins.upperTexts[bin];
  return last ? name + " > " + record.bins.lowerTexts[bin]
              : record.bins.lowerTexts[bin] + " < " + name + " <= " + record.bins.upperTexts[bin];
}

// The condition of the interval, or of the levels or special codes in the bin.
std::string RuleOfValues(CFeatureSelectionTemplate& analysis, const PredSummary& record, std::size_t bin,
                         const std::string& name) {
  std::string levels;
  for (const auto& [code, binOfCode] : record.bins.levelOf) {
    if (static_cast<std::size_t>(binOfCode) != bin) continue;
    levels += (levels.empty() ? "" : ", ") + OnOneLine(analysis.DisplayText(record.predictorVariable, code));
  }
  if (record.predictorKind != kContinuousPredictor || record.bins.IsExtra(bin)) return name + " = " + levels;
  return RuleOfInterval(record, bin, name) + (levels.empty() ? "" : " or " + name + " = " + levels);
}

// The values of a bin as a reader writes them down, on one line.
std::string RuleOf(CFeatureSelectionTemplate& analysis, const PredSummary& record, std::size_t bin) {
  const std::string name = OnOneLine(record.predictorName);
  const bool takesMissing = static_cast<int>(bin) == record.bins.fit.missingBin;
  if (takesMissing && record.bins.MissingHasOwn()) return name + " is missing";
  return RuleOfValues(analysis, record, bin, name) + (takesMissing ? " or is missing" : "");
}

struct RankedRecord {
  std::size_t rank;
  const PredSummary* record;
};

// The predictors of one kind, each with its rules.
std::string ReportOfGroup(CFeatureSelectionTemplate& analysis, const std::string& label,
                          const std::vector<RankedRecord>& records) {
  const std::string rankHeading = RequiredText(analysis, kTextRank);
  const std::size_t rankWidth = vlm::CharacterCount(rankHeading) + kColumnGap;
  std::size_t nameWidth = vlm::CharacterCount(label);
  for (const RankedRecord& one : records)
    nameWidth = std::max(nameWidth, vlm::CharacterCount(OnOneLine(one.record->predictorName)));
  nameWidth += kColumnGap;

  std::string text =
      Padded(rankHeading, rankWidth) + Padded(label, nameWidth) + RequiredText(analysis, kTextCoded) + "\n";
  for (const auto& [rank, record] : records) {
    text += Padded(std::to_string(rank), rankWidth) + Padded(OnOneLine(record->predictorName), nameWidth) +
            OnOneLine(CodedVariableName(analysis, *record)) + "\n";
    std::vector<std::string> rules;
    std::size_t ruleWidth = 0;
    for (std::size_t bin = 0; bin < record->bins.Count(); ++bin) {
      rules.push_back(RuleOf(analysis, *record, bin));
      ruleWidth = std::max(ruleWidth, vlm::CharacterCount(rules.back()));
    }
    for (std::size_t bin = 0; bin < rules.size(); ++bin) {
      text += std::string(rankWidth, ' ') + Padded(rules[bin], ruleWidth) + "  ->  " +
              BinLabel(analysis, *record, bin) + "\n";
    }
    text += "\n";
  }
  return text;
}

// One row of the table of all predictors: a record per response kind for which the predictor was
// analysed.
struct PredictorRow {
  const PredSummary* any = nullptr;
  std::map<int, RankedRecord> byKind;
};

std::vector<PredictorRow> CollectRows(CFeatureSelectionTemplate& analysis) {
  std::vector<PredictorRow> rows;
  std::map<std::pair<int, int>, std::size_t> rowOf;  // kind and variable
  const auto row = [&](const PredSummary& record) -> PredictorRow& {
    const auto [place, isNew] =
        rowOf.try_emplace({record.predictorKind, record.predictorVariable}, rows.size());
    if (isNew) rows.push_back({&record, {}});
    return rows[place->second];
  };
  for (const int kind : kKindsInOutputOrder) {
    const std::vector<PredSummary*> ranked = RankedPredictors(analysis, kind);
    for (std::size_t i = 0; i < ranked.size(); ++i) row(*ranked[i]).byKind.insert({kind, {i + 1, ranked[i]}});
  }
  for (const int kind : kKindsInOutputOrder) {
    for (const PredSummary& record : analysis.Failed(kind)) row(record);
  }
  return rows;
}

}  // namespace

vlm::Ref<vlm::IDocument> ShowRulesReport(CFeatureSelectionTemplate& analysis, int count) {
  std::string text;
  for (const int kind : kKindsInOutputOrder) {
    const std::vector<PredSummary*> best = BestPredictors(analysis, kind, count);
    if (best.empty()) continue;
    text += vlm::FormatText(RequiredText(analysis, kTextDependentVariable),
                            {OnOneLine(analysis.ResponseName(kind))}) +
            "\n\n";
    for (const auto& [predictorKind, labelTextId] :
         {std::pair{kCategoricalPredictor, kTextCategoricalPredictorsLabel},
          std::pair{kContinuousPredictor, kTextContinuousPredictorsLabel}}) {
      std::vector<RankedRecord> group;
      for (std::size_t i = 0; i < best.size(); ++i) {
        if (best[i]->predictorKind == predictorKind) group.push_back({i + 1, best[i]});
      }
      if (!group.empty()) text += ReportOfGroup(analysis, RequiredText(analysis, labelTextId), group);
    }
  }
  return analysis.CreateTextDoc(kReportDocument, RequiredText(analysis, kTextRulesReport), text);
}

vlm::Ref<vlm::ISpreadsheet> MakeAllPredictorsTable(CFeatureSelectionTemplate& analysis) {
  std::vector<int> kinds;
  int columnCount = 1;
  for (const int kind : kKindsInOutputOrder) {
    if (analysis.ResponseCount(kind) == 0) continue;
    kinds.push_back(kind);
    columnCount += 1 + static_cast<int>(ImportanceColumns(kind).size());
  }
  const std::vector<PredictorRow> rows = CollectRows(analysis);
  if (rows.empty()) return {};
  auto sheet = vlm::Ref<vlm::ISpreadsheet>::Adopt(
      analysis.Host().CreateSpreadsheet(0, static_cast<int>(rows.size()), columnCount));
  if (!sheet) return {};

  const auto nameColumn = [&](int column, int textId, const std::string& response) {
    const std::string name = RequiredText(analysis, textId);
    NameColumn(*sheet, column, name, kinds.size() > 1 && !response.empty() ? response + ": " + name : name);
  };
  std::map<int, int> firstColumn;  // of each response kind
  int column = 1;
  for (const int kind : kinds) {
    firstColumn[kind] = column;
    nameColumn(column++, kTextRank, analysis.ResponseName(kind));
    for (const ImportanceColumn& statistic : ImportanceColumns(kind)) {
      sheet->SetColumnRole(column, statistic.role);
      nameColumn(column++, statistic.textId, analysis.ResponseName(kind));
    }
  }
  nameColumn(column, kTextVariableNumber, "");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const int row = static_cast<int>(i) + 1;
    NameRow(analysis, *sheet, row, rows[i].any->predictorName);
    for (const auto& [kind, ranked] : rows[i].byKind) {
      sheet->SetInteger(row, firstColumn[kind], static_cast<int>(ranked.rank));
      WriteImportance(*sheet, row, firstColumn[kind] + 1, *ranked.record);
    }
    sheet->SetInteger(row, columnCount, rows[i].any->predictorVariable);
  }
  SetTitle(*sheet, RequiredText(analysis, kTextAllPredictors));
  return sheet;
}

}  // namespace vlmfsl
