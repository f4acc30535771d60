// The options of a call as JSON, turned into the words of a command line, so that the commands'
// parsers read both.
//
//   CommandWords(R"({"best": 5, "casewise": true, "predictors": ["age", "-x"]})")
//       // --best=5 --casewise --predictors=age --predictors=-x
#pragma once

#include <string>
#include <vector>

namespace velmora {

// json: an object, or empty. A member with null or false is left out, a list repeats its option, an
// object gives NAME=VALUE,VALUE words. Throws UsageError for anything else.
std::vector<std::string> CommandWords(const std::string& json);

// Throws UsageError for an option of the command line that a call cannot take, such as --out.
void RefuseCommandOnly(const std::vector<std::string>& words);

}  // namespace velmora
