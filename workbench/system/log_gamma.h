// std::lgamma for several threads: the standard function also writes a sign to a shared variable.
#pragma once

namespace velmora {

// The logarithm of the absolute value of the gamma function, the same bits as std::lgamma.
[[nodiscard]] double LogGamma(double x);

}  // namespace velmora
