#pragma once

#include "base/descriptorreservation.h"

#include <QObject>

#include <memory>

// The descriptors that one connection may come to hold at once: its socket, its thread's wake-up,
// and a file. Becomes a child of the connection's thread object, so that they are free again when
// that has gone.
class ClientReservation : public QObject
{
public:
    // Null when what is left would not do for the connection and a run of the tool: the client is
    // then to be refused, before a thread is made for it. `accepted` is its descriptor, which was
    // the lowest free one a moment ago.
    [[nodiscard]] static std::unique_ptr<ClientReservation> make(qintptr accepted);

private:
    explicit ClientReservation(int lowest);

    base::DescriptorReservation m_claim;
};

namespace server {

constexpr int descriptorsOfAClient = 3;

// Closes an accepted descriptor that no connection will own, and tells the operator, once a second
// at the most. Main thread only.
void rejectClient(qintptr descriptor, const char *reason);

} // namespace server
