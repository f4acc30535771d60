#include "module/screening_outputs/bin_conditions.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "base/number_text.h"
#include "base/parse_number.h"
#include "module/resources/text_ids.h"
#include "module/screening_outputs/output_texts.h"
#include "module/screening_outputs/text_file.h"

namespace vlmfsl {
namespace {

// Bytes: 255 on common file systems, less a number and the ending of the temporary file.
constexpr std::size_t kLongestFileName = 240;
// Every value that is not missing is below it: the condition when there is only one bin.
constexpr double kAnyValue = 1.6e308;

// Whether a label reads as a number other than the code: a host that does not know the labels would
// take it for that number.
bool ReadsAsAnother(const std::string& label, double code) {
  const auto number = vlm::ParseNumber<double>(label);
  return number && *number != code;
}

// The label of a level in quotation marks, empty where a condition names the level's code instead.
std::string QuotedLevelLabel(const CFeatureSelectionTemplate& analysis, int variableNumber, double code) {
  vlm::IInputSpreadsheet* const input = analysis.Host().GetInputSpreadsheet();
  vlm::StringSink sink;
  if (input == nullptr || input->GetValueLabel(variableNumber, code, &sink) != 0) return "";
  const std::string label = sink.TakeWhole();
  if (input->HoldsTexts(variableNumber) != 0) return Quoted(analysis, label);
  double found = 0;
  const bool leadsBack =
      input->FindValue(variableNumber, label.data(), vlm::LengthOf(label), &found) == 0 && found == code;
  return leadsBack && !ReadsAsAnother(label, code) ? Quoted(analysis, label) : "";
}

enum class NumberForm { kMachine, kLocale };

std::string LevelCondition(const CFeatureSelectionTemplate& analysis, const PredSummary& record, double code,
                           NumberForm form) {
  std::string operand = QuotedLevelLabel(analysis, record.predictorVariable, code);
  if (operand.empty())
    operand = form == NumberForm::kLocale ? Localized(analysis, CodeText(code)) : CodeText(code);
  return Quoted(analysis, record.predictorName) + "=" + operand;
}

// The condition of cases without the predictor, in a bin of their own or together with other
// values.
std::string MissingCondition(const CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  return "IsMD(" + Quoted(analysis, record.predictorName) + ")";
}

// The condition of a bin in a recode file, which is tested where those before it have failed.
std::string OrderedCondition(const CFeatureSelectionTemplate& analysis, const PredSummary& record,
                             std::size_t bin) {
  if (record.bins.cutPoints.empty())
    return Quoted(analysis, record.predictorName) + "<=" + vlm::FormatMachine(kAnyValue);
  const bool last = bin == record.bins.cutPoints.size();
  const double bound = last ? record.bins.cutPoints.back() : record.bins.cutPoints[bin];
  return Quoted(analysis, record.predictorName) + (last ? ">" : "<=") + vlm::FormatMachine(bound);
}

// The condition of a bin in a rules script.
std::string IntervalCondition(const CFeatureSelectionTemplate& analysis, const PredSummary& record,
                              std::size_t bin) {
  if (record.bins.cutPoints.empty()) {
    return Quoted(analysis, record.predictorName) + "<=" + Localized(analysis, vlm::FormatMachine(kAnyValue));
  }
  const std::string name = Quoted(analysis, record.predictorName);
  const auto bound = [&](std::size_t cut) {
    return Localized(analysis, vlm::FormatMachine(record.bins.cutPoints[cut]));
  };
  std::string condition = bin > 0 ? name + " > " + bound(bin - 1) : "";
  if (bin > 0 && bin < record.bins.cutPoints.size()) condition += " And ";
  if (bin < record.bins.cutPoints.size()) condition += name + "<=" + bound(bin);
  return condition;
}

std::string FileNameOf(const std::string& stem, const std::string& predictor, const std::string& response,
                       const std::string& suffix) {
  return stem + " - " + FileNamePart(predictor) + "_" + FileNamePart(response) + "_" + suffix;
}

std::string WithoutCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

}  // namespace

std::string RecodeConditions(CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  std::string sections;
  int sectionCount = 0;
  const auto add = [&](const std::string& condition, std::size_t bin) {
    sections += "[SelectionConditions\\Cond" + std::to_string(sectionCount++) +
                "]\nIgnore=0\nCondition=" + Quoted(analysis, condition) +
                "\nValue=" + BinLabel(analysis, record, bin) + "\n";
  };
  for (const auto& [code, bin] : record.bins.levelOf)
    add(LevelCondition(analysis, record, code, NumberForm::kMachine), static_cast<std::size_t>(bin));
  if (record.predictorKind == kContinuousPredictor) {
    for (std::size_t bin = 0; bin < record.bins.ValueCount(); ++bin)
      add(OrderedCondition(analysis, record, bin), bin);
  }
  if (record.bins.fit.missingBin >= 0)
    add(MissingCondition(analysis, record), static_cast<std::size_t>(record.bins.fit.missingBin));
  return "[SelectionConditions]\nConditionSize=" + std::to_string(sectionCount) + "\n" + sections + "\n";
}

std::string RulesScript(CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  const std::string target = Quoted(analysis, CodedVariableName(analysis, record));
  std::string script;
  const auto add = [&](const std::string& condition, std::size_t bin) {
    script += "If( EvalExpr(" + Quoted(analysis, condition) + ") )\n" + target + "=" +
              Quoted(analysis, BinLabel(analysis, record, bin)) + "\nEndIf\n";
  };
  const bool continuous = record.predictorKind == kContinuousPredictor;
  const auto addMissing = [&](std::size_t bin) {
    if (static_cast<int>(bin) == record.bins.fit.missingBin) add(MissingCondition(analysis, record), bin);
  };
  // The last assignment counts, so special codes of any bin come after the intervals.
  for (std::size_t bin = 0; continuous && bin < record.bins.ValueCount(); ++bin) {
    addMissing(bin);
    add(IntervalCondition(analysis, record, bin), bin);
  }
  for (std::size_t bin = 0; bin < record.bins.Count(); ++bin) {
    if (!continuous) addMissing(bin);
    for (const auto& [code, binOfCode] : record.bins.levelOf) {
      if (static_cast<std::size_t>(binOfCode) == bin)
        add(LevelCondition(analysis, record, code, NumberForm::kLocale), bin);
    }
  }
  // The codes stay together.
  for (std::size_t bin = record.bins.ValueCount(); continuous && bin < record.bins.Count(); ++bin)
    addMissing(bin);
  return script;
}

std::string RecodeFilePath(CFeatureSelectionTemplate& analysis, const PredSummary& record,
                           const std::string& basePath) {
  const std::string suffix = RequiredText(analysis, kTextCodedSuffix) + ".ini";
  const std::size_t slash = basePath.find_last_of("/\\");
  const std::size_t stemAt = slash == std::string::npos ? 0 : slash + 1;
  const std::string stem = basePath.substr(stemAt);
  std::string name = FileNameOf(stem, record.predictorName, record.responseName, suffix);
  if (name.size() > kLongestFileName) {
    // The conditions name the predictor too, and nothing else names the response.
    const std::string predictor = analysis.Get8CharHash(record.predictorName);
    name = FileNameOf(stem, predictor, record.responseName, suffix);
    if (name.size() > kLongestFileName)
      name = FileNameOf(stem, predictor, analysis.Get8CharHash(record.responseName), suffix);
  }
  return basePath.substr(0, stemAt) + name;
}

std::vector<RecodeFile> MakeRecodeFiles(CFeatureSelectionTemplate& analysis, const std::string& basePath,
                                        int count) {
  std::vector<RecodeFile> files;
  std::set<std::string> names;  // names that differ by case alone are one file on some systems
  for (const int kind : kKindsInOutputOrder) {
    for (PredSummary* record : BestPredictors(analysis, kind, count)) {
      const std::string path = WithoutExtension(RecodeFilePath(analysis, *record, basePath), ".ini");
      std::string free = path;
      for (int number = 2; !names.insert(WithoutCase(free)).second; ++number) {
        free = path + " (" + std::to_string(number) + ")";
      }
      record->conditionText = RecodeConditions(analysis, *record);
      files.push_back({free + ".ini", record->conditionText});
      const std::u8string fileName =
          std::filesystem::path(std::u8string(free.begin(), free.end()) + u8".ini").filename().u8string();
      record->recodeFileName.assign(fileName.begin(), fileName.end());
    }
  }
  return files;
}

int SaveRecodeFiles(const std::vector<RecodeFile>& files, std::string& firstRefused) {
  TextFiles written;
  for (const RecodeFile& file : files) {
    if (!written.Add(file.path, file.text) && firstRefused.empty()) firstRefused = file.path;
  }
  return written.Commit();
}

std::string RulesOfBestPredictors(CFeatureSelectionTemplate& analysis, int count) {
  std::string script;
  for (const int kind : kKindsInOutputOrder) {
    for (const PredSummary* record : BestPredictors(analysis, kind, count))
      script += RulesScript(analysis, *record);
  }
  return script;
}

}  // namespace vlmfsl
