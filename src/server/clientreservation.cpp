#include "server/clientreservation.h"

#include "base/errorline.h"
#include "tool/childprocess.h"

#include <QDeadlineTimer>

#include <new>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <unistd.h>
#endif

ClientReservation::ClientReservation(int lowest)
    : m_reservation(server::descriptorsOfAClient + tool::descriptorsOfAStart, lowest)
{
}

std::unique_ptr<ClientReservation> ClientReservation::make(qintptr accepted)
{
    std::unique_ptr<ClientReservation> client(new ClientReservation(
        static_cast<int>(accepted))); // make_unique cannot reach the private constructor
    if (!client->m_reservation.isGranted()) {
        return nullptr;
    }
    client->m_reservation.reduceTo(server::descriptorsOfAClient); // a run would fit
    return client;
}

namespace server {

void rejectClient(qintptr descriptor, const char *reason)
{
    constexpr int quietMs = 1000;
    static QDeadlineTimer quiet(0); // rejections come in bursts, which must not flood the log
    if (quiet.hasExpired()) {
        try {
            base::writeErrorLine(QByteArrayLiteral("client refused: ") + reason);
        } catch (const std::bad_alloc &) { // NOLINT(bugprone-empty-catch): closed silently
        }
        quiet.setRemainingTime(quietMs);
    }
#ifdef Q_OS_WIN
    (void)::closesocket(static_cast<SOCKET>(descriptor));
#else
    (void)::close(static_cast<int>(descriptor));
#endif
}

} // namespace server
