/**
 * Which part of a picture is visible, and how large. Plain functions on values; positions are
 * pixels of the original, each of which takes "scale" screen pixels.
 */

/**
 * @typedef {object} View
 * @property {number} scale screen pixels for each pixel of the picture
 * @property {number} x the picture's place in the middle of the pane
 * @property {number} y
 */

/** @typedef {{ width: number, height: number }} Size */

export const LARGEST_SCALE = 64;

/**
 * The whole picture, as large as possible, but not enlarged.
 *
 * @param {Size} picture
 * @param {Size} pane
 * @returns {View}
 */
export function fitted(picture, pane) {
  const scale = Math.min(pane.width / picture.width, pane.height / picture.height, LARGEST_SCALE);
  return { scale, x: picture.width / 2, y: picture.height / 2 };
}

/**
 * Zooms, keeping the point under the pointer where it is.
 *
 * @param {View} view
 * @param {number} factor
 * @param {{ x: number, y: number }} from in screen pixels from the pane's middle
 * @param {Size} picture
 * @param {Size} pane
 * @returns {View}
 */
export function zoomed(view, factor, from, picture, pane) {
  const smallest = Math.min(1, fitted(picture, pane).scale / 2);
  const scale = Math.min(LARGEST_SCALE, Math.max(smallest, view.scale * factor));
  return kept(
    {
      scale,
      x: view.x + from.x / view.scale - from.x / scale,
      y: view.y + from.y / view.scale - from.y / scale,
    },
    picture,
  );
}

/**
 * @param {View} view
 * @param {number} dx screen pixels that the picture moves to the right
 * @param {number} dy
 * @param {Size} picture
 * @returns {View}
 */
export function moved(view, dx, dy, picture) {
  return kept(
    { scale: view.scale, x: view.x - dx / view.scale, y: view.y - dy / view.scale },
    picture,
  );
}

/**
 * The middle of the pane always shows part of the picture, so that it cannot get lost.
 *
 * @param {View} view
 * @param {Size} picture
 * @returns {View}
 */
function kept(view, picture) {
  return {
    scale: view.scale,
    x: Math.min(Math.max(view.x, 0), picture.width),
    y: Math.min(Math.max(view.y, 0), picture.height),
  };
}

/**
 * @param {View} view
 * @param {{ x: number, y: number }} from in screen pixels from the pane's middle
 * @param {Size} picture
 * @returns {{ x: number, y: number } | null} the pixel there; null outside the picture
 */
export function pixelAt(view, from, picture) {
  const x = Math.floor(view.x + from.x / view.scale);
  const y = Math.floor(view.y + from.y / view.scale);
  return x >= 0 && y >= 0 && x < picture.width && y < picture.height ? { x, y } : null;
}

/**
 * The pixel of another picture at the same place, if both have the same size on the screen.
 *
 * @param {{ x: number, y: number }} pixel
 * @param {Size} picture
 * @param {Size} other
 * @returns {{ x: number, y: number }}
 */
export function counterpart(pixel, picture, other) {
  return {
    x: Math.min(other.width - 1, Math.floor(((pixel.x + 0.5) * other.width) / picture.width)),
    y: Math.min(other.height - 1, Math.floor(((pixel.y + 0.5) * other.height) / picture.height)),
  };
}
