// The statistical procedures of the host as the module drives them: trees, cross-tabulations,
// breakdowns, descriptive statistics and ranks. A procedure is set up, run, and read through result
// sheets:
//   CreateProcedure -> SetVariableList, SetCaseSelection, ... -> Run -> GetResult ... -> released.
// A tree also gives a work sheet: the cases that it describes, in order of the predictor, on which
// the other procedures run. All work on single cases is the host's; the module reads small sheets,
// and columns in blocks.
//
// Settings calls and Run return 0 on success; otherwise GetError gives the reason in one sentence.
// A user's cancel ends Run, GetResult, CreateWorkSheet and CreateTree like a failure; the progress
// display then says that it is cancelled.
#pragma once

#include "contract/documents.h"
#include "contract/types.h"

namespace vlm {

enum ProcedureId : int {
  // The analysis that asks, as the object model shows it: its case selection and its weights can be
  // read; it cannot be set up or run.
  kCallingAnalysis = 0,
  kTreeProcedure = 4971,
  kCrosstabProcedure = 4972,
  kBreakdownProcedure = 4973,
  kDescriptivesProcedure = 4974,
  kRanksProcedure = 4975,
};

enum ProcedureOption : int {
  kRegressionTreeOption = 1,  // 0: classification (the default), 1: regression
  // tree: fewest unweighted cases of a node that is split; default 5
  kLeastCasesToSplitOption = 2,
  kLeastCasesInChildOption = 3,  // tree: fewest unweighted cases of each child; default 1
  // breakdown: 1 adds the columns of order statistics and limits; default 0
  kBreakdownQuartilesOption = 4,
  kMissingBinOption = 5,  // tree: a MissingBin; default kMissingLeftOut
};

// Where a tree puts the cases that have a response but no value of the predictor. They never take
// part in the search; a bin of their own is one more terminal node, the last, without a parent.
enum MissingBin : int {
  kMissingLeftOut = 0,
  kMissingOwnBin = 1,
  kMissingInFirstBin = 2,
  kMissingInLastBin = 3,
  kMissingInNearestBin = 4,  // by rate, mean or shares of the classes
};

// How the rate of the last response code of two, or the mean, runs over the bins.
enum BinShape : int {
  kAnyShape = 0,
  kAscendingShape = 1,
  kDescendingShape = 2,
  kPeakShape = 3,
  kValleyShape = 4,
};

// Result sheets. index is 0 unless said otherwise.
enum ProcedureResult : int {
  // Tree, one row per node, in the order of the node numbers; the row header is the node number.
  // Nodes are numbered from 1, the root, so that a node's left branch comes before its right
  // branch: terminal nodes from left to right have rising numbers. k: number of response codes.
  //   summary       1 number of cases (sum of the weights), 2 mean or most frequent class,
  //                 3 variance (divided by the sum of the weights) or Gini impurity
  //   structure     regression:
  //                   1 to 3 as above, 4 number of cases without weights, 5 predictor of the split,
  //                   6 left-branch text, 7 right-branch text, 8 left node, 9 right node
  //                 classification:
  //                   1 number of cases, 2 to k + 1 cases of each response code, in the order of
  //                   the codes, k + 2 most frequent class, k + 3 Gini impurity, k + 4 predictor of
  //                   the split, k + 5 left-branch text, k + 6 right-branch text, k + 7 left node,
  //                   k + 8 right node
  //                 The cells from the predictor of the split on are empty for a terminal node. A
  //                 branch text is "<=c" or ">c", or the list of the levels' texts that go there.
  //   node          index: the node number. One row: 1 predictor of the split, 2 split constant
  //                 (empty for a categorical predictor), 3 decrease of the impurity. All empty for
  //                 a terminal node.
  kTreeSummaryResult = 1,
  kTreeStructureResult = 2,
  kTreeNodeResult = 3,

