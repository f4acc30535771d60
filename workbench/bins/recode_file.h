// Recode files: the bins of one predictor as an INI file.
//
//   [SelectionConditions]
//   ConditionSize=2
//   [SelectionConditions\Cond0]
//   Ignore=0
//   Condition="""age""<=2.500000000000000e+01"      quotation marks inside are doubled
//   Value=(-Inf, 25]                                 to the end of the line
//   [SelectionConditions\Cond1]
//   ...
//
// The first section of a condition may begin on the line of ConditionSize, right after its number.
// Lines that begin with ; are remarks. Conditions are tested in the order of their numbers, those
// with Ignore=1 are not; the first that is true gives the value.
#pragma once

#include <string>
#include <string_view>

#include "workbench/language/basic_program.h"

namespace velmora {

// The recode as a program of one If that assigns to variable, or to PREDICTOR_Coded where variable
// is empty: the file itself names only the predictor. Throws DataError that names file, line and
// reason.
BasicProgram ParseRecodeFile(std::string_view text, const std::string& file,
                             const std::string& variable = {});

}  // namespace velmora
