#pragma once

#include <QtGlobal>

namespace app {

// Room for some 20,000 clients, or 4,000 of them with a run of the tool each. Not more by itself:
// the tool inherits the limit, and where programs close all descriptors that they may have before
// they start others, a limit of 10^9, which some containers set, keeps each of them for minutes.
constexpr quint64 mostDescriptors = 65536;

// The soft limit to set: as many as the hard one allows, up to mostDescriptors. A soft limit that
// is higher already was set on purpose and stays.
[[nodiscard]] quint64 raisedDescriptorLimit(quint64 soft, quint64 hard);

// Raises the process's own limit like that.
void raiseDescriptorLimit();

} // namespace app
