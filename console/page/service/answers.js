/**
 * What the service's texts mean. Plain functions on values; docs/interface.md is the source.
 */

/**
 * The percentage in a text from /progressInfo: the last one if there are several lines.
 *
 * @param {string} text
 * @returns {number | null} 0 to 100; null if unknown, which includes before and after the
 * conversion
 */
export function percentOf(text) {
  const told = [...text.matchAll(/Progress: *(\d+)/g)].pop();
  return told ? Math.min(100, Number(told[1])) : null;
}

/**
 * Whether a response of /convert can be a file name. Only fetching shows whether it is one: an
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
 * Whether the text is the service's message that it is not configured. It replaces any response
 * that would have come from the tool.
 *
 * @param {string} text
 * @returns {boolean}
 */
export function isNotSetUp(text) {
  return /^error: no vond(Path set|-exe not found:)/.test(text);
}

/**
 * The names in a response of /listconfigurations, one per line.
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
 * A response of /configDetails as pairs to show. The tools known so far print a JSON object.
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
