// The words of a script, line by line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ScriptToken {
  enum class Kind { kName, kText, kNumber, kSymbol, kEndOfLine, kEnd };
  Kind kind = Kind::kEnd;
  int line = 0;       // from 1
  std::string text;   // kName: as written; kText: without its quotation marks; kSymbol
  std::string lower;  // kName
  double number = 0;
};

// At least one token; the last is kEnd. Throws DataError as ParseScript does.
std::vector<ScriptToken> ReadScriptTokens(std::string_view script, const std::string& file,
                                          std::string_view decimalSeparator);

}  // namespace velmora
