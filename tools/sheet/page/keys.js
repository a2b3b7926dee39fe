// The keys and their actions.

const pointing = () => pointer.byKeys && Boolean(imageSize()) && document.activeElement === $('screen');
const inTable = () => !$('table').hidden && $('table').contains(document.activeElement);
const STEP = 80;  // pixels of the screen

/// An arrow key moves the cursor on the picture; without a cursor, a picture that is larger than the full
/// window; else the selection.
function arrow(x, y, event) {
  if (pointing()) return point(x * (event.shiftKey ? 16 : 1), y * (event.shiftKey ? 16 : 1));
  if (view.full && isLarger()) return moveBy(x * STEP, y * STEP);
  if (inTable()) return y ? stepTable(y) : scrollTable(x);
  step(x + y * columnsOf());
}

const columnsOf = () => view.full ? 1 : strip.columns;

const toEnd = by => inTable() ? stepTable(by) : step(by);

function scrollTable(x) {
  tableScroller().scrollLeft += x * STEP;
}

const compare = action => () => {
  if (data.against === null) return say('There is no second tree.');
  openDetail();
  action();
};

const KEYS = [
  ['← → ↑ ↓', 'frame before, next frame, row above, row below; move a zoomed picture in the full window', {
    ArrowLeft: event => arrow(-1, 0, event), ArrowRight: event => arrow(1, 0, event),
    ArrowUp: event => arrow(0, -1, event), ArrowDown: event => arrow(0, 1, event)}],
  [', .', 'frame before, next frame, in every view', {',': () => step(-1), '.': () => step(1)}],
  ['Home End', 'first, last frame', {Home: () => toEnd(-Infinity), End: () => toEnd(Infinity)}],
  ['w W', 'worst frame, next worst frame, by the PSNR of luma', {w: () => stepWorst(0), W: () => stepWorst(1)}],
  ['f', 'next finding', {f: nextFinding}],
  ['z', 'picture in the full window, and back', {z: () => setFull(!view.full)}],
  ['+ − 1 0', 'zoom in, out, 1:1, fit', {'+': () => zoomBy(1.5), '=': () => zoomBy(1.5), '-': () => zoomBy(1 / 1.5), 1: () => zoomTo(1), 0: () => zoomTo(0)}],
  ['e', 'go to the part without loss', {e: goToWindow}],
  ['a', 'A alone, B alone', {a: compare(() => setMode(view.mode === 'a' ? 'b' : 'a'))}],
  ['b', 'hold: the other picture', {b: compare(() => holdOther(true))}],
  ['s', 'two side by side', {s: compare(() => toggleMode('two'))}],
  ['l', 'slider; < and > move it', {l: compare(() => toggleMode('split')), '<': () => setSplit(view.split - 0.02), '>': () => setSplit(view.split + 0.02)}],
  ['d', 'difference B − A', {d: compare(() => toggleMode('difference'))}],
  ['g G', 'more, less gain of the difference', {g: () => stepGain(1), G: () => stepGain(-1)}],
  ['c', 'clipped luma', {c: () => { openDetail(); toggleClipping(); }}],
  ['p', 'cursor on the picture; arrows move it by 1 pixel, with Shift by 16; Enter sets the corners of a rectangle', {p: () => { openDetail(); startPointing(); }}],
  ['t', 'table of all frames', {t: () => toggleTable()}],
  ['o', 'only changed values', {o: () => { $('changed').checked = !$('changed').checked; openDetail(); showValues(); }}],
  ['x', 'plots by time, by frame', {x: toggleTime}],
  ['/', 'filter', {'/': () => {
    if (view.full) setFull(false);
    if (narrow()) closeDetail();
    $('filter').focus();
    $('filter').select();
  }}],
  ['Enter', 'detail of the frame', {Enter: enter}],
  ['Escape', 'back', {Escape: back}],
  ['?', 'these keys', {'?': () => $('keys').showModal()}],
];
const ACTIONS = Object.assign({}, ...KEYS.map(key => key[2]));

function stepGain(by) {
  const at = GAINS.indexOf(differenceStyle().gain) + by;
  setDifference({gain: GAINS[Math.min(GAINS.length - 1, Math.max(0, at))]});
}

function enter(event) {
  if (pointing()) return setCorner();
  const row = event.target.closest?.('tr');
  if (row?.onactivate) return row.onactivate();
  if (inTable()) return openEntry(state.entry);
  openDetail();
  $('frame').focus();
}

/// Leaves one level: blinking, the cursor, the rectangle, the full window, the table, the detail.
function back() {
  if (view.blink) {
    stopBlink();
    showModes();
    paint();
  } else if (pointer.byKeys) stopPointing();
  else if (pointer.box) clearBox();
  else if (view.full) setFull(false);
  else if (!$('table').hidden) toggleTable(false);
  else if ($('detail').contains(document.activeElement) && !narrow()) $('strip').focus();
  else closeDetail();
}

function onKey(event) {
  if (event.ctrlKey || event.altKey || event.metaKey || $('keys').open) return;
  const target = event.target;
  if (target.matches('input:not([type=checkbox], [type=range]), select')) {
    if (event.key === 'Escape' || (event.key === 'Enter' && target === $('filter'))) {
      if (event.key === 'Escape' && target.value && target.type === 'search') { target.value = ''; target.oninput(); }
      else $('strip').focus();
      event.preventDefault();
    }
    return;
  }
  if (target.matches('input[type=range]') && event.key.startsWith('Arrow')) return;
  if (['Enter', ' '].includes(event.key) && target.matches('button, summary, input')) return;
  const action = ACTIONS[event.key];
  if (!action) return;
  event.preventDefault();
  action(event);
}
