/**
 * Converts a picture's values to what a screen shows (sRGB), through its ICC profile. Only for what
 * the browser cannot decode; the browser converts everything else.
 *
 * The profile's relative colorimetric table ("A2B1", else "A2B0") or its matrix and curves are used
 * (ICC.1:2010, sections 8.3 to 8.5, 10.8 to 10.10), without black point compensation.
 */

import { Malformed, ascii } from '../pictures/reader.js';
import { tagsOf, viewOf } from '../pictures/icc.js';

/**
 * Turns pixels of a picture into red, green and blue, each 0 to 255.
 *
 * @typedef {object} Conversion
 * @property {number} channels that it reads
 * @property {boolean} managed false when there was no profile that could be used
 * @property {(most: number) => PixelConversion} from for channels whose numbers go up to "most"
 */

/**
 * @typedef {(from: ArrayLike<number>, at: number, to: Uint8ClampedArray, toAt: number) => void}
 *     PixelConversion reads the channels beginning at "at", and writes the three colours
 */

/** @typedef {(value: number) => number} Curve */

/**
 * @param {Uint8Array | null} profile
 * @param {string} space of the picture: "RGB", "CMYK" or "Gray"
 * @returns {Conversion}
 */
export function conversionFor(profile, space) {
  const channels = { RGB: 3, CMYK: 4, Gray: 1 }[space] ?? 3;
  try {
    const managed = profile && fromProfile(viewOf(profile), channels);
    if (managed) {
      return managed;
    }
  } catch (error) {
    // A RangeError: the profile ends too early, or counts wrongly.
    if (!(error instanceof RangeError || error instanceof Malformed)) {
      throw error;
    }
  }
  return { channels, managed: false, from: (most) => plainPixel(channels, most) };
}

/**
 * The fallback without a profile: RGB and gray are taken as sRGB; each CMYK ink absorbs its share
 * of the light.
 *
 * @param {number} channels
 * @param {number} most
 * @returns {PixelConversion}
 */
function plainPixel(channels, most) {
  const second = channels === 1 ? 0 : 1;
  const third = channels === 1 ? 0 : 2;
  const share = 255 / most;
  return (from, at, to, toAt) => {
    let light = share;
    let [red, green, blue] = [from[at], from[at + second], from[at + third]];
    if (channels === 4) {
      light *= 1 - from[at + 3] / most;
      [red, green, blue] = [most - red, most - green, most - blue];
    }
    to[toAt] = red * light;
    to[toAt + 1] = green * light;
    to[toAt + 2] = blue * light;
  };
}

/**
 * @param {DataView} view
 * @param {number} channels
 * @returns {Conversion | null} null when the profile is for something else, or has nothing to use
 */
function fromProfile(view, channels) {
  const space = { 1: 'GRAY', 3: 'RGB ', 4: 'CMYK' }[channels];
  if (view.byteLength < 132 || ascii(view, 16, 4) !== space) {
    return null;
  }
  const tags = tagsOf(view);
  const labConnected = ascii(view, 20, 4) === 'Lab ';
  const table = tags.get('A2B1') ?? tags.get('A2B0');
  if (table && labConnected) {
    const type = ascii(table, 0, 4);
    if (type === 'mft1' || type === 'mft2') {
      return fromTable(table, channels, type === 'mft2');
    }
  }
  return channels === 1 ? fromGray(tags) : channels === 3 ? fromMatrix(tags) : null;
}

// --- Matrix and curves -------------------------------------------------------------------------

/**
 * @param {Map<string, DataView>} tags
 * @returns {Conversion | null}
 */
function fromMatrix(tags) {
  const columns = ['rXYZ', 'gXYZ', 'bXYZ'].map((name) => tags.get(name));
  const curveTags = ['rTRC', 'gTRC', 'bTRC'].map((name) => tags.get(name));
  if (columns.includes(undefined) || curveTags.includes(undefined)) {
    return null;
  }
  const [red, green, blue] = columns.map((tag) =>
    [8, 12, 16].map((at) => /** @type {DataView} */ (tag).getInt32(at) / 65536),
  );
  const curves = curveTags.map((tag) => curveOf(/** @type {DataView} */ (tag)));
  return {
    channels: 3,
    managed: true,
    from(most) {
      const [r, g, b] = curves.map((curve) => tabulated(curve, most));
      return (from, at, to, toAt) => {
        const [x, y, z] = [r[from[at]], g[from[at + 1]], b[from[at + 2]]];
        writeXyz(
          x * red[0] + y * green[0] + z * blue[0],
          x * red[1] + y * green[1] + z * blue[1],
          x * red[2] + y * green[2] + z * blue[2],
          to,
          toAt,
        );
      };
    },
  };
}

