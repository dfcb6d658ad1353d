#pragma once

#include <QtGlobal>

namespace app {

// Enough for some 20,000 clients, or 4,000 with a run of the tool each. Not more by default: the
// tool inherits the limit, and a program that closes every possible descriptor before it starts
// another takes minutes at a limit of 10^9, which some containers set.
constexpr quint64 mostDescriptors = 65536;

// The soft limit to set: as many as the hard limit allows, up to mostDescriptors. A soft limit that
// is already higher was set on purpose and is kept.
[[nodiscard]] quint64 raisedDescriptorLimit(quint64 soft, quint64 hard);

// Raises the soft limit of this process accordingly.
void raiseDescriptorLimit();

} // namespace app
