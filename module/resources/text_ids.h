// Names of the module's texts, for LoadText of the host and LoadResString of the dialogs.
#pragma once

#include "module/resources/string_table.h"

namespace vlmfsl {

// The screening code asks the host's loader for number + kHostTextOffset, which means the number
// itself.
inline constexpr int kHostTextOffset = 65536;

enum TextId : int {
#define VLM_TEXT_ROW(name, number, text) name = number,
  VLM_TEXT_TABLE(VLM_TEXT_ROW)
#undef VLM_TEXT_ROW
};

}  // namespace vlmfsl
