// A feature selection on a scripted host: the loaded module, its analysis, and data of twelve
// cases.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "module/resources/control_ids.h"
#include "tests/support/loaded_module.h"
#include "tests/support/scripted_analysis_host.h"

namespace vlmfsl::testing {

// Numbers of the variables.
enum : int {
  kYield = 1,
  kGrade = 2,
  kTemperature = 3,
  kPressure = 4,
  kConstant = 5,
  kMachine = 6,
  kCount = 7
};

class Session {
 public:
  Session() : analysis(module_.Make(vlm::kFeatureSelectionFactory), host) {
    host.engine.AddColumn({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, "yield");
    host.engine.AddColumn({0, 0, 0, 1, 0, 0, 1, 1, 1, 0, 1, 1}, "grade");
    // Follows yield.
    host.engine.AddColumn({11, 12, 13, 21, 22, 23, 31, 32, 33, 41, 42, 43}, "temperature");
    host.engine.AddColumn({5, 1, 4, 2, 3, 6, 5, 2, 4, 1, 6, 3}, "pressure");    // follows nothing
    host.engine.AddColumn(std::vector<double>(12, 7.0), "constant_predictor");  // not computable
    host.engine.AddColumn({1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3}, "machine");
    host.engine.AddColumn(std::vector<double>(12, 1.0), "count");
    host.engine.fUpperTail = [](double, double, double f) { return 1.0 / (1.0 + f * f); };
    analysis.Step(100);
  }

  // Opens the startup dialog, or the results dialog.
  ScriptedWindow& Open(int step) {
    analysis.Step(step);
    return host.Window();
  }

  // Chooses variables as a script does, runs, and opens the results dialog.
  ScriptedWindow& RunAndShowResults(std::string_view variables) {
    ScriptedWindow& startup = Open(101);
    Put(startup, "Variables", TextValue(variables));
    startup.Press(kControlOk);
    return Open(102);
  }

  // Each returns the result of the call, or "status N" or the error of a call that failed.
  static std::string Get(ScriptedWindow& window, std::string_view name,
                         const std::vector<vlm::AutomationValue>& arguments = {}) {
    return Call(window, name, vlm::kInvokeGet, arguments);
  }
  static std::string Put(ScriptedWindow& window, std::string_view name, const vlm::AutomationValue& value) {
    return Call(window, name, vlm::kInvokePut, {value});
  }
  static std::string Call(ScriptedWindow& window, std::string_view name, int kind,
                          const std::vector<vlm::AutomationValue>& arguments = {}) {
    Answer answer;
    const int status = CallByName(window.Automation(), name, kind, arguments, answer);
    if (status == vlm::kDispatchOk) return answer.text;
    return status == vlm::kDispatchException ? answer.error : "status " + std::to_string(status);
  }

 private:
  LoadedModule module_;

 public:
  ScriptedAnalysisHost host;
  AnalysisUnderTest analysis;
};

}  // namespace vlmfsl::testing
