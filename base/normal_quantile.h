// The standard normal quantile.
#pragma once

namespace vlm {

// Algorithm AS 111, "The percentage points of the normal distribution" (Beasley & Springer 1977,
// Applied Statistics 26(1), doi:10.2307/2346889): one rational approximation for the middle of the
// distribution, one for both tails. failed (may be null): set to true when probability is not
// inside (0, 1), the result then being 0; else to false.
double NormalQuantile(double probability, bool* failed);

}  // namespace vlm
