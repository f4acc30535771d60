// Reads back the files that the Windows tools compile from the tables: the resources must hold the
// content of the tables.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "module/resources/dialog_templates.h"
#include "module/resources/tools/windows_sources.h"
#include "workbench/dialogs/compiled_dialog.h"

namespace vlmfsl {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::byte>;

constexpr int kDialogType = 5;
constexpr int kTextType = 6;

std::uint32_t NumberAt(const Bytes& bytes, std::size_t at, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < size; ++i)
    number |= std::to_integer<std::uint32_t>(bytes.at(at + i)) << (8 * i);
  return number;
}

// The resources of a compiled file by type and number. Names and types that are texts are left out.
std::map<std::pair<int, int>, Bytes> ReadCompiled(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  const auto* data = reinterpret_cast<const std::byte*>(text.data());
  const Bytes all(data, data + text.size());
  std::map<std::pair<int, int>, Bytes> resources;
  for (std::size_t at = 0; at + 8 <= all.size();) {
    const std::size_t size = NumberAt(all, at, 4), header = NumberAt(all, at + 4, 4);
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(at + header);
    const int type = NumberAt(all, at + 8, 2) == 0xFFFF ? static_cast<int>(NumberAt(all, at + 10, 2)) : -1;
    const int number = NumberAt(all, at + 12, 2) == 0xFFFF ? static_cast<int>(NumberAt(all, at + 14, 2)) : -1;
    resources[{type, number}] = Bytes(begin, begin + static_cast<std::ptrdiff_t>(size));
    at = (at + header + size + 3) & ~std::size_t{3};
  }
  return resources;
}

