#pragma once

#include <QCoreApplication>
#include <QTest>

// A test program contains the test classes of a folder and runs the one that its first argument
// names, in lower case; the other arguments go to Qt Test. So each class still has a process of its
// own, and there are few programs to link.
namespace testmain {

using Run = int (*)(int argc, char **argv);

// Called before main(), by the macros below.
void add(const char *className, Run run);

struct Registration
{
    Registration(const char *className, Run run)
    {
        add(className, run);
    }
};

template <typename Test>
int runWithoutApplication(int argc, char **argv)
{
    Test test;
    return QTest::qExec(&test, argc, argv);
}

template <typename Test>
int run(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return runWithoutApplication<Test>(argc, argv);
}

} // namespace testmain

// Replaces Qt's QTEST_GUILESS_MAIN and QTEST_APPLESS_MAIN.
#define VOND_TEST(Test)                                                                            \
    static const testmain::Registration registrationOf##Test                                       \
    {                                                                                              \
#Test, testmain::run < Test>                                                               \
    }
#define VOND_TEST_WITHOUT_APPLICATION(Test)                                                        \
    static const testmain::Registration registrationOf##Test                                       \
    {                                                                                              \
#Test, testmain::runWithoutApplication < Test>                                             \
    }
