// Options as JSON, of calls and of the page: words of a command line, each of which begins with a
// name.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/api/options_json.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/server/page_options.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  try {
    const std::string json(text);
    const std::vector<std::string> words = CommandWords(json);
    for (const std::string& word : words) fuzz::Require(word.starts_with("--"), "a word names its option");
    RefuseCommandOnly(words);
    fuzz::Require(WordsOfPage(json) == words, "the page allows options or refuses them");
  } catch (const UsageError& error) {
    fuzz::Require(*error.what() != 0, "an error has a text");
  }
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
