// Option groups of the commands.
#include "workbench/cli/options.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "base/trim_blanks.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/names.h"
#include "workbench/data/readers.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr int kMostThreads = 1024;

}  // namespace

std::string JoinWords(const std::vector<std::string>& words, const char* last) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? last : ", ";
    text += words[i];
  }
  return text;
}

std::string NearestWord(const std::string& name, const std::vector<std::string>& words) {
  const std::vector<std::string_view> candidates(words.begin(), words.end());
  const int nearest = NearestText(name, candidates);
  return nearest < 0 ? std::string() : words[static_cast<std::size_t>(nearest)];
}

std::vector<std::string> SplitList(const std::vector<std::string>& values) {
  std::vector<std::string> parts;
  for (const std::string& value : values) {
    for (std::size_t begin = 0; begin <= value.size();) {
      const std::size_t end = std::min(value.find(',', begin), value.size());
      const std::string_view part = vlm::TrimBlanks(std::string_view(value).substr(begin, end - begin));
      if (!part.empty()) parts.emplace_back(part);
      begin = end + 1;
    }
  }
  return parts;
}

void DataOptions::AddTo(CommandParser& parser) {
  parser.Positional("DATA", path);
  AddReadingTo(parser);
  parser.List("--continuous", continuous);
  parser.List("--categorical", categorical);
}

void DataOptions::AddReadingTo(CommandParser& parser) {
  parser.Text("--delimiter", delimiter);
  parser.Choice("--encoding", encoding, {std::begin(kEncodingWords), std::end(kEncodingWords)});
  parser.Flag("--no-header", noHeader);
  parser.Choice("--ragged", ragged, {std::begin(kRaggedWords), std::end(kRaggedWords)});
  parser.Repeated("--date-parts", dateParts);
  parser.Pairs("--since", since);
  parser.Repeated("--missing-text", missingTexts);
  parser.Pairs("--missing", missingCodes);
  parser.WholeNumber("--threads", threads, 1, kMostThreads);
  parser.Text("--sheet", part.sheet);
  parser.Text("--range", part.range);
  parser.Text("--table", part.table);
  parser.Text("--sql-from", part.query);
}

void DataOptions::RequireScriptable() const {
  if (part.Any())
    throw UsageError(
        "--print-script cannot repeat --sheet, --range, --table and --sql-from: save the data as a file "
        "first.");
  if (path == kStandardInput || encoding != 0 || noHeader || ragged != 0 || !dateParts.empty() ||
      !since.empty())
    throw UsageError(
        "--print-script cannot repeat standard input, --encoding, --no-header, --ragged, --date-parts and "
        "--since: save the data as a file first.");
}

void DataOptions::RequireData(const std::string& example) const {
  if (path.empty() && part.query.empty())
    throw UsageError("DATA is missing: name the data file" + example + ".");
}

void CaseOptions::AddTo(CommandParser& parser) {
  parser.Text("--select", select);
  parser.Text("--exclude", exclude);
  parser.Text("--weight", weight);
}

void CaseOptions::AddWeightsTo(CommandParser& parser) {
  parser.Text("--count", count);
  parser.Flag("--raw-weights", rawWeights);
}

WeightMeaning CaseOptions::MeaningOfWeights() const {
  if (!count.empty() && !weight.empty())
    throw UsageError(
        "--count and --weight: give one of them; a row either represents equal cases or has a weight.");
  if (rawWeights && weight.empty()) throw UsageError("--raw-weights needs --weight NAME.");
  if (!count.empty()) return WeightMeaning::kCounts;
  return rawWeights ? WeightMeaning::kAsGiven : WeightMeaning::kSampling;
}

void AddCsvFor(CommandParser& parser, int& csvFor) {
  parser.Choice("--csv-for", csvFor, {"program", "spreadsheet"});
}

void OutputOptions::AddTo(CommandParser& parser) {
  parser.Text("--out", folder);
  parser.Repeated("--format", formatNames);
  AddCsvFor(parser, csvFor);
  parser.Flag("--quiet", quiet);
}

std::vector<Format> OutputOptions::Formats() const {
  static const std::vector<std::string> kWords = {"terminal", "json", "csv", "xlsx", "html"};
  std::vector<Format> formats;
  for (const std::string& name : SplitList(formatNames)) {
    const auto at = std::find(kWords.begin(), kWords.end(), name);
    if (at == kWords.end())
      throw UsageError("--format takes " + JoinWords(kWords, " or ") + ", not " + ShortenedText(name) + ".");
    const auto format = static_cast<Format>(at - kWords.begin());
    if (std::find(formats.begin(), formats.end(), format) == formats.end()) formats.push_back(format);
  }
  if (!folder.empty()) {
    if (formats.empty())
      formats = {Format::kTerminal, Format::kJson, Format::kCsv, Format::kHtml, Format::kXlsx};
    return formats;
  }
  if (formats.empty()) formats = {Format::kTerminal};
  if (formats.size() > 1) {
    throw UsageError("--format: several formats need --out DIR; standard output takes only one.");
  }
  if (formats.front() == Format::kXlsx && StandardOutputTerminal().isTerminal) {
    throw UsageError(
        "--format xlsx cannot be shown on a terminal: use --out DIR or redirect standard output to a file.");
  }
  return formats;
}

void ModuleOptions::AddTo(CommandParser& parser) {
  parser.Text("--module", path);
  parser.Text("--log", logFile);
  parser.Text("--decimal-separator", decimalSeparator);
}

}  // namespace velmora
