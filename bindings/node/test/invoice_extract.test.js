'use strict';
// The package over the shared corpus, from a path and from a Buffer, both
// ways of calling, and the errors its calls promise.
const test = require('node:test');
const assert = require('node:assert');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');

// The package under test: this folder, or an installed copy.
const packageDir = process.env.INVOICE_EXTRACT_NODE_PACKAGE || path.join(__dirname, '..');
const invoice = require(packageDir);
const { Result, InvoiceError } = invoice;

const root = path.resolve(__dirname, '..', '..', '..');
const corpus = path.join(root, '..', 'shared', 'corpus');
const rows = fs.readFileSync(path.join(corpus, 'expected.tsv'), 'utf8').split('\n')
  .filter((line) => line && !line.startsWith('#'))
  .map((line) => line.split('\t'));

const sources = {
  path: (file) => file,
  Buffer: (file) => fs.readFileSync(file),
  Uint8Array: (file) => new Uint8Array(fs.readFileSync(file)),
};

const sha256 = (bytes) => crypto.createHash('sha256').update(bytes).digest('hex');

test('every corpus file gives its expected results', async (t) => {
  for (const [name, check, extract, digest] of rows) {
    for (const [kind, make] of Object.entries(sources)) {
      await t.test(`${name} as ${kind}`, async () => {
        const source = make(path.join(corpus, name));
        assert.strictEqual(await invoice.check(source), Number(check));
        assert.strictEqual(invoice.checkSync(source), Number(check));
        if (Number(extract) === Result.INVOICE) {
          assert.strictEqual(sha256(await invoice.extract(source)), digest);
          assert.strictEqual(sha256(invoice.extractSync(source)), digest);
        } else {
          const expected = (error) => error instanceof InvoiceError && error.result === Number(extract);
          await assert.rejects(invoice.extract(source), expected);
          assert.throws(() => invoice.extractSync(source), expected);
        }
      });
    }
  }
});

test('unusable input gives BAD_INPUT', async (t) => {
  const cases = {
    'missing path': '/nonexistent/file.pdf',
    'empty path': '',
    'folder': '/',
    'empty Buffer': Buffer.alloc(0),
    'not a whole PDF': Buffer.from('%PDF-1.7\n%%EOF\n'),
  };
  for (const [name, source] of Object.entries(cases)) {
    await t.test(name, async () => {
      assert.strictEqual(await invoice.check(source), Result.BAD_INPUT);
      assert.strictEqual(invoice.checkSync(source), Result.BAD_INPUT);
      const expected = (error) => error instanceof InvoiceError && error.result === Result.BAD_INPUT;
      await assert.rejects(invoice.extract(source), expected);
      assert.throws(() => invoice.extractSync(source), expected);
    });
  }
});

test('a source of another type is a TypeError', async () => {
  for (const source of [undefined, 42, { path: 'x.pdf' }, 'a\0b.pdf']) {
    await assert.rejects(invoice.check(source), TypeError);
    await assert.rejects(invoice.extract(source), TypeError);
    assert.throws(() => invoice.checkSync(source), TypeError);
    assert.throws(() => invoice.extractSync(source), TypeError);
  }
});

test('describe gives the header\'s meaning of each code', () => {
  const header = fs.readFileSync(path.join(root, 'include', 'invoice_extract.h'), 'utf8');
  for (const [name, code] of Object.entries(Result)) {
    assert.match(header, new RegExp(`#define ZUGF_RESULT_${name} \\(?${code}\\)?`));
    assert.notStrictEqual(invoice.describe(code), 'unknown result', name);
  }
  assert.strictEqual(new Set(Object.values(Result).map(invoice.describe)).size, 8);
  for (const other of [1, -4, -7, 0.5, '0']) assert.strictEqual(invoice.describe(other), 'unknown result');
  const error = new InvoiceError(Result.NOT_PDFA3);
  assert.strictEqual(error.message, 'not a PDF/A-3 document (-1)');
});

test('the package and the addon carry the header\'s version', () => {
  const header = fs.readFileSync(path.join(root, 'include', 'invoice_extract.h'), 'utf8');
  const version = header.match(/VERSION_STRING "([^"]+)"/)[1];
  assert.strictEqual(invoice.version, version);
  assert.strictEqual(require(path.join(packageDir, 'package.json')).version, version);
});
