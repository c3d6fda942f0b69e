// SPDX-License-Identifier: Apache-2.0
// Writes a binary file as a module that holds its bytes:  node embed.mjs FILE.wasm MODULE.js
import {readFileSync, writeFileSync} from 'node:fs';

const [, , binary, module] = process.argv;
const text = readFileSync(binary).toString('base64');
writeFileSync(module, '// Made from ' + binary.replace(/.*\//, '') + '.\nexport default \'' + text + '\';\n');
