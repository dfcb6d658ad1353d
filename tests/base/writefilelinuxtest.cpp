#include "base/writefile.h"
#include "commands/writebase64file.h"
#include "tests/support/ownfolders.h"
#include "tests/support/resourcelimit.h"
#include "tests/support/testmain.h"

#include <QFileInfo>
#include <QTest>

#include <atomic>
#include <csignal>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace {

// Limits the size of files while it lives: the effect of a full disk on a write, without one.
class ShortDisk
{
public:
    explicit ShortDisk(rlim_t bytes)
        : m_signal(std::signal(SIGXFSZ, SIG_IGN))
        , m_limit(RLIMIT_FSIZE, bytes)
    {
    }

    ~ShortDisk()
    {
        (void)std::signal(SIGXFSZ, m_signal);
    }

    ShortDisk(const ShortDisk &) = delete;
    ShortDisk &operator=(const ShortDisk &) = delete;
    ShortDisk(ShortDisk &&) = delete;
    ShortDisk &operator=(ShortDisk &&) = delete;

private:
    void (*m_signal)(int);
    ResourceLimit m_limit;
};

// A user for whom permissions matter, who owns the folder while this lives: root ignores them.
class Somebody
{
public:
    explicit Somebody(const OwnWorkFolder &folder)
        : m_wasRoot(::geteuid() == 0)
    {
        constexpr uid_t user = 64322;
        if (m_wasRoot
            && (::chown(QFile::encodeName(folder.path()).constData(), user, user) != 0
                || ::setegid(user) != 0 || ::seteuid(user) != 0)) {
            qFatal("could not become another user");
        }
    }

    ~Somebody()
    {
        if (m_wasRoot && (::seteuid(0) != 0 || ::setegid(0) != 0)) {
            qFatal("could not become root again");
        }
    }

    Somebody(const Somebody &) = delete;
    Somebody &operator=(const Somebody &) = delete;
    Somebody(Somebody &&) = delete;
    Somebody &operator=(Somebody &&) = delete;

private:
    bool m_wasRoot;
};

struct stat statOf(const QString &path)
{
    struct stat info = {};
    (void)::lstat(QFile::encodeName(path).constData(), &info);
    return info;
}

mode_t rightsOf(const QString &path)
{
    return statOf(path).st_mode & 07777U;
}

void setRights(const QString &path, mode_t rights)
{
    if (::chmod(QFile::encodeName(path).constData(), rights) != 0) {
        qFatal("could not change the rights of %s", qPrintable(path));
    }
}

// As in successive requests.
QString writeBase64File(const QString &path, const QString &text)
{
    tool::ClaimedPaths claims;
    return commands::writeBase64File(path, text, &claims);
}

} // namespace

Q_DECLARE_METATYPE(base::OnFullDisk)

class WriteFileLinuxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rightsAreThoseOfAnyNewFile();
    void rightsAndOwnerOfAFileThatIsReplacedStay();
    void aReadOnlyFileIsNotWrittenAndTheReasonComesBack();
    void inAFolderWithoutRightsAFileIsWrittenAndNoneMade();
    void aLinkStaysAndTheFileBehindItIsReplaced();
    void aLinkThatLeadsNowhereMakesTheFile();
    void bothNamesOfAFileSeeTheNewBytes();
    void attributesOfAFileThatIsReplacedStay();
    void aFileOfAnotherUserKeepsItsOwner();
    void aPipeIsWrittenToAndStays();
    void ofAFullDiskNothingIsLeftUnderTheName_data();
    void ofAFullDiskNothingIsLeftUnderTheName();
    void onAFullDiskThePathComesBackAndStaysWithTheRequest();
    void aReaderSeesWholeFilesOnly();
};

void WriteFileLinuxTest::rightsAreThoseOfAnyNewFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    const mode_t before = ::umask(027);
    const auto reason = base::writeFile(path, "x");
    const QString other = writeBase64File(path, QStringLiteral("bmV3"));
    (void)::umask(before);
    QVERIFY(!reason);
    QCOMPARE(rightsOf(path), 0640U);
    QCOMPARE(rightsOf(other), 0640U);
}

