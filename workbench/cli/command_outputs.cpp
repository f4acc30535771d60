#include "workbench/cli/command_outputs.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "workbench/cli/exit_codes.h"
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

void AddFile(Format format, const OutputWriters& writers, OutputFiles& files) {
  switch (format) {
    case Format::kJson:
      return files.Add(writers.stem + ".json", writers.json());
    case Format::kCsv:
      return writers.addCsv(files);
    case Format::kHtml:
      return files.Add(writers.stem + ".html", writers.page());
    case Format::kXlsx:
      return files.Add(writers.stem + ".xlsx", XlsxOf(writers));
    case Format::kTerminal:
      return;
  }
}

std::string Bytes(Format format, const OutputWriters& writers) {
  switch (format) {
    case Format::kJson:
      return writers.json();
    case Format::kCsv:
      return writers.csv();
    case Format::kHtml:
      return writers.page();
    case Format::kXlsx:
      return XlsxOf(writers);
    case Format::kTerminal:
      break;
  }
  return writers.text(StandardOutputTerminal());
}

// A folder that got many files is told once.
void TellWritten(const std::vector<std::filesystem::path>& paths) {
  constexpr std::size_t kMany = 12;
  std::map<std::filesystem::path, std::size_t> counts;
  for (const std::filesystem::path& path : paths) ++counts[path.parent_path()];
  for (const std::filesystem::path& path : paths) {
    std::size_t& count = counts[path.parent_path()];
    if (count > kMany) Tell("Written: " + std::to_string(count) + " files in " + path.parent_path().string());
    if (count > kMany) count = 0;
    if (count > 0) Tell("Written: " + path.string());
  }
}

}  // namespace

void WriteOutputs(const OutputOptions& options, const std::vector<Format>& formats,
                  const OutputWriters& writers) {
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
      AddFile(format, writers, *files);
    } else {
      standardOutput = Bytes(format, writers);
    }
  }
  if (writers.addFiles) writers.addFiles(*files);
  if (writers.addFilesElsewhere) writers.addFilesElsewhere(*files);
  if (files) {
    const std::vector<std::filesystem::path> written = files->Commit();
    if (!options.quiet) TellWritten(written);
  }
  WriteToStandardOutput(standardOutput);
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
      throw UsageError("--print-script: a script prints no workbook; give --out DIR.");
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

bool IsFirstLook(const OutputOptions& options) {
  if (options.quiet || !options.folder.empty()) return false;
  const std::vector<std::string> formats = SplitList(options.formatNames);
  return formats.empty() || formats.front() == "terminal";
}

}  // namespace velmora
