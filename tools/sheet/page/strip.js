// The strip of thumbnails of a task's frames, the filter, and the findings of the tree and the task.

const strip = new Rolling($('cells'), $('cellsAbove'), $('cellsBelow'), cellOf, 8);
const PRINTED_COLUMNS = 6;
const MOST_FINDINGS = 500;

const captionMeasure = () => data.measures.find(m => m.key === state.caption) || data.measures[0];

function captionOf(entry) {
  if (entry.metrics?.problem && captionMeasure().pair) return 'not whole';
  const value = valueOf(captionMeasure(), entry);
  return Number.isNaN(value) ? '' : reading(captionMeasure(), value);
}

/// A sign and words for the frame's relation to the other tree.
function sideOf(entry) {
  if (data.against === null) return ['', ''];
  if (!entry.a) return ['∈B', 'only in B'];
  if (!entry.b) return ['∅', 'not in B'];
  return entry.differs ? ['≠', 'differs'] : ['', ''];
}

/// The gap between the frame and the one before it in words, or '' if it is not larger than usual.
function gapOf(entry) {
  const words = [];
  if (entry.lost) words.push(`${entry.lost} sof${entry.lost > 1 ? 's' : ''} lost`);
  if (entry.pause) words.push(`${withTime(entry.pause)} later`);
  return words.join(', ');
}

/// The words that a screen reader announces for a cell in addition to its visible text.
function wordsOf(entry) {
  const request = entry.main.request === null ? '' : `request ${entry.main.request}`;
  return [request, captionMeasure().label, ...entry.findings.map(nameOf), sideOf(entry)[1]].filter(Boolean).map(shown).join(', ');
}

/// The shares of the picture's height that the file has: [luma, luma with colour].
function heldShares(frame) {
  if (!frame.image || !frame.image.lacking) return [1, 1];
  const [luma, u, v] = frame.image.held;
  const chroma = ((frame.width + 1) >> 1) * ((frame.height + 1) >> 1);
  const whole = Math.min(1, luma / (frame.width * frame.height));
  return [whole, Math.min(whole, Math.min(u, v) / chroma)];
}

function thumbnail(entry) {
  const frame = entry.main;
  const pic = make('div', {className: 'pic'});
  if (!pictures.has(frame.line)) {
    pic.classList.add('none');
    pic.append(make('span', {textContent: frame.image ? 'picture left out ' : 'no picture '}));
    return pic;
  }
  const img = make('img', {alt: '', decoding: 'async', src: pictures.address(frame.line, strip.large)});
  const [luma, coloured] = heldShares(frame);
  const [width, height] = [frame.width, frame.height];
  const inner = make('div', {className: 'inner'}, img);
  inner.style.aspectRatio = `${width} / ${height}`;
  inner.classList.toggle('tall', width / height < state.box);
  for (const [from, to, kind] of [[coloured, luma, 'sparse'], [luma, 1, 'dense']]) {
    if (from >= to) continue;
    const lack = make('div', {className: 'lack ' + kind});
    Object.assign(lack.style, {top: from * 100 + '%', height: (to - from) * 100 + '%'});
    inner.append(lack);
  }
  pic.replaceChildren(inner);
  return pic;
}

function cellOf(entry, place) {
  const [sign] = sideOf(entry);
  const gap = gapOf(entry);
  const cell = make('div', {className: 'cell', role: 'option', id: 'cell' + entry.label, 'aria-selected': entry === state.entry,
    'aria-setsize': state.seen.length, 'aria-posinset': place + 1},
    thumbnail(entry), make('div', {className: 'cap'}, make('b', {textContent: entry.label}), ...worstFirst(entry.findings).map(mark),
      make('span', {className: 'differs', textContent: sign}), make('span', {className: 'value'}), make('span', {className: 'unseen words'})));
  if (gap) cell.classList.add('gap');
  if (state.task.gaps) cell.append(make('div', {className: 'gapText', textContent: gap && '⇤ ' + gap}));
  cell.onclick = () => { select(entry); openDetail(); };
  cell.ondblclick = () => setFull(true);
  showCaption(entry, cell);
  return cell;
}

function showCaption(entry, cell) {
  cell.querySelector('.value').textContent = captionOf(entry);
  cell.querySelector('.words').textContent = ', ' + wordsOf(entry);
  cell.title = [shown(entry.main.name), ...entry.findings.map(nameOf), gapOf(entry)].filter(Boolean).join('\n');
}

function showCaptions() {
  for (const [entry, cell] of strip.elements) showCaption(entry, cell);
}

/// The shape of most frames, which the boxes of all thumbnails have.
function boxOf(entries) {
  const shapes = new Map();
  for (const {main} of entries) {
    if (!(main.width > 0 && main.height > 0)) continue;
    const shape = Math.min(3, Math.max(0.5, main.width / main.height));
    shapes.set(shape, (shapes.get(shape) || 0) + 1);
  }
  return [...shapes].sort((x, y) => y[1] - x[1]).map(([shape]) => shape)[0] || 4 / 3;
}

