// The table of all frames. Users sort it by any column and copy it as CSV.

const table = {columns: [], list: null};  // a Rolling of the entries in the table's order
const MOST_WIDE = 40;  // characters of a column

const IDENTITY = [
  {key: 'frame', label: 'frame', text: entry => entry.label, sort: entry => entry.index},
  {key: 'request', label: 'request', text: entry => entry.main.request ?? '', sort: entry => entry.main.request},
  {key: 'sof', label: 'sof', text: entry => entry.main.sof ?? '', sort: entry => entry.main.sof},
  {key: 'camera', label: 'camera', text: entry => entry.main.camera ?? '', sort: entry => entry.main.camera},
  {key: 'time', label: 'time', text: entry => shown(entry.main.time), sort: entry => entry.at},
  {key: 'findings', label: 'findings', text: entry => entry.findings.map(nameOf).join('; '), sort: entry => entry.findings.length}];

/// A value for CSV: the stored value, with the name of a number that has one.
const rawOf = (measure, value) => named(value, measure.names) || value;

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
        text: entry => Number.isNaN(value(entry)) ? '' : reading(measure, value(entry)),
        raw: entry => rawOf(measure, measure.pair || !entry[side] ? value(entry) : measure.of(entry[side]))});
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
    return make('th', {scope: 'col', className: column.number ? 'number' : '', 'aria-sort': sorted ? (state.sort.down ? 'descending' : 'ascending') : 'none'},
      button(column.label + (sorted ? (state.sort.down ? ' ▼' : ' ▲') : ''), () => sortBy(column), {'data-key': column.key, title: column.name || column.label}));
  });
  const focused = $('frames').contains(document.activeElement);
  const rooms = [0, 1].map(() => make('tr', {role: 'presentation'}));
  const [above, below] = rooms.map(row => make('tbody', {role: 'presentation'}, row));
  const body = make('tbody');
  const widths = columns.map(column => widthOf(column, entries));
  $('frames').style.width = `calc(${widths.reduce((x, y) => x + y, 0)}ch + ${20 * columns.length}px)`;
  $('frames').setAttribute('aria-rowcount', entries.length + 1);
  refill($('frames'), make('caption', {className: 'unseen', textContent: 'All frames that the filter leaves'}),
    make('colgroup', {}, ...widths.map(columnOf)), make('thead', {}, make('tr', {'aria-rowindex': 1}, ...head)), above, body, below);
  table.columns = columns;
  table.list = new Rolling(body, ...rooms, tableRow);
  table.list.show(entries);
  const row = bringRowToView();
  if (focused && document.activeElement === document.body) (row || tableScroller()).focus({preventScroll: true});
}

const tableScroller = () => $('table').querySelector('.scroll');

/// The length of the longest text of a column, in characters; with many frames, of some of them.
function widthOf(column, entries) {
  const every = Math.max(1, Math.floor(entries.length / 300));
  let most = column.label.length + 2;
  for (let at = 0; at < entries.length; at += every) most = Math.max(most, String(column.text(entries[at])).length);
  return Math.min(MOST_WIDE, most);
}

function columnOf(width) {
  const column = make('col');
  column.style.width = `calc(${width}ch + 20px)`;
  return column;
}

function tableRow(entry, at) {
  const row = make('tr', {'data-key': 'frame' + entry.label, 'aria-rowindex': at + 2}, ...table.columns.map((column, i) => {
    const cell = make(i ? 'td' : 'th', {textContent: column.text(entry), className: column.number ? 'number' : ''});
    if (!i) cell.scope = 'row';
    return cell;
  }));
  row.onclick = () => select(entry);
  row.ondblclick = row.onactivate = () => openEntry(entry);
  markRow(row, entry);
  return row;
}

/// Shows whether a row is the selected one.
function markRow(row, entry) {
  const selected = entry === state.entry;
  row.classList.toggle('selected', selected);
  row.tabIndex = selected ? 0 : -1;
  if (selected) row.setAttribute('aria-current', 'true');
  else row.removeAttribute('aria-current');
}

/// Marks the selected frame's row and brings it into view; returns it, or null.
function bringRowToView() {
  for (const [entry, row] of table.list.elements) markRow(row, entry);
  return table.list.bring(table.list.items.indexOf(state.entry), tableScroller(), $('frames').tHead.getBoundingClientRect().height);
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
    (table.list.elements.get(state.entry) || tableScroller()).focus({preventScroll: true});
  } else {
    table.list = null;
    $('frames').replaceChildren();
    $('strip').focus();
    fitCells();
    bringToView();
  }
  writeAddress();
}

/// Selects the row that lies `by` rows below.
function stepTable(by) {
  const entries = table.list.items;
  if (!entries.length) return;
  select(entries[Math.min(entries.length - 1, Math.max(0, entries.indexOf(state.entry) + by))]);
  bringRowToView()?.focus({preventScroll: true});
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
