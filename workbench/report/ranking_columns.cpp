#include "workbench/report/ranking_columns.h"

#include <cmath>
#include <numbers>
#include <utility>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

class RankingColumnMaker {
 public:
  RankingColumnMaker(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                     const std::vector<int>& rows)
      : report_(report), dependent_(dependent), rows_(rows) {}

  std::vector<RankingColumn> Make() {
    Add({"Rank", "rank", "", RankingColumn::kCount, 0, {}, {}}, [&](std::size_t position) {
      if (position < dependent_.best.size()) return Cell{std::to_string(position + 1), position + 1.0};
      return Cell{IsNoBetter(position) ? "n.s." : "", kNoNumber};
    });
    Add({"Predictor", "predictor", "", RankingColumn::kName, 0, {}, {}}, [&](std::size_t position) {
      return Cell{Predictor(position).name, kNoNumber};
    });
    if (dependent_.ranked) AddEffect();
    Add({dependent_.statisticName,
         dependent_.statisticName,
         StatisticMeaning(dependent_.statistic),
         RankingColumn::kNumber,
         dependent_.ranked ? 7 : 0,
         {},
         {}},
        [&](std::size_t position) {
          return IsComputed(position)
                     ? Cell{ShownStatistic(dependent_, Pair(position)), Finite(Pair(position).statistic)}
                     : Cell{};
        });
    Add({"df",
         "df",
         "Degrees of freedom: of the groups and within them for F, of the table for Chi-square and "
         "Cramer's V.",
         RankingColumn::kNumber,
         dependent_.ranked ? 8 : 5,
         {},
         {}},
        [&](std::size_t position) {
          return IsComputed(position) ? Cell{DegreesOfFreedomText(Pair(position)), Pair(position).df1}
                                      : Cell{};
        });
    if (dependent_.ranked) {
      AddProbabilities();
    } else {
      Add({"p-value",
           "p-value",
           "Probability of a value at least this large if predictor and outcome were unrelated (one test, "
           "not adjusted).",
           RankingColumn::kProbability,
           0,
           {},
           {}},
          [&](std::size_t position) {
            const double p = Pair(position).pValue;
            return IsComputed(position) ? Cell{ShownProbability(p), p} : Cell{};
          });
    }
    Add({"Kind", "kind", "", RankingColumn::kText, dependent_.ranked ? 10 : 1, {}, {}},
        [&](std::size_t position) {
          return Cell{KindName(Predictor(position).kind), kNoNumber};
        });
    Add({"N", "N", "Cases that entered the statistic.", RankingColumn::kCount, 3, {}, {}},
        [&](std::size_t position) {
          const bool counted = dependent_.ranked && !report_.countVariable.empty();
          return CountCell(counted ? Ranked(position).frequency : Pair(position).usedCases);
        });
    Add({"Missing",
         "missing",
         "Cases that did not, because a value is missing.",
         RankingColumn::kCount,
         dependent_.ranked ? 5 : kWideOnly,
         {},
         {}},
        [&](std::size_t position) { return CountCell(Pair(position).missingCases); });
    if (dependent_.ranked) AddBasis();
    return std::move(columns_);
  }

 private:
  struct Cell {
    std::string text = "-";
    double value = kNoNumber;
  };

  static double Finite(double value) { return std::isfinite(value) ? value : kNoNumber; }
  static Cell CountCell(double count) { return {ShownNumber(count, "0"), count}; }

  const ReportedPredictor& Predictor(std::size_t position) const {
    return report_.predictors[static_cast<std::size_t>(rows_[position])];
  }
  const vlm::FeatureSelectionPair& Pair(std::size_t position) const {
    return dependent_.pairs[static_cast<std::size_t>(rows_[position])];
  }
  const ranking::RankedPair& Ranked(std::size_t position) const {
    return dependent_.ranked->pairs[static_cast<std::size_t>(rows_[position])];
  }
  bool IsComputed(std::size_t position) const { return Pair(position).notComputable == 0; }
  bool IsNoBetter(std::size_t position) const {
    return dependent_.ranked && IsComputed(position) && !Ranked(position).better;
  }

