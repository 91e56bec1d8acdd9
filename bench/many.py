#!/usr/bin/env python3
"""many.py SCHEMA: times Schema.resolve_many of 10^5 paths beside a parser in pure Python that types nothing, in one
run, and two threads beside one.

With PYTHONPATH at the folder that holds the built package, by /usr/bin/python3:

  PYTHONPATH=build/release/python /usr/bin/python3 bench/many.py examples/network.yaml
"""

import re
import sys
import threading
import time

import drovan

COUNT = 100_000
ELEMENT = re.compile(r"/([^/\[\]]+)((?:\[[^\]=]+=(?:[^\]\\]|\\.)*\])*)")
KEY = re.compile(r"\[([^\]=]+)=((?:[^\]\\]|\\.)*)\]")


def parse(path):
    return [(element[1], dict(KEY.findall(element[2]))) for element in ELEMENT.finditer(path)]


def best(work, runs=9):
    """The least of some runs, in microseconds a path."""
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        answers = work()
        times.append(time.perf_counter() - start)
        del answers
    return min(times) * 1e6 / COUNT


def in_threads(count, work):
    threads = [threading.Thread(target=work) for _ in range(count)]
    start = time.perf_counter()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return time.perf_counter() - start


def main():
    schema = drovan.Schema.yaml(sys.argv[1])
    shapes = {"one key": [f"/vlan[id={i % 65536}]" for i in range(COUNT)],
              "two elements": [f"/vrf[name=red]/neighbour[name=eth{i}]" for i in range(COUNT)],
              "four keys": [f"/vrf[name=red]/route[vrf=red][prefix=10.{i >> 8 & 255}.{i & 255}.0/24][protocol=bgp]"
                            for i in range(COUNT)]}
    print(f"microseconds a path {'expression':>10} {'resolve_many':>13}        {'with keys':>9}  two threads")
    for name, paths in shapes.items():
        plain = best(lambda: [parse(path) for path in paths])
        many = best(lambda: schema.resolve_many(paths))
        keys = best(lambda: [one[-1].key for one in schema.resolve_many(paths)], 2)
        one = min(in_threads(1, lambda: schema.resolve_many(paths)) for _ in range(7))
        two = min(in_threads(2, lambda: schema.resolve_many(paths)) for _ in range(7))
        print(f"{name:19} {plain:10.2f} {many:13.2f} ({many / plain:3.0%}) {keys:10.2f}  {2 * one / two:10.2f}x")


main()
