// Fields of comma-separated values as RFC 4180 quotes them
// (https://www.rfc-editor.org/rfc/rfc4180).
//
//   std::string text;
//   AppendCsvRow(text, {"name", "say \"hi\""});   // name,"say ""hi"""\n
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// A field is quoted when it holds a comma, a quote or a line break, or begins or ends with a blank,
// which some readers would drop.
void AppendCsvField(std::string& text, std::string_view field);
// lineEnd: "\n" for the tools of a pipeline, "\r\n" for spreadsheet programs.
void AppendCsvRow(std::string& text, const std::vector<std::string>& fields, std::string_view lineEnd = "\n");

}  // namespace velmora
