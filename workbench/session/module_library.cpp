// Loading of the module by the system's dynamic loader.
#include "workbench/session/module_library.h"

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "workbench/session/session.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

vlm::AnalysisFactory FindFactory(void* handle, const char* name, const std::string& path) {
  void* const symbol = FindFunction(handle, name);
  if (symbol == nullptr) {
    throw ModuleError("The file " + path + " is no analysis module: it has no function " + name + ".");
  }
  return reinterpret_cast<vlm::AnalysisFactory>(symbol);
}

// Per thread: a library's code may be returning on its own thread while another one loads a module.
std::vector<std::shared_ptr<ModuleLibrary>>& ReleasedLater() {
  thread_local std::vector<std::shared_ptr<ModuleLibrary>> libraries;
  return libraries;
}

}  // namespace

std::string ModuleLibrary::DefaultPath() {
  std::error_code error;
  const std::filesystem::path folder = ExecutableFolder();
  for (const auto& candidate : {folder / kModuleFile, folder.parent_path() / kModuleFile,
                                folder.parent_path() / "lib" / kModuleFile}) {
    if (std::filesystem::exists(candidate, error)) return candidate.string();
  }
  throw ModuleError("The module " + std::string(kModuleFile) + " is not beside the program in " +
                    folder.string() + " nor in its lib folder.");
}

std::shared_ptr<ModuleLibrary> ModuleLibrary::Load(const std::string& path) {
  ReleasedLater().clear();
  const std::shared_ptr<ModuleLibrary> library(new ModuleLibrary);
  std::error_code error;
  // A name without a folder would be looked for along the system's search path.
  const std::filesystem::path file = AbsolutePath(PathOf(path));
  library->path_ = file.string();
  if (!std::filesystem::is_regular_file(file, error)) {
    throw ModuleError("There is no module file " + library->path_ + ".");
  }
  std::string reason;
  library->handle_ = LoadSharedLibrary(file, reason);
  if (library->handle_ == nullptr) {
    throw ModuleError("The module " + library->path_ + " cannot be loaded: " + reason + ".");
  }
  library->featureSelection_ = FindFactory(library->handle_, vlm::kFeatureSelectionFactory, library->path_);
  library->screening_ = FindFactory(library->handle_, vlm::kScreeningFactory, library->path_);
  return library;
}

void ModuleLibrary::ReleaseLater(std::shared_ptr<ModuleLibrary> library) {
  ReleasedLater().push_back(std::move(library));
}

ModuleLibrary::~ModuleLibrary() {
  if (handle_ != nullptr) UnloadSharedLibrary(handle_);
}

vlm::IAnalysis* ModuleLibrary::Make(vlm::AnalysisFactory factory, const char* what) const {
  vlm::IAnalysis* const analysis = factory();
  if (analysis == nullptr) {
    throw ModuleError("The module " + path_ + " could not make its " + what + " analysis: memory is short.");
  }
  const int version = analysis->GetContractVersion();
  if (version != vlm::kContractVersion) {
    // Abandoned, not destroyed: in another version the function that destroys it may be in
    // another place of the vtable.
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
