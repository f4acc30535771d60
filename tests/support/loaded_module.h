// The module as a host meets it: a library loaded at run time, and nothing but its two exports.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "frame/host/module_exports.h"

namespace vlmfsl::testing {

class LoadedModule {
 public:
  LoadedModule() : handle_(dlopen(VELMORA_MODULE_PATH, RTLD_NOW | RTLD_LOCAL)) {
    if (!handle_) throw std::runtime_error(dlerror());
  }
  ~LoadedModule() { dlclose(handle_); }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  vlm::IAnalysis* Make(const char* factory) const {
    const auto make = reinterpret_cast<vlm::AnalysisFactory>(dlsym(handle_, factory));
    return make ? make() : nullptr;
  }

 private:
  void* handle_;
};

}  // namespace vlmfsl::testing
