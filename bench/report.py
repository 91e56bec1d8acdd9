#!/usr/bin/env python3
"""report.py count|all BUILD_DIR [--update]: measures, compares, writes.

  count   instructions by callgrind, against `budget.json`; fails where one is more than 5 % over. --update writes the
          budget anew.
  all     instructions, times and memory: the table of ratios, and docs/performance.md with its plots
"""
import json
import os
import pathlib
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
BATCH_LINES = 200_000
KEY = "key, 3 fields"
BARE = "a bare throw and catch"
FLOOR = "floor, 3 fields"
# The same lists through yang/ and through libyang.
LISTS = ["1 string", "3 keys", "union hit first", "union hit last", "restricted string", "4 keys of FRR"]
PEERS = ["libyang, text, 3 keys", "libyang, values, 3 keys", "protobuf, TextFormat, 3 fields",
         "protobuf, by hand, 3 fields", "protobuf, by hand, prefix as bytes"]
# Name, what came before the work on speed, and the goal: of the decoder's instructions.
DECODER_GOALS = [("split, 3 elements", 470, 200), ("scalar, string of 9", 445, 310), ("scalar, u32", 287, 280),
                 ("scalar, union hit first", 437, 430), (KEY, 3894, 2600), ("key, 8 fields", 10146, 7000),
                 ("key, 12 fields", 14413, 10300), ("key, nested three deep", 7456, 5300),
                 ("filter, 3 fields", 1928, 1750)]
# Of the decoder, gnmi/ and the model together: what came before the resolver, the goal, and that for the time beside
# protobuf by hand, which reads no path.
BY_HAND = "protobuf, by hand, 3 fields"
PATH_GOALS = [("gnmi, path of 3 keys", 15481, 5500, 1.4), ("gnmi, message of 3 keys", None, 4800, 1.2),
              ("gnmi, path of 7 elements", None, 9000, None), ("gnmi, message of 7 elements", None, None, None),
              ("libyang, path of 7 elements", None, None, None)]


def with_commas(number):
    return "-" if number is None else f"{number:,.0f}"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "|".join("---" if i == 0 else "--:" for i in range(len(head))) + "|"]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def check_budget(found, update):
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


def count_works(build):
    # The peers are other people's code, and growth is the same work again: neither has a budget.
    return {name: cost for name, cost in counts.count(build / "bench" / "bench").items()
            if not name.startswith(("growth", "libyang", "protobuf", "nothing"))}


def measure_times(build, what, repetitions):
    """Nanoseconds of processor time by name: the least of several repetitions, which other work disturbs the least."""
    with tempfile.TemporaryDirectory() as scratch:
        out = pathlib.Path(scratch, "out.json")
        subprocess.run([build / "bench" / "bench", f"--benchmark_filter={what}", "--benchmark_min_time=0.05",
                        f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true",
                        "--benchmark_out_format=json", f"--benchmark_out={out}"], stdout=subprocess.DEVNULL, check=True)
        times = {}
        for row in json.loads(out.read_text())["benchmarks"]:
            if row["run_type"] == "iteration":
                times.setdefault(row["name"], []).append(row["cpu_time"])
    return {name: min(values) for name, values in times.items()}


def measure_memory(build):
    lines = subprocess.run([build / "bench" / "bench_memory"], stdout=subprocess.PIPE, text=True, check=True).stdout
    return {row["name"]: row for row in map(json.loads, lines.splitlines())}


def measure_batch(build, jobs, lines):
    """Lines a second, microseconds of processor time for a line, and the most memory in MiB."""
    command = build / "zynkey" / "zynkey"
    with tempfile.TemporaryFile() as requests:
        for i in range(lines):
            requests.write(b'{"op": "decode", "collection": "Vrf.route", "keys": [["key__vrf", "red"], '
                           b'["key__prefix", "10.%d.%d.0/24"], ["key__protocol", "bgp"]]}\n' % (i >> 8 & 255, i & 255))
        requests.seek(0)
        start = time.monotonic()
        child = subprocess.Popen([command, "batch", "--jobs", str(jobs)], stdin=requests, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        seconds = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) != 0:
        raise SystemExit("bench: zynkey batch failed")
    return lines / seconds, (usage.ru_utime + usage.ru_stime) / lines * 1e6, usage.ru_maxrss / 1024


