-- What to run first: paths go in as text, and come back as columns of the right types. Nothing is left behind but the
-- tables sample, route and counter; run it in a database of its own.

-- Numbers stand alone in what is printed.
SET output_format_pretty_row_numbers = 0, output_format_pretty_single_large_number_tip_threshold = 0;

-- 1. Paths as they arrive, in more than one spelling, and some that are no path of this schema.
CREATE TABLE sample (id UInt64, path String) ENGINE = Memory;

INSERT INTO sample SELECT number,
       multiIf(number % 10 = 9, format('/vrf[name=v{0}]/rout', toString(number)),
               number % 2 = 0, format('/vrf[name=v{0}]/route[vrf=v{0}][prefix=10.{1}.2.3/16][protocol=bgp][tag={1}]',
                                      toString(number % 4), toString(number)),
               format('vrf[name=v{0}]/route[tag={1}][protocol=static][prefix=10.{1}.0.0/16][vrf=v{0}]/nextHop',
                      toString(number % 4), toString(number)))
  FROM numbers(100);

-- 2. A table for what they mean: `zynkey rows --collection Vrf.route --ddl clickhouse --in json` prints the columns.
CREATE TABLE route (
`id` Nullable(String),
`path` Nullable(String),
`entry` Nullable(String),
`kind` Nullable(String),
`vrf` Nullable(String),
`prefix` Nullable(String),
`protocol` Nullable(String),
`tag` Nullable(UInt32),
`error` Nullable(String),
`class` Nullable(String),
`offset` Nullable(UInt64)
) ENGINE = Memory;

-- 3. Each path becomes one row, in one pass. What is no path of the schema becomes one with an error. Without
-- check_exit_code, a command that does not run may look like an empty answer.
INSERT INTO route SELECT * FROM executable('zynkey-rows --collection Vrf.route', JSONEachRow,
  '`id` Nullable(String), `path` Nullable(String), `entry` Nullable(String), `kind` Nullable(String),
   `vrf` Nullable(String), `prefix` Nullable(String), `protocol` Nullable(String), `tag` Nullable(UInt32),
   `error` Nullable(String), `class` Nullable(String), `offset` Nullable(UInt64)',
  (SELECT id, path FROM sample), SETTINGS check_exit_code = 1);

-- 4. Nothing is lost: what failed says why, and where in the path.
SELECT count() AS rows, countIf(error IS NULL) AS typed FROM route;

SELECT id, path, error, class, offset FROM route WHERE error IS NOT NULL ORDER BY toUInt64(id) LIMIT 2;

-- 5. Group by a typed column: tag is a number.
SELECT protocol, vrf, count() AS routes, sum(tag) AS tags, max(tag) AS greatest
  FROM route WHERE error IS NULL GROUP BY protocol, vrf ORDER BY protocol, vrf;

-- 6. Join on a canonical prefix. Counters come under other spellings of the same routes: the order of the keys and the
-- host bits differ, and the paths go on below. `entry` is the same for the same route, however its path was written.
CREATE TABLE counter (id UInt64, path String, packets UInt64) ENGINE = Memory;

INSERT INTO counter SELECT number,
       format('/vrf[name=v{0}]/route[protocol=bgp][tag={1}][vrf=v{0}][prefix=10.{1}.255.255/16]/nextHop/weight',
              toString(number % 4), toString(number)), number * 1000
  FROM numbers(100) WHERE number % 2 = 0;

SELECT route.vrf, count() AS routes, sum(packets) AS packets
  FROM executable('zynkey-rows --collection Vrf.route', JSONEachRow, '`id` UInt64, `entry` Nullable(String)',
                  (SELECT id, path FROM counter), SETTINGS check_exit_code = 1) AS typed
  JOIN counter ON counter.id = typed.id
  JOIN route ON route.entry = typed.entry
 GROUP BY route.vrf ORDER BY route.vrf;
