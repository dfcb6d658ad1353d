// The least that a tool can do, to measure what is around it: prints one text and exits. As a CGI
// program the text is a whole response; as a conversion ("-o" before the last argument) it is the
// name of the output.
#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    const bool converts = argc > 2 && std::strcmp(argv[argc - 2], "-o") == 0;
    const int written = converts ? std::printf("Output file: %s\n", argv[argc - 1])
                                 : std::printf("Content-Type: text/plain\n\ntrivial 1.0\n");
    return written > 0 ? 0 : 1;
}
