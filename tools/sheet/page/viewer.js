// The picture of the selected frame: one image, two side by side or under a slider, or their difference. Both
// images have the same zoom and place.

const MODES = [['a', 'A'], ['b', 'B'], ['two', 'two'], ['split', 'slider'], ['difference', 'difference']];
const view = {mode: 'a', zoom: 0, x: 0, y: 0, full: false, clip: false, split: 0.5, gain: 0, signed: true, plane: 0,
  held: false, blink: 0, a: null, b: null, drawn: new Map(), painted: 0, panes: []};

/// Has the width and height of the image in A, or in B if A has none.
const imageSize = () => view.a || view.b;
const bothThere = () => Boolean(view.a && view.b);
const sameSize = () => bothThere() && view.a.width === view.b.width && view.a.height === view.b.height;

/// The mode, or the nearest one that the frame's images allow.
function modeNow() {
  if (!bothThere()) return view.a ? 'a' : 'b';
  if (view.held) return view.mode === 'b' ? 'a' : 'b';
  return ['split', 'difference'].includes(view.mode) && !sameSize() ? 'two' : view.mode;
}

/// Shows the images of the selected entry. The images before stay until these are decoded.
function showImages() {
  const entry = state.entry;
  const [a, b] = [rasterOf(entry?.a), rasterOf(entry?.b)];
  const done = () => {
    if (state.entry !== entry) return;
    Object.assign(view, {a, b, drawn: new Map()});
    view.panes = imageSize() ? panesOf($('screen').width, $('screen').height) : [];
    showModes();
    paint();
  };
  Promise.all([a?.load(), b?.load()]).then(done);
}

// ---- Drawing

/// Returns what makeIt() made for the key; it is made once for the images in view.
function drawnOnce(key, makeIt) {
  if (!view.drawn.has(key)) view.drawn.set(key, makeIt());
  return view.drawn.get(key);
}

const pyramidOf = image => new Pyramid(canvasOf(image.width, image.height, image));

/// The layers of one image: the reduced picture, and the window above it, each with its clipped samples.
function imageLayers(raster) {
  const whole = {x: 0, y: 0, width: raster.width, height: raster.height};
  const layers = [];
  const side = raster === view.a ? 'a' : 'b';
  for (const [kind, picture, planes, area] of [['reduced', raster.picture, () => raster.reduced, whole],
    ['window', raster.drawnWindow, () => raster.window, raster.area]]) {
    if (!picture) continue;
    layers.push({picture, ...area});
    if (view.clip) layers.push({picture: drawnOnce(`clip ${kind} ${side}`, () => pyramidOf(clippingPicture(planes()))), ...area});
  }
  return layers;
}

/// The settings of the difference. `gain` is the user's or the usual one; `usual` has the reason of the latter.
function differenceStyle() {
  const pair = drawnOnce('pair', () => comparable(view.a, view.b));
  const usual = drawnOnce(`usual${view.plane}${view.signed}`, () => usualGain(pair || {}, view.plane, view.signed));
  return {pair, plane: view.plane, signed: view.signed, gain: view.gain || usual.gain, usual};
}

function differenceLayers() {
  const style = differenceStyle();
  const key = `${style.plane}/${style.gain}/${style.signed}`;
  const layers = [];
  for (const [kind, area] of [['reduced', {x: 0, y: 0, width: view.a.width, height: view.a.height}], ['exact', view.a.area]]) {
    const planes = style.pair?.[kind];
    if (planes) layers.push({picture: drawnOnce(kind + key, () => pyramidOf(differencePicture(...planes, style))), ...area});
  }
  return layers;
}

/// Puts the second side's name beside its picture.
function placeOtherSide() {
  const {style} = $('otherSide');
  const pane = view.panes[1];
  const [left, top] = pane ? [pane.left, pane.top].map(at => at / devicePixelRatio + 4 + 'px') : ['auto', '4px'];
  Object.assign(style, {left, top, right: pane ? 'auto' : '4px'});
}

/// The panes of the mode: their place in the canvas, and `shows`.
function panesOf(width, height) {
  const mode = modeNow();
  const whole = {left: 0, top: 0, width, height};
  if (mode !== 'two') return [{...whole, shows: mode}];
  if (width >= height * 0.9 || !view.full) {
    const half = Math.max(1, Math.floor((width - 2) / 2));
    return [{...whole, width: half, shows: 'a'}, {...whole, left: width - half, width: half, shows: 'b'}];
  }
  const half = Math.max(1, Math.floor((height - 2) / 2));
  return [{...whole, height: half, shows: 'a'}, {...whole, top: height - half, height: half, shows: 'b'}];
}

