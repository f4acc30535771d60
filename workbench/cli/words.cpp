#include "workbench/cli/words.h"

#include <algorithm>
#include <string_view>

#include "workbench/cli/options.h"

namespace velmora {
namespace {

// No POSIX shell gives any of them a meaning.
bool IsPlain(const std::string& word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80 ||
           std::string_view("_./,:=+@%-").find(static_cast<char>(c)) != std::string_view::npos;
  });
}

// mark around the word, and escaped in place of each that it has.
std::string WithMarks(const std::string& word, char mark, std::string_view escaped) {
  std::string quoted(1, mark);
  for (const char c : word) {
    if (c == mark) {
      quoted += escaped;
    } else {
      quoted += c;
    }
  }
  return quoted + mark;
}

}  // namespace

std::string JoinFirst(std::vector<std::string> words, std::size_t most) {
  // A word takes no more room than "1 more".
  if (words.size() > most + 1) {
    const std::string more = std::to_string(words.size() - most) + " more";
    words.resize(most);
    words.push_back(more);
  }
  return JoinWords(words, " and ");
}

std::string PosixWord(const std::string& word) {
  return IsPlain(word) ? word : WithMarks(word, '\'', R"('\'')");
}

std::string ShellWord(const std::string& word) {
#ifdef _WIN32
  return IsPlain(word) ? word : WithMarks(word, '"', R"(\")");
#else
  return PosixWord(word);
#endif
}

}  // namespace velmora
