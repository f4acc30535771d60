// Bins of screened predictors, apart from the data they were found in: enough to code other cases,
// in any program. Written as JSON, SQL and Python; the JSON is read back.
//
//   SavedBins bins = ParseBinsJson(text, "bins.json");
//   WriteFile("bins.py", BinsPython(bins));
//
// Every predictor gives variables: the label of the case's bin, and figures of the bin: weight of
// evidence of a binary response, mean of a continuous one, a share for each class of a categorical
// one. A missing predictor, and a level that screening has not seen, give none of them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct SavedLevel {
  std::optional<double> number;  // nothing: the column holds texts
  std::string text;              // of a text column, or the label of the number; may be empty
  int bin = 0;
};

struct SavedBin {
  std::string label;
  std::vector<double> figures;  // as SavedPredictor::figureVariables; kMissing where there is none
};

struct SavedPredictor {
  std::string name;
  bool categorical = false;
  bool isTruth = false;               // categorical: the levels 1 and 0 are true and false
  std::optional<double> missingCode;  // a number in the data that means no answer
  std::string codedVariable;
  std::vector<std::string> figureVariables;
  // Ascending. A bin includes its upper end, and whatever equals it within 15 units in the last
  // place.
  std::vector<double> cutPoints;
  std::vector<SavedLevel> levels;  // of a categorical predictor
  std::vector<SavedBin> bins;
};

struct SavedResponse {
  std::string name;
  std::string kind;                // binary, continuous or categorical
  std::vector<std::string> codes;  // binary: bad, good; categorical: the classes
  std::vector<SavedPredictor> predictors;
};

struct SavedBins {
  std::string dataFile;
  std::vector<SavedResponse> responses;
};

// Layout in docs/json.md.
std::string BinsJson(const SavedBins& bins);
// file: what messages call it. Throws DataError that names the file and what is wrong in it.
SavedBins ParseBinsJson(std::string_view text, const std::string& file);
// A query that adds the variables to a table: standard SQL, identifiers quoted, numbers in a form
// that reads back to the same double. Many databases ignore letter case in names: a variable that
// differs from another by it alone gets a number after its name. notices: gets a sentence for each
// such name, and for what SQL cannot hold; the query says it too.
std::string BinsSql(const SavedBins& bins, std::vector<std::string>& notices);
// A module with one function, code_case(values), that needs only the standard library.
std::string BinsPython(const SavedBins& bins);

}  // namespace velmora
