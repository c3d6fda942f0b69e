// SPDX-License-Identifier: Apache-2.0
// Reads uncompressed DICOM mammograms with one frame of grey samples: the fields that the masks depend on, by the rules
// of the program (host/io/dicom/dicom_fields.cpp).
import {Refusal} from './read_png.js';

const IMPLICIT = '1.2.840.10008.1.2', EXPLICIT = '1.2.840.10008.1.2.1', ENDLESS = 0xffffffff;
const LONG_TYPES = ['OB', 'OD', 'OF', 'OL', 'OV', 'OW', 'SQ', 'UC', 'UN', 'UR', 'UT', 'SV', 'UV'];
const ITEM = 0xfffee000, ITEM_END = 0xfffee00d, SEQUENCE_END = 0xfffee0dd, PIXELS = 0x7fe00010;
const TAGS = {
  sopClass: 0x00080016, modality: 0x00080060, conversion: 0x00080064, intent: 0x00080068, view: 0x00185101,
  viewCodes: 0x00540220, codeValue: 0x00080100, bodyPart: 0x00180015, regionCodes: 0x00082218, detector: 0x00187004,
  imageLaterality: 0x00200062, laterality: 0x00200060, frameLaterality: 0x00209072,
  orientation: 0x00200020, flip: 0x00187034,
  imagerSpacing: 0x00181164, pixelSpacing: 0x00280030, scannedSpacing: 0x00182010, resolution: 0x00181050,
  magnification: 0x00181114, frames: 0x00280008, channels: 0x00280002, photometry: 0x00280004, rows: 0x00280010,
  columns: 0x00280011, allocated: 0x00280100, stored: 0x00280101, high: 0x00280102, isSigned: 0x00280103,
  padding: 0x00280120, paddingLimit: 0x00280121, slope: 0x00281053, intercept: 0x00281052, centre: 0x00281050,
  windowWidth: 0x00281051, transfer: 0x00020010,
};
const NUMBERS = ['US', 'SS'];  // the other types that are read are texts
const IMPLICIT_NUMBERS = [TAGS.channels, TAGS.rows, TAGS.columns, TAGS.allocated, TAGS.stored, TAGS.high, TAGS.isSigned,
  TAGS.padding, TAGS.paddingLimit];
const SEQUENCES = [TAGS.viewCodes, TAGS.regionCodes];
const SCANNED_FILM = '1.2.840.10008.5.1.4.1.1.7';
const VIEW_CODES = {  // the codes, the position, and what the view shows
  CC: ['cc', '399162004', 'R-10242'], MLO: ['mlo', '399368009', 'R-10226'], ML: ['mlo', '399260004', 'R-10224'],
  LM: ['mlo', '399352003', 'R-10228'], LMO: ['mlo', '399099002', 'R-10230'], SIO: ['mlo', '399188001', 'R-102D0'],
  ISO: ['mlo', '441555000', 'R-40AAA'], FB: ['cc', '399196006', 'R-10244'], XCC: ['cc', '399265009', 'R-102CF'],
  XCCL: ['cc', '399192008', 'R-1024A', 'Y-X1770'], XCCM: ['cc', '399101009', 'R-1024B', 'Y-X1771'],
  AT: ['mlo', '399011000', 'R-102D1'], CV: ['cc', '399161006', 'R-102D2'],
};
const SPACINGS = [['imagerSpacing', 'ImagerPixelSpacing', true], ['pixelSpacing', 'PixelSpacing'],
  ['scannedSpacing', 'NominalScannedPixelSpacing'], ['resolution', 'SpatialResolution']];

export const isDicom = bytes => String.fromCharCode(...bytes.subarray(128, 132)) === 'DICM';

/// The elements of a file, one after another.
class Elements {
  constructor(bytes) {
    this.bytes = bytes;
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    this.at = 132;
    this.isExplicit = true;
  }

  next() {
    const tag = (this.view.getUint16(this.at, true) << 16 | this.view.getUint16(this.at + 2, true)) >>> 0;
    let type = '', length;
    if (tag >>> 16 === 0xfffe || !(this.isExplicit || tag >>> 16 === 2)) {
      length = this.view.getUint32(this.at + 4, true);
      this.at += 8;
    } else {
      type = String.fromCharCode(this.bytes[this.at + 4], this.bytes[this.at + 5]);
      const isLong = LONG_TYPES.includes(type);
      length = isLong ? this.view.getUint32(this.at + 8, true) : this.view.getUint16(this.at + 6, true);
      this.at += isLong ? 12 : 8;
    }
    return {tag, type, length};
  }

  /// The elements up to `end`, or up to a delimiter. Pixels end the data set.
  read(end) {
    const found = new Map();
    while (this.at + 8 <= end) {
      const head = this.next();
      if (head.tag === ITEM_END || head.tag === SEQUENCE_END) break;
      if (head.tag === PIXELS) {
        found.set(PIXELS, {...head, at: this.at});
        break;
      }
      found.set(head.tag, this.valueOf(head));
      if (head.tag === TAGS.transfer) this.syntax = textOf(found, TAGS.transfer);
      // The group of the file's own fields is always explicit.
      const isOwn = this.at + 2 <= end && this.view.getUint16(this.at, true) === 2;
      if (this.syntax && !isOwn) this.isExplicit = this.syntax !== IMPLICIT;
    }
    return found;
  }

