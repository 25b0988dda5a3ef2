' A host whose objects are all a script's: one table of a notebook, what stands around it, and what
' a listener makes of it.

' What the host was asked for, in order.
Dim trace
Sub Note(what)
  trace = trace & " " & what
End Sub
Function Traced()
  Traced = Trim(trace)
  trace = ""
End Function

Class Unit
  Public QuantityName
  Public UnitText
  Public Factor
  Public Function FromBase(value)
    FromBase = value * Factor
  End Function
End Class

Class UnitCatalogue
  Public Function Find(name)
    Set Find = Nothing
    Select Case name
      Case "g" Set Find = MakeUnit("mass", name, 1000)
      Case "mg" Set Find = MakeUnit("mass", name, 1000000)
      Case "mol" Set Find = MakeUnit("moles", name, 1)
      Case Chr(181) & "mol" Set Find = MakeUnit("moles", name, 1000000)
      Case "mmol" Set Find = MakeUnit("moles", name, 1000)
    End Select
  End Function
End Class

Function MakeUnit(quantity, name, factor)
  Set MakeUnit = New Unit
  MakeUnit.QuantityName = quantity
  MakeUnit.UnitText = name
  MakeUnit.Factor = factor
End Function

Class Definition
  Public Key
  Public Name
  Public DataTypeName
  Public NumberFormatting
  Public Quantity
  Public DefaultUnit
  Public Property Get IsNumeric
    IsNumeric = (DataTypeName = "number")
  End Property
  Public Property Get HasUnits
    HasUnits = Not DefaultUnit Is Nothing
  End Property
End Class

Class Cell
  Public ELNProperty
  Public Row
  Public Text
  Public MinNumber
  Public MaxNumber
  Public StateText
  Public Tag
  Public Kind
  Public StructureText
  Public Property Get TypeName
    TypeName = "TableCell"
  End Property
  Public Property Get Key
    Key = ELNProperty.Quantity
  End Property
  Public Property Get UnitName
    If ELNProperty.HasUnits Then UnitName = ELNProperty.DefaultUnit.UnitText Else UnitName = ""
  End Property
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  Public Function ResolveRelative(parts)
    If parts = "parent" Then Set ResolveRelative = Row Else Set ResolveRelative = Row.Table.Seen(parts)
  End Function
  ' No more fields are around.
  Public Property Get Scope
    Set Scope = Nothing
  End Property
End Class

Class Row
  Public Table
  Public Cells
  Public Kind
  Public Property Get TypeName
    TypeName = "TableRow"
  End Property
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  Public Function ResolveRelative(parts)
    Set ResolveRelative = Table.Seen(parts)
  End Function
  Public Function Cell(column)
    Set Cell = Cells.Item(column.ELNProperty.Name)
  End Function
  Public Function Tag(name)
    Tag = ""
    If name = "role" Then Tag = Cells.Item("Name").Text
  End Function
End Class

Class Column
  Public Table
  Public ELNProperty
  Public Kind
  Public Property Get CellCount
    Note "cells"
    CellCount = Table.Rows.Count
  End Property
  Public Function Cell(index)
    Note "cell" & index
    Set Cell = Table.Rows.Item(index).Cell(Me)
  End Function
End Class

