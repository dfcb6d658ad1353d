#include "app/commandline.h"
#include "app/hugepages.h"
#include "app/run.h"

int main(int argc, char **argv)
{
    if (app::serves(app::commandFor(app::wordsAfterProgramName(argc, argv)))) {
        app::useHugePages(argv);
    }
    return app::run(argc, argv);
}
