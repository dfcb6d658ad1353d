/** The section "Convert": the configuration, dropped or chosen files, and the list of pictures. */

import { configurationsIn, detailsIn } from '../service/answers.js';
import { NetworkLost, ProxyRejection, isAbort } from '../service/errors.js';
import { isAtWork, isOver } from '../queue/rules.js';
import { texts } from '../texts/texts.js';
import { announce, byId, definitions, make, setText } from './dom.js';
import { Row } from './row.js';

/** @typedef {import('../queue/queue.js').Job} Job */

const TICK_MS = 200;
const CHOSEN = 'vond-configuration';

export class ConvertView {
  #service;
  #queue;
  #compare;
  /** @type {Map<number, Row>} by the job's key */
  #rows = new Map();
  #list = byId('jobs', HTMLOListElement);
  #select = byId('configuration', HTMLSelectElement);
  #details = byId('details', HTMLElement);
  #sight = new IntersectionObserver((entries) => this.#inSight(entries), { rootMargin: '200px' });
  #detailsOf = new AbortController();

  /**
   * @param {import('../service/service.js').Service} service
   * @param {import('../queue/queue.js').Queue} queue
   * @param {(job: Job) => void} compare shows a job in the section "Compare"
   */
  constructor(service, queue, compare) {
    this.#service = service;
    this.#queue = queue;
    this.#compare = compare;
    queue.addEventListener('list', () => this.#showList());
    queue.addEventListener('change', (event) =>
      this.#showJob(/** @type {CustomEvent} */ (event).detail),
    );
    queue.addEventListener('network', () => this.#networkChanged());
    this.#select.addEventListener('change', () => this.#configurationChosen());
    this.#takeFiles();
    this.#listenToToolbar();
    setInterval(() => this.#tick(), TICK_MS);
    this.#showList();
    void this.#loadConfigurations();
  }

  // --- Configurations ------------------------------------------------------------------------

  async #loadConfigurations() {
    this.#offer([], texts.loadingConfigurations);
    try {
      const answer = await this.#service.configurations();
      const names = configurationsIn(answer);
      this.#offer(names, texts.noConfigurations);
      if (names.length === 0) {
        this.#sayOfConfiguration(texts.noConfigurationsBecause(answer));
      } else {
        this.#configurationChosen();
      }
    } catch (error) {
      this.#offer([], texts.noConfigurations);
      this.#sayOfConfiguration(
        error instanceof ProxyRejection ? texts.status(error.status) : texts.networkLost,
      );
      // When somebody logs in, or the service comes back, they are requested again.
      setTimeout(
        () => void this.#loadConfigurations(),
        error instanceof NetworkLost ? 3000 : 10000,
      );
    }
  }

  /**
   * @param {string[]} names
   * @param {string} otherwise shown when there are none
   */
  #offer(names, otherwise) {
    const options = names.length > 0 ? names : [otherwise];
    this.#select.replaceChildren(...options.map((name) => make('option', {}, name)));
    this.#select.disabled = names.length === 0;
    const chosen = remembered();
    if (chosen !== null && names.includes(chosen)) {
      this.#select.value = chosen;
    }
    byId('files', HTMLInputElement).disabled = names.length === 0;
    byId('drop', HTMLElement).classList.toggle('off', names.length === 0);
  }

