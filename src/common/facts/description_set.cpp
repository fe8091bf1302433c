#include "src/common/facts/description_set.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "src/common/log/error_log.h"
#include "src/common/str/str.h"

namespace zelk::facts {

namespace {

constexpr char source[] = "src/common/facts/description_set";

// A record holds so much of a name.
constexpr std::size_t recorded_name = 63;  // bytes

constexpr std::string_view extension = ".xml";

std::string in_record(std::string_view name) {
  return std::string(name.substr(0, recorded_name));
}

std::ostream& operator<<(std::ostream& out, const std::error_code& code) {
  return out << "(" << code.value() << "): " << code.message();
}

std::vector<std::string> descriptions_in(const std::string& folder) {
  std::vector<std::string> paths;
  std::error_code error;
  std::filesystem::directory_iterator each(folder, error);
  for (; !error && each != std::filesystem::directory_iterator();
       each.increment(error))
    if (each->path().extension() == extension)
      paths.push_back(each->path().string());
  if (error)
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << folder << ": cannot be read " << error;
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string stem_of(const std::string& path) {
  const std::string base = str::basename(path);
  return base.substr(0, base.size() - extension.size());
}

// "memory.v3" is kept for version 3, "memory" for whatever it says.
bool is_kept_for(const std::string& stem, std::int32_t version) {
  const std::size_t mark = stem.rfind(".v");
  if (mark == stem.npos) return true;
  const std::string number = stem.substr(mark + 2);
  const bool is_number =
      !number.empty() && number.find_first_not_of("0123456789") == number.npos;
  return !is_number || number == std::to_string(version);
}

void complain(const std::string& path, const std::string& what) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << path << ":1: " << what;
}

}  // namespace

description_set::description_set(const std::string& folder,
                                 const std::string& schema)
    : folder_(folder) {
  for (const std::string& path : descriptions_in(folder))
    take(path, schema);
}

void description_set::take(const std::string& path, const std::string& schema) {
  std::shared_ptr<const declaration> made = declaration::read(path, schema);
  if (!made) {
    faulty_.emplace(stem_of(path), path);
    return;
  }
  if (!is_kept_for(stem_of(path), made->version())) {
    complain(path, "expected the version that the file's name says; found " +
                       std::to_string(made->version()));
    faulty_.emplace(stem_of(path), path);
    return;
  }
  const auto [first, is_new] = by_version_.emplace(
      key(in_record(made->provider()), made->version()), made);
  if (!is_new)
    complain(path, "expected another name or version of the provider; " +
                       first->second->path() + " has the same");
}

std::string description_set::why_not(const std::string& provider,
                                     std::int32_t version) const {
  std::string versions;
  for (auto at = by_version_.lower_bound(key(provider, INT32_MIN));
       at != by_version_.end() && at->first.first == provider; ++at)
    versions += (versions.empty() ? "" : ", ") +
                std::to_string(at->first.second) + " (" +
                str::basename(at->second->path()) + ")";
  const std::string wanted = std::to_string(version);
  if (!versions.empty())
    return "the result is of version " + wanted + " of the provider, " +
           folder_ + " has version " + versions + "; " + provider + ".v" +
           wanted + ".xml would be it";
  const auto faulty = faulty_.find(provider);
  if (faulty != faulty_.end())
    return "the description " + faulty->second + " has faults";
  return "there is no description of the provider in " + folder_;
}

description_set::found description_set::find(std::string_view provider,
                                             std::int32_t version) const {
  const std::string name = in_record(provider);
  const auto exact = by_version_.find(key(name, version));
  if (exact != by_version_.end()) return {exact->second, ""};
  return {nullptr, why_not(name, version)};
}

bool description_set::has_any(std::string_view provider) const {
  const std::string name = in_record(provider);
  const auto first = by_version_.lower_bound(key(name, INT32_MIN));
  return (first != by_version_.end() && first->first.first == name) ||
         faulty_.contains(name);
}

}  // namespace zelk::facts
