#include "src/collect/src/db/accept_command.h"

#include <algorithm>
#include <iostream>
#include <optional>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/db/acceptance_list.h"
#include "src/collect/src/db/login_name.h"
#include "src/collect/src/db/node_sets.h"
#include "src/collect/src/reading/acceptances.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/str.h"
#include "src/common/text/time_text.h"
#include "src/common/text/utf8.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::new_acceptance;
using datastore::database;
using reading::stored_acceptance;

// A reason stands in one line of a report.
constexpr std::size_t longest_reason = 1000;  // bytes
constexpr std::size_t longest_check = 100;    // bytes

bool is_check_id(std::string_view text) {
  const auto is_word_byte = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
  };
  if (text.empty() || text.size() > longest_check || text[0] < 'a' ||
      text[0] > 'z' || text.back() == '-' ||
      text.find("--") != std::string_view::npos)
    return false;
  return std::all_of(text.begin(), text.end(),
                     [&](char c) { return c == '-' || is_word_byte(c); });
}

// As most other tools would write it.
std::string as_kebab_case(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c == '_' || c == ' ' || c == '.') c = '-';
  }
  return text;
}

std::int64_t end_of_validity(const std::string& until, std::int64_t present) {
  if (until.empty()) return 0;
  std::int64_t end = 0;
  if (const std::optional<std::int64_t> time = text::duration_usec(until))
    end = present + *time;
  else if (const auto day = text::read_time(until, present);
           day && !until.starts_with("now"))
    end = day->until_usec;  // the day itself is still a part of it
  else
    throw reading::refusal("--until: '" + text::visible_text(until) +
                           "' is none of 12h, 30d, 8w, 2025-12-31");
  if (end <= present)
    throw reading::refusal("--until: '" + text::visible_text(until) +
                           "' is over already");
  return end;
}

std::string checked_reason(const std::string& text) {
  std::string reason = str::strip(text);
  if (reason.empty())
    throw reading::refusal(
        "accept needs --reason TEXT: why may this stay as it is?");
  if (reason.size() > longest_reason)
    throw reading::refusal("--reason: expected at most " +
                           std::to_string(longest_reason) + " bytes; found " +
                           std::to_string(reason.size()));
  if (!text::is_text(reason))
    throw reading::refusal("--reason: expected UTF-8 text");
  return reason;
}

std::string as_typed(const accept_options& options) {
  std::string text;
  for (const std::string& set : options.nodes)
    text += (text.empty() ? "" : ",") + set;
  for (const std::string& set : options.excluded)
    text += " -x " + set;
  return text;
}

// Reads everything that needs no datastore, standard input included.
new_acceptance wanted_acceptance(const accept_options& options) {
  if (const std::string problem = problem_of_check_id(options.check);
      !problem.empty())
    throw reading::refusal(problem);
  if (options.nodes.empty() && !options.excluded.empty())
    throw reading::refusal("--exclude needs --nodes: of which nodes?");
  new_acceptance wanted;
  wanted.check = options.check;
  wanted.reason = checked_reason(options.reason);
  wanted.made_usec = text::now_usec();
  wanted.until_usec = end_of_validity(options.until, wanted.made_usec);
  wanted.who = options.who.empty() ? login_name() : options.who;
  wanted.nodes = names_of_sets(options.nodes, options.excluded);
  wanted.node_set = as_typed(options);
  if (!options.nodes.empty() && wanted.nodes.empty())
    throw reading::refusal("'" + text::visible_text(wanted.node_set) +
                           "' names no node; without -w any node is meant");
  return wanted;
}

std::string folded(const std::vector<std::string>& nodes) {
  return text::visible_text(TokenizedHost::get_merged_hosts(nodes));
}

