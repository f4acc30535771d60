// Shared by the jobs of the side-by-side protocol: the words that name a job, the data file,
// clocks, and the line that is printed.
#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace velmora::bench {

constexpr int kDependents = 3;  // y_bin, y_cont, y_cls: variables 1 to 3
constexpr int kChecked = 7;     // predictors whose statistics are printed

struct Job {
  std::string stem, name, variations;
  int threads = 1, limit = 0, inner = 1;
  bool Varies(const char* word) const {
    return ("," + variations + ",").find("," + std::string(word) + ",") != std::string::npos;
  }
};

// STEM.json: how many cases and predictors STEM.npy holds, and how many of them the job takes.
struct DataShape {
  explicit DataShape(const Job& job);
  std::int64_t caseCount = 0;
  std::size_t headerBytes = 0;
  int allContinuous = 0, allCategorical = 0;
  int continuous = 0, categorical = 0;
};

inline double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double WallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Seconds of each repetition of the work.
class Stopwatch {
 public:
  void Start() {
    wallStart_ = WallSeconds();
    cpuStart_ = ProcessorSeconds();
  }
  void Stop() {
    cpu_.push_back(ProcessorSeconds() - cpuStart_);
    wall_.push_back(WallSeconds() - wallStart_);
  }
  // columns: those of the data that are held in memory.
  nlohmann::json Line(const DataShape& shape, std::size_t columns, int predictors,
                      nlohmann::json check) const {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double dataBytes =
        static_cast<double>(columns) * static_cast<double>(shape.caseCount) * sizeof(double);
    return {{"cpu_s", cpu_},
            {"wall_s", wall_},
            {"predictors", predictors},
            {"check", std::move(check)},
            {"peak_rss_mb", static_cast<double>(usage.ru_maxrss) / 1024},
            {"data_mb", dataBytes / 1048576}};
  }

 private:
  double cpuStart_ = 0, wallStart_ = 0;
  std::vector<double> cpu_, wall_;
};

// tree_bin, tree_cont, tree_cls, screen_bin, screen_cont, screen_cls, screen_3: see tree_jobs.cpp.
bool IsTreeJob(const std::string& name);
nlohmann::json RunTreeJob(const Job& job);

}  // namespace velmora::bench
