' A VBScript client of the component: calls every member and looks at what it gets. The folder of Nerio.dll is the argument.
' Ends with the line "N checks, 0 failed"; a script that breaks off ends without it.
Option Explicit

Dim checks, failed
checks = 0
failed = 0

Sub Check(what, actual, expected)
  checks = checks + 1
  If VarType(actual) <> VarType(expected) Then
    failed = failed + 1
    WScript.Echo "FAILED " & what & ": type " & VarType(actual) & " instead of " & VarType(expected)
  ElseIf IsNull(expected) Then
    ' Two nulls.
  ElseIf actual <> expected Then
    failed = failed + 1
    WScript.Echo "FAILED " & what & ": [" & actual & "] instead of [" & expected & "]"
  End If
End Sub

' Checks the error of the statement before, and that there was one.
Sub CheckError(what, number, source, description)
  Dim raised, raisedSource, raisedDescription, seen
  raised = Err.Number
  raisedSource = Err.Source
  raisedDescription = Err.Description
  Err.Clear
  seen = raised <> 0 Or raisedDescription <> ""
  Check what & ": raised", seen, True
  Check what & ": number", raised, number
  Check what & ": source", raisedSource, source
  Check what & ": description", raisedDescription, description
End Sub

Dim o, folder, files
folder = WScript.Arguments(0)
Set files = CreateObject("Scripting.FileSystemObject")
Set o = CreateObject("Nerio.Component")
' A script host asks the object for its class; Wine's asks for its interface.
Check "the class", TypeName(o) = "Component" Or TypeName(o) = "INerioComponent", True
Set o = Nothing
Set o = CreateObject("Nerio.Component.1")
Check "the class by its version", TypeName(o) = "Component" Or TypeName(o) = "INerioComponent", True

