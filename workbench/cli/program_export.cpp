#include "workbench/cli/program_export.h"

#include "workbench/cli/console.h"
#include "workbench/system/system.h"

namespace velmora {

void ProgramExport::AddTo(CommandParser& parser) {
  parser.Text("--sql", sql);
  parser.Choice("--sql-dialect", sqlDialect, SqlDialectNames());
  parser.Text("--python", python);
  parser.Text("--pmml", pmml);
}

void ProgramExport::AddFilesTo(RunFiles& files) const {
  const std::pair<const char*, const std::string*> names[] = {
      {"--sql", &sql}, {"--python", &python}, {"--pmml", &pmml}};
  for (const auto& [option, name] : names) {
    if (!name->empty()) files.Writes(option, *name);
  }
}

void ProgramExport::AddPrograms(const SavedBins& bins, OutputFiles& files) const {
  if (!sql.empty()) {
    std::vector<std::string> notices;
    files.AddAt(PathOf(sql), BinsSql(bins, notices, static_cast<SqlDialect>(sqlDialect)));
    for (const std::string& notice : notices) Warn(notice);
  }
  if (!python.empty()) files.AddAt(PathOf(python), BinsPython(bins));
  if (!pmml.empty()) files.AddAt(PathOf(pmml), ScorecardPmml(bins));
}

}  // namespace velmora
