#pragma once

namespace app {

// Sets the organization and application names, which decide where the settings are stored. Call it
// before creating the application object.
void setIdentity();

} // namespace app
