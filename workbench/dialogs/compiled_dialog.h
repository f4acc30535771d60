// A dialog template as a compiled module carries it, read into the form that the dialog runtime loads. What a
// window class says (BUTTON and its style, the host's own edit classes) becomes a control class again.
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
  // bytes: an extended dialog template (DLGTEMPLATEEX), little-endian. Throws std::runtime_error when they are none
  // or hold a control of no known class; the sentence names the template.
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
