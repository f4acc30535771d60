#include "workbench/bins/edit_bins.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <set>
#include <string_view>
#include <utility>

#include "base/distinct_labels.h"
#include "base/number_text.h"
#include "workbench/bins/saved_condition.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

using Kind = BinEdit::Kind;

[[noreturn]] void Fail(const std::string& sentence) { throw DataError(sentence + "."); }

// "; did you mean age?", or nothing.
std::string Suggestion(const std::string& name, const std::vector<std::string>& names) {
  const std::vector<std::string_view> candidates(names.begin(), names.end());
  const int nearest = NearestText(name, candidates);
  return nearest < 0 ? "" : "; did you mean " + names[static_cast<std::size_t>(nearest)] + "?";
}

void AddTo(SavedCounts& sums, const SavedCounts& more) {
  if (sums.empty()) sums.resize(more.size());
  for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
}

SavedCounts Without(SavedCounts sums, const SavedCounts& part) {
  for (std::size_t i = 0; i < part.size(); ++i) sums[i] -= part[i];
  return sums;
}

// --- Figures
// A bin without cases, such as one of a special code or of other levels that the data lacked, has the
// figures of all cases together.
//
// 100 ln((good / all good) / (bad / all bad)), with half a case more of each where asked for.
double WeightOfEvidence(double bad, double good, const SavedCounts& total, bool corrects) {
  if (!(bad > 0 || good > 0)) return 0;
  if (!(bad > 0 && good > 0)) {
    if (!corrects) return kMissing;
    bad += 0.5;
    good += 0.5;
  }
  return 100 * std::log((good / total[1]) / (bad / total[0]));
}

std::vector<double> FiguresOf(const SavedResponse& response, const SavedCounts& counts,
                              const SavedCounts& total) {
  if (response.kind == "binary")
    return {WeightOfEvidence(counts[0], counts[1], total, response.correctsPureBins)};
  if (response.kind == "continuous") {
    const SavedCounts& source = counts[0] > 0 ? counts : total;
    return {source[0] > 0 ? source[1] / source[0] : kMissing};
  }
  const auto sum = [](const SavedCounts& one) { return std::accumulate(one.begin(), one.end(), 0.0); };
  const SavedCounts& source = sum(counts) > 0 ? counts : total;
  const double all = sum(source);
  std::vector<double> shares;
  for (const double count : source) shares.push_back(all > 0 ? count / all : kMissing);
  return shares;
}

