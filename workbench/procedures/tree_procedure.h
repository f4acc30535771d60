// The tree procedure: one predictor, one response; the tree as data, as sheets, and as bins of a
// work sheet.
//
//   tree_procedure.cpp its input, and the tree: grown, of optimal bins, or of the user's
//   tree_search.cpp      the search for bins: pre-bins, assessment, record tree_results.cpp nodes,
//   sheets and bins of the tree
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "workbench/binning/assess_bins.h"
#include "workbench/procedures/procedure.h"
#include "workbench/procedures/work_sheet.h"
#include "workbench/stats/tree.h"

namespace velmora {

class TreeProcedure final : public Procedure {
 public:
  TreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table)
      : Procedure(vlm::kTreeProcedure, std::move(shared), std::move(table)) {}

 private:
  void Compute() override;
  std::shared_ptr<Sheet> MakeResult(int result, int index) override;
  vlm::IWorkSheet* MakeWork() override;
  vlm::ITree* MakeTree() override;

  void ReadVariables();
  ResponsePointer ResponseFor(CaseSettings cases);
  const UserBins* OwnBins() const;
  int UserBinOf(const UserBins& own, std::size_t bin) const;
  OrderPointer TakeOutSpecialCodes(OrderPointer order);
  stats::Tree Grow(const stats::SortedOrder& order);
  stats::Tree GrowUserBins(const stats::SortedOrder& order, const UserBins& own);
  stats::Tree GrowOptimal(const stats::SortedOrder& order, const BinningPlan& plan);
  std::vector<int> BinOfValues(const stats::SortedOrder& order) const;
  binning::SearchedPredictor Searched(binning::PreBins values);
  binning::Validation Assess(const binning::SearchedPredictor& searched, const std::vector<int>& binOf,
                             const binning::BinFinder& find);
  void Report(const binning::PreBins& pre, const stats::SortedOrder& order,
              const binning::BinningRules* rules, const binning::Validation& validation,
              binning::Shape otherShape = binning::Shape::kFree) const;
  std::vector<std::uint16_t> PreBinOfCases(const stats::SortedOrder& order,
                                           const std::vector<int>& preBinOfValue, std::size_t count) const;
  std::vector<int> PreBinOfValues(const binning::PreBins& pre, const stats::SortedOrder& order) const;
  void PlaceMissingCases(const stats::SortedOrder& order);
  void ReportDropped(const std::vector<stats::DroppedCut>& dropped);

  std::shared_ptr<Sheet> SummarySheet() const;
  std::shared_ptr<Sheet> StructureSheet() const;
  std::shared_ptr<Sheet> NodeSheet(int number) const;
  std::string BranchText(const stats::TreeNode& parent, bool left) const;
  std::string LevelList(int node) const;
  std::string SpecialBinText(const std::vector<double>& codes, bool withMissing) const;
  bool MissingHasOwnBin() const;
  Bins BinsOfValues() const;
  const BinsPointer& TreeBins();
  double FrequentClass(int node) const;
  int NumberOf(int node) const { return numbers_[static_cast<std::size_t>(node - 1)]; }

  vlm::MissingBin MissingPlace() const {
    return static_cast<vlm::MissingBin>(Option(vlm::kMissingBinOption));
  }
  int UserMissingBin() const;
  const Column& Predictor() const { return table_->Variable(predictor_); }
  bool IsRegression() const { return Option(vlm::kRegressionTreeOption) != 0; }

  int response_ = 0;
  int predictor_ = 0;
  bool categorical_ = false;
  std::vector<double> codes_;  // of a categorical predictor
  ResponsePointer grownOn_;
  stats::Tree tree_;
  std::vector<std::uint32_t> missing_;  // cases without the predictor that get a bin
  struct SpecialBin {
    std::vector<double> codes;
    std::vector<std::uint32_t> cases;  // may be empty: the bin is for new data
  };
  std::size_t SpecialBinsWithCases() const;
  // Codes that the user's bins put into an interval.
  struct PlacedCodes {
    SpecialBin special;
    int userBin = 0;  // the interval of the user's bins
    int bin = -1;     // the bin of the tree
  };
  void PlaceCodes();
  void ShareBinWithMissing();

  std::vector<SpecialBin> special_;
  std::vector<PlacedCodes> placed_;
  int missingSpecial_ = -1;  // the place among special_ that the missing cases share; -1: none
  vlm::TreeFit fit_{};
  std::vector<int> numbers_;  // shown number of each node
  std::vector<int> nodeAt_;   // node of each shown number
  BinsPointer bins_;          // made when first asked for
};

}  // namespace velmora
