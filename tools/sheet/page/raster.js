// Images as samples: the reduced picture, and the window, the part without loss.

const RULE = {kr: data.pictures.bt709 ? 0.2126 : 0.299, kb: data.pictures.bt709 ? 0.0722 : 0.114,
  zero: data.pictures.limited ? 16 : 0, luma: data.pictures.limited ? 219 : 255, chroma: data.pictures.limited ? 224 : 255};
RULE.kg = 1 - RULE.kr - RULE.kb;

const byte = value => value < 0 ? 0 : value > 255 ? 255 : Math.round(value);

/// Planes of samples; luma has width x height of them. If `half`, chroma has a sample for 2 x 2 pixels, else
/// one for each pixel.
class Planes {
  constructor(width, height, half) {
    Object.assign(this, {width, height, half});
    this.chromaWidth = half ? (width + 1) >> 1 : width;
    const chroma = this.chromaWidth * (half ? (height + 1) >> 1 : height);
    this.samples = [new Uint8Array(width * height), new Uint8Array(chroma), new Uint8Array(chroma)];
  }

  /// The indices of the pixel's samples: [luma, chroma].
  place(x, y) {
    return this.half ? [y * this.width + x, (y >> 1) * this.chromaWidth + (x >> 1)] : [y * this.width + x, y * this.width + x];
  }

  /// The planes in RGB, as ImageData.
  picture() {
    const image = new ImageData(this.width, this.height);
    const out = new Uint32Array(image.data.buffer);
    const bytes = image.data;
    const [luma, u, v] = this.samples;
    const scale = 255 / RULE.luma;
    const red = 2 * (1 - RULE.kr) * 255 / RULE.chroma;
    const blue = 2 * (1 - RULE.kb) * 255 / RULE.chroma;
    const shift = this.half ? 1 : 0;
    out.fill(0xff000000);
    for (let y = 0, at = 0; y < this.height; y += 1) {
      const row = (y >> shift) * this.chromaWidth;
      for (let x = 0; x < this.width; x += 1, at += 1) {
        const chroma = row + (x >> shift);
        const grey = (luma[at] - RULE.zero) * scale;
        const r = grey + red * (v[chroma] - 128);
        const b = grey + blue * (u[chroma] - 128);
        bytes[4 * at] = r;
        bytes[4 * at + 1] = (grey - RULE.kr * r - RULE.kb * b) / RULE.kg;
        bytes[4 * at + 2] = b;
      }
    }
    return image;
  }
}

function canvasOf(width, height, image) {
  const canvas = make('canvas', {width, height});
  const context = canvas.getContext('2d', {willReadFrequently: true});
  if (image) context.putImageData(image, 0, 0);
  return canvas;
}

const TILE = 512;

/// A picture in tiles: browsers draw a part of a large canvas as slowly as all of it.
class Tiles {
  constructor(canvas) {
    this.width = canvas.width;
    this.height = canvas.height;
    this.tiles = [];
    for (let y = 0; y < this.height; y += TILE) {
      for (let x = 0; x < this.width; x += TILE) {
        const tile = new OffscreenCanvas(Math.min(TILE, this.width - x), Math.min(TILE, this.height - y));
        tile.getContext('2d').drawImage(canvas, -x, -y);
        // A bitmap is copied now; a canvas would be when it is drawn for the first time.
        this.tiles.push({tile: tile.transferToImageBitmap(), x, y});
      }
    }
  }

  /// Draws the tiles that overlap the area from `left`, `top` to `right`, `bottom`. The picture's pixel 0, 0 lies
  /// at x, y and covers `across` by `down`.
  draw(context, {x, y, across, down}, {left, top, right, bottom}) {
    for (const {tile, x: column, y: row} of this.tiles) {
      const [from, to] = [column, column + tile.width].map(at => Math.round(x + at * across));
      const [above, below] = [row, row + tile.height].map(at => Math.round(y + at * down));
      if (from >= right || to <= left || above >= bottom || below <= top) continue;
      context.drawImage(tile, from, above, to - from, below - above);
    }
  }
}