  valueOf({tag, type, length}) {
    if (type === 'SQ' || length === ENDLESS || SEQUENCES.includes(tag)) return this.items(length);
    const value = this.bytes.subarray(this.at, this.at + length);
    if (value.length < length) throw new Refusal('is a truncated DICOM file');
    this.at += length;
    const isNumber = NUMBERS.includes(type) || type === '' && IMPLICIT_NUMBERS.includes(tag);
    if (!isNumber) return String.fromCharCode(...value.subarray(0, 1024));
    const isSigned = type === 'SS';
    return String(value[0] | value[1] << 8 | (isSigned && value[1] & 0x80 ? -0x10000 : 0));
  }

  items(length) {
    const end = length === ENDLESS ? this.bytes.length : this.at + length, items = [];
    while (this.at + 8 <= end) {
      const head = this.next();
      if (head.tag !== ITEM) break;
      const last = head.length === ENDLESS ? this.bytes.length : this.at + head.length;
      items.push(this.read(last));
    }
    return items;
  }
}

function textOf(elements, tag, index = 0) {
  const value = elements.get(tag);
  return typeof value === 'string' ? (value.split('\\')[index] || '').replace(/[\0 ]+$/, '').trim() : '';
}

const decimalOf = (elements, tag, otherwise) => {
  const text = textOf(elements, tag);
  return text === '' || !isFinite(Number(text)) ? otherwise : Number(text);
};

function firstCode(elements, tag) {
  const items = elements.get(tag);
  return Array.isArray(items) && items.length ? textOf(items[0], TAGS.codeValue) : '';
}

function pixelSizeOf(header) {
  for (const [name, keyword, isDetector] of SPACINGS) {
    const rows = textOf(header, TAGS[name]), columns = name === 'resolution' ? rows : textOf(header, TAGS[name], 1);
    const [dy, dx] = [rows, columns].map(Number);
    if (!(dy > 0 && dx > 0)) continue;
    if (Math.abs(dy - dx) > 1e-3 * dx) throw new Refusal('has pixels that are not square (' + keyword + ')');
    const factor = isDetector ? decimalOf(header, TAGS.magnification, 0) : 0;
    if (factor > 0) {
      return {value: dx * 1000 / factor, from: keyword + ' / EstimatedRadiographicMagnificationFactor ' + factor};
    }
    return {value: dx * 1000, from: keyword};
  }
}

function viewOf(header) {
  const code = firstCode(header, TAGS.viewCodes), position = textOf(header, TAGS.view);
  const byCode = Object.values(VIEW_CODES).find(([, ...codes]) => code && codes.includes(code));
  if (byCode) return {value: byCode[0], from: 'ViewCodeSequence ' + code};
  if (Object.hasOwn(VIEW_CODES, position)) return {value: VIEW_CODES[position][0], from: 'ViewPosition ' + position};
}

/// The columns run away from the axilla. If they also run headwards, the image is upside down.
function breastByOrientation(header) {
  const [left, right, head] = ['L', 'R', 'H'].map(letter => textOf(header, TAGS.orientation, 1).includes(letter));
  return left === right ? undefined : right !== head ? 'left' : 'right';
}

/// Which breast it is. Adds to `warnings` what contradicts the first field that says it.
function breastOf(header, warnings) {
  const inWords = tag => ({L: 'left', R: 'right'}[textOf(header, tag)]);
  const said = [[inWords(TAGS.imageLaterality), 'ImageLaterality'], [inWords(TAGS.laterality), 'Laterality'],
    [inWords(TAGS.frameLaterality), 'FrameLaterality'], [breastByOrientation(header), 'PatientOrientation']]
      .filter(([value]) => value).map(([value, from]) => ({value, from}));
  for (const {value, from} of said.filter(other => other.value !== said[0].value)) {
    warnings.push(said[0].from + ' says ' + said[0].value + ', ' + from + ' says ' + value);
  }
  return said[0];
}

function chestWallOf(header) {
  const value = {A: 'left', P: 'right'}[textOf(header, TAGS.orientation)[0]];
  const flip = textOf(header, TAGS.flip) === 'YES' ? ' after a horizontal flip (FieldOfViewHorizontalFlip)' : '';
  return value && {value, from: 'PatientOrientation' + flip};
}

function noiseOf(header) {
  const isFilm = textOf(header, TAGS.conversion) === 'DF' || textOf(header, TAGS.detector) === 'FILM' ||
      textOf(header, TAGS.sopClass) === SCANNED_FILM;
  const intent = textOf(header, TAGS.intent), value = {'FOR PRESENTATION': 'mg', 'FOR PROCESSING': 'mg-raw'}[intent];
  if (textOf(header, TAGS.modality) !== 'MG' || isFilm || !value) return undefined;
  return {value, from: 'Modality MG, PresentationIntentType ' + intent};
}

