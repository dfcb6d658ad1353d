#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <csignal>
#include <cstdio>

#include "conversion.h"

// Converts one image through vondServer. Ctrl-C cancels.
//     convert-qt SERVICE CONFIGURATION IMAGE RESULT
namespace {

constexpr int failure = 1;
constexpr int wrongUsage = 2;
constexpr int interrupted = 130;

volatile std::sig_atomic_t stopAsked = 0;

void askToStop(int /*signal*/)
{
    stopAsked = 1;
}

int complain(const QString &text, int status)
{
    static_cast<void>(std::fprintf(stderr, "\nconvert-qt: %s\n", qPrintable(text)));
    return status;
}

void showBar(int percent)
{
    constexpr int width = 40;
    const QByteArray bar(percent * width / 100, '#');
    static_cast<void>(std::fprintf(stderr, "\r[%-40s] %3d %%", bar.constData(), percent));
}

int save(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.flush()) {
        return complain(path + QStringLiteral(": ") + file.errorString(), failure);
    }
    static_cast<void>(std::printf("%s\n", qPrintable(path)));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.size() != 5) {
        return complain(QStringLiteral("convert-qt SERVICE CONFIGURATION IMAGE RESULT"),
                        wrongUsage);
    }
    QFile image(words.at(3));
    if (!image.open(QIODevice::ReadOnly)) {
        return complain(image.fileName() + QStringLiteral(": ") + image.errorString(), wrongUsage);
    }

    Conversion conversion{QUrl(words.at(1))};
    QObject::connect(&conversion, &Conversion::progressed, &showBar);
    QObject::connect(&conversion, &Conversion::done, [&words](const QByteArray &result) {
        QCoreApplication::exit(save(words.at(4), result));
    });
    QObject::connect(&conversion, &Conversion::failed, [](const QString &reason) {
        QCoreApplication::exit(complain(reason, failure));
    });
    QObject::connect(&conversion, &Conversion::cancelled, [] {
        QCoreApplication::exit(complain(QStringLiteral("cancelled"), interrupted));
    });

    // A signal handler may do almost nothing: it sets a flag, and a timer checks it.
    static_cast<void>(std::signal(SIGINT, askToStop));
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&conversion, &watch] {
        if (stopAsked != 0) {
            watch.stop();
            conversion.cancel();
        }
    });
    watch.start(50);

    const QFileInfo name(image.fileName());
    conversion.start(image.readAll(),
                     name.suffix().isEmpty() ? QString() : QLatin1Char('.') + name.suffix(),
                     words.at(2));
    return QCoreApplication::exec();
}
