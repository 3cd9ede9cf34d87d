/*
 * invoice_extract: recognise ZUGFeRD 1.0 electronic invoices in PDF files and
 * extract the embedded invoice XML.
 *
 * This header is the library's manual. It is valid C (C99 and later) and C++.
 *
 *   pkg-config:  cc app.c $(pkg-config --cflags --libs invoice_extract)
 *   CMake:       find_package(invoice_extract 1 REQUIRED)
 *                target_link_libraries(app PRIVATE invoice_extract::invoice_extract)
 *
 * THE CALLS
 *
 *   ZUGF_Check_Zugferd(pdf)        is the file a ZUGFeRD 1.0 invoice?
 *   ZUGF_Extract_Zugferd(pdf, xml) the same check, then the embedded
 *                                  ZUGFeRD-invoice.xml is written to xml.
 *
 * Since version 1.1, the same two for a PDF held in memory (a mail
 * attachment, an upload), with no file on either side:
 *
 *   ZUGF_Check_Zugferd_Buffer(data, size)
 *   ZUGF_Extract_Zugferd_Buffer(data, size, &xml, &xml_size)
 *                                  the XML in a new block, which the caller
 *                                  releases with ZUGF_Free(xml).
 *
 * The bytes are read exactly as the same bytes in a file are read: the
 * buffer calls give the same result codes, the same XML and the same limits
 * as the path calls.
 *
 * A file is an invoice when it is a PDF/A part 3 document whose XMP metadata
 * says DocumentType "INVOICE" and DocumentFileName "ZUGFeRD-invoice.xml" under
 * the ZUGFeRD schema, and which embeds a file of that name. The library does
 * not read the invoice XML itself. All calls block until done, print nothing,
 * read no environment variable or configuration file, and keep nothing from
 * one call to the next: the returned code (and the extracted XML) is the only
 * answer. The shared library exports these five functions and nothing else.
 *
 * RESULT CODES AND WHAT EACH ASKS OF THE CALLER
 *
 * Compare results with the ZUGF_RESULT_* constants below, never with bare
 * numbers; ZUGF_Describe_Result gives a short English text for logs. The
 * values are fixed for the life of major version 1.
 *
 *   ZUGF_RESULT_INVOICE (0)
 *     Check: the file is an invoice. Extract: also, the XML has been
 *     written to xml_path (or handed over in *xml). Hand the XML on.
 *   ZUGF_RESULT_NOT_PDFA3 (-1)
 *     The file is not a PDF/A part 3 document, so it is no invoice of this
 *     kind. Treat it as an ordinary PDF. Every encrypted PDF that opens gives
 *     this code too, whatever its metadata says: the library takes no
 *     password. Retrying gives the same answer.
 *   ZUGF_RESULT_NOT_INVOICE (-2)
 *     PDF/A-3, but the metadata does not describe a ZUGFeRD 1.0 invoice.
 *     Treat it as an ordinary PDF.
 *   ZUGF_RESULT_NO_INVOICE_FILE (-3)
 *     The metadata announces an invoice, but no embedded file is named
 *     "ZUGFeRD-invoice.xml". The file is a defective invoice: reject it or ask
 *     its sender for a correct one; do not book it as an ordinary PDF.
 *   ZUGF_RESULT_BAD_INPUT (-10)
 *     The input cannot be used: null or empty path (null data or size 0), a
 *     file that cannot be opened (missing, unreadable, a folder), a damaged
 *     file, not a PDF at all, an encryption the library does not accept, or
 *     a read failure while extracting. Check the path and the file's
 *     permissions; if those are right the file itself is unusable, and
 *     retrying will not change that.
 *   ZUGF_RESULT_EXTRACT_FAILED (-11)
 *     Extract only: the file is an invoice, but its XML could not be
 *     written, or its compressed data is damaged. Most often the output path
 *     cannot be opened for writing (missing folder, no permission) or the
 *     disk is full; from ZUGF_Extract_Zugferd_Buffer, xml or xml_size was
 *     null (given at once, before the data is read). A partial output file
 *     may remain: delete it. Fix the output side and call again; if it
 *     fails again with a sound output path, the embedded XML is damaged and
 *     the file must be rejected. Damage elsewhere in the file (an unreadable
 *     page, a broken document information dictionary) never gives it: the
 *     calls read only the objects that the answer needs.
 *   ZUGF_RESULT_OUT_OF_MEMORY (-12)
 *     Memory ran out, at open or during extraction. A retry with more memory
 *     free may succeed; a file that gives this again and again is likely
 *     hostile (see LIMITS ON HOSTILE INPUT below).
 *   ZUGF_RESULT_CANNOT_DECODE (-20)
 *     Extract only: the invoice is genuine (the check gives 0), but its XML
 *     is stored with a compression this library does not decode. No output
 *     file is created and none is truncated. Extract the XML by other means
 *     or ask the sender for a file that uses Flate compression.
 *
 * Any other value is not produced by version 1; treat it like -10.
 *
 * The output file: an existing file at xml_path is truncated only when the
 * invoice is about to be written, so every failure before that leaves it as
 * it was. A failed write may leave a partial file, and nothing is written to
 * a temporary name first: to replace a file atomically, extract to a new name
 * in the same folder and rename it after a 0 result.
 *
 * THREADS
 *
 * Every call may be made from several threads at once, on different files
 * or the same one (or the same bytes, which the buffer calls only read).
 * The library starts no thread and takes no callback. All the state of a
 * call lives on that call's stack; calls on different threads share only the
 * XMP toolkit's global state and one process-wide lock, which guards the
 * toolkit's start-up and shut-down around each metadata query and is never
 * destroyed. Two threads must not extract to the same output path at the
 * same time. The calls are not async-signal-safe: never make them from a
 * signal handler.
 *
 * INPUT LIMITS
 *
 * The buffer calls read the caller's bytes where they lie, through the same
 * blocks as a file (no temporary file); the limits below hold for them as
 * for a file of the same bytes.
 *
 * - Paths are narrow, NUL-terminated byte strings handed to fopen() unchanged:
 *   no character set is assumed or converted, no "~" is expanded, and a
 *   relative path is taken from the current working directory.
 * - File positions are 64-bit: files of 4 GiB and more are read at the places
 *   their offsets name.
 *
 * LIMITS ON HOSTILE INPUT
 *
 * Both calls are safe on any file, from any source: every input gets a result
 * code, in bounded time and memory, in the calling process, and no C++
 * exception ever leaves a call. Real files stay far below each limit; a file
 * over one gets the code that a damaged file gets at the same place:
 *
 * - Cross-reference chain: each section is read once. A "Prev" (or "XRefStm")
 *   that leads back to a section already read ends the chain there, as a
 *   "Prev" of 0 would; what the sections read define is the file.
 * - Other walks that could come back to where they were (the tree of
 *   embedded-file names, chains of references, a stream whose Length leads
 *   back into itself, object streams held in each other) visit each place
 *   once; a reference back into a value being read finds no value there.
 * - Nesting: 256 levels. Arrays and dictionaries inside each other, the
 *   nodes of the embedded-file name tree, and the objects whose reading
 *   another needs. A deeper value is damaged and gets the code of damage
 *   where it stands: a dictionary skips it like any damaged entry and reads
 *   on; an array or object that holds it is unreadable, which gives
 *   ZUGF_RESULT_BAD_INPUT (-10) where the open needs it, ZUGF_RESULT_NOT_PDFA3
 *   (-1) in the metadata, ZUGF_RESULT_NO_INVOICE_FILE (-3) in the name tree
 *   and ZUGF_RESULT_EXTRACT_FAILED (-11) where extraction reads it.
 * - Values read by one call: 65,536. Damaged dictionaries nested inside
 *   each other can make a tolerant reader read the same bytes again at every
 *   level; past this count every further value is damaged, with the code of
 *   damage where it stands (the published sample invoices read fewer than a
 *   hundred values; a name tree of 30,000 attachments fits).
 * - Decoded size of one stream: 64 MiB (Flate and LZW decode incrementally
 *   and stop there). A larger stream is damaged: extraction gives
 *   ZUGF_RESULT_EXTRACT_FAILED (-11), metadata reads as absent
 *   (ZUGF_RESULT_NOT_PDFA3, -1).
 * - Stated length of one stream: a Length above 64 MiB must be backed by the
 *   file; one that runs past its end is refused before any memory is set
 *   aside: ZUGF_RESULT_OUT_OF_MEMORY (-12) at extraction.
 * - Metadata: an empty or unknown pdfaid:conformance, like any unknown PDF/A
 *   level, gives ZUGF_RESULT_NOT_PDFA3 (-1).
 * - Memory that runs out anyway (std::bad_alloc included) gives
 *   ZUGF_RESULT_OUT_OF_MEMORY (-12) at open and extraction, and the code of
 *   the step otherwise; any other exception from below is that step's failure.
 *
 * So a long-lived process (a server, a mail filter) may call the library
 * directly. A time or memory limit of its own (the invoice-extract tool keeps
 * one per file) stays a sound defence in depth, not a requirement.
 */