// A block holds sixteen texts, each as its length and its UTF-16 units. The texts of these tests
// need no surrogates.
std::string TextIn(const std::map<std::pair<int, int>, Bytes>& resources, int number) {
  const auto block = resources.find({kTextType, number / 16 + 1});
  if (block == resources.end()) return "(no block)";
  std::size_t at = 0;
  for (int i = 0; i < number % 16; ++i) at += 2 * (1 + NumberAt(block->second, at, 2));
  std::string text;
  for (std::size_t left = NumberAt(block->second, at, 2); left > 0; --left) {
    const std::uint32_t unit = NumberAt(block->second, at += 2, 2);
    if (unit < 0x80) {
      text += static_cast<char>(unit);
    } else {
      text += static_cast<char>(0xC0 | unit >> 6);
      text += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return text;
}

bool HaveTools() { return std::string(VELMORA_WINDRES).find("NOTFOUND") == std::string::npos; }

bool Compile(const fs::path& folder, const std::string& script) {
  std::ofstream(folder / "t.rc", std::ios::binary) << script;
  const std::string command =
      "cd '" + folder.string() + "' && " VELMORA_WINDRES " -O res t.rc t.res 2> errors";
  return std::system(command.c_str()) == 0;
}

void ExpectSame(const vlm::DialogTemplate& read, const vlm::DialogTemplate& wanted) {
  EXPECT_STREQ(read.caption, wanted.caption);
  EXPECT_EQ(read.width, wanted.width);
  EXPECT_EQ(read.height, wanted.height);
  ASSERT_EQ(read.controlCount, wanted.controlCount);
  for (int i = 0; i < read.controlCount; ++i) {
    const vlm::ControlTemplate &r = read.controls[i], &w = wanted.controls[i];
    EXPECT_EQ(r.id, w.id);
    EXPECT_EQ(r.controlClass, w.controlClass) << w.id;
    EXPECT_STREQ(r.caption, w.caption) << w.id;
    EXPECT_EQ(r.flags, w.flags) << w.id;
    EXPECT_TRUE(r.x == w.x && r.y == w.y && r.width == w.width && r.height == w.height) << w.id;
  }
}

TEST(WindowsSources, TheModulesResourcesSayWhatTheTablesSay) {
  if (!HaveTools()) GTEST_SKIP() << "no windres";
  const auto resources = ReadCompiled(VELMORA_WINDOWS_SOURCES "/vlmfsl.res");
  for (const TextRow& row : Texts()) EXPECT_EQ(TextIn(resources, row.number), row.text) << row.number;
  for (const vlm::DialogTemplate& wanted : DialogTemplates()) {
    SCOPED_TRACE(wanted.id);
    const auto found = resources.find({kDialogType, wanted.id});
    ASSERT_NE(found, resources.end());
    ExpectSame(velmora::CompiledDialog(wanted.id, found->second).Template(), wanted);
  }
  bool hasTypeLibrary = false;
  for (const auto& [key, bytes] : resources) {
    hasTypeLibrary |= bytes.size() > 4 && NumberAt(bytes, 0, 4) == 0x5446534D;  // "MSFT"
  }
  EXPECT_TRUE(hasTypeLibrary);
}

// Texts that the present tables do not have: letters beyond ASCII, quotation marks, escapes, an odd
// length.
TEST(WindowsSources, AnyTextSurvivesTheResourceCompiler) {
  if (!HaveTools()) GTEST_SKIP() << "no windres";
  const fs::path folder = fs::temp_directory_path() / ("windows_sources_" + std::to_string(::getpid()));
  fs::create_directories(folder);
  std::ofstream(folder / "t.tlb") << "MSFT";
  const TextRow texts[] = {
      {10000, " \"Größe\" \\n C:\\x41\\ 100 %s\n\tnext "}, {10015, ""}, {10016, "\"\"é"}};
  const vlm::ControlTemplate controls[] = {
      {1000, vlm::kTab, "", 0, 0, 10, 10, 0},
      {7, vlm::kDropDown, "", -3, 2, 31, 12, vlm::kControlHidden | vlm::kControlNoTabStop},
      {8, vlm::kButton, "!249 \"Größe\" && \\n €𝛼", 1, 2, 3, 4,
       vlm::kControlDefault | vlm::kControlGroupStart}};
  const vlm::DialogTemplate dialog = {77, "é \"x\" ", 300, 200, controls, 3};
  ASSERT_TRUE(Compile(folder, ResourceScript(texts, {&dialog, 1}, {1, 2, 3}, "t.tlb")));
  const auto resources = ReadCompiled(folder / "t.res");
  for (const TextRow& row : texts) EXPECT_EQ(TextIn(resources, row.number), row.text);
  const Bytes& compiled = resources.at({kDialogType, 77});
  ExpectSame(velmora::CompiledDialog(77, compiled).Template(), dialog);
  for (std::size_t size = 0; size < compiled.size(); size += 7) {
    EXPECT_THROW(velmora::CompiledDialog(77, {compiled.data(), size}), std::runtime_error) << size;
  }
  fs::remove_all(folder);
}

// The build has run widl on the source, so only its declarations remain to be compared.
TEST(WindowsSources, TheTypeLibraryDeclaresEveryMember) {
  const std::string source = TypeLibrarySource(LibraryInterfaces());
  static const std::regex line(
      R"re(    \[(?:(propget|propput), )?id\((\w+)\)(?:, helpstring\("(.*)"\))?\] HRESULT (\w+)\((.*)\);)re");
  std::istringstream lines(source);
  std::size_t declared = 0;
  std::string text, interfaceName;
  std::map<std::string, std::set<std::string>> seen;
  while (std::getline(lines, text)) {
    std::smatch match;
    if (text.starts_with("  interface ")) interfaceName = text.substr(12, text.find(' ', 12) - 12);
    if (!std::regex_match(text, match, line)) continue;
    ++declared;
    seen[interfaceName].insert(match[1].str() + " " + std::to_string(std::stoll(match[2].str(), nullptr, 0)) +
                               " " + match[4].str() + " " + match[3].str());
  }
  std::size_t expected = 0;
  for (const LibraryInterface& entry : LibraryInterfaces()) {
    for (int i = 0; i < entry.description->memberCount; ++i) {
      const vlm::AutomationMember& member = entry.description->members[i];
      const auto expect = [&](int kind, const char* prefix, const char* help) {
        if ((member.kinds & kind) == 0) return;
        ++expected;
        EXPECT_TRUE(seen[entry.description->name].contains(
            std::string(prefix) + " " + std::to_string(member.dispatchId) + " " + member.name + " " + help))
            << entry.description->name << "." << member.name;
      };
      expect(vlm::kInvokeGet, "propget", member.getHelp);
      expect(vlm::kInvokePut, "propput", member.putHelp);
      expect(vlm::kInvokeMethod, "", member.getHelp);
    }
  }
  EXPECT_EQ(declared, expected);

  const vlm::AutomationMember odd[] = {
      {1, "X", vlm::kInvokeGet, vlm::kAutomationInt, 0, 0, 0, nullptr, "Größe", nullptr}};
  const vlm::AutomationInterface description = {"I", "", nullptr, odd, 1};
  const LibraryInterface entry = {&description, "{0}"};
  EXPECT_THROW(static_cast<void>(TypeLibrarySource({&entry, 1})), std::invalid_argument);
}

}  // namespace
}  // namespace vlmfsl
