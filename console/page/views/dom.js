/** Small helpers for making and finding elements. */

/**
 * @template {keyof HTMLElementTagNameMap} T
 * @param {T} tag
 * @param {Record<string, string | boolean | ((event: any) => void)>} [attributes] functions become
 *     listeners for the event they are named after; false leaves an attribute out
 * @param {...(Node | string)} children
 * @returns {HTMLElementTagNameMap[T]}
 */
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === 'function') {
      element.addEventListener(name, value);
    } else if (value !== false) {
      element.setAttribute(name, value === true ? '' : value);
    }
  }
  element.append(...children);
  return element;
}

/**
 * @template {HTMLElement} E
 * @param {string} id
 * @param {new () => E} type
 * @returns {E}
 */
export function byId(id, type) {
  const element = document.getElementById(id);
  if (!(element instanceof type)) {
    throw new Error(`index.html has no ${type.name} "${id}"`);
  }
  return element;
}

/**
 * Sets a text only if it differs, to avoid needless layout.
 *
 * @param {Node} node
 * @param {string} text
 */
export function setText(node, text) {
  if (node.textContent !== text) {
    node.textContent = text;
  }
}

/**
 * @param {[string, string | Node][]} pairs
 * @returns {Node[]} for a <dl>
 */
export function definitions(pairs) {
  return pairs.map(([name, value]) => make('div', {}, make('dt', {}, name), make('dd', {}, value)));
}

/**
 * Announces something to screen reader users.
 *
 * @param {string} text
 */
export function announce(text) {
  byId('announcements', HTMLElement).textContent = text;
}
