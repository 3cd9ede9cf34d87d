'use strict';
// invoice-extract: recognise ZUGFeRD 1.0 invoices in PDF files and extract
// the embedded invoice XML, through the installed libinvoice_extract.so.1.
// The declarations and their documentation are in index.d.ts.

const fs = require('fs');

let native;
try {
  native = require('./build/Release/invoice_extract.node');
} catch (error) {
  const problem = new Error(
    'invoice-extract: the addon cannot be loaded (' + error.message + '). It is built at installation ' +
      'against libinvoice_extract.so.1, version 1.1 or later: install the library (the Debian package ' +
      'invoice-extract, or cmake --install with its lib/pkgconfig folder in PKG_CONFIG_PATH), then ' +
      'install this package again.');
  problem.cause = error;
  throw problem;
}

/** The library's result codes. */
const Result = Object.freeze({
  INVOICE: 0,
  NOT_PDFA3: -1,
  NOT_INVOICE: -2,
  NO_INVOICE_FILE: -3,
  BAD_INPUT: -10,
  EXTRACT_FAILED: -11,
  OUT_OF_MEMORY: -12,
  CANNOT_DECODE: -20,
});

function describe(code) {
  return native.describe(Number.isInteger(code) ? code : 1);
}

class InvoiceError extends Error {
  constructor(result, options) {
    super(`${describe(result)} (${result})`, options);
    this.name = 'InvoiceError';
    this.result = result;
  }
}

function isBytes(source) {
  return source instanceof Uint8Array;
}

function checkSource(source) {
  if (typeof source !== 'string' && !isBytes(source)) {
    throw new TypeError('source must be a path (string) or a Buffer');
  }
}

function fromOutcome(outcome) {
  if (outcome.result !== Result.INVOICE) throw new InvoiceError(outcome.result);
  return outcome.xml;
}

async function check(source) {
  checkSource(source);
  return native.check(source);
}

function checkSync(source) {
  checkSource(source);
  return native.checkSync(source);
}

async function extract(source) {
  checkSource(source);
  let bytes = source;
  if (!isBytes(source)) {
    try {
      bytes = await fs.promises.readFile(source);
    } catch (error) {
      if (error.code === 'ERR_INVALID_ARG_VALUE') throw error;
      throw new InvoiceError(Result.BAD_INPUT, { cause: error });
    }
  }
  return fromOutcome(await native.extract(bytes));
}

function extractSync(source) {
  checkSource(source);
  let bytes = source;
  if (!isBytes(source)) {
    try {
      bytes = fs.readFileSync(source);
    } catch (error) {
      if (error.code === 'ERR_INVALID_ARG_VALUE') throw error;
      throw new InvoiceError(Result.BAD_INPUT, { cause: error });
    }
  }
  return fromOutcome(native.extractSync(bytes));
}

module.exports = {
  Result,
  InvoiceError,
  describe,
  check,
  checkSync,
  extract,
  extractSync,
  version: native.version,
};
