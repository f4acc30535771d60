// The resources behind the module's instance handle where there is no resource section: texts by
// number, dialog templates and automation interfaces, from the tables of this folder.
#pragma once

#include <span>

#include "contract/resources.h"

namespace vlmfsl {

// Lives as long as the module.
[[nodiscard]] vlm::IModuleResources& ModuleResources();

struct TextRow {
  int number;
  const char* text;  // NUL-terminated UTF-8
};
// By rising numbers.
[[nodiscard]] std::span<const TextRow> Texts();
// NUL-terminated, null for an unknown number.
[[nodiscard]] const char* FindText(int number);

}  // namespace vlmfsl
