#include "provider/src/net_pairs/coordinator.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "provider/src/net_pairs/greeting.h"
#include "provider/src/net_pairs/peer.h"

namespace zelk::net_pairs {
namespace {

// waiting -> starting -> ready -> lost
//     \-----------\--------------/
enum class place { waiting, starting, ready, lost };

struct member {
  place is = place::waiting;
  std::unique_ptr<peer> process;
  std::uint16_t port = 0;
  std::string loss;
};

// A measurement on its way. Who is lost has answered, too.
struct game {
  std::uint32_t number = 0;
  pair_outcome result;
  bool first_answered = false;
  bool second_answered = false;

  bool over() const { return first_answered && second_answered; }
};

std::string in_seconds(milliseconds time) {
  return "no answer in " + std::to_string((time.count() + 999) / 1000) + " s";
}

class tournament_game {
 public:
  explicit tournament_game(const game_plan& plan)
      : plan_(plan), secret_(secret::random()), members_(plan.nodes.size()) {}

  outcome play();

 private:
  static bool in_order(const pair_outcome& a, const pair_outcome& b);
  std::size_t count(place wanted) const;
  void start_agents();
  void start(std::size_t node);
  void listen_until(clock::time_point end);
  void hear(std::size_t node);
  void welcome(std::size_t node, const std::string& line);
  void take(std::size_t node, const answer& said);
  void tell(std::size_t node, std::string_view line);
  void lose(std::size_t node, const std::string& reason);
  void play_round(const round& pairs);
  void begin(const game& one);
  void lose_the_silent();

