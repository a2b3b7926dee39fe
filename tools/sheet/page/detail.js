// The detail of the selected frame: facts, findings, values and differences.

/// Whether the detail covers the frames. page.css has the same width.
const narrow = () => matchMedia('(max-width: 760px)').matches;

/// Takes covered parts of the page out of the order of the Tab key.
function coverFrames() {
  const covered = view.full || (narrow() && !$('detail').hidden);
  document.querySelector('main').inert = covered;
  $('bar').inert = covered;
  for (const part of $('detail').children) part.inert = view.full && part !== $('look');
}

function openDetail() {
  $('detail').hidden = false;
  coverFrames();
  showDetail();
}

function closeDetail() {
  const inside = $('detail').contains(document.activeElement);
  $('detail').hidden = true;
  coverFrames();
  if (inside || document.activeElement === document.body) $('strip').focus();
  fitCells();
}

function showDetail() {
  const entry = state.entry;
  $('detail').classList.toggle('none', !entry);
  if (!entry) $('frame').textContent = 'No frame';
  if (!entry || $('detail').hidden) return;
  const count = state.task.count;
  $('frame').textContent = entry.a ? `Frame ${entry.label} of ${grouped(String(count))}` : `Frame ${entry.b.frame} of B, not in A`;
  const {width, height} = entry.main;
  $('look').style.setProperty('--shape', width > 0 && height > 0 ? Math.min(3, Math.max(0.75, width / height)) : 1.5);
  $('found').replaceChildren(...entry.findings.map(finding => findingItem(finding, entry)));
  $('lookTitle').textContent = `Frame ${entry.label}` + (data.against === null ? '' : ' · ' + lookText(entry));
  showImages();
  showFacts(entry);
  showHistogram(entry);
  showValues();
}

/// A few words on how the two images compare.
function lookText(entry) {
  if (entry.metrics?.problem) return shown(entry.metrics.problem);
  const luma = compared(entry, 0);
  return luma ? (luma[0] === null ? 'equal' : `PSNR ${withUnit(luma[0], PSNR)}`) : sideOf(entry)[1];
}

// ---- Facts

function factRows(entry) {
  const size = frame => frame.width > 0 ? `${frame.width} × ${frame.height}` : '–';
  const plane = (i, key) => frame => frame.image?.planes[i][key];
  const luma = frame => frame.image?.planes[0].mean === undefined ? null : `${frame.image.planes[0].least} to ${frame.image.planes[0].most}`;
  return [
    {name: 'frame', of: frame => frame.frame, id: true}, {name: 'request', of: frame => frame.request ?? '–', id: true}, {name: 'sof', of: frame => frame.sof ?? '–', id: true},
    {name: 'camera', of: frame => frame.camera ?? '–', id: true}, {name: 'time', of: frame => shown(frame.time)},
    {name: 'size', of: size}, {name: 'files', of: frame => frame.files}, {name: 'bytes', of: frame => frame.bytes, format: withBytes},
    ...data.plots.map((plot, i) => ({name: shown(plot.label), of: frame => frame.plots[i], unit: plot.unit, names: plot.names})),
    {name: 'luma', of: plane(0, 'mean'), unit: LEVEL}, {name: 'luma range', of: luma}, {name: 'luma at 0', of: plane(0, 'at0'), unit: SHARE},
    {name: 'luma at 255', of: plane(0, 'at255'), unit: SHARE}, {name: 'mean U', of: plane(1, 'mean'), unit: LEVEL}, {name: 'mean V', of: plane(2, 'mean'), unit: LEVEL},
    {name: 'missing', of: frame => frame.image?.lacking || null, format: withBytes}, {name: 'folder', of: frame => shown(frame.name)}];
}

const textOf = (row, value) => value === null || value === undefined ? '–'
  : row.format ? row.format(value) : withUnit(value, row.unit, row.names);

/// The step of a fact from A to B, as text. Ids have no step.
function factStep(row, a, b) {
  if (row.id || row.names) return '';
  if (!row.format) return stepText(a, b, row.unit);
  const step = number(b) - number(a);
  return step ? (step > 0 ? '+' : '−') + row.format(Math.abs(step)) : '';
}