function fitZoom(pane) {
  const size = imageSize();
  return Math.min(pane.width / size.width, pane.height / size.height);
}

/// The number of screen pixels per pixel of the image.
const zoomOf = pane => view.zoom || fitZoom(pane);

/// The place of the image's pixel 0, 0 in the canvas. An image that is smaller than the pane is centred.
function originOf(pane) {
  const zoom = zoomOf(pane);
  const size = imageSize();
  const along = (length, place, from, image) => {
    if (image * zoom <= length) return from + (length - image * zoom) / 2;
    return from + Math.min(0, Math.max(length - image * zoom, length / 2 - place * zoom));
  };
  return {x: along(pane.width, view.x, pane.left, size.width), y: along(pane.height, view.y, pane.top, size.height), zoom};
}

function paint() {
  cancelAnimationFrame(view.painted);
  view.painted = requestAnimationFrame(paintNow);
}

function paintNow() {
  const canvas = $('screen');
  const context = canvas.getContext('2d');
  context.setTransform(1, 0, 0, 1, 0, 0);
  context.clearRect(0, 0, canvas.width, canvas.height);
  showState();
  view.panes = [];
  if (!imageSize() || !canvas.width || !canvas.height) return;
  view.panes = panesOf(canvas.width, canvas.height);
  placeOtherSide();
  for (const pane of view.panes) paintPane(context, pane);
  if (modeNow() === 'split') paintSlider(context, view.panes[0]);
  if (isLarger()) paintMap(context, view.panes[view.panes.length - 1]);
}

function clipTo(context, left, top, width, height) {
  context.beginPath();
  context.rect(left, top, width, height);
  context.clip();
}

function paintPane(context, pane) {
  context.save();
  clipTo(context, pane.left, pane.top, pane.width, pane.height);
  const origin = originOf(pane);
  if (pane.shows === 'split') {
    const at = pane.left + view.split * pane.width;
    paintImage(context, origin, pane, view.a, imageLayers(view.a));
    context.clearRect(at, pane.top, pane.left + pane.width - at, pane.height);
    clipTo(context, at, pane.top, pane.left + pane.width - at, pane.height);
    paintImage(context, origin, pane, view.b, imageLayers(view.b));
  } else if (pane.shows === 'difference') {
    paintImage(context, origin, pane, view.a, differenceLayers());
    paintHatch(context, origin, view.b);
  } else {
    const raster = view[pane.shows];
    paintImage(context, origin, pane, raster, imageLayers(raster));
  }
  paintMarks(context, origin);
  context.restore();
}

function paintImage(context, {x, y, zoom}, pane, raster, layers) {
  // At 1:1 and above, each pixel of the image is a square.
  context.imageSmoothingEnabled = zoom < 1;
  const inside = {left: pane.left, top: pane.top, right: pane.left + pane.width, bottom: pane.top + pane.height};
  for (const layer of layers) {
    layer.picture.draw(context, {x: x + layer.x * zoom, y: y + layer.y * zoom, width: layer.width * zoom, height: layer.height * zoom}, inside);
  }
  paintHatch(context, {x, y, zoom}, raster);
}

function hatch(context, dense) {
  const key = dense ? 'dense' : 'sparse';
  hatch[key] ??= (() => {
    const tile = canvasOf(12, 12);
    const pen = tile.getContext('2d');
    if (dense) {
      pen.fillStyle = '#8a8a8a';
      pen.fillRect(0, 0, 12, 12);
    }
    pen.strokeStyle = dense ? '#3a3a3a' : '#8a8a8a';
    pen.lineWidth = dense ? 3 : 1.5;
    for (const from of [-12, 0, 12]) {
      pen.moveTo(from, 12);
      pen.lineTo(from + 12, 0);
    }
    pen.stroke();
    return tile;
  })();
  return context.createPattern(hatch[key], 'repeat');
}

