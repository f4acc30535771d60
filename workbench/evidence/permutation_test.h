// Whether searches for bins have found more than chance would: the p-value of a whole search, its
// choice among all partitions included, and of the best of many searches.
//
// The response is dealt out to the cases again and again at random. Each time every search is
// repeated, on counts by pre-bin alone, and its gain noted: by how much the best partition shortens
// the description of the response (see binning::DescriptionLength) against one bin. The p-value of
// a predictor is the share of random responses with at least its gain, the actual one among them;
// random numbers rank equal gains, so that it is uniform where there is nothing to find.
// Over all predictors the step-down maximum of Westfall and Young (1993, Resampling-Based Multiple
// Testing, algorithm 4.1) keeps the dependence between them; gains are compared in standard
// deviations of the random ones, so that each predictor has the same chance of being the maximum.
//
//   const SearchTest test = TestSearches(records, {.permutations = 1000, .seed = 1}, pool);
//   test.p[i], test.adjustedP[i]   // of records[i]
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/binning/search_record.h"
#include "workbench/system/worker_pool.h"

namespace velmora::evidence {

struct PermutationOptions {
  int permutations = 1000;
  std::uint64_t seed = 1;
};

struct SearchTest {
  bool cancelled = false;
  // By record; NaN for a record without pre-bins.
  std::vector<double> gains, p, adjustedP;
};

// records: of one response, with preBinOf. A response keeps the weight of its case. Rows that
// represent several equal cases (counts) are dealt out case by case. Equal for any number of
// threads. Throws std::invalid_argument for counts that are not whole or make more than 2^28 cases.
SearchTest TestSearches(std::span<const binning::SearchRecord* const> records,
                        const PermutationOptions& options, WorkerPool& pool,
                        const WorkerPool::Progress& progress = {});

}  // namespace velmora::evidence
