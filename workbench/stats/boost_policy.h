// The policy for the functions of Boost.Math: undefined results are NaN or infinite, no function
// throws, and doubles are not promoted to long double, whose size differs between systems.
#pragma once

#include <boost/math/policies/policy.hpp>

namespace velmora::stats {

namespace bm = boost::math;

using Policy = bm::policies::policy<bm::policies::domain_error<bm::policies::ignore_error>,
                                    bm::policies::pole_error<bm::policies::ignore_error>,
                                    bm::policies::overflow_error<bm::policies::ignore_error>,
                                    bm::policies::underflow_error<bm::policies::ignore_error>,
                                    bm::policies::denorm_error<bm::policies::ignore_error>,
                                    bm::policies::rounding_error<bm::policies::ignore_error>,
                                    bm::policies::evaluation_error<bm::policies::ignore_error>,
                                    bm::policies::indeterminate_result_error<bm::policies::ignore_error>,
                                    bm::policies::promote_float<false>, bm::policies::promote_double<false>>;

}  // namespace velmora::stats
