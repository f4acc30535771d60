// Writes the results of a command in the requested formats, as files of a folder or to standard
// output.
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
  std::string stem;  // of the file names: "feature_selection"
  std::function<std::string(const Terminal&)> text;
  std::function<std::string()> json;
  // Of a folder: names and texts.
  std::function<std::vector<std::pair<std::string, std::string>>()> csvFiles;
  std::function<std::string()> csv;    // on standard output
  std::function<Workbook()> workbook;  // for XLSX
  std::function<std::string()> page;   // HTML
  std::function<void(OutputFiles&)>
      addFiles;  // further files; without --out in the current folder. May be empty
  // Further files in other folders. May be empty.
  std::function<void(OutputFiles&)> addFilesElsewhere;
};

// One format as a text or as bytes.
std::string FormattedText(Format format, const OutputWriters& writers, const OutputOptions& options = {});

// Writes the files first, so that they appear even when the reader of standard output goes away.
// Throws RunError and Cancelled, and then no file has appeared. inputs: the files that no output
// may overwrite.
void WriteOutputs(const OutputOptions& options, const std::vector<Format>& formats,
                  const OutputWriters& writers, const RunFiles& inputs = {});

// Adds the files of --out to those of the run. stem and csvNames: as the writers name them. Throws
// UsageError.
void AddOutputs(const OutputOptions& options, const std::vector<Format>& formats, const std::string& stem,
                const std::vector<std::string>& csvNames, RunFiles& files);

// The lines of a script with the outputs of WriteOutputs; the script's variables analysis and
// results hold the objects. Throws UsageError for a format that a script cannot print.
std::vector<std::string> ScriptedOutputs(const OutputOptions& options, const std::vector<Format>& formats);
// The name of a format on the command line.
const char* FormatName(Format format);

// Saves the table as a file of the run. Throws DataError that names path, and Cancelled.
void SaveTableIn(OutputFiles& files, const Table& table, const std::string& path,
                 const OutputOptions& options);

// Whether results are shown at a terminal and nothing else was asked for, so that a hint helps.
bool IsFirstLook(const OutputOptions& options);

}  // namespace velmora
