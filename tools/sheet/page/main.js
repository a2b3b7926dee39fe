// The selection of frames and tasks, and the start of the page.

/// Goes to a frame that the user chose. The page returns to it when the filter leaves it again.
function select(entry, loud) {
  state.home = entry;
  show(entry, loud);
}

/// Goes to a frame. `loud` announces it even if the strip has the focus.
function show(entry, loud) {
  strip.elements.get(state.entry)?.setAttribute('aria-selected', 'false');
  state.entry = entry;
  const cell = bringToView();
  if (cell) {
    cell.setAttribute('aria-selected', 'true');
    $('strip').setAttribute('aria-activedescendant', cell.id);
    if (loud || document.activeElement !== $('strip')) say(`Frame ${entry.label}, ${captionOf(entry)}, ${wordsOf(entry)}`);
  } else {
    $('strip').removeAttribute('aria-activedescendant');
  }
  if (table.list) bringRowToView();
  showCursor();
  showDetail();
  writeAddress();
}

function step(by) {
  if (!state.seen.length) return;
  const at = state.seen.indexOf(state.entry);
  select(state.seen[Math.min(state.seen.length - 1, Math.max(0, at < 0 ? 0 : at + by))]);
}

function nextFinding() {
  const at = state.seen.indexOf(state.entry);
  const order = [...state.seen.slice(at + 1), ...state.seen.slice(0, at + 1)];
  const entry = order.find(e => e.findings.length);
  if (entry) select(entry, true);
  else say('None of the shown frames has a finding.');
}

/// Goes to the worst frame in view; if `by` is 1, to the one after the selected frame in the order from the
/// worst to the best.
function stepWorst(by) {
  if (data.against === null) return say('There is no second tree.');
  const order = [...state.seen].sort((x, y) => rankOf(x) - rankOf(y) || x.index - y.index);
  const at = by ? order.indexOf(state.entry) + by : 0;
  if (order[at]) select(order[at], true);
  else say('No frame follows in the order from worst to best.');
}

// ---- Pipe and task

function chooser(label, items, current, name, pick) {
  if (items.length < 2) return make('span', {className: 'choice'}, items.length ? name(items[0]) : '');
  if (items.length <= 5) {
    return make('span', {className: 'choice', role: 'group', 'aria-label': label}, ...items.map((item, i) =>
      button(name(item), () => pick(item), {'aria-pressed': item === current, 'data-key': label + i})));
  }
  const select = make('select', {'aria-label': label, 'data-key': label}, ...items.map((item, index) =>
    make('option', {value: index, textContent: name(item), selected: item === current})));
  select.onchange = () => pick(items[select.value]);
  return make('span', {className: 'choice'}, select);
}

function showPlaces() {
  const pipes = [...new Set(data.tasks.map(task => task.pipe))];
  const tasks = data.tasks.filter(task => task.pipe === state.task.pipe);
  refill($('places'),
    chooser('Pipe', pipes, state.task.pipe, pipe => pipe === null ? 'no pipe' : 'pipe ' + pipe,
      pipe => openTask(data.tasks.find(task => task.pipe === pipe))),
    chooser('Task', tasks, state.task, task => tasks.length > 5
      ? `task ${task.task} · ${shown(task.recorded)} · ${task.count}` : `task ${task.task}`, openTask),
    make('span', {className: 'quiet', textContent: shown(state.task.recorded), title: shown(state.task.path)}));
}

function openTask(task, entry) {
  state.task = task;
  state.entry = state.home = null;
  state.box = boxOf(task.frames);
  showPlaces();
  showGeneral();
  showPlots();
  showFiltered();
  const first = entry || state.seen[0] || null;
  if (first) select(first);
  else showDetail();
  if (!$('table').hidden) showTable();
}

/// On paper the page has all frames, and has as text what marks and their tooltips tell on the screen.
function printAll(all) {
  Rolling.printing = all;
  const found = all ? state.seen.flatMap(entry => entry.findings.map(finding => [entry, finding])) : [];
  $('printed').replaceChildren(...found.slice(0, MOST_FINDINGS).map(([entry, finding]) => {
    const item = findingItem(finding, entry);
    item.prepend(make('b', {textContent: entry.label}));
    return item;
  }), moreItem(found.length - MOST_FINDINGS));
  fitCells();
  if (!$('table').hidden) showTable();
}

