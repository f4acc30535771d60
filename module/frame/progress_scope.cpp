// One flag for the whole module says whether its display is open: the host shows one at a time.
#include "module/frame/progress_scope.h"

#include "module/frame/engine_texts.h"

namespace vlmfsl {
namespace {

// The scope whose display is open. A scope that was closed by a later one has nothing left to
// close.
ProgressScope* openScope = nullptr;

}  // namespace

bool IsCancelled(vlm::IEngineServices& services) { return IsCancelled(services, services.GetIterDisplay()); }

ProgressScope::ProgressScope(vlm::IEngineServices& services, std::string_view caption, int stepCount)
    : services_(services) {
  Open(caption, stepCount);
}

ProgressScope::ProgressScope(vlm::IEngineServices& services, int captionTextId, int stepCount)
    : services_(services) {
  Open(LoadText(services, captionTextId), stepCount);
}

ProgressScope::~ProgressScope() { Close(); }

void ProgressScope::Open(std::string_view caption, int stepCount) {
  if (openScope) openScope->Close();
  services_.d_pbar(caption.data(), vlm::LengthOf(caption));
  services_.dstart(stepCount);
  openScope = this;
}

void ProgressScope::Close() {
  if (openScope != this) return;
  openScope = nullptr;
  services_.dstop();
}

}  // namespace vlmfsl
