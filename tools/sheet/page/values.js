// The numbers of a frame: the measures, each of which can be a lane, a column and a word of the filter, and the
// rows of parameters and of the scene record.

const PLANES = ['Y', 'U', 'V'];

/// The value of a measure, or NaN. A measure with `pair` compares the two frames of an entry; the others
/// describe one frame, that of `side`.
function valueOf(measure, entry, side = 'main') {
  if (measure.pair) return number(measure.pair(entry));
  const frame = entry[side];
  return frame ? number(measure.of(frame)) : NaN;
}

/// The comparison of the entry's two images on a plane: [psnr, largest, mean, pixels].
const compared = (entry, plane) => entry.metrics?.planes?.[plane];

/// The rank of an entry; the worst has the lowest. It is the luma's PSNR, or -Infinity for images that were
/// not compared as a whole.
function rankOf(entry) {
  if (!entry.a || !entry.b || entry.metrics?.problem) return -Infinity;
  const luma = compared(entry, 0);
  return luma ? luma[0] ?? Infinity : Infinity;
}

function pairMeasures(plane) {
  const end = plane ? '.' + PLANES[plane].toLowerCase() : '';
  const of = PLANES[plane];
  return [
    {key: 'psnr' + end, name: 'psnr' + end, label: `PSNR ${of}`, unit: PSNR,
      pair: entry => compared(entry, plane) ? compared(entry, plane)[0] ?? Infinity : null},
    {key: 'diff.mean' + end, name: 'diff.mean' + end, label: `mean difference ${of}`, unit: LEVEL,
      pair: entry => compared(entry, plane)?.[2]},
    {key: 'diff.max' + end, name: 'diff.max' + end, label: `largest difference ${of}`, unit: LEVEL,
      pair: entry => compared(entry, plane)?.[1]}];
}

/// All measures of the document; those of pairs only if the page has two trees.
function measuresOf(data) {
  const figures = (name, unit, label, of) => ({key: name, name, unit, label, of: frame => frame.image && of(frame.image)});
  return [
    ...data.plots.map((plot, i) => ({...plot, key: 'plot' + i, of: frame => frame.plots[i]})),
    ...(data.against === null ? [] : [0, 1, 2].flatMap(pairMeasures)),
    figures('luma', LEVEL, 'luma', image => image.planes[0].mean),
    figures('clipped.low', SHARE, 'luma at 0', image => image.planes[0].at0),
    figures('clipped.high', SHARE, 'luma at 255', image => image.planes[0].at255),
    figures('u', LEVEL, 'mean U', image => image.planes[1].mean),
    figures('v', LEVEL, 'mean V', image => image.planes[2].mean)];
}

const cut = value => Array.isArray(value) && value[0] > value.length - 1;

/// The number of columns of a matrix, by its number of elements, for a field of one dimension.
const MATRICES = {9: 3, 12: 4, 16: 4};

/// A field's value as text. A matrix has a line for each row.
function listed(value, format = figure, dimensions = []) {
  if (value === null || value === undefined) return '–';
  if (!Array.isArray(value)) return format(value);
  const columns = dimensions.length > 1 ? dimensions[dimensions.length - 1] : cut(value) ? 0 : MATRICES[value[0]];
  const texts = value.slice(1).map(format);
  const end = cut(value) ? ` … (${grouped(String(value[0]))})` : '';
  return texts.map((text, i) => text + (i + 1 === texts.length ? '' : columns && (i + 1) % columns === 0 ? '\n' : columns ? '  ' : ' ')).join('') + end;
}

const exact = value => listed(value, shown);

function sceneUnit(name) {
  return {exp_time: 'ns', total_gain: '1/1024', cur_ev: 'EV', ev0: 'EV', ev1: 'EV', ev2: 'EV'}[name] || '';
}

/// The last parts of paths, each with as many parents in front as it needs to be unique.
function leafNames(paths) {
  return paths.map(path => {
    const parts = path.split('/');
    for (let count = 1; count < parts.length; count += 1) {
      const name = parts.slice(-count).join('/');
      if (paths.filter(other => ('/' + other).endsWith('/' + name)).length === 1) return name;
    }
    return path;
  });
}

