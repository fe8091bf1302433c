// Who is at work, for what is recorded under a person's name.

#pragma once

#include <string>

namespace zelk::db {

// Returns the name that this session was logged in with, which sudo and su
// leave as it is; without a session the name of the process's user, or its
// number.
std::string login_name();

}  // namespace zelk::db
