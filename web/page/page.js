// SPDX-License-Identifier: Apache-2.0
import {writePng} from './read_png.js';

const at = id => document.getElementById(id);
const MISSING = {'view': 'choose the view', 'pixel-size': 'give the pixel size'};
const SPOKEN = {mlo: 'MLO', cc: 'CC'};

function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

function drawn(name, attributes) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  return made;
}

// ---- The file, and what was found in it

const code = new Blob([at('worker').textContent], {type: 'text/javascript'});
const worker = new Worker(URL.createObjectURL(code));
let file = null, answer = null, asked = 0;

function optionsGiven() {
  const options = {is_inverted: at('invert').checked}, pixelSize = at('pixel-size').valueAsNumber;
  if (at('view').value) options.view = at('view').value;
  if (at('side').value) options.side = at('side').value;
  if (pixelSize > 0) options.pixel_size_um = pixelSize;
  return options;
}

async function analyse() {
  if (!file) return;
  const number = ++asked;
  at('title').textContent = file.name;
  at('state').textContent = 'The masks are being searched.';
  try {
    const bytes = await file.arrayBuffer();
    worker.postMessage({number, name: file.name, bytes, options: optionsGiven()}, [bytes]);
  } catch {
    refuse('The file cannot be read.');
  }
}

function refuse(sentence) {
  answer = null;
  at('picture').setAttribute('hidden', '');
  at('greys').hidden = true;
  at('hint').hidden = false;
  showFindings();
  at('state').textContent = sentence;
}

worker.onmessage = ({data}) => {
  if (data.number !== asked) return;  // another file, or another setting, was chosen since
  if (data.refusal) return refuse(data.refusal);
  answer = data;
  at('hint').hidden = true;
  showWindow();
  showPicture();
  showFindings();
};
worker.onerror = event => refuse('The page failed: ' + event.message);

// ---- The picture

let surface = null;  // the pixels that are shown

function showPicture() {
  const {columns, rows, step} = answer.picture, canvas = at('greys');
  Object.assign(canvas, {width: columns, height: rows, hidden: false});
  surface = canvas.getContext('2d').createImageData(columns, rows);
  at('picture').setAttribute('viewBox', '0 0 ' + columns * step + ' ' + rows * step);
  at('picture').removeAttribute('hidden');
  paint();
  const layers = answer.layers || [], {crop, scale} = answer.report ? answer.report.geometry : {};
  at('outlines').replaceChildren(...layers.map(layer => drawn('path', {
    d: layer.path, stroke: layer.colour, 'stroke-width': layer.line_width, 'data-layer': layer.key,
    // A pixel of the grid lies around the pixels of the source that are mapped to it by rounding.
    transform: 'translate(' + crop.x + ' ' + crop.y + ') scale(' + 1 / scale + ') translate(-0.5 -0.5)',
  })));
  showLayers();
}

/// Paints the grey values through the window.
function paint() {
  const {picture, facts} = answer, words = new Uint32Array(surface.data.buffer);
  const most = 2 ** facts.used_bits, centre = at('centre').value / 1000 * most, width = at('width').value / 1000 * most;
  const isDark = Boolean(facts.tissue_is_dark) !== at('invert').checked, table = new Uint32Array(most);
  for (let level = 0; level < most; ++level) {
    const share = Math.min(1, Math.max(0, (level - centre) / width + 0.5));
    const grey = Math.round(255 * (isDark ? 1 - share : share));
    table[level] = 0xff000000 | grey << 16 | grey << 8 | grey;
  }
  picture.pixels.forEach((level, i) => { words[i] = table[level]; });
  at('greys').getContext('2d').putImageData(surface, 0, 0);
}

/// Sets the sliders to the window of the file. If it has none, all of the grey values that occur are shown.
function showWindow() {
  const {picture, facts} = answer, most = 2 ** facts.used_bits;
  let {centre, width} = answer.window || {};
  if (!answer.window) {
    const [low, high] = picture.pixels.reduce(([a, b], level) => [Math.min(a, level), Math.max(b, level)], [most, 0]);
    [centre, width] = [(low + high) / 2, Math.max(1, high - low)];
  }
  at('centre').value = 1000 * centre / most;
  at('width').value = 1000 * width / most;
  at('window').hidden = false;
}

// ---- Layers

const hiddenLayers = new Set(['refined_pectoral']);  // it stays hidden until somebody wants it

function showLayers() {
  const layers = answer.layers || [];
  at('layers').replaceChildren(element('legend', {}, 'Layers'), ...layers.map((layer, i) => {
    const box = element('input', {type: 'checkbox', id: 'layer-' + layer.key});
    box.checked = !hiddenLayers.has(layer.key);
    box.onchange = () => switchLayers([layer.key], box.checked);
    const swatch = element('span', {class: 'swatch', style: 'background: ' + layer.colour});
    return element('label', {}, box, swatch, layer.label, element('kbd', {}, i + 1));
  }));
  for (const path of at('outlines').children) {
    path.setAttribute('visibility', hiddenLayers.has(path.dataset.layer) ? 'hidden' : 'visible');
  }
}

