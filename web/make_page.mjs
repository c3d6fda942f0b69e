// SPDX-License-Identifier: Apache-2.0
// Joins the page and everything that it needs into one file, which may be opened without a server:
//   node make_page.mjs PACKAGE PAGE.html
import {readFileSync, writeFileSync} from 'node:fs';

const [, , folder, result] = process.argv, here = new URL('page/', import.meta.url);

/// Modules as one script: imports are left out, because the names of all modules differ.
function joined(...modules) {
  const texts = modules.map(module => readFileSync(module, 'utf8'));
  return texts.join('').replace(/^import .*\n/gm, '').replace(/^export default /gm, 'const binary = ').replace(/^export /gm, '');
}

const own = name => new URL(name, here);
const parts = {
  page_style: readFileSync(own('page.css'), 'utf8'),
  page_worker: joined(folder + '/norvane_wasm.js', folder + '/norvane.js', own('read_png.js'), own('read_dicom.js'), own('worker.js')),
  page_script: '\'use strict\';\n(() => {\n' + joined(own('read_png.js'), own('page.js')) + '})();\n',
};
writeFileSync(result, readFileSync(own('page.html'), 'utf8').replace(/@(page_\w+)@/g, (_, name) => parts[name]));
