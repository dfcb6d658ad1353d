import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  LARGEST_SCALE,
  counterpart,
  fitted,
  moved,
  pixelAt,
  zoomed,
} from '../../console/page/views/viewport.js';

const picture = { width: 400, height: 200 };
const pane = { width: 100, height: 100 };

test('fitted, the whole picture is seen and in the middle', () => {
  assert.deepEqual(fitted(picture, pane), { scale: 0.25, x: 200, y: 100 });
  assert.equal(fitted({ width: 1, height: 1 }, pane).scale, LARGEST_SCALE);
});

test('zooming keeps what is under the pointer where it is', () => {
  const from = { x: 30, y: -20 };
  const before = fitted(picture, pane);
  const after = zoomed(before, 4, from, picture, pane);
  assert.equal(after.scale, 1);
  assert.deepEqual(pixelAt(after, from, picture), pixelAt(before, from, picture));
});

test('zooming ends where nothing more would be seen', () => {
  let view = fitted(picture, pane);
  for (let i = 0; i < 100; i += 1) {
    view = zoomed(view, 1.5, { x: 0, y: 0 }, picture, pane);
  }
  assert.equal(view.scale, LARGEST_SCALE);
  for (let i = 0; i < 100; i += 1) {
    view = zoomed(view, 0.5, { x: 0, y: 0 }, picture, pane);
  }
  assert.equal(view.scale, 0.125);
});

test('a picture cannot be moved out of sight', () => {
  const view = { scale: 2, x: 200, y: 100 };
  assert.deepEqual(moved(view, 10, -10, picture), { scale: 2, x: 195, y: 105 });
  assert.deepEqual(moved(view, 1e6, -1e6, picture), { scale: 2, x: 0, y: 200 });
});

test('beside the picture there is no pixel', () => {
  const view = { scale: 1, x: 0, y: 0 };
  assert.deepEqual(pixelAt(view, { x: 0, y: 0 }, picture), { x: 0, y: 0 });
  assert.equal(pixelAt(view, { x: -1, y: 0 }, picture), null);
  assert.equal(pixelAt(view, { x: 0, y: 200 }, picture), null);
});

test('the same place in a result of another size', () => {
  assert.deepEqual(counterpart({ x: 399, y: 0 }, picture, { width: 200, height: 100 }), {
    x: 199,
    y: 0,
  });
  assert.deepEqual(counterpart({ x: 399, y: 199 }, picture, picture), {
    x: 399,
    y: 199,
  });
});
