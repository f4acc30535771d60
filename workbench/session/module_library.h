// The plug-in module as a file: it is loaded, its factories are found, and it is unloaded with the
// last reference.
#pragma once

#include <memory>
#include <string>

#include "contract/module_exports.h"

namespace velmora {

class ModuleLibrary {
 public:
  // Loads the file and finds the two factories; throws ModuleError (session.h) naming the file.
  static std::shared_ptr<ModuleLibrary> Load(const std::string& path);
  // The module that is found beside the executable. Throws ModuleError when there is none.
  static std::string DefaultPath();
  ~ModuleLibrary();
  // Releases a library whose code may still be returning to its caller: its file is
  // unloaded when the thread loads a module next, or with the thread.
  static void ReleaseLater(std::shared_ptr<ModuleLibrary> library);
  ModuleLibrary(const ModuleLibrary&) = delete;
  ModuleLibrary& operator=(const ModuleLibrary&) = delete;

  const std::string& Path() const { return path_; }
  // A new analysis, not attached yet; the caller destroys it. Throws ModuleError when the module
  // cannot make it or speaks another version of the contract.
  vlm::IAnalysis* MakeFeatureSelection() const;
  vlm::IAnalysis* MakeScreening() const;

 private:
  ModuleLibrary() = default;
  vlm::IAnalysis* Make(vlm::AnalysisFactory factory, const char* what) const;

  std::string path_;
  void* handle_ = nullptr;
  vlm::AnalysisFactory featureSelection_ = nullptr;
  vlm::AnalysisFactory screening_ = nullptr;
};

}  // namespace velmora
