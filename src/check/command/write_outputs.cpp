#include "src/check/command/write_outputs.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <system_error>

#include "src/check/command/file_hashes.h"
#include "src/check/command/output_file.h"
#include "src/check/command/page_viewer.h"
#include "src/check/command/terminal.h"
#include "src/check/input/error_output.h"
#include "src/check/input/node_notes.h"
#include "src/check/report/ascii_text.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/names/version.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/nearest_word.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

using reading::refusal;

constexpr std::size_t rows_on_terminal = 20;
constexpr std::size_t longest_logo = std::size_t{64} << 10;  // bytes
constexpr char usual_figure[] = "heatmap";

bool is_standard_output(const output_place& place) {
  return place.path == "-";
}

output_form form_of(const output_place& place) {
  return place.form.value_or(output_form{});
}

std::string own_host() {
  char name[256] = {};
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string own_user() {
  const passwd* entry = ::getpwuid(::geteuid());
  return entry == nullptr ? "" : entry->pw_name;
}

page_logo read_logo(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  page_logo logo;
  logo.bytes.assign(std::istreambuf_iterator<char>(in), {});
  if (!in && logo.bytes.empty())
    throw refusal("--logo: unable to read '" + path + "'");
  if (logo.bytes.size() > longest_logo)
    throw refusal(
        "--logo: expected at most 64 KiB; found " +
        text::size_text(static_cast<std::int64_t>(logo.bytes.size())));
  const bool is_png = logo.bytes.starts_with("\x89PNG");
  if (!is_png && logo.bytes.find("<svg") == logo.bytes.npos)
    throw refusal("--logo: expected an SVG or a PNG in '" + path + "'");
  logo.media_type = is_png ? "image/png" : "image/svg+xml";
  return logo;
}

std::string shell_word(const std::string& word) {
  constexpr std::string_view harmless =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
      "@%_+=:,./-";
  return word.find_first_not_of(harmless) == word.npos
             ? word
             : preproc::shell_quoted(word);
}

class typed_words {
 public:
  void add(const std::string& option, const std::string& value) {
    text_ += (text_.empty() ? "" : " ") + option + " " + shell_word(value);
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

void add_datastore(const check_settings& settings, typed_words& words) {
  if (settings.config_typed) words.add("-c", settings.config_file);
  if (!settings.datastore.empty()) words.add("--db", settings.datastore);
}

// What was typed to say which datastore it is.
std::string same_datastore(const check_settings& settings) {
  typed_words words;
  add_datastore(settings, words);
  return words.text();
}

// What was typed to say what is judged by what: without it the next command
// would tell of something else.
void add_rules(const check_settings& settings, typed_words& words) {
  if (settings.nodefile_typed) words.add("-n", settings.nodefile);
  for (std::size_t i = 1; i < settings.checks_folders.size(); ++i)
    words.add("--checks", settings.checks_folders[i]);
  if (settings.descriptions != settings.install_root + "/etc/providers")
    words.add("--descriptions", settings.descriptions);
  for (const class_override& each : settings.classes)
    words.add("--class", each.name + "=" + each.nodes);
  for (const std::string& limit : settings.limits)
    words.add("--limit", limit);
  for (const std::string& check : settings.judge.skip)
    words.add("--skip", check);
  const judge_options usual;
  const judge_options& judge = settings.judge;
  if (judge.by != usual.by) words.add("--peers", name_of(judge.by));
  if (judge.min_peers != usual.min_peers)
    words.add("--min-peers", std::to_string(judge.min_peers));
  if (judge.z != usual.z) words.add("--z", fmt::format("{}", judge.z));
  if (judge.min_effect != usual.min_effect)
    words.add("--min-effect", fmt::format("{}", judge.min_effect));
}

// What was typed to say which run it is, and how it is judged.
std::string same_run(const check_settings& settings) {
  typed_words words;
  const auto add = [&](const std::string& option, const std::string& value) {
    words.add(option, value);
  };
  if (settings.run != "latest") add("--run", settings.run);
  add_datastore(settings, words);
  if (!settings.baseline.empty()) add("--baseline", settings.baseline);
  if (settings.max_age_usec)
    add("--max-age",
        std::to_string(*settings.max_age_usec / text::usec_per_sec) + "s");
  for (const std::string& nodes : settings.nodes)
    add("-w", nodes);
  for (const std::string& nodes : settings.excluded)
    add("-x", nodes);
  add_rules(settings, words);
  return words.text();
}

constexpr char figure_of_fact[] = "dist:";

// There are as many pictures as facts: named are those near what was typed.
std::string figure_problem(const std::string& name,
                           const std::vector<std::string>& known) {
  std::string named;
  std::size_t of_facts = 0;
  for (const std::string& each : known)
    if (each.starts_with(figure_of_fact))
      ++of_facts;
    else
      named += " " + each;
  if (of_facts > 0)
    named += ", and dist:FACT of " + std::to_string(of_facts) +
             " facts: 'zelk-check --json' lists them as distributions";
  return "--figure: there is no picture '" + name + "'" +
         str::did_you_mean(name, known) + "; there are" + named;
}

class output_writer {
 public:
  output_writer(const check_settings& settings, const judged_run& judged)
      : settings_(settings), judged_(judged) {}

  void write(const output_place& place);

 private:
  void write_to(std::ostream& out, const output_place& place);
  void write_page_to(std::ostream& out, const output_place& place);
  void write_figure(std::ostream& out);
  void write_assets() const;
  page_options page_options_for(const output_place& place);
  std::string assets_from(const std::string& page) const;
  void tell_page(const output_place& place, const page_result& written) const;

  const check_settings& settings_;
  const judged_run& judged_;
  std::unique_ptr<error_output> errors_;
};

std::string size_words(std::size_t bytes) {
  return text::size_text(static_cast<std::int64_t>(bytes));
}

// How a page at `page` finds the folder of its assets.
std::string output_writer::assets_from(const std::string& page) const {
  const std::filesystem::path folder =
      std::filesystem::absolute(page).parent_path();
  return std::filesystem::absolute(settings_.assets)
      .lexically_normal()
      .lexically_relative(folder.lexically_normal())
      .string();
}

page_options output_writer::page_options_for(const output_place& place) {
  page_options page = settings_.page;
  if (!settings_.logo.empty()) page.logo = read_logo(settings_.logo);
  if (!settings_.assets.empty()) page.assets = assets_from(place.path);
  page.host = own_host();
  page.user = own_user();
  page.program_version = product_version();
  page.command_line = settings_.command_line;
  page.configuration = settings_.config_file;
  page.datastore = judged_.path;
  page.same_datastore = same_datastore(settings_);
  if (!settings_.nodefile.empty()) {
    const node::Nodelist list = read_nodefile(settings_.nodefile);
    for (const node::node_entry& each : list.nodes())
      page.node_order.push_back(each.name);
  }
  std::vector<std::string> files = {settings_.config_file, settings_.nodefile};
  files.insert(files.end(), judged_.what.with.definition_files.begin(),
               judged_.what.with.definition_files.end());
  page.file_hashes = file_hashes(files);
  page.json = [this](const judgement& what, std::ostream& out) {
    report_options json = report_options_for(settings_, false);
    json.form = report_form::json;
    write_report(what, json, out);
  };
  errors_ =
      std::make_unique<error_output>(*judged_.base, judged_.run.run.number);
  page.error_output = [this](const std::string& node,
                             const std::string& column) {
    return errors_->of(node, column);
  };
  return page;
}

void output_writer::tell_page(const output_place& place,
                              const page_result& written) const {
  if (!written.fits)
    std::cerr << program_name << ": " << text::visible_text(place.path)
              << ": --max-size " << size_words(settings_.page.max_size)
              << " cannot be kept to: the least page has "
              << size_words(written.bytes) << '\n';
  if (settings_.quiet || is_standard_output(place)) return;
  const auto count = [](std::size_t number) {
    return static_cast<std::int64_t>(number);
  };
  const judgement& what = judged_.what;
  std::cerr << fmt::format(
      "{}  {}, {}, {}, {}\n", text::visible_text(place.path),
      text::size_text(count(written.bytes)),
      text::counted(count(what.nodes.size()), "node"),
      text::counted(count(what.findings.size()), "finding"),
      settings_.assets.empty() ? "self-contained"
                               : "style and script beside it");
  for (const std::string& each : written.left_out)
    std::cerr << "  left out: " << text::visible_text(each) << '\n';
}

void output_writer::write_assets() const {
  std::error_code error;
  std::filesystem::create_directories(settings_.assets, error);
  for (const auto& [name, content] : page_assets()) {
    output_file file(settings_.assets + "/" + name);
    file.stream() << content;
    file.keep();
  }
}

void output_writer::write_page_to(std::ostream& out,
                                  const output_place& place) {
  const page_options options = page_options_for(place);
  if (!settings_.assets.empty()) write_assets();
  tell_page(place, write_page(judged_.what, options, out));
}

void output_writer::write_figure(std::ostream& out) {
  const std::string name =
      settings_.figure.empty() ? usual_figure : settings_.figure;
  const std::optional<std::string> drawn =
      page_figure(judged_.what, settings_.page, name);
  if (!drawn)
    throw refusal(figure_problem(name, page_figure_names(judged_.what)));
  out << *drawn;
}

void output_writer::write_to(std::ostream& out, const output_place& place) {
  const output_form form = form_of(place);
  if (form.what == document::page) return write_page_to(out, place);
  if (form.what == document::figure) return write_figure(out);
  report_options options =
      report_options_for(settings_, is_standard_output(place));
  options.form = form.report;
  if (settings_.what == action::drain_commands)
    return write_as_text(options, out, [&](std::ostream& text) {
      write_drain_commands(judged_.what, options, text);
    });
  write_report(judged_.what, options, out);
  const std::size_t left_out = names_left_out(judged_.what, options);
  if (options.form == report_form::nodes && left_out > 0)
    std::cerr << program_name << ": "
              << text::counted(static_cast<std::int64_t>(left_out), "name")
              << " that no command can take left out\n";
}

void output_writer::write(const output_place& place) {
  if (is_standard_output(place)) return write_to(std::cout, place);
  output_file file(place.path);
  write_to(file.stream(), place);
  file.keep();
}

}  // namespace

report_options report_options_for(const check_settings& settings,
                                  bool to_standard_output) {
  report_options options = settings.report;
  const bool terminal = to_standard_output && on_terminal();
  options.colour = wants_colour(settings.color, terminal);
  options.utf8 = !settings.ascii && locale_is_utf8();
  options.ascii = settings.ascii;
  options.width = terminal ? terminal_width() : 0;
  options.limit_rows =
      settings.limit_rows.value_or(terminal ? rows_on_terminal : 0);
  if (terminal && !settings.limit_rows) options.height = terminal_height();
  options.version = product_version();
  options.same_run = same_run(settings);
  options.same_datastore = same_datastore(settings);
  return options;
}

void write_as_text(const report_options& options, std::ostream& out,
                   const std::function<void(std::ostream&)>& write) {
  if (options.utf8) return write(out);
  std::ostringstream text;
  write(text);
  out << ascii_text(text.str());
}

void check_outputs(const check_settings& settings) {
  const bool markup = std::any_of(
      settings.outputs.begin(), settings.outputs.end(), [](const auto& each) {
        return is_standard_output(each) &&
               form_of(each).what != document::report;
      });
  if (markup && on_terminal())
    throw refusal("a terminal cannot show a page; -o FILE writes it to a file");
}

// Files first: standard output may be closed while it is written to.
void write_outputs(const check_settings& settings, const judged_run& judged) {
  output_writer writer(settings, judged);
  for (const bool to_standard_output : {false, true})
    for (const output_place& place : settings.outputs)
      if (is_standard_output(place) == to_standard_output) writer.write(place);
}

// Nobody's status depends on whether there is a screen: the page is written.
void show_page(const check_settings& settings) {
  if (!settings.open) return;
  constexpr std::chrono::seconds patience{2};
  std::cout.flush();
  const output_place page = *settings.page_file();
  const std::string problem = open_page(page.path, patience);
  if (!problem.empty())
    std::cerr << program_name << ": --open: " << problem << "; the page is "
              << text::visible_text(page.path) << '\n';
}

}  // namespace zelk::check
