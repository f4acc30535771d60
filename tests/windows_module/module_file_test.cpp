// The module's file as Windows loads it: exports and imports, resources, registration, and that
// nothing is left after it is unloaded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
// These headers need windows.h before them.
#include <oleauto.h>
#include <psapi.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "contract/module_exports.h"
#include "module/frame/error_report.h"
#include "module/resources/automation_tables.h"
#include "module/resources/dialog_templates.h"
#include "module/resources/module_resources.h"
#include "tests/support/paths.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;

std::wstring Wide(const char* text) {
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), static_cast<int>(wide.size()));
  wide.pop_back();
  return wide;
}

// A 64-bit image, read from the file.
class ImageFile {
 public:
  explicit ImageFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
  }

  const IMAGE_NT_HEADERS64& Headers() const {
    return *At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
  }
  std::vector<std::string> ExportedNames() const {
    const auto* table = Directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
    const auto* names = At<DWORD>(Offset(table->AddressOfNames));
    std::vector<std::string> found;
    for (DWORD i = 0; i < table->NumberOfNames; ++i) found.emplace_back(At<char>(Offset(names[i])));
    EXPECT_EQ(table->NumberOfFunctions, table->NumberOfNames) << "something is exported by number alone";
    return found;
  }
  std::vector<std::string> ImportedLibraries() const {
    std::vector<std::string> found;
    for (const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
         entry->Name != 0; ++entry) {
      std::string name = At<char>(Offset(entry->Name));
      std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
      found.push_back(name);
    }
    return found;
  }

 private:
  template <typename T>
  const T* At(DWORD offset) const {
    return reinterpret_cast<const T*>(bytes_.data() + offset);
  }
  template <typename T>
  const T* Directory(int index) const {
    return At<T>(Offset(Headers().OptionalHeader.DataDirectory[index].VirtualAddress));
  }
  // The place in the file of an address of the loaded image.
  DWORD Offset(DWORD address) const {
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(&Headers() + 1);
    while (address < section->VirtualAddress || address >= section->VirtualAddress + section->SizeOfRawData)
      ++section;
    return address - section->VirtualAddress + section->PointerToRawData;
  }

  std::vector<char> bytes_;
};

TEST(ModuleImage, ExportsTheTwoFactoriesAndNeedsOnlyWhatWindowsHas) {
  const ImageFile module(ModulePath());
  EXPECT_EQ(module.Headers().FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
  EXPECT_THAT(module.ExportedNames(), ElementsAre(vlm::kScreeningFactory, vlm::kFeatureSelectionFactory));
  EXPECT_THAT(module.ImportedLibraries(),
              IsSubsetOf({"kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll",
                          "user32.dll", "advapi32.dll"}));
}

TEST(ModuleImage, CarriesTextsDialogsAndTheTypeLibrary) {
  HMODULE const module = LoadLibraryA(ModulePath().c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  for (const TextRow& row : Texts()) {
    const wchar_t* found = nullptr;
    const int length =
        LoadStringW(module, static_cast<UINT>(row.number), reinterpret_cast<wchar_t*>(&found), 0);
    EXPECT_EQ(std::wstring(found, static_cast<std::size_t>(length)), Wide(row.text)) << row.number;
  }
  for (const vlm::DialogTemplate& dialog : DialogTemplates()) {
    EXPECT_NE(FindResourceW(module, MAKEINTRESOURCEW(dialog.id), RT_DIALOG), nullptr) << dialog.id;
  }
  EXPECT_NE(FindResourceW(module, MAKEINTRESOURCEW(1), L"TYPELIB"), nullptr);
  FreeLibrary(module);
}

void MakeAndDestroy(HMODULE module, const char* factory) {
  const auto make =
      reinterpret_cast<vlm::AnalysisFactory>(reinterpret_cast<void*>(GetProcAddress(module, factory)));
  ASSERT_NE(make, nullptr);
  vlm::IAnalysis* const analysis = make();
  ASSERT_NE(analysis, nullptr);
  analysis->Destroy();
}

TEST(ModuleLife, RegistersNothingByItself) {
  GUID id = {};
  ASSERT_EQ(CLSIDFromString(Wide(kLibraryId).c_str(), &id), S_OK);
  UnRegisterTypeLib(id, kLibraryMajorVersion, kLibraryMinorVersion, LOCALE_NEUTRAL, SYS_WIN64);
  HMODULE const module = LoadLibraryA(ModulePath().c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  MakeAndDestroy(module, vlm::kFeatureSelectionFactory);
  MakeAndDestroy(module, vlm::kScreeningFactory);
  ITypeLib* library = nullptr;
  EXPECT_NE(LoadRegTypeLib(id, kLibraryMajorVersion, kLibraryMinorVersion, LOCALE_NEUTRAL, &library), S_OK);
  FreeLibrary(module);
}

TEST(ErrorFolder, IsMadeLevelByLevelInTheCommonApplicationData) {
  wchar_t common[MAX_PATH] = {};
  ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common), S_OK);
  const std::filesystem::path velmora = std::filesystem::path(common) / "Velmora";
  std::filesystem::remove_all(velmora);
  for (const char* which : {"made", "there already"}) {
    EXPECT_EQ(GetErrorReportFolder(), (velmora / "Errors").string()) << which;
    EXPECT_TRUE(std::filesystem::is_directory(velmora / "Errors")) << which;
  }
  std::filesystem::remove_all(velmora);
  std::ofstream(velmora) << "in the way";
  EXPECT_EQ(GetErrorReportFolder(), "");
  std::filesystem::remove(velmora);
}

TEST(ErrorFolder, RootsOfPathsAreNotMade) {
  for (const auto& [path, root] :
       {std::pair("C:\\ProgramData\\Velmora", "C:\\"),
        std::pair("\\\\server\\share\\data", "\\\\server\\share\\"),
        std::pair("\\\\server\\share", "\\\\server\\share"), std::pair("data\\Velmora", "")}) {
    EXPECT_EQ(std::string(path).substr(0, RootLength(path)), root) << path;
  }
}

std::size_t ResidentKilobytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.WorkingSetSize / 1024;
}

TEST(ModuleLife, AThousandLoadsLeaveNothing) {
  std::size_t before = 0;
  for (int load = 0; load < 1000; ++load) {
    HMODULE const module = LoadLibraryA(ModulePath().c_str());
    ASSERT_NE(module, nullptr) << "load " << load;
    for (const char* name : {vlm::kFeatureSelectionFactory, vlm::kScreeningFactory})
      MakeAndDestroy(module, name);
    ASSERT_NE(FreeLibrary(module), 0);
    ASSERT_EQ(GetModuleHandleA("vlmfsl.dll"), nullptr) << "still loaded";
    if (load == 100) before = ResidentKilobytes();
  }
  EXPECT_LT(ResidentKilobytes(), before + 512) << "kilobytes after the rest of the loads";
}

}  // namespace
}  // namespace vlmfsl::testing
