// The entry point of a Windows program without a console window. Elsewhere the system calls main().
#include "app/narrowwords.h"

#include <string>
#include <vector>
#include <windows.h>

int main(int argc, char **argv);

int WINAPI WinMain(HINSTANCE /*instance*/,
                   HINSTANCE /*previous*/,
                   LPSTR /*commandLine*/,
                   int /*show*/)
{
    int count = 0;
    wchar_t **const wideWords = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!wideWords) {
        return -1;
    }
    std::vector<std::string> words = app::narrowWords(wideWords, count);
    LocalFree(wideWords);
    return main(count, app::argumentVector(words).data());
}
