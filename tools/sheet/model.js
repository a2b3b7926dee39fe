'use strict';
// What the page shows, as the tool wrote it, and how it is read.
//
// Element "data" holds one JSON document:
//
//   tree, against   what was named on the command line; against is null without a second tree
//   onlyOther       number of frames that only the second tree has; they are not here
//   every           N: only every Nth frame of a task is here
//   scene           names of the scene record's fields
//   plots           [{name, label, unit}]: what is plotted, in order; unit "ns", "gain", "EV" or ""
//   tasks           [{pipe, task, path, recorded, frames, rows: [ROW...]}]
//   tags            [{name, id, pipe, camera, kind, fields: [name...]}]; rows refer to it by index
//   findings        [{other, at, frame, rule, severity, path, expected, found, reason, hint}]; `other` says
//                   that it is the second tree's; `at` is an index into tasks (of the second tree's: the
//                   task that stands beside it), null for the tree; `frame` is null for the task
//
// A ROW is one frame, as an array, for a thousand of them stand here:
//
//   [frame, request, sof, name, time, camera, width, height, files, bytes,
//    [value of each plot, or null],
//    [parameter...]     [tag, size, crc, content], or the number of a tag alone: as in the row before;
//                       content is one value a field, or hex text of the first bytes without fields;
//                       a field of many numbers is [count, first numbers...]
//    [scene value...],  null without a record, 0 as in the row before
//    [lowest, highest, mean, share at 0, share at 255, lacking] of the luma of some rows, evenly
//                       spread, as far as the file has them; it lacks so many bytes of the picture;
//                       null without an image, a text that says why where it cannot be shown
//    other]             with a second tree: null, or [ROW of its frame, DIFFERENCES]
//
// DIFFERENCES are what `tyksim diff` says of the two frames, in its words, an array for each thing that
// differs: [what, how, planes, values, more]. `planes` is null, or of an image's y, u and v [psnr,
// largest, mean, pixels], psnr null where they are equal, or null where nothing was compared. `values`
// are [name, A's, B's]; there are `more` of them.
//
// Element "pictures" holds a line for each row and, with a second tree, a line more for its other
// frame: "THUMBNAIL LARGE HISTOGRAM" in Base64, "-" for what is not there. The histogram has 128 bytes,
// square roots of the counts in relation to the largest. Nothing is decoded before it comes into view.

const SEVERITIES = ['error', 'warning', 'note'];