/// Hatches the rows that the file lacks: densely without luma, with thin lines without chroma.
function paintHatch(context, {x, y, zoom}, raster) {
  const held = raster.frame.image?.held;
  if (!held) return;
  const fill = (from, rows, dense) => {
    if (from >= rows) return;
    context.fillStyle = hatch(context, dense);
    context.fillRect(x, y + from * zoom, raster.width * zoom, (rows - from) * zoom);
  };
  const chromaWidth = (raster.width + 1) >> 1;
  const whole = Math.floor(held[0] / raster.width);
  const coloured = Math.min(whole, 2 * Math.floor(Math.min(held[1], held[2]) / chromaWidth));
  // A dump of an image with odd sides lacks its last chroma samples, which is not damage.
  if (raster.frame.image.lacking) fill(coloured, whole, false);
  fill(whole, raster.height, true);
}

/// Draws the window's edge, the rectangle and the cursor.
function paintMarks(context, {x, y, zoom}) {
  const frame = (area, colour, dash) => {
    context.setLineDash(dash);
    for (const [width, style] of [[3, '#000000'], [1, colour]]) {
      context.lineWidth = width;
      context.strokeStyle = style;
      context.strokeRect(x + area.x * zoom - 1, y + area.y * zoom - 1, area.width * zoom + 2, area.height * zoom + 2);
    }
    context.setLineDash([]);
  };
  const area = (view.a || view.b).area;
  if (area && (area.width < imageSize().width || area.height < imageSize().height)) frame(area, '#c8c8c8', [4, 4]);
  if (pointer.box) frame(pointer.box, '#ffffff', []);
  if (pointer.at && pointer.byKeys) frame({x: pointer.at[0], y: pointer.at[1], width: 1, height: 1}, '#ffffff', []);
}

function paintSlider(context, pane) {
  const at = pane.left + view.split * pane.width;
  for (const [width, style] of [[5, '#000000'], [2, '#ffffff']]) {
    context.fillStyle = style;
    context.fillRect(at - width / 2, pane.top, width, pane.height);
    context.beginPath();
    context.arc(at, pane.top + pane.height / 2, 6 + width, 0, 7);
    context.fill();
  }
}

/// The place of the map in the corner of a pane.
function mapOf(pane) {
  const size = imageSize();
  const most = Math.min(180 * devicePixelRatio, pane.width / 4, pane.height / 3);
  const scale = Math.min(most / size.width, most / size.height);
  const [width, height] = [size.width * scale, size.height * scale];
  return {left: pane.left + pane.width - width - 8, top: pane.top + pane.height - height - 8, width, height, scale};
}

function paintMap(context, pane) {
  const map = mapOf(pane);
  const raster = modeNow() === 'b' ? view.b : view.a || view.b;
  const origin = originOf(pane);
  context.fillStyle = '#404040';
  context.fillRect(map.left - 2, map.top - 2, map.width + 4, map.height + 4);
  context.imageSmoothingEnabled = true;
  context.save();
  clipTo(context, map.left, map.top, map.width, map.height);
  raster.picture?.draw(context, {x: map.left, y: map.top, width: map.width, height: map.height},
    {left: map.left, top: map.top, right: map.left + map.width, bottom: map.top + map.height});
  const scale = map.scale / origin.zoom;
  for (const [width, style] of [[3, '#000000'], [1.5, '#ffffff']]) {
    context.lineWidth = width;
    context.strokeStyle = style;
    context.strokeRect(map.left + (pane.left - origin.x) * scale, map.top + (pane.top - origin.y) * scale,
      pane.width * scale, pane.height * scale);
  }
  context.restore();
}

/// Whether a part of the image lies outside its pane.
function isLarger() {
  const pane = view.panes[0];
  return Boolean(pane && imageSize()) && zoomOf(pane) > fitZoom(pane) * 1.001;
}

// ---- Actions

/// Zooms around a place of the canvas, by default around the middle of the pane: the image's pixel there stays.
/// Zoom 0 fits the image into the pane.
function zoomTo(zoom, place) {
  const pane = place?.pane || view.panes[0];
  if (!pane) return;
  const fit = fitZoom(pane);
  const next = Math.min(64, zoom);
  const origin = originOf(pane);
  const at = place ? [place.x, place.y] : [pane.left + pane.width / 2, pane.top + pane.height / 2];
  const pixel = [(at[0] - origin.x) / origin.zoom, (at[1] - origin.y) / origin.zoom];
  // An image that is smaller than the pane is never shown below 1:1.
  if (!zoom) view.zoom = 0;
  else if (fit > 1) view.zoom = Math.max(1, next);
  else view.zoom = next <= fit * 1.001 && next !== 1 ? 0 : next;
  const now = zoomOf(pane);
  view.x = pixel[0] + (pane.left + pane.width / 2 - at[0]) / now;
  view.y = pixel[1] + (pane.top + pane.height / 2 - at[1]) / now;
  keepInside(pane);
  paint();
  writeAddress();
}

