' CellValue as a script sees it: operators with operands of all sorts, and the fields.

Sub Operate(value, operation, operand)
  Select Case operation
    Case "Add" value.Add operand
    Case "Subtract" value.Subtract operand
    Case "Multiply" value.Multiply operand
    Case "Divide" value.Divide operand
    Case "Modulus" value.Modulus operand
    Case "Concatenate" value.Concatenate operand
    Case "Equals" value.Equals operand
    Case "NotEquals" value.NotEquals operand
    Case "BooleanAnd" value.BooleanAnd operand
    Case "BooleanOr" value.BooleanOr operand
    Case "BooleanXOr" value.BooleanXOr operand
    Case "GreaterThan" value.GreaterThan operand
    Case "LessThan" value.LessThan operand
    Case "GreaterThanEquals" value.GreaterThanEquals operand
    Case "LessThanEquals" value.LessThanEquals operand
  End Select
End Sub

' What an operator makes of the value, or raises.
Sub Row(value, operation, operand, expected)
  Dim raised
  On Error Resume Next
  Operate value, operation, operand
  raised = TakeError()
  On Error GoTo 0
  If raised <> "" Then
    Expect operation & " giving " & expected, expected, "raised " & raised
  Else
    Expect operation & " giving " & expected, expected, Show(value)
  End If
End Sub

Const kNoEquality = "a test for equality can not be performed on an operand of the resulting type"
Function Misfit(operator, test)
  Misfit = "error 80040201 CellValue." & operator & ": a test for " & test & _
           " can not be performed on an operand of the resulting type"
End Function

Dim day1, nothingAtAll
day1 = CDate(2)
Set nothingAtAll = Nothing

Row Number(1, 2), "Add", Number(10, 20), "number 11..22"
Row Number(1, 2), "Subtract", Number(10, 20), "number -9..-18"
Row Number(1, 2), "Multiply", -3, "number -3..-6"
Row Number(1, 2), "Multiply", Number(4, 5), "number 4..10"
Row Number(1, 3), "Divide", 2, "number 0.5..1.5"
Row Number(1, 3), "Divide", Number(2, 4), "number 0.5..0.75"
Row Number(7.5, 9), "Modulus", Number(2, 4), "number 0..1"
Row Number(7.5, 9), "Modulus", 2, "number 4..4.5"
Row Number(1, 2), "Add", "5", "number 6..7"
Row Number(1, 2), "Add", "five", "number 1..2"
Row Number(1, 2), "Modulus", "five", "number 1..2"
Row Number(1, 2), "Add", True, "number 0..1"
Row Number(1, 2), "Add", CByte(5), "number 6..7"
Row Number(1, 2), "Add", CCur(5.25), "number 6.25..7.25"
Row Number(1, 2), "Add", CSng(0.5), "number 1.5..2.5"
Row Number(1, 2), "Add", day1, "number 1..2"
Row Number(1, 2), "Add", Null, "number 1..2"
Row Number(1, 2), "Add", nothingAtAll, "number 1..2"
Row Number(1, 2), "Add", CreateObject("Scripting.Dictionary"), "number 1..2"
Row Number(1, 2), "Add", Array(1, 2), "number 1..2"
Row Number(1, 1), "Add", Text("5"), "number 1..1"
Row Text("5"), "Add", Number(1, 1), "number 6..6"
Row Text(""), "Add", Number(1, 1), "number 1..1"
Row Text("abc"), "Add", Number(1, 1), _
    "error 80040201 CellValue.ConvertToNumber: a value could not be converted into a number"
Row Failure(7), "Add", Failure(8), "error 7 s7: d7"
Row Number(1, 2), "Add", Failure(8), "error 8 s8: d8"

Row Text("abc"), "Add", 1, "raised 80040201 CellValue.Add: the value ""abc"" is not a number"
Row Text("abc"), "Subtract", 1, _
    "raised 80040201 CellValue.Subtract: the value ""abc"" is not a number"
Row Text("abc"), "Multiply", 1, _
    "raised 80040201 CellValue.Multiply: the value ""abc"" is not a number"
Row Text("abc"), "Divide", 1, "raised 80040201 CellValue.Divide: the value ""abc"" is not a number"
Row Text("abc"), "Modulus", 1, "raised 80040201 CellValue.Divide: the value ""abc"" is not a number"
Row Number(1, 2), "Divide", 0, "raised 11 KtFormula9: Division by zero"
Row Number(0, 2), "Divide", 0, "raised 6 KtFormula9: Overflow"
Row Number(1E308, 2), "Multiply", 10, "raised 6 KtFormula9: Overflow"
Row Number(5, 5), "Modulus", 0.4, "raised 11 KtFormula9: Division by zero"
Row Number(3E9, 5), "Modulus", 2, "raised 6 KtFormula9: Overflow"

Row Text("a"), "Concatenate", Text("b"), "string ab"
Row Text("a"), "Concatenate", 1.5, "string a1.5"
Row Text("a"), "Concatenate", True, "string aTrue"
Row Text("a"), "Concatenate", Empty, "string a"
Row Text("a"), "Concatenate", Null, "string a"
Row Truth(True), "Concatenate", Text("s"), "string trues"
Row Number(1, 2), "Concatenate", Text("s"), "string s"
Row Text("a"), "Concatenate", Failure(8), "error 8 s8: d8"

