#include "module/resources/module_resources.h"

#include <algorithm>
#include <cstring>

#include "module/resources/automation_tables.h"
#include "module/resources/dialog_templates.h"

namespace vlmfsl {
namespace {

class Resources final : public vlm::IModuleResources {
 public:
  int LoadText(int number, vlm::ITextSink* text) override {
    const char* found = FindText(number);
    if (!found || !text) return 1;
    text->Assign(found, static_cast<int>(std::strlen(found)));
    return 0;
  }

  const vlm::DialogTemplate* FindDialogTemplate(int id) override {
    const auto templates = DialogTemplates();
    const auto found = std::ranges::find(templates, id, &vlm::DialogTemplate::id);
    return found == templates.end() ? nullptr : &*found;
  }

  const vlm::AutomationInterface* GetAutomationInterface(int index) override {
    const auto interfaces = LibraryInterfaces();
    if (index < 0 || index >= static_cast<int>(interfaces.size())) return nullptr;
    return interfaces[static_cast<std::size_t>(index)].description;
  }
};

}  // namespace

vlm::IModuleResources& ModuleResources() {
  static Resources resources;
  return resources;
}

}  // namespace vlmfsl
