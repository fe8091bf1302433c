#include "src/collect/src/provider_table.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk {
namespace {

const install_paths paths = {"/z/etc/providers", "/z/provider/share"};

TEST(build_provider_table, fills_four_of_the_five_texts) {
  const provider_table table = build_provider_table({"p/memory.xml"}, paths);
  const provider_info& entry = table.at("memory");
  EXPECT_EQ(entry.name, "memory");
  EXPECT_EQ(entry.path, "p/memory.xml");
  EXPECT_EQ(entry.providers_dir, "/z/etc/providers");
  EXPECT_EQ(entry.share_dir, "/z/provider/share");
  EXPECT_EQ(entry.reserved, "");
}

TEST(build_provider_table, keeps_the_first_of_two_files_with_one_name) {
  const provider_table table =
      build_provider_table({"a/m.xml", "b/m.xml", "a/m.xml"}, paths);
  ASSERT_EQ(table.size(), 1U);
  EXPECT_EQ(table.at("m").path, "a/m.xml");
}

TEST(build_provider_table, is_ordered_by_bytes_of_the_name) {
  std::vector<std::string> names;
  for (const auto& [name, entry] :
       build_provider_table({"b.xml", "a.xml", "B.xml", "a_.xml"}, paths))
    names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "a_", "b"}));
}

TEST(build_provider_table, drops_short_names) {
  EXPECT_TRUE(build_provider_table({"a.x", ".xml", "dir/", ""}, paths).empty());
}

}  // namespace
}  // namespace zelk