// --- Texts
// Levels as lists show them: one that reads like a list is quoted.
std::string LevelText(const SavedLevel& level) {
  std::string text = level.text.empty() && level.number ? NumberText(*level.number) : level.text;
  if (text.find(", ") == std::string::npos && !text.starts_with('"')) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

class PredictorEditor {
 public:
  PredictorEditor(const SavedResponse& response, SavedPredictor& predictor)
      : response_(response), predictor_(predictor), name_("\"" + predictor.name + "\"") {}

  void Apply(const BinEdit& edit) {
    for (const int bin : edit.bins) {
      if (bin < 0 || bin >= BinCount())
        Fail("The bins of " + name_ + " are numbered from 1 to " + std::to_string(BinCount()) +
             ", and there is no bin " + std::to_string(bin + 1));
    }
    switch (edit.kind) {
      case Kind::kMerge:
        return Merge(edit.bins);
      case Kind::kSplit:
        return Split(edit.cutPoint);
      case Kind::kMove:
        return Move(edit.cutPoint, edit.to);
      case Kind::kGroup:
        return Group(edit);
      case Kind::kLabel:
        if (edit.bins.size() != 1) Fail("A label belongs to one bin of " + name_);
        return Label(edit.bins.front(), edit.label);
      case Kind::kReset:
        return;
    }
  }

 private:
  int BinCount() const { return static_cast<int>(predictor_.bins.size()); }
  int IntervalCount() const { return static_cast<int>(predictor_.IntervalCount()); }
  SavedBin& Bin(int bin) { return predictor_.bins[static_cast<std::size_t>(bin)]; }
  bool IsInterval(int bin) const { return bin < IntervalCount(); }

  void NeedCounts() const {
    const auto lacks = [](const SavedBin& bin) { return bin.counts.empty(); };
    if (std::any_of(predictor_.bins.begin(), predictor_.bins.end(), lacks))
      Fail("The file has no counts of the bins of " + name_ +
           ", so nothing can be said about other bins; save it again with velmora screen --bins");
  }

  // --- Merge
  void Merge(const std::vector<int>& bins) {
    const std::set<int> merged(bins.begin(), bins.end());
    if (merged.size() < 2) Fail("Merging takes two or more bins of " + name_);
    NeedCounts();
    const int target = *merged.begin();
    int lastInterval = -1;
    for (const int bin : merged) {
      if (!IsInterval(bin)) continue;
      if (lastInterval >= 0 && bin != lastInterval + 1)
        Fail("Bins " + std::to_string(lastInterval + 1) + " and " + std::to_string(bin + 1) + " of " + name_ +
             " are not neighbors, and only neighbors can be merged");
      lastInterval = bin;
    }
    SavedBin joined;
    joined.counts = Bin(target).counts;
    for (const int bin : merged) {
      if (bin != target) AddTo(joined.counts, Bin(bin).counts);
    }
    Refresh(joined);
    Bin(target) = std::move(joined);
    for (auto bin = merged.rbegin(); *bin != target; ++bin) Remove(*bin, target);
    Relabel();
  }

  // Takes a bin out; everything in it goes to another one with a lower number.
  void Remove(int bin, int heir) {
    const auto move = [&](int& place) { place = place == bin ? heir : place - (place > bin ? 1 : 0); };
    if (IsInterval(bin)) predictor_.cutPoints.erase(predictor_.cutPoints.begin() + bin - 1);
    predictor_.bins.erase(predictor_.bins.begin() + bin);
    for (SavedLevel& level : predictor_.levels) move(level.bin);
    if (predictor_.missingBin) move(*predictor_.missingBin);
    if (predictor_.otherBin) move(*predictor_.otherBin);
  }

  // --- Split and move
  int IntervalAt(double value) const {
    const auto& cuts = predictor_.cutPoints;
    return static_cast<int>(std::lower_bound(cuts.begin(), cuts.end(), value) - cuts.begin());
  }

  void NeedOrder() const {
    if (predictor_.categorical)
      Fail(name_ + " has levels, not cut points; group some of its levels in a bin instead");
    if (predictor_.preBins.empty())
      Fail("The file has no pre-bins of " + name_ + "; save it again with velmora screen --bins");
  }

  // The sums of the cases of the interval up to the cut point. Only cut points between two pre-bins
  // are known.
  SavedCounts SumsBelow(int interval, double cutPoint) const {
    const auto& cuts = predictor_.cutPoints;
    const double infinity = std::numeric_limits<double>::infinity();
    const double low =
        interval == 0 ? -infinity : MissingRange(cuts[static_cast<std::size_t>(interval) - 1]).high;
    const double high = interval + 1 == IntervalCount()
                            ? infinity
                            : MissingRange(cuts[static_cast<std::size_t>(interval)]).high;
    const double bound = MissingRange(cutPoint).high;
    SavedCounts below(CountsPerBin(response_));
    const SavedPreBin* cut = nullptr;
    bool anyBelow = false, anyAbove = false;
    for (const SavedPreBin& one : predictor_.preBins) {
      if (one.first <= low || one.last > high) continue;
      if (one.last <= bound) {
        AddTo(below, one.counts);
        anyBelow = true;
      } else {
        anyAbove = true;
        if (one.first <= bound) cut = &one;
      }
    }
    if (cut != nullptr)
      Fail("The saved counts do not say how many cases of " + name_ + " are up to " + NumberText(cutPoint) +
           "; cut at " + (anyBelow || interval > 0 ? NumberText(Below(*cut)) + " or " : "") +
           NumberText(cut->last) + ", or search again with velmora screen --cut-points");
    if (!anyBelow || !anyAbove)
      Fail("A cut of " + name_ + " at " + NumberText(cutPoint) + " would leave a bin without cases");
    return below;
  }

  // The end of the pre-bin before.
  double Below(const SavedPreBin& one) const {
    const auto place = &one - predictor_.preBins.data();
    return place == 0 ? one.first : predictor_.preBins[static_cast<std::size_t>(place) - 1].last;
  }

  void Split(double cutPoint) {
    NeedOrder();
    NeedCounts();
    if (!std::isfinite(cutPoint)) Fail("A cut point is a finite number");
    const int interval = IntervalAt(cutPoint);
    const SavedCounts below = SumsBelow(interval, cutPoint);
    SavedBin lower, upper;
    lower.counts = below;
    // Special codes and missing values of the bin stay with the lower values.
    for (const SavedLevel& code : predictor_.levels) {
      if (code.bin == interval) AddTo(lower.counts, code.counts);
    }
    if (predictor_.missingBin == interval) AddTo(lower.counts, predictor_.missingCounts);
    upper.counts = Without(Bin(interval).counts, lower.counts);
    Refresh(lower);
    Refresh(upper);
    const auto place = predictor_.bins.begin() + interval;
    *place = std::move(lower);
    predictor_.bins.insert(place + 1, std::move(upper));
    predictor_.cutPoints.insert(predictor_.cutPoints.begin() + interval, cutPoint);
    const auto move = [&](int& bin) { bin += bin > interval ? 1 : 0; };
    for (SavedLevel& level : predictor_.levels) move(level.bin);
    if (predictor_.missingBin) move(*predictor_.missingBin);
    Relabel();
  }

  void Move(double cutPoint, double to) {
    NeedOrder();
    const auto& cuts = predictor_.cutPoints;
    const auto at =
        std::find_if(cuts.begin(), cuts.end(), [&](double cut) { return vlm::NearlyEqual(cut, cutPoint); });
    if (at == cuts.end()) {
      std::string list;
      for (const double cut : cuts) list += (list.empty() ? "" : ", ") + NumberText(cut);
      Fail(name_ + " has no cut point " + NumberText(cutPoint) +
           (cuts.empty() ? std::string() : "; it has " + list));
    }
    const auto place = at - cuts.begin();
    const bool crosses = (place > 0 && to <= cuts[static_cast<std::size_t>(place) - 1]) ||
                         (at + 1 != cuts.end() && to >= *(at + 1));
    if (crosses)
      Fail("The cut point " + NumberText(cutPoint) + " of " + name_ + " can only move between its neighbors");
    const int lower = static_cast<int>(place);
    const SavedBin low = Bin(lower), high = Bin(lower + 1);
    Merge({lower, lower + 1});
    Split(to);
    // Both bins keep the labels that the user gave them.
    for (const auto& [bin, old] : {std::pair(lower, &low), std::pair(lower + 1, &high)}) {
      if (old->hasUserLabel) Label(bin, old->label);
    }
  }

  // --- Groups
  void Group(const BinEdit& edit) {
    NeedCounts();
    if (edit.bins.size() > 1) Fail("Levels of " + name_ + " go into one bin");
    if (edit.others && !predictor_.categorical)
      Fail(name_ + " is continuous, so all of its values have a bin");
    std::vector<std::size_t> levels;
    for (const BinEdit::Value& value : edit.values) levels.push_back(LevelPlace(value));
    if (levels.empty() && !edit.missing && !edit.others)
      Fail("Name the levels of " + name_ + " to group, the missing values or the other levels");
    if (edit.missing && predictor_.missingCounts.empty() && !predictor_.missingBin && edit.bins.empty())
      Fail("No case was without " + name_ +
           ", so missing values cannot have a bin of their own; name a bin for them");
    if (edit.others && !predictor_.otherBin && edit.bins.empty())
      Fail("No case has other levels of " + name_ +
           ", so they cannot have a bin of their own; name a bin for them");
    int target = edit.bins.empty() ? -1 : edit.bins.front();
    if (target < 0) {
      target = BinCount();
      SavedBin& added = predictor_.bins.emplace_back();
      added.counts.assign(CountsPerBin(response_), 0);
    }
    // If the missing values were in no bin before, the totals change.
    const bool allChange = edit.missing && !predictor_.missingBin;
    const auto touch = [&](SavedBin& bin) {
      if (!bin.hasUserLabel) bin.label.clear();
      bin.figures.clear();
    };
    const auto carry = [&](std::optional<int> from, const SavedCounts& counts) {
      if (from == target) return;
      touch(Bin(target));
      if (from) touch(Bin(*from));
      if (counts.empty()) return;
      if (from) Bin(*from).counts = Without(Bin(*from).counts, counts);
      AddTo(Bin(target).counts, counts);
    };
    for (const std::size_t place : levels) {
      SavedLevel& level = predictor_.levels[place];
      if (level.counts.empty())
        Fail("The file has no counts of the levels of " + name_ +
             "; save it again with velmora screen --bins");
      carry(level.bin, level.counts);
      level.bin = target;
    }
    if (edit.missing) {
      carry(predictor_.missingBin, predictor_.missingCounts);
      predictor_.missingBin = target;
    }
    if (edit.others) {
      carry(predictor_.otherBin, {});
      predictor_.otherBin = target;
    }
    RemoveUnused();
    for (SavedBin& bin : predictor_.bins) {
      if (allChange || bin.figures.empty()) Refresh(bin);
    }
    Relabel();
  }

  std::size_t LevelPlace(const BinEdit::Value& value) const {
    const std::string wanted = value.number ? NumberText(*value.number) : value.text;
    const std::optional<double> number = value.number ? value.number : NumberIn(value.text);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < predictor_.levels.size(); ++i) {
      const SavedLevel& level = predictor_.levels[i];
      const bool isNumber = number && level.number && vlm::NearlyEqual(*number, *level.number);
      if (isNumber || wanted == level.text) return i;
      texts.push_back(LevelText(level));
    }
    const std::string suggestion = Suggestion(wanted, texts);
    throw DataError((predictor_.categorical ? "There is no level " : "There is no special code ") + wanted +
                    " of " + name_ + (suggestion.empty() ? "." : suggestion));
  }

  void RemoveUnused() {
    for (int bin = BinCount() - 1; bin >= IntervalCount(); --bin) {
      const bool used = predictor_.missingBin == bin || predictor_.otherBin == bin ||
                        std::any_of(predictor_.levels.begin(), predictor_.levels.end(),
                                    [&](const SavedLevel& level) { return level.bin == bin; });
      if (!used) Remove(bin, 0);
    }
  }

  // --- Labels
  void Label(int bin, const std::string& text) {
    SavedBin& labelled = Bin(bin);
    labelled.hasUserLabel = !text.empty();
    labelled.label.clear();
    if (text.empty()) return Relabel();
    for (int other = 0; other < BinCount(); ++other) {
      if (other != bin && Bin(other).label == text)
        Fail("Bin " + std::to_string(other + 1) + " of " + name_ + " has the label " + text + " already");
    }
    labelled.label = text;
  }

  // Gives the bins without a label the one that follows from what is in them.
  void Relabel() {
    std::vector<std::string> labels = IntervalLabels();
    labels.resize(predictor_.bins.size());
    const auto add = [&](int bin, const std::string& text) {
      std::string& label = labels[static_cast<std::size_t>(bin)];
      label += (label.empty() ? "" : ", ") + text;
    };
    for (const SavedLevel& level : predictor_.levels) add(level.bin, LevelText(level));
    if (predictor_.otherBin) add(*predictor_.otherBin, "other levels");
    if (predictor_.missingBin) add(*predictor_.missingBin, "Missing");
    for (std::size_t bin = 0; bin < labels.size(); ++bin) {
      if (!predictor_.bins[bin].label.empty()) labels[bin] = predictor_.bins[bin].label;
    }
    labels = vlm::DistinctLabels(std::move(labels));
    for (std::size_t bin = 0; bin < labels.size(); ++bin) predictor_.bins[bin].label = labels[bin];
  }

  std::vector<std::string> IntervalLabels() const {
    std::vector<std::string> labels;
    if (predictor_.categorical) return labels;
    const std::vector<std::string> bounds = vlm::FormatDistinct(predictor_.cutPoints);
    for (std::size_t bin = 0; bin <= bounds.size(); ++bin) {
      const bool last = bin == bounds.size();
      labels.push_back("(" + (bin == 0 ? "-Inf" : bounds[bin - 1]) + ", " +
                       (last ? "Inf)" : bounds[bin] + "]"));
    }
    return labels;
  }

  // The figures that follow from the counts.
  void Refresh(SavedBin& bin) {
    const SavedCounts total = TotalCounts(predictor_);
    bin.figures = FiguresOf(response_, bin.counts, total);
  }

  const SavedResponse& response_;
  SavedPredictor& predictor_;
  const std::string name_;
};

