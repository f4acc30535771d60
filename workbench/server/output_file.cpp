#include "workbench/server/output_file.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/data/spreadsheet_csv.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/zip_archive.h"
#include "workbench/system/file_content.h"
#include "workbench/system/scratch.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr int kTextWidth = 100;  // of the command's text in a file

// Nothing for a format that other functions make.
std::optional<std::string> WrittenFormat(const OutputWriters& writers, const std::string& format,
                                         const OutputOptions& output = {}) {
  static const std::map<std::string, Format> kFormats = {
      {"html", Format::kHtml}, {"json", Format::kJson}, {"csv", Format::kCsv}, {"xlsx", Format::kXlsx}};
  if (const auto at = kFormats.find(format); at != kFormats.end())
    return FormattedText(at->second, writers, output);
  if (format == "text") return writers.text({.isTerminal = false, .width = kTextWidth});
  if (format != "tables") return std::nullopt;
  auto files = writers.csvFiles();
  if (output.csvFor != 0) {
    for (auto& [name, text] : files) text = SpreadsheetCsv(text);
  }
  return ZipArchive(files);
}

[[noreturn]] void RefuseFormat(const std::string& format) {
  throw UsageError("There is no format " + ShortenedText(format) + ".");
}

// Rules and recode files come from the module, which writes files.
std::string SavedFile(FinishedRun& run, SaveOptions save, const std::string& format) {
  std::error_code error;
  const Scratch scratch(fs::temp_directory_path(), error);
  if (error) throw RunError("The files cannot be written: " + error.message() + ".");
  // A scratch folder is removed with its files, not with folders in it.
  const fs::path folder = scratch.Path(), rules = scratch.Path() / "rules.txt";
  (format == "rules" ? save.rules : save.recodeFolder) = (format == "rules" ? rules : folder).string();
  {
    OutputFiles files;
    SaveScreening(save, {}, *run.screening, run.session, run.frontend, files);
    files.Commit();
  }  // by now its own scratch has been removed from the folders
  if (format == "rules") return FileContent(rules);
  std::vector<fs::path> names = NamesIn(folder, error);
  if (error) throw RunError("The files cannot be read: " + error.message() + ".");
  std::sort(names.begin(), names.end());
  std::vector<std::pair<std::string, std::string>> contents;
  for (const fs::path& name : names)
    contents.emplace_back(name.filename().string(), FileContent(folder / name.filename()));
  return ZipArchive(contents);
}

}  // namespace

std::string AnalysisFile(FinishedRun& run, const std::string& format, const SaveOptions& save,
                         const OutputOptions& output) {
  if (std::optional<std::string> written = WrittenFormat(run.Writers(), format, output))
    return *std::move(written);
  if (!run.screening || (format != "rules" && format != "recode")) RefuseFormat(format);
  return SavedFile(run, save, format);
}

void WriteTableFile(FinishedRun& run, const SaveOptions& save, const OutputOptions& output,
                    const std::string& file) {
  OutputFiles files;
  if (run.screening) {
    SaveOptions coded = save;
    coded.coded = file;
    SaveScreening(coded, output, *run.screening, run.session, run.frontend, files);
  } else {
    AddBundles(*run.featureSelection, run.session);
    SaveTableIn(files, run.session.Data(), file, output);
  }
  files.Commit();
}

std::string ScorecardFile(const ScorecardReport& report, const std::string& format,
                          const std::string& dialect) {
  if (std::optional<std::string> written = WrittenFormat(WritersOf(report), format))
    return *std::move(written);
  if (format == "card") return BinsJson(report.saved);
  if (format == "python") return BinsPython(report.saved);
  if (format == "pmml") return ScorecardPmml(report.saved);
  if (format != "sql") RefuseFormat(format);
  std::vector<std::string> notices;
  std::string sql = BinsSql(report.saved, notices, SqlDialectNamed(dialect));
  for (const std::string& notice : notices) Warn(notice);
  return sql;
}

SqlDialect SqlDialectNamed(const std::string& name) {
  const std::vector<std::string>& names = SqlDialectNames();
  const auto at = std::find(names.begin(), names.end(), name.empty() ? names.front() : name);
  if (at == names.end()) throw UsageError("There is no SQL dialect " + ShortenedText(name) + ".");
  return static_cast<SqlDialect>(at - names.begin());
}

}  // namespace velmora
