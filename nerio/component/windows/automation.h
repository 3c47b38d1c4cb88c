// What the header that is made from nerio.idl includes for automation.idl: the platform's own types.
#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oaidl.h>
