/**
 * Ways in which a request can end without an answer of the service. The service itself answers 200
 * to everything; whatever else comes is a proxy's word, or nobody's.
 */

/** A status other than 2xx: said by the proxy, never by a route of the service. */
export class ProxyRefusal extends Error {
  /**
   * @param {number} status
   * @param {number | null} wait seconds until it may be tried again, where the proxy said so
   */
  constructor(status, wait = null) {
    super(`the proxy answered ${status}`);
    this.name = 'ProxyRefusal';
    this.status = status;
    this.wait = wait;
  }
}

/** No answer: the connection could not be made, or broke. */
export class NetworkLost extends Error {
  constructor() {
    super('no answer came');
    this.name = 'NetworkLost';
  }
}

/** The picture cannot be read from its disk (any more), so nothing was sent. */
export class FileUnreadable extends Error {
  constructor() {
    super('the file cannot be read');
    this.name = 'FileUnreadable';
  }
}

/**
 * @param {unknown} error
 * @returns {boolean} whether the page itself gave the request up
 */
export function isAbort(error) {
  return error instanceof Error && error.name === 'AbortError';
}