  // Cross-tabulation, rows by columns, weighted counts.
  //   summary       one row per level that has cases, by rising code, then the totals; column 1 the
  //                 level's code (its label is the row header), one column per code of the
  //                 response, in the order asked for (its long name is the code's text), then the
  //                 row totals
  //   statistics    row 1 Pearson chi-square: 1 the statistic, 2 degrees of freedom, 3 "p=" and the
  //                 p-value; row 2 Cramer's V. Texts have full precision and a decimal point in
  //                 every locale. Cells are empty where a table has fewer than two rows or columns
  //                 with cases.
  //   further       index 1 to 3: percent of the row, percent of the column, expected counts
  kCrosstabSummaryResult = 11,
  kCrosstabStatisticsResult = 12,
  kCrosstabFurtherResult = 13,

  // Breakdown: one row per level that has cases, by rising code, then all cases; row headers as
  // above. For each analysed variable the columns N (without weights: number of cases; else sum of
  // the weights), mean, standard deviation, variance (divisor N - 1); then, when asked for,
  // minimum, lower quartile, median, upper quartile, maximum, and the 95 % limits of the mean.
  kBreakdownResult = 21,
  // The same rows but the last. For each analysed variable a column with the sum of squares of the
  // level about its own mean, as a share of the sum of squares of all cases: also where N of a
  // level is not above 1, or where the variance would overflow or vanish. Empty where all values
  // are equal.
  kBreakdownSharesResult = 22,

  // Descriptive statistics, one row per variable: 1 valid N, 2 mean, 3 minimum, 4 maximum, 5
  // quartile range, 6 standard deviation, 7 lower quartile, 8 median, 9 upper quartile.
  kDescriptivesResult = 31,
};

struct IWorkSheet;

// One node of a tree. Node numbers as in the sheets, from 1; 0: none.
struct TreeNode {
  int parent;
  int left, right;  // 0 for a terminal node
  // terminal node: its place from left to right, from 0; -1 for a node that is split
  int bin;
  double splitConstant;  // of a split over a continuous predictor, else kMissingValue
};

// What is known of a tree besides its nodes. A figure that was not computed is kMissingValue.
struct TreeFit {
  int missingBin;          // the bin of cases without the predictor, from 0; -1: they are in none
  int noBetterThanChance;  // flag: no bins describe the response better than one bin of all cases
  int mergedGreedily;      // flag: levels were merged step by step, not all partitions compared
  int shape;               // BinShape, when one was asked for
  // Of cases that had no part in finding the bins, by cross-validation.
  double heldOutInformationValue;  // two classes
  double heldOutGini;              // two classes: 2 AUC - 1 of the weight of evidence
  double heldOutExplained;         // share of the variance, or of the deviance of the classes
};

// A fitted tree as data: what its structure and node sheets show. It never changes and may outlive
// its procedure.
struct ITree : ICounted {
  virtual int GetNodeCount() = 0;
  virtual void GetNode(int nodeNumber, TreeNode* node) = 0;
  virtual int GetBinCount() = 0;  // terminal nodes
  // Continuous predictor: the split constants, ascending: one less than there are bins of values.
  // Bin b holds the values above cut point b - 1 and not above cut point b, both compared with the
  // tolerance.
  virtual void GetCutPoints(double* cutPoints) = 0;
  // Categorical predictor: the levels of a bin, ascending, and their texts as the branch text lists
  // them. Texts of different bins may be alike: a label can read like a list.
  // Bins of special codes come after those of values, each a terminal node without a parent, with
  // their codes as levels; the bin of missing cases has none. A bin may have a text that the user
  // gave it; that of an interval, and of missing cases, is empty otherwise.
  virtual int GetLevelCount(int bin) = 0;
  virtual void GetLevels(int bin, double* levels) = 0;
  virtual void GetLevelText(int bin, ITextSink* text) = 0;
  virtual void GetFit(TreeFit* fit) = 0;

 protected:
  ~ITree() = default;
};

struct IProcedure : ICounted {
  virtual int GetAnalysisID() = 0;
  // The reason of the last failure, one sentence; empty when nothing failed.
  virtual void GetError(ITextSink* text) = 0;

