// Records of screened predictors written by hand, on an analysis of the scripted host.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "module/entry/feature_selection_template_root.h"
#include "tests/support/scripted_analysis_host.h"
#include "workbench/documents/workbook.h"
#include "workbench/session/document_adapters.h"

namespace vlmfsl::testing {

class Analysis {
 public:
  explicit Analysis(std::string decimalSeparator = ".")
      : screening(*new FeatureSelectionTemplateRoot(nullptr)), under_(&screening, host) {
    host.decimalSeparator = std::move(decimalSeparator);
    home_->workbook = std::make_shared<velmora::Workbook>();
  }

  // A sheet of these rows.
  vlm::Ref<vlm::ISpreadsheet> Sheet(const std::vector<std::vector<double>>& rows) {
    const auto sheet = vlm::Ref<vlm::ISpreadsheet>::Adopt(velmora::MakeSpreadsheet(
        home_, 0, static_cast<int>(rows.size()), static_cast<int>(rows.front().size()), 40));
    for (std::size_t r = 0; r < rows.size(); ++r) {
      for (std::size_t c = 0; c < rows[r].size(); ++c) {
        sheet->SetValue(static_cast<int>(r) + 1, static_cast<int>(c) + 1, rows[r][c]);
      }
    }
    return sheet;
  }

  ScriptedAnalysisHost host;
  CFeatureSelectionTemplate& screening;

 private:
  AnalysisUnderTest under_;
  std::shared_ptr<velmora::DocumentHome> home_ = std::make_shared<velmora::DocumentHome>();
};

// Bins of nodes 2, 3, ... in order.
inline PredSummary ContinuousRecord(std::string name, int responseKind, std::vector<double> cutPoints,
                                    double minimum, double maximum, std::vector<std::string> labels) {
  PredSummary record(kContinuousPredictor, 2, std::move(name), responseKind, 1, "risk");
  record.bins.cutPoints = std::move(cutPoints);
  record.bins.names = std::move(labels);
  for (std::size_t bin = 0; bin < record.bins.Count(); ++bin)
    record.bins.nodes.push_back(static_cast<int>(bin) + 2);
  record.values.minimum = minimum;
  record.values.maximum = maximum;
  return record;
}

}  // namespace vlmfsl::testing