function keepInside(pane) {
  const zoom = zoomOf(pane);
  const size = imageSize();
  const inside = (value, length, image) => {
    const half = Math.min(image / 2, length / zoom / 2);
    return Math.min(image - half, Math.max(half, value));
  };
  view.x = inside(view.x, pane.width, size.width);
  view.y = inside(view.y, pane.height, size.height);
}

function zoomBy(factor, place) {
  const pane = place?.pane || view.panes[0];
  if (pane) zoomTo(zoomOf(pane) * factor, place);
}

/// Moves the picture by pixels of the screen.
function moveBy(x, y) {
  const pane = view.panes[0];
  if (!pane) return;
  view.x += x / zoomOf(pane);
  view.y += y / zoomOf(pane);
  keepInside(pane);
  paint();
  writeAddress(true);
}

/// Goes to the part without loss, at 1:1 or larger.
function goToWindow() {
  const area = (view.a || view.b)?.area;
  if (!area) return say('This frame has no part without loss.');
  view.x = area.x + area.width / 2;
  view.y = area.y + area.height / 2;
  const pane = view.panes[0];
  view.zoom = Math.max(1, Math.floor(Math.min(pane.width / area.width, pane.height / area.height)));
  paint();
  writeAddress();
}

function setMode(mode) {
  stopBlink();
  view.mode = mode;
  showModes();
  paint();
  writeAddress();
}

function toggleMode(mode) {
  setMode(view.mode === mode ? 'a' : mode);
}

function stopBlink() {
  clearInterval(view.blink);
  view.blink = 0;
  view.held = false;
}

/// Shows the other picture while the key is held.
function holdOther(held) {
  if (view.held === held || view.blink) return;
  view.held = held;
  showModes();
  paint();
}

/// Starts or ends blinking. Two changes a second are slow enough for photosensitive users; if the user prefers
/// reduced motion, each click changes the picture.
function toggleBlink() {
  if (matchMedia('(prefers-reduced-motion: reduce)').matches) return setMode(view.mode === 'b' ? 'a' : 'b');
  if (view.blink) {
    stopBlink();
  } else {
    view.blink = setInterval(() => {
      view.held = !view.held;
      showModes();
      paint();
    }, 500);
  }
  showModes();
  paint();
}

function setFull(full) {
  if (view.full === full || (full && !state.entry)) return;
  if (full && $('detail').hidden) openDetail();
  view.full = full;
  $('look').classList.toggle('full', full);
  showLookLane();
  coverFrames();
  (full ? $('screen') : $('strip')).focus({preventScroll: true});
  resizeScreen();
  writeAddress();
}

// ---- The controls

const pressed = (id, on) => $(id).setAttribute('aria-pressed', on);

function makeControls() {
  $('modes').append(...MODES.map(([id, label]) => button(label, () => setMode(id), {id: 'mode-' + id})),
    button('blink', toggleBlink, {id: 'blink', title: 'show A and B in turn; hold b to see the other one'}));
  $('zooms').append(button('−', () => zoomBy(1 / 1.5), {'aria-label': 'Zoom out'}), button('+', () => zoomBy(1.5), {'aria-label': 'Zoom in'}),
    button('1:1', () => zoomTo(1), {id: 'one'}), button('fit', () => zoomTo(0), {id: 'fit'}),
    button('exact', goToWindow, {id: 'toWindow', title: 'go to the part without loss'}),
    button('clipping', toggleClipping, {id: 'clipping'}), button('rectangle', toggleTool, {id: 'tool'}),
    button('full window', () => setFull(!view.full), {id: 'full'}));
  $('gain').append(...[0, ...GAINS].map(gain => make('option', {value: gain, textContent: gain ? '× ' + gain : 'gain: automatic'})));
  $('plane').append(...[[0, 'Y'], [1, 'U'], [2, 'V'], [-1, 'all']].map(([value, textContent]) => make('option', {value, textContent})));
  $('gain').onchange = () => setDifference({gain: Number($('gain').value)});
  $('plane').onchange = () => setDifference({plane: Number($('plane').value)});
  $('signed').onclick = () => setDifference({signed: !view.signed});
  $('place').oninput = () => setSplit($('place').value / 1000);
  makePointer();
  new ResizeObserver(resizeScreen).observe($('view'));
}

