// The frame that is looked at: its picture, histogram, values and differences.

/// Whether the detail covers the frames; page.css has the same width.
const narrow = () => matchMedia('(max-width: 760px)').matches;

/// What is covered is not to be reached by keyboard either.
function coverFrames() {
  const covered = narrow() && !$('detail').hidden;
  document.querySelector('main').inert = covered;
  $('bar').inert = covered;
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
  if (inside) $('strip').focus();
}

function showPicture(img, frame) {
  const address = frame ? pictures.address(frame.line, 1) : '';
  if (address) img.src = address;
  else img.removeAttribute('src');
  return Boolean(address);
}

const MODES = [['mine', 'A'], ['theirs', 'B'], ['split', 'slider'], ['difference', 'difference']];

function showDetail() {
  const frame = state.frame;
  if (!frame || $('detail').hidden) return;
  const other = frame.other;
  $('frame').textContent = `Frame ${frame.frame} of ${state.task.count}`;
  $('view').style.aspectRatio = frame.width > 0 && frame.height > 0
    ? String(Math.min(4, Math.max(0.5, frame.width / frame.height))) : '16 / 9';
  const mine = showPicture($('mine'), frame);
  const theirs = showPicture($('theirs'), other);
  $('mine').alt = `Picture of frame ${frame.frame}`;
  $('theirs').alt = other ? `Picture of frame ${other.frame} of B` : '';
  $('nothing').hidden = mine;
  $('nothing').textContent = shown(frame.problem);
  $('compare').hidden = !(mine && theirs);
  $('found').replaceChildren(...frame.findings.map(finding => findingItem(finding, frame)));
  showMode();
  showFacts(frame);
  showHistogram(frame);
  showValues();
}

function showMode() {
  const comparable = !$('compare').hidden;
  const mode = comparable ? state.mode : 'mine';
  $('view').className = ['split', 'difference'].includes(mode) ? mode : '';
  $('theirs').hidden = mode === 'mine';
  $('mine').hidden = !$('mine').hasAttribute('src');
  $('tag').hidden = !data.against || !comparable || mode === 'split';
  $('tag').textContent = mode === 'theirs' ? 'B' : 'A';
  if (!comparable) return;
  if (!$('compare').childElementCount) {
    const slider = make('input', {type: 'range', min: 0, max: 100, value: 50, 'aria-label': 'Place of the slider'});
    slider.oninput = () => $('view').style.setProperty('--split', slider.value + '%');
    $('compare').append(...MODES.map(([id, label]) => make('button', {type: 'button', textContent: label, id: 'mode-' + id,
      onclick: () => setMode(id)})), make('button', {type: 'button', id: 'blink', textContent: 'blink', onclick: toggleBlink}), slider);
  }
  for (const [id] of MODES) $('mode-' + id).setAttribute('aria-pressed', !state.blink && mode === id);
  $('blink').setAttribute('aria-pressed', Boolean(state.blink));
  $('compare').querySelector('input').hidden = mode !== 'split';
}

function setMode(mode) {
  stopBlink();
  state.mode = mode;
  showMode();
}

function stopBlink() {
  clearInterval(state.blink);
  state.blink = 0;
}

/// Two pictures a second, which is slow enough for everybody's eyes.
function toggleBlink() {
  if (state.blink) return setMode('mine');
  state.mode = 'theirs';
  state.blink = setInterval(() => {
    state.mode = state.mode === 'theirs' ? 'mine' : 'theirs';
    showMode();
  }, 500);
  showMode();
}

