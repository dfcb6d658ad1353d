#pragma once

#include <QtGlobal>

// The TCP port that a process listens on; 0 when there is none.
[[nodiscard]] quint16 listeningPort(qint64 processId);
