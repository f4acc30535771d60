// State that the module keeps for all its analyses while it is loaded.
#pragma once

#include <string>

#include "contract/types.h"

namespace vlmfsl {

// The module's context object: made when the library is loaded, deleted when it is unloaded.
class CAnalysisContext {
 public:
  explicit CAnalysisContext(void* instance) : instance_(instance) {}
  // HMODULE on Windows, else a vlm::IModuleResources*.
  void* Instance() const { return instance_; }

 private:
  void* instance_;
};

// Load: remembers the instance, makes the context and asks the host to register the type library;
// the load goes on when that fails. Unload: the reverse. Called by the module's entry.
void AttachModule(void* instance) noexcept;
void DetachModule() noexcept;
// Null while the module is not attached.
[[nodiscard]] CAnalysisContext* ModuleContext();
// The module's own instance handle.
[[nodiscard]] void* ModuleInstance();

// Text of the module by number, without the host. Empty for an unknown one.
[[nodiscard]] std::string LoadResString(int number);

// Blocks that the analyses of this module share, so that case selection and weights carry over from
// one analysis to the next.
struct ModuleSharedBlocks {
  vlm::SharedBlock dataSelectionTags;
  vlm::SharedBlock extendedTags;
  vlm::SharedBlock selectionConditions;
  vlm::SharedBlock caseWeights;
};
[[nodiscard]] ModuleSharedBlocks& SharedBlocks();

// Marks the startup dialog of feature selection as already initialised. Cleared by Init and by the
// Cancel of either dialog.
[[nodiscard]] bool IsStartupDialogInitialised();
void SetStartupDialogInitialised(bool initialised);

}  // namespace vlmfsl
