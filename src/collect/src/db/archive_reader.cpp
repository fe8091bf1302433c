#include "src/collect/src/db/archive_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/sha256.h"
#include "src/collect/src/accumulate/stored_header.h"
#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/tar.h"
#include "src/collect/src/provider/output_file.h"

namespace zelk::db {

namespace {

// Members grow as their bytes arrive: a size that is only claimed costs
// nothing.
constexpr std::size_t piece = std::size_t{1} << 20;  // bytes

class reader {
 public:
  reader(int fd, std::size_t max_record, archive_visitor& visitor)
      : compressed_(fd),
        tar_(compressed_),
        max_record_(max_record),
        visitor_(visitor) {}

  std::int64_t read();

 private:
  std::string_view member(const std::string& name, std::size_t most);
  void read_run(std::int64_t number);
  void read_expectations(std::int64_t number, std::int64_t count);
  void read_result(const std::string& name);
  void read_sums();

  // Runs `read` with the member's name added to what it throws.
  template <typename Read>
  auto here(const Read& read) {
    try {
      return read();
    } catch (const archive_error& error) {
      tar_.complain(error.what());
    }
  }

  zstd_reader compressed_;
  tar_reader tar_;
  std::size_t max_record_;
  archive_visitor& visitor_;
  accumulate::sha256 hash_;
  std::string content_;
  std::vector<accumulate::digest> sums_;
  std::vector<std::int64_t> records_;  // of each run
  std::set<std::string> uuids_;
};

// The whole content, valid until the next call.
std::string_view reader::member(const std::string& name, std::size_t most) {
  tar_.begin(name, static_cast<std::int64_t>(most));
  content_.clear();
  while (tar_.left() > 0) {
    const std::size_t before = content_.size();
    const std::size_t count =
        std::min(piece, static_cast<std::size_t>(tar_.left()));
    content_.resize(before + count);
    tar_.read(content_.data() + before, count);
  }
  tar_.end();
  sums_.push_back(hash_({content_}));
  return content_;
}

std::int64_t reader::read() {
  const std::string_view head = member(head_name, longest_json);
  const std::int64_t runs = here([&] { return runs_of_head(head); });
  for (std::int64_t number = 1; number <= runs; ++number)
    read_run(number);
  read_sums();
  tar_.finish();
  return runs;
}

void reader::read_run(std::int64_t number) {
  const std::string_view text = member(run_name(number), longest_json);
  const archived_run run = here([&] { return run_of_text(text); });
  if (!uuids_.insert(run.run.uuid).second)
    tar_.complain("the same run stands in the file twice");
  records_.push_back(run.records);
  visitor_.begin_run(run);
  read_expectations(number, run.expectations);
  visitor_.begin_results();
  for (std::int64_t i = 1; i <= run.records; ++i)
    read_result(result_name(number, i));
  visitor_.end_run();
}

void reader::read_expectations(std::int64_t number, std::int64_t count) {
  // The lines of a run of 10,000 nodes and ten providers have some 10 MB.
  constexpr std::size_t most = std::size_t{256} << 20;
  std::string_view text = member(expected_name(number), most);
  std::int64_t lines = 0;
  for (; !text.empty(); ++lines) {
    const std::size_t end = text.find('\n');
    if (end == text.npos || end > longest_line)
      tar_.complain(fmt::format("line {} has no end", lines + 1));
    here([&] {
      visitor_.expectation(expectation_of_text(text.substr(0, end)));
    });
    text.remove_prefix(end + 1);
  }
  if (lines != count)
    tar_.complain(
        fmt::format("it has {} lines, its run says {}", lines, count));
}

void reader::read_result(const std::string& name) {
  const std::string_view content =
      member(name, sizeof(provider_result_header) + max_record_);
  provider_result result;
  std::string fault = parse_result_file(content, result);
  if (fault.empty())
    fault =
        accumulate::header_fault(result.header, result.stdout.size(),
                                 result.stderr.size(), result.nodes_csv.size());
  if (!fault.empty()) tar_.complain(fault);
  visitor_.result(result);
}

// The names are known, so is the text that must stand here.
void reader::read_sums() {
  constexpr std::size_t longest_sum_line = 64 + 3 + 100;  // bytes
  const std::size_t most = sums_.size() * longest_sum_line;
  std::size_t next = 0;
  const std::vector<accumulate::digest> expected = std::move(sums_);
  const std::string_view text = member(sums_name, most);
  std::size_t place = 0;
  const auto check = [&](const std::string& name) {
    const std::string line = sum_line(expected[next++], name);
    if (text.substr(place, line.size()) != line)
      tar_.complain("the sum of " + name + " is another one");
    place += line.size();
  };
  check(head_name);
  for (std::size_t run = 0; run < records_.size(); ++run) {
    const auto number = static_cast<std::int64_t>(run) + 1;
    check(run_name(number));
    check(expected_name(number));
    for (std::int64_t i = 1; i <= records_[run]; ++i)
      check(result_name(number, i));
  }
  if (place != text.size()) tar_.complain("it names more than the file holds");
}

}  // namespace

std::int64_t read_archive(int fd, std::size_t max_record,
                          archive_visitor& visitor) {
  return reader(fd, max_record, visitor).read();
}

}  // namespace zelk::db
