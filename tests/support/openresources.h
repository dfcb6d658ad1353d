#pragma once

// The descriptors that this process has open; on Windows, its handles.
[[nodiscard]] int openDescriptors();

// Whether this process has children, ended ones that are not reaped included. Always false on
// Windows, where a process does not know its children.
[[nodiscard]] bool hasChildren();