Class Table
  Public Columns
  Public Rows
  Public Kind
  Public Property Get ColumnCount
    Note "columns"
    ColumnCount = Columns.Count
  End Property
  Public Property Get RowCount
    Note "rows"
    RowCount = Rows.Count
  End Property
  Public Function Column(index)
    Dim all
    Note "column" & index
    all = Columns.Items
    Set Column = all(index - 1)
  End Function
  Public Function Row(index)
    Note "row" & index
    Set Row = Rows.Item(index)
  End Function
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  Public Function ResolveRelative(parts)
    Set ResolveRelative = Seen(parts)
  End Function
  ' What a name denotes for the table, its cells and rows.
  Public Function Seen(name)
    Set Seen = Nothing
    If name = "Reactants" Then Set Seen = Me
    If Columns.Exists(name) Then Set Seen = Columns.Item(name)
  End Function
  Public Sub AddColumn(key, name, dataType, formatted, quantity, unit)
    Dim added
    Set added = New Column
    Set added.Table = Me
    added.Kind = 3
    Set added.ELNProperty = New Definition
    added.ELNProperty.Key = key
    added.ELNProperty.Name = name
    added.ELNProperty.DataTypeName = dataType
    added.ELNProperty.NumberFormatting = formatted
    added.ELNProperty.Quantity = quantity
    Set added.ELNProperty.DefaultUnit = unit
    Columns.Add name, added
  End Sub
  Public Sub AddRow()
    Dim added, name, cell
    Set added = New Row
    Set added.Table = Me
    added.Kind = 1
    Set added.Cells = CreateObject("Scripting.Dictionary")
    For Each name In Columns.Keys
      Set cell = New Cell
      Set cell.ELNProperty = Columns.Item(name).ELNProperty
      Set cell.Row = added
      cell.Kind = 0
      cell.StateText = ""
      added.Cells.Add name, cell
    Next
    Rows.Add Rows.Count + 1, added
    Clear Rows.Count, "Result"
  End Sub
  Public Sub Enter(index, name, text, number)
    Dim cell
    Set cell = Row(index).Cells.Item(name)
    cell.Text = text
    cell.MinNumber = number
    cell.MaxNumber = number
    cell.StateText = "entered"
    cell.Tag = "entered"
  End Sub
  Public Sub Clear(index, name)
    Enter index, name, "", 0
    Row(index).Cells.Item(name).StateText = ""
    Row(index).Cells.Item(name).Tag = ""
  End Sub
  Public Function Texts(name)
    Dim index
    Texts = Row(1).Cells.Item(name).Text
    For index = 2 To Rows.Count
      Texts = Texts & "|" & Row(index).Cells.Item(name).Text
    Next
  End Function
  Public Sub Dismantle()
    Dim index
    For index = 1 To Rows.Count
      Rows.Item(index).Cells.RemoveAll
    Next
    Rows.RemoveAll
    Columns.RemoveAll
  End Sub
End Class

' Writes into the cells and can be told to do something else first.
Class Grid
  Public Mischief
  Public Finished
  Public Sub WriteText(cell, text, flag)
    Misbehave
    cell.Text = text
    If flag Then cell.Text = cell.Text & " (value)"
  End Sub
  Public Sub ClearNumber(cell)
    cell.MinNumber = 0
    cell.MaxNumber = 0
    cell.Tag = "cleared"
  End Sub
  Public Sub SetValue(cell, value, pattern, unitName)
    cell.Text = Int(value * 1000000 + 0.5) / 1000000 & " as " & pattern & " in " & unitName
    cell.MinNumber = value
    cell.MaxNumber = value
  End Sub
  Public Sub FinishCell(cell)
    Finished = Finished + 1
  End Sub
  Private Sub Misbehave
    Dim what
    what = Mischief
    Mischief = ""
    Select Case what
      Case "fail" Err.Raise 1234, "Grid", "the grid is stuck"
      Case "recalculate" listener.Recalculate book, Nothing
      Case "terminate" listener.Terminate
      Case "release" Set listener = Nothing
      Case "forget" listener.SetPropertyFormula kResult, "", ""
      Case "reword" Reword listener.PropertyFormulas.Item("15"), "'s'"
      Case "misword" Reword listener.PropertyFormulas.Item("15"), "("
      Case "replace" Exchange listener.PropertyFormulas, "15", NewFormula("'s'")
    End Select
  End Sub
End Class

Class Field
  Public Key
  Public Description
  Public OwnTable
  Public Property Get Table
    Note "table"
    Set Table = OwnTable
  End Property
End Class

' The form with its one section, the section's one field, and what stands on the form for it.
Class Notebook
  Public Field
  Public Grid
  Public Property Get Object
    Note "grid"
    Set Object = Grid
  End Property
  Public Property Get Count
    Note "fields"
    Count = 1
  End Property
  Public Function Item(index)
    Note "field" & index
    Set Item = Field
  End Function
  Public Property Get WatchedField
    Note "watched"
    Set WatchedField = Field
  End Property
  Public Property Get WatchedProperties
    Set WatchedProperties = New Definitions
  End Property
  Public Property Get ELNProperties
    Note "properties"
    Set ELNProperties = New Definitions
  End Property
  Public Function Description(flag)
    Description = "the section"
  End Function
  Public Property Get FormObject
    Note "form"
    Set FormObject = Me
  End Property
  Public Function HolderOf(watched)
    Note "holder"
    Expect "the watched field", True, watched Is Field
    Set HolderOf = Me
  End Function
