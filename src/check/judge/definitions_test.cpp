#include "src/check/judge/definitions.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::check {

namespace {

const std::string root = ZELK_SOURCE_DIR;
const std::string schema = root + "/share/zelkara/check.xsd";

class check_files : public testing::Test {
 protected:
  check_files() { std::filesystem::create_directories(site_); }
  ~check_files() override { std::filesystem::remove_all(folder_); }

  void write(const std::string& path, const std::string& checks) {
    std::ofstream(folder_ + "/" + path) << "<checks>\n"
                                        << checks << "</checks>\n";
  }

  static std::string check(const std::string& id, const std::string& rule,
                           int score = 50) {
    return "<check id=\"" + id + "\" score=\"" + std::to_string(score) +
           "\"><title>a title</title><fact>a.*</fact>\n" + rule + "</check>\n";
  }

  std::optional<check_set> read() const {
    return check_set::read({folder_}, schema);
  }

  // What the one fault of these checks is said to be.
  std::string complaint(const std::string& checks) {
    write("a.xml", checks);
    log::captured_log log;
    EXPECT_FALSE(read());
    return log.lines().size() == 1 ? log.lines().front() : "not one record";
  }

  std::string folder_ =
      testing::TempDir() + "zelk_checks_" + std::to_string(::getpid());
  std::string site_ = folder_ + "/site";
};

TEST_F(check_files, that_are_shipped_are_read_and_say_what_to_do) {
  log::captured_log log;
  const auto checks = check_set::read({root + "/etc/checks"}, schema);
  ASSERT_TRUE(checks) << (log.lines().empty() ? "" : log.lines().front());
  EXPECT_GT(checks->all().size(), 100U);
  for (const check_definition* each : checks->all()) {
    SCOPED_TRACE(each->id);
    if (each->what.kind == rule::none) continue;
    EXPECT_FALSE(each->title.empty());
    if (each->file.empty()) continue;
    EXPECT_FALSE(each->causes.empty());
    EXPECT_FALSE(each->advice.empty());
  }
}

TEST_F(check_files, give_all_that_stands_in_them) {
  write("a.xml",
        "<check id='x-low' score=' 80 ' quick='yes' drain='x'>\n"
        "  <title> two\n words </title>\n"
        "  <fact>x.a</fact><fact>x.b*</fact><except>x.bad</except>\n"
        "  <rule kind='peers' direction='low' min_effect='2.5' z='4'\n"
        "        min_difference='1' min_peers='7'/>\n"
        "  <cause>one</cause><cause>other</cause>\n"
        "  <advice>look at NODES</advice>\n"
        "  <explain>\n    first\n    still\n\n    second\n  </explain>\n"
        "</check>\n");
  const auto checks = read();
  ASSERT_TRUE(checks);
  const check_definition* found = checks->find("x-low");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->title, "two words");
  EXPECT_EQ(found->score, 80);
  EXPECT_TRUE(found->quick);
  EXPECT_EQ(found->drain_word, "x");
  EXPECT_EQ(found->facts, (std::vector<std::string>{"x.a", "x.b*"}));
  EXPECT_EQ(found->except, std::vector<std::string>{"x.bad"});
  EXPECT_EQ(found->what.kind, rule::peers);
  EXPECT_EQ(found->what.direction, side::low);
  EXPECT_EQ(found->what.min_effect, 2.5);
  EXPECT_EQ(found->what.min_difference, 1);
  EXPECT_EQ(found->what.z, 4);
  EXPECT_EQ(found->what.min_peers, 7U);
  EXPECT_EQ(found->causes, (std::vector<std::string>{"one", "other"}));
  EXPECT_EQ(found->explain, "first still\n\nsecond");
  EXPECT_EQ(found->line, 2);
  EXPECT_EQ(checks->files().size(), 1U);
}

