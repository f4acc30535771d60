// Words in sentences, and on command lines that a reader copies into a shell.
#pragma once

#include <string>
#include <vector>

namespace velmora {

// "a, b, c and 4 more": the first words, about `most` of them.
std::string JoinFirst(std::vector<std::string> words, std::size_t most);

// Quotes the word for a POSIX shell.
std::string PosixWord(const std::string& word);

// Quotes it for the system's own shell, for hints such as --missing 'monthly income=-999'.
std::string ShellWord(const std::string& word);

}  // namespace velmora
