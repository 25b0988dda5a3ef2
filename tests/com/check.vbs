' What all scripts share: the runner puts this file in front of each of them. A script says what it
' found wrong and ends with Finish. Some engines end with 0 when they can not even read a script,
' so that one which has passed ends with a code of its own.
Const kPassed = 10
Const kFailed = 1
Dim failures
failures = 0

Sub Expect(what, expected, actual)
  If CStr(expected) = CStr(actual) Then Exit Sub
  failures = failures + 1
  WScript.Echo what & vbCrLf & "  expected: " & expected & vbCrLf & "  actual:   " & actual
End Sub

Sub Finish
  If failures > 0 Then WScript.Quit kFailed
  WScript.Quit kPassed
End Sub

' An error number as messages show it: failure codes in hexadecimal digits.
Function ShowNumber(number)
  If number < 0 Then ShowNumber = Hex(number) Else ShowNumber = CStr(number)
End Function

' The pending error, which it clears, or else "".
Function TakeError()
  TakeError = ""
  If Err.Number <> 0 Then
    TakeError = ShowNumber(Err.Number) & " " & Err.Source & ": " & Err.Description
  End If
  Err.Clear
End Function

' A CellValue's kind and the fields of that kind.
Function Show(value)
  Select Case value.CellValueType
    Case 0 Show = "unknown"
    Case 1 Show = "error " & ShowNumber(value.ErrorNumber) & " " & value.ErrorSource & ": " & _
                  value.ErrorDescription
    Case 2 Show = "string " & value.Text
    Case 3 Show = "number " & value.MinNumber & ".." & value.MaxNumber
    Case 4 Show = "date " & CDbl(value.MinDate) & ".." & CDbl(value.MaxDate)
    Case 5 Show = "boolean " & value.Text
    Case 6 Show = "structure " & value.MvrStructure
  End Select
End Function

Function JoinKeys(dictionary)
  Dim key
  For Each key In dictionary.Keys
    JoinKeys = JoinKeys & " " & key
  Next
  JoinKeys = Trim(JoinKeys)
End Function

Function NewValue()
  Set NewValue = CreateObject("KtFormula9.CellValue")
End Function
Function Number(minimum, maximum)
  Set Number = NewValue()
  Number.SetNumber minimum, maximum
End Function
Function Text(content)
  Set Text = NewValue()
  Text.SetString content
End Function
Function Truth(content)
  Set Truth = NewValue()
  Truth.SetBoolean content
End Function
Function Failure(number)
  Set Failure = NewValue()
  Failure.SetError number, "s" & number, "d" & number
End Function
Function Structure(content)
  Set Structure = NewValue()
  Structure.SetMvrStructure content
End Function
