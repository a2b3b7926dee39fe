// The table of all frames. Users sort it by any column and copy it as CSV.

const MOST_ROWS = 2000;

const IDENTITY = [
  {key: 'frame', label: 'frame', text: entry => entry.label, sort: entry => entry.index},
  {key: 'request', label: 'request', text: entry => entry.main.request ?? '', sort: entry => entry.main.request},
  {key: 'sof', label: 'sof', text: entry => entry.main.sof ?? '', sort: entry => entry.main.sof},
  {key: 'camera', label: 'camera', text: entry => entry.main.camera ?? '', sort: entry => entry.main.camera},
  {key: 'time', label: 'time', text: entry => shown(entry.main.time), sort: entry => entry.at},
  {key: 'findings', label: 'findings', text: entry => entry.findings.map(nameOf).join('; '), sort: entry => entry.findings.length}];

/// The columns: the frame's identity, then the measures, with two trees those of both.
function columnsNow() {
  const columns = [...IDENTITY];
  if (data.against !== null) {
    columns.push({key: 'images', label: 'images', text: entry => entry.metrics?.problem ? shown(entry.metrics.problem) : sideOf(entry)[1], sort: rankOf});
  }
  for (const measure of [...data.measures, ...state.added]) {
    const sides = measure.pair || data.against === null ? ['main'] : ['a', 'b'];
    for (const side of sides) {
      const value = entry => valueOf(measure, entry, side);
      columns.push({key: measure.key + (side === 'main' ? '' : '.' + side), number: true, name: measure.name + (side === 'main' ? '' : ' ' + side.toUpperCase()),
        label: shown(measure.label) + (side === 'main' ? '' : ' ' + side.toUpperCase()), sort: value,
        text: entry => Number.isNaN(value(entry)) ? '' : withUnit(value(entry), measure.unit),
        raw: entry => measure.pair || !entry[side] ? value(entry) : measure.of(entry[side])});
    }
  }
  return columns;
}

function sortedEntries(columns) {
  const column = columns.find(c => c.key === state.sort.key) || columns[0];
  const key = value => value === null || value === undefined || Number.isNaN(value) ? null : value;
  const sign = state.sort.down ? -1 : 1;
  return [...state.seen].sort((x, y) => {
    const [a, b] = [key(column.sort(x)), key(column.sort(y))];
    if (a === b) return x.index - y.index;
    if (a === null || b === null) return a === null ? 1 : -1;
    return a < b ? -sign : sign;
  });
}

function sortBy(column) {
  state.sort = {key: column.key, down: state.sort.key === column.key && !state.sort.down};
  showTable();
  say(`sorted by ${column.label}, ${state.sort.down ? 'largest' : 'least'} first`);
}

function showTable() {
  const columns = columnsNow();
  const entries = sortedEntries(columns);
  const head = columns.map(column => {
    const sorted = column.key === state.sort.key;
    return make('th', {scope: 'col', 'aria-sort': sorted ? (state.sort.down ? 'descending' : 'ascending') : 'none'},
      button(column.label + (sorted ? (state.sort.down ? ' ▼' : ' ▲') : ''), () => sortBy(column), {'data-key': column.key, title: column.name || column.label}));
  });
  const rows = entries.slice(0, MOST_ROWS).map(entry => tableRow(entry, columns));
  refill($('frames'), make('caption', {className: 'unseen', textContent: 'All frames that the filter leaves'}),
    make('thead', {}, make('tr', {}, ...head)), make('tbody', {}, ...rows));
  $('more').textContent = entries.length > MOST_ROWS ? `The first ${grouped(String(MOST_ROWS))} of ${grouped(String(entries.length))}; the CSV has all.` : '';
  showTableSelection();
}

function tableRow(entry, columns) {
  const row = make('tr', {tabIndex: -1, 'data-key': 'frame' + entry.label}, ...columns.map((column, i) => {
    const cell = make(i ? 'td' : 'th', {textContent: column.text(entry), className: column.number ? 'number' : ''});
    if (!i) cell.scope = 'row';
    return cell;
  }));
  row.onclick = () => select(entry);
  row.ondblclick = row.onactivate = () => openEntry(entry);
  row.entry = entry;
  return row;
}

function showTableSelection() {
  for (const row of $('frames').querySelectorAll('tbody tr')) {
    const selected = row.entry === state.entry;
    row.classList.toggle('selected', selected);
    row.tabIndex = selected ? 0 : -1;
    if (selected) row.setAttribute('aria-current', 'true');
    else row.removeAttribute('aria-current');
  }
}

/// Closes the table and opens the frame.
function openEntry(entry) {
  select(entry);
  toggleTable(false);
  openDetail();
}

function toggleTable(on = $('table').hidden) {
  $('table').hidden = !on;
  $('strip').hidden = on;
  pressed('showTable', on);
  if (on) {
    showTable();
    const row = $('frames').querySelector('tr[tabindex="0"]') || $('frames').querySelector('tbody tr');
    if (row) row.focus();
  } else {
    $('frames').replaceChildren();
    $('strip').focus();
    fitCells();
    cells.get(state.entry)?.scrollIntoView({block: 'nearest'});
  }
  writeAddress();
}

/// Selects the row that lies `by` rows below.
function stepTable(by) {
  const rows = [...$('frames').querySelectorAll('tbody tr')];
  const at = rows.findIndex(row => row.entry === state.entry);
  const row = rows[Math.min(rows.length - 1, Math.max(0, at + by))];
  if (!row) return;
  select(row.entry);
  row.focus();
}

/// A value as a field of a CSV file.
function csvField(value) {
  const text = value === null || value === undefined || Number.isNaN(value) ? '' : value === Infinity ? 'inf' : String(value);
  return /[",\n\r]/.test(text) ? `"${text.replace(/"/g, '""')}"` : text;
}

function csvText() {
  const columns = columnsNow();
  const lines = [columns.map(c => csvField(c.name || c.label)).join(',')];
  for (const entry of sortedEntries(columns)) {
    lines.push(columns.map(c => csvField(c.raw ? c.raw(entry) : c.text(entry))).join(','));
  }
  return lines.join('\n') + '\n';
}
