// Corrections of saved bins by hand: the effect of each on bins, counts and figures, refusals, and
// undo of every step to the byte.
#include "workbench/bins/edit_bins.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora::testing {
namespace {

using Kind = BinEdit::Kind;

// age: cuts 25 and 40, a special code, missing values with a bin; home: levels, missing values in
// no bin. 100 bad and 400 good cases each.
const char kBins[] = R"json({"format":"velmora bins","version":2,"dataFile":"a.csv","responses":[
{"name":"risk","kind":"binary","codes":["bad","good"],"pureBinCorrection":true,"predictors":[
 {"name":"age","kind":"continuous","codedVariable":"c","figureVariables":["w"],"cutPoints":[25,40],
  "specialCodes":[{"level":-9,"bin":3,"counts":[5,20]}],"missing":{"bin":4,"counts":[15,10]},
  "preBins":[{"first":18,"last":20,"counts":[10,20]},{"first":21,"last":25,"counts":[20,50]},
   {"first":26,"last":30,"counts":[10,100]},{"first":33,"last":40,"counts":[10,50]},
   {"first":41,"last":80,"counts":[30,150]}],
  "bins":[{"label":"(-Inf, 25]","woe":1,"counts":[30,70]},{"label":"(25, 40]","woe":2,"counts":[20,150]},
   {"label":"(40, Inf)","woe":3,"counts":[30,150]},{"label":"-9","woe":4,"counts":[5,20]},
   {"label":"Missing","woe":5,"counts":[15,10]}]},
 {"name":"home","kind":"categorical","codedVariable":"d","figureVariables":["x"],
  "levels":[{"level":"own","bin":0,"counts":[20,200]},{"level":"rent","bin":1,"counts":[60,120]},
   {"level":"free","bin":1,"counts":[10,40]},{"level":"a, b","bin":1,"counts":[0,30]}],
  "missing":{"bin":null,"counts":[10,10]},
  "bins":[{"label":"own","woe":6,"counts":[20,200]},
   {"label":"rent, free, a, b","woe":7,"counts":[70,190]}]}]},
{"name":"price","kind":"continuous","codes":[],"predictors":[
 {"name":"age","kind":"continuous","codedVariable":"e","figureVariables":["m"],"cutPoints":[25],
  "preBins":[{"first":18,"last":25,"counts":[2,6,20]},{"first":26,"last":30,"counts":[1,9,81]},
   {"first":31,"last":50,"counts":[1,5,25]}],
  "bins":[{"label":"(-Inf, 25]","mean":3,"counts":[2,6,20]},
   {"label":"(25, Inf)","mean":7,"counts":[2,14,106]}]}]}]})json";

SavedBins Bins() { return ParseBinsJson(kBins, "f"); }

std::string Shown(const SavedPredictor& predictor) {
  std::string text;
  for (const SavedBin& bin : predictor.bins) {
    char figures[64];
    std::snprintf(figures, sizeof figures, " %g/%g %.6g", bin.counts[0], bin.counts[1], bin.figures[0]);
    text += (text.empty() ? "" : " | ") + bin.label + figures;
  }
  return text;
}

std::string Edited(const BinEdit& edit) {
  SavedBins bins = Bins();
  try {
    ApplyEdit(edit, bins);
  } catch (const DataError& error) {
    EXPECT_EQ(BinsJson(bins), BinsJson(Bins())) << "a refused edit changes nothing";
    return error.what();
  }
  return Shown(FindPredictor(bins, edit.response, edit.predictor));
}

