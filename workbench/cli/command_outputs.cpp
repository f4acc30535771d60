#include "workbench/cli/command_outputs.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "workbench/cli/exit_codes.h"
#include "workbench/data/save.h"
#include "workbench/data/spreadsheet_csv.h"
#include "workbench/documents/writers.h"
#include "workbench/session/settings_script.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

std::string XlsxOf(const OutputWriters& writers) {
  std::string bytes, error;
  if (!WriteXlsx(writers.workbook(), bytes, error)) throw RunError(error);
  return bytes;
}

// The text in the form that --csv-for asks for.
std::string CsvText(const OutputOptions& options, std::string text) {
  if (options.csvFor == 0) return text;
  return SpreadsheetCsv(text);
}

void AddFile(Format format, const OutputOptions& options, const OutputWriters& writers, OutputFiles& files) {
  switch (format) {
    case Format::kJson:
      return files.Add(writers.stem + ".json", writers.json());
    case Format::kCsv:
      for (auto& [name, text] : writers.csvFiles()) files.Add(name, CsvText(options, std::move(text)));
      return;
    case Format::kHtml:
      return files.Add(writers.stem + ".html", writers.page());
    case Format::kXlsx:
      return files.Add(writers.stem + ".xlsx", XlsxOf(writers));
    case Format::kTerminal:
      return;
  }
}

// One line per file; a folder with many files gets one line.
void ReportWritten(const std::vector<WrittenFile>& files) {
  constexpr std::size_t kMany = 12;
  struct Count {
    std::size_t files = 0, replaced = 0;
  };
  std::map<std::filesystem::path, Count> counts;
  for (const WrittenFile& file : files) {
    Count& count = counts[file.path.parent_path()];
    ++count.files;
    count.replaced += file.replaced ? 1 : 0;
  }
  for (const WrittenFile& file : files) {
    Count& count = counts[file.path.parent_path()];
    if (count.files > kMany) {
      Report("Written: " + std::to_string(count.files) + " files in " + file.path.parent_path().string() +
             (count.replaced == 0 ? ""
                                  : ", of which " + std::to_string(count.replaced) + " replaced older ones"));
      count.files = 0;
    } else if (count.files > 0) {
      Report((file.replaced ? "Replaced: " : "Written: ") + file.path.string());
    }
  }
}

}  // namespace

std::string FormattedText(Format format, const OutputWriters& writers, const OutputOptions& options) {
  switch (format) {
    case Format::kJson:
      return writers.json();
    case Format::kCsv:
      return CsvText(options, writers.csv());
    case Format::kHtml:
      return writers.page();
    case Format::kXlsx:
      return XlsxOf(writers);
    case Format::kTerminal:
      break;
  }
  return writers.text(StandardOutputTerminal());
}

void WriteOutputs(const OutputOptions& options, const std::vector<Format>& formats,
                  const OutputWriters& writers, const RunFiles& inputs) {
  const bool toFolder = !options.folder.empty();
  std::string standardOutput;
  std::optional<OutputFiles> files;
  if (toFolder || writers.addFiles) {
    files.emplace(PathOf(toFolder ? options.folder : "."));
  } else if (writers.addFilesElsewhere) {
    files.emplace();
  }
  for (const Format format : formats) {
    if (toFolder && format != Format::kTerminal) {
      AddFile(format, options, writers, *files);
    } else {
      standardOutput = FormattedText(format, writers, options);
    }
  }
  if (writers.addFiles) writers.addFiles(*files);
  if (writers.addFilesElsewhere) writers.addFilesElsewhere(*files);
  if (files) {
    const std::vector<WrittenFile> written = files->Commit(inputs);
    if (!options.quiet) ReportWritten(written);
  }
  WriteToStandardOutput(standardOutput);
}

void AddOutputs(const OutputOptions& options, const std::vector<Format>& formats, const std::string& stem,
                const std::vector<std::string>& csvNames, RunFiles& files) {
  if (options.folder.empty()) return;
  for (const Format format : formats) {
    if (format == Format::kTerminal) continue;
    const std::vector<std::string> names =
        format == Format::kCsv ? csvNames : std::vector<std::string>{stem + "." + FormatName(format)};
    for (const std::string& name : names)
      files.Writes("--out", (PathOf(options.folder) / PathOf(name)).string());
  }
}

const char* FormatName(Format format) {
  static constexpr const char* kNames[] = {"terminal", "json", "csv", "xlsx", "html"};
  return kNames[static_cast<int>(format)];
}

std::vector<std::string> ScriptedOutputs(const OutputOptions& options, const std::vector<Format>& formats) {
  std::vector<std::string> lines;
  std::string names;
  for (const Format format : formats) {
    if (!options.folder.empty() && format != Format::kTerminal) {
      names += (names.empty() ? "" : ", ") + std::string(FormatName(format));
    } else if (format == Format::kXlsx) {
      throw UsageError("--print-script: a script cannot print a workbook; use --out DIR.");
    } else {
      lines.push_back("print(analysis.Results(" + PythonString(FormatName(format)) + "), end=\"\")");
    }
  }
  if (!names.empty()) {
    lines.insert(lines.begin(),
                 "analysis.WriteResults(" + PythonString(options.folder) + ", " + PythonString(names) + ")");
  }
  return lines;
}

void SaveTableIn(OutputFiles& files, const Table& table, const std::string& path,
                 const OutputOptions& options) {
  SaveTable(table, files.StagedPath(PathOf(path)).string(),
            {.progress = [](double) { return !WasInterrupted(); },
             .shownPath = path,
             .forSpreadsheet = options.csvFor != 0});
}

bool IsFirstLook(const OutputOptions& options) {
  if (options.quiet || !options.folder.empty() || !StandardErrorTerminal().isTerminal) return false;
  const std::vector<std::string> formats = SplitList(options.formatNames);
  return formats.empty() || formats.front() == "terminal";
}

}  // namespace velmora
