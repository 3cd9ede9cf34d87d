"""Recognise ZUGFeRD 1.0 electronic invoices in PDF files and extract the
embedded invoice XML, through the installed libinvoice_extract.so.1.

A file is an invoice when it is a PDF/A part 3 document whose XMP metadata
says DocumentType "INVOICE" and DocumentFileName "ZUGFeRD-invoice.xml" under
the ZUGFeRD schema, and which embeds a file of that name. The library does not
read the invoice XML itself.

THE CALLS

    check(source) -> Result           is the file a ZUGFeRD 1.0 invoice?
    extract(source) -> bytes          the same check, then the embedded
                                      ZUGFeRD-invoice.xml; raises InvoiceError
                                      for anything but an invoice.
    extract_to(source, xml_path) -> Result
                                      the same check, then the XML written to
                                      xml_path.

A source is a path (str, bytes or os.PathLike) or the file's content (bytes,
bytearray or memoryview, read in place; a read-only memoryview that is not
bytes is copied). The same bytes give the same answer either way. Every call
blocks until done, prints nothing and keeps nothing from one call to the next.

RESULTS

Result is an IntEnum of the library's result codes; Result.description is a
short English meaning for logs. What each asks of the caller:

    INVOICE (0)           an invoice; extract: the XML is handed over.
    NOT_PDFA3 (-1)        not a PDF/A part 3 document (every encrypted PDF
                          gives this too): treat it as an ordinary PDF.
    NOT_INVOICE (-2)      PDF/A-3, but no ZUGFeRD 1.0 invoice metadata: treat
                          it as an ordinary PDF.
    NO_INVOICE_FILE (-3)  the metadata announces an invoice, but no embedded
                          ZUGFeRD-invoice.xml: a defective invoice; reject it.
    BAD_INPUT (-10)       the input cannot be used: empty, missing, unreadable,
                          damaged, not a PDF, unsupported encryption.
    EXTRACT_FAILED (-11)  an invoice whose XML could not be written (extract_to)
                          or whose compressed data is damaged.
    OUT_OF_MEMORY (-12)   memory ran out; a file that gives this again and
                          again is likely a compression bomb.
    CANNOT_DECODE (-20)   a genuine invoice whose XML is stored with a
                          compression the library does not decode.

THREADS

Every call releases the GIL while the library works, so a
concurrent.futures.ThreadPoolExecutor runs as many files at once as there are
cores. Calls on different threads share nothing but the XMP toolkit's global
state, which the library guards.

HOSTILE INPUT

Every call is bounded in time and memory on any file, and no C++ exception
leaves the library: files from strangers may be passed to these calls inside
a long-lived process. The limits (nesting depth, decoded size of a stream,
values read) and the codes a file over one gets are listed in the C header.

FINDING THE LIBRARY

The module loads libinvoice_extract.so.1 (version 1.1 or later): the file
named by the environment variable INVOICE_EXTRACT_LIBRARY when it is set;
otherwise the library installed together with this module by cmake --install
or the Debian package, and then wherever the dynamic linker finds it.
"""

from __future__ import annotations

import ctypes
import enum
import os
from typing import Union

__all__ = [
    "Result",
    "InvoiceError",
    "LibraryNotFoundError",
    "check",
    "extract",
    "extract_to",
    "__version__",
]

#: The version of the library this module is written for (the version of
#: include/invoice_extract.h); the module needs that library or a later 1.y.
__version__ = "1.1.0"

Source = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]", bytearray, memoryview]
PathType = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

_LIBRARY_NAME = "libinvoice_extract.so.1"


class Result(enum.IntEnum):
    """A result code of the library; compare with these names, never with
    bare numbers. `description` is the library's short English meaning."""

    INVOICE = 0
    NOT_PDFA3 = -1
    NOT_INVOICE = -2
    NO_INVOICE_FILE = -3
    BAD_INPUT = -10
    EXTRACT_FAILED = -11
    OUT_OF_MEMORY = -12
    CANNOT_DECODE = -20

    @property
    def description(self) -> str:
        """A short English meaning of the code, for messages and logs."""
        return _DESCRIPTIONS[self]


_DESCRIPTIONS = {
    Result.INVOICE: "ZUGFeRD invoice",
    Result.NOT_PDFA3: "not a PDF/A-3 document",
    Result.NOT_INVOICE: "PDF/A-3, but no ZUGFeRD invoice metadata",
    Result.NO_INVOICE_FILE: "invoice metadata, but no embedded ZUGFeRD-invoice.xml",
    Result.BAD_INPUT: "input cannot be used",
    Result.EXTRACT_FAILED: "extraction failed",
    Result.OUT_OF_MEMORY: "out of memory",
    Result.CANNOT_DECODE: "embedded invoice cannot be decoded",
}


class InvoiceError(Exception):
    """Raised by extract() for every result but Result.INVOICE; `result`
    tells which."""

    def __init__(self, result: Result) -> None:
        super().__init__(f"{result.description} ({result.name}, {int(result)})")
        self.result = result


class LibraryNotFoundError(ImportError):
    """libinvoice_extract.so.1 (1.1 or later) could not be loaded."""


