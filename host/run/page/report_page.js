'use strict';
(() => {
const page = JSON.parse(document.getElementById('records').textContent);
const records = page.records;
const at = id => document.getElementById(id);
const WARNED = 'warned', DOUBTED = 'doubted', FINE = 'fine';

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

const sentence = status => page.statuses[status] || 'Status ' + status;
const spoken = {mlo: 'MLO', cc: 'CC'};

// ---- A card

const ruler = document.createElement('canvas').getContext('2d');
ruler.font = '600 13px system-ui, "DejaVu Sans", sans-serif';  // the font of .name
const NAME_WIDTH = 260;  // pixels: two lines of a card, with room for breaking them

/// A name that fits. Names differ more at their ends than in their middles, so long names are cut in the middle.
function shortened(name) {
  const letters = Array.from(name);
  const cut = most => letters.slice(0, most / 3).join('') + '\u2026' + letters.slice(-most * 2 / 3).join('');
  let text = name;
  for (let most = letters.length - 1; ruler.measureText(text).width > NAME_WIDTH; most = Math.floor(most * 0.9)) {
    text = cut(most);
  }
  return text;
}

/// The name with places to break its line.
function broken(name) {
  return shortened(name).split(/(?<=[_/.-])/).flatMap(part => [part, element('wbr')]);
}

function stateOf(record) {
  return record.doubts.map(sentence).join(' ') || record.look || 'Masks can be used.';
}

function asSentence(text) {
  return text.charAt(0).toUpperCase() + text.slice(1);
}

/// What a reader should know about an image besides its status, in sentences.
function remarksOf(record) {
  return record.warnings.map(asSentence);
}

function briefOf(record) {
  const exposure = [spoken[record.view] || record.view, record.side].filter(Boolean).join(' ');
  const measure = record.doubt === undefined ? 'contrast ' + record.contrast : 'doubt ' + record.doubt;
  return exposure + ' \u00b7 ' + measure;
}

function warningOf(record) {
  const remarks = remarksOf(record);
  if (!remarks.length) return '';
  const text = '\u26a0 ' + remarks[0] + (remarks.length > 1 ? ' (and ' + (remarks.length - 1) + ' more)' : '');
  return element('span', {class: 'warned', title: remarks.join('\n')}, text);
}

function cardOf(record, index) {
  const thumb = element('span', {class: 'thumb', 'data-empty': 'No picture'},
      element('img', {loading: 'lazy', decoding: 'async', alt: '', src: record.url + '.thumb.jpg'}),
      element('span', {class: 'mark'}));
  const card = element('li', {},
      element('button', {type: 'button', class: 'card grave-' + Math.max(record.gravity, record.look ? 1 : 0), title: record.file, 'data-index': index}, thumb,
              element('span', {class: 'name'}, element('bdi', {}, ...broken(record.name))),
              element('span', {class: 'state', title: stateOf(record)}, stateOf(record)), warningOf(record),
              element('span', {class: 'brief'}, briefOf(record))));
  showMarkOnCard(card, record);
  return card;
}

const cards = [];  // those that were made so far, by the indices of their records

// ---- Marks: what a person thinks of the masks of an image

const MARKS = ['good', 'bad', 'unsure'];
const STORE = 'norvane-mark ' + location.pathname + ' ';  // for this run; the browser may store the marks of all runs together

/// A mark counts only for the masks that were marked.
const madeOf = record => JSON.stringify([record.verdicts.map(([, status]) => status), record.area, record.contrast]);

const judgements = new Map();  // by the name of the results: {mark, note}; at least one is not empty

function restoreMarks() {
  try {
    for (const record of records) {
      const kept = JSON.parse(localStorage.getItem(STORE + record.name));
      if (kept && kept.made === madeOf(record)) judgements.set(record.name, {mark: kept.mark, note: kept.note});
    }
  } catch {
    at('storage').hidden = false;
  }
}

const judgementOf = record => judgements.get(record.name) || {mark: '', note: ''};
const titled = word => word[0].toUpperCase() + word.slice(1);

function judge(record, change) {
  const judgement = {...judgementOf(record), ...change};
  const isEmpty = !judgement.mark && !judgement.note;
  if (isEmpty) judgements.delete(record.name);
  else judgements.set(record.name, judgement);
  try {
    if (isEmpty) localStorage.removeItem(STORE + record.name);
    else localStorage.setItem(STORE + record.name, JSON.stringify({...judgement, made: madeOf(record)}));
  } catch {
    at('storage').hidden = false;
  }
  const card = cards[records.indexOf(record)];
  if (card) showMarkOnCard(card, record);
  countMarks();
}

function showMarkOnCard(card, record) {
  const {mark, note} = judgementOf(record), badge = card.querySelector('.mark');
  badge.textContent = mark ? titled(mark) : note ? 'Note' : '';
  badge.dataset.mark = mark;
  badge.title = note;
}

function countMarks() {
  const count = judgements.size;
  at('export').disabled = count === 0;
  at('export').textContent = count === 1 ? 'Export 1 mark' : count ? 'Export ' + count + ' marks' : 'Export marks';
}

/// A field of a table. If a spreadsheet would take it for a formula, `guard` is put before it.
function csvField(text, guard) {
  const safe = /^[=+@\t\r-]/.test(text) ? guard + text : text;
  return /[",;\t\r\n]/.test(safe) ? '"' + safe.replaceAll('"', '""') + '"' : safe;
}

/// The marks as a table, in the order of the page.
function marksCsv() {
  const marked = records.filter(record => judgements.has(record.name));
  const rows = marked.map(record => {
    const {mark, note} = judgementOf(record);
    return [csvField(record.file, './'), mark, csvField(note, "'")].join(',');  // ./-x is the file -x
  });
  return ['file,mark,note', ...rows, ''].join('\n');
}

function exportMarks() {
  const address = URL.createObjectURL(new Blob([marksCsv()], {type: 'text/csv'}));
  element('a', {href: address, download: 'marks.csv'}).click();
  setTimeout(() => URL.revokeObjectURL(address), 60000);
}

/// The rows of a table whose fields are separated by the first separator in it.
function csvRows(text) {
  const [separator] = text.match(/[,;\t]/) || [','];
  const field = new RegExp(`(?:"((?:[^"]|"")*)"|([^"${separator}\\r\\n]*))(${separator}|\\r?\\n|$)`, 'g');
  const rows = [[]];
  for (const [, quoted, plain, end] of text.matchAll(field)) {
    rows.at(-1).push(quoted === undefined ? plain : quoted.replaceAll('""', '"'));
    if (end !== separator) rows.push([]);
  }
  return rows;
}

/// Takes the marks of an exported table. Marks of other images stay. Returns a sentence about what was taken.
function importMarks(text) {
  const [titles, ...rows] = csvRows(text.replace(/^\uFEFF/, ''));
  const [file, mark, note] = ['file', 'mark', 'note'].map(name => titles.findIndex(title => title.trim().toLowerCase() === name));
  if (file < 0 || mark < 0) return 'This is no table of marks: it has no columns file and mark.';
  const byFile = new Map();  // the frames of a file share its marks
  for (const record of records) byFile.set(record.file, [...(byFile.get(record.file) || []), record]);
  let taken = 0, left = 0;
  for (const row of rows.filter(fields => fields[file])) {
    const name = row[file].replace(/^[.][/](?=[=+@\t\r-])/, '');  // without what csvField() put before it
    const found = byFile.get(row[file]) || byFile.get(name) || [];
    const isMark = MARKS.includes(row[mark]) || row[mark] === '';
    for (const record of isMark ? found : []) {
      judge(record, {mark: row[mark], note: (row[note] || '').replace(/^'(?=[=+@\t\r-])/, '')});
    }
    if (isMark && found.length) ++taken;
    else ++left;
  }
  filter();
  return `Rows that were taken: ${taken}. Rows that name no image of this page or no mark: ${left}.`;
}

async function importTable() {
  const [table] = at('table').files;
  if (!table) return;
  at('imported').textContent = importMarks(await table.text());
  at('imported').hidden = false;
  at('table').value = '';  // so that the same table can be chosen again
}

// ---- The sheet and its cards

const sheet = at('sheet');
sheet.addEventListener('error', event => event.target.parentElement.classList.add('empty'), true);
let shown = [];         // indices of the records that pass the filters
let listed = 0;         // how many of these are in the sheet
const PORTION = 2000;   // so many cards at a time; thousands more would make every filter slow

/// Puts the next cards of `shown` into the sheet.
function extend() {
  const indices = shown.slice(listed, listed + PORTION);
  sheet.append(...indices.map(index => cards[index] || (cards[index] = cardOf(records[index], index))));
  listed += indices.length;
}

new IntersectionObserver(([end]) => end.isIntersecting && extend(), {rootMargin: '2000px'}).observe(at('end'));

// ---- Filters

const collator = new Intl.Collator('en', {numeric: true});
const orders = {  // the records themselves come in order of doubt
  doubt: (a, b) => (records[b].doubt || 0) - (records[a].doubt || 0),
  name: (a, b) => collator.compare(records[a].name, records[b].name),
  area: (a, b) => records[a].area - records[b].area
};

/// The kinds of status that a record counts under.
function kindsOf(record) {
  const kinds = record.look ? [DOUBTED, ...record.doubts.map(String)] : [FINE];
  return record.warnings.length + record.flags.length ? [...kinds, WARNED] : kinds;
}

function searchable(record) {
  return [record.file, record.name, record.format, record.noise, ...(record.flags || []),
          ...(record.warnings || [])].join('\n').toLowerCase();
}

const kinds = records.map(kindsOf);
const texts = records.map(searchable);

function countOf(values) {
  const counts = new Map();
  for (const value of values) counts.set(value, (counts.get(value) || 0) + 1);
  return counts;
}

function fill(select, counts, labels) {
  select.append(element('option', {value: ''}, 'all'));
  for (const [value, label] of labels) {
    if (counts.has(value)) select.append(element('option', {value}, label + ' (' + counts.get(value) + ')'));
  }
}

function fillFilters() {
  fill(at('status'), countOf(kinds.flat()), [
    [DOUBTED, 'Any doubt'], ...page.order.map(status => [String(status), sentence(status)]),
    [FINE, 'Masks can be used'], [WARNED, 'With a warning or flag']]);
  at('mark').append(...[['', 'all'], ['none', 'none'], ...MARKS.map(mark => [mark, titled(mark)])].map(([value, label]) =>
      element('option', {value}, label)));
  const isDoubtKnown = records.some(record => record.doubt !== undefined);
  at('order').append(...[['', 'Status, then doubt'], ...(isDoubtKnown ? [['doubt', 'Doubt']] : []), ['name', 'Name'],
                         ['area', 'Area of the breast']].map(([value, label]) => element('option', {value}, label)));
  for (const field of ['view', 'side']) {
    const counts = countOf(records.map(record => record[field]).filter(Boolean));
    fill(at(field), counts, [...counts.keys()].sort().map(value => [value, spoken[value] || value]));
  }
}

const wanted = () => at('text').value.trim().toLowerCase();

function matches(index) {
  const record = records[index];
  return (!at('status').value || kinds[index].includes(at('status').value)) &&
      ['view', 'side'].every(field => !at(field).value || record[field] === at(field).value) &&
      (!at('mark').value || (judgementOf(record).mark || 'none') === at('mark').value) && texts[index].includes(wanted());
}

/// Cards that are filtered out are removed from the sheet, because hiding thousands takes many times as long.
function filter() {
  shown = [...records.keys()].filter(matches);
  if (at('order').value) shown.sort(orders[at('order').value]);
  sheet.replaceChildren();
  listed = 0;
  extend();
  at('count').textContent = shown.length + ' of ' + records.length + ' shown';
  at('none').hidden = shown.length > 0 || records.length === 0;
  showRefused();
}

const MOST_REFUSED = 2000;

/// Refused files have a separate list, which the text filters too. It is made when it is opened.
function showRefused() {
  const found = page.refused.filter(({file, refusal}) => (file + '\n' + refusal).toLowerCase().includes(wanted()));
  const whole = page.refused.length, list = at('refused');
  list.hidden = whole === 0;
  list.querySelector('summary').textContent = (found.length === whole ? '' : found.length + ' of ') + whole +
      (whole === 1 ? ' refused file' : ' refused files');
  list.querySelector('ul').replaceChildren(...(list.open ? found.slice(0, MOST_REFUSED) : []).map(({file, refusal}) =>
      element('li', {}, element('b', {}, element('bdi', {}, file)), ' ' + refusal)));
  if (list.open && found.length > MOST_REFUSED) {
    list.querySelector('ul').append(element('li', {}, 'The table summary.csv has the other ' + (found.length - MOST_REFUSED) + '.'));
  }
}

at('filters').addEventListener('input', filter);
at('refused').addEventListener('toggle', showRefused);
at('export').addEventListener('click', exportMarks);
at('import').addEventListener('click', () => at('table').click());
at('table').addEventListener('change', importTable);
at('filters').addEventListener('submit', event => event.preventDefault());
at('filters').addEventListener('reset', () => setTimeout(filter));

// ---- The enlarged view

const viewer = at('viewer'), picture = at('picture'), stage = at('stage'), panel = at('panel');
const LINE = 0.45;          // as a share of the widths in overlays
const SCALE_BAR_MM = 20;
const SCROLL_STEP = 60;     // of the panel, in pixels of the screen
const MOVE_STEP = 0.125;    // of the picture, as a share of the part in view
let current = -1;           // index of the record in view
let box = null;             // the part of the picture in view, in its pixels
let size = null;            // of the picture
const isOn = Object.fromEntries(page.layers.map(layer => [layer.key, layer.key !== 'outer']));

function line(label, text, grave) {
  return element('p', {class: 'line' + (grave === undefined ? '' : ' grave-' + grave)}, element('b', {}, label), text);
}

function showText(record) {
  at('title').textContent = record.file.replace(/.*[/]/, '');
  at('path').textContent = record.file;
  at('verdict').replaceChildren(...record.verdicts.map(([label, status, grave]) =>
      line(label, sentence(status), grave)));
  at('settings').replaceChildren();
  showJudgement(record);
  const remarks = [];
  if (record.flags.length) {
    remarks.push(element('h3', {}, 'Flags'), ...record.flags.map(flag => element('span', {class: 'chip'}, flag)));
  }
  if (record.warnings.length) {
    remarks.push(element('h3', {}, 'Warnings'), ...remarksOf(record).map(text => element('p', {class: 'line grave-2'}, text)));
  }
  at('remarks').replaceChildren(...remarks);
  at('figures').replaceChildren(...record.figures.flatMap(([term, value]) =>
      [element('dt', {}, term), element('dd', {}, value)]));
}

function showJudgement(record) {
  const {mark, note} = judgementOf(record);
  for (const button of at('marks').children) button.setAttribute('aria-pressed', button.dataset.mark === mark);
  at('note').value = note;
}

/// Marks the image in view, or takes the mark back.
function markAs(word) {
  const record = records[current];
  judge(record, {mark: judgementOf(record).mark === word ? '' : word});
  showJudgement(record);
}

function makeMarks() {
  at('marks').append(...MARKS.map(word => {
    const button = element('button', {type: 'button', 'data-mark': word}, titled(word) + ' ', element('kbd', {}, titled(word)[0]));
    button.addEventListener('click', () => markAs(word));
    return button;
  }));
  at('note').addEventListener('input', () => judge(records[current], {note: at('note').value}));
  at('note').addEventListener('keydown', event => event.key === 'Enter' && panel.focus());
}

function setBox(next) {
  box = next;
  picture.setAttribute('viewBox', [box.x, box.y, box.width, box.height].join(' '));
}

function fit() {
  if (size) setBox({x: 0, y: 0, width: size.width, height: size.height});
}

/// Enlarges by `factor`. The point (x, y) of the picture stays in place.
function zoom(factor, x = box.x + box.width / 2, y = box.y + box.height / 2) {
  const width = Math.min(Math.max(box.width / factor, size.width / 16), size.width);
  if (width === size.width) return fit();
  const scale = width / box.width;
  setBox({x: x - (x - box.x) * scale, y: y - (y - box.y) * scale, width, height: box.height * scale});
}

/// Moves the part in view. Its centre stays on the picture, so that the picture cannot be lost.
function move(dx, dy) {
  const within = (start, length, whole) => Math.min(Math.max(start, -length / 2), whole - length / 2);
  setBox({...box, x: within(box.x + dx, box.width, size.width), y: within(box.y + dy, box.height, size.height)});
}

/// The point of the picture at a position on the screen.
function pointAt(place) {
  return new DOMPoint(place.x, place.y).matrixTransform(picture.getScreenCTM().inverse());
}

function scaleBar(data) {
  const length = SCALE_BAR_MM * 1000 / data.pixel_size_um;
  const x = data.width * 0.03, y = data.height * 0.985, text = data.height / 50;
  const label = drawn('text', {x, y: y - text / 2, 'font-size': text});
  label.textContent = SCALE_BAR_MM + ' mm';
  return [drawn('path', {class: 'scale', d: `M${x} ${y}h${length}`}), label];
}

function showPicture(record, data) {
  size = {width: data.width, height: data.height};
  const image = drawn('image', {href: record.url + '.picture.jpg', width: data.width, height: data.height});
  image.addEventListener('error', () => showNoPicture('The picture of this image is not in the folder.'));
  const outlines = page.layers.map(layer => drawn('path', {
    d: data.outlines[layer.key] || '', transform: 'scale(0.1)', stroke: layer.colour, 'data-layer': layer.key,
    'stroke-width': layer.width * LINE, visibility: isOn[layer.key] ? 'visible' : 'hidden'
  }));
  picture.replaceChildren(image, ...outlines, ...scaleBar(data));
  showGreys();
  fit();
  at('settings').replaceChildren(element('h3', {}, 'Settings and where they come from'),
                                 ...data.settings.map(text => element('p', {class: 'line'}, text)));
}

function showNoPicture(text) {
  size = null;
  picture.replaceChildren();
  at('no-picture').textContent = text;
  at('no-picture').hidden = false;
}

// A page that is opened from a folder may not read files, but it may run scripts. So the outlines come as a script.
let script = null;
window.norvaneLayers = data => {
  if (document.currentScript === script) showPicture(records[current], data);
};

function load(record) {
  if (script) script.remove();
  script = null;
  size = null;
  picture.replaceChildren();
  at('no-picture').hidden = true;
  stage.setAttribute('aria-label', 'Picture of ' + record.file + ' with the outlines of its masks');
  script = element('script', {src: record.url + '.layers.js'});
  script.addEventListener('error', event => {
    if (event.target === script) showNoPicture('The picture of this image is not in the folder: it is written with the result "page".');
  });
  document.body.append(script);
}

function show(index) {
  current = index;
  const place = shown.indexOf(index);
  at('position').textContent = (place + 1) + ' of ' + shown.length;
  at('previous').disabled = place <= 0;
  at('next').disabled = place + 1 >= shown.length;
  showText(records[index]);
  load(records[index]);
  panel.scrollTop = 0;
  if (!viewer.open) viewer.showModal();
  if (viewer.contains(document.activeElement) && document.activeElement.disabled) panel.focus();
}

function step(by) {
  const next = shown[shown.indexOf(current) + by];
  if (next !== undefined) show(next);
}

function switchLayer(key, on) {
  isOn[key] = on;
  at('layer-' + key).checked = on;
  const path = picture.querySelector(`[data-layer=${key}]`);
  if (path) path.setAttribute('visibility', on ? 'visible' : 'hidden');
}

function switchAll() {
  const on = !page.layers.some(layer => isOn[layer.key]);
  for (const layer of page.layers) switchLayer(layer.key, on);
}

function showGreys() {
  const image = picture.querySelector('image');
  if (image) image.style.filter = `brightness(${at('brightness').value}%) contrast(${at('contrast').value}%)`;
}

function swatch(layer) {
  const made = element('span', {class: 'swatch'});
  made.style.background = layer.colour;
  return made;
}

function makeLayers() {
  page.layers.forEach((layer, index) => {
    at('legend').append(element('li', {}, swatch(layer), layer.label));
    const tick = element('input', {type: 'checkbox', id: 'layer-' + layer.key});
    tick.checked = isOn[layer.key];
    tick.addEventListener('change', () => switchLayer(layer.key, tick.checked));
    at('layers').append(element('label', {}, tick, swatch(layer), layer.label, element('kbd', {}, String(index + 1))));
  });
}

/// Moves by keys, in steps of the part in view; negative steps go to the left or up.
function moveSteps(right, down) {
  if (size) move(right * MOVE_STEP * box.width, down * MOVE_STEP * box.height);
}

const keys = {
  ArrowLeft: () => step(-1), ArrowRight: () => step(1),
  ArrowUp: () => panel.scrollBy(0, -SCROLL_STEP), ArrowDown: () => panel.scrollBy(0, SCROLL_STEP),
  'Shift+ArrowLeft': () => moveSteps(-1, 0), 'Shift+ArrowRight': () => moveSteps(1, 0),
  'Shift+ArrowUp': () => moveSteps(0, -1), 'Shift+ArrowDown': () => moveSteps(0, 1),
  g: () => markAs('good'), b: () => markAs('bad'), u: () => markAs('unsure'), n: () => at('note').focus(),
  l: switchAll, '+': () => size && zoom(1.5), '-': () => size && zoom(1 / 1.5), 0: fit
};
page.layers.forEach((layer, index) => keys[index + 1] = () => switchLayer(layer.key, !isOn[layer.key]));

viewer.addEventListener('keydown', event => {
  if (event.ctrlKey || event.altKey || event.metaKey || ['range', 'text'].includes(event.target.type)) return;
  const isArrow = event.key.startsWith('Arrow');
  const action = keys[isArrow && event.shiftKey ? 'Shift+' + event.key : isArrow ? event.key : event.key.toLowerCase()];
  if (!action) return;
  event.preventDefault();
  action();
});
viewer.addEventListener('close', () => {
  if (at('mark').value) filter();  // images that were marked meanwhile may no longer match
  const place = shown.includes(current) ? current : shown[0];
  if (place === undefined) return at('mark').focus();
  while (shown.indexOf(place) >= listed) extend();
  const card = cards[place];
  card.scrollIntoView({block: 'nearest'});
  card.firstChild.focus();
});
sheet.addEventListener('click', event => {
  const card = event.target.closest('.card');
  if (card) show(Number(card.dataset.index));
});
at('previous').addEventListener('click', () => step(-1));
at('next').addEventListener('click', () => step(1));
at('close').addEventListener('click', () => viewer.close());
at('fit').addEventListener('click', fit);
at('greys').addEventListener('input', showGreys);

picture.addEventListener('wheel', event => {
  event.preventDefault();
  if (!size) return;
  const point = pointAt(event);
  zoom(event.deltaY < 0 ? 1.25 : 0.8, point.x, point.y);
}, {passive: false});

const held = new Map();  // pointers that hold the picture, at most two, and their positions on the screen

/// The centre of these positions, and the distance between them.
function grip() {
  const [first, second = first] = held.values();
  return {x: (first.x + second.x) / 2, y: (first.y + second.y) / 2,
          spread: Math.max(Math.hypot(first.x - second.x, first.y - second.y), 1)};
}

picture.addEventListener('pointerdown', event => {
  if (!size || held.size === 2) return;
  held.set(event.pointerId, {x: event.x, y: event.y});
  picture.setPointerCapture(event.pointerId);
  picture.classList.add('dragged');
});
picture.addEventListener('pointermove', event => {
  if (!size || !held.has(event.pointerId)) return;
  const before = grip(), point = pointAt(before);
  held.set(event.pointerId, {x: event.x, y: event.y});
  const after = grip();
  if (held.size === 2) zoom(after.spread / before.spread, point.x, point.y);
  const reached = pointAt(after);
  move(point.x - reached.x, point.y - reached.y);
});
for (const end of ['pointerup', 'pointercancel']) {
  picture.addEventListener(end, event => {
    held.delete(event.pointerId);
    picture.classList.toggle('dragged', held.size > 0);
  });
}

makeLayers();
makeMarks();
restoreMarks();
countMarks();
fillFilters();
at('refused').open = records.length === 0;
filter();
at('summary').textContent = page.summary;
})();
