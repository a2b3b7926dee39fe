// The filter. A frame must satisfy all of its words.

const COMPARISONS = {'<': (n, limit) => n < limit, '>': (n, limit) => n > limit, '<=': (n, limit) => n <= limit,
  '>=': (n, limit) => n >= limit, '=': (n, limit) => n === limit, '!=': (n, limit) => n !== limit};

const FLAGS = {differs: entry => entry.differs, same: entry => Boolean(entry.a && entry.b) && !entry.differs,
  'only-here': entry => Boolean(entry.a) && !entry.b, 'only-other': entry => !entry.a};

/// A typed limit in the measure's own unit: 1/60 and 20ms are exposure times, 2 and 2x are gains, 5% is a
/// share. NaN if it is not a number.
function limitOf(text, unit) {
  const parts = /^(-?[\d.]+(?:e-?\d+)?)(?:\/([\d.]+))?(ns|us|ms|s|x|×|db|ev|%)?$/.exec(text);
  if (!parts) return NaN;
  const value = Number(parts[1]) / (parts[2] ? Number(parts[2]) : 1);
  const end = parts[3];
  if (end === '%') return value / 100;
  if (unit === 'gain') return end === 'x' || end === '×' || value < 256 ? value * 1024 : value;
  if (unit !== 'ns') return value;
  const scale = {ns: 1, us: 1e3, ms: 1e6, s: 1e9}[end];
  if (scale) return value * scale;
  return parts[2] || value < 1000 ? value * 1e9 : value;
}

/// Returns {unknown, test}: the words that the page does not know or that no frame has, and a function that
/// tells whether an entry satisfies the text. A comparison that the page does not understand is not tested.
function filterOf(data, entries, text) {
  const unknown = [];
  const tests = [];
  for (const word of text.split(/\s+/).filter(Boolean)) {
    const term = word.toLowerCase();
    const test = testOf(data, term);
    if (!test || (test.word && !entries.some(test))) unknown.push(word);
    if (test) tests.push(test);
  }
  return {unknown, test: entry => tests.every(test => test(entry))};
}

function testOf(data, term) {
  if (FLAGS[term]) return FLAGS[term];
  if (/^\d+$/.test(term)) {
    return entry => [entry.a, entry.b].some(frame => frame && [frame.frame, frame.request, frame.sof].includes(Number(term)));
  }
  const parts = /^([^<>=!]+)(<=|>=|!=|<|>|=)(.+)$/.exec(term);
  if (parts) {
    const measure = measureNamed(data, parts[1]);
    const limit = measure ? limitOf(parts[3], measure.unit) : NaN;
    if (Number.isNaN(limit)) return null;
    const holds = COMPARISONS[parts[2]];
    return entry => holds(valueOf(measure, entry), limit);
  }
  const test = entry => haystack(data, entry).includes(term);
  test.word = true;
  return test;
}

function haystack(data, entry) {
  entry.haystack ??= [entry.a, entry.b].filter(Boolean).flatMap(frame => [`frame ${frame.frame}`, `request ${frame.request}`,
    `sof ${frame.sof}`, `cam ${frame.camera}`, `${frame.width}x${frame.height}`, frame.name, frame.time,
    ...[...frame.parameters.keys()].map(tag => data.tags[tag].name)])
    .concat(entry.findings.flatMap(f => [f.rule, f.severity, f.path, f.expected, f.found, f.reason, f.hint])).join('\n').toLowerCase();
  return entry.haystack;
}
