// The data that the tool writes into the page, and its reader.
//
// Element "data" holds one JSON document:
//
//   tree, against   what was named on the command line; against is null without a second tree
//   onlyOther       number of frames that only the second tree has
//   every           N: only every Nth frame of a task is here
//   pictures        {every, sampled, bt709, limited, nv12, stride}: every Nth frame has its pictures;
//                   whether figures are of some rows only; how images are stored
//   scene           names of the scene record's fields
//   plots           [{name, label, unit, names}]: the plotted values, in order; unit is "" if there is none,
//                   names as for fields
//   tasks           [{pipe, task, path, otherPath, recorded, frames, rows: [ENTRY...]}]: `otherPath` is the
//                   second tree's folder, null where there is none
//   tags            [{name, id, pipe, camera, kind, fields: [[name, unit, names, dimensions]...]}]; rows refer
//                   to it by index; names are those of an enum by their numbers, or null
//   findings        [{other, at, frame, rule, severity, path, expected, found, reason, hint}]; `other` is
//                   true for the second tree; `at` is an index into tasks, null for the tree; `frame` is
//                   null for the task
//
// An ENTRY is a ROW; with a second tree it is [ROW, the second tree's ROW, DIFFERENCES], with null for what
// is missing. A ROW is one frame; it is an array without names because a page has thousands of them:
//
//   [frame, request, sof, name, time, camera, width, height, files, bytes,
//    [value of each plot, or null],
//    [parameter...],    [tag, size, crc, content], or the tag's index alone if the parameter equals that of
//                       the row before; content has a value for each field, or the first bytes as
//                       hexadecimal text if the tag has no fields; a field of many numbers is
//                       [count, first numbers...]
//    [scene value...],  null without a record, 0 if all equal those of the row before
//    IMAGE]             null without an image, a text with the reason if it cannot be shown, else
//                       [lacking, [samples of y, u, v], WINDOW, FIGURES of y, of u, of v]: the number of
//                       bytes that the file lacks, and the numbers of samples that it has
//
// WINDOW is null or [x, y, width, height], the part of the image that the page has without loss. FIGURES are
// [least, largest, mean, share at 0, share at 255, peak], or null without samples. The peak is the largest
// share of samples with one value from 1 to 254.
//
// DIFFERENCES are [METRICS, what differs]. METRICS are null if neither frame has an image, else [planes, problem].
// `planes` is null if nothing was compared; else it has [psnr, largest, mean, pixels] for each of y, u and v,
// or null for a plane that was not compared. psnr is null for equal planes. `problem` is the reason why the
// images were not compared as a whole. Each difference is an array in the words of `tyksim diff`: [what, how,
// planes, values, more]. `values` are [name, value in A, value in B, unit]; `more` counts those that are left out.
//
// Element "pictures" holds a line for each row, with a second tree two lines: "THUMBNAIL LARGE
// HISTOGRAMS WINDOW" in Base64, "-" for what is missing. The first two are JPEG files. Histograms are 256
// bytes for each plane, square roots of the shares in relation to the peak. The window is a grey PNG file:
// rows of luma, and below them rows of U in the left half and of V in the right one. The page decodes a
// picture when it comes into view.

/// The lines of the element "pictures". Their starts are found once; a line is cut out on request.
class Pictures {
  constructor(text) {
    this.text = text;
    this.starts = [0];
    for (let at = text.indexOf('\n'); at >= 0; at = text.indexOf('\n', at + 1)) this.starts.push(at + 1);
  }

  pieces(line) {
    const end = line + 1 < this.starts.length ? this.starts[line + 1] - 1 : this.text.length;
    if (line >= this.starts.length) return ['', '', '', ''];
    return this.text.slice(this.starts[line], end).split(' ').map(piece => piece === '-' ? '' : piece);
  }

  /// Whether the line has a picture.
  has(line) {
    return line < this.starts.length && this.text[this.starts[line]] !== '-';
  }

  /// The data URL of a picture, or ''. 0 is the thumbnail; 1 is the large picture, or the thumbnail if the
  /// line has no large one.
  address(line, which) {
    const pieces = this.pieces(line);
    const piece = pieces[which] || pieces[0];
    return piece ? 'data:image/jpeg;base64,' + piece : '';
  }

  /// The bytes of one piece of a line, or null if it is missing.
  bytes(line, which) {
    const piece = this.pieces(line)[which];
    return piece ? Uint8Array.from(atob(piece), c => c.charCodeAt(0)) : null;
  }
}

