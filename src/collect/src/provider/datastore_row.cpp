#include "src/collect/src/provider/datastore_row.h"

#include <utility>

#include "src/common/datastore/controller.h"
#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider";

using datastore::DataStoreController;
using datastore::DataStoreExtension;

void fill_row(datastore_row& row, const provider_result& result) {
  row.stdout.assign(result.stdout.view());
  row.stderr.assign(result.stderr.view());
  row.header = result.header;
  row.nodes_csv = result.nodes_csv;
}

void log_notice(const char* text, const std::string& name) {
  log::ErrorLog(source, __func__, __LINE__, log::level_notice).stream()
      << text << name;
}

}  // namespace

bool write_provider_result_datastore(storable_result& record,
                                     const Config& /*settings*/,
                                     const data_source& destination) {
  const std::shared_ptr<DataStoreController> controller =
      DataStoreController::createDataStoreController().lock();
  if (!controller) return false;

  fill_row(record.row, record.result);
  const int status =
      controller->control(destination.extension, datastore::operation_write,
                          nullptr, &record.row, nullptr);
  record.row.stdout.clear();
  record.row.stderr.clear();

  if (status == DataStoreExtension::OPERATION_SUCCESSFULL) return true;
  if (status == DataStoreExtension::UNSUPPORTED_OPERATION)
    log_notice("Write operation is unsupported for data source ",
               destination.name);
  else
    log_notice("Write failed for data source ", destination.name);
  return false;
}

bool write_provider_result_datastore(provider_result& record,
                                     const Config& settings,
                                     const data_source& destination) {
  storable_result storable{std::move(record), {}};
  const bool written =
      write_provider_result_datastore(storable, settings, destination);
  record = std::move(storable.result);
  return written;
}

}  // namespace zelk
