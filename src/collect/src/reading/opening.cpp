#include "src/collect/src/reading/opening.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/datastore/file_system.h"
#include "src/common/log/error_log.h"

namespace zelk::reading {

namespace {

using std::chrono::milliseconds;

constexpr char source[] = "src/collect/src/reading/opening";

// Of waiting, before it is said what for.
constexpr milliseconds notice{1000};

}  // namespace

void check_file(const std::string& path) {
  struct stat found = {};
  const bool there = ::stat(path.c_str(), &found) == 0;
  // An empty file would be made a datastore, and is more likely a mistake.
  if (there && found.st_size == 0 && S_ISREG(found.st_mode))
    throw refusal("Datastore '" + path + "': the file is empty");
  if (there || errno != ENOENT) return;
  throw refusal("Datastore '" + path +
                "': there is none; 'zelk-db init' makes one, and so does the "
                "first 'zelk-accumulate'");
}

namespace {

void warn_of_network(const std::string& path) {
  const std::string network = datastore::network_file_system(path);
  if (network.empty()) return;
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << "The datastore '" << path << "' lies on a network file system ("
      << network << "): a local disk is the right place";
}

template <typename Open>
datastore::database opened(const place& where, const Open& open) {
  check_file(where.path);
  try {
    return open(where.path, waiting_of(where));
  } catch (const datastore::store_error& error) {
    throw refusal(error.what());
  }
}

}  // namespace

datastore::patience waiting_of(const place& where) {
  return {where.wait, std::min<milliseconds>(notice, where.wait)};
}

datastore::database open_to_read(const place& where) {
  warn_of_network(where.path);
  return opened(where, accumulate::open_datastore_read_only);
}

datastore::database open_to_write(const place& where) {
  return opened(
      where, [](const std::string& path, const datastore::patience& waiting) {
        return accumulate::open_datastore(path, waiting);
      });
}

}  // namespace zelk::reading
