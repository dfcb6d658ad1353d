/**
 * A client for the service's interface (docs/interface.md): one method for each route the page
 * uses.
 *
 * Every method rejects with ProxyRejection, NetworkLost or, when its signal was used, an AbortError.
 * What the service itself returns, including failures, is the value.
 */

import { FileUnreadable, NetworkLost, ProxyRejection, isAbort } from './errors.js';
import { retryAfter } from './answers.js';

/**
 * @typedef {object} Conversion
 * @property {string} fileName the name it was uploaded under
 * @property {string} configuration
 * @property {string} id of this conversion alone: a used cancel ID would stop the next one at once
 */

/**
 * @typedef {object} ResultFacts
 * @property {string} name to fetch it by
 * @property {number} size in bytes
 * @property {string} type the content type, which the service derives from the bytes
 */

/**
 * Where the service is, seen from the page: one folder up. Without the name and password that may
 * be in the page's address: fetch() rejects such addresses, and the browser knows them anyway.
 *
 * @param {string} pageAddress
 * @returns {string} ends with a slash
 */
export function serviceAddress(pageAddress) {
  const address = new URL('../', pageAddress);
  return address.origin + address.pathname;
}

export class Service {
  #base;
  #fetch;
  #newRequest;

  /**
   * @param {string} base address of the service, with a slash at its end
   * @param {object} [means] for tests
   * @param {typeof globalThis.fetch} [means.fetch]
   * @param {() => XMLHttpRequest} [means.newRequest]
   */
  constructor(base, means = {}) {
    this.#base = base;
    this.#fetch = means.fetch ?? ((...request) => globalThis.fetch(...request));
    this.#newRequest = means.newRequest ?? (() => new XMLHttpRequest());
  }

  /**
   * @param {string[]} segments of the path, not yet encoded
   * @returns {string}
   */
  address(...segments) {
    return this.#base + segments.map(encodeURIComponent).join('/');
  }

  /**
   * Stores a file. The response does not say whether it was stored; the conversion fails if not.
   *
   * @param {string} name
   * @param {Blob} content
   * @param {object} [options]
   * @param {(share: number) => void} [options.onProgress] 0 to 1, what has left this machine
   * @param {AbortSignal} [options.signal]
   * @returns {Promise<void>} rejects with FileUnreadable, too
   */
  async upload(name, content, { onProgress, signal } = {}) {
    try {
      await this.#send(name, content, onProgress, signal);
    } catch (error) {
      // A file that has gone or changed looks like a broken connection to the request.
      if (error instanceof NetworkLost && !(await isReadable(content))) {
        throw new FileUnreadable();
      }
      throw error;
    }
  }

