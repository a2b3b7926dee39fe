// Values over the frames, by frame or by time. Each measure has a lane.

const MARGIN = 0.5;
const MOST_FLAGS = 1000;

/// The horizontal place of a frame in the lanes, from 0 to 1.
function alongOf(entry) {
  const frames = state.task.frames;
  const last = frames[frames.length - 1];
  if (!state.byTime || !(last.at > 0)) return (entry.index + MARGIN) / frames.length;
  const edge = MARGIN / frames.length;
  return edge + (1 - 2 * edge) * (Number.isNaN(entry.at) ? 0 : entry.at / last.at);
}

// If there are more points, the least and the largest of neighbours are drawn.
const MOST_POINTS = 4000;

/// The indices of the points to draw, in order. With many points, gaps do not show.
function pointsOf(values) {
  const every = Math.ceil(2 * values.length / MOST_POINTS);
  if (every <= 2) return values.keys();
  const points = [];
  for (let from = 0; from < values.length; from += every) {
    let [low, high] = [from, from];
    for (let at = from; at < Math.min(values.length, from + every); at += 1) {
      if (!Number.isFinite(values[at])) continue;
      if (!(values[low] <= values[at])) low = at;
      if (!(values[high] >= values[at])) high = at;
    }
    points.push(...new Set([Math.min(low, high), Math.max(low, high)]));
  }
  return points;
}

/// The values as SVG paths in a box of 1 x 1: one of lines, and one of dots for values without neighbours.
function pathsOf(entries, values, scale, name) {
  const paths = {lines: '', dots: ''};
  const points = [...pointsOf(values)];
  const isValue = at => Number.isFinite(values[points[at]]);
  points.forEach((index, at) => {
    if (!isValue(at)) return;
    const place = `${alongOf(entries[index]).toFixed(5)} ${scale(values[index]).toFixed(4)}`;
    if (isValue(at - 1)) paths.lines += 'L' + place;
    else if (isValue(at + 1)) paths.lines += 'M' + place;
    else paths.dots += `M${place}h0`;
  });
  return [draw('path', {class: name, d: paths.lines}), draw('path', {class: `${name} dot`, d: paths.dots})];
}

/// The measures that have a lane.
const lanesShown = () => [...data.measures.filter(m => state.lanes.has(m.key)), ...state.added];

/// The keys of the lanes that a page shows at first.
function usualLanes() {
  const first = data.measures.filter(m => m.key.startsWith('plot')).map(m => m.key);
  return new Set([...(data.against === null ? [] : ['psnr']), ...first, 'luma']);
}

/// The content of a lane: the values of one tree or both, their limits, and `scale`, which gives a value's
/// place from 0 at the top to 1.
function laneOf(measure) {
  const entries = state.task.frames;
  const mine = entries.map(entry => valueOf(measure, entry, measure.pair || data.against !== null ? 'a' : 'main'));
  const theirs = measure.pair || data.against === null ? [] : entries.map(entry => valueOf(measure, entry, 'b'));
  const real = [...mine, ...theirs].filter(Number.isFinite);
  if (!real.length) return {measure, mine, theirs, empty: true};
  const low = real.reduce((x, y) => Math.min(x, y));
  const high = real.reduce((x, y) => Math.max(x, y));
  const logarithmic = SCALED.includes(measure.unit) && low > 0 && high / low > 16;
  const level = v => logarithmic ? Math.log(v) : v;
  const span = level(high) - level(low);
  return {measure, mine, theirs, low, high, logarithmic, scale: v => span ? 1 - (level(v) - level(low)) / span : 0.5};
}

function laneParts(lane) {
  const {measure, low, high} = lane;
  const label = shown(measure.label);
  const now = make('span', {className: 'now'});
  const name = make('div', {className: 'name', title: `${shown(measure.name)}`}, make('b', {textContent: label}), now);
  const cursor = make('span', {className: 'cursor'});
  const range = make('div', {className: 'range'});
  const box = make('div', {className: 'lane', role: 'img'});
  if (lane.empty) {
    const equal = measure.unit === PSNR && lane.mine.includes(Infinity);
    box.append(make('span', {className: 'quiet', textContent: equal ? 'all equal' : 'no value'}), cursor);
  } else {
    box.append(draw('svg', {viewBox: '0 0 1 1', preserveAspectRatio: 'none', 'aria-hidden': 'true'},
      ...pathsOf(state.task.frames, lane.theirs, lane.scale, 'theirs'),
      ...pathsOf(state.task.frames, lane.mine, lane.scale, 'mine')), cursor);
    const ends = low === high ? [low] : [high, low];
    const texts = ends.map(v => reading(measure, v));
    // Limits that rounding makes equal keep all digits.
    const format = texts[0] === texts[1] ? figure : v => reading(measure, v);
    range.append(...ends.map(v => make('span', {textContent: format(v)})));
    if (lane.logarithmic) range.insertBefore(make('span', {textContent: 'log'}), range.lastChild);
  }
  if (low === high) range.classList.add('one');
  return {...lane, box, cursor, now, parts: [name, box, range]};
}

