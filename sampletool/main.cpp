#include "sampletool/tool.h"

int main(int argc, char *argv[])
{
    return sample::run({argv + 1, argv + argc});
}
