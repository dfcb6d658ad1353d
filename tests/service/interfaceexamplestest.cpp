#include "settings/keys.h"
#include "tests/support/ownfolders.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <vector>

namespace {

// One shell block of the document, with the text block that follows it.
struct Example
{
    QByteArray name; // the heading above, and the line
    QString commands;
    QString output;
    bool isRun = true;
    bool hasOutput = false;
};

const QString runBlock = QStringLiteral("```sh");
const QString quietBlock = QStringLiteral("```sh not-run");
const QString outputBlock = QStringLiteral("```text");
const QString recipeBlock = QStringLiteral("```ts"); // compiled and run by scripts/try openapi
const QString blockEnd = QStringLiteral("```");

std::vector<Example> examplesIn(const QStringList &lines)
{
    std::vector<Example> examples;
    QString heading;
    QString recipe; // ignored here
    QString *block = nullptr; // the one that the lines belong to
    for (int i = 0; i < lines.size(); ++i) {
        const QString &line = lines.at(i);
        if (block != nullptr) {
            if (line == blockEnd) {
                block = nullptr;
            } else {
                *block += line + QLatin1Char('\n');
            }
        } else if (line == runBlock || line == quietBlock) {
            Example example;
            example.name = heading.toUtf8() + ", line " + QByteArray::number(i + 1);
            example.isRun = line == runBlock;
            examples.push_back(example);
            block = &examples.back().commands;
        } else if (line == recipeBlock) {
            block = &recipe;
        } else if (line == outputBlock) {
            if (examples.empty() || examples.back().hasOutput) {
                qFatal("line %d: an output without an example", i + 1);
            }
            examples.back().hasOutput = true;
            block = &examples.back().output;
        } else if (line.startsWith(blockEnd)) {
            qFatal("line %d: a block of another kind", i + 1);
        } else if (line.startsWith(QLatin1Char('#'))) {
            heading = line.mid(line.indexOf(QLatin1Char(' ')) + 1);
        }
    }
    return examples;
}

// The document's own list of what varies from run to run.
QString patternFor(const QString &placeholder, const QString &workFolder)
{
    const QString day = QStringLiteral("(Mon|Tue|Wed|Thu|Fri|Sat|Sun)");
    const QString month = QStringLiteral("(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)");
    const QMap<QString, QString> patterns{
        {QStringLiteral("<n>"), QStringLiteral("\\d+")},
        {QStringLiteral("<date>"),
         day + QStringLiteral(", \\d\\d ") + month
             + QStringLiteral(" \\d{4} \\d\\d:\\d\\d:\\d\\d GMT")},
        {QStringLiteral("<time>"),
         QStringLiteral("\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d:\\d{3}")},
        {QStringLiteral("<uuid>"),
         QStringLiteral("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}")},
        {QStringLiteral("<folder>"), QRegularExpression::escape(workFolder)},
        {QStringLiteral("<progress lines>\n"), QStringLiteral("(Progress: \\d{1,3}%\\n)*")},
    };
    const QString pattern = patterns.value(placeholder);
    if (pattern.isEmpty()) {
        qFatal("what stands for '%s'?", qPrintable(placeholder));
    }
    return pattern;
}

QRegularExpression expressionFor(const QString &output, const QString &workFolder)
{
    static const QRegularExpression placeholder(QStringLiteral("<progress lines>\n|<[a-z ]+>"));
    QString pattern;
    int done = 0;
    QRegularExpressionMatchIterator each = placeholder.globalMatch(output);
    while (each.hasNext()) {
        const QRegularExpressionMatch match = each.next();
        pattern += QRegularExpression::escape(output.mid(done, match.capturedStart() - done));
        pattern += patternFor(match.captured(), workFolder);
        done = match.capturedEnd();
    }
    pattern += QRegularExpression::escape(output.mid(done));
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern));
}

// Trailing line ends do not count: most responses have none, and a block in the document always has
// one. Nor do the carriage returns of HTTP.
QString comparable(QString text)
{
    text.remove(QLatin1Char('\r'));
    while (text.endsWith(QLatin1Char('\n'))) {
        text.chop(1);
    }
    return text;
}

} // namespace

// docs/interface.md, as a reader tries it out.
class InterfaceExamplesTest : public QObject
{
    Q_OBJECT

private:
    // Runs the examples in one shell, as if pasted one after the other, and splits the output at a
    // mark that is printed after each.
    void runExamples()
    {
        const QString mark = QStringLiteral("\n--- this was example %1 ---\n");
        QString script = QStringLiteral("set -eu\n");
        for (size_t i = 0; i < m_examples.size(); ++i) {
            if (m_examples.at(i).isRun) {
                script += m_examples.at(i).commands
                    + QStringLiteral("printf '\\n--- this was example %1 ---\\n'\n").arg(i);
            }
        }
        makeFile(m_folder.filePath(QStringLiteral("examples.sh")), script.toUtf8());

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("VOND"),
                           QStringLiteral("http://127.0.0.1:%1").arg(m_service.port()));
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        QProcess shell;
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(m_folder.path());
        shell.start(QStringLiteral("bash"), {QStringLiteral("examples.sh")});
        m_ended = shell.waitForFinished(patienceMs);
        m_status = shell.exitCode();
        m_errors = shell.readAllStandardError();

