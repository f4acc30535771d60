// What tests of every command look at in the same way.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/process.h"

namespace velmora::testing {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

Words With(Words words, const Words& more);  // one after the other
// What the words and --format json give; null, and a failure of the test, when that ends badly.
Json JsonFrom(const Words& words);
// The one of a list of objects that has the name; null, and a failure of the test, when there is none.
const Json& Named(const Json& list, const std::string& name);
void ExpectSaid(const ProcessResult& result, const std::vector<std::string>& parts);
// The options of the command's page are known to it. Returns the page.
std::string ExpectPageIsTrue(const std::string& command, int leastOptions);
// The same, and the options that commands share stand on the page.
void ExpectPageAndOptionsAgree(const std::string& command, int leastOptions);
// The command, on a table that takes it a while, ends with nothing written on Ctrl-C. options: with y as the
// response.
void ExpectStopsOnCtrlC(const std::string& command, const Words& options);

}  // namespace velmora::testing
