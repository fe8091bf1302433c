#include "src/collect/src/accumulate/announce.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {
namespace {

// A supervisor's socket, named in the environment while it lives.
class supervisor {
 public:
  explicit supervisor(const std::string& name)
      : fd_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un where = {};
    where.sun_family = AF_UNIX;
    name.copy(where.sun_path, sizeof where.sun_path - 1);
    if (name[0] == '@') where.sun_path[0] = '\0';
    const auto size =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    bound_ = ::bind(fd_.get(), reinterpret_cast<sockaddr*>(&where), size) == 0;
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~supervisor() { ::unsetenv("NOTIFY_SOCKET"); }

  bool bound() const { return bound_; }
  std::string heard() const {
    std::array<char, 1000> text = {};
    const ssize_t got =
        ::recv(fd_.get(), text.data(), text.size(), MSG_DONTWAIT);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
  }

 private:
  util::unique_fd fd_;
  bool bound_ = false;
};

TEST(notify_supervisor, is_silent_when_there_is_none) {
  ::unsetenv("NOTIFY_SOCKET");
  EXPECT_FALSE(notify_supervisor("READY=1"));
  for (const char* strange : {"", "relative", "/no/such/socket"}) {
    ::setenv("NOTIFY_SOCKET", strange, 1);
    EXPECT_FALSE(notify_supervisor("READY=1"));
  }
  ::setenv("NOTIFY_SOCKET", ("/" + std::string(300, 'x')).c_str(), 1);
  EXPECT_FALSE(notify_supervisor("READY=1"));
  ::unsetenv("NOTIFY_SOCKET");
}

TEST(notify_supervisor, speaks_to_paths_and_to_abstract_names) {
  const datastore::scratch place;
  for (const std::string& name :
       {place.file("notify"), "@zelk-test-" + std::to_string(::getpid())}) {
    const supervisor listener(name);
    ASSERT_TRUE(listener.bound()) << name;
    announce_stopping();
    EXPECT_EQ(listener.heard(), "STOPPING=1");
    announce_status("fine");
    EXPECT_EQ(listener.heard(), "STATUS=fine");
  }
}

TEST(announce_ready, writes_a_line_for_each_endpoint_and_closes) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const util::unique_fd reader(ends[0]);
  announce_ready(ends[1], {"tcp://127.0.0.1:5557", "ipc:///run/zelk"});
  std::array<char, 200> text = {};
  EXPECT_GT(::read(reader.get(), text.data(), text.size()), 0);
  EXPECT_STREQ(text.data(),
               "READY tcp://127.0.0.1:5557\nREADY ipc:///run/zelk\n");
  EXPECT_EQ(::read(reader.get(), text.data(), text.size()), 0);
}

}  // namespace
}  // namespace zelk::accumulate
