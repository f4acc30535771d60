// The texts and dialog templates of a module, behind the instance handle that it gives: a library's
// resources on Windows, elsewhere an object of the module's.
#pragma once

#include <memory>

#include "contract/resources.h"

namespace velmora {

// instance: what IAnalysis::GetLibInstance gave. The result must be released before the module is
// unloaded.
[[nodiscard]] std::shared_ptr<vlm::IModuleResources> ModuleResourcesOf(void* instance);

}  // namespace velmora