def ratio(a, b):
    return f"{a / b:.2f}"


def sections(cost, times, memory, null, batch):
    yield "## The decoder alone, in instructions"
    yield table(["Work", "Before", "Now", "Goal"],
                [(name, with_commas(before), with_commas(cost[name]["decoder"]), with_commas(goal))
                 for name, before, goal in DECODER_GOALS])
    yield "## A key of three fields, from text to object and dropped again"
    rows = [(name, with_commas(times[name]), memory[name]["heap"], memory[name]["slab"], with_commas(cost[name]["whole"]),
             ratio(cost[name]["whole"], cost[KEY]["whole"]), ratio(times[name], times[KEY]))
            for name in [KEY, FLOOR, *PEERS]]
    yield table(["Work", "ns", "heap calls", "slab calls", "instructions", "instructions to ours", "time to ours"], rows)
    first, last = times["scalar, union of 5 hit first"], times["scalar, union of 5 hit last"]
    one = times[f"{KEY}, atomic counts/threads:1"]
    two = times[f"{KEY}, atomic counts/threads:2"]
    plain_one = times[f"{KEY}, plain counts/threads:1"]
    plain_two = times[f"{KEY}, plain counts/threads:2"]
    yield "## Ratios"
    first_cost, last_cost = (cost[f"scalar, union of 5 hit {which}"]["whole"] for which in ("first", "last"))
    yield table(["What", "Ratio"], [
        ("a union's failed alternative to a bare throw and catch", ratio((last - first) / 4, times[BARE])),
        ("the same in instructions", ratio((last_cost - first_cost) / 4, cost[BARE]["whole"])),
        ("two threads to one, atomic counts", ratio(2 * one, two)),
        ("two threads to one, plain counts", ratio(2 * plain_one, plain_two)),
        ("atomic counts to plain ones, one thread", ratio(one, plain_one)),
        ("batch, 2 jobs to 1, by processor time", ratio(2 * batch[1][1], batch[2][1])),
    ])
    yield ("Threads and jobs are compared by the processor time that one operation takes while others work too, so that other\n"
           "programs on the machine do not count.")
    yield "## Keys of YANG lists, from text"
    yield table(["List", "yang/, instructions", "libyang, instructions", "libyang to ours", "time"],
                [(name, with_commas(cost[ours]["whole"]), with_commas(cost[theirs]["whole"]),
                  ratio(cost[theirs]["whole"], cost[ours]["whole"]), ratio(times[theirs], times[ours]))
                 for name in LISTS for ours, theirs in [(f"yang, {name}", f"libyang, text, {name}")] if ours in cost])
    yield "## gNMI paths, from text or message to typed keys"
    yield table(["Work", "ns", "heap calls", "instructions", "before", "goal", "time to protobuf by hand", "goal"],
                [(name, with_commas(times[name]), memory[name]["heap"], with_commas(cost[name]["whole"]),
                  with_commas(before), with_commas(goal), ratio(times[name], times[BY_HAND]), time_goal or "-")
                 for name, before, goal, time_goal in PATH_GOALS])
    yield ("Schema, path and results are used again; the message is read each time. The path of 7 elements is one of the shape\n"
           "that OpenConfig's have, with lists inside of lists ([bench-network.yang](../bench/peers/bench-network.yang)); of its\n"
           "instructions, PCRE2 takes 2,460 for the pattern of an address. libyang makes its tree from the same path.")
    yield "## Every work"
    yield table(["Work", "ns", "heap calls", "slab calls", "instructions", "of these outside of the provider"],
                [(name, with_commas(times.get(name)), memory[name]["heap"], memory[name]["slab"],
                  with_commas(cost.get(name, {}).get("whole")), with_commas(cost.get(name, {}).get("decoder")))
                 for name in memory if not name.startswith("growth")])
    yield "With a provider that does next to nothing, which leaves the decoder and the harness:"
    yield table(["Work", "instructions"], [(name, with_commas(row["whole"])) for name, row in null.items()])
    yield "`zynkey batch`:"
    yield table(["Jobs", "lines", "lines a second", "us of processor time a line", "MiB at most"],
                [(jobs, with_commas(row[3]), with_commas(row[0]), f"{row[1]:.1f}", f"{row[2]:.0f}")
                 for jobs, row in batch.items()])
    yield ("Memory does not grow with the number of requests: 10^7 of them took 11.8 MB at most with two jobs, 10^5 took\n"
           "11.1 MB. What was read and is not yet answered is bounded, and it alone is kept.")