#ifndef INVOICE_EXTRACT_H
#define INVOICE_EXTRACT_H

#include <stddef.h>
#include <stdint.h>

/* VERSION
 *
 * The version of this header, which is the version of the library it ships
 * with. The shared library's SONAME carries the major version
 * (libinvoice_extract.so.1); the two path calls carry the symbol version
 * INVOICE_EXTRACT_1.0, the buffer calls and ZUGF_Free INVOICE_EXTRACT_1.1
 * (a program that uses them does not start with a 1.0 library). The major
 * version changes, and with it the SONAME, only when an exported call is
 * removed or changes its arguments, or when a result code is added or
 * changes its value or meaning. A minor version may
 * add exported calls (under a new symbol version, so that a program that
 * needs them refuses to load against an older library), macros and
 * documentation; a program built against 1.x runs with every later 1.y. A
 * patch version changes no interface. */
#define INVOICE_EXTRACT_VERSION_MAJOR 1
#define INVOICE_EXTRACT_VERSION_MINOR 1
#define INVOICE_EXTRACT_VERSION_PATCH 0
#define INVOICE_EXTRACT_VERSION_STRING "1.1.0"

#if defined(INVOICE_EXTRACT_BUILDING)
#define INVOICE_EXTRACT_API __attribute__((visibility("default")))
#else
#define INVOICE_EXTRACT_API
#endif

