// SPDX-License-Identifier: Apache-2.0
// The library for scripts, over the functions of norvane_c.h. norvane.d.ts describes what is exported.
import binary from './norvane_wasm.js';

const OUTLINE_POINTS = 720, RUN_WORDS = 3, BAD_ARGUMENT = 1;
const SIDES = {right: 0, left: 1}, VIEWS = {mlo: 0, cc: 1};
export const NOISE_CLASSES = Object.freeze({
  'auto-coarse': 0, 'mg': 1, 'mg-raw': 2, 'given-level': 3, 'auto-fine': 4, 'fixed-mid': 5, 'fixed-high': 6,
  'mg-raw-2': 7, 'mg-raw-3': 8, 'auto-medium': 9,
});

// Where the members of the structs lie: WebAssembly has pointers of 4 bytes, and a double begins at a multiple of 8.
const PICTURE = {
  bytes: 56, samples: [4, 'u32'], rowStride: [8, 'u32'], width: [12, 'u32'], height: [16, 'u32'], usedBits: [20, 'u32'],
  inverted: [24, 'i32'], pixelSize: [32, 'f64'], noise: [40, 'i32'], resampleFirst: [44, 'i32'],
  hasPadding: [48, 'i32'], paddingLow: [52, 'u16'], paddingHigh: [54, 'u16'],
};
const PARAMS = {
  bytes: 48, side: [4, 'i32'], view: [8, 'i32'], noise: [12, 'i32'], noiseLevel: [16, 'u16'], paddingLimit: [18, 'u16'],
  fullContour: [20, 'i32'], singleContour: [24, 'i32'], smoothContour: [28, 'i32'], contourOffset: [32, 'i32'],
  checkCutTissue: [36, 'i32'], fast: [40, 'i32'], muscleOutline: [44, 'i32'],
};
const WRITERS = {u16: 'setUint16', u32: 'setUint32', i32: 'setInt32', f64: 'setFloat64'};

function bytesOf(base64) {
  if (typeof Buffer !== 'undefined') return Buffer.from(base64, 'base64');
  return Uint8Array.from(atob(base64), letter => letter.charCodeAt(0));
}

let compiled;  // once for all instances

/// The pixels of a mask as runs of columns. It is a plain value, which may be sent to a worker and back.
export class Mask {
  constructor(runs, pixelSize) {
    this.runs = runs;
    this.pixelSize = pixelSize;
  }

  static from({runs, pixelSize}) {
    return new Mask(Uint32Array.from(runs), pixelSize);
  }

  get pixels() {
    let count = 0;
    for (let at = 0; at < this.runs.length; at += RUN_WORDS) count += this.runs[at + 2] - this.runs[at + 1] + 1;
    return count;
  }

  get area() {
    return this.pixels * (this.pixelSize / 1000) ** 2;
  }

  svgPath() {
    return outlinesOf(this.runs).map(points => 'M' + points.map(point => point.join(' ')).join('L') + 'Z').join('');
  }
}

/// The sides of the pixels along the border of the runs, each with the mask on its right, by their first corners.
function borderOf(runs) {
  const next = new Map(), STEP = 2 ** 26;
  const add = (x0, y0, x1, y1) => {
    const key = y0 * STEP + x0;
    if (!next.has(key)) next.set(key, []);
    next.get(key).push([x1, y1]);
  };
  const rows = new Map();
  for (let at = 0; at < runs.length; at += RUN_WORDS) {
    if (!rows.has(runs[at])) rows.set(runs[at], []);
    rows.get(runs[at]).push([runs[at + 1], runs[at + 2] + 1]);
  }
  // What of the runs is not below, or above, the runs of a neighbouring row.
  const uncovered = (row, neighbour, visit) => {
    for (const [first, end] of row) {
      let from = first;
      for (const [left, right] of neighbour || []) {
        if (right <= from || left >= end) continue;
        if (left > from) visit(from, left);
        from = right;
      }
      if (from < end) visit(from, end);
    }
  };
  for (const [y, row] of rows) {
    uncovered(row, rows.get(y - 1), (left, right) => add(left, y, right, y));
    uncovered(row, rows.get(y + 1), (left, right) => add(right, y + 1, left, y + 1));
    for (const [left, right] of row) {
      add(right, y, right, y + 1);
      add(left, y + 1, left, y);
    }
  }
  return {next, keyOf: ([x, y]) => y * STEP + x, cornerOf: key => [key % STEP, Math.floor(key / STEP)]};
}

