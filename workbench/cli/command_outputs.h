// The results of a command in the formats that were asked for, as files of a folder or on standard output.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workbench/cli/console.h"
#include "workbench/cli/options.h"
#include "workbench/cli/output_files.h"
#include "workbench/documents/workbook.h"

namespace velmora {

struct OutputWriters {
  std::string stem;  // of the files' names: "feature_selection"
  std::function<std::string(const Terminal&)> text;
  std::function<std::string()> json;
  std::function<void(OutputFiles&)> addCsv;  // the files of a folder
  std::function<std::string()> csv;          // on standard output
  std::function<Workbook()> workbook;        // for XLSX
  std::function<std::string()> page;         // HTML
  std::function<void(OutputFiles&)>
      addFiles;  // further files; the present folder without --out. May be empty
  std::function<void(OutputFiles&)> addFilesElsewhere;  // in folders that they name. May be empty
};

// Files first, so that a reader of standard output that goes away cannot keep them from appearing. Throws
// RunError and Cancelled, after which no file has appeared.
void WriteOutputs(const OutputOptions& options, const std::vector<Format>& formats,
                  const OutputWriters& writers);

// The lines of a script that give what WriteOutputs gives: variables analysis and results hold the objects.
// Throws UsageError for what a script cannot print.
std::vector<std::string> ScriptedOutputs(const OutputOptions& options, const std::vector<Format>& formats);
// A format as options name it.
const char* FormatName(Format format);

// Whether the results went to a person at a terminal who may like to hear what else there is.
bool IsFirstLook(const OutputOptions& options);

}  // namespace velmora