End Class

Class Definitions
  Public Property Get Count
    Count = reactants.Columns.Count
  End Property
  Public Function Item(index)
    Dim all
    all = reactants.Columns.Items
    Set Item = all(index - 1).ELNProperty
  End Function
  Public Function Find(name)
    Set Find = Nothing
    If reactants.Columns.Exists(name) Then Set Find = reactants.Columns.Item(name).ELNProperty
  End Function
End Class

Class Framework
  Public Property Get Units
    Set Units = New UnitCatalogue
  End Property
  Public Function CreateObject(name)
    Set CreateObject = MakeObject(name)
  End Function
  Public Property Get Database
    Set Database = store
  End Property
  Public Property Get Configuration
    Set Configuration = store
  End Property
  Public Sub RequestSave(object, text)
    store.Note = text
  End Sub
End Class
Function MakeObject(name)
  Note "create"
  Set MakeObject = Nothing
  If name = "Script.Format" Then Set MakeObject = New Format
  If Left(name, 11) = "KtFormula9." Then Set MakeObject = CreateObject(name)
End Function

' A result format of the host's own.
Class Format
  Private owner_
  Public Sub Initialize(framework, owner, service)
    Note "initialize"
    Set owner_ = owner
  End Sub
  Public Sub SetGridCellValue(control, cell, value, pattern, digits, units)
    Expect "the format's owner", True, owner_ Is book
    cell.Text = value & " by script " & pattern & " " & digits & " " & units.Item("moles")
  End Sub
End Class

' The database with its one row, what differs between databases, and the configuration helper.
Class Database
  Public Sql
  Public Note
  Public Stored
  Public IsEmpty
  Public Values
  Public Sub Execute(statement)
    Sql = statement
  End Sub
  Public Function OpenRecordset(statement)
    Sql = statement
    Set OpenRecordset = New Recordset
  End Function
  Public Function KeyColumnFragment(column)
    KeyColumnFragment = column & ", "
  End Function
  Public Function NextKeyExpression(sequence)
    NextKeyExpression = "next of " & sequence & ", "
  End Function
  Public Function Quote(text)
    Quote = "'" & Replace(text, "'", "''") & "'"
  End Function
  Public Sub Store(object, target)
    Set Stored = object
  End Sub
  Public Sub RefreshObject(key)
    Note = "refresh " & key
  End Sub
End Class
Class Recordset
  Public Property Get Fields
    Set Fields = Me
  End Property
  Public Function Item(name)
    Set Item = New RecordsetField
    Item.Name = name
  End Function
  Public Property Get EOF
    EOF = store.IsEmpty
  End Property
  Public Sub Update
    store.Note = "updated"
  End Sub
End Class
Class RecordsetField
  Public Name
  Public Property Get Value
    Value = store.Values.Item(Name)
  End Property
  Public Property Let Value(content)
    store.Values.Item(Name) = content
  End Property
End Class

Const kMoles = 14
Const kResult = 15

Dim reactants, book, grid, listener, store
Set reactants = New Table
reactants.Kind = 2
Set reactants.Columns = CreateObject("Scripting.Dictionary")
Set reactants.Rows = CreateObject("Scripting.Dictionary")
reactants.AddColumn 11, "Name", "string", False, "", Nothing
reactants.AddColumn 12, "Mass", "number", True, "mass", MakeUnit("mass", "g", 1000)
reactants.AddColumn 13, "MW", "number", False, "", Nothing
reactants.AddColumn kMoles, "Moles", "number", True, "moles", MakeUnit("moles", "mol", 1)
reactants.AddColumn kResult, "Result", "number", False, "", Nothing
reactants.AddRow
reactants.AddRow
reactants.AddRow
reactants.Enter 1, "Mass", "1.220 g", 0.00122
reactants.Enter 2, "Mass", "12 mg", 0.000012
reactants.Enter 1, "MW", "0.12212", 0.12212
reactants.Enter 2, "MW", "0.24", 0.24
reactants.Enter 3, "MW", "0.50", 0.5
reactants.Row(1).Cells.Item("Name").Text = "acid"
reactants.Row(2).Cells.Item("Name").Text = "base"
reactants.Clear 3, "Mass"
For Each index In Array(1, 2, 3)
  reactants.Clear index, "Moles"
