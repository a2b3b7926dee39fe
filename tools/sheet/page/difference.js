// The difference of two images, B minus A, as a picture.

const GAINS = [1, 2, 4, 8, 16, 32, 64];

/// The difference of two Planes at one place: of `plane`, or the largest of the three planes if it is -1.
function differenceAt(a, b, plane, luma, chroma) {
  if (plane >= 0) {
    const at = plane ? chroma : luma;
    return b.samples[plane][at] - a.samples[plane][at];
  }
  let most = 0;
  for (let i = 0; i < 3; i += 1) {
    const at = i ? chroma : luma;
    const step = b.samples[i][at] - a.samples[i][at];
    if (Math.abs(step) > Math.abs(most)) most = step;
  }
  return most;
}

/// The difference of Planes of one size as greys. If `signed`, mid grey is zero, and lighter means more in B.
function differencePicture(a, b, {plane, gain, signed}) {
  const image = new ImageData(a.width, a.height);
  const out = new Uint32Array(image.data.buffer);
  const grey = new Uint32Array(511);
  for (let step = -255; step <= 255; step += 1) {
    grey[step + 255] = 0xff000000 | 0x010101 * byte(signed ? 128 + step * gain : Math.abs(step) * gain);
  }
  for (let y = 0, at = 0; y < a.height; y += 1) {
    for (let x = 0; x < a.width; x += 1, at += 1) {
      const chroma = a.half ? (y >> 1) * a.chromaWidth + (x >> 1) : at;
      out[at] = grey[255 + differenceAt(a, b, plane, at, chroma)];
    }
  }
  return image;
}

/// The difference that 99 of 100 samples do not exceed, taken from about 200,000 pixels of a larger picture.
function usualDifference(a, b, plane) {
  const counts = new Uint32Array(256);
  const every = Math.max(1, Math.floor(a.width * a.height / 200000));
  let total = 0;
  for (let at = 0; at < a.width * a.height; at += every) {
    const [x, y] = [at % a.width, Math.floor(at / a.width)];
    const [luma, chroma] = a.place(x, y);
    counts[Math.abs(differenceAt(a, b, plane, luma, chroma))] += 1;
    total += 1;
  }
  let left = total * 0.99;
  for (let step = 0; step < 256; step += 1) {
    left -= counts[step];
    if (left <= 0) return step;
  }
  return 255;
}

/// The pictures by which two images can be compared, or null if the images differ in size. `exact` are the
/// two windows if they lie at the same place, `reduced` the two reduced pictures if they have one size;
/// either may be null.
function comparable(a, b) {
  if (!a || !b || a.width !== b.width || a.height !== b.height) return null;
  const [p, q] = [a.area, b.area];
  const sameArea = p && q && p.x === q.x && p.y === q.y && p.width === q.width && p.height === q.height;
  const sameSize = a.reduced && b.reduced && a.reduced.width === b.reduced.width && a.reduced.height === b.reduced.height;
  return {exact: sameArea ? [a.window, b.window] : null, reduced: sameSize ? [a.reduced, b.reduced] : null};
}

/// The usual difference, and the largest gain that does not cut it off.
function usualGain(pair, plane, signed) {
  const [a, b] = pair.exact || pair.reduced || [];
  if (!a) return {gain: 1, usual: 0};
  const usual = usualDifference(a, b, plane);
  const room = signed ? 127 : 255;
  return {usual, gain: GAINS.filter(gain => gain * Math.max(1, usual) <= room).pop() || 1};
}

/// A transparent picture that marks clipped luma: blue at 0, red at 255.
function clippingPicture(planes) {
  const image = new ImageData(planes.width, planes.height);
  const out = new Uint32Array(image.data.buffer);
  planes.samples[0].forEach((value, at) => {
    if (value === 0) out[at] = 0xffff7828;
    else if (value === 255) out[at] = 0xff2828ff;
  });
  return image;
}
