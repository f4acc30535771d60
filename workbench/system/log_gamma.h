// std::lgamma for several threads: that function also writes a sign that they share.
#pragma once

namespace velmora {

// The logarithm of the absolute value of the gamma function, the same bits as std::lgamma.
[[nodiscard]] double LogGamma(double x);

}  // namespace velmora