/// Sets the size of the cells: the fewer frames, the larger the cells. A cell that is wider than a thumbnail
/// gets the large picture.
function fitCells() {
  const box = $('strip');
  if (box.hidden) return;
  const width = box.clientWidth - 20;
  const height = Math.min(box.clientHeight, innerHeight);
  const count = Math.max(1, state.seen.length);
  const each = Math.floor(Math.sqrt(width * height * state.box / count) * 0.8);
  const fit = Math.min(count > 60 ? 256 : 640, Math.max(data.against === null ? 112 : 136, each));
  const columns = Rolling.printing ? PRINTED_COLUMNS : Math.max(1, Math.floor((width + strip.gap) / (fit + strip.gap)));
  strip.size = `${width} x ${height}`;
  strip.large = Number(width / columns > 280);
  box.style.setProperty('--box', state.box);
  box.style.setProperty('--columns', columns);
  strip.show(state.seen, columns);
}

/// Call this after the strip's size has changed.
function refitCells() {
  const box = $('strip');
  if (box.hidden || strip.size === `${box.clientWidth - 20} x ${Math.min(box.clientHeight, innerHeight)}`) return;
  fitCells();
  bringToView();
}

/// Scrolls by the least distance that brings the selected frame's cell into view. Returns the cell.
function bringToView() {
  if ($('strip').hidden || !state.entry || state.seen[state.entry.place] !== state.entry) return null;
  return strip.bring(state.entry.place, $('strip'), strip.gap);
}

function showGeneral() {
  const findings = [...data.general, ...state.task.findings];
  $('general').hidden = !findings.length;
  $('general').querySelector('summary').replaceChildren(...worstFirst(findings).flatMap(s => [mark(s), ' ']),
    `${findings.length} finding${findings.length > 1 ? 's' : ''} of the tree${data.against !== null ? 's' : ''} and the task`);
  $('general').querySelector('ul').replaceChildren(...findings.slice(0, MOST_FINDINGS).map(finding => findingItem(finding)),
    moreItem(findings.length - MOST_FINDINGS));
}

/// A text about the findings that a list does not show; '' if it shows all.
const moreItem = more => more > 0 ? make('li', {className: 'quiet', textContent: `and ${grouped(String(more))} more, which tyksim check lists`}) : '';

/// "error: image-short"; a finding of the second tree adds "in B".
const nameOf = finding => `${finding.severity}: ${shown(finding.rule)}${finding.other ? ' in B' : ''}`;

/// A finding as a list item. If its frame is given, the path begins in the frame's folder.
function findingItem(finding, entry) {
  const folder = entry && (finding.other ? entry.b : entry.a)?.name;
  const path = folder ? finding.path.split(folder + '/').pop() : finding.path;
  const found = [finding.expected && 'expected ' + shown(finding.expected), finding.found && 'found ' + shown(finding.found)];
  const about = [shown(path), found.filter(Boolean).join(', '), shown(finding.reason || ''), shown(finding.hint)].filter(Boolean);
  return make('li', {}, mark(severityOf(finding)), make('span', {},
    make('b', {textContent: nameOf(finding)}), ' ',
    make('span', {className: 'quiet', textContent: about.join(' · ')})));
}

// ---- The filter

function showMarks() {
  const entries = state.task.frames;
  refill($('marks'), ...SEVERITIES.map(severity => {
    const count = entries.reduce((sum, entry) => sum + entry.findings.filter(f => severityOf(f) === severity).length, 0);
    const toggle = button('', () => {
      if (!state.only.delete(severity)) state.only.add(severity);
      showFiltered();
    }, {hidden: !count, 'aria-pressed': state.only.has(severity), 'data-key': severity,
      'aria-label': `only frames with findings: ${count} ${severity}${count > 1 ? 's' : ''}`, title: `only frames with findings: ${severity}`});
    toggle.append(mark(severity), String(count));
    return toggle;
  }));
}

function countText() {
  const total = state.task.frames.filter(entry => entry.a).length;
  const others = state.task.frames.length - total;
  const every = data.every > 1 ? ` of ${grouped(String(state.task.count))}, every ${data.every}` : '';
  const drawn = data.pictures.every > 1 ? `, every ${data.pictures.every}th with a picture` : '';
  return (state.seen.length < state.task.frames.length ? `${grouped(String(state.seen.length))} of ` : '')
    + `${grouped(String(total))} frame${total === 1 ? '' : 's'}${every}` + (others ? ` and ${others} only in B` : '') + drawn;
}

/// Shows the frames that the filter leaves. The frame that the user chose stays selected; while the filter
/// hides it, another one is selected.
function showFiltered() {
  const {test, unknown} = filterOf(data, state.task.frames, $('filter').value);
  const only = state.only;
  state.seen = state.task.frames.filter(entry => test(entry)
    && (!only.size || entry.findings.some(f => only.has(severityOf(f)))));
  state.seen.forEach((entry, place) => { entry.place = place; });
  $('count').textContent = countText();
  $('unknown').textContent = unknown.length ? `unknown: ${unknown.map(shown).join(' ')}` : '';
  $('empty').hidden = state.seen.length > 0;
  $('empty').textContent = state.task.frames.length ? 'No frame matches.' : 'No frames.';
  showMarks();
  fitCells();
  bringToView();
  if (!$('table').hidden) showTable();
  const from = state.home ? state.home.index : 0;
  const home = state.seen.find(entry => entry.index >= from) || state.seen[state.seen.length - 1];
  if (home && home !== state.entry) show(home);
  writeAddress(true);
}
