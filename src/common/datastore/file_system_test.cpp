#include "src/common/datastore/file_system.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::datastore {
namespace {

struct magic_case {
  long magic;
  std::string name;
};

TEST(network_file_system_name, knows_what_clusters_share) {
  const magic_case cases[] = {
      {0x6969, "NFS"},        {0x0BD00BD0, "Lustre"}, {0x47504653, "GPFS"},
      {0x19830326, "BeeGFS"}, {0x00C36400, "CephFS"}, {0x65735546, "FUSE"},
      {0xFF534D42L, "CIFS"},  {0xFE534D42L, "SMB"},
  };
  for (const magic_case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(network_file_system_name(c.magic), c.name);
  }
}

// Where f_type is 32 bits wide its highest bit becomes a sign.
TEST(network_file_system_name, looks_past_a_sign) {
  EXPECT_EQ(network_file_system_name(static_cast<int>(0xFF534D42)), "CIFS");
}

TEST(network_file_system_name, takes_local_and_unknown_ones_for_local) {
  for (const long magic : {0xEF53L, 0x58465342L, 0x9123683EL, 0x01021994L, 0L})
    EXPECT_EQ(network_file_system_name(magic), "");
}

TEST(network_file_system, looks_at_the_directory_of_a_file_to_be) {
  EXPECT_EQ(network_file_system("/proc/self/status"), "");
  EXPECT_EQ(network_file_system("/tmp/not/there/at/all"), "");
  EXPECT_EQ(network_file_system("/not_there"), "");
  EXPECT_EQ(network_file_system("not_there"), "");
  EXPECT_EQ(network_file_system(""), "");
}

}  // namespace
}  // namespace zelk::datastore
