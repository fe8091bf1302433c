#include "src/collect/src/accumulate/endpoint.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"

namespace zelk::accumulate {
namespace {

TEST(bind_endpoint, gives_the_port_that_it_was_given) {
  for (const char* text : {"tcp://127.0.0.1:*", "tcp://127.0.0.1:0",
                           "tcp://localhost:*", "tcp://lo:*", "tcp://*:*"}) {
    SCOPED_TRACE(text);
    const bind_result bound = bind_endpoint(text, 10);
    ASSERT_EQ(bound.problem, "");
    ASSERT_FALSE(bound.sockets.empty());
    const std::string& endpoint = bound.sockets[0].endpoint;
    EXPECT_TRUE(endpoint.starts_with("tcp://"));
    EXPECT_GT(std::stoi(endpoint.substr(endpoint.rfind(':') + 1)), 0);
  }
}

TEST(bind_endpoint, takes_the_port_that_is_named) {
  const bind_result first = bind_endpoint("tcp://127.0.0.1:*", 10);
  const std::string endpoint = first.sockets.at(0).endpoint;
  const bind_result second = bind_endpoint(endpoint, 10);
  EXPECT_EQ(second.problem,
            "cannot listen on '" + endpoint + "' (98): Address already in use");
}

TEST(bind_endpoint, understands_addresses_in_brackets) {
  const bind_result bound = bind_endpoint("tcp://[::1]:*", 10);
  if (!bound.problem.empty()) GTEST_SKIP() << bound.problem;
  EXPECT_TRUE(bound.sockets.at(0).endpoint.starts_with("tcp://[::1]:"));
}

TEST(bind_endpoint, says_what_it_expected) {
  for (const char* text :
       {"", "127.0.0.1:5557", "tcp://", "tcp://127.0.0.1", "tcp://:5557",
        "tcp://127.0.0.1:", "tcp://127.0.0.1:99999", "tcp://127.0.0.1:5x",
        "udp://127.0.0.1:5557", "tcp://no.such.host.invalid:5557", "ipc://",
        "ipc:///no/such/directory/socket"}) {
    SCOPED_TRACE(text);
    const bind_result bound = bind_endpoint(text, 10);
    EXPECT_TRUE(bound.problem.starts_with("cannot listen on '"))
        << bound.problem;
    EXPECT_TRUE(bound.sockets.empty());
  }
  EXPECT_NE(bind_endpoint("ipc:///" + std::string(200, 'x'), 1).problem, "");
}

util::unique_fd connected_to(const std::string& path) {
  util::unique_fd fd(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un where = {};
  where.sun_family = AF_UNIX;
  path.copy(where.sun_path, sizeof where.sun_path - 1);
  if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&where), sizeof where) !=
      0)
    fd.reset();
  return fd;
}

TEST(bind_endpoint, makes_local_sockets_for_owner_and_group) {
  const datastore::scratch place;
  const std::string path = place.file("socket");
  bind_result bound = bind_endpoint("ipc://" + path, 10);
  ASSERT_EQ(bound.problem, "");
  struct stat what = {};
  ASSERT_EQ(::stat(path.c_str(), &what), 0);
  EXPECT_EQ(what.st_mode & 0777, 0660U);
  EXPECT_NE(bind_endpoint("ipc://" + path, 10).problem, "");

  const util::unique_fd peer = connected_to(path);
  ASSERT_TRUE(peer);
  const util::unique_fd accepted(
      ::accept(bound.sockets[0].fd.get(), nullptr, nullptr));
  EXPECT_EQ(name_of_peer(accepted.get()).full,
            "local user " + std::to_string(::getuid()) + " process " +
                std::to_string(::getpid()));
  // Left behind by one that was killed: nobody listens, so it is taken over.
  bound.sockets[0].fd.reset();
  EXPECT_EQ(bind_endpoint("ipc://" + path, 10).problem, "");
}

TEST(name_of_peer, has_address_and_port) {
  const bind_result bound = bind_endpoint("tcp://127.0.0.1:*", 10);
  sockaddr_in where = {};
  socklen_t size = sizeof where;
  ::getsockname(bound.sockets.at(0).fd.get(),
                reinterpret_cast<sockaddr*>(&where), &size);
  const util::unique_fd peer(::socket(AF_INET, SOCK_STREAM, 0));
  ASSERT_EQ(::connect(peer.get(), reinterpret_cast<sockaddr*>(&where), size),
            0);
  const util::unique_fd accepted(
      ::accept(bound.sockets[0].fd.get(), nullptr, nullptr));
  const peer_name name = name_of_peer(accepted.get());
  EXPECT_EQ(name.host, "127.0.0.1");
  EXPECT_TRUE(name.full.starts_with("127.0.0.1:"));
  EXPECT_EQ(name_of_peer(-1).host, "?");
}

TEST(reaches_the_network, knows_the_addresses_of_this_host) {
  for (const char* local :
       {"tcp://127.0.0.1:5557", "tcp://localhost:1", "tcp://[::1]:5557",
        "tcp://lo:5557", "ipc:///run/zelk.sock"})
    EXPECT_FALSE(reaches_the_network(local)) << local;
  for (const char* open : {"tcp://*:5557", "tcp://0.0.0.0:5557",
                           "tcp://10.0.0.1:5557", "tcp://eth0:5557"})
    EXPECT_TRUE(reaches_the_network(open)) << open;
}

}  // namespace
}  // namespace zelk::accumulate
