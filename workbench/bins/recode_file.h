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
// The first section of a condition may stand on the line of ConditionSize, right behind its number. Lines that
// begin with ; are remarks. Conditions are tested in the order of their numbers, those with Ignore=1 are not;
// the first that is true gives the value.
#pragma once

#include <string>
#include <string_view>

#include "workbench/language/script_program.h"

namespace velmora {

// The recode as a program of one If. It assigns to the variable RESPONSE_PREDICTOR_Coded where the file has the
// name that screening gave it, "ANY - PREDICTOR_RESPONSE__Coded.ini", else to PREDICTOR_Coded. In the file's name a
// long PREDICTOR may have its short form. Throws DataError that names file, line and reason.
ScriptProgram ParseRecodeFile(std::string_view text, const std::string& file);

}  // namespace velmora
