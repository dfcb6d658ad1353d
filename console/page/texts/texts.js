/**
 * The texts in the user's language. To add one, write a file like en.js and name it here.
 */

import * as english from './en.js';

const languages = [english];

/**
 * @param {readonly string[]} wanted language tags, the dearest first
 * @returns {typeof english}
 */
export function textsFor(wanted) {
  for (const tag of wanted) {
    const found = languages.find(({ language }) => language === tag.split('-')[0].toLowerCase());
    if (found) {
      return found;
    }
  }
  return english;
}

export const { language, texts } = textsFor(globalThis.navigator?.languages ?? []);
