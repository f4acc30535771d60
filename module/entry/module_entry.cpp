// The exports of the library, and its actions on load and unload.
#include <new>

#include "contract/module_exports.h"
#include "module/entry/feature_selection_template_root.h"
#include "module/frame/feature_selection.h"
#include "module/frame/module_context.h"
#include "module/resources/module_resources.h"

#ifdef _WIN32
#include <windows.h>
#define VLM_EXPORT extern "C" __declspec(dllexport)
#else
#define VLM_EXPORT extern "C" __attribute__((visibility("default")))
#endif

// When a constructor throws, the storage is freed before the exception propagates.
VLM_EXPORT vlm::IAnalysis* Qvd6NewAnalysis() {
  return new (std::nothrow) vlmfsl::CFeatureSelection(nullptr, nullptr);
}

VLM_EXPORT vlm::IAnalysis* Qvd6FeatureSelectionTemplate() {
  return new (std::nothrow) vlmfsl::FeatureSelectionTemplateRoot(nullptr);
}

#ifdef _WIN32

// Part of the C++ runtime that is linked in, declared by none of its headers: frees the emergency
// memory that it keeps for exceptions, which would otherwise leak with each unload.
namespace __gnu_cxx {
void __freeres();
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
  if (reason == DLL_PROCESS_ATTACH) vlmfsl::AttachModule(instance);
  // When the process ends, its other threads have ended already, perhaps while one held the heap's
  // lock: nothing is freed then.
  if (reason == DLL_PROCESS_DETACH && !processEnds) {
    vlmfsl::DetachModule();
    __gnu_cxx::__freeres();
  }
  return TRUE;
}

#else

namespace {

__attribute__((constructor)) void ProcessAttach() { vlmfsl::AttachModule(&vlmfsl::ModuleResources()); }
__attribute__((destructor)) void ProcessDetach() { vlmfsl::DetachModule(); }

}  // namespace

#endif
