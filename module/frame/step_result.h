// Results of engine steps. Operations that the host's step table calls have the other sense: not 0
// for success.
#pragma once

namespace vlmfsl {

inline constexpr int kOk = 0;
inline constexpr int kFailed = 1;

}  // namespace vlmfsl
