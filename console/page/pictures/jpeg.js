/** The properties of a JPEG file (ITU-T T.81; profiles: ICC.1:2010, annex B.4). */

import { Malformed, ascii } from './reader.js';

/** @typedef {import('./facts.js').RawFacts} RawFacts */

const START_OF_SCAN = 0xda;
const MOST_SEGMENTS = 10000;

/**
 * @param {import('./reader.js').Reader} reader
 * @returns {Promise<RawFacts>} rejects with Malformed
 */
export async function readJpeg(reader) {
  /** @type {{ width: number, height: number, channels: number, bits: number } | null} */
  let frame = null;
  /** @type {Map<number, Uint8Array>} parts of the profile by their number */
  const parts = new Map();
  let expected = 0;
  for (let offset = 2, count = 0; count < MOST_SEGMENTS; count += 1) {
    const head = await reader.view(offset, 4);
    const marker = head.getUint8(1);
    if (head.getUint8(0) !== 0xff) {
      throw new Malformed('a JPEG segment does not begin where it should');
    }
    if (marker === 0xff) {
      offset += 1; // a fill byte
      continue;
    }
    if (marker === START_OF_SCAN) {
      break;
    }
    const length = head.getUint16(2);
    if (length < 2) {
      throw new Malformed('a JPEG segment has no length');
    }
    if (isFrame(marker)) {
      const view = await reader.view(offset + 4, 6);
      frame = {
        bits: view.getUint8(0),
        height: view.getUint16(1),
        width: view.getUint16(3),
        channels: view.getUint8(5),
      };
    } else if (marker === 0xe2 && length > 16) {
      const view = await reader.view(offset + 4, 14);
      if (ascii(view, 0, 12) === 'ICC_PROFILE\0') {
        const number = view.getUint8(12);
        expected = view.getUint8(13);
        parts.set(number, await reader.bytes(offset + 18, length - 16));
      }
    }
    offset += 2 + length;
  }
  if (!frame) {
    throw new Malformed('the JPEG file has no picture');
  }
  const { channels, ...rest } = frame;
  const space = channels === 1 ? 'Gray' : channels === 4 ? 'CMYK' : 'RGB';
  return { format: 'JPEG', ...rest, space, profile: joined(parts, expected) };
}

/**
 * @param {number} marker
 * @returns {boolean} SOF0 to SOF15, among which DHT, JPG and DAC have other meanings
 */
function isFrame(marker) {
  return marker >= 0xc0 && marker <= 0xcf && ![0xc4, 0xc8, 0xcc].includes(marker);
}

/**
 * @param {Map<number, Uint8Array>} parts
 * @param {number} expected
 * @returns {Uint8Array | null} null also when a part is missing
 */
function joined(parts, expected) {
  if (expected === 0 || parts.size !== expected) {
    return null;
  }
  const ordered = Array.from({ length: expected }, (_, i) => parts.get(i + 1));
  if (ordered.includes(undefined)) {
    return null;
  }
  const all = /** @type {Uint8Array[]} */ (ordered);
  const whole = new Uint8Array(all.reduce((sum, part) => sum + part.length, 0));
  let offset = 0;
  for (const part of all) {
    whole.set(part, offset);
    offset += part.length;
  }
  return whole;
}
