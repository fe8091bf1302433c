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

constexpr char create_views[] = R"sql(
CREATE VIEW v_provider_result AS
-- One row a result, in the fifteen columns that every store of results has.
-- "Timestamp" is seconds, "Unique_timestamp" microseconds since the Unix
-- epoch: when the command ended. STDOUT, STDERR and node_names are text where
-- they are valid UTF-8 without a zero byte, else blobs, byte for byte as they
-- came: base64 (Encoding 1) is not decoded.
SELECT r.id AS "rowid",
       p.text AS "Provider",
       h.text AS "Hostname",
       r.num_nodes AS "num_nodes",
       coalesce(n.body, '') AS "node_names",
       r.exit_status AS "Exit_status",
       r.timestamp AS "Timestamp",
       r.duration AS "Duration",
       r.encoding AS "Encoding",
       coalesce(o.body, '') AS "STDOUT",
       coalesce(e.body, '') AS "STDERR",
       i.text AS "OptionID",
       r.version AS "version",
       u.text AS "Username",
       r.unique_timestamp AS "Unique_timestamp"
FROM result r
JOIN host s ON s.id = r.host
JOIN name h ON h.id = s.hostname
JOIN name p ON p.id = r.provider
JOIN name i ON i.id = r.option_id
JOIN name u ON u.id = r.username
LEFT JOIN content n ON n.id = r.node_names
LEFT JOIN content o ON o.id = r.stdout
LEFT JOIN content e ON e.id = r.stderr;

CREATE VIEW v_result AS
-- One row a result, with its run. "node" is what the run calls the host:
-- the expected node that it stands for, else its host name. "ended" is UTC.
-- The hashes are SHA-256 in hexadecimal, NULL for an empty block.
SELECT s.run AS run,
       r.id AS result,
       s.node AS node,
       h.text AS hostname,
       a.text AS host_arg,
       p.text AS provider,
       i.text AS option_id,
       r.version AS version,
       r.exit_status AS exit_status,
       strftime('%Y-%m-%dT%H:%M:%SZ', r.timestamp, 'unixepoch') AS ended,
       r.unique_timestamp AS ended_usec,
       r.duration AS duration,
       r.encoding AS encoding,
       u.text AS username,
       r.num_nodes AS num_nodes,
       coalesce(n.body, '') AS node_names,
       coalesce(o.size, 0) AS stdout_size,
       coalesce(e.size, 0) AS stderr_size,
       nullif(lower(hex(o.hash)), '') AS stdout_hash,
       nullif(lower(hex(e.hash)), '') AS stderr_hash,
       coalesce(o.body, '') AS stdout,
       coalesce(e.body, '') AS stderr
FROM result r
JOIN host s ON s.id = r.host
JOIN name h ON h.id = s.hostname
JOIN name a ON a.id = s.host_arg
JOIN name p ON p.id = r.provider
JOIN name i ON i.id = r.option_id
JOIN name u ON u.id = r.username
LEFT JOIN content n ON n.id = r.node_names
LEFT JOIN content o ON o.id = r.stdout
LEFT JOIN content e ON e.id = r.stderr;

CREATE VIEW v_run AS
-- One row a run. "nodes" and "results" have come, the others were expected
-- (0: nobody said). Times are UTC; "took" is seconds, NULL while it runs.
SELECT number AS run, uuid, label, note, command_line, state,
       strftime('%Y-%m-%dT%H:%M:%SZ', started / 1000000, 'unixepoch')
         AS started,
       strftime('%Y-%m-%dT%H:%M:%SZ', ended / 1000000, 'unixepoch') AS ended,
       (ended - started) / 1e6 AS took,
       nodes, nodes_expected, results, results_expected,
       started AS started_usec, ended AS ended_usec
FROM run;

CREATE VIEW v_host AS
-- One row for each host that gave results to a run.
SELECT s.run AS run, s.node AS node, h.text AS hostname, a.text AS host_arg,
       (SELECT count(*) FROM result r WHERE r.host = s.id) AS results
FROM host s
JOIN name h ON h.id = s.hostname
JOIN name a ON a.id = s.host_arg;

CREATE VIEW v_missing AS
-- What a run expected and has not got: first nodes that gave nothing
-- (provider ''), then results. "reason" is '' while nobody has said why.
SELECT x.run AS run, x.node AS node, '' AS provider, '' AS option_id,
       x.reason AS reason
FROM expected_node x
WHERE NOT EXISTS (SELECT 1 FROM host s
                  WHERE s.run = x.run AND s.node = x.node)
UNION ALL
SELECT x.run, x.node, x.provider, x.option_id, x.reason
FROM expected_result x
WHERE NOT EXISTS (SELECT 1 FROM host s
                  JOIN result r ON r.host = s.id
                  JOIN name p ON p.id = r.provider
                  JOIN name i ON i.id = r.option_id
                  WHERE s.run = x.run AND s.node = x.node
                    AND p.text = x.provider
                    AND (x.option_id = '' OR i.text = x.option_id));
)sql";

}  // namespace zelk::accumulate
