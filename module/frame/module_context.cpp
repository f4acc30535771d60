#include "module/frame/module_context.h"

#include <new>

#include "contract/module_exports.h"
#include "module/frame/platform.h"
#include "module/resources/automation_tables.h"
#include "module/resources/module_resources.h"

namespace vlmfsl {
namespace {

void* moduleInstance = nullptr;
CAnalysisContext* context = nullptr;
ModuleSharedBlocks sharedBlocks = {};
bool startupDialogInitialised = false;

}  // namespace

void AttachModule(void* instance) noexcept {
  if (context) return;
  moduleInstance = instance;
  context = new (std::nothrow) CAnalysisContext(instance);
  try {
    if (const auto registerLibrary =
            reinterpret_cast<vlm::RegisterTypeLibrary>(FindHostFunction(vlm::kRegisterTypeLibrary))) {
      registerLibrary(instance, kLibraryId, nullptr, nullptr);
    }
  } catch (...) {
    // No memory to look for the host's function: the library stays unregistered, and scripts bind
    // late.
  }
}

void DetachModule() noexcept {
  delete context;
  context = nullptr;
}

CAnalysisContext* ModuleContext() { return context; }

void* ModuleInstance() { return moduleInstance ? moduleInstance : static_cast<void*>(&ModuleResources()); }

std::string LoadResString(int number) {
  const char* text = FindText(number);
  return text ? text : "";
}

ModuleSharedBlocks& SharedBlocks() { return sharedBlocks; }

bool IsStartupDialogInitialised() { return startupDialogInitialised; }
void SetStartupDialogInitialised(bool initialised) { startupDialogInitialised = initialised; }

}  // namespace vlmfsl
