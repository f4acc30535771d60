"""Which variables of a table predict most of the others?

    velmora run samples/many_responses.py [DATA] [FOLDER]

Runs a feature selection for every continuous variable, with all other variables as predictors, and counts how often
each predictor is among the five best. The five most frequent become a variable bundle in a saved copy of the data,
and every dependent gets its own page.
"""
import collections
import os
import sys

import velmora

here = os.path.dirname(os.path.abspath(__file__))
file = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "schools.csv")
folder = sys.argv[2] if len(sys.argv) > 2 else "report"

app = velmora.Application
data = app.Open(file)
usable = [variable for variable in data.Variables if variable.Role == "usable"]
measured = [variable for variable in usable if variable.Measurement == "continuous"]

votes = collections.Counter()
for dependent in measured:
    others = [variable for variable in usable if variable.Number != dependent.Number]
    analysis = app.Analyses.Add("Feature selection")
    startup = analysis.StartupDialog
    startup.Variables = [
        [dependent.Number],
        [],
        [v.Number for v in others if v.Measurement == "continuous"],
        [v.Number for v in others if v.Measurement == "categorical"],
    ]
    if not startup.OK():
        print("Not analysed:", dependent.Name, file=sys.stderr)
        analysis.Close()
        continue
    results = analysis.ResultsDialog
    results.FixedNumberOfBestPredictors = 5
    best = results.BestContinuousPredictors(dependent.Number) + results.BestCategoricalPredictors(dependent.Number)
    votes.update(best)
    analysis.WriteResults(os.path.join(folder, dependent.Name), "html")
    analysis.Close()

leaders = [number for number, _ in votes.most_common(5)]
for number in leaders:
    print(f"{data.VariableName(number):20} among the five best for {votes[number]} of {len(measured)}")

data.AddBundle("predicts most", leaders)
data.Save(os.path.join(folder, "with_bundle.csv"))
