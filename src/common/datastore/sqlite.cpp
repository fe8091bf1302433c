#include "src/common/datastore/sqlite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include <sqlite3.h>

#include "src/common/datastore/sqlite_failure.h"
#include "src/common/datastore/unchanging_file.h"
#include "src/common/log/error_log.h"
#include "src/common/text/utf8.h"

namespace zelk::datastore {

namespace {

constexpr char source[] = "src/common/datastore/sqlite";

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Between two looks at a lock. Long waits are for another process's commit,
// which takes longer than this.
constexpr milliseconds longest_pause{25};

// Of a wait behind its deadline: another process's commit is no trouble.
constexpr milliseconds least_wait{250};

// SQLite makes its files with the umask's mode, and the log beside the database
// with the database's: so the database is made here. It holds what commands on
// every node printed, which is nobody else's to read.
void make_file(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                        S_IRUSR | S_IWUSR);
  if (fd == -1) {
    const int code = errno;
    if (code == EEXIST) return;
    throw refused(path, code);
  }
  ::close(fd);
}

// SQLite reports all of this as "unable to open database file".
void check_file(const std::string& path) {
  struct stat found = {};
  if (::stat(path.c_str(), &found) == -1) throw refused(path, errno);
  if (S_ISDIR(found.st_mode)) throw refused(path, EISDIR);
  if (!S_ISREG(found.st_mode))
    throw store_error(store_failure::fatal,
                      "Datastore " + quoted(path) + ": not a regular file");
}

// SQLite gives a meaning to "file:...", ":memory:" and "".
std::string as_plain_path(const std::string& path) {
  return path.starts_with('/') ? path : "./" + path;
}

// SQLite does not say which file it could not open or write to.
bool needs_to_write(const store_error& error) {
  const int code = error.code() & 0xFF;
  return code == SQLITE_CANTOPEN || code == SQLITE_READONLY;
}

int open_flags(open_mode mode) {
  return (mode == open_mode::read_only ? SQLITE_OPEN_READONLY
                                       : SQLITE_OPEN_READWRITE) |
         SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
}

// SQLite counts the bytes it has, for a limit that nobody sets here, under one
// lock for all threads: a twentieth of what storing a small record costs. To be
// told before its first use.
void count_no_memory() {
  static const int told = ::sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  static_cast<void>(told);  // refused where another library was first
}

// The file may come from anywhere (an import, a ticket): what its schema says
// must not reach further than its own tables.
void distrust(sqlite3* handle) {
  ::sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  ::sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  ::sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
}

}  // namespace

struct database::connection_state {
  std::string path;
  milliseconds limit{0};
  milliseconds notice{0};
  std::shared_ptr<const shared_deadline> deadline;
  steady_clock::time_point since;
  bool told = false;
  std::int64_t log_pages = 0;

  static int log_grew(void* state, sqlite3* /*of*/, const char* /*name*/,
                      int pages) {
    static_cast<connection_state*>(state)->log_pages = pages;
    return SQLITE_OK;
  }

  // How long the wait that began at `since` may last.
  milliseconds longest() const {
    const steady_clock::rep ticks = deadline ? deadline->load() : 0;
    if (ticks == 0) return limit;
    const steady_clock::time_point end{steady_clock::duration(ticks)};
    return std::min(
        limit, std::max(least_wait,
                        std::chrono::duration_cast<milliseconds>(end - since)));
  }

  void tell() {
    told = true;
    log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
        << "Waiting for another process that is writing to the datastore "
        << quoted(path) << ", at most "
        << std::chrono::duration<double>(limit).count() << " s";
  }

  bool wait(int count) {
    const steady_clock::time_point now = steady_clock::now();
    if (count == 0) {
      since = now;
      told = false;
    }
    const auto waited = std::chrono::duration_cast<milliseconds>(now - since);
    const milliseconds most = longest();
    if (waited >= most) return false;
    if (waited >= notice && !told) tell();
    const milliseconds pause =
        std::min({milliseconds(1 + count), longest_pause, most - waited});
    std::this_thread::sleep_for(pause);
    return true;
  }

  static int handler(void* state, int count) {
    return static_cast<connection_state*>(state)->wait(count) ? 1 : 0;
  }
};

