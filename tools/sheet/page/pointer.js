// Mouse, fingers and the cursor that keys move over the picture. They tell the values of a pixel and of a
// rectangle.

const pointer = {at: null, byKeys: false, tool: false, box: null, from: null, down: new Map(), drag: null};

/// The place of an event in pixels of the canvas, with the pane around it.
function placeOf(event) {
  const canvas = $('screen');
  const box = canvas.getBoundingClientRect();
  const x = (event.clientX - box.left) * canvas.width / box.width;
  const y = (event.clientY - box.top) * canvas.height / box.height;
  const pane = view.panes.find(p => x >= p.left && x < p.left + p.width && y >= p.top && y < p.top + p.height);
  return {x, y, pane: pane || view.panes[0]};
}

/// The image's pixel at a place. Outside the image it is null, or with `near` the nearest pixel.
function pixelAt(place, near) {
  if (!place.pane || !imageSize()) return null;
  const origin = originOf(place.pane);
  const pixel = [Math.floor((place.x - origin.x) / origin.zoom), Math.floor((place.y - origin.y) / origin.zoom)];
  const size = imageSize();
  if (near) return [Math.min(size.width - 1, Math.max(0, pixel[0])), Math.min(size.height - 1, Math.max(0, pixel[1]))];
  return pixel[0] >= 0 && pixel[1] >= 0 && pixel[0] < size.width && pixel[1] < size.height ? pixel : null;
}

function makePointer() {
  const screen = $('screen');
  screen.onpointerdown = pointerDown;
  screen.onpointermove = pointerMove;
  screen.onpointerup = screen.onpointercancel = pointerUp;
  screen.onpointerleave = () => {
    if (pointer.byKeys || pointer.drag) return;
    pointer.at = null;
    showUnder();
  };
  screen.ondblclick = () => setFull(!view.full);
  screen.addEventListener('wheel', event => {
    if (!view.full && !event.ctrlKey && !view.zoom) return;
    event.preventDefault();
    zoomBy(Math.exp(-event.deltaY * (event.deltaMode ? 0.05 : 0.0015)), placeOf(event));
  }, {passive: false});
}

function pointerDown(event) {
  if (event.button) return;
  const place = placeOf(event);
  if (!place.pane || !imageSize()) return;
  $('screen').setPointerCapture(event.pointerId);
  pointer.down.set(event.pointerId, place);
  if (pointer.down.size === 2) {
    pointer.drag = {kind: 'pinch', apart: apart(), zoom: zoomOf(place.pane)};
  } else {
    pointer.drag = {kind: dragKind(event, place), from: place, pixel: pixelAt(place, true)};
  }
  pointer.byKeys = false;
  dragTo(place);
}

function dragKind(event, place) {
  const map = mapOf(view.panes[view.panes.length - 1]);
  if (isLarger() && place.x >= map.left && place.y >= map.top && place.x < map.left + map.width && place.y < map.top + map.height) return 'map';
  if (event.shiftKey || pointer.tool) return 'box';
  const slider = place.pane.left + view.split * place.pane.width;
  if (modeNow() === 'split' && (!isLarger() || Math.abs(place.x - slider) < 24 * devicePixelRatio)) return 'slider';
  return 'move';
}

function apart() {
  const [a, b] = [...pointer.down.values()];
  return Math.hypot(a.x - b.x, a.y - b.y);
}

function pointerMove(event) {
  const place = placeOf(event);
  if (pointer.down.has(event.pointerId)) pointer.down.set(event.pointerId, place);
  if (pointer.drag) dragTo(place);
  if (pointer.byKeys && !pointer.drag) return;
  pointer.at = pixelAt(place);
  showUnder();
}

function dragTo(place) {
  const drag = pointer.drag;
  if (drag.kind === 'pinch') {
    const [a, b] = [...pointer.down.values()];
    if (a && b) zoomTo(drag.zoom * apart() / Math.max(1, drag.apart), {x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, pane: a.pane});
  } else if (drag.kind === 'slider') {
    setSplit((place.x - place.pane.left) / place.pane.width);
  } else if (drag.kind === 'box') {
    setBox(drag.pixel, pixelAt({...place, pane: drag.from.pane}, true));
  } else if (drag.kind === 'map') {
    const map = mapOf(view.panes[view.panes.length - 1]);
    view.x = (place.x - map.left) / map.scale;
    view.y = (place.y - map.top) / map.scale;
    moveBy(0, 0);
  } else {
    moveBy(drag.from.x - place.x, drag.from.y - place.y);
    drag.from = place;
  }
}

function pointerUp(event) {
  pointer.down.delete(event.pointerId);
  if (pointer.drag?.kind === 'box') showBox();
  if (pointer.drag?.kind === 'pinch' && pointer.down.size) return;
  pointer.drag = null;
}

function toggleTool() {
  pointer.tool = !pointer.tool;
  if (!pointer.tool) clearBox();
  showModes();
}

function clearBox() {
  pointer.box = pointer.from = null;
  showBox();
  paint();
}

