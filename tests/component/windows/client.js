// A JScript client of the component: calls every member and looks at what it gets, with record sets and fields of its own.
// The folder of Nerio.dll is the argument. Ends with the line "N checks, 0 failed"; a script that breaks off ends without.
var checks = 0, failed = 0;

function check(what, actual, expected) {
  ++checks;
  if (typeof actual != typeof expected || actual !== expected) {
    ++failed;
    WScript.Echo("FAILED " + what + ": [" + actual + "] (" + typeof actual + ") instead of [" + expected + "]");
  }
}

// Checks the error that a call raises, and that it raises one. Error.number has the code of a COM error whole.
function checkError(what, call, number, description) {
  var raised = null;
  try {
    call();
  } catch (error) {
    raised = error;
  }
  check(what + ": raised", raised != null, true);
  if (raised == null) return;
  check(what + ": number", raised.number, number | 0);
  if (description != null) check(what + ": description", raised.description, description);
}

var folder = WScript.Arguments(0);
var files = new ActiveXObject("Scripting.FileSystemObject");
var o = new ActiveXObject("Nerio.Component");

// Trace log.
var trace = o.BuildPath(folder, "Nerio.log");
check("BuildPath", trace, folder + "\\Nerio.log");
if (files.FileExists(trace)) files.DeleteFile(trace);
o.WriteLog("perduta");
check("WriteLog without a trace file", files.FileExists(trace), false);
files.CreateTextFile(trace, true).Close();
o.WriteLog("prima riga");
o.GetDate("31/12/1999");
var stream = files.OpenTextFile(trace);
check("trace line 1", stream.ReadLine(), "prima riga");
check("trace line 2", stream.ReadLine(), "GetDate IN : 31/12/1999");
check("trace line 3", stream.ReadLine(), "GetDate OUT : 31/12/1999");
stream.Close();
files.DeleteFile(trace);
check("GetDate, a date", o.GetDate("10:30"), "10:30");
check("GetDate, no date", o.GetDate("pippo"), "00:00:00");

check("GetGuid", /^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{2}4[0-9A-F]-[0-9A-F]{2}/.test(o.GetGuid()), true);
check("GetGuid length", o.GetGuid().length, 36);

// Messages. A script's own array serves as a list of values.
check("GetErrorMessage", o.GetErrorMessage(-2147221503), "Il parametro [{0}] non pu\u00f2 essere nullo o vuoto");
check("FormatTemplate", o.FormatTemplate("a{0}b{0}{1}", ["x", 1.5]), "axbx1,5");
check("FormatTemplate, chained", o.FormatTemplate("{0}{1}", ["{1}", "z"]), "zz");
check("FormatTemplate, no values", o.FormatTemplate("{0}", []), "{0}");
check("FormatTemplate, holes", o.FormatTemplate("{0}|{1}|{2}|{3}", ["a", , "c"]), "a||c|{3}");
check("FormatTemplate, nothing but holes", o.FormatTemplate("{0}|{1}", new Array(1)), "|{1}");
check("FormatTemplate, undefined", o.FormatTemplate("{0}", [undefined]), "");
check("FormatTemplate, any characters", o.FormatTemplate("{0}", ["\u65e5\u20ac\u00e8"]), "\u65e5\u20ac\u00e8");
o.ValidateParam(" ", "sTesto");

// Base64. JScript passes every argument by value, so that the encoded text does not come back to it from EncodeBase64.
check("EncodeBase64", o.EncodeBase64("A", ""), 0);
check("EncodeBase64Text", o.EncodeBase64Text("A"), "QQA=");
check("EncodeBase64Text, any characters", o.EncodeBase64Text("\u65e5\u20ac\u00e8"), "5WWsIOgA");
check("EncodeBase64Text, nothing", o.EncodeBase64Text(""), "");
check("DecodeBase64", o.DecodeBase64("QQA="), "A");
check("DecodeBase64, any characters", o.DecodeBase64("5WWsIOgA"), "\u65e5\u20ac\u00e8");
check("DecodeBase64, not Base64", o.DecodeBase64("non base64!"), "");

