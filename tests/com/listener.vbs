' The creatable classes, and a FormulaListener's functions, trees and refusals.

Class Framework
End Class

Class Owner
  Public Function Description(flag)
    Description = "the section " & flag
  End Function
End Class

' A function that a host adds: twice its argument, which it evaluates itself.
Class DoubleFunction
  Public listener
  Public calls
  Public terminated
  Public lastArguments
  Public Sub Initialize(owningListener)
    Set listener = owningListener
  End Sub
  Public Sub ComputeValue(args, sco, TargetCellValue)
    calls = calls + 1
    Set lastArguments = args
    If args.Count <> 1 Then Err.Raise vbObjectError + 513, "Double", "one argument please"
    listener.EvaluateArgument TargetCellValue, args.Item(1), Nothing, sco, sco
    TargetCellValue.Multiply 2
  End Sub
  Public Sub Terminate
    terminated = terminated + 1
    Set listener = Nothing
  End Sub
End Class

Dim name, created
For Each name In Split("CellValue FormulaListener PropertyFormula DefaultFormulaFormat MinDigitFormulaFormat " & _
    "CountFunction IfFunction IsEnteredFunction MaxFunction MinFunction OnErrorFunction " & _
    "RowTagFunction SelectFunction SumFunction TagFunction")
  On Error Resume Next
  Set created = CreateObject("KtFormula9." & name)
  Expect name, "", TakeError()
  On Error GoTo 0
Next
For Each name In Split("FormulaToken TokenLayer Recordset")
  On Error Resume Next
  Set created = CreateObject("KtFormula9." & name)
  Expect name & " is not creatable", True, Err.Number <> 0
  Err.Clear
  On Error GoTo 0
Next

' A function created alone tells what it misses, by raising it or as its value.
Dim target, row, fields, raised
For Each row In Array( _
    "Sum|raised 80040201 SumFunction.IKtFormulaFunction_ComputeValue: " & _
    "the sum function requires one argument", _
    "If|error 80040201 IfFunction.IKtFormulaFunction_ComputeValue: " & _
    "the If function requires three arguments", _
    "RowTag|raised 80040201 RowTagFunction.IKtFormulaFunction_ComputeValue: " & _
    "the row tag function requires one argument")
  fields = Split(row, "|")
  Set created = CreateObject("KtFormula9." & fields(0) & "Function")
  Set target = NewValue()
  On Error Resume Next
  created.ComputeValue Nothing, Nothing, target
  raised = TakeError()
  If raised = "" Then raised = Show(target) Else raised = "raised " & raised
  Expect fields(0) & " without arguments", fields(1), raised
  created.ComputeValue Nothing, Nothing, Nothing
  Expect fields(0) & " without a target", 91, Err.Number
  Err.Clear
  created.ComputeValue New Owner, Nothing, target
  Expect fields(0) & " of something else", 13, Err.Number
  Err.Clear
  On Error GoTo 0
  created.Terminate
Next

Dim listener
Set listener = CreateObject("KtFormula9.FormulaListener")
Expect "no functions before Initialize", 0, listener.FormulaFunctions.Count
On Error Resume Next
listener.Initialize Nothing, Nothing, Nothing
Expect "Initialize without a host",  _
       "91 FormulaListener.IKtFieldListener_Initialize/KtFormula9: Object variable not set", TakeError()
listener.Recalculate New Owner, Nothing
Expect "Recalculate before Initialize", "91 KtFormula9: Object variable not set", TakeError()
On Error GoTo 0
listener.Initialize New Framework, New Owner, Nothing

Dim functions
Set functions = listener.FormulaFunctions
Expect "functions in order", "COUNT IF ISENTERED MAX MIN ONERROR SELECT SUM TAG", _
       JoinKeys(functions)
Expect "one dictionary", True, listener.FormulaFunctions Is functions
Expect "the function of a name", True, listener.FormulaFunction("sum") Is functions.Item("SUM")
On Error Resume Next
listener.FormulaFunction "Foo"
Expect "an unknown function", _
       "80040201 FormulaListener.FormulaFunction: the function ""Foo"" is not recognized", _
       TakeError()
listener.Initialize New Framework, New Owner, Nothing
Expect "functions that are registered already", "FormulaListener.IKtFieldListener_Initialize/" & _
       "KtFormula9", Err.Source
Err.Clear
listener.MakeTokenTree "(1"
Expect "a formula that is none", "80040201 ", Left(TakeError(), 9)
On Error GoTo 0