/* Result codes of all calls; what each asks of the caller is told above. */
#define ZUGF_RESULT_INVOICE 0            /* a ZUGFeRD 1.0 invoice (extract: XML written) */
#define ZUGF_RESULT_NOT_PDFA3 (-1)       /* not a PDF/A part 3 document */
#define ZUGF_RESULT_NOT_INVOICE (-2)     /* PDF/A-3, but no ZUGFeRD 1.0 invoice metadata */
#define ZUGF_RESULT_NO_INVOICE_FILE (-3) /* invoice metadata, but no embedded ZUGFeRD-invoice.xml */
#define ZUGF_RESULT_BAD_INPUT (-10)      /* the input cannot be used */
#define ZUGF_RESULT_EXTRACT_FAILED (-11) /* extraction failed */
#define ZUGF_RESULT_OUT_OF_MEMORY (-12)  /* out of memory */
#define ZUGF_RESULT_CANNOT_DECODE (-20)  /* the embedded invoice uses an undecodable compression */

/* A short English meaning of a result code, for messages and logs; never
 * null. Any value that is not one of the codes above gives "unknown result".
 * Inline in this header: it adds nothing to the library's exports. */
static inline const char* ZUGF_Describe_Result(int32_t result) {
  switch (result) {
    case ZUGF_RESULT_INVOICE:
      return "ZUGFeRD invoice";
    case ZUGF_RESULT_NOT_PDFA3:
      return "not a PDF/A-3 document";
    case ZUGF_RESULT_NOT_INVOICE:
      return "PDF/A-3, but no ZUGFeRD invoice metadata";
    case ZUGF_RESULT_NO_INVOICE_FILE:
      return "invoice metadata, but no embedded ZUGFeRD-invoice.xml";
    case ZUGF_RESULT_BAD_INPUT:
      return "input cannot be used";
    case ZUGF_RESULT_EXTRACT_FAILED:
      return "extraction failed";
    case ZUGF_RESULT_OUT_OF_MEMORY:
      return "out of memory";
    case ZUGF_RESULT_CANNOT_DECODE:
      return "embedded invoice cannot be decoded";
    default:
      return "unknown result";
  }
}

