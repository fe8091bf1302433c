// How memory stays bounded while ten thousand peers push.
//
// A record is reserved in the memory budget as a whole when its header is
// known. One that does not fit leaves its peer waiting: the peer is not read
// any more, the kernel's buffers fill up, and the sender is slowed down by TCP
// itself. Waiting peers are served first come, first served, so a large record
// is not overtaken for ever by small ones. Nobody can wait for somebody who
// waits: a record that was begun has all its memory.
//
// Before memory is short, the number of records that wait for the store limits
// what is read: peers as a whole are not looked at until half of them are
// stored.
//
// Reading goes on in one of two ways. With plenty of memory left, as much as
// the scratch buffer holds is read at once: every record in it is certain to
// fit, and so is the one whose beginning is in it. Otherwise exactly what the
// stream wants next is read, so that bytes behind a header that must wait stay
// in the kernel and need no place here.

#include "src/collect/src/accumulate/receiver.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <thread>
#include <utility>

#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/receiver";

constexpr std::size_t scratch_size = std::size_t{64} * 1024;  // bytes
constexpr int events_at_once = 256;
constexpr int accepts_at_once = 1024;
// One peer's turn while bytes are read exactly, so that others get theirs.
constexpr int pieces_at_once = 64;

// A sender that is slower than we are would wake us for each record, and the
// waking costs more than the record. Little is waited for, so that more comes
// at once.
constexpr std::chrono::microseconds gather_time{250};

// Who holds memory that others wait for has to fill it at this pace.
constexpr std::uint64_t least_pace =
    std::uint64_t{64} * 1024;            // bytes a second
constexpr int slow_sweeps_allowed = 10;  // seconds

// What the records in one scratch buffer can need, when all of them are as
// small as can be and has two blocks of a few bytes.
constexpr std::size_t scratch_need =
    (scratch_size / sizeof(provider_result_header) + 2) *
    (record_overhead + 2 * least_block);

void warn(const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << text;
}

std::string what_happened(refusal kind) {
  switch (kind) {
    case refusal::malformed:
    case refusal::oversize:
      return "Refused a message from ";
    case refusal::garbage:
    case refusal::silent:
      return "Refused a connection from ";
    case refusal::cut_off:
      return "Lost a message from ";
    case refusal::too_slow:
    case refusal::unreachable:
      break;
  }
  return "Closed the connection of ";
}

void add_to(int epoll, int fd, std::uint32_t events = EPOLLIN) {
  epoll_event event = {};
  event.events = events;
  event.data.fd = fd;
  ::epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

bool is_temporary(int code) {
  return code == EAGAIN || code == EWOULDBLOCK || code == EINTR;
}

}  // namespace

receiver::receiver(const receiver_limits& limits, memory_budget& budget,
                   int wake, hand_over& onward, tally_board& board,
                   refusal_log& refusals)
    : limits_(limits),
      budget_(budget),
      wake_(wake),
      onward_(onward),
      board_(board),
      refusals_(refusals),
      control_(::epoll_create1(EPOLL_CLOEXEC)),
      peers_(::epoll_create1(EPOLL_CLOEXEC)),
      scratch_(scratch_size),
      swept_at_(clock::now()) {
  watch(wake);
  watch(peers_.get());
}

receiver::~receiver() {
  close_all();
  for (const listener& one : listeners_)
    if (!one.socket.path.empty()) ::unlink(one.socket.path.c_str());
}

void receiver::watch(int fd, std::uint32_t events) {
  add_to(control_.get(), fd, events);
}

void receiver::unwatch(int fd) {
  ::epoll_ctl(control_.get(), EPOLL_CTL_DEL, fd, nullptr);
}

void receiver::watch_peer(int fd) const {
  add_to(peers_.get(), fd);
}

bool receiver::listen(const std::string& endpoint) {
  bind_result bound = bind_endpoint(endpoint, limits_.backlog);
  if (!bound.problem.empty()) {
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << bound.problem;
    return false;
  }
  for (listening_socket& socket : bound.sockets) {
    watch(socket.fd.get());
    listeners_.push_back({std::move(socket)});
  }
  return true;
}

std::vector<std::string> receiver::endpoints() const {
  std::vector<std::string> names;
  for (const listener& one : listeners_)
    names.push_back(one.socket.endpoint);
  return names;
}

