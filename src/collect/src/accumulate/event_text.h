// What an accumulator tells its collector: one line, one JSON object each.
//
//   {"event":"run","run":412}
//   {"event":"result","node":"n1","provider":"memory","option":"None",
//    "hostname":"node1.cluster","exit_status":0,"duration":1.2,"bytes":345}
//   {"event":"refused","peer":"...","reason":"..."}
//   {"event":"closed","run":412,"state":"partial","results":9,"nodes":3,
//    "missing_count":1,"missing":[{"node":...,"provider":...,"option":...,
//    "reason":...}]}
//
// Pure text, ASCII and without a line end whatever the network sent.

#pragma once

#include <cstdint>
#include <string>

#include "src/collect/src/accumulate/store_writer.h"
#include "src/collect/src/provider/result.h"

namespace zelk::accumulate {

std::string run_event(std::int64_t run);
// Its node is the text of the worker's -H, or the host's name without one.
std::string result_event(const provider_result& record);
std::string refused_event(const std::string& peer, const std::string& reason);
// Each missing result once, with the reason of its node where it has none; a
// node itself (no provider) where nothing of it is named. Lists the first
// thousand, and counts all.
std::string closed_event(const run_report& report);

}  // namespace zelk::accumulate
