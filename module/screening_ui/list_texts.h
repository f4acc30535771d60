// Lists of codes as scripts and the codes dialog give them. The host reads and prints the codes of
// one variable; this file splits and joins the lists of several variables.
#pragma once

#include <string>
#include <vector>

#include "contract/analysis.h"
#include "contract/automation.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Receives the codes of some variables from the host. Without memory the lists stay short, and
// failed says so: nothing is thrown into the host.
class CodesSink final : public vlm::ICodesSink {
 public:
  explicit CodesSink(std::size_t variableCount) : lists(variableCount) {}
  virtual ~CodesSink() = default;
  void Clear() override;
  void AppendCode(int variableIndex, double code) override;
  void ChooseAll(int variableIndex) override;
  // Throws std::bad_alloc when a list is short.
  std::vector<ChosenCodes> Take();

  std::vector<ChosenCodes> lists;
  bool failed = false;

 private:
  ChosenCodes* ListAt(int variableIndex);
};

// Codes of each of the variables in turn: a text of lists separated by '|' ("1 2 | \"low\" \"high\"
// | *"), or an array of one item per variable; "*" alone is all codes of every variable. Throws
// AutomationException naming the fault.
[[nodiscard]] std::vector<ChosenCodes> ReadCodeLists(const vlm::AutomationValue& value,
                                                     vlm::IAnalysisHost& host,
                                                     const std::vector<int>& variables);

// The codes in the notation that ReadCodeLists takes. Empty when there is none.
[[nodiscard]] std::string PrintCodeLists(const std::vector<ChosenCodes>& lists, vlm::IAnalysisHost& host,
                                         const std::vector<int>& variables);

// Rereads the lists that were chosen as all codes from the cases that are selected now.
void RenewAllCodes(std::vector<ChosenCodes>& lists, vlm::IAnalysisHost& host,
                   const std::vector<int>& variables);

}  // namespace vlmfsl
