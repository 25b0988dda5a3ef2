' Computes with the component in a script: first with single values, then as the host of a table.
'
'   cscript //nologo client.vbs
Option Explicit

ShowValues
ShowTable

Sub ShowValues
  Dim range, half, comparison
  Set range = CreateObject("KtFormula9.CellValue")
  range.SetNumber 10, 20
  Set half = CreateObject("KtFormula9.CellValue")
  half.SetNumber 0.5, 0.5
  ' Operators change the value that they are called on.
  range.Multiply half
  range.Add 1
  WScript.Echo "range: " & range.MinNumber & " .. " & range.MaxNumber

  Set comparison = range.Duplicate
  comparison.GreaterThan half
  If comparison.BooleanValue Then
    WScript.Echo "greater than a half: yes"
  Else
    WScript.Echo "greater than a half: no"
  End If

  range.SetString "about ten"
  On Error Resume Next
  range.Add 1
  WScript.Echo Hex(Err.Number) & " from " & Err.Source & ": " & Err.Description
End Sub

Sub ShowTable
  Dim amounts, form, listener
  Set amounts = New Table
  amounts.AddColumn 11, "Mass"
  amounts.AddColumn 12, "MW"
  amounts.AddColumn 13, "Moles"
  amounts.AddColumn 14, "Share"
  amounts.AddRow "1.22", "122.12"
  amounts.AddRow "1.18", "107.15"
  amounts.AddRow "2.30", "191.70"
  Set form = New Notebook
  Set form.Table = amounts
  Set form.Object = New GridControl

  Set listener = CreateObject("KtFormula9.FormulaListener")
  ' The listener keeps both objects until Terminate.
  listener.Initialize New Application, form, Nothing
  listener.SetPropertyFormula 13, "[Mass]/[MW]", ""
  ' Computed once for the table, not once for each cell.
  listener.SetDefinition "total", "SUM([Moles])"
  listener.SetPropertyFormula 14, "[Moles]/[total]", ""

  listener.TableNotification form, Nothing
  amounts.Print

  WScript.Echo "more of the first:"
  amounts.TypeIn 1, "Mass", "2.44"
  listener.TableNotification form, Nothing
  amounts.Print
  listener.Terminate
  ' Columns, rows and cells know their table: let them go, or they keep one another.
  amounts.Clear
End Sub

' The number that a text means, whatever the user's country writes instead of a decimal point.
Function NumberOf(text)
  Dim reader
  Set reader = CreateObject("KtFormula9.CellValue")
  reader.SetNumber 0, 0
  reader.Add text
  NumberOf = reader.MinNumber
End Function

' What the component asks of a column's definition: all columns hold plain numbers.
Class ColumnDefinition
  Public Key
  Public Name
  Public Property Get IsNumeric
    IsNumeric = True
  End Property
  Public Property Get DataTypeName
    DataTypeName = "number"
  End Property
  Public Property Get HasUnits
    HasUnits = False
  End Property
  Public Property Get DefaultUnit
    Set DefaultUnit = Nothing
  End Property
  Public Property Get NumberFormatting
    NumberFormatting = False
  End Property
End Class

Class TableCell
  Public ELNProperty
  Public Row
  Public Text
  Public MinNumber
  Public StateText
  Private Sub Class_Initialize
    MinNumber = 0
  End Sub
  Public Property Get Kind
    Kind = 0
  End Property
  Public Property Get MaxNumber
    MaxNumber = MinNumber
  End Property
  Public Property Get StructureText
    StructureText = ""
  End Property
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  Public Function ResolveRelative(name)
    Dim table
    Set table = Row.Table
    Set ResolveRelative = table.ResolveRelative(name)
  End Function
End Class

Class TableRow
  Public Table
  Public Cells
  Public Property Get Kind
    Kind = 1
  End Property
  Public Function Cell(column)
    Set Cell = Cells.Item(column.ELNProperty.Name)
  End Function
End Class