  const game_plan& plan_;
  secret secret_;
  std::vector<member> members_;
  std::vector<game> games_;
  std::uint32_t last_number_ = 0;
  std::vector<pair_outcome> results_;
};

outcome tournament_game::play() {
  const std::vector<round> rounds = tournament(members_.size(), plan_.rounds);
  outcome all;
  for (const round& one : rounds)
    all.pairs_planned += one.size();
  start_agents();
  for (const round& one : rounds) {
    if (clock::now() + most_time_of_round(plan_) > plan_.end) break;
    play_round(one);
    ++all.rounds_played;
  }
  all.pairs = std::move(results_);
  std::sort(all.pairs.begin(), all.pairs.end(), in_order);
  for (std::size_t node = 0; node < members_.size(); ++node) {
    if (members_[node].is == place::lost)
      all.lost.push_back({node, members_[node].loss});
  }
  return all;
}

bool tournament_game::in_order(const pair_outcome& a, const pair_outcome& b) {
  return a.pair.first != b.pair.first ? a.pair.first < b.pair.first
                                      : a.pair.second < b.pair.second;
}

std::size_t tournament_game::count(place wanted) const {
  return static_cast<std::size_t>(
      std::count_if(members_.begin(), members_.end(),
                    [&](const member& one) { return one.is == wanted; }));
}

void tournament_game::start_agents() {
  // More logins at once would only wait for each other, here and at a server
  // that all nodes ask for the user.
  constexpr std::size_t at_once = 16;
  const clock::time_point end =
      std::min(plan_.end, clock::now() + plan_.start_patience);
  while (clock::now() < end &&
         count(place::waiting) + count(place::starting) > 0) {
    for (std::size_t node = 0; node < members_.size(); ++node) {
      if (members_[node].is == place::waiting &&
          count(place::starting) < at_once)
        start(node);
    }
    if (count(place::starting) > 0) listen_until(end);
  }
  for (std::size_t node = 0; node < members_.size(); ++node) {
    if (members_[node].is == place::starting ||
        members_[node].is == place::waiting)
      lose(node, in_seconds(plan_.start_patience));
  }
}

void tournament_game::start(std::size_t node) {
  try {
    members_[node].process = std::make_unique<peer>(plan_.start_command(node));
    members_[node].is = place::starting;
  } catch (const failure& error) {
    lose(node, error.what());
  }
}

// Returns after the first news, or at `end`.
void tournament_game::listen_until(clock::time_point end) {
  std::vector<pollfd> waiting;
  std::vector<std::size_t> nodes;
  for (std::size_t node = 0; node < members_.size(); ++node) {
    if (!members_[node].process) continue;
    waiting.push_back({members_[node].process->answers(), POLLIN, 0});
    waiting.push_back({members_[node].process->complaints(), POLLIN, 0});
    nodes.push_back(node);
  }
  if (::poll(waiting.data(), waiting.size(), poll_time(end)) < 0) {
    if (errno == EINTR) return;
    throw system_failure("poll", errno);
  }
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::unique_ptr<peer>& process = members_[nodes[i]].process;
    if (process && waiting[2 * i + 1].revents != 0) process->read_complaints();
    if (process && waiting[2 * i].revents != 0) hear(nodes[i]);
  }
}

void tournament_game::hear(std::size_t node) {
  bool ended = false;
  for (const std::string& line : members_[node].process->read_answers(ended)) {
    if (members_[node].is == place::starting)
      welcome(node, line);
    else if (const auto said = read_answer(line))
      take(node, *said);
  }
  if (ended && members_[node].process)
    lose(node, members_[node].process->last_words());
}

// A login may print whatever it likes before the agent's first line.
void tournament_game::welcome(std::size_t node, const std::string& line) {
  const auto port = read_hello(line);
  if (!port) return;
  members_[node].port = *port;
  members_[node].is = place::ready;
  tell(node, "secret " + secret_.hex());
}

void tournament_game::take(std::size_t node, const answer& said) {
  for (game& one : games_) {
    if (one.number != said.number) continue;
    if (one.result.pair.first == node) {
      one.first_answered = true;
      one.result.found = said.found;
      if (!said.found) one.result.reason = said.reason;
      if (!said.found && !one.second_answered)
        tell(one.result.pair.second, cancel_order);
    } else if (one.result.pair.second == node) {
      one.second_answered = true;
      if (one.result.reason.empty()) one.result.reason = said.reason;
    }
  }
}

void tournament_game::tell(std::size_t node, std::string_view line) {
  if (!members_[node].process) return;
  if (!members_[node].process->say(line))
    lose(node, members_[node].process->last_words());
}

void tournament_game::lose(std::size_t node, const std::string& reason) {
  if (members_[node].is == place::lost) return;
  members_[node].is = place::lost;
  members_[node].loss = reason;
  members_[node].process.reset();
  for (game& one : games_) {
    const pairing& pair = one.result.pair;
    if (pair.first == node || pair.second == node)
      take(node, {one.number, std::nullopt, plan_.nodes[node] + ": " + reason});
  }
}

void tournament_game::play_round(const round& pairs) {
  games_.clear();
  for (const pairing& pair : pairs) {
    if (members_[pair.first].is == place::ready &&
        members_[pair.second].is == place::ready)
      games_.push_back({++last_number_, {pair, {}, {}}});
  }
  for (const game& one : std::vector<game>(games_))
    begin(one);
  const clock::time_point end = clock::now() + most_time_of_round(plan_);
  while (clock::now() < end &&
         !std::all_of(games_.begin(), games_.end(),
                      [](const game& one) { return one.over(); }))
    listen_until(end);
  lose_the_silent();
  for (game& one : games_) {
    if (one.result.found) one.result.reason.clear();
    results_.push_back(std::move(one.result));
  }
}

void tournament_game::begin(const game& one) {
  const auto [first, second] = one.result.pair;
  const milliseconds patience = plan_.connect_patience + most_time(plan_.how);
  tell(second,
       to_line(serve_command{one.number, plan_.how.stream_time, patience}));
  tell(first, to_line(lead_command{one.number, members_[second].port, plan_.how,
                                   patience, plan_.network_name(second)}));
}

void tournament_game::lose_the_silent() {
  for (const game& one : std::vector<game>(games_)) {
    if (!one.first_answered)
      lose(one.result.pair.first, in_seconds(most_time_of_round(plan_)));
    if (!one.second_answered)
      lose(one.result.pair.second, in_seconds(most_time_of_round(plan_)));
  }
}

}  // namespace

milliseconds most_time_of_round(const game_plan& plan) {
  constexpr milliseconds on_the_way{2000};  // orders there, answers back
  return plan.connect_patience + most_time(plan.how) + on_the_way;
}

outcome play_tournament(const game_plan& plan) {
  return tournament_game(plan).play();
}

}  // namespace zelk::net_pairs
