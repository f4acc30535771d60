// The module's one progress display, open while a scope lives, and the tests for cancellation.
#pragma once

#include <string_view>

#include "contract/engine_services.h"

namespace vlmfsl {

// True when the user or the host asks this run to stop: the display's cancel button, the
// process-wide request, or the host's iteration display.
[[nodiscard]] bool IsCancelled(vlm::IEngineServices& services);
// The same for a caller that has asked for the iteration display once for a whole pass; null: none
// is attached.
[[nodiscard]] inline bool IsCancelled(vlm::IEngineServices& services, vlm::IIterDisplay* display) {
  return services.pcancel() != 0 || services.IsExternallyCancelled() != 0 ||
         (display && display->WasCanceled() != 0);
}

// Opens the display with a caption and a range of 1..stepCount; one that is still open is closed
// first.
class ProgressScope {
 public:
  ProgressScope(vlm::IEngineServices& services, std::string_view caption, int stepCount);
  // caption by its number in the module's string table.
  ProgressScope(vlm::IEngineServices& services, int captionTextId, int stepCount);
  ~ProgressScope();
  ProgressScope(const ProgressScope&) = delete;
  ProgressScope& operator=(const ProgressScope&) = delete;

  void Advance(int step) { services_.termom(step); }
  [[nodiscard]] bool IsCancelled() const { return vlmfsl::IsCancelled(services_); }
  // Closes the display before the scope ends.
  void Close();

 private:
  void Open(std::string_view caption, int stepCount);

  vlm::IEngineServices& services_;
};

}  // namespace vlmfsl
