#!/usr/bin/env python3
"""Check and flatten a folder of SVG drawings on a Dask cluster; write one summary table.

    python3 batch_dask.py DRAWINGS summary.csv                 # a local cluster, 2 workers
    python3 batch_dask.py DRAWINGS summary.csv --workers 1
    python3 batch_dask.py DRAWINGS summary.csv --scheduler tcp://scheduler:8786

Each drawing is preflighted (rewritten into what the strict reader accepts),
loaded and segmented with the real-SVG preset; the table has one row per
file, sorted by path. With --scheduler the files must be readable under the
same path on every worker (a shared file system) and kxsvg importable there.
"""
import argparse
import csv
import pathlib
import sys
import time

import dask.bag
import distributed

import kxsvg

COLUMNS = ["file", "ok", "error", "warnings", "changes", "primitives", "failed_fills",
           "points", "triangles", "fill_area", "min_x", "min_y", "max_x", "max_y"]


def summarise(path):
    """One table row for the drawing at `path`; never raises for a bad drawing."""
    row = dict.fromkeys(COLUMNS, "")
    row.update(file=str(path), ok=False)
    try:
        document = kxsvg.load(path, preflight=True)
    except kxsvg.LoadError as error:
        row["error"] = error.messages[0] if error.messages else str(error)
        return row
    primitives = kxsvg.segment(document)
    box = kxsvg.bounding_box(document)
    row.update(ok=True, warnings=len(document.messages),
               changes=sum(count for _, _, count in document.preflight_report),
               primitives=len(primitives),
               failed_fills=sum(p.fill_failed for p in primitives),
               points=sum(len(p.points) for p in primitives),
               triangles=sum(len(p.triangle_indices) for p in primitives),
               fill_area=round(sum(p.fill_area for p in primitives), 3))
    if box:
        row.update(zip(("min_x", "min_y", "max_x", "max_y"), box))
    return row


def run(folder, output, scheduler=None, workers=2, processes=True, pattern="*.svg"):
    """Summarises every file under `folder` matching `pattern` into the CSV `output`.

    Returns (rows, seconds). Without `scheduler`, starts a LocalCluster of
    `workers` single-threaded workers (threads, not processes, when
    `processes` is False) for the duration of the call.
    """
    paths = sorted(str(p) for p in pathlib.Path(folder).rglob(pattern) if p.is_file())
    if scheduler:
        cluster, client = None, distributed.Client(scheduler)
    else:
        cluster = distributed.LocalCluster(n_workers=workers, threads_per_worker=1, processes=processes,
                                           dashboard_address=None)
        client = distributed.Client(cluster)
    try:
        started = time.perf_counter()
        partitions = max(1, min(len(paths), 8 * workers))
        rows = dask.bag.from_sequence(paths, npartitions=partitions).map(summarise).compute() if paths else []
        seconds = time.perf_counter() - started
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    rows.sort(key=lambda row: row["file"])
    with open(output, "w", newline="") as table:
        writer = csv.DictWriter(table, fieldnames=COLUMNS)
        writer.writeheader()
        writer.writerows(rows)
    return rows, seconds


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder")
    parser.add_argument("output", help="the summary table (CSV)")
    parser.add_argument("--scheduler", help="address of a running Dask scheduler, e.g. tcp://host:8786")
    parser.add_argument("--workers", type=int, default=2, help="workers of the local cluster (default 2)")
    parser.add_argument("--pattern", default="*.svg", help="file names to take, searched recursively")
    args = parser.parse_args(argv)
    rows, seconds = run(args.folder, args.output, args.scheduler, args.workers, pattern=args.pattern)
    failed = sum(not row["ok"] for row in rows)
    rate = len(rows) / seconds if seconds > 0 else 0.0
    print(f"{len(rows)} files, {failed} failed, {seconds:.2f} s, {rate:.1f} files/s -> {args.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
