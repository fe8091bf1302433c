// What administrators say of runs and nodes: tables and views that came with
// version 3 of a datastore.
//
// An acceptance outlives the run that it was made for, and node names in it
// need not have been seen yet: neither is a reference.

#pragma once

namespace zelk::accumulate {

constexpr char create_marks[] = R"sql(
CREATE TABLE baseline (                      -- the run that is marked, if any
  only INTEGER PRIMARY KEY CHECK (only = 1),
  run INTEGER NOT NULL REFERENCES run,
  name ANY NOT NULL,                         -- a person's word for it, or ''
  made INTEGER NOT NULL,                     -- microseconds since the epoch
  who ANY NOT NULL
) STRICT;

CREATE TABLE acceptance (                    -- a known state that may be
  id INTEGER PRIMARY KEY AUTOINCREMENT,      -- never given a second time
  check_id TEXT NOT NULL CHECK (check_id <> ''),
  node_set ANY NOT NULL,                     -- as it was typed; '': any node
  reason ANY NOT NULL CHECK (reason <> ''),
  who ANY NOT NULL,
  made INTEGER NOT NULL,
  until INTEGER,                             -- not included; NULL: for good
  run INTEGER,                               -- where it was seen
  revoked INTEGER,
  revoked_by ANY
) STRICT;

CREATE TABLE acceptance_node (               -- what node_set stands for
  acceptance INTEGER NOT NULL REFERENCES acceptance,
  node ANY NOT NULL,
  PRIMARY KEY (acceptance, node)
) STRICT, WITHOUT ROWID;

CREATE VIEW v_baseline AS
-- The run that is marked as the baseline: one row, or none. Times are UTC.
SELECT run, name,
       strftime('%Y-%m-%dT%H:%M:%SZ', made / 1000000, 'unixepoch') AS made,
       who, made AS made_usec
FROM baseline;

CREATE VIEW v_acceptance AS
-- One row for each known state that was accepted, whether it still is or not.
-- "nodes" counts those in v_acceptance_node, 0: it holds for any node. "until"
-- is NULL where it holds for good, "revoked" where it was not taken back, "run"
-- where nobody named one. Times are UTC.
SELECT id AS acceptance, check_id, node_set,
       (SELECT count(*) FROM acceptance_node n WHERE n.acceptance = id)
         AS nodes,
       reason, who,
       strftime('%Y-%m-%dT%H:%M:%SZ', made / 1000000, 'unixepoch') AS made,
       strftime('%Y-%m-%dT%H:%M:%SZ', until / 1000000, 'unixepoch') AS until,
       run,
       strftime('%Y-%m-%dT%H:%M:%SZ', revoked / 1000000, 'unixepoch')
         AS revoked,
       revoked_by, made AS made_usec, until AS until_usec,
       revoked AS revoked_usec
FROM acceptance;

CREATE VIEW v_acceptance_node AS
-- One row for each node that an acceptance names; none where it holds for any.
SELECT acceptance, node FROM acceptance_node;
)sql";

}  // namespace zelk::accumulate