  /**
   * With XMLHttpRequest: fetch() does not report how much of a body has been sent.
   *
   * @param {string} name
   * @param {Blob} content
   * @param {((share: number) => void) | undefined} onProgress
   * @param {AbortSignal | undefined} signal
   * @returns {Promise<void>}
   */
  #send(name, content, onProgress, signal) {
    return new Promise((resolve, reject) => {
      const aborted = () => new DOMException('the upload was given up', 'AbortError');
      if (signal?.aborted) {
        reject(aborted());
        return;
      }
      const request = this.#newRequest();
      request.open('POST', this.address('upload', name));
      request.setRequestHeader('Content-Type', 'application/octet-stream');
      request.upload.onprogress = (event) => {
        if (event.total > 0) {
          onProgress?.(event.loaded / event.total);
        }
      };
      request.onload = () => {
        if (request.status >= 200 && request.status < 300) {
          resolve();
        } else {
          reject(rejection(request.status, request.getResponseHeader('Retry-After')));
        }
      };
      request.onerror = () => reject(new NetworkLost());
      request.onabort = () => reject(aborted());
      signal?.addEventListener('abort', () => request.abort(), { once: true });
      request.send(content);
    });
  }

  /**
   * Converts an uploaded file. Resolves when the tool has ended, however long that takes; aborting
   * the request does not end the conversion, see cancel().
   *
   * @param {Conversion} conversion
   * @param {AbortSignal} [signal]
   * @returns {Promise<string>} the result's name or an explanation: look() shows which
   */
  convert({ fileName, configuration, id }, signal) {
    // "reqestID" is spelt so in the interface.
    const body = JSON.stringify({ fileName, configuration, reqestID: id, cancelID: id });
    return this.#text(this.address('convert'), { method: 'POST', body, signal });
  }

  /**
   * @param {string} id
   * @returns {Promise<string>} empty when there is nothing to report
   */
  progress(id) {
    return this.#text(this.address('progressInfo', id));
  }

  /**
   * Asks a conversion to stop. Its own request then gets the response.
   *
   * @param {string} id
   * @returns {Promise<boolean>} false when the service could not pass it on
   */
  async cancel(id) {
    return (await this.#text(this.address('cancelConversion', id))) === id;
  }

  /**
   * The same while the page is being closed: nobody waits for the response any more.
   *
   * @param {string} id
   */
  cancelOnLeaving(id) {
    void this.#fetch(this.address('cancelConversion', id), { keepalive: true }).catch(() => {});
  }

  /**
   * Whether there is a file of this name, and what it is, without fetching it.
   *
   * @param {string} name
   * @returns {Promise<ResultFacts | null>}
   */
  async look(name) {
    const answer = await this.#ask(this.address('getConversionResult', name), { method: 'HEAD' });
    const size = Number(answer.headers.get('Content-Length') ?? 0);
    return size > 0 ? { name, size, type: answer.headers.get('Content-Type') ?? '' } : null;
  }

  /**
   * @param {string} name
   * @param {AbortSignal} [signal]
   * @returns {Promise<Blob>} empty when there is no such file
   */
  async result(name, signal) {
    const answer = await this.#ask(this.resultAddress(name), { signal });
    return read(() => answer.blob());
  }

  /**
   * @param {string} name
   * @returns {string}
   */
  resultAddress(name) {
    return this.address('getConversionResult', name);
  }

  /** @returns {Promise<string>} */
  configurations() {
    return this.#text(this.address('listconfigurations'));
  }

  /**
   * @param {string} configuration
   * @param {AbortSignal} [signal]
   * @returns {Promise<string>} whatever the tool says, JSON as a rule
   */
  details(configuration, signal) {
    return this.#text(this.address('configDetails', configuration), { signal });
  }

  /** @returns {Promise<string>} */
  toolVersion() {
    return this.#text(this.address('version'));
  }

  /**
   * @returns {Promise<{ version: string, instance: string | null }>} the instance is named by a
   *     proxy before several services
   */
  async serviceVersion() {
    const answer = await this.#ask(this.address('vondServerVersion'), { cache: 'no-store' });
    const text = await read(() => answer.text());
    return {
      version: text.replace(/^vondServer:/, ''),
      instance: answer.headers.get('Vond-Instance'),
    };
  }

  /** @returns {Promise<string>} the whole log; 403 if the proxy does not allow it */
  log() {
    return this.#text(this.address('getLogFile'), { cache: 'no-store' });
  }

  /**
   * @returns {Promise<boolean>} whether the page of the interface's description is open here
   */
  async hasInterfacePage() {
    const answer = await this.#ask(this.interfaceAddress(), { method: 'HEAD' });
    return (answer.headers.get('Content-Type') ?? '').startsWith('text/html');
  }

  /** @returns {string} */
  interfaceAddress() {
    return `${this.#base}interface/`;
  }

  /**
   * @param {string} address
   * @param {RequestInit} [options]
   * @returns {Promise<string>}
   */
  async #text(address, options) {
    const answer = await this.#ask(address, options);
    return read(() => answer.text());
  }

  /**
   * @param {string} address
   * @param {RequestInit} [options]
   * @returns {Promise<Response>}
   */
  async #ask(address, options) {
    const answer = await read(() => this.#fetch(address, options));
    if (!answer.ok) {
      throw rejection(answer.status, answer.headers.get('Retry-After'));
    }
    return answer;
  }
}

/**
 * @param {number} status
 * @param {string | null} wait
 * @returns {ProxyRejection}
 */
function rejection(status, wait) {
  return new ProxyRejection(status, retryAfter(wait, Date.now()));
}

/**
 * @template T
 * @param {() => Promise<T>} step
 * @returns {Promise<T>}
 */
async function read(step) {
  try {
    return await step();
  } catch (error) {
    throw isAbort(error) ? error : new NetworkLost();
  }
}

/**
 * @param {Blob} content
 * @returns {Promise<boolean>}
 */
async function isReadable(content) {
  try {
    await content.slice(0, 1).arrayBuffer();
    return true;
  } catch {
    return false;
  }
}
