// The dialogs' automation objects as scripts get them.
#include <utility>

#include "contract/text.h"
#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"

namespace velmora {

namespace {

class ScriptObject final : public vlm::IAutomationObject {
 public:
  ScriptObject(const std::shared_ptr<SessionCore>& core, vlm::IAutomationObject* inner,
               std::shared_ptr<ModuleLibrary> library)
      : library_(std::move(library)), core_(core), inner_(inner) {}
  ScriptObject(const ScriptObject&) = delete;
  ScriptObject& operator=(const ScriptObject&) = delete;

  void AddReference() override { ++references_; }
  void ReleaseReference() override {
    if (--references_ == 0) delete this;
  }
  const vlm::AutomationInterface* GetInterface() override { return inner_->GetInterface(); }
  int GetIdOfName(const char* name, int length, int* dispatchId) override {
    return inner_->GetIdOfName(name, length, dispatchId);
  }
  // Of the module's making, with the vtable of its type library; its calls come back through here.
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
  ~ScriptObject() {
    inner_ = {};
    // The last reference may be let go by a COM object, whose code is the module's.
    if (releasedByModule_) ModuleLibrary::ReleaseLater(std::move(library_));
  }
  int references_ = 1;
  bool releasedByModule_ = false;
  std::shared_ptr<ModuleLibrary> library_;  // released after the module's object
  std::weak_ptr<SessionCore> core_;
  ObjectReference inner_;
};

}  // namespace

vlm::IAutomationObject* MakeScriptObject(const std::shared_ptr<SessionCore>& core,
                                         vlm::IAutomationObject* inner,
                                         std::shared_ptr<ModuleLibrary> library) {
  return new ScriptObject(core, inner, std::move(library));
}

ObjectReference DialogObject(const std::shared_ptr<SessionCore>& core, const RunningAnalysis& analysis,
                             int step) {
  const DialogWindow* const dialog = analysis.DialogOf(step);
  if (dialog == nullptr) return {};
  return ObjectReference::Adopt(
      MakeScriptObject(core, dialog->Client()->GetAutomationObject(), analysis.Library()));
}

}  // namespace velmora