/// A picture with copies of half, a quarter and so on of its size, so that the cost of a view depends on the
/// view's size only.
class Pyramid {
  constructor(canvas) {
    this.width = canvas.width;
    this.height = canvas.height;
    this.levels = [new Tiles(canvas)];
    for (let larger = canvas; larger.width > TILE || larger.height > TILE;) {
      const half = canvasOf(Math.ceil(larger.width / 2), Math.ceil(larger.height / 2));
      half.getContext('2d').drawImage(larger, 0, 0, half.width, half.height);
      this.levels.push(new Tiles(half));
      larger = half;
    }
  }

  /// Draws the part of the picture that lies in a view; the whole picture covers x, y, width, height.
  draw(context, {x, y, width, height}, view) {
    // The smallest level whose pixels do not exceed those of the screen.
    const level = Math.floor(-Math.log2(width / this.width) + 1e-9);
    const tiles = this.levels[Math.min(this.levels.length - 1, Math.max(0, level))];
    tiles.draw(context, {x, y, across: width / tiles.width, down: height / tiles.height}, view);
  }
}

/// The image of one frame. load() decodes its reduced picture and its window.
class Raster {
  constructor(frame) {
    this.frame = frame;
    this.width = frame.width;
    this.height = frame.height;
    this.picture = null;  // a Pyramid of the reduced picture
    this.area = null;     // the window's place
    this.window = null;   // its Planes
    this.failed = '';
  }

  load() {
    this.loading ??= Promise.all([this.loadPicture(), this.loadWindow()]).then(() => this);
    return this.loading;
  }

  async loadPicture() {
    const address = pictures.address(this.frame.line, 1);
    if (!address) return;
    const img = new Image();
    img.src = address;
    try {
      await img.decode();
      const canvas = canvasOf(img.naturalWidth, img.naturalHeight);
      canvas.getContext('2d').drawImage(img, 0, 0);
      this.picture = new Pyramid(canvas);
      this.colours = canvas;
    } catch {
      this.failed = 'the picture cannot be decoded';
    }
  }

  async loadWindow() {
    const bytes = this.frame.image?.window && pictures.bytes(this.frame.line, 3);
    if (!bytes) return;
    try {
      const bitmap = await createImageBitmap(new Blob([bytes], {type: 'image/png'}),
        {colorSpaceConversion: 'none', premultiplyAlpha: 'none'});
      this.readWindow(bitmap);
      bitmap.close();
    } catch {
      this.failed = 'the window cannot be decoded';
    }
  }

  readWindow(bitmap) {
    const [x, y, width, height] = this.frame.image.window;
    const canvas = canvasOf(bitmap.width, bitmap.height);
    const context = canvas.getContext('2d', {willReadFrequently: true});
    context.drawImage(bitmap, 0, 0);
    const grey = context.getImageData(0, 0, bitmap.width, bitmap.height).data;
    const planes = new Planes(width, height, true);
    const pairs = planes.chromaWidth;
    const [luma, u, v] = planes.samples;
    for (let row = 0, at = 0; row < height; row += 1) {
      for (let column = 0; column < width; column += 1, at += 1) luma[at] = grey[4 * (row * bitmap.width + column)];
    }
    for (let row = 0, at = 0; row < (height + 1) >> 1; row += 1) {
      for (let column = 0; column < pairs; column += 1, at += 1) {
        const from = 4 * ((height + row) * bitmap.width + column);
        u[at] = grey[from];
        v[at] = grey[from + 4 * pairs];
      }
    }
    this.area = {x, y, width, height};
    this.window = planes;
    this.drawnWindow = new Pyramid(canvasOf(width, height, planes.picture()));
  }

  /// The samples of the reduced picture, computed from its colours.
  get reduced() {
    if (this.reducedPlanes || !this.picture) return this.reducedPlanes || null;
    const {width, height} = this.colours;
    const rgb = this.colours.getContext('2d').getImageData(0, 0, width, height).data;
    this.colours = null;
    const planes = new Planes(width, height, false);
    const [luma, u, v] = planes.samples;
    for (let at = 0; at < luma.length; at += 1) {
      const [r, g, b] = [rgb[4 * at], rgb[4 * at + 1], rgb[4 * at + 2]];
      const grey = RULE.kr * r + RULE.kg * g + RULE.kb * b;
      luma[at] = byte(RULE.zero + grey * RULE.luma / 255);
      u[at] = byte(128 + (b - grey) / (2 * (1 - RULE.kb)) * RULE.chroma / 255);
      v[at] = byte(128 + (r - grey) / (2 * (1 - RULE.kr)) * RULE.chroma / 255);
    }
    this.reducedPlanes = planes;
    return planes;
  }

