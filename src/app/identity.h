#pragma once

namespace app {

// Says who we are, which decides where the settings lie. Before the application object is made.
void setIdentity();

} // namespace app
