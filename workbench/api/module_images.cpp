#include "workbench/api/module_images.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "workbench/cli/exit_codes.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

// The images of one module file that no run uses. Copies stay until the process ends, because the
// loader knows an image by its path.
struct Pool {
  bool fileIsFree = true;
  std::vector<std::string> freeCopies;
};

std::mutex& PoolsMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

std::map<std::string, Pool>& Pools() {
  static auto* const pools = new std::map<std::string, Pool>;
  return *pools;
}

}  // namespace

ModuleImage::ModuleImage(const std::string& modulePath) : modulePath_(modulePath) {
  const std::lock_guard lock(PoolsMutex());
  Pool& pool = Pools()[modulePath_];
  if (pool.fileIsFree) {
    path_ = modulePath_;
    pool.fileIsFree = false;
  } else if (!pool.freeCopies.empty()) {
    path_ = pool.freeCopies.back();
    pool.freeCopies.pop_back();
  } else {
    std::string error;
    path_ = CopyIntoMemory(PathOf(modulePath_), error);
    if (path_.empty())
      throw RunError("The module " + modulePath_ + " cannot be copied for a second run: " + error + ".");
  }
}

ModuleImage::~ModuleImage() {
  const std::lock_guard lock(PoolsMutex());
  Pool& pool = Pools()[modulePath_];
  if (path_ == modulePath_) {
    pool.fileIsFree = true;
  } else {
    pool.freeCopies.push_back(path_);
  }
}

}  // namespace velmora
