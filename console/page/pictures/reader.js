/** Reads a file piece by piece: a picture's properties are a few kilobytes of many megabytes. */

/** The bytes do not match their format. */
export class Malformed extends Error {
  /** @param {string} what */
  constructor(what) {
    super(what);
    this.name = 'Malformed';
  }
}

/** The limit for each item that is read as a whole: a profile, a directory. */
export const LARGEST_PIECE = 64 * 1024 * 1024;

const WINDOW = 64 * 1024;

export class Reader {
  #blob;
  #start = 0;
  #window = new Uint8Array(0);

  /** @param {Blob} blob */
  constructor(blob) {
    this.#blob = blob;
  }

  /** @returns {number} bytes in the file */
  get size() {
    return this.#blob.size;
  }

  /**
   * @param {number} offset
   * @param {number} length
   * @returns {Promise<DataView>} of exactly these bytes; rejects with Malformed beyond the end
   */
  async view(offset, length) {
    if (offset < 0 || length < 0 || offset + length > this.size) {
      throw new Malformed('the file ends too early');
    }
    if (length > LARGEST_PIECE) {
      throw new Malformed('a part of the file is too long');
    }
    if (offset < this.#start || offset + length > this.#start + this.#window.length) {
      const end = Math.min(this.size, offset + Math.max(length, WINDOW));
      this.#window = new Uint8Array(await this.#blob.slice(offset, end).arrayBuffer());
      this.#start = offset;
      if (this.#window.length < length) {
        throw new Malformed('the file ends too early');
      }
    }
    return new DataView(this.#window.buffer, offset - this.#start, length);
  }

  /**
   * @param {number} offset
   * @param {number} length
   * @returns {Promise<Uint8Array<ArrayBuffer>>} a copy
   */
  async bytes(offset, length) {
    const view = await this.view(offset, length);
    return new Uint8Array(view.buffer, view.byteOffset, view.byteLength).slice();
  }
}

/**
 * @param {DataView} view
 * @param {number} offset
 * @param {number} length
 * @returns {string} one character for each byte
 */
export function ascii(view, offset, length) {
  let text = '';
  for (let i = 0; i < length; i += 1) {
    text += String.fromCharCode(view.getUint8(offset + i));
  }
  return text;
}
