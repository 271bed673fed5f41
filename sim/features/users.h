// What other parts of the simulator (the CLI's login) ask of the users.
#pragma once

#include <cstdint>
#include <string>

#include "sim/sim.h"

namespace veltrum::sim {

// The access level of `user` when `password` is its password and the user
// is not locked out; -1 otherwise. Run under the model's lock.
int64_t check_login(Sim &sim, const std::string &user, const std::string &password);

// The clear password of `user` as the platform hands it out (the CLI bridge
// logs in with it): the switch keeps only a hash on disk, and knows the
// clear text from the moment it is set or a login proves it (the factory
// password is known from the start). "" when the switch does not know it
// (after a restart, until the user next logs in).
std::string known_password(Sim &sim, const std::string &user);

}  // namespace veltrum::sim
