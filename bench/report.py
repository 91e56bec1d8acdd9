#!/usr/bin/env python3
"""report.py BUILD_DIR [...]: measures, compares, writes; see `./dev bench` and --help.

  (nothing)      instructions, times and memory: docs/performance.md with its plots
  --growth       the same, and time and memory against sizes: the page's last section, which stays as it is otherwise
  --count        instructions by callgrind, against `budget.json`; fails where one is more than 5 % over
  --only WORK    the time of one work, beside its peer where it has one
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import counts
import plots

BENCH = pathlib.Path(__file__).resolve().parent
DOCS = BENCH.parent / "docs"
BUDGET = BENCH / "budget.json"
ROOM = 1.05
ROUNDS = 41
BATCH_ROUNDS = 20
# So many that starting the process counts for about a hundredth with two jobs.
BATCH_LINES = 1_000_000
HELD = 1_000_000
KEY = "key, 3 fields"
PLAIN = "key, 3 fields, plain counts"
BATCH_KEY = "key, as in a batch"
STRING = "scalar, string of 9"
S4 = "scalar, s4 of 1 MiB"
BARE = "a bare throw and catch"
FLOOR = "floor, 3 fields"
BY_HAND = "protobuf, by hand, 3 fields"
REFUSED = "libyang, error, value that does not fit"
UNION_FIRST, UNION_LAST = "scalar, union of 5 hit first", "scalar, union of 5 hit last"
PATHS = ["gnmi, path of 3 keys", "gnmi, message of 3 keys"]
PEERS = [BY_HAND, "protobuf, by hand, prefix as bytes", "protobuf, TextFormat, 3 fields", "libyang, values, 3 keys",
         "libyang, text, 3 keys"]
VARIED = ["protobuf, by hand, varied", "key, 3 fields, varied", "gnmi, path of 3 keys, varied"]
TABLE = ["table of 10^6 keys, typed", "table of 10^6 keys, by text"]
ERRORS = ["error, value that does not fit", "error, key with a value that does not fit"]
DEEP = ["libyang, path of 7 elements", "gnmi, path of 7 elements", "gnmi, message of 7 elements"]
MATCHER = [f"matcher, {count} subscriptions" for count in (10, 1000, 100000)]
# The same lists through yang/ and through libyang.
LISTS = ["1 string", "3 keys", "union hit first", "union hit last", "restricted string", "4 keys of FRR"]
# Works beside their peer, and the goal for the ratio of their times.
PAIRS = [
    ("a key of 3 fields, time to protobuf by hand", KEY, BY_HAND, 0.95),
    ("a key of 8 fields, time to protobuf by hand", "key, 8 fields", "protobuf, by hand, 8 fields", 1.6),
    ("a path of 3 keys as text, time to protobuf by hand", PATHS[0], BY_HAND, 1.4),
    ("the same path as a message", PATHS[1], BY_HAND, 1.1),
    ("the error of a value that does not fit, time to `lyd_new_list2` with that error", ERRORS[0], REFUSED, 0.9),
    ("from a path to its entry among 10^6 keys, time to a table of texts", *TABLE, 1.3),
]
# What is timed in turns with each other; each work but the rest is in one of them.
GROUPS = [
    [KEY, *PEERS[:2], FLOOR, *PATHS, PLAIN, *PEERS[2:]],
    [*PAIRS[1][1:3]],
    [*ERRORS, REFUSED, BARE, UNION_FIRST, UNION_LAST],
    VARIED,
    TABLE,
    MATCHER,
    DEEP,
    *([f"yang, {name}", f"libyang, text, {name}"] for name in LISTS if name != "3 keys"),
]
# Name, what came before the work on speed, and the goal: of the decoder's instructions.
DECODER_GOALS = [("split, 3 elements", 470, 200), (STRING, 445, 310), ("scalar, u32", 287, 280),
                 ("scalar, union hit first", 437, 430), (KEY, 3894, 2600), ("key, 8 fields", 10146, 7000),
                 ("key, 12 fields", 14413, 10300), ("key, nested three deep", 7456, 5300),
                 ("filter, 3 fields", 1928, 1750)]


def with_commas(number, digits=0):
    return "-" if number is None else f"{number:,.{digits}f}"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "|".join("---" if i == 0 else "--:" for i in range(len(head))) + "|"]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def spread(values, digits=2):
    """The median, and the quartiles where there is more than one value."""
    median = with_commas(statistics.median(values), digits)
    if len(values) == 1:
        return median
    first, _, third = statistics.quantiles(values, n=4, method="inclusive")
    return f"{median} ({with_commas(first, digits)} to {with_commas(third, digits)})"


def json_lines(command):
    run = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, text=True, check=True)
    return [json.loads(line) for line in run.stdout.splitlines()]


# --- Instructions against their budget


def check_budget(build, update):
    # The peers are other people's code, and growth is the same work again: neither has a budget.
    found = {name: cost for name, cost in counts.count(build / "bench" / "bench").items()
             if not name.startswith(("growth", "libyang", "protobuf", "nothing"))}
    if update:
        BUDGET.write_text(json.dumps(found, indent=1) + "\n")
        print(f"wrote {BUDGET.name}: {len(found)} works")
        return 0
    over = 0
    budget = json.loads(BUDGET.read_text())
    for name in sorted(budget.keys() | found.keys()):
        if "FRR" in name and name not in found:
            continue  # its modules come from a package that may be missing
        for part in ("whole", "decoder"):
            allowed, is_now = budget.get(name, {}).get(part), found.get(name, {}).get(part)
            if allowed is None and is_now is None:
                continue
            if allowed is None or is_now is None or is_now > allowed * ROOM:
                over += 1
                print(f"over budget: {name}, {part}: {with_commas(is_now)} instructions, {with_commas(allowed)} allowed")
    print(f"{len(found)} works counted, {over} over budget")
    return 1 if over else 0


# --- Measuring


def names_of_works(build):
    return subprocess.run([build / "bench" / "bench", "--list"], stdout=subprocess.PIPE, text=True,
                          check=True).stdout.splitlines()


def timed(build, names, rounds=ROUNDS):
    """For each work what a round of it took: lists of equal length, as the works took turns."""
    return {row["name"]: row for row in json_lines([build / "bench" / "bench", "--time", rounds, *names])}


def ratios(times, ours, theirs):
    return [a / b for a, b in zip(times[ours]["ns"], times[theirs]["ns"])]


def in_threads(build, rounds, threads):
    rows = json_lines([build / "bench" / "bench", "--threads", rounds, KEY, *threads])
    return {row["threads"]: row for row in rows}


def held(build, what, count=HELD):
    return json_lines([build / "bench" / "bench_held", what, count])[0]


def batch_requests(lines):
    """A file with so many requests."""
    block = [b'{"op": "decode", "collection": "Vrf.route", "keys": [["key__vrf", "red"], '
             b'["key__prefix", "10.%d.%d.0/24"], ["key__protocol", "bgp"]]}\n' % (i >> 8, i & 255) for i in range(65536)]
    requests = tempfile.TemporaryFile()
    for _ in range(lines // len(block)):
        requests.write(b"".join(block))
    requests.write(b"".join(block[:lines % len(block)]))
    return requests


def run_batch(build, jobs, requests, lines, is_read=True):
    """
    Seconds by the clock for all and until the first answer, nanoseconds of processor time a line, MiB at most. Who reads
    the answers takes a processor from the jobs, so where their number counts, nobody does.
    """
    requests.seek(0)
    start = time.monotonic()
    child = subprocess.Popen([build / "zynkey" / "zynkey", "batch", "--jobs", str(jobs)], stdin=requests,
                             stdout=subprocess.PIPE if is_read else subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             bufsize=0)
    first = None
    while is_read and os.read(child.stdout.fileno(), 1 if first is None else 1 << 20):
        first = first or time.monotonic() - start
    _, status, usage = os.wait4(child.pid, 0)
    seconds = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) != 0:
        raise SystemExit("bench: zynkey batch failed")
    return {"seconds": seconds, "first": first, "ns": (usage.ru_utime + usage.ru_stime) / lines * 1e9,
            "MiB": usage.ru_maxrss / 1024}


def batch_in_turns(build):
    rows = {1: [], 2: []}
    with batch_requests(BATCH_LINES) as requests:
        for i in range(BATCH_ROUNDS):
            for jobs in (1, 2) if i % 2 == 0 else (2, 1):
                rows[jobs].append(run_batch(build, jobs, requests, BATCH_LINES, is_read=False))
    return {jobs: {part: [row[part] for row in runs] for part in runs[0]} for jobs, runs in rows.items()}


class Measured:
    """Everything that the page tells."""

    def __init__(self, build):
        names = names_of_works(build)
        self.load = os.getloadavg()[0]
        self.names = [name for name in names if not name.startswith("growth")]
        groups = [group for group in GROUPS if all(name in names for name in group)]
        grouped = {name for group in groups for name in group}
        self.times = {}
        for group in [*groups, [name for name in self.names if name not in grouped]]:
            self.times |= timed(build, group)
        self.threads = in_threads(build, BATCH_ROUNDS, [1, 2])
        self.batch = batch_in_turns(build)
        self.held = {what: held(build, what) for what in ("key", "protobuf", "protobuf, flat", "libyang")}
        self.memory = {row["name"]: row for row in json_lines([build / "bench" / "bench_memory", *self.names])}
        self.cost = counts.count(build / "bench" / "bench")
        self.null = counts.count(build / "bench" / "bench_null")

    def ns(self, name):
        return statistics.median(self.times[name]["ns"])

    def ratio(self, ours, theirs):
        return spread(ratios(self.times, ours, theirs))

    def counted(self, name, what):
        """By the machine, or nothing."""
        values = self.times[name][what]
        return statistics.median(values) if values else None

    def instructions(self, name):
        return self.cost[name]["whole"] if name in self.cost else self.counted(name, "instructions")

    def rows(self, names, beside):
        for name in names:
            yield (name, with_commas(self.ns(name)), self.ratio(name, beside), with_commas(self.instructions(name)),
                   with_commas(self.counted(name, "misses"), 1), self.memory[name]["heap"], self.memory[name]["slab"])

    def works(self, names, beside):
        return table(["Work", "ns", f"time to *{beside}*", "instructions", "cache misses", "heap calls", "slab calls"],
                     self.rows(names, beside))


# --- The page


def goals(m):
    """Work, values, digits, unit, goal, and whether more is better."""
    pairs = [(label, ratios(m.times, ours, theirs), 2, "", goal, False) for label, ours, theirs, goal in PAIRS]
    return [
        *pairs[:2],
        ("a scalar string of 9", m.times[STRING]["ns"], 1, " ns", 30, False),
        *pairs[2:],
        ("memory of a key of 3 fields that is held, its slot included", [m.held["key"]["all"] / HELD], 0, " B", 180, False),
        ("resident memory above the start when 10^6 keys were dropped", [m.held["key"]["none"] / 1e6], 0, " MB", 30, False),
        ("batch, processor time of a line to the time of its key",
         [line / m.ns(BATCH_KEY) for line in m.batch[1]["ns"]], 1, "", 4, False),
        ("batch, 2 jobs to 1, by the clock",
         [one / two for one, two in zip(m.batch[1]["seconds"], m.batch[2]["seconds"])], 2, "", 1.85, True),
        ("an s4 text of 1 MiB, instructions a byte", [m.cost[S4]["whole"] / 2**20], 1, "", None, False),
    ]


def goal_rows(m):
    for label, values, digits, unit, goal, more in goals(m):
        median = statistics.median(values)
        met = "-" if goal is None else "yes" if (median >= goal if more else median <= goal) else "no"
        yield label, spread(values, digits) + unit, "-" if goal is None else f"{goal:g}{unit}", met


def sections(m):
    yield "## Goals"
    yield table(["Work", "Now", "Goal", "Met"], goal_rows(m))
    yield ("Ratios are medians, with their quartiles. Keys of the tables and of the memory rows have one shape and differ in a\n"
           "number and a prefix; the table of texts is an `absl::flat_hash_map` by the text that is built from the path, its\n"
           "keys sorted by name.")
    yield "## A key of three fields, from text to object and dropped again"
    yield "![Time of a key of three fields](performance.svg)"
    yield m.works([KEY, FLOOR, *PEERS], KEY)
    yield "## Keys that differ from call to call"
    yield m.works(VARIED, VARIED[0])
    yield ("10^5 keys in turn: names of interfaces and routing tables of 4 to 24 bytes, prefixes of IPv4 and IPv6 of the lengths\n"
           "that are common. Hand-tuned code stays only where it wins here too.")
    yield "## Keys by the million"
    yield m.works(TABLE, TABLE[1])
    yield table(["Held, 10^6 keys", "bytes each, slot included", "MB when a random 90 % were dropped", "MB when all were"],
                [(what, *(with_commas(m.held[what][part] / scale) for part, scale in
                          (("all", HELD), ("tenth", 1e6), ("none", 1e6)))) for what in m.held])
    yield "Resident memory above that at the start. Slots are handles in a `std::vector`: two words for a key, one for its peers."
    yield "## Errors"
    yield m.works([*ERRORS, REFUSED, BARE], REFUSED)
    yield ("libyang reads a whole list instance; of the decoder, the first row is told of the value that does not fit alone, the\n"
           "second of the fields before it as well.")
    yield "## Ratios"
    one, two = m.threads[1], m.threads[2]
    failed = [(last - first) / 4 / bare for first, last, bare in
              zip(*(m.times[name]["ns"] for name in (UNION_FIRST, UNION_LAST, BARE)))]
    failed_cost = (m.cost[UNION_LAST]["whole"] - m.cost[UNION_FIRST]["whole"]) / 4 / m.cost[BARE]["whole"]
    yield table(["What", "Ratio"], [
        ("a union's failed alternative to a bare throw and catch", spread(failed)),
        ("the same in instructions", with_commas(failed_cost, 2)),
        ("two threads to one, by processor time", spread([2 * a / b for a, b in zip(one["processor"], two["processor"])])),
        ("two threads to one, by the clock", spread([a / b for a, b in zip(one["clock"], two["clock"])])),
        ("atomic counts to plain ones, one thread", m.ratio(KEY, PLAIN)),
        ("batch, 2 jobs to 1, by processor time", spread([2 * a / b for a, b in zip(m.batch[1]["ns"], m.batch[2]["ns"])])),
    ])
    yield ("By processor time means: twice what one operation takes on one thread, to what it takes while another thread works\n"
           "too. Other programs on the machine hardly count then; by the clock they do.")
    yield "## Keys of YANG lists, from text"
    yield table(["List", "ns", "instructions", "libyang, instructions", "libyang's time to ours"],
                [(name, with_commas(m.ns(ours)), with_commas(m.instructions(ours)), with_commas(m.instructions(theirs)),
                  m.ratio(theirs, ours))
                 for name in LISTS for ours, theirs in [(f"yang, {name}", f"libyang, text, {name}")] if ours in m.times])
    yield "## gNMI paths, from text or message to typed keys"
    yield m.works(PATHS, BY_HAND)
    yield m.works(DEEP, DEEP[0])
    yield ("Schema, path and results are used again; the message is read each time; protobuf by hand reads no path. The path of 7\n"
           "elements is one of the shape that OpenConfig's have, with lists inside of lists\n"
           "([bench-network.yang](../bench/peers/bench-network.yang)); libyang makes its tree from the same path. A change\n"
           "against subscriptions, of which it concerns the first ten or nearly so:")
    yield m.works(MATCHER, MATCHER[0])
    yield "## The decoder alone, in instructions"
    yield table(["Work", "Before", "Now", "Goal"],
                [(name, with_commas(before), with_commas(m.cost[name]["decoder"]), with_commas(goal))
                 for name, before, goal in DECODER_GOALS])
    yield "## Every work"
    yield table(["Work", "ns", "instructions", "of these the decoder's", "cache misses", "heap calls", "slab calls"],
                [(name, spread(m.times[name]["ns"], 1), with_commas(m.instructions(name)),
                  with_commas(m.cost.get(name, {}).get("decoder")), with_commas(m.counted(name, "misses"), 1),
                  m.memory[name]["heap"], m.memory[name]["slab"]) for name in m.names])
    yield "With a provider that does next to nothing, which leaves the decoder and the harness:"
    yield table(["Work", "instructions"], [(name, with_commas(row["whole"])) for name, row in m.null.items()])
    yield f"`zynkey batch`, {with_commas(BATCH_LINES)} lines, whose answers go to `/dev/null`:"
    yield table(["Jobs", "lines a second, by the clock", "us of processor time a line", "MiB at most"],
                [(jobs, spread([BATCH_LINES / seconds for seconds in row["seconds"]], 0),
                  spread([ns / 1000 for ns in row["ns"]]), with_commas(max(row["MiB"]))) for jobs, row in m.batch.items()])


INTRO = """# Performance

