/**
 * Takes pictures through the service, a few at a time: uploads, converts while polling the
 * progress, checks for a result. Knows nothing about the page; emits events when a job changes.
 *
 * Events: "change" (detail: the job) after a change in a job, "list" after jobs were added, moved
 * or removed, "network" after the network was lost or came back.
 */

import { percentOf, mayBeName } from '../service/answers.js';
import { NetworkLost, ProxyRejection } from '../service/errors.js';
import {
  freshId,
  isAtWork,
  isOver,
  nextOf,
  outcomeOf,
  problemWithout,
  uploadName,
} from './rules.js';

/** @typedef {import('./rules.js').Phase} Phase */
/** @typedef {import('./rules.js').Problem} Problem */
/** @typedef {import('../service/service.js').ResultFacts} ResultFacts */

/**
 * The routes that the queue uses.
 *
 * @typedef {Pick<import('../service/service.js').Service, 'upload' | 'convert' | 'progress' | 'cancel'
 *     | 'cancelOnLeaving' | 'look' | 'serviceVersion'>} Routes
 */

/**
 * One picture. Written by the queue only. Times are milliseconds of performance.now().
 *
 * @typedef {object} Job
 * @property {number} key unlike any other's on this page
 * @property {File} file
 * @property {string} configuration
 * @property {Phase} phase
 * @property {string} id of the attempt that runs or ran last; a new one for each
 * @property {number} sent 0 to 1
 * @property {number | null} percent of the conversion; null until the tool has reported it
 * @property {number | null} begun when the upload of the last attempt began
 * @property {number | null} uploaded when it was complete
 * @property {number | null} ended
 * @property {number | null} comesBack when a job that holds goes on
 * @property {number} returns how often it has been retried automatically
 * @property {boolean} tooLate it was to be cancelled, and was done before the tool saw that
 * @property {Problem | null} problem
 * @property {string} words the tool's, after a cancellation
 * @property {ResultFacts | null} result
 * @property {boolean} saved the user has saved the result
 */

const POLL_EVERY_MS = 250;
const POLL_AFTER_REFUSAL_MS = 2000;
const LONGEST_PROBE_PAUSE_MS = 8000;

export class Queue extends EventTarget {
  #service;
  #random;
  /** @type {Job[]} */
  #jobs = [];
  #lastKey = 0;
  #online = true;
  /** @type {Map<Job, AbortController>} uploads that can be aborted */
  #uploads = new Map();
  /** @type {Promise<void> | null} */
  #probing = null;
  /** @type {() => void} */
  #probeNow = () => {};

  /**
   * @param {Routes} service
   * @param {Parameters<typeof freshId>[0]} [random]
   */
  constructor(service, random = globalThis.crypto) {
    super();
    this.#service = service;
    this.#random = random;
  }

  /** @returns {readonly Job[]} in the order in which they were added */
  get jobs() {
    return this.#jobs;
  }

  /** @returns {boolean} false from a broken connection until a probe is answered */
  get online() {
    return this.#online;
  }

  /**
   * @param {Iterable<File>} files
   * @param {string} configuration
   */
  add(files, configuration) {
    for (const file of files) {
      this.#lastKey += 1;
      this.#jobs.push({ key: this.#lastKey, file, configuration, saved: false, ...fresh() });
    }
    this.dispatchEvent(new Event('list'));
    this.#startNext();
  }

  /**
   * Cancels a job, whatever its phase. A running conversion is asked to stop, and is over when it
   * has responded.
   *
   * @param {Job} job
   */
  cancel(job) {
    if (job.phase === 'uploading') {
      this.#uploads.get(job)?.abort();
    } else if (job.phase === 'converting') {
      this.#set(job, { phase: 'cancelling' });
      void this.#askToStop(job);
    } else if (!isOver(job.phase) && !isAtWork(job.phase)) {
      this.#set(job, { phase: 'cancelled', ended: performance.now() });
    }
  }

  /**
   * Restarts a job that is over.
   *
   * @param {Job} job
   */
  retry(job) {
    if (isOver(job.phase)) {
      this.#set(job, fresh());
      this.#startNext();
    }
  }

  /**
   * Removes jobs that are over from the list.
   *
   * @param {(job: Job) => boolean} which
   */
  remove(which) {
    this.#jobs = this.#jobs.filter((job) => !isOver(job.phase) || !which(job));
    this.dispatchEvent(new Event('list'));
  }

