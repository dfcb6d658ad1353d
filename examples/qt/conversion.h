#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>

// One conversion through vondServer: upload, convert, follow, fetch. Works without blocking, so a
// window can use it as it is. Ends with one of the three signals.
class Conversion : public QObject
{
    Q_OBJECT
public:
    // The service's address; with a user and a password in it for a proxy that asks for them.
    explicit Conversion(const QUrl &service, QObject *parent = nullptr);

    // The image's content; the suffix says its kind (".jpg").
    void start(const QByteArray &image, const QString &suffix, const QString &configuration);

    // The tool gives up soon after; then cancelled() comes.
    void cancel();

Q_SIGNALS:
    void progressed(int percent);
    void done(const QByteArray &result);
    void failed(const QString &reason);
    void cancelled();

private:
    QNetworkReply *get(const QString &path);
    QNetworkReply *post(const QString &path, const QByteArray &body);
    [[nodiscard]] QUrl urlOf(const QString &path) const;
    void convert();
    void poll();
    void takeAnswer(QNetworkReply *reply);
    void fetch(const QString &answer);

    QUrl m_service;
    QNetworkAccessManager m_network;
    QTimer m_polling;
    QString m_job;
    QString m_suffix;
    QString m_configuration;
    bool m_cancelling = false;
};
