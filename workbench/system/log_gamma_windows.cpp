// The shared sign is never read.
#include <cmath>

#include "workbench/system/log_gamma.h"

namespace velmora {

double LogGamma(double x) { return std::lgamma(x); }

}  // namespace velmora
