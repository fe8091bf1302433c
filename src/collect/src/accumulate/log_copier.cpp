#include "src/collect/src/accumulate/log_copier.h"

#include <exception>

#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/log_copier";

// At 16 KiB each: copied beside the writer every 16 MiB, and begun anew at 64.
constexpr std::int64_t pages_of_piece = 1000;
constexpr std::int64_t most_pages = 4000;

void tell(const std::exception& error) {
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << "The log is not copied: " << error.what();
}

}  // namespace

log_copier::log_copier(datastore::database& writer) : writer_(writer) {
  writer_.leave_log_alone();
}

void log_copier::committed() {
  const std::int64_t pages = writer_.log_pages();
  const bool is_long = pages >= most_pages;
  if (thread_.busy() && !is_long) return;
  thread_.wait();
  if (pages < copied_) copied_ = 0;  // it has begun anew
  if (is_long)
    copy(writer_);
  else if (pages >= copied_ + pages_of_piece)
    thread_.start([this] { copy_beside(); });
}

// On thread_.
void log_copier::copy_beside() {
  try {
    if (!reader_) {
      reader_.emplace(writer_.path(), datastore::open_mode::read_write);
      reader_->execute("PRAGMA synchronous = FULL");
    }
  } catch (const std::exception& error) {
    return tell(error);
  }
  copy(*reader_);
}

void log_copier::copy(datastore::database& through) {
  try {
    if (const auto extent = through.copy_log()) copied_ = extent->copied;
  } catch (const datastore::store_error& error) {
    tell(error);
    if (error.input_output()) disk_failure_ = error;
  } catch (const std::exception& error) {
    tell(error);
  }
}

void log_copier::check() {
  if (thread_.busy() || !disk_failure_) return;
  const datastore::store_error error = *disk_failure_;
  disk_failure_.reset();
  throw error;
}

void log_copier::keep_log() {
  thread_.wait();
  writer_.keep_log_when_closed();
  if (reader_) reader_->keep_log_when_closed();
}

}  // namespace zelk::accumulate
