#include <math.h>

#include "workbench/system/log_gamma.h"

namespace velmora {

double LogGamma(double x) {
  int sign = 0;
  return lgamma_r(x, &sign);
}

}  // namespace velmora
