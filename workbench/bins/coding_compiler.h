// What both compilers of coding programs share: the targets, and the levels that a file names.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "workbench/bins/coding_statements.h"
#include "workbench/bins/saved_condition.h"

namespace velmora::coding {

class CodingCompiler {
 public:
  CodingCompiler(const std::string& file, const Table& table, std::vector<std::string>& notices)
      : file_(file), names_(table), notices_(notices) {}

  std::vector<Target> TakeTargets() { return std::move(targets_); }

 protected:
  Target& TargetFor(const std::string& name) {
    const auto [place, isNew] = numberOf_.try_emplace(name, targets_.size());
    if (isNew) targets_.emplace_back().name = name;
    return targets_[place->second];
  }

  void SortTexts() {
    for (Target& target : targets_) {
      std::sort(target.texts.begin(), target.texts.end());
      target.texts.erase(std::unique(target.texts.begin(), target.texts.end()), target.texts.end());
    }
  }

  Assignment TextFor(const std::string& target, const std::string& text) const {
    return {numberOf_.at(target), CodeOf(targets_[numberOf_.at(target)], text), nullptr};
  }

  static double CodeOf(const Target& target, const std::string& text) {
    if (text.empty()) return kMissing;
    const auto place = std::lower_bound(target.texts.begin(), target.texts.end(), text);
    return static_cast<double>(place - target.texts.begin()) + 1;
  }

  // --- Levels of a variable, to warn when the data have none of them
  struct Reference {
    int line = 0;       // of the first
    std::string level;  // the first
    bool any = false;   // one of them is in the data
    bool more = false;  // there are others
  };

  void Count(const ReferencedLevel& level, int line) {
    const auto [place, isFirst] = references_.try_emplace(level.variable);
    Reference& reference = place->second;
    if (isFirst) reference = {line, level.level};
    reference.any = reference.any || level.inData;
    reference.more = reference.more || level.level != reference.level;
  }

  void WarnOfLevels() {
    for (const auto& [variable, reference] : references_) {
      if (reference.any) continue;
      notices_.push_back(ScriptPlace(file_, reference.line) + ": " + names_.FileName() + " has " +
                         (reference.more ? "none of the levels of " + variable + " that are named, such as " +
                                               reference.level
                                         : "no " + variable + " = " + reference.level) +
                         ".");
    }
  }

  const std::string& file_;
  const SavedNames names_;
  std::vector<std::string>& notices_;
  std::vector<Target> targets_;
  std::map<std::string, std::size_t> numberOf_;
  std::map<std::string, Reference> references_;  // by variable
};

}  // namespace velmora::coding
