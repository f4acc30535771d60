// How a run is repeated, for its reports.
#pragma once

#include <string>
#include <vector>

#include "workbench/report/provenance.h"

namespace velmora {

// arguments: the words after the command's name. The command for a POSIX shell, without the options
// that say where results go, so that equal runs have equal commands.
std::string RepeatedCommand(const std::string& command, const std::vector<std::string>& arguments);
// dataPath: the file whose hash is part of the result.
Provenance ProvenanceOf(const std::string& command, const std::vector<std::string>& arguments,
                        const std::string& dataPath);

}  // namespace velmora
