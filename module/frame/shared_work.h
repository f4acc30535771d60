// Work that is shared out among the threads that the host lends.
#pragma once

#include <functional>

#include "contract/engine_services.h"
#include "contract/lent_threads.h"

namespace vlmfsl {

// The host's pool; null when it lends none.
[[nodiscard]] vlm::IWorkerPool* WorkerPoolOf(vlm::IEngineServices& services);

// Calls body(index, worker) for 0 to count - 1, begun in this order, on the pool's threads; null:
// on the caller's alone. isStopped is asked now and then on the caller's thread. Throws the
// exception of the lowest index, whatever the threads do, and bad_alloc when the host's memory is
// short. Returns false when it was stopped.
[[nodiscard]] bool ShareOut(vlm::IWorkerPool* pool, int count,
                            const std::function<void(int index, int worker)>& body,
                            const std::function<bool()>& isStopped);

}  // namespace vlmfsl
