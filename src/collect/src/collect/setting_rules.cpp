#include "src/collect/src/collect/setting_rules.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "src/common/str/nearest_word.h"

namespace zelk::collect {

namespace {

// Bytes of a value in a complaint.
constexpr std::size_t most_quoted = 80;

std::string found_text(const std::string& text) {
  std::string shown = text.substr(0, most_quoted);
  for (char& c : shown)
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  if (text.size() > most_quoted) shown += "...";
  return "; found '" + shown + "'";
}

// Reads a whole number of at least `least` and at most `most` into `value`.
template <typename Number>
std::string read_number(const std::string& text, std::int64_t least,
                        std::int64_t most, Number& value) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || behind != end || number < least || number > most)
    return "expected a whole number, " + std::to_string(least) + " to " +
           std::to_string(most);
  value = static_cast<Number>(number);
  return "";
}

std::string read_seconds(const std::string& text, std::int64_t least,
                         std::int64_t most, std::chrono::milliseconds& value) {
  std::int64_t seconds = 0;
  std::string problem = read_number(text, least, most, seconds);
  if (!problem.empty()) return problem + " seconds";
  value = std::chrono::seconds(seconds);
  return "";
}

std::string shown_seconds(std::chrono::milliseconds value) {
  return std::to_string(value.count() / 1000) + " s";
}

std::string read_path(const std::string& text, std::string& value) {
  if (!text.starts_with('/')) return "expected an absolute path";
  value = text;
  return "";
}

// A value that becomes a word of a command line of ssh(1), where a dash in
// front would make it an option.
std::string read_word(const std::string& text, std::string& value,
                      const char* what) {
  const bool bad = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7f';
  });
  if (text.empty() || text.starts_with('-') || bad)
    return std::string("expected ") + what +
           " without blanks, and no '-' in front";
  value = text;
  return "";
}

std::string read_order(const std::string& text, nodelist_method_t& order) {
  const auto found = nodelist_method_names.find(text);
  if (found == nodelist_method_names.end())
    return "expected one of none rotate_right rotate_left round_robin random";
  order = found->second;
  return "";
}

std::string shown_order(nodelist_method_t order) {
  for (const auto& [name, method] : nodelist_method_names)
    if (method == order) return name;
  return "";
}

std::string read_ssh_option(const std::string& text,
                            std::vector<std::string>& options) {
  const bool bad = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
  });
  if (text.empty() || bad) return "expected an option as ssh -o takes it";
  options.push_back(text);
  return "";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text.append(text.empty() ? "" : " ").append(word);
  return text;
}

using settings_in = collect_settings;
using text_in = const std::string;

