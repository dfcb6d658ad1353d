/**
 * What the service's texts mean. Plain functions on values; docs/interface.md is the source.
 */

/**
 * The percentage that a text of /progressInfo tells: the last one, when several lines came at once.
 *
 * @param {string} text
 * @returns {number | null} 0 to 100; null when nothing is told, before and after the conversion too
 */
export function percentOf(text) {
  const told = [...text.matchAll(/Progress: *(\d+)/g)].pop();
  return told ? Math.min(100, Number(told[1])) : null;
}

/**
 * Whether an answer of /convert can be a file's name. That it is one is only told by fetching it: an
 * explanation names no file.
 *
 * @param {string} answer
 * @returns {boolean}
 */
export function mayBeName(answer) {
  return (
    answer !== '' && answer.length <= 255 && !/[/\\\p{Cc}]/u.test(answer) && !/^\.+$/.test(answer)
  );
}

/**
 * Whether the text is the service's own word for not being set up. It stands in place of any answer
 * that would have come from the tool.
 *
 * @param {string} text
 * @returns {boolean}
 */
export function isNotSetUp(text) {
  return /^error: no vond(Path set|-exe not found:)/.test(text);
}

/**
 * The names in an answer of /listconfigurations, one a line.
 *
 * @param {string} text
 * @returns {string[]} empty when there are none, or the service is not set up
 */
export function configurationsIn(text) {
  if (isNotSetUp(text)) {
    return [];
  }
  const names = text
    .split(/\r?\n/)
    .map((line) => line.trim())
    .filter((line) => line !== '');
  return [...new Set(names)];
}

/**
 * An answer of /configDetails as pairs to show. The tools known so far write a JSON object.
 *
 * @param {string} text
 * @returns {[string, string][] | null} null when it is anything else, which is then shown as it is
 */
export function detailsIn(text) {
  let value;
  try {
    value = JSON.parse(text);
  } catch {
    return null;
  }
  if (value === null || typeof value !== 'object' || Array.isArray(value)) {
    return null;
  }
  return Object.entries(value).map(([key, detail]) => [
    key,
    typeof detail === 'string' ? detail : JSON.stringify(detail),
  ]);
}

/**
 * Seconds that a Retry-After asks to wait (RFC 9110, section 10.2.3).
 *
 * @param {string | null} field a number of seconds, or a date
 * @param {number} now milliseconds since 1970
 * @returns {number | null} null when there is none, or it cannot be read
 */
export function retryAfter(field, now) {
  if (field === null) {
    return null;
  }
  if (/^\d+$/.test(field.trim())) {
    return Number(field);
  }
  const date = Date.parse(field);
  return Number.isNaN(date) ? null : Math.max(0, Math.ceil((date - now) / 1000));
}
