// Sheets of procedures that are made when somebody reads them: the work sheet of a predictor, and sheets
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

// What a tree's bins are, without any case: enough to code the predictor again.
struct Bins {
  std::vector<int> nodes;                      // node number of each bin; rising from left to right
  std::vector<double> cutPoints;               // continuous predictor
  std::vector<std::pair<double, int>> levels;  // categorical predictor: code and bin index, by rising code
  bool categorical = false;

  // The bin of a predictor value, -1 for a level that the tree has not seen.
  int BinOf(double value) const;
};

// Rows [begin, end) of a work sheet, counted from 0, which lie in one bin; -1: in none.
struct Segment {
  std::size_t begin = 0;
  std::size_t end = 0;
  int bin = 0;
};

// The rows of a work sheet: cases by rising predictor value, and the bins that they lie in.
struct WorkRows {
  OrderPointer order;             // the cases of the sheet
  std::vector<Segment> segments;  // all rows, in order; of a categorical predictor one a level
};

// The recipe of a work sheet and, while somebody works on it, its rows.
class WorkData {
 public:
  WorkData(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table, int predictor,
           ResponsePointer response, std::vector<double> predictorCodes, Bins bins);

  // Makes the rows when they are not there.
  const WorkRows& Rows();
  std::size_t RowCount() const { return rowCount_; }
  void Evict();

  const TablePointer& DataTable() const { return table_; }
  const Column& PredictorColumn() const { return table_->Variable(predictor_); }
  const Column& ResponseColumn() const { return table_->Variable(response_->variable); }
  const ResponsePointer& ResponseData() const { return response_; }
  const Bins& PredictorBins() const { return bins_; }
  HostProcedures::Shared& Shared() const { return *shared_; }
  const std::shared_ptr<HostProcedures::Shared>& SharedPointer() const { return shared_; }

  bool HasRanks() const { return hasRanks_; }
  void AddRanks() { hasRanks_ = true; }
  // Of the response over the sheet's cases, twice the rank, one a case.
  const std::vector<std::uint32_t>& DoubledRanks();

 private:
  void MakeRows();

  std::shared_ptr<HostProcedures::Shared> shared_;
  TablePointer table_;
  int predictor_;
  ResponsePointer response_;
  std::vector<double> predictorCodes_;  // of a categorical predictor; empty: all
  Bins bins_;
  bool hasRanks_ = false;
  std::size_t rowCount_ = 0;
  std::unique_ptr<WorkRows> rows_;
  std::shared_ptr<const std::vector<std::uint32_t>> ranks_;
};

// The cases of an order that are marked as present (empty: all are) and, with codes, whose value is one of them.
// Gives order itself when nothing is left out.
OrderPointer RestrictOrder(OrderPointer order, std::span<const double> column,
                           std::span<const std::uint8_t> present, std::span<const double> codes);

// New objects whose one reference is the caller's.
vlm::IWorkSheet* MakeWorkSheet(std::shared_ptr<WorkData> data);
// analysisId on the sheet; null for an unknown one. (work_sheet_procedures.cpp)
vlm::IProcedure* MakeWorkSheetProcedure(std::shared_ptr<WorkData> data, int analysisId,
                                        std::function<std::vector<ValueLabel>(int column)> labels);

}  // namespace velmora
