import assert from 'node:assert/strict';
import { test } from 'node:test';
import { unpackLzw } from '../../console/page/pictures/lzw.js';
import { Malformed } from '../../console/page/pictures/reader.js';

/** Packs as the standard's own example of a compressor does (TIFF 6.0, section 13). */
function packLzw(bytes) {
  const packed = [];
  let bits = 0n;
  let held = 0;
  let width = 9;
  const write = (code) => {
    bits = (bits << BigInt(width)) | BigInt(code);
    held += width;
    for (; held >= 8; held -= 8) {
      packed.push(Number((bits >> BigInt(held - 8)) & 255n));
    }
    bits &= (1n << BigInt(held)) - 1n;
  };
  let table = new Map();
  let next = 258;
  let omega = '';
  const codeOf = (string) => (string.length === 1 ? string.charCodeAt(0) : table.get(string));
  write(256);
  for (const byte of bytes) {
    const longer = omega + String.fromCharCode(byte);
    if (longer.length === 1 || table.has(longer)) {
      omega = longer;
      continue;
    }
    write(codeOf(omega));
    table.set(longer, next);
    next += 1;
    if (next === 512 || next === 1024 || next === 2048) {
      width += 1;
    } else if (next === 4095) {
      write(256);
      table = new Map();
      next = 258;
      width = 9;
    }
    omega = String.fromCharCode(byte);
  }
  if (omega !== '') {
    write(codeOf(omega));
  }
  write(257);
  if (held > 0) {
    packed.push(Number((bits << BigInt(8 - held)) & 255n));
  }
  return new Uint8Array(packed);
}

const numbers = (count, of) => Uint8Array.from({ length: count }, (_, i) => of(i));

test("the standard's example is unpacked", () => {
  // 7 7 7 8 8 7 7 6 6, packed as codes of nine bits: 256 7 258 8 8 258 6 6 257.
  const codes = [256, 7, 258, 8, 8, 258, 6, 6, 257]
    .map((code) => code.toString(2).padStart(9, '0'))
    .join('');
  const packed = codes.padEnd(88, '0').match(/.{8}/g);
  const bytes = Uint8Array.from(packed, (text) => parseInt(text, 2));
  assert.deepEqual([...unpackLzw(bytes)], [7, 7, 7, 8, 8, 7, 7, 6, 6]);
});

test('what is packed comes back, through every width of the codes and a cleared table', () => {
  let seed = 1;
  const random = () => (seed = (seed * 48271) % 2147483647) & 255;
  for (const bytes of [
    numbers(0, () => 0),
    numbers(1, () => 9),
    numbers(100_000, () => 0), // strings that run into themselves
    numbers(30_000, random),
    numbers(30_000, (i) => (i >> 5) & 255),
  ]) {
    assert.deepEqual(unpackLzw(packLzw(bytes)), bytes);
  }
});

test('data that ends without saying so gives what there is', () => {
  const bytes = numbers(500, (i) => i & 255);
  const packed = packLzw(bytes);
  const half = unpackLzw(packed.slice(0, packed.length / 2));
  assert.ok(half.length > 100);
  assert.deepEqual(half, bytes.slice(0, half.length));
});

test('an undefined code is rejected', () => {
  assert.throws(() => unpackLzw(new Uint8Array([0x80, 0x3f, 0xff, 0xff])), Malformed);
  assert.deepEqual(unpackLzw(new Uint8Array([])), new Uint8Array([]));
});
