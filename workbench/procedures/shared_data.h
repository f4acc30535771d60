// Data that procedures share: selections, responses and sorted orders, made once and
// reference-counted.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/procedures/order_cache.h"
#include "workbench/ranking/survey_design.h"
#include "workbench/stats/ranks.h"
#include "workbench/stats/sorted_order.h"
#include "workbench/stats/tree.h"

namespace velmora {

// The table that a procedure or a sheet was made from: the session's while it has these data, their
// copy afterwards. Equal when made from the same data.
class TablePointer {
 public:
  TablePointer() = default;
  explicit TablePointer(const Table& live) : place_(std::make_shared<Place>(Place{&live, nullptr})) {}
  const Table& operator*() const { return *place_->now; }
  const Table* operator->() const { return place_->now; }
  explicit operator bool() const { return place_ != nullptr; }
  bool operator==(const TablePointer&) const = default;
  // The live table is about to change; old has its content.
  void MoveTo(std::shared_ptr<const Table> old) {
    place_->now = old.get();
    place_->kept = std::move(old);
  }

 private:
  struct Place {
    const Table* now;
    std::shared_ptr<const Table> kept;
  };
  std::shared_ptr<Place> place_;
};

// One byte per case, 0: left out. Null: every case.
using MaskPointer = std::shared_ptr<const std::vector<std::uint8_t>>;

// Case selection and weights of an analysis, as texts and numbers.
struct CaseSettings {
  int enabled = 0;
  std::string inclusion, exclusion;
  int weightVariable = 0;

  bool operator==(const CaseSettings&) const = default;
  bool HasConditions() const { return enabled != 0 && !(inclusion.empty() && exclusion.empty()); }
};

// A response with the cases that count for it: selected, weighted above 0, one of the codes or not
// missing.
struct Response {
  int variable = 0;
  bool continuous = false;
  std::vector<double> codes;  // classes, in the order asked for
  CaseSettings cases;
  WeightMeaning weights = WeightMeaning::kAsGiven;
  double weightUnit = 1;  // the weight in the table that counts as one case
  stats::TreeResponse tree;
  MaskPointer selected;
  // Of a sample; its weight counts where it has strata or clusters.
  ranking::DesignVariables design;
  stats::SurveyDesign clusters;  // empty without one
};
using ResponsePointer = std::shared_ptr<const Response>;

//
// Procedures of several predictors may work on threads of their own while the session's thread
// waits. Data for all of them are made once, under a lock; data of one predictor, above all its
// order, are made by each thread itself.
struct HostProcedures::Shared {
  explicit Shared(ProcedureEnvironment e) : environment(std::move(e)) {}

  // The mask of the selected cases. Throws DataError for a wrong expression.
  MaskPointer Selected(const TablePointer& table, const CaseSettings& cases);
  // codes: of a classification; empty: all that occur. Throws DataError when there are fewer than
  // two.
  ResponsePointer ResponseOf(const TablePointer& table, int variable, bool continuous,
                             const std::vector<double>& codes, const CaseSettings& cases);
  // All cases of a variable that are neither missing nor NaN, by rising value.
  OrderPointer OrderOf(const TablePointer& table, int variable);
  // Ranks of a response over these cases, a subset of those that count for it, with its weights.
  std::shared_ptr<const stats::CaseRanks> Ranks(const TablePointer& table, const ResponsePointer& response,
                                                const stats::SortedOrder& cases);
  // Folds of the cases for cross-validation, by the response and the design of the sample alone.
  using FoldsPointer = std::shared_ptr<const std::vector<std::uint8_t>>;
  FoldsPointer FoldsOf(const ResponsePointer& response);
  // Scratch memory of one tree.
  Spares<stats::TreeScratch>::Lease BorrowTreeScratch();
  // Called now and then in long work; throws when the user has cancelled.
  void Checkpoint() const {
    if (environment.checkpoint) environment.checkpoint();
  }
  void Forget();
  // The session's table, the same pointer until its data change.
  const TablePointer& LiveTable();
  void ReleaseLiveTable(std::shared_ptr<const Table> old);

  // Columns of doubles that come and go with each predictor: acquired empty, released when no
  // longer used.
  std::vector<double> AcquireColumn();
  void ReleaseColumn(std::vector<double> column) noexcept;

  ProcedureEnvironment environment;
  ProcedureSettings settings;

 private:
  struct KnownMask {
    CaseSettings cases;
    MaskPointer mask;
  };
  struct KnownRanks {
    ResponsePointer response;
    std::shared_ptr<const stats::CaseRanks> ranks;
  };

  struct KnownFolds {
    ResponsePointer response;
    FoldsPointer folds;
  };

  // Everything kept belongs to one table; another one begins afresh.
  void UseTable(const TablePointer& table);

  Spares<stats::TreeScratch> treeScratches_;
  OrderCache orders_;
  std::recursive_mutex mutex_;  // of the members below, whose makers use each other
  std::vector<std::vector<double>> spareColumns_;
  TablePointer live_;
  TablePointer table_;                    // the source of the following
  std::list<KnownMask> masks_;            // newest first
  std::list<ResponsePointer> responses_;  // newest first
  KnownRanks ranks_;
  KnownFolds folds_;
};

// Codes of a code list: numbers, or texts in double quotation marks, separated by blanks or '|'.
// all: "*" or an empty list. labels: the codes of texts. Throws DataError for a word that is
// neither.
struct CodeList {
  bool all = true;
  std::vector<double> codes;
};
CodeList ParseCodeList(std::string_view text, std::span<const ValueLabel> labels);

// A code as outputs show it: its label, otherwise the shortest number text that reads back.
std::string CodeTextOf(const Column& column, double code);

// The cases that count for a response and have no value of the column, ascending.
std::vector<std::uint32_t> CasesWithoutValue(const Column& column, const stats::TreeResponse& response);

// One byte per case of the table: 1 for the cases of the order.
std::vector<std::uint8_t> MarkCases(std::size_t caseCount, const stats::SortedOrder& order);

}  // namespace velmora
