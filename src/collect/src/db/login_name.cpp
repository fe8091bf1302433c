#include "src/collect/src/db/login_name.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <climits>

namespace zelk::db {

namespace {

std::string name_of_user(uid_t user) {
  struct passwd entry = {};
  struct passwd* found = nullptr;
  std::array<char, 16'384> room;
  if (::getpwuid_r(user, &entry, room.data(), room.size(), &found) == 0 &&
      found != nullptr)
    return entry.pw_name;
  return std::to_string(user);
}

}  // namespace

std::string login_name() {
  std::array<char, LOGIN_NAME_MAX> name = {};
  if (::getlogin_r(name.data(), name.size()) == 0 && name[0] != '\0')
    return name.data();
  return name_of_user(::geteuid());
}

}  // namespace zelk::db
