// Variables and bundles that outputs add to the input spreadsheet: all of them or none.
#pragma once

#include <string>
#include <vector>

#include "contract/analysis.h"

namespace vlmfsl {

// Everything added during its life is removed at its end, unless Keep was called.
class InputAdditions {
 public:
  explicit InputAdditions(vlm::IInputSpreadsheet& input) : input_(input) { input_.BeginAdding(); }
  ~InputAdditions() { input_.EndAdding(kept_ ? 1 : 0); }
  InputAdditions(const InputAdditions&) = delete;
  InputAdditions& operator=(const InputAdditions&) = delete;
  void Keep() { kept_ = true; }

 private:
  vlm::IInputSpreadsheet& input_;
  bool kept_ = false;
};

struct PredictorBundle {
  std::string name;       // before a suffix makes it unique
  std::string variables;  // variable numbers separated by blanks
};

// Adds the bundles, each under the first of NAME, NAME_01, NAME_02 ... that is free. Returns kOk,
// or kFailed when the host refuses one: the caller's InputAdditions then removes the others.
[[nodiscard]] int AddBundles(vlm::IInputSpreadsheet& input, const std::vector<PredictorBundle>& bundles);

// The same for lists of best predictors, all or none, with a message to the user; an empty list
// gives a message, too.
[[nodiscard]] int SaveBestPredictorBundles(const std::vector<PredictorBundle>& bundles,
                                           vlm::IAnalysisHost& host, vlm::IEngineServices& services);

}  // namespace vlmfsl
