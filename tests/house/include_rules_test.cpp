// The layers of the source tree: checks every #include line and every link against the tables
// below.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/paths.h"

namespace {

namespace fs = std::filesystem;

// The folders that a folder may include besides itself, the lowest first. A folder without a row
// may include nothing.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"base", {}},
    {"include", {}},
    {"contract", {}},
    {"contract/com", {"contract"}},
    {"module/resources", {"contract"}},
    {"module/frame", {"base", "contract", "contract/com", "module/resources"}},
    {"module/feature_selection", {"base", "contract", "module/resources", "module/frame"}},
    {"module/feature_selection_ui",
     {"base", "contract", "module/resources", "module/frame", "module/feature_selection"}},
    {"module/screening", {"base", "contract", "module/resources", "module/frame"}},
    {"module/screening_outputs",
     {"base", "contract", "module/resources", "module/frame", "module/screening"}},
    {"module/screening_ui",
     {"base", "contract", "module/resources", "module/frame", "module/screening",
      "module/screening_outputs"}},
    {"module/entry",
     {"base", "contract", "contract/com", "module/resources", "module/frame", "module/feature_selection",
      "module/feature_selection_ui", "module/screening", "module/screening_outputs", "module/screening_ui"}},
};

// The layers of the workbench, the lowest first: a layer may include those before it, contract/ and
// base/. Layers of one row do not include each other.
const std::vector<std::vector<std::string>> kWorkbenchLayers = {
    {"workbench/system"},     {"workbench/c_library"}, {"workbench/data"},       {"workbench/reader"},
    {"workbench/language"},   {"workbench/bins"},      {"workbench/stats"},      {"workbench/binning"},
    {"workbench/evidence"},   {"workbench/ranking"},   {"workbench/states"},     {"workbench/push_down"},
    {"workbench/scorecard"},  {"workbench/documents"}, {"workbench/automation"}, {"workbench/dialogs"},
    {"workbench/procedures"}, {"workbench/session"},   {"workbench/windows"},    {"workbench/report"},
    {"workbench/cli"},        {"workbench/api"},       {"workbench/server"},
};

// Headers of the operating system that the COM objects and the platform part of the frame may use.
bool IsPlatformFile(const std::string& path) {
  return path.starts_with("contract/com/") || path.starts_with("module/frame/windows/") ||
         path.ends_with("_windows.cpp") || path.starts_with("module/frame/platform_") ||
         path == "module/frame/error_report.cpp" || path.starts_with("module/entry/");
}

// The folder of the tables above that contains a file: the longest one that its path begins with.
// Empty: none.
std::string FolderOf(const std::string& path) {
  std::string folder;
  const auto consider = [&](const std::string& candidate) {
    if (path.starts_with(candidate + "/") && candidate.size() > folder.size()) folder = candidate;
  };
  for (const auto& row : kMayInclude) consider(row.first);
  for (const auto& row : kWorkbenchLayers) {
    for (const std::string& layer : row) consider(layer);
  }
  return folder;
}

std::size_t LayerOf(const std::string& folder) {
  for (std::size_t layer = 0; layer < kWorkbenchLayers.size(); ++layer) {
    for (const std::string& candidate : kWorkbenchLayers[layer]) {
      if (candidate == folder) return layer;
    }
  }
  return kWorkbenchLayers.size();
}

