// SPDX-License-Identifier: Apache-2.0
// Reads grey PNG files of 8 and 16 bits, and RGB ones with equal channels. The browser itself would cut them to 8 bits.

const GREY = 0, RGB = 2, SIGNATURE = [0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a];

export class Refusal extends Error {}

export async function passedThrough(bytes, stream) {
  return new Uint8Array(await new Response(new Blob([bytes]).stream().pipeThrough(stream)).arrayBuffer());
}

export const isPng = bytes => SIGNATURE.every((byte, at) => bytes[at] === byte);

function chunksOf(bytes) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength), chunks = {header: null, data: []};
  for (let at = SIGNATURE.length; at + 12 <= bytes.length;) {
    const length = view.getUint32(at), name = String.fromCharCode(...bytes.subarray(at + 4, at + 8));
    const data = bytes.subarray(at + 8, at + 8 + length);
    if (data.length < length) break;
    if (name === 'IHDR') chunks.header = new DataView(data.buffer, data.byteOffset, length);
    if (name === 'IDAT') chunks.data.push(data);
    if (name === 'tRNS') throw new Refusal('has transparency; plain grey images are read');
    if (name === 'IEND') return chunks;
    at += length + 12;
  }
  throw new Refusal('is a damaged or truncated PNG file');
}

/// Undoes the filter of a row in place. `above` is the row above it, and `step` the number of bytes of a pixel.
function unfilter(kind, row, above, step) {
  for (let x = 0; x < row.length; ++x) {
    const left = x >= step ? row[x - step] : 0, up = above ? above[x] : 0;
    if (kind === 1) row[x] += left;
    else if (kind === 2) row[x] += up;
    else if (kind === 3) row[x] += (left + up) >> 1;
    else if (kind === 4) {
      const corner = above && x >= step ? above[x - step] : 0, guess = left + up - corner;
      const [a, b, c] = [Math.abs(guess - left), Math.abs(guess - up), Math.abs(guess - corner)];
      row[x] += a <= b && a <= c ? left : b <= c ? up : corner;
    } else if (kind > 4) throw new Refusal('is a damaged PNG file');
  }
}

export async function readPng(bytes) {
  const {header, data} = chunksOf(bytes);
  if (!header) throw new Refusal('is a damaged or truncated PNG file');
  const width = header.getUint32(0), height = header.getUint32(4), bits = header.getUint8(8);
  const colour = header.getUint8(9);
  if (colour !== GREY && colour !== RGB) throw new Refusal('has a palette or transparency; grey images are read');
  if (bits < 8) throw new Refusal('has ' + bits + ' bits a pixel; 8 and 16 bits are read');
  if (header.getUint8(12)) throw new Refusal('is interlaced, which this page does not read');
  const channels = colour === RGB ? 3 : 1, size = bits / 8, step = channels * size, pitch = width * step;
  const raw = await passedThrough(new Blob(data), new DecompressionStream('deflate'))
      .catch(() => { throw new Refusal('is a damaged or truncated PNG file'); });
  if (raw.length < (pitch + 1) * height) throw new Refusal('is a damaged or truncated PNG file');
  const samples = new Uint16Array(width * height);
  let above = null;
  for (let y = 0; y < height; ++y) {
    const begin = y * (pitch + 1), row = raw.subarray(begin + 1, begin + 1 + pitch);
    unfilter(raw[begin], row, above, step);
    for (let x = 0, at = 0; x < width; ++x, at += step) {
      samples[y * width + x] = size === 2 ? row[at] << 8 | row[at + 1] : row[at];
      for (let i = size; i < step; ++i) {
        if (row[at + i] !== row[at + i - size]) throw new Refusal('is a colour image; grey images are read');
      }
    }
    above = row;
  }
  const encoding = channels === 3 ? 'RGB with equal channels, read as grey' : '';
  return {samples, facts: {format: 'PNG', encoding, width, height, used_bits: bits}};
}

// ---- Writing

const CRC = Uint32Array.from({length: 256}, (_, n) => {
  for (let k = 0; k < 8; ++k) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n;
});

function chunk(name, data) {
  const bytes = new Uint8Array(data.length + 12), view = new DataView(bytes.buffer);
  view.setUint32(0, data.length);
  bytes.set([...name].map(letter => letter.charCodeAt(0)), 4);
  bytes.set(data, 8);
  const crc = bytes.subarray(4, -4).reduce((sum, byte) => CRC[(sum ^ byte) & 255] ^ (sum >>> 8), 0xffffffff);
  view.setUint32(data.length + 8, ~crc);
  return bytes;
}

/// A grey PNG of 8 bits.
export async function writePng(pixels, width, height) {
  const header = new Uint8Array(13), rows = new Uint8Array((width + 1) * height);
  new DataView(header.buffer).setUint32(0, width);
  new DataView(header.buffer).setUint32(4, height);
  header[8] = 8;
  for (let y = 0; y < height; ++y) rows.set(pixels.subarray(y * width, (y + 1) * width), y * (width + 1) + 1);
  const data = await passedThrough(rows, new CompressionStream('deflate'));
  return new Blob([Uint8Array.from(SIGNATURE), chunk('IHDR', header), chunk('IDAT', data), chunk('IEND', [])],
      {type: 'image/png'});
}