/// Text as it is shown: what would move a cursor, hide or turn the text round is escaped.
function shown(text) {
  return String(text).replace(/[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]/g,
      c => c === '\n' ? '\\n' : c === '\t' ? '\\t'
          : '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));
}

/// The lines of the pictures' block, found once and cut out when asked for.
class Pictures {
  constructor(text) {
    this.text = text;
    this.starts = [0];
    for (let at = text.indexOf('\n'); at >= 0; at = text.indexOf('\n', at + 1)) this.starts.push(at + 1);
  }

  pieces(line) {
    const end = line + 1 < this.starts.length ? this.starts[line + 1] - 1 : this.text.length;
    return line < this.starts.length ? this.text.slice(this.starts[line], end).split(' ') : [];
  }

  /// The address of a picture (1 the large one where there is one, else the thumbnail), or ''.
  address(line, which) {
    const pieces = this.pieces(line).map(piece => piece === '-' ? '' : piece);
    const piece = pieces[which] || pieces[0];
    return piece ? 'data:image/jpeg;base64,' + piece : '';
  }

  histogram(line) {
    const roots = this.pieces(line)[2];
    return roots && roots !== '-' ? Array.from(atob(roots), c => (c.charCodeAt(0) / 255) ** 2) : null;
  }
}

/// Rows as objects. A parameter or record that is as before is the same object as before.
class Rows {
  constructor(data) {
    this.tags = data.tags;
    this.parameters = new Map();
    this.scene = null;
  }

  frame(row, line) {
    const [frame, request, sof, name, time, camera, width, height, files, bytes] = row;
    const parameters = new Map();
    for (const entry of row[11] || []) {
      if (typeof entry === 'number') {
        parameters.set(entry, this.parameters.get(entry));
      } else {
        const [tag, size, crc, content] = entry;
        parameters.set(tag, {size, crc, content});
      }
    }
    this.parameters = parameters;
    if (row[12] !== 0) this.scene = row[12];
    return {frame, request, sof, name, time, camera, width, height, files, bytes, line,
      plots: row[10], parameters, scene: this.scene,
      luma: Array.isArray(row[13]) ? row[13] : null, problem: typeof row[13] === 'string' ? row[13] : 'no picture', findings: [], other: null};
  }
}

/// The document, with frames as objects: tasks[].frames.
function readDocument(data) {
  let line = 0;
  for (const task of data.tasks) {
    task.count = task.frames;
    const mine = new Rows(data);
    const theirs = new Rows(data);
    task.findings = [];
    task.frames = task.rows.map(row => {
      const frame = mine.frame(row, line++);
      if (!data.against) return frame;
      const otherLine = line++;
      if (row[14]) {
        frame.other = theirs.frame(row[14][0], otherLine);
        frame.other.differences = row[14][1];
      }
      return frame;
    });
    task.byNumber = new Map(task.frames.map(frame => [frame.frame, frame]));
    task.byOther = new Map(task.frames.filter(frame => frame.other).map(frame => [frame.other.frame, frame]));
    task.frames.forEach((frame, index) => { frame.index = index; });
    delete task.rows;
  }
  data.general = [];
  for (const finding of data.findings) {
    const task = data.tasks[finding.at];
    const frame = task && (finding.other ? task.byOther : task.byNumber).get(finding.frame);
    (frame ? frame.findings : task ? task.findings : data.general).push(finding);
  }
  return data;
}

const number = value => typeof value === 'number' ? value
    : typeof value === 'string' && value.trim() !== '' ? Number(value) : NaN;

const rounded = (value, digits) => Number(value.toPrecision(digits)).toString();

/// A value with the unit that people use.
function withUnit(value, unit) {
  if (value === null || value === undefined) return '–';
  const n = number(value);
  if (Number.isNaN(n)) return shown(value);
  if (unit === 'ns') {
    if (n <= 0) return n + ' s';
    const s = n / 1e9;
    return s >= 0.3 ? rounded(s, 3) + ' s' : `1/${s < 0.1 ? Math.round(1 / s) : rounded(1 / s, 2)} s`;
  }
  if (unit === 'gain') return (n / 1024).toFixed(n < 102400 ? 2 : 0) + ' ×';
  if (unit === 'EV') return (n > 0 ? '+' : n < 0 ? '−' : '') + Math.abs(n).toFixed(2) + ' EV';
  return shown(value);
}

function withBytes(bytes) {
  if (bytes < 1000) return bytes + ' B';
  return bytes < 1e6 ? (bytes / 1e3).toFixed(1) + ' kB' : (bytes / 1e6).toFixed(2) + ' MB';
}

/// The values of a frame, one row each: {key, tag, name, value, same, plot}. `before` is the frame to
/// compare with, or null; `plot` gives the number of any frame.
function parameterRows(data, frame, before) {
  const rows = [];
  for (const [index, value] of frame.parameters) {
    const tag = data.tags[index];
    const old = before && before.parameters.get(index);
    const same = !before || (old && old.crc === value.crc && old.size === value.size);
    rows.push({key: 't' + index, head: true, name: tag.name, value: withBytes(value.size),
      raw: value.size, same, note: `${tag.kind} · id ${tag.id ?? '–'} · type ${tag.pipe} · cam ${tag.camera} · ${/^[0-9a-f]{8}$/.test(value.crc) ? 'crc ' : ''}${value.crc}`});
    if (!tag.fields.length) {
      if (value.content) rows.push({key: 't' + index + 'x', name: '', value: value.content, same, hex: true});
      continue;
    }
    tag.fields.forEach((name, i) => {
      const now = value.content?.[i];
      rows.push({key: 't' + index + '.' + i, name, of: tag.name, value: listed(now), raw: now,
        same: same || (old && JSON.stringify(now) === JSON.stringify(old.content?.[i]) && !cut(now)),
        plot: Number.isNaN(number(now)) ? null : f => f.parameters.get(index)?.content?.[i]});
    });
  }
  return rows;
}

const cut = value => Array.isArray(value) && value[0] > value.length - 1;

function listed(value) {
  if (value === null || value === undefined) return '–';
  if (!Array.isArray(value)) return shown(value);
  return value.slice(1).map(shown).join(' ') + (cut(value) ? ` … (${value[0]})` : '');
}

function sceneUnit(name) {
  return {exp_time: 'ns', total_gain: 'gain', cur_ev: 'EV', ev0: 'EV', ev1: 'EV', ev2: 'EV'}[name] || '';
}

function sceneRows(data, frame, before) {
  if (!frame.scene) return [];
  return data.scene.map((path, i) => {
    const value = frame.scene[i];
    const leaf = path.slice(path.lastIndexOf('/') + 1);
    const unit = sceneUnit(leaf);
    return {key: 's' + i, name: leaf, of: path, raw: value, value: shown(value),
      unit: unit && withUnit(value, unit),
      same: !before || (before.scene !== null && before.scene[i] === value), plot: f => f.scene?.[i], kind: unit};
  });
}

/// The sense of a filter's text: a function of a frame.
function filterOf(data, text) {
  const tests = text.toLowerCase().split(/\s+/).filter(Boolean).map(term => {
    const comparison = /^([^<>=]+)(<=|>=|<|>|=)(-?[\d.]+(?:e-?\d+)?)$/.exec(term);
    const value = comparison && valueNamed(data, comparison[1]);
    if (/^\d+$/.test(term)) return frame => [frame.frame, frame.request, frame.sof].includes(Number(term));
    if (!value) return frame => haystack(data, frame).includes(term);
    const limit = Number(comparison[3]);
    const holds = {'<': n => n < limit, '>': n => n > limit, '<=': n => n <= limit,
      '>=': n => n >= limit, '=': n => n === limit}[comparison[2]];
    return frame => holds(number(value(frame)));
  });
  return frame => tests.every(test => test(frame));
}

function haystack(data, frame) {
  frame.haystack ??= [`frame ${frame.frame}`, `request ${frame.request}`, `sof ${frame.sof}`,
    `cam ${frame.camera}`, `${frame.width}x${frame.height}`, frame.name,
    ...frame.findings.flatMap(f => [f.rule, f.severity, f.path, f.expected, f.found, f.reason, f.hint]),
    ...[...frame.parameters.keys()].map(tag => data.tags[tag].name)].join('\n').toLowerCase();
  return frame.haystack;
}

/// How to read a value by its name (in lower case) from a frame: a frame's number, a plotted value, a
/// scene field or TAG.field; null when there is none of that name.
function valueNamed(data, name) {
  if (['frame', 'request', 'sof', 'bytes', 'files'].includes(name)) return frame => frame[name];
  const plot = data.plots.findIndex(p => p.name.toLowerCase() === name);
  if (plot >= 0) return frame => frame.plots[plot];
  const scene = data.scene.findIndex(path => ('/' + path.toLowerCase()).endsWith('/' + name));
  if (scene >= 0) return frame => frame.scene?.[scene];
  for (const [index, tag] of data.tags.entries()) {
    const field = tag.fields.findIndex(f => (tag.name + '.' + f).toLowerCase() === name);
    if (field >= 0) return frame => frame.parameters.get(index)?.content?.[field];
  }
  return null;
}
