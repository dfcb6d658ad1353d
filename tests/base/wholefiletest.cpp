#include "base/wholefile.h"

#include "tests/support/testmain.h"

#include <QBuffer>
#include <QTest>

namespace {

// Returns its bytes in small pieces, then an end or an error.
class Dripping : public QIODevice
{
public:
    Dripping(QByteArray bytes, bool fails)
        : m_bytes(std::move(bytes))
        , m_fails(fails)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        if (m_bytes.isEmpty()) {
            return m_fails ? -1 : 0;
        }
        const QByteArray piece = m_bytes.left(static_cast<int>(qMin(maxSize, qint64(3))));
        std::copy(piece.cbegin(), piece.cend(), data);
        m_bytes.remove(0, piece.size());
        return piece.size();
    }

    qint64 writeData(const char *, qint64) override
    {
        return -1;
    }

private:
    QByteArray m_bytes;
    bool m_fails;
};

} // namespace

class WholeFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void piecesArePutTogether();
    void bytesBeyondTheSizeAreLeftAlone();
    void anEarlyEndGivesWhatWasThere();
    void anErrorGivesWhatWasThere();
    void anErrorAtTheBeginningGivesNothing();
    void anArrayInItsOwnBlockIsWrittenInPlace();
    void anArrayInItsOwnBlockIsSharedAndOutlivesItsFirstOwner();
    void anArrayInItsOwnBlockGrowsLikeAnyOther();
};

void WholeFileTest::piecesArePutTogether()
{
    Dripping device("0123456789", false);
    QCOMPARE(base::readWhole(&device, 10), QByteArray("0123456789"));
}

void WholeFileTest::bytesBeyondTheSizeAreLeftAlone()
{
    Dripping device("0123456789", false);
    QCOMPARE(base::readWhole(&device, 4), QByteArray("0123"));
}

void WholeFileTest::anEarlyEndGivesWhatWasThere()
{
    Dripping device("01234", false);
    QCOMPARE(base::readWhole(&device, 10), QByteArray("01234"));
}

void WholeFileTest::anErrorGivesWhatWasThere()
{
    Dripping device("01234", true);
    QCOMPARE(base::readWhole(&device, 10), QByteArray("01234"));
}

void WholeFileTest::anErrorAtTheBeginningGivesNothing()
{
    Dripping device({}, true);
    QCOMPARE(base::readWhole(&device, 10), QByteArray());
}

void WholeFileTest::anArrayInItsOwnBlockIsWrittenInPlace()
{
    QByteArray bytes = base::arrayInOwnBlock(3);
    const char *const block = bytes.constData();
    QCOMPARE(bytes.size(), 3);
    QCOMPARE(bytes.constData()[3], '\0');
    bytes.data()[0] = 'a';
    bytes.data()[1] = 'b';
    bytes.data()[2] = 'c';
    QVERIFY2(bytes.constData() == block, "writing to the only copy moved it");
    QCOMPARE(bytes, QByteArray("abc"));
}

void WholeFileTest::anArrayInItsOwnBlockIsSharedAndOutlivesItsFirstOwner()
{
    QByteArray bytes = base::arrayInOwnBlock(3);
    bytes.fill('a');
    const QByteArray copy = bytes;
    QVERIFY2(copy.constData() == bytes.constData(), "copying moved it");
    bytes[0] = 'b';
    QCOMPARE(bytes, QByteArray("baa"));
    bytes = QByteArray();
    QCOMPARE(copy, QByteArray("aaa"));
}

void WholeFileTest::anArrayInItsOwnBlockGrowsLikeAnyOther()
{
    QByteArray bytes = base::arrayInOwnBlock(3);
    bytes.fill('a');
    bytes.append("bcd");
    QCOMPARE(bytes, QByteArray("aaabcd"));
    bytes.truncate(1);
    bytes.squeeze();
    QCOMPARE(bytes, QByteArray("a"));
}

VOND_TEST(WholeFileTest);
#include "wholefiletest.moc"
