// The least that a tool can do, for what lies around it to be seen: one text and the end. Under a
// web server's gateway interface the text is a whole answer; as a conversion ("-o" in front of the
// last argument) it is the name of the output.
#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    const bool converts = argc > 2 && std::strcmp(argv[argc - 2], "-o") == 0;
    const int written = converts ? std::printf("Output file: %s\n", argv[argc - 1])
                                 : std::printf("Content-Type: text/plain\n\ntrivial 1.0\n");
    return written > 0 ? 0 : 1;
}
