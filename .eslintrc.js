// SPDX-License-Identifier: Apache-2.0
// What is a fault in scripts. That of the page of a run is no module, and the browser gives it its names.
'use strict';
module.exports = {
  root: true,
  extends: 'eslint:recommended',
  env: {browser: true, es6: true},
  parserOptions: {ecmaVersion: 2020},
  rules: {
    'eqeqeq': 'error', 'no-implicit-globals': 'error', 'no-shadow': 'error', 'no-var': 'error', 'prefer-const': 'error',
    'no-use-before-define': ['error', {functions: false}],
  },
  overrides: [{
    files: ['web/**'],
    env: {browser: true, node: true, es6: true, worker: true},
    parserOptions: {ecmaVersion: 2022, sourceType: 'module'},
    rules: {'no-dupe-class-members': 'off'},  // it takes all private members for one
    globals: {WebAssembly: 'readonly', DecompressionStream: 'readonly', CompressionStream: 'readonly'},
  }],
};