Row Number(1, 2), "Equals", Number(1, 2), "boolean true"
Row Number(5, 5), "Equals", "5", "boolean true"
Row Number(5, 5), "Equals", day1, Misfit("Equals", "numeric equality")
Row Number(5, 5), "NotEquals", "x", Misfit("Equals", "numeric equality")
Row Number(5, 5), "NotEquals", 6, "boolean true"
Row Text("a"), "Equals", "A", "boolean false"
Row Text("5"), "Equals", 5, Misfit("Equals", "string equality")
Row Truth(True), "Equals", "TRUE", "boolean true"
Row Truth(True), "Equals", True, Misfit("Equals", "boolean equality")
Row Structure("m"), "Equals", "m", "error 80040201 CellValue.Equals: " & kNoEquality
Row NewValue(), "Equals", Empty, "error 80040201 CellValue.Equals: " & kNoEquality
Row Number(1, 5), "GreaterThan", Number(0, 4), "boolean true"
Row Number(1, 5), "LessThan", Number(1, 9), "boolean false"
Row Number(1, 5), "GreaterThanEquals", Number(5, 9), "boolean true"
Row Number(1, 5), "LessThanEquals", Number(0, 1), "boolean true"
Row Number(1, 5), "LessThanEquals", "x", Misfit("Equals", "numeric greater than")
Row Number(1, 5), "LessThan", Null, Misfit("Equals", "numeric less than")
Row Text("b"), "GreaterThan", "a", "boolean true"
Row Text("b"), "LessThan", 1, Misfit("Equals", "string less than")
Row Truth(True), "BooleanAnd", "False", "boolean false"
Row Truth(True), "BooleanAnd", 1, Misfit("Equals", "boolean AND")
Row Truth(False), "BooleanOr", Number(7, 0), "boolean true"
Row Number(1, 1), "BooleanOr", "true", Misfit("BooleanOr", "boolean Or")
Row Truth(True), "BooleanXOr", Text("true"), "boolean false"
Row Truth(True), "BooleanXOr", Empty, Misfit("BooleanXOr", "boolean XOr")
Row Truth(True), "BooleanAnd", Text("maybe"), "raised 13 KtFormula9: Type mismatch"
Row Truth(True), "BooleanAnd", NewValue(), _
    "raised 13 CellValue.BooleanValue: an argument does not evaluate to a Boolean value"

' A failed operation keeps what it had done before: the lower bound of this division.
Dim value, copy
Set value = Number(1, 2)
On Error Resume Next
value.Divide Number(0, 4)
Expect "division", "11 KtFormula9: Division by zero", TakeError()
On Error GoTo 0
Expect "upper bound", 2, value.MaxNumber

' Setters write their own fields and leave the others.
Set value = Text("abc")
value.SetNumber 5, 2
value.SetMvrStructure "mvr"
value.SetError 5, "source", "description"
value.SetBoolean True
value.SetNumber 5, 2
Expect "fields", "abc? true 5 2 mvr 5 source description 3 True True 0 0", _
       "abc? " & value.Text & " " & value.MinNumber & " " & value.MaxNumber & " " & _
       value.MvrStructure & " " & value.ErrorNumber & " " & value.ErrorSource & " " & _
       value.ErrorDescription & " " & value.CellValueType & " " & value.IsBoolean & " " & _
       value.BooleanValue & " " & CDbl(value.MinDate) & " " & CDbl(value.MaxDate)
Expect "no property", True, value.ELNProperty Is Nothing
' Some engines tell the interface's name instead.
Expect "type name", "CellValue", Replace(TypeName(value), "IKtCellValue", "CellValue")
Expect "names in any case", 5, value.mInNuMbEr

Set copy = value.Duplicate
value.Add 1
Expect "a duplicate", "number 5..2", Show(copy)
Expect "its original", "number 6..3", Show(value)
Expect "an error's duplicate", "error -5 s-5: d-5", Replace(Show(Failure(-5).Duplicate), _
       "FFFFFFFB", "-5")
Dim unknown
Set unknown = NewValue()
On Error Resume Next
unknown.Duplicate
Expect "duplicate of an unknown value", _
       "13 CellValue.BooleanValue: an argument does not evaluate to a Boolean value", TakeError()
value.NoSuchMember
Expect "unknown member", 438, Err.Number
Err.Clear
value.MinNumber = 3
Expect "a read-only property", 438, Err.Number
Err.Clear
value.SetNumber 1
Expect "a missing argument", 450, Err.Number
Err.Clear
value.SetNumber "one", 2
Expect "a wrong argument", 13, Err.Number
Err.Clear
value.InitializeFromGridCell Nothing
Expect "no cell", "91 KtFormula9: Object variable not set", TakeError()
On Error GoTo 0
value.InitializeFromELNProperty Nothing
Expect "a value without a property", "unknown", Show(value)
Finish
