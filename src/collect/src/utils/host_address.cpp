#include "src/collect/src/utils/host_address.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <memory>

#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/utils";

using address_list = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

void log_error(const std::string& text) {
  log::ErrorLog(source, "resolve_host_address", __LINE__, log::level_error)
          .stream()
      << text;
}

std::string failure(const char* what, const char* host, int code) {
  return std::string("Error getting ") + what + " information for " + host +
         " (" + std::to_string(code) + "): " + ::gai_strerror(code);
}

}  // namespace

std::string resolve_host_address(const char* host) {
  if (host == nullptr) {
    log_error(
        "Error getting address information: Host name is not resolvable.");
    return "";
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* first = nullptr;
  int code = ::getaddrinfo(host, nullptr, &hints, &first);
  if (code != 0) {
    log_error(failure("address", host, code));
    return "";
  }
  const address_list addresses(first, &::freeaddrinfo);

  std::array<char, NI_MAXHOST> text{};
  code = ::getnameinfo(first->ai_addr, first->ai_addrlen, text.data(),
                       text.size(), nullptr, 0, NI_NUMERICHOST);
  if (code != 0) {
    log_error(failure("name", host, code));
    return "";
  }
  return text.data();
}

}  // namespace zelk