/// The rows of a frame's values: {key, name, of, a, b, before, same, measure}. `a` and `b` are the values of
/// the two trees, `before` is that of the frame before, and `same` tells whether it is unchanged. A row
/// without `of` is a tag.
function parameterRows(data, entry, before) {
  const rows = [];
  const tags = new Set([...(entry.a?.parameters.keys() || []), ...(entry.b?.parameters.keys() || [])]);
  for (const index of [...tags].sort((x, y) => x - y)) {
    const tag = data.tags[index];
    const [a, b] = [entry.a, entry.b].map(frame => frame?.parameters.get(index));
    const main = entry.main.parameters.get(index);
    const old = before?.main.parameters.get(index);
    const same = !before || Boolean(old && main && old.crc === main.crc && old.size === main.size);
    const crc = value => /^[0-9a-f]{8}$/.test(value?.crc) ? 'crc ' + value.crc : value?.crc || 'not there';
    rows.push({key: 't' + index, head: true, name: tag.name, a: a?.size, b: b?.size, bytes: true, same,
      differs: Boolean(data.against !== null && entry.a && entry.b && (a?.crc !== b?.crc || a?.size !== b?.size)),
      note: `${tag.kind} · id ${tag.id ?? '–'} · type ${tag.pipe} · cam ${tag.camera} · ${crc(main)}`});
    if (!tag.fields.length) {
      for (const [side, value] of [['A', a], ['B', b]]) {
        if (value?.content) rows.push({key: `t${index}x${side}`, name: '', hex: value.content, side, same});
      }
      continue;
    }
    tag.fields.forEach((field, i) => {
      const value = parameter => parameter?.content?.[i];
      rows.push({key: `t${index}.${i}`, name: field.name, of: tag.name, field, unit: field.unit, names: field.names,
        a: value(a), b: value(b), before: value(old),
        same: same || (JSON.stringify(value(old)) === JSON.stringify(value(main)) && !cut(value(main))),
        measure: Number.isNaN(number(value(main))) ? null : fieldMeasure(data, index, i, field.name)});
    });
  }
  return rows;
}

function sceneRows(data, entry, before) {
  if (!entry.a?.scene && !entry.b?.scene) return [];
  const names = leafNames(data.scene);
  return data.scene.map((path, i) => {
    const unit = sceneUnit(path.slice(path.lastIndexOf('/') + 1));
    const value = frame => frame?.scene?.[i];
    return {key: 's' + i, name: names[i], of: path, unit, a: value(entry.a), b: value(entry.b), before: value(before?.main),
      same: !before || value(before.main) === value(entry.main),
      measure: {key: 's' + i, name: path, label: names[i], unit, of: frame => value(frame)}};
  });
}

/// The measure of a tag's field, or with `element` of one of its numbers.
function fieldMeasure(data, index, i, name, element) {
  const tag = data.tags[index];
  const field = tag.fields[i];
  // Each camera and pipe type has its own tag with the same name.
  const alike = [...data.tags.keys()].filter(other => data.tags[other].name === tag.name);
  return {key: `t${index}.${i}` + (element === undefined ? '' : `.${element}`), name: `${tag.name}.${name}`, label: name,
    unit: field.unit, names: field.names, stored: true,
    of: frame => {
      const value = frame.parameters.get(alike.find(other => frame.parameters.has(other)))?.content?.[i];
      return element === undefined ? value : value?.[1 + element];
    }};
}

/// The index of "[1][2]" among a field's numbers, which are in the order of rows; undefined if the page does not
/// have that number.
function elementAt(indices, dimensions) {
  const places = indices.slice(1, -1).split('][').map(Number);
  if (places.length !== dimensions.length || places.some((place, i) => place >= dimensions[i])) return undefined;
  return places.reduce((at, place, i) => at * dimensions[i] + place, 0);
}

/// A measure of a tag's field by "TAG.field" or "TAG.field[2]" in small letters; undefined for another name.
function fieldNamed(data, wanted) {
  const [, whole, indices] = /^(.*?)((?:\[\d+\])*)$/.exec(wanted);
  for (const [index, tag] of data.tags.entries()) {
    if (!wanted.startsWith(tag.name.toLowerCase() + '.')) continue;
    const find = name => tag.fields.findIndex(field => `${tag.name}.${field.name}`.toLowerCase() === name);
    const field = find(wanted);
    if (field >= 0) return fieldMeasure(data, index, field, tag.fields[field].name);
    const array = indices ? find(whole) : -1;
    const element = array < 0 ? undefined : elementAt(indices, tag.fields[array].dimensions);
    if (element !== undefined) return fieldMeasure(data, index, array, tag.fields[array].name + indices, element);
  }
  return undefined;
}

/// The measure of a name in any case, or null. The name is that of a measure of the document or its short
/// form, the end of a scene field's path, or TAG.field.
function measureNamed(data, name) {
  const wanted = name.toLowerCase();
  const alias = {exposure: 'exp_time', gain: 'total_gain', ev: 'cur_ev'}[wanted] || wanted;
  const measure = data.measures.find(m => m.name.toLowerCase() === alias || m.key === alias);
  if (measure) return measure;
  if (['frame', 'request', 'sof', 'camera', 'bytes', 'files', 'width', 'height'].includes(wanted)) {
    return {key: wanted, name: wanted, label: wanted, unit: '', of: frame => frame[wanted]};
  }
  const scene = data.scene.findIndex(path => ('/' + path.toLowerCase()).endsWith('/' + alias));
  if (scene >= 0) {
    const leaf = data.scene[scene].split('/').pop();
    return {key: 's' + scene, name: data.scene[scene], label: leaf, unit: sceneUnit(leaf), of: frame => frame.scene?.[scene]};
  }
  return fieldNamed(data, wanted) || null;
}