  // cellOf(position): of a row.
  template <typename CellOf>
  void Add(RankingColumn column, CellOf cellOf) {
    const bool numbers = column.kind != RankingColumn::kText && column.kind != RankingColumn::kName;
    for (std::size_t position = 0; position < rows_.size(); ++position) {
      Cell cell = cellOf(position);
      column.texts.push_back(std::move(cell.text));
      if (numbers) column.values.push_back(cell.value);
    }
    columns_.push_back(std::move(column));
  }

  // valueOf(association): shown only where the pair is computed.
  template <typename ValueOf>
  void AddEffectFigure(const char* title, const char* shortTitle, std::string meaning, int importance,
                       ValueOf valueOf) {
    Add({title, shortTitle, std::move(meaning), RankingColumn::kNumber, importance, {}, {}},
        [&](std::size_t position) {
          const double value = valueOf(Ranked(position).association);
          return IsComputed(position) ? Cell{ShownNumber(value, "0.000"), value} : Cell{};
        });
  }

  void AddEffect() {
    using stats::Association;
    AddEffectFigure(
        "Effect", "effect",
        std::string(EffectName(dependent_.statistic)) + ": " + EffectMeaning(dependent_.statistic), 0,
        [](const Association& a) { return a.effect; });
    AddEffectFigure("95 % from", "", "", kWideOnly, [](const Association& a) { return a.lower; });
    AddEffectFigure("95 % to", "", "The 95 % interval of the effect.", kWideOnly,
                    [](const Association& a) { return a.upper; });
    Add({"", "95 % interval", "", RankingColumn::kText, 2, {}, {}}, [&](std::size_t position) {
      const Association& a = Ranked(position).association;
      return IsComputed(position)
                 ? Cell{ShownNumber(a.lower, "0.000") + "-" + ShownNumber(a.upper, "0.000"), kNoNumber}
                 : Cell{};
    });
  }

  void AddProbabilities() {
    const auto add = [&](const char* title, const char* shortTitle, std::string meaning, int importance,
                         auto logOf) {
      Add({title, shortTitle, std::move(meaning), RankingColumn::kProbability, importance, {}, {}},
          [&](std::size_t position) {
            const double logP = logOf(Ranked(position));
            return IsComputed(position) && !std::isnan(logP) ? Cell{ShownLogProbability(logP), std::exp(logP)}
                                                             : Cell{};
          });
    };
    const auto logP = [](const ranking::RankedPair& pair) { return pair.association.logP; };
    const auto logAdjusted = [](const ranking::RankedPair& pair) { return pair.logAdjustedP; };
    add("p-value", "p",
        "Probability of a statistic at least this large if predictor and outcome were unrelated (one test).",
        6, logP);
    add("Adjusted p", "adj. p", AdjustmentMeaning(report_.ranking->adjustment), 1, logAdjusted);
    Add({"-log10 p",
         "",
         "The p-value's digits after the point: two p-values too small to print still differ.",
         RankingColumn::kNumber,
         kWideOnly,
         {},
         {}},
        [&](std::size_t position) {
          const double digits = -logP(Ranked(position)) / std::numbers::ln10;
          return IsComputed(position) && std::isfinite(digits)
                     ? Cell{ShownNumber(digits, "0.00"), std::fabs(digits)}
                     : Cell{};
        });
  }

  void AddBasis() {
    Add({"Levels",
         "levels",
         "Categories, or intervals of a continuous predictor, that have cases.",
         RankingColumn::kCount,
         4,
         {},
         {}},
        [&](std::size_t position) {
          return CountCell(static_cast<double>(Ranked(position).association.levels));
        });
    if (report_.run.weighted == 0) return;
    Add({"Design effect",
         "deff",
         "Variance under the weights relative to as many cases without them; N over it is the number of "
         "cases that the figures are worth.",
         RankingColumn::kNumber,
         9,
         {},
         {}},
        [&](std::size_t position) {
          const double effect = Ranked(position).association.designEffect;
          return IsComputed(position) ? Cell{ShownNumber(effect, "0.00"), effect} : Cell{};
        });
  }

  const FeatureSelectionReport& report_;
  const ReportedDependent& dependent_;
  const std::vector<int>& rows_;
  std::vector<RankingColumn> columns_;
};

}  // namespace

std::vector<RankingColumn> RankingColumns(const FeatureSelectionReport& report,
                                          const ReportedDependent& dependent, const std::vector<int>& rows) {
  return RankingColumnMaker(report, dependent, rows).Make();
}

}  // namespace velmora
