#include "base/writefile.h"

#include "commands/writebase64file.h"
#include "tests/support/inthreads.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <atomic>
#include <csignal>
#include <sys/resource.h>
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
    {
        (void)::getrlimit(RLIMIT_FSIZE, &m_limit);
        const rlimit shorter{bytes, m_limit.rlim_max};
        (void)::setrlimit(RLIMIT_FSIZE, &shorter);
    }

    ~ShortDisk()
    {
        (void)::setrlimit(RLIMIT_FSIZE, &m_limit);
        (void)std::signal(SIGXFSZ, m_signal);
    }

    ShortDisk(const ShortDisk &) = delete;
    ShortDisk &operator=(const ShortDisk &) = delete;
    ShortDisk(ShortDisk &&) = delete;
    ShortDisk &operator=(ShortDisk &&) = delete;

private:
    rlimit m_limit = {};
    void (*m_signal)(int);
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

class WriteFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFileIsMadeWithItsBytes();
    void aFileThatIsThereIsReplaced();
    void aFolderIsNotWrittenAndTheReasonComesBack();
    void aZeroCharacterInTheNameWritesNoFileAtAll();
    void aVeryLongNameIsRejectedByTheSystem();
    void base64IsDecodedAndThePathComesBack();
    void aTakenNameIsLeftAloneAndTheNumberedPathComesBack();
    void anEmptyTextMakesAnEmptyFile();
    void badBase64IsWrittenWithoutAWord_data();
    void badBase64IsWrittenWithoutAWord();
    void theFolderItselfAsTargetIsWrittenUnderANumber();
    void aFileThatCannotBeMadeIsReportedWithThePathThatWasAskedFor();
    void aFreePathThatCannotBeMadeIsReported();
    void aZeroCharacterIsReportedAndNothingIsWritten();
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
    void theLongestNameIsWrittenAndReplaced();
    void ofAFullDiskNothingIsLeftUnderTheName_data();
    void ofAFullDiskNothingIsLeftUnderTheName();
    void onAFullDiskThePathComesBackAndStaysWithTheRequest();
    void writersOfOneNameLeaveOneOfTheirFiles();
    void aReaderSeesWholeFilesOnly();
    void writersOfNewFilesAllGetAnother();
};

void WriteFileTest::aFileIsMadeWithItsBytes()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    QVERIFY(!base::writeFile(path, QByteArray("\0\xff\r\n", 4)));
    QCOMPARE(contentOf(path), QByteArray("\0\xff\r\n", 4));
}

void WriteFileTest::aFileThatIsThereIsReplaced()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    makeFile(path, "something long");
    QVERIFY(!base::writeFile(path, "short"));
    QCOMPARE(contentOf(path), QByteArray("short"));
}

void WriteFileTest::aFolderIsNotWrittenAndTheReasonComesBack()
{
    const OwnWorkFolder folder;
    QCOMPARE(base::writeFile(folder.path(), "x").value_or(QString()),
             QStringLiteral("Is a directory"));
}

void WriteFileTest::aZeroCharacterInTheNameWritesNoFileAtAll()
{
    const OwnWorkFolder folder;
    const QString name = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QCOMPARE(base::writeFile(folder.filePath(name), "x").value_or(QString()),
             QStringLiteral("zero character in the name"));
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::aVeryLongNameIsRejectedByTheSystem()
{
    const OwnWorkFolder folder;
    QCOMPARE(
        base::writeFile(folder.filePath(QString(300, QLatin1Char('n'))), "x").value_or(QString()),
        QStringLiteral("File name too long"));
}

void WriteFileTest::base64IsDecodedAndThePathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(writeBase64File(path, QStringLiteral("AP8Kew==")), path);
    QCOMPARE(contentOf(path), QByteArray("\0\xff\n{", 4));
}

void WriteFileTest::aTakenNameIsLeftAloneAndTheNumberedPathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    const QString numbered = folder.filePath(QStringLiteral("a_1.tif"));
    makeFile(path, "old");
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), numbered);
    QCOMPARE(contentOf(path), QByteArray("old"));
    QCOMPARE(contentOf(numbered), QByteArray("new"));
}

void WriteFileTest::anEmptyTextMakesAnEmptyFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(writeBase64File(path, QString()), path);
    QVERIFY(QFile::exists(path));
    QCOMPARE(contentOf(path), QByteArray());
}

void WriteFileTest::badBase64IsWrittenWithoutAWord_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("no padding") << "bmV" << QByteArray("ne");
    QTest::newRow("line ends are skipped") << "bm\r\nV3" << QByteArray("new");
    QTest::newRow("foreign characters are skipped") << "b*m\u00e4V\u20ac3" << QByteArray("new");
    QTest::newRow("nothing but foreign characters") << "***" << QByteArray();
    QTest::newRow("a single character") << "b" << QByteArray();
}

void WriteFileTest::badBase64IsWrittenWithoutAWord()
{
    QFETCH(const QString, text);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, text), path);
    QCOMPARE(errors.take(), QByteArray());
    QTEST(contentOf(path), "bytes");
}