bool receiver::turn(std::chrono::milliseconds limit) {
  // The wake-up, the peers, listeners, and what the caller watches.
  constexpr int most = 8;
  epoll_event events[most];
  const std::uint64_t before = bytes_;
  const int count = ::epoll_wait(control_.get(), events, most,
                                 static_cast<int>(limit.count()));
  for (int i = 0; i < count; ++i) {
    const int fd = events[i].data.fd;
    if (listener* from = listener_of(fd)) accept_some(*from, accepts_at_once);
    if (fd == wake_) serve_waiting();
    if (fd == peers_.get()) read_peers();
  }
  if (!batch_.empty()) {
    tally change;
    change.received = change.pending = batch_.size();
    for (const std::unique_ptr<arrival>& one : batch_)
      change.pending_bytes += one->charge;
    board_.add(change);
    onward_.put(batch_);
  }
  hold_back();
  if (clock::now() - swept_at_ >= std::chrono::seconds(1)) sweep();
  if (bytes_ == before) return false;
  if (bytes_ - before < scratch_size) std::this_thread::sleep_for(gather_time);
  return true;
}

// Whether peers are read depends on how many records wait to be stored. New
// ones are accepted: a full queue would make them wait for seconds.
void receiver::hold_back() {
  const tally now = board_.now();
  const auto reached = [&](std::size_t part) {
    return now.pending >= limits_.most_waiting / part ||
           now.pending_bytes >= limits_.most_waiting_bytes / part;
  };
  if (holding_back_ && !reached(2)) return go_on_reading();
  if (holding_back_ || !reached(1)) return;
  holding_back_ = true;
  ::epoll_ctl(control_.get(), EPOLL_CTL_DEL, peers_.get(), nullptr);
}

// Peers were not heard because nobody listened.
void receiver::go_on_reading() {
  holding_back_ = false;
  watch(peers_.get());
  const clock::time_point now = clock::now();
  for (const std::unique_ptr<connection>& peer : table_)
    if (peer) peer->heard_at = peer->connected_at = now;
}

// As many as are accepted in a turn: peers that come and go do not pile up.
void receiver::read_peers() {
  epoll_event events[events_at_once];
  int count = events_at_once;
  for (int i = 0; count == events_at_once && i < accepts_at_once; i += count) {
    count = ::epoll_wait(peers_.get(), events, events_at_once, 0);
    for (int k = 0; k < count; ++k)
      on_event(events[k].data.fd, events[k].events);
  }
}

void receiver::on_event(int fd, std::uint32_t events) {
  const auto index = static_cast<std::size_t>(fd);
  // Gone by what an earlier event of this turn did.
  if (index >= table_.size() || !table_[index]) return;
  connection& peer = *table_[index];
  if ((events & EPOLLOUT) != 0) answer(peer);
  if ((events & ~std::uint32_t{EPOLLOUT}) != 0 && !peer.waiting) read(peer);
}

receiver::listener* receiver::listener_of(int fd) {
  for (listener& one : listeners_)
    if (one.socket.fd.get() == fd) return &one;
  return nullptr;
}

void receiver::accept_some(listener& from, int most) {
  for (int i = 0; i < most && !from.paused; ++i) {
    if (count_ >= limits_.most_connections)
      return pause_accepting("as many as this process may open files for");
    const int fd = ::accept4(from.socket.fd.get(), nullptr, nullptr,
                             SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
      accept_one(fd);
      continue;
    }
    const int code = errno;
    if (is_temporary(code)) return;
    // Others concern one connection only, which is gone already.
    if (code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM)
      return pause_accepting(util::errno_text(code));
  }
}

void receiver::accept_one(int fd) {
  auto peer = std::make_unique<connection>(util::unique_fd(fd), ++serial_,
                                           limits_.max_record, budget_);
  const auto index = static_cast<std::size_t>(fd);
  if (index >= table_.size()) table_.resize(std::max(index + 1, index * 2));
  table_[index] = std::move(peer);
  ++count_;
  watch_peer(fd);
  answer(*table_[index]);
}

