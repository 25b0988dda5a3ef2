' A host for one table, all in a script: masses and molar masses are typed in, the amounts computed.
Option Explicit

' What the component asks of a column's definition.
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
  Public MaxNumber
  Public StateText
  Public Property Get Kind
    Kind = 0
  End Property
  Public Property Get StructureText
    StructureText = ""
  End Property
  Public Property Get ResolvesRelativeReferences
    ResolvesRelativeReferences = True
  End Property
  ' A name in a formula is a column of the cell's table.
  Public Function ResolveRelative(parts)
    Set ResolveRelative = Row.Table.ColumnNamed(parts)
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
    Set Cell = Table.Row(index).Cell(Me)
  End Function
End Class

Class NotebookTable
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
  Public Function ColumnNamed(name)
    Set ColumnNamed = Nothing
    If columns_.Exists(name) Then Set ColumnNamed = columns_.Item(name)
  End Function
  Public Sub AddColumn(key, name)
    Dim added : Set added = New TableColumn
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
    rows_.Add rows_.Count + 1, added
    TypeIn added.Cells.Item("Mass"), mass
    TypeIn added.Cells.Item("MW"), molarMass
  End Sub
  Private Sub TypeIn(cell, number)
    cell.Text = CStr(number)
    cell.MinNumber = number
    cell.MaxNumber = number
    cell.StateText = "entered"
  End Sub
End Class

' The control that shows the table: the component writes through it.
Class GridControl
  Public Sub WriteText(cell, text, isValue)
    cell.Text = text
    If isValue Then
      cell.MinNumber = CDbl(text)
      cell.MaxNumber = CDbl(text)
    End If
  End Sub
  Public Sub ClearNumber(cell)
    cell.MinNumber = 0
    cell.MaxNumber = 0
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
    Description = "a script"
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
End Class

' The application; its catalogue knows no units.
Class Framework
  Public Property Get Units
    Set Units = Me
  End Property
  Public Function Find(name)
    Set Find = Nothing
  End Function
End Class

Dim table, book, listener, index
Set table = New NotebookTable
table.AddColumn 11, "Mass"
table.AddColumn 12, "MW"
table.AddColumn 13, "Moles"
table.AddRow 1.22, 122.12
table.AddRow 5, 0

Set book = New Notebook
Set book.Table = table
Set book.Object = New GridControl

Set listener = CreateObject("KtFormula9.FormulaListener")
listener.Initialize New Framework, book, Nothing
listener.SetPropertyFormula 13, "[Mass]/[MW]", ""
listener.TableNotification book, Nothing
For index = 1 To table.RowCount
  WScript.Echo table.Row(index).Cells.Item("Moles").Text
Next
' Releases the host's objects.
listener.Terminate

' Values can be used by themselves, too.
Dim range, half
Set range = CreateObject("KtFormula9.CellValue")
range.SetNumber 10, 20
Set half = CreateObject("KtFormula9.CellValue")
half.SetNumber 0.5, 0.5
range.Multiply half
range.Add 1
WScript.Echo range.MinNumber & " .. " & range.MaxNumber
range.SetString "about ten"
On Error Resume Next
range.Add 1
WScript.Echo Hex(Err.Number) & " from " & Err.Source & ": " & Err.Description