void WriteFileLinuxTest::rightsAndOwnerOfAFileThatIsReplacedStay()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    setRights(path, 0604);
    const struct stat before = statOf(path);
    QVERIFY(!base::writeFile(path, "new"));
    QCOMPARE(contentOf(path), QByteArray("new"));
    const struct stat after = statOf(path);
    QCOMPARE(after.st_mode, before.st_mode);
    QCOMPARE(after.st_uid, before.st_uid);
    QCOMPARE(after.st_gid, before.st_gid);
    QVERIFY(after.st_ino != before.st_ino); // replaced, not truncated
}

void WriteFileLinuxTest::aReadOnlyFileIsNotWrittenAndTheReasonComesBack()
{
    const OwnWorkFolder folder;
    const Somebody somebody(folder);
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    setRights(path, 0444);
    QCOMPARE(base::writeFile(path, "new").value_or(QString()), QStringLiteral("Permission denied"));
    QCOMPARE(contentOf(path), QByteArray("old"));
}

void WriteFileLinuxTest::inAFolderWithoutRightsAFileIsWrittenAndNoneMade()
{
    const OwnWorkFolder folder;
    const Somebody somebody(folder);
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "the old one");
    setRights(folder.path(), 0555);
    const auto onNew = base::writeFile(folder.filePath(QStringLiteral("b")), "new");
    const auto onOld = base::writeFile(path, "new");
    setRights(folder.path(), 0755);
    QCOMPARE(onNew.value_or(QString()), QStringLiteral("Permission denied"));
    QVERIFY(!onOld);
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void WriteFileLinuxTest::aLinkStaysAndTheFileBehindItIsReplaced()
{
    const OwnWorkFolder folder;
    const OwnWorkFolder elsewhere;
    const QString path = folder.filePath(QStringLiteral("a"));
    const QString target = elsewhere.filePath(QStringLiteral("target"));
    makeFile(target, "old");
    QVERIFY(QFile::link(target, path));
    const struct stat before = statOf(target);
    QVERIFY(!base::writeFile(path, "new"));
    QVERIFY(QFileInfo(path).isSymLink());
    QCOMPARE(contentOf(target), QByteArray("new"));
    QVERIFY(statOf(target).st_ino != before.st_ino);
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
    QCOMPARE(elsewhere.names(), QStringList{QStringLiteral("target")});
}

void WriteFileLinuxTest::aLinkThatLeadsNowhereMakesTheFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    QVERIFY(QFile::link(folder.filePath(QStringLiteral("target")), path));
    QVERIFY(!base::writeFile(path, "new"));
    QVERIFY(QFileInfo(path).isSymLink());
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("target"))), QByteArray("new"));
}

void WriteFileLinuxTest::bothNamesOfAFileSeeTheNewBytes()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    const QString other = folder.filePath(QStringLiteral("b"));
    makeFile(path, "the old one");
    QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()), 0);
    QVERIFY(!base::writeFile(path, "new"));
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(contentOf(other), QByteArray("new"));
}

void WriteFileLinuxTest::attributesOfAFileThatIsReplacedStay()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "the old one");
    const QByteArray native = QFile::encodeName(path);
    if (::setxattr(native.constData(), "user.origin", "camera", 6, 0) != 0) {
        QSKIP("this file system keeps no attributes");
    }
    QVERIFY(!base::writeFile(path, "new"));
    QCOMPARE(contentOf(path), QByteArray("new"));
    QByteArray value(6, ' ');
    QCOMPARE(::getxattr(native.constData(), "user.origin", value.data(), 6), 6L);
    QCOMPARE(value, QByteArray("camera"));
}

void WriteFileLinuxTest::aFileOfAnotherUserKeepsItsOwner()
{
    if (::geteuid() != 0) {
        QSKIP("only root can give a file away");
    }
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    QCOMPARE(::chown(QFile::encodeName(path).constData(), 64323, 64324), 0);
    setRights(path, 0666);
    QVERIFY(!base::writeFile(path, "new"));
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(statOf(path).st_uid, 64323U);
    QCOMPARE(statOf(path).st_gid, 64324U);
    {
        const Somebody somebody(folder); // who cannot create a file with that owner
        QVERIFY(!base::writeFile(path, "newer"));
    }
    QCOMPARE(contentOf(path), QByteArray("newer"));
    QCOMPARE(statOf(path).st_uid, 64323U);
    QCOMPARE(statOf(path).st_gid, 64324U);
}

