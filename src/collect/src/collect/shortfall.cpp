#include "src/collect/src/collect/shortfall.h"

namespace zelk::collect {

// A flat switch: one line a kind.
const char* shortfall_name(shortfall kind) {
  switch (kind) {
    case shortfall::no_answer:
      return "no answer";
    case shortfall::host_key:
      return "host key";
    case shortfall::no_login:
      return "no login";
    case shortfall::not_launched:
      return "not launched";
    case shortfall::no_worker:
      return "no worker";
    case shortfall::wrong_version:
      return "version";
    case shortfall::lost:
      return "lost";
    case shortfall::killed:
      return "killed";
    case shortfall::timed_out:
      return "timed out";
    case shortfall::failed:
      return "failed";
    case shortfall::not_measured:
      return "not measured";
    case shortfall::no_result:
      return "no result";
    case shortfall::stopped:
      return "stopped";
    case shortfall::not_applicable:
      return "n/a";
    case shortfall::not_required:
      return "not required";
  }
  return "";
}

}  // namespace zelk::collect
