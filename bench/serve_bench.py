#!/usr/bin/python3
"""Throughput of invoice-extract serve beside the tool's own.

Starts the service on a loopback port with --jobs N and sends the shared
corpus's files to /v1/check over keep-alive connections from 1, 8 and 64
clients at once; prints requests per second and the median and 99th
percentile latency of each, and the files per second of
`invoice-extract check --jobs N` over the same files, in one run of the tool.

    /usr/bin/python3 bench/serve_bench.py [--tool build/invoice-extract] [--jobs N] [--requests R]
"""
import argparse
import http.client
import os
import subprocess
import sys
import threading
import time

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(SOURCE, "tests", "serve"))
from serve_support import CORPUS, Server  # noqa: E402


def corpus_files():
    files = []
    for folder in ("invoices", "others"):
        for name in sorted(os.listdir(os.path.join(CORPUS, folder))):
            if name.lower().endswith(".pdf"):
                files.append(os.path.join(CORPUS, folder, name))
    return files


def run_clients(server, payloads, clients, requests):
    latencies = []
    lock = threading.Lock()
    per_client = requests // clients

    def client(number):
        connection = http.client.HTTPConnection(server.host, server.port, timeout=60)
        mine = []
        for i in range(per_client):
            data = payloads[(number * per_client + i) % len(payloads)]
            started = time.perf_counter()
            connection.request("POST", "/v1/check", data, {"Content-Type": "application/pdf"})
            response = connection.getresponse()
            response.read()
            if response.status != 200:
                raise SystemExit("HTTP %d" % response.status)
            mine.append(time.perf_counter() - started)
        connection.close()
        with lock:
            latencies.extend(mine)

    threads = [threading.Thread(target=client, args=(n,)) for n in range(clients)]
    started = time.perf_counter()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    elapsed = time.perf_counter() - started
    latencies.sort()
    return (len(latencies) / elapsed, latencies[len(latencies) // 2],
            latencies[min(len(latencies) - 1, int(len(latencies) * 0.99))])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(SOURCE, "build", "invoice-extract"))
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--requests", type=int, default=1024, help="requests at each client count")
    arguments = parser.parse_args()
    files = corpus_files()
    payloads = []
    for path in files:
        with open(path, "rb") as handle:
            payloads.append(handle.read())

    # The tool over the same files, as many of them as one level sends.
    listed = "".join(files[i % len(files)] + "\n" for i in range(arguments.requests))
    started = time.perf_counter()
    subprocess.run([arguments.tool, "check", "--quiet", "--jobs", str(arguments.jobs), "-"], input=listed.encode(),
                   stdout=subprocess.DEVNULL, check=False)
    tool_rate = arguments.requests / (time.perf_counter() - started)

    server = Server(arguments.tool, "--jobs", str(arguments.jobs), "--queue", "128")
    try:
        run_clients(server, payloads, 8, 64)  # warm-up: workers started
        print("invoice-extract serve --jobs %d, %d corpus files, %d requests a level, keep-alive" %
              (arguments.jobs, len(files), arguments.requests))
        print("%-34s %10s %9s %9s" % ("", "files/s", "p50 ms", "p99 ms"))
        print("%-34s %10.1f %9s %9s" % ("invoice-extract check --jobs %d" % arguments.jobs, tool_rate, "", ""))
        for clients in (1, 8, 64):
            rate, p50, p99 = run_clients(server, payloads, clients, arguments.requests)
            print("%-34s %10.1f %9.2f %9.2f" % ("serve, %d client%s" % (clients, "" if clients == 1 else "s"),
                                                  rate, p50 * 1000, p99 * 1000))
            if clients == 8:
                print("%-34s %9.0f%%" % ("  8 clients / tool", 100 * rate / tool_rate))
    finally:
        server.stop()


if __name__ == "__main__":
    main()