SavedPredictor& FindEditable(SavedBins& bins, const BinEdit& edit, const SavedResponse*& response) {
  const SavedPredictor* const found = &FindPredictor(bins, edit.response, edit.predictor);
  for (SavedResponse& one : bins.responses) {
    for (SavedPredictor& predictor : one.predictors) {
      if (&predictor != found) continue;
      response = &one;
      return predictor;
    }
  }
  throw DataError("There is no predictor.");  // FindPredictor has found it
}

void ResetAll(SavedBins& bins) {
  for (SavedResponse& response : bins.responses) {
    for (SavedPredictor& predictor : response.predictors) {
      if (predictor.original) predictor = SavedPredictor(*predictor.original);
    }
  }
}

// Points belong to the bins that they were found for.
void RefuseScorecard(const SavedBins& bins) {
  for (const SavedResponse& response : bins.responses) {
    if (response.scorecard)
      Fail("The bins have a scorecard for " + response.name +
           ", whose points would no longer fit; edit the bins that it was made from and make it anew");
  }
}

// Applies an edit without recording it.
void Perform(const BinEdit& edit, SavedBins& bins) {
  if (edit.kind == Kind::kReset && edit.predictor.empty()) return ResetAll(bins);
  const SavedResponse* response = nullptr;
  SavedPredictor& predictor = FindEditable(bins, edit, response);
  if (edit.kind == Kind::kReset) {
    if (predictor.original) predictor = SavedPredictor(*predictor.original);
    return;
  }
  SavedPredictor edited = predictor;
  if (!edited.original) edited.original = std::make_shared<const SavedPredictor>(predictor);
  PredictorEditor(*response, edited).Apply(edit);
  predictor = std::move(edited);
}

}  // namespace