def growth(times, memory):
    """For each kind of growth: its unit, and rows of size, nanoseconds, bytes."""
    kinds = {}
    for name in memory:
        if name.startswith("growth, "):
            kind, _, size = name.removeprefix("growth, ").rpartition(": ")
            kinds.setdefault(kind, []).append((int(size), times[name], memory[name]["bytes"]))
    return kinds


RERUN = """# Performance

How fast the decoder is, beside the least that the work can cost (the floor: hand-written code that knows the key's type,
with the same value objects) and beside what a user would pick instead. All figures of one page come from one run.
Compiled as the preset `release` does: the decoder and the embedded type system at -O3, all else at -O2; libyang and
protobuf as Debian builds them.

    ./dev bench                  measures everything and writes this page and its plots
    ./dev bench --count          only counts instructions, and compares them with bench/budget.json (5 % room)
    ./dev bench --count --update writes the budget anew, after a change that was meant to cost or save

Instructions are counted by callgrind and repeat exactly on one machine. *The decoder's* are those below the library's
entry points (and inline code of its header) without those below its calls into the provider; where an exception
passes, only the sum is known. Times are processor time, the least of several repetitions; they differ from machine to
machine and with what else it does. *Heap calls* are those that do not come from the slab; *slab calls* are containers
and value objects. "By hand" is protobuf's reflection: every field found by name, every text read by its type; what the
decoder refuses is refused there too. In the row with the prefix as bytes it is one text of five bytes, not a message.
"""

WHAT_IS_LEFT = """## What is left

Of the decoder's instructions for a key of three fields:

- the map of a node's children: a quarter. A new child is looked for twice, as its trace and its type come before its
  place in the map; then it is found and taken out once.
- the elements of each path: a seventh. They are a block of memory, taken, told to the memory tracker and given back;
  callers of `splitPath` receive that vector, so it is made for `processKeyPath` as well.
- some fifty calls to the type system, which is asked anew for each path, as nothing is cached between operations.

The error of a union's alternative that is not read has no text, on either side. What a failed alternative costs more
than a bare throw is frames that save more registers, which the unwinder restores one by one, and an exception that holds
the text it refused.
"""


def report(build):
    cost = counts.count(build / "bench" / "bench")
    null = counts.count(build / "bench" / "bench_null")
    memory = measure_memory(build)
    times = measure_times(build, "-^growth", 25) | measure_times(build, "^growth", 2)
    batch = {}
    for jobs in (1, 2):
        best = max((measure_batch(build, jobs, BATCH_LINES) for _ in range(3)), key=lambda row: row[0])
        batch[jobs] = (*best, BATCH_LINES)
    text = [RERUN, *sections(cost, times, memory, null, batch)]
    grown = growth(times, memory)
    (DOCS / "performance.svg").write_text(plots.bars(
        "Instructions for a key of three fields", [(name, cost[name]["whole"]) for name in [FLOOR, KEY, *PEERS]]))
    (DOCS / "growth.svg").write_text(plots.lines(grown))
    text.insert(1, "![Instructions for a key of three fields](performance.svg)")
    text.append(WHAT_IS_LEFT)
    text.append("## Growth")
    text.append("Time and memory, each against a size; memory grows in steps where containers double.")
    text.append("![Growth](growth.svg)")
    text.append(table(["Size", "from", "to", "time for each unit, least and most (ns)", "bytes for each unit at the end"],
                      [(kind, rows[0][0], rows[-1][0],
                        "{:.4g} to {:.4g}".format(min(ns / size for size, ns, _ in rows[len(rows) // 2:]),
                                                  max(ns / size for size, ns, _ in rows[len(rows) // 2:])),
                        f"{rows[-1][2] / rows[-1][0]:,.0f}") for kind, rows in grown.items()]))
    page = "\n\n".join(part.strip() for part in text) + "\n"
    (DOCS / "performance.md").write_text(page)
    print(page)
    return 0


def main():
    what, build = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    return check_budget(count_works(build), "--update" in sys.argv) if what == "count" else report(build)


if __name__ == "__main__":
    sys.exit(main())
