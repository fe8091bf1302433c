// The statements that make a datastore of the current version.
//
// A comment inside a CREATE statement is kept by SQLite: whoever asks a file
// for its schema reads it there.

#pragma once

namespace zelk::accumulate {

constexpr char create_tables[] = R"sql(
CREATE TABLE run (
  number INTEGER PRIMARY KEY AUTOINCREMENT,  -- never given a second time
  uuid TEXT NOT NULL UNIQUE,
  label ANY NOT NULL,
  note ANY NOT NULL,
  command_line ANY NOT NULL,
  state TEXT NOT NULL
    CHECK (state IN ('running', 'complete', 'partial', 'interrupted')),
  started INTEGER NOT NULL,                  -- microseconds since the epoch
  ended INTEGER,
  nodes_expected INTEGER NOT NULL DEFAULT 0,
  results_expected INTEGER NOT NULL DEFAULT 0,
  nodes INTEGER NOT NULL DEFAULT 0,          -- that gave a result
  results INTEGER NOT NULL DEFAULT 0,        -- stored
  owner_host TEXT NOT NULL,                  -- the process that fills it
  owner_pid INTEGER NOT NULL,
  owner_start INTEGER NOT NULL               -- clock ticks since boot
) STRICT;
CREATE INDEX run_started ON run (started);
CREATE INDEX run_label ON run (label, started);

CREATE TABLE expected_node (
  run INTEGER NOT NULL REFERENCES run,
  node ANY NOT NULL,
  reason ANY NOT NULL DEFAULT '',            -- why nothing comes
  PRIMARY KEY (run, node)
) STRICT, WITHOUT ROWID;

CREATE TABLE expected_result (
  run INTEGER NOT NULL REFERENCES run,
  node ANY NOT NULL,
  provider ANY NOT NULL,
  option_id ANY NOT NULL,                    -- empty: any
  reason ANY NOT NULL DEFAULT '',
  PRIMARY KEY (run, node, provider, option_id)
) STRICT, WITHOUT ROWID;

CREATE TABLE name (
  id INTEGER PRIMARY KEY,
  text ANY NOT NULL UNIQUE                   -- a blob when it is not UTF-8
) STRICT;

CREATE TABLE host (                          -- a host's part in a run
  id INTEGER PRIMARY KEY,
  run INTEGER NOT NULL REFERENCES run,
  hostname INTEGER NOT NULL REFERENCES name,
  host_arg INTEGER NOT NULL REFERENCES name, -- text of -H
  node ANY NOT NULL,                         -- what the run calls it
  UNIQUE (hostname, run, host_arg)
) STRICT;
CREATE INDEX host_run ON host (run, node);
CREATE INDEX host_node ON host (node);

CREATE TABLE content (                       -- every distinct block, once
  id INTEGER PRIMARY KEY,
  size INTEGER NOT NULL,                     -- bytes
  hash BLOB NOT NULL,                        -- SHA-256 of the bytes
  body ANY NOT NULL                          -- text, or a blob
) STRICT;

CREATE TABLE content_index (                 -- of content up to
  prefix INTEGER NOT NULL,                   -- counter.content_indexed:
  content INTEGER NOT NULL REFERENCES content,  -- 8 bytes of its hash
  PRIMARY KEY (prefix, content)
) STRICT, WITHOUT ROWID;

CREATE TABLE result (
  id INTEGER PRIMARY KEY,                    -- never given a second time
  host INTEGER NOT NULL REFERENCES host,
  hostname INTEGER NOT NULL REFERENCES name,
  provider INTEGER NOT NULL REFERENCES name,
  option_id INTEGER NOT NULL REFERENCES name,
  username INTEGER NOT NULL REFERENCES name,
  num_nodes INTEGER NOT NULL,
  exit_status INTEGER NOT NULL,
  timestamp INTEGER NOT NULL,                -- seconds since the epoch
  unique_timestamp INTEGER NOT NULL,         -- microseconds since the epoch
  twin INTEGER NOT NULL,                     -- 0, or the id: see result_twin
  duration REAL NOT NULL,                    -- seconds
  encoding INTEGER NOT NULL,
  version INTEGER NOT NULL,
  stdout INTEGER REFERENCES content,         -- NULL: empty
  stderr INTEGER REFERENCES content,
  node_names INTEGER REFERENCES content,
  digest BLOB NOT NULL,                      -- of the record
  header BLOB                                -- where the columns do not give
) STRICT;                                    -- the 736 bytes back
CREATE INDEX result_host ON result (host);
-- A record is stored once.
CREATE UNIQUE INDEX result_key ON result
  (unique_timestamp, hostname, provider, option_id, twin);

CREATE TABLE result_twin (                   -- another record that has the
  unique_timestamp INTEGER NOT NULL,         -- key of an older one
  hostname INTEGER NOT NULL,
  provider INTEGER NOT NULL,
  option_id INTEGER NOT NULL,
  digest BLOB NOT NULL,
  result INTEGER NOT NULL REFERENCES result,
  PRIMARY KEY (unique_timestamp, hostname, provider, option_id, digest)
) STRICT, WITHOUT ROWID;

CREATE TABLE counter (
  only INTEGER PRIMARY KEY CHECK (only = 1),
  next_result INTEGER NOT NULL,
  next_content INTEGER NOT NULL,
  content_indexed INTEGER NOT NULL,
  removals INTEGER NOT NULL                  -- times that content was removed
) STRICT;
INSERT INTO counter VALUES (1, 1, 1, 0, 0);
)sql";

}  // namespace zelk::accumulate
