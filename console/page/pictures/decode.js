/**
 * Pictures for the screen. The browser decodes what it can, using embedded profiles; TIFF goes to a
 * worker with its own decoder, which is loaded with the first such picture.
 */

import { factsOf } from './facts.js';

/** @typedef {import('./facts.js').Facts} Facts */

/**
 * @typedef {object} Picture
 * @property {Facts | null} facts null when the file is of no known format, or broken
 * @property {ImageBitmap | null} bitmap null when it cannot be shown here
 * @property {boolean} managed whether its colours went through its profile
 * @property {Samples | null} samples the file's own numbers, where they are known
 */

/**
 * @typedef {object} Samples
 * @property {Uint8Array | Uint16Array} numbers
 * @property {number} perPixel
 * @property {number} most
 */

/** The longest side of a thumbnail, in pixels. */
const THUMBNAIL = 112;
/** Bytes; larger files get no thumbnail, because that would mean reading them entirely. */
const LARGEST_FOR_THUMBNAIL = 100e6;

/**
 * @param {Blob} blob
 * @returns {Promise<Picture>} never rejects for what is in the file
 */
export async function pictureOf(blob) {
  const facts = await factsOf(blob);
  if (facts?.format === 'TIFF') {
    const { bitmap, managed, samples, perPixel, most } = await inWorker(blob, facts, 0);
    return {
      facts,
      bitmap,
      managed,
      samples: samples ? { numbers: samples, perPixel, most } : null,
    };
  }
  return { facts, bitmap: await byBrowser(blob, {}), managed: true, samples: null };
}

/**
 * @param {Blob} blob
 * @returns {Promise<ImageBitmap | null>}
 */
export async function thumbnailOf(blob) {
  if (blob.size > LARGEST_FOR_THUMBNAIL) {
    return null;
  }
  const facts = await factsOf(blob);
  if (facts?.format === 'TIFF') {
    return (await inWorker(blob, facts, THUMBNAIL)).bitmap;
  }
  const wide = facts !== null && facts.width > facts.height;
  const size = wide ? { resizeWidth: THUMBNAIL } : { resizeHeight: THUMBNAIL };
  return byBrowser(blob, { ...size, resizeQuality: 'medium' });
}

/**
 * @param {Blob} blob
 * @param {ImageBitmapOptions} options
 * @returns {Promise<ImageBitmap | null>}
 */
async function byBrowser(blob, options) {
  try {
    return await createImageBitmap(blob, options);
  } catch {
    return null;
  }
}

/**
 * Workers, started when they are first needed. Original and result are decoded side by side, and no
 * thumbnail stands in their way.
 *
 * @type {{ worker: Worker | null, waiting: Map<number, (answer: any) => void> }[]}
 */
const desks = Array.from({ length: 3 }, () => ({ worker: null, waiting: new Map() }));
let lastTask = 0;
const NOTHING = { bitmap: null, managed: false, samples: null, perPixel: 0, most: 0 };

/**
 * @param {Blob} blob
 * @param {Facts} facts
 * @param {number} longest
 * @returns {Promise<{ bitmap: ImageBitmap | null, managed: boolean,
 *     samples: Uint8Array | Uint16Array | null, perPixel: number, most: number }>}
 */
function inWorker(blob, facts, longest) {
  const [forThumbnails, one, other] = desks;
  const desk = longest > 0 ? forThumbnails : one.waiting.size <= other.waiting.size ? one : other;
  desk.worker ??= startWorker(desk);
  const { worker } = desk;
  lastTask += 1;
  const task = { id: lastTask, blob, space: facts.space, profile: facts.profileBytes, longest };
  return new Promise((resolve) => {
    desk.waiting.set(task.id, (answer) =>
      resolve(answer.bitmap ? { ...NOTHING, ...answer } : NOTHING),
    );
    worker.postMessage(task);
  });
}

/**
 * @param {(typeof desks)[0]} desk
 * @returns {Worker}
 */
function startWorker(desk) {
  const { waiting } = desk;
  const started = new Worker(new URL('tiffworker.js', import.meta.url), { type: 'module' });
  started.addEventListener('message', ({ data }) => {
    waiting.get(data.id)?.(data);
    waiting.delete(data.id);
  });
  // There is no decoder here, or it ran out of memory: what is waiting is shown without a picture,
  // and the next one starts a new worker.
  started.addEventListener('error', () => {
    started.terminate();
    desk.worker = null;
    for (const settle of waiting.values()) {
      settle({});
    }
    waiting.clear();
  });
  return started;
}
