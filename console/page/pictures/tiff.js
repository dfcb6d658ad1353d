/** The properties of a TIFF file (TIFF 6.0, section 2; the profile's tag: ICC.1:2010, B.5). */

import { Malformed } from './reader.js';

/** @typedef {import('./facts.js').RawFacts} RawFacts */

const WIDTH = 256;
const HEIGHT = 257;
const BITS_PER_SAMPLE = 258;
const PHOTOMETRIC = 262;
const PROFILE = 34675;

/** Size of a value in bytes, by its type: 1 byte, 2 text, 3 short, 4 long, 7 undefined. */
const SIZES = [0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8];

/**
 * @typedef {object} Entry
 * @property {number} type
 * @property {number} count
 * @property {number} offset of the value in the file
 */

/**
 * @param {import('./reader.js').Reader} reader
 * @returns {Promise<RawFacts>} rejects with Malformed; of a file with several pages the first
 */
export async function readTiff(reader) {
  const head = await reader.view(0, 8);
  const little = head.getUint16(0) === 0x4949;
  const entries = await directory(reader, head.getUint32(4, little), little);

  const number = async (/** @type {number} */ tag) => {
    const entry = entries.get(tag);
    return entry ? numberAt(reader, entry, little) : null;
  };
  const width = await number(WIDTH);
  const height = await number(HEIGHT);
  if (!width || !height) {
    throw new Malformed('the TIFF file has no size');
  }
  const profile = entries.get(PROFILE);
  return {
    format: 'TIFF',
    width,
    height,
    bits: (await number(BITS_PER_SAMPLE)) ?? 1,
    space: spaceOf(await number(PHOTOMETRIC)),
    profile: profile ? await reader.bytes(profile.offset, profile.count) : null,
  };
}

/**
 * @param {import('./reader.js').Reader} reader
 * @param {number} offset
 * @param {boolean} little
 * @returns {Promise<Map<number, Entry>>}
 */
async function directory(reader, offset, little) {
  const count = (await reader.view(offset, 2)).getUint16(0, little);
  const view = await reader.view(offset + 2, count * 12);
  /** @type {Map<number, Entry>} */
  const entries = new Map();
  for (let i = 0; i < count; i += 1) {
    const at = i * 12;
    const type = view.getUint16(at + 2, little);
    const values = view.getUint32(at + 4, little);
    const fits = (SIZES[type] ?? 0) * values <= 4;
    entries.set(view.getUint16(at, little), {
      type,
      count: values,
      offset: fits ? offset + 2 + at + 8 : view.getUint32(at + 8, little),
    });
  }
  return entries;
}

/**
 * @param {import('./reader.js').Reader} reader
 * @param {Entry} entry
 * @param {boolean} little
 * @returns {Promise<number | null>} the first, of several
 */
async function numberAt(reader, entry, little) {
  if (entry.count < 1) {
    return null;
  }
  if (entry.type === 3) {
    return (await reader.view(entry.offset, 2)).getUint16(0, little);
  }
  if (entry.type === 4) {
    return (await reader.view(entry.offset, 4)).getUint32(0, little);
  }
  return null;
}

/**
 * @param {number | null} photometric
 * @returns {string}
 */
function spaceOf(photometric) {
  switch (photometric) {
    case 0:
    case 1:
      return 'Gray';
    case 2:
    case 6: // YCbCr, within JPEG compression
      return 'RGB';
    case 3:
      return 'Indexed';
    case 5:
      return 'CMYK';
    case 8:
    case 9:
      return 'Lab';
    default:
      return '';
  }
}
