// The product configuration and the provider descriptions as records.
//
// Plain records with defaults; filled by read_config(), by
// update_provider_options() and by Preprocessor::parse_provider_config_xml().

#pragma once

#include <sys/time.h>

#include <climits>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "src/common/names/names.h"

namespace zelk {

struct BaseProviderAttributes {
  std::string provider_name;  // as the configuration writes it
};

namespace preproc {

// One option set of one provider: what a run of it is called and given.
struct ProcessedProviderAttributes : BaseProviderAttributes {
  std::int64_t timeout = 0;  // seconds; 0: the description's, with its scale
  ScaleType scale_type = ScaleType::CONSTANT;
  std::string option_id = "None";
  // Each variable as NAME='value' and one blank, quoted for the shell.
  std::string option_text;
};

}  // namespace preproc

// How one provider is described, and the option sets it is run with.
struct provider_config {
  std::string name;
  std::string auxiliary_path;  // absolute
  std::string command;
  timeval timestamp = {};  // when the command ended; set by the run
  std::uint16_t max_nodes = 1;
  std::uint16_t min_nodes = 1;
  std::string nodefile;
  std::int32_t architecture = 2;  // 2: any, 1: x86_64, else: no machine
  provider::encoding encoding = provider::encoding::NONE;
  std::int64_t timeout = 60;  // seconds
  ScaleType scale_type = ScaleType::CONSTANT;
  std::int32_t version = 1;
  std::vector<preproc::ProcessedProviderAttributes> option_sets;
};

// One entry of the worker's provider table.
struct provider_info {
  std::string name;           // the description file's base name less 4 bytes
  std::string path;           // as given with -f
  std::string providers_dir;  // install root + "/etc/providers"
  std::string share_dir;      // install root + "/provider/share"
  std::string reserved;       // always empty in the worker
};

// Records of the head node's programs, which the configuration only carries.
struct ClusterDefinition;
struct Suppression;
struct PostprocessorExtension;
struct Element;
struct Node;
namespace datastore {
struct DataStoreConfig;
}

struct Config {
  std::string name = "health";
  std::string install_root;
  char output_directory[PATH_MAX] = {};  // where asynchronous results go
  // By upper-cased provider name; from a configuration only `option_sets` of
  // an entry is filled.
  std::unordered_map<std::string, std::shared_ptr<provider_config>>
      provider_configs;
  std::map<std::string, std::shared_ptr<ClusterDefinition>> cluster_definitions;
  std::vector<std::shared_ptr<Suppression>> suppressions;
  std::vector<std::shared_ptr<datastore::DataStoreConfig>> datastores;
  std::vector<std::shared_ptr<PostprocessorExtension>> postprocessors;
  std::vector<std::shared_ptr<Element>> elements;
  std::vector<std::shared_ptr<Node>> nodes;
};

}  // namespace zelk