function switchLayers(keys, isShown) {
  keys.forEach(key => isShown ? hiddenLayers.delete(key) : hiddenLayers.add(key));
  for (const path of at('outlines').children) {
    path.setAttribute('visibility', hiddenLayers.has(path.dataset.layer) ? 'hidden' : 'visible');
    at('layer-' + path.dataset.layer).checked = !hiddenLayers.has(path.dataset.layer);
  }
}

// ---- Words

function lineOf(name, sentence, isFine) {
  return element('p', {class: 'line ' + (isFine ? 'fine' : 'doubt')}, element('b', {}, name), sentence);
}

/// The status of each mask in words. A view without muscle has none to speak of.
function verdictsOf({masks, settings}) {
  const named = [['Field', masks.frame], ['Breast', masks.breast], ['Pectoral muscle', masks.pectoral],
    ['Breast and muscle', masks.full]];
  return named.filter(([, mask]) => mask !== masks.pectoral || settings.view.value === 'mlo')
      .map(([name, {status}]) => lineOf(name, status.sentence, status.number === 0));
}

function figuresOf({report, facts, milliseconds}) {
  const {settings, masks} = report, area = mask => (mask.area_mm2 / 100).toFixed(1) + ' cm\u00b2';
  return [
    ['Size', facts.width + ' \u00d7 ' + facts.height], ['View', SPOKEN[settings.view.value]],
    ['Chest wall', settings.side.value + ' border'],
    ['Pixel size', Number(settings.pixel_size_um.value.toFixed(2)) + ' \u00b5m'], ['Noise class', settings.noise.value],
    ['Breast', area(masks.breast)], ['Pectoral muscle', area(masks.pectoral)],
    ['Time', (milliseconds / 1000).toFixed(2) + ' s'],
  ];
}

function sentenceOf({missing, report}) {
  if (missing) return 'The file does not say enough: ' + missing.map(name => MISSING[name]).join(' and ') + '.';
  const {number, sentence} = report.status;
  return 'The masks were found. ' + (number === 0 ? 'They can be used.' : sentence);
}

function showFindings() {
  const report = answer && answer.report, missing = (answer && answer.missing) || [];
  for (const name of Object.keys(MISSING)) at(name).setAttribute('aria-invalid', missing.includes(name));
  const warnings = (report ? report.warnings : []).map(text => text[0].toUpperCase() + text.slice(1) + '.');
  at('verdict').replaceChildren(...report ? verdictsOf(report) : []);
  at('remarks').replaceChildren(...warnings.map(text => lineOf('Warning', text, false)));
  at('figures').replaceChildren(...(report ? figuresOf(answer) : [])
      .flatMap(([name, text]) => [element('dt', {}, name), element('dd', {}, text)]));
  for (const part of ['downloads', 'layers']) at(part).hidden = !report;
  at('window').hidden = !answer;
  if (answer) at('state').textContent = sentenceOf(answer);
  at('picture').setAttribute('aria-label', report ? 'The mammogram with the outlines of its masks' : 'The mammogram');
}

// ---- Downloads

function save(blob, ending) {
  const link = element('a', {href: URL.createObjectURL(blob), download: file.name.replace(/\.[^.]*$/, '') + ending});
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

at('save-labels').onclick = async () => {
  const {labels, facts} = answer;
  save(await writePng(labels, facts.width, facts.height), '.labels.png');
};
at('save-json').onclick = () => save(new Blob([answer.json], {type: 'application/json'}), '.json');

// ---- What a person does

function take(files) {
  if (!files.length) return;
  [file] = files;
  analyse();
}

at('open').onclick = () => at('file').click();
at('file').onchange = () => { take(at('file').files); };
at('settings').onchange = analyse;
at('settings').onsubmit = event => { event.preventDefault(); analyse(); };
at('centre').oninput = at('width').oninput = () => answer && paint();

document.ondragover = event => { event.preventDefault(); document.body.classList.add('over'); };
document.ondragleave = () => document.body.classList.remove('over');
document.ondrop = event => {
  event.preventDefault();
  document.body.classList.remove('over');
  take(event.dataTransfer.files);
};

document.onkeydown = event => {
  if (event.ctrlKey || event.metaKey || event.altKey || event.target.matches('select, input[type=number]')) return;
  const layers = (answer && answer.layers) || [], layer = layers[Number(event.key) - 1];
  if (event.key === 'o') at('open').click();
  else if (event.key === 'l') switchLayers(layers.map(({key}) => key), hiddenLayers.size > 0);
  else if (layer) switchLayers([layer.key], hiddenLayers.has(layer.key));
};