double Woe(double bad, double good, double badTotal = 100, double goodTotal = 400) {
  return 100 * std::log(good / goodTotal / (bad / badTotal));
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

TEST(EditBins, ChangesBinsCountsAndFigures) {
  struct Row {
    const char* name;
    BinEdit edit;
    std::string expected;
  };
  const std::string rest = " | (40, Inf) 30/150 3 | -9 5/20 4 | Missing 15/10 5";
  const auto of = [](Kind kind, const char* predictor) {
    BinEdit edit;
    edit.kind = kind;
    edit.response = "risk";
    edit.predictor = predictor;
    return edit;
  };
  const auto with = [](BinEdit edit, const std::function<void(BinEdit&)>& set) {
    set(edit);
    return edit;
  };
  const Row rows[] = {
      {"merge neighbors",
       with(of(Kind::kMerge, "age"),
            [](BinEdit& e) {
              e.bins = {1, 0};
            }),
       "(-Inf, 40] 50/220 " + Number(Woe(50, 220)) + rest},
      {"merge the missing values into a bin",
       with(of(Kind::kMerge, "age"),
            [](BinEdit& e) {
              e.bins = {2, 4};
            }),
       "(-Inf, 25] 30/70 1 | (25, 40] 20/150 2 | (40, Inf), Missing 45/160 " + Number(Woe(45, 160)) +
           " | -9 5/20 4"},
      {"split between two values", with(of(Kind::kSplit, "age"), [](BinEdit& e) { e.cutPoint = 31.5; }),
       "(-Inf, 25] 30/70 1 | (25, 31.5] 10/100 " + Number(Woe(10, 100)) + " | (31.5, 40] 10/50 " +
           Number(Woe(10, 50)) + rest},
      {"split at a value", with(of(Kind::kSplit, "age"), [](BinEdit& e) { e.cutPoint = 20; }),
       "(-Inf, 20] 10/20 " + Number(Woe(10, 20)) + " | (20, 25] 20/50 " + Number(Woe(20, 50)) +
           " | (25, 40] 20/150 2" + rest},
      {"move a cut point", with(of(Kind::kMove, "age"), [](BinEdit& e) { e.cutPoint = 25, e.to = 30; }),
       "(-Inf, 30] 40/170 " + Number(Woe(40, 170)) + " | (30, 40] 10/50 " + Number(Woe(10, 50)) + rest},
      {"a special code into the bin of missing values",
       with(of(Kind::kGroup, "age"),
            [](BinEdit& e) {
              e.values = {{-9.0, ""}}, e.bins = {4};
            }),
       "(-Inf, 25] 30/70 1 | (25, 40] 20/150 2 | (40, Inf) 30/150 3 | -9, Missing 20/30 " +
           Number(Woe(20, 30))},
      {"levels in a bin of their own, one of them pure",
       with(of(Kind::kGroup, "home"),
            [](BinEdit& e) {
              e.values = {{{}, "a, b"}};
            }),
       "own 20/200 6 | rent, free 70/160 " + Number(Woe(70, 160, 90, 390)) + " | \"a, b\" 0/30 " +
           Number(Woe(0.5, 30.5, 90, 390))},
      {"missing values that had no bin change the totals",
       with(of(Kind::kGroup, "home"), [](BinEdit& e) { e.missing = true; }),
       "own 20/200 " + Number(Woe(20, 200)) + " | rent, free, a, b 70/190 " + Number(Woe(70, 190)) +
           " | Missing 10/10 " + Number(Woe(10, 10))},
      {"other levels", with(of(Kind::kGroup, "home"), [](BinEdit& e) { e.others = true, e.bins = {0}; }),
       "own, other levels 20/200 " + Number(Woe(20, 200, 90, 390)) + " | rent, free, a, b 70/190 7"},
      {"a label", with(of(Kind::kLabel, "home"), [](BinEdit& e) { e.bins = {0}, e.label = "owners"; }),
       "owners 20/200 6 | rent, free, a, b 70/190 7"},
      {"means", with(of(Kind::kSplit, "age"), [](BinEdit& e) { e.response = "price", e.cutPoint = 30; }),
       "(-Inf, 25] 2/6 3 | (25, 30] 1/9 9 | (30, Inf) 1/5 5"},

      {"not neighbors",
       with(of(Kind::kMerge, "age"),
            [](BinEdit& e) {
              e.bins = {0, 2};
            }),
       "Bins 1 and 3 of \"age\" are not neighbors, and only neighbors can be merged."},
      {"no such bin",
       with(of(Kind::kMerge, "age"),
            [](BinEdit& e) {
              e.bins = {0, 5};
            }),
       "The bins of \"age\" are numbered from 1 to 5, and there is no bin 6."},
      {"a cut within a pre-bin", with(of(Kind::kSplit, "age"), [](BinEdit& e) { e.cutPoint = 35; }),
       "The saved counts do not say how many cases of \"age\" are up to 35; cut at 30 or 40, or search again "
       "with velmora screen --cut-points."},
      {"a cut that leaves nothing", with(of(Kind::kSplit, "age"), [](BinEdit& e) { e.cutPoint = 40; }),
       "A cut of \"age\" at 40 would leave a bin without cases."},
      {"cutting levels", with(of(Kind::kSplit, "home"), [](BinEdit& e) { e.cutPoint = 1; }),
       "\"home\" has levels, not cut points; group some of its levels in a bin instead."},
      {"no such cut point", with(of(Kind::kMove, "age"), [](BinEdit& e) { e.cutPoint = 24, e.to = 30; }),
       "\"age\" has no cut point 24; it has 25, 40."},
      {"past its neighbor", with(of(Kind::kMove, "age"), [](BinEdit& e) { e.cutPoint = 25, e.to = 41; }),
       "The cut point 25 of \"age\" can only move between its neighbors."},
      {"no such level",
       with(of(Kind::kGroup, "home"),
            [](BinEdit& e) {
              e.values = {{{}, "rnt"}};
            }),
       "There is no level rnt of \"home\"; did you mean rent?"},
      {"a label twice", with(of(Kind::kLabel, "age"), [](BinEdit& e) { e.bins = {0}, e.label = "-9"; }),
       "Bin 4 of \"age\" has the label -9 already."},
      {"two responses",
       with(of(Kind::kMerge, "age"),
            [](BinEdit& e) {
              e.response = "", e.bins = {0, 1};
            }),
       "The responses risk and price both have the predictor age; name one of them with --response."},
      {"no such predictor",
       with(of(Kind::kMerge, "agee"),
            [](BinEdit& e) {
              e.bins = {0, 1};
            }),
       "There is no predictor agee in the file; did you mean age?"},
  };
  for (const Row& row : rows) EXPECT_EQ(Edited(row.edit), row.expected) << row.name;
}

// The counts of each bin from the smallest parts that the file knows.
std::vector<SavedCounts> CountsFromParts(const SavedPredictor& predictor) {
  std::vector<SavedCounts> counts(predictor.bins.size(), SavedCounts(2));
  const auto add = [&](int bin, const SavedCounts& part) {
    for (std::size_t i = 0; i < part.size(); ++i) counts[static_cast<std::size_t>(bin)][i] += part[i];
  };
  for (const SavedPreBin& one : predictor.preBins) {
    const auto& cuts = predictor.cutPoints;
    add(static_cast<int>(std::lower_bound(cuts.begin(), cuts.end(), one.last) - cuts.begin()), one.counts);
  }
  for (const SavedLevel& level : predictor.levels) add(level.bin, level.counts);
  if (predictor.missingBin) add(*predictor.missingBin, predictor.missingCounts);
  return counts;
}

// After any edit the counts add up, the file reads back, and undo goes back step by step.
// Alone, a special code that the data lacked counts as an average case; in another bin, it counts
// as that bin.
TEST(EditBins, BinWithoutCasesIsAnAverageCase) {
  std::string text = kBins;
  for (std::size_t at = 0; (at = text.find("[5,20]", at)) != std::string::npos;) text.replace(at, 6, "[0,0]");
  SavedBins bins = ParseBinsJson(text, "f");
  BinEdit edit;
  edit.kind = Kind::kGroup, edit.response = "risk", edit.predictor = "age";
  edit.values = {{-9.0, ""}}, edit.bins = {4};
  ApplyEdit(edit, bins);
  const std::string rest = "(-Inf, 25] 30/70 1 | (25, 40] 20/150 2 | (40, Inf) 30/150 3 | ";
  EXPECT_EQ(Shown(bins.responses[0].predictors[0]),
            rest + "-9, Missing 15/10 " + Number(Woe(15, 10, 95, 380)));
  edit.bins = {};
  ApplyEdit(edit, bins);
  EXPECT_EQ(Shown(bins.responses[0].predictors[0]),
            rest + "Missing 15/10 " + Number(Woe(15, 10, 95, 380)) + " | -9 0/0 0");
  EXPECT_EQ(BinsJson(ParseBinsJson(BinsJson(bins), "f")), BinsJson(bins));

  SavedResponse& price = bins.responses[1];
  SavedPredictor& age = price.predictors[0];
  age.levels.push_back({-9.0, "", 2, {0, 0, 0}});
  age.bins.push_back({"-9", {0}, {0, 0, 0}});
  edit.kind = Kind::kMerge, edit.response = "price", edit.bins = {0, 1};
  ApplyEdit(edit, bins);
  edit.kind = Kind::kGroup, edit.bins = {};
  ApplyEdit(edit, bins);
  EXPECT_EQ(age.bins.back().figures, std::vector<double>{5}) << "20 / 4";
}

TEST(EditBins, UndoTakesEveryStepBack) {
  std::mt19937 random(7);
  const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
  int done = 0;
  for (int run = 0; run < 60; ++run) {
    SavedBins bins = Bins();
    std::vector<std::string> states = {BinsJson(bins)};
    for (int step = 0; step < 12; ++step) {
      BinEdit edit;
      edit.kind = static_cast<Kind>(below(6));
      edit.response = "risk";
      edit.predictor = below(2) == 0 ? "age" : "home";
      if (edit.kind == Kind::kReset && below(2) == 0) edit.predictor.clear();
      const int cuts[] = {20, 25, 30, 32, 40};
      edit.cutPoint = cuts[below(5)];
      edit.to = cuts[below(5)];
      for (int i = 0; i < 2 && edit.kind != Kind::kLabel; ++i) edit.bins.push_back(below(5));
      if (edit.kind == Kind::kGroup) edit.bins.resize(static_cast<std::size_t>(below(2)));
      if (edit.kind == Kind::kLabel) edit.bins = {below(4)}, edit.label = "label " + std::to_string(below(3));
      const char* const levels[] = {"own", "rent", "free", "a, b", "-9"};
      edit.values = {{{}, levels[below(5)]}};
      edit.missing = below(3) == 0;
      try {
        ApplyEdit(edit, bins);
      } catch (const DataError&) {
        EXPECT_EQ(BinsJson(bins), states.back());
        continue;
      }
      ++done;
      states.push_back(BinsJson(bins));
      bins = ParseBinsJson(states.back(), "f");  // as another program would go on
      ASSERT_EQ(BinsJson(bins), states.back());
      for (const char* const name : {"age", "home"}) {
        const SavedPredictor& predictor = FindPredictor(bins, "risk", name);
        const std::vector<SavedCounts> counts = CountsFromParts(predictor);
        for (std::size_t bin = 0; bin < counts.size(); ++bin) {
          ASSERT_EQ(predictor.bins[bin].counts, counts[bin]) << name << " " << states.back();
          EXPECT_FALSE(predictor.bins[bin].label.empty());
        }
      }
    }
    while (states.size() > 1) {
      states.pop_back();
      ASSERT_TRUE(UndoEdit(bins));
      ASSERT_EQ(BinsJson(bins), states.back());
    }
    EXPECT_FALSE(UndoEdit(bins));
  }
  EXPECT_GT(done, 150);
}

TEST(EditBins, NeedTheCountsOfTheFile) {
  SavedBins bins = ParseBinsJson(
      R"({"format":"velmora bins","version":1,"dataFile":"a","responses":[{"name":"r","kind":"binary",
      "codes":["b","g"],"predictors":[{"name":"x","kind":"continuous","codedVariable":"c","figureVariables":["w"],
      "cutPoints":[1],"bins":[{"label":"l","woe":1},{"label":"h","woe":2}]}]}]})",
      "f");
  BinEdit edit;
  edit.predictor = "x";
  edit.bins = {0, 1};
  try {
    ApplyEdit(edit, bins);
    FAIL();
  } catch (const DataError& error) {
    EXPECT_STREQ(
        error.what(),
        "The file has no counts of the bins of \"x\", so nothing can be said about other bins; save it "
        "again with velmora screen --bins.");
  }
  edit.kind = Kind::kLabel;
  edit.bins = {0};
  edit.label = "low";
  ApplyEdit(edit, bins);
  EXPECT_EQ(bins.responses[0].predictors[0].bins[0].label, "low");
}

}  // namespace
}  // namespace velmora::testing
