' A setting is written and read back, a message is filled, an error is caught.
' %windir%\SysWOW64\cscript.exe //nologo impostazioni.vbs
Option Explicit
Dim nerio
Set nerio = CreateObject("Nerio.Component")
nerio.ScriviImpostazione "Esempio VBScript", "Lingua", "it"
WScript.Echo nerio.LeggiImpostazione("Esempio VBScript", "Lingua", "en")
WScript.Echo nerio.FormatTemplate("{0} di {1}", Array(3, 7))
On Error Resume Next
nerio.ValidateParam "", "sTesto"
WScript.Echo Err.Number & ": " & Err.Description
