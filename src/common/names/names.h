// The product's shared vocabulary: enumerations, the tables that name them, and
// the install root.
//
// Tables are ordered by key in ascending byte order and compare keys exactly:
// "Debug" is not a log level. They are made before main() in the order of this
// file and nothing changes them afterwards. A table's values are an interface:
// they stand in records, in files and in stored results.

#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zelk {

// Roles that a node file may give to a node.
namespace role {
inline const std::string default_subcluster = "default-subcluster";
inline const std::string boot = "boot";
inline const std::string compute = "compute";
inline const std::string enhanced = "enhanced";
inline const std::string external = "external";
inline const std::string head = "head";
inline const std::string job_schedule = "job_schedule";
inline const std::string login = "login";
inline const std::string network_address = "network_address";
inline const std::string storage = "storage";
}  // namespace role

namespace provider {

// How a provider's output is to be read.
enum class encoding : std::int32_t { NONE = 0, BASE64 = 1, RAW = 2 };

inline const std::map<std::string, encoding> encoding_names = {
    {"none", encoding::NONE},
    {"base64", encoding::BASE64},
    {"raw", encoding::RAW},
};

}  // namespace provider

namespace datastore {

// The columns of a stored provider result and their positions.
inline const std::map<std::string, std::int32_t> column_names = {
    {"rowid", 0},     {"Provider", 1},   {"Hostname", 2},
    {"num_nodes", 3}, {"node_names", 4}, {"Exit_status", 5},
    {"Timestamp", 6}, {"Duration", 7},   {"Encoding", 8},
    {"STDOUT", 9},    {"STDERR", 10},    {"OptionID", 11},
    {"version", 12},  {"Username", 13},  {"Unique_timestamp", 14},
};

}  // namespace datastore

// The name under which a provider's error code is reported.
inline const std::string provider_error_code = "provider-error-code";

// How the nodes of a run are ordered before they are divided into groups.
enum class nodelist_method_t : std::int32_t {
  NONE = 0,
  ROTATE_RIGHT = 1,
  ROTATE_LEFT = 2,
  ROUND_ROBIN = 3,
  RANDOM = 4,
};

namespace nodelist_method {
inline const std::string NONE = "NONE";
inline const std::string ROTATE_RIGHT = "ROTATE_RIGHT";
inline const std::string ROTATE_LEFT = "ROTATE_LEFT";
inline const std::string ROUND_ROBIN = "ROUND_ROBIN";
inline const std::string RANDOM = "RANDOM";
}  // namespace nodelist_method

inline const std::map<std::string, nodelist_method_t> nodelist_method_names = {
    {"none", nodelist_method_t::NONE},
    {"rotate_right", nodelist_method_t::ROTATE_RIGHT},
    {"rotate_left", nodelist_method_t::ROTATE_LEFT},
    {"round_robin", nodelist_method_t::ROUND_ROBIN},
    {"random", nodelist_method_t::RANDOM},
};

// How a provider's time-out grows with the number of its nodes.
enum class ScaleType : std::int32_t {
  CONSTANT = 0,
  LINEAR = 1,
  SQUARED = 2,
  LOGARITHMIC = 3,
};

inline const std::map<std::string, ScaleType> scale_type_names = {
    {"constant", ScaleType::CONSTANT},
    {"linear", ScaleType::LINEAR},
    {"squared", ScaleType::SQUARED},
    {"logarithmic", ScaleType::LOGARITHMIC},
};

// Log levels by name. The numbers are the priorities of syslog(3); level 0 has
// no name.
inline const std::map<std::string, std::int32_t> log_level_names = {
    {"alert", 1},  {"critical", 2}, {"error", 3}, {"warning", 4},
    {"notice", 5}, {"info", 6},     {"debug", 7},
};

namespace postprocessor {

enum class Severity : std::int32_t {
  INFORMATIONAL = 0,
  WARNING = 4,
  CRITICAL = 8,
};

// The scores, 0 to 100 and both bounds included, that one severity covers.
struct severity_band {
  int lowest;
  int highest;
  Severity severity;
};

inline const std::map<std::string, severity_band> severity_bands = {
    {"informational", {0, 24, Severity::INFORMATIONAL}},
    {"warning", {25, 74, Severity::WARNING}},
    {"critical", {75, 100, Severity::CRITICAL}},
};

}  // namespace postprocessor

// What a node prints of a shared directory: fit for use, not a directory, not
// readable, writable and searchable.
namespace precheck {
inline const std::string ZELK_PRECHECK_OK = "ZELK_PRECHECK_OK";
inline const std::string ZELK_PRECHECK_ND = "ZELK_PRECHECK_ND";
inline const std::string ZELK_PRECHECK_NON_RW = "ZELK_PRECHECK_NON_RW";
}  // namespace precheck

// The folder that holds bin, etc, provider and share, without a trailing slash.
// Empty until a program's main() sets it.
inline std::string install_root;

}  // namespace zelk