#ifdef __cplusplus
extern "C" {
#endif

/* Decides whether the PDF at pdf_path is a ZUGFeRD 1.0 invoice. Gives one of
 * ZUGF_RESULT_INVOICE, _NOT_PDFA3, _NOT_INVOICE, _NO_INVOICE_FILE, _BAD_INPUT
 * or _OUT_OF_MEMORY. Reads the file and writes nothing. */
INVOICE_EXTRACT_API int32_t ZUGF_Check_Zugferd(const char* pdf_path);

/* Makes the same checks as ZUGF_Check_Zugferd, in the same order, then
 * decodes the embedded invoice and writes its bytes to xml_path. Beyond the
 * check's codes it may give ZUGF_RESULT_EXTRACT_FAILED or
 * ZUGF_RESULT_CANNOT_DECODE, so a file that passes the check can still fail
 * here. A null xml_path makes this call the same as ZUGF_Check_Zugferd; an
 * empty one gives ZUGF_RESULT_EXTRACT_FAILED on an invoice. */
INVOICE_EXTRACT_API int32_t ZUGF_Extract_Zugferd(const char* pdf_path, const char* xml_path);

/* Since 1.1. ZUGF_Check_Zugferd for the size bytes at data, which hold a
 * whole PDF file: the same result as for a file of these bytes. Null data or
 * a size of 0 gives ZUGF_RESULT_BAD_INPUT. The bytes are only read, and only
 * during the call. */
INVOICE_EXTRACT_API int32_t ZUGF_Check_Zugferd_Buffer(const void* data, size_t size);

/* Since 1.1. ZUGF_Extract_Zugferd for the size bytes at data, with the
 * invoice XML handed over in memory instead of written to a file: on
 * ZUGF_RESULT_INVOICE, *xml points to a new block of *xml_size bytes (never
 * null, even for an empty invoice) that the caller releases with ZUGF_Free;
 * on any other result *xml is null and *xml_size 0, and there is nothing to
 * release. Null data or a size of 0 gives ZUGF_RESULT_BAD_INPUT; a null xml
 * or xml_size gives ZUGF_RESULT_EXTRACT_FAILED without reading the data.
 * Beyond that, the results are those of ZUGF_Extract_Zugferd for a file of
 * these bytes, minus the failures of writing a file. */
INVOICE_EXTRACT_API int32_t ZUGF_Extract_Zugferd_Buffer(const void* data, size_t size, void** xml, size_t* xml_size);

/* Since 1.1. Releases a block handed over by ZUGF_Extract_Zugferd_Buffer;
 * null is allowed and does nothing. Use it rather than free(): the library
 * may not share the caller's C runtime. */
INVOICE_EXTRACT_API void ZUGF_Free(void* block);

#ifdef __cplusplus
}
#endif

#endif
