#include "src/collect/src/db/archive_writer.h"

#include <fmt/format.h>

#include "src/collect/src/accumulate/stored_header.h"
#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/archive_json.h"

namespace zelk::db {

archive_writer::archive_writer(int fd, std::int64_t runs, std::int64_t time)
    : compressed_(fd), tar_(compressed_, time) {
  member(head_name, head_text(runs));
}

void archive_writer::member(const std::string& name, std::string_view content) {
  tar_.begin(name, static_cast<std::int64_t>(content.size()));
  tar_.write(content);
  tar_.end();
  add_sum(name, hash_({content}));
}

void archive_writer::add_sum(const std::string& name,
                             const accumulate::digest& sum) {
  sums_ += sum_line(sum, name);
}

void archive_writer::begin_run(const accumulate::run& run,
                               std::int64_t expectations,
                               std::int64_t records) {
  end_expectations();
  ++run_;
  result_ = 0;
  member(run_name(run_), run_text({run, expectations, records}));
  expecting_ = true;
}

void archive_writer::expectation(const accumulate::missing_result& expected) {
  expected_ += expectation_text(expected);
}

void archive_writer::end_expectations() {
  if (!expecting_) return;
  member(expected_name(run_), expected_);
  expected_.clear();
  expecting_ = false;
}

void archive_writer::result(const provider_result& result) {
  end_expectations();
  const std::string name = result_name(run_, ++result_);
  const std::string_view parts[] = {accumulate::image_of(result.header),
                                    result.stdout.view(), result.stderr.view(),
                                    result.nodes_csv};
  std::size_t size = 0;
  for (const std::string_view part : parts)
    size += part.size();
  tar_.begin(name, static_cast<std::int64_t>(size));
  for (const std::string_view part : parts)
    tar_.write(part);
  tar_.end();
  add_sum(name, hash_({parts[0], parts[1], parts[2], parts[3]}));
}

void archive_writer::finish() {
  end_expectations();
  tar_.begin(sums_name, static_cast<std::int64_t>(sums_.size()));
  tar_.write(sums_);
  tar_.end();
  tar_.finish();
  compressed_.finish();
}

}  // namespace zelk::db
