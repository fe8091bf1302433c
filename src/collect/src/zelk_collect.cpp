// The collector: runs providers on a set of nodes and leaves one complete,
// countable run in the datastore.
//
// What it does is in collect/; here is only the order of it.

#include <optional>

#include "src/collect/src/collect/doctor.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/prepare.h"
#include "src/collect/src/collect/session.h"
#include "src/collect/src/collect/settings.h"

int main(int argc, char* argv[]) {
  using namespace zelk::collect;
  collect_settings settings;
  plan made;
  // Nothing is started until every file has been read and the plan is whole.
  if (const std::optional<int> status = prepare(argc, argv, settings, made))
    return *status;
  if (settings.what == action::doctor) return doctor(settings, made);
  return collect(settings, made);
}
