import assert from 'node:assert/strict';
import { File } from 'node:buffer';
import { test } from 'node:test';
import { deflateSync } from 'node:zlib';
import { factsOf, formatOf } from '../../console/page/pictures/facts.js';
import { readProfile } from '../../console/page/pictures/icc.js';
import { Malformed } from '../../console/page/pictures/reader.js';
import { be16, be32, desc, jpeg, mluc, png, profile, text, tiff } from './bytes.js';

const press = profile('CMYK', 'Lab', [['desc', desc('Coated paper')]]);

test("a profile's name is read from both kinds of texts", () => {
  assert.deepEqual(readProfile(press), {
    name: 'Coated paper',
    space: 'CMYK',
    kind: 'output',
    version: '2.3',
  });
  const local = mluc([
    ['deDE', 'Anzeige'],
    ['enUS', 'Display P3'],
  ]);
  const display = profile('RGB', 'XYZ', [['desc', local]], {
    kind: 'mntr',
    version: 4,
  });
  assert.deepEqual(readProfile(display), {
    name: 'Display P3',
    space: 'RGB',
    kind: 'display',
    version: '4.3',
  });
});

test('a profile without a usable name has none', () => {
  assert.equal(readProfile(profile('RGB', 'XYZ', [])).name, '');
  assert.equal(
    readProfile(profile('RGB', 'XYZ', [['desc', [...text('mluc'), ...be32(0, 1, 12)]]])).name,
    '',
  );
  const beyond = [...text('mluc'), ...be32(0, 1, 12), ...text('enUS'), ...be32(1000, 28)];
  assert.equal(readProfile(profile('RGB', 'XYZ', [['desc', beyond]])).name, '');
});

test('what is not a profile is rejected, wherever it is cut', () => {
  for (let length = 0; length < 144; length += 1) {
    assert.throws(() => readProfile(press.slice(0, length)), Malformed, `cut at ${length}`);
  }
  const many = press.slice();
  many.set(be32(0xffffffff), 128);
  assert.throws(() => readProfile(many), Malformed);
});

test('a JPEG tells its size, its channels and a profile in several parts', async () => {
  const parts = [
    [2, 2, press.slice(100)],
    [1, 2, press.slice(0, 100)],
  ];
  const facts = await factsOf(jpeg({ channels: 4, parts }));
  assert.deepEqual(
    [facts.format, facts.width, facts.height, facts.space, facts.bits],
    ['JPEG', 640, 480, 'CMYK', 8],
  );
  assert.equal(facts.profile.name, 'Coated paper');
  assert.deepEqual(facts.profileBytes, press);
});

test('a JPEG that lacks a part of its profile has none', async () => {
  assert.equal((await factsOf(jpeg({ parts: [[1, 2, press]] }))).profile, null);
  assert.equal((await factsOf(jpeg({ channels: 1 }))).space, 'Gray');
});

test('a profile that cannot be read is told as broken', async () => {
  assert.equal((await factsOf(jpeg({ parts: [[1, 1, text('nonsense')]] }))).profile, 'broken');
});

test('a PNG tells its size, colours and packed profile', async () => {
  const packed = [...text('any name'), 0, 0, ...deflateSync(press)];
  const facts = await factsOf(png({ bits: 16, chunks: [['iCCP', packed]] }));
  assert.deepEqual(
    [facts.format, facts.width, facts.height, facts.space, facts.bits],
    ['PNG', 640, 480, 'RGB', 16],
  );
  assert.equal(facts.profile.name, 'Coated paper');
  assert.equal((await factsOf(png({ chunks: [['sRGB', [0]]] }))).standard, 'sRGB');
  assert.equal((await factsOf(png({ colours: 3 }))).space, 'Indexed');
  assert.equal((await factsOf(png({ colours: 4 }))).space, 'Gray');
});

test('a PNG with a profile that does not unpack is shown without one', async () => {
  for (const bytes of [text('no end'), [...text('x'), 0, 9, 1], [...text('x'), 0, 0, 1, 2, 3]]) {
    assert.equal((await factsOf(png({ chunks: [['iCCP', bytes]] }))).profile, null);
  }
});

test('a TIFF tells the same, in both byte orders', async () => {
  for (const little of [false, true]) {
    const order = (bytes) => (little ? bytes.reverse() : bytes);
    const bits = [8, 8, 8, 8].flatMap((n) => order(be16(n)));
    const facts = await factsOf(
      tiff(
        [
          [256, 3, 1, 640],
          [257, 4, 1, 480],
          [258, 3, 4, bits],
          [262, 3, 1, 5],
          [34675, 7, press.length, [...press]],
        ],
        little,
      ),
    );
    assert.deepEqual(
      [facts.format, facts.width, facts.height, facts.space, facts.bits],
      ['TIFF', 640, 480, 'CMYK', 8],
    );
    assert.equal(facts.profile.name, 'Coated paper');
  }
});

test('a file of any format that is cut anywhere tells nothing, or what it told before the cut', async () => {
  const whole = [
    jpeg({ channels: 4, parts: [[1, 1, press]] }),
    png({ chunks: [['iCCP', [...text('x'), 0, 0, ...deflateSync(press)]]] }),
    tiff([
      [256, 3, 1, 640],
      [257, 3, 1, 480],
      [34675, 7, press.length, [...press]],
    ]),
  ];
  for (const blob of whole) {
    const { width } = await factsOf(blob);
    for (let length = 0; length < blob.size; length += 1) {
      const facts = await factsOf(blob.slice(0, length));
      assert.ok(facts === null || facts.width === width, `cut at ${length}`);
    }
  }
});

test('lying lengths are rejected', async () => {
  const lying = [
    tiff([[256, 3, 1, 640]]), // no height
    tiff([
      [256, 3, 1, 640],
      [257, 3, 1, 480],
      [34675, 7, 0xffffffff, 0xfffffff0],
    ]),
    tiff([
      [256, 3, 1, 0],
      [257, 3, 1, 480],
    ]),
    new Blob([new Uint8Array([0xff, 0xd8, 0xff, 0xe0, 0, 0])]),
    new Blob([new Uint8Array([0xff, 0xd8, 0xff, 0xe0, 0, 4, 1, 2, 9, 9, 9, 9])]),
  ];
  for (const blob of lying) {
    assert.equal(await factsOf(blob), null);
  }
});

test('the format is told by the first bytes, not by the name', async () => {
  assert.equal(await formatOf(new File([jpeg({})], 'x.tif')), 'JPEG');
  assert.equal(await formatOf(new Blob([])), '');
  assert.equal(await formatOf(new Blob(['GIF89a'])), '');
  assert.equal(await factsOf(new Blob(['text'])), null);
});
