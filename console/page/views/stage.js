/**
 * Draws original and result on one canvas, side by side or split by a line, and lets both be moved
 * and zoomed together.
 */

import { fitted, moved, pixelAt, zoomed } from './viewport.js';

/** @typedef {import('./viewport.js').View} View */
/** @typedef {'side' | 'slider'} Mode */

/** The step of a key, in screen pixels. */
const STEP = 40;
const ZOOM_STEP = 1.25;
const GAP = 2;
/** How near to the line the pointer grabs it, in screen pixels. */
const GRIP = 14;

/**
 * Events: "view" after the visible part or the size has changed, "probe" after another pixel is
 * under the pointer, "split" after the line has moved.
 */
export class Stage extends EventTarget {
  #canvas;
  #context;
  /** @type {(ImageBitmap | null)[]} */
  #pictures = [null, null];
  #size = { width: 1, height: 1 };
  /** @type {View} */
  #view = { scale: 1, x: 0, y: 0 };
  #isFitted = true;
  /** @type {Mode} */
  #mode = 'side';
  #split = 0.5;
  /** @type {{ x: number, y: number } | null} the pointer on the canvas; null: the middle counts */
  #pointer = null;
  /** @type {Map<number, { x: number, y: number }>} fingers and buttons that are down */
  #down = new Map();
  #holdsLine = false;
  #frame = 0;

