#include "src/common/datastore/controller.h"

#include <exception>
#include <utility>

#include "src/common/log/error_log.h"

namespace zelk::datastore {

namespace {

constexpr char source[] = "src/common/datastore/controller";

struct process_controller {
  std::mutex lock;
  std::weak_ptr<DataStoreController> handle;
};

process_controller& the_process() {
  static process_controller instance;
  return instance;
}

int failed_with(const char* reason) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "A datastore operation failed: " << reason;
  return DataStoreExtension::OPERATION_FAILED;
}

}  // namespace

std::shared_ptr<DataStoreController> DataStoreController::start() {
  process_controller& process = the_process();
  const std::lock_guard guard(process.lock);
  std::shared_ptr<DataStoreController> controller = process.handle.lock();
  if (!controller) {
    controller = std::make_shared<DataStoreController>();
    process.handle = controller;
  }
  return controller;
}

std::weak_ptr<DataStoreController>
DataStoreController::createDataStoreController() {
  process_controller& process = the_process();
  const std::lock_guard guard(process.lock);
  return process.handle;
}

bool DataStoreController::register_extension(
    const std::string& name, std::shared_ptr<DataStoreExtension> extension) {
  const std::lock_guard guard(registry_lock_);
  return extensions_.emplace(name, std::move(extension)).second;
}

bool DataStoreController::unregister_extension(const std::string& name) {
  // An extension may take its time to end, and may use the registry meanwhile:
  // it ends behind the lock.
  std::shared_ptr<DataStoreExtension> ended;
  const std::lock_guard guard(registry_lock_);
  const auto found = extensions_.find(name);
  if (found == extensions_.end()) return false;
  ended = std::move(found->second);
  extensions_.erase(found);
  return true;
}

std::weak_ptr<DataStoreExtension> DataStoreController::extension(
    const std::string& name) const {
  const std::lock_guard guard(registry_lock_);
  const auto found = extensions_.find(name);
  if (found == extensions_.end()) return {};
  return found->second;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers pass a copy
int DataStoreController::control(std::weak_ptr<DataStoreExtension> extension,
                                 unsigned short operation, const void* input,
                                 void* output, void* extra) {
  const std::shared_ptr<DataStoreExtension> owned = extension.lock();
  if (!owned) return DataStoreExtension::EXTENSION_MISSING;
  try {
    return owned->control(operation, input, output, extra);
  } catch (const std::exception& error) {
    return failed_with(error.what());
  } catch (...) {
    return failed_with("no reason is known");
  }
}

}  // namespace zelk::datastore