/// Sets the rectangle from one pixel to the other, both included.
function setBox(from, to) {
  const [x, y] = [Math.min(from[0], to[0]), Math.min(from[1], to[1])];
  pointer.box = {x, y, width: Math.abs(from[0] - to[0]) + 1, height: Math.abs(from[1] - to[1]) + 1};
  paint();
  showBox();
}

// ---- The cursor that keys move

/// Puts the cursor on the picture. Arrows move it by a pixel, with Shift by 16.
function startPointing() {
  const size = imageSize();
  if (!size) return;
  const middle = view.panes[0] && pixelAt({x: view.panes[0].left + view.panes[0].width / 2, y: view.panes[0].top + view.panes[0].height / 2, pane: view.panes[0]}, true);
  pointer.at ??= middle || [0, 0];
  pointer.byKeys = true;
  $('screen').focus({preventScroll: true});
  paint();
  showUnder();
}

function stopPointing() {
  Object.assign(pointer, {byKeys: false, at: null, from: null});
  paint();
  showUnder();
}

function point(x, y) {
  const size = imageSize();
  pointer.at = [Math.min(size.width - 1, Math.max(0, pointer.at[0] + x)), Math.min(size.height - 1, Math.max(0, pointer.at[1] + y))];
  if (pointer.from) setBox(pointer.from, pointer.at);
  followPoint();
  paint();
  showUnder();
}

/// Scrolls the picture until the cursor is in view.
function followPoint() {
  const pane = view.panes[0];
  const origin = originOf(pane);
  const past = (at, from, length) => at < from ? at - from : at > from + length ? at - from - length : 0;
  const step = [past(origin.x + pointer.at[0] * origin.zoom, pane.left, pane.width - origin.zoom),
    past(origin.y + pointer.at[1] * origin.zoom, pane.top, pane.height - origin.zoom)];
  if (step[0] || step[1]) moveBy(...step);
}

/// The first call sets one corner of the rectangle, the second call the opposite one.
function setCorner() {
  if (pointer.from) pointer.from = null;
  else {
    pointer.from = pointer.at;
    setBox(pointer.at, pointer.at);
  }
}

// ---- Values

const texts = values => values.map((value, i) => `${PLANES[i]} ${value === null || value === undefined ? '–' : value}`).join(' ');
const signedText = value => value === null ? '–' : (value > 0 ? '+' : value < 0 ? '−' : '') + Math.abs(value);

/// Fills the line below the picture: the pixel, the samples of both images, their difference, and whether they
/// are exact. Screen readers announce it while keys move the cursor.
function showUnder() {
  const at = pointer.at;
  $('under').setAttribute('aria-live', pointer.byKeys ? 'polite' : 'off');
  if (!at || !imageSize()) {
    $('under').textContent = '';
    return;
  }
  const sides = [['A', view.a], ['B', view.b]].filter(([, raster]) => raster && at[0] < raster.width && at[1] < raster.height);
  const found = sides.map(([name, raster]) => [name, raster.valueAt(...at)]).filter(([, value]) => value);
  const words = [`x ${at[0]}, y ${at[1]}`];
  for (const [name, {values}] of found) words.push((data.against === null ? '' : name + ' ') + texts(values));
  if (found.length === 2 && sameSize()) {
    const [a, b] = found.map(([, value]) => value.values);
    words.push('difference ' + a.map((value, i) => `${PLANES[i]} ${signedText(value === null || b[i] === null ? null : b[i] - value)}`).join(' '));
  }
  if (found.some(([, {values}]) => values.includes(null))) words.push('– is missing in the file');
  if (found.length) words.push(found.every(([, value]) => value.exact) ? 'exact' : 'reduced');
  $('under').textContent = words.join(' · ');
}

/// Shows mean, standard deviation, least and largest sample of the rectangle, for each plane of each tree.
function showBox() {
  $('box').hidden = !pointer.box;
  if (!pointer.box) return;
  const {x, y, width, height} = pointer.box;
  const rows = [];
  let allExact = true;
  for (const [name, raster] of [['A', view.a], ['B', view.b]]) {
    if (!raster || x + width > raster.width || y + height > raster.height) continue;
    const found = raster.statistics(pointer.box);
    if (!found) continue;
    allExact = allExact && found.exact;
    found.planes.forEach((plane, i) => rows.push([data.against === null ? PLANES[i] : `${name} ${PLANES[i]}`,
      ...(plane ? [plane.mean.toFixed(3), plane.deviation.toFixed(3), plane.least, plane.most, grouped(String(plane.count))] : ['–', '–', '–', '–', '0'])]));
  }
  $('box').replaceChildren(make('table', {}, make('caption', {textContent: `${width} × ${height} at ${x}, ${y} · ${allExact ? 'exact' : 'reduced'}`}),
    make('thead', {}, make('tr', {}, ...['plane', 'mean', 'sigma', 'least', 'largest', 'samples'].map(textContent => make('th', {scope: 'col', textContent})))),
    make('tbody', {}, ...rows.map(([name, ...cells]) => make('tr', {}, make('th', {scope: 'row', textContent: name}),
      ...cells.map(textContent => make('td', {textContent})))))));
}
