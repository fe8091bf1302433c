// How a stranger's SQL is held to the views.
//
// SQLite asks an authorizer about each column that a statement reads, and tells
// it the innermost view through which that happens. Alone that is no wall: a
// common table expression counts as a view, and one that is called v_run but
// reads an internal table looks the same as the view v_run doing it.
//
// So a statement is compiled twice. First in an empty database in memory that
// has one table of the same name and columns for each view: there a statement
// can name nothing else, because there is nothing else. The authorizer refuses
// what SQLite brings along itself (its own schema, pragmas, virtual tables).
// What compiles there is compiled against the datastore, where it finds the
// views again, and runs under a second authorizer that knows of SELECT only, on
// a connection that was opened to read. Parsing the text ourselves was
// rejected: it would be a second SQL grammar that has to agree with the first.

#include "src/collect/src/db/guarded_query.h"

#include <algorithm>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "src/collect/src/reading/failure.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using datastore::database;
using std::chrono::steady_clock;

// Virtual machine instructions between two looks at the clock: about 1 ms.
constexpr int steps_between_looks = 10'000;

constexpr int longest_sql = 1 << 20;     // bytes
constexpr int deepest_expression = 500;  // nodes; SQLite's parser is recursive

struct closer {
  void operator()(sqlite3* handle) const { ::sqlite3_close_v2(handle); }
};
using unique_handle = std::unique_ptr<sqlite3, closer>;

constexpr char only_select[] =
    "a query may only SELECT; it cannot change, attach or set anything";

// Tables that are made from an argument and not from the file.
bool is_harmless_table(std::string_view name) {
  return name == "json_each" || name == "json_tree";
}

// What SQLite makes up itself: the schema, pragmas as tables, the file's pages.
bool is_of_sqlite(std::string_view name) {
  for (const char* start : {"sqlite_", "pragma_", "dbstat", "bytecode",
                            "tables_used", "fts", "rtree"})
    if (::sqlite3_strnicmp(name.data(), start,
                           static_cast<int>(std::string_view(start).size())) ==
        0)
      return true;
  return false;
}

std::string view_list(std::span<const char* const> views) {
  std::string list;
  for (const char* view : views)
    list += (list.empty() ? "" : ", ") + std::string(view);
  return list;
}

// What a first statement may ask for, and what it was that it may not.
struct rules {
  std::span<const char* const> views;
  bool inside_views = false;  // the views' own reads are asked about, too
  std::string refused;

  bool is_view(std::string_view name) const {
    return std::any_of(views.begin(), views.end(), [&](const char* view) {
      return ::sqlite3_stricmp(std::string(name).c_str(), view) == 0;
    });
  }

  bool may_read(std::string_view table, std::string_view column) const {
    if (is_of_sqlite(table)) return false;
    // Of a table expression whose rows are only counted.
    const bool only_counted = column.empty();
    return inside_views || only_counted || is_view(table) ||
           is_harmless_table(table);
  }

  // It would run code of a file that the statement names; this build of SQLite
  // may or may not have it switched off.
  int decide_function(std::string_view name) {
    if (name != "load_extension") return SQLITE_OK;
    refused = "the function load_extension is not to be had";
    return SQLITE_DENY;
  }

  int decide(int action, const char* first, const char* second) {
    switch (action) {
      case SQLITE_SELECT:
      case SQLITE_RECURSIVE:
        return SQLITE_OK;
      case SQLITE_FUNCTION:
        return decide_function(second ? second : "");
      case SQLITE_READ:
        if (may_read(first ? first : "", second ? second : ""))
          return SQLITE_OK;
        refused = std::string("'") + (first ? first : "") +
                  "' is not one of the views " + view_list(views);
        return SQLITE_DENY;
      default:
        if (refused.empty())
          refused =
              "a query may only SELECT; it cannot change, attach or set "
              "anything";
        return SQLITE_DENY;
    }
  }

  static int ask(void* self, int action, const char* first, const char* second,
                 const char* /*database*/, const char* /*view*/) {
    return static_cast<rules*>(self)->decide(action, first, second);
  }
};

void limit(sqlite3* handle) {
  ::sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
  ::sqlite3_limit(handle, SQLITE_LIMIT_SQL_LENGTH, longest_sql);
  ::sqlite3_limit(handle, SQLITE_LIMIT_EXPR_DEPTH, deepest_expression);
}

std::string quoted(std::string_view name) {
  std::string text = "\"";
  for (const char c : name)
    text += c == '"' ? "\"\"" : std::string(1, c);
  return text + "\"";
}

// A table with the columns of the datastore's view `name`.
std::string table_like(database& base, const char* name) {
  datastore::statement columns(
      base, "SELECT name FROM pragma_table_info('" + std::string(name) + "')");
  std::string list;
  while (columns.step())
    list += (list.empty() ? "" : ", ") + quoted(columns.bytes(0));
  return "CREATE TABLE " + quoted(name) + " (" + list + ");";
}

// SQLite makes these two tables when they are first used, which to an
// authorizer looks like a statement that creates a table. Requires: there is
// none yet.
void make_harmless_tables(sqlite3* handle) {
  ::sqlite3_exec(handle, "SELECT 1 FROM json_each('[]'), json_tree('[]')",
                 nullptr, nullptr, nullptr);
}

