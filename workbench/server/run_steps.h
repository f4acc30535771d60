// The commands that repeat a run of the page, one per line, with the user's later edits.
//
//   velmora screen credit.csv --binary-response=risk ... --bins=credit_bins_3.json
//   velmora bins edit credit_bins_3.json merge age 2 3
//   velmora screen credit.csv --binary-response=risk ... --cut-points=credit_bins_3.json
#pragma once

#include <string>
#include <vector>

#include "workbench/report/json_text.h"

namespace velmora {

struct RunSteps {
  std::string analysis;
  std::vector<std::string> words;  // of the command, with the data file
  Json edits = Json::object();     // response -> predictor -> list of edits
  std::string binsFile;            // of the edited bins
};

// The last one makes the outputs.
std::vector<std::string> CommandsOf(const RunSteps& steps);

// words with new values of an option in place of its old ones.
std::vector<std::string> WithOption(std::vector<std::string> words, const std::string& option,
                                    const std::vector<std::string>& values);

// Adds the options of a screening that save every predictor, or every one that is better than
// chance.
void AddSaveAll(std::vector<std::string>& words, bool chanceToo = true);
// The words of a screening of these predictors alone, without the options of other ones, which the
// command would refuse.
std::vector<std::string> WithPredictors(std::vector<std::string> words,
                                        const std::vector<std::string>& names);

}  // namespace velmora
