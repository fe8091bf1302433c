#!/bin/bash
# A file that is not there is no refused file: nothing was begun.
. "$(dirname "$0")/db_common.bash"

db init
db import "$scratch/nonexistent"
expect_status 3
expect_complaint "nonexistent"
