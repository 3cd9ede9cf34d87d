"""invoice-extract serve through a real HTTP client: every endpoint, every
error it answers, the statuses of files that hang, crash or run out of
memory, the token, the full queue, the upload folder and a graceful stop.
Run by ctest with INVOICE_EXTRACT_TOOL and INVOICE_EXTRACT_FAULT_SHIM set."""
import json
import os
import socket
import stat
import subprocess
import tempfile
import threading
import time
import unittest

from serve_support import CORPUS, SAMPLE, Server, fault_file, json_body

TOOL = os.environ["INVOICE_EXTRACT_TOOL"]
SHIM = os.environ["INVOICE_EXTRACT_FAULT_SHIM"]


def read(path):
    with open(path, "rb") as handle:
        return handle.read()


class Endpoints(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # A replaced worker's start counts toward its first file's deadline:
        # room for that on a busy machine.
        cls.server = Server(TOOL, "--jobs", "2", "--timeout", "3", "--memory-limit", "256M", "--max-size", "1M",
                            shim=SHIM)
        cls.sample = read(SAMPLE)
        out = tempfile.mkdtemp(prefix="serve_xml_")
        subprocess.run([TOOL, "extract", "-q", "-o", out, SAMPLE], check=True, stdout=subprocess.DEVNULL)
        cls.sample_xml = read(os.path.join(out, "sample-invoice.xml"))

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()

    def test_first_line(self):
        self.assertRegex(self.server.first_line, r"^listening on http://127\.0\.0\.1:[0-9]+/\n$")

    def test_answers(self):
        factur_x = read(os.path.join(CORPUS, "others", "EN16931_1_Teilrechnung.pdf"))
        refused = read(os.path.join(CORPUS, "others", "RE-E-974-Hetzner_2016-01-19_R0005532486.pdf"))
        # name, path, file bytes, multipart file name (None: the raw body), status, expected members
        rows = [
            ("check, raw body", "/v1/check", self.sample, None, 200, {"file": "-", "result": 0, "accepted": True}),
            ("check, multipart", "/v1/check", self.sample, "a b.pdf", 200, {"file": "a b.pdf", "status": "ok"}),
            ("check, refused", "/v1/check", refused, None, 200, {"result": -1, "accepted": False, "explanation": None}),
            ("check, explained", "/v1/check?explain=1", refused, None, 200,
             {"result": -1, "explanation": "no PDF/A identification in the XMP metadata"}),
            ("check, other flavour refused", "/v1/check", factur_x, None, 200, {"result": -2, "accepted": False}),
            ("check, any flavour", "/v1/check?any-flavour=1", factur_x, None, 200,
             {"result": -2, "accepted": True, "flavour": "Factur-X invoice (EN 16931)"}),
            ("inspect", "/v1/inspect", self.sample, "s.pdf", 200,
             {"file": "s.pdf", "pdfa": {"part": "3", "conformance": "B"}, "metadata": "read"}),
            ("extract, refused", "/v1/extract", refused, "r.pdf", 422,
             {"file": "r.pdf", "result": -1, "accepted": False, "output": None}),
            ("hangs", "/v1/check", fault_file("hang"), "h.pdf", 200,
             {"status": "timeout", "result": None, "accepted": False}),
            ("crashes", "/v1/check", fault_file("crash"), None, 200, {"status": "crashed", "result": None}),
            ("runs out of memory", "/v1/extract", fault_file("oom"), None, 422,
             {"status": "out-of-memory", "result": None}),
            ("throws", "/v1/inspect", fault_file("throw"), None, 200, {"status": "crashed"}),
            ("still serving", "/v1/check", self.sample, None, 200, {"result": 0, "status": "ok"}),
        ]
        for name, path, data, file_name, status, members in rows:
            with self.subTest(name):
                got, headers, body = self.server.post_file(path, data, file_name)
                self.assertEqual(got, status, body)
                self.assertEqual(headers["content-type"], "application/json")
                answer = json_body(body)
                for key, value in members.items():
                    self.assertEqual(answer.get(key), value, "%s in %s" % (key, answer))

    def test_extract_answers_the_xml(self):
        for file_name in (None, "sample.pdf"):
            status, headers, body = self.server.post_file("/v1/extract", self.sample, file_name)
            self.assertEqual((status, headers["content-type"]), (200, "application/xml"))
            self.assertEqual(body, self.sample_xml)

    def test_pages(self):
        status, headers, body = self.server.request("GET", "/")
        self.assertEqual((status, headers["content-type"]), (200, "text/html; charset=utf-8"))
        page = body.decode()
        self.assertIn('type="file"', page)
        for external in ("http://", "https://", "//cdn", "src=\"", "<link"):
            self.assertNotIn(external, page, "the page must need nothing from elsewhere")
        self.assertEqual(self.server.request("GET", "/healthz")[0], 200)
        self.server.post_file("/v1/check", fault_file("crash"))
        status, headers, body = self.server.request("GET", "/metrics")
        self.assertEqual(status, 200)
        self.assertTrue(headers["content-type"].startswith("text/plain; version=0.0.4"))
        metrics = body.decode()
        for line in ('invoice_extract_requests_total{endpoint="check",verdict="crashed"} ',
                     'invoice_extract_request_duration_seconds_bucket{le="+Inf"} ',
                     "invoice_extract_request_duration_seconds_count ", "invoice_extract_worker_restarts_total ",
                     "invoice_extract_queue_length 0\n"):
            self.assertIn(line, metrics)
        restarts = [l for l in metrics.splitlines() if l.startswith("invoice_extract_worker_restarts_total")]
        self.assertGreaterEqual(int(restarts[0].split()[1]), 1)

    def test_errors(self):
        boundary = "b0undary"
        multipart = {"Content-Type": "multipart/form-data; boundary=" + boundary}
        # name, method, path, body, headers, status
        rows = [
            ("empty body", "POST", "/v1/check", b"", {"Content-Type": "application/pdf"}, 400),
            ("no body at all", "POST", "/v1/inspect", None, {}, 400),
            ("broken multipart", "POST", "/v1/check",
             ("--%s\r\nContent-Disposition: form-data; name=\"file\"\r\n\r\n%%PDF" % boundary).encode(), multipart,
             400),
            ("multipart without a file", "POST", "/v1/check",
             ("--%s\r\nContent-Disposition: form-data; name=\"other\"\r\n\r\nx\r\n--%s--\r\n" %
              (boundary, boundary)).encode(), multipart, 400),
            ("unknown path", "GET", "/v2/check", None, {}, 404),
            ("unknown endpoint", "POST", "/v1/convert", b"%PDF", {}, 404),
            ("GET of an endpoint", "GET", "/v1/extract", None, {}, 405),
            ("POST to the page", "POST", "/", b"x", {}, 405),
            ("DELETE of the health check", "DELETE", "/healthz", None, {}, 405),
            ("larger than --max-size", "POST", "/v1/check", b"%PDF" + b"0" * (1 << 20), {}, 413),
        ]
        for name, method, path, body, headers, status in rows:
            with self.subTest(name):
                got, answer_headers, answer = self.server.request(method, path, body, headers)
                self.assertEqual(got, status, answer)
                self.assertIsInstance(json_body(answer)["error"], str)
                if status == 405:
                    self.assertIn(answer_headers["allow"], ("POST", "GET, HEAD"))

    def test_too_large_is_refused_before_the_body_is_sent(self):
        # Only the head is sent: the answer must come without the body.
        for expect in (False, True):
            with socket.create_connection((self.server.host, self.server.port), timeout=10) as client:
                head = "POST /v1/check HTTP/1.1\r\nHost: x\r\nContent-Type: application/pdf\r\n" \
                       "Content-Length: 100000000\r\n" + ("Expect: 100-continue\r\n" if expect else "") + "\r\n"
                client.sendall(head.encode())
                answer = client.recv(4096).decode()
                self.assertTrue(answer.startswith("HTTP/1.1 413 "), answer)

    def test_uploads_stay_private_and_go(self):
        folder = self.server.upload_folder()
        self.assertIsNotNone(folder)
        self.assertEqual(stat.S_IMODE(os.stat(folder).st_mode), 0o700)
        for path in ("/v1/check", "/v1/extract"):
            self.server.post_file(path, self.sample, "../../etc/passwd")
        self.server.post_file("/v1/check", fault_file("crash"))
        self.assertEqual(os.listdir(folder), [])

    def test_log_lines(self):
        self.server.request("GET", "/healthz")
        time.sleep(0.2)
        lines = [json.loads(line) for line in list(self.server.log)]
        self.assertTrue(lines)
        for line in lines:
            self.assertEqual(sorted(line), ["bytes", "method", "path", "result", "seconds", "status", "time"])
        self.assertIn({"method": "GET", "path": "/healthz", "status": 200, "bytes": 3, "result": None},
                      [{k: v for k, v in l.items() if k not in ("time", "seconds")} for l in lines])


class Token(unittest.TestCase):
    def test_token(self):
        token_file = os.path.join(tempfile.mkdtemp(prefix="serve_token_"), "token")
        with open(token_file, "w") as handle:
            handle.write("s3cret\n")
        server = Server(TOOL, "--jobs", "1", "--token-file", token_file)
        try:
            sample = read(SAMPLE)
            # name, headers, status
            rows = [("no token", {}, 401), ("wrong token", {"Authorization": "Bearer s3cre"}, 401),
                    ("another scheme", {"Authorization": "Basic czNjcmV0"}, 401),
                    ("right token", {"Authorization": "Bearer s3cret"}, 200)]
            for name, headers, status in rows:
                with self.subTest(name):
                    got, answer_headers, body = server.request("POST", "/v1/check", sample,
                                                               dict(headers, **{"Content-Type": "application/pdf"}))
                    self.assertEqual(got, status, body)
                    if status == 401:
                        self.assertEqual(answer_headers["www-authenticate"], "Bearer")
                        self.assertIn("error", json_body(body))
            self.assertEqual(server.request("GET", "/healthz")[0], 200)
        finally:
            server.stop()


class Queue_And_Stop(unittest.TestCase):
    def test_full_queue_is_answered_503(self):
        server = Server(TOOL, "--jobs", "1", "--queue", "0", "--timeout", "3", shim=SHIM)
        try:
            answers = []
            busy = threading.Thread(target=lambda: answers.append(server.post_file("/v1/check", fault_file("hang"))))
            busy.start()
            deadline = time.time() + 5
            while time.time() < deadline and "invoice_extract_requests_in_flight 1" not in \
                    server.request("GET", "/metrics")[2].decode():
                time.sleep(0.02)
            status, headers, body = server.post_file("/v1/check", read(SAMPLE))
            self.assertEqual(status, 503, body)
            self.assertEqual(headers["retry-after"], "1")
            self.assertIn("error", json_body(body))
            busy.join()
            self.assertEqual(json_body(answers[0][2])["status"], "timeout")
            self.assertEqual(server.post_file("/v1/check", read(SAMPLE))[0], 200)
        finally:
            server.stop()

    def test_sigterm_finishes_the_request_under_way_and_exits_0(self):
        server = Server(TOOL, "--jobs", "1", "--timeout", "2", shim=SHIM)
        folder = server.upload_folder()
        answers = []
        slow = threading.Thread(target=lambda: answers.append(server.post_file("/v1/check", fault_file("hang"))))
        slow.start()
        deadline = time.time() + 10
        while time.time() < deadline and not os.listdir(folder):
            time.sleep(0.02)
        self.assertNotEqual(os.listdir(folder), [], "the upload is in the folder while it is checked")
        status = server.stop()
        slow.join()
        self.assertEqual(status, 0)
        self.assertEqual(answers[0][0], 200)
        self.assertEqual(json_body(answers[0][2])["status"], "timeout")
        self.assertFalse(os.path.exists(folder), "the upload folder goes with the service")
        with self.assertRaises(OSError):
            socket.create_connection((server.host, server.port), timeout=2)


if __name__ == "__main__":
    unittest.main()