function showFacts(frame) {
  const luma = frame.luma;
  const facts = [['request', frame.request ?? '–'], ['sof', frame.sof ?? '–'], ['camera', frame.camera ?? '–'],
    ['time', shown(frame.time)], ['size', frame.width > 0 ? `${frame.width} × ${frame.height}` : '–'],
    ['files', `${frame.files} · ${withBytes(frame.bytes)}`],
    ...data.plots.map((plot, i) => [shown(plot.label), withUnit(frame.plots[i], plot.unit)]),
    ...(luma ? [['luma', `${luma[2].toFixed(1)} (${luma[0]}–${luma[1]})`],
      ['at 0, 255', luma.slice(3, 5).map(share => (share * 100).toFixed(1)).join(', ') + ' %'],
      ...(luma[5] ? [['missing', `${withBytes(luma[5])} at the end: black, or without colour`, 'wide']] : [])] : []),
    ['folder', shown(frame.name), 'wide']];
  if (data.against) {
    const other = frame.other;
    facts.push(['B', other ? `frame ${other.frame}, request ${other.request}, sof ${other.sof}` : 'has no such frame', 'wide']);
  }
  $('facts').replaceChildren(...facts.map(([name, value, wide]) => make('div', {className: wide || ''},
    make('dt', {textContent: name}), make('dd', {textContent: value, title: value}))));
}

function showHistogram(frame) {
  const mine = pictures.histogram(frame.line);
  const theirs = frame.other && pictures.histogram(frame.other.line);
  $('histogram').hidden = !mine;
  if (!mine) return;
  const line = bins => bins.map((v, i) => `L${i} ${(1 - v).toFixed(4)}L${i + 1} ${(1 - v).toFixed(4)}`).join('');
  const svg = draw('svg', {viewBox: `0 0 ${mine.length} 1`, preserveAspectRatio: 'none', role: 'img',
    'aria-label': 'Histogram of the luma' + (frame.luma ? `, mean ${frame.luma[2].toFixed(1)}` : '')},
  draw('path', {class: 'mine', d: `M0 1${line(mine)}L${mine.length} 1Z`}));
  if (theirs) svg.append(draw('path', {class: 'theirs', d: 'M0 1' + line(theirs)}));
  $('histogram').replaceChildren(svg, make('figcaption', {}, make('span', {textContent: '0'}),
    make('span', {textContent: theirs ? 'luma, sampled (line: B)' : 'luma, sampled'}), make('span', {textContent: '255'})));
}

function tabs() {
  return [['parameters', 'Parameters'], ['scene', 'Scene'], ...(data.against ? [['differences', 'Differences']] : [])];
}

function showTabs() {
  $('tabs').replaceChildren(...tabs().map(([id, label]) => make('button', {type: 'button', role: 'tab', textContent: label,
    'aria-selected': state.tab === id, 'aria-controls': 'values', tabIndex: state.tab === id ? 0 : -1,
    onclick: () => { state.tab = id; showValues(); },
    onkeydown: event => {
      const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
      if (!step) return;
      event.stopPropagation();
      const all = tabs().map(tab => tab[0]);
      state.tab = all[(all.indexOf(id) + step + all.length) % all.length];
      showValues();
      $('tabs').querySelector('[aria-selected=true]').focus();
    }})));
}

function showValues() {
  showTabs();
  const frame = state.frame;
  if (!frame || $('detail').hidden) return;
  $('choose').hidden = state.tab === 'differences';
  if (state.tab === 'differences') return showDifferences(frame);
  const before = state.task.frames[frame.index - 1] || null;
  const rows = (state.tab === 'scene' ? sceneRows : parameterRows)(data, frame, before);
  const wanted = $('find').value.toLowerCase();
  const kept = rows.filter(row => (!$('changed').checked || !row.same)
    && (!wanted || `${row.of || ''} ${row.name}`.toLowerCase().includes(wanted)));
  const focused = $('values').contains(document.activeElement);
  const body = make('tbody', {}, ...kept.map(valueRow));
  if (!kept.length) body.append(make('tr', {}, make('td', {className: 'quiet', colSpan: 3, textContent: !rows.length ? 'none'
    : $('changed').checked && !wanted ? (before ? 'nothing changed since the frame before' : 'the first frame') : 'no such name'})));
  $('values').replaceChildren(make('table', {className: 'list'}, make('thead', {}, make('tr', {}, make('th', {scope: 'col', textContent: 'name'}),
    make('th', {scope: 'col', className: 'star', title: 'changed since the frame before', 'aria-label': 'changed', textContent: '*'}),
    make('td', {textContent: 'value'}))), body));
  const current = [...body.rows].find(tr => tr.dataset.key === state.row) || body.rows[0];
  current.tabIndex = 0;
  if (focused) current.focus();
}

