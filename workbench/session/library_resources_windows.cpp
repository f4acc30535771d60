#include "workbench/session/library_resources.h"

#include <windows.h>

#include <map>
#include <span>

#include "workbench/dialogs/compiled_dialog.h"
#include "workbench/system/text_windows.h"

namespace velmora {
namespace {

class LibraryResources final : public vlm::IModuleResources {
 public:
  explicit LibraryResources(HMODULE library) : library_(library) {}
  virtual ~LibraryResources() = default;

  int LoadText(int number, vlm::ITextSink* text) override {
    const wchar_t* found = nullptr;  // points into the library; not NUL-terminated
    const int length =
        LoadStringW(library_, static_cast<UINT>(number), reinterpret_cast<wchar_t*>(&found), 0);
    if (length <= 0 || text == nullptr) return 1;
    const std::string bytes = Utf8Of({found, static_cast<std::size_t>(length)});
    text->Assign(bytes.data(), static_cast<int>(bytes.size()));
    return 0;
  }

  const vlm::DialogTemplate* FindDialogTemplate(int id) override {
    const auto known = dialogs_.find(id);
    if (known != dialogs_.end()) return &known->second.Template();
    HRSRC const resource = FindResourceW(library_, MAKEINTRESOURCEW(id), RT_DIALOG);
    HGLOBAL const block = resource == nullptr ? nullptr : LoadResource(library_, resource);
    const void* const bytes = block == nullptr ? nullptr : LockResource(block);
    if (bytes == nullptr) return nullptr;
    const std::span content(static_cast<const std::byte*>(bytes), SizeofResource(library_, resource));
    return &dialogs_.try_emplace(id, id, content).first->second.Template();
  }

  // Interfaces are in the type library, and objects describe themselves.
  const vlm::AutomationInterface* GetAutomationInterface(int) override { return nullptr; }

 private:
  HMODULE library_;
  std::map<int, CompiledDialog> dialogs_;
};

}  // namespace

std::shared_ptr<vlm::IModuleResources> ModuleResourcesOf(void* instance) {
  return std::make_shared<LibraryResources>(static_cast<HMODULE>(instance));
}

}  // namespace velmora
