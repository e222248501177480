// Giving up root once the listeners are open.
#pragma once

#include <string>

namespace vsd {

// Drops to `user` (its groups too); does nothing when `user` is empty, except to warn on standard
// error that the daemon runs as root. Throws std::runtime_error when the user is unknown or the
// process may not change to it.
void drop_privileges(const std::string& user);

}  // namespace vsd
