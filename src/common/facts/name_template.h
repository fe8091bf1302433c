// The name of a fact with the places that a match fills: "net.{1}.mtu".

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::facts {

// Where the text of a place comes from.
struct group_source {
  enum class side { from, pattern };
  side where = side::from;
  std::size_t group = 0;  // its number there, from 1
};

class name_template {
 public:
  // One place as written, without its braces: "1" or "word".
  struct place {
    std::string written;
    std::string before;  // the text in front of it
    group_source source;
  };

  name_template() = default;
  // Requires: `written` is valid against the schema. The sources of the places
  // are the caller's to fill in.
  explicit name_template(std::string_view written);

  bool fixed() const { return places_.empty(); }
  std::vector<place>& places() { return places_; }
  const std::vector<place>& places() const { return places_; }

  // Returns the highest group used of that side, 0 for none.
  std::size_t groups_of(group_source::side side) const;

  // Returns the name. Group N of a side is element N-1; one that is not there
  // stands as it is written.
  std::string filled(const std::vector<std::string_view>& from,
                     const std::vector<std::string_view>& pattern) const;

 private:
  std::vector<place> places_;
  std::string last_;  // the text behind the last place
};

}  // namespace zelk::facts