function showFacts(entry) {
  const pair = data.against !== null;
  const rows = [];
  for (const row of factRows(entry)) {
    const [a, b] = [entry.a, entry.b].map(frame => frame ? row.of(frame) : undefined);
    if (row.name === 'missing' && !a && !b) continue;
    const cell = value => make('td', {textContent: textOf(row, value), title: value === null || value === undefined ? '' : String(value)});
    const cells = [cell(a)];
    if (pair) cells.push(cell(b), make('td', {className: 'step', textContent: entry.a && entry.b ? factStep(row, a, b) : ''}));
    rows.push(make('tr', {className: row.name === 'folder' ? 'wide' : ''}, make('th', {scope: 'row', textContent: row.name}), ...cells));
  }
  const head = pair ? [make('thead', {}, make('tr', {}, ...['fact', 'A', 'B', 'B − A'].map(textContent => make('th', {scope: 'col', textContent}))))] : [];
  $('facts').replaceChildren(make('caption', {className: 'unseen', textContent: 'Facts of the frame'}), ...head, make('tbody', {}, ...rows));
}

// ---- Values

function tabs() {
  return [['parameters', 'Parameters'], ['scene', 'Scene'], ...(data.against !== null ? [['differences', 'Differences']] : [])];
}

function showTabs() {
  refill($('tabs'), ...tabs().map(([id, label]) => button(label, () => openTab(id), {role: 'tab', id: 'tab-' + id, 'data-key': id,
    'aria-selected': state.tab === id, 'aria-controls': 'values', tabIndex: state.tab === id ? 0 : -1,
    onkeydown: event => {
      const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
      if (!step) return;
      event.stopPropagation();
      const all = tabs().map(tab => tab[0]);
      openTab(all[(all.indexOf(id) + step + all.length) % all.length]);
      $('tabs').querySelector('[aria-selected=true]').focus();
    }})));
  $('values').setAttribute('aria-labelledby', 'tab-' + state.tab);
}

function openTab(tab) {
  state.tab = tab;
  showValues();
  writeAddress();
}

function showValues() {
  showTabs();
  const entry = state.entry;
  if (!entry || $('detail').hidden) return;
  $('choose').hidden = state.tab === 'differences';
  if (state.tab === 'differences') return showDifferences(entry);
  const before = state.task.frames[entry.index - 1] || null;
  const rows = (state.tab === 'scene' ? sceneRows : parameterRows)(data, entry, before);
  const wanted = $('find').value.toLowerCase();
  const kept = rows.filter(row => (!$('changed').checked || !row.same)
    && (!wanted || `${row.of || ''} ${row.name}`.toLowerCase().includes(wanted)));
  const pair = data.against !== null;
  const none = !rows.length ? 'none' : $('changed').checked && !wanted
    ? (before ? 'nothing changed since the frame before' : 'the first frame') : 'no such name';
  const body = kept.length ? kept.map(valueRow) : [make('tr', {}, make('td', {className: 'quiet', colSpan: pair ? 5 : 3, textContent: none}))];
  const columns = pair ? ['name', 'A', 'B', 'B − A'] : ['name', 'before', 'value'];
  const head = columns.map(textContent => make('th', {scope: 'col', textContent}));
  refill($('values'), make('table', {className: pair ? 'list pair' : 'list'}, make('caption', {className: 'unseen', textContent: state.tab}),
    make('thead', {}, make('tr', {}, ...head, make('th', {scope: 'col', className: 'add'}, make('span', {className: 'unseen', textContent: 'lane'})))),
    make('tbody', {}, ...body)));
}

const rowText = (row, value) => value === undefined || value === null ? '–' : row.bytes ? withBytes(value)
  : listed(value, element => named(element, row.names) || figure(element), row.field?.dimensions);

