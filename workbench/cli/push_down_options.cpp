#include "workbench/cli/push_down_options.h"

#include <algorithm>

#include "workbench/cli/exit_codes.h"

namespace velmora {

void PushDownOptions::AddTo(CommandParser& parser) {
  parser.Flag("--push-down", pushDown);
  parser.Text("--where", where);
  parser.WholeNumber("--cells", cells, 20, 10000);
}

void PushDownOptions::Check(const CommandParser& parser) const {
  const std::vector<std::string> known = parser.OptionNames();
  const auto isGiven = [&](const char* option) {
    return std::find(known.begin(), known.end(), option) != known.end() && parser.Has(option);
  };
  if (!pushDown) {
    for (const char* option : {"--where", "--cells"})
      if (isGiven(option)) throw UsageError(std::string(option) + " needs --push-down.");
    return;
  }
  for (const char* option : {"--select", "--exclude"}) {
    if (isGiven(option))
      throw UsageError(std::string(option) +
                       " looks at cases, which stay in the database: use --where with a condition in SQL.");
  }
  for (const char* option : {"--date-parts", "--since", "--print-script", "--save-bundles", "--coded",
                             "--recode", "--rules", "--raw-weights"}) {
    if (isGiven(option))
      throw UsageError(std::string(option) +
                       " needs the cases, which stay in the database with --push-down.");
  }
}

}  // namespace velmora
