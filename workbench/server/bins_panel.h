// The bins of one predictor while they are edited: the panel of the page, undo and redo.
//
//   EditedBins edited(bins, "risk", "age");
//   edited.Apply(R"({"operation":"move","cutPoint":25,"to":27})");
//   edited.PanelJson();   // bins, figures before and after
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/server/case_pieces.h"

namespace velmora {

class EditedBins {
 public:
  // Throws DataError for a predictor that the bins do not have.
  EditedBins(const SavedBins& bins, const std::string& response, const std::string& predictor);

  // Sets the pieces of the cases, which add the figures of WorthOfCases; null: none.
  void SetPieces(std::shared_ptr<const CasePieces> pieces);
  bool KnowsPieces() const { return knowsPieces_; }

  // edit: as in the JSON of saved bins, without response and predictor. Throws DataError with one
  // sentence.
  void Apply(const std::string& edit);
  // False when there is nothing to undo or redo.
  bool Undo();
  bool Redo();
  // {"response", "predictor": as in the JSON of saved bins, "figures", "before", "edits", "redo"}.
  // figures: per bin "cases", "share", and by the kind of the response "bad", "badRate", "woe",
  // "informationValue", or "mean", or "shares"; before and after the edits "informationValue" and
  // "gini" (2 AUC - 1), or "explained" (share of the variance or of the deviance), and what
  // WorthOfCases gives.
  std::string PanelJson() const;
  // The same for the bins after an edit that is not kept.
  std::string PreviewJson(const std::string& edit) const;

  const SavedBins& Found() const { return found_; }  // before the edits
  const SavedBins& Bins() const { return bins_; }
  const std::vector<std::string>& Edits() const { return edits_; }

 private:
  std::string PanelJson(const SavedBins& bins) const;

  Json WorthJson(const SavedResponse& response) const;

  SavedBins found_, bins_;  // of the one predictor
  bool knowsPieces_ = false;
  std::shared_ptr<const CasePieces> pieces_;
  std::vector<std::string> edits_, undone_;
};

}  // namespace velmora
