// The process's datastore controller: the registry of data sources and the one
// door to them.
//
//   main():     auto owner = DataStoreController::start();
//               owner->register_extension("results", table);
//   elsewhere:  if (auto controller =
//                       DataStoreController::createDataStoreController().lock())
//                 controller->control(handle, operation_write, ...);
//
// Whoever called start() owns the controller and with it the registered
// extensions; all others hold weak handles. The registry may be used from any
// thread. An operation runs on its caller's thread, with no lock of the
// controller held: see the extension for the thread that it belongs to.

#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "src/common/datastore/extension.h"

namespace zelk::datastore {

class DataStoreController {
 public:
  // Makes the process's controller, or returns the one that there is.
  static std::shared_ptr<DataStoreController> start();

  // Gives access to the process's controller. The handle is empty before
  // start() and expired once the owner is gone.
  static std::weak_ptr<DataStoreController> createDataStoreController();

  // Takes `extension` in under `name`. Returns false when the name is taken.
  bool register_extension(const std::string& name,
                          std::shared_ptr<DataStoreExtension> extension);
  // Returns whether there was one of that name. Its handles expire now, or when
  // the operation that is running ends.
  bool unregister_extension(const std::string& name);
  // Returns an empty handle for a name that nobody has registered.
  std::weak_ptr<DataStoreExtension> extension(const std::string& name) const;

  // Performs `operation` on `extension`, registered or not, and returns its
  // status; EXTENSION_MISSING for an empty or expired handle. Never throws: an
  // exception of the extension is one error record and OPERATION_FAILED.
  int control(std::weak_ptr<DataStoreExtension> extension,
              unsigned short operation, const void* input, void* output,
              void* extra);

 private:
  mutable std::mutex registry_lock_;
  std::map<std::string, std::shared_ptr<DataStoreExtension>> extensions_;
};

}  // namespace zelk::datastore
