// SPDX-License-Identifier: Apache-2.0
// The package in Node.js beside the program. scripts/check_web.sh calls it:
//   NORVANE=PROGRAM PACKAGE=FOLDER node --test package_test.mjs
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, test} from 'node:test';
import {pathToFileURL} from 'node:url';
import {Worker} from 'node:worker_threads';

import {readPng} from '../page/read_png.js';

const {Mask, Norvane} = await import(join(process.env.PACKAGE, 'norvane.js'));
const folder = mkdtempSync(join(tmpdir(), 'norvane-web-'));
after(() => rmSync(folder, {recursive: true}));

/// A phantom with what the program finds in it.
async function phantom(name, view, pixelSize, ...options) {
  const file = join(folder, name + '.png'), results = join(folder, name);
  execFileSync(process.env.NORVANE, ['phantom', '--view', view, '--pixel-size', pixelSize, ...options, file]);
  const begin = performance.now();
  const given = ['--view', view, '--pixel-size', pixelSize, '--results', 'json,labels', '--out-dir', results];
  execFileSync(process.env.NORVANE, ['masks', ...given, file], {stdio: 'pipe'});
  const milliseconds = performance.now() - begin;
  return {...await readPng(readFileSync(file)), file, milliseconds, view, pixelSize: Number(pixelSize),
    json: readFileSync(join(results, name + '.json'), 'utf8'),
    labels: (await readPng(readFileSync(join(results, name + '.labels.png')))).samples};
}

const analysed = (norvane, {samples, facts, file, view, pixelSize}) =>
  norvane.analyse({samples, facts, file, options: {view, pixel_size_um: pixelSize}});
const runsOf = mask => mask.rows.flatMap(([y, ...ends]) =>
  ends.flatMap((end, i) => i % 2 ? [] : [y, end, ends[i + 1]]));

const film = await phantom('film', 'mlo', '100');
const digital = await phantom('digital', 'mlo', '100', '--look', 'digital', '--side', 'right', '--frame', 'none',
    '--width', '1501');
const norvane = await Norvane.load();

test('the JSON and the labels are those of the program, letter by letter', async () => {
  const others = [await phantom('craniocaudal', 'cc', '70', '--look', 'digital', '--bits', '14', '--seed', '5'),
    await phantom('bytes', 'mlo', '228', '--bits', '8', '--width', '700', '--height', '900'),
    await phantom('words', 'mlo', '94', '--bits', '16', '--seed', '9')];
  for (const one of [film, digital, ...others]) {
    const {json, labels} = analysed(norvane, one);
    assert.equal(json, one.json);
    assert.deepEqual(Uint16Array.from(labels), one.labels);
  }
});

test('the operations of the C interface give the masks of the program', () => {
  const {settings, masks, geometry} = JSON.parse(digital.json);
  const params = {side: settings.side.value, view: 'mlo', noise: settings.noise.value};
  assert.deepEqual(geometry.crop, {x: 0, y: 0, width: 1501, height: 2400});
  const image = norvane.prepare({...digital, ...digital.facts, usedBits: digital.facts.used_bits, noise: params.noise});
  const {status, full, muscle, outer} = image.fullMask(params), frame = image.frameMask(params);
  const breast = image.breastMask(params, frame.frame);
  assert.deepEqual([status, frame.status, breast.status],
      [masks.full, masks.frame, masks.breast].map(mask => mask.status.number));
  for (const [mask, expected] of [[full, masks.full], [muscle, masks.pectoral], [outer, masks.outer],
    [frame.frame, masks.frame], [breast.breast, masks.breast]]) {
    assert.deepEqual([...mask.runs], runsOf(expected));
  }
  assert.deepEqual(image.muscleMask(params, frame.frame, breast.breast).muscle.runs, muscle.runs);
  const {points} = image.outline({...params, muscleOutline: true});
  assert.deepEqual([...points], JSON.parse(digital.json).contour.points.flat());
  assert.equal(image.pixels().length, image.width * image.height);
  image.free();
  assert.throws(() => image.fullMask(params), /was freed/);
});