  /** @param {Job} job whose result the user has saved */
  markSaved(job) {
    this.#set(job, { saved: true });
  }

  /** @returns {boolean} whether leaving the page would lose work, or results that nobody saved */
  wouldLose() {
    return this.#jobs.some((job) => !isOver(job.phase) || (job.phase === 'done' && !job.saved));
  }

  /** The page is being closed: asks running jobs to stop, without waiting for a response. */
  abandon() {
    for (const job of this.#jobs) {
      if (job.phase === 'converting' || job.phase === 'cancelling') {
        this.#service.cancelOnLeaving(job.id);
      }
    }
  }

  /** The system reports that the network is back: no need to wait for the next probe. */
  probe() {
    this.#probeNow();
  }

  /**
   * @param {Job} job
   * @param {Partial<Job>} changes
   */
  #set(job, changes) {
    Object.assign(job, changes);
    this.dispatchEvent(new CustomEvent('change', { detail: job }));
  }

  #startNext() {
    for (const job of nextOf(this.#jobs, this.#online)) {
      void this.#run(job);
    }
  }

  /** @param {Job} job */
  async #run(job) {
    const id = freshId(this.#random);
    const name = uploadName(job.file.name, id);
    this.#set(job, { phase: 'uploading', id, begun: performance.now(), sent: 0, percent: null });
    try {
      await this.#upload(job, name);
      this.#set(job, { phase: 'converting', sent: 1, uploaded: performance.now() });
      const answer = await this.#convert(job, name);
      await this.#conclude(job, answer);
    } catch (error) {
      this.#afterFailure(job, error);
    }
    this.#startNext();
  }

  /**
   * @param {Job} job
   * @param {string} name
   */
  async #upload(job, name) {
    const giveUp = new AbortController();
    this.#uploads.set(job, giveUp);
    try {
      await this.#service.upload(name, job.file, {
        signal: giveUp.signal,
        onProgress: (sent) => this.#set(job, { sent }),
      });
      // Cancelled after the last byte: nothing was started, so nothing needs to be stopped.
      giveUp.signal.throwIfAborted();
    } finally {
      this.#uploads.delete(job);
    }
  }

  /**
   * @param {Job} job
   * @param {string} name
   * @returns {Promise<string>}
   */
  async #convert(job, name) {
    const ended = new AbortController();
    void this.#follow(job, ended.signal);
    try {
      return await this.#service.convert({
        fileName: name,
        configuration: job.configuration,
        id: job.id,
      });
    } finally {
      ended.abort();
    }
  }

  /**
   * Polls until the conversion has ended. Ignores failures: the conversion's own request reports
   * them.
   *
   * @param {Job} job
   * @param {AbortSignal} ended
   */
  async #follow(job, ended) {
    const { id } = job;
    while (!ended.aborted) {
      let wait = POLL_EVERY_MS;
      try {
        const percent = percentOf(await this.#service.progress(id));
        if (percent !== null && !ended.aborted && percent > (job.percent ?? -1)) {
          this.#set(job, { percent });
        }
      } catch {
        wait = POLL_AFTER_REFUSAL_MS;
      }
      await pause(wait, ended);
    }
  }

  /**
   * The response is a name or an explanation; it is a name if there is a file of that name.
   *
   * @param {Job} job
   * @param {string} answer
   */
  async #conclude(job, answer) {
    const cancelled = job.phase === 'cancelling';
    this.#set(job, { phase: 'checking' });
    const result = mayBeName(answer) ? await this.#look(answer) : null;
    const ended = performance.now();
    if (result) {
      this.#set(job, { phase: 'done', result, percent: 100, ended, tooLate: cancelled });
    } else if (cancelled) {
      this.#set(job, { phase: 'cancelled', words: answer, ended });
    } else {
      this.#set(job, { phase: 'failed', problem: problemWithout(answer, job.id), ended });
    }
  }

  /**
   * Checking for a result can be repeated, so that a connection that breaks after the conversion
   * does not lose it.
   *
   * @param {string} name
   * @returns {Promise<ResultFacts | null>}
   */
  async #look(name) {
    for (let attempt = 0; ; attempt += 1) {
      try {
        return await this.#service.look(name);
      } catch (error) {
        if (error instanceof ProxyRejection && [400, 403, 404, 414].includes(error.status)) {
          return null; // to the proxy, this is not a name
        }
        const outcome = outcomeOf(error, attempt);
        if (outcome.phase === 'paused') {
          await this.#networkIsBack();
        } else if (outcome.phase === 'holding') {
          await pause(outcome.seconds * 1000);
        } else {
          throw error;
        }
      }
    }
  }

  /**
   * @param {Job} job
   * @param {unknown} error
   */
  #afterFailure(job, error) {
    const wasToStop = job.phase === 'cancelling';
    const ran = job.phase === 'converting' || wasToStop;
    const outcome = outcomeOf(error, job.returns);
    if (outcome.phase === 'failed') {
      this.#set(job, { ...outcome, ended: performance.now() });
    } else if (outcome.phase === 'cancelled' || wasToStop) {
      this.#set(job, { phase: 'cancelled', ended: performance.now() });
    } else if (outcome.phase === 'holding') {
      const comesBack = performance.now() + outcome.seconds * 1000;
      this.#set(job, { phase: 'holding', comesBack, returns: job.returns + 1 });
      void pause(outcome.seconds * 1000).then(() => this.#comeBack(job, 'holding'));
    } else {
      this.#set(job, { phase: 'paused', returns: job.returns + 1 });
    }
    if (error instanceof NetworkLost) {
      void this.#goOn(job, job.id, ran);
    }
  }

  /**
   * When the network is back. A conversion whose request broke may still be running, and its
   * response will never be read: it is asked to stop.
   *
   * @param {Job} job
   * @param {string} id
   * @param {boolean} ran
   */
  async #goOn(job, id, ran) {
    await this.#networkIsBack();
    if (ran) {
      await this.#service.cancel(id).catch(() => {});
    }
    this.#comeBack(job, 'paused');
  }

  /**
   * @param {Job} job
   * @param {Phase} from
   */
  #comeBack(job, from) {
    if (job.phase === from) {
      this.#set(job, { phase: 'waiting' });
      this.#startNext();
    }
  }

  /** @param {Job} job */
  async #askToStop(job) {
    const { id } = job;
    for (let attempt = 0; job.id === id && job.phase === 'cancelling'; attempt += 1) {
      try {
        await this.#service.cancel(id);
        return;
      } catch {
        await pause(Math.min(1000 * 2 ** attempt, LONGEST_PROBE_PAUSE_MS));
      }
    }
  }

  /** @returns {Promise<void>} resolved when there is any response, even a rejection */
  #networkIsBack() {
    this.#probing ??= this.#probeUntilAnswered().finally(() => {
      this.#probing = null;
    });
    return this.#probing;
  }

  async #probeUntilAnswered() {
    this.#setOnline(false);
    for (let wait = 500; ; wait = Math.min(wait * 2, LONGEST_PROBE_PAUSE_MS)) {
      const { promise, resolve } = deferred();
      this.#probeNow = resolve;
      await Promise.race([pause(wait), promise]);
      try {
        await this.#service.serviceVersion();
        break;
      } catch (error) {
        if (!(error instanceof NetworkLost)) {
          break;
        }
      }
    }
    this.#setOnline(true);
    this.#startNext();
  }

  /** @param {boolean} online */
  #setOnline(online) {
    this.#online = online;
    this.dispatchEvent(new Event('network'));
  }
}

/** The state in which a job starts and restarts. */
function fresh() {
  return {
    /** @type {Phase} */
    phase: 'waiting',
    id: '',
    sent: 0,
    percent: null,
    begun: null,
    uploaded: null,
    ended: null,
    comesBack: null,
    returns: 0,
    tooLate: false,
    problem: null,
    words: '',
    result: null,
  };
}

/**
 * @param {number} ms
 * @param {AbortSignal} [signal] ends the pause early
 * @returns {Promise<void>}
 */
function pause(ms, signal) {
  return new Promise((resolve) => {
    const timer = setTimeout(resolve, ms);
    signal?.addEventListener(
      'abort',
      () => {
        clearTimeout(timer);
        resolve();
      },
      { once: true },
    );
  });
}

function deferred() {
  let resolve = () => {};
  const promise = new Promise((/** @type {(value: void) => void} */ settle) => {
    resolve = () => settle();
  });
  return { promise, resolve };
}