Class TableColumn
  Public Table
  Public ELNProperty
  Public Property Get Kind
    Kind = 3
  End Property
  Public Property Get CellCount
    CellCount = Table.RowCount
  End Property
  Public Function Cell(index)
    Dim row
    Set row = Table.Row(index)
    Set Cell = row.Cell(Me)
  End Function
End Class

Class Table
  Private columns_
  Private rows_
  Private Sub Class_Initialize
    Set columns_ = CreateObject("Scripting.Dictionary")
    Set rows_ = CreateObject("Scripting.Dictionary")
  End Sub
  Public Property Get Kind
    Kind = 2
  End Property
  Public Property Get ColumnCount
    ColumnCount = columns_.Count
  End Property
  Public Property Get RowCount
    RowCount = rows_.Count
  End Property
  Public Function Column(index)
    Dim all
    all = columns_.Items
    Set Column = all(index - 1)
  End Function
  Public Function Row(index)
    Set Row = rows_.Item(index)
  End Function
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  ' A name in a formula is a column of the table.
  Public Function ResolveRelative(name)
    Set ResolveRelative = Nothing
    If columns_.Exists(name) Then Set ResolveRelative = columns_.Item(name)
  End Function

  Public Sub AddColumn(key, name)
    Dim added
    Set added = New TableColumn
    Set added.Table = Me
    Set added.ELNProperty = New ColumnDefinition
    added.ELNProperty.Key = key
    added.ELNProperty.Name = name
    columns_.Add name, added
  End Sub
  Public Sub AddRow(mass, molarMass)
    Dim added, name, cell
    Set added = New TableRow
    Set added.Table = Me
    Set added.Cells = CreateObject("Scripting.Dictionary")
    For Each name In columns_.Keys
      Set cell = New TableCell
      Set cell.ELNProperty = columns_.Item(name).ELNProperty
      Set cell.Row = added
      added.Cells.Add name, cell
    Next
    rows_.Add CLng(rows_.Count + 1), added
    TypeIn rows_.Count, "Mass", mass
    TypeIn rows_.Count, "MW", molarMass
  End Sub
  ' A cell as the user's typing leaves it.
  Public Sub TypeIn(row, column, text)
    Dim cell
    Set cell = rows_.Item(CLng(row)).Cells.Item(column)
    cell.Text = text
    cell.MinNumber = NumberOf(text)
    cell.StateText = "entered"
  End Sub
  Public Sub Print
    Dim name, row, line
    For Each name In columns_.Keys
      line = line & Aligned(name)
    Next
    WScript.Echo line
    For Each row In rows_.Items
      line = ""
      For Each name In columns_.Keys
        line = line & Aligned(row.Cells.Item(name).Text)
      Next
      WScript.Echo line
    Next
  End Sub
  Private Function Aligned(text)
    Aligned = Right(Space(20) & text, 20)
  End Function
  Public Sub Clear
    columns_.RemoveAll
    rows_.RemoveAll
  End Sub
End Class

' The control that shows the table: the component writes through it.
Class GridControl
  Public Sub WriteText(cell, text, isValue)
    cell.Text = text
    If isValue Then cell.MinNumber = NumberOf(text)
  End Sub
  Public Sub ClearNumber(cell)
    cell.MinNumber = 0
  End Sub
  Public Sub FinishCell(cell)
  End Sub
End Class

' The one field of the form, the section that owns it, the form and its notifications.
Class Notebook
  Public Table
  Public Object
  Public Property Get Key
    Key = 1
  End Property
  Public Property Get Count
    Count = 1
  End Property
  Public Function Item(index)
    Set Item = Me
  End Function
  Public Function Description(flag)
    Description = "the client's form"
  End Function
  Public Property Get WatchedField
    Set WatchedField = Me
  End Property
  Public Property Get FormObject
    Set FormObject = Me
  End Property
  Public Function HolderOf(field)
    Set HolderOf = Me
  End Function
  Public Property Get ELNProperties
    Set ELNProperties = Nothing
  End Property
End Class

' The application; its catalogue knows no units.
Class Application
  Public Property Get Units
    Set Units = Me
  End Property
  Public Function Find(name)
    Set Find = Nothing
  End Function
End Class
