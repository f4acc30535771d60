// The statistical procedures of the host, as the contract shows them to the module: classification
// and regression trees, cross-tabulation, breakdown, descriptive statistics and ranks, over the
// kernels of workbench/stats.
//
//   HostProcedures procedures(environment);
//   vlm::IProcedure* tree = procedures.Create(vlm::kTreeProcedure);
//
// Everything that depends on the data alone is made once and shared: case selections by their
// texts, responses by their codes, and the sorted orders of predictors, in a cache of bounded size.
// Everything else lives for one predictor: a work sheet keeps its recipe (columns of the table,
// selection, bins) and makes its rows again when read.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contract/procedures.h"
#include "contract/screening_results.h"
#include "workbench/binning/optimal_bins.h"
#include "workbench/binning/search_record.h"
#include "workbench/data/table.h"
#include "workbench/data/weight_meaning.h"
#include "workbench/documents/sheet.h"

namespace velmora {

// The user's bins of one variable, used instead of those that a tree would find.
struct UserBins {
  std::vector<double> cutPoints;            // continuous predictor, any order
  std::vector<std::vector<double>> groups;  // categorical predictor: levels of each bin
  // The user's labels of the groups, or of the intervals of the ascending cut points; empty where
  // a bin has none, or for all of them.
  std::vector<std::string> labels;
  // The group or interval of the missing cases, or the number of intervals plus the place among
  // specialCodes, where they have a bin; -1: as the run does.
  int missingBin = -1;
  std::vector<std::vector<double>> specialCodes;  // as BinningPlan::specialCodes
  std::vector<int> specialBins;  // the interval that holds each of these; -1: a bin of their own
  // The user's labels of the bins of special codes, empty as above, and of the missing cases alone.
  std::vector<std::string> specialLabels;
  std::string missingLabel;
};

using UserBinsByVariable = std::map<int, UserBins>;  // by variable number

// The bins of an analysis: optimal ones in place of trees, and further settings.
struct BinningPlan {
  bool optimal = true;  // false: trees
  // Deviance and any shape replace a criterion or a shape that a response does not have.
  binning::BinningRules rules;
  std::map<int, binning::BinningRules> rulesOf;  // of single predictors, by variable number
  int preBins = 100;
  // Special codes, which are not values of the predictor: the codes of each bin, by variable
  // number.
  std::map<int, std::vector<std::vector<double>>> specialCodes;
  WeightMeaning weights = WeightMeaning::kAsGiven;
  int strata = 0, clusters = 0;        // variables of the design of a sample; 0: none
  vlm::ScreeningSettings screening{};  // for the module
  binning::SearchObserver observer;

  const binning::BinningRules& RulesFor(int variable) const {
    const auto own = rulesOf.find(variable);
    return own != rulesOf.end() ? own->second : rules;
  }
};

struct ProcedureSettings {
  // Prunes splits that are no better than chance; never the first one. Off to compare trees with
  // other programs'.
  bool pruneTrees = true;
  // Sorted orders of predictors that are kept from the second response on: an order in the cache
  // stays until the data change, one that does not fit is made again for each response.
  std::size_t orderCacheBytes = std::size_t{512} << 20;
  int threads = 1;  // threads that use procedures at once
  UserBinsByVariable userBins;
  // The bins of the calling analysis, used instead of userBins; null: it has none.
  std::shared_ptr<const UserBinsByVariable> analysisBins;
  // How the calling analysis finds bins; null: by trees, as in its dialogs.
  std::shared_ptr<const BinningPlan> binning;
};

// The parts of the session that procedures need. table, selection, weightVariable and wrapSheet may
// be called on several threads while the session's own waits for them; notice and checkpoint find
// out where they are called.
struct ProcedureEnvironment {
  // The session's table. Values never change in place while an analysis or a sheet made from it
  // lives; columns may be added. Before other data replace it, ReleaseData takes over its content.
  std::function<const Table&()> table;
  // Case selection and weight variable (0: none) of the session.
  std::function<void(std::string& inclusion, std::string& exclusion)> selection;
  std::function<int()> weightVariable;
  // Wraps a finished sheet as a document: a new object whose one reference is the caller's.
  std::function<vlm::ISpreadsheet*(std::shared_ptr<Sheet>)> wrapSheet;
  std::function<void(std::string_view)> notice;
  // Called now and then in long work; throws when the user has cancelled. Empty: the work cannot be
  // cancelled.
  std::function<void()> checkpoint;
};

class HostProcedures {
 public:
  explicit HostProcedures(ProcedureEnvironment environment);
  ~HostProcedures();
  HostProcedures(const HostProcedures&) = delete;
  HostProcedures& operator=(const HostProcedures&) = delete;

  ProcedureSettings& Settings();
  // A new analysis on the input table, null for an unknown identifier. It may outlive this object.
  vlm::IProcedure* Create(int analysisId);
  // Drops everything cached from the data: after selection, weights or names have changed.
  void ForgetCaches();
  // Called when the session's table is replaced. old: its content, which procedures and sheets made
  // from it keep.
  void ReleaseData(std::shared_ptr<const Table> old);

  struct Shared;

 private:
  std::shared_ptr<Shared> shared_;
};

}  // namespace velmora
