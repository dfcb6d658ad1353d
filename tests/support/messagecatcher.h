#pragma once

#include <QStringList>

// Catches what goes through Qt's message stream (qDebug etc.) while it lives, from every thread.
// One at a time; the previous handler is restored afterwards.
class MessageCatcher
{
public:
    MessageCatcher();
    ~MessageCatcher();
    MessageCatcher(const MessageCatcher &) = delete;
    MessageCatcher &operator=(const MessageCatcher &) = delete;
    MessageCatcher(MessageCatcher &&) = delete;
    MessageCatcher &operator=(MessageCatcher &&) = delete;

    // All messages since the start or the last clear(), oldest first.
    [[nodiscard]] QStringList messages() const;
    void clear();

private:
    QtMessageHandler m_before;
};
