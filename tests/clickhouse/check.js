// `zynkey rows` inside the real engine, as npm has it: the example's script prints what its page shows, and 200,000
// paths come back as rows, none lost, with right sums.
//
//   node check.js ZYNKEY FOLDER-OF-CHDB
'use strict';
const assert = require('assert');
const {execFileSync} = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const zynkey = path.resolve(process.argv[2]);
const {Session} = require(path.resolve(process.argv[3]));
const examples = path.join(__dirname, '../../examples/clickhouse');

process.env.PATH = path.dirname(zynkey) + ':' + process.env.PATH;
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zynkey-clickhouse-'));
const session = new Session(path.join(folder, 'data'));
const scripts = path.join(folder, 'data', 'user_scripts');
fs.mkdirSync(scripts, {recursive: true});
fs.copyFileSync(path.join(examples, 'zynkey-rows'), path.join(scripts, 'zynkey-rows'));
fs.chmodSync(path.join(scripts, 'zynkey-rows'), 0o755);

const ask = (sql) => session.query(sql, 'JSONCompactEachRow');
const row = (sql) => JSON.parse(ask(sql));
const seconds = (call) => {
  const start = process.hrtime.bigint();
  call();
  return Number(process.hrtime.bigint() - start) / 1e9;
};
const rows = (options, input) =>
    execFileSync(zynkey, ['rows', ...options], {input, maxBuffer: 1 << 30, stdio: ['pipe', 'pipe', 'ignore']});
const columns = (...options) => rows([...options, '--ddl', 'clickhouse']).toString();

