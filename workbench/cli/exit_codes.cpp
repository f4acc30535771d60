// The one place where a failure becomes a sentence and an exit code.
#include "workbench/cli/exit_codes.h"

#include <new>

#include "workbench/cli/console.h"
#include "workbench/data/errors.h"

namespace velmora {

int RunGuarded(const std::string& commandName, const std::function<int()>& command) {
  try {
    return command();
  } catch (const UsageError& error) {
    Report(commandName + ": " + error.what());
    Report("Try '" + commandName + " --help'.");
    return kExitBadUse;
  } catch (const Cancelled&) {
    Report("Cancelled. Nothing was written.");
    return kExitCancelled;
  } catch (const BrokenPipe&) {
    return kExitBrokenPipe;
  } catch (const std::bad_alloc&) {
    Report("velmora: There is not enough memory for this.");
    return kExitFailed;
  } catch (const std::exception& error) {
    Report(std::string("velmora: ") + error.what());
    return kExitFailed;
  }
}

}  // namespace velmora
