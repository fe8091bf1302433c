#include "src/collect/src/db/query.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/db/guarded_query.h"
#include "src/collect/src/db/row_printer.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/view_exists.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::db {

namespace {

// The public face of a datastore.
constexpr const char* first_views[] = {"v_provider_result", "v_result", "v_run",
                                       "v_host", "v_missing"};
constexpr const char* views_of_version_3[] = {"v_baseline", "v_acceptance",
                                              "v_acceptance_node"};

// More than any statement may have, so that a wrong file is not read whole.
constexpr std::size_t longest_input = std::size_t{2} << 20;  // bytes

[[noreturn]] void refuse_file(const std::string& name) {
  const int code = errno;
  throw reading::refusal("Unable to read '" + name + "' " +
                         util::errno_text(code));
}

std::string content_of(int fd, const std::string& name) {
  std::string content;
  char part[4096];
  while (content.size() < longest_input) {
    const ssize_t count = ::read(fd, part, sizeof part);
    if (count == 0) break;
    if (count > 0)
      content.append(part, static_cast<std::size_t>(count));
    else if (errno != EINTR)
      refuse_file(name);
  }
  return content;
}

std::string read_sql(const query_options& options) {
  const std::string& name = options.file.empty() ? options.sql : options.file;
  if (name == "-") return content_of(STDIN_FILENO, "standard input");
  if (options.file.empty()) return options.sql;
  const util::unique_fd fd(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) refuse_file(name);
  return content_of(fd.get(), name);
}

int print_rows(guarded_query& query, row_printer& printer,
               std::int64_t max_rows) {
  for (std::int64_t count = 0; query.step(); ++count) {
    if (max_rows > 0 && count >= max_rows) {
      printer.end();
      std::cout.flush();
      std::cerr << "zelk-db: there are more than " << max_rows
                << " rows; --max-rows N shows more\n";
      return accumulate::exit_partial;
    }
    printer.row(query.row());
  }
  printer.end();
  return accumulate::exit_fine;
}

// An older datastore may be read, and has fewer.
std::vector<const char*> views_of(const datastore::database& base) {
  std::vector<const char*> views(std::begin(first_views),
                                 std::end(first_views));
  for (const char* view : views_of_version_3)
    if (reading::view_exists(base, view)) views.push_back(view);
  return views;
}

}  // namespace

int run_query(const reading::place& where, const query_options& options) {
  const std::string sql = read_sql(options);
  datastore::database base = reading::open_to_read(where);
  query_limits limits;
  limits.time = std::chrono::seconds(options.timeout_sec);
  const std::vector<const char*> views = views_of(base);
  guarded_query query(base, views, sql, limits);
  const std::unique_ptr<row_printer> printer = make_row_printer(
      options.form, query.row(), std::cout, ::isatty(STDOUT_FILENO) == 1);
  return print_rows(query, *printer, options.max_rows);
}

}  // namespace zelk::db