  #configurationChosen() {
    const name = this.#select.value;
    remember(name);
    this.#detailsOf.abort();
    this.#detailsOf = new AbortController();
    void this.#loadDetails(name, this.#detailsOf.signal);
  }

  /**
   * @param {string} name
   * @param {AbortSignal} signal
   */
  async #loadDetails(name, signal) {
    try {
      const answer = await this.#service.details(name, signal);
      const details = detailsIn(answer);
      if (details) {
        this.#details.replaceChildren(make('dl', {}, ...definitions(details)));
      } else {
        this.#sayOfConfiguration(answer.trim() || texts.fixed.noDetails);
      }
    } catch (error) {
      if (!isAbort(error)) {
        this.#sayOfConfiguration(
          error instanceof ProxyRejection ? texts.status(error.status) : texts.noAnswer,
        );
        setTimeout(() => {
          if (!signal.aborted) {
            void this.#loadDetails(name, signal);
          }
        }, 3000);
      }
    }
  }

  /** @param {string} text */
  #sayOfConfiguration(text) {
    this.#details.replaceChildren(make('p', {}, text));
  }

  // --- Pictures ------------------------------------------------------------------------------

  #takeFiles() {
    const chooser = byId('files', HTMLInputElement);
    chooser.addEventListener('change', () => {
      this.#add([...(chooser.files ?? [])]);
      chooser.value = ''; // so that the same picture can be chosen again
    });
    const drop = byId('drop', HTMLElement);
    let inside = 0; // elements of the page that the pointer has entered, and not left
    document.addEventListener('dragenter', (event) => {
      inside += 1;
      drop.classList.toggle('over', hasFiles(event));
    });
    document.addEventListener('dragleave', () => {
      inside -= 1;
      drop.classList.toggle('over', inside > 0);
    });
    document.addEventListener('dragover', (event) => event.preventDefault());
    document.addEventListener('drop', (event) => {
      event.preventDefault();
      inside = 0;
      drop.classList.remove('over');
      this.#add([...(event.dataTransfer?.files ?? [])]);
    });
  }

  /** @param {File[]} files */
  #add(files) {
    if (files.length === 0 || this.#select.disabled) {
      return;
    }
    announce(texts.added(files.length));
    this.#queue.add(files, this.#select.value);
  }

  #listenToToolbar() {
    byId('cancel-all', HTMLButtonElement).addEventListener('click', () => {
      for (const job of [...this.#queue.jobs].reverse()) {
        this.#queue.cancel(job); // from the end, so that none moves up meanwhile
      }
    });
    byId('retry-failed', HTMLButtonElement).addEventListener('click', () => {
      for (const job of this.#queue.jobs) {
        if (job.phase === 'failed') {
          this.#queue.retry(job);
        }
      }
    });
    byId('clear-over', HTMLButtonElement).addEventListener('click', () => {
      this.#queue.remove(() => true);
      byId('files', HTMLInputElement).focus();
    });
  }

  // --- The list ------------------------------------------------------------------------------

  #showList() {
    const jobs = this.#queue.jobs;
    const keys = new Set(jobs.map((job) => job.key));
    for (const [key, row] of this.#rows) {
      if (!keys.has(key)) {
        this.#sight.unobserve(row.element);
        row.element.remove();
        this.#rows.delete(key);
      }
    }
    const added = document.createDocumentFragment();
    for (const job of jobs) {
      if (!this.#rows.has(job.key)) {
        const row = this.#newRow(job);
        added.append(row.element);
      }
    }
    this.#list.append(added);
    byId('empty', HTMLElement).hidden = jobs.length > 0;
    byId('toolbar', HTMLElement).hidden = jobs.length === 0;
    this.#showSummary();
  }

  /** @param {Job} job */
  #newRow(job) {
    const row = new Row(job, {
      cancel: (which) => this.#queue.cancel(which),
      retry: (which) => this.#queue.retry(which),
      remove: (which) => this.#remove(which),
      compare: this.#compare,
      saved: (which) => this.#queue.markSaved(which),
      resultAddress: (name) => this.#service.resultAddress(name),
    });
    this.#rows.set(job.key, row);
    this.#sight.observe(row.element);
    row.element.dataset.key = String(job.key);
    return row;
  }

  /** @param {Job} job */
  #remove(job) {
    const element = this.#rows.get(job.key)?.element;
    const neighbour = element?.nextElementSibling ?? element?.previousElementSibling;
    this.#queue.remove((other) => other === job);
    const next = neighbour?.querySelector('button:not([hidden]), a:not([hidden])');
    if (next instanceof HTMLElement) {
      next.focus();
    } else {
      byId('files', HTMLInputElement).focus();
    }
  }

  /** @param {IntersectionObserverEntry[]} entries */
  #inSight(entries) {
    for (const { target, isIntersecting } of entries) {
      if (isIntersecting && target instanceof HTMLElement) {
        this.#rows.get(Number(target.dataset.key))?.show();
      }
    }
  }

  /** @param {Job} job */
  #showJob(job) {
    const row = this.#rows.get(job.key);
    if (!row) {
      return;
    }
    const before = row.element.dataset.phase;
    row.update();
    if (before !== job.phase) {
      this.#showSummary();
      if (isOver(job.phase)) {
        announce(texts.announcement(job.file.name, job.phase));
      }
    }
  }

  #showSummary() {
    const counts = { running: 0, waiting: 0, done: 0, failed: 0, cancelled: 0 };
    for (const { phase } of this.#queue.jobs) {
      if (phase === 'done' || phase === 'failed' || phase === 'cancelled') {
        counts[phase] += 1;
      } else {
        counts[isAtWork(phase) ? 'running' : 'waiting'] += 1;
      }
    }
    setText(byId('summary', HTMLElement), texts.summary(counts));
    byId('cancel-all', HTMLButtonElement).disabled = counts.running + counts.waiting === 0;
    byId('retry-failed', HTMLButtonElement).disabled = counts.failed === 0;
    byId('clear-over', HTMLButtonElement).disabled =
      counts.done + counts.failed + counts.cancelled === 0;
  }

  #tick() {
    const now = performance.now();
    for (const row of this.#rows.values()) {
      if (isAtWork(row.job.phase) || row.job.phase === 'holding' || row.job.phase === 'paused') {
        row.tick(now);
      }
    }
  }

  #networkChanged() {
    const notice = byId('network', HTMLElement);
    notice.hidden = this.#queue.online;
    setText(notice, this.#queue.online ? '' : texts.networkLost);
    announce(this.#queue.online ? texts.networkBack : texts.networkLost);
  }
}

/**
 * @param {DragEvent} event
 * @returns {boolean}
 */
function hasFiles(event) {
  return event.dataTransfer?.types.includes('Files') ?? false;
}

/** @returns {string | null} */
function remembered() {
  try {
    return localStorage.getItem(CHOSEN);
  } catch {
    return null; // the user does not allow pages to store anything
  }
}

/** @param {string} configuration */
function remember(configuration) {
  try {
    localStorage.setItem(CHOSEN, configuration);
  } catch {
    // as above
  }
}
