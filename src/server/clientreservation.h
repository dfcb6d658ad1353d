#pragma once

#include "base/descriptorreservation.h"

#include <QObject>

#include <memory>

// Reserves the descriptors that one connection may hold at once: its socket, its thread's wake-up
// descriptor, and a file. Becomes a child of the connection's thread object, which releases them
// when it is deleted.
class ClientReservation : public QObject
{
public:
    // Null when too few are left for the connection and a run of the tool: the client must then be
    // rejected before a thread is created for it. `accepted` is its descriptor, which was the
    // lowest free one a moment ago.
    [[nodiscard]] static std::unique_ptr<ClientReservation> make(qintptr accepted);

private:
    explicit ClientReservation(int lowest);

    base::DescriptorReservation m_reservation;
};

namespace server {

constexpr int descriptorsOfAClient = 3;

// Closes an accepted descriptor that no connection will own, and writes a line for the operator, at
// most once a second. Main thread only.
void rejectClient(qintptr descriptor, const char *reason);

} // namespace server
