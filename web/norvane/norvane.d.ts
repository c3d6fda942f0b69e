// SPDX-License-Identifier: Apache-2.0

/** Where the chest wall is. */
export type Side = 'left' | 'right';
/** `mlo` shows the pectoral muscle, `cc` does not. */
export type View = 'mlo' | 'cc';
export type NoiseClass = 'auto-coarse' | 'mg' | 'mg-raw' | 'given-level' | 'auto-fine' | 'fixed-mid' | 'fixed-high'
    | 'mg-raw-2' | 'mg-raw-3' | 'auto-medium';
export const NOISE_CLASSES: Readonly<Record<NoiseClass, number>>;

/** An acquired mammogram. It is copied. */
export interface Picture {
  /** Grey values 0 .. 2^usedBits - 1, row by row. */
  samples: Uint16Array | Uint8Array;
  width: number;
  height: number;
  /** Micrometres, above 0 and at most 228. */
  pixelSize: number;
  /** 1 to 16; if it is missing, as many as an element of the array has. */
  usedBits?: number;
  /** Samples from row to row; if it is missing, the width. */
  rowStride?: number;
  /** Tissue is dark on a bright background. */
  inverted?: boolean;
  noise?: NoiseClass;
  resampleFirst?: boolean;
  /** Lowest and highest grey value that mean "no image here". */
  padding?: [low: number, high: number];
}

/** The parameters of an operation; norvane_params in norvane_c.h describes them. */
export interface Params {
  side?: Side;
  view?: View;
  noise?: NoiseClass;
  noiseLevel?: number;
  paddingLimit?: number;
  fullContour?: boolean;
  singleContour?: boolean;
  smoothContour?: boolean;
  contourOffset?: number;
  checkCutTissue?: boolean;
  fast?: boolean;
  muscleOutline?: boolean;
}

/** The pixels of a mask. It is a plain value: postMessage() may send it, and Mask.from() makes it a Mask again. */
export class Mask {
  constructor(runs: Uint32Array, pixelSize: number);
  static from(value: {runs: ArrayLike<number>, pixelSize: number}): Mask;
  /** Row, first column and last column (included) of each run, in ascending order. */
  readonly runs: Uint32Array;
  /** Micrometres. */
  readonly pixelSize: number;
  /** Number of pixels. */
  readonly pixels: number;
  /** Square millimetres. */
  readonly area: number;
  /** The outlines along the sides of the pixels, as the attribute `d` of an SVG path. Pixel (x, y) covers x .. x + 1. */
  svgPath(): string;
}

/** How far a mask can be trusted: 0 if it can be used. Norvane.statusSentence() says it in words. */
export interface Outcome {
  status: number;
}

/** The image that the masks are made of: 16 bits, 228 micrometres. */
export interface WorkingImage {
  readonly width: number;
  readonly height: number;
  readonly pixelSize: number;
  pixels(): Uint16Array;
  /** The exposed field. */
  frameMask(params?: Params): Outcome & {frame: Mask};
  /** The breast. Without a frame, the field is found first; the same below. */
  breastMask(params?: Params, frame?: Mask | null): Outcome & {breast: Mask};
  /** Breast and upper muscle, the muscle, and what the outer contour encloses. */
  fullMask(params?: Params, frame?: Mask | null): Outcome & {full: Mask, muscle: Mask, outer: Mask};
  /** The pectoral muscle of a known breast. */
  muscleMask(params: Params, frame: Mask, breast: Mask): Outcome & {muscle: Mask};
  /** The outline of the breast: x0, y0, x1, y1, ... */
  outline(params?: Params, frame?: Mask | null): Outcome & {points: Int32Array};
  /** Gives its memory back. Nobody may use it afterwards. */
  free(): void;
}

/** A fact and where it comes from, such as a field of a header. */
export interface Said<Value> {
  value: Value;
  from: string;
}

export interface AnalysisRequest {
  samples: Uint16Array | Uint8Array;
  /** The name of the file, for the report. */
  file?: string;
  /** What the file says. */
  facts: {
    format: string;
    width: number;
    height: number;
    used_bits: number;
    encoding?: string;
    tissue_is_dark?: boolean;
    pixel_size_um?: Said<number>;
    view?: Said<View>;
    breast?: Said<Side>;
    chest_wall_border?: Said<Side>;
    noise_class?: Said<NoiseClass>;
    padding?: Said<[number, number]>;
    warnings?: string[];
  };
  /** What overrides it. */
  options?: {side?: Side, view?: View, noise?: NoiseClass, pixel_size_um?: number, is_inverted?: boolean};
}

export interface Analysis {
  /** The JSON that the program writes. */
  json: string;
  /** The same, parsed; docs/result.schema.json of the project describes it. */
  report: any;
  /** A label for each sample: 0 nothing, 1 breast, 2 pectoral muscle. */
  labels: Uint8Array;
}

export class Norvane {
  /** A new instance. The code is compiled once; every instance has a memory of its own. */
  static load(): Promise<Norvane>;
  readonly version: string;
  /** Memory of this instance. It grows when it must. */
  readonly memoryBytes: number;
  /** Begins with a small memory again. Working images must be freed before. */
  releaseMemory(): Promise<void>;
  statusSentence(status: number): string;
  /** Makes the working image. Throws TypeError or RangeError with a sentence. */
  prepare(picture: Picture): WorkingImage;
  /** One byte per pixel: 1 inside, 0 outside, on a grid of this pixel size (micrometres), or on that of the mask. */
  bitmap(mask: Mask, width: number, height: number, pixelSize?: number): Uint8Array;
  union(first: Mask, second: Mask): Mask;
  intersection(first: Mask, second: Mask): Mask;
  difference(first: Mask, second: Mask): Mask;
  /** Names, labels and colours of the masks in a report. */
  readonly layers: {key: string, label: string, colour: string, line_width: number}[];
  /** What `norvane masks` finds: it settles side, view, noise class and film area, and makes all masks. */
  analyse(request: AnalysisRequest): Analysis;
}
