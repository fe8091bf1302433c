#include "src/common/facts/description_set.h"

#include <string>

#include <gtest/gtest.h>

#include "src/common/facts/extraction_cache.h"
#include "src/common/facts/test_declaration.h"

namespace zelk::facts {
namespace {

class description_set_ : public declaration_fixture {
 protected:
  void describe(const std::string& file, const std::string& attributes,
                const std::string& from) {
    files_.write("d/" + file, "<provider " + attributes +
                                  "><command>x</command><facts><fact name='a' "
                                  "from='" +
                                  from + "'/></facts></provider>");
  }
  description_set all() const { return {files_.path("d"), shipped_schema}; }
  std::string reason(const std::string& provider, std::int32_t version) const {
    std::string text = all().find(provider, version).reason;
    const std::string folder = files_.path("");
    for (std::size_t at; (at = text.find(folder)) != text.npos;)
      text.erase(at, folder.size());
    return text;
  }
};

TEST_F(description_set_, finds_the_version_that_made_the_result) {
  describe("disk.xml", "version='3'", "new");
  describe("disk.v2.xml", "name='disk' version='2'", "old");
  const description_set set = all();
  EXPECT_EQ(set.size(), 2U);
  EXPECT_EQ(printed(set.find("disk", 3).use->read_output("new: 1\n", 0)),
            "a = 1\n");
  EXPECT_EQ(printed(set.find("disk", 2).use->read_output("old: 2\n", 0)),
            "a = 2\n");
  EXPECT_EQ(said(), lines{});
}

TEST_F(description_set_, says_why_there_is_none) {
  describe("disk.xml", "version='3'", "new");
  describe("bad.xml", "", "(");
  EXPECT_EQ(reason("disk", 1),
            "the result is of version 1 of the provider, d has version 3 "
            "(disk.xml); disk.v1.xml would be it");
  EXPECT_EQ(reason("bad", 1), "the description d/bad.xml has faults");
  EXPECT_EQ(reason("net", 1), "there is no description of the provider in d");
  EXPECT_EQ(reason("DISK", 3), "there is no description of the provider in d");
}

TEST_F(description_set_, knows_a_long_name_by_what_a_record_holds) {
  const std::string name(80, 'n');
  describe("long.xml", "name='" + name + "'", "x");
  EXPECT_TRUE(all().find(name.substr(0, 63), 1).use);
  EXPECT_TRUE(all().find(name, 1).use);
  EXPECT_FALSE(all().find(name.substr(0, 62), 1).use);
}

TEST_F(description_set_, complains_about_files_that_contradict) {
  describe("a.xml", "name='disk'", "x");
  describe("b.xml", "name='disk'", "y");
  describe("net.v4.xml", "name='net' version='5'", "x");
  describe("site.v1x.xml", "name='site'", "x");
  const description_set set = all();
  EXPECT_EQ(said(),
            (lines{"d/b.xml:1: expected another name or version of the "
                   "provider; d/a.xml has the same",
                   "d/net.v4.xml:1: expected the version that the file's name "
                   "says; found 5"}));
  EXPECT_EQ(set.find("disk", 1).use->path(), files_.path("d/a.xml"));
  EXPECT_FALSE(set.find("net", 5).use);
  EXPECT_TRUE(set.find("site", 1).use);
}

TEST_F(description_set_, says_that_a_folder_cannot_be_read) {
  const description_set set(files_.path("nowhere"), shipped_schema);
  EXPECT_EQ(set.size(), 0U);
  EXPECT_EQ(said(),
            lines{"nowhere: cannot be read (2): No such file or directory"});
}

using extraction_cache_ = description_set_;

TEST_F(extraction_cache_, reads_equal_outputs_once) {
  describe("disk.xml", "", "s");
  describe("net.xml", "", "s");
  const description_set set = all();
  const auto disk = set.find("disk", 1).use;
  const auto net = set.find("net", 1).use;
  extraction_cache cache;
  int asked = 0;
  const auto output = [&] {
    ++asked;
    return std::string("s: 1\n");
  };
  const auto first = cache.get(disk, "abc", 0, output);
  EXPECT_EQ(cache.get(disk, "abc", 0, output), first);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(printed(*first), "a = 1\n");
  EXPECT_NE(cache.get(disk, "abd", 0, output), first);
  EXPECT_EQ(printed(*cache.get(disk, "abc", 80, output)), "(not applicable)\n");
  EXPECT_NE(cache.get(net, "abc", 0, output), first);
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(cache.reads(), 4U);
  EXPECT_EQ(cache.hits(), 1U);
}

}  // namespace
}  // namespace zelk::facts