database::database(const std::string& path, open_mode mode,
                   const patience& waiting)
    : path_(path), state_(std::make_unique<connection_state>()) {
  state_->path = path;
  set_busy_limit(waiting.limit, waiting.notice);
  if (mode == open_mode::create) make_file(path);
  check_file(path);
  try {
    open(as_plain_path(path), open_flags(mode));
    // A file that may not be written to is opened all the same, to be read.
    if (mode != open_mode::read_only &&
        ::sqlite3_db_readonly(handle_, "main") == 1)
      throw failed(path, handle_, SQLITE_READONLY);
  } catch (const store_error& error) {
    close();
    if (!needs_to_write(error) || can_write_beside(path)) throw;
    if (mode != open_mode::read_only)
      throw failed(path, nullptr, SQLITE_READONLY);
    open_unchanging();
  } catch (...) {
    close();
    throw;
  }
}

void database::open(const std::string& name, int flags) {
  count_no_memory();
  const int code = ::sqlite3_open_v2(name.c_str(), &handle_, flags, nullptr);
  if (code != SQLITE_OK) throw failed(path_, handle_, code);
  distrust(handle_);
  ::sqlite3_busy_handler(handle_, &connection_state::handler, state_.get());
  integer("PRAGMA schema_version");
}

void database::open_unchanging() {
  const std::string name = unchanging_name(path_);
  try {
    open(name, open_flags(open_mode::read_only) | SQLITE_OPEN_URI);
  } catch (...) {
    close();
    throw;
  }
}

database::database(database&& other) noexcept
    : path_(std::move(other.path_)),
      handle_(std::exchange(other.handle_, nullptr)),
      state_(std::move(other.state_)) {}

database& database::operator=(database&& other) noexcept {
  close();
  path_ = std::move(other.path_);
  handle_ = std::exchange(other.handle_, nullptr);
  state_ = std::move(other.state_);
  return *this;
}

database::~database() {
  close();
}

void database::close() {
  ::sqlite3_close_v2(std::exchange(handle_, nullptr));
}

void database::set_busy_limit(milliseconds limit, milliseconds notice) {
  state_->limit = limit;
  state_->notice = notice;
}

void database::set_busy_deadline(
    std::shared_ptr<const shared_deadline> deadline) {
  state_->deadline = std::move(deadline);
}

void database::execute(const std::string& sql) {
  const int code =
      ::sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throw failed(path_, handle_, code);
}

std::int64_t database::integer(std::string_view sql) {
  statement query(*this, sql);
  return query.step() ? query.integer(0) : 0;
}

std::string database::text(std::string_view sql) {
  statement query(*this, sql);
  return query.step() ? std::string(query.bytes(0)) : std::string();
}

std::int64_t database::changes() const {
  return ::sqlite3_changes64(handle_);
}

std::int64_t database::last_id() const {
  return ::sqlite3_last_insert_rowid(handle_);
}

bool database::in_transaction() const {
  return ::sqlite3_get_autocommit(handle_) == 0;
}

void database::copy_to(const std::string& path) {
  struct stat found = {};
  if (::lstat(path.c_str(), &found) == 0) throw refused(path, EEXIST);
  database copy(path, open_mode::create);
  sqlite3_backup* backup =
      ::sqlite3_backup_init(copy.handle_, "main", handle_, "main");
  if (!backup) throw failed(copy.handle_, ::sqlite3_errcode(copy.handle_));
  ::sqlite3_backup_step(backup, -1);
  const int code = ::sqlite3_backup_finish(backup);
  if (code == SQLITE_OK) return;
  const store_error error = failed(path, copy.handle_, code);
  ::unlink(path.c_str());
  throw error;
}

