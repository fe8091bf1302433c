#include "src/collect/src/db/mark_words.h"

#include <charconv>
#include <optional>

#include "src/common/str/nearest_word.h"

namespace zelk::db {

namespace {

std::string not_understood(const std::string& word) {
  return "'" + word + "' is not understood";
}

// The number of an acceptance.
std::optional<std::int64_t> id_of(const std::string& text) {
  std::int64_t id = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, id);
  if (error != std::errc() || stop != end || id < 1) return {};
  return id;
}

std::string read_ids(const std::vector<std::string>& words,
                     accept_options& options) {
  if (words.size() < 2) return "accept revoke needs an ID";
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::optional<std::int64_t> id = id_of(words[i]);
    if (!id)
      return "'" + words[i] +
             "' is not the number of an acceptance; 'zelk-db accept list' "
             "lists them";
    options.ids.push_back(*id);
  }
  return "";
}

bool says_what_to_accept(const accept_options& options) {
  return !options.reason.empty() || !options.nodes.empty() ||
         !options.excluded.empty() || !options.until.empty() ||
         !options.run.empty();
}

std::string read_set(const std::vector<std::string>& words,
                     baseline_options& options) {
  if (words.size() < 2) return "baseline set needs a RUN";
  if (words.size() > 2) return not_understood(words[2]);
  options.what = baseline_action::set;
  options.run = words[1];
  return "";
}

}  // namespace

std::string read_baseline_words(const std::vector<std::string>& words,
                                baseline_options& options) {
  const std::string what = words.empty() ? "list" : words.front();
  if (what == "set") return read_set(words, options);
  if (what != "list" && what != "clear") {
    const std::string near = str::nearest_word(what, {"set", "list", "clear"});
    return "baseline: '" + what + "' is none of set list clear" +
           (near.empty() ? "" : "; did you mean '" + near + "'?");
  }
  if (words.size() > 1) return not_understood(words[1]);
  if (!options.name.empty() || !options.who.empty())
    return "--name and --who go with 'baseline set RUN'";
  options.what =
      what == "clear" ? baseline_action::clear : baseline_action::list;
  return "";
}

std::string read_accept_words(const std::vector<std::string>& words,
                              accept_options& options) {
  const std::string what = words.empty() ? "list" : words.front();
  const bool makes = what != "list" && what != "revoke";
  if (!makes && says_what_to_accept(options))
    return "-w, -x, --reason, --until and --run go with 'accept CHECK'";
  if (options.all && what != "list") return "--all goes with 'accept list'";
  if (what == "revoke") {
    options.what = accept_action::revoke;
    return read_ids(words, options);
  }
  if (words.size() > 1) return not_understood(words[1]);
  if (!makes) return "";
  options.what = accept_action::accept;
  options.check = what;
  if (options.reason.empty())
    return "accept needs --reason TEXT: why may this stay as it is?";
  return "";
}

}  // namespace zelk::db
