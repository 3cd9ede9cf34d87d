#!/usr/bin/python3
"""Checks every PDF of a folder with the invoice_extract package on Dask.

    batch.py FOLDER [--scheduler ADDRESS] [--workers N]

With no address it starts a local cluster of N worker processes (default: one
per processor); with one it uses that cluster, whose workers must have the
library and the Python package installed. The client reads each file and
ships its bytes to a worker, which checks them with invoice_extract.check, so
the workers need no access to the folder. At most a few files per worker
thread are in flight at once.

Standard output gets one JSON object a line, in the order of the folder walk,
with the fields of `invoice-extract check --json`: file, result, verdict,
status ("ok"; "error" or "crashed" when a task failed or its worker died,
with a reason), accepted and seconds (the library call on the worker).
Standard error gets a summary line. Exit status as the tool's: 0 when every
file is an invoice, 1 when some are not, 2 for usage errors, 3 when some
file could not be processed.
"""

import argparse
import json
import os
import sys
import time


def pdf_files(folder):
    """The PDFs below folder (recursively, *.pdf in any case), each level in
    byte order of the names, as the tool walks a folder."""
    found = []
    names = sorted(os.listdir(folder), key=os.fsencode)
    for name in names:
        path = folder + name if folder.endswith("/") else folder + "/" + name
        if os.path.isdir(path) and not os.path.islink(path):
            found.extend(pdf_files(path))
        elif name.lower().endswith(".pdf") and os.path.isfile(path):
            found.append(path)
    return found


def check_bytes(data):
    """Runs on a worker: the library's verdict on one file's bytes."""
    import time

    import invoice_extract

    start = time.perf_counter()
    result = invoice_extract.check(data)
    return int(result), result.description, time.perf_counter() - start


def printable(path):
    return os.fsencode(path).decode("utf-8", "replace")


def json_line(path, status, result=None, verdict=None, reason=None, seconds=0.0):
    """The tool's JSON line for one file, fields in the tool's order."""
    text = lambda value: json.dumps(value, ensure_ascii=False)
    parts = ['"file":' + text(printable(path)), '"result":' + text(result), '"verdict":' + text(verdict),
             '"status":' + text(status)]
    if status != "ok":
        parts.append('"reason":' + text(reason))
    parts.append('"accepted":' + text(status == "ok" and result == 0))
    parts.append('"seconds":%.6f' % seconds)
    return "{" + ",".join(parts) + "}"


def summary(files, seconds, verdicts, statuses):
    import invoice_extract

    parts = []
    for code in sorted((c for c in verdicts if c <= 0), reverse=True) + sorted(c for c in verdicts if c > 0):
        parts.append("%d %s" % (verdicts[code], invoice_extract.Result(code).description))
    for status, count in sorted(statuses.items()):
        parts.append("%d %s" % (count, status))
    head = "%d file%s in %.2f s" % (files, "" if files == 1 else "s", seconds)
    return "batch: " + head + (": " + "; ".join(parts) if parts else "")


def run(client, paths, out):
    """Checks the files on the cluster, writing each line as soon as every
    file before it is done; the exit status."""
    from distributed import as_completed
    from distributed.scheduler import KilledWorker

    window = 4 * max(1, sum(client.nthreads().values()))
    started = time.perf_counter()
    pending = {}  # future -> index
    finished = {}  # index -> (status, result, verdict, reason, seconds)
    next_to_submit = 0
    next_to_write = 0
    verdicts, statuses = {}, {}
    completed = as_completed()

    def submit():
        nonlocal next_to_submit
        while next_to_submit < len(paths) and len(pending) < window:
            index = next_to_submit
            next_to_submit += 1
            try:
                with open(paths[index], "rb") as file:
                    data = file.read()
            except OSError as error:
                finished[index] = ("error", None, None, str(error), 0.0)
                continue
            future = client.submit(check_bytes, data, pure=False)
            pending[future] = index
            completed.add(future)

    submit()
    while next_to_write < len(paths):
        if next_to_write not in finished:
            future = next(completed)
            index = pending.pop(future)
            try:
                result, verdict, seconds = future.result()
                finished[index] = ("ok", result, verdict, None, seconds)
            except KilledWorker as error:
                finished[index] = ("crashed", None, None, str(error), 0.0)
            except Exception as error:  # the task's own failure, as the tool's "error"
                finished[index] = ("error", None, None, "%s: %s" % (type(error).__name__, error), 0.0)
            future.release()
            submit()
            continue
        status, result, verdict, reason, seconds = finished.pop(next_to_write)
        out.write(json_line(paths[next_to_write], status, result, verdict, reason, seconds) + "\n")
        out.flush()
        if status == "ok":
            verdicts[result] = verdicts.get(result, 0) + 1
        else:
            statuses[status] = statuses.get(status, 0) + 1
        next_to_write += 1
    print(summary(len(paths), time.perf_counter() - started, verdicts, statuses), file=sys.stderr)
    if statuses:
        return 3
    return 0 if set(verdicts) <= {0} else 1


def main(argv=None):
    parser = argparse.ArgumentParser(description="Check every PDF of a folder with invoice_extract on Dask.")
    parser.add_argument("folder")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="a running scheduler (tcp://HOST:8786)")
    parser.add_argument("--workers", type=int, default=os.cpu_count() or 1,
                        help="worker processes of the local cluster (default: one per processor)")
    options = parser.parse_args(argv)
    if not os.path.isdir(options.folder):
        parser.error("%s is not a folder" % options.folder)
    if options.workers < 1:
        parser.error("--workers must be at least 1")
    paths = pdf_files(options.folder)

    from distributed import Client, LocalCluster

    if options.scheduler:
        with Client(options.scheduler) as client:
            return run(client, paths, sys.stdout)
    with LocalCluster(n_workers=options.workers, threads_per_worker=1, processes=True,
                      dashboard_address=None) as cluster, Client(cluster) as client:
        return run(client, paths, sys.stdout)


if __name__ == "__main__":
    sys.exit(main())