void WriteFileTest::theFolderItselfAsTargetIsWrittenUnderANumber()
{
    const OwnWorkFolder folder;
    QCOMPARE(writeBase64File(folder.filePath(QString()), QStringLiteral("bmV3")),
             folder.filePath(QStringLiteral("_1.")));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("_1."))), QByteArray("new"));
}

void WriteFileTest::aFileThatCannotBeMadeIsReportedWithThePathThatWasAskedFor()
{
    // The free name for a file in a folder with a dot is in a folder that does not exist.
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("v1.2")));
    const QString path = folder.filePath(QStringLiteral("v1.2/raw"));
    makeFile(path);
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + path.toLocal8Bit() + " for writing: No such file or directory\n");
}

void WriteFileTest::aFreePathThatCannotBeMadeIsReported()
{
    const QString path = QStringLiteral("/no/such/folder/a.tif");
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             QByteArray("Could not open /no/such/folder/a.tif for writing: "
                        "No such file or directory\n"));
}

void WriteFileTest::aZeroCharacterIsReportedAndNothingIsWritten()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/a for writing: zero character in the name\n");
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::rightsAreThoseOfAnyNewFile()
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

void WriteFileTest::rightsAndOwnerOfAFileThatIsReplacedStay()
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

void WriteFileTest::aReadOnlyFileIsNotWrittenAndTheReasonComesBack()
{
    const OwnWorkFolder folder;
    const Somebody somebody(folder);
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    setRights(path, 0444);
    QCOMPARE(base::writeFile(path, "new").value_or(QString()), QStringLiteral("Permission denied"));
    QCOMPARE(contentOf(path), QByteArray("old"));
}

void WriteFileTest::inAFolderWithoutRightsAFileIsWrittenAndNoneMade()
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

void WriteFileTest::aLinkStaysAndTheFileBehindItIsReplaced()
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

void WriteFileTest::aLinkThatLeadsNowhereMakesTheFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    QVERIFY(QFile::link(folder.filePath(QStringLiteral("target")), path));
    QVERIFY(!base::writeFile(path, "new"));
    QVERIFY(QFileInfo(path).isSymLink());
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("target"))), QByteArray("new"));
}

void WriteFileTest::bothNamesOfAFileSeeTheNewBytes()
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

void WriteFileTest::attributesOfAFileThatIsReplacedStay()
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

void WriteFileTest::aFileOfAnotherUserKeepsItsOwner()
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

void WriteFileTest::aPipeIsWrittenToAndStays()
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

void WriteFileTest::theLongestNameIsWrittenAndReplaced()
{
    const OwnWorkFolder folder;
    const QString name(255, QLatin1Char('n'));
    QVERIFY(!base::writeFile(folder.filePath(name), "old"));
    QVERIFY(!base::writeFile(folder.filePath(name), "new"));
    QCOMPARE(contentOf(folder.filePath(name)), QByteArray("new"));
    QCOMPARE(folder.names(), QStringList{name});
}

void WriteFileTest::ofAFullDiskNothingIsLeftUnderTheName_data()
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

void WriteFileTest::ofAFullDiskNothingIsLeftUnderTheName()
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

void WriteFileTest::onAFullDiskThePathComesBackAndStaysWithTheRequest()
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

void WriteFileTest::writersOfOneNameLeaveOneOfTheirFiles()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> refused{0};
        inThreads(4, [&](int number) {
            const QByteArray bytes((number + 1) * 500000, static_cast<char>('a' + number));
            refused += base::writeFile(path, bytes) ? 1 : 0;
        });
        QCOMPARE(refused.load(), 0);
        const QByteArray left = contentOf(path);
        QVERIFY(!left.isEmpty());
        QCOMPARE(left.size(), (left.at(0) - 'a' + 1) * 500000);
        QCOMPARE(left.count(left.at(0)), left.size());
    }
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void WriteFileTest::aReaderSeesWholeFilesOnly()
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

void WriteFileTest::writersOfNewFilesAllGetAnother()
{
    constexpr int writers = 8;
    constexpr int rounds = 100;
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("image.jpg"));
    std::atomic<int> wrong{0};
    inThreads(writers, [&](int number) {
        for (int round = 0; round < rounds; ++round) {
            const QByteArray bytes = QByteArray::number(number) + ' ' + QByteArray::number(round);
            const QString written = writeBase64File(path, QString::fromLatin1(bytes.toBase64()));
            wrong += contentOf(written) == bytes ? 0 : 1;
        }
    });
    QCOMPARE(wrong.load(), 0);
    QStringList wanted{QStringLiteral("image.jpg")};
    for (int number = 1; number < writers * rounds; ++number) {
        wanted.append(QStringLiteral("image_%1.jpg").arg(number));
    }
    wanted.sort();
    QStringList names = folder.names();
    names.sort();
    QCOMPARE(names, wanted);
}

VOND_TEST(WriteFileTest);
#include "writefiletest.moc"
