/** The section "Watch": whether the service is reachable, what it is, and this page's pictures. */

import { ProxyRejection } from '../service/errors.js';
import { texts } from '../texts/texts.js';
import { byId, make, setText } from './dom.js';

const ASK_EVERY_MS = 5000;
/** The most lines of the log that are shown: the last ones. */
const LOG_LINES = 500;

export class WatchView {
  #service;
  #queue;
  #isOpen = false;
  /** @type {string[]} */
  #log = [];

  /**
   * @param {import('../service/service.js').Service} service
   * @param {import('../queue/queue.js').Queue} queue
   */
  constructor(service, queue) {
    this.#service = service;
    this.#queue = queue;
    const refresh = () => this.#isOpen && this.#showJobs();
    queue.addEventListener('list', refresh);
    queue.addEventListener('change', refresh);
    byId('log-load', HTMLButtonElement).addEventListener('click', () => void this.#loadLog());
    byId('log-search', HTMLInputElement).addEventListener('input', () => this.#showLog());
    void this.#ask();
    setInterval(() => void this.#ask(), ASK_EVERY_MS);
  }

  /** @param {boolean} isOpen whether the section is visible */
  set open(isOpen) {
    this.#isOpen = isOpen;
    if (isOpen) {
      this.#showJobs();
      void this.#ask();
      void this.#askTool();
      void this.#askForInterfacePage();
    }
  }

  async #ask() {
    if (document.hidden) {
      return;
    }
    const dot = byId('dot', HTMLElement);
    const before = performance.now();
    try {
      const { version, instance } = await this.#service.serviceVersion();
      dot.dataset.state = 'good';
      this.#say('service-state', texts.isReachable);
      this.#say('service-version', version);
      this.#say('service-instance', instance ?? texts.oneInstance);
      this.#say('service-speed', texts.milliseconds(performance.now() - before));
    } catch (error) {
      dot.dataset.state = 'bad';
      const why = error instanceof ProxyRejection ? texts.status(error.status) : texts.noAnswer;
      this.#say('service-state', texts.isNotReachable(why));
      this.#say('service-speed', texts.outside);
    }
    setText(byId('dot-text', HTMLElement), byId('service-state', HTMLElement).textContent ?? '');
  }

  async #askTool() {
    try {
      this.#say('tool-version', (await this.#service.toolVersion()).trim() || texts.outside);
    } catch (error) {
      this.#say(
        'tool-version',
        error instanceof ProxyRejection ? texts.status(error.status) : texts.noAnswer,
      );
    }
  }

  async #askForInterfacePage() {
    const place = byId('interface', HTMLElement);
    const open = await this.#service.hasInterfacePage().catch(() => false);
    place.replaceChildren(
      open
        ? make('a', { href: this.#service.interfaceAddress() }, texts.fixed.interfacePage)
        : texts.interfaceClosed,
    );
  }

  /**
   * @param {string} id
   * @param {string} text
   */
  #say(id, text) {
    setText(byId(id, HTMLElement), text);
  }

  #showJobs() {
    const { jobs } = this.#queue;
    byId('no-jobs', HTMLElement).hidden = jobs.length > 0;
    byId('job-table', HTMLElement).hidden = jobs.length === 0;
    byId('job-rows', HTMLElement).replaceChildren(
      ...jobs.map((job) =>
        make(
          'tr',
          {},
          make('th', { scope: 'row', dir: 'auto' }, job.file.name),
          make('td', {}, job.configuration),
          make('td', { 'data-phase': job.phase }, texts.phases[job.phase]),
          make('td', {}, span(job.begun, job.uploaded)),
          make('td', {}, span(job.uploaded, job.ended)),
        ),
      ),
    );
  }

  async #loadLog() {
    try {
      const text = await this.#service.log();
      this.#log = text.split(/\r?\n/);
      if (this.#log.at(-1) === '') {
        this.#log.pop();
      }
      this.#showLog();
    } catch (error) {
      this.#log = [];
      this.#showLog();
      const closed = error instanceof ProxyRejection && error.status === 403;
      const why = error instanceof ProxyRejection ? texts.status(error.status) : texts.noAnswer;
      this.#say('log-state', closed ? texts.logClosed : why);
    }
  }

  #showLog() {
    const wanted = byId('log-search', HTMLInputElement).value.toLowerCase();
    const found = this.#log.filter((line) => line.toLowerCase().includes(wanted)).slice(-LOG_LINES);
    const box = byId('log-lines', HTMLElement);
    box.hidden = found.length === 0;
    setText(box, found.join('\n'));
    box.scrollTop = box.scrollHeight;
    this.#say(
      'log-state',
      this.#log.length === 0 ? texts.logEmpty : texts.logShown(found.length, this.#log.length),
    );
  }
}

/**
 * @param {number | null} from
 * @param {number | null} to
 * @returns {string}
 */
function span(from, to) {
  return from === null || to === null || to < from ? texts.outside : texts.duration(to - from);
}
