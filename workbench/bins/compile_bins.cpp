// Saved bins as lookups: one per predictor, with the points of a scorecard where there is one.
#include <limits>
#include <map>

#include "workbench/bins/coding_compiler.h"

namespace velmora::coding {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

class BinsCompiler : public CodingCompiler {
 public:
  BinsCompiler(const std::string& file, const Table& table, const UnseenLevels& unseen,
               std::vector<std::string>& notices)
      : CodingCompiler(file, table, notices), unseen_(unseen) {}

  std::vector<Statement> Compile(const SavedBins& bins) {
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) Collect(predictor);
      if (response.scorecard) Collect(*response.scorecard);
    }
    if (targets_.empty()) throw DataError(file_ + " has no bins.");
    SortTexts();
    std::vector<Statement> statements;
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) {
        Lookup lookup = LookupFor(predictor);
        if (response.scorecard) AddPoints(*response.scorecard, predictor, lookup);
        statements.push_back({std::move(lookup)});
      }
    }
    WarnOfLevels();
    return statements;
  }

 private:
  void Collect(const SavedPredictor& predictor) {
    Target& coded = TargetFor(predictor.codedVariable);
    coded.isText = true;
    for (const SavedBin& bin : predictor.bins) {
      if (!bin.label.empty()) coded.texts.push_back(bin.label);
    }
    if (predictor.categorical && unseen_.rule == UnseenLevels::Rule::kLabel)
      coded.texts.push_back(unseen_.label);
    for (const std::string& name : predictor.figureVariables) TargetFor(name);
  }

  void Collect(const SavedScorecard& scorecard) {
    TargetFor(scorecard.scoreVariable).start = 0;
    Target& probability = TargetFor(scorecard.probabilityVariable);
    probability.scoreTarget = static_cast<int>(numberOf_.at(scorecard.scoreVariable));
    probability.scale = scorecard;
  }

  void AddPoints(const SavedScorecard& scorecard, const SavedPredictor& predictor, Lookup& lookup) const {
    for (const SavedScorecard::Term& term : scorecard.terms) {
      if (term.predictor != predictor.name) continue;
      lookup.sumTarget = static_cast<int>(numberOf_.at(scorecard.scoreVariable));
      lookup.points = term.points;
      lookup.points.resize(lookup.outcomes.size(), term.neutralPoints);
      lookup.neutralPoints = term.neutralPoints;
    }
  }

  // Outcomes are the bins, then the label of unseen levels.
  Lookup LookupFor(const SavedPredictor& predictor) {
    const int variable = Variable(predictor);
    const Column& column = names_.Data().Variable(variable);
    std::vector<ValueLookup::Range> ranges;
    Lookup lookup{variable, ValueLookup({}, ValueLookup::Winner::kFirst), {}};
    lookup.countsMissing = true;
    lookup.missingOutcome = predictor.missingBin.value_or(-1);
    const int labelOutcome = static_cast<int>(predictor.bins.size()), noOutcome = labelOutcome + 1;
    if (predictor.missingCode)
      AddValue(*predictor.missingCode, predictor.missingBin.value_or(noOutcome), ranges);
    if (predictor.categorical) {
      AddLevels(predictor, variable, ranges);
      lookup.otherOutcome = OtherOutcome(predictor, labelOutcome);
    } else {
      if (column.fromText) lookup.numberOfCode = NumbersOfCodes(predictor, column);
      for (const SavedLevel& code : predictor.levels) AddValue(*code.number, code.bin, ranges);
      for (std::size_t i = 0; i < predictor.IntervalCount(); ++i) {
        const bool last = i == predictor.cutPoints.size();
        ranges.push_back(
            {-kInfinity, last ? kInfinity : MissingRange(predictor.cutPoints[i]).high, static_cast<int>(i)});
      }
    }
    lookup.outcomeOf = ValueLookup(std::move(ranges), ValueLookup::Winner::kFirst);
    for (const SavedBin& bin : predictor.bins) {
      std::vector<Assignment>& given = lookup.outcomes.emplace_back();
      given.push_back(TextFor(predictor.codedVariable, bin.label));
      for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i)
        given.push_back({numberOf_.at(predictor.figureVariables[i]), bin.figures[i], nullptr});
    }
    lookup.outcomes.emplace_back();
    if (lookup.otherOutcome == labelOutcome)
      lookup.outcomes.back().push_back(TextFor(predictor.codedVariable, unseen_.label));
    lookup.outcomes.emplace_back();  // of noOutcome
    return lookup;
  }

  int OtherOutcome(const SavedPredictor& predictor, int labelOutcome) const {
    switch (unseen_.rule) {
      case UnseenLevels::Rule::kAsSaved:
        break;
      case UnseenLevels::Rule::kAsMissing:
        return predictor.missingBin.value_or(-1);
      case UnseenLevels::Rule::kLabel:
        for (std::size_t bin = 0; bin < predictor.bins.size(); ++bin) {
          if (predictor.bins[bin].label == unseen_.label) return static_cast<int>(bin);
        }
        return labelOutcome;
    }
    return predictor.otherBin.value_or(-1);
  }

  // A few texts that are not numbers make the whole column a text column. With more of them than
  // numbers, it is a different variable.
  std::vector<double> NumbersOfCodes(const SavedPredictor& predictor, const Column& column) const {
    std::size_t read = 0;
    double highest = 0;
    for (const ValueLabel& label : column.labels) highest = std::max(highest, label.value);
    std::vector<double> numbers(static_cast<std::size_t>(highest) + 1,
                                std::numeric_limits<double>::quiet_NaN());
    for (const ValueLabel& label : column.labels) {
      const auto number = NumberIn(label.text);
      if (!number) continue;
      numbers[static_cast<std::size_t>(label.value)] = *number;
      ++read;
    }
    if (2 * read < column.labels.size())
      throw DataError(file_ + ": \"" + predictor.name + "\" has cut points, but holds texts in " +
                      names_.FileName() + ".");
    return numbers;
  }

  int Variable(const SavedPredictor& predictor) const {
    try {
      return names_.Variable(predictor.name);
    } catch (const DataError& error) {
      throw DataError(file_ + ": " + error.what());
    }
  }

  static void AddValue(double value, int outcome, std::vector<ValueLookup::Range>& ranges) {
    const MissingRange equal(value);
    ranges.push_back({equal.low, equal.high, outcome});
  }

  void AddLevels(const SavedPredictor& predictor, int variable, std::vector<ValueLookup::Range>& ranges) {
    std::map<double, int> binOf;
    bool any = predictor.levels.empty();
    for (const SavedLevel& level : predictor.levels) {
      std::vector<double> values = level.number ? names_.ValuesOfLevel(variable, *level.number)
                                                : names_.ValuesOfLevel(variable, level.text);
      // A number is also found by its label, which a file of texts may have instead.
      const bool isText = names_.Data().Variable(variable).fromText;
      const double* const labelled =
          level.number && isText && !level.text.empty() ? names_.ValueOfText(variable, level.text) : nullptr;
      if (labelled != nullptr) values.push_back(*labelled);
      any = any || !values.empty();
      for (const double value : values) {
        const auto [known, isNew] = binOf.try_emplace(value, level.bin);
        if (!isNew && known->second != level.bin) FailOfTwoMeanings(predictor, variable, value);
      }
    }
    for (const auto& [value, bin] : binOf) AddValue(value, bin, ranges);
    if (!any) {
      const SavedLevel& first = predictor.levels.front();
      Count({predictor.name, first.text.empty() && first.number ? NumberText(*first.number) : first.text,
             false},
            0);
    }
  }

  [[noreturn]] void FailOfTwoMeanings(const SavedPredictor& predictor, int variable, double value) const {
    const std::string* const label = names_.Data().Variable(variable).LabelOf(value);
    throw DataError(file_ + ": " + (label != nullptr ? "\"" + *label + "\"" : NumberText(value)) + " of \"" +
                    predictor.name + "\" in " + names_.FileName() +
                    " can be either of two levels with different bins, a number and the label of another.");
  }

  const UnseenLevels& unseen_;
};

}  // namespace

Program CompileBins(const SavedBins& bins, const std::string& file, const Table& table,
                    const UnseenLevels& unseen, std::vector<std::string>& notices) {
  BinsCompiler compiler(file, table, unseen, notices);
  Program program;
  program.statements = compiler.Compile(bins);
  program.targets = compiler.TakeTargets();
  return program;
}

}  // namespace velmora::coding