  /** @param {HTMLCanvasElement} canvas */
  constructor(canvas) {
    super();
    this.#canvas = canvas;
    const wide = matchMedia('(color-gamut: p3)').matches;
    const context = canvas.getContext('2d', {
      colorSpace: wide ? 'display-p3' : 'srgb',
      alpha: false,
    });
    if (!context) {
      throw new Error('the browser has no canvas');
    }
    this.#context = context;
    new ResizeObserver(() => this.#resized()).observe(canvas);
    canvas.addEventListener('wheel', (event) => this.#wheel(event), { passive: false });
    canvas.addEventListener('pointerdown', (event) => this.#pressed(event));
    canvas.addEventListener('pointermove', (event) => this.#pointed(event));
    canvas.addEventListener('pointerup', (event) => this.#released(event));
    canvas.addEventListener('pointercancel', (event) => this.#released(event));
    canvas.addEventListener('pointerleave', () => this.#point(null));
    canvas.addEventListener('dblclick', (event) =>
      this.zoomBy(2, this.#fromMiddle(this.#place(event))),
    );
    canvas.addEventListener('keydown', (event) => this.#key(event));
  }

  /**
   * @param {ImageBitmap | null} original
   * @param {ImageBitmap | null} result
   */
  show(original, result) {
    this.#pictures = [original, result];
    const { width, height } = original ?? result ?? { width: 1, height: 1 };
    this.#size = { width, height };
    this.fit();
  }

  /** @returns {number} screen pixels for each pixel of the original */
  get scale() {
    return this.#view.scale;
  }

  /** @returns {{ width: number, height: number }} pixels of the original, or of its substitute */
  get size() {
    return this.#size;
  }

  get mode() {
    return this.#mode;
  }

  /** @param {Mode} mode */
  set mode(mode) {
    this.#mode = mode;
    if (this.#isFitted) {
      this.fit();
    } else {
      this.#changed();
    }
  }

  /** @param {number} share of the width that the original has, with the line */
  set split(share) {
    this.#split = Math.min(1, Math.max(0, share));
    this.#draw();
  }

  get split() {
    return this.#split;
  }

  fit() {
    this.#isFitted = true;
    this.#view = fitted(this.#size, this.#pane());
    this.#changed();
  }

  actualSize() {
    this.zoomBy(1 / devicePixelRatio / this.#view.scale);
  }

  /**
   * @param {number} factor
   * @param {{ x: number, y: number }} [from]
   */
  zoomBy(factor, from = { x: 0, y: 0 }) {
    this.#view = zoomed(this.#view, factor, from, this.#size, this.#pane());
    this.#isFitted = false;
    this.#changed();
  }

  /** @returns {{ x: number, y: number } | null} the original's pixel that is pointed at */
  probe() {
    const from = this.#pointer ? this.#fromMiddle(this.#pointer) : { x: 0, y: 0 };
    return pixelAt(this.#view, from, this.#size);
  }

  // --- Places --------------------------------------------------------------------------------

  /** @returns {{ width: number, height: number }} one of the panes, in screen pixels */
  #pane() {
    const { clientWidth, clientHeight } = this.#canvas;
    const width = this.#mode === 'side' ? (clientWidth - GAP) / 2 : clientWidth;
    return { width: Math.max(1, width), height: Math.max(1, clientHeight) };
  }

  /**
   * @param {{ x: number, y: number }} place on the canvas
   * @returns {{ x: number, y: number }} from the middle of the pane it is in
   */
  #fromMiddle({ x, y }) {
    const { width, height } = this.#pane();
    const right = this.#mode === 'side' && x >= width + GAP;
    return { x: x - (right ? width + GAP : 0) - width / 2, y: y - height / 2 };
  }

  /**
   * @param {MouseEvent} event
   * @returns {{ x: number, y: number }}
   */
  #place(event) {
    const { left, top } = this.#canvas.getBoundingClientRect();
    return { x: event.clientX - left, y: event.clientY - top };
  }

  // --- Pointer, wheel, keys ------------------------------------------------------------------

  /** @param {WheelEvent} event */
  #wheel(event) {
    event.preventDefault();
    const lines =
      event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? event.deltaY / 100 : event.deltaY / 3;
    this.zoomBy(ZOOM_STEP ** -lines, this.#fromMiddle(this.#place(event)));
  }

  /** @param {PointerEvent} event */
  #pressed(event) {
    const place = this.#place(event);
    this.#canvas.setPointerCapture(event.pointerId);
    this.#down.set(event.pointerId, place);
    this.#holdsLine = this.#down.size === 1 && this.#isAtLine(place);
    this.#point(place);
  }

  /** @param {PointerEvent} event */
  #pointed(event) {
    const place = this.#place(event);
    const before = this.#down.get(event.pointerId);
    this.#canvas.classList.toggle('at-line', this.#holdsLine || this.#isAtLine(place));
    if (!before) {
      this.#point(place);
      return;
    }
    if (this.#holdsLine) {
      this.split = place.x / this.#canvas.clientWidth;
      this.dispatchEvent(new Event('split'));
    } else if (this.#down.size === 2) {
      this.#pinch(event.pointerId, before, place);
    } else {
      this.#move(place.x - before.x, place.y - before.y);
    }
    this.#down.set(event.pointerId, place);
    this.#point(place);
  }

  /**
   * @param {number} finger
   * @param {{ x: number, y: number }} before
   * @param {{ x: number, y: number }} place
   */
  #pinch(finger, before, place) {
    const other = [...this.#down].find(([id]) => id !== finger)?.[1];
    if (!other) {
      return;
    }
    const span = (/** @type {{ x: number, y: number }} */ at) =>
      Math.hypot(at.x - other.x, at.y - other.y);
    const middle = { x: (place.x + other.x) / 2, y: (place.y + other.y) / 2 };
    this.#move((place.x - before.x) / 2, (place.y - before.y) / 2);
    this.zoomBy(span(place) / Math.max(1, span(before)), this.#fromMiddle(middle));
  }

  /** @param {PointerEvent} event */
  #released(event) {
    this.#down.delete(event.pointerId);
    this.#holdsLine = false;
  }

  /** @param {{ x: number, y: number } | null} place */
  #point(place) {
    this.#pointer = place;
    this.dispatchEvent(new Event('probe'));
    this.#draw();
  }

  /**
   * @param {{ x: number, y: number }} place
   * @returns {boolean}
   */
  #isAtLine(place) {
    return (
      this.#mode === 'slider' && Math.abs(place.x - this.#split * this.#canvas.clientWidth) < GRIP
    );
  }

  /**
   * @param {number} dx
   * @param {number} dy
   */
  #move(dx, dy) {
    this.#view = moved(this.#view, dx, dy, this.#size);
    this.#isFitted = false;
    this.#changed();
  }

  /** @param {KeyboardEvent} event */
  #key(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) {
      return;
    }
    // A pixel at a time if pixels are individually visible.
    const step = Math.max(STEP * (this.#view.scale < 8 ? 1 : 0), this.#view.scale);
    /** @type {Record<string, () => void>} */
    const actions = {
      ArrowLeft: () => this.#move(step, 0),
      ArrowRight: () => this.#move(-step, 0),
      ArrowUp: () => this.#move(0, step),
      ArrowDown: () => this.#move(0, -step),
      '+': () => this.zoomBy(ZOOM_STEP),
      '=': () => this.zoomBy(ZOOM_STEP),
      '-': () => this.zoomBy(1 / ZOOM_STEP),
      0: () => this.fit(),
      1: () => this.actualSize(),
    };
    const action = actions[event.key];
    if (action) {
      event.preventDefault();
      this.#pointer = null; // the cross in the middle applies again
      action();
    }
  }

  // --- Drawing -------------------------------------------------------------------------------

  #resized() {
    const { clientWidth, clientHeight } = this.#canvas;
    this.#canvas.width = Math.max(1, Math.round(clientWidth * devicePixelRatio));
    this.#canvas.height = Math.max(1, Math.round(clientHeight * devicePixelRatio));
    if (this.#isFitted) {
      this.fit();
    } else {
      this.#changed();
    }
  }

  #changed() {
    this.dispatchEvent(new Event('view'));
    this.dispatchEvent(new Event('probe'));
    this.#draw();
  }

  #draw() {
    cancelAnimationFrame(this.#frame);
    this.#frame = requestAnimationFrame(() => this.#paint());
  }

  #paint() {
    const context = this.#context;
    const style = getComputedStyle(this.#canvas);
    context.setTransform(devicePixelRatio, 0, 0, devicePixelRatio, 0, 0);
    context.fillStyle = style.backgroundColor;
    context.fillRect(0, 0, this.#canvas.clientWidth, this.#canvas.clientHeight);
    // No smoothing when pixels are large enough to be seen individually.
    context.imageSmoothingEnabled = this.#view.scale * devicePixelRatio < 2;
    context.imageSmoothingQuality = 'high';
    const { width, height } = this.#pane();
    const [original, result] = this.#pictures;
    if (this.#mode === 'side') {
      this.#paintPane(original, 0, 0, width);
      this.#paintPane(result, width + GAP, 0, width);
      context.fillStyle = style.borderTopColor;
      context.fillRect(width, 0, GAP, height);
    } else {
      const line = Math.round(width * this.#split);
      this.#paintPane(original, 0, 0, line, width);
      this.#paintPane(result, 0, line, width - line, width);
      this.#paintLine(line, height);
    }
    if (!this.#pointer && document.activeElement === this.#canvas) {
      this.#paintCross(width / 2, height / 2);
      if (this.#mode === 'side') {
        this.#paintCross(width + GAP + width / 2, height / 2);
      }
    } else if (this.#pointer && this.#mode === 'side' && this.#down.size === 0) {
      this.#paintTwin(width, height);
    }
  }

  /**
   * @param {ImageBitmap | null} picture
   * @param {number} left of the pane
   * @param {number} from where the visible part begins, seen from the pane's left
   * @param {number} visible
   * @param {number} [whole] the pane's width
   */
  #paintPane(picture, left, from, visible, whole = visible) {
    if (!picture || visible <= 0) {
      return;
    }
    const context = this.#context;
    const { height } = this.#pane();
    const { scale, x, y } = this.#view;
    context.save();
    context.beginPath();
    context.rect(left + from, 0, visible, height);
    context.clip();
    context.drawImage(
      picture,
      left + whole / 2 - x * scale,
      height / 2 - y * scale,
      this.#size.width * scale,
      this.#size.height * scale,
    );
    context.restore();
  }

  /**
   * @param {number} x
   * @param {number} height
   */
  #paintLine(x, height) {
    const context = this.#context;
    context.fillStyle = 'rgb(0 0 0 / 45%)';
    context.fillRect(x - 2, 0, 4, height);
    context.fillStyle = '#fff';
    context.fillRect(x - 1, 0, 2, height);
    context.beginPath();
    context.arc(x, height / 2, 14, 0, 2 * Math.PI);
    context.fill();
    context.strokeStyle = '#00639b';
    context.lineWidth = 2;
    context.beginPath();
    for (const side of [-1, 1]) {
      context.moveTo(x + side * 3, height / 2 - 5);
      context.lineTo(x + side * 8, height / 2);
      context.lineTo(x + side * 3, height / 2 + 5);
    }
    context.stroke();
  }

  /**
   * The place in the other pane that corresponds to the pointer.
   *
   * @param {number} width
   * @param {number} height
   */
  #paintTwin(width, height) {
    const pointer = this.#pointer;
    if (pointer) {
      const { x, y } = this.#fromMiddle(pointer);
      const inRight = pointer.x >= width + GAP;
      this.#paintCross((inRight ? 0 : width + GAP) + width / 2 + x, height / 2 + y);
    }
  }

  /**
   * @param {number} x
   * @param {number} y
   */
  #paintCross(x, y) {
    const context = this.#context;
    for (const [color, thick] of /** @type {[string, number][]} */ ([
      ['rgb(0 0 0 / 70%)', 3],
      ['#fff', 1],
    ])) {
      context.strokeStyle = color;
      context.lineWidth = thick;
      context.beginPath();
      context.moveTo(x - 9, y);
      context.lineTo(x - 3, y);
      context.moveTo(x + 3, y);
      context.lineTo(x + 9, y);
      context.moveTo(x, y - 9);
      context.lineTo(x, y - 3);
      context.moveTo(x, y + 3);
      context.lineTo(x, y + 9);
      context.stroke();
    }
  }
}
