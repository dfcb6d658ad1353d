/**
 * Ways in which a request can end without a response from a route. Routes always respond with 200;
 * any other status comes from a proxy, or from nobody.
 */

/** A status other than 2xx: from the proxy, never from a route of the service. */
export class ProxyRejection extends Error {
  /**
   * @param {number} status
   * @param {number | null} wait seconds until it may be tried again, where the proxy said so
   */
  constructor(status, wait = null) {
    super(`the proxy answered ${status}`);
    this.name = 'ProxyRejection';
    this.status = status;
    this.wait = wait;
  }
}

/** No response: the connection failed or broke. */
export class NetworkLost extends Error {
  constructor() {
    super('no answer came');
    this.name = 'NetworkLost';
  }
}

/** The picture cannot be read from disk (any more), so nothing was sent. */
export class FileUnreadable extends Error {
  constructor() {
    super('the file cannot be read');
    this.name = 'FileUnreadable';
  }
}

/**
 * @param {unknown} error
 * @returns {boolean} whether the page itself aborted the request
 */
export function isAbort(error) {
  return error instanceof Error && error.name === 'AbortError';
}
