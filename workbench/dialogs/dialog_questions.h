// The host's own questions of one dialog: variables, codes, cases, weights and files. A script
// answers some of them in advance (ResultsVariables and others); the frontend asks the rest, and
// repeats a question until the answer is valid or the user cancels.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/dialogs.h"
#include "workbench/automation/automation_client.h"
#include "workbench/dialogs/dialog_frontend.h"

namespace velmora {

class DialogOwner;

// Answers that a script has given in advance; empty: none.
struct ScriptedAnswers {
  Variant variables, codes, saveFileName;
};

// Exceptions of the frontend and the owner pass through, except DataError, which is shown to the
// user.
class DialogQuestions {
 public:
  DialogQuestions(DialogOwner& owner, DialogFrontend& frontend, DialogWindow& window)
      : owner_(owner), frontend_(frontend), window_(window) {}

  // Each returns false for Cancel; then nothing has changed.
  bool AskVariableLists(std::string_view title, std::span<const vlm::VariableListRequest> lists);
  bool AskCodes(std::string_view title, std::span<const vlm::CodesRequest> variables, int shownAtOnce,
                double minimum, double maximum, vlm::ICodesSink& codes);
  bool AskCaseSelection();
  bool AskCaseWeight();
  bool AskDataFile();
  std::optional<std::string> AskSaveFile(std::string_view title, std::string_view extension);
  bool ConfirmReplacing(std::span<const char* const> paths);

  ScriptedAnswers scripted;

 private:
  // The answer, when a script has given one and is waiting.
  const Variant* Scripted(const Variant& answer) const;
  std::vector<int> VariablesOf(const vlm::AutomationValue& value) const;
  void CheckLists(const std::vector<VariableListQuestion>& questions) const;  // throws DataError
  // Asks until the answer is valid or the user cancels. ask returns false for Cancel; use throws
  // DataError.
  template <typename Ask, typename Use>
  bool AskUntilTaken(Ask ask, Use use);

  DialogOwner& owner_;
  DialogFrontend& frontend_;
  DialogWindow& window_;
};

}  // namespace velmora
