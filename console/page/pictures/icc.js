/** The properties of an ICC profile (ICC.1:2010: section 7.2 the header, 7.3 the tags). */

import { Malformed, ascii } from './reader.js';

/**
 * @typedef {object} ProfileFacts
 * @property {string} name its description; empty when it has none
 * @property {string} space of the numbers it is for: "RGB", "CMYK", "GRAY", "Lab" ...
 * @property {string} kind "display", "output", "input" ..., or the class's signature
 * @property {string} version as in "4.3"
 */

const HEADER = 128;

/** @type {Record<string, string>} */
const KINDS = {
  scnr: 'input',
  mntr: 'display',
  prtr: 'output',
  link: 'device link',
  spac: 'colour space',
  abst: 'abstract',
  nmcl: 'named colours',
};

/**
 * @param {Uint8Array} bytes
 * @returns {ProfileFacts} throws Malformed
 */
export function readProfile(bytes) {
  const view = viewOf(bytes);
  if (view.byteLength < HEADER + 4 || ascii(view, 36, 4) !== 'acsp') {
    throw new Malformed('this is no ICC profile');
  }
  const kind = ascii(view, 12, 4);
  const version = view.getUint8(8) + '.' + (view.getUint8(9) >> 4);
  const description = tagsOf(view).get('desc');
  return {
    name: description ? textOf(description) : '',
    space: ascii(view, 16, 4).trim(),
    kind: KINDS[kind] ?? kind.trim(),
    version,
  };
}

/**
 * @param {Uint8Array} bytes
 * @returns {DataView}
 */
export function viewOf(bytes) {
  return new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
}

/**
 * The tags by their signature, except those that are outside the profile.
 *
 * @param {DataView} view the whole profile
 * @returns {Map<string, DataView>} throws Malformed when there is no table of tags
 */
export function tagsOf(view) {
  const tags = new Map();
  const count = view.getUint32(HEADER);
  if (count > 1000 || HEADER + 4 + count * 12 > view.byteLength) {
    throw new Malformed('the profile has no table of tags');
  }
  for (let i = 0; i < count; i += 1) {
    const entry = HEADER + 4 + i * 12;
    const offset = view.getUint32(entry + 4);
    const size = view.getUint32(entry + 8);
    if (size >= 8 && offset + size <= view.byteLength) {
      tags.set(ascii(view, entry, 4), new DataView(view.buffer, view.byteOffset + offset, size));
    }
  }
  return tags;
}

/**
 * A text of one of the types for descriptions: 'desc' up to version 2, 'mluc' from 4 on.
 *
 * @param {DataView} tag
 * @returns {string} empty when it is of another type or broken
 */
function textOf(tag) {
  const type = ascii(tag, 0, 4);
  if (type === 'desc' && tag.byteLength > 12) {
    const length = Math.min(tag.getUint32(8), tag.byteLength - 12);
    return ascii(tag, 12, length).split('\0')[0].trim();
  }
  if (type === 'mluc' && tag.byteLength >= 28) {
    return localText(tag);
  }
  if (type === 'text') {
    return ascii(tag, 8, tag.byteLength - 8)
      .split('\0')[0]
      .trim();
  }
  return '';
}

/**
 * English if available, otherwise the first language.
 *
 * @param {DataView} tag
 * @returns {string}
 */
function localText(tag) {
  const count = Math.min(tag.getUint32(8), Math.floor((tag.byteLength - 16) / 12));
  const entries = Array.from({ length: count }, (_, i) => 16 + i * 12);
  const entry = entries.find((at) => ascii(tag, at, 2) === 'en') ?? entries[0];
  if (entry === undefined) {
    return '';
  }
  const length = tag.getUint32(entry + 4);
  const offset = tag.getUint32(entry + 8);
  if (offset + length > tag.byteLength) {
    return '';
  }
  const text = new DataView(tag.buffer, tag.byteOffset + offset, length);
  return new TextDecoder('utf-16be').decode(text).split('\0')[0].trim();
}
