/** Small hand-made files, for testing the code that reads them. */

export const text = (string) => [...string].map((character) => character.charCodeAt(0));
export const be16 = (...numbers) => numbers.flatMap((n) => [(n >> 8) & 255, n & 255]);
export const be32 = (...numbers) =>
  numbers.flatMap((n) => [(n >>> 24) & 255, (n >> 16) & 255, (n >> 8) & 255, n & 255]);
export const fixed = (...numbers) => be32(...numbers.map((n) => Math.round(n * 65536)));

/** An ICC profile of these tags: [signature, bytes]. */
export function profile(space, connection, tags, { kind = 'prtr', version = 2 } = {}) {
  let offset = 132 + tags.length * 12;
  const table = be32(tags.length);
  const data = [];
  for (const [name, bytes] of tags) {
    const padded = [...bytes, ...Array((4 - (bytes.length % 4)) % 4).fill(0)];
    table.push(...text(name), ...be32(offset, bytes.length));
    data.push(...padded);
    offset += padded.length;
  }
  const header = Array(128).fill(0);
  const put = (at, bytes) => header.splice(at, bytes.length, ...bytes);
  put(0, be32(offset));
  put(8, [version, 0x30]);
  put(12, text(kind));
  put(16, text(space.padEnd(4)));
  put(20, text(connection.padEnd(4)));
  put(36, text('acsp'));
  return new Uint8Array([...header, ...table, ...data]);
}

export const desc = (name) => [
  ...text('desc'),
  ...be32(0, name.length + 1),
  ...text(name),
  0,
  ...Array(78).fill(0),
];

export function mluc(entries) {
  const strings = entries.map(([, name]) => be16(...text(name)));
  let offset = 16 + entries.length * 12;
  const records = entries.flatMap(([language], i) => {
    const record = [...text(language), ...be32(strings[i].length, offset)];
    offset += strings[i].length;
    return record;
  });
  return [...text('mluc'), ...be32(0, entries.length, 12), ...records, ...strings.flat()];
}

const segment = (marker, bytes) => [0xff, marker, ...be16(bytes.length + 2), ...bytes];

export function jpeg({ channels = 3, parts = [], width = 640, height = 480 }) {
  const icc = parts.flatMap(([number, count, bytes]) =>
    segment(0xe2, [...text('ICC_PROFILE\0'), number, count, ...bytes]),
  );
  const frame = segment(0xc2, [
    8,
    ...be16(height, width),
    channels,
    ...Array(channels * 3).fill(1),
  ]);
  return new Blob([
    new Uint8Array([
      0xff,
      0xd8,
      ...segment(0xe0, text('JFIF\0')),
      ...icc,
      0xff,
      ...frame,
      ...segment(0xda, [0]),
    ]),
  ]);
}

const chunk = (type, bytes) => [...be32(bytes.length), ...text(type), ...bytes, 0, 0, 0, 0];

export function png({ colours = 2, bits = 8, chunks = [] }) {
  return new Blob([
    new Uint8Array([
      ...[0x89, ...text('PNG\r\n'), 0x1a, 0x0a],
      ...chunk('IHDR', [...be32(640, 480), bits, colours, 0, 0, 0]),
      ...chunks.flatMap(([type, bytes]) => chunk(type, bytes)),
      ...chunk('IDAT', [0]),
    ]),
  ]);
}

/** A TIFF directory of [tag, type, count, value]; array values follow it. */
export function tiff(entries, little = false) {
  const order = (bytes) => (little ? [...bytes].reverse() : bytes);
  const u16 = (n) => order(be16(n));
  const u32 = (n) => order(be32(n));
  const directory = [];
  const behind = [];
  const start = 8 + 2 + entries.length * 12 + 4;
  for (const [tag, type, count, value] of entries) {
    directory.push(...u16(tag), ...u16(type), ...u32(count));
    if (Array.isArray(value)) {
      directory.push(...u32(start + behind.length));
      behind.push(...value);
    } else {
      directory.push(...(type === 3 ? [...u16(value), 0, 0] : u32(value)));
    }
  }
  const mark = little ? 'II' : 'MM';
  return new Blob([
    new Uint8Array([
      ...text(mark),
      ...u16(42),
      ...u32(8),
      ...u16(entries.length),
      ...directory,
      ...u32(0),
      ...behind,
    ]),
  ]);
}