// XML, on the script's own document, read back by the script itself.
check("CheckXMLParser", o.CheckXMLParser(), true);
var document = new ActiveXObject("MSXML2.DOMDocument.4.0");
var root = o.AddXMLElement(document, document, "radice", "");
var child = o.AddXMLElement(document, root, "figlio", "\u65e5 < & \u00e8");
o.AddXMLElement(document, child, "nipote", "");
o.SetXMLAttribute(document, child, "nome", "uno");
o.SetXMLAttribute(document, child, "nome", "citt\u00e0");
check("document element", document.documentElement.nodeName, "radice");
check("children", root.childNodes.length, 1);
check("nested", child.childNodes.item(1).nodeName, "nipote");
check("attributes", child.attributes.length, 1);
var loaded = new ActiveXObject("MSXML2.DOMDocument.4.0");
check("the document loads again", loaded.loadXML(document.xml), true);
check("loaded text", loaded.selectSingleNode("radice/figlio").text, "\u65e5 < & \u00e8");
check("loaded attribute", loaded.selectSingleNode("radice/figlio").getAttribute("nome"), "citt\u00e0");

// Fields and record sets of the script's own.
check("GetFieldValue, a text", o.GetFieldValue({ Value: "citt\u00e0" }, "x"), "citt\u00e0");
check("GetFieldValue, a number", o.GetFieldValue({ Value: 7 }, "x"), 7);
check("GetFieldValue, a fraction", o.GetFieldValue({ Value: 1.5 }, "x"), 1.5);
check("GetFieldValue, a truth value", o.GetFieldValue({ Value: true }, "x"), true);
check("GetFieldValue, null", o.GetFieldValue({ Value: null }, "predefinito"), "predefinito");
check("GetFieldValue, null with an empty default", o.GetFieldValue({ Value: null }, ""), "");

function RecordSet(records, position) {
  this.log = "";
  this.records = records;
  this.BOF = records == 0 || position < 0;
  this.EOF = records == 0 || position >= records;
}
RecordSet.prototype.MoveLast = function (options) { this.log += "MoveLast(" + options + ") "; };
RecordSet.prototype.MoveFirst = function () { this.log += "MoveFirst(" + arguments.length + ")"; };

function populated(records, position) {
  var set = new RecordSet(records, position);
  o.PopulateRecordset(set);
  return set.log;
}
check("PopulateRecordset, empty", populated(0, 0), "");
check("PopulateRecordset, one record", populated(1, 0), "MoveLast(0) MoveFirst(0)");
check("PopulateRecordset, in the middle", populated(3, 1), "MoveLast(0) MoveFirst(0)");
check("PopulateRecordset, before the first", populated(3, -1), "");
check("PopulateRecordset, behind the last", populated(3, 3), "");

// Settings.
var shell = new ActiveXObject("WScript.Shell");
check("ScriviImpostazione", o.ScriviImpostazione("Prova JScript", "Nome", "citt\u00e0"), true);
check("LeggiImpostazione", o.LeggiImpostazione("Prova JScript", "Nome"), "citt\u00e0");
check("LeggiImpostazione, default", o.LeggiImpostazione("Prova JScript", "Altro", "s\u00ec"), "s\u00ec");
// The text is stored without terminator, and RegRead may give what lies behind it.
check("the value in the registry", shell.RegRead("HKLM\\Software\\Nerio\\Prova JScript\\Nome").substr(0, 5),
      "citt\u00e0");
check("CancellaImpostazione", o.CancellaImpostazione("Prova JScript", "Nome"), true);

