// Lazy sheets, whose cells are made when they are read: the work sheet of a predictor, and sheets
// that the module computes from it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "workbench/automation/automation_client.h"
#include "workbench/procedures/shared_data.h"

namespace velmora {

// The bins of a tree without its cases: enough to code the predictor again. Shared by the module's
// view of the tree and the work sheets made from it.
struct Bins {
  std::vector<int> nodes;         // node number of each bin; rising from left to right
  std::vector<double> cutPoints;  // continuous predictor
  // categorical predictor: code and bin index, by rising code
  std::vector<std::pair<double, int>> levels;
  bool categorical = false;
  // The bin of the cases without a value; -1: they have none.
  int missingBin = -1;
  std::vector<std::pair<double, int>> specialCodes;  // ascending, with their bins

  // The bin of a level within the tolerance, -1 for one that the tree has not seen.
  int BinOfLevel(double level) const;
  int BinOfSpecialCode(double code) const;
};
using BinsPointer = std::shared_ptr<const Bins>;

// Rows [begin, end) of a work sheet, counted from 0, that are in one bin; -1: in none.
struct Segment {
  std::size_t begin = 0;
  std::size_t end = 0;
  int bin = 0;
};

// The rows of a work sheet: cases by rising predictor value, and their bins. Cases with a special
// code and cases without a value come last, as if each had one value more.
struct WorkRows {
  OrderPointer order;             // the cases of the sheet
  std::size_t valueCount = 0;     // rows with a value of the predictor that is no special code
  std::vector<Segment> segments;  // all rows, in order; for a categorical predictor one per level
};

// The recipe of a work sheet and, while it is in use, its rows.
class WorkData {
 public:
  WorkData(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table, int predictor,
           ResponsePointer response, std::vector<double> predictorCodes, BinsPointer bins);

  // Makes the rows when they are not there.
  const WorkRows& Rows();
  std::size_t RowCount() const { return rowCount_; }
  void Evict();

  const TablePointer& DataTable() const { return table_; }
  const Column& PredictorColumn() const { return table_->Variable(predictor_); }
  const Column& ResponseColumn() const { return table_->Variable(response_->variable); }
  const ResponsePointer& ResponseData() const { return response_; }
  const Bins& PredictorBins() const { return *bins_; }
  HostProcedures::Shared& Shared() const { return *shared_; }
  const std::shared_ptr<HostProcedures::Shared>& SharedPointer() const { return shared_; }

  bool HasRanks() const { return hasRanks_; }
  void AddRanks() { hasRanks_ = true; }
  // Ranks of the response over the sheet's cases.
  const stats::CaseRanks& Ranks();

 private:
  void MakeRows();
  OrderPointer TakeOutSpecialCodes(WorkRows& rows) const;
  void AddExtraRows(const OrderPointer& special, WorkRows& rows) const;

  std::shared_ptr<HostProcedures::Shared> shared_;
  TablePointer table_;
  int predictor_;
  ResponsePointer response_;
  std::vector<double> predictorCodes_;  // of a categorical predictor; empty: all
  BinsPointer bins_;
  bool hasRanks_ = false;
  std::size_t rowCount_ = 0;
  std::unique_ptr<WorkRows> rows_;
  std::shared_ptr<const stats::CaseRanks> ranks_;
};

// An order split in two: the cases with one of the codes, and the others.
struct SplitOrder {
  OrderPointer values, codes;
};
SplitOrder SplitCodes(OrderPointer order, std::span<const double> column, std::span<const double> codes);

// The cases of an order that are marked as present (empty: all are) and, with codes, whose value is
// one of them. Returns order itself when nothing is left out.
OrderPointer RestrictOrder(OrderPointer order, std::span<const double> column,
                           std::span<const std::uint8_t> present, std::span<const double> codes);

// New objects whose one reference is the caller's.
vlm::IWorkSheet* MakeWorkSheet(std::shared_ptr<WorkData> data);
// The procedure of this identifier on the sheet; null for an unknown one.
// (work_sheet_procedures.cpp)
vlm::IProcedure* MakeWorkSheetProcedure(std::shared_ptr<WorkData> data, int analysisId,
                                        std::function<std::vector<ValueLabel>(int column)> labels);

}  // namespace velmora
