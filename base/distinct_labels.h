// Labels of bins, as every output and every saved file has them.
#pragma once

#include <string>
#include <vector>

namespace vlm {

// The labels of a predictor's bins, each different from the others: bins are told apart by label in
// every file that holds them. A label of more than 80 characters, which lists many levels, becomes
// the bin's number (from 1) and its first characters; a label that an earlier bin has already gets
// a number after it.
[[nodiscard]] std::vector<std::string> DistinctLabels(std::vector<std::string> labels);

}  // namespace vlm