TEST_F(check_files, of_a_later_folder_take_the_place_of_earlier_ones) {
  write("a.xml", check("one", "<rule kind='differs'/>", 10) +
                     check("two", "<rule kind='differs'/>", 20));
  write("site/b.xml", check("two", "<rule kind='unique'/>", 90));
  const auto checks = check_set::read({folder_, site_}, schema);
  ASSERT_TRUE(checks);
  EXPECT_EQ(checks->find("one")->score, 10);
  EXPECT_EQ(checks->find("two")->score, 90);
  EXPECT_EQ(checks->find("two")->what.kind, rule::unique);
}

TEST_F(check_files, may_not_define_an_id_twice_in_a_folder) {
  write("b.xml", check("one", "<rule kind='differs'/>"));
  const std::string said = complaint(check("one", "<rule kind='differs'/>"));
  EXPECT_NE(said.find("b.xml:2: expected an id that is not that of"), said.npos)
      << said;
  EXPECT_NE(said.find("a.xml:2"), said.npos) << said;
}

struct faulty {
  const char* rule;
  const char* expected;
};

TEST_F(check_files, with_faults_are_told_by_line_and_what_was_expected) {
  for (const faulty& each : {
           faulty{"<rule kind='outlier'/>",
                  "differs, peers, range, value, unique, changed, "
                  "growth, present, absent or none"},
           faulty{"<rule kind='range'/>",
                  "expected an attribute limit in a rule of kind range"},
           faulty{"<rule kind='range' limit='a:b'/>",
                  "expected a range [@]START:END"},
           faulty{"<rule kind='range' limit='3:1'/>",
                  "expected a range whose start is not above its end"},
           faulty{"<rule kind='value'/>",
                  "expected an attribute is or is_not in a rule of kind value"},
           faulty{"<rule kind='unique' z='4'/>",
                  "expected no attribute z in a rule of kind unique"},
           faulty{"<rule kind='peers' min_effect='-1'/>",
                  "a number that is not negative"},
           faulty{"<rule kind='peers' min_peers='1'/>",
                  "a number of nodes from 2 to 1000000"},
           faulty{"<rule kind='differs' min_share='10'/>",
                  "per cent, from 50 to 100"},
           faulty{"<rule kind='differs' colour='red'/>", "expected"},
           faulty{"", "expected"},
       }) {
    SCOPED_TRACE(each.rule);
    const std::string said = complaint(check("one", each.rule));
    EXPECT_NE(said.find(each.expected), said.npos) << said;
    EXPECT_NE(said.find(folder_ + "/a.xml:"), said.npos) << said;
  }
}

TEST_F(check_files, with_a_score_or_an_id_that_is_none_are_refused) {
  EXPECT_NE(complaint(check("one", "<rule kind='differs'/>", 101))
                .find("a score from 0 to 100"),
            std::string::npos);
  EXPECT_NE(complaint(check("One_Two", "<rule kind='differs'/>"))
                .find("lower-case words joined by -"),
            std::string::npos);
}

TEST_F(check_files, in_a_folder_that_is_not_there_are_an_error) {
  log::captured_log log;
  EXPECT_FALSE(check_set::read({folder_ + "/nowhere"}, schema));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("expected a folder of check definitions"),
            std::string::npos);
}

TEST(check_set, knows_the_checks_that_no_file_defines) {
  const check_set checks;
  for (const char* id :
       {"no-answer", "timeout", "failed", "incomplete", "stale"}) {
    SCOPED_TRACE(id);
    ASSERT_NE(checks.find(id), nullptr);
    EXPECT_FALSE(checks.find(id)->explain.empty());
  }
  EXPECT_EQ(checks.find("sysctl-differs"), nullptr);
  for (const char* id :
       {"sysctl-differs", "a-outlier", "b-not-unique", "c-grew", "d-changed"}) {
    SCOPED_TRACE(id);
    ASSERT_TRUE(checks.generic(id));
    EXPECT_FALSE(checks.generic(id)->explain.empty());
  }
  for (const char* id : {"", "-differs", "differs", "sysctl-differ"})
    EXPECT_FALSE(checks.generic(id)) << id;
}

}  // namespace

}  // namespace zelk::check
