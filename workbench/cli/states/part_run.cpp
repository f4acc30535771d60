#include "workbench/cli/states/part_run.h"

#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/states/sums_run.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {

using states::Get;
using states::Member;
using states::Packed;

void PartRun::Merge(std::string_view bytes) { MergePacked(states::Unsealed(bytes)); }
std::string PartRun::Bytes() const { return states::Sealed(Pack()); }

Packed PartRunKey::Pack() const {
  return {{"analysis", analysis},           {"words", words},
          {"cells", settings.limits.cells}, {"levels", settings.limits.levels},
          {"cases", settings.cases},        {"squares", settings.squares}};
}

PartRunKey PartRunKey::Unpack(const Packed& packed) {
  return {Get<std::string>(packed, "analysis"),
          Get<std::vector<std::string>>(packed, "words"),
          {{Get<std::size_t>(packed, "cells"), Get<std::size_t>(packed, "levels")},
           Get<std::string>(packed, "cases"),
           Get<std::string>(packed, "squares")}};
}

std::unique_ptr<PartRun> StartPartRun(const std::string& analysis, const std::vector<std::string>& words,
                                      const PartSettings& settings) {
  if (analysis == "feature-selection") return StartRankingSurvey({analysis, words, settings});
  if (analysis == "screen") return StartScreeningSurvey({analysis, words, settings});
  throw UsageError("There is no analysis " + ShortenedText(analysis) +
                   "; the analyses are feature-selection and screen.");
}

std::unique_ptr<PartRun> ReadPartRun(std::string_view bytes) {
  const Packed packed = states::Unsealed(bytes);
  if (Get<std::string>(packed, "state") == kSumsKind) return SumsRun::Unpack(packed);
  const PartRunKey key = PartRunKey::Unpack(Member(packed, "key"));
  std::unique_ptr<PartRun> run = StartPartRun(key.analysis, key.words, key.settings);
  run->Merge(bytes);
  return run;
}

void PreparePart(Table& part, const std::vector<std::string>& missingCodes) {
  for (const std::string& option : missingCodes) ApplyMissingOption(part, option);
}

}  // namespace velmora
