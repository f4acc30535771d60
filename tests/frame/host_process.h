// The functions of the host's process that the module looks up by name, as this test program offers
// them.
#pragma once

#include <string>
#include <vector>

namespace vlmfsl::testing {

struct HostProcess {
  std::vector<std::string> registrations;             // "library id, sub-path, help folder"
  std::vector<std::string> applicationLog, logCache;  // "level code text"
  bool hasApplication = false, applicationLogOn = false;
};

HostProcess& Process();

}  // namespace vlmfsl::testing
