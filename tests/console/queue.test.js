import assert from 'node:assert/strict';
import { File } from 'node:buffer';
import { afterEach, beforeEach, mock, test } from 'node:test';
import { Queue } from '../../console/page/queue/queue.js';
import { NetworkLost, ProxyRejection } from '../../console/page/service/errors.js';

// Node.js 18 does not have it; every browser does.
globalThis.CustomEvent ??= class extends Event {
  constructor(type, { detail }) {
    super(type);
    this.detail = detail;
  }
};

/** A service whose responses each test decides. It records the requests. */
class FakeService {
  asked = [];
  uploads = [];
  conversions = [];
  percent = '';
  network = true;
  files = new Set();

  upload(name, file, { onProgress, signal }) {
    this.asked.push(`upload ${file.name}`);
    return new Promise((resolve, reject) => {
      signal.addEventListener('abort', () => reject(new DOMException('given up', 'AbortError')));
      this.uploads.push({ name, onProgress, done: resolve, fail: reject });
    });
  }

  convert({ fileName, id }) {
    this.asked.push('convert');
    return new Promise((resolve, reject) => {
      this.conversions.push({ fileName, id, answer: resolve, fail: reject });
    });
  }

  async progress() {
    return this.percent;
  }

  async cancel(id) {
    this.asked.push(`cancel ${id}`);
    return true;
  }

  cancelOnLeaving(id) {
    this.asked.push(`leave ${id}`);
  }

  async look(name) {
    this.asked.push(`look ${name}`);
    return this.files.has(name) ? { name, size: 7, type: 'image/jpeg' } : null;
  }

  async serviceVersion() {
    if (!this.network) {
      throw new NetworkLost();
    }
    return { version: '1', instance: null };
  }
}

let service;
let queue;
let ids;

const files = (...names) => names.map((name) => new File(['x'], name));
const phases = () => queue.jobs.map((job) => job.phase);

/** A clock that stands still until a test advances it. */
const clock = {
  now: 0,
  due: new Map(),
  real: [globalThis.setTimeout, globalThis.clearTimeout],
  start() {
    this.due.clear();
    globalThis.setTimeout = (act, ms) => {
      const timer = Symbol('timer');
      this.due.set(timer, { act, at: this.now + ms });
      return timer;
    };
    globalThis.clearTimeout = (timer) => this.due.delete(timer);
  },
  stop() {
    [globalThis.setTimeout, globalThis.clearTimeout] = this.real;
  },
  tick(ms) {
    this.now += ms;
    for (const [timer, { act, at }] of this.due) {
      if (at <= this.now) {
        this.due.delete(timer);
        act();
      }
    }
  },
};

/** Lets everything that is due happen, with its consequences. */
async function settle(ms = 0) {
  clock.tick(ms);
  for (let i = 0; i < 20; i += 1) {
    await Promise.resolve();
  }
}

beforeEach(() => {
  clock.start();
  service = new FakeService();
  ids = 0;
  queue = new Queue(service, {
    randomUUID: () => `id-${(ids += 1)}`,
    getRandomValues: (x) => x,
  });
});

afterEach(() => clock.stop());

test('a picture is uploaded, converted, followed and found', async () => {
  queue.add(files('a.JPG'), 'sRGB');
  const [job] = queue.jobs;
  assert.equal(service.uploads[0].name, 'id-1.jpg');
  service.uploads[0].onProgress(0.5);
  assert.equal(job.sent, 0.5);
  service.uploads[0].done();
  service.percent = 'Progress: 40%\n';
  await settle();
  assert.equal(job.phase, 'converting');
  assert.equal(job.percent, 40);
  service.percent = ''; // the entry is removed before the response arrives
  await settle(250);
  assert.equal(job.percent, 40);
  service.files.add('id-1_sRGB.jpg');
  service.conversions[0].answer('id-1_sRGB.jpg');
  await settle();
  assert.equal(job.phase, 'done');
  assert.equal(job.result.size, 7);
});

test('the fifth picture waits until a place is free', async () => {
  queue.add(files('a', 'b', 'c', 'd', 'e'), 'x');
  assert.deepEqual(phases(), [...Array(4).fill('uploading'), 'waiting']);
  queue.cancel(queue.jobs[1]);
  await settle();
  assert.deepEqual(phases(), ['uploading', 'cancelled', 'uploading', 'uploading', 'uploading']);
});

test('an answer that names no file is what the tool said', async () => {
  queue.add(files('a.jpg'), 'x');
  service.uploads[0].done();
  await settle();
  service.conversions[0].answer('There is no configuration.');
  await settle();
  assert.deepEqual(queue.jobs[0].problem, {
    kind: 'tool',
    words: 'There is no configuration.',
  });
});

test('a waiting picture is cancelled at once and nothing of it is sent', async () => {
  queue.add(files('a', 'b', 'c', 'd', 'e'), 'x');
  queue.cancel(queue.jobs[4]);
  assert.equal(queue.jobs[4].phase, 'cancelled');
  assert.ok(!service.asked.includes('upload e'));
});