// A descriptor that is readable and not accepted would make every turn end at
// once, so it is not looked at until there is room again.
void receiver::pause_accepting(const std::string& why) {
  for (listener& one : listeners_) {
    if (!one.paused) unwatch(one.socket.fd.get());
    one.paused = true;
  }
  if (!std::exchange(capacity_told_, true))
    warn(std::to_string(count_) + " peers are connected, " + why +
         "; further ones have to wait");
}

void receiver::resume_accepting() {
  for (listener& one : listeners_)
    if (std::exchange(one.paused, false)) watch(one.socket.fd.get());
}

void receiver::read(connection& peer) {
  for (int i = 0; i < pieces_at_once; ++i) {
    const bool exactly = !plenty_of_memory();
    std::string_view rest;
    const ssize_t got =
        peer.receive(scratch_.data(), scratch_.size(), exactly, rest);
    if (got < 0 && is_temporary(errno)) return;
    if (got <= 0) return end_of_stream(peer, got < 0 ? errno : 0);

    bytes_ += static_cast<std::uint64_t>(got);
    peer.bytes += static_cast<std::uint64_t>(got);
    peer.heard_at = clock::now();
    peer.pinged = false;
    const std::uint64_t serial = peer.serial();
    const auto index = static_cast<std::size_t>(peer.fd());
    go_on(peer, peer.last_state(), rest);
    // Cut off by what it sent, or waiting; or it has had enough for one turn.
    if (!table_[index] || table_[index]->serial() != serial) return;
    if (peer.waiting || !exactly) return;
  }
}

// Feeds `rest` to the peer's stream, which is in the state `now`.
void receiver::go_on(connection& peer, zmtp_stream::state now,
                     std::string_view rest) {
  const bool was_established = peer.stream().established();
  if (now == zmtp_stream::state::reading) now = peer.stream().feed(rest);
  while (now == zmtp_stream::state::message) {
    take_message(peer);
    now = peer.stream().feed(rest);
  }
  if (peer.stream().established() && !was_established) ++established_;
  if (now == zmtp_stream::state::broken) {
    refuse(peer, peer.stream().kind(), peer.stream().fault());
    return drop(peer);
  }
  if (now == zmtp_stream::state::waiting) {
    assert(rest.empty());
    wait_for_memory(peer);
  }
  answer(peer);
}

void receiver::take_message(connection& peer) {
  record_assembler& assembler = peer.stream().assembler();
  if (std::unique_ptr<arrival> record = assembler.take()) {
    record->peer = peer.name();
    batch_.push_back(std::move(record));
    return;
  }
  refuse(peer, assembler.kind(), assembler.fault());
  assembler.reset();
}

void receiver::wait_for_memory(connection& peer) {
  if (std::exchange(peer.waiting, true)) return;
  ::epoll_ctl(peers_.get(), EPOLL_CTL_DEL, peer.fd(), nullptr);
  queue_.push_back({peer.fd(), peer.serial()});
}

void receiver::serve_waiting() {
  std::uint64_t drained = 0;
  while (::read(wake_, &drained, sizeof drained) > 0) {
  }
  while (!queue_.empty()) {
    const place first = queue_.front();
    connection* peer = table_[static_cast<std::size_t>(first.fd)].get();
    if (peer == nullptr || peer->serial() != first.serial) {
      queue_.pop_front();
      continue;
    }
    std::string_view nothing;
    const zmtp_stream::state now = peer->stream().feed(nothing);
    if (now == zmtp_stream::state::waiting) return;
    queue_.pop_front();
    peer->waiting = false;
    watch_peer(peer->fd());
    go_on(*peer, now, nothing);
  }
}

// Requires: no more bytes will come. `code` is errno's, or 0 for a farewell.
void receiver::end_of_stream(connection& peer, int code) {
  const zmtp_stream& stream = peer.stream();
  if (!stream.established()) {
    refuse(peer, refusal::silent, "it went away without an introduction");
  } else if (!stream.between_messages()) {
    std::string what =
        "the connection ended in the middle of a record, after " +
        stream.assembler().how_far();
    if (code != 0) what += " " + util::errno_text(code);
    refuse(peer, refusal::cut_off, what);
  }
  drop(peer);
}

void receiver::drop(connection& peer) {
  if (peer.stream().established()) --established_;
  --count_;
  table_[static_cast<std::size_t>(peer.fd())].reset();
  if (count_ < limits_.most_connections / 2) capacity_told_ = false;
  resume_accepting();
}