// Settings below another root, which a script writes with or without a sign.
var rootOfUser = 0x80000001;
check("ScriviImpostazione, of the user", o.ScriviImpostazione("Prova JScript", "Mia", "s\u00ec", rootOfUser), true);
check("LeggiImpostazione, of the user", o.LeggiImpostazione("Prova JScript", "Mia", "", rootOfUser | 0), "s\u00ec");
check("LeggiImpostazione, not of the machine", o.LeggiImpostazione("Prova JScript", "Mia", "no"), "no");
check("LeggiImpostazione, undefined is the machine", o.LeggiImpostazione("Prova JScript", "Mia", "no", undefined), "no");
check("the user's value in the registry", shell.RegRead("HKCU\\Software\\Nerio\\Prova JScript\\Mia").substr(0, 2),
      "s\u00ec");
check("CancellaImpostazione, of the user", o.CancellaImpostazione("Prova JScript", "Mia", rootOfUser), true);
check("CancellaImpostazione, gone", o.LeggiImpostazione("Prova JScript", "Mia", "tolta", rootOfUser), "tolta");
checkError("a root beyond 32 bits", function () { o.LeggiImpostazione("a", "b", "", 4294967296); }, 0x800A0006,
           "Overflow");
checkError("no number", function () { o.LeggiImpostazione("a", "b", "", "HKCU"); }, 0x800A000D,
           "Tipo non corrispondente");
checkError("null", function () { o.LeggiImpostazione("a", "b", "", null); }, 0x800A000D, "Tipo non corrispondente");

check("Versione", /^[0-9]+\.[0-9]+\.[0-9]+$/.test(o.Versione), true);

// Errors.
checkError("ValidateParam", function () { o.ValidateParam("", "sTesto"); }, -2147221503,
           "Il parametro [sTesto] non pu\u00f2 essere nullo o vuoto");
checkError("no branch", function () { o.LeggiImpostazione("", "Nome"); }, -2147221503,
           "Il parametro [sRamo] non pu\u00f2 essere nullo o vuoto");
checkError("number 5", function () { o.CancellaImpostazione("Prova JScript", "Manca"); }, 0x800A0005,
           "Errore durante la rimozione delle chiave 'Manca'");
checkError("FormatTemplate, null", function () { o.FormatTemplate("{0}", [null]); }, 0x800A005E,
           "Utilizzo non valido di Null");
checkError("FormatTemplate, an object", function () { o.FormatTemplate("{0}", [{}]); }, 0x800A000D,
           "Tipo non corrispondente");
function checkNoList(what, list) {
  checkError("FormatTemplate, " + what, function () { o.FormatTemplate("{0}", list); }, 0x800A000D,
             "Tipo non corrispondente");
}
checkNoList("a plain object", {});
checkNoList("a plain object with a length", { length: 1, 0: "a" });
checkNoList("a text object", new String("testo"));
checkNoList("a number object", new Number(1));
checkNoList("a date", new Date(0));
checkNoList("a function", function (a) { return a; });
checkNoList("a regular expression", /a/);
checkError("FormatTemplate, a list too long", function () { o.FormatTemplate("{0}", new Array(50000000)); },
           0x800A0006, "Overflow");
checkError("FormatTemplate, the longest list", function () { o.FormatTemplate("{0}", new Array(2147483647)); },
           0x800A0006, "Overflow");
// Null is no object: automation itself refuses it before the component sees it.
checkError("AddXMLElement, no document", function () { o.AddXMLElement(null, root, "a", ""); }, 0x80020005, null);
checkError("AddXMLElement, no name", function () { o.AddXMLElement(document, root, "1 a", ""); }, 0x80004005, null);
check("AddXMLElement, nothing was added", root.childNodes.length, 1);
checkError("GetFieldValue, no field", function () { o.GetFieldValue({}, "x"); }, 0x80020006, null);
checkError("no such member", function () { o.NonEsiste(); }, 0x800A01B6, null);

WScript.Echo(checks + " checks, " + failed + " failed");
