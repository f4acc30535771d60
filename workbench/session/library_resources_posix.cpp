#include "workbench/session/library_resources.h"

namespace velmora {

std::shared_ptr<vlm::IModuleResources> ModuleResourcesOf(void* instance) {
  return {static_cast<vlm::IModuleResources*>(instance), [](vlm::IModuleResources*) {}};  // the module's own
}

}  // namespace velmora