// ---- Start

function setTheme(theme) {
  if (theme) document.documentElement.dataset.theme = theme;
  else delete document.documentElement.dataset.theme;
  $('theme').textContent = {light: '☀', dark: '☾'}[theme] || '◐';
  $('theme').setAttribute('aria-label', `Theme: ${theme || 'as the system'}`);
  $('theme').title = $('theme').getAttribute('aria-label');
}

/// The theme that the user chose on an earlier page. A browser may refuse to store it.
const kept = {
  get() { try { return localStorage.getItem('tyksim theme') || ''; } catch { return ''; } },
  set(theme) { try { localStorage.setItem('tyksim theme', theme); } catch { /* The theme lasts as long as the page. */ } },
};

function nameTrees() {
  const [a, b] = [data.tree, data.against].map(tree => tree === null ? '' : shown(tree));
  document.title = b ? `${shortened(a, 40)} and ${shortened(b, 40)} – tyksim sheet` : `${a} – tyksim sheet`;
  $('tree').replaceChildren(...(b ? [['A', a], ['B', b]] : [['', a]]).map(([side, name]) =>
    make('span', {title: name}, side ? make('b', {textContent: side}) : '', ' ', make('bdi', {textContent: shortened(name, b ? 36 : 64)}))));
}

function connect() {
  $('keys').querySelector('tbody').replaceChildren(...KEYS.map(([keys, does]) => make('tr', {},
    make('th', {scope: 'row'}, ...keys.split(' ').flatMap(key => [make('kbd', {textContent: key}), ' '])), make('td', {textContent: does}))));
  $('caption').append(...data.measures.map(m => make('option', {value: m.key, textContent: shown(m.label), selected: m.key === state.caption})));
  $('caption').onchange = () => { state.caption = $('caption').value; showCaptions(); };
  setTheme(kept.get());
  $('theme').onclick = () => {
    const next = {'': 'dark', dark: 'light', light: ''}[document.documentElement.dataset.theme || ''];
    kept.set(next);
    setTheme(next);
  };
  $('help').onclick = ACTIONS['?'];
  $('showTable').onclick = () => toggleTable();
  $('byTime').onclick = toggleTime;
  $('before').onclick = $('lookBefore').onclick = () => step(-1);
  $('after').onclick = $('lookAfter').onclick = () => step(1);
  $('close').onclick = closeDetail;
  $('filter').oninput = showFiltered;
  $('changed').onchange = $('find').oninput = showValues;
  document.addEventListener('keydown', onKey);
  document.addEventListener('keyup', event => { if (event.key === 'b' && !view.blink) holdOther(false); });
  window.onblur = () => { if (!view.blink) holdOther(false); };
  document.querySelector('main').addEventListener('scroll', () => { (table.list || strip).update(); }, {capture: true, passive: true});
  new ResizeObserver(refitCells).observe($('strip'));
  window.onresize = coverFrames;
  window.onbeforeprint = () => printAll(true);
  window.onafterprint = () => printAll(false);
  window.onhashchange = () => goTo(readAddress());
}

/// Goes to the place that readAddress() returned.
function goTo(place) {
  state.ready = false;
  if (place.task !== state.task) openTask(place.task, place.entry);
  else {
    showPlots();
    showFiltered();
    if (place.entry) select(place.entry);
  }
  if (place.table !== !$('table').hidden) toggleTable(place.table);
  state.ready = true;
  setFull(place.full);
  showModes();
  paint();
  writeAddress();
}

function start() {
  $('page').hidden = false;
  nameTrees();
  makeControls();
  makeCopies();
  connect();
  if (!data.tasks.length) {
    $('empty').hidden = false;
    $('empty').textContent = 'No task in this tree.';
    state.task = {pipe: '', task: '', path: '', count: 0, frames: [], findings: []};
    return showGeneral();
  }
  $('copy-diff').hidden = data.against === null;
  $('detail').hidden = narrow();
  goTo(readAddress());
  if (!view.full && $('table').hidden) $('strip').focus();
}

start();
