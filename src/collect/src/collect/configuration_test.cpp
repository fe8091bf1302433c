#include "src/collect/src/collect/configuration.h"

#include "src/collect/src/collect/setting_rules.h"
#include "src/collect/src/collect/test_tree.h"
#include "src/common/preproc/preproc.h"

namespace zelk::collect {
namespace {

class configuration : public collect_tree {
 protected:
  bool read(const std::string& children,
            configuration_owner owner = configuration_owner::site) {
    path_ = write("zelk.xml", "<zelk>\n" + children + "\n</zelk>");
    return read_configuration(path_, owner, read_);
  }
  std::string shown(const char* name) const {
    return find_rule(name)->show(read_);
  }
  std::string origin(const char* name) const {
    const auto found = read_.origins.find(name);
    return found == read_.origins.end() ? "" : found->second;
  }

  collect_settings read_ = settings();
  std::string path_;
};

constexpr char everything[] = R"(<collect>
<launcher> slurm </launcher>
<fanout>+0128</fanout>
<connect_timeout>5</connect_timeout>
<timeout>30</timeout>
<ssh_options>
<ssh_option>StrictHostKeyChecking=yes</ssh_option>
<ssh_option>SendEnv=A B</ssh_option>
</ssh_options>
<user>007</user>
<remote_path>/opt/z</remote_path>
<address>10.0.0.1</address>
<stagger>3</stagger>
<order>round_robin</order>
<retry>1</retry>
<shared_directory>/scratch</shared_directory>
<nodefile>/etc/nodes</nodefile>
<suites>
<suite name="quick">
<member>cpu</member>
<member>@base</member>
</suite>
<suite name="base"/>
</suites>
</collect>
<datastore><path>/var/z.db</path></datastore>)";

TEST_F(configuration, says_all_that_may_be_said) {
  ASSERT_TRUE(read(everything));
  EXPECT_EQ(said(), words{});
  const struct {
    const char* name;
    const char* value;
    int line;
  } cases[] = {
      {"launcher", "slurm", 3},
      {"fanout", "128", 4},
      {"connect_timeout", "5 s", 5},
      {"timeout", "30 s", 6},
      {"ssh_options", "StrictHostKeyChecking=yes SendEnv=A B", 9},
      {"user", "007", 11},
      {"remote_path", "/opt/z", 12},
      {"address", "10.0.0.1", 13},
      {"stagger", "3 s", 14},
      {"order", "round_robin", 15},
      {"retry", "1", 16},
      {"shared_directory", "/scratch", 17},
      {"nodefile", "/etc/nodes", 18},
      {"datastore", "/var/z.db", 27},
  };
  EXPECT_EQ(std::size(cases), setting_rules().size());
  for (const auto& one : cases) {
    EXPECT_EQ(shown(one.name), one.value) << one.name;
    EXPECT_EQ(origin(one.name), path_ + ":" + std::to_string(one.line));
  }
  const suite& quick = read_.suites.at("quick");
  EXPECT_EQ(quick.where, path_ + ":20");
  ASSERT_EQ(quick.members.size(), 2U);
  EXPECT_EQ(quick.members[1].name, "@base");
  EXPECT_EQ(quick.members[1].where, path_ + ":22");
  EXPECT_TRUE(read_.suites.at("base").members.empty());
}

// The same file is the worker's, which has no use for these elements.
TEST_F(configuration, is_taken_by_the_worker_too) {
  Config config;
  config.install_root = config_.install_root;
  EXPECT_EQ(preproc::read_config(config, configure(everything)), 0);
  EXPECT_EQ(said(), words{});
}

TEST_F(configuration, may_say_nothing) {
  EXPECT_TRUE(read(""));
  EXPECT_TRUE(read("<collect/><datastore/>"));
  EXPECT_TRUE(read("<collect><suites/><ssh_options/></collect>"));
  EXPECT_TRUE(read_.origins.empty());
}

TEST_F(configuration, is_refused_with_its_line) {
  const struct {
    const char* text;
    const char* complaint;
  } cases[] = {
      {"<collect>\n<fan_out>3</fan_out></collect>",
       "zelk.xml:3: expected in 'collect' one of the elements launcher, "
       "fanout, connect_timeout, timeout, ssh_options, user, remote_path, "
       "address, stagger, order, retry, shared_directory, nodefile, suites; "
       "found 'fan_out'"},
      {"<collect>\n<fanout>0</fanout></collect>",
       "zelk.xml:3: expected in 'fanout': a whole number, 1 to 4096; found "
       "'0'"},
      {"<collect><order>up</order></collect>",
       "zelk.xml:2: expected in 'order': none, rotate_right, rotate_left, "
       "round_robin or random; found 'up'"},
      {"<collect><user>-l root</user></collect>",
       "zelk.xml:2: expected in 'user': text without blanks, and no - in "
       "front; found '-l root'"},
      {"<collect><suites><suite name='a'/>\n<suite name='a'/></suites>"
       "</collect>",
       "zelk.xml:3: expected in 'suite': a name that no other suite has; "
       "found 'a' again"},
      {"<collect><suites><suite name='@a'/></suites></collect>",
       "zelk.xml:2: expected in 'name' of 'suite': letters, digits, _ . and - "
       ", with a letter or digit in front; found '@a'"},
      {"<datastore><path>here.db</path></datastore>",
       "zelk.xml:2: expected in 'path': an absolute path of at most 4095 "
       "bytes; found 'here.db'"},
  };
  std::size_t count = 0;
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_FALSE(read(one.text));
    ASSERT_EQ(said().size(), ++count);
    EXPECT_EQ(said().back(), one.complaint);
  }
}

TEST_F(configuration, of_a_user_wins_and_has_less_to_say) {
  ASSERT_TRUE(
      read("<collect><fanout>3</fanout><retry>2</retry><suites>"
           "<suite name='a'/><suite name='b'/></suites></collect>"));
  ASSERT_TRUE(
      read("<collect><fanout>4</fanout><suites><suite name='a'>"
           "<member>x</member></suite></suites></collect>",
           configuration_owner::user));
  EXPECT_EQ(read_.fanout, 4);
  EXPECT_EQ(read_.retry, 2);
  EXPECT_EQ(read_.suites.at("a").members.size(), 1U);
  EXPECT_TRUE(read_.suites.contains("b"));
  EXPECT_FALSE(read("<output_directory>/x</output_directory>",
                    configuration_owner::user));
  EXPECT_EQ(said(), words{"zelk.xml:2: expected only 'collect' and "
                          "'datastore' in a user's own file; found "
                          "'output_directory'"});
}

TEST_F(configuration, of_a_user_lies_where_such_files_lie) {
  const auto none = [](const char*) { return std::string(); };
  EXPECT_EQ(user_configuration(none), "");
  EXPECT_EQ(user_configuration([](const char* name) {
              return std::string(std::getenv(name) ? std::getenv(name) : "");
            }),
            "");
  const std::string path = put("home/zelkara/zelk.xml", "<zelk/>");
  EXPECT_EQ(user_configuration([](const char* name) {
              return std::string(std::getenv(name) ? std::getenv(name) : "");
            }),
            path);
}

}  // namespace
}  // namespace zelk::collect
