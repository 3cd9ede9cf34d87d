// invoice-extract: recognise ZUGFeRD 1.0 invoices in PDF files and extract the
// embedded invoice XML, through the installed libinvoice_extract.so.1.
//
// A file is an invoice when it is a PDF/A part 3 document whose XMP metadata
// says DocumentType "INVOICE" and DocumentFileName "ZUGFeRD-invoice.xml" under
// the ZUGFeRD schema, and which embeds a file of that name. A source is a path
// or the file's bytes; the same bytes give the same answer either way. Files
// from strangers are safe to pass: the library bounds every call in time and
// memory and lets no exception out.

/** A path, or the whole PDF file's bytes (a Buffer or any Uint8Array). */
export type Source = string | Uint8Array;

/** The library's result codes; compare with these names, never bare numbers. */
export declare const Result: {
  /** A ZUGFeRD 1.0 invoice; extract: the XML is handed over. */
  readonly INVOICE: 0;
  /** Not a PDF/A part 3 document (every encrypted PDF too): an ordinary PDF. */
  readonly NOT_PDFA3: -1;
  /** PDF/A-3, but no ZUGFeRD 1.0 invoice metadata: an ordinary PDF. */
  readonly NOT_INVOICE: -2;
  /** Invoice metadata, but no embedded ZUGFeRD-invoice.xml: a defective invoice. */
  readonly NO_INVOICE_FILE: -3;
  /** The input cannot be used: empty, missing, unreadable, damaged, not a PDF. */
  readonly BAD_INPUT: -10;
  /** Extract only: the invoice's compressed data is damaged. */
  readonly EXTRACT_FAILED: -11;
  /** Memory ran out (again and again: likely a compression bomb). */
  readonly OUT_OF_MEMORY: -12;
  /** Extract only: a genuine invoice whose XML uses a compression the library cannot decode. */
  readonly CANNOT_DECODE: -20;
};
export type Result = (typeof Result)[keyof typeof Result];

/** A short English meaning of a result code for logs; "unknown result" for any other value. */
export declare function describe(code: number): string;

/** The rejection of extract() and the exception of extractSync() for anything but an invoice. */
export declare class InvoiceError extends Error {
  constructor(result: Result, options?: { cause?: unknown });
  readonly name: 'InvoiceError';
  /** Why: any result code but Result.INVOICE. */
  readonly result: Result;
}

/**
 * Decides whether the PDF is a ZUGFeRD 1.0 invoice, on the thread pool.
 * Resolves to INVOICE, NOT_PDFA3, NOT_INVOICE, NO_INVOICE_FILE, BAD_INPUT or
 * OUT_OF_MEMORY (a missing or unreadable path, or empty bytes, give BAD_INPUT);
 * rejects with a TypeError for a source of another type. The Buffer must not
 * change until the Promise settles.
 */
export declare function check(source: Source): Promise<Result>;
/** check() as a blocking call, for scripts: returns the code. */
export declare function checkSync(source: Source): Result;

/**
 * Makes the checks of check(), then resolves to the embedded invoice XML;
 * rejects with an InvoiceError for anything but an invoice (also
 * EXTRACT_FAILED and CANNOT_DECODE, so a file that passes the check can still
 * fail here). A path is read into memory first; one that cannot be read gives
 * BAD_INPUT.
 */
export declare function extract(source: Source): Promise<Buffer>;
/** extract() as a blocking call, for scripts: returns the XML or throws an InvoiceError. */
export declare function extractSync(source: Source): Buffer;

/** The version of the library's header that the addon was built against. */
export declare const version: string;
