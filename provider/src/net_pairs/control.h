// What the coordinator and its agents say to each other: lines of words.
//
//   agent        net_pairs 1 PORT                      it listens there
//   coordinator  secret HEX
//   coordinator  serve NUMBER STREAM_MS PATIENCE_MS
//   coordinator  cancel                                what it serves: nobody
//   comes coordinator  lead NUMBER PORT PINGS PING_MS STREAM_MS PATIENCE_MS
//   HOST agent        found NUMBER LATENCY FORWARD BACKWARD RETRANSMITS agent
//   served NUMBER agent        failed NUMBER REASON...
//
// A number of its own for each measurement tells late answers from right ones.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "provider/src/net_pairs/measurement.h"

namespace zelk::net_pairs {

constexpr std::string_view agent_hello = "net_pairs 1 ";
constexpr std::string_view cancel_order = "cancel";

struct lead_command {
  std::uint32_t number = 0;
  std::uint16_t port = 0;
  measure_plan how;
  milliseconds patience{0};  // from the command to the answer
  std::string host;
};

struct serve_command {
  std::uint32_t number = 0;
  milliseconds stream_time{0};
  milliseconds patience{0};
};

// What an agent answers: figures or a reason, or neither when it only served.
struct answer {
  std::uint32_t number = 0;
  std::optional<pair_figures> found;
  std::string reason;
};

// Each without its line end. Reading gives nothing for what is no such line.
std::string to_line(const lead_command& command);
std::string to_line(const serve_command& command);
std::string to_line(const answer& said);
std::optional<lead_command> read_lead(std::string_view line);
std::optional<serve_command> read_serve(std::string_view line);
std::optional<answer> read_answer(std::string_view line);
// The port.
std::optional<std::uint16_t> read_hello(std::string_view line);

// Bytes as they come, out as whole lines. Keeps the first 4 KiB of a line: what
// a login prints may be anything.
class line_buffer {
 public:
  // Returns the lines that `bytes` completed.
  std::vector<std::string> add(std::string_view bytes);

 private:
  std::string begun_;
};

}  // namespace zelk::net_pairs
