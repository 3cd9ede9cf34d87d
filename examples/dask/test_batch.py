"""batch.py on a local cluster of two worker processes over the shared corpus:
every line must give the verdict that `invoice-extract check --json` gives.
Needs the tool on PATH (or INVOICE_EXTRACT_TOOL) and the Python package
importable."""

import json
import os
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
CORPUS = os.path.relpath(HERE.parents[1] / ".." / "shared" / "corpus")
COMPARED = ("file", "result", "verdict", "status", "accepted")


def json_lines(command):
    run = subprocess.run(command, capture_output=True, text=True, timeout=300)
    assert run.returncode in (0, 1), run.stderr
    return [json.loads(line) for line in run.stdout.splitlines()], run.stderr


def test_every_verdict_is_the_tools():
    tool = os.environ.get("INVOICE_EXTRACT_TOOL") or shutil.which("invoice-extract")
    assert tool, "invoice-extract is not on PATH"
    expected, _ = json_lines([tool, "check", "--json", "--jobs", "2", CORPUS])
    got, summary = json_lines([sys.executable, str(HERE / "batch.py"), "--workers", "2", CORPUS])
    assert len(expected) >= 14
    assert [{key: line[key] for key in COMPARED} for line in got] == [
        {key: line[key] for key in COMPARED} for line in expected
    ]
    assert all(list(line) == list(expected[0]) and line["seconds"] >= 0 for line in got)
    assert summary.startswith("batch: %d files in " % len(expected))