Next

Set store = New Database
store.IsEmpty = False
Set store.Values = CreateObject("Scripting.Dictionary")
Set grid = New Grid
Set book = New Notebook
Set book.Field = New Field
book.Field.Key = 5
book.Field.Description = "table Reactants"
Set book.Field.OwnTable = reactants
Set book.Grid = grid

Sub NewListener
  Set listener = CreateObject("KtFormula9.FormulaListener")
  listener.Initialize New Framework, book, store
  listener.SetDefinition "total", "SUM([MW])"
  listener.SetDefinition "itself", "[itself] + 1"
End Sub
NewListener

Function Thrice(text)
  Thrice = text & "|" & text & "|" & text
End Function

' What a formula makes of the column Result.
Dim row, index, parts
For Each row In Array( _
    "[Mass] * 1000~1.22 (value)|0.012 (value)|0 (value)", _
    "[Mass] & ' net'~1.220 g net|12 mg net| net", _
    "'text'~text|text|text", _
    "[Name] & '!'~acid!|base!|!", _
    "1 = 1~" & Thrice("true (value)"), _
    "1 / [Mass]~819.672131147541 (value)|83333.3333333333 (value)|#Error: Division by zero", _
    "foo(1)~" & Thrice("#Error: the string ""foo"" is not recognized"), _
    "[Nowhere]~" & Thrice("#Error: the object of type ""Nothing"" can not be converted into a value"), _
    "[parent]~" & Thrice("#Error: the object of type ""TableRow"" can not be converted into a value"), _
    "SUM([MW])~" & Thrice("0.86212 (value)"), _
    "COUNT([Reactants], [MW] > 0.2)~" & Thrice("2 (value)"), _
    "MAX([MW], [Reactants], [Name] <> '')~" & Thrice("0.24 (value)"), _
    "SELECT([Name], [Reactants], [MW] = 0.24)~" & Thrice("base"), _
    "IF(ISENTERED([Mass]), TAG([MW]), 'no')~entered|entered|no", _
    "[total] - 0.36212~" & Thrice("0.5 (value)"), _
    "[itself]~" & Thrice("#Error: the definition ""itself"" refers to itself"), _
    "~||")
  parts = Split(row, "~")
  For Each index In Array(1, 2, 3)
    reactants.Clear index, "Result"
  Next
  listener.SetPropertyFormula kResult, parts(0), ""
  listener.TableNotification book, Nothing
  Expect parts(0), parts(1), reactants.Texts("Result")
Next

' A cell with the user's own text stays, one with a number loses it before a text is written.
reactants.Enter 1, "Result", "mine", 5
reactants.Enter 2, "Result", "7", 7
reactants.Row(2).Cells.Item("Result").StateText = "Entered"
grid.Finished = 0
listener.SetPropertyFormula kResult, "'x'", ""
listener.Recalculate book, Nothing
Expect "entered cells", "mine|x|x 2 0", reactants.Texts("Result") & " " & grid.Finished & _
       " " & reactants.Row(2).Cells.Item("Result").MinNumber
reactants.Clear 1, "Result"
listener.SetPropertyFormula kResult, "", ""

' How formatted numbers are shown: by the format of this name, with this pattern of the user's.
For Each row In Array( _
    "~[Mass] / [MW]~~0.00999 as 0.0 in mmol|5E-05 as 0.000 in mmol|0 as 0.0 in mmol", _
    "~[Mass] / [MW]~0.0##~0.00999 as 0.0## in mmol|5E-05 as 0.0## in mmol|0 as 0.0## in mmol", _
    "~0.1234~%~" & Thrice("0.1234 as 0.00 in "), _
    "KtFormula9.MinDigitFormulaFormat~[Mass] / [MW]~~0.00999 as 0.00 in mmol|" & _
    "5E-05 as 0.000 in mmol|0 as 0.00 in " & Chr(181) & "mol", _
    "Script.Format~2 * 3~p~6 by script p 2 mmol|6 by script p 2 mmol|6 by script p 2 mmol", _
    "Unknown.Format~2~~" & Thrice("2 as 0000 in mmol"), _
    "~'text'~~" & Thrice("text"), _
    "~1 / 0~~" & Thrice("#Error: Division by zero"))
  parts = Split(row, "~")
  listener.ResultFormat = parts(0)
  listener.SetPropertyFormula kMoles, parts(1), parts(2)
  listener.TableNotification book, Nothing
  Expect parts(0) & " " & parts(1) & " " & parts(2), parts(3), reactants.Texts("Moles")
