#include "tests/support/openresources.h"

#include <windows.h>

int openDescriptors()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return static_cast<int>(count);
}

bool hasChildren()
{
    return false;
}
