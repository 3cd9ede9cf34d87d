"""A bounded load on invoice-extract serve, on loopback only: 64 clients with
keep-alive connections send a fixed number of requests over the shared
corpus mixed with files that hang, crash, throw or run out of memory, under
a time cap. No wrong verdict (against expected.tsv), no lost request, and
the server's resident memory flat between a warm-up round and the end."""
import os
import threading
import time
import unittest

from serve_support import CORPUS, Server, fault_file, json_body

TOOL = os.environ["INVOICE_EXTRACT_TOOL"]
SHIM = os.environ["INVOICE_EXTRACT_FAULT_SHIM"]
CLIENTS = 64
ROUNDS = 8  # requests a client per round
TIME_CAP = 150  # seconds for the whole test
FAULTS = {"hang": "timeout", "crash": "crashed", "throw": "crashed", "oom": "out-of-memory"}


def corpus_cases():
    cases = []
    with open(os.path.join(CORPUS, "expected.tsv")) as table:
        for line in table:
            if line.startswith("#") or not line.strip():
                continue
            name, check = line.split("\t")[:2]
            with open(os.path.join(CORPUS, name), "rb") as handle:
                cases.append((name, handle.read(), ("ok", int(check))))
    return cases


def resident_kib(pid):
    with open("/proc/%d/status" % pid) as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


class Load(unittest.TestCase):
    def test_64_clients_over_the_corpus_and_hostile_files(self):
        started = time.time()
        cases = corpus_cases()
        hostile = [(action, fault_file(action), (status, None)) for action, status in FAULTS.items()]
        # The deadline leaves room for a slow build (sanitizers) on a busy machine.
        server = Server(TOOL, "--jobs", "2", "--timeout", "5", "--memory-limit", "256M", "--queue", "64", shim=SHIM)
        problems = []
        answered = [0]
        lock = threading.Lock()

        def client(number, round_number):
            connection = server.connection(timeout=60)
            for i in range(ROUNDS):
                sent = number * ROUNDS + i
                # One request in 64 is hostile, the same ones every run.
                if sent % 64 == 63 and round_number > 0 and not os.environ.get("NO_HOSTILE"):
                    name, data, expected = hostile[(sent // 64) % len(hostile)]
                else:
                    name, data, expected = cases[sent % len(cases)]
                try:
                    connection.request("POST", "/v1/check", data, {"Content-Type": "application/pdf"})
                    response = connection.getresponse()
                    body = response.read()
                    answer = json_body(body)
                    got = (answer["status"], answer["result"])
                    if response.status != 200 or got != expected:
                        raise AssertionError("%s: HTTP %d %s, expected %s" % (name, response.status, got, expected))
                    with lock:
                        answered[0] += 1
                except Exception as error:  # pylint: disable=broad-except
                    with lock:
                        problems.append("%s: %r" % (name, error))
                    connection.close()
                    connection = server.connection(timeout=60)
            connection.close()

        try:
            resident = []
            # AddressSanitizer's allocator keeps freed memory per thread and in
            # its quarantine: there resident memory says nothing, and its leak
            # check at the exit (the exit status) stands for it.
            with open("/proc/%d/maps" % server.process.pid) as maps:
                sanitized = "libasan" in maps.read()
            for round_number in range(3):
                threads = [threading.Thread(target=client, args=(n, round_number)) for n in range(CLIENTS)]
                for thread in threads:
                    thread.start()
                for thread in threads:
                    thread.join(max(1, TIME_CAP - (time.time() - started)))
                self.assertFalse(any(thread.is_alive() for thread in threads), "over the time cap")
                resident.append(resident_kib(server.process.pid))
        finally:
            status = server.stop()
        bad_log = [line for line in server.log if "\"status\":200" not in line]
        self.assertEqual(problems, [], bad_log[:5])
        self.assertEqual(answered[0], 3 * CLIENTS * ROUNDS, "lost requests")
        self.assertEqual(status, 0)
        # The warm-up round sets the level; later rounds may not grow it.
        print("resident KiB after each round:", resident)
        if not sanitized:
            self.assertLess(resident[2] - resident[0], 8 * 1024, resident)


if __name__ == "__main__":
    unittest.main()
