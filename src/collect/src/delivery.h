// Where the results of a run go: to the accumulate server or into files.
//
// One of the two, settled before the first provider runs. Owns the socket.

#pragma once

#include <memory>
#include <string>

#include "src/collect/src/provider/result.h"
#include "src/collect/src/run_options.h"

typedef struct _zsock_t zsock_t;  // czmq.h, which only delivery.cpp includes

namespace zelk {

struct Config;

// Sets the time (ms, -1: no limit) for which unsent messages keep the process
// alive, and keeps CZMQ away from SIGINT and SIGTERM. Before any socket.
void set_up_messaging(int linger);

class delivery {
 public:
  // Connects to the endpoint or looks at the output directory. Returns null
  // after one record when there is nowhere to deliver to.
  static std::unique_ptr<delivery> open(const run_options& options,
                                        const Config& config);
  // Closing waits for nothing; unsent messages are sent at process exit, for as
  // long as the linger time allows.
  ~delivery();
  delivery(const delivery&) = delete;
  delivery& operator=(const delivery&) = delete;

  // Delivers `record`, which the provider with the description file `path`
  // produced. Returns whether it was handed over; if not, the reason was told.
  bool deliver(const provider_result& record, const std::string& path);

 private:
  delivery(zsock_t* socket, std::string directory);

  zsock_t* socket_;        // null in asynchronous mode
  std::string directory_;  // asynchronous mode
};

}  // namespace zelk
