' Ranks the predictors of a dependent variable through the automation server of Velmora:
'   cscript //nologo feature_selection.vbs house_prices.csv price report.html
' Every other usable variable of the table is a predictor.
Option Explicit

If WScript.Arguments.Count < 2 Then
  WScript.Echo "usage: cscript //nologo feature_selection.vbs DATA DEPENDENT [REPORT]"
  WScript.Quit 2
End If

Dim application, table, dependent
Set application = CreateObject("Velmora.Application")
Set table = application.Open(FullName(WScript.Arguments(0)))
dependent = table.VariableNumber(WScript.Arguments(1))

' The four lists: continuous and categorical dependents, continuous and categorical predictors.
Dim lists(3), number, kind
For number = 1 To table.VariableCount
  kind = 0
  If table.Measurement(number) = "categorical" Then kind = 1
  If number = dependent Then
    lists(kind) = number
  ElseIf table.IsUsable(number) Then
    lists(kind + 2) = lists(kind + 2) & " " & number
  End If
Next

Dim startup, results
Set startup = application.StartFeatureSelection()
startup.Variables = lists(0) & " | " & lists(1) & " | " & lists(2) & " | " & lists(3)
If startup.OK() = 0 Then
  Notices
  WScript.Quit 1
End If

Set results = application.Analyses(1).ResultsDialog
results.DisplayFixedNumberOfBestPredictors = 1
results.FixedNumberOfBestPredictors = 5

' One sheet per dependent, one row per predictor, with the statistic and its p-value in the columns.
Dim sheet, row, column, line
For Each sheet In results.Summary
  WScript.Echo sheet.Title
  For row = 1 To sheet.RowCount
    line = sheet.RowName(row)
    For column = 1 To sheet.ColumnCount
      line = line & "  " & sheet.ColumnName(column) & " " & Figure(sheet.Value(row, column))
    Next
    WScript.Echo line
  Next
Next
WScript.Echo "Best continuous predictors: " & Names(results.BestContinuousPredictors(dependent))
WScript.Echo "Best categorical predictors: " & Names(results.BestCategoricalPredictors(dependent))

If WScript.Arguments.Count > 2 Then
  Dim graph
  Set graph = results.HistogramOfImportanceForBestPredictors
  application.Outputs.Save FullName(WScript.Arguments(2))
  WScript.Echo "Report: " & WScript.Arguments(2)
End If

Function Names(numbers)
  Dim number
  Names = ""
  For Each number In numbers
    If Names <> "" Then Names = Names & ", "
    Names = Names & table.Variables(number).Name
  Next
End Function

' With three decimals, which is enough for a look at statistics and p-values.
Function Figure(number)
  If IsEmpty(number) Then
    Figure = "-"
  ElseIf number <> 0 And Abs(number) < 0.001 Then
    Figure = "below 0.001"
  Else
    Figure = Round(number, 3)
  End If
End Function

' Why there are no results.
Sub Notices()
  Dim index
  WScript.Echo "There are no results."
  For index = 1 To application.Outputs.NoticeCount
    WScript.Echo application.Outputs.Notice(index)
  Next
End Sub

' The server has another current folder, so it needs full names.
Function FullName(file)
  FullName = CreateObject("Scripting.FileSystemObject").GetAbsolutePathName(file)
End Function
