// Replaces the service behind the Windows entry point: writes each argument that it received as a
// line of hexadecimal digits and exits with their number.
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
