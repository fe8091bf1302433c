#include "src/collect/src/db/acceptance_list.h"

#include <fmt/format.h>

#include "src/collect/src/db/run_json.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/text/text_table.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using reading::stored_acceptance;

// Of a node set in a table, in columns.
constexpr std::size_t widest_set = 40;

std::string folded(const stored_acceptance& one) {
  return text::visible_text(TokenizedHost::get_merged_hosts(one.nodes));
}

// The beginning of a long set, at a comma, and how many nodes it has.
std::string short_set(const stored_acceptance& one) {
  if (one.nodes.empty()) return "any";
  std::string text = folded(one);
  if (text.size() > widest_set) {
    const std::size_t comma = text.rfind(',', widest_set);
    text.erase(comma == text.npos ? widest_set : comma + 1);
    text += "...";
  }
  return fmt::format("{} ({})", text, one.nodes.size());
}

json time_or_null(std::int64_t usec) {
  return usec == 0 ? json() : json(text::utc_time(usec));
}

json json_of(const stored_acceptance& one, std::int64_t now_usec) {
  json nodes = json::array();
  for (const std::string& node : one.nodes)
    nodes.push_back(json_of_bytes(node));
  return {
      {"id", one.id},
      {"check", one.check},
      {"nodes", nodes},
      {"node_set", json_of_bytes(one.nodes_text)},
      {"state", state_of(one, now_usec)},
      {"reason", json_of_bytes(one.reason)},
      {"who", json_of_bytes(one.who)},
      {"made", time_or_null(one.made_usec)},
      {"until", time_or_null(one.until_usec)},
      {"run", one.run == 0 ? json() : json(one.run)},
      {"revoked", time_or_null(one.revoked_usec)},
      {"revoked_by", one.revoked() ? json_of_bytes(one.revoked_by) : json()}};
}

}  // namespace

std::string state_of(const stored_acceptance& one, std::int64_t now_usec) {
  if (one.revoked()) return "revoked";
  return one.holds_at(now_usec) ? "active" : "expired";
}

std::string end_of(const stored_acceptance& one) {
  if (one.until_usec == 0) return "-";
  const bool midnight =
      one.until_usec % text::usec_per_sec == 0 &&
      text::local_time(one.until_usec, true).ends_with(" 00:00:00");
  if (!midnight) return text::local_time(one.until_usec);
  const std::string day_before = text::local_time(one.until_usec - 1);
  return day_before.substr(0, day_before.find(' '));
}

std::string line_of_acceptance(const stored_acceptance& one) {
  std::string text =
      fmt::format("{}: {} on ", one.id, text::visible_text(one.check));
  text += one.nodes.empty()
              ? std::string("any node")
              : fmt::format("{} ({})", folded(one), one.nodes.size());
  if (one.until_usec != 0) text += ", until " + end_of(one);
  return text;
}

void print_acceptances(const std::vector<stored_acceptance>& all,
                       std::int64_t now_usec, std::ostream& out) {
  text::text_table table({{"ID", true},
                          {"CHECK"},
                          {"NODES"},
                          {"STATE"},
                          {"UNTIL"},
                          {"BY"},
                          {"MADE"},
                          {"REASON"}});
  for (const stored_acceptance& one : all)
    table.add({fmt::format("{}", one.id), text::visible_text(one.check),
               short_set(one), state_of(one, now_usec), end_of(one),
               text::visible_text(one.who), text::local_time(one.made_usec),
               text::visible_text(one.reason)});
  table.write(out);
}

void print_acceptances_as_json(const std::vector<stored_acceptance>& all,
                               std::int64_t now_usec, std::ostream& out) {
  json list = json::array();
  for (const stored_acceptance& one : all)
    list.push_back(json_of(one, now_usec));
  out << one_line(list) << '\n';
}

}  // namespace zelk::db
