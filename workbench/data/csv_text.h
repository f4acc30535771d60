// Fields of comma-separated values (RFC 4180): quoted where they need it, quotes inside doubled.
//
//   std::string line;
//   AppendCsvField("a, b", ',', line);  // "a, b"
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// Quotes a field that is empty, holds a quote, a line end or the delimiter, or begins or ends with
// a blank.
void AppendCsvField(std::string_view text, char delimiter, std::string& out);

// The shortest text that reads back to the same double.
void AppendShortestNumber(double value, std::string& out);

}  // namespace velmora