Next
listener.ResultFormat = ""
listener.SetPropertyFormula kMoles, "", ""
Expect "a pattern", "0.000", listener.SigDigFormat(0.00005, 2, "mmol", _
       reactants.Columns.Item("Moles").ELNProperty)
Dim value
Set value = NewValue()
listener.EvaluateInCell "[Mass] * 1000 + [total]", reactants.Row(1).Cells.Item("Mass"), value
Expect "a formula in a cell", "number 2.08212..2.08212", Show(value)
value.InitializeFromGridCell reactants.Row(1).Cells.Item("Mass")
Expect "a cell's value", "1.220 g 0.00122 True", value.Text & " " & value.MinNumber & " " & _
       (value.ELNProperty Is reactants.Columns.Item("Mass").ELNProperty)
Expect "a reference", True, value.ResolveReference("MW", reactants.Row(1), Nothing) Is _
       reactants.Columns.Item("MW")
value.ReferenceValue "this:MW", reactants.Row(2), reactants.Row(1), listener
Expect "a referred value", "number 0.24..0.24", Show(value)

' The stored row.
listener.Create book.Field, store, "It's", "KtFormula9.FormulaListener", 2
Expect "creation", "INSERT INTO ELN_field_listeners(field_listener_key, name, prog_ID, " & _
       "field_key, position)VALUES(next of KtS_field_listeners, 'It''s', " & _
       "'KtFormula9.FormulaListener', 5, 2)", store.Sql
store.Values.Item("field_listener_key") = 41
store.Values.Item("Name") = "Yield"
store.Values.Item("prog_id") = "KtFormula9.FormulaListener"
store.Values.Item("Position") = 3
store.Values.Item("config_xml") = "<fieldListener><propertyFormula format='0.0' key='15'>" & _
    "<![CDATA[ [MW] * 2 ]]></propertyFormula><definition name='d'><![CDATA[1<2]]></definition>" & _
    "</fieldListener>"
listener.SetData "", store.OpenRecordset("")
Expect "loaded", "41 Yield KtFormula9.FormulaListener 3|15| [MW] * 2 |0.0|d|1<2", _
       listener.Key & " " & listener.Name & " " & listener.ProgramIdentifier & " " & _
       listener.Position & "|" & JoinKeys(listener.PropertyFormulas) & "|" & _
       listener.PropertyFormulas.Item("15").Formula & "|" & _
       listener.PropertyFormulas.Item("15").StringFormat & "|" & JoinKeys(listener.Definitions) & _
       "|" & listener.Definitions.Item("d").Formula
listener.TableNotification book, Nothing
Expect "loaded formulas", "0.24424 (value)|0.48 (value)|1 (value)", reactants.Texts("Result")
Expect "a tree once used", 3, listener.PropertyFormulas.Item("15").TokenTree.Count
listener.Store book
listener.Store Nothing
Expect "saved already", False, IsObject(store.Stored)
listener.Name = "Mass"
On Error Resume Next
listener.Store Nothing
Expect "no place to store in", "91 KtFormula9: Object variable not set", TakeError()
On Error GoTo 0
listener.Store book
Expect "stored", True, store.Stored Is listener
listener.Save store
Expect "saving", "updated|SELECT * FROM ELN_field_listeners WHERE field_listener_key = 41|Mass|" & _
       "KtFormula9.FormulaListener|3", store.Note & "|" & store.Sql & "|" & _
       store.Values.Item("Name") & "|" & store.Values.Item("prog_id") & "|" & _
       store.Values.Item("Position")
Expect "saved configuration", "<fieldListener><propertyFormula format=""0.0"" key=""15"">" & _
       "<![CDATA[ [MW] * 2 ]]></propertyFormula><definition name=""d""><![CDATA[1<2]]>" & _
       "</definition></fieldListener>", _
       Replace(Replace(store.Values.Item("config_xml"), vbCrLf, ""), vbTab, "")
