#include "provider/src/net_pairs/measurement.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zelk::net_pairs {
namespace {

// The first byte of a message tells whether another one follows.
constexpr char more = 'm';
constexpr char last = 'l';

// Large enough that calls cost little beside the copying, and small enough that
// a link of 10 Mbit/s carries several of them in a second.
constexpr std::size_t chunk_bytes = std::size_t{128} * 1024;

struct receipt {
  std::uint64_t bytes = 0;
  std::uint64_t nanoseconds = 0;
};

// Round trips before the caches and the scheduler are used to it do not count.
constexpr std::uint32_t warm_up = 10;

double round_trip_us(bounded_socket& partner) {
  char byte = more;
  const clock::time_point begin = clock::now();
  partner.send(&byte, 1);
  partner.receive(&byte, 1);
  return std::chrono::duration<double, std::micro>(clock::now() - begin)
      .count();
}

double median(std::vector<double>& values) {
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double measure_latency(bounded_socket& partner, const measure_plan& how) {
  const clock::time_point end = clock::now() + how.ping_time;
  std::vector<double> trips;
  for (std::uint32_t i = 0; i < warm_up + how.pings; ++i) {
    const double trip = round_trip_us(partner);
    if (i >= warm_up || clock::now() >= end) trips.push_back(trip);
    if (clock::now() >= end) break;
  }
  partner.send(&last, 1);
  return median(trips) / 2;
}

void answer_pings(bounded_socket& partner) {
  char byte = 0;
  for (partner.receive(&byte, 1); byte != last; partner.receive(&byte, 1))
    partner.send(&byte, 1);
}

void send_stream(bounded_socket& partner, milliseconds time) {
  std::vector<char> chunk(chunk_bytes, more);
  const clock::time_point end = clock::now() + time;
  while (clock::now() < end)
    partner.send(chunk.data(), chunk.size());
  chunk[0] = last;
  partner.send(chunk.data(), chunk.size());
}

// The first chunk starts the clock and does not count, unless it is alone with
// the last one.
receipt receive_stream(bounded_socket& partner) {
  std::vector<char> chunk(chunk_bytes);
  partner.receive(chunk.data(), chunk.size());
  const clock::time_point begin = clock::now();
  receipt seen;
  while (chunk[0] != last) {
    partner.receive(chunk.data(), chunk.size());
    seen.bytes += chunk.size();
  }
  seen.nanoseconds = static_cast<std::uint64_t>(
      std::chrono::nanoseconds(clock::now() - begin).count());
  return seen;
}

double mb_per_second(const receipt& seen) {
  if (seen.nanoseconds == 0) throw failure("nothing arrived");
  constexpr double per_second = 1e9 / 1e6;  // ns to s, bytes to MB
  return static_cast<double>(seen.bytes) * per_second /
         static_cast<double>(seen.nanoseconds);
}

}  // namespace

pair_figures lead_measurement(bounded_socket& partner,
                              const measure_plan& how) {
  pair_figures found;
  found.latency_us = measure_latency(partner, how);
  send_stream(partner, how.stream_time);
  receipt arrived;
  partner.receive(&arrived, sizeof arrived);
  found.forward_mb_s = mb_per_second(arrived);
  found.backward_mb_s = mb_per_second(receive_stream(partner));
  std::uint64_t theirs = 0;
  partner.receive(&theirs, sizeof theirs);
  found.retransmits = partner.retransmits() + theirs;
  return found;
}

void follow_measurement(bounded_socket& partner, milliseconds stream_time) {
  answer_pings(partner);
  const receipt arrived = receive_stream(partner);
  partner.send(&arrived, sizeof arrived);
  send_stream(partner, stream_time);
  const std::uint64_t ours = partner.retransmits();
  partner.send(&ours, sizeof ours);
}

}  // namespace zelk::net_pairs
