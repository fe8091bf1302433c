#include "src/collect/src/provider/identity.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/identity";

constexpr std::string_view unknown_user = "Unknown";

// Bytes of the field that getlogin_r(3) may use, its zero byte among them: a
// name over 8 bytes must be refused by it, not cut to somebody else's name.
constexpr std::size_t login_name_space = 9;
static_assert(login_name_space < sizeof(provider_result_header::username));

}  // namespace

void set_record_text(provider_result& record, std::string_view text) {
  text.copy(record.header.host_arg, sizeof(record.header.host_arg));
}

void set_hostname(provider_result& record) {
  auto& field = record.header.hostname;
  if (::gethostname(field, sizeof(field)) == 0) return;
  const int code = errno;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "Unable to get hostname " << util::errno_text(code);
  // A name that was cut is some other machine's name.
  std::memset(field, 0, sizeof(field));
}

void set_username(provider_result& record) {
  auto& field = record.header.username;
  const int code = ::getlogin_r(field, login_name_space);
  if (code == 0) return;
  std::memset(field, 0, sizeof(field));
  unknown_user.copy(field, sizeof(field));
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << "Username set as 'Unknown' after getlogin_r failed with error code: "
      << code;
}

}  // namespace zelk
