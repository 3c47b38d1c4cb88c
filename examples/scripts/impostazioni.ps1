# A setting is written and read back, a message is filled, an error is caught.
# %windir%\SysWOW64\WindowsPowerShell\v1.0\powershell.exe -File impostazioni.ps1
# Untried: it has not been run yet.
$nerio = New-Object -ComObject Nerio.Component
[void] $nerio.ScriviImpostazione('Esempio PowerShell', 'Lingua', 'it')
$nerio.LeggiImpostazione('Esempio PowerShell', 'Lingua', 'en')
$nerio.FormatTemplate('{0} di {1}', @(3, 7))
try {
  $nerio.ValidateParam('', 'sTesto')
} catch {
  '{0}: {1}' -f $_.Exception.HResult, $_.Exception.Message
}
