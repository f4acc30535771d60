// make_windows_sources FOLDER VERSION: writes vlmfsl.rc and vlmfsl.idl into the folder, for windres
// and widl, and vlmfsl_dual.h for the module's COM objects. A file whose content has not changed
// keeps its time.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "module/resources/dialog_templates.h"
#include "module/resources/tools/windows_sources.h"

namespace {

void WriteFile(const std::string& path, const std::string& text) {
  {
    std::ifstream present(path, std::ios::binary);
    if (present && std::string(std::istreambuf_iterator<char>(present), {}) == text) return;
  }
  std::ofstream file(path, std::ios::binary);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  if (!file) throw std::runtime_error("The file " + path + " cannot be written.");
}

}  // namespace

int main(int argumentCount, char** arguments) {
  vlmfsl::FileVersion version;
  if (argumentCount != 3 ||
      std::sscanf(arguments[2], "%d.%d.%d", &version.major, &version.minor, &version.patch) != 3) {
    std::fputs("use: make_windows_sources FOLDER MAJOR.MINOR.PATCH\n", stderr);
    return 2;
  }
  try {
    const std::string folder = arguments[1];
    WriteFile(folder + "/vlmfsl.rc",
              vlmfsl::ResourceScript(vlmfsl::Texts(), vlmfsl::DialogTemplates(), version, "vlmfsl.tlb"));
    WriteFile(folder + "/vlmfsl.idl", vlmfsl::TypeLibrarySource(vlmfsl::LibraryInterfaces()));
    WriteFile(folder + "/vlmfsl_dual.h", vlmfsl::DualClassesSource(vlmfsl::LibraryInterfaces()));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_windows_sources: %s\n", error.what());
    return 1;
  }
  return 0;
}
