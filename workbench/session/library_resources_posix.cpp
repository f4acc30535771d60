#include "workbench/session/library_resources.h"

namespace velmora {

std::shared_ptr<vlm::IModuleResources> ModuleResourcesOf(void* instance) {
  // The object is the module's own.
  return {static_cast<vlm::IModuleResources*>(instance), [](vlm::IModuleResources*) {}};
}

}  // namespace velmora
