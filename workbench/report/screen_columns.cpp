#include "workbench/report/screen_columns.h"

#include <cmath>
#include <utility>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

struct Cell {
  std::string text = "-";
  double value = kNoNumber;
};

class ScreenColumnMaker {
 public:
  ScreenColumnMaker(const ScreenReport& report, const ScreenedResponse& response, std::size_t count)
      : report_(report), response_(response), count_(count) {}

  // Importance as of RankingColumn: 0 to 3 is always shown.
  void AddNames() {
    std::size_t rank = 0;
    Add({"Rank", "rank", "", RankingColumn::kCount, 0, {}, {}}, [&](const auto&) {
      return Cell{std::to_string(++rank), static_cast<double>(rank)};
    });
    Add({"Predictor", "predictor", "", RankingColumn::kName, 0, {}, {}}, [](const ScreenedPredictor& one) {
      return Cell{one.name, kNoNumber};
    });
  }

  void AddStatistics() {
    int importance = 0;
    for (const ScreenStatistic& statistic : StatisticsOf(response_)) {
      Add({statistic.header, statistic.header, "", RankingColumn::kNumber, importance, {}, {}},
          [&](const ScreenedPredictor& one) {
            const double value = one.figures.*statistic.value;
            if (IsMissing(value, kMissing)) return Cell{};
            return Cell{
                statistic.format == nullptr ? ShownProbability(value) : ShownNumber(value, statistic.format),
                value};
          });
      importance = importance == 0 ? 3 : importance + 4;
    }
  }

  void AddBasis() {
    if (AnyOf([](const ScreenedPredictor& one) { return one.heldOutInterval.has_value(); })) AddInterval();
    if (report_.permutations > 0) AddProbabilities();
    if (AnyOf([](const ScreenedPredictor& one) { return one.association.has_value(); })) AddDesign();
    Add({"Kind", "kind", "", RankingColumn::kText, 12, {}, {}}, [](const ScreenedPredictor& one) {
      return Cell{PredictorKindName(one), kNoNumber};
    });
    columns_.back().summary = "%";
    Add({"Bins", "bins", "", RankingColumn::kCount, 2, {}, {}},
        [](const ScreenedPredictor& one) { return Count(static_cast<std::int64_t>(one.bins.size())); });
    columns_.back().summary = "% bins";
    Add({"N", "N", "Cases used that have a value of the predictor.", RankingColumn::kCount, 4, {}, {}},
        [](const ScreenedPredictor& one) { return Count(one.cases); });
    columns_.back().summary = "% cases";
    Add({"Missing", "missing", "Cases used without one.", RankingColumn::kCount, 4, {}, {}},
        [](const ScreenedPredictor& one) { return Count(one.missing); });
    if (response_.compared > 1) AddRedundancy();
    if (AnyOf([](const ScreenedPredictor& one) { return !one.warnings.empty(); })) {
      Add({"Check",
           "",
           "Why to look twice before the predictor is used.",
           RankingColumn::kText,
           kWideOnly,
           {},
           {}},
          [](const ScreenedPredictor& one) {
            return Cell{WarningText(one), kNoNumber};
          });
    }
  }

  std::vector<RankingColumn> Take() { return std::move(columns_); }

 private:
  template <typename Holds>
  bool AnyOf(Holds holds) const {
    for (std::size_t i = 0; i < count_; ++i) {
      if (holds(response_.predictors[i])) return true;
    }
    return false;
  }

  static Cell Count(std::int64_t count) { return {std::to_string(count), static_cast<double>(count)}; }

  template <typename CellOf>
  void Add(RankingColumn column, CellOf cellOf) {
    const bool numbers = column.kind != RankingColumn::kText && column.kind != RankingColumn::kName;
    for (std::size_t i = 0; i < count_; ++i) {
      Cell cell = cellOf(response_.predictors[i]);
      column.texts.push_back(std::move(cell.text));
      if (numbers) column.values.push_back(cell.value);
    }
    columns_.push_back(std::move(column));
  }

  void AddInterval() {
    const std::string meaning =
        "The 95 % interval of " +
        std::string(RankingOf(response_.kind, RankBy::kOutOfFold, 0).statistic.header) +
        ", from the spread over the folds.";
    const auto end = [](double binning::Interval::*which) {
      return [which](const ScreenedPredictor& one) {
        if (!one.heldOutInterval) return Cell{};
        const double value = (*one.heldOutInterval).*which;
        return Cell{ShownNumber(value, "0.0000"), value};
      };
    };
    Add({"95 % from", "", "", RankingColumn::kNumber, kWideOnly, {}, {}}, end(&binning::Interval::lower));
    Add({"95 % to", "", meaning, RankingColumn::kNumber, kWideOnly, {}, {}}, end(&binning::Interval::upper));
    Add({"", "95 % interval", "", RankingColumn::kText, 2, {}, {}}, [](const ScreenedPredictor& one) {
      if (!one.heldOutInterval) return Cell{};
      return Cell{ShownNumber(one.heldOutInterval->lower, "0.000") + " to " +
                      ShownNumber(one.heldOutInterval->upper, "0.000"),
                  kNoNumber};
    });
  }

