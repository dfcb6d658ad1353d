/**
 * Decodes TIFF pictures in the background, so that the page stays responsive. The decoder (geotiff,
 * see docs/console.md) is loaded with the first picture.
 */

import '../decoder/geotiff.js'; // sets globalThis.GeoTIFF
import { conversionFor } from '../colour/conversion.js';
import { unpackLzw } from './lzw.js';

/**
 * @typedef {object} Task
 * @property {number} id
 * @property {Blob} blob
 * @property {string} space
 * @property {Uint8Array | null} profile
 * @property {number} longest side wanted, in pixels; 0: all of them, and the picture's own numbers
 */

/** Pixels; beyond that a decoded picture would take gigabytes. */
const MOST_PIXELS = 150e6;

const LZW = 5;
// @ts-ignore -- the decoder comes without types here
const { addDecoder, BaseDecoder, fromBlob } = globalThis.GeoTIFF;
addDecoder(
  LZW,
  async () =>
    class extends BaseDecoder {
      /** @param {ArrayBuffer} packed */
      decodeBlock(packed) {
        return unpackLzw(new Uint8Array(packed)).buffer;
      }
    },
);

self.addEventListener('message', async (event) => {
  /** @type {Task} */
  const task = event.data;
  try {
    const decoded = await decode(task);
    const transfer = [decoded.bitmap, ...(decoded.samples ? [decoded.samples.buffer] : [])];
    self.postMessage({ id: task.id, ...decoded }, { transfer });
  } catch (error) {
    self.postMessage({
      id: task.id,
      failure: error instanceof Error ? error.message : String(error),
    });
  }
});

/**
 * @param {Task} task
 */
async function decode({ blob, space, profile, longest }) {
  const tiff = await fromBlob(blob);
  const image = await tiff.getImage();
  const [fullWidth, fullHeight] = [image.getWidth(), image.getHeight()];
  if (fullWidth * fullHeight > MOST_PIXELS) {
    throw new Error('too many pixels');
  }
  const share = longest > 0 ? Math.min(1, longest / Math.max(fullWidth, fullHeight)) : 1;
  const width = Math.max(1, Math.round(fullWidth * share));
  const height = Math.max(1, Math.round(fullHeight * share));
  const colored = image.fileDirectory.getValue
    ? image.fileDirectory.getValue('PhotometricInterpretation')
    : image.fileDirectory.PhotometricInterpretation;
  const inks = { RGB: 3, CMYK: 4, Gray: 1 }[space] ?? 0;
  if (inks === 0 || colored === 6) {
    // Palettes, Lab, YCbCr: the decoder's own way to RGB.
    const rgb = await image.readRGB({ width, height, interleave: true });
    return {
      bitmap: await bitmapOf(rgb, 3, 255, conversionFor(null, 'RGB'), width, height),
      managed: false,
    };
  }
  const samples = await image.readRasters({ width, height, interleave: true });
  const perPixel = samples.length / (width * height);
  const most = samples instanceof Uint8Array ? 255 : samples instanceof Uint16Array ? 65535 : 0;
  if (most === 0 || perPixel < inks) {
    throw new Error('samples of this kind are not shown');
  }
  if (colored === 0) {
    for (let i = 0; i < samples.length; i += perPixel) {
      samples[i] = most - samples[i]; // white is zero
    }
  }
  const conversion = conversionFor(profile, space);
  const bitmap = await bitmapOf(samples, perPixel, most, conversion, width, height);
  return {
    bitmap,
    managed: conversion.managed,
    samples: longest > 0 ? null : samples,
    perPixel,
    most,
  };
}

/**
 * @param {Uint8Array | Uint16Array} samples
 * @param {number} perPixel numbers for each pixel; one that is left over is its opacity
 * @param {number} most
 * @param {import('../colour/conversion.js').Conversion} conversion
 * @param {number} width
 * @param {number} height
 * @returns {Promise<ImageBitmap>}
 */
function bitmapOf(samples, perPixel, most, conversion, width, height) {
  const pixels = new Uint8ClampedArray(width * height * 4);
  const convert = conversion.from(most);
  const opacity = perPixel > conversion.channels ? conversion.channels : -1;
  for (let i = 0, at = 0; i < pixels.length; i += 4, at += perPixel) {
    convert(samples, at, pixels, i);
    pixels[i + 3] = opacity < 0 ? 255 : (samples[at + opacity] / most) * 255;
  }
  return createImageBitmap(new ImageData(pixels, width, height));
}
