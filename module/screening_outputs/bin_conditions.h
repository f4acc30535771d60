// The bins of screened predictors as conditions of the host on the predictor: recode files and
// rules scripts. Both give every case the bin that CodedVariables gives it.
//
//   recode file (INI)                            rules script
//   [SelectionConditions]                        If( EvalExpr("""age""<=2.500000000000000e+01") )
//   ConditionSize=2                              "risk_age_Coded"="(-Inf, 25]"
//   [SelectionConditions\Cond0]                  EndIf
//   Ignore=0                                     If( EvalExpr("""age"" > 2.500000000000000e+01") )
//   Condition="""age""<=2.500000000000000e+01"   "risk_age_Coded"="(25, Inf)"
//   Value=(-Inf, 25]                             EndIf
//   ...
//
// Conditions of a recode file are tested in order and its numbers have a point; those of a script
// are each complete and its numbers are in the locale's form. A level of a variable that holds
// texts is its text, whatever number it has here. Another level is compared with its label where
// that leads back to its code and reads as no other number, else with the code: other data may
// number the same labels otherwise.
#pragma once

#include <string>

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Throw std::bad_alloc.
[[nodiscard]] std::string RecodeConditions(CFeatureSelectionTemplate& analysis, const PredSummary& record);
[[nodiscard]] std::string RulesScript(CFeatureSelectionTemplate& analysis, const PredSummary& record);

// Path of the recode file of a record: "BASE - PREDICTOR_RESPONSE__Coded.ini", with '_' for
// characters that some file system refuses and, where that is too long for one, the short form of
// the predictor, then of the response.
[[nodiscard]] std::string RecodeFilePath(CFeatureSelectionTemplate& analysis, const PredSummary& record,
                                         const std::string& basePath);

struct RecodeFile {
  std::string path;
  std::string text;
};
// The recode files of the best predictors of each response kind, at most count of each; no two have
// one name.
[[nodiscard]] std::vector<RecodeFile> MakeRecodeFiles(CFeatureSelectionTemplate& analysis,
                                                      const std::string& basePath, int count);
// Writes the files; one that cannot be written is passed over. Returns how many were written;
// firstRefused gets the path of the first that was not.
[[nodiscard]] int SaveRecodeFiles(const std::vector<RecodeFile>& files, std::string& firstRefused);

// The scripts of the best predictors, one after the other.
[[nodiscard]] std::string RulesOfBestPredictors(CFeatureSelectionTemplate& analysis, int count);

}  // namespace vlmfsl
