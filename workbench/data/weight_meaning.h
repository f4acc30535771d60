// What the weight variable of an analysis means.
#pragma once

namespace velmora {

enum class WeightMeaning {
  kAsGiven,  // the sum of the weights is the number of cases
  // Relative to their mean over the cases of a response, so that their unit does not matter.
  kSampling,
  kCounts,  // a row represents so many equal cases
};

}  // namespace velmora
