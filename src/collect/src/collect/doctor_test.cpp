#include "src/collect/src/collect/doctor.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include <gtest/gtest.h>

#include "src/collect/src/collect/exit_codes.h"

namespace zelk::collect {
namespace {

node_facts well() {
  node_facts facts;
  facts.outcome.how = ending::exited;
  facts.answered = true;
  facts.worker = "found";
  facts.version = "1.2.0";
  facts.architecture = "x86_64";
  facts.clock_offset_s = 0.0;
  facts.state = "ZELK_PRECHECK_OK";
  facts.token = "read";
  facts.reply_seen = true;
  return facts;
}

node_facts refused() {
  node_facts facts;
  facts.outcome.how = ending::refused;
  facts.outcome.reason = "ssh: connect to host n3 port 22: Connection refused";
  return facts;
}

doctor_report report_of(std::map<std::string, node_facts> nodes) {
  doctor_report report;
  report.launcher = "ssh";
  report.tools = {{"ssh", "OpenSSH_9.2p1"}, {"srun", ""}};
  report.request.version = "1.2.0";
  report.findings.nodes = std::move(nodes);
  return report;
}

std::string text_of(const doctor_report& report) {
  std::ostringstream out;
  print_report(report, out);
  return out.str();
}

TEST(doctor_report, folds_nodes_that_are_alike) {
  doctor_report report =
      report_of({{"n1", well()}, {"n2", well()}, {"n3", refused()}});
  report.findings.errors = {"n3 (1): ssh: connect to host: Connection refused"};
  report.findings.warnings = {"n1 (1): its clock"};
  EXPECT_EQ(text_of(report),
            "This machine\n"
            "  ssh: OpenSSH_9.2p1\n"
            "  srun: not found\n"
            "Nodes, by ssh\n"
            "  answers: n[1-2] (2)\n"
            "  worker 1.2.0: n[1-2] (2)\n"
            "  architecture x86_64: n[1-2] (2)\n"
            "Errors\n"
            "  n3 (1): ssh: connect to host: Connection refused\n"
            "Warnings\n"
            "  n1 (1): its clock\n"
            "2 of 3 nodes can be collected from\n");
}

TEST(doctor_report, says_where_the_directory_is_shared) {
  node_facts apart = well();
  apart.token = "absent";
  doctor_report report = report_of({{"n1", well()}, {"n2", apart}});
  report.request.directory = "/shared";
  const std::string text = text_of(report);
  EXPECT_NE(text.find("  /shared shared with this machine: n1 (1)\n"),
            std::string::npos);
  EXPECT_NE(text.find("  /shared not shared with this machine: n2 (1)\n"),
            std::string::npos);
}

TEST(doctor_status, tells_partial_from_nothing) {
  EXPECT_EQ(doctor_status(report_of({{"n1", well()}})), exit_complete);
  doctor_report partial = report_of({{"n1", well()}, {"n3", refused()}});
  partial.findings.errors = {"n3"};
  EXPECT_EQ(doctor_status(partial), exit_partial);
  EXPECT_EQ(doctor_status(report_of({{"n3", refused()}})), exit_nothing);
  EXPECT_EQ(doctor_status(report_of({})), exit_unusable);
  node_facts other = well();
  other.version = "1.1.0";
  EXPECT_EQ(doctor_status(report_of({{"n1", other}})), exit_nothing);
  doctor_report warned = report_of({{"n1", well()}});
  warned.findings.warnings = {"n1"};
  EXPECT_EQ(doctor_status(warned), exit_partial);
  doctor_report unshared = report_of({{"n1", well()}});
  unshared.findings.directory = "/shared";
  EXPECT_EQ(doctor_status(unshared), exit_partial);
}

TEST(doctor_report, is_one_json_document) {
  doctor_report report = report_of({{"n1", well()}, {"n3", refused()}});
  report.findings.errors = {"bad byte \377"};
  std::ostringstream out;
  print_json(report, out);
  const nlohmann::json document = nlohmann::json::parse(out.str());
  EXPECT_EQ(document["schema"], "zelkara.doctor/1");
  EXPECT_EQ(document["status"], 1);
  EXPECT_EQ(document["nodes"]["n1"]["version"], "1.2.0");
  EXPECT_EQ(document["nodes"]["n1"]["clock_offset_s"], 0.0);
  EXPECT_EQ(document["nodes"]["n3"]["ending"], "refused");
  EXPECT_TRUE(document["nodes"]["n3"]["clock_offset_s"].is_null());
  EXPECT_EQ(document["tools"][1]["version"], "");
  EXPECT_EQ(document["errors"].size(), 1U);
}

}  // namespace
}  // namespace zelk::collect