function valueCell(row, value) {
  const cell = make('td', {textContent: rowText(row, value), className: rowText(row, value).includes('\n') ? 'matrix' : ''});
  cell.title = value === undefined || value === null ? '' : exact(value);
  if (!row.unit || value === undefined || value === null) return cell;
  if (row.unit !== '1/1024' && row.field) cell.append(make('span', {className: 'quiet', textContent: ' ' + shown(row.unit)}));
  if ((SCALED.includes(row.unit) || !row.field) && !Number.isNaN(number(value))) cell.append(make('span', {className: 'unit', textContent: withUnit(value, row.unit)}));
  return cell;
}

function valueRow(row) {
  const pair = data.against !== null;
  if (row.hex) {
    return make('tr', {className: 'field', 'data-key': row.key}, make('td', {className: 'hex', colSpan: pair ? 5 : 4, textContent: (pair ? row.side + ' ' : '') + row.hex}));
  }
  const name = make('th', {scope: 'row', textContent: shown(row.name), title: shown(row.of ? `${row.of} ${row.name}` : row.name)});
  if (row.note) name.append(make('small', {textContent: shown(row.note), title: shown(row.note)}));
  const main = state.entry.a ? row.a : row.b;
  const changed = !row.same && row.before !== undefined && row.before !== null;
  const cells = [];
  if (pair) {
    const a = valueCell(row, row.a);
    if (changed && state.entry.a) a.append(make('span', {className: 'unit', textContent: 'before: ' + rowText(row, row.before)}));
    const step = row.head ? (row.differs ? '≠' : '') : stepOf(row);
    const same = row.a !== undefined && JSON.stringify(row.a) === JSON.stringify(row.b);
    // A value that both trees have stands once, over both columns.
    if (same) Object.assign(a, {colSpan: 2, className: a.className + ' both'});
    cells.push(a, ...(same ? [] : [valueCell(row, row.b)]), make('td', {className: 'step', textContent: step}));
  } else {
    cells.push(make('td', {className: 'step', textContent: row.same ? '' : changed ? rowText(row, row.before) : row.head ? '*' : 'new'}), valueCell(row, main));
  }
  const add = make('td', {className: 'add'});
  if (row.measure) {
    add.append(button('∿', () => toggleLane(row.measure), {'aria-pressed': hasLane(row.measure), 'data-key': 'lane' + row.key,
      'aria-label': `lane of ${shown(row.measure.name)}`, title: 'show it as a lane'}));
  }
  return make('tr', {className: row.head ? 'head' : 'field', 'data-key': row.key}, name, ...cells, add);
}

/// The step between the two trees' values, as text. Lists that differ have the sign alone.
function stepOf(row) {
  if (row.a === undefined || row.b === undefined || row.a === null || row.b === null) return '';
  if (Array.isArray(row.a) || Array.isArray(row.b) || row.names) return JSON.stringify(row.a) === JSON.stringify(row.b) ? '' : '≠';
  const step = stepText(row.a, row.b, row.unit);
  return step === '0' ? '' : step || (row.a === row.b ? '' : '≠');
}

/// Shows the differences that `tyksim diff` reports between the two frames.
function showDifferences(entry) {
  const found = entry.differences;
  const parts = [];
  if (entry.metrics?.planes) parts.push(planesTable(entry.metrics.planes));
  const rows = found.flatMap(([what, how, , values, more]) => [
    ...(how || values.length ? [make('tr', {className: 'head'}, make('th', {scope: 'row', colSpan: 4}, shown(what),
      make('small', {className: 'how', textContent: shown(how)})))] : []),
    ...values.map(([name, mine, theirs, unit]) => make('tr', {className: 'field'}, make('th', {scope: 'row', textContent: shown(name), title: shown(name)}),
      ...[mine, theirs].map(value => make('td', {}, shown(value) || '–', unit && value ? make('span', {className: 'quiet', textContent: ' ' + shown(unit)}) : '')), make('td', {className: 'step', textContent: stepText(mine, theirs, unit)}))),
    ...(more ? [make('tr', {className: 'field'}, make('td', {className: 'quiet', colSpan: 4, textContent: `and ${more} more`}))] : [])]);
  if (rows.length) {
    parts.push(make('table', {className: 'differing'}, make('caption', {className: 'unseen', textContent: 'What differs'}), make('thead', {}, make('tr', {}, ...['name', 'A', 'B', 'B − A'].map(textContent =>
      make('th', {scope: 'col', textContent})))), make('tbody', {}, ...rows)));
  }
  if (!found.length) {
    parts.push(make('p', {className: 'quiet', textContent: !entry.a ? 'not in A' : entry.b ? 'nothing differs' : 'not in B'}));
  }
  $('values').replaceChildren(...parts);
}

