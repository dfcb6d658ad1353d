#include "diagnostics/memtest.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

constexpr qint64 keptBytes = 1076540288; // the encoded text, leaked on purpose
constexpr qint64 toleratedBytes = Q_INT64_C(64) * 1024 * 1024;

// The process's resident memory; -1 where the system does not report it.
qint64 residentBytes()
{
    const QList<QByteArray> pages = contentOf(QStringLiteral("/proc/self/statm")).split(' ');
    return pages.size() > 1 ? pages.at(1).toLongLong() * 4096 : -1;
}

} // namespace

class RealMemtestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTextIsTooLongAndOnlyItsBytesStay();
};

void RealMemtestTest::theTextIsTooLongAndOnlyItsBytesStay()
{
    const qint64 before = residentBytes();
    {
#ifdef __SANITIZE_ADDRESS__
        const __lsan::ScopedDisabler meantToStay;
#endif
        const MessageCatcher catcher;
        QCOMPARE(diagnostics::memtest(),
                 QStringLiteral("vondServer: memtest faild with size:8.07405e+08"));
        const QStringList lines{
            QStringLiteral("encoded image size: 1076540288"),
            QStringLiteral("Error: image too large for QLatin1String encoding"),
        };
        QCOMPARE(catcher.messages(), lines);
    }
    if (before < 0) {
        QSKIP("this system does not tell how much memory is resident");
    }
    const qint64 grown = residentBytes() - before;
    qInfo("%lld MiB more resident than before", static_cast<long long>(grown / 1024 / 1024));
    QVERIFY(grown >= keptBytes - toleratedBytes); // Deliberate: the encoded text is not freed
    QVERIFY(grown <= keptBytes + toleratedBytes);
}

VOND_TEST(RealMemtestTest);
#include "realmemtesttest.moc"
