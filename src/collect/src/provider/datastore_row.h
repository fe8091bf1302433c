// A provider result on its way into a data source of the datastore.
//
// Prepares the row, makes the one control call, and reads the answer. What the
// store does with a row is the extension's: see accumulate/result_table.h. The
// call runs on the caller's thread, which must be the extension's.

#pragma once

#include <memory>
#include <string>

#include "src/collect/src/provider/result.h"
#include "src/common/datastore/extension.h"

namespace zelk {

struct Config;  // src/common/preproc/config.h

// What the write operation (515) is given as its output. The extension may move
// the two texts out of it; they are only there for the call.
struct datastore_row {
  std::string stdout;
  std::string stderr;
  provider_result_header header = {};  // all 736 bytes
  std::string nodes_csv;
};

// A result and, directly behind it, its row. Use one for many results: the
// row's storage is then used again.
struct storable_result {
  provider_result result;
  datastore_row row;
};

// Where a row is to go.
struct data_source {
  std::string name;  // for messages
  std::weak_ptr<datastore::DataStoreExtension> extension;
};

// Hands `record` to `destination`. Returns whether the store has taken it; when
// it becomes durable is the extension's to tell. A refusal is one notice.
// Without a datastore controller the result is false and nothing is logged.
// Afterwards the row's two texts are empty; its header and node names stay.
bool write_provider_result_datastore(storable_result& record,
                                     const Config& settings,
                                     const data_source& destination);

// The same with a row that lives for this call only.
bool write_provider_result_datastore(provider_result& record,
                                     const Config& settings,
                                     const data_source& destination);

}  // namespace zelk
