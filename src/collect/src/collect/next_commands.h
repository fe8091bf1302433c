// The commands that a summary proposes: to be copied and run as they are.
//
// Pure text.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct next_command {
  std::string command;
  std::string purpose;

  friend bool operator==(const next_command&, const next_command&) = default;
};

struct next_facts {
  std::optional<std::int64_t> run;
  std::vector<std::string> lacking;  // nodes that something is missing of
  std::vector<shortfall_row> rows;
  bool can_judge = false;  // zelk-check is installed
  bool anything = false;   // at least one result has come
};

std::vector<next_command> next_commands(const collect_settings& settings,
                                        const next_facts& facts);

// `word` as a shell takes it back: as it is, or in single quotes.
std::string shell_word(std::string_view word);

// The words of this collection that say what runs and how, as they were typed;
// not where, and not what becomes of it.
std::string same_again(const collect_settings& settings);

}  // namespace zelk::collect