bool database::checkpoint() {
  const milliseconds limit = std::exchange(state_->limit, milliseconds(0));
  const int code = ::sqlite3_wal_checkpoint_v2(
      handle_, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
  state_->limit = limit;
  if (code == SQLITE_OK) return true;
  if ((code & 0xFF) == SQLITE_BUSY || (code & 0xFF) == SQLITE_LOCKED)
    return false;
  throw failed(path_, handle_, code);
}

void database::leave_log_alone() {
  ::sqlite3_wal_hook(handle_, connection_state::log_grew, state_.get());
}

std::int64_t database::log_pages() const {
  return state_->log_pages;
}

std::optional<database::log_extent> database::copy_log() {
  int pages = 0, copied = 0;
  const int code = ::sqlite3_wal_checkpoint_v2(
      handle_, "main", SQLITE_CHECKPOINT_PASSIVE, &pages, &copied);
  if ((code & 0xFF) == SQLITE_BUSY) return {};
  if (code != SQLITE_OK) throw failed(path_, handle_, code);
  return log_extent{pages, copied};
}

void database::keep_log_when_closed() {
  ::sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void database::interrupt() {
  ::sqlite3_interrupt(handle_);
}

statement::statement(const database& base, std::string_view sql) {
  const char* behind = nullptr;
  const int code = ::sqlite3_prepare_v3(
      base.handle(), sql.data(), static_cast<int>(sql.size()),
      SQLITE_PREPARE_PERSISTENT, &handle_, &behind);
  if (code != SQLITE_OK) throw failed(base.path(), base.handle(), code);
  rest_ = sql.substr(static_cast<std::size_t>(behind - sql.data()));
}

statement::statement(statement&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), rest_(other.rest_) {}

statement& statement::operator=(statement&& other) noexcept {
  ::sqlite3_finalize(handle_);
  handle_ = std::exchange(other.handle_, nullptr);
  rest_ = other.rest_;
  return *this;
}

statement::~statement() {
  ::sqlite3_finalize(handle_);
}

statement& statement::bind(int index, std::int64_t value) {
  check(::sqlite3_bind_int64(handle_, index, value));
  return *this;
}

statement& statement::bind(int index, double value) {
  check(::sqlite3_bind_double(handle_, index, value));
  return *this;
}

statement& statement::bind_null(int index) {
  check(::sqlite3_bind_null(handle_, index));
  return *this;
}

// A null pointer would bind NULL, and an empty view may hold one.
statement& statement::bind_text(int index, std::string_view bytes) {
  check(::sqlite3_bind_text64(handle_, index, bytes.empty() ? "" : bytes.data(),
                              bytes.size(), SQLITE_STATIC, SQLITE_UTF8));
  return *this;
}

statement& statement::bind_blob(int index, std::string_view bytes) {
  check(::sqlite3_bind_blob64(handle_, index, bytes.empty() ? "" : bytes.data(),
                              bytes.size(), SQLITE_STATIC));
  return *this;
}

statement& statement::bind_bytes(int index, std::string_view bytes) {
  return text::is_text(bytes) ? bind_text(index, bytes)
                              : bind_blob(index, bytes);
}

// A bind refuses what is over SQLite's limit for one value (1,000,000,000
// bytes), which is the row's fault.
void statement::check(int code) const {
  if (code != SQLITE_OK) throw failed(::sqlite3_db_handle(handle_), code);
}

bool statement::step() {
  const int code = ::sqlite3_step(handle_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  const store_error error = failed(::sqlite3_db_handle(handle_), code);
  ::sqlite3_reset(handle_);
  throw error;
}

void statement::run() {
  while (step())
    continue;
  ::sqlite3_reset(handle_);
}

void statement::reset() {
  ::sqlite3_reset(handle_);
}

int statement::columns() const {
  return ::sqlite3_column_count(handle_);
}

std::string_view statement::column_name(int column) const {
  const char* name = ::sqlite3_column_name(handle_, column);
  return name ? name : "";
}

value_type statement::type(int column) const {
  switch (::sqlite3_column_type(handle_, column)) {
    case SQLITE_INTEGER:
      return value_type::integer;
    case SQLITE_FLOAT:
      return value_type::real;
    case SQLITE_TEXT:
      return value_type::text;
    case SQLITE_BLOB:
      return value_type::blob;
    default:
      return value_type::null;
  }
}

std::int64_t statement::integer(int column) const {
  return ::sqlite3_column_int64(handle_, column);
}

double statement::real(int column) const {
  return ::sqlite3_column_double(handle_, column);
}

std::string_view statement::bytes(int column) const {
  // The blob's pointer first: taking the size first may convert the value.
  const void* data = ::sqlite3_column_blob(handle_, column);
  const int size = ::sqlite3_column_bytes(handle_, column);
  if (!data) return {};
  return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

bool statement::read_only() const {
  return ::sqlite3_stmt_readonly(handle_) != 0;
}

transaction::transaction(database& base) : base_(base) {
  base_.execute("BEGIN IMMEDIATE");
}

transaction::~transaction() {
  // SQLite has rolled back already after some errors; then this does nothing.
  if (open_ && base_.in_transaction())
    ::sqlite3_exec(base_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void transaction::commit() {
  base_.execute("COMMIT");
  open_ = false;
}

savepoint::savepoint(database& base) : base_(base) {
  base_.execute("SAVEPOINT zelk");
}

savepoint::~savepoint() {
  if (open_ && base_.in_transaction())
    ::sqlite3_exec(base_.handle(), "ROLLBACK TO zelk; RELEASE zelk", nullptr,
                   nullptr, nullptr);
}

void savepoint::keep() {
  base_.execute("RELEASE zelk");
  open_ = false;
}

}  // namespace zelk::datastore
