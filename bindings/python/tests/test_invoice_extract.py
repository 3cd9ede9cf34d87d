"""The module over the shared corpus, for every kind of source, and the errors
its calls promise."""

import hashlib
import os
import pathlib
import re
import subprocess
import sys

import pytest

import invoice_extract
from invoice_extract import InvoiceError, Result

ROOT = pathlib.Path(__file__).resolve().parents[3]
CORPUS = ROOT / ".." / "shared" / "corpus"


def corpus_rows():
    rows = []
    for line in (CORPUS / "expected.tsv").read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        fields = line.split("\t")
        rows.append(pytest.param(fields[0], int(fields[1]), int(fields[2]), fields[3], id=fields[0]))
    return rows


# Each source kind the calls take, made from the file's path.
SOURCES = {
    "str": str,
    "PathLike": pathlib.Path,
    "bytes": lambda path: pathlib.Path(path).read_bytes(),
    "bytearray": lambda path: bytearray(pathlib.Path(path).read_bytes()),
    "memoryview": lambda path: memoryview(pathlib.Path(path).read_bytes()),
    "writable memoryview": lambda path: memoryview(bytearray(pathlib.Path(path).read_bytes())),
}


@pytest.mark.parametrize("kind", SOURCES)
@pytest.mark.parametrize("name,expected_check,expected_extract,sha256", corpus_rows())
def test_corpus(name, expected_check, expected_extract, sha256, kind, tmp_path):
    source = SOURCES[kind](str(CORPUS / name))
    assert invoice_extract.check(source) is Result(expected_check)
    output = tmp_path / "out.xml"
    assert invoice_extract.extract_to(source, output) is Result(expected_extract)
    if expected_extract == Result.INVOICE:
        xml = invoice_extract.extract(source)
        assert hashlib.sha256(xml).hexdigest() == sha256
        assert output.read_bytes() == xml
    else:
        with pytest.raises(InvoiceError) as raised:
            invoice_extract.extract(source)
        assert raised.value.result is Result(expected_extract)
        assert not output.exists()


@pytest.mark.parametrize(
    "source",
    [
        pytest.param("/nonexistent/file.pdf", id="missing path"),
        pytest.param("", id="empty path"),
        pytest.param("/", id="folder"),
        pytest.param(b"", id="empty bytes"),
        pytest.param(bytearray(), id="empty bytearray"),
        pytest.param(b"%PDF-1.7\n%%EOF\n", id="not a whole PDF"),
    ],
)
def test_unusable_input(source, tmp_path):
    assert invoice_extract.check(source) is Result.BAD_INPUT
    with pytest.raises(InvoiceError) as raised:
        invoice_extract.extract(source)
    assert raised.value.result is Result.BAD_INPUT
    assert invoice_extract.extract_to(source, tmp_path / "out.xml") is Result.BAD_INPUT


@pytest.mark.parametrize("kind", ["str", "bytes"])
def test_unwritable_output_fails_the_extraction(kind):
    source = SOURCES[kind](str(CORPUS / "invoices" / "ZUGFeRD_1p0_BASIC_Einfach.pdf"))
    assert invoice_extract.extract_to(source, "/nonexistent/folder/out.xml") is Result.EXTRACT_FAILED


def test_null_byte_in_a_path_is_refused():
    with pytest.raises(ValueError):
        invoice_extract.check("invoice.pdf\0.txt")


def test_version_is_the_headers():
    header = (ROOT / "include" / "invoice_extract.h").read_text()
    assert invoice_extract.__version__ == re.search(r'VERSION_STRING "([^"]+)"', header).group(1)


def test_missing_library_names_what_to_install():
    environment = dict(os.environ, INVOICE_EXTRACT_LIBRARY="/nonexistent/libinvoice_extract.so.1")
    run = subprocess.run(
        [sys.executable, "-c", "import invoice_extract"], env=environment, capture_output=True, text=True
    )
    assert run.returncode != 0
    assert "LibraryNotFoundError" in run.stderr
    assert "INVOICE_EXTRACT_LIBRARY=/nonexistent/libinvoice_extract.so.1" in run.stderr
    assert "Debian package invoice-extract" in run.stderr
