// A peer's byte stream from a stranger: whatever comes, in whatever pieces,
// the memory budget is kept and given back, and what the stream hands over is a
// record whose blocks are as long as its header says.
//
// Input: the size of the pieces (one byte, 0: all at once), then the stream.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "src/collect/src/accumulate/zmtp_stream.h"
#include "src/common/log/settings.h"

namespace {

using zelk::accumulate::memory_budget;
using zelk::accumulate::zmtp_stream;

constexpr std::size_t max_record = std::size_t{1} << 16;

void require(bool condition) {
  if (!condition) std::abort();
}

// Gives a complete message back to the budget, whole or refused.
void take_message(zmtp_stream& stream, memory_budget& budget) {
  if (const auto record = stream.assembler().take()) {
    const zelk::provider_result& result = record->record;
    require(result.stdout.view().size() + result.stderr.view().size() +
                result.nodes_csv.size() <=
            max_record);
    require(record->charge <= budget.held());
    budget.release(record->charge);
  } else {
    require(!stream.assembler().fault().empty());
  }
  stream.assembler().reset();
}

// Returns whether the stream can go on.
bool feed(zmtp_stream& stream, memory_budget& budget, std::string_view piece) {
  zmtp_stream::state now = stream.feed(piece);
  while (now == zmtp_stream::state::message) {
    take_message(stream, budget);
    now = stream.feed(piece);
  }
  require(budget.held() <= budget.limit());
  if (now == zmtp_stream::state::reading) require(piece.empty());
  if (now == zmtp_stream::state::broken) require(!stream.fault().empty());
  stream.take_replies();
  return now == zmtp_stream::state::reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::log::LOG_LEVEL = 0;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  if (input.empty()) return 0;
  const std::size_t wanted = static_cast<unsigned char>(input.front());
  const std::size_t piece = wanted == 0 ? input.size() : wanted;
  input.remove_prefix(1);

  memory_budget budget(std::size_t{1} << 18);
  {
    zmtp_stream stream(max_record, budget);
    while (!input.empty() && feed(stream, budget, input.substr(0, piece)))
      input.remove_prefix(std::min(piece, input.size()));
  }
  require(budget.held() == 0);
  return 0;
}
