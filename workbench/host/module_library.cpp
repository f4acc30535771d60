// Loading of the module by the system's dynamic loader.
#include "workbench/host/module_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "workbench/host/process_exports.h"
#include "workbench/host/session.h"

namespace velmora {

namespace {

constexpr char kModuleFile[] = "libvlmfsl.so";

vlm::AnalysisFactory FindFactory(void* handle, const char* name, const std::string& path) {
  void* const symbol = dlsym(handle, name);
  if (symbol == nullptr) {
    throw ModuleError("The file " + path + " is no analysis module: it has no function " + name + ".");
  }
  return reinterpret_cast<vlm::AnalysisFactory>(symbol);
}

}  // namespace

std::string ModuleLibrary::DefaultPath() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path folder = executable.parent_path();
  for (const auto& candidate : {folder / kModuleFile, folder.parent_path() / kModuleFile,
                                folder.parent_path() / "lib" / kModuleFile}) {
    if (std::filesystem::exists(candidate, error)) return candidate.string();
  }
  throw ModuleError("The module " + std::string(kModuleFile) + " is not beside the program in " +
                    folder.string() + " nor in its lib folder.");
}

std::shared_ptr<ModuleLibrary> ModuleLibrary::Load(const std::string& path) {
  const std::shared_ptr<ModuleLibrary> library(new ModuleLibrary);
  std::error_code error;
  // A name without a folder would be looked for along the system's search path.
  library->path_ = std::filesystem::absolute(path, error).string();
  if (!std::filesystem::is_regular_file(library->path_, error)) {
    throw ModuleError("There is no module file " + library->path_ + ".");
  }
  library->handle_ = dlopen(library->path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library->handle_ == nullptr) {
    const char* reason = dlerror();
    throw ModuleError("The module " + library->path_ +
                      " cannot be loaded: " + (reason == nullptr ? "unknown reason" : reason) + ".");
  }
  library->featureSelection_ = FindFactory(library->handle_, vlm::kFeatureSelectionFactory, library->path_);
  library->screening_ = FindFactory(library->handle_, vlm::kScreeningFactory, library->path_);
  ActOnQueuedRegistrations(library->path_);
  return library;
}

ModuleLibrary::~ModuleLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

vlm::IAnalysis* ModuleLibrary::Make(vlm::AnalysisFactory factory, const char* what) const {
  vlm::IAnalysis* const analysis = factory();
  if (analysis == nullptr) {
    throw ModuleError("The module " + path_ + " could not make its " + what + " analysis: memory is short.");
  }
  const int version = analysis->GetContractVersion();
  if (version != vlm::kContractVersion) {
    // Let go, not destroyed: in another version the call to destroy it may stand elsewhere.
    throw ModuleError("The module " + path_ + " speaks version " + std::to_string(version) +
                      " of the host contract; this workbench speaks version " +
                      std::to_string(vlm::kContractVersion) + ".");
  }
  return analysis;
}

vlm::IAnalysis* ModuleLibrary::MakeFeatureSelection() const {
  return Make(featureSelection_, "feature selection");
}
vlm::IAnalysis* ModuleLibrary::MakeScreening() const { return Make(screening_, "predictor screening"); }

}  // namespace velmora
