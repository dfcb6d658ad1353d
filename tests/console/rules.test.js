import assert from 'node:assert/strict';
import { webcrypto } from 'node:crypto';
import { test } from 'node:test';
import {
  AT_ONCE,
  MOST_RETURNS,
  freshId,
  nextOf,
  outcomeOf,
  problemWithout,
  savedName,
  suffixOf,
  uploadName,
} from '../../console/page/queue/rules.js';
import { FileUnreadable, NetworkLost, ProxyRejection } from '../../console/page/service/errors.js';

const jobs = (...phases) => phases.map((phase) => ({ phase }));

test('at most four are at work, and those that wait go in their order', () => {
  const all = jobs('converting', 'waiting', 'done', 'uploading', 'waiting', 'waiting', 'waiting');
  assert.deepEqual(nextOf(all, true), [all[1], all[4]]);
  assert.equal(nextOf(jobs(...Array(9).fill('waiting')), true).length, AT_ONCE);
});

test('stopping and looking for the result still occupy a place', () => {
  assert.deepEqual(
    nextOf(jobs('cancelling', 'checking', 'converting', 'uploading', 'waiting'), true),
    [],
  );
});

test('without a network nothing begins', () => {
  assert.deepEqual(nextOf(jobs('waiting'), false), []);
});

test('429 and 503 are held back: as long as asked, or longer each time', () => {
  assert.deepEqual(outcomeOf(new ProxyRejection(503, 10), 0), {
    phase: 'holding',
    seconds: 10,
  });
  assert.deepEqual(outcomeOf(new ProxyRejection(429), 0), {
    phase: 'holding',
    seconds: 1,
  });
  assert.deepEqual(outcomeOf(new ProxyRejection(429), 3), {
    phase: 'holding',
    seconds: 8,
  });
  assert.equal(outcomeOf(new ProxyRejection(429), MOST_RETURNS).phase, 'failed');
});

test('no other status is tried again by itself: the conversion may have run', () => {
  for (const status of [400, 401, 403, 404, 410, 411, 413, 418, 502, 504]) {
    assert.deepEqual(outcomeOf(new ProxyRejection(status), 0), {
      phase: 'failed',
      problem: { kind: 'status', status },
    });
  }
});

test('a broken connection pauses, but not for ever', () => {
  assert.deepEqual(outcomeOf(new NetworkLost(), 0), { phase: 'paused' });
  assert.deepEqual(outcomeOf(new NetworkLost(), MOST_RETURNS), {
    phase: 'failed',
    problem: { kind: 'network' },
  });
});

test('a file that has gone fails, what was given up is cancelled, a slip of the page says so', () => {
  assert.deepEqual(outcomeOf(new FileUnreadable(), 0).problem, {
    kind: 'file',
  });
  assert.deepEqual(outcomeOf(new DOMException('x', 'AbortError'), 0), {
    phase: 'cancelled',
  });
  assert.deepEqual(outcomeOf(new TypeError('slip'), 0).problem, {
    kind: 'page',
    words: 'TypeError: slip',
  });
});

test('a name that leads to no file is no word of the tool', () => {
  assert.deepEqual(problemWithout('id_sRGB.jpg', 'id'), { kind: 'gone' });
  assert.deepEqual(problemWithout('No ink.', 'id'), { kind: 'tool', words: 'No ink.' });
});

test('of an odd name only a plain suffix goes to the service', () => {
  for (const [name, suffix] of [
    ['photo.final.TIF', '.TIF'],
    ['no suffix', ''],
    ['a.b c', ''],
    ['../../etc/passwd', ''],
    ['ü😀 "%2f\\ .jpg', '.jpg'],
    ['.jpg', '.jpg'],
    ['x.', ''],
    ['x.waytoolongforone', ''],
  ]) {
    assert.equal(suffixOf(name), suffix, name);
    assert.equal(uploadName(name, 'id'), `id${suffix.toLowerCase()}`);
  }
});

test('a result is saved under the name of its picture', () => {
  assert.equal(
    savedName('photo.final.jpg', 'PressCMYK', 'id_PressCMYK.jpg'),
    'photo.final_PressCMYK.jpg',
  );
  assert.equal(savedName('raw', 'sRGB', 'id_sRGB.tif'), 'raw_sRGB.tif');
  assert.equal(savedName('.jpg', 'sRGB', 'id_sRGB.jpg'), '_sRGB.jpg');
});

test('IDs differ, also where the page is not encrypted', () => {
  const plain = {
    getRandomValues: (array) => webcrypto.getRandomValues(array),
  };
  const ids = new Set([freshId(webcrypto), freshId(webcrypto), freshId(plain), freshId(plain)]);
  assert.equal(ids.size, 4);
  for (const id of ids) {
    assert.match(id, /^[0-9a-f-]{32,36}$/);
  }
});
