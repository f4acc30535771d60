// An analysis of data in parts, on one computer or many. The first pass surveys the variables, the
// second one counts the cases of every predictor and outcome; the states of parts merge in any
// order, as bytes.
//
//   std::unique_ptr<PartRun> survey = StartPartRun("feature-selection", words, {});
//   survey->Take(part);              // on every computer, for each of its parts
//   survey->Merge(bytesOfAnother);   // in one place
//   std::unique_ptr<PartRun> sums = ReadPartRun(survey->SecondPass());
//   ...                              // the empty sums go to every computer, which takes its parts
//   std::unique_ptr<FinishedRun> run = survey->Finish(*sums, moduleWord);
//
// Figures are those of the run in memory: to the bit where they come from counts alone, else within
// the rounding of sums; only out-of-fold figures differ, as the folds do. Where a variable has more
// distinct values than the survey keeps, ends of intervals come from cells of values, and a notice
// says by how much they can be off.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/cli/finished_run.h"
#include "workbench/data/table.h"
#include "workbench/states/packed.h"
#include "workbench/states/part_cases.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

struct PartSettings {
  states::SurveyLimits limits;
  std::string cases, squares;  // as of states::CaseRules
};

class PartRun {
 public:
  virtual ~PartRun() = default;

  // The cases of a part. A table without measurements. Throws DataError that names the column.
  virtual void Take(Table part) = 0;
  // Throws DataError for bytes that are damaged or of another run.
  void Merge(std::string_view bytes);
  std::string Bytes() const;

  // Of a first pass: the empty state of the second one. Throws UsageError as the command does.
  virtual std::string SecondPass() const = 0;
  // Of a first pass: the results. sums: the second one. moduleWord: the option --module of the
  // session; empty: as the words of the run say.
  virtual std::unique_ptr<FinishedRun> Finish(const PartRun& sums, const std::string& moduleWord) const = 0;
  // Texts of the parts that mean a missing value.
  virtual std::vector<std::string> MissingTexts() const = 0;

 protected:
  virtual states::Packed Pack() const = 0;
  virtual void MergePacked(const states::Packed& packed) = 0;
};

// analysis, words: as of RunAnalysis. Throws UsageError for options that need all cases in one
// place.
std::unique_ptr<PartRun> StartPartRun(const std::string& analysis, const std::vector<std::string>& words,
                                      const PartSettings& settings);
std::unique_ptr<PartRun> ReadPartRun(std::string_view bytes);

}  // namespace velmora
