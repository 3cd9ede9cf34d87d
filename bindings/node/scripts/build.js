'use strict';
// Builds the addon with node-gyp at installation, offline: against the
// headers that this Node.js installed with itself (PREFIX/include/node, as
// Debian's and NodeSource's packages and the official archives have them)
// instead of a download, and with the node-gyp that comes with npm. The
// library is found by pkg-config (PKG_CONFIG_PATH for a prefix of your own).
const fs = require('fs');
const path = require('path');
const { spawnSync } = require('child_process');

const prefix = path.resolve(path.dirname(process.execPath), '..');
const args = ['rebuild'];
if (fs.existsSync(path.join(prefix, 'include', 'node', 'node_api.h'))) args.push(`--nodedir=${prefix}`);
if (!process.env.PYTHON && !process.env.npm_config_python && fs.existsSync('/usr/bin/python3')) {
  args.push('--python=/usr/bin/python3');
}
const nodeGyp = process.env.npm_config_node_gyp ||
  path.join(prefix, 'lib', 'node_modules', 'npm', 'node_modules', 'node-gyp', 'bin', 'node-gyp.js');

const pkgConfig = spawnSync('pkg-config', ['--atleast-version=1.1', 'invoice_extract']);
if (pkgConfig.status !== 0) {
  console.error('invoice-extract: pkg-config finds no invoice_extract 1.1 or later. Install the library ' +
    '(the Debian package invoice-extract, or cmake --install into PREFIX and ' +
    'export PKG_CONFIG_PATH=PREFIX/lib/pkgconfig), then install this package again.');
  process.exit(1);
}
const run = spawnSync(process.execPath, [nodeGyp, ...args], { stdio: 'inherit' });
process.exit(run.status === null ? 1 : run.status);
