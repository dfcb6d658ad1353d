import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  configurationsIn,
  detailsIn,
  isNotSetUp,
  mayBeName,
  percentOf,
  retryAfter,
} from '../../console/page/service/answers.js';

test('of several progress lines in one text the last one counts', () => {
  assert.equal(percentOf('Progress: 0%'), 0);
  assert.equal(percentOf('Progress: 12%\nProgress: 47%\n'), 47);
  assert.equal(percentOf('Progress: 300%'), 100);
});

test('an empty text tells no progress: before the conversion, and after it', () => {
  assert.equal(percentOf(''), null);
  assert.equal(percentOf('going to sleep for 10 secs'), null);
});

test('an explanation with a path or several lines is no name', () => {
  assert.ok(mayBeName('photo_PressCMYK.jpg'));
  assert.ok(mayBeName('There is no configuration.')); // only fetching it shows that
  for (const text of [
    '',
    '.',
    '..',
    "'/tmp/x.png' cannot be written",
    'a\\b',
    'two\nlines',
    'x'.repeat(256),
  ]) {
    assert.ok(!mayBeName(text), text);
  }
});

test('configurations are listed one a line', () => {
  assert.deepEqual(configurationsIn('sRGB\nDisplayP3\r\n\n PressCMYK\nsRGB\n'), [
    'sRGB',
    'DisplayP3',
    'PressCMYK',
  ]);
  assert.deepEqual(configurationsIn(''), []);
});

test("the service's own complaint is no configuration", () => {
  assert.deepEqual(configurationsIn('error: no vondPath set'), []);
  assert.ok(isNotSetUp('error: no vond-exe not found:/x'));
  assert.ok(!isNotSetUp('error: the tool says so'));
});

test('details that are a JSON object become pairs, all else stays a text', () => {
  assert.deepEqual(detailsIn('{"Name": "a", "Intents": [1, 2]}'), [
    ['Name', 'a'],
    ['Intents', '[1,2]'],
  ]);
  for (const text of ['', 'There is no configuration.', '[]', 'null', '"x"', '{']) {
    assert.equal(detailsIn(text), null, text);
  }
});

test('Retry-After is a number of seconds or a date', () => {
  const now = Date.parse('Wed, 21 Oct 2026 07:28:00 GMT');
  assert.equal(retryAfter('10', now), 10);
  assert.equal(retryAfter('Wed, 21 Oct 2026 07:28:30 GMT', now), 30);
  assert.equal(retryAfter('Wed, 21 Oct 2026 07:00:00 GMT', now), 0);
  assert.equal(retryAfter('soon', now), null);
  assert.equal(retryAfter(null, now), null);
});
