// The run that a state belongs to; shared by both passes over data in parts.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/states/part_run.h"

namespace velmora {

// The names of the states as bytes.
inline constexpr char kSurveyKind[] = "survey";
inline constexpr char kSumsKind[] = "sums";

// Identifies a run: states of different runs do not merge.
struct PartRunKey {
  std::string analysis;
  std::vector<std::string> words;
  PartSettings settings;

  states::Packed Pack() const;
  static PartRunKey Unpack(const states::Packed& packed);
};

// Applies the codes for missing values to a part.
void PreparePart(Table& part, const std::vector<std::string>& missingCodes);

std::unique_ptr<PartRun> StartRankingSurvey(const PartRunKey& key);
std::unique_ptr<PartRun> StartScreeningSurvey(const PartRunKey& key);

}  // namespace velmora
