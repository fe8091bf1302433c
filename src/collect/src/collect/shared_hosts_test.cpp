#include "src/collect/src/collect/shared_hosts.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(shared_hosts, tells_the_first_of_two_nodes_that_are_one_host) {
  shared_hosts hosts;
  EXPECT_EQ(hosts.add("n1", "host1"), "");
  EXPECT_EQ(hosts.add("n1", "host1"), "");
  EXPECT_EQ(hosts.add("n2", "host1"), "n1");
  EXPECT_EQ(hosts.add("n3", "host1"), "n1");
}

TEST(shared_hosts, takes_any_name_for_a_host_of_its_own) {
  shared_hosts hosts;
  EXPECT_EQ(hosts.add("alias", "node1.cluster"), "");
  EXPECT_EQ(hosts.add("10.0.0.2", "node2"), "");
}

TEST(shared_hosts, learns_nothing_from_names_that_all_hosts_have) {
  for (const char* host :
       {"", "(none)", "localhost", "localhost.localdomain"}) {
    SCOPED_TRACE(host);
    shared_hosts hosts;
    EXPECT_EQ(hosts.add("n1", host), "");
    EXPECT_EQ(hosts.add("n2", host), "");
  }
}

}  // namespace
}  // namespace zelk::collect
