// SPDX-License-Identifier: Apache-2.0
// Opens DICOM segmentations with the readers of the npm registry. scripts/check_readers.py calls it:
//   node check_readers.mjs CASES.json ANSWERS.json
// CASES.json is a list of {file, source: {uid, series, rows, columns}, labels}. Each reader that opens the file writes
// LABELS.READER, a byte per pixel of the source with the number of its segment. ANSWERS.json becomes a list of
// {labels, reader, refusal}; if the refusal is empty, the file was opened.
import { readFileSync, writeFileSync } from 'node:fs';

import { generateToolState } from '@cornerstonejs/adapters/cornerstone/Segmentation_4X';
import { readSegmentationNode } from '@itk-wasm/dicom';
import dcmjs from 'dcmjs';

const RLE = '1.2.840.10008.1.2.5';

function arrayBufferOf(file) {
    const bytes = readFileSync(file);
    return bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
}

// All frames in one, each painted with the number of its segment.
function paintedFrames(bits, frames, size) {
    const labels = new Uint8Array(size);
    frames.forEach((frame, i) => {
        const { ReferencedSegmentNumber: number } = frame.SegmentIdentificationSequence[0];
        for (let at = 0; at < size; ++at) if (bits[i * size + at]) labels[at] = number;
    });
    return labels;
}

function readByDcmjs({ file }) {
    const { dict, meta } = dcmjs.data.DicomMessage.readFile(arrayBufferOf(file));
    const seg = dcmjs.data.DicomMetaDictionary.naturalizeDataset(dict);
    const size = seg.Rows * seg.Columns;
    const isRle = meta['00020010'].Value[0] === RLE;
    const frames = [].concat(seg.PixelData);
    if (seg.SegmentationType === 'LABELMAP') {
        return isRle ? dcmjs.utilities.compression.decode(frames, seg.Rows, seg.Columns) : new Uint8Array(frames[0], 0, size);
    }
    if (isRle) throw new Error('does not decode run lengths of single bits');
    const bits = dcmjs.data.BitArray.unpack(new Uint8Array(frames[0]));
    return paintedFrames(bits, [].concat(seg.PerFrameFunctionalGroupsSequence), size);
}

// What a viewer knows of a mammogram. It takes this plane for an image that has none.
function metadataOf({ uid, series, rows, columns }) {
    const modules = {
        imagePlaneModule: {
            rows, columns, rowCosines: [1, 0, 0], columnCosines: [0, 1, 0], imagePositionPatient: [0, 0, 0],
            rowPixelSpacing: 1, columnPixelSpacing: 1,
        },
        generalSeriesModule: { seriesInstanceUID: series },
        generalImageModule: { sopInstanceUID: uid },
        instance: { Rows: rows, Columns: columns },
    };
    return { get: (name) => modules[name] };
}

async function readByCornerstone({ file, source }) {
    const state = await generateToolState(['image'], arrayBufferOf(file), metadataOf(source), {});
    if (!state) throw new Error('gives nothing');
    const labels = new Uint8Array(source.rows * source.columns);
    for (const buffer of state.labelmapBufferArray) new Uint8Array(buffer).forEach((label, at) => { labels[at] ||= label; });
    return labels;
}

async function readByItk({ file }) {
    const { segImage } = await readSegmentationNode(file);
    if (!segImage) throw new Error('gives no image');
    return Uint8Array.from(segImage.data);
}

const READERS = { dcmjs: readByDcmjs, '@cornerstonejs/adapters': readByCornerstone, '@itk-wasm/dicom': readByItk };
const results = [];
for (const [reader, read] of Object.entries(READERS)) {
    for (const one of JSON.parse(readFileSync(process.argv[2]))) {
        let refusal = '';
        try {
            writeFileSync(`${one.labels}.${reader.replace('/', '-')}`, await read(one));
        } catch (error) {
            refusal = error.message?.trim().split('\n')[0] || 'fails without a word';  // compiled code throws numbers
        }
        results.push({ labels: one.labels, reader, refusal });
    }
}
writeFileSync(process.argv[3], JSON.stringify(results));
process.exit(0); // compiled code leaves a code of its own
