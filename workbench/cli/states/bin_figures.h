// Figures of screening from the sums of bins. Counts are weights by class, of a binary response bad
// and good.
#pragma once

#include <vector>

#include "workbench/report/screen_report.h"
#include "workbench/states/pair_sums.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

using BinCells = std::vector<states::PairSums::Cell>;

vlm::ScreeningBin NoBinFigures();
void FillBinaryBin(const std::vector<double>& counts, const std::vector<double>& total, bool correctsPureBins,
                   vlm::ScreeningBin& bin);
void FillMeasuredBin(const states::PairSums::Cell& cell, const states::MeasuredOutcome& measured,
                     vlm::ScreeningBin& bin);

// Shares and information value, and the Gini index after binning, from the figures of the bins.
void FillBinaryFigures(const std::vector<ScreenedBin>& bins, const std::vector<double>& total,
                       vlm::ScreeningPredictor& figures);
// Pearson's Chi-square and Cramer's V. counts: of each bin.
void FillAssociation(const std::vector<std::vector<double>>& counts, const std::vector<double>& total,
                     vlm::ScreeningPredictor& figures);
// R-squared and F. all: the sum of the cells, whose deviations are above 0.
void FillMeasuredFigures(const BinCells& cells, const states::PairSums::Cell& all,
                         const states::MeasuredOutcome& measured, vlm::ScreeningPredictor& figures);
// Figures of the predictor's own values over the cases with a response. unit: the weight that
// counts as one case.
void FillValueFigures(const states::VariableSurvey& survey, double unit, vlm::ScreeningPredictor& figures);

double Sum(const std::vector<double>& values);
void Add(const std::vector<double>& more, std::vector<double>& sums);

}  // namespace velmora
