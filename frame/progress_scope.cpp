// One flag for the whole module says whether its display is open: the host shows one at a time.
#include "frame/progress_scope.h"

#include "frame/string_sink.h"

namespace vlmfsl {
namespace {

// The scope whose display is open. A scope that was closed by a later one has nothing left to close.
ProgressScope* openScope = nullptr;

}  // namespace

bool IsRunCancelled(vlm::IEngineServices& services) {
  if (services.pcancel() != 0 || services.IsExternallyCancelled() != 0) return true;
  vlm::IIterDisplay* display = services.GetIterDisplay();
  return display && display->WasCanceled() != 0;
}

ProgressScope::ProgressScope(vlm::IEngineServices& services, std::string_view caption, int stepCount)
    : services_(services) {
  Open(caption, stepCount);
}

ProgressScope::ProgressScope(vlm::IEngineServices& services, int captionTextId, int stepCount)
    : services_(services) {
  Open(TextOf([&](vlm::ITextSink* sink) { services.LoadText(captionTextId, sink); }), stepCount);
}

ProgressScope::~ProgressScope() { Stop(); }

void ProgressScope::Open(std::string_view caption, int stepCount) {
  if (openScope) openScope->Stop();
  services_.d_pbar(caption.data(), LengthOf(caption));
  services_.dstart(stepCount);
  openScope = this;
}

void ProgressScope::Stop() {
  if (openScope != this) return;
  openScope = nullptr;
  services_.dstop();
}

}  // namespace vlmfsl
