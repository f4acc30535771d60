// The one-way streets between the folders: every #include line of the project against the table below.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// What a folder may include besides itself.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"base", {}},
    {"frame/host", {}},
    {"com", {"frame/host"}},
    {"resources", {"frame/host"}},
    {"frame", {"base", "com", "frame/host", "resources"}},
    {"fsl", {"frame", "frame/host", "base", "resources"}},
    {"fsl_ui", {"fsl", "frame", "frame/host", "base", "resources"}},
    {"screening", {"frame", "frame/host", "base", "resources"}},
    {"screening_out", {"screening", "frame", "frame/host", "base", "resources"}},
    {"screening_ui", {"screening_out", "screening", "frame", "frame/host", "base", "resources"}},
    {"workbench", {"com", "frame/host"}},
};

// Roots: they make the analyses and open their dialogs, so they may reach across the module.
const std::set<std::string> kRoots = {"frame/module_entry.cpp", "frame/feature_selection_root.cpp",
                                      "frame/feature_selection_template_root.cpp"};

// Headers of the operating system that the COM objects and the platform part of the frame may use.
bool IsPlatformFile(const std::string& path) {
  return path.starts_with("com/") || path.starts_with("frame/windows/") || path.ends_with("_windows.cpp") ||
         path.starts_with("frame/platform_") || path == "frame/error_report.cpp" || kRoots.contains(path);
}

std::string FolderOf(const std::string& path) {
  if (path.starts_with("frame/host/")) return "frame/host";
  return path.substr(0, path.find('/'));
}

struct Include {
  int line;
  std::string target;
  bool quoted;
};

std::vector<Include> IncludesOf(const fs::path& file) {
  std::vector<Include> includes;
  std::ifstream in(file);
  std::string text;
  for (int line = 1; std::getline(in, text); ++line) {
    const auto hash = text.find_first_not_of(" \t");
    if (hash == std::string::npos || text.compare(hash, 8, "#include") != 0) continue;
    const auto open = text.find_first_of("<\"", hash + 8);
    if (open == std::string::npos) continue;
    const auto close = text.find_first_of(">\"", open + 1);
    includes.push_back({line, text.substr(open + 1, close - open - 1), text[open] == '"'});
  }
  return includes;
}

bool IsStandardHeader(const std::string& name) {
  return name.find('/') == std::string::npos && name.find(".h") == std::string::npos;
}

// What is wrong with an include line; empty when nothing is.
std::string Fault(const std::string& path, const Include& include) {
  const std::string from = FolderOf(path);
  const bool workbench = from == "workbench";
  if (!include.quoted) {
    // Vector kernels name the processor's header; nothing else of the module leaves the standard library.
    const bool processor = from == "fsl" && include.target.ends_with("mmintrin.h");
    const bool allowed = workbench || IsStandardHeader(include.target) || IsPlatformFile(path) || processor;
    return allowed ? "" : "is no header of the standard library";
  }
  const std::string to = FolderOf(include.target);
  if (!kMayInclude.contains(to)) return workbench ? "" : "is no file of this project";
  if (to == from || kMayInclude.at(from).contains(to)) return "";
  if (kRoots.contains(path) && !to.starts_with("workbench")) return "";
  return from + "/ may not include " + to + "/";
}

TEST(House, FoldersIncludeOnlyWhatTheyMay) {
  const fs::path root = VELMORA_SOURCE_DIR;
  int lines = 0;
  for (const auto& [folder, allowed] : kMayInclude) {
    if (folder == "frame/host" || !fs::exists(root / folder)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".h" && extension != ".cpp") continue;
      const std::string path = fs::relative(entry.path(), root).generic_string();
      for (const Include& include : IncludesOf(entry.path())) {
        ++lines;
        const std::string fault = Fault(path, include);
        EXPECT_EQ(fault, "") << path << ":" << include.line << ": " << include.target << " " << fault;
      }
    }
  }
  EXPECT_GT(lines, 100) << "the sources were not found";
}

TEST(House, TheRulesSeeAWrongInclude) {
  struct Row {
    const char *path, *target;
    bool quoted, wrong;
  };
  const Row rows[] = {
      {"fsl/a.cpp", "screening/b.h", true, true},
      {"screening/a.cpp", "fsl/b.h", true, true},
      {"frame/a.cpp", "fsl/b.h", true, true},
      {"frame/module_entry.cpp", "screening/b.h", true, false},
      {"frame/host/a.h", "base/b.h", true, true},
      {"frame/host/a.h", "frame/b.h", true, true},
      {"base/a.h", "frame/host/types.h", true, true},
      {"workbench/app/a.cpp", "resources/text_ids.h", true, true},
      {"workbench/app/a.cpp", "frame/host/types.h", true, false},
      {"workbench/app/a.cpp", "CLI/CLI.hpp", false, false},
      {"fsl/a.cpp", "boost/math.hpp", false, true},
      {"fsl/a.cpp", "unistd.h", false, true},
      {"fsl/a.cpp", "vector", false, false},
      {"fsl_ui/a.cpp", "fsl/b.h", true, false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(!Fault(row.path, {1, row.target, row.quoted}).empty(), row.wrong)
        << row.path << " " << row.target;
  }
}

}  // namespace