// A flat table: one rule a setting.
std::vector<setting_rule> make_rules() {
  return {
      {"launcher", "--launcher", "ZELK_LAUNCHER",
       "ssh mpi slurm local; async: ssh, and --async", "L",
       [](settings_in& s, text_in& text) {
         s.async = text == "async";
         return read_word(s.async ? "ssh" : text, s.launcher, "a launcher");
       },
       [](const collect_settings& s) { return s.launcher; }},
      {"fanout", "--fanout", "ZELK_FANOUT", "connections at once", "N",
       [](settings_in& s, text_in& text) {
         return read_number(text, 1, 4096, s.fanout);
       },
       [](const collect_settings& s) { return std::to_string(s.fanout); }},
      {"connect_timeout", "--connect-timeout", "ZELK_CONNECT_TIMEOUT",
       "until a node answers, in seconds", "S",
       [](settings_in& s, text_in& text) {
         return read_seconds(text, 1, 3600, s.connect_timeout);
       },
       [](const collect_settings& s) {
         return shown_seconds(s.connect_timeout);
       }},
      {"timeout", "--timeout", "",
       "limit of each provider, instead of its own, in seconds", "S",
       [](settings_in& s, text_in& text) {
         std::chrono::milliseconds value{0};
         std::string problem = read_seconds(text, 1, 604'800, value);
         if (problem.empty())
           s.timeout = std::chrono::duration_cast<std::chrono::seconds>(value);
         return problem;
       },
       [](const collect_settings& s) {
         return s.timeout ? shown_seconds(*s.timeout)
                          : std::string("as each description says");
       }},
      {"ssh_options", "--ssh-option", "",
       "as ssh -o takes it, NAME=VALUE; repeatable", "OPT",
       [](settings_in& s, text_in& text) {
         return read_ssh_option(text, s.ssh_options);
       },
       [](const collect_settings& s) { return joined(s.ssh_options); }},
      {"user", "--user", "", "to log in as", "USER",
       [](settings_in& s, text_in& text) {
         return read_word(text, s.user, "a login name");
       },
       [](const collect_settings& s) { return s.user; }},
      {"remote_path", "--remote-path", "",
       "where Zelkara is installed on the nodes", "DIR",
       [](settings_in& s, text_in& text) {
         return read_path(text, s.remote_path);
       },
       [](const collect_settings& s) {
         return s.remote_path.empty() ? std::string("as here") : s.remote_path;
       }},
      {"address", "--address", "ZELK_ADDRESS",
       "of this machine, as the nodes reach it", "HOST",
       [](settings_in& s, text_in& text) {
         return read_word(text, s.address, "a host name or address");
       },
       [](const collect_settings& s) { return s.address; }},
      {"stagger", "--stagger", "",
       "longest random delay on a node before it begins, in seconds", "S",
       [](settings_in& s, text_in& text) {
         return read_seconds(text, 0, 86'400, s.stagger);
       },
       [](const collect_settings& s) { return shown_seconds(s.stagger); }},
      {"order", "--order", "",
       "of the nodes before they are grouped: none rotate_right rotate_left "
       "round_robin random",
       "METHOD",
       [](settings_in& s, text_in& text) { return read_order(text, s.order); },
       [](const collect_settings& s) { return shown_order(s.order); }},
      {"retry", "--retry", "", "times that a silent node is tried again", "N",
       [](settings_in& s, text_in& text) {
         return read_number(text, 0, 100, s.retry);
       },
       [](const collect_settings& s) { return std::to_string(s.retry); }},
      {"shared_directory", "--shared-directory", "ZELK_SHARED_TEMP_DIR",
       "that all nodes share; results go through it with --async", "DIR",
       [](settings_in& s, text_in& text) {
         return read_path(text, s.shared_directory);
       },
       [](const collect_settings& s) {
         return s.shared_directory.empty() ? s.output_directory
                                           : s.shared_directory;
       }},
      {"nodefile", "--nodefile", "ZELK_NODEFILE", "node file", "FILE",
       [](settings_in& s, text_in& text) {
         s.nodefile = text;
         return std::string(text.empty() ? "expected a path" : "");
       },
       [](const collect_settings& s) { return s.nodefile; }},
      {"datastore", "--db", "ZELK_DB", "sqlite:PATH", "URI",
       [](settings_in& s, text_in& text) {
         s.datastore = text;
         return std::string(text.empty() ? "expected sqlite:PATH" : "");
       },
       [](const collect_settings& s) {
         return s.datastore.empty() ? std::string("as zelk-accumulate finds it")
                                    : s.datastore;
       }},
  };
}

}  // namespace

const std::vector<setting_rule>& setting_rules() {
  static const std::vector<setting_rule> rules = make_rules();
  return rules;
}

const setting_rule* find_rule(std::string_view name) {
  for (const setting_rule& rule : setting_rules())
    if (name == rule.name) return &rule;
  return nullptr;
}

std::string apply_setting(collect_settings& settings, const setting_rule& rule,
                          const std::string& text, const std::string& where) {
  const std::string problem = rule.apply(settings, text);
  if (!problem.empty()) return problem + found_text(text);
  settings.origins[rule.name] = where;
  return "";
}

std::string apply_environment(collect_settings& settings,
                              std::string (*variable)(const char* name)) {
  for (const setting_rule& rule : setting_rules()) {
    if (*rule.variable == '\0') continue;
    const std::string text = variable(rule.variable);
    if (text.empty()) continue;
    const std::string problem =
        apply_setting(settings, rule, text, rule.variable);
    if (!problem.empty()) return std::string(rule.variable) + ": " + problem;
  }
  return "";
}

std::string none_of(const std::string& value,
                    const std::vector<std::string>& known) {
  if (std::find(known.begin(), known.end(), value) != known.end()) return "";
  return "expected one of" + (" " + joined(known)) + found_text(value) +
         str::did_you_mean(value, known);
}

}  // namespace zelk::collect