void receiver::refuse(const connection& peer, refusal kind,
                      const std::string& what) {
  const std::string whose = peer.stream().assembler().whose();
  const std::string who =
      *peer.name() + (whose.empty() ? "" : " (" + whose + ")");
  const bool named =
      refusals_.add(kind, peer.host(), what_happened(kind) + who + ": " + what);
  if (named && on_refusal_) on_refusal_(who, what);
}

void receiver::answer(connection& peer) {
  const bool sent = peer.send_replies();
  if (peer.wants_to_send == !sent) return;
  peer.wants_to_send = !sent;
  if (!peer.waiting) change_events(peer);
}

void receiver::change_events(const connection& peer) const {
  epoll_event event = {};
  event.events = EPOLLIN;
  if (peer.wants_to_send) event.events |= EPOLLOUT;
  event.data.fd = peer.fd();
  ::epoll_ctl(peers_.get(), EPOLL_CTL_MOD, peer.fd(), &event);
}

bool receiver::plenty_of_memory() const {
  return queue_.empty() &&
         budget_.left() >= limits_.max_record + record_overhead + scratch_need;
}

// Once a second: who has been silent for too long, and who is too slow.
void receiver::sweep() {
  swept_at_ = clock::now();
  refusals_.settle(swept_at_);
  if (holding_back_) return;
  for (std::size_t i = 0; i < table_.size(); ++i)
    if (table_[i]) look_after(*table_[i], swept_at_);
  resume_accepting();
}

void receiver::look_after(connection& peer, clock::time_point now) {
  const zmtp_stream& stream = peer.stream();
  const std::uint64_t progress =
      peer.bytes - std::exchange(peer.bytes_then, peer.bytes);
  if (!stream.established()) {
    if (now - peer.connected_at < limits_.handshake) return;
    refuse(peer, refusal::silent,
           "no introduction within " +
               std::to_string(limits_.handshake.count()) + " s");
    return drop(peer);
  }
  // We read nothing of a peer that waits; its silence is ours.
  if (peer.waiting) {
    peer.heard_at = now;
    return;
  }
  const bool slow =
      !queue_.empty() && stream.assembler().held() > 0 && progress < least_pace;
  peer.slow_sweeps = slow ? peer.slow_sweeps + 1 : 0;
  if (peer.slow_sweeps > slow_sweeps_allowed) {
    refuse(peer, refusal::too_slow,
           "others wait for the memory of its record, and it sends less than " +
               std::to_string(least_pace) + " bytes a second");
    return drop(peer);
  }
  if (now - peer.heard_at < limits_.heartbeat) return;
  if (!peer.pinged) {
    peer.pinged = true;
    peer.pinged_at = now;
    peer.stream().ping();
    return answer(peer);
  }
  if (now - peer.pinged_at < limits_.heartbeat) return;
  refuse(peer, refusal::unreachable,
         "no sign of life for " +
             std::to_string(2 * limits_.heartbeat.count()) + " s");
  drop(peer);
}

void receiver::stop_accepting() {
  for (listener& one : listeners_) {
    one.paused = false;
    while (count_ < limits_.most_connections) {
      const int fd = ::accept4(one.socket.fd.get(), nullptr, nullptr,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (fd < 0) break;
      accept_one(fd);
    }
    if (!one.socket.path.empty()) ::unlink(one.socket.path.c_str());
  }
  listeners_.clear();
}

void receiver::ask_peers_to_stop() {
  for (const std::unique_ptr<connection>& peer : table_)
    if (peer) peer->ask_to_stop();
}

std::size_t receiver::close_all() {
  const std::size_t left = count_;
  for (const std::unique_ptr<connection>& peer : table_) {
    if (!peer) continue;
    if (!peer->stream().between_messages() && peer->stream().established())
      refuse(*peer, refusal::cut_off,
             "it had not sent all of a record, " +
                 peer->stream().assembler().how_far());
    drop(*peer);
  }
  return left;
}

bool receiver::between_messages() const {
  return queue_.empty() && !holding_back_ &&
         std::all_of(table_.begin(), table_.end(), [](const auto& peer) {
           return !peer || !peer->stream().established() ||
                  peer->stream().between_messages();
         });
}

}  // namespace zelk::accumulate
