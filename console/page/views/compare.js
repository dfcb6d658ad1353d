/** The section "Compare": a job's original and result, their properties, and pixel values. */

import { pictureOf } from '../pictures/decode.js';
import { savedName } from '../queue/rules.js';
import { ProxyRejection, isAbort } from '../service/errors.js';
import { texts } from '../texts/texts.js';
import { byId, definitions, make, setText } from './dom.js';
import { Stage } from './stage.js';
import { counterpart } from './viewport.js';

/** @typedef {import('../queue/queue.js').Job} Job */
/** @typedef {import('../pictures/decode.js').Picture} Picture */

/**
 * One of the two sides.
 *
 * @typedef {object} Side
 * @property {HTMLElement} facts
 * @property {HTMLElement} notice
 * @property {HTMLElement} chip
 * @property {HTMLElement} shown
 * @property {HTMLElement} file
 * @property {Picture | null} picture
 */

export class CompareView {
  #service;
  #queue;
  #pairs = byId('pair', HTMLSelectElement);
  #stage = new Stage(byId('stage', HTMLCanvasElement));
  #slider = byId('split', HTMLInputElement);
  /** @type {Job | null} */
  #job = null;
  #loading = new AbortController();
  #sides = [sideOf('original'), sideOf('result')];
  #reader = pixelReader();

  /**
   * @param {import('../service/service.js').Service} service
   * @param {import('../queue/queue.js').Queue} queue
   */
  constructor(service, queue) {
    this.#service = service;
    this.#queue = queue;
    queue.addEventListener('list', () => this.#offer());
    queue.addEventListener('change', (event) => {
      const { phase, key } = /** @type {CustomEvent} */ (event).detail;
      if (phase === 'done' || this.#pairs.querySelector(`[value="${key}"]`)) {
        this.#offer();
      }
    });
    this.#pairs.addEventListener('change', () => this.#showChosen());
    this.#listenToStage();
    this.#offer();
  }

  /** @param {Job} job with a result */
  show(job) {
    this.#offer();
    this.#pairs.value = String(job.key);
    void this.#load(job);
  }

  /** When the section becomes visible: shows something, if there is something. */
  open() {
    if (!this.#job) {
      this.#showChosen();
    }
  }

  // --- Which ---------------------------------------------------------------------------------

  #offer() {
    const done = this.#queue.jobs.filter((job) => job.result !== null);
    const keys = done.map((job) => String(job.key));
    const offered = [...this.#pairs.options].map((option) => option.value);
    byId('no-pair', HTMLElement).hidden = done.length > 0;
    byId('pair-shown', HTMLElement).hidden = done.length === 0;
    if (keys.join() === offered.join()) {
      return;
    }
    const chosen = this.#pairs.value;
    this.#pairs.replaceChildren(
      ...done.map((job) =>
        make(
          'option',
          { value: String(job.key) },
          texts.pairName(job.file.name, job.configuration),
        ),
      ),
    );
    this.#pairs.value = keys.includes(chosen) ? chosen : (keys.at(-1) ?? '');
    if (this.#job && !done.includes(this.#job)) {
      this.#forget();
    }
  }

