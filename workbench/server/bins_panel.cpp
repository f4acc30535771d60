#include "workbench/server/bins_panel.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "workbench/bins/edit_bins.h"
#include "workbench/data/errors.h"
#include "workbench/data/table.h"
#include "workbench/report/json_text.h"

namespace velmora {
namespace {

double Sum(const SavedCounts& counts) { return std::accumulate(counts.begin(), counts.end(), 0.0); }

double CasesIn(const SavedResponse& response, const SavedCounts& counts) {
  if (counts.empty()) return 0;
  return response.kind == "continuous" ? counts.front() : Sum(counts);
}

// 2 AUC - 1 of the bad rate of the bins: the area between the curve of bads over goods, bins in
// order of their bad rate, and the diagonal.
double Gini(const SavedPredictor& predictor) {
  std::vector<const SavedBin*> bins;
  double allBad = 0, allGood = 0;
  for (const SavedBin& bin : predictor.bins) {
    if (bin.counts.size() != 2 || Sum(bin.counts) <= 0) continue;
    bins.push_back(&bin);
    allBad += bin.counts[0];
    allGood += bin.counts[1];
  }
  if (allBad <= 0 || allGood <= 0) return kMissing;
  std::sort(bins.begin(), bins.end(), [](const SavedBin* a, const SavedBin* b) {
    return a->counts[0] * b->counts[1] > b->counts[0] * a->counts[1];
  });
  double bad = 0, area = 0;
  for (const SavedBin* bin : bins) {
    area += bin->counts[1] / allGood * (bad + bin->counts[0] / 2) / allBad;
    bad += bin->counts[0];
  }
  return 2 * area - 1;
}

// The share of the response's variance between the bins.
double ExplainedVariance(const SavedPredictor& predictor) {
  const SavedCounts total = TotalCounts(predictor);
  if (total.size() != 3 || total[0] <= 0) return kMissing;
  double within = 0;
  for (const SavedBin& bin : predictor.bins) {
    if (bin.counts.size() == 3 && bin.counts[0] > 0)
      within += bin.counts[2] - bin.counts[1] * bin.counts[1] / bin.counts[0];
  }
  const double all = total[2] - total[1] * total[1] / total[0];
  return all > 0 ? 1 - within / all : kMissing;
}

// The share of the deviance of the classes that the bins explain (McFadden 1974).
double ExplainedDeviance(const SavedPredictor& predictor) {
  const auto deviance = [](const SavedCounts& counts) {
    const double cases = Sum(counts);
    double sum = 0;
    for (const double count : counts) sum -= count > 0 ? 2 * count * std::log(count / cases) : 0;
    return sum;
  };
  double within = 0;
  for (const SavedBin& bin : predictor.bins) within += deviance(bin.counts);
  const double all = deviance(TotalCounts(predictor));
  return all > 0 ? 1 - within / all : kMissing;
}

Json WorthOfCounts(const SavedResponse& response) {
  const SavedPredictor& predictor = response.predictors.front();
  Json json = {{"bins", predictor.bins.size()}};
  if (response.kind == "binary") {
    const SavedCounts total = TotalCounts(predictor);
    double sum = 0;
    for (const SavedBin& bin : predictor.bins) {
      const double part = InformationValue(bin, total);
      if (part != kMissing) sum += part;
    }
    json["informationValue"] = sum;
    json["gini"] = NumberOrNull(Gini(predictor));
  } else if (response.kind == "continuous") {
    json["explained"] = NumberOrNull(ExplainedVariance(predictor));
  } else {
    json["explained"] = NumberOrNull(ExplainedDeviance(predictor));
  }
  return json;
}

Json FiguresJson(const SavedResponse& response) {
  const SavedPredictor& predictor = response.predictors.front();
  const SavedCounts total = TotalCounts(predictor);
  const double allCases = CasesIn(response, total);
  Json list = Json::array();
  for (const SavedBin& bin : predictor.bins) {
    const double cases = CasesIn(response, bin.counts);
    Json json = {{"cases", cases}, {"share", allCases > 0 ? Json(cases / allCases) : Json()}};
    if (response.kind == "binary") {
      if (bin.counts.size() == 2) json["bad"] = bin.counts[0];
      json["badRate"] = bin.counts.size() == 2 && cases > 0 ? Json(bin.counts[0] / cases) : Json();
      json["woe"] = NumberOrNull(bin.figures.front());
      json["informationValue"] = NumberOrNull(InformationValue(bin, total));
    } else if (response.kind == "continuous") {
      json["mean"] = NumberOrNull(bin.figures.front());
      if (bin.counts.size() == 3 && cases > 1)
        json["standardDeviation"] =
            std::sqrt(std::max(0.0, (bin.counts[2] - bin.counts[1] * bin.counts[1] / cases) / (cases - 1)));
    } else {
      Json shares = Json::array();
      for (const double figure : bin.figures) shares.push_back(NumberOrNull(figure));
      json["shares"] = std::move(shares);
    }
    list.push_back(std::move(json));
  }
  return list;
}

}  // namespace

EditedBins::EditedBins(const SavedBins& bins, const std::string& response, const std::string& predictor) {
  const SavedPredictor& found = FindPredictor(bins, response, predictor);
  for (const SavedResponse& one : bins.responses) {
    if (one.name != response) continue;
    SavedResponse alone = one;
    alone.predictors = {found};
    found_.dataFile = bins.dataFile;
    found_.responses = {std::move(alone)};
    break;
  }
  if (found_.responses.empty()) throw DataError("There is no response " + response + ".");
  bins_ = found_;
}

void EditedBins::SetPieces(std::shared_ptr<const CasePieces> pieces) {
  knowsPieces_ = true;
  pieces_ = std::move(pieces);
}

void EditedBins::Apply(const std::string& edit) {
  BinEdit parsed = ParseBinEdit(edit);
  parsed.response = bins_.responses.front().name;
  parsed.predictor = bins_.responses.front().predictors.front().name;
  ApplyEdit(parsed, bins_);
  edits_.push_back(edit);
  undone_.clear();
}

bool EditedBins::Undo() {
  if (edits_.empty() || !UndoEdit(bins_)) return false;
  undone_.push_back(std::move(edits_.back()));
  edits_.pop_back();
  return true;
}

bool EditedBins::Redo() {
  if (undone_.empty()) return false;
  std::vector<std::string> later = std::move(undone_);
  const std::string next = std::move(later.back());
  later.pop_back();
  Apply(next);
  undone_ = std::move(later);
  return true;
}

Json EditedBins::WorthJson(const SavedResponse& response) const {
  Json json = WorthOfCounts(response);
  if (pieces_) json.update(WorthOfCases(*pieces_, response));
  return json;
}

std::string EditedBins::PanelJson() const { return PanelJson(bins_); }

std::string EditedBins::PreviewJson(const std::string& edit) const {
  EditedBins copy = *this;
  copy.Apply(edit);
  return copy.PanelJson();
}

std::string EditedBins::PanelJson(const SavedBins& bins) const {
  const SavedResponse& response = bins.responses.front();
  const Json saved = Json::parse(BinsJson(bins)).at("responses").at(0);
  return JsonText({{"response", response.name},
                   {"kind", response.kind},
                   {"codes", response.codes},
                   {"predictor", saved.at("predictors").at(0)},
                   {"figures", FiguresJson(response)},
                   {"before", WorthJson(found_.responses.front())},
                   {"after", WorthJson(response)},
                   {"edits", edits_.size()},
                   {"redo", undone_.size()}});
}

}  // namespace velmora
