// Numbers as text, with the units that people use.

const number = value => typeof value === 'number' ? value
  : typeof value === 'string' && value.trim() !== '' ? Number(value) : NaN;

/// Groups the digits before the point by three.
function grouped(text) {
  return text.replace(/^(-?)(\d{4,})/, (_, sign, digits) => sign + digits.replace(/\B(?=(\d{3})+$)/g, ','));
}

/// A number with at most six significant digits. Whole numbers keep all digits.
function figure(value) {
  const n = number(value);
  if (Number.isNaN(n) || !Number.isFinite(n)) return shown(value);
  if (Number.isInteger(n)) return grouped(typeof value === 'string' ? value.trim() : n.toFixed(0));
  const text = n.toPrecision(6);
  return grouped(text.includes('e') ? String(Number(text)) : text.replace(/\.?0+$/, ''));
}

const rounded = (value, digits) => grouped(String(Number(value.toPrecision(digits))));

// Units of the page's own figures. They are not texts, because a tag table may have any text as a unit.
const PSNR = Symbol('dB');
const SHARE = Symbol('share');
const LEVEL = Symbol('level');

/// Nanoseconds in usual units: exposure times as fractions of a second, shorter times in smaller units.
function timeText(n) {
  const s = n / 1e9;
  if (n === 0) return '0 s';
  if (s < 1e-5) return figure(n) + ' ns';
  if (s >= 0.3) return (s < 1000 ? rounded(s, 3) : figure(s)) + ' s';
  return `1/${s < 0.1 ? Math.round(1 / s) : rounded(1 / s, 2)} s`;
}

/// The usual form of numbers of a unit. Numbers of other units are followed by the unit.
const UNITS = new Map([
  ['ns', timeText],
  ['1/1024', n => grouped((n / 1024).toFixed(Math.abs(n) < 102400 ? 2 : 0)) + ' ×'],
  ['EV', n => (n > 0 ? '+' : n < 0 ? '−' : '') + Math.abs(n).toFixed(2) + ' EV'],
  [PSNR, n => n.toFixed(2) + ' dB'],
  [SHARE, n => (n * 100).toFixed(n !== 0 && n < 0.001 ? 3 : 1) + ' %'],
  [LEVEL, n => rounded(n, 4)]]);

/// Units whose usual form has another number than the stored one.
const SCALED = ['ns', '1/1024'];

/// A number of an enum with its name.
const named = (value, names) => names && Object.hasOwn(names, String(value)) ? `${shown(names[value])} (${value})` : '';

/// A value with the unit that people use; `names` are those of its numbers.
function withUnit(value, unit, names) {
  if (value === null || value === undefined) return '–';
  const name = named(value, names);
  if (name) return name;
  const n = number(value);
  if (Number.isNaN(n)) return typeof value === 'number' ? '–' : shown(value);
  if (n === Infinity) return unit === PSNR ? 'equal' : '∞';
  if (n === -Infinity) return '−∞';
  const read = UNITS.get(unit);
  return read ? read(n) : figure(value) + (unit ? ' ' + shown(unit) : '');
}

/// A value of a measure in its usual form.
const reading = (measure, value) => withUnit(value, measure.unit, measure.names);

/// The step from one value to another: "+12 (+5 %)", without the share if `brief`; "0" for equal values and
/// "" if one is not a number. Steps of exposure and gain are in stops.
function stepText(from, to, unit, brief) {
  const [a, b] = [number(from), number(to)];
  if (!Number.isFinite(a) || !Number.isFinite(b)) return '';
  if (a === b) return '0';
  const step = b - a;
  const sign = step > 0 ? '+' : '−';
  const size = Math.abs(step);
  if (SCALED.includes(unit) && a > 0 && b > 0) {
    const stops = Math.log2(b / a);
    return `${stops > 0 ? '+' : '−'}${Math.abs(stops).toFixed(2)} stops`;
  }
  if (['EV', PSNR, SHARE].includes(unit)) return sign + withUnit(size, unit).replace(/^[+−]/, '');
  const share = a !== 0 && !brief ? ` (${sign}${rounded(100 * size / Math.abs(a), 2)} %)` : '';
  return sign + figure(Number(size.toPrecision(unit === LEVEL ? 3 : 6))) + share;
}

function withBytes(bytes) {
  if (bytes < 1000) return bytes + ' B';
  return bytes < 1e6 ? (bytes / 1e3).toFixed(1) + ' kB' : (bytes / 1e6).toFixed(2) + ' MB';
}

function withTime(milliseconds) {
  if (Number.isNaN(milliseconds)) return '–';
  return milliseconds < 1000 ? Math.round(milliseconds) + ' ms' : rounded(milliseconds / 1000, 4) + ' s';
}