  #showChosen() {
    const job = this.#queue.jobs.find((candidate) => String(candidate.key) === this.#pairs.value);
    if (job?.result) {
      void this.#load(job);
    }
  }

  #forget() {
    this.#loading.abort();
    this.#stage.show(null, null);
    for (const side of this.#sides) {
      side.picture?.bitmap?.close();
      side.picture = null;
      side.facts.replaceChildren();
      side.notice.replaceChildren();
    }
    this.#job = null;
  }

  // --- Loading -------------------------------------------------------------------------------

  /** @param {Job} job */
  async #load(job) {
    const { result } = job;
    if (!result || job === this.#job) {
      return;
    }
    this.#forget();
    this.#job = job;
    this.#loading = new AbortController();
    const { signal } = this.#loading;
    byId('stage-frame', HTMLElement).classList.add('loading');
    try {
      await Promise.all([
        this.#loadSide(0, async () => job.file, job, signal),
        this.#loadSide(1, () => this.#service.result(result.name, signal), job, signal),
      ]);
    } finally {
      if (!signal.aborted) {
        byId('stage-frame', HTMLElement).classList.remove('loading');
      }
    }
  }

  /**
   * @param {number} which 0: the original, 1: the result
   * @param {() => Promise<Blob>} get
   * @param {Job} job
   * @param {AbortSignal} signal
   */
  async #loadSide(which, get, job, signal) {
    const side = this.#sides[which];
    side.facts.replaceChildren(...definitions([[texts.format, texts.loading]]));
    try {
      const blob = await get();
      if (blob.size === 0) {
        side.facts.replaceChildren();
        side.notice.replaceChildren(texts.resultGone);
        return;
      }
      const picture = await pictureOf(blob);
      if (signal.aborted) {
        picture.bitmap?.close();
        return;
      }
      side.picture = picture;
      this.#describe(side, blob, job, which);
      const [original, shown] = this.#sides.map(({ picture: one }) => one?.bitmap ?? null);
      this.#stage.show(original, shown);
    } catch (error) {
      if (!isAbort(error) && !signal.aborted) {
        side.facts.replaceChildren();
        side.notice.replaceChildren(
          error instanceof ProxyRejection ? texts.status(error.status) : texts.noAnswer,
        );
      }
    }
  }

  /**
   * @param {Side} side
   * @param {Blob} blob
   * @param {Job} job
   * @param {number} which
   */
  #describe(side, blob, job, which) {
    const { facts, bitmap, managed } = /** @type {Picture} */ (side.picture);
    side.facts.replaceChildren(
      ...definitions([
        [texts.profile, facts ? profileText(facts) : texts.outside],
        [texts.colourSpace, facts ? texts.colours(facts.space, facts.bits) : texts.outside],
        [
          texts.pixelSize,
          facts
            ? texts.pixels(facts.width, facts.height)
            : bitmap
              ? texts.pixels(bitmap.width, bitmap.height)
              : texts.outside,
        ],
        [texts.fileSize, `${facts?.format ?? texts.unknownFormat}, ${texts.size(blob.size)}`],
      ]),
    );
    side.notice.replaceChildren();
    if (!bitmap) {
      const link = make('a', { href: '#' }, texts.download);
      const name = which === 1 && job.result;
      link.href = name ? this.#service.resultAddress(name.name) : URL.createObjectURL(blob);
      link.download = name ? savedName(job.file.name, job.configuration, name.name) : job.file.name;
      side.notice.append(`${texts.notShown} `, link);
    } else if (!managed && facts?.profile) {
      side.notice.append(texts.unmanaged);
    }
  }

  // --- The stage -----------------------------------------------------------------------------

  #listenToStage() {
    const stage = this.#stage;
    const on = (/** @type {string} */ id, /** @type {() => void} */ act) =>
      byId(id, HTMLButtonElement).addEventListener('click', act);
    on('zoom-in', () => stage.zoomBy(1.5));
    on('zoom-out', () => stage.zoomBy(1 / 1.5));
    on('zoom-fit', () => stage.fit());
    on('zoom-actual', () => stage.actualSize());
    on('mode-side', () => this.#setMode('side'));
    on('mode-slider', () => this.#setMode('slider'));
    this.#slider.addEventListener('input', () => {
      stage.split = Number(this.#slider.value) / 100;
    });
    stage.addEventListener('split', () => {
      this.#slider.value = String(Math.round(stage.split * 100));
    });
    stage.addEventListener('view', () =>
      setText(byId('zoom', HTMLElement), texts.zoom(stage.scale * devicePixelRatio)),
    );
    stage.addEventListener('probe', () => this.#showValues());
    this.#setMode('side');
  }

  /** @param {import('./stage.js').Mode} mode */
  #setMode(mode) {
    this.#stage.mode = mode;
    byId('mode-side', HTMLButtonElement).setAttribute('aria-pressed', String(mode === 'side'));
    byId('mode-slider', HTMLButtonElement).setAttribute('aria-pressed', String(mode === 'slider'));
    byId('split-row', HTMLElement).hidden = mode !== 'slider';
    byId('stage-frame', HTMLElement).dataset.mode = mode;
  }

  #showValues() {
    const pixel = this.#stage.probe();
    setText(byId('place', HTMLElement), pixel ? texts.at(pixel.x, pixel.y) : texts.outside);
    for (const side of this.#sides) {
      const { picture } = side;
      if (!pixel || !picture?.bitmap) {
        setText(side.shown, texts.outside);
        setText(side.file, texts.outside);
        side.chip.style.backgroundColor = 'transparent';
        continue;
      }
      const at = counterpart(pixel, this.#stage.size, picture.bitmap);
      const rgb = this.#reader(picture.bitmap, at.x, at.y);
      side.chip.style.backgroundColor = `rgb(${rgb.join(' ')})`;
      setText(side.shown, texts.rgb(rgb));
      setText(side.file, valuesInFile(picture, at));
    }
  }
}

/**
 * @param {'original' | 'result'} name
 * @returns {Side}
 */
function sideOf(name) {
  return {
    facts: byId(`${name}-facts`, HTMLElement),
    notice: byId(`${name}-notice`, HTMLElement),
    chip: byId(`${name}-chip`, HTMLElement),
    shown: byId(`${name}-shown`, HTMLElement),
    file: byId(`${name}-file`, HTMLElement),
    picture: null,
  };
}

/**
 * @param {import('../pictures/facts.js').Facts} facts
 * @returns {string}
 */
function profileText({ profile, standard }) {
  if (profile === 'broken') {
    return texts.brokenProfile;
  }
  if (profile) {
    return texts.profileAs(
      profile.name || texts.unnamedProfile,
      profile.space,
      profile.kind,
      profile.version,
    );
  }
  return standard ?? texts.noProfile;
}

/**
 * @param {Picture} picture
 * @param {{ x: number, y: number }} at
 * @returns {string} the browser does not say what it has converted from
 */
function valuesInFile({ samples, facts, bitmap }, { x, y }) {
  if (!samples || !facts || !bitmap) {
    return texts.notTold;
  }
  const { numbers, perPixel, most } = samples;
  const inks = { RGB: 3, CMYK: 4, Gray: 1 }[facts.space] ?? 0;
  const start = (y * bitmap.width + x) * perPixel;
  const shares = Array.from(numbers.slice(start, start + inks), (value) => value / most);
  return shares.length === inks && inks > 0
    ? texts.fileValues(facts.space, shares, most)
    : texts.notTold;
}

/**
 * @returns {(picture: ImageBitmap, x: number, y: number) => number[]} reads red, green and blue of a
 *     pixel, in sRGB
 */
function pixelReader() {
  const canvas = new OffscreenCanvas(1, 1);
  const context = canvas.getContext('2d', { willReadFrequently: true });
  return (picture, x, y) => {
    if (!context) {
      return [0, 0, 0];
    }
    context.clearRect(0, 0, 1, 1);
    context.drawImage(picture, x, y, 1, 1, 0, 0, 1, 1);
    return [...context.getImageData(0, 0, 1, 1).data.slice(0, 3)];
  };
}
