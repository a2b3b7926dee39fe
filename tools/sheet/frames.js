// The frames of a task: where they are, their strip, the filters and the plots.
// Text from the data enters by textContent alone.

const $ = id => document.getElementById(id);
const SVG = 'http://www.w3.org/2000/svg';

/// An element with properties, attributes (names with a hyphen, and role) and children.
function make(name, properties = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes('-') || key === 'role') element.setAttribute(key, value);
    else element[key] = value;
  }
  element.append(...children);
  return element;
}

function draw(name, attributes, ...children) {
  const element = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

const mark = severity => make('span', {className: 'mark ' + severity, 'aria-hidden': 'true'});
const severityOf = finding => SEVERITIES.includes(finding.severity) ? finding.severity : 'note';
const worstFirst = findings =>
  SEVERITIES.filter(severity => findings.some(finding => severityOf(finding) === severity));

const data = readDocument(JSON.parse($('data').textContent));
const pictures = new Pictures($('pictures').textContent.trim());
const state = {task: null, frame: null, only: new Set(), test: () => true, seen: [], tab: 'parameters',
  mode: 'mine', blink: 0, plots: [], row: null};

// ---- Places: pipe, task and frame, in the address too

function chooser(label, items, current, name, pick) {
  if (items.length < 2) return make('span', {className: 'choice'}, items.length ? name(items[0]) : '');
  if (items.length <= 5) {
    return make('span', {className: 'choice', role: 'group', 'aria-label': label}, ...items.map(item =>
      make('button', {type: 'button', textContent: name(item), 'aria-pressed': item === current,
        onclick: () => pick(item)})));
  }
  const select = make('select', {'aria-label': label}, ...items.map((item, index) =>
    make('option', {value: index, textContent: name(item), selected: item === current})));
  select.onchange = () => pick(items[select.value]);
  return make('span', {className: 'choice'}, select);
}

function showPlaces() {
  const pipes = [...new Set(data.tasks.map(task => task.pipe))];
  const tasks = data.tasks.filter(task => task.pipe === state.task.pipe);
  $('places').replaceChildren(
    chooser('Pipe', pipes, state.task.pipe, pipe => pipe === null ? 'no pipe' : 'pipe ' + pipe,
      pipe => openTask(data.tasks.find(task => task.pipe === pipe))),
    chooser('Task', tasks, state.task, task => tasks.length > 5
      ? `task ${task.task} · ${shown(task.recorded)} · ${task.count}` : `task ${task.task}`, openTask),
    make('span', {className: 'quiet', textContent: shown(state.task.recorded), title: shown(state.task.path)}));
}

function writeAddress() {
  const place = `#pipe=${state.task.pipe}&task=${state.task.task}&frame=${state.frame ? state.frame.frame : ''}`;
  if (location.hash !== place) history.replaceState(null, '', place);
}

function readAddress() {
  const place = new URLSearchParams(location.hash.slice(1));
  const task = data.tasks.find(t => String(t.pipe) === place.get('pipe') && String(t.task) === place.get('task'));
  return {task: task || data.tasks[0], frame: task && task.byNumber.get(Number(place.get('frame')))};
}

// ---- The strip

const cells = new Map();

/// Pictures are decoded when their cell comes near the window and let go when it is far away.
const near = new IntersectionObserver(entries => {
  for (const {target, isIntersecting} of entries) {
    const img = target.querySelector('img');
    if (!img || isIntersecting === img.hasAttribute('src')) continue;
    if (isIntersecting) img.src = pictures.address(Number(target.dataset.line), 0);
    else img.removeAttribute('src');
  }
}, {rootMargin: '800px', scrollMargin: '800px'});

function short(frame) {
  const [exposure, gain] = [0, 1].map(i => frame.plots[i]);
  if (exposure !== null && exposure !== undefined && data.plots[0].unit === 'ns') return withUnit(exposure, 'ns');
  return gain === null || gain === undefined ? '' : withUnit(gain, data.plots[1]?.unit);
}

function cellOf(frame) {
  const words = frame.findings.map(nameOf);
  const pic = make('div', {className: 'pic'});
  pic.style.aspectRatio = frame.width > 0 && frame.height > 0
    ? String(Math.min(4, Math.max(0.25, frame.width / frame.height))) : '4 / 3';
  if (pictures.pieces(frame.line)[0].length > 1) pic.append(make('img', {alt: ''}));
  else { pic.classList.add('none'); pic.textContent = 'no picture'; }
  const changed = frame.other && frame.other.differences.length > 0;
  const label = [`Frame ${frame.frame}, request ${frame.request}`, short(frame), ...words,
    data.against && !frame.other ? 'not in B' : changed ? 'differs' : ''];
  const value = short(frame);
  const cell = make('div', {className: 'cell', role: 'option', id: 'cell' + frame.frame, 'aria-selected': 'false',
    'aria-label': label.filter(Boolean).join(', '), title: shown(frame.name) + words.map(w => '\n' + w).join('')},
    pic, make('div', {className: 'cap'}, make('b', {textContent: frame.frame}),
      ...worstFirst(frame.findings).map(mark),
      make('span', {className: 'differs', textContent: !data.against ? '' : !frame.other ? '∅' : changed ? '≠' : ''}),
      make('span', {className: 'value', textContent: value})));
  cell.dataset.line = frame.line;
  cell.onclick = () => { select(frame); openDetail(); };
  return cell;
}

function openTask(task, frame) {
  state.task = task;
  for (const cell of cells.values()) near.unobserve(cell);
  cells.clear();
  for (const each of task.frames) cells.set(each, cellOf(each));
  $('strip').replaceChildren(...cells.values());
  for (const cell of cells.values()) near.observe(cell);
  showPlaces();
  showGeneral();
  state.frame = null;
  showPlots();
  showFiltered();
  fitCells();
  select(frame || state.seen[0] || null);
}

function showGeneral() {
  const findings = [...data.general, ...state.task.findings];
  $('general').hidden = !findings.length;
  $('general').querySelector('summary').replaceChildren(...worstFirst(findings).flatMap(s => [mark(s), ' ']),
    `${findings.length} finding${findings.length > 1 ? 's' : ''} of the tree${data.against ? 's' : ''} and the task`);
  $('general').querySelector('ul').replaceChildren(...findings.map(finding => findingItem(finding)));
}

/// "error: image-short", and whose it is where that is not the first tree.
const nameOf = finding => `${finding.severity}: ${shown(finding.rule)}${finding.other ? ' in B' : ''}`;

/// A finding in words; beside its frame, paths begin in the frame's folder.
function findingItem(finding, frame) {
  const folder = frame && (finding.other ? frame.other : frame).name;
  const path = frame ? finding.path.split(folder + '/').pop() : finding.path;
  const found = [finding.expected && 'expected ' + shown(finding.expected), finding.found && 'found ' + shown(finding.found)];
  const about = [shown(path), found.filter(Boolean).join(', '), shown(finding.reason || ''), shown(finding.hint)].filter(Boolean);
  return make('li', {}, mark(severityOf(finding)), make('span', {},
    make('b', {textContent: nameOf(finding)}), ' ',
    make('span', {className: 'quiet', textContent: about.join(' · ')})));
}

/// The fewer frames there are, the larger they are shown, up to the width that thumbnails have.
function fitCells() {
  const strip = $('strip');
  const each = Math.sqrt(strip.clientWidth * strip.clientHeight / Math.max(1, state.task.frames.length));
  strip.style.setProperty('--fit', Math.min(256, Math.floor(each * 0.9)) + 'px');
}

// ---- Filters

function showMarks() {
  const frames = state.task.frames;
  $('marks').replaceChildren(...SEVERITIES.map(severity => {
    const count = frames.reduce((sum, frame) => sum + frame.findings.filter(f => severityOf(f) === severity).length, 0);
    return make('button', {type: 'button', hidden: !count, 'aria-pressed': state.only.has(severity),
      'aria-label': `${count} ${severity}${count > 1 ? 's' : ''}`, title: `only frames with findings: ${severity}`,
      onclick: () => {
        if (!state.only.delete(severity)) state.only.add(severity);
        showFiltered();
      }}, mark(severity), String(count));
  }));
}

function showFiltered() {
  state.test = filterOf(data, $('filter').value);
  const only = state.only;
  state.seen = state.task.frames.filter(frame => state.test(frame)
    && (!only.size || frame.findings.some(f => only.has(severityOf(f)))));
  const seen = new Set(state.seen);
  for (const [frame, cell] of cells) cell.hidden = !seen.has(frame);
  const total = state.task.frames.length;
  const every = data.every > 1 ? ` of ${state.task.count}, every ${data.every}` : '';
  $('count').textContent = (state.seen.length < total ? `${state.seen.length} of ` : '')
    + `${total} frame${total === 1 ? '' : 's'}${every}`
    + (data.onlyOther ? `, ${data.onlyOther} only in B` : '');
  $('empty').hidden = state.seen.length > 0;
  $('empty').textContent = total ? 'No frame matches.' : 'No frames.';
  showMarks();
  if (state.frame && !seen.has(state.frame) && state.seen.length) select(state.seen[0]);
}

// ---- Plots

/// The points of a value as a path in a box of 1 x 1; a lone point is a dot.
function pathOf(values, low, high, logarithmic) {
  const scale = v => logarithmic ? Math.log(v) : v;
  const span = scale(high) - scale(low);
  let path = '';
  let pen = false;
  values.forEach((value, index) => {
    if (Number.isNaN(value)) { pen = false; return; }
    const x = (index + 0.5) / values.length;
    const y = span ? 1 - (scale(value) - scale(low)) / span : 0.5;
    path += `${pen ? 'L' : 'M'}${x.toFixed(5)} ${y.toFixed(4)}` + (pen ? '' : 'h0');
    pen = true;
  });
  return path;
}

function showPlots() {
  const frames = state.task.frames;
  const all = [...data.plots.map((plot, i) => ({...plot, of: frame => frame.plots[i]})), ...state.plots];
  state.lanes = [];
  const parts = [];
  for (const plot of all) {
    const values = frames.map(frame => number(plot.of(frame)));
    const others = frames.map(frame => frame.other ? number(plot.of(frame.other)) : NaN);
    const real = [...values, ...others].filter(v => Number.isFinite(v));
    if (!real.length) continue;
    const low = real.reduce((a, b) => Math.min(a, b));
    const high = real.reduce((a, b) => Math.max(a, b));
    const logarithmic = ['ns', 'gain'].includes(plot.unit) && low > 0 && high / low > 16;
    const now = make('span', {className: 'quiet'});
    const cursor = make('span', {className: 'cursor'});
    const svg = draw('svg', {viewBox: '0 0 1 1', preserveAspectRatio: 'none', 'aria-hidden': 'true'},
      draw('path', {class: 'theirs', d: pathOf(others, low, high, logarithmic)}),
      draw('path', {d: pathOf(values, low, high, logarithmic)}));
    const lane = make('div', {className: 'lane', role: 'img', 'aria-label':
      `${shown(plot.label)} over ${frames.length} frames, ${withUnit(low, plot.unit)} to ${withUnit(high, plot.unit)}`},
      svg, cursor);
    const name = make('div', {className: 'name', title: shown(plot.name)}, make('b', {textContent: shown(plot.label)}), now);
    if (plot.key) {
      name.firstChild.append(make('button', {type: 'button', className: 'drop', textContent: '✕',
        'aria-label': 'Remove the plot ' + shown(plot.label), onclick: () => togglePlot(plot)}));
    }
    const range = low === high ? [] : [high, low].map(v => make('span', {textContent: withUnit(v, plot.unit)}));
    if (logarithmic) range.splice(1, 0, make('span', {textContent: 'log'}));
    parts.push(name, lane, make('div', {className: 'range'}, ...range));
    state.lanes.push({plot, lane, cursor, now});
  }
  const flags = make('div', {className: 'lane marks', 'aria-hidden': 'true'});
  frames.forEach((frame, index) => {
    for (const severity of worstFirst(frame.findings).slice(0, 1)) {
      const flag = mark(severity);
      flag.style.left = (index + 0.5) / frames.length * 100 + '%';
      flags.append(flag);
    }
  });
  if (flags.childElementCount) parts.push(make('div', {className: 'name quiet', textContent: 'findings'}), flags, make('div'));
  $('plots').hidden = !parts.length;
  $('plots').replaceChildren(...parts);
  for (const lane of $('plots').querySelectorAll('.lane')) {
    lane.onpointerdown = lane.onpointermove = event => {
      if (event.type === 'pointermove' && !event.buttons) return;
      const box = lane.getBoundingClientRect();
      const index = Math.floor((event.clientX - box.left) / box.width * frames.length);
      select(frames[Math.min(frames.length - 1, Math.max(0, index))]);
    };
  }
}

function showCursor() {
  for (const {plot, cursor, now} of state.lanes) {
    cursor.hidden = !state.frame;
    if (!state.frame) continue;
    cursor.style.left = (state.frame.index + 0.5) / state.task.frames.length * 100 + '%';
    now.textContent = withUnit(plot.of(state.frame), plot.unit);
  }
}

function togglePlot(plot) {
  const index = state.plots.findIndex(p => p.key === plot.key);
  if (index >= 0) state.plots.splice(index, 1);
  else state.plots.push(plot);
  showPlots();
  showCursor();
  showValues();
}
