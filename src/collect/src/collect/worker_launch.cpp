#include "src/collect/src/collect/worker_launch.h"

#include <fmt/format.h>

#include <algorithm>

namespace zelk::collect {

namespace {

constexpr char configuration_name[] = "zelk.xml";
constexpr char nodefile_name[] = "nodes";

// In the worker a lower value would hide why a provider does not run.
constexpr char worker_log_level[] = "info";

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text)
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':  // a reader of XML would make a blank or a line feed of it
        result += fmt::format("&#{};", static_cast<int>(c));
        break;
      default:
        result += c;
    }
  return result;
}

std::string path_there(const std::string& path, const worker_setup& setup) {
  const std::string below = setup.root_here + "/";
  if (setup.root_there.empty() || !path.starts_with(below)) return path;
  return setup.root_there + "/" + path.substr(below.size());
}

bool expects(const task& what, const planned_provider& provider,
             const option_set& set) {
  return std::any_of(what.expected.begin(), what.expected.end(),
                     [&](const expected_result& each) {
                       return each.provider == provider.name &&
                              each.option == set.id;
                     });
}

// A set without a time-out of its own goes by the provider's description.
std::string limit_of(const option_set& set, bool for_all) {
  if (for_all)
    return fmt::format(" timeout=\"{}\" scale=\"constant\"",
                       set.timeout.count());
  if (set.timeout_sec == 0) return "";
  return fmt::format(" timeout=\"{}\" scale=\"{}\"", set.timeout_sec,
                     set.scale);
}

std::string option_element(const option_set& set, bool one_limit_for_all) {
  std::string text =
      fmt::format("      <option id=\"{}\"{}>\n", escaped(set.id),
                  limit_of(set, one_limit_for_all));
  for (const auto& [name, value] : assignments_of(set.text))
    text += fmt::format("        <variable name=\"{}\">{}</variable>\n", name,
                        escaped(value));
  return text + "      </option>\n";
}

}  // namespace

launch make_launch(const task& what, const worker_setup& setup) {
  launch made;
  made.node = what.node;
  made.limit = what.limit;
  made.version = setup.version;
  made.environment.emplace_back("ZELK_COLLECT_LINGER",
                                std::to_string(worker_linger.count()));
  made.argv = {setup.program, "-H", what.node, "-l", worker_log_level};
  const auto add = [&](const char* option, std::string value) {
    made.argv.emplace_back(option);
    made.argv.push_back(std::move(value));
  };
  if (setup.endpoint.empty())
    made.argv.emplace_back("-A");
  else
    add("-e", setup.endpoint);
  // The messaging library speaks version 6 only when it is told to.
  if (setup.endpoint.find("//[") != setup.endpoint.npos)
    made.environment.emplace_back("ZSYS_IPV6", "1");
  if (!setup.configuration.empty()) {
    made.files.emplace_back(configuration_name, setup.configuration);
    add("-c", std::string("{files}/") + configuration_name);
  }
  if (!what.group.empty()) {
    std::string names;
    for (const std::string& name : what.group)
      names += name + "\n";
    made.files.emplace_back(nodefile_name, std::move(names));
    add("-n", std::string("{files}/") + nodefile_name);
  }
  for (const std::string& path : what.descriptions)
    add("-f", path_there(path, setup));
  return made;
}

std::string output_directory(const collect_settings& settings) {
  return settings.shared_directory.empty() ? settings.output_directory
                                           : settings.shared_directory;
}

std::string worker_configuration(const collect_settings& settings,
                                 const plan& made, const task* only) {
  const std::string directory = output_directory(settings);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<zelk>\n";
  if (!directory.empty())
    text +=
        "  <output_directory>" + escaped(directory) + "</output_directory>\n";
  text += "  <provider_options>\n";
  for (const planned_provider& provider : made.providers) {
    std::string sets;
    for (const option_set& set : provider.options)
      if (only == nullptr || expects(*only, provider, set))
        sets += option_element(set, settings.timeout.has_value());
    if (!sets.empty())
      text += fmt::format("    <provider name=\"{}\">\n{}    </provider>\n",
                          escaped(provider.stem), sets);
  }
  return text + "  </provider_options>\n</zelk>\n";
}

bool is_partial(const plan& made, const task& what) {
  for (const planned_provider& provider : made.providers) {
    const auto wanted = std::count_if(
        provider.options.begin(), provider.options.end(),
        [&](const option_set& set) { return expects(what, provider, set); });
    if (wanted > 0 &&
        static_cast<std::size_t>(wanted) != provider.options.size())
      return true;
  }
  return false;
}

// Written by shell_quoted() alone: single quotes, with each quote inside as
// '\''. A character outside of quotes that is none of these ends a value.
std::vector<std::pair<std::string, std::string>> assignments_of(
    std::string_view text) {
  std::vector<std::pair<std::string, std::string>> list;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t equals = text.find('=', at);
    if (equals == text.npos) break;
    const std::string name(text.substr(at, equals - at));
    std::string value;
    bool quoted = false;
    for (at = equals + 1; at < text.size(); ++at) {
      if (text[at] == '\'') {
        quoted = !quoted;
      } else if (quoted) {
        value += text[at];
      } else if (text[at] == '\\' && at + 1 < text.size()) {
        value += text[++at];
      } else {
        break;
      }
    }
    ++at;  // the blank behind it
    list.emplace_back(name, std::move(value));
  }
  return list;
}

}  // namespace zelk::collect