void ApplyEdit(const BinEdit& edit, SavedBins& bins) {
  if (edit.kind != Kind::kLabel) RefuseScorecard(bins);
  Perform(edit, bins);
  bins.edits.push_back(edit);
}

bool UndoEdit(SavedBins& bins) {
  if (bins.edits.empty()) return false;
  RefuseScorecard(bins);
  SavedBins undone = bins;
  undone.edits.pop_back();
  ResetAll(undone);
  for (const BinEdit& edit : undone.edits) Perform(edit, undone);
  bins = std::move(undone);
  return true;
}

const SavedPredictor& FindPredictor(const SavedBins& bins, const std::string& response,
                                    const std::string& predictor) {
  const SavedPredictor* found = nullptr;
  std::vector<std::string> names, responses;
  for (const SavedResponse& one : bins.responses) {
    if (!response.empty() && one.name != response) continue;
    for (const SavedPredictor& candidate : one.predictors) {
      names.push_back(candidate.name);
      if (candidate.name != predictor) continue;
      found = &candidate;
      responses.push_back(one.name);
    }
  }
  if (responses.size() > 1)
    Fail("The responses " + responses[0] + " and " + responses[1] + " both have the predictor " + predictor +
         "; name one of them with --response");
  if (found == nullptr) {
    const std::string suggestion = Suggestion(predictor, names);
    throw DataError("There is no predictor " + predictor + " in the file" +
                    (suggestion.empty() ? "." : suggestion));
  }
  return *found;
}

SavedCounts TotalCounts(const SavedPredictor& predictor) {
  SavedCounts total;
  for (const SavedBin& bin : predictor.bins) {
    if (bin.counts.empty()) return {};
    AddTo(total, bin.counts);
  }
  return total;
}

double InformationValue(const SavedBin& bin, const SavedCounts& total) {
  const double woe = bin.figures.front();
  if (bin.counts.size() != 2 || total.size() != 2 || woe == kMissing) return kMissing;
  return (bin.counts[1] / total[1] - bin.counts[0] / total[0]) * woe / 100;
}

}  // namespace velmora