function layoutOf(header) {
  const [allocated, stored] = [TAGS.allocated, TAGS.stored].map(tag => decimalOf(header, tag, 0));
  const high = decimalOf(header, TAGS.high, stored - 1), isSigned = decimalOf(header, TAGS.isSigned, 0) === 1;
  if (allocated !== 8 && allocated !== 16) throw new Refusal('has ' + allocated + ' bits allocated; 8 and 16 are read');
  if (stored < 1 || high + 1 < stored || high >= allocated) throw new Refusal('has inconsistent bit depths');
  return {allocated, stored, shift: high + 1 - stored, isSigned};
}

function paddingOf(header, {stored, isSigned}) {
  const range = 2 ** stored, value = decimalOf(header, TAGS.padding);
  const limit = decimalOf(header, TAGS.paddingLimit, value);
  if (value === undefined) return undefined;
  const samples = [value, limit].map(number => {
    if (!isSigned) return number;
    if (number >= 2 ** 15) number -= 2 ** 16;
    if (number >= range / 2 && number < range) number -= range;
    return number + range / 2;
  }).sort((a, b) => a - b);
  if (samples[0] >= 0 && samples[1] < range) return {value: samples, from: 'PixelPaddingValue'};
}

function samplesOf(bytes, pixels, count, {allocated, stored, shift, isSigned}) {
  const size = allocated / 8;
  const isWhole = pixels.length !== ENDLESS && pixels.at + count * size <= bytes.length;
  if (!isWhole) throw new Refusal('is a truncated DICOM file');
  const samples = new Uint16Array(count), mask = 2 ** stored - 1, flip = isSigned ? 2 ** (stored - 1) : 0;
  for (let i = 0, at = pixels.at; i < count; ++i, at += size) {
    const word = size === 2 ? bytes[at] | bytes[at + 1] << 8 : bytes[at];
    samples[i] = (word >> shift & mask) ^ flip;
  }
  return samples;
}

function refuseUnreadable(header, syntax) {
  if (syntax !== IMPLICIT && syntax !== EXPLICIT) {
    throw new Refusal('is compressed (' + syntax + '), which this page does not read');
  }
  if (!header.get(PIXELS)) throw new Refusal('holds no image (no PixelData)');
  if (decimalOf(header, TAGS.frames, 1) > 1) throw new Refusal('holds several frames, which this page does not read');
  const photometry = textOf(header, TAGS.photometry), modality = textOf(header, TAGS.modality);
  const isGrey = decimalOf(header, TAGS.channels, 1) === 1 && photometry.startsWith('MONOCHROME');
  if (!isGrey) throw new Refusal('is a colour image; grey images are read');
  const isBreast = viewOf(header) || textOf(header, TAGS.bodyPart) === 'BREAST' ||
      ['76752008', 'T-04000'].includes(firstCode(header, TAGS.regionCodes));
  if (modality && modality !== 'MG' && !(['CR', 'DX', 'RG'].includes(modality) && isBreast)) {
    throw new Refusal('has the Modality ' + modality + ' and is not known as a mammogram');
  }
}

function factsOf(header, layout) {
  const warnings = [];
  const facts = {
    format: 'DICOM', width: decimalOf(header, TAGS.columns, 0), height: decimalOf(header, TAGS.rows, 0),
    used_bits: layout.stored, tissue_is_dark: textOf(header, TAGS.photometry) === 'MONOCHROME1',
    pixel_size_um: pixelSizeOf(header), view: viewOf(header), breast: breastOf(header, warnings), warnings,
    chest_wall_border: chestWallOf(header), noise_class: noiseOf(header), padding: paddingOf(header, layout),
  };
  return JSON.parse(JSON.stringify(facts));  // without what the file does not say
}

/// Centre and width of the range of grey values to display, on the scale of the samples.
function windowOf(header, {stored, isSigned}) {
  const centre = decimalOf(header, TAGS.centre), width = decimalOf(header, TAGS.windowWidth);
  const slope = decimalOf(header, TAGS.slope, 1);
  if (centre === undefined || !(width >= 1) || slope <= 0) return undefined;
  const lowest = isSigned ? -(2 ** (stored - 1)) : 0;
  return {centre: (centre - decimalOf(header, TAGS.intercept, 0)) / slope - lowest, width: width / slope};
}

export function readDicom(bytes) {
  try {
    const elements = new Elements(bytes), header = elements.read(bytes.length);
    refuseUnreadable(header, elements.syntax);
    const layout = layoutOf(header), facts = factsOf(header, layout);
    const samples = samplesOf(bytes, header.get(PIXELS), facts.width * facts.height, layout);
    return {samples, facts, window: windowOf(header, layout)};
  } catch (error) {
    throw error instanceof RangeError ? new Refusal('is a damaged or truncated DICOM file') : error;
  }
}