// Returns whether all nodes are known. A name that is none would accept
// nothing, and nobody would be told.
bool check_nodes(database& base, const new_acceptance& wanted) {
  const std::optional<std::int64_t> run =
      wanted.run == 0 ? std::nullopt : std::optional(wanted.run);
  const std::vector<std::string> unknown =
      accumulate::unknown_nodes(base, wanted.nodes, run);
  if (unknown.empty()) return true;
  if (run)
    throw reading::refusal(folded(unknown) + ": no part of run " +
                           std::to_string(*run));
  std::cerr << "zelk-db: no run knows " << folded(unknown)
            << "; the acceptance was made for what may come\n";
  return false;
}

const stored_acceptance* find(const std::vector<stored_acceptance>& all,
                              std::int64_t id) {
  const auto found =
      std::find_if(all.begin(), all.end(),
                   [&](const stored_acceptance& one) { return one.id == id; });
  return found == all.end() ? nullptr : &*found;
}

void show(database& base, std::int64_t id, const accept_options& options) {
  const std::vector<stored_acceptance> all = reading::acceptances(base);
  const stored_acceptance* made = find(all, id);
  if (made == nullptr) return;
  if (options.json)
    print_acceptances_as_json({*made}, text::now_usec(), std::cout);
  else if (!options.quiet)
    std::cout << "accepted " << line_of_acceptance(*made) << '\n';
}

int accept(const reading::place& where, const accept_options& options) {
  new_acceptance wanted = wanted_acceptance(options);
  database base = reading::open_to_write(where);
  if (!options.run.empty())
    wanted.run = reading::select_run(base, options.run).number;
  const bool all_known = check_nodes(base, wanted);
  const std::int64_t id = accumulate::add_acceptance(base, wanted);
  show(base, id, options);
  return all_known ? accumulate::exit_fine : accumulate::exit_partial;
}

int list(const reading::place& where, const accept_options& options) {
  database base = reading::open_to_read(where);
  std::vector<stored_acceptance> found = reading::acceptances(base);
  const std::size_t all = found.size();
  if (!options.all)
    std::erase_if(found,
                  [](const stored_acceptance& one) { return one.revoked(); });
  if (options.json) {
    print_acceptances_as_json(found, text::now_usec(), std::cout);
    return accumulate::exit_fine;
  }
  if (found.empty())
    std::cout << "nothing is accepted"
              << (all == 0 ? "" : "; --all lists what was") << '\n';
  else
    print_acceptances(found, text::now_usec(), std::cout);
  return accumulate::exit_fine;
}

void check_ids(const std::vector<stored_acceptance>& all,
               const std::vector<std::int64_t>& ids) {
  for (const std::int64_t id : ids)
    if (find(all, id) == nullptr)
      throw reading::refusal("There is no acceptance " + std::to_string(id) +
                             "; 'zelk-db accept list' lists them");
}

int revoke(const reading::place& where, const accept_options& options) {
  database base = reading::open_to_write(where);
  const std::vector<stored_acceptance> all = reading::acceptances(base);
  check_ids(all, options.ids);
  const std::string who = options.who.empty() ? login_name() : options.who;
  bool each_done = true;
  for (const std::int64_t id : options.ids) {
    const bool done =
        accumulate::revoke_acceptance(base, id, who, text::now_usec());
    each_done = each_done && done;
    if (!done)
      std::cerr << "zelk-db: " << id << " was revoked before\n";
    else if (!options.quiet)
      std::cout << "revoked " << line_of_acceptance(*find(all, id)) << '\n';
  }
  return each_done ? accumulate::exit_fine : accumulate::exit_partial;
}

}  // namespace

std::string problem_of_check_id(const std::string& text) {
  if (is_check_id(text)) return "";
  const std::string near = as_kebab_case(text);
  return "'" + text::visible_text(text) +
         "' is not a check's id: lower-case words joined by dashes, such as "
         "mem-size; " +
         (is_check_id(near) ? "did you mean '" + near + "'?"
                            : "'zelk-check --list' lists them");
}

int manage_acceptances(const reading::place& where,
                       const accept_options& options) {
  switch (options.what) {
    case accept_action::accept:
      return accept(where, options);
    case accept_action::revoke:
      return revoke(where, options);
    case accept_action::list:
      break;
  }
  return list(where, options);
}

}  // namespace zelk::db
