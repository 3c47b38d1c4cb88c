// A setting is written and read back, a message is filled, an error is caught.
// %windir%\SysWOW64\cscript.exe //nologo impostazioni.js
var nerio = new ActiveXObject("Nerio.Component");
nerio.ScriviImpostazione("Esempio JScript", "Lingua", "it");
WScript.Echo(nerio.LeggiImpostazione("Esempio JScript", "Lingua", "en"));
WScript.Echo(nerio.FormatTemplate("{0} di {1}", [3, 7]));
try {
  nerio.ValidateParam("", "sTesto");
} catch (error) {
  WScript.Echo(error.number + ": " + error.description);
}
