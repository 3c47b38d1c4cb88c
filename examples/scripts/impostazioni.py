"""A setting is written and read back, a message is filled, an error is caught. For a Python of 32 bits with pywin32.

Untried: it has not been run yet."""

import pywintypes
import win32com.client

nerio = win32com.client.Dispatch("Nerio.Component")
nerio.ScriviImpostazione("Esempio Python", "Lingua", "it")
print(nerio.LeggiImpostazione("Esempio Python", "Lingua", "en"))
print(nerio.FormatTemplate("{0} di {1}", (3, 7)))
try:
    nerio.ValidateParam("", "sTesto")
except pywintypes.com_error as error:
    number, description = error.excepinfo[5], error.excepinfo[2]
    print(f"{number}: {description}")
