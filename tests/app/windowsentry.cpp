// Stands in for the service behind the Windows entry: writes each word it was handed as a line of
// hexadecimal digits and ends with the number of words.
#include <cstdio>

int main(int argc, char **argv)
{
    if (argv[argc] != nullptr) {
        std::puts("the words have no end");
        return 99;
    }
    for (int i = 1; i < argc; ++i) {
        for (const char *letter = argv[i]; *letter != '\0'; ++letter) {
            std::printf("%02x", static_cast<unsigned>(static_cast<unsigned char>(*letter)));
        }
        std::puts("");
    }
    return argc - 1;
}
