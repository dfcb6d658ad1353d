#pragma once

namespace app {

// Lets the process have as many open descriptors as the administrator allows.
void raiseDescriptorLimit();

} // namespace app
