#!/usr/bin/env python3
"""Times kxsvg.load on the large corpus drawings, as bench_load's BM_LoadBytes does in C++.

    PYTHONPATH=build/python/module python3 python/bench/time_load.py [CORPUS]
    ./build/bench/bench_load --benchmark_filter=BM_LoadBytes

Prints the best of 9 loads (and frees) of each file from bytes in memory (lenient, as the
large drawings use elements outside the strict subset), in milliseconds.
"""
import os
import pathlib
import sys
import time

import kxsvg

corpus = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else
                      os.environ.get("KXSVG_CORPUS", pathlib.Path(__file__).resolve().parents[3] / "shared" / "corpus"))
for path in sorted((corpus / "large").glob("*.svg")):
    data = path.read_bytes()
    best = float("inf")
    for _ in range(9):
        started = time.perf_counter()
        document = kxsvg.load(data, strict=False)
        del document  # the C++ loop frees each tree inside its timing too
        best = min(best, time.perf_counter() - started)
    print(f"{path.name:28s} {best * 1e3:8.1f} ms  {len(data) / best / 1e6:6.1f} MB/s")
