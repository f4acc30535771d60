// Texts, names and notices of the host, as the engines use them.
#pragma once

#include <string>
#include <string_view>

#include "contract/engine_services.h"
#include "contract/text.h"

namespace vlmfsl {

// number: of the module's string table. Empty for an unknown one.
[[nodiscard]] inline std::string LoadText(vlm::IEngineServices& services, int number) {
  return vlm::TextOf([&](vlm::ITextSink* sink) { services.LoadText(number, sink); });
}

[[nodiscard]] inline std::string VariableName(vlm::IEngineServices& services, int variableNumber) {
  return vlm::TextOf([&](vlm::ITextSink* sink) { services.GetVarNameEx(0, variableNumber - 1, sink); });
}

inline void ShowNotice(vlm::IEngineServices& services, std::string_view text) {
  services.ShowNotice(text.data(), vlm::LengthOf(text));
}

}  // namespace vlmfsl