/**
 * @param {Map<string, DataView>} tags
 * @returns {Conversion | null}
 */
function fromGray(tags) {
  const tag = tags.get('kTRC');
  if (!tag) {
    return null;
  }
  const curve = curveOf(tag);
  return {
    channels: 1,
    managed: true,
    from(most) {
      const levels = tabulated((value) => 255 * encoded(curve(value)), most);
      return (from, at, to, toAt) => {
        to[toAt] = to[toAt + 1] = to[toAt + 2] = levels[from[at]];
      };
    },
  };
}

/**
 * @param {Curve} curve
 * @param {number} most
 * @returns {Float64Array} its values at 0, 1/most ... 1
 */
function tabulated(curve, most) {
  return Float64Array.from({ length: most + 1 }, (_, i) => curve(i / most));
}

/**
 * @param {DataView} tag of type 'curv' or 'para'; a straight line for any other
 * @returns {Curve}
 */
function curveOf(tag) {
  const type = ascii(tag, 0, 4);
  if (type === 'para') {
    return parametric(tag);
  }
  const count = type === 'curv' ? tag.getUint32(8) : 0;
  if (count === 0) {
    return (value) => value;
  }
  if (count === 1) {
    const gamma = tag.getUint16(12) / 256;
    return (value) => value ** gamma;
  }
  const table = Float64Array.from({ length: count }, (_, i) => tag.getUint16(12 + i * 2) / 65535);
  return (value) => interpolated(table, 0, count, value);
}

/**
 * @param {DataView} tag
 * @returns {Curve}
 */
function parametric(tag) {
  const kind = tag.getUint16(8);
  const count = [1, 3, 4, 5, 7][kind] ?? 0;
  const [g = 1, a = 1, b = 0, c = 0, d = 0, e = 0, f = 0] = Array.from(
    { length: count },
    (_, i) => tag.getInt32(12 + i * 4) / 65536,
  );
  switch (kind) {
    case 1:
      return (x) => (x >= -b / a ? (a * x + b) ** g : 0);
    case 2:
      return (x) => (x >= -b / a ? (a * x + b) ** g + c : c);
    case 3:
      return (x) => (x >= d ? (a * x + b) ** g : c * x);
    case 4:
      return (x) => (x >= d ? (a * x + b) ** g + e : c * x + f);
    default:
      return (x) => x ** g;
  }
}

/**
 * @param {Float64Array} table
 * @param {number} start
 * @param {number} count
 * @param {number} value 0 to 1
 * @returns {number}
 */
function interpolated(table, start, count, value) {
  const place = Math.min(Math.max(value, 0), 1) * (count - 1);
  const below = Math.min(Math.floor(place), count - 2);
  const share = place - below;
  return table[start + below] * (1 - share) + table[start + below + 1] * share;
}

// --- Tables ------------------------------------------------------------------------------------

/**
 * 'mft1' and 'mft2': curves, a grid of colours, curves. The nodes of the grid are converted to
 * screen colours once, and pixels are interpolated between them.
 *
 * @param {DataView} tag
 * @param {number} channels
 * @param {boolean} wide 16 bits a number, not 8
 * @returns {Conversion | null}
 */
function fromTable(tag, channels, wide) {
  const grid = tag.getUint8(10);
  if (tag.getUint8(8) !== channels || tag.getUint8(9) !== 3 || grid < 2) {
    return null;
  }
  const inputs = wide ? tag.getUint16(48) : 256;
  const outputs = wide ? tag.getUint16(50) : 256;
  if (inputs < 2 || outputs < 2) {
    return null;
  }
  const size = wide ? 2 : 1;
  const most = wide ? 65535 : 255;
  let offset = wide ? 52 : 48;
  const take = (/** @type {number} */ count) => {
    const numbers = new Float64Array(count);
    for (let i = 0; i < count; i += 1, offset += size) {
      numbers[i] = (wide ? tag.getUint16(offset) : tag.getUint8(offset)) / most;
    }
    return numbers;
  };
  const nodes = grid ** channels;
  if (offset + (inputs * channels + nodes * 3 + outputs * 3) * size > tag.byteLength) {
    return null;
  }
  const before = take(inputs * channels);
  const colors = screenNodes(take(nodes * 3), take(outputs * 3), outputs, wide);
  const places = Array.from(
    { length: channels },
    (_, i) => (/** @type {number} */ value) =>
      interpolated(before, i * inputs, inputs, value) * (grid - 1),
  );
  return { channels, managed: true, from: (most) => gridPixel(places, colors, grid, most) };
}

