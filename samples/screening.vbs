' Cuts the predictors of a binary response into bins and scores them, through the automation server of Velmora:
'   cscript //nologo screening.vbs german_credit.csv risk good bad report.html
Option Explicit

If WScript.Arguments.Count < 4 Then
  WScript.Echo "usage: cscript //nologo screening.vbs DATA RESPONSE GOOD BAD [REPORT]"
  WScript.Quit 2
End If

Dim application, table, response
Set application = CreateObject("Velmora.Application")
Set table = application.Open(FullName(WScript.Arguments(0)))
response = table.VariableNumber(WScript.Arguments(1))

' The five lists: continuous, categorical and binary responses, categorical and continuous predictors.
Dim categorical, continuous, codes, number
For number = 1 To table.VariableCount
  If number <> response Then
    If table.IsUsable(number) Then
      If table.Measurement(number) = "categorical" Then
        If Not IsEmpty(categorical) Then codes = codes & " | "
        categorical = categorical & " " & number
        codes = codes & "*"
      Else
        continuous = continuous & " " & number
      End If
    End If
  End If
Next

Dim startup, results
Set startup = application.StartScreening()
startup.Variables = " |  | " & response & " | " & categorical & " | " & continuous
startup.FactorCodes = codes  ' all levels of each categorical predictor
startup.GoodCode = WScript.Arguments(2)
startup.BadCode = WScript.Arguments(3)
startup.SortByInfoValue = 1
If startup.OK() = 0 Then
  Notices
  WScript.Quit 1
End If

Set results = application.Analyses(1).ResultsDialog
Dim sheet, row, column, line
Set sheet = results.BinaryResponseVariableImportance
WScript.Echo sheet.Title
For row = 1 To sheet.RowCount
  line = sheet.RowName(row)
  For column = 1 To sheet.ColumnCount
    line = line & "  " & sheet.ColumnName(column) & " " & Figure(sheet.Value(row, column), sheet.Text(row, column))
  Next
  WScript.Echo line
Next

If WScript.Arguments.Count > 4 Then
  application.Outputs.Save FullName(WScript.Arguments(4))
  WScript.Echo "Report: " & WScript.Arguments(4)
End If

' A number with three decimals; a cell of text as it is.
Function Figure(number, text)
  If IsNumeric(text) And Not IsEmpty(number) Then
    Figure = Round(number, 3)
  Else
    Figure = text
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