unique_handle open_empty() {
  sqlite3* handle = nullptr;
  const int code =
      ::sqlite3_open_v2(":memory:", &handle,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  unique_handle owner(handle);
  if (code != SQLITE_OK) throw reading::failure("SQLite has no memory left");
  return owner;
}

unique_handle make_model(database& base, std::span<const char* const> views) {
  unique_handle model = open_empty();
  for (const char* view : views) {
    const std::string sql = table_like(base, view);
    if (::sqlite3_exec(model.get(), sql.c_str(), nullptr, nullptr, nullptr) !=
        SQLITE_OK)
      throw reading::failure("The view " + std::string(view) +
                             " is not in the datastore");
  }
  return model;
}

bool holds_statement(sqlite3* handle, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const int code = ::sqlite3_prepare_v2(
      handle, sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
  ::sqlite3_finalize(statement);
  return code != SQLITE_OK || statement != nullptr;
}

std::string words_of(sqlite3* handle, const rules& asked) {
  if (!asked.refused.empty()) return asked.refused;
  std::string words = ::sqlite3_errmsg(handle);
  if (words.starts_with("no such table"))
    words += "; the views are " + view_list(asked.views);
  return words;
}

void check_in_model(database& base, std::span<const char* const> views,
                    std::string_view sql) {
  const unique_handle model = make_model(base, views);
  rules asked{views, false, ""};
  limit(model.get());
  make_harmless_tables(model.get());
  ::sqlite3_set_authorizer(model.get(), rules::ask, &asked);
  sqlite3_stmt* compiled = nullptr;
  const char* rest = nullptr;
  const int code = ::sqlite3_prepare_v2(
      model.get(), sql.data(), static_cast<int>(sql.size()), &compiled, &rest);
  const bool nothing = compiled == nullptr;
  // VACUUM asks no authorizer.
  const bool reads = ::sqlite3_stmt_readonly(compiled) != 0 &&
                     ::sqlite3_column_count(compiled) > 0;
  ::sqlite3_finalize(compiled);
  if (code != SQLITE_OK)
    throw reading::refusal("Query: " +
                           text::visible_text(words_of(model.get(), asked)));
  if (nothing) throw reading::refusal("Query: there is no statement");
  if (!reads) throw reading::refusal(std::string("Query: ") + only_select);
  const auto used = static_cast<std::size_t>(rest - sql.data());
  if (holds_statement(model.get(), sql.substr(used)))
    throw reading::refusal(
        "Query: one statement at a time; a second one begins at byte " +
        std::to_string(used + 1));
}

}  // namespace

class guarded_query::guard {
 public:
  guard(database& base, std::span<const char* const> views,
        const query_limits& limits)
      : base_(base), limits_(limits), asked_{views, true, ""} {
    base_.execute("PRAGMA query_only = ON");
    limit(base_.handle());
    make_harmless_tables(base_.handle());
    ::sqlite3_limit(base_.handle(), SQLITE_LIMIT_LENGTH, limits.longest_value);
    ::sqlite3_set_authorizer(base_.handle(), rules::ask, &asked_);
    if (limits.time.count() > 0)
      ::sqlite3_progress_handler(base_.handle(), steps_between_looks, look,
                                 this);
    end_ = steady_clock::now() + limits.time;
  }
  ~guard() {
    ::sqlite3_progress_handler(base_.handle(), 0, nullptr, nullptr);
    ::sqlite3_set_authorizer(base_.handle(), nullptr, nullptr);
  }
  guard(const guard&) = delete;
  guard& operator=(const guard&) = delete;

  // What a failure of the statement means.
  [[noreturn]] void explain(const datastore::store_error& error) const {
    const double seconds = std::chrono::duration<double>(limits_.time).count();
    if (out_of_time_)
      throw reading::failure("Query: stopped after " +
                             std::to_string(static_cast<int>(seconds)) +
                             " s; --timeout S gives it more time");
    if ((error.code() & 0xFF) == SQLITE_ERROR || error.code() == SQLITE_TOOBIG)
      throw reading::failure(
          "Query: " + text::visible_text(::sqlite3_errmsg(base_.handle())));
    throw error;
  }

  const std::string& refused() const { return asked_.refused; }

 private:
  static int look(void* self) {
    guard& me = *static_cast<guard*>(self);
    me.out_of_time_ = steady_clock::now() >= me.end_;
    return me.out_of_time_ ? 1 : 0;
  }

  database& base_;
  query_limits limits_;
  rules asked_;
  steady_clock::time_point end_;
  bool out_of_time_ = false;
};

guarded_query::guarded_query(database& base, std::span<const char* const> views,
                             std::string_view sql, const query_limits& limits) {
  if (sql.size() > static_cast<std::size_t>(longest_sql))
    throw reading::refusal("Query: longer than 1 MiB");
  check_in_model(base, views, sql);
  guard_ = std::make_unique<guard>(base, views, limits);
  try {
    statement_ = std::make_unique<datastore::statement>(base, sql);
  } catch (const datastore::store_error& error) {
    if (!guard_->refused().empty())
      throw reading::refusal("Query: " + text::visible_text(guard_->refused()));
    guard_->explain(error);
  }
}

guarded_query::~guarded_query() {
  statement_.reset();
}

bool guarded_query::step() {
  try {
    return statement_->step();
  } catch (const datastore::store_error& error) {
    guard_->explain(error);
  }
}

const datastore::statement& guarded_query::row() const {
  return *statement_;
}

}  // namespace zelk::db
