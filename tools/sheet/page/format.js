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

/// A value with the unit that people use.
function withUnit(value, unit) {
  if (value === null || value === undefined) return '–';
  const n = number(value);
  if (Number.isNaN(n)) return typeof value === 'number' ? '–' : shown(value);
  if (n === Infinity) return unit === 'dB' ? 'equal' : '∞';
  if (n === -Infinity) return '–∞';
  if (unit === 'ns') {
    if (n <= 0) return n + ' s';
    const s = n / 1e9;
    return s >= 0.3 ? rounded(s, 3) + ' s' : `1/${s < 0.1 ? Math.round(1 / s) : rounded(1 / s, 2)} s`;
  }
  if (unit === 'gain') return grouped((n / 1024).toFixed(n < 102400 ? 2 : 0)) + ' ×';
  if (unit === 'EV') return (n > 0 ? '+' : n < 0 ? '−' : '') + Math.abs(n).toFixed(2) + ' EV';
  if (unit === 'dB') return n.toFixed(2) + ' dB';
  if (unit === '%') return (n * 100).toFixed(n !== 0 && n < 0.001 ? 3 : 1) + ' %';
  if (unit === 'level') return rounded(n, 4);
  return figure(value);
}

/// The step from one value to another: "+12 (+5 %)", without the share if `brief`; "0" for equal values and
/// "" if one is not a number. Steps of exposure and gain are in stops.
function stepText(from, to, unit, brief) {
  const [a, b] = [number(from), number(to)];
  if (!Number.isFinite(a) || !Number.isFinite(b)) return '';
  if (a === b) return '0';
  const step = b - a;
  const sign = step > 0 ? '+' : '−';
  const size = Math.abs(step);
  if ((unit === 'ns' || unit === 'gain') && a > 0 && b > 0) {
    const stops = Math.log2(b / a);
    return `${stops > 0 ? '+' : '−'}${Math.abs(stops).toFixed(2)} stops`;
  }
  if (unit === 'EV' || unit === 'dB' || unit === '%') return sign + withUnit(size, unit).replace(/^[+−]/, '');
  const share = a !== 0 && !brief ? ` (${sign}${rounded(100 * size / Math.abs(a), 2)} %)` : '';
  return sign + figure(Number(size.toPrecision(unit === 'level' ? 3 : 6))) + share;
}

function withBytes(bytes) {
  if (bytes < 1000) return bytes + ' B';
  return bytes < 1e6 ? (bytes / 1e3).toFixed(1) + ' kB' : (bytes / 1e6).toFixed(2) + ' MB';
}

function withTime(milliseconds) {
  if (Number.isNaN(milliseconds)) return '–';
  return milliseconds < 1000 ? Math.round(milliseconds) + ' ms' : rounded(milliseconds / 1000, 4) + ' s';
}
