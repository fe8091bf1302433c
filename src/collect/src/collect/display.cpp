#include "src/collect/src/collect/display.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <set>

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds between_meters{200};
constexpr milliseconds between_looks{1000};  // for the plain lines

progress_style style_of(const collect_settings& settings) {
  return settings.quiet ? progress_style::none : settings.progress;
}

std::string count_of(std::size_t count, const std::string& what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

display::display(event_loop& loop, const collect_settings& settings,
                 const ledger& account)
    : loop_(loop),
      settings_(settings),
      ledger_(account),
      line_(style_of(settings)),
      started_(event_loop::clock::now()) {}

display::~display() {
  loop_.cancel(timer_);
}

void display::start() {
  started_ = event_loop::clock::now();
  if (style_of(settings_) != progress_style::none) tick();
}

void display::tick() {
  const progress_facts now = facts();
  if (line_.shown())
    line_.show(meter_text(now));
  else if (schedule_.due(now))
    say(plain_text(now));
  timer_ = loop_.after(line_.shown() ? between_meters : between_looks,
                       [this] { tick(); });
}

progress_facts display::facts() const {
  progress_facts now;
  now.received = ledger_.received();
  now.expected = ledger_.expected();
  now.answering = ledger_.answering();
  now.nodes = ledger_.nodes();
  now.seconds = seconds();
  if (line_.shown()) now.waiting = ledger_.slowest(event_loop::clock::now());
  return now;
}

void display::stop() {
  loop_.cancel(timer_);
  timer_ = 0;
  took_ = seconds();
  line_.clear();
}

double display::seconds() const {
  if (took_ >= 0) return took_;
  return std::chrono::duration<double>(event_loop::clock::now() - started_)
      .count();
}

void display::say(std::string_view line) const {
  if (!settings_.quiet) complain(line);
}

void display::complain(std::string_view line) {
  std::cerr << std::string(line) + "\n" << std::flush;
}

std::string head_line(const plan& made, const collect_settings& settings) {
  const auto cluster = static_cast<std::size_t>(
      std::count_if(made.providers.begin(), made.providers.end(),
                    [](const planned_provider& each) { return each.cluster; }));
  std::set<std::string> subclusters;
  for (const selected_node& node : made.nodes)
    if (!node.subcluster.empty()) subclusters.insert(node.subcluster);
  std::string text = count_of(made.nodes.size(), "node");
  if (subclusters.size() > 1)
    text += " in " + count_of(subclusters.size(), "subcluster");
  text += ", " + count_of(made.providers.size(), "provider");
  if (cluster > 0)
    text += fmt::format(" ({} single-node, {} cluster)",
                        made.providers.size() - cluster, cluster);
  text += ", launcher " + settings.launcher;
  if (settings.launcher != "local")
    text += fmt::format(", fanout {}", settings.fanout);
  if (made.seed) text += fmt::format(", seed {}", *made.seed);
  return text;
}

}  // namespace zelk::collect