void WriteFileLinuxTest::aPipeIsWrittenToAndStays()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    QByteArray read;
    std::thread reader([&] { read = contentOf(path); });
    const auto reason = base::writeFile(path, "new");
    reader.join();
    QVERIFY(!reason);
    QCOMPARE(read, QByteArray("new"));
    QVERIFY(S_ISFIFO(statOf(path).st_mode));
}

void WriteFileLinuxTest::ofAFullDiskNothingIsLeftUnderTheName_data()
{
    QTest::addColumn<bool>("isThere");
    QTest::addColumn<bool>("hasTwoNames");
    QTest::addColumn<base::OnFullDisk>("onFullDisk");
    QTest::addColumn<QStringList>("left");

    using base::OnFullDisk;
    const QStringList nothing;
    const QStringList one{QStringLiteral("a")};
    QTest::newRow("a new one") << false << false << OnFullDisk::LeaveNothing << nothing;
    QTest::newRow("an old one") << true << false << OnFullDisk::LeaveNothing << nothing;
    QTest::newRow("a new one, or empty") << false << false << OnFullDisk::LeaveEmpty << one;
    QTest::newRow("an old one, or empty") << true << false << OnFullDisk::LeaveEmpty << one;
    QTest::newRow("an old one that cannot be replaced")
        << true << true << OnFullDisk::LeaveNothing
        << QStringList{QStringLiteral("a"), QStringLiteral("b")};
}

void WriteFileLinuxTest::ofAFullDiskNothingIsLeftUnderTheName()
{
    QFETCH(const bool, isThere);
    QFETCH(const bool, hasTwoNames);
    QFETCH(const base::OnFullDisk, onFullDisk);
    QFETCH(const QStringList, left);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    if (isThere) {
        makeFile(path, "old");
    }
    if (hasTwoNames) {
        const QString other = folder.filePath(QStringLiteral("b"));
        QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()),
                 0);
    }
    {
        const ShortDisk disk(1000);
        QVERIFY(!base::writeFile(path, QByteArray(1001, 'x'), onFullDisk));
    }
    QCOMPARE(folder.names(), left);
    for (const QString &name : left) {
        QCOMPARE(contentOf(folder.filePath(name)), QByteArray());
    }
}

void WriteFileLinuxTest::onAFullDiskThePathComesBackAndStaysWithTheRequest()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    const QString text = QString::fromLatin1(QByteArray(1001, 'x').toBase64());
    tool::ClaimedPaths claims;
    {
        const ShortDisk disk(1000);
        QCOMPARE(commands::writeBase64File(path, text, &claims), path);
    }
    QCOMPARE(folder.names(), QStringList());
    QCOMPARE(writeBase64File(path, text), folder.filePath(QStringLiteral("a_1.tif")));
    QCOMPARE(commands::writeBase64File(path, text, &claims),
             folder.filePath(QStringLiteral("a_2.tif")));
}

void WriteFileLinuxTest::aReaderSeesWholeFilesOnly()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    constexpr int size = 500000;
    makeFile(path, QByteArray(size, 'a'));
    std::atomic<bool> over{false};
    std::thread writer([&] {
        for (int round = 0; round < 300; ++round) {
            (void)base::writeFile(path, QByteArray(size, static_cast<char>('a' + round % 26)));
        }
        over = true;
    });
    int whole = 0;
    int torn = 0;
    while (!over) {
        const QByteArray bytes = contentOf(path);
        const bool isWhole = bytes.size() == size && bytes.count(bytes.at(0)) == size;
        (isWhole ? whole : torn) += 1;
    }
    writer.join();
    QCOMPARE(torn, 0);
    QVERIFY(whole > 0);
}

VOND_TEST(WriteFileLinuxTest);
#include "writefilelinuxtest.moc"
