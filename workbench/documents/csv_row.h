// Rows of comma-separated values (RFC 4180, https://www.rfc-editor.org/rfc/rfc4180).
//
//   std::string text;
//   AppendCsvRow(text, {"name", "say \"hi\""});   // name,"say ""hi"""\n
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// Fields are quoted as in data/csv_text.h, except that an empty field is written as nothing.
// lineEnd: "\n" for the tools of a pipeline, "\r\n" for spreadsheet programs.
void AppendCsvRow(std::string& text, const std::vector<std::string>& fields, std::string_view lineEnd = "\n");

}  // namespace velmora