How fast the decoder is, beside the least that the work can cost (the floor: hand-written code that knows the key's type,
with the same value objects) and beside what a user would pick instead. All figures but those under
[Growth](#growth) come from one run, on {model}, {processors} processors; the load of the minute before was {load:.1f}.
Compiled as the preset `release` does: the decoder and the embedded type system at -O3, all else at -O2; libyang, protobuf
and Abseil as Debian builds them.

    ./dev bench                  measures everything but growth, and writes this page and its plots
    ./dev bench --growth         the same with growth, which takes some minutes more
    ./dev bench --only 'key, 3 fields' --runs 10    ten runs of one work beside its peer, a pause before each
    ./dev bench --count          only counts instructions, and compares them with bench/budget.json (5 % room)
    ./dev bench --count --update writes the budget anew, after a change that was meant to cost or save

Times are processor time. What is compared is done by one process in turns: {rounds} rounds, in each some milliseconds of
every work, in turned order every other round; a ratio is the median of the rounds' ratios, in brackets its quartiles.
Instructions are counted by callgrind, where they repeat exactly on one machine; those of works that take long to
prepare, and cache misses, by the processor. {counted}
*The decoder's* instructions are those below the library's entry points (and inline code of its header) without those below
its calls into the provider; where an exception passes, only the sum is known. *Heap calls* are those that do not come
from the slab; *slab calls* are containers and value objects. "By hand" is protobuf's reflection: every field found by
name, every text read by its type; what the decoder refuses is refused there too. In the row with the prefix as bytes it
is one text of five bytes, not a message.
"""

WHAT_IS_LEFT = """## What is left

What stands in the way of goals that are missed, or met by little:

- Where the code lies counts as much as what it does. The processor keeps decoded instructions in 64 sets of 16 entries;
  an entry holds up to 6 instructions of one cache line, and the line's place in its memory page tells the set. A key
  fills 430 of the 1,024 entries, a path of three keys as a message 610. What does not fit into its set is decoded anew
  each time: where that befalls 60 of 1,000 instructions, they take 6 % more time. Libraries share the sets, so a change
  of one moves the times of all by as much. So code that few keys need is kept apart, and functions begin at cache lines.
- Loads that wait for stores: a load that asks for more than one store has just written waits until all of them are in
  the cache. A key of three fields has about twenty such loads, and so has protobuf. In the map of children a search reads
  sixteen control bytes of which one was just written, or all, as the map was just made.
- A scalar string of 9 bytes takes 125 to 135 cycles of the processor, which its clock makes 29 to 32 ns.
- A table of typed keys: to find one, its key is made and dropped (6,600 instructions, a text takes 2,500), and three
  lines of memory are compared instead of one or two. The ratio lies between 1.17 and 1.45, as the memory of the machine
  is slow or fast on the day: slow memory hides the instructions.
- A key of many fields pays for its tree: each field is put into a map and taken out again, which protobuf has no need of.
- An s4 text: Boost decodes one character after the other, with 15 instructions for each: 20 for a byte of the message.
  It keeps up with 1.2 GB a second.

Of the decoder's instructions for a key of three fields, the most first:

- the map of a node's children. A new child is looked for twice, as its trace and its type come before its place in the
  map; then it is found once more. All are taken out together, with the map.
- the elements of each path. They are a block of memory, taken, told to the memory tracker and given back; callers of
  `splitPath` receive that vector, so it is made for `processKeyPath` as well.
- the calls to the type system, which is asked anew for each path, as nothing is cached between operations.

The error of a union's alternative that is not read has no text, on either side. What a failed alternative costs more
than a bare throw is frames that save more registers, which the unwinder restores one by one, and an exception that holds
the text it refused.
"""


def intro(m):
    with open("/proc/cpuinfo") as file:
        model = next((line.split(":")[1].strip() for line in file if line.startswith("model name")), os.uname().machine)
    counted = ("This machine let both be counted." if m.counted(KEY, "misses") is not None else
               "This machine, or its settings, let neither be counted (`perf_event_open`): they are left out.")
    return INTRO.format(model=model, processors=os.cpu_count(), load=m.load, rounds=ROUNDS, counted=counted)


def report(build, with_growth):
    page = DOCS / "performance.md"
    # What growth was measured last stays.
    _, heading, growth = (page.read_text() if page.exists() else "").partition("## Growth\n")
    m = Measured(build)
    (DOCS / "performance.svg").write_text(plots.bars(
        "A key of three fields: ns of processor time", [(name, round(m.ns(name))) for name in [FLOOR, KEY, *PEERS]]))
    text = [intro(m), *sections(m), WHAT_IS_LEFT, heading + growth]
    if with_growth:
        text[-1] = "\n\n".join(growth_sections(build))
    page.write_text("\n\n".join(part.strip() for part in text).strip() + "\n")
    print(page.read_text())
    return 0


# --- Growth

GROWTH_ROUNDS = 5
# What should take the same time whatever the size.
CONSTANT = ["types of a schema that decode a key in turn", "nodes of a schema that a path is resolved in"]
TABLE_SIZES = [10_000, 100_000, 1_000_000, 2_500_000, 5_000_000, 7_500_000, 10_000_000]
THREADS = [1, 2, 4, 8, 16, 24, 32, 40, 48, 56, 64]
BATCH_SIZES = [10_000, 100_000, 1_000_000, 2_500_000, 5_000_000, 7_500_000, 10_000_000]

GROWTH = """## Growth

Time and memory, each against a size, of one run of their own. Time is processor time where nothing else is said; memory
grows in steps where containers double. What limits each:

- *fields, depth, path elements, keys*: nothing but the work itself, which is the same for each.
- *union width*: each alternative that is tried fails by an exception, and unwinding is nearly all of it.
- *strings*: the speed of memory, once they are larger than the caches.
- *keys in a table*: a look-up waits for memory once the table is larger than the caches: for the table's slot, then for
  the key, whose parts lie in its block.
- *types of a schema*: to build them, the names and rows of their tables; to decode with all of them in turn, the caches,
  in which their rows and names find no room any more: the same instructions wait for memory.
- *threads*: the processors. More threads than those take turns and gain nothing. Each counts its memory in a place of
  its own as long as there are such places; threads beyond those share one, and wait for each other's counts.
- *lines of a batch*: reading and printing JSON. What was read and is not yet answered is bounded, and it alone is kept;
  the first answer comes when the first lines have been read, however many follow.
"""


def growth_sections(build):
    kinds = {}
    for name in names_of_works(build):
        if name.startswith("growth, "):
            kind, _, size = name.removeprefix("growth, ").rpartition(": ")
            kinds.setdefault(kind, {})[int(size)] = name
    grown = {}
    for kind, works in kinds.items():
        times = timed(build, works.values(), GROWTH_ROUNDS)
        memory = json_lines([build / "bench" / "bench_memory", *works.values()])
        grown[kind] = [(size, min(times[name]["ns"]), row["bytes"])
                       for (size, name), row in zip(works.items(), memory)]
    tables = [(size, row["ns"], row["bytes"]) for size in TABLE_SIZES for row in [held(build, "table", size)]]
    threads = in_threads(build, GROWTH_ROUNDS, THREADS)
    batch = {}
    for lines in BATCH_SIZES:
        with batch_requests(lines) as requests:
            batch[lines] = run_batch(build, 2, requests, lines)
    (DOCS / "growth.svg").write_text(plots.lines({
        **{kind: (rows, "ns", "bytes") for kind, rows in grown.items()},
        "keys in a table: a path to its entry": (tables, "ns", "bytes each"),
        "threads: a key": ([(size, statistics.median(row["clock"]), statistics.median(row["processor"]))
                            for size, row in threads.items()], "ns by the clock", "ns of all processors"),
        "lines of a batch, 2 jobs": ([(lines, row["seconds"], row["MiB"]) for lines, row in batch.items()],
                                     "s by the clock", "MiB"),
    }))
    yield GROWTH
    yield "![Growth](growth.svg)"
    each = {kind: [ns / size for size, ns, _ in rows[len(rows) // 2:]] for kind, rows in grown.items()}
    yield table(["Size", "from", "to", "ns for each unit in the upper half, least and most", "bytes for each unit at the end"],
                [(kind, rows[0][0], rows[-1][0], " to ".join(with_commas(one(each[kind]), 0 if min(each[kind]) >= 100 else 2) for one in (min, max)),
                  with_commas(rows[-1][2] / rows[-1][0])) for kind, rows in grown.items() if kind not in CONSTANT])
    yield table(["Size that time does not depend on", *("ns at " + with_commas(row[0]) for row in grown[CONSTANT[0]])],
                [(kind, *(with_commas(row[1]) for row in grown[kind])) for kind in CONSTANT])
    yield table(["Keys in a table", "ns from a path to its entry", "bytes each, with key and entry"],
                [tuple(map(with_commas, row)) for row in tables])
    yield table(["Threads", "ns a key, by the clock", "ns of all processors a key"],
                [(size, spread(row["clock"], 0), spread(row["processor"], 0)) for size, row in threads.items()])
    yield table(["Lines of a batch, 2 jobs", "s by the clock", "us of processor time a line", "MiB at most",
                 "ms to the first answer"],
                [(with_commas(lines), with_commas(row["seconds"], 2), with_commas(row["ns"] / 1000, 2),
                  with_commas(row["MiB"]), with_commas(row["first"] * 1000, 1)) for lines, row in batch.items()])


# --- One work


def only(build, name, runs, pause):
    peer = next((theirs for _, ours, theirs, _ in PAIRS if ours == name), None)
    for run in range(runs):
        if run:
            time.sleep(pause)
        times = timed(build, [name] + ([peer] if peer else []))
        print(f"{time.strftime('%H:%M:%S')}  {name}: {spread(times[name]['ns'], 1)} ns", end="")
        print(f"; {peer}: {spread(times[peer]['ns'], 1)} ns; ratio {spread(ratios(times, name, peer), 3)}" if peer else "",
              flush=True)
    return 0


def main():
    parser = argparse.ArgumentParser(prog="./dev bench")
    parser.add_argument("build", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--growth", action="store_true", help="measure growth as well")
    parser.add_argument("--count", action="store_true", help="only count instructions, against their budget")
    parser.add_argument("--update", action="store_true", help="with --count: write the budget anew")
    parser.add_argument("--only", metavar="WORK", help="only time this work, beside its peer where it has one")
    parser.add_argument("--runs", type=int, default=1, metavar="N", help="with --only: so often")
    parser.add_argument("--pause", type=float, default=10, metavar="SECONDS", help="with --runs: between them (10)")
    options = parser.parse_args()
    build = options.build.resolve()
    if options.count:
        return check_budget(build, options.update)
    if options.only:
        return only(build, options.only, options.runs, options.pause)
    return report(build, options.growth)


if __name__ == "__main__":
    sys.exit(main())
