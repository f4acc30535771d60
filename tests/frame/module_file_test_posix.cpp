// The module as a file: its symbols and its needs.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/paths.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;

// The dynamic section of a shared library, read from the file.
class ElfFile {
 public:
  explicit ElfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
  }

  std::vector<std::string> DefinedSymbols() const {
    std::vector<std::string> names;
    ForEach<Elf64_Sym>(SHT_DYNSYM, [&](const Elf64_Sym& symbol, const char* strings) {
      if (symbol.st_shndx != SHN_UNDEF) names.emplace_back(strings + symbol.st_name);
    });
    std::sort(names.begin(), names.end());
    return names;
  }
  std::vector<std::string> NeededLibraries() const {
    std::vector<std::string> names;
    ForEach<Elf64_Dyn>(SHT_DYNAMIC, [&](const Elf64_Dyn& entry, const char* strings) {
      if (entry.d_tag == DT_NEEDED) names.emplace_back(strings + entry.d_un.d_val);
    });
    return names;
  }

 private:
  template <typename Entry, typename Use>
  void ForEach(unsigned sectionType, Use use) const {
    const auto* header = reinterpret_cast<const Elf64_Ehdr*>(bytes_.data());
    const auto* sections = reinterpret_cast<const Elf64_Shdr*>(bytes_.data() + header->e_shoff);
    for (int i = 0; i < header->e_shnum; ++i) {
      if (sections[i].sh_type != sectionType) continue;
      const char* strings = bytes_.data() + sections[sections[i].sh_link].sh_offset;
      for (std::size_t at = 0; at < sections[i].sh_size; at += sizeof(Entry)) {
        Entry entry;
        std::memcpy(&entry, bytes_.data() + sections[i].sh_offset + at, sizeof entry);
        use(entry, strings);
      }
    }
  }

  std::vector<char> bytes_;
};

TEST(ModuleFile, ExportsTheTwoFactoriesAndNeedsTheLanguageOnly) {
  const ElfFile module(ModulePath());
  EXPECT_THAT(module.DefinedSymbols(), ElementsAre("Qvd6FeatureSelectionTemplate", "Qvd6NewAnalysis"));
  std::vector<std::string> needed = module.NeededLibraries();
#if defined(VELMORA_SANITIZED)
  std::erase_if(needed, [](const std::string& name) { return name.find("san.so") != std::string::npos; });
#endif
  EXPECT_THAT(needed, IsSubsetOf({"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6",
                                  "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"}));
}

}  // namespace
}  // namespace vlmfsl::testing
