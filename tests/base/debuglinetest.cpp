#include "base/debugline.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QJsonObject>
#include <QStringList>
#include <QTest>

namespace {

QStringList categories;

void keepCategory(QtMsgType /*type*/, const QMessageLogContext &context, const QString & /*text*/)
{
    categories.append(QString::fromLatin1(context.category));
}

} // namespace

// The lines are part of the interface: the log shows them.
class DebugLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aLineIsTheOneThatTheStreamItselfMakes()
    {
        const MessageCatcher messages;
        const QByteArray bytes("a \"b\" \0 \xff \xc3\xa4\n", 13);
        const QString text = QString::fromUtf8("ä \"q\" %1 %s \\ \x01 \xf0\x9f\x98\x80 ");
        const QStringList list{text, QString(), QStringLiteral("c ")};
        const QJsonObject object{{QStringLiteral("k %d"), text}};

        qDebug() << "label:" << bytes;
        base::debugLine("label:", bytes);
        qDebug() << "label: " << text;
        base::debugLine("label: ", text);
        qDebug() << "Requests: ";
        base::debugLine("Requests: ");
        qDebug() << list;
        base::debugLine(list);
        qDebug() << QStringList();
        base::debugLine(QStringList());
        qDebug() << object;
        base::debugLine(object);
        qDebug() << "Request:" << text << " : " << text;
        base::debugLine("Request:", text, " : ", text);

        QCOMPARE(messages.messages().size(), 14);
        for (int i = 0; i < messages.messages().size(); i += 2) {
            QCOMPARE(messages.messages().at(i + 1), messages.messages().at(i));
        }
    }

    // A message pattern may show the category, and choose by it.
    void aLineIsOfTheStreamsOwnCategory()
    {
        const QtMessageHandler before = qInstallMessageHandler(keepCategory);
        qDebug() << "a line";
        base::debugLine("a line");
        qInstallMessageHandler(before);

        QCOMPARE(categories, QStringList({QStringLiteral("default"), QStringLiteral("default")}));
    }
};

VOND_TEST(DebugLineTest);
#include "debuglinetest.moc"