' A tree in one line: tokens as kind and text, layers in brackets.
Function Walk(layer)
  Dim i
  For i = 1 To layer.Count
    Walk = Walk & " " & ShowItem(layer.Item(i))
  Next
  Walk = "[" & Trim(Walk) & "]"
End Function
Function WalkEach(layer)
  Dim item
  For Each item In layer
    WalkEach = WalkEach & " " & ShowItem(item)
  Next
  WalkEach = "[" & Trim(WalkEach) & "]"
End Function
Function ShowItem(item)
  Dim kind
  On Error Resume Next
  kind = item.TokenType
  If Err.Number = 0 Then
    ShowItem = kind & ":" & item.TokenText
  Else
    Err.Clear
    ShowItem = Walk(item)
  End If
End Function

Dim tree, kind
For Each row In Array("1+2*[a b]|[4:1 5:+ [4:2 5:* 3:a b]]", "'x' & Sum([a], b)|" & _
    "[2:x 5:& [9:Sum [3:a 1:b]]]", "|[]")
  fields = Split(row, "|")
  Set tree = listener.MakeTokenTree(fields(0))
  Expect fields(0), fields(1), Walk(tree)
  Expect fields(0) & " For Each", Walk(tree), WalkEach(tree)
Next
Set tree = listener.MakeTokenTree("SUM(1)")
Expect "a token's function", True, tree.Item(1).TokenFunction Is functions.Item("SUM")
On Error Resume Next
Set target = tree.Item(0)
Expect "items count from 1", 9, Err.Number
Err.Clear
Set target = tree.Item(3)
Expect "items end", 9, Err.Number
Err.Clear
On Error GoTo 0

' What a host may do with a formula of its own.
Dim formula, odd
Set formula = CreateObject("KtFormula9.PropertyFormula")
Expect "a new formula", "|| True", formula.Formula & "|" & formula.StringFormat & "| " & _
       (formula.TokenTree Is Nothing)
formula.Formula = "1 + 2"
formula.StringFormat = "0.0"
Set formula.TokenTree = tree
Expect "a formula's members", "1 + 2|0.0| True", formula.Formula & "|" & formula.StringFormat & _
       "| " & (formula.TokenTree Is tree)
For Each odd In Array(tree.Item(2), tree.Item(1), functions, formula, New Owner)
  On Error Resume Next
  Set formula.TokenTree = odd
  Expect TypeName(odd) & " for a tree", 13, Err.Number
  Err.Clear
  On Error GoTo 0
Next
For Each odd In Array("1 + 2", 5, Empty, Null)
  On Error Resume Next
  formula.TokenTree = odd
  Expect TypeName(odd) & " for a tree", 13, Err.Number
  Err.Clear
  On Error GoTo 0
Next
Expect "the tree that was not replaced", True, formula.TokenTree Is tree
Set formula.TokenTree = Nothing
Expect "no tree", True, formula.TokenTree Is Nothing
Expect "one dictionary of formulas", True, listener.PropertyFormulas Is listener.PropertyFormulas
Expect "one dictionary of definitions", True, listener.Definitions Is listener.Definitions
listener.Definitions.Add "d", formula
listener.SetDefinition "e", "1"
Expect "an entry that others changed", "d e", JoinKeys(listener.Definitions)
Expect "a host's definition stays as it is", True, listener.Definitions.Item("d") Is formula

' A formula's value outside any table.
Function Evaluated(formula)
  Set Evaluated = NewValue()
  listener.EvaluateArgument Evaluated, listener.MakeTokenTree("(" & formula & ")").Item(1), _
      Nothing, Nothing, Nothing
End Function

Dim double
Set double = New DoubleFunction
double.Initialize listener
functions.Add "DOUBLE", double
Expect "the added function", True, listener.FormulaFunction("Double") Is double
For Each row In Array("1 + 2|number 3..3", "Double(20 + 1) + 0.5|number 42.5..42.5", _
    "IF(1 > 2, 'a', 'b')|string b", "ONERROR(Double(), 7)|number 7..7", "not 1 = 2|boolean true", _
    "double('a')|raised by a script 80040201", "Double(1, 2)|raised by a script 80040201", _
    "1 / 0|raised 11 KtFormula9: Division by zero", _
    "foo(1)|raised 80040201 FormulaPListener.EvaluateTokenTreeLayer: " & _
    "the string ""foo"" is not recognized", _
    "[nowhere]|raised 80040201 CellValue.ReferenceValue: " & _
    "the object of type ""Nothing"" can not be converted into a value")
  fields = Split(row, "|")
  On Error Resume Next
  Set target = Evaluated(fields(0))
  raised = TakeError()
  On Error GoTo 0
  ' Some engines keep an error's source and description to themselves.
  If Left(fields(1), 18) = "raised by a script" Then raised = "by a script " & Left(raised, 8)
  If raised = "" Then raised = Show(target) Else raised = "raised " & raised
  Expect fields(0), fields(1), raised