  // Fields of variable numbers separated by '|', numbers by blanks.
  //   tree         "response | categorical predictor | continuous predictor", one predictor empty
  //   crosstab     "rows | columns"
  //   breakdown    "analysed variables | grouping variable"
  //   others       "variables"
  // Numbers are those of the input spreadsheet, or the columns of the work sheet that the analysis
  // runs on.
  virtual int SetVariableList(const char* text, int length) = 0;

  // Case selection: cases for which inclusion holds (empty: all) and exclusion does not (empty:
  // none), in the host's expressions over the variables of the input spreadsheet, also where the
  // analysis runs on a work sheet. The texts are kept as given while selection is disabled. A
  // connective that an expression begins with is passed over.
  virtual void GetCaseSelection(int* enabled, ITextSink* inclusion, ITextSink* exclusion) = 0;
  virtual int SetCaseSelection(int enabled, const char* inclusion, int inclusionLength, const char* exclusion,
                               int exclusionLength) = 0;
  // Case weights: variableNumber of the input spreadsheet, 0: none. Cases without a weight above 0
  // are left out.
  virtual int GetCaseWeight() = 0;
  virtual int SetCaseWeight(int variableNumber) = 0;

  virtual int SetOption(int option, int value) = 0;
  // Codes of the response: of a tree, or of the columns of a cross-tabulation. Numbers, or texts in
  // double quotation marks (a quotation mark inside is doubled), separated by blanks or '|'; "*" or
  // an empty text: all that occur. Other cases are left out.
  virtual int SetResponseCodes(const char* text, int length) = 0;
  // The same for the categorical predictor of a tree, or the rows of a cross-tabulation.
  virtual int SetPredictorCodes(const char* text, int length) = 0;

  // Returns 0 when there are results. A tree that cannot be split is a result of one node. Ranks
  // are appended to the work sheet, a column for each variable: 1 the smallest, ties share their
  // mean rank.
  virtual int Run() = 0;
  // Null when there is no such result. The caller releases it; it keeps its content when the
  // procedure runs again or ends.
  virtual ISpreadsheet* GetResult(int result, int index) = 0;
  // Of a tree that has run: the cases that the present case selection and weights let through, that
  // have a predictor value (one of its codes) and a response (one of its codes), by rising
  // predictor value, equal values by case; with kMissingBinOption those without a predictor value
  // follow. Columns: 1 predictor, 2 response, 3 number of the
  // terminal node. Null on failure. The caller releases it.
  virtual IWorkSheet* CreateWorkSheet() = 0;
  // The tree of the last run. Null for other procedures, and when no case has both values. The
  // caller releases it.
  virtual ITree* CreateTree() = 0;

 protected:
  ~IProcedure() = default;
};

// A sheet whose cells are made when somebody first reads or writes one, and may be dropped and made
// again. It counts what it is made from, and always gives the same cells.
struct IDeferredSpreadsheet : ISpreadsheet {
  // Drops the cells. Names, formats and labels stay.
  virtual void Evict() = 0;

 protected:
  ~IDeferredSpreadsheet() = default;
};

// Makes the cells of a deferred sheet: names and numbers go through sheet. Returns 0, or not 0 for
// a failure, after which the sheet stays empty. Called by the host when the sheet is read, again
// after each Evict.
struct ISheetMaker : ICounted {
  virtual int MakeCells(ISpreadsheet* sheet) = 0;

 protected:
  ~ISheetMaker() = default;
};

// See IProcedure::CreateWorkSheet. Columns are immutable; names, long names and value labels may be
// set.
struct IWorkSheet : IDeferredSpreadsheet {
  // An analysis on this sheet. No selection and no weights until they are set. The caller releases
  // it; null when the host has no such analysis.
  virtual IProcedure* CreateProcedure(int analysisId) = 0;
  // A sheet of the module's making. Counts a reference of maker. The caller releases the sheet;
  // null when it cannot be made.
  virtual IDeferredSpreadsheet* CreateDeferredSpreadsheet(int rowCount, int columnCount,
                                                          ISheetMaker* maker) = 0;

 protected:
  ~IWorkSheet() = default;
};

}  // namespace vlm
