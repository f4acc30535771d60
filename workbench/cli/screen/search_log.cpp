#include "workbench/cli/screen/search_log.h"

#include <utility>

namespace velmora {

std::pair<std::shared_ptr<SearchLog>, binning::SearchObserver> SearchLog::Open(bool wantsPreBins) {
  auto log = std::make_shared<SearchLog>();
  binning::SearchObserver observer;
  observer.wantsPreBins = wantsPreBins;
  observer.take = [log](binning::SearchRecord record) {
    const std::lock_guard<std::mutex> guard(log->lock_);
    if (!log->open_) return;
    const Key key{record.response, record.cases->classCount, record.predictor};
    log->records_.insert_or_assign(key, std::move(record));
  };
  return {log, std::move(observer)};
}

void SearchLog::AddTo(ScreenReport& report) {
  open_ = false;
  for (ScreenedResponse& response : report.responses) {
    for (ScreenedPredictor& predictor : response.predictors) {
      const binning::SearchRecord* const record = Find(response, predictor);
      if (record == nullptr) continue;
      predictor.searched = !record->given;
      predictor.separateBins = record->separateBins;
      const binning::Validation& validation = record->validation;
      predictor.heldOutInterval = response.kind == vlm::kBinaryResponse ? validation.informationValueInterval
                                                                        : validation.explainedInterval;
    }
  }
}

const binning::SearchRecord* SearchLog::Find(const ScreenedResponse& response,
                                             const ScreenedPredictor& predictor) const {
  const auto found = records_.find(
      {response.run.responseNumber, response.run.classCount, predictor.figures.predictorNumber});
  return found != records_.end() ? &found->second : nullptr;
}

const binning::SearchRecord* SearchLog::FindAny(const ScreenedResponse& response) const {
  const int number = response.run.responseNumber, classes = response.run.classCount;
  const auto found = records_.lower_bound({number, classes, 0});
  const bool ofResponse =
      found != records_.end() && std::get<0>(found->first) == number && std::get<1>(found->first) == classes;
  return ofResponse ? &found->second : nullptr;
}

}  // namespace velmora