bool MayInclude(const std::string& from, const std::string& to) {
  if (from == to) return true;
  if (!from.starts_with("workbench/")) return kMayInclude.contains(from) && kMayInclude.at(from).contains(to);
  if (to == "base" || to == "contract" || to == "contract/com") return true;
  // workbench/data for the structures of the Arrow C data interface.
  if (to == "include") return from == "workbench/api" || from == "workbench/data";
  return LayerOf(to) < LayerOf(from);
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

// The fault of an include line; empty: none.
std::string Fault(const std::string& path, const Include& include) {
  const std::string from = FolderOf(path);
  if (from.empty()) return "is included by a file outside the folders of the table";
  if (!include.quoted) {
    // Vector kernels include the processor's header; the rest of the module uses the standard
    // library alone.
    const bool processor = from == "module/feature_selection" && include.target.ends_with("mmintrin.h");
    const bool ofC = from == "include" && include.target.starts_with("std");
    const bool allowed = from.starts_with("workbench/") || IsStandardHeader(include.target) ||
                         IsPlatformFile(path) || processor || ofC;
    return allowed ? "" : "is not a header of the standard library";
  }
  if (include.target.find('/') == std::string::npos) {  // generated: the interfaces for COM
    return from.starts_with("workbench/") || IsPlatformFile(path) ? "" : "is not a file of this project";
  }
  const std::string to = FolderOf(include.target);
  if (to.empty()) return "is not a file of this project";
  return MayInclude(from, to) ? "" : from + "/ may not include " + to + "/";
}

TEST(House, FoldersIncludeOnlyWhatTheyMay) {
  const fs::path root = SourceDir();
  int lines = 0;
  for (const char* top : {"base", "include", "contract", "module", "workbench"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
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
  EXPECT_GT(lines, 2000) << "the sources were not found";
}

// --- Libraries of the build

struct Library {
  std::string folder;
  std::set<std::string> uses;  // libraries of ours
};

// Every velmora_library(NAME FOLDER LIBRARIES...) of the build description.
std::map<std::string, Library> Libraries() {
  std::map<std::string, Library> libraries;
  for (const char* file : {"cmake/module.cmake", "workbench/CMakeLists.txt"}) {
    std::ifstream in(fs::path(SourceDir()) / file);
    for (std::string line; std::getline(in, line);) {
      const std::string call = "velmora_library(";
      const auto begin = line.find(call);
      if (begin == std::string::npos) continue;
      const auto from = begin + call.size();
      std::istringstream words(line.substr(from, line.rfind(')') - from));
      std::string name, word;
      words >> name;
      Library& library = libraries[name];
      words >> library.folder;
      while (words >> word) {
        if (word.starts_with("vlm_") || word.starts_with("wb_")) library.uses.insert(word);
      }
    }
  }
  return libraries;
}

std::set<std::string> ReachedFrom(const std::map<std::string, Library>& libraries, const std::string& name) {
  std::set<std::string> reached;
  std::vector<std::string> open = {name};
  while (!open.empty()) {
    const std::string next = open.back();
    open.pop_back();
    const auto library = libraries.find(next);
    if (library == libraries.end()) continue;
    for (const std::string& used : library->second.uses) {
      if (reached.insert(used).second) open.push_back(used);
    }
  }
  return reached;
}

// The folders that the files of a folder include.
std::set<std::string> FoldersIncludedBy(const std::string& folder) {
  std::set<std::string> folders;
  for (const auto& entry : fs::directory_iterator(fs::path(SourceDir()) / folder)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".cpp") continue;
    for (const Include& include : IncludesOf(entry.path())) {
      if (include.quoted) folders.insert(FolderOf(include.target));
    }
  }
  return folders;
}

TEST(House, LibrariesLinkWhatTheyIncludeAndNothingElse) {
  const std::map<std::string, Library> libraries = Libraries();
  EXPECT_GT(libraries.size(), 15u) << "the build description was not found";
  for (const auto& [name, library] : libraries) {
    SCOPED_TRACE(name);
    const std::set<std::string> reached = ReachedFrom(libraries, name);
    EXPECT_FALSE(reached.contains(name)) << "links itself in a circle";
    const std::set<std::string> included = FoldersIncludedBy(library.folder);
    for (const auto& [otherName, other] : libraries) {
      if (otherName == name || otherName == "vlm_com") continue;  // Windows only, linked there
      if (included.contains(other.folder)) {
        EXPECT_TRUE(reached.contains(otherName)) << "includes " << other.folder << " and does not link it";
      }
      if (library.uses.contains(otherName)) {
        EXPECT_TRUE(included.contains(other.folder)) << "links " << otherName << " and does not include it";
      }
    }
  }
}

TEST(House, EveryFolderSaysWhatItIsFor) {
  std::set<fs::path> folders;
  for (const char* root : {"include", "tests", "bench", "tools", "cmake"}) folders.insert(root);
  for (const char* root : {"base", "contract", "module", "workbench"}) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(fs::path(SourceDir()) / root)) {
      const std::string extension = entry.path().extension().string();
      if (extension == ".cpp" || extension == ".h" || extension == ".js" || extension == ".tsx")
        folders.insert(fs::relative(entry.path().parent_path(), SourceDir()));
    }
  }
  EXPECT_GT(folders.size(), 40u) << "the sources were not found";
  for (const fs::path& folder : folders)
    EXPECT_TRUE(fs::exists(fs::path(SourceDir()) / folder / "README.md")) << folder;
}

TEST(House, TheRulesSeeAWrongInclude) {
  struct Row {
    const char *path, *target;
    bool quoted, wrong;
  };
  const Row rows[] = {
      {"module/feature_selection/a.cpp", "module/screening/b.h", true, true},
      {"module/screening/a.cpp", "module/feature_selection/b.h", true, true},
      {"module/screening/a.cpp", "module/screening_outputs/b.h", true, true},
      {"module/frame/a.cpp", "module/feature_selection/b.h", true, true},
      {"module/frame/a.cpp", "module/entry/b.h", true, true},
      {"module/entry/a.cpp", "module/screening/b.h", true, false},
      {"module/entry/a.cpp", "workbench/data/b.h", true, true},
      {"contract/a.h", "base/b.h", true, true},
      {"contract/a.h", "module/frame/b.h", true, true},
      {"base/a.h", "contract/types.h", true, true},
      {"workbench/cli/a.cpp", "module/resources/text_ids.h", true, true},
      {"workbench/cli/a.cpp", "contract/types.h", true, false},
      {"workbench/data/a.cpp", "base/tolerant.h", true, false},
      {"workbench/data/a.cpp", "workbench/documents/b.h", true, true},
      {"workbench/cli/screen/a.cpp", "workbench/cli/b.h", true, false},
      {"workbench/session/a.cpp", "workbench/cli/b.h", true, true},
      {"workbench/api/a.cpp", "include/velmora.h", true, false},
      {"workbench/cli/a.cpp", "include/velmora.h", true, true},
      {"workbench/new_room/a.cpp", "contract/types.h", true, true},
      {"workbench/cli/a.cpp", "CLI/CLI.hpp", false, false},
      {"module/feature_selection/a.cpp", "boost/math.hpp", false, true},
      {"module/feature_selection/a.cpp", "unistd.h", false, true},
      {"module/feature_selection/a.cpp", "vector", false, false},
      {"module/feature_selection_ui/a.cpp", "module/feature_selection/b.h", true, false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(!Fault(row.path, {1, row.target, row.quoted}).empty(), row.wrong)
        << row.path << " " << row.target;
  }
}

}  // namespace
