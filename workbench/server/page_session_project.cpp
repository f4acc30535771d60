// The project file of a session: everything that the user has decided, beside the data.
#include <algorithm>

#include "workbench/cli/run_files.h"
#include "workbench/data/atomic_file.h"
#include "workbench/data/json_input.h"
#include "workbench/server/page_options.h"
#include "workbench/server/page_session.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr char kFormat[] = "velmora project";
constexpr int kVersion = 1;

// Options that say how a file is read. A query could read other files, so
// none comes from a project.
bool IsHarmless(const std::string& word) {
  static constexpr std::string_view kOptions[] = {
      "--delimiter=", "--missing-text=", "--missing=", "--sheet=", "--range=",     "--table=",
      "--encoding=",  "--no-header",     "--ragged=",  "--since=", "--date-parts="};
  return std::any_of(std::begin(kOptions), std::end(kOptions),
                     [&](std::string_view option) { return word.starts_with(option); });
}

}  // namespace

Json PageSession::ProjectJson() const {
  Json runs = Json::array();
  for (const auto& run : runs_) {
    runs.push_back({{"run", run->id},
                    {"analysis", run->analysis},
                    {"name", run->name},
                    {"note", run->note},
                    {"created", run->created},
                    {"kept", run->kept},
                    {"options", run->options},
                    {"cutPointsFile", run->cutPointsFile},
                    {"commands", Commands(*run)},
                    {"decisions", run->decisions},
                    {"edits", run->edits}});
  }
  return {{"format", kFormat},
          {"version", kVersion},
          {"data", {{"file", data_.filename().string()}, {"sha256", hash_}, {"reading", readingWords_}}},
          {"choices", choices_},
          {"runs", runs}};
}

void PageSession::LoadProject(const fs::path& project) {
  const std::string name = project.string();
  const Json json = ParseJson(ReadWholeFile(name), name);
  try {
    if (json.at("format") != kFormat) throw DataError(name + " is not a project of this program.");
    if (json.at("version").get<int>() > kVersion)
      throw DataError(name + " comes from a newer version of this program.");
    project_ = project;
    const fs::path data =
        project.parent_path() / PathOf(json.at("data").at("file").get<std::string>()).filename();
    if (data_ == project) data_ = data;
    if (!fs::exists(data_))
      throw DataError("The data file " + data_.string() + " of the project " + name + " is missing.");
    hash_ = json.at("data").value("sha256", "");
    if (readingWords_.empty()) {
      for (const Json& word : json.at("data").value("reading", Json::array())) {
        if (IsHarmless(word.get<std::string>())) readingWords_.push_back(word.get<std::string>());
      }
    }
    choices_ = json.at("choices");
    for (const Json& one : json.at("runs")) {
      auto run = std::make_unique<Run>();
      run->id = one.at("run").get<int>();
      lastRun_ = std::max(lastRun_, run->id);
      run->analysis = one.at("analysis").get<std::string>();
      run->name = one.value("name", "");
      run->note = one.value("note", "");
      run->created = one.value("created", "");
      run->kept = one.value("kept", false);
      run->options = one.at("options");
      run->words = run->shownWords = WordsOfPage(JsonText(run->options));
      run->cutPointsFile = PathOf(one.value("cutPointsFile", "")).filename().string();
      AddCutPoints(*run);
      run->decisions = one.value("decisions", Json::object());
      run->edits = one.value("edits", Json::object());
      run->status = "stale";
      runs_.push_back(std::move(run));
    }
  } catch (const Json::exception&) {
    throw DataError(name + " is damaged: a member is missing or has another type.");
  }
}

void PageSession::Save() {
  try {
    WriteFileAtomically(project_.string(), JsonText(ProjectJson(), 1) + "\n");
    unsaved_ = false;
  } catch (const DataError& error) {
    if (!unsaved_) Publish("unsaved", {{"error", error.what()}});
    unsaved_ = true;
  }
}

Download PageSession::Project() {
  const std::lock_guard lock(mutex_);
  return {JsonText(ProjectJson(), 1) + "\n", project_.filename().string(), "application/json", false, {}};
}

}  // namespace velmora