/// The closed outlines of runs, as corners of pixels.
function outlinesOf(runs) {
  const {next, keyOf, cornerOf} = borderOf(runs), outlines = [];
  for (const key of next.keys()) {
    while (next.get(key).length) {
      const outline = [];
      for (let corner = cornerOf(key), sides; (sides = next.get(keyOf(corner))).length;) {
        const [x, y] = corner, last = outline.at(-1), to = sides.pop();
        // A corner in a straight line is left out.
        if (!last || !(last[0] === x && x === to[0]) && !(last[1] === y && y === to[1])) outline.push(corner);
        corner = to;
      }
      outlines.push(outline);
    }
  }
  return outlines;
}

function runsInOrder(mask) {
  if (mask instanceof Object && mask.runs instanceof Uint32Array && mask.runs.length % RUN_WORDS === 0) return mask;
  throw new TypeError('A mask needs runs: a Uint32Array of row, first and last column.');
}

const status = number => ({status: number});

/// A working image in the memory of the library. free() gives the memory back.
class WorkingImage {
  #library;
  #handle;

  constructor(library, handle) {
    this.#library = library;
    this.#handle = handle;
    Object.assign(this, library._sizeOf(handle));
  }

  free() {
    if (this.#handle) this.#library._freeImage(this.#handle);
    this.#handle = 0;
  }

  pixels() {
    return this.#library._pixelsOf(this.#used(), this.width * this.height);
  }

  frameMask(params = {}) {
    return this.#call('norvane_frame_mask', params, [], ['frame']);
  }

  breastMask(params = {}, frame = null) {
    return this.#call('norvane_breast_mask', params, [frame], ['breast']);
  }

  fullMask(params = {}, frame = null) {
    return this.#call('norvane_full_mask', params, [frame], ['full', 'muscle', 'outer']);
  }

  muscleMask(params, frame, breast) {
    return this.#call('norvane_muscle_mask', params, [frame, breast], ['muscle']);
  }

  outline(params = {}, frame = null) {
    return this.#library._outlineOf(this.#used(), params, frame);
  }

  #call(name, params, given, made) {
    return this.#library._operation(name, this.#used(), params, given, made);
  }

  #used() {
    if (this.#handle) return this.#handle;
    throw new Error('The working image was freed.');
  }
}

/// An instance of the library, with a memory of its own.
export class Norvane {
  #exports;
  #images = 0;

  static async load() {
    compiled ||= WebAssembly.compile(bytesOf(binary));
    const library = new Norvane();
    library.#start(await compiled);
    library.releaseMemory = () => {
      if (library.#images) throw new Error('Working images are in use: free them first.');
      return compiled.then(module => library.#start(module));
    };
    return library;
  }

  get version() {
    return this.#textAt(this.#exports.norvane_version());
  }

  get memoryBytes() {
    return this.#exports.memory.buffer.byteLength;
  }

  statusSentence(number) {
    return this.#textAt(this.#exports.norvane_status_sentence(number));
  }

  prepare(picture) {
    const {width, height, samples} = picture;
    const stride = picture.rowStride || width;
    if (!(samples instanceof Uint16Array || samples instanceof Uint8Array)) {
      throw new TypeError('picture: the samples must be a Uint16Array or a Uint8Array.');
    }
    if (samples.length < stride * (height - 1) + width) throw new RangeError('picture: there are too few samples.');
    return this.#scoped(make => {
      const copy = make(samples.length * 2, at => this.#words(at, samples.length).set(samples));
      const members = {...picture, samples: copy};
      members.usedBits ??= samples.BYTES_PER_ELEMENT * 8;
      if (picture.noise !== undefined) members.noise = numberFor('noise', NOISE_CLASSES, picture.noise);
      if (picture.padding) [members.hasPadding, members.paddingLow, members.paddingHigh] = [1, ...picture.padding];
      const struct = this.#struct(make, PICTURE, 'norvane_init_picture', [], members), image = make(4);
      this.#done(this.#exports.norvane_prepare(struct, image));
      ++this.#images;
      return new WorkingImage(this, this.#word(image));
    });
  }

  bitmap(mask, width, height, pixelSize = mask.pixelSize) {
    return this.#scoped(make => {
      const bytes = make(width * height);
      this.#done(this.#exports.norvane_mask_bitmap(this.#handleOf(make, mask), pixelSize, width, height, bytes));
      return this.#bytes(bytes, width * height).slice();
    });
  }

