"""Bins of the characteristics of a loan, scored by how well they separate good loans from bad ones.

    velmora run samples/screening.py [DATA] [FOLDER]
"""
import os
import sys

import velmora

here = os.path.dirname(os.path.abspath(__file__))
file = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "german_credit.csv")
folder = sys.argv[2] if len(sys.argv) > 2 else "report"

app = velmora.Application
data = app.Open(file)

# Only loans of adults up to four years; the expression has the syntax of --select.
data.IncludeCases("age >= 18 And duration_months <= 48")
print(f"{data.SelectedCaseCount} of {data.CaseCount} cases")

analysis = app.Analyses.Add("Predictor screening")
startup = analysis.StartupDialog
startup.Variables = [
    [],  # response, continuous
    [],  # response, categorical
    data.VariableNumbers("risk"),  # response, binary
    data.VariableNumbers(["checking_account", "credit_history", "savings"]),  # predictors, categorical
    data.VariableNumbers(["amount", "duration_months", "age"]),  # predictors, continuous
]
startup.GoodCode = "good"
startup.BadCode = "bad"
startup.FactorCodes = "*"  # all levels of every categorical predictor
startup.SortByInfoValue = True
if not startup.OK():
    sys.exit("The screening failed.")

results = analysis.ResultsDialog
importance = results.BinaryResponseVariableImportance
best = importance.RowNames[0]
print("The best predictor is", best)

# The bins of the best predictor, printed and saved for a spreadsheet program.
results.SelectBinaryResponsePredictorString = best
bins = results.BinaryResponseCrosstabulation
for name, rate in zip(bins.RowNames, bins.ColumnValues(bins.ColumnNames.index("Bad Rate (Row)") + 1)):
    print(f"{name:20} {rate:.3f}")
os.makedirs(folder, exist_ok=True)
bins.Save(os.path.join(folder, "best_predictor.csv"))

# The whole report: page, workbook, JSON and CSV, as written by velmora screen --out.
analysis.WriteResults(folder, "html, xlsx, json, csv")