/// "12:03:04.567" as milliseconds of the day, or NaN.
function clockOf(time) {
  const parts = /^(\d+):(\d+):(\d+)(?:\.(\d+))?/.exec(time);
  return parts ? ((Number(parts[1]) * 60 + Number(parts[2])) * 60 + Number(parts[3])) * 1000
    + Number((parts[4] || '0').padEnd(3, '0').slice(0, 3)) : NaN;
}

const FIGURES = ['least', 'most', 'mean', 'at0', 'at255', 'peak'];

function imageOf(image) {
  if (!Array.isArray(image)) return null;
  const [lacking, held, window, ...planes] = image;
  return {lacking, held, window,
    planes: planes.map(plane => Object.fromEntries((plane || []).map((value, i) => [FIGURES[i], value])))};
}

/// Turns rows into objects. Rows share the object of a parameter or record that did not change.
class Rows {
  constructor() {
    this.parameters = new Map();
    this.scene = null;
  }

  frame(row, line) {
    if (!row) return null;
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
    return {frame, request, sof, name, time, clock: clockOf(time), camera, width, height, files, bytes, line,
      plots: row[10], parameters, scene: this.scene, image: imageOf(row[13]),
      problem: typeof row[13] === 'string' ? row[13] : row[13] ? '' : 'no image'};
  }
}

/// An entry of the page: a frame of A, of B, or of both. `main` is the frame of A, or of B if A has none.
function entryOf(a, b, differences, index) {
  const [metrics, found] = differences || [null, []];
  return {index, a, b, main: a || b, label: a ? String(a.frame) : 'B' + b.frame, findings: [],
    metrics: metrics && {planes: metrics[0], problem: metrics[1]}, differences: found,
    differs: Boolean(a && b && found.length)};
}

/// Returns the document with entries as objects in tasks[].frames, which replace tasks[].rows.
function readDocument(data) {
  for (const tag of data.tags) {
    tag.fields = tag.fields.map(([name, unit, names, dimensions]) => ({name, unit, names, dimensions}));
  }
  let line = 0;
  for (const task of data.tasks) {
    task.count = task.frames;
    const mine = new Rows();
    const theirs = new Rows();
    task.findings = [];
    task.frames = task.rows.map((row, index) => {
      const a = mine.frame(data.against === null ? row : row[0], line++);
      if (data.against === null) return entryOf(a, null, null, index);
      return entryOf(a, theirs.frame(row[1], line++), row[2], index);
    });
    task.byLabel = new Map(task.frames.map(entry => [entry.label, entry]));
    task.byOther = new Map(task.frames.filter(entry => entry.b).map(entry => [entry.b.frame, entry]));
    task.gaps = markTimes(task.frames);
    delete task.rows;
  }
  data.general = [];
  for (const finding of data.findings) {
    const task = data.tasks[finding.at];
    const entry = task && (finding.other ? task.byOther.get(finding.frame) : task.byLabel.get(String(finding.frame)));
    (entry ? entry.findings : task ? task.findings : data.general).push(finding);
  }
  return data;
}

/// Sets of each entry `at`, its time in milliseconds since the first one; `interval` and `sofs`, the distance
/// to the entry before; `lost` and `pause`, non-zero if that distance is unusually large. Returns
/// whether any is.
function markTimes(entries) {
  let before = null;
  let days = 0;
  for (const entry of entries) {
    const frame = entry.main;
    if (before && frame.clock < before.frame.clock - 43200000) days += 86400000;
    entry.at = Number.isNaN(frame.clock) ? NaN : frame.clock + days;
    entry.interval = before ? entry.at - before.at : NaN;
    entry.sofs = before && frame.sof !== null && before.frame.sof !== null ? frame.sof - before.frame.sof : NaN;
    before = {frame, at: entry.at};
  }
  const start = entries.length ? entries[0].at : 0;
  for (const entry of entries) entry.at -= start;
  const usual = name => {
    const all = entries.map(entry => entry[name]).filter(v => v > 0).sort((x, y) => x - y);
    return all.length ? all[Math.floor(all.length / 2)] : Infinity;
  };
  const [interval, sofs] = [usual('interval'), usual('sofs')];
  for (const entry of entries) {
    entry.lost = entry.sofs > sofs ? Math.round(entry.sofs / sofs) - 1 : 0;
    entry.pause = entry.interval > Math.max(1.75 * interval, interval + 10) ? entry.interval : 0;
  }
  return entries.some(entry => entry.lost || entry.pause);
}
