// What the page shows, as the tool wrote it, and how it is read.
//
// Element "data" holds one JSON document:
//
//   tree, against   what was named on the command line; against is null without a second tree
//   onlyOther       number of frames that only the second tree has
//   every           N: only every Nth frame of a task is here
//   pictures        {every, sampled, bt709, limited, nv12, stride}: every Nth frame has its pictures
//                   (0: none has); whether figures are of some rows only; how images are stored
//   scene           names of the scene record's fields
//   plots           [{name, label, unit}]: what is plotted, in order; unit "ns", "gain", "EV" or ""
//   tasks           [{pipe, task, path, otherPath, recorded, frames, rows: [ENTRY...]}]: `otherPath` is the
//                   second tree's folder, null where there is none
//   tags            [{name, id, pipe, camera, kind, fields: [name...]}]; rows refer to it by index
//   findings        [{other, at, frame, rule, severity, path, expected, found, reason, hint}]; `other` says
//                   that it is the second tree's; `at` is an index into tasks, null for the tree; `frame`
//                   is null for the task
//
// An ENTRY is a ROW; with a second tree [ROW, its ROW, DIFFERENCES], null for what is not there. A ROW is
// one frame, as an array, for a thousand of them stand here:
//
//   [frame, request, sof, name, time, camera, width, height, files, bytes,
//    [value of each plot, or null],
//    [parameter...]     [tag, size, crc, content], or the number of a tag alone: as in the row before;
//                       content is one value a field, or hex text of the first bytes without fields;
//                       a field of many numbers is [count, first numbers...]
//    [scene value...],  null without a record, 0 as in the row before
//    IMAGE]             null without an image, a text that says why where it cannot be shown, else
//                       [lacking, [samples of y, u, v], WINDOW, FIGURES of y, of u, of v]: the file lacks
//                       so many bytes of the picture and has so many samples
//
// WINDOW is null or [x, y, width, height], the part of the image that is there without loss. FIGURES are
// [least, largest, mean, share at 0, share at 255, peak], the peak being the largest share of samples with
// one value from 1 to 254; null without any sample.
//
// DIFFERENCES are [METRICS, what differs]. METRICS are null without an image in either frame, else
// [planes, problem]: `planes` null where nothing was compared, else of y, u and v [psnr, largest, mean,
// pixels], psnr null where they are equal, or null; `problem` says why the images were not compared as a
// whole. What differs is said in the words of `tyksim diff`, an array for each thing: [what, how, planes,
// values, more]. `values` are [name, A's, B's]; there are `more` of them.
//
// Element "pictures" holds a line for each row, with a second tree two lines: "THUMBNAIL LARGE
// HISTOGRAMS WINDOW" in Base64, "-" for what is not there. The first two are JPEG files. Histograms are 256
// bytes for each plane, square roots of the shares in relation to the peak. The window is a grey PNG file:
// rows of luma, and below them rows of U in the left half and of V in the right one. Nothing is decoded
// before it comes into view.

/// The lines of the pictures' block, found once and cut out when asked for.
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

  /// Whether there is a picture.
  has(line) {
    return line < this.starts.length && this.text[this.starts[line]] !== '-';
  }

  /// The address of a picture (1 the large one where there is one, else the thumbnail), or ''.
  address(line, which) {
    const pieces = this.pieces(line);
    const piece = pieces[which] || pieces[0];
    return piece ? 'data:image/jpeg;base64,' + piece : '';
  }

  /// The bytes of one of the pieces, null where it is not there.
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

/// Rows as objects. A parameter or record that is as before is the same object as before.
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

/// An entry of the page: a frame of A, of B, or of both. `main` is A's, or B's where A has none.
function entryOf(a, b, differences, index) {
  const [metrics, found] = differences || [null, []];
  return {index, a, b, main: a || b, label: a ? String(a.frame) : 'B' + b.frame, findings: [],
    metrics: metrics && {planes: metrics[0], problem: metrics[1]}, differences: found,
    differs: Boolean(a && b && found.length)};
}

/// The document, with entries as objects: tasks[].frames.
function readDocument(data) {
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
    markTimes(task.frames);
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

/// When frames were taken, in milliseconds since the first, what lies between each and the one before it,
/// and where that is more than usual.
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
}
