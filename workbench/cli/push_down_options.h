// The options of an analysis that runs inside a database.
#pragma once

#include <string>

#include "workbench/cli/options.h"

namespace velmora {

struct PushDownOptions {
  bool pushDown = false;
  std::string where;  // SQL
  int cells = 400;    // different numbers that are counted one by one

  void AddTo(CommandParser& parser);
  // Throws UsageError for options that need the cases outside the database.
  void Check(const CommandParser& parser) const;
};

}  // namespace velmora
