// The facts of the shipped descriptions, on outputs recorded on real machines:
// see README.md beside.

#include <re2/re2.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/facts/declaration.h"
#include "src/common/facts/test_printed.h"
#include "src/common/preproc/written_facts.h"

namespace zelk::facts {
namespace {

namespace fs = std::filesystem;

constexpr char schema[] = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";
constexpr std::size_t least_machines = 3;

std::vector<std::string> files_in(const fs::path& folder,
                                  const char* extension) {
  std::vector<std::string> paths;
  if (!fs::is_directory(folder)) return paths;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == extension) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> recordings_of(const std::string& description) {
  return files_in(fs::path(ZELK_SOURCE_DIR "/test/facts/recordings") /
                      fs::path(description).stem(),
                  ".txt");
}

std::vector<std::string> descriptions() {
  return files_in(ZELK_SOURCE_DIR "/etc/providers", ".xml");
}

extraction facts_of(const declaration& by, const std::string& recording) {
  return by.read_output(file_content(recording),
                        status_of_recording(recording));
}

// "net.{1}.mtu" as an expression for the names that it makes.
std::string names_of(const std::string& written) {
  std::string expression;
  bool inside = false;
  for (const char c : written) {
    if (c == '{') expression += "(?s:.*)";
    inside = c == '{' || (inside && c != '}');
    if (!inside && c != '}') expression += RE2::QuoteMeta(std::string(1, c));
  }
  return expression;
}

TEST(recordings, give_the_facts_written_down_beside_them) {
  for (const std::string& description : descriptions()) {
    const auto by = declaration::read(description, schema);
    ASSERT_TRUE(by) << description;
    for (const std::string& recording : recordings_of(description)) {
      SCOPED_TRACE(recording);
      const std::string expected =
          fs::path(recording).replace_extension(".facts");
      ASSERT_TRUE(fs::exists(expected));
      EXPECT_EQ(printed(facts_of(*by, recording)), file_content(expected));
    }
  }
}

TEST(recordings, are_there_for_every_description_with_facts) {
  for (const std::string& description : descriptions()) {
    const auto by = declaration::read(description, schema);
    ASSERT_TRUE(by) << description;
    if (!by->declares()) continue;
    EXPECT_GE(recordings_of(description).size(), least_machines) << description;
  }
}

// A declaration that nothing ever matches is a slip of its writer.
TEST(recordings, hold_every_declared_fact_somewhere) {
  for (const std::string& description : descriptions()) {
    const auto written = preproc::read_written_facts(description, schema);
    const auto by = declaration::read(description, schema);
    ASSERT_TRUE(written && by) << description;
    if (written->format == "nagios") continue;
    std::set<std::string> names;
    for (const std::string& recording : recordings_of(description))
      for (const fact& each : facts_of(*by, recording).facts)
        names.insert(each.name);
    if (names.empty()) continue;
    for (const preproc::written_fact& fact : written->facts) {
      const RE2 expression(names_of(fact.attributes.at("name")));
      EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                              [&](const std::string& name) {
                                return RE2::FullMatch(name, expression);
                              }))
          << description << ":" << fact.line << ": "
          << fact.attributes.at("name");
    }
  }
}

TEST(recordings, belong_to_a_description) {
  const fs::path folder = ZELK_SOURCE_DIR "/test/facts/recordings";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no recordings";
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_directory()) continue;
    const std::string name = entry.path().filename();
    EXPECT_TRUE(fs::exists(ZELK_SOURCE_DIR "/etc/providers/" + name + ".xml"))
        << name;
  }
}

}  // namespace
}  // namespace zelk::facts
