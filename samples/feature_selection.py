"""Which characteristics of a loan are related to its repayment?

    velmora run samples/feature_selection.py [DATA] [FOLDER]

From the data file to a report on disk, with the steps of the dialogs: open the data, choose variables, press OK,
choose the outputs, save.
"""
import os
import sys

import velmora

here = os.path.dirname(os.path.abspath(__file__))
file = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "german_credit.csv")
folder = sys.argv[2] if len(sys.argv) > 2 else "report"

# velmora.Application is the workbench. help(velmora.Application) lists its members.
app = velmora.Application
data = app.Open(file)
print(f"{data.CaseCount} cases of {len(data.Variables)} variables")

# Predictors: all usable variables, separated by their measurement.
predictors = [v for v in data.Variables if v.Role == "usable" and v.Name != "risk"]
continuous = [v.Number for v in predictors if v.Measurement == "continuous"]
categorical = [v.Number for v in predictors if v.Measurement == "categorical"]

# The analysis opens its startup dialog, whose properties correspond to its controls.
analysis = app.Analyses.Add("Feature selection")
startup = analysis.StartupDialog
startup.Variables = [
    [],  # dependents, continuous
    data.VariableNumbers("risk"),  # dependents, categorical
    continuous,
    categorical,
]
startup.NumberOfCutsForContinuousPredictor = 10
if not startup.OK():  # runs the analysis; the startup dialog is then closed
    sys.exit("The feature selection failed.")

# The results dialog: the number of predictors to show, and the outputs of its buttons.
results = analysis.ResultsDialog
results.FixedNumberOfBestPredictors = 5
results.DisplayFixedNumberOfBestPredictors = True
results.HistogramOfImportanceForBestPredictors

table = results.Summary[0]  # one spreadsheet for each dependent variable
for name, statistic in zip(table.RowNames, table.ColumnValues(1)):
    print(f"{name:20} {statistic:.4f}")

# Documents are added to the workbook as they are made; here they are saved as one page.
os.makedirs(folder, exist_ok=True)
app.Workbook.Title = "Characteristics of good and bad loans"
app.Workbook.Save(os.path.join(folder, "loans.html"))
print("Written:", os.path.join(folder, "loans.html"))
