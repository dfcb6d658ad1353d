#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>

// One conversion through vondServer: upload, convert, follow, fetch. Does not block, so a GUI can
// use it directly. Ends with one of the three signals.
class Conversion : public QObject
{
    Q_OBJECT
public:
    // The service's address, with user and password for a proxy that asks for them.
    explicit Conversion(const QUrl &service, QObject *parent = nullptr);

    // The image's content; the suffix gives its type (".jpg").
    void start(const QByteArray &image, const QString &suffix, const QString &configuration);

    // The tool stops soon afterwards; then cancelled() is emitted.
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
