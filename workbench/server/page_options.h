// The options of the analyses that the page may set. All other options, above all those that name
// files and libraries, are refused from a browser.
#pragma once

#include <string>
#include <vector>

namespace velmora {

std::vector<std::string> PageOptionNames();  // without "--"

// options: the JSON object of velmora_run. Returns the words of the command line. Throws UsageError
// for an option that the page may not set.
std::vector<std::string> WordsOfPage(const std::string& options);
// The same for options of velmora scorecard.
std::vector<std::string> WordsOfScorecard(const std::string& options);

}  // namespace velmora