/// The horizontal places of frames with findings, from 0 to 1, and the worst severity at each. Neighbouring
/// frames share a place.
function worstAlong(entries) {
  const places = new Map();
  for (const entry of entries) {
    if (!entry.findings.length) continue;
    const [worst] = worstFirst(entry.findings);
    const key = entries.length > MOST_FLAGS ? Math.round(alongOf(entry) * MOST_FLAGS) / MOST_FLAGS : alongOf(entry);
    const old = places.get(key);
    if (!old || SEVERITIES.indexOf(worst) < SEVERITIES.indexOf(old)) places.set(key, worst);
  }
  return places;
}

function showPlots() {
  const entries = state.task.frames;
  state.drawn = lanesShown().map(laneOf).map(laneParts);
  const parts = state.drawn.flatMap(lane => lane.parts);
  const flags = make('div', {className: 'lane marks', 'aria-hidden': 'true'});
  for (const [along, severity] of worstAlong(entries)) {
    const flag = mark(severity);
    flag.style.left = along * 100 + '%';
    flags.append(flag);
  }
  if (flags.childElementCount) parts.push(make('div', {className: 'name quiet', textContent: 'findings'}), flags, make('div'));
  parts.push(make('div'), axis(), make('div'));
  $('plots').hidden = !entries.length;
  $('lanes').replaceChildren(...parts);
  pressed('byTime', state.byTime);
  for (const lane of $('lanes').querySelectorAll('.lane')) followPointer(lane);
  showLaneChoice();
  showLookLane();
}

/// The lane of the strip's value below the picture that fills the window.
function showLookLane() {
  const lane = view.full && state.task.frames.length > 1 ? laneParts(laneOf(captionMeasure())) : null;
  state.lookLane = lane;
  $('lookLane').hidden = !lane;
  $('lookLane').replaceChildren(...(lane ? lane.parts : []));
  if (lane) followPointer(lane.box);
  showCursor();
}

/// Selects the frames over which the user drags in a lane.
function followPointer(lane) {
  lane.onpointerdown = lane.onpointermove = event => {
    if (event.type === 'pointermove' && !event.buttons) return;
    const box = lane.getBoundingClientRect();
    select(nearest((event.clientX - box.left) / box.width));
  };
}

function nearest(along) {
  const frames = state.task.frames;
  if (!state.byTime) return frames[Math.min(frames.length - 1, Math.max(0, Math.floor(along * frames.length)))];
  return state.task.frames.reduce((best, entry) =>
    Math.abs(alongOf(entry) - along) < Math.abs(alongOf(best) - along) ? entry : best);
}

/// The axis below the lanes, with numbers of frames or with times.
function axis() {
  const entries = state.task.frames;
  const ticks = make('div', {className: 'axis', 'aria-hidden': 'true'});
  const step = Math.max(1, Math.ceil((entries.length - 1) / 5));
  for (let at = 0; at < entries.length; at += step) {
    const entry = entries[at];
    const tick = make('span', {textContent: state.byTime ? withTime(entry.at) : entry.label});
    tick.style.left = alongOf(entry) * 100 + '%';
    tick.classList.toggle('last', at > 0 && at === entries.length - 1);
    ticks.append(tick);
  }
  return ticks;
}

function showCursor() {
  for (const {measure, cursor, now, box, low, high} of [...state.drawn, state.lookLane].filter(Boolean)) {
    cursor.hidden = !state.entry;
    now.textContent = state.entry ? readingOf(measure, state.entry) : '';
    if (state.entry) cursor.style.left = alongOf(state.entry) * 100 + '%';
    box.setAttribute('aria-label', `${shown(measure.label)} over ${state.task.frames.length} frames`
      + (low === undefined ? '' : `, ${reading(measure, low)} to ${reading(measure, high)}`)
      + (state.entry ? `; frame ${state.entry.label}: ${now.textContent}` : ''));
  }
}

/// A measure's value at a frame as text; with two trees both values and the step between them.
function readingOf(measure, entry) {
  const read = side => measure.pair ? valueOf(measure, entry) : measure.of(entry[side] || {plots: [], parameters: new Map()});
  if (measure.pair) return entry.metrics?.problem && !entry.metrics.planes ? 'not compared' : reading(measure, read());
  if (data.against === null) return reading(measure, read('main'));
  const [a, b] = [read('a'), read('b')];
  const step = measure.names ? '' : stepText(a, b, measure.unit, true);
  return `${reading(measure, a)} → ${reading(measure, b)}${step && step !== '0' ? ` (${step})` : ''}`;
}

/// The buttons that show and hide the document's measures as lanes.
function showLaneChoice() {
  const all = [...data.measures, ...state.added];
  refill($('laneChoice'), ...all.map(measure => button(shown(measure.label), () => toggleLane(measure),
    {'aria-pressed': hasLane(measure), 'data-key': measure.key, title: shown(measure.name)})));
}

const hasLane = measure => state.lanes.has(measure.key) || state.added.some(m => m.key === measure.key);

function toggleLane(measure) {
  const at = state.added.findIndex(m => m.key === measure.key);
  if (at >= 0) state.added.splice(at, 1);
  else if (data.measures.some(m => m.key === measure.key)) {
    if (!state.lanes.delete(measure.key)) state.lanes.add(measure.key);
  } else state.added.push(measure);
  showPlots();
  showValues();
  if (!$('table').hidden) showTable();
  writeAddress();
}

function toggleTime() {
  state.byTime = !state.byTime;
  showPlots();
  writeAddress();
}