listener.RequestSave
Expect "a request to save", "Saving changes to Field Listener ""Mass""", store.Note
listener.Refresh
Expect "a refresh", "refresh 41", store.Note
On Error Resume Next
store.Values.Item("config_xml") = "<fieldListener>"
listener.SetData "recordset", store.OpenRecordset("")
Expect "text that is no XML", "FormulaListener.SetData/XML", Err.Source
Err.Clear
store.IsEmpty = True
listener.Save store
Expect "no row", "80040201 FormulaListener.IKtObject_Save/KtFormula9: the query has no row: " & _
       "SELECT * FROM ELN_field_listeners WHERE field_listener_key = 41", TakeError()
listener.SetData "", book
Expect "data that is none", "13 FormulaListener.SetData/KtFormula9: Type mismatch", TakeError()
listener.SetData "xml", "text"
Expect "data that is a text", "91 FormulaListener.SetData/KtFormula9: Object variable not set", _
       TakeError()
On Error GoTo 0
Expect "what failed to load changed nothing", "Mass 15", _
       listener.Name & " " & JoinKeys(listener.PropertyFormulas)

' The order in which a pass asks for things, and that it asks for a count once.
NewListener
listener.SetPropertyFormula kResult, "'r'", ""
listener.ResultFormat = "Script.Format"
trace = ""
listener.TableNotification book, Nothing
Expect "a pass", "create initialize form watched holder properties table grid columns " & _
       "column1 column2 column3 column4 column5 cells cell1 cell2 cell3", Traced()
listener.SetPropertyFormula kMoles, "2", ""
listener.TableNotification book, Nothing
parts = Traced()
Expect "a pass that looks at entered cells", "1 2 7", UBound(Split(parts, "fields")) & " " & _
       UBound(Split(parts, "columns")) & " " & UBound(Split(parts, "cells"))
listener.SetPropertyFormula kMoles, "", ""
Set book.Field.OwnTable = Nothing
listener.TableNotification book, Nothing
Expect "a pass without a table", "create initialize form watched holder properties table", Traced()
Set book.Field.OwnTable = reactants
For Each row In Array("SUM([MW])~rows row1 row2 row3", _
    "COUNT([Reactants], 1 = 1)~rows row1 row2 row3", "SELECT(1, [Reactants], 1 = 1)~rows row1")
  parts = Split(row, "~")
  trace = ""
  listener.EvaluateInCell parts(0), reactants.Rows.Item(1).Cells.Item("Mass"), value
  Expect parts(0), "watched table " & parts(1), Traced()
Next

' Formulas that the host makes and changes.
Function NewFormula(text)
  Set NewFormula = CreateObject("KtFormula9.PropertyFormula")
  NewFormula.Formula = text
End Function
Sub Reword(formula, text)
  formula.Formula = text
  Set formula.TokenTree = Nothing
End Sub
Sub Exchange(formulas, key, formula)
  formulas.Remove key
  formulas.Add key, formula
End Sub
Function Recalculated()
  Dim index
  For Each index In Array(1, 2, 3)
    reactants.Clear index, "Result"
  Next
  listener.TableNotification book, Nothing
  Recalculated = reactants.Texts("Result")
End Function

Dim own, named
NewListener
Set own = NewFormula("'a' & [d]")
Set named = listener.Definitions
listener.PropertyFormulas.Add "15", own
named.Add "d", NewFormula("'1'")
Expect "added formulas", Thrice("a1"), Recalculated()
own.Formula = "'b' & [d]"
Expect "a changed formula with its old tree", Thrice("a1"), Recalculated()
Set own.TokenTree = Nothing
Expect "a changed formula", Thrice("b1"), Recalculated()
Reword named.Item("d"), "'2'"
Expect "a changed definition", Thrice("b2"), Recalculated()
Exchange named, "d", NewFormula("'3'")
Expect "another definition", Thrice("b3"), Recalculated()
Set own.TokenTree = listener.MakeTokenTree("'tree'")
Expect "another tree", Thrice("tree"), Recalculated()
named.Key("d") = "e"
Reword own, "[e] & [d]"
Expect "a renamed definition", Thrice("#Error: the object of type ""Nothing"" can not be " & _
       "converted into a value"), Recalculated()
listener.PropertyFormulas.Remove "15"
Expect "a removed formula", "||", Recalculated()

