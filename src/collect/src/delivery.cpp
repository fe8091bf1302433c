#include "src/collect/src/delivery.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <string_view>
#include <system_error>
#include <utility>

#include <czmq.h>

#include "src/collect/src/host_name.h"
#include "src/collect/src/paths.h"
#include "src/collect/src/provider/message.h"
#include "src/collect/src/provider/output_file.h"
#include "src/common/log/error_log.h"
#include "src/common/preproc/config.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

bool port_is_possible(std::string_view text) {
  unsigned int number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, fault] = std::from_chars(text.data(), last, number);
  return fault == std::errc() && end == last && number >= 1 && number <= 65535;
}

// Some endpoints the library takes and nobody will ever hear: of a port it
// keeps the leading digits and 16 bits, an empty host is tried for ever, and
// nobody else is there to bind one inside this process. Of the rest it is the
// judge.
bool may_be_heard(std::string_view endpoint) {
  constexpr std::string_view tcp = "tcp://";
  if (endpoint.starts_with("inproc:")) return false;
  if (!endpoint.starts_with(tcp)) return true;
  endpoint.remove_prefix(tcp.size());
  const std::size_t colon = endpoint.rfind(':');
  return colon != endpoint.npos && colon > 0 &&
         port_is_possible(endpoint.substr(colon + 1));
}

int connect_to(zsock_t* socket, const std::string& endpoint) {
  if (may_be_heard(endpoint))
    return zsock_connect(socket, "%s", endpoint.c_str());
  errno = EINVAL;
  return -1;
}

zsock_t* connect_socket(zsock_t* socket, const std::string& endpoint) {
  if (endpoint.empty()) {
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "The accumulate server endpoint is unknown.";
    zsock_destroy(&socket);
    return nullptr;
  }
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << "Data will be sent to " << endpoint;
  if (connect_to(socket, endpoint) != 0) {
    const int code = errno;
    log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
        << "Unable to connect to the accumulate server (" << code
        << "): " << zmq_strerror(code);
    zsock_destroy(&socket);
    return nullptr;
  }
  return socket;
}

bool directory_is_writable(const char* directory) {
  if (::access(directory, W_OK) == 0) return true;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "Unable to access output directory " << directory
      << ". This directory needs to be created with global write permissions "
         "prior to executing zelk-collect in asynchronous mode. Please see the "
         "BREVIX README for more information";
  return false;
}

}  // namespace

void set_up_messaging(int linger) {
  // CZMQ would catch both signals for itself at its first call, and they would
  // only set a flag of its own until our handler is installed again.
  zsys_handler_set(nullptr);
  // A setting of 2^31 and more has become negative; the library aborts on what
  // is below -1, and so long a time is without end anyway.
  zsys_set_linger(static_cast<std::size_t>(std::max(linger, -1)));
}

std::unique_ptr<delivery> delivery::open(const run_options& options,
                                         const Config& config) {
  if (options.async_mode) {
    if (!directory_is_writable(config.output_directory)) return nullptr;
    return std::unique_ptr<delivery>(
        new delivery(nullptr, config.output_directory));
  }
  zsock_t* socket = connect_socket(zsock_new(ZMQ_PUSH), options.endpoint);
  if (socket == nullptr) return nullptr;
  return std::unique_ptr<delivery>(new delivery(socket, {}));
}

delivery::delivery(zsock_t* socket, std::string directory)
    : socket_(socket), directory_(std::move(directory)) {}

delivery::~delivery() {
  zsock_destroy(&socket_);
}

bool delivery::deliver(const provider_result& record, const std::string& path) {
  if (socket_ != nullptr) return send_provider_result(record, socket_);

  std::string name = output_file_template(directory_, provider_stem(path),
                                          host_name(), std::time(nullptr));
  return write_provider_result_file(record, directory_.c_str(), name.data());
}

}  // namespace zelk
