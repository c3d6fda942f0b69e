// SPDX-License-Identifier: Apache-2.0
// Reads and analyses files beside the page, so that the page stays responsive.
import {Mask, Norvane} from '../norvane/norvane.js';
import {isDicom, readDicom} from './read_dicom.js';
import {Refusal, isPng, readPng} from './read_png.js';

const LONGEST_SIDE = 2048;  // of the picture that is shown

/// The picture in a size for a screen: each pixel is the mean of a square of samples.
function shrunk(samples, width, height) {
  const step = Math.max(1, Math.ceil(Math.max(width, height) / LONGEST_SIDE));
  const columns = Math.floor(width / step), rows = Math.floor(height / step), pixels = new Uint16Array(columns * rows);
  const sums = new Uint32Array(columns);
  for (let y = 0; y < rows; ++y) {
    sums.fill(0);
    for (let dy = 0; dy < step; ++dy) {
      for (let x = 0, at = (y * step + dy) * width; x < columns; ++x) {
        for (let dx = 0; dx < step; ++dx) sums[x] += samples[at++];
      }
    }
    for (let x = 0; x < columns; ++x) pixels[y * columns + x] = sums[x] / (step * step);
  }
  return {pixels, columns, rows, step};
}

/// A mask of the report as a value of the package.
function maskOf({rows}, pixelSize) {
  const runs = rows.flatMap(([y, ...ends]) => ends.flatMap((end, i) => i % 2 ? [] : [y, end, ends[i + 1]]));
  return new Mask(Uint32Array.from(runs), pixelSize);
}

function reading(bytes) {
  if (isPng(bytes)) return readPng(bytes);
  if (isDicom(bytes)) return readDicom(bytes);
  throw new Refusal('is neither a PNG nor a DICOM file');
}

async function answerTo({name, bytes, options}) {
  const norvane = await Norvane.load();
  const {samples, facts, window} = await reading(new Uint8Array(bytes));
  const picture = shrunk(samples, facts.width, facts.height);
  const missing = [];
  if (!facts.view && !options.view) missing.push('view');
  if (!facts.pixel_size_um && !options.pixel_size_um) missing.push('pixel-size');
  if (missing.length) return {facts, window, picture, missing};
  const begin = performance.now(), {json, report, labels} = norvane.analyse({samples, file: name, facts, options});
  const milliseconds = performance.now() - begin;
  const layers = norvane.layers.map(layer => ({...layer,
    path: maskOf(report.masks[layer.key], report.geometry.working.pixel_size_um).svgPath()}));
  return {facts, window, picture, json, report, labels, layers, milliseconds, memory: norvane.memoryBytes};
}

onmessage = async ({data}) => {
  try {
    postMessage({number: data.number, ...await answerTo(data)});
  } catch (error) {
    const text = error instanceof Refusal ? 'The file ' + error.message + '.' : error.message;
    postMessage({number: data.number, refusal: text});
  }
};
