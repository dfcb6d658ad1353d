import assert from 'node:assert/strict';
import fs from 'node:fs';
import { test } from 'node:test';
import { fixed, texts } from '../../console/page/texts/en.js';
import { textsFor } from '../../console/page/texts/texts.js';

const PAGE = new URL('../../console/page/', import.meta.url);
const html = fs.readFileSync(new URL('index.html', PAGE), 'utf8');
const scripts = fs
  .readdirSync(PAGE, { recursive: true })
  .filter((name) => name.endsWith('.js') && !name.startsWith('decoder'))
  .map((name) => fs.readFileSync(new URL(name, PAGE), 'utf8'))
  .join('\n');

test('every text that index.html asks for is there, and every text is asked for', () => {
  const asked = new Set([...html.matchAll(/data-(?:text|label)="(\w+)"/g)].map(([, name]) => name));
  for (const name of asked) {
    assert.ok(Object.hasOwn(fixed, name), `no text "${name}"`);
  }
  for (const name of Object.keys(fixed)) {
    assert.ok(asked.has(name) || scripts.includes(`fixed.${name}`), `nobody shows "${name}"`);
  }
  for (const name of Object.keys(texts)) {
    assert.ok(scripts.includes(`texts.${name}`), `nobody says "${name}"`);
  }
});

test('index.html itself has no words, but for the name of the service', () => {
  const words = html
    .replaceAll(/<[^>]*>/g, ' ')
    .match(/[A-Za-z]{2,}/g)
    .filter((word) => word !== 'vondServer');
  assert.deepEqual(words, []);
});

test('every status that the shipped proxies answer is explained', () => {
  for (const status of [400, 401, 403, 408, 410, 411, 413, 429, 502, 503, 504]) {
    assert.match(texts.status(status), new RegExp(`\\(${status}\\)`));
  }
  assert.match(texts.status(418), /418/);
});

test('sizes and times are short', () => {
  assert.equal(texts.size(0), '0\u00a0bytes');
  assert.equal(texts.size(999600), '1\u00a0MB');
  assert.equal(texts.size(7_390_000), '7.39\u00a0MB');
  assert.equal(texts.duration(3210), '3.2\u00a0s');
  assert.equal(texts.duration(65_000), '1:05\u00a0min');
});

test('values in a file are told in its own terms', () => {
  assert.equal(texts.fileValues('CMYK', [0, 0.5, 1, 0.126], 255), 'C 0  M 50  Y 100  K 13\u00a0%');
  assert.equal(texts.fileValues('RGB', [0, 1, 0.5], 65535), 'R 0  G 65535  B 32768');
  assert.equal(texts.fileValues('Gray', [0.25], 255), 'K 75\u00a0%');
});

test('a reader of another language gets English until there is a file for it', () => {
  assert.equal(textsFor(['xx-YY', 'en-GB']).language, 'en');
  assert.equal(textsFor([]).language, 'en');
});
