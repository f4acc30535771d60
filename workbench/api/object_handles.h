// The handles of a session's automation objects. A handle may be freed on any thread and at any time,
// but references to objects are released on the session's thread: a handle that is freed is put
// aside until the next call.
#pragma once

#include <mutex>

struct velmora_object;

namespace velmora {

class ObjectHandles {
 public:
  void Add(velmora_object& handle);
  // On any thread; deletes the handle, or leaves that to Sweep.
  void Free(velmora_object* handle) noexcept;
  // On the session's thread: deletes the handles that were put aside.
  void Sweep() noexcept;
  // On the session's thread: the handles in use refer to nothing from now on.
  void Close() noexcept;

 private:
  std::mutex mutex_;
  bool closed_ = false;
  velmora_object* live_ = nullptr;   // handles in use
  velmora_object* freed_ = nullptr;  // handles that were put aside
};

}  // namespace velmora
