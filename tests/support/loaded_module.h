// The module as a host meets it: a library loaded at run time, and nothing but its two exports.
#pragma once

#include <stdexcept>
#include <string>

#include "contract/module_exports.h"
#include "tests/support/paths.h"
#include "workbench/system/system.h"

namespace vlmfsl::testing {

class LoadedModule {
 public:
  LoadedModule() : handle_(velmora::LoadSharedLibrary(velmora::PathOf(ModulePath()), error_)) {
    if (!handle_) throw std::runtime_error(error_);
  }
  ~LoadedModule() { velmora::UnloadSharedLibrary(handle_); }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  vlm::IAnalysis* Make(const char* factory) const {
    const auto make = reinterpret_cast<vlm::AnalysisFactory>(velmora::FindFunction(handle_, factory));
    return make ? make() : nullptr;
  }

 private:
  std::string error_;
  void* handle_;
};

}  // namespace vlmfsl::testing
