// The smallest host: loads the analysis module, makes its two analyses, says what they are, and
// releases everything. A real host attaches itself (an IAnalysisHost of its own: data, dialogs,
// documents) before the first step.
//
//   minimal_host MODULE            MODULE: the path of vlmfsl.dll or libvlmfsl.so
#include <cstdio>
#include <string>

#include "contract/module_exports.h"

#ifdef _WIN32
#include <windows.h>
static void* Load(const char* path) { return reinterpret_cast<void*>(LoadLibraryA(path)); }
static void* Find(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}
static void Unload(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }
#else
#include <dlfcn.h>
static void* Load(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
static void* Find(void* module, const char* name) { return dlsym(module, name); }
static void Unload(void* module) { dlclose(module); }
#endif

namespace {

// Texts that the module hands back go through a sink of the caller's.
struct Text final : vlm::ITextSink {
  void Assign(const char* data, int length) override { text.assign(data, static_cast<std::size_t>(length)); }
  std::string text;
};

// Makes one analysis, looks at it and destroys it. Returns 0 on success.
int Show(void* module, const char* factoryName) {
  const auto factory = reinterpret_cast<vlm::AnalysisFactory>(Find(module, factoryName));
  if (factory == nullptr) return std::fprintf(stderr, "The module has no function %s.\n", factoryName), 1;
  vlm::IAnalysis* const analysis = factory();  // no host needed yet; null when memory is short
  if (analysis == nullptr) return 1;
  if (analysis->GetContractVersion() != vlm::kContractVersion) {
    return std::fprintf(stderr, "The module speaks another version of the contract.\n"),
           1;  // let go as it is
  }
  Text name;
  analysis->GetAnalysisName(&name);
  std::printf("%s makes analysis %d:%s\n", factoryName, analysis->GetAnalysisID(), name.text.c_str());
  // Next comes analysis->AttachHost(&yourHost): from then on the analysis asks your host for data,
  // memory, dialogs and documents.
  int count = 0;
  const vlm::SequenceStep* const steps = analysis->GetSequenceTable(&count);
  for (int i = 0; i < count; ++i) std::printf("  step %d, then %d\n", steps[i].step, steps[i].followingStep);
  // A run: operation of step 100, then 101 (the startup dialog); its OK goes on with 102 (the
  // results dialog).
  analysis->Destroy();
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  void* const module = argumentCount == 2 ? Load(arguments[1]) : nullptr;
  if (module == nullptr) return std::fprintf(stderr, "usage: minimal_host MODULE\n"), 2;
  const int failed = Show(module, vlm::kFeatureSelectionFactory) + Show(module, vlm::kScreeningFactory);
  Unload(module);
  return failed;
}
