// The saved files that 'velmora apply' is given: a folder of recode files is one word on the
// command line, and each recode file finds the variable that it makes in the list beside it.
#pragma once

#include <string>
#include <vector>

namespace velmora {

struct SavedFile {
  std::string path;
  std::string variable;  // that a recode file makes; empty: as the file itself says
};

// The files in their order. A folder is the recode files that its recode_names.json lists. That
// file itself is, too, unless other files of its folder are given, as by a pattern such as
// recodes/*. Throws DataError for a list that is damaged, RunError for a folder without one.
std::vector<SavedFile> ExpandSavedFiles(const std::vector<std::string>& given);

}  // namespace velmora
