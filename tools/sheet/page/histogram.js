// Histograms of the three planes. Both trees have the same scale.

/// The share of samples of each value, for each plane; null if the page has no histograms of the frame.
function sharesOf(frame) {
  const roots = frame?.image && pictures.bytes(frame.line, 2);
  if (!roots) return null;
  return [0, 1, 2].map(plane => Array.from(roots.subarray(256 * plane, 256 * plane + 256),
    root => (root / 255) ** 2 * (frame.image.planes[plane].peak || 0)));
}

/// The heights of shares, from 0 to 1: linear, or logarithmic over four decades.
function heights(shares, peak) {
  return shares.map(share => {
    const part = peak > 0 ? Math.min(1, share / peak) : 0;
    return state.logarithmic ? (part > 0 ? Math.max(0, 1 + Math.log10(part) / 4) : 0) : part;
  });
}

function histogramOf(plane, a, b, frames) {
  const peak = Math.max(...frames.map(frame => frame?.image?.planes[plane].peak || 0));
  const line = values => values.map((v, i) => `L${i} ${(1 - v).toFixed(4)}L${i + 1} ${(1 - v).toFixed(4)}`).join('');
  const svg = draw('svg', {viewBox: '0 0 256 1', preserveAspectRatio: 'none', role: 'img',
    'aria-label': `Histogram of ${PLANES[plane]}: ${frames.map((frame, i) => frame?.image?.planes[plane].mean !== undefined ? `${data.against === null ? '' : 'AB'[i] + ' '}mean ${figure(frame.image.planes[plane].mean)}` : '').filter(Boolean).join(', ')}`});
  if (a) svg.append(draw('path', {class: 'mine', d: `M0 1${line(heights(a[plane], peak))}L256 1Z`}));
  if (b) svg.append(draw('path', {class: a ? 'theirs' : 'mine', d: 'M0 1' + line(heights(b[plane], peak)) + 'L256 1'}));
  const clips = frames.map((frame, i) => {
    const {mean, at0, at255} = frame?.image?.planes[plane] || {};
    if (mean === undefined) return '';
    return `${data.against === null ? '' : 'AB'[i] + ': '}mean ${rounded(mean, 4)}, 0: ${withUnit(at0, SHARE)}, 255: ${withUnit(at255, SHARE)}`;
  }).filter(Boolean);
  return make('div', {className: 'plane'}, make('b', {textContent: PLANES[plane]}), svg,
    make('div', {className: 'clips'}, ...clips.map(textContent => make('span', {textContent}))));
}

function showHistogram(entry) {
  const [a, b] = [sharesOf(entry.a), sharesOf(entry.b)];
  $('histogram').hidden = !a && !b;
  if (!a && !b) return;
  const toggle = button('logarithmic', () => {
    state.logarithmic = !state.logarithmic;
    showHistogram(state.entry);
  }, {'aria-pressed': state.logarithmic, 'data-key': 'log'});
  const sampled = data.pictures.sampled ? 'of some rows' : 'of all samples';
  refill($('histogram'), make('figcaption', {}, make('span', {textContent: `histograms ${sampled}${a && b ? ' (area: A, line: B)' : ''}`}), toggle),
    ...[0, 1, 2].map(plane => histogramOf(plane, a, b, [entry.a, entry.b])));
}
