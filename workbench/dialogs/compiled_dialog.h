// Reads the dialog template of a compiled module into the form that the dialog runtime loads.
// Window classes (BUTTON with its style, the host's own edit classes) become control classes.
#pragma once

#include <cstddef>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "contract/resources.h"

namespace velmora {

class CompiledDialog {
 public:
  // bytes: an extended dialog template (DLGTEMPLATEEX), little-endian. Throws std::runtime_error
  // naming the template when they are invalid or hold a control of an unknown class.
  CompiledDialog(int id, std::span<const std::byte> bytes);
  CompiledDialog(const CompiledDialog&) = delete;
  CompiledDialog& operator=(const CompiledDialog&) = delete;

  const vlm::DialogTemplate& Template() const { return template_; }

 private:
  std::deque<std::string> captions_;
  std::vector<vlm::ControlTemplate> controls_;
  vlm::DialogTemplate template_{};
};

}  // namespace velmora
