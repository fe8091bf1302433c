// --local: this node alone, as a batch system's health check.
//
// Asks no datastore and compares with nobody. Silent when all is fine.

#pragma once

#include "src/check/command/settings.h"

namespace zelk::check {

int check_locally(const check_settings& settings);

}  // namespace zelk::check