function valueRow(row) {
  const plotted = state.plots.some(plot => plot.key === row.key);
  const name = make('th', {scope: 'row', textContent: shown(row.name), title: shown(row.of || row.name)});
  if (row.note) name.append(make('small', {textContent: shown(row.note), title: shown(row.note)}));
  const value = make('td', {className: row.hex ? 'hex' : '', colSpan: row.hex ? 3 : 1, textContent: row.value});
  if (row.raw !== undefined && row.raw !== null) value.title = shown(row.raw);
  if (row.unit) value.append(make('span', {className: 'unit', textContent: row.unit}));
  const tr = make('tr', {className: (row.head ? 'head' : 'field') + (plotted ? ' plotted' : ''), tabIndex: -1},
    ...(row.hex ? [value] : [name, make('td', {className: 'star', textContent: row.same ? '' : '*'}), value]));
  tr.dataset.key = row.key;
  tr.onfocus = () => { state.row = row.key; };
  tr.onactivate = () => row.plot && togglePlot({key: row.key, name: row.of ? `${row.of} ${row.name}` : row.name,
    label: row.name, unit: row.kind || '', of: row.plot});
  tr.ondblclick = tr.onactivate;
  return tr;
}

/// What `tyksim diff` says of the frame and its other.
function showDifferences(frame) {
  const found = frame.other ? frame.other.differences : [];
  const parts = found.filter(([, , planes]) => planes).map(([what, , planes]) => planesTable(what, planes));
  const rows = found.flatMap(([what, how, , values, more]) => [
    ...(how || values.length ? [make('tr', {className: 'head'}, make('th', {scope: 'row', colSpan: 3}, shown(what),
      make('small', {className: 'how', textContent: shown(how)})))] : []),
    ...values.map(([name, mine, theirs]) => make('tr', {className: 'field'}, make('th', {scope: 'row', textContent: shown(name)}),
      ...[mine, theirs].map(value => make('td', {textContent: shown(value) || '–'})))),
    ...(more ? [make('tr', {className: 'field'}, make('td', {className: 'quiet', colSpan: 3, textContent: `and ${more} more`}))] : [])]);
  if (rows.length) {
    parts.push(make('table', {}, make('thead', {}, make('tr', {}, make('th', {scope: 'col', textContent: 'name'}),
      make('td', {textContent: 'A'}), make('td', {textContent: 'B'}))), make('tbody', {}, ...rows)));
  }
  if (!parts.length) {
    parts.push(make('p', {className: 'quiet', textContent: frame.other ? 'nothing differs' : 'not in B'}));
  }
  $('values').replaceChildren(...parts);
}

function planesTable(what, planes) {
  const cells = ([psnr, most, mean, count]) =>
    [psnr === null ? 'equal' : psnr.toFixed(2) + ' dB', most, mean.toFixed(3), count];
  const row = (plane, i) => make('tr', {}, make('th', {scope: 'row', textContent: 'YUV'[i]}),
    ...(plane ? cells(plane).map(text => make('td', {textContent: text}))
      : [make('td', {colSpan: 4, textContent: 'not compared'})]));
  return make('table', {}, make('thead', {}, make('tr', {}, make('th', {scope: 'col', textContent: shown(what)}),
    ...['PSNR', 'largest', 'mean', 'pixels'].map(text => make('td', {textContent: text})))),
  make('tbody', {}, ...planes.map(row)));
}