/** What the script prints, statement by statement. */
function firstSteps() {
  const sql = fs.readFileSync(path.join(examples, 'first.sql'), 'utf8');
  assert(sql.includes(`CREATE TABLE route (\n${columns('--collection', 'Vrf.route', '--in', 'json')}) ENGINE`),
         'the columns of first.sql are those that --ddl prints');
  let printed = '';
  for (const statement of sql.replace(/^--.*$/gm, '').split(';').filter((text) => text.trim())) {
    const answer = session.query(statement, 'PrettyCompactMonoBlock');
    printed += answer ? answer.replace(/\x1b\[[0-9;]*m/g, '').trimEnd() + '\n' : '';
  }
  console.log(printed);
  const page = fs.readFileSync(path.join(examples, 'README.md'), 'utf8');
  const shown = page.match(/```text\n([^]*?)```/)[1];
  assert.strictEqual(printed, shown, 'the page shows what the script prints');
}

/** The columns of every keyed collection make a table, and rows of every format go into it. */
function tables() {
  const samples = {
    'Device.interface': '/interface[name=a"b\\\\\\n\\u0009]',
    'Device.tunnel': '/tunnel[from__site__region=eu][from__site__rack=1][from__address=::1][to__site__region=us]' +
        '[to__site__rack=2][to__address=::2][id=3]',
    'Device.timer': '/timer[period=9223372036.854775807]',
    'Device.breaker': '/breaker[closed=true]',
    'Device.snapshot': '/snapshot[taken=2024-02-29T12:34:56.5Z]',
    'Device.portPool': '/portPool[range=80-443]',
    'Device.vlan': '/vlan[id=7]',
    'Device.flow': '/flow[source=::/0]',
    '': '/vrf[name=red]',
  };
  const formats = {json: 'JSONEachRow', tsv: 'TabSeparated', csv: 'CSV'};
  for (const [collection, sample] of Object.entries(samples)) {
    const seen = new Set();
    for (const [out, format] of Object.entries(formats)) {
      const options = ['--in', 'json', '--out', out, ...(collection ? ['--collection', collection] : [])];
      session.query(`CREATE OR REPLACE TABLE t (${columns(...options)}) ENGINE = Memory`);
      const file = path.join(folder, 'rows.' + out);
      const lines = [sample, sample + '/', '/gone'].map((text, id) => JSON.stringify({id, path: text}) + '\n');
      fs.writeFileSync(file, rows(options, lines.join('')));
      session.query(`INSERT INTO t SELECT * FROM file('${file}', ${format}, '${columns(...options)}')`);
      assert.deepStrictEqual(row('SELECT count(), countIf(error IS NULL), sum(toUInt64(id)) FROM t').map(Number), [3, 2, 3],
                             collection + ' as ' + out);
      seen.add(ask(`SELECT ${out === 'json' ? '*' : '* EXCEPT fields'} FROM t ORDER BY id`));
    }
    assert.strictEqual(seen.size, 1, collection + ': every format gives the same rows');
  }
  console.log(`tables: ${Object.keys(samples).length} sets of columns, each loaded as json, tsv and csv`);
}

/** Events come in as maps, and other columns go through; a command that does not run is an error. */
function events() {
  const typed = (options) => `executable('zynkey-rows ${options}', JSONEachRow,
      '\`tags\` Map(String, String), \`name\` Nullable(String), \`error\` Nullable(String)',
      (SELECT map('interface_name', format('eth{0}', toString(number))) AS tags,
              map('/interface/state.counters/in', '1') AS values FROM numbers(3)), SETTINGS check_exit_code = 1)`;
  assert.deepStrictEqual(row(`SELECT groupArray(name), groupArray(tags['interface_name']), countIf(error IS NOT NULL)
                              FROM ${typed('--in event --collection Device.interface')}`).map(String),
                         ['eth0,eth1,eth2', 'eth0,eth1,eth2', '0']);
  assert.throws(() => ask(`SELECT * FROM ${typed('--in event --collection Device.interfase')}`));
  console.log('events: 3, by their tags; an unknown collection is an error');
}

/** 200,000 paths, every thousandth of them wrong. */
function many() {
  const count = 200000;
  session.query(`CREATE TABLE paths ENGINE = Memory AS SELECT number AS id,
      format('/vrf[name=v{0}]/route[vrf=v{0}][prefix=10.{1}.{2}.0/24][protocol=bgp][tag={3}]', toString(number % 100),
             toString(intDiv(number, 256) % 256), toString(number % 256),
             if(number % 1000 = 999, 'x', toString(number))) AS path FROM numbers(${count})`);
  const structure = columns('--collection', 'Vrf.route', '--in', 'json');
  const sums = 'count(), uniqExact(id), countIf(error IS NOT NULL), sum(tag), uniqExact(entry)';
  const typed = `executable('zynkey-rows --collection Vrf.route', JSONEachRow, '${structure}', (SELECT id, path FROM paths))`;
  let inEngine;
  const executable = seconds(() => { inEngine = row(`SELECT ${sums} FROM ${typed}`); });
  const good = [...Array(count).keys()].filter((number) => number % 1000 !== 999);
  assert.deepStrictEqual(inEngine.map(Number),
                         [count, count, count / 1000, good.reduce((a, b) => a + b), good.length]);
  const joined = `FROM ${typed} AS t JOIN paths ON t.id = toString(paths.id) AND t.path = paths.path`;
  assert.strictEqual(Number(row(`SELECT count() ${joined}`)[0]), count, 'ids and paths come back with each other');
  assert.deepStrictEqual(row(`SELECT groupUniqArray(class), countIf(t.id LIKE '%999') ${joined} WHERE error IS NOT NULL`).map(String),
                         ['ValueRefused', String(count / 1000)]);
  const file = path.join(folder, 'typed.json');
  const lines = session.query('SELECT id, path FROM paths', 'JSONEachRow');
  const alone = seconds(() => fs.writeFileSync(file, rows(['--in', 'json', '--collection', 'Vrf.route'], lines)));
  let fromFile;
  const read = seconds(() => { fromFile = row(`SELECT ${sums} FROM file('${file}', JSONEachRow, '${structure}')`); });
  assert.deepStrictEqual(fromFile, inEngine, 'a file of the same rows has the same sums');
  console.log(`${count} paths: ${inEngine[2]} error rows, none lost, sum of tags ${inEngine[3]}`);
  console.log(`typed in the engine ${executable.toFixed(2)} s; the engine reading the same rows from a file ` +
              `${read.toFixed(2)} s, ${(executable / read).toFixed(1)} times; zynkey rows alone ${alone.toFixed(2)} s`);
}

try {
  console.log(`engine ${row('SELECT version()')[0]}`);
  firstSteps();
  tables();
  events();
  many();
} finally {
  session.cleanup();
  fs.rmSync(folder, {recursive: true, force: true});
}