test('giving up right after the last byte begins no conversion', async () => {
  queue.add(files('a'), 'x');
  service.uploads[0].done();
  queue.cancel(queue.jobs[0]);
  await settle();
  assert.equal(queue.jobs[0].phase, 'cancelled');
  assert.ok(!service.asked.includes('convert'));
});

test('a conversion is asked to stop, and is over when it has answered', async () => {
  queue.add(files('a'), 'x');
  service.uploads[0].done();
  await settle();
  queue.cancel(queue.jobs[0]);
  await settle();
  assert.equal(queue.jobs[0].phase, 'cancelling');
  assert.ok(service.asked.includes('cancel id-1'));
  service.conversions[0].answer('It was cancelled.');
  await settle();
  assert.equal(queue.jobs[0].phase, 'cancelled');
  assert.equal(queue.jobs[0].words, 'It was cancelled.');
});

test('a conversion that was faster than its cancellation is done, and says so', async () => {
  queue.add(files('a.jpg'), 'x');
  service.uploads[0].done();
  await settle();
  queue.cancel(queue.jobs[0]);
  service.files.add('r.jpg');
  service.conversions[0].answer('r.jpg');
  await settle();
  assert.equal(queue.jobs[0].phase, 'done');
  assert.equal(queue.jobs[0].tooLate, true);
});

test('trying again takes a new ID: the old one would stop the conversion at once', async () => {
  queue.add(files('a'), 'x');
  queue.cancel(queue.jobs[0]);
  await settle();
  queue.retry(queue.jobs[0]);
  await settle();
  assert.equal(queue.jobs[0].id, 'id-2');
  assert.equal(queue.jobs[0].phase, 'uploading');
});

test('a rejection with a wait holds the picture back, and then it goes on', async () => {
  queue.add(files('a'), 'x');
  service.uploads[0].fail(new ProxyRejection(503, 10));
  await settle();
  assert.equal(queue.jobs[0].phase, 'holding');
  await settle(9999);
  assert.equal(queue.jobs[0].phase, 'holding');
  await settle(1);
  assert.equal(queue.jobs[0].phase, 'uploading');
});

test('a lost network pauses everything; back again, old conversions are stopped and begun anew', async () => {
  queue.add(files('a', 'b'), 'x');
  service.uploads[0].done();
  await settle();
  service.network = false;
  service.conversions[0].fail(new NetworkLost());
  service.uploads[1].fail(new NetworkLost());
  await settle();
  assert.deepEqual(phases(), ['paused', 'paused']);
  assert.equal(queue.online, false);
  queue.add(files('c'), 'x');
  assert.equal(queue.jobs[2].phase, 'waiting');
  await settle(500); // requested again, in vain
  assert.equal(queue.online, false);
  service.network = true;
  await settle(1000);
  assert.equal(queue.online, true);
  assert.deepEqual(phases(), ['uploading', 'uploading', 'uploading']);
  assert.deepEqual(
    service.asked.filter((text) => text.startsWith('cancel')),
    ['cancel id-1'],
  );
  assert.notEqual(queue.jobs[0].id, 'id-1');
});

test("the system's word that the network is back is tried at once", async () => {
  queue.add(files('a'), 'x');
  service.network = false;
  service.uploads[0].fail(new NetworkLost());
  await settle(500);
  service.network = true;
  queue.probe();
  await settle();
  assert.equal(queue.jobs[0].phase, 'uploading');
});

test('a result is looked for again when the network was lost after the conversion', async () => {
  queue.add(files('a.jpg'), 'x');
  service.uploads[0].done();
  await settle();
  service.files.add('r.jpg');
  const look = mock.method(service, 'look', () => Promise.reject(new NetworkLost()), { times: 1 });
  service.conversions[0].answer('r.jpg');
  await settle();
  assert.equal(queue.jobs[0].phase, 'checking');
  await settle(500);
  assert.equal(queue.jobs[0].phase, 'done');
  assert.equal(look.mock.callCount(), 1);
  assert.equal(service.conversions.length, 1);
});

test('a status in the midst of a conversion fails it, once', async () => {
  queue.add(files('a'), 'x');
  service.uploads[0].done();
  await settle();
  service.conversions[0].fail(new ProxyRejection(502));
  await settle(60000);
  assert.deepEqual(queue.jobs[0].problem, { kind: 'status', status: 502 });
  assert.equal(service.conversions.length, 1);
});

test('leaving asks what runs to stop, and nothing else', async () => {
  queue.add(files('a', 'b'), 'x');
  service.uploads[0].done();
  await settle();
  queue.abandon();
  assert.deepEqual(
    service.asked.filter((text) => text.startsWith('leave')),
    ['leave id-1'],
  );
});

test('leaving would lose work and unsaved results, but not failures', async () => {
  assert.equal(queue.wouldLose(), false);
  queue.add(files('a.jpg'), 'x');
  assert.equal(queue.wouldLose(), true);
  service.uploads[0].done();
  await settle();
  service.files.add('r.jpg');
  service.conversions[0].answer('r.jpg');
  await settle();
  assert.equal(queue.wouldLose(), true);
  queue.markSaved(queue.jobs[0]);
  assert.equal(queue.wouldLose(), false);
  queue.remove(() => true);
  assert.equal(queue.jobs.length, 0);
});
