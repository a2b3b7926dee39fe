// The page's address. It has the selected frame and every setting of the view that differs from its default.

const address = {tokens: 40, filled: 0, timer: 0};

function addressNow() {
  const place = new URLSearchParams();
  const add = (name, value, usual) => { if (String(value) !== String(usual)) place.set(name, value); };
  add('mode', view.mode, 'a');
  add('full', Number(view.full), 0);
  if (view.zoom) {
    place.set('zoom', Number(view.zoom.toPrecision(4)));
    place.set('at', `${Math.round(view.x)},${Math.round(view.y)}`);
  }
  add('split', Math.round(view.split * 1000), 500);
  add('gain', view.gain, 0);
  add('plane', view.plane, 0);
  add('signed', Number(view.signed), 1);
  add('clip', Number(view.clip), 0);
  add('filter', $('filter').value, '');
  add('lanes', [...state.lanes, ...state.added.map(m => m.name)].join(','), [...usualLanes()].join(','));
  add('time', Number(state.byTime), 0);
  add('table', Number(!$('table').hidden), 0);
  add('tab', state.tab, 'parameters');
  const rest = place.toString().replace(/%2C/g, ',');
  const task = state.task;
  return `#pipe=${task.pipe}&task=${task.task}&frame=${state.entry ? state.entry.label : ''}${rest ? '&' + rest : ''}`;
}

/// Writes the address. Browsers limit how often a page may do so: a call with `often`, for changes that come
/// many times a second, and a call beyond the limit are delayed.
function writeAddress(often) {
  if (!state.task || !state.ready) return;
  clearTimeout(address.timer);
  const now = performance.now();
  address.tokens = Math.min(40, address.tokens + (now - address.filled) / 100);
  address.filled = now;
  if (often || address.tokens < 1) {
    address.timer = setTimeout(writeAddress, 150);
    return;
  }
  const place = addressNow();
  if (location.hash === place) return;
  address.tokens -= 1;
  history.replaceState(null, '', place);
}

/// Applies the address. A setting that it does not name gets its default.
function readAddress() {
  const place = new URLSearchParams(location.hash.slice(1));
  const task = data.tasks.find(t => String(t.pipe) === place.get('pipe') && String(t.task) === place.get('task')) || data.tasks[0];
  const whole = (name, usual) => /^-?\d+$/.test(place.get(name) || '') ? Number(place.get(name)) : usual;
  const real = (name, usual) => Number.isFinite(parseFloat(place.get(name))) ? parseFloat(place.get(name)) : usual;
  const mode = MODES.some(([id]) => id === place.get('mode')) ? place.get('mode') : 'a';
  const gain = whole('gain', 0);
  const plane = whole('plane', 0);
  Object.assign(view, {mode: data.against === null ? 'a' : mode, zoom: Math.min(64, Math.max(0, real('zoom', 0))),
    split: Math.min(1, Math.max(0, whole('split', 500) / 1000)), gain: GAINS.includes(gain) ? gain : 0,
    plane: plane >= -1 && plane <= 2 ? plane : 0, signed: whole('signed', 1) !== 0, clip: whole('clip', 0) === 1});
  const at = /^(-?\d+),(-?\d+)$/.exec(place.get('at') || '');
  if (at) Object.assign(view, {x: Number(at[1]), y: Number(at[2])});
  $('filter').value = place.get('filter') || '';
  state.byTime = whole('time', 0) === 1;
  state.tab = tabs().some(([id]) => id === place.get('tab')) ? place.get('tab') : 'parameters';
  state.lanes = new Set();
  state.added = [];
  const names = place.has('lanes') ? place.get('lanes').split(',') : [...usualLanes()];
  for (const name of names) {
    const measure = measureNamed(data, name);
    if (!measure) continue;
    if (data.measures.some(m => m.key === measure.key)) state.lanes.add(measure.key);
    else state.added.push(measure);
  }
  return {task, entry: task?.byLabel.get(place.get('frame')), full: whole('full', 0) === 1, table: whole('table', 0) === 1};
}
