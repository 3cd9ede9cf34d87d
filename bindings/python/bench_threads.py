#!/usr/bin/python3
"""How invoice_extract scales over threads: the corpus invoices, held in
memory, extracted again and again by a ThreadPoolExecutor of 1, 2, ... up to
the number of processors (and one more), with wall-clock files per second, the
speed-up over one thread, and the processor time of the process over the wall
time (cores kept busy: at most 1 if the calls held the GIL). The library call
releases the GIL, so the speed-up follows the free cores; on a machine that
is busy with other work, both figures fall short of the thread count.

    /usr/bin/python3 bindings/python/bench_threads.py [--corpus FOLDER] [--seconds S] [--call check|extract]
"""

import argparse
import concurrent.futures
import os
import pathlib
import time

import invoice_extract


def rate(call, documents, threads, seconds):
    """Files per second of threads workers calling call over documents for
    about seconds, and cores busy (processor time over wall time); the best
    of three runs."""
    best = (0.0, 0.0)
    for _ in range(3):
        rounds = 1
        while True:
            work = documents * rounds
            start = time.perf_counter()
            cpu_start = time.process_time()
            with concurrent.futures.ThreadPoolExecutor(threads) as pool:
                for _ in pool.map(call, work, chunksize=max(1, len(work) // (4 * threads))):
                    pass
            elapsed = time.perf_counter() - start
            cpu = time.process_time() - cpu_start
            if elapsed >= seconds / 3 or rounds >= 1 << 16:
                break
            rounds *= 2
        best = max(best, (len(work) / elapsed, cpu / elapsed))
    return best


def main():
    root = pathlib.Path(__file__).resolve().parents[2]
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--corpus", default=str(root / ".." / "shared" / "corpus" / "invoices"))
    parser.add_argument("--seconds", type=float, default=3.0, help="time per thread count (default 3)")
    parser.add_argument("--call", choices=("check", "extract"), default="extract")
    options = parser.parse_args()
    documents = [path.read_bytes() for path in sorted(pathlib.Path(options.corpus).glob("*.pdf"))]
    if not documents:
        parser.error("no PDF in %s" % options.corpus)
    call = getattr(invoice_extract, options.call)
    call(documents[0])  # the toolkit's start-up is not measured

    cores = os.cpu_count() or 1
    print("invoice_extract %s: %s over %d corpus files in memory, %d processors"
          % (invoice_extract.__version__, options.call, len(documents), cores))
    print("%8s %12s %9s %12s" % ("threads", "files/s", "speed-up", "cores busy"))
    single = None
    for threads in range(1, cores + 2):
        files_per_second, busy = rate(call, documents, threads, options.seconds)
        single = single or files_per_second
        print("%8d %12.0f %9.2f %12.2f" % (threads, files_per_second, files_per_second / single, busy))


if __name__ == "__main__":
    main()
