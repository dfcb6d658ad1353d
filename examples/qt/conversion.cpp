#include "conversion.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QUuid>

namespace {

constexpr int pollEveryMs = 200;

// Percent, or -1 if the text has none. Several lines may have arrived at once; the last one counts.
int percentIn(const QString &progress)
{
    static const QRegularExpression pattern(QStringLiteral("Progress: *([0-9]+)"));
    int percent = -1;
    for (auto all = pattern.globalMatch(progress); all.hasNext();) {
        percent = all.next().captured(1).toInt();
    }
    return percent;
}

// Whether this can be a file name worth requesting. A proxy would reject anything else.
bool mayBeName(const QString &answer)
{
    static const QRegularExpression impossible(QStringLiteral("[/\\\\\\x00-\\x1f\\x7f]"));
    return !answer.isEmpty() && answer.size() <= 255 && !answer.contains(impossible);
}

// Zero when there was no response.
int statusOf(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Whether it was rejected because of the name: there is no such result.
bool isNoName(const QNetworkReply *reply)
{
    const int status = statusOf(reply);
    return status == 400 || status == 404 || status == 414;
}

QString reasonOf(const QNetworkReply *reply)
{
    const int status = statusOf(reply);
    return status == 0 ? reply->errorString()
                       : QStringLiteral("refused with status %1").arg(status);
}

QString onlyPlain(const QString &suffix)
{
    static const QRegularExpression plain(QStringLiteral("^\\.[A-Za-z0-9]+$"));
    return plain.match(suffix).hasMatch() ? suffix : QString();
}

} // namespace

Conversion::Conversion(const QUrl &service, QObject *parent)
    : QObject(parent)
    , m_service(service)
{
    m_polling.setInterval(pollEveryMs);
    connect(&m_polling, &QTimer::timeout, this, &Conversion::poll);
}

void Conversion::start(const QByteArray &image, const QString &suffix, const QString &configuration)
{
    // Also the cancel ID and the name of the upload. A new name each time: an upload replaces a
    // file of the same name, and the result of an earlier conversion could be taken for ours.
    m_job = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_suffix = onlyPlain(suffix);
    m_configuration = configuration;
    m_cancelling = false;

    QNetworkReply *const reply = post(QStringLiteral("/upload/") + m_job + m_suffix, image);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        if (reply->error() == QNetworkReply::NoError) {
            convert();
        } else {
            Q_EMIT failed(reasonOf(reply));
        }
    });
}

void Conversion::cancel()
{
    m_cancelling = true;
    get(QStringLiteral("/cancelConversion/") + m_job);
}

void Conversion::convert()
{
    const QJsonObject request{
        {QStringLiteral("fileName"), m_job + m_suffix},
        {QStringLiteral("reqestID"), m_job}, // spelt so
        {QStringLiteral("cancelID"), m_job},
        {QStringLiteral("configuration"), m_configuration},
    };
    // The response comes when the tool has ended, however long that takes: no time limit.
    QNetworkReply *const reply =
        post(QStringLiteral("/convert"), QJsonDocument(request).toJson(QJsonDocument::Compact));
    connect(reply, &QNetworkReply::finished, this, [this, reply] { takeAnswer(reply); });
    m_polling.start();
}

void Conversion::poll()
{
    QNetworkReply *const reply = get(QStringLiteral("/progressInfo/") + m_job);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const int percent = percentIn(QString::fromUtf8(reply->readAll()));
        if (percent >= 0 && m_polling.isActive()) {
            Q_EMIT progressed(percent);
        }
    });
}

void Conversion::takeAnswer(QNetworkReply *reply)
{
    m_polling.stop();
    if (m_cancelling) {
        Q_EMIT cancelled();
    } else if (reply->error() != QNetworkReply::NoError) {
        Q_EMIT failed(reasonOf(reply));
    } else {
        fetch(QString::fromUtf8(reply->readAll()));
    }
}

// The response is the result's name or what went wrong. Only fetching shows which.
void Conversion::fetch(const QString &answer)
{
    const QString words =
        answer.isEmpty() ? QStringLiteral("the tool failed without a word") : answer;
    if (!mayBeName(answer)) {
        Q_EMIT failed(words);
        return;
    }
    QNetworkReply *const reply = get(QStringLiteral("/getConversionResult/") + answer);
    connect(reply, &QNetworkReply::finished, this, [this, reply, words] {
        const QByteArray content = reply->readAll();
        if (reply->error() == QNetworkReply::NoError && !content.isEmpty()) {
            Q_EMIT done(content);
        } else if (reply->error() == QNetworkReply::NoError || isNoName(reply)) {
            Q_EMIT failed(words);
        } else {
            Q_EMIT failed(reasonOf(reply));
        }
    });
}

QNetworkReply *Conversion::get(const QString &path)
{
    QNetworkReply *const reply = m_network.get(QNetworkRequest(urlOf(path)));
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    return reply;
}

QNetworkReply *Conversion::post(const QString &path, const QByteArray &body)
{
    QNetworkRequest request(urlOf(path));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/octet-stream"));
    QNetworkReply *const reply = m_network.post(request, body);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    return reply;
}

QUrl Conversion::urlOf(const QString &path) const
{
    QUrl url = m_service;
    url.setPath(m_service.path() + path, QUrl::DecodedMode);
    return url;
}
