// Sending is finished when ZeroMQ has written the last byte to the system, and
// the only way to learn that is to end its context, which waits for it as long
// as the linger time allows. Whether it waited to the end or was done is seen
// by the clock alone.

#include "src/collect/src/accumulate/replay.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iostream>

#include <czmq.h>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/result_directory.h"
#include "src/collect/src/accumulate/result_file.h"
#include "src/collect/src/accumulate/summary.h"
#include "src/collect/src/provider/message.h"
#include "src/common/log/error_log.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/replay";

// Records on their way at once. The rest waits in its files, not in memory.
constexpr int most_on_the_way = 16;

void say_error(const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream() << text;
}

class sender {
 public:
  sender(const std::string& endpoint, std::chrono::milliseconds wait)
      : wait_(static_cast<int>(wait.count())) {
    zsys_handler_set(nullptr);
    zsys_set_linger(static_cast<std::size_t>(wait_));
    socket_ = zsock_new(ZMQ_PUSH);
    zsock_set_sndhwm(socket_, most_on_the_way);
    zsock_set_sndtimeo(socket_, wait_);
    connected_ = zsock_connect(socket_, "%s", endpoint.c_str()) == 0;
  }
  ~sender() { finish(); }
  sender(const sender&) = delete;
  sender& operator=(const sender&) = delete;

  bool connected() const { return connected_; }
  bool send(const provider_result& record) {
    return send_provider_result(record, socket_);
  }

  // Waits until everything is sent. Returns whether it is.
  bool finish() {
    if (socket_ == nullptr) return true;
    const auto begin = std::chrono::steady_clock::now();
    zsock_destroy(&socket_);
    zsys_shutdown();
    const auto took = std::chrono::steady_clock::now() - begin;
    return took < std::chrono::milliseconds(wait_);
  }

 private:
  int wait_;  // milliseconds
  zsock_t* socket_ = nullptr;
  bool connected_ = false;
};

struct replay_count {
  std::uint64_t sent = 0;
  std::uint64_t refused = 0;
  bool stuck = false;  // the receiver takes nothing
};

class replay_session {
 public:
  explicit replay_session(const replay_options& options)
      : options_(options), sender_(options.endpoint, options.wait) {}

  int run();

 private:
  void send_path(const std::string& path);
  void send_directory(const std::string& path);
  void send_file(int directory, const std::string& shown,
                 const std::string& name);
  void refuse(const std::string& path, const std::string& why);

  const replay_options& options_;
  sender sender_;
  replay_count count_;
};

int replay_session::run() {
  if (!sender_.connected()) {
    say_error("Unable to connect to '" + options_.endpoint + "'");
    return exit_unusable;
  }
  for (const std::string& path : options_.files)
    if (!count_.stuck) send_path(path);
  const bool all = sender_.finish() && !count_.stuck;
  if (!all)
    say_error(fmt::format(
        "Nobody at '{}' has taken everything within {} s: send it again",
        options_.endpoint, options_.wait.count()));
  if (!options_.quiet || !all)
    std::cout << fmt::format(
        "{} {} to {}{}\n", count_of(count_.sent, "record"),
        all ? "sent" : "on the way", options_.endpoint,
        count_.refused == 0
            ? ""
            : ", " + count_of(count_.refused, "file") + " refused");
  std::cout.flush();
  if (!all || (count_.sent == 0 && count_.refused > 0)) return exit_nothing;
  return count_.refused > 0 ? exit_partial : exit_fine;
}

void replay_session::send_path(const std::string& path) {
  struct stat what = {};
  if (::stat(path.c_str(), &what) == 0 && S_ISDIR(what.st_mode))
    return send_directory(path);
  const util::unique_fd directory(
      ::open(str::dirname(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return refuse(path, util::errno_text(errno));
  send_file(directory.get(), path, str::basename(path));
}

void replay_session::send_directory(const std::string& path) {
  result_directory directory(path);
  const bool read = directory.open() &&
                    directory.for_each_result([&](const std::string& name) {
                      send_file(directory.fd(), path + "/" + name, name);
                      return !count_.stuck;
                    });
  if (!read) refuse(path, util::errno_text(errno));
}

void replay_session::send_file(int directory, const std::string& shown,
                               const std::string& name) {
  result_file file(directory, name);
  switch (file.now()) {
    case result_file::state::ours:
      break;
    case result_file::state::writing:
      return refuse(shown, "still being written (locked)");
    case result_file::state::gone:
      return refuse(shown, "no such file");
    case result_file::state::strange:
      return refuse(shown, file.problem());
  }
  provider_result record;
  if (file.read(record, options_.max_record) != result_file::content::whole)
    return refuse(shown, file.problem());
  if (sender_.send(record))
    ++count_.sent;
  else
    count_.stuck = true;
}

void replay_session::refuse(const std::string& path, const std::string& why) {
  ++count_.refused;
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << "Not sent: '" << path << "': " << why;
}

}  // namespace

int replay(const replay_options& options) {
  return replay_session(options).run();
}

}  // namespace zelk::accumulate
