// Checks that the tests of all commands share.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/process.h"

namespace velmora::testing {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

Words With(Words words, const Words& more);  // both, in this order
// The JSON that the command writes; null, and a failure of the test, when it fails.
Json JsonFrom(const Words& words);
// The object of the list with this name; null, and a failure of the test, when there is none.
const Json& Named(const Json& list, const std::string& name);
void ExpectSaid(const ProcessResult& result, const std::vector<std::string>& parts);
// Expects that the command knows every option of its help page. Returns the page.
std::string ExpectPageIsTrue(const std::string& command, int leastOptions);
// The same, and that the page has the options that all commands share.
void ExpectPageAndOptionsAgree(const std::string& command, int leastOptions);
// Expects that Ctrl-C ends the command, on a table that takes a while, with nothing written.
// options: with the response y.
void ExpectStopsOnCtrlC(const std::string& command, const Words& options);

}  // namespace velmora::testing