  /// For each plane, whether the file has its sample at the pixel.
  held(x, y) {
    const held = this.frame.image?.held;
    if (!held) return [false, false, false];
    const chroma = (y >> 1) * ((this.width + 1) >> 1) + (x >> 1);
    return [y * this.width + x < held[0], chroma < held[1], chroma < held[2]];
  }

  inWindow(x, y) {
    const area = this.area;
    return Boolean(area) && x >= area.x && y >= area.y && x < area.x + area.width && y < area.y + area.height;
  }

  /// {values: [y, u, v], exact} at a pixel, with null for a sample that the file lacks; null without a picture.
  valueAt(x, y) {
    const held = this.held(x, y);
    const exact = this.inWindow(x, y);
    const planes = exact ? this.window : this.reduced;
    if (!planes) return null;
    const [luma, chroma] = exact ? planes.place(x - this.area.x, y - this.area.y)
      : planes.place(Math.min(planes.width - 1, Math.floor(x * planes.width / this.width)),
        Math.min(planes.height - 1, Math.floor(y * planes.height / this.height)));
    return {exact, values: planes.samples.map((plane, i) => held[i] ? plane[i ? chroma : luma] : null)};
  }

  /// {exact, planes}: {count, mean, deviation, least, most} of the rectangle's samples for each plane, and
  /// whether all of them are exact. Samples that the file lacks do not count.
  statistics({x, y, width, height}) {
    const exact = this.inWindow(x, y) && this.inWindow(x + width - 1, y + height - 1);
    const planes = exact ? this.window : this.reduced;
    if (!planes) return null;
    const scale = exact ? [1, 1] : [planes.width / this.width, planes.height / this.height];
    const from = exact ? [x - this.area.x, y - this.area.y] : [Math.floor(x * scale[0]), Math.floor(y * scale[1])];
    const to = exact ? [from[0] + width, from[1] + height]
      : [Math.max(from[0] + 1, Math.ceil((x + width) * scale[0])), Math.max(from[1] + 1, Math.ceil((y + height) * scale[1]))];
    const sums = planes.samples.map(() => ({count: 0, sum: 0, squares: 0, least: 255, most: 0}));
    for (let row = from[1]; row < Math.min(to[1], planes.height); row += 1) {
      for (let column = from[0]; column < Math.min(to[0], planes.width); column += 1) {
        const [atX, atY] = exact ? [column + this.area.x, row + this.area.y]
          : [Math.floor(column / scale[0]), Math.floor(row / scale[1])];
        const held = this.held(atX, atY);
        const [luma, chroma] = planes.place(column, row);
        // A chroma sample counts once, at the first of its pixels in the rectangle.
        const first = !planes.half || ((column === from[0] || column % 2 === 0) && (row === from[1] || row % 2 === 0));
        for (let i = 0; i < 3; i += 1) {
          if (!held[i] || (i > 0 && !first)) continue;
          const value = planes.samples[i][i ? chroma : luma];
          const s = sums[i];
          s.count += 1;
          s.sum += value;
          s.squares += value * value;
          s.least = Math.min(s.least, value);
          s.most = Math.max(s.most, value);
        }
      }
    }
    return {exact, planes: sums.map(({count, sum, squares, least, most}) => count ? {count, least, most, mean: sum / count,
      deviation: Math.sqrt(Math.max(0, squares / count - (sum / count) ** 2))} : null)};
  }
}

// The images of the last frames in view. Only a few are kept: a 12-megapixel image without loss takes 85 MB.
const rasters = new Map();

function rasterOf(frame) {
  if (!frame || !frame.image) return null;
  let raster = rasters.get(frame);
  rasters.delete(frame);
  raster ??= new Raster(frame);
  rasters.set(frame, raster);
  for (const old of rasters.keys()) {
    if (rasters.size <= 6) break;
    rasters.delete(old);
  }
  return raster;
}
