#include "tests/support/testmain.h"

#include <QByteArray>
#include <QTextCodec>

#include <iostream>
#include <map>
#include <vector>

namespace {

std::map<QByteArray, testmain::Run> &tests()
{
    static std::map<QByteArray, testmain::Run> all;
    return all;
}

// What the service does at its start, or the system for it.
void settle()
{
#ifdef Q_OS_WIN
    qputenv("QT_FORCE_STDERR_LOGGING", "1"); // what a test says goes to a debugger otherwise
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    qputenv("TMP", "Z:" + qgetenv("TMPDIR")); // wine has a folder of its own otherwise
#endif
}

} // namespace

void testmain::add(const char *className, Run run)
{
    tests()[QByteArray(className).toLower()] = run;
}

int main(int argc, char **argv)
{
    const auto found = argc > 1 ? tests().find(argv[1]) : tests().end();
    if (found == tests().end()) {
        std::cerr << "usage: " << argv[0] << " TEST [OPTION OF QT TEST...]; the tests in here:\n";
        for (const auto &test : tests()) {
            std::cerr << "    " << test.first.constData() << '\n';
        }
        return 2;
    }
    settle();
    std::vector<char *> words(argv, argv + argc + 1);
    words.erase(words.begin() + 1);
    return found->second(argc - 1, words.data());
}
