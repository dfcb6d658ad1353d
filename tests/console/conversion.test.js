import assert from 'node:assert/strict';
import { test } from 'node:test';
import { conversionFor } from '../../console/page/colour/conversion.js';
import { be16, be32, fixed, profile, text } from './bytes.js';

function shown(conversion, values, most = 255) {
  const rgb = new Uint8ClampedArray(3);
  conversion.from(most)(values, 0, rgb, 0);
  return [...rgb];
}

const curve = (...numbers) => [...text('curv'), ...be32(0, numbers.length), ...be16(...numbers)];
const xyz = (...numbers) => [...text('XYZ '), ...be32(0), ...fixed(...numbers)];
const srgb = [
  ['rXYZ', xyz(0.43607, 0.22249, 0.01392)],
  ['gXYZ', xyz(0.38515, 0.71687, 0.09708)],
  ['bXYZ', xyz(0.14307, 0.06061, 0.7141)],
];
// The parameters of the sRGB curve, as a parametric curve.
const para = [
  ...text('para'),
  ...be32(0),
  ...be16(3, 0),
  ...fixed(2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045),
];
const curves = (tag) => ['rTRC', 'gTRC', 'bTRC'].map((name) => [name, tag]);

/** A table with a node at each corner: ink by ink, all Lab, in 16 bits. */
function table(channels, lab, { inputs = [0, 65535], outputs = [0, 65535] } = {}) {
  const nodes = Array.from({ length: 2 ** channels }, (_, i) =>
    lab(Array.from({ length: channels }, (__, k) => (i >> (channels - 1 - k)) & 1)),
  );
  return [
    ...text('mft2'),
    ...be32(0),
    ...[channels, 3, 2, 0],
    ...Array(36).fill(0),
    ...be16(inputs.length, outputs.length),
    ...Array(channels)
      .fill(be16(...inputs))
      .flat(),
    ...nodes.flatMap(([l, a, b]) => be16(l * 652.8, (a + 128) * 256, (b + 128) * 256).slice(0, 6)),
    ...Array(3)
      .fill(be16(...outputs))
      .flat(),
  ];
}
const paperAndInk = ([c, m, y, k]) => [100 - 25 * (c + m + y + k), 0, 0];

test('through the profile of sRGB colours stay what they are', () => {
  const conversion = conversionFor(profile('RGB', 'XYZ', [...srgb, ...curves(para)]), 'RGB');
  assert.ok(conversion.managed);
  for (const rgb of [
    [0, 0, 0],
    [255, 255, 255],
    [200, 100, 50],
    [1, 128, 254],
  ]) {
    shown(conversion, rgb).forEach((value, i) =>
      assert.ok(Math.abs(value - rgb[i]) <= 1, `${rgb}`),
    );
  }
  // The same with sixteen bits.
  const [red] = shown(conversion, [200 * 257, 100 * 257, 50 * 257], 65535);
  assert.ok(Math.abs(red - 200) <= 1);
});

test('a curve may be a power or a table', () => {
  const power = conversionFor(profile('RGB', 'XYZ', [...srgb, ...curves(curve(256))]), 'RGB');
  assert.deepEqual(shown(power, [128, 128, 128]), [188, 188, 188]); // linear light, coded
  const lookedUp = conversionFor(
    profile('RGB', 'XYZ', [...srgb, ...curves(curve(0, 65535))]),
    'RGB',
  );
  assert.deepEqual(shown(lookedUp, [128, 128, 128]), [188, 188, 188]);
});

test('a table of inks is interpolated between its nodes', () => {
  const conversion = conversionFor(
    profile('CMYK', 'Lab', [['A2B0', table(4, paperAndInk)]]),
    'CMYK',
  );
  assert.ok(conversion.managed);
  assert.deepEqual(shown(conversion, [0, 0, 0, 0]), [255, 255, 255]);
  assert.deepEqual(shown(conversion, [255, 255, 255, 255]), [0, 0, 0]);
  // L* of 50 is a level of 119; whichever inks make it.
  for (const inks of [
    [255, 255, 0, 0],
    [0, 0, 255, 255],
    [255, 0, 0, 255],
  ]) {
    assert.deepEqual(shown(conversion, inks), [119, 119, 119]);
  }
  const [between] = shown(conversion, [128, 0, 0, 0]);
  assert.ok(between < 255 && between > shown(conversion, [255, 0, 0, 0])[0]);
});

test('the colorimetric table goes before the perceptual one', () => {
  const tags = [
    ['A2B0', table(4, () => [0, 0, 0])],
    ['A2B1', table(4, () => [100, 0, 0])],
  ];
  assert.deepEqual(
    shown(conversionFor(profile('CMYK', 'Lab', tags), 'CMYK'), [9, 9, 9, 9]),
    [255, 255, 255],
  );
});

test('without a usable profile colours are rough, and that is told', () => {
  const unusable = [
    null,
    profile('RGB', 'XYZ', srgb), // for another space
    profile('CMYK', 'Lab', []),
    profile('CMYK', 'Lab', [['A2B0', table(4, paperAndInk).slice(0, 60)]]),
    profile('CMYK', 'Lab', [['A2B0', table(3, () => [0, 0, 0])]]),
    profile('CMYK', 'Lab', [['A2B0', text('mft2----')]]),
    new Uint8Array(3),
  ];
  for (const bytes of unusable) {
    const conversion = conversionFor(bytes, 'CMYK');
    assert.equal(conversion.managed, false);
    assert.deepEqual(shown(conversion, [0, 255, 0, 0]), [255, 0, 255]);
    assert.deepEqual(shown(conversion, [0, 0, 0, 255]), [0, 0, 0]);
  }
  assert.deepEqual(shown(conversionFor(null, 'RGB'), [1, 2, 3]), [1, 2, 3]);
  assert.deepEqual(shown(conversionFor(null, 'Gray'), [7]), [7, 7, 7]);
});

test('a profile that is cut anywhere never throws', () => {
  const whole = profile('CMYK', 'Lab', [['A2B0', table(4, paperAndInk)]]);
  for (let length = 0; length < whole.length; length += 1) {
    assert.equal(conversionFor(whole.slice(0, length), 'CMYK').channels, 4);
  }
});

test('gray goes through its curve', () => {
  const conversion = conversionFor(profile('GRAY', 'XYZ', [['kTRC', curve(256)]]), 'Gray');
  assert.deepEqual(shown(conversion, [128]), [188, 188, 188]);
});
