/** The properties of a picture file: format, size, colours, profile. */

import { Malformed, Reader } from './reader.js';
import { readJpeg } from './jpeg.js';
import { readPng } from './png.js';
import { readProfile } from './icc.js';
import { readTiff } from './tiff.js';

/** @typedef {import('./icc.js').ProfileFacts} ProfileFacts */

/**
 * As the readers of the formats leave it.
 *
 * @typedef {object} RawFacts
 * @property {string} format
 * @property {number} width in pixels
 * @property {number} height
 * @property {string} space "RGB", "CMYK", "Gray", "Indexed", "Lab"; empty when unknown
 * @property {number} bits per channel
 * @property {Uint8Array | null} profile the bytes of the embedded one
 * @property {string} [standard] the profile that the file names instead of embedding it
 */

/**
 * @typedef {object} Facts
 * @property {string} format
 * @property {number} width
 * @property {number} height
 * @property {string} space
 * @property {number} bits
 * @property {ProfileFacts | 'broken' | null} profile "broken": there is one, and it cannot be read
 * @property {string} [standard]
 * @property {Uint8Array | null} profileBytes
 */

/**
 * @param {Blob} blob
 * @returns {Promise<string>} "JPEG", "PNG", "TIFF"; empty for anything else
 */
export async function formatOf(blob) {
  const start = new Uint8Array(await blob.slice(0, 8).arrayBuffer());
  const begins = (/** @type {number[]} */ ...bytes) => bytes.every((byte, i) => start[i] === byte);
  if (begins(0xff, 0xd8, 0xff)) {
    return 'JPEG';
  }
  if (begins(0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a)) {
    return 'PNG';
  }
  if (begins(0x49, 0x49, 42, 0) || begins(0x4d, 0x4d, 0, 42)) {
    return 'TIFF';
  }
  return '';
}

/**
 * @param {Blob} blob
 * @returns {Promise<Facts | null>} null when it is none of the formats, or broken
 */
export async function factsOf(blob) {
  const read = { JPEG: readJpeg, PNG: readPng, TIFF: readTiff, '': null }[await formatOf(blob)];
  if (!read) {
    return null;
  }
  try {
    const { profile, ...facts } = await read(new Reader(blob));
    return { ...facts, profile: profile ? profileFacts(profile) : null, profileBytes: profile };
  } catch (error) {
    if (error instanceof Malformed) {
      return null;
    }
    throw error;
  }
}

/**
 * @param {Uint8Array} bytes
 * @returns {ProfileFacts | 'broken'}
 */
function profileFacts(bytes) {
  try {
    return readProfile(bytes);
  } catch (error) {
    if (error instanceof Malformed) {
      return 'broken';
    }
    throw error;
  }
}
