#include "src/check/page/redact.h"

#include <sstream>

#include <gtest/gtest.h>

#include "src/check/test_judgement.h"

namespace zelk::check::html {
namespace {

page_options hiding_hosts() {
  page_options options;
  options.redact.hosts = true;
  options.cluster = "alpha";
  options.host = "head01";
  return options;
}

TEST(redact, replaces_names_in_lists_sets_and_texts) {
  judgement what = example_judgement();
  page_options options = hiding_hosts();
  redact(what, options);
  const finding& slow = what.findings[2];
  ASSERT_EQ(slow.check, "stream-low");
  EXPECT_EQ(slow.nodes, (std::vector<std::string>{"host021", "host096"}));
  EXPECT_NE(slow.advice.front().find("-w host[021,096]"), std::string::npos);
  EXPECT_EQ(options.cluster, "cluster");
  EXPECT_EQ(options.host, "headnode");
}

TEST(redact, leaves_no_name_anywhere_on_the_page) {
  page_options options = hiding_hosts();
  options.error_output = [](const std::string& node, const std::string&) {
    return "on " + node + ".example.org: failed\n";
  };
  judgement what = example_judgement();
  what.findings[0].message = "ssh: node037.alpha.example.org: no route";
  what.findings[0].accepted_nodes = {"node037"};
  options.same_datastore = "--db /data/node037/x.db";
  options.json = [](const judgement& of, std::ostream& out) {
    out << '"' << of.findings[0].accepted_nodes.front() << '"';
  };
  std::ostringstream page;
  write_page(what, options, page);
  EXPECT_EQ(page.str().find("node0"), std::string::npos);
  EXPECT_EQ(page.str().find("gpu0"), std::string::npos);
  EXPECT_EQ(page.str().find("example.org"), std::string::npos);
  EXPECT_EQ(page.str().find("head01"), std::string::npos);
}

TEST(redact, replaces_names_in_the_groups_of_a_finding) {
  judgement what = example_judgement();
  what.findings[0].groups = {{"seen by node037", {"node037", "node038"}}};
  page_options options = hiding_hosts();
  redact(what, options);
  EXPECT_TRUE(what.findings[0].groups[0].second[0].starts_with("host"));
  EXPECT_EQ(what.findings[0].groups[0].first.find("node037"),
            std::string::npos);
}

TEST(redact, asks_for_error_output_by_the_true_name) {
  judgement what = example_judgement();
  page_options options = hiding_hosts();
  options.error_output = [](const std::string& node, const std::string&) {
    return node == "node013" ? "node013-ib0 is down" : "";
  };
  redact(what, options);
  EXPECT_EQ(options.error_output("host021", "stream"), "host021 is down");
}

TEST(redact, replaces_users) {
  judgement what = example_judgement();
  page_options options;
  options.redact.users = true;
  options.user = "grace";
  redact(what, options);
  ASSERT_TRUE(what.accepted.front().accepted);
  EXPECT_EQ(what.accepted.front().accepted->who, "user1");
  EXPECT_EQ(options.user, "user2");
  EXPECT_EQ(what.findings.front().nodes.front(), "node037");
}

TEST(redact, replaces_serial_numbers_and_what_tells_them) {
  judgement what = example_judgement();
  page_options options;
  options.redact.serials = true;
  finding& twice = what.findings.front();
  twice.fact = "dmi.system.uuid";
  twice.values = {{"node037", "4c4c4544-0037", "", {}, {}, {}},
                  {"node112", "4c4c4544-0037", "", {}, {}, {}}};
  twice.message = "both have 4c4c4544-0037";
  redact(what, options);
  EXPECT_EQ(twice.values[0].value, twice.values[1].value);
  EXPECT_EQ(twice.message, "both have " + twice.values[0].value);
  EXPECT_EQ(twice.message.find("4c4c"), std::string::npos);
}

TEST(redact, leaves_no_number_of_a_serial_number) {
  judgement what = example_judgement();
  page_options options;
  options.redact.serials = true;
  finding& twice = what.findings.front();
  twice.fact = "dmi.system.serial";
  twice.values = {{"node037",
                   "20771234567",
                   "20771234567",
                   20771234567,
                   {},
                   {},
                   20771234567}};
  twice.groups = {{"20771234567", {"node037"}}};
  twice.group_numbers = {20771234567};
  twice.reference = "20771234567";
  twice.reference_number = 20771234567;
  redact(what, options);
  EXPECT_FALSE(twice.values[0].number);
  EXPECT_FALSE(twice.values[0].number_before);
  EXPECT_EQ(twice.groups[0].first, twice.values[0].value);
  EXPECT_FALSE(twice.group_numbers[0]);
  EXPECT_FALSE(twice.reference_number);
}

TEST(redact, changes_nothing_that_nobody_asked_for) {
  judgement what = example_judgement();
  page_options options;
  options.user = "grace";
  redact(what, options);
  EXPECT_EQ(options.user, "grace");
  EXPECT_EQ(what.nodes.front().name, "gpu01");
}

TEST(redact, survives_hostile_names) {
  judgement what = hostile_judgement();
  page_options options;
  options.redact = {true, true, true};
  redact(what, options);
  EXPECT_TRUE(what.nodes.front().name.starts_with("host"));
}

TEST(is_serial, knows_what_names_one_piece_of_hardware) {
  for (const char* fact :
       {"dmi.chassis.serial", "net.eth0.mac", "ssh.hostkey.rsa",
        "os.machine_id", "disk.sda.wwn", "ib.0.port_guid"})
    EXPECT_TRUE(is_serial(fact)) << fact;
  for (const char* fact : {"mem.total", "machine.model", "macro.count", ""})
    EXPECT_FALSE(is_serial(fact)) << fact;
}

}  // namespace
}  // namespace zelk::check::html
