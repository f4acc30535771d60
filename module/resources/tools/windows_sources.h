// The Windows forms of this folder's tables: a resource script (string table, dialog templates,
// version, the type library's inclusion), the type library's source, and the classes that give its
// interfaces their vtables. So a host reads from the compiled module the same tables that the code
// uses.
#pragma once

#include <span>
#include <string>

#include "contract/resources.h"
#include "module/resources/automation_tables.h"
#include "module/resources/module_resources.h"

namespace vlmfsl {

struct FileVersion {
  int major = 0, minor = 0, patch = 0;
};

// UTF-8, for a resource compiler that knows #pragma code_page. typeLibraryFile: named in the
// TYPELIB line, taken from the folder that the compiler runs in.
[[nodiscard]] std::string ResourceScript(std::span<const TextRow> texts,
                                         std::span<const vlm::DialogTemplate> dialogs, FileVersion version,
                                         const std::string& typeLibraryFile);

// Throws std::invalid_argument for a help string beyond ASCII: a type library keeps those in the
// machine's code page.
[[nodiscard]] std::string TypeLibrarySource(std::span<const LibraryInterface> interfaces);

// A header with one class template for a base interface and one final class for each of the others
// ("FSLStartupDual"), whose typed members pass every call on by its dispatch id; for
// frame/windows/.
[[nodiscard]] std::string DualClassesSource(std::span<const LibraryInterface> interfaces);

}  // namespace vlmfsl
