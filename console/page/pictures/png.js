/** The properties of a PNG file (PNG standard, sections 11.2 and 11.3). */

import { LARGEST_PIECE, Malformed, ascii } from './reader.js';

/** @typedef {import('./facts.js').RawFacts} RawFacts */

const SIGNATURE_LENGTH = 8;
const MOST_CHUNKS = 10000;

/**
 * @param {import('./reader.js').Reader} reader
 * @returns {Promise<RawFacts>} rejects with Malformed
 */
export async function readPng(reader) {
  const first = await reader.view(SIGNATURE_LENGTH, 25);
  if (ascii(first, 4, 4) !== 'IHDR') {
    throw new Malformed('the PNG file has no header');
  }
  const facts = {
    format: 'PNG',
    width: first.getUint32(8),
    height: first.getUint32(12),
    bits: first.getUint8(16),
    space: spaceOf(first.getUint8(17)),
    /** @type {Uint8Array | null} */
    profile: null,
  };
  // Everything that matters here must precede the first IDAT.
  for (let offset = SIGNATURE_LENGTH, count = 0; count < MOST_CHUNKS; count += 1) {
    const head = await reader.view(offset, 8);
    const length = head.getUint32(0);
    const type = ascii(head, 4, 4);
    if (type === 'IDAT' || type === 'IEND') {
      return facts;
    }
    if (type === 'iCCP') {
      facts.profile = await inflatedProfile(await reader.bytes(offset + 8, length));
    } else if (type === 'sRGB') {
      return { ...facts, standard: 'sRGB' };
    }
    offset += 12 + length;
  }
  throw new Malformed('the PNG file has no picture');
}

/**
 * @param {number} type
 * @returns {string}
 */
function spaceOf(type) {
  return type === 0 || type === 4 ? 'Gray' : type === 3 ? 'Indexed' : 'RGB';
}

/**
 * @param {Uint8Array<ArrayBuffer>} chunk its name, a zero, the method (0), and the profile, deflated
 * @returns {Promise<Uint8Array | null>} null when it cannot be unpacked
 */
async function inflatedProfile(chunk) {
  const end = chunk.indexOf(0);
  if (end < 0 || end > 79 || chunk[end + 1] !== 0) {
    return null;
  }
  try {
    return await inflated(chunk.slice(end + 2));
  } catch {
    return null;
  }
}

/**
 * @param {Uint8Array<ArrayBuffer>} packed
 * @returns {Promise<Uint8Array>} rejects when it is broken, or unpacks to too much
 */
async function inflated(packed) {
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('deflate'));
  const reader = stream.getReader();
  const parts = [];
  let size = 0;
  for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
    parts.push(piece.value);
    size += piece.value.length;
    if (size > LARGEST_PIECE) {
      await reader.cancel();
      throw new Malformed('the profile is too large');
    }
  }
  return new Uint8Array(await new Blob(parts).arrayBuffer());
}
