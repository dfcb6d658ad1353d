#include "app/endofsession.h"

#include <windows.h>

namespace app {

namespace {

LRESULT CALLBACK handleMessage(HWND window, UINT message, WPARAM first, LPARAM second)
{
    const bool isTheEnd = message == WM_CLOSE || (message == WM_ENDSESSION && first != FALSE);
    if (isTheEnd) {
        // Not through the event loop: connections have threads that nobody waits for.
        (void)TerminateProcess(GetCurrentProcess(), 0);
    }
    return DefWindowProcW(window, message, first, second);
}

} // namespace

// Only windows are asked, and Qt's own are of a kind that is not. This one is never shown. Should
// it not be had, the system ends the process without asking.
void endWithTheSession()
{
    WNDCLASSW kind = {};
    kind.lpfnWndProc = handleMessage;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = L"vondServer";
    if (RegisterClassW(&kind) != 0) {
        (void)CreateWindowExW(0,
                              kind.lpszClassName,
                              kind.lpszClassName,
                              0,
                              0,
                              0,
                              0,
                              0,
                              nullptr,
                              nullptr,
                              kind.hInstance,
                              nullptr);
    }
}

} // namespace app
