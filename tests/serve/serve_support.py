"""What the tests of invoice-extract serve share: a real server on a free
loopback port, a real HTTP client, and the fault files of the fault shim."""
import http.client
import json
import os
import signal
import subprocess
import tempfile
import threading

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CORPUS = os.path.join(os.path.dirname(SOURCE), "shared", "corpus")
SAMPLE = os.path.join(SOURCE, "samples", "sample-invoice.pdf")


def fault_file(action):
    """A file that the fault shim turns into a worker that hangs, crashes,
    exits, throws or runs out of memory, whatever the service names it."""
    return ("%%fault-shim: %s\n%%PDF-1.4\n" % action).encode()


class Server:
    """invoice-extract serve on 127.0.0.1:0, read from its first line."""

    def __init__(self, tool, *arguments, shim=None):
        self.folder = tempfile.mkdtemp(prefix="serve_test_")
        environment = dict(os.environ, TMPDIR=self.folder)
        if shim:
            environment["LD_PRELOAD"] = shim
            environment["FAULT_SHIM_FOLDER"] = self.folder
            environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        self.process = subprocess.Popen([tool, "serve", "--listen", "127.0.0.1:0", *arguments],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment)
        self.first_line = self.process.stdout.readline().decode()
        address = self.first_line.strip().replace("listening on http://", "").rstrip("/")
        self.host, port = address.rsplit(":", 1)
        self.port = int(port)
        self.log = []
        self._log_reader = threading.Thread(target=self._read_log, daemon=True)
        self._log_reader.start()

    def _read_log(self):
        for line in self.process.stderr:
            self.log.append(line.decode())

    def connection(self, timeout=30):
        return http.client.HTTPConnection(self.host, self.port, timeout=timeout)

    def request(self, method, path, body=None, headers=None, timeout=30):
        """(status, headers as a dict with lower-case names, body bytes)"""
        connection = self.connection(timeout)
        try:
            connection.request(method, path, body=body, headers=headers or {})
            response = connection.getresponse()
            return response.status, {k.lower(): v for k, v in response.getheaders()}, response.read()
        finally:
            connection.close()

    def post_file(self, path, data, name=None, **kwargs):
        """A PDF as the body, or as the multipart field file when named."""
        if name is None:
            return self.request("POST", path, data, {"Content-Type": "application/pdf"}, **kwargs)
        boundary = "test-boundary-7d3b"
        body = (("--%s\r\nContent-Disposition: form-data; name=\"file\"; filename=\"%s\"\r\n"
                 "Content-Type: application/pdf\r\n\r\n" % (boundary, name)).encode() + data +
                ("\r\n--%s--\r\n" % boundary).encode())
        return self.request("POST", path, body, {"Content-Type": "multipart/form-data; boundary=" + boundary},
                            **kwargs)

    def upload_folder(self):
        names = [n for n in os.listdir(self.folder) if n.startswith("invoice-extract-serve-")]
        return os.path.join(self.folder, names[0]) if names else None

    def stop(self, timeout=30):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout)
        self._log_reader.join(5)
        self.process.stdout.close()
        self.process.stderr.close()
        return status


def json_body(body):
    return json.loads(body.decode())