Next
Expect "calls", 4, double.calls
On Error Resume Next
kind = double.lastArguments.Count
Expect "a call's arguments end with it", 91, Err.Number
Err.Clear
listener.EvaluateArgument target, Nothing, Nothing, Nothing, Nothing
Expect "no item", 91, Err.Number
Err.Clear
listener.EvaluateArgument target, New Owner, Nothing, Nothing, Nothing
Expect "an item that is none", 13, Err.Number
Err.Clear
On Error GoTo 0
Expect "no definitions outside a pass", True, listener.DefinedValue("x") Is Nothing

' What a configuration object and a stored object answer.
listener.Name = "Yield"
listener.Key = 7
Expect "itself", True, listener.Object Is listener
Expect "description", "Field Listener ""Yield"" of the section 3", listener.Description(3)
On Error Resume Next
listener.ResolveType "table", Nothing
Expect "a type", "80040201 FormulaListener.IKtObject_ResolveType: the type ""table"" cannot be " & _
       "resolved from Field Listener ""Yield"" of the section 0", TakeError()
listener.ResolveObject New Owner, "row"
Expect "an object", "80040201 FormulaListener.IKtObject_ResolveObject: the type ""row"" cannot be " & _
       "resolved from Field Listener ""Yield"" of the section 0", TakeError()
listener.Execute Nothing, Nothing
Expect "no command", 91, Err.Number
Err.Clear
listener.Execute New Owner, Nothing
Expect "a command that is no node", 13, Err.Number
Err.Clear
On Error GoTo 0
Expect "finds nothing", True, listener.FindObject("a", "b", Nothing) Is Nothing
Expect "requests nothing", True, listener.Request(1, "a", Nothing) Is Nothing
listener.Attach Nothing
listener.Inform 1, "a"
listener.Notification16 Nothing, Nothing

listener.Terminate
Expect "functions after Terminate", "0 1", functions.Count & " " & double.terminated
Expect "definitions after Terminate", 0, listener.Definitions.Count
listener.Terminate
Set double = Nothing

' What a host leaves among the functions, of whatever kind, does not stop a listener's end.
Dim key
For Each key In Array("X", 5, New Owner)
  Set listener = CreateObject("KtFormula9.FormulaListener")
  listener.Initialize New Framework, New Owner, Nothing
  Set double = New DoubleFunction
  listener.FormulaFunctions.Add key, 5
  listener.FormulaFunctions.Add "DOUBLE", double
  On Error Resume Next
  listener.Terminate
  Expect TypeName(key) & " among the functions", "", TakeError()
  On Error GoTo 0
  Expect TypeName(key) & ": functions after Terminate", "0 1", _
         listener.FormulaFunctions.Count & " " & double.terminated
  listener.FormulaFunctions.Add key, 5
  Set listener = Nothing
Next

' A function that its host has taken out and kept is told of the listener's end like the others.
Dim sum, layer, argument, result
Set listener = CreateObject("KtFormula9.FormulaListener")
listener.Initialize New Framework, New Owner, Nothing
Set sum = listener.FormulaFunction("SUM")
Set layer = listener.MakeTokenTree("SUM([a], [b], [c] = 1)").Item(2)
Set argument = listener.MakeTokenTree("IF(1 = 1, 2, 3)")
Set double = listener.FormulaFunction("IF")
listener.FormulaFunctions.RemoveAll
Set listener = Nothing
Set result = CreateObject("KtFormula9.CellValue")
double.ComputeValue argument.Item(2), Nothing, result
Expect "IF without its listener", "number 2..2", Show(result)
On Error Resume Next
sum.ComputeValue layer, Nothing, result
Expect "SUM without its listener", True, Err.Number <> 0 Or result.CellValueType = 1
Err.Clear
On Error GoTo 0
Finish