function setDifference(change) {
  Object.assign(view, change);
  showModes();
  paint();
  writeAddress();
}

function setSplit(split) {
  view.split = Math.min(1, Math.max(0, split));
  showModes();
  paint();
  writeAddress(true);
}

function toggleClipping() {
  view.clip = !view.clip;
  showModes();
  paint();
  writeAddress();
}

/// Sets the state of the controls.
function showModes() {
  const mode = modeNow();
  $('modes').hidden = !bothThere();
  for (const [id] of MODES) pressed('mode-' + id, view.blink ? false : mode === id);
  $('mode-split').disabled = $('mode-difference').disabled = !sameSize();
  pressed('blink', Boolean(view.blink));
  pressed('clipping', view.clip);
  pressed('full', view.full);
  pressed('tool', pointer.tool);
  pressed('signed', view.signed);
  $('place').hidden = mode !== 'split';
  $('place').value = Math.round(view.split * 1000);
  $('difference').hidden = mode !== 'difference';
  $('gain').value = view.gain;
  $('plane').value = view.plane;
  $('toWindow').disabled = !(view.a || view.b)?.area;
}

/// Sets the text around the picture: sides, size, zoom, the legends of difference and clipping.
function showState() {
  const mode = modeNow();
  const raster = mode === 'b' ? view.b : view.a || view.b;
  $('nothing').hidden = Boolean(raster && (raster.picture || raster.window));
  $('nothing').textContent = !raster ? (state.entry ? shown(state.entry.main.problem || 'no image') : '')
    : raster.failed || 'the page has no picture of this frame';
  const [side, other] = data.against === null || !raster ? ['', ''] : {two: ['A', 'B'], split: ['A', 'B'], difference: ['B − A', '']}[mode] || [mode.toUpperCase(), ''];
  $('side').textContent = side;
  $('otherSide').textContent = other;
  $('screen').setAttribute('aria-label', `Picture of frame ${state.entry?.label ?? ''}${data.against === null ? '' : ', ' + mode}`);
  const words = [];
  if (raster?.picture) {
    const pane = panesOf($('screen').width, $('screen').height)[0];
    const zoom = zoomOf(pane);
    words.push(`${raster.width} × ${raster.height}`, zoom >= 1 ? `${rounded(zoom, 3)} : 1` : `1 : ${rounded(1 / zoom, 3)}`,
      raster.picture.width < raster.width ? `reduced to ${raster.picture.width} × ${raster.picture.height}` : 'packed as JPEG');
    const area = raster.area;
    if (area) words.push(area.width === raster.width && area.height === raster.height ? 'exact everywhere'
      : `exact in ${area.width} × ${area.height} at ${area.x}, ${area.y}`);
  }
  if (view.clip) words.push('blue: luma 0, red: luma 255');
  $('state').textContent = words.join(' · ');
  $('sizes').hidden = !bothThere() || sameSize();
  $('sizes').textContent = bothThere() && !sameSize() ? `A has ${view.a.width} × ${view.a.height} pixels and B ${view.b.width} × ${view.b.height}: there is no slider and no difference.` : '';
  showLegend(mode);
}

function showLegend(mode) {
  $('legend').hidden = mode !== 'difference';
  if (mode !== 'difference') return;
  const {pair, gain, usual, plane, signed} = differenceStyle();
  const most = Math.floor((signed ? 127 : 255) / gain);
  const what = plane < 0 ? 'the largest of Y, U and V' : PLANES[plane];
  const why = view.gain ? '' : `; 99 % of the pixels differ by at most ${usual.usual}`;
  const area = pair?.exact && view.a.area;
  const noise = !area ? '; JPEG adds differences of its own' : area.width < view.a.width || area.height < view.a.height
    ? '; outside the exact part, JPEG adds differences of its own' : '';
  $('legend').textContent = (signed ? `B − A of ${what}, × ${gain}: black −${most}, grey 0, white +${most}`
    : `|B − A| of ${what}, × ${gain}: black 0, white ${most}`) + why + noise;
}

function resizeScreen() {
  const canvas = $('screen');
  const box = $('view').getBoundingClientRect();
  const [width, height] = [box.width, box.height].map(length => Math.max(1, Math.round(length * devicePixelRatio)));
  if (canvas.width === width && canvas.height === height) return;
  Object.assign(canvas, {width, height});
  paintNow();
}
