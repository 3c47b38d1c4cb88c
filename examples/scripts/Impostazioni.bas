Attribute VB_Name = "Impostazioni"
' A setting is written and read back, a message is filled, an error is caught. For 32-bit Office.
' Untried: it has not been run yet.
Option Explicit

Public Sub Prova()
  Dim nerio As Object
  Set nerio = CreateObject("Nerio.Component")
  nerio.ScriviImpostazione "Esempio VBA", "Lingua", "it"
  Debug.Print nerio.LeggiImpostazione("Esempio VBA", "Lingua", "en")
  Debug.Print nerio.FormatTemplate("{0} di {1}", Array(3, 7))
  On Error Resume Next
  nerio.ValidateParam "", "sTesto"
  Debug.Print Err.Number & ": " & Err.Description
End Sub