' Whatever else stands in a dictionary is passed over.
Const kSaved = "<fieldListener><definition name=""d""><![CDATA[1]]></definition></fieldListener>"
Dim odd, oddity
oddity = 0
store.IsEmpty = False
For Each odd In Array("text", 5, Empty, Null, Nothing, book, NewValue(), listener, _
                      listener.MakeTokenTree("1"), Array(own))
  oddity = oddity + 1
  NewListener
  listener.Definitions.RemoveAll
  listener.SetDefinition "d", "1"
  listener.PropertyFormulas.Add "15", odd
  listener.PropertyFormulas.Add 15, own
  listener.PropertyFormulas.Add book, own
  listener.Definitions.Add "odd", odd
  listener.Definitions.Add 7, own
  Expect "odd entry " & oddity, "||", Recalculated()
  listener.Save store
  Expect "odd entry " & oddity & " is not saved", kSaved, _
         Replace(Replace(store.Values.Item("config_xml"), vbCrLf, ""), vbTab, "")
  listener.SetDefinition "odd", "8"
  listener.SetPropertyFormula kResult, "[odd]", ""
  Expect "odd entry " & oddity & " is replaced", Thrice("8 (value)"), Recalculated()
Next

' Loading changes the same dictionaries, all or nothing.
Set named = listener.Definitions
store.Values.Item("config_xml") = "<fieldListener><propertyFormula name='Result'>[d]" & _
    "</propertyFormula><definition name='d'>9</definition></fieldListener>"
listener.SetData "", store.OpenRecordset("")
Expect "loaded formulas", Thrice("9 (value)") & " 15 d True", Recalculated() & " " & _
       JoinKeys(listener.PropertyFormulas) & " " & JoinKeys(named) & " " & _
       (named Is listener.Definitions)
store.Values.Item("config_xml") = "<fieldListener><definition name='other'>1</definition>" & _
    "<propertyFormula name='Nowhere'>1</propertyFormula></fieldListener>"
On Error Resume Next
listener.SetData "", store.OpenRecordset("")
Expect "an unknown column", "80040201 FormulaListener.SetData: the property name ""Nowhere"" is " & _
       "not recognized in the table Reactants", TakeError()
On Error GoTo 0
Expect "what was not loaded", "15 d", JoinKeys(listener.PropertyFormulas) & " " & _
       JoinKeys(named)

' A definition's value is one object in a pass, and whoever changes it changes it for all.
Class Probe
  Public Sub ComputeValue(args, sco, TargetCellValue)
    Dim total
    Set total = listener.DefinedValue("total")
    Dim same
    same = total Is listener.DefinedValue("total")
    TargetCellValue.SetString same & " " & total.MinNumber
    total.Add 1
  End Sub
  Public Sub Terminate
  End Sub
End Class
NewListener
listener.FormulaFunctions.Add "PROBE", New Probe
listener.SetPropertyFormula kResult, "PROBE() & IF([total] > 2, ' more', ' less')", ""
Expect "a definition's value", "True 0.86212 less|True 1.86212 more|True 2.86212 more", _
       Recalculated()

Const kUnbalanced = "#Error: the specified formula has an unbalanced left parenthesis"
' What a host may do while the listener writes into its table: after it, a new pass works.
For Each row In Array( _
    "fail~1234~|| 0", "recalculate~0~r|r|r 6", "forget~0~r|r|r 3", "terminate~0~r|r|r 3", _
    "reword~0~r|s|s 3", "replace~0~r|r|r 3", _
    "misword~0~r|" & kUnbalanced & "|" & kUnbalanced & " 3", _
    "release~0~r|r|r 3")
  parts = Split(row, "~")
  NewListener
  listener.SetPropertyFormula kResult, "'r'", ""
  For Each index In Array(1, 2, 3)
    reactants.Clear index, "Result"
  Next
  grid.Mischief = parts(0)
  grid.Finished = 0
  On Error Resume Next
  listener.TableNotification book, Nothing
  Expect parts(0) & " raises", parts(1), Err.Number
  Err.Clear
  On Error GoTo 0
  Expect parts(0), parts(2), reactants.Texts("Result") & " " & grid.Finished
  NewListener
  listener.SetPropertyFormula kResult, "'after'", ""
  listener.TableNotification book, Nothing
  Expect "after " & parts(0), Thrice("after"), reactants.Texts("Result")
Next
listener.Terminate
reactants.Dismantle
Finish