/**
 * @param {Float64Array} nodes
 * @param {Float64Array} after the curves behind the grid
 * @param {number} count of numbers in each of them
 * @param {boolean} wide
 * @returns {Float32Array} red, green and blue of each node, 0 to 255
 */
function screenNodes(nodes, after, count, wide) {
  const colors = new Float32Array(nodes.length);
  const rgb = new Float32Array(3);
  // With 16 bits, 65280 is 100 % lightness; with 8 bits, 255 (section 6.3.4.2).
  const full = wide ? 65535 / 65280 : 1;
  for (let i = 0; i < nodes.length; i += 3) {
    const [l, a, b] = [0, 1, 2].map((k) => interpolated(after, k * count, count, nodes[i + k]));
    const [x, y, z] = xyzOfLab(l * full * 100, a * full * 255 - 128, b * full * 255 - 128);
    writeXyz(x, y, z, rgb, 0);
    colors.set(rgb, i);
  }
  return colors;
}

/**
 * Interpolates between the nodes around a pixel: from the lowest corner of its cell to the opposite
 * one, along the channels in the order in which the pixel has gone furthest.
 *
 * @param {Curve[]} places from a channel's value to its place along the grid, counted in nodes
 * @param {Float32Array} colors
 * @param {number} grid nodes along each channel
 * @param {number} most
 * @returns {PixelConversion}
 */
function gridPixel(places, colors, grid, most) {
  const channels = places.length;
  const strides = Int32Array.from(places, (_, i) => 3 * grid ** (channels - 1 - i));
  const below = places.map((place, i) =>
    Int32Array.from(
      tabulated((value) => Math.min(Math.floor(place(value)), grid - 2) * strides[i], most),
    ),
  );
  const share = places.map((place) =>
    tabulated((value) => place(value) - Math.min(Math.floor(place(value)), grid - 2), most),
  );
  const shares = new Float64Array(channels);
  const steps = new Int32Array(channels);
  return (from, at, to, toAt) => {
    let node = 0;
    for (let i = 0; i < channels; i += 1) {
      const value = from[at + i];
      node += below[i][value];
      const own = share[i][value];
      let k = i;
      for (; k > 0 && shares[k - 1] < own; k -= 1) {
        shares[k] = shares[k - 1];
        steps[k] = steps[k - 1];
      }
      shares[k] = own;
      steps[k] = strides[i];
    }
    let weight = 1 - shares[0];
    let red = weight * colors[node];
    let green = weight * colors[node + 1];
    let blue = weight * colors[node + 2];
    for (let i = 0; i < channels; i += 1) {
      node += steps[i];
      weight = shares[i] - (i + 1 < channels ? shares[i + 1] : 0);
      red += weight * colors[node];
      green += weight * colors[node + 1];
      blue += weight * colors[node + 2];
    }
    to[toAt] = red;
    to[toAt + 1] = green;
    to[toAt + 2] = blue;
  };
}

// --- Colours -----------------------------------------------------------------------------------

/**
 * @param {number} l 0 to 100
 * @param {number} a
 * @param {number} b
 * @returns {number[]} X, Y and Z under D50, the connection space's light
 */
function xyzOfLab(l, a, b) {
  const y = (l + 16) / 116;
  const cubed = (/** @type {number} */ t) =>
    t > 6 / 29 ? t ** 3 : 3 * (6 / 29) ** 2 * (t - 4 / 29);
  return [0.9642 * cubed(y + a / 500), cubed(y), 0.8249 * cubed(y - b / 200)];
}

/**
 * @param {number} x under D50
 * @param {number} y
 * @param {number} z
 * @param {Uint8ClampedArray | Float32Array} to red, green and blue of sRGB, 0 to 255
 * @param {number} at
 */
function writeXyz(x, y, z, to, at) {
  // The inverse of sRGB's colorants as adapted to D50.
  to[at] = 255 * encoded(3.1341359 * x - 1.6173863 * y - 0.4906619 * z);
  to[at + 1] = 255 * encoded(-0.9787955 * x + 1.9162543 * y + 0.0334427 * z);
  to[at + 2] = 255 * encoded(0.0719554 * x - 0.2289768 * y + 1.405386 * z);
}

/**
 * @param {number} linear
 * @returns {number} as sRGB has it (IEC 61966-2-1), 0 to 1
 */
function encoded(linear) {
  const value = Math.min(Math.max(linear, 0), 1);
  return value <= 0.0031308 ? 12.92 * value : 1.055 * value ** (1 / 2.4) - 0.055;
}
