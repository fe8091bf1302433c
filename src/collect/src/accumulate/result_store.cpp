#include "src/collect/src/accumulate/result_store.h"

#include <utility>

#include "src/common/datastore/controller.h"

namespace zelk::accumulate {

namespace {

constexpr char name[] = "results";

using datastore::DataStoreController;
using datastore::DataStoreExtension;

result_table_options table_options(const store_options& options) {
  result_table_options table;
  table.batch_rows = options.batch_rows;
  table.most_rows = options.growth * options.batch_rows;
  table.batch_time = options.batch_time;
  table.on_commit_end = options.on_commit_end;
  table.busy_deadline = options.busy_deadline;
  return table;
}

}  // namespace

struct result_store::destination {
  data_source source;
};

result_store::result_store(const store_options& options)
    : settings_(*options.settings),
      controller_(DataStoreController::start()),
      table_(std::make_shared<result_table>(options.path,
                                            table_options(options))) {
  controller_->register_extension(name, table_);
  destination_ = std::make_unique<destination>(
      destination{{name, controller_->extension(name)}});
}

result_store::~result_store() {
  controller_->unregister_extension(name);
}

result_store::answer result_store::take(provider_result& record) {
  if (write_provider_result_datastore(record, settings_, destination_->source))
    return answer::done;
  const answer now = answer_now();
  return now == answer::done ? answer::rejected : now;
}

result_store::answer result_store::flush() {
  return answer_for(controller_->control(destination_->source.extension,
                                         datastore::operation_flush, nullptr,
                                         nullptr, nullptr));
}

result_store::answer result_store::start_flush() {
  return answer_for(table_->start_flush());
}

result_store::answer result_store::answer_for(int status) {
  if (status == DataStoreExtension::OPERATION_SUCCESSFULL) return answer::done;
  return status == DataStoreExtension::OPERATION_DELAYED ? answer::later
                                                         : answer::failed;
}

result_store::answer result_store::answer_now() const {
  switch (table_->health().state) {
    case result_table_health::state::good:
      return answer::done;
    case result_table_health::state::delayed:
      return answer::later;
    case result_table_health::state::failed:
      break;
  }
  return answer::failed;
}

void result_store::use_run(std::int64_t number) {
  table_->use_run(number);
}

void result_store::on_outcome(
    std::function<void(const row_outcome&)> listener) {
  table_->on_outcome(std::move(listener));
}

std::optional<std::chrono::steady_clock::time_point> result_store::due() const {
  return table_->due();
}

std::string result_store::trouble() const {
  return table_->health().reason;
}

void result_store::reopen() {
  table_->reopen();
}

void result_store::checkpoint() {
  table_->checkpoint();
}

datastore::database& result_store::database() {
  return table_->database();
}

}  // namespace zelk::accumulate
