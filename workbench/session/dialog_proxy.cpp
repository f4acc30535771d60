// The automation objects of dialogs as scripts get them: each call counts as a script's, nests as a
// call into the module, and fails after the session has ended.
#include <utility>

#include "contract/counted.h"
#include "contract/text.h"
#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"

namespace velmora {

namespace {

// Counts the calls, so that the dialog knows that a script drives it, and keeps the module loaded
// while a reference is held.
class DialogProxy final : public vlm::Counted<DialogProxy, vlm::IAutomationObject> {
 public:
  DialogProxy(const std::shared_ptr<SessionCore>& core, vlm::IAutomationObject* inner,
              std::shared_ptr<ModuleLibrary> library)
      : library_(std::move(library)), core_(core), inner_(inner) {}
  const vlm::AutomationInterface* GetInterface() override { return inner_->GetInterface(); }
  int GetIdOfName(const char* name, int length, int* dispatchId) override {
    return inner_->GetIdOfName(name, length, dispatchId);
  }
  // Made by the module, with the vtable of its type library; its calls come back through this
  // object.
  void* MakeComObject(vlm::IAutomationObject* through) override {
    releasedByModule_ = true;
    return inner_->MakeComObject(through);
  }

  int Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult* result) override {
    const std::shared_ptr<SessionCore> core = core_.lock();
    if (core == nullptr) return vlm::kDispatchFailed;
    try {
      core->RequireThread();
      ++core->automationDepth;
      core->BeginCall();
      int status = inner_->Invoke(dispatchId, kind, arguments, argumentCount, result);
      core->EndCall();
      --core->automationDepth;
      core->ThrowKept();
      return status;
    } catch (const std::exception& error) {
      const std::string_view text = error.what();
      result->SetError(vlm::kAutomationErrorCode, text.data(), vlm::LengthOf(text));
      return vlm::kDispatchException;
    }
  }

 private:
  friend Counted;
  ~DialogProxy() {
    inner_ = {};
    // The last reference may be released by a COM object, whose code belongs to the module.
    if (releasedByModule_) ModuleLibrary::ReleaseLater(std::move(library_));
  }
  bool releasedByModule_ = false;
  std::shared_ptr<ModuleLibrary> library_;  // released after the module's object
  std::weak_ptr<SessionCore> core_;
  ObjectReference inner_;
};

}  // namespace

ObjectReference DialogObject(const std::shared_ptr<SessionCore>& core, const RunningAnalysis& analysis,
                             int step) {
  const DialogWindow* const dialog = analysis.DialogOf(step);
  if (dialog == nullptr) return {};
  return ObjectReference::Adopt(
      new DialogProxy(core, dialog->Client()->GetAutomationObject(), analysis.Library()));
}

}  // namespace velmora
