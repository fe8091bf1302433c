#include <fcntl.h>
#include <sys/stat.h>

#include <functional>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/stored_header.h"
#include "src/collect/src/accumulate/test_store.h"
#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/archive_reader.h"
#include "src/collect/src/db/archive_writer.h"
#include "src/common/util/unique_fd.h"

namespace zelk::db {
namespace {

using accumulate::a_result;
using datastore::scratch;

constexpr std::size_t max_record = 100'000;
constexpr char uuid[] = "fb20b6a3-029f-4f45-9032-34bdfdd82952";

accumulate::run a_run() {
  accumulate::run run;
  run.number = 7;
  run.uuid = uuid;
  run.label = "night\xff\x1b[2J";
  run.note = "by \"ada\"\n";
  run.state = accumulate::run_state::partial;
  run.started_usec = 1'760'000'000'000'000;
  run.ended_usec = 1'760'000'060'000'000;
  return run;
}

util::unique_fd made(const std::string& path) {
  return util::unique_fd(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600));
}

std::vector<provider_result> some_results() {
  std::vector<provider_result> results = {a_result("node1", 1),
                                          a_result("node2", 2, "")};
  results.push_back(a_result("node3", 3, std::string("\0\xff\n", 3)));
  std::memset(results[1].header.reserved, 0x5A, 16);
  return results;
}

std::string write_good(const scratch& folder) {
  const util::unique_fd fd = made(folder.file("good"));
  archive_writer archive(fd.get(), 1, 1'760'000'060);
  archive.begin_run(a_run(), 2, 3);
  archive.expectation({{"node1", "", ""}, ""});
  archive.expectation({{"b\xfe", "memory", "fast"}, "no\x1b answer"});
  for (const provider_result& each : some_results())
    archive.result(each);
  archive.finish();
  return folder.file("good");
}

class collecting : public archive_visitor {
 public:
  void begin_run(const archived_run& run) override { runs.push_back(run); }
  void expectation(const accumulate::missing_result& each) override {
    expected.push_back(each);
  }
  void result(provider_result& each) override { results.push_back(each); }

  std::vector<archived_run> runs;
  std::vector<accumulate::missing_result> expected;
  std::vector<provider_result> results;
};

// "", or why the file is refused.
std::string fault_of(const std::string& path, archive_visitor& visitor,
                     std::size_t most = max_record) {
  const util::unique_fd fd(::open(path.c_str(), O_RDONLY));
  try {
    read_archive(fd.get(), most, visitor);
  } catch (const archive_error& error) {
    return error.what();
  }
  return "";
}

std::string fault_of(const std::string& path, std::size_t most = max_record) {
  archive_visitor nobody;
  return fault_of(path, nobody, most);
}

TEST(archive, gives_everything_back_byte_for_byte) {
  const scratch folder;
  collecting found;
  ASSERT_EQ(fault_of(write_good(folder), found), "");
  ASSERT_EQ(found.runs.size(), 1U);
  EXPECT_EQ(found.runs[0].run.label, a_run().label);
  EXPECT_EQ(found.runs[0].run.note, a_run().note);
  EXPECT_EQ(found.runs[0].run.ended_usec, a_run().ended_usec);
  ASSERT_EQ(found.expected.size(), 2U);
  EXPECT_EQ(found.expected[1].what.node, "b\xfe");
  EXPECT_EQ(found.expected[1].what.option_id, "fast");
  EXPECT_EQ(found.expected[1].reason, "no\x1b answer");
  const std::vector<provider_result> sent = some_results();
  ASSERT_EQ(found.results.size(), sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i)
    EXPECT_TRUE(accumulate::same_bytes(found.results[i], sent[i])) << i;
}

TEST(archive, is_refused_when_it_is_cut_off_anywhere) {
  const scratch folder;
  const std::string good = datastore::content_of(write_good(folder));
  for (std::size_t size = 0; size < good.size(); ++size)
    EXPECT_NE(fault_of(folder.write("cut", good.substr(0, size))), "") << size;
}

TEST(archive, is_refused_when_any_byte_is_another) {
  const scratch folder;
  const std::string good = datastore::content_of(write_good(folder));
  for (std::size_t byte = 0; byte < good.size(); ++byte) {
    std::string bad = good;
    bad[byte] = static_cast<char>(bad[byte] ^ (1 << byte % 8));
    collecting found;
    const std::string fault = fault_of(folder.write("flipped", bad), found);
    // Some bits of a compressed file have no meaning (the window's size).
    if (fault.empty()) {
      EXPECT_EQ(found.results.size(), 3U) << byte;
      EXPECT_EQ(found.results.back().stdout.view(),
                some_results()[2].stdout.view());
    }
  }
}

TEST(archive, is_refused_when_something_follows) {
  const scratch folder;
  const std::string good = datastore::content_of(write_good(folder));
  EXPECT_NE(fault_of(folder.write("more", good + "x"))
                .find("something follows the end of the archive"),
            std::string::npos);
  EXPECT_NE(fault_of(folder.write("twice", good + good)), "");
}

TEST(archive, is_refused_when_it_is_something_else) {
  const scratch folder;
  EXPECT_NE(fault_of(folder.write("empty", "")), "");
  EXPECT_NE(fault_of(folder.write("text", "hello, world\n")), "");
  EXPECT_NE(fault_of(folder.write("zeros", std::string(4096, '\0'))), "");
}

// A file of which every member may be another one than it should be.
struct forgery {
  std::string head = head_text(1);
  std::string run = run_text({a_run(), 0, 1});
  std::string expected;
  std::string result_name = db::result_name(1, 1);
  std::string result;
  std::string sums;  // "": the right ones
  char type = '0';   // of the result's member
  bool end = true;

  forgery() {
    const provider_result honest = a_result("node1", 1);
    result = std::string(accumulate::image_of(honest.header)) +
             std::string(honest.stdout.view()) + honest.nodes_csv;
  }

  void write(const std::string& path) const {
    const util::unique_fd fd = made(path);
    zstd_writer compressed(fd.get());
    tar_writer tar(compressed, 0);
    accumulate::sha256 hash;
    std::string right;
    const auto member = [&](const std::string& name, const std::string& text) {
      tar.begin(name, static_cast<std::int64_t>(text.size()));
      tar.write(text);
      tar.end();
      right += sum_line(hash({text}), name);
    };
    member(head_name, head);
    member(run_name(1), run);
    member(expected_name(1), expected);
    member(result_name, result);
    member(sums_name, sums.empty() ? right : sums);
    if (end) tar.finish();
    compressed.finish();
  }
};

struct lie {
  const char* name;
  std::function<void(forgery&)> tell;
  const char* fault;  // a part of what is said
};

std::string run_with(const std::string& from, const std::string& to) {
  std::string text = run_text({a_run(), 0, 1});
  return text.replace(text.find(from), from.size(), to);
}

// A flat table.
const lie lies[] = {
    {"nothing", [](forgery&) {}, ""},
    {"path upwards", [](forgery& f) { f.result_name = "../../etc/passwd"; },
     "another member stands here"},
    {"absolute path", [](forgery& f) { f.result_name = "/etc/passwd"; },
     "another member stands here"},
    {"wrong sum", [](forgery& f) { f.sums = std::string(64, '0') + "  x\n"; },
     "the sum of zelk-export.json is another one"},
    {"more sums", [](forgery& f) { f.sums = std::string(1, '\n'); },
     "the sum of zelk-export.json is another one"},
    {"not the end", [](forgery& f) { f.end = false; }, "the file ends here"},
    {"another format",
     [](forgery& f) { f.head = "{\"format\":\"tar\",\"version\":1}"; },
     "it is not an export"},
    {"a newer version",
     [](forgery& f) {
       f.head = "{\"format\":\"zelkara-export\",\"version\":2,\"runs\":1}";
     },
     "a newer Zelkara is needed"},
    {"more runs", [](forgery& f) { f.head = head_text(2); },
     "another member stands here"},
    {"endless runs",
     [](forgery& f) {
       f.head =
           "{\"format\":\"zelkara-export\",\"version\":1,"
           "\"runs\":99999999999999999999}";
     },
     "is not a number from 0 to"},
    {"deep JSON", [](forgery& f) { f.head = std::string(1'000'000, '['); },
     "nested too deeply"},
    {"no JSON", [](forgery& f) { f.run = "{"; }, "not JSON"},
    {"an array", [](forgery& f) { f.run = "[]"; }, "expected an object"},
    {"too much JSON",
     [](forgery& f) { f.run = std::string(longest_json + 1, ' '); },
     "at most 4194304 are taken"},
    {"no UUID",
     [](forgery& f) { f.run = run_with(uuid, "x'; DROP TABLE run"); },
     "'uuid' is not a UUID"},
    {"a negative time",
     [](forgery& f) {
       f.run = run_with("\"started_usec\":", "\"started_usec\":-");
     },
     "'started_usec' is not a number"},
    {"a far time",
     [](forgery& f) {
       f.run = run_with("\"started_usec\":", "\"started_usec\":99");
     },
     "behind the year 9999"},
    {"a running run",
     [](forgery& f) { f.run = run_with("\"partial\"", "\"running\""); },
     "still running"},
    {"an unknown state",
     [](forgery& f) { f.run = run_with("\"partial\"", "\"fine\""); },
     "'state' is none"},
    {"a label that is a number",
     [](forgery& f) { f.run = run_with("\"label\":{", "\"label\":1,\"x\":{"); },
     "'label': expected text"},
    {"bad base64",
     [](forgery& f) { f.run = run_with("\"base64\":\"", "\"base64\":\"!"); },
     "byte 0 is not base64"},
    {"expectations nobody announced",
     [](forgery& f) { f.expected = "{\"node\":\"n\"}\n"; },
     "it has 1 lines, its run says 0"},
    {"a line without an end",
     [](forgery& f) { f.expected = "{\"node\":\"n\"}"; }, "line 1 has no end"},
    {"a nameless node", [](forgery& f) { f.expected = "{\"node\":\"\"}\n"; },
     "a node has no name"},
    {"a result cut off", [](forgery& f) { f.result.pop_back(); },
     "run-000001/results/00000001 (at byte"},
    {"a result too long", [](forgery& f) { f.result += 'x'; },
     "run-000001/results/00000001 (at byte"},
    {"no result", [](forgery& f) { f.result.clear(); },
     "run-000001/results/00000001 (at byte"},
    {"sizes below zero",
     [](forgery& f) {
       const std::int64_t size = INT64_MIN;
       std::memcpy(
           f.result.data() + offsetof(provider_result_header, stdout_size),
           &size, sizeof size);
     },
     "run-000001/results/00000001 (at byte"},
    {"a result over the limit",
     [](forgery& f) { f.result.resize(736 + max_record + 1); },
     "at most 100736 are taken"},
};

TEST(archive, is_refused_with_what_is_wrong_and_where) {
  const scratch folder;
  for (const lie& each : lies) {
    SCOPED_TRACE(each.name);
    forgery forged;
    each.tell(forged);
    forged.write(folder.file("forged"));
    const std::string fault = fault_of(folder.file("forged"));
    if (*each.fault == '\0')
      EXPECT_EQ(fault, "");
    else
      EXPECT_NE(fault.find(each.fault), fault.npos) << fault;
  }
}

// What a tar program would follow out of the folder or hang on.
TEST(archive, takes_no_links_and_no_devices) {
  const scratch folder;
  forgery().write(folder.file("plain"));
  for (const char type : {'1', '2', '3', '5', '6', 'L', 'x', 'g', '\0'}) {
    const util::unique_fd in(::open(folder.file("plain").c_str(), O_RDONLY));
    zstd_reader reader(in.get());
    std::string bytes(16384, '\0');
    bytes.resize(reader.read(bytes.data(), bytes.size()));
    // The checksum is made right, so that only the type is another one.
    const int change = static_cast<unsigned char>(type) - '0';
    const int sum = std::stoi(bytes.substr(148, 7), nullptr, 8) + change;
    char digits[8];
    std::snprintf(digits, sizeof digits, "%07o", static_cast<unsigned>(sum));
    bytes.replace(148, 7, digits);
    bytes[156] = type;
    const util::unique_fd out = made(folder.file("typed"));
    zstd_writer writer(out.get());
    writer.write(bytes);
    writer.finish();
    EXPECT_NE(fault_of(folder.file("typed")).find("a plain member"),
              std::string::npos)
        << type;
  }
}

// 1 GB of zeros is 30 KB of file: it must cost neither memory nor time.
TEST(archive, of_endless_zeros_is_refused_at_the_first_block) {
  const scratch folder;
  const util::unique_fd fd = made(folder.file("bomb"));
  zstd_writer writer(fd.get());
  const std::string zeros(std::size_t{1} << 20, '\0');
  for (int i = 0; i < 64; ++i)
    writer.write(zeros);
  writer.finish();
  EXPECT_NE(fault_of(folder.file("bomb")).find("head of a plain member"),
            std::string::npos);
}

TEST(archive, of_one_run_twice_is_refused) {
  const scratch folder;
  const util::unique_fd fd = made(folder.file("twice"));
  archive_writer archive(fd.get(), 2, 0);
  archive.begin_run(a_run(), 0, 0);
  archive.begin_run(a_run(), 0, 0);
  archive.finish();
  EXPECT_NE(fault_of(folder.file("twice")).find("twice"), std::string::npos);
}

}  // namespace
}  // namespace zelk::db
