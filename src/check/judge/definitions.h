// Check definitions: which facts are looked at, by which rule, how bad it is,
// and what an administrator should know and do. Files etc/checks/*.xml, their
// form is told by zelk-checks(5).
//
// Immutable after reading. Text is the administrator's own, not a node's.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/range.h"
#include "src/check/judgement.h"

namespace zelk::check {

enum class rule : std::uint8_t {
  differs,  // not what most of its class have
  peers,    // a number far from the median of its class
  range,    // a number out of a fixed range
  value,    // a text that is not one of those allowed
  unique,   // the same as another node's
  changed,  // not what the node had in the baseline
  growth,   // a counter that grew since the baseline
  present,  // must be there, and not empty
  absent,   // must not be there, or be empty
  none,     // not judged, unless another check has the fact's full name
};

// Which side of its peers is the bad one.
enum class side : std::uint8_t { by_better, low, high, both };

struct check_rule {
  rule kind = rule::differs;
  side direction = side::by_better;      // peers, differs
  std::optional<double> min_effect;      // peers, differs: per cent
  std::optional<double> min_difference;  // peers: in the fact's unit
  std::optional<double> z;               // peers, growth: robust z
  std::optional<std::size_t> min_peers;  // peers, differs, growth
  std::optional<range> limit;            // range: what is fine
  double growth = 0;  // growth: more than this in a day is too much
  std::optional<double> alone_growth;  // growth: so much is, whatever peers do
  // value: patterns of what is fine. differs: only against such a majority.
  std::vector<std::string> values;
  std::vector<std::string> refused;  // value: patterns of what is not fine
  std::vector<std::string> ignored;  // patterns of values that say nothing
  std::string provider;  // present: the nodes that it answers on must have it
  std::size_t min_facts = 1;  // peers: of the check's, that must agree
  double min_share = 0;       // differs: per cent of the class that must agree
};

struct check_definition {
  std::string id;                   // "stream-low"; never changes its meaning
  std::string title;                // one line
  int score = 50;                   // 0 to 100; severity_of() gives its name
  std::vector<std::string> facts;   // names or shell patterns, in their order
  std::vector<std::string> except;  // of those facts
  check_rule what;
  std::vector<std::string> causes, advice;  // NODES stands for the node set
  std::string explain;                      // paragraphs, "\n\n" between
  std::string drain_word;  // for a batch system's reason: "stream"; "": the id
  bool quick = false;      // also for --local: needs no peers, and little time
  std::string file;        // where it is written; "": built in
  long line = 0;
  std::string typed;  // of one that an option --limit made: its value
};

class check_set {
 public:
  // No definition but the built-in ones.
  check_set();

  // Reads each *.xml of the folders in order, files in byte order of their
  // names, valid against the schema file `schema`. A definition takes the place
  // of one with the same id from an earlier folder. Returns nothing after error
  // records, "file:line: what was expected", one for each fault: an id twice in
  // one folder is one, a folder that cannot be read too.
  static std::optional<check_set> read(const std::vector<std::string>& folders,
                                       const std::string& schema);

  // Returns the definition of that id, null when there is none. The built-in
  // ids (no-answer, timeout, failed, incomplete, stale) have one. The generic
  // ones, "PROVIDER-differs", have it for any PROVIDER: see generic().
  const check_definition* find(std::string_view id) const;

  // All but the generic ones, by id.
  std::vector<const check_definition*> all() const;

  // Returns the texts of "PROVIDER-differs", "-outlier", "-not-unique",
  // "-grew", "-changed" or "-state", or nothing when `id` does not end so.
  std::optional<check_definition> generic(std::string_view id) const;

  // The files read, in order.
  const std::vector<std::string>& files() const { return files_; }

  // Adds one, or replaces that of its id.
  void put(check_definition definition);

 private:
  std::vector<check_definition> checks_;  // by id
  std::vector<std::string> files_;
};

// "differs", "peers", ...
const char* name_of(rule kind);

}  // namespace zelk::check
