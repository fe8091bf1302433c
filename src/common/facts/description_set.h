// The descriptions of a folder, by provider and version.
//
// A result names its provider and the version of the description it was made
// by. Facts are read with a description of just that version: NAME.xml, or one
// kept beside it as NAME.vN.xml when NAME.xml went on to a later version.

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "src/common/facts/declaration.h"

namespace zelk::facts {

class description_set {
 public:
  struct found {
    std::shared_ptr<const declaration> use;  // null: see `reason`
    std::string reason;
  };

  // Reads each *.xml of `folder`, in byte order of their names. A faulty one
  // gives error records and is left out.
  description_set(const std::string& folder, const std::string& schema);

  // Returns the description by which a result of `provider`, as its record
  // names it, and `version` is read.
  found find(std::string_view provider, std::int32_t version) const;

  // Whether there is a description of it, of any version and even a faulty one.
  bool has_any(std::string_view provider) const;

  std::size_t size() const { return by_version_.size(); }
  std::size_t faulty() const { return faulty_.size(); }

 private:
  using key = std::pair<std::string, std::int32_t>;

  void take(const std::string& path, const std::string& schema);
  std::string why_not(const std::string& provider, std::int32_t version) const;

  std::string folder_;
  std::map<key, std::shared_ptr<const declaration>> by_version_;
  std::map<std::string, std::string> faulty_;  // stem, path
};

}  // namespace zelk::facts
