// Keeping a datastore in order: making one, checking, shrinking, migrating.

#pragma once

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

// All return the exit status.

// Makes an empty datastore, with the folders above it when nobody chose the
// place. One that is there stays as it is.
int init_datastore(const reading::place& where, bool chosen, bool quiet);

// Reads everything: SQLite's own check, references, the outputs against their
// names, the counts. 1: with `repair` all would be well; 2: something is lost.
int check_datastore(const reading::place& where, bool repair, bool quiet);

// Gives unused space back to the disk.
int vacuum_datastore(const reading::place& where, bool quiet);

// Brings an older one to this program's version.
int migrate_datastore(const reading::place& where, bool dry_run, bool quiet);

}  // namespace zelk::db
