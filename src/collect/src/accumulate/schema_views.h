// The views of a datastore: what other programs, and people, may rely on.
//
// They only grow; the tables behind (schema_sql.h) are ours to change. A
// comment inside a CREATE statement is kept by SQLite.

#pragma once

namespace zelk::accumulate {

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
-- One row a run. "nodes" and "results" have come, whoever they are of; the
-- others were expected (0: nobody said). "nodes_answered" are the expected ones
-- among "nodes". Times are UTC; "took" is seconds, NULL while it runs.
SELECT number AS run, uuid, label, note, command_line, state,
       strftime('%Y-%m-%dT%H:%M:%SZ', started / 1000000, 'unixepoch')
         AS started,
       strftime('%Y-%m-%dT%H:%M:%SZ', ended / 1000000, 'unixepoch') AS ended,
       (ended - started) / 1e6 AS took,
       nodes, nodes_expected, results, results_expected,
       started AS started_usec, ended AS ended_usec,
       (SELECT count(*) FROM expected_node x
        WHERE x.run = number
          AND EXISTS (SELECT 1 FROM host s
                      WHERE s.run = x.run AND s.node = x.node))
         AS nodes_answered
FROM run;

CREATE VIEW v_host AS
-- One row for each host that gave results to a run.
SELECT s.run AS run, s.node AS node, h.text AS hostname, a.text AS host_arg,
       (SELECT count(*) FROM result r WHERE r.host = s.id) AS results
FROM host s
JOIN name h ON h.id = s.hostname
JOIN name a ON a.id = s.host_arg;

CREATE VIEW v_missing AS
-- What a run expected and has not got, each thing once: nodes that gave nothing
-- and of which no result is named (provider ''), then results. "reason" is ''
-- while nobody has said why; of a silent node it is that of each result.
SELECT x.run AS run, x.node AS node, '' AS provider, '' AS option_id,
       x.reason AS reason
FROM expected_node x
WHERE NOT EXISTS (SELECT 1 FROM host s
                  WHERE s.run = x.run AND s.node = x.node)
  AND NOT EXISTS (SELECT 1 FROM expected_result y
                  WHERE y.run = x.run AND y.node = x.node)
UNION ALL
SELECT x.run, x.node, x.provider, x.option_id,
       CASE WHEN x.reason <> '' THEN x.reason
            ELSE coalesce((SELECT n.reason FROM expected_node n
                           WHERE n.run = x.run AND n.node = x.node
                             AND NOT EXISTS (SELECT 1 FROM host s
                                             WHERE s.run = n.run
                                               AND s.node = n.node)), '')
       END
FROM expected_result x
WHERE NOT EXISTS (SELECT 1 FROM host s
                  JOIN result r ON r.host = s.id
                  JOIN name p ON p.id = r.provider
                  JOIN name i ON i.id = r.option_id
                  WHERE s.run = x.run AND s.node = x.node
                    AND p.text = x.provider
                    AND (x.option_id = '' OR i.text = x.option_id));
)sql";

// Version 2 has other views over the tables of version 1.
constexpr char drop_views[] = R"sql(
DROP VIEW v_provider_result;
DROP VIEW v_result;
DROP VIEW v_run;
DROP VIEW v_host;
DROP VIEW v_missing;
)sql";

}  // namespace zelk::accumulate
