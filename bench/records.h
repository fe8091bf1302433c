// Provider results for benchmarks: distinct, repeatable, as a site's are.

#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "src/collect/src/provider/result.h"

namespace zelk::bench {

// Printable text without repetitions, of `seed`.
inline std::string text_of(std::size_t size, std::uint64_t seed) {
  std::string text(size, ' ');
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ULL + 1;
  for (char& c : text) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    c = static_cast<char>(' ' + state % 95);
  }
  return text;
}

template <std::size_t N>
void put(char (&field)[N], const std::string& text) {
  std::memcpy(field, text.data(), std::min(N - 1, text.size()));
}

// The record number `i` of `hosts` hosts and ten providers. Hosts take turns,
// as they do when all of them answer at once.
inline provider_result record_of(std::uint64_t i, std::uint64_t hosts,
                                 const std::string& output) {
  provider_result record;
  record.header.api = 1;
  put(record.header.hostname, "node" + std::to_string(10000 + i % hosts));
  put(record.header.name, "provider" + std::to_string(i / hosts % 10));
  put(record.header.option_id, "None");
  put(record.header.username, "root");
  record.header.timestamp_sec =
      static_cast<std::int64_t>(1760000000 + i / 5000);
  record.header.timestamp_usec = static_cast<std::int64_t>(i * 7919 % 1000000);
  record.header.duration = 0.25 + static_cast<double>(i % 100) / 7;
  record.header.num_nodes = 1;
  record.header.version = 1;
  record.nodes_csv = std::string(field_text(record.header.hostname));
  record.header.nodes_csv_size =
      static_cast<std::int64_t>(record.nodes_csv.size());
  record.stdout.append(output);
  record.header.stdout_size = static_cast<std::int64_t>(output.size());
  return record;
}

}  // namespace zelk::bench
