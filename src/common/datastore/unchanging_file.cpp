#include "src/common/datastore/unchanging_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "src/common/datastore/store_error.h"

namespace zelk::datastore {

namespace {

store_error refused(const std::string& path, const std::string& why) {
  return {store_failure::fatal, "Datastore '" + path + "': " + why};
}

// A path may hold what means something in a URI.
std::string uri_of(const std::string& path) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string uri = path.starts_with('/') ? "file:" : "file:./";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (c != '%' && c != '?' && c != '#')
      uri += c;
    else
      uri += {'%', digits[byte >> 4], digits[byte & 0xF]};
  }
  return uri;
}

bool may(const std::string& path, int what) {
  return ::faccessat(AT_FDCWD, path.c_str(), what, AT_EACCESS) == 0;
}

}  // namespace

bool can_write_beside(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder =
      slash == path.npos ? "." : path.substr(0, slash + 1);
  return may(path, R_OK | W_OK) && may(folder, W_OK | X_OK);
}

std::string unchanging_name(const std::string& path) {
  if (!may(path, R_OK))
    throw refused(path, std::system_category().message(errno));
  const std::string log = path + "-wal";
  struct stat found = {};
  if (::stat(log.c_str(), &found) == 0)
    throw refused(path, "it or its directory cannot be written to, and '" +
                            log +
                            "' cannot be read without; copy both files to "
                            "another directory");
  return uri_of(path) + "?immutable=1";
}

}  // namespace zelk::datastore
