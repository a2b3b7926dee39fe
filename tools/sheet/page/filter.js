// The filter. A frame must satisfy all of its words.

const COMPARISONS = {'<': (n, limit) => n < limit, '>': (n, limit) => n > limit, '<=': (n, limit) => n <= limit,
  '>=': (n, limit) => n >= limit, '=': (n, limit) => n === limit, '!=': (n, limit) => n !== limit};

const FLAGS = {differs: entry => entry.differs, same: entry => Boolean(entry.a && entry.b) && !entry.differs,
  'only-here': entry => Boolean(entry.a) && !entry.b, 'only-other': entry => !entry.a};

/// A typed limit in the measure's own unit: a name of its enum, or a number: 1/60 and 20ms are times, 2x is a
/// gain, 5% is a share. Without a unit, a small number is a gain or seconds, except for fields of tags. NaN if
/// it is none of these.
function limitOf(text, {unit, names, stored}) {
  const byName = Object.entries(names || {}).find(([, name]) => name.toLowerCase() === text);
  if (byName) return Number(byName[0]);
  const parts = /^(-?[\d.]+(?:e-?\d+)?)(?:\/([\d.]+))?(ns|us|ms|s|x|×|db|ev|%)?$/.exec(text);
  if (!parts) return NaN;
  const value = Number(parts[1]) / (parts[2] ? Number(parts[2]) : 1);
  const end = parts[3];
  if (end === '%') return unit === SHARE ? value / 100 : value;
  if (unit === '1/1024') return end === 'x' || end === '×' || (!stored && value < 256) ? value * 1024 : value;
  if (unit !== 'ns') return value;
  const scale = {ns: 1, us: 1e3, ms: 1e6, s: 1e9}[end];
  if (scale) return value * scale;
  return parts[2] || (!stored && value < 1000) ? value * 1e9 : value;
}

/// Returns {unknown, test}: the words that the page does not know or that no frame has, and a function that
/// tells whether an entry satisfies the text. A comparison that the page does not understand is not tested.
/// Splits the text into words; a word with spaces stands in quotation marks.
function filterOf(data, entries, text) {
  const unknown = [];
  const tests = [];
  for (const word of text.match(/(?:"[^"]*"|[^\s"])+/g) || []) {
    const term = word.replace(/"/g, '').toLowerCase();
    const test = testOf(data, term);
    if (!test || (test.word && !entries.some(test))) unknown.push(word);
    if (test) tests.push(test);
  }
  return {unknown, test: entry => tests.every(test => test(entry))};
}

function testOf(data, term) {
  if (Object.hasOwn(FLAGS, term)) return FLAGS[term];
  if (/^\d+$/.test(term)) {
    return entry => [entry.a, entry.b].some(frame => frame && [frame.frame, frame.request, frame.sof].includes(Number(term)));
  }
  const parts = /^([^<>=!]+)(<=|>=|!=|<|>|=)(.+)$/.exec(term);
  if (parts) {
    const measure = measureNamed(data, parts[1]);
    if (!measure) return null;
    const limit = limitOf(parts[3], measure);
    if (Number.isNaN(limit)) return measure.stored && parts[2].endsWith('=') ? textTest(measure, parts[2] === '=', parts[3]) : null;
    const holds = COMPARISONS[parts[2]];
    return entry => holds(valueOf(measure, entry), limit);
  }
  const test = entry => haystack(data, entry).includes(term);
  test.word = true;
  return test;
}

/// Compares the texts of a field; a number does not satisfy it.
function textTest(measure, equal, wanted) {
  const test = entry => {
    const value = measure.of(entry.main);
    return typeof value === 'string' && (value.toLowerCase() === wanted) === equal;
  };
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