def _load() -> ctypes.CDLL:
    override = os.environ.get("INVOICE_EXTRACT_LIBRARY")
    if override:
        candidates = [override]
    else:
        candidates = []
        try:
            from . import _installed  # written by cmake --install

            candidates.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), _installed.LIBRARY))
        except ImportError:
            pass
        candidates.append(_LIBRARY_NAME)
    errors = []
    for candidate in candidates:
        try:
            library = ctypes.CDLL(candidate)
        except OSError as error:
            errors.append(str(error))
            continue
        if not hasattr(library, "ZUGF_Extract_Zugferd_Buffer"):
            errors.append(f"{candidate}: a library older than 1.1 (no ZUGF_Extract_Zugferd_Buffer)")
            continue
        return library
    where = (
        f"INVOICE_EXTRACT_LIBRARY={override} cannot be loaded"
        if override
        else f"{_LIBRARY_NAME} (version 1.1 or later) was not found"
    )
    raise LibraryNotFoundError(
        f"invoice_extract: {where}: {'; '.join(errors)}.\n"
        "Install the library: the Debian package invoice-extract "
        "(sudo dpkg -i invoice-extract_1.1.0_amd64.deb), or from source with "
        "cmake --install (for a prefix outside the dynamic linker's folders, add its lib folder to "
        "LD_LIBRARY_PATH); or set INVOICE_EXTRACT_LIBRARY to the path of libinvoice_extract.so.1."
    )


_library = _load()
_library.ZUGF_Check_Zugferd.argtypes = [ctypes.c_char_p]
_library.ZUGF_Check_Zugferd.restype = ctypes.c_int32
_library.ZUGF_Extract_Zugferd.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
_library.ZUGF_Extract_Zugferd.restype = ctypes.c_int32
_library.ZUGF_Check_Zugferd_Buffer.argtypes = [ctypes.c_void_p, ctypes.c_size_t]
_library.ZUGF_Check_Zugferd_Buffer.restype = ctypes.c_int32
_library.ZUGF_Extract_Zugferd_Buffer.argtypes = [
    ctypes.c_void_p,
    ctypes.c_size_t,
    ctypes.POINTER(ctypes.c_void_p),
    ctypes.POINTER(ctypes.c_size_t),
]
_library.ZUGF_Extract_Zugferd_Buffer.restype = ctypes.c_int32
_library.ZUGF_Free.argtypes = [ctypes.c_void_p]
_library.ZUGF_Free.restype = None


def _result(code: int) -> Result:
    # The library gives no other code in version 1; any other is taken as
    # an unusable input, as the header asks.
    try:
        return Result(code)
    except ValueError:
        return Result.BAD_INPUT


def _path(path: PathType) -> bytes:
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("embedded null byte in path")
    return encoded


def _content(source: Union[bytes, bytearray, memoryview]):
    """The bytes as the library takes them: an object ctypes passes by
    address (bytes as they are, writable buffers in place), and the size."""
    if isinstance(source, bytes):
        return source, len(source)
    view = memoryview(source)
    if not view.readonly and view.c_contiguous:
        view = view.cast("B")
        return (ctypes.c_char * view.nbytes).from_buffer(view), view.nbytes
    data = view.tobytes()
    return data, len(data)


def _is_content(source: object) -> bool:
    return isinstance(source, (bytes, bytearray, memoryview))


def check(source: Source) -> Result:
    """Decides whether the PDF is a ZUGFeRD 1.0 invoice.

    Gives Result.INVOICE, NOT_PDFA3, NOT_INVOICE, NO_INVOICE_FILE, BAD_INPUT
    or OUT_OF_MEMORY; reads the file (or the bytes) and writes nothing. A
    missing or unreadable path gives BAD_INPUT, as does empty content.
    """
    if _is_content(source):
        data, size = _content(source)  # type: ignore[arg-type]
        return _result(_library.ZUGF_Check_Zugferd_Buffer(data, size))
    return _result(_library.ZUGF_Check_Zugferd(_path(source)))  # type: ignore[arg-type]


def _extract_bytes(data, size: int) -> tuple[Result, bytes]:
    xml = ctypes.c_void_p()
    xml_size = ctypes.c_size_t()
    result = _result(_library.ZUGF_Extract_Zugferd_Buffer(data, size, ctypes.byref(xml), ctypes.byref(xml_size)))
    try:
        return result, (ctypes.string_at(xml, xml_size.value) if result == Result.INVOICE else b"")
    finally:
        _library.ZUGF_Free(xml)


def extract(source: Source) -> bytes:
    """Makes the checks of check() and gives the embedded invoice XML.

    Raises InvoiceError, whose `result` says why, for anything but an
    invoice: the codes of check(), and also EXTRACT_FAILED (damaged
    compressed data) or CANNOT_DECODE (a compression the library does not
    decode), so a file that passes the check can still fail here. A path is
    read into memory first; one that cannot be read gives BAD_INPUT.
    """
    if _is_content(source):
        data, size = _content(source)  # type: ignore[arg-type]
    else:
        try:
            with open(_path(source), "rb") as file:  # type: ignore[arg-type]
                data = file.read()
        except OSError as error:
            raise InvoiceError(Result.BAD_INPUT) from error
        size = len(data)
    result, xml = _extract_bytes(data, size)
    if result != Result.INVOICE:
        raise InvoiceError(result)
    return xml


def extract_to(source: Source, xml_path: PathType) -> Result:
    """Makes the checks of check(), then writes the embedded invoice XML to
    xml_path; returns the result and raises nothing for a file that is no
    invoice.

    The output is opened (and an existing file truncated) only once every
    check has passed; a failed write may leave a partial file. An output that
    cannot be written gives EXTRACT_FAILED. To replace a file atomically,
    extract to a new name in the same folder and rename it on INVOICE.
    """
    if not _is_content(source):
        return _result(_library.ZUGF_Extract_Zugferd(_path(source), _path(xml_path)))  # type: ignore[arg-type]
    output = _path(xml_path)
    data, size = _content(source)  # type: ignore[arg-type]
    result, xml = _extract_bytes(data, size)
    if result != Result.INVOICE:
        return result
    try:
        with open(output, "wb") as file:
            file.write(xml)
    except OSError:
        return Result.EXTRACT_FAILED
    return result
