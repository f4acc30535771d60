// The program of the side-by-side protocol: five words in (STEM JOB THREADS LIMIT INNER), one line
// of JSON out. Loads STEM.npy (whole columns of doubles: y_bin, y_cont, y_cls, the continuous and
// then the categorical predictors) and runs the engine INNER times over it, every case read through
// the contract.
//
// Jobs: fs1 (continuous dependent), fs1c (five classes), fs3 (both and a binary one); those with
// trees are in tree_jobs.cpp. The line also gives the peak resident memory and the size of the
// data, in MiB. A word before the five names variations, joined by commas: reference (the plain
// loop with ordered maps), rows (single cases across the contract, not columns), weights, counts,
// sse2, avx2, avx512.
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/memory_host.h"
#include "bench/protocol.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/vector_kernels.h"
#include "tests/feature_selection/reference_engine.h"
#include "workbench/data/large_pages.h"

namespace velmora::bench {
namespace {

using vlmfsl::FeatureSelectionSettings;
using vlmfsl::VariableRole;

// The data in memory, in large pages as NumPy's own arrays are.
class Columns {
 public:
  explicit Columns(const std::string& file) {
    std::FILE* const in = std::fopen(file.c_str(), "rb");
    struct stat status {};
    if (in == nullptr || fstat(fileno(in), &status) != 0) throw std::runtime_error("cannot open " + file);
    bytes_.resize(static_cast<std::size_t>(status.st_size));
    const bool whole = std::fread(bytes_.data(), 1, bytes_.size(), in) == bytes_.size();
    std::fclose(in);
    if (!whole) throw std::runtime_error("cannot read " + file);
  }
  const double* Doubles(std::size_t byteOffset) const {
    return reinterpret_cast<const double*>(bytes_.data() + byteOffset);
  }

 private:
  std::vector<char, LargePageAllocator<char>> bytes_;
};

std::vector<int> Range(int first, int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(first + i);
  return numbers;
}

void Choose(const Job& job, const DataShape& shape, FeatureSelectionSettings* settings) {
  const bool three = job.name == "fs3";
  const auto set = [&](VariableRole role, const std::vector<int>& numbers) {
    if (settings->SetVariables(role, numbers) != vlmfsl::kOk) throw std::bad_alloc();
  };
  if (job.name == "fs1" || three) set(VariableRole::kContinuousDependent, {2});
  if (job.name == "fs1c") set(VariableRole::kCategoricalDependent, {3});
  if (three) set(VariableRole::kCategoricalDependent, {1, 3});
  set(VariableRole::kContinuousPredictor, Range(kDependents + 1, shape.continuous));
  set(VariableRole::kCategoricalPredictor, Range(kDependents + 1 + shape.allContinuous, shape.categorical));
  settings->useCramersV = false;
}

nlohmann::json Check(const FeatureSelectionSettings& settings, const double* statistic) {
  nlohmann::json check = nlohmann::json::array();
  for (int p = 0; p < std::min(kChecked, settings.PredictorCount()); ++p) {
    nlohmann::json row = nlohmann::json::array();
    for (int d = 0; d < settings.DependentCount(); ++d) row.push_back(statistic[settings.MatrixIndex(d, p)]);
    check.push_back(row);
  }
  return check;
}

nlohmann::json Run(const Job& job) {
  const DataShape shape(job);
  const Columns data(job.stem + ".npy");
  CaseSource source;
  source.caseCount = shape.caseCount;
  const double* column = data.Doubles(shape.headerBytes);
  for (int i = 0; i < kDependents + shape.allContinuous + shape.allCategorical; ++i) {
    source.columns.push_back(column);
    column += source.caseCount;
  }
  const std::size_t columnCount = source.columns.size();
  std::vector<double> weights(static_cast<std::size_t>(source.caseCount));
  for (std::size_t i = 0; i < weights.size(); ++i)
    weights[i] = 0.5 + static_cast<double>(i * 7919 % 1000) / 1000.0;
  if (job.Varies("weights")) source.weights = weights.data();
  if (job.Varies("counts")) {
    for (double& w : weights) w = std::floor(1.0 + 2.0 * w);
    source.columns.push_back(weights.data());
  }
  MemoryHost host(source, job.threads, !job.Varies("rows"));

  FeatureSelectionSettings settings;
  if (settings.Create(&host) != vlmfsl::kOk) throw std::bad_alloc();
  Choose(job, shape, &settings);
  if (job.Varies("counts")) {
    settings.useCountVariable = 1;
    settings.countVariable = static_cast<int>(source.columns.size());
  }

  Stopwatch watch;
  nlohmann::json check;
  for (int go = 0; go < job.inner; ++go) {
    watch.Start();
    if (job.Varies("reference")) {
      const auto result = vlmfsl::testing::RunReference(host, settings);
      watch.Stop();
      check = Check(settings, result.statistic.data());
      continue;
    }
    if (RunFeatureSelection(settings) != vlmfsl::kOk) throw std::runtime_error("the engine failed");
    watch.Stop();
    check = Check(settings, settings.statistic);
  }
  settings.ReleaseAll();
  return watch.Line(shape, columnCount, shape.continuous + shape.categorical, std::move(check));
}

int Main(int wordCount, char** words) {
  if (wordCount < 6) {
    std::fprintf(stderr, "usage: bench_screen [VARIATIONS] STEM JOB THREADS LIMIT INNER\n");
    return 2;
  }
  Job job;
  job.variations = wordCount > 6 ? words[1] : "";
  char** const five = words + wordCount - 5;
  job.stem = five[0];
  job.name = five[1];
  job.threads = std::max(1, std::stoi(five[2]));
  job.limit = std::stoi(five[3]);
  job.inner = std::max(1, std::stoi(five[4]));
  if (IsTreeJob(job.name)) {
    std::printf("%s\n", RunTreeJob(job).dump().c_str());
    return 0;
  }
  if (job.name != "fs1" && job.name != "fs1c" && job.name != "fs3")
    throw std::runtime_error("no job " + job.name);
  if (job.Varies("sse2") && !ForceVectorUnit(vlmfsl::VectorUnit::kSse2)) throw std::runtime_error("no SSE2");
  if (job.Varies("avx2") && !ForceVectorUnit(vlmfsl::VectorUnit::kAvx2)) throw std::runtime_error("no AVX2");
  if (job.Varies("avx512") && !ForceVectorUnit(vlmfsl::VectorUnit::kAvx512))
    throw std::runtime_error("no AVX-512");
  std::printf("%s\n", Run(job).dump().c_str());
  return 0;
}

}  // namespace

DataShape::DataShape(const Job& job) {
  std::ifstream file(job.stem + ".json");
  if (!file) throw std::runtime_error("cannot open " + job.stem + ".json");
  const nlohmann::json meta = nlohmann::json::parse(file);
  caseCount = meta.at("n");
  headerBytes = meta.at("header_bytes");
  allContinuous = meta.at("continuous");
  allCategorical = meta.at("categorical");
  continuous = job.limit > 0 ? std::min(job.limit, allContinuous) : allContinuous;
  categorical = job.limit > 0 ? std::min(std::max(1, job.limit / 4), allCategorical) : allCategorical;
}

}  // namespace velmora::bench

int main(int wordCount, char** words) try {
  return velmora::bench::Main(wordCount, words);
} catch (const std::exception& error) {
  std::fprintf(stderr, "bench_screen: %s\n", error.what());
  return 1;
}
