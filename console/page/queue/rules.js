/**
 * The decisions of the queue, as plain functions on values: what is next, what a failure means,
 * what a picture is called on the service. Nothing here sends, waits or displays.
 */

import { FileUnreadable, NetworkLost, ProxyRejection, isAbort } from '../service/errors.js';

/**
 * Where a job is:
 * - waiting: for its turn
 * - uploading, converting, cancelling (asked to stop, not yet answered), checking (is there a result?)
 * - holding: the proxy asked to come back later; paused: no network
 * - done, failed, cancelled: over
 *
 * @typedef {'waiting' | 'uploading' | 'converting' | 'cancelling' | 'checking' | 'holding' | 'paused'
 *     | 'done' | 'failed' | 'cancelled'} Phase
 */

/**
 * Why a job failed: the tool's explanation, a missing result, a status from the proxy, or a local
 * problem.
 *
 * @typedef {{ kind: 'tool', words: string } | { kind: 'gone' } | { kind: 'status', status: number }
 *     | { kind: 'file' } | { kind: 'network' } | { kind: 'page', words: string }} Problem
 */

/**
 * The outcome for a job whose request failed.
 *
 * @typedef {{ phase: 'failed', problem: Problem } | { phase: 'holding', seconds: number }
 *     | { phase: 'paused' } | { phase: 'cancelled' }} Outcome
 */

/**
 * Jobs at work at the same time. Browsers open at most six connections to a server over HTTP/1.1;
 * an upload or a conversion occupies one, and polls and cancellations need the others.
 */
export const AT_ONCE = 4;

/** How often a job is retried automatically, after a rejection or a lost connection. */
export const MOST_RETURNS = 5;

/**
 * @param {Phase} phase
 * @returns {boolean} whether the job occupies one of the places
 */
export function isAtWork(phase) {
  return ['uploading', 'converting', 'cancelling', 'checking'].includes(phase);
}

/**
 * @param {Phase} phase
 * @returns {boolean}
 */
export function isOver(phase) {
  return ['done', 'failed', 'cancelled'].includes(phase);
}

/**
 * The jobs that start now, in order.
 *
 * @template {{ phase: Phase }} J
 * @param {readonly J[]} jobs all, in the order of the queue
 * @param {boolean} online
 * @returns {J[]}
 */
export function nextOf(jobs, online) {
  if (!online) {
    return [];
  }
  const places = AT_ONCE - jobs.filter((job) => isAtWork(job.phase)).length;
  return jobs.filter((job) => job.phase === 'waiting').slice(0, Math.max(0, places));
}

/**
 * The outcome for a job, depending on how its request failed.
 *
 * A rejection with 429 or 503 comes before anything was started, so retrying is safe. 502 and 504
 * are not retried automatically: nobody knows whether the conversion has run.
 *
 * @param {unknown} error
 * @param {number} returns how often the job has come back already
 * @returns {Outcome}
 */
export function outcomeOf(error, returns) {
  if (isAbort(error)) {
    return { phase: 'cancelled' };
  }
  if (error instanceof FileUnreadable) {
    return { phase: 'failed', problem: { kind: 'file' } };
  }
  if (error instanceof NetworkLost) {
    return returns < MOST_RETURNS
      ? { phase: 'paused' }
      : { phase: 'failed', problem: { kind: 'network' } };
  }
  if (error instanceof ProxyRejection) {
    if ((error.status === 429 || error.status === 503) && returns < MOST_RETURNS) {
      return { phase: 'holding', seconds: error.wait ?? 2 ** returns };
    }
    return { phase: 'failed', problem: { kind: 'status', status: error.status } };
  }
  return { phase: 'failed', problem: { kind: 'page', words: String(error) } };
}

/**
 * What it means if there is no file with the name that a conversion returned.
 *
 * @param {string} answer
 * @param {string} id the upload's, with which the names of its results begin
 * @returns {Problem}
 */
export function problemWithout(answer, id) {
  return answer.startsWith(`${id}_`) ? { kind: 'gone' } : { kind: 'tool', words: answer };
}

/**
 * The suffix of a file name if it is a plain one, because the tool uses it.
 *
 * @param {string} name
 * @returns {string} with its dot; empty when there is none
 */
export function suffixOf(name) {
  return /\.[A-Za-z0-9]{1,8}$/.exec(name)?.[0] ?? '';
}

/**
 * The name under which a picture is uploaded: a unique one, because an upload replaces a file of
 * the same name. Its own name is kept here.
 *
 * @param {string} name
 * @param {string} id
 * @returns {string}
 */
export function uploadName(name, id) {
  return id + suffixOf(name).toLowerCase();
}

/**
 * The name under which a result is saved: from the picture, the configuration and the result's
 * format.
 *
 * @param {string} name the picture's own
 * @param {string} configuration
 * @param {string} result the result's name on the service
 * @returns {string}
 */
export function savedName(name, configuration, result) {
  const suffix = suffixOf(name);
  const stem = suffix === '' ? name : name.slice(0, -suffix.length);
  return `${stem}_${configuration}${suffixOf(result)}`;
}

/**
 * @param {{ randomUUID?: () => string, getRandomValues: (array: Uint8Array<ArrayBuffer>) => Uint8Array }} source
 * @returns {string} an ID nobody else has; randomUUID() is missing on pages without encryption
 */
export function freshId(source) {
  if (source.randomUUID) {
    return source.randomUUID();
  }
  const bytes = source.getRandomValues(new Uint8Array(16));
  return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
}