  union(first, second) {
    return this.#joined('norvane_mask_union', first, second);
  }

  intersection(first, second) {
    return this.#joined('norvane_mask_intersection', first, second);
  }

  difference(first, second) {
    return this.#joined('norvane_mask_difference', first, second);
  }

  get layers() {
    return JSON.parse(this.#textAt(this.#exports.norvane_web_layers()));
  }

  /// What the program finds: see norvane.d.ts.
  analyse({samples, file = '', facts, options = {}}) {
    return this.#scoped(make => {
      const count = facts.width * facts.height;
      if (samples.length !== count) throw new RangeError('There must be width x height samples.');
      const words = make(count * 2, at => this.#words(at, count).set(samples)), labels = make(count);
      const request = new TextEncoder().encode(JSON.stringify({file, facts, options}) + '\0');
      const text = make(request.length, at => this.#bytes(at, request.length).set(request));
      const json = this.#textAt(this.#exports.norvane_web_analyse(words, text, labels));
      const report = JSON.parse(json);
      if (report.refusal) throw new Error('The image ' + report.refusal + '.');
      return {json, report, labels: this.#bytes(labels, count).slice()};
    });
  }

  // ---- For working images

  _sizeOf(image) {
    return this.#scoped(make => {
      const at = make(16);
      this.#done(this.#exports.norvane_image_size(image, at, at + 4, at + 8));
      return {width: this.#word(at), height: this.#word(at + 4), pixelSize: this.#view().getFloat64(at + 8, true)};
    });
  }

  _freeImage(image) {
    this.#exports.norvane_free_image(image);
    --this.#images;
  }

  _pixelsOf(image, count) {
    return this.#scoped(make => {
      const at = make(count * 2);
      this.#done(this.#exports.norvane_image_pixels(image, at));
      return this.#words(at, count).slice();
    });
  }

  _operation(name, image, params, given, made) {
    return this.#scoped((make, own) => {
      const struct = this.#paramsFor(make, image, params), state = make(4);
      const handles = given.map(mask => mask ? this.#handleOf(make, mask) : 0), places = made.map(() => make(4));
      this.#done(this.#exports[name](image, struct, ...handles, ...places, state));
      const masks = made.map((key, i) => [key, this.#maskOf(own(this.#word(places[i])))]);
      return {...status(this.#view().getInt32(state, true)), ...Object.fromEntries(masks)};
    });
  }

  _outlineOf(image, params, frame) {
    return this.#scoped(make => {
      const struct = this.#paramsFor(make, image, params), points = make(8 * OUTLINE_POINTS), at = make(8);
      const handle = frame ? this.#handleOf(make, frame) : 0;
      this.#done(this.#exports.norvane_outline(image, struct, handle, points, at, at + 4));
      const count = this.#word(at);
      return {...status(this.#view().getInt32(at + 4, true)),
        points: new Int32Array(this.#exports.memory.buffer, points, 2 * count).slice()};
    });
  }

  // ---- Memory

  #start(module) {
    const nothing = () => 0;
    const imports = {
      env: {emscripten_notify_memory_growth: nothing},
      wasi_snapshot_preview1: {
        fd_write: (file, texts, count, written) => this.#print(texts, count, written),
        fd_close: nothing, fd_seek: nothing, fd_read: nothing, environ_get: nothing,
        environ_sizes_get: (...places) => {
          places.forEach(at => this.#view().setUint32(at, 0, true));
          return 0;
        },
        clock_time_get: nothing,
        proc_exit: code => { throw new Error('The library stopped with code ' + code + '.'); },
      },
    };
    this.#exports = new WebAssembly.Instance(module, imports).exports;
    this.#exports._initialize?.();
  }

  /// Lines that the library prints; norvane.h lists them.
  #print(texts, count, written) {
    const view = this.#view();
    let bytes = 0, line = '';
    for (let i = 0; i < count; ++i) {
      const [at, size] = [0, 4].map(part => view.getUint32(texts + 8 * i + part, true));
      line += new TextDecoder().decode(this.#bytes(at, size));
      bytes += size;
    }
    view.setUint32(written, bytes, true);
    if (line.trim()) console.info(line.trimEnd());
    return 0;
  }

  /// Calls work(make, own). Memory of make() and mask handles of own() are given back when it ends.
  #scoped(work) {
    const places = [], handles = [];
    const make = (bytes, fill) => {
      const at = this.#exports.malloc(Math.max(bytes, 1));
      if (!at) throw new RangeError('There is not enough memory.');
      places.push(at);
      if (fill) fill(at);
      return at;
    };
    const own = handle => {
      handles.push(handle);
      return handle;
    };
    make.own = own;  // for those that only make
    try {
      return work(make, own);
    } finally {
      handles.forEach(handle => this.#exports.norvane_free_mask(handle));
      places.forEach(at => this.#exports.free(at));
    }
  }

  #view() {
    return new DataView(this.#exports.memory.buffer);
  }

  #word(at) {
    return this.#view().getUint32(at, true);
  }

  #bytes(at, count) {
    return new Uint8Array(this.#exports.memory.buffer, at, count);
  }

  #words(at, count) {
    return new Uint16Array(this.#exports.memory.buffer, at, count);
  }

  #longWords(at, count) {
    return new Uint32Array(this.#exports.memory.buffer, at, count);
  }

  #textAt(at) {
    const bytes = new Uint8Array(this.#exports.memory.buffer, at);
    return new TextDecoder().decode(bytes.subarray(0, bytes.indexOf(0)));
  }

  #done(result) {
    if (!result) return;
    const sentence = this.#textAt(this.#exports.norvane_last_error());
    throw result === BAD_ARGUMENT ? new TypeError(sentence) : new RangeError(sentence);
  }

  #struct(make, layout, initialise, further, members) {
    const at = make(layout.bytes);
    this.#exports[initialise](at, layout.bytes, ...further);
    for (const [name, value] of Object.entries(members)) {
      const place = layout[name];
      if (!Array.isArray(place) || value === undefined) continue;
      this.#view()[WRITERS[place[1]]](at + place[0], Number(value), true);
    }
    return at;
  }

  #paramsFor(make, image, given) {
    for (const name of Object.keys(given)) {
      if (!Array.isArray(PARAMS[name])) throw new TypeError('params: there is no member ' + name + '.');
    }
    const members = {...given};
    for (const [name, words] of [['side', SIDES], ['view', VIEWS], ['noise', NOISE_CLASSES]]) {
      if (given[name] !== undefined) members[name] = numberFor(name, words, given[name]);
    }
    return this.#struct(make, PARAMS, 'norvane_init_params', [image], members);
  }

  #handleOf(make, mask) {
    const {runs, pixelSize} = runsInOrder(mask), at = make(4);
    const place = make(runs.length * 4, begin => this.#longWords(begin, runs.length).set(runs));
    this.#done(this.#exports.norvane_mask_from_runs(place, runs.length / RUN_WORDS, pixelSize, at));
    return make.own(this.#word(at));
  }

  #maskOf(handle) {
    return this.#scoped(make => {
      const at = make(8);
      this.#done(this.#exports.norvane_mask_runs(handle, 0, 0, at));
      const words = this.#word(at) * RUN_WORDS, runs = make(words * 4);
      this.#done(this.#exports.norvane_mask_runs(handle, runs, words / RUN_WORDS, at));
      this.#done(this.#exports.norvane_mask_area(handle, at, 0, 0));
      return new Mask(this.#longWords(runs, words).slice(), this.#view().getFloat64(at, true));
    });
  }

  #joined(name, first, second) {
    return this.#scoped((make, own) => {
      const at = make(4);
      this.#done(this.#exports[name](this.#handleOf(make, first), this.#handleOf(make, second), at));
      return this.#maskOf(own(this.#word(at)));
    });
  }
}

function numberFor(name, words, word) {
  if (Object.hasOwn(words, word)) return words[word];
  throw new TypeError(name + ': ' + Object.keys(words).join(', ') + ' are known, not ' + word + '.');
}