function planesTable(planes) {
  const cells = ([psnr, most, mean, count]) =>
    [psnr === null ? 'equal' : psnr.toFixed(2) + ' dB', most, mean.toFixed(3), count];
  const row = (plane, i) => make('tr', {}, make('th', {scope: 'row', textContent: PLANES[i]}),
    ...(plane ? cells(plane).map(textContent => make('td', {textContent}))
      : [make('td', {colSpan: 4, textContent: 'not compared'})]));
  return make('table', {className: 'planes'}, make('thead', {}, make('tr', {}, ...['image', 'PSNR', 'largest', 'mean', 'pixels'].map(textContent => make('th', {scope: 'col', textContent})))),
    make('tbody', {}, ...planes.map(row)));
}

// ---- Text to copy

const quoted = word => /^[\w@%+=:,./-]+$/.test(word) ? word : `'${word.replace(/'/g, "'\\''")}'`;

/// The options for the storage of images with which the page was made.
function storedOptions() {
  const {bt709, limited, nv12, stride} = data.pictures;
  return [nv12 && '--order nv12', stride && `--stride ${stride}`, bt709 && '--matrix bt709', limited && '--range limited'].filter(Boolean);
}

/// The command lines that show the frame: [what, command].
function commandsOf(entry) {
  const place = [...(state.task.pipe === null ? [] : [`--pipe ${state.task.pipe}`]), `--task ${state.task.task}`, `--frames ${entry.main.frame}`];
  const tree = quoted(entry.a ? data.tree : data.against);
  const line = (...words) => ['tyksim', ...words].join(' ');
  const commands = [['show', line('show', tree, ...place, ...storedOptions())],
    ['export', line('export', tree, ...place, `-o frame${entry.main.frame}`, '--format png', ...storedOptions())]];
  if (entry.a && entry.b && entry.main.request !== null) {
    const requests = [...(state.task.pipe === null ? [] : [`--pipe ${state.task.pipe}`]), `--requests ${entry.main.request}`];
    commands.push(['diff', line('diff', quoted(data.tree), quoted(data.against), ...requests, ...storedOptions())]);
  }
  return commands;
}

const pathOfFrame = entry => `${entry.a ? state.task.path : state.task.otherPath}/${entry.main.name}`;

function copy(text, what) {
  const done = () => say(`copied: ${what}`);
  const byHand = () => {
    const area = make('textarea', {value: text, className: 'unseen'});
    const focused = document.activeElement;
    document.body.append(area);
    area.select();
    const copied = document.execCommand('copy');
    area.remove();
    focused?.focus();
    if (copied) done();
    else say('The browser does not let the page copy.');
  };
  if (navigator.clipboard) navigator.clipboard.writeText(text).then(done, byHand);
  else byHand();
  $('copied').textContent = text.length < 400 ? text : `${what} copied`;
}

function makeCopies() {
  for (const kind of ['show', 'diff', 'export']) {
    $('copies').append(button(kind, () => {
      const found = commandsOf(state.entry).find(([what]) => what === kind);
      if (found) copy(found[1], `the command of ${kind}`);
      else say('The frame has no counterpart.');
    }, {id: 'copy-' + kind, title: `copy the command: tyksim ${kind}`}));
  }
  $('copies').append(button('path', () => copy(pathOfFrame(state.entry), 'the path'), {id: 'copy-path', title: 'copy the path of the folder'}));
  $('copyTable').onclick = () => copy(csvText(), 'the table as CSV');
}
