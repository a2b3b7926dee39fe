// Selection, keys and the start.

function select(frame, say) {
  const old = cells.get(state.frame);
  if (old) old.setAttribute('aria-selected', 'false');
  state.frame = frame;
  const cell = cells.get(frame);
  if (cell) {
    cell.setAttribute('aria-selected', 'true');
    $('strip').setAttribute('aria-activedescendant', cell.id);
    cell.scrollIntoView({block: 'nearest'});
    if (say || document.activeElement !== $('strip')) $('said').textContent = cell.getAttribute('aria-label');
  } else {
    $('strip').removeAttribute('aria-activedescendant');
  }
  showCursor();
  showDetail();
  writeAddress();
}

function step(by) {
  if (!state.seen.length) return;
  const at = state.seen.indexOf(state.frame);
  select(state.seen[Math.min(state.seen.length - 1, Math.max(0, at < 0 ? 0 : at + by))]);
}

const columns = () => getComputedStyle($('strip')).gridTemplateColumns.split(' ').length;

function nextFinding() {
  const at = state.seen.indexOf(state.frame);
  const order = [...state.seen.slice(at + 1), ...state.seen.slice(0, at + 1)];
  const frame = order.find(f => f.findings.length);
  if (frame) select(frame, true);
  else $('said').textContent = 'No frame shown has a finding.';
}

function stepRow(by) {
  const rows = [...$('values').querySelectorAll('tbody tr')];
  const at = rows.indexOf(document.activeElement);
  const row = rows[Math.min(rows.length - 1, Math.max(0, at + by))];
  if (!row) return;
  if (at >= 0) rows[at].tabIndex = -1;
  row.tabIndex = 0;
  row.focus();
}

const inValues = () => $('values').contains(document.activeElement) && document.activeElement.matches('tr');

const KEYS = [
  ['← →', 'frame before, next frame', {ArrowLeft: () => step(-1), ArrowRight: () => step(1)}],
  ['↑ ↓', 'row of frames; in the detail, of values', {
    ArrowUp: () => inValues() ? stepRow(-1) : step(-columns()),
    ArrowDown: () => inValues() ? stepRow(1) : step(columns())}],
  ['Home End', 'first, last frame', {Home: () => step(-Infinity), End: () => step(Infinity)}],
  ['f', 'next finding', {f: nextFinding}],
  ['/', 'filter', {'/': () => {
    if (narrow()) closeDetail();
    $('filter').focus();
    $('filter').select();
  }}],
  ['c', 'only values that changed', {c: () => { $('changed').checked = !$('changed').checked; openDetail(); }}],
  ['b', 'blink with the second tree, B', {b: () => { openDetail(); if (!$('compare').hidden) toggleBlink(); }}],
  ['d', 'difference to the second tree, B', {d: () => { openDetail(); setMode(state.mode === 'difference' ? 'mine' : 'difference'); }}],
  ['Enter', 'detail of the frame; on a number, its plot', {Enter: enter}],
  ['Escape', 'back', {Escape: back}],
  ['?', 'these keys', {'?': () => $('keys').showModal()}],
];
const ACTIONS = Object.assign({}, ...KEYS.map(key => key[2]));

function enter() {
  if (inValues()) return document.activeElement.onactivate?.();
  openDetail();
  const row = $('values').querySelector('tr[tabindex="0"]');
  (!narrow() && row || $('frame')).focus();
}

function back() {
  if (state.blink) return setMode('mine');
  if ($('detail').contains(document.activeElement) && !narrow()) return $('strip').focus();
  closeDetail();
}

document.addEventListener('keydown', event => {
  if (event.ctrlKey || event.altKey || event.metaKey || $('keys').open) return;
  const target = event.target;
  const typing = target.matches('input:not([type=checkbox]), select');
  if (typing) {
    if (event.key === 'Escape' || (event.key === 'Enter' && target === $('filter'))) {
      if (event.key === 'Escape' && target.value && target.type === 'search') { target.value = ''; target.oninput(); }
      else $('strip').focus();
      event.preventDefault();
    }
    return;
  }
  if (event.key === 'Enter' && target.matches('button, summary, input')) return;
  const action = ACTIONS[event.key];
  if (!action) return;
  event.preventDefault();
  action();
});

// ---- Start

function setTheme(theme) {
  if (theme) document.documentElement.dataset.theme = theme;
  else delete document.documentElement.dataset.theme;
  $('theme').textContent = {light: '☀', dark: '☾'}[theme] || '◐';
  $('theme').setAttribute('aria-label', `Theme: ${theme || 'as the system'}`);
  $('theme').title = $('theme').getAttribute('aria-label');
}

function start() {
  document.title = `${shown(data.tree)} – tyksim sheet`;
  const names = data.against ? `A ${shown(data.tree)}  ⇄  B ${shown(data.against)}` : shown(data.tree);
  $('tree').replaceChildren(make('bdi', {textContent: names}));
  $('tree').title = names;
  $('keys').querySelector('tbody').replaceChildren(...KEYS.map(([keys, does]) => make('tr', {},
    make('th', {scope: 'row'}, ...keys.split(' ').flatMap(key => [make('kbd', {textContent: key}), ' '])), make('td', {textContent: does}))));
  setTheme('');
  $('theme').onclick = () => setTheme({'': 'dark', dark: 'light', light: ''}[document.documentElement.dataset.theme || '']);
  $('help').onclick = ACTIONS['?'];
  $('before').onclick = () => step(-1);
  $('after').onclick = () => step(1);
  $('close').onclick = closeDetail;
  $('filter').oninput = showFiltered;
  $('changed').onchange = $('find').oninput = showValues;
  window.onresize = () => { fitCells(); coverFrames(); };
  window.onhashchange = () => {
    const place = readAddress();
    if (place.task !== state.task) openTask(place.task, place.frame);
    else if (place.frame) select(place.frame);
  };
  if (!data.tasks.length) {
    $('empty').hidden = false;
    $('empty').textContent = 'No task in this tree.';
    state.task = {pipe: '', task: '', frames: [], findings: [], lanes: []};
    state.lanes = [];
    return showGeneral();
  }
  $('detail').hidden = narrow();
  const place = readAddress();
  openTask(place.task, place.frame);
  $('strip').focus();
}

start();
