#include "src/common/facts/name_template.h"

#include <algorithm>

namespace zelk::facts {

name_template::name_template(std::string_view written) {
  while (true) {
    const std::size_t open = written.find('{');
    const std::size_t close = written.find('}', open);
    if (open == written.npos || close == written.npos) break;
    places_.push_back({std::string(written.substr(open + 1, close - open - 1)),
                       std::string(written.substr(0, open)),
                       {}});
    written.remove_prefix(close + 1);
  }
  last_ = written;
}

std::size_t name_template::groups_of(group_source::side side) const {
  std::size_t highest = 0;
  for (const place& each : places_)
    if (each.source.where == side)
      highest = std::max(highest, each.source.group);
  return highest;
}

std::string name_template::filled(
    const std::vector<std::string_view>& from,
    const std::vector<std::string_view>& pattern) const {
  std::string name;
  for (const place& each : places_) {
    name += each.before;
    const auto& groups =
        each.source.where == group_source::side::from ? from : pattern;
    if (each.source.group <= groups.size())
      name += groups[each.source.group - 1];
    else
      name.append("{").append(each.written).append("}");
  }
  return name + last_;
}

}  // namespace zelk::facts