test('masks are runs, bitmaps, paths and sets', () => {
  const ring = Mask.from({runs: [1, 1, 3, 2, 1, 1, 2, 3, 3, 3, 1, 3, 4, 4, 5], pixelSize: 100});
  assert.equal(ring.pixels, 10);
  assert.ok(Math.abs(ring.area - 0.1) < 1e-12);
  const bitmap = norvane.bitmap(ring, 7, 6);
  assert.equal([...bitmap].join('').match(/.{7}/g).join(' '), '0000000 0111000 0101000 0111000 0000110 0000000');
  // Holes run the other way round, so that the signed areas of all outlines add up to the pixels.
  const outlines = ring.svgPath().match(/[^MZ]+/g)
      .map(text => text.split('L').map(point => point.split(' ').map(Number)));
  const doubled = outlines.flatMap(points => points.map(([x, y], i) => {
    const [u, v] = points[(i + 1) % points.length];
    return x * v - u * y;
  }));
  assert.equal(doubled.reduce((a, b) => a + b), 20);
  const dot = Mask.from({runs: [2, 2, 2], pixelSize: 100});
  assert.equal(norvane.union(ring, dot).pixels, 11);
  assert.deepEqual(norvane.difference(norvane.union(ring, dot), dot).runs, ring.runs);
  assert.equal(norvane.intersection(ring, dot).pixels, 0);
});

test('wrong arguments are errors in words', () => {
  const picture = {samples: new Uint16Array(100), width: 10, height: 10, pixelSize: 100};
  for (const [change, words] of [[{pixelSize: 500}, /at most 228/], [{samples: [1]}, /Uint16Array/],
    [{height: 11}, /too few/], [{noise: 'mgg'}, /not mgg/], [{usedBits: 17}, /1 to 16/]]) {
    assert.throws(() => norvane.prepare({...picture, ...change}), words);
  }
  assert.throws(() => norvane.bitmap({runs: [1, 2, 3]}, 4, 4), /Uint32Array/);
  assert.throws(() => norvane.analyse({samples: new Uint16Array(9),
    facts: {format: 'PNG', width: 3, height: 3, used_bits: 16},
    options: {view: 'cc', pixel_size_um: 100}}), /^Error: The image .*\.$/);
});

test('memory is used again and given back', async () => {
  const own = await Norvane.load(), begun = own.memoryBytes;
  for (let i = 0; i < 2; ++i) analysed(own, film);
  const grown = own.memoryBytes;
  assert.ok(grown > begun);
  for (let i = 0; i < 5; ++i) analysed(own, film);
  assert.equal(own.memoryBytes, grown);
  await own.releaseMemory();
  assert.equal(own.memoryBytes, begun);
  assert.equal(analysed(own, film).json, film.json);
});

test('a worker answers with masks that are values', async () => {
  const code = `import {parentPort, workerData} from 'node:worker_threads';
    import {Norvane} from '${pathToFileURL(join(process.env.PACKAGE, 'norvane.js'))}';
    const image = (await Norvane.load()).prepare(workerData);
    parentPort.postMessage(image.fullMask({side: 'right', view: 'mlo', noise: 'mg'}));`;
  const worker = new Worker(new URL('data:text/javascript,' + encodeURIComponent(code)),
      {workerData: {samples: digital.samples, width: 1501, height: 2400, pixelSize: 100, usedBits: digital.facts.used_bits}});
  const {full} = await new Promise((done, failed) => worker.on('message', done).on('error', failed));
  assert.deepEqual([...Mask.from(full).runs], runsOf(JSON.parse(digital.json).masks.full));
  await worker.terminate();
});

test('npm packs what is needed and nothing else', () => {
  const answer = execFileSync('npm', ['pack', '--dry-run', '--json'],
      {cwd: process.env.PACKAGE, stdio: ['ignore', 'pipe', 'ignore']});
  const [{files}] = JSON.parse(answer);
  assert.deepEqual(files.map(({path}) => path).sort(),
      ['LICENSE', 'README.md', 'norvane.d.ts', 'norvane.js', 'norvane_wasm.js', 'package.json']);
});

test('an image of 3328 x 4096 is found as the program finds it', async context => {
  const large = await phantom('large', 'mlo', '70', '--width', '3328', '--height', '4096', '--look', 'digital');
  const begin = performance.now(), {json} = analysed(norvane, large), milliseconds = performance.now() - begin;
  assert.equal(json, large.json);
  context.diagnostic(`analysis in Node.js: ${Math.round(milliseconds)} ms; ` +
      `the whole program: ${Math.round(large.milliseconds)} ms`);
});
