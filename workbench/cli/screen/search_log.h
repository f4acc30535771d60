// A log of the searches for bins, kept until the run has ended.
//
//   SearchLog log;
//   plan->observer = log.Observer(false);
//   ... the run ...
//   log.AddTo(report);
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "workbench/binning/search_record.h"
#include "workbench/report/screen_report.h"

namespace velmora {

class SearchLog {
 public:
  // wantsPreBins: as of binning::SearchObserver.
  static std::pair<std::shared_ptr<SearchLog>, binning::SearchObserver> Open(bool wantsPreBins);

  // Puts the intervals of the out-of-fold figures into the report. Later searches are not logged.
  void AddTo(ScreenReport& report);
  // Forgets the records. The run's plan keeps the log as long as the session lives.
  void Clear() { records_.clear(); }
  // Null when its bins were not searched for.
  const binning::SearchRecord* Find(const ScreenedResponse& response,
                                    const ScreenedPredictor& predictor) const;
  // The record of any of its predictors; they all have the same cases. Null when there was no
  // search.
  const binning::SearchRecord* FindAny(const ScreenedResponse& response) const;

 private:
  // Variable of the response, its classes (0: measured), and the predictor.
  using Key = std::tuple<int, int, int>;
  std::mutex lock_;
  std::map<Key, binning::SearchRecord> records_;
  bool open_ = true;
};

}  // namespace velmora