' Trace log.
Dim trace, stream
trace = o.BuildPath(folder, "Nerio.log")
Check "BuildPath", trace, folder & "\Nerio.log"
Check "BuildPath, both separators", o.BuildPath("C:\Dir\", "\a.log"), "C:\Dir\\a.log"
Check "BuildPath, root", o.BuildPath("C:\", "a.log"), "C:\a.log"
If files.FileExists(trace) Then files.DeleteFile trace
o.WriteLog "perduta"
Check "WriteLog without a trace file", files.FileExists(trace), False
Set stream = files.CreateTextFile(trace, True)
stream.Close
o.WriteLog "prima riga"
o.WriteLog ""
Check "GetDate, a date", o.GetDate("31/12/1999"), "31/12/1999"
Set stream = files.OpenTextFile(trace)
Check "trace line 1", stream.ReadLine, "prima riga"
Check "trace line 2", stream.ReadLine, ""
Check "trace line 3", stream.ReadLine, "GetDate IN : 31/12/1999"
Check "trace line 4", stream.ReadLine, "GetDate OUT : 31/12/1999"
Check "trace end", stream.AtEndOfStream, True
stream.Close
files.DeleteFile trace
Check "GetDate, no date", o.GetDate("pippo"), "00:00:00"
Check "GetDate, empty", o.GetDate(""), "00:00:00"

' GUIDs.
Dim guid
guid = o.GetGuid
Check "GetGuid length", Len(guid), CLng(36)
Check "GetGuid separators", Mid(guid, 9, 1) & Mid(guid, 14, 1) & Mid(guid, 19, 1) & Mid(guid, 24, 1), "----"
Check "GetGuid version", Mid(guid, 17, 1), "4"
Check "GetGuid capitals", guid, UCase(guid)
Check "GetGuid twice", guid <> o.GetGuid, True

' Messages.
Check "GetErrorMessage 1", o.GetErrorMessage(-2147221503), "Il parametro [{0}] non può essere nullo o vuoto"
Check "GetErrorMessage 2", o.GetErrorMessage(-2147221502), "La versione [{0}] del messaggio di inizializzazione non è supportata"
Check "GetErrorMessage 3", o.GetErrorMessage(-2147221501), "La funzionalità richiesta non è disponibile"
Check "GetErrorMessage 0", o.GetErrorMessage(0), "Errore non definito"
Check "FormatTemplate", o.FormatTemplate("a{0}b{0}{1}", Array("x", 1.5)), "axbx1,5"
Check "FormatTemplate, chained", o.FormatTemplate("{0}{1}", Array("{1}", "z")), "zz"
Check "FormatTemplate, not searched again", o.FormatTemplate("{0}{1}", Array("a", "{0}")), "a{0}"
Check "FormatTemplate, accents", o.FormatTemplate("{0}", Array("città à è ì ò ù €")), "città à è ì ò ù €"
Check "FormatTemplate, types", o.FormatTemplate("{0}|{1}|{2}|{3}", Array(True, Empty, #12/31/1999#, CByte(7))), "True||31/12/1999|7"
Check "FormatTemplate, no values", o.FormatTemplate("{0}", Array()), "{0}"
Dim values(1)
values(0) = "uno"
values(1) = "due"
Check "FormatTemplate, a variable", o.FormatTemplate("{1}{0}", values), "dueuno"
o.ValidateParam " ", "sTesto"
Check "ValidateParam, a blank", True, True

' Base64. The second argument is the caller's own variable.
Dim text, encoded
Check "EncodeBase64", o.EncodeBase64("A", encoded), CLng(0)
Check "EncodeBase64, its text", encoded, "QQA="
Check "EncodeBase64Text", o.EncodeBase64Text("A"), "QQA="
Check "DecodeBase64", o.DecodeBase64(encoded), "A"
text = "perché €"
Check "EncodeBase64, one variable", o.EncodeBase64(text, text), CLng(0)
Check "DecodeBase64, one variable", o.DecodeBase64(text), "perché €"
Check "DecodeBase64, not Base64", o.DecodeBase64("non base64!"), ""
Check "DecodeBase64, empty", o.DecodeBase64(""), ""

' XML, on the script's own document, read back by the script itself.
Check "CheckXMLParser", o.CheckXMLParser, True
Dim document, root, child, again
Set document = WScript.CreateObject("MSXML2.DOMDocument.4.0")
Set root = o.AddXMLElement(document, document, "radice", "")
Set child = o.AddXMLElement(document, root, "figlio", "testo < & è")
o.AddXMLElement document, child, "nipote", ""
o.AddXMLElement document, root, "figlio", "due"
o.SetXMLAttribute document, child, "nome", "uno"
o.SetXMLAttribute document, child, "nome", "città"
o.SetXMLAttribute document, child, "vuoto", ""
o.SetXMLAttribute document, child, "p:nome", "uno"
o.SetXMLAttribute document, child, "p:nome", "due"
Check "document element", document.documentElement.nodeName, "radice"
Check "children", root.childNodes.length, CLng(2)
Check "first child", root.childNodes.item(0).nodeName, "figlio"
Check "second child", root.childNodes.item(1).text, "due"
Check "text", child.childNodes.item(0).text, "testo < & è"
Check "nested", child.childNodes.item(1).nodeName, "nipote"
Check "attributes", child.attributes.length, CLng(3)
Check "attribute", child.getAttribute("nome"), "città"
Check "empty attribute", child.getAttribute("vuoto"), ""
Dim i, prefixed
prefixed = ""
For i = 0 To child.attributes.length - 1
  If child.attributes.item(i).nodeName = "p:nome" Then prefixed = prefixed & child.attributes.item(i).text
Next
Check "attribute with a prefix", prefixed, "due"
Set again = WScript.CreateObject("MSXML2.DOMDocument.4.0")
Set root = o.AddXMLElement(again, again, "a", "")
Set child = o.AddXMLElement(again, root, "b", "è")
o.SetXMLAttribute again, child, "c", "1 < 2"
Dim loaded
Set loaded = WScript.CreateObject("MSXML2.DOMDocument.4.0")
Check "the document loads again", loaded.loadXML(again.xml), True
Check "loaded text", loaded.selectSingleNode("a/b").text, "è"
Check "loaded attribute", loaded.selectSingleNode("a/b").getAttribute("c"), "1 < 2"

' A field: an attribute of a document has a property Value too.
Check "GetFieldValue", o.GetFieldValue(child.attributes.item(0), "predefinito"), "1 < 2"

' Settings.
Dim shell, key
Set shell = CreateObject("WScript.Shell")
Check "ScriviImpostazione", o.ScriviImpostazione("Prova VBScript", "Nome", "città €"), True
Check "LeggiImpostazione", o.LeggiImpostazione("Prova VBScript", "Nome"), "città €"
Check "LeggiImpostazione, nothing there", o.LeggiImpostazione("Prova VBScript", "Altro"), ""
Check "LeggiImpostazione, default", o.LeggiImpostazione("Prova VBScript", "Altro", "sì"), "sì"
key = "HKLM\Software\Nerio\Prova VBScript\"
' The text is stored without terminator, and RegRead may give what lies behind it.
Check "the value in the registry", Left(shell.RegRead(key & "Nome"), 7), "città €"
Check "CancellaImpostazione", o.CancellaImpostazione("Prova VBScript", "Nome"), True
Check "CancellaImpostazione, gone", o.LeggiImpostazione("Prova VBScript", "Nome", "tolta"), "tolta"
Const rootOfUser = &H80000001
Check "ScriviImpostazione, of the user", o.ScriviImpostazione("Prova VBScript", "Mia", "sì", rootOfUser), True
Check "LeggiImpostazione, of the user", o.LeggiImpostazione("Prova VBScript", "Mia", , rootOfUser), "sì"
Check "LeggiImpostazione, not of the machine", o.LeggiImpostazione("Prova VBScript", "Mia", "no"), "no"
Check "CancellaImpostazione, of the user", o.CancellaImpostazione("Prova VBScript", "Mia", rootOfUser), True
Check "Versione", InStr(o.Versione, "."), CLng(2)

' Errors.
Dim nothingYet, got
Set nothingYet = Nothing
On Error Resume Next
o.ValidateParam "", "sTesto"
CheckError "ValidateParam", -2147221503, "ValidateParam", "Il parametro [sTesto] non può essere nullo o vuoto"
got = "intatto"
got = o.LeggiImpostazione("", "Nome", "predefinito")
CheckError "no branch", -2147221503, "LeggiImpostazione", "Il parametro [sRamo] non può essere nullo o vuoto"
Check "an error leaves the result", got, "intatto"
o.ScriviImpostazione "", "Nome", "x"
CheckError "ScriviImpostazione, no branch", -2147221503, "ScriviImpostazione", "Il parametro [sRamo] non può essere nullo o vuoto"
o.CancellaImpostazione "", "Nome"
CheckError "CancellaImpostazione, no branch", -2147221503, "CancellaImpostazione", "Il parametro [sRamo] non può essere nullo o vuoto"
o.ScriviImpostazione String(300, "r"), "Nome", "x"
CheckError "number 1", CLng(1), "ScriviRegistro", "Errore durante la creazione del ramo Software\Nerio\" & String(300, "r")
o.CancellaImpostazione "Prova VBScript", "Manca"
CheckError "number 5", CLng(5), "CancellaChiave", "Errore durante la rimozione delle chiave 'Manca'"
got = o.FormatTemplate("{0}", Array(Null))
CheckError "FormatTemplate, null", CLng(94), "Variant", "Utilizzo non valido di Null"
got = o.FormatTemplate("{0}", "nessun elenco")
CheckError "FormatTemplate, no list", CLng(13), "Variant", "Tipo non corrispondente"
Set got = o.AddXMLElement(document, nothingYet, "a", "")
CheckError "AddXMLElement, no parent", CLng(91), "", "Variabile oggetto o variabile del blocco With non impostata"
o.SetXMLAttribute document, document.documentElement, "1 non valido", "x"
Check "SetXMLAttribute, no name", Hex(Err.Number), "80004005"
Check "SetXMLAttribute, the DOM's reason", Err.Description <> "", True
Err.Clear
got = o.GetFieldValue(document.documentElement, "x")
Check "GetFieldValue, no such member", Hex(Err.Number) <> "0", True
Err.Clear
o.PopulateRecordset nothingYet
CheckError "PopulateRecordset, nothing", CLng(91), "", "Variabile oggetto o variabile del blocco With non impostata"
o.NonEsiste
Check "no such member", Err.Number, CLng(438)
Err.Clear
Set got = CreateObject("Nerio.CRegistry")
Check "the registry class cannot be created", Err.Number, CLng(429)
Err.Clear
On Error Goto 0

WScript.Echo checks & " checks, " & failed & " failed"