  void AddProbabilities() {
    const auto probability = [](double ScreenedPredictor::*which) {
      return [which](const ScreenedPredictor& one) {
        const double p = one.*which;
        return std::isnan(p) ? Cell{} : Cell{ShownProbability(p), p};
      };
    };
    Add({"p",
         "p",
         "Share of random orders of the outcome in which the whole search for bins finds as much.",
         RankingColumn::kProbability,
         5,
         {},
         {}},
        probability(&ScreenedPredictor::searchP));
    Add({"Adjusted p",
         "adj. p",
         "The same for the best of all predictors (Westfall and Young's step-down maximum).",
         RankingColumn::kProbability,
         1,
         {},
         {}},
        probability(&ScreenedPredictor::adjustedSearchP));
  }

  void AddDesign() {
    if (report_.permutations == 0) {
      Add({"p",
           "p",
           "Of the bins and the outcome, as the weights and the design of the sample give it, times the "
           "number of partitions that the search has compared.",
           RankingColumn::kProbability,
           5,
           {},
           {}},
          [](const ScreenedPredictor& one) {
            if (!one.association || std::isnan(one.association->logP)) return Cell{};
            const double p = std::exp(one.association->logP);
            return Cell{ShownProbability(p), p};
          });
    }
    Add({"Design effect",
         "deff",
         "Variance of the figures of the bins relative to as many independent cases without weights.",
         RankingColumn::kNumber,
         6,
         {},
         {}},
        [](const ScreenedPredictor& one) {
          if (!one.association) return Cell{};
          return Cell{ShownNumber(one.association->designEffect, "0.00"), one.association->designEffect};
        });
  }

  void AddSameAs() {
    const auto add = [&](const char* header, const char* terminalHeader, int importance, auto nameOf) {
      Add({header,
           terminalHeader,
           "A better predictor whose bins are associated with these (corrected Cramer's V).",
           RankingColumn::kText,
           importance,
           {},
           {}},
          [&](const ScreenedPredictor& one) {
            if (one.sameAs < 0) return Cell{"", kNoNumber};
            return Cell{nameOf(one.sameAs) + " (V " + ShownNumber(one.sameAsV, "0.00") + ")", kNoNumber};
          });
    };
    add("Says the same as", "", kWideOnly,
        [&](int index) { return response_.predictors[static_cast<std::size_t>(index)].name; });
    // A terminal has room only for its rank.
    add("", "same as", 3, [](int index) { return std::to_string(index + 1); });
  }

  void AddRedundancy() {
    if (AnyOf([](const ScreenedPredictor& one) { return one.sameAs >= 0; })) AddSameAs();
    Add({"Cluster",
         "",
         "Predictors that say the same have the same number; the first of them is the one to keep.",
         RankingColumn::kCount,
         kWideOnly,
         {},
         {}},
        [](const ScreenedPredictor& one) { return one.cluster > 0 ? Count(one.cluster) : Cell{}; });
    if (!AnyOf([](const ScreenedPredictor& one) { return one.addsPlace > 0; })) return;
    Add({"Adds as",
         "",
         "Place in the order in which predictors add most to those before them.",
         RankingColumn::kCount,
         kWideOnly,
         {},
         {}},
        [](const ScreenedPredictor& one) { return one.addsPlace > 0 ? Count(one.addsPlace) : Cell{}; });
    Add({"Adds",
         "adds",
         "Share of what the predictor says about the outcome that none of those added before it says.",
         RankingColumn::kNumber,
         3,
         {},
         {}},
        [](const ScreenedPredictor& one) {
          if (one.addsPlace <= 0) return Cell{};
          return Cell{ShownNumber(100 * one.addsShare, "0") + " %", one.addsShare};
        });
  }

  const ScreenReport& report_;
  const ScreenedResponse& response_;
  std::size_t count_;
  std::vector<RankingColumn> columns_;
};

}  // namespace

std::vector<RankingColumn> BasisColumns(const ScreenReport& report, const ScreenedResponse& response,
                                        std::size_t count) {
  ScreenColumnMaker maker(report, response, count);
  maker.AddBasis();
  return maker.Take();
}

std::vector<RankingColumn> TerminalColumns(const ScreenReport& report, const ScreenedResponse& response,
                                           std::size_t count) {
  ScreenColumnMaker maker(report, response, count);
  maker.AddNames();
  maker.AddStatistics();
  maker.AddBasis();
  return maker.Take();
}

std::string WarningText(const ScreenedPredictor& predictor) {
  std::string text;
  for (const ScreenWarning& warning : predictor.warnings) text += (text.empty() ? "" : "; ") + warning.text;
  return text;
}

}  // namespace velmora
