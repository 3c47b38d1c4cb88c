' A client of the component where the XML DOM 4.0 cannot be created, though version 3.0 can.
' Ends with the line "N checks, 0 failed"; a script that breaks off ends without it.
Option Explicit

Dim checks, failed
checks = 0
failed = 0

Sub Check(what, actual, expected)
  checks = checks + 1
  If actual <> expected Then
    failed = failed + 1
    WScript.Echo "FAILED " & what & ": [" & actual & "] instead of [" & expected & "]"
  End If
End Sub

Dim o, older, encoded, number
Set o = CreateObject("Nerio.Component")
Set older = WScript.CreateObject("MSXML2.DOMDocument.3.0")
Check "version 3.0 is there", older.loadXML("<a/>"), True
Check "CheckXMLParser", o.CheckXMLParser, False
encoded = "intatto"
number = o.EncodeBase64("A", encoded)
Check "EncodeBase64 answers the error's number", number < 0, True
Check "EncodeBase64 leaves the text", encoded, "intatto"
Check "DecodeBase64", o.DecodeBase64("QQA="), ""
Dim raised
On Error Resume Next
encoded = o.EncodeBase64Text("A")
raised = Err.Number
On Error Goto 0
Check "EncodeBase64Text raises that number", raised, number
Check "EncodeBase64Text leaves the text", encoded, "intatto"
WScript.Echo checks & " checks, " & failed & " failed"