        QString rest = QString::fromUtf8(shell.readAllStandardOutput());
        for (size_t i = 0; i < m_examples.size(); ++i) {
            const QString end = mark.arg(i);
            const int at = rest.indexOf(end);
            m_printed.push_back(at < 0 ? QStringLiteral("(not reached)") : rest.left(at));
            if (at >= 0) {
                rest.remove(0, at + end.size());
            }
        }
    }

    // The paths in the service's own table.
    [[nodiscard]] static QStringList routes()
    {
        static const QRegularExpression route(
            QStringLiteral("server->route\\((?:QStringLiteral\\()?\"([^\"]+)\""));
        const QString table = QString::fromUtf8(contentOf(QStringLiteral(ROUTE_TABLE)));
        QStringList paths;
        QRegularExpressionMatchIterator each = route.globalMatch(table);
        while (each.hasNext()) {
            paths.append(each.next().captured(1));
        }
        return paths;
    }

private Q_SLOTS:

    void initTestCase()
    {
        for (const char *const program : {"bash", "curl", "base64", "vipsheader"}) {
            if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty()) {
                QSKIP(
                    "a program is missing that the examples use; see scripts/install-dependencies");
            }
        }
        m_document = QString::fromUtf8(contentOf(QStringLiteral(INTERFACE_DOCUMENT)));
        m_examples = examplesIn(m_document.split(QLatin1Char('\n')));
        QVERIFY(QFile::copy(QStringLiteral(EXAMPLE_PICTURE),
                            m_folder.filePath(QStringLiteral("photo.jpg"))));
        m_service.setSetting(settings::serverLoggingKey, true);
        QVERIFY(m_service.start(QStringLiteral(SAMPLE_TOOL_PATH)));
        runExamples();
    }

    void everyExampleRuns()
    {
        QVERIFY(m_ended);
        QVERIFY2(m_status == 0, m_errors.constData());
        QCOMPARE(m_errors, QByteArray());
    }

    void answers_data()
    {
        QTest::addColumn<int>("index");
        for (size_t i = 0; i < m_examples.size(); ++i) {
            if (m_examples.at(i).isRun && m_examples.at(i).hasOutput) {
                QTest::newRow(m_examples.at(i).name.constData()) << static_cast<int>(i);
            }
        }
    }

    void answers()
    {
        QFETCH(int, index);
        const auto i = static_cast<size_t>(index);
        const QString printed = comparable(m_printed.at(i));
        const QString expected = comparable(m_examples.at(i).output);
        if (!expressionFor(expected, m_service.temporaryFolder()).match(printed).hasMatch()) {
            QCOMPARE(printed, expected); // fails, and shows both
        }
    }

    // An example without an output would not be checked.
    void examplesWithoutOutputOnlySetThingsUp()
    {
        for (const Example &example : m_examples) {
            if (!example.hasOutput) {
                QVERIFY2(!example.commands.contains(QLatin1String("curl")),
                         example.name.constData());
            }
        }
    }

    void theTableHasNoOtherRoutes()
    {
        const QStringList paths = routes();
        QVERIFY(paths.contains(QStringLiteral("/convert")));
        QCOMPARE(m_document.count(QStringLiteral("\n| [`/")), paths.size());
    }

    void everyRouteIsInTheTableAndHasAnExample_data()
    {
        QTest::addColumn<QString>("path");
        for (const QString &path : routes()) {
            QTest::newRow(qPrintable(path)) << path;
        }
    }

    void everyRouteIsInTheTableAndHasAnExample()
    {
        QFETCH(QString, path);
        QVERIFY(m_document.contains(QStringLiteral("\n| [`%1`](#").arg(path)));

        QString asked = QRegularExpression::escape(QStringLiteral("$VOND") + path);
        asked.replace(QRegularExpression::escape(QStringLiteral("<arg>")),
                      QStringLiteral("[^/\"]+"));
        const QRegularExpression call(QStringLiteral("\"%1\"").arg(asked));
        const bool isAsked =
            std::any_of(m_examples.cbegin(), m_examples.cend(), [&call](const Example &example) {
                return example.hasOutput && call.match(example.commands).hasMatch();
            });
        QVERIFY(isAsked);
    }

    void everyLinkLeadsToAHeading()
    {
        QSet<QString> anchors;
        static const QRegularExpression heading(QStringLiteral("^#+ (.*)$"),
                                                QRegularExpression::MultilineOption);
        QRegularExpressionMatchIterator headings = heading.globalMatch(m_document);
        static const QRegularExpression dropped(QStringLiteral("[^a-z0-9 -]"));
        while (headings.hasNext()) {
            QString anchor = headings.next().captured(1).toLower();
            anchor.remove(dropped).replace(QLatin1Char(' '), QLatin1Char('-'));
            anchors.insert(anchor);
        }
        static const QRegularExpression link(QStringLiteral("\\]\\(#([^)]*)\\)"));
        QRegularExpressionMatchIterator links = link.globalMatch(m_document);
        QVERIFY(links.hasNext());
        while (links.hasNext()) {
            const QString anchor = links.next().captured(1);
            QVERIFY2(anchors.contains(anchor), qPrintable(anchor));
        }
    }

private:
    static constexpr int patienceMs = 150000; // all examples, on a busy machine

    QTemporaryDir m_folder; // where the reader is
    ServiceUnderTest m_service;
    QString m_document;
    std::vector<Example> m_examples;
    std::vector<QString> m_printed; // by each example
    QByteArray m_errors;
    int m_status = -1;
    bool m_ended = false;
};

VOND_TEST(InterfaceExamplesTest);
#include "interfaceexamplestest.moc"
