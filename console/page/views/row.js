/** One picture in the list: its row, which follows the job. */

import { savedName, isOver } from '../queue/rules.js';
import { thumbnailOf } from '../pictures/decode.js';
import { factsOf } from '../pictures/facts.js';
import { texts } from '../texts/texts.js';
import { make, setText } from './dom.js';

/** @typedef {import('../queue/queue.js').Job} Job */

/**
 * What a row can ask for.
 *
 * @typedef {object} Actions
 * @property {(job: Job) => void} cancel
 * @property {(job: Job) => void} retry
 * @property {(job: Job) => void} remove
 * @property {(job: Job) => void} compare
 * @property {(job: Job) => void} saved
 * @property {(name: string) => string} resultAddress
 */

/** Thumbnails are made one after the other: many at once would make the page unresponsive. */
let thumbnails = Promise.resolve();

export class Row {
  #job;
  #thumbnail = make('canvas', { class: 'thumb-picture', width: '0', height: '0' });
  #facts = make('span', { class: 'facts' });
  #state = make('span', { class: 'state' });
  #time = make('span', { class: 'time' });
  #message = make('p', { class: 'message', hidden: true });
  #upload;
  #conversion;
  #bars;
  #actions = make('div', { class: 'actions' });
  #buttons;
  /** @type {HTMLAnchorElement} */
  #save;
  #looked = false;

  /**
   * @param {Job} job
   * @param {Actions} actions
   */
  constructor(job, actions) {
    this.#job = job;
    const { name } = job.file;
    this.#upload = bar(texts.upload, name);
    this.#conversion = bar(texts.conversion, name);
    this.#bars = make('div', { class: 'bars' }, this.#upload.element, this.#conversion.element);
    this.#save = make(
      'a',
      {
        class: 'button',
        'aria-label': texts.actionOn(texts.save, name),
        click: () => actions.saved(job),
      },
      texts.save,
    );
    this.#buttons = {
      compare: button(texts.compare, name, () => actions.compare(job), 'primary'),
      cancel: button(texts.cancel, name, () => actions.cancel(job)),
      retry: button(texts.retry, name, () => actions.retry(job)),
      remove: button(texts.remove, name, () => actions.remove(job), 'quiet'),
    };
    this.#actions.append(
      this.#buttons.compare,
      this.#save,
      this.#buttons.retry,
      this.#buttons.cancel,
      this.#buttons.remove,
    );
    this.resultAddress = actions.resultAddress;
    this.element = make(
      'li',
      { class: 'job' },
      make('div', { class: 'thumb', 'aria-hidden': 'true' }, this.#thumbnail),
      make(
        'div',
        { class: 'what' },
        make('span', { class: 'name', dir: 'auto' }, name),
        this.#facts,
      ),
      this.#bars,
      make('div', { class: 'progress-text' }, this.#state, this.#time),
      this.#actions,
      this.#message,
    );
    setText(this.#facts, `${texts.size(job.file.size)} ${texts.into(job.configuration)}`);
    this.update();
  }

  get job() {
    return this.#job;
  }

  /** When the row becomes visible for the first time: reads and shows the file's properties. */
  show() {
    if (this.#looked) {
      return;
    }
    this.#looked = true;
    thumbnails = thumbnails.then(() => this.#look()).catch(() => {}); // e.g. the file has gone
  }

  async #look() {
    const { file, configuration } = this.#job;
    const facts = await factsOf(file);
    const told = facts
      ? [facts.format, texts.pixels(facts.width, facts.height), facts.space, texts.size(file.size)]
      : [texts.unknownPicture, texts.size(file.size)];
    setText(this.#facts, `${told.filter(Boolean).join(' · ')} ${texts.into(configuration)}`);
    const picture = await thumbnailOf(file);
    if (picture) {
      this.#thumbnail.width = picture.width;
      this.#thumbnail.height = picture.height;
      this.#thumbnail.getContext('2d')?.drawImage(picture, 0, 0);
      picture.close();
    } else {
      const label = make('span', {}, facts?.format || texts.outside);
      this.#thumbnail.replaceWith(label);
    }
  }

  /** Shows the job as it is now. */
  update() {
    const job = this.#job;
    const { phase } = job;
    this.element.dataset.phase = phase;
    this.#bars.hidden = isOver(phase);
    this.#upload.set(job.sent);
    this.#conversion.set(job.uploaded === null ? 0 : (job.percent ?? 0) / 100);
    setText(this.#state, this.#stateText());
    setText(this.#message, this.#messageText());
    this.#message.hidden = this.#message.textContent === '';
    this.#showActions();
    this.tick(performance.now());
  }

  /** @param {number} now shows how long it has taken until then */
  tick(now) {
    const { begun, ended, phase, comesBack } = this.#job;
    if (phase === 'holding' && comesBack !== null) {
      setText(this.#time, texts.goesOnIn(Math.max(0, Math.ceil((comesBack - now) / 1000))));
    } else {
      setText(
        this.#time,
        begun === null || phase === 'waiting' ? '' : texts.duration((ended ?? now) - begun),
      );
    }
  }

  #stateText() {
    const { phase, sent, percent, result } = this.#job;
    if (phase === 'done' && result) {
      return `${texts.phases.done} · ${texts.size(result.size)}`;
    }
    if (phase === 'uploading') {
      return `${texts.phases.uploading} ${texts.percent(Math.floor(sent * 100))}`;
    }
    if (phase === 'converting' && percent !== null) {
      return `${texts.phases.converting} ${texts.percent(percent)}`;
    }
    return texts.phases[phase];
  }

  #messageText() {
    const { problem, tooLate, words, phase } = this.#job;
    if (problem) {
      return texts.problem(problem);
    }
    if (phase === 'cancelled' && words.trim() !== '') {
      return texts.cancelledWith(words.trim());
    }
    return tooLate ? texts.tooLate : '';
  }

  #showActions() {
    const { phase, result, file, configuration } = this.#job;
    const focused = this.#actions.contains(document.activeElement);
    this.#buttons.compare.hidden = !result;
    this.#save.hidden = !result;
    if (result) {
      this.#save.href = this.resultAddress(result.name);
      this.#save.download = savedName(file.name, configuration, result.name);
    }
    this.#buttons.cancel.hidden = isOver(phase);
    // Not "disabled": that would remove the keyboard focus.
    this.#buttons.cancel.ariaDisabled = String(phase === 'cancelling' || phase === 'checking');
    this.#buttons.retry.hidden = phase !== 'failed' && phase !== 'cancelled';
    this.#buttons.remove.hidden = !isOver(phase);
    const place = document.activeElement;
    if (
      focused &&
      (!(place instanceof HTMLElement) || place.hidden || !this.#actions.contains(place))
    ) {
      this.#focusFirst();
    }
  }

  /** Keeps the keyboard focus in the row when the button that had it disappears. */
  #focusFirst() {
    for (const element of this.#actions.children) {
      if (element instanceof HTMLElement && !element.hidden) {
        element.focus();
        return;
      }
    }
  }
}

/**
 * @param {string} label
 * @param {string} name
 */
function bar(label, name) {
  const progress = make('progress', {
    max: '1',
    value: '0',
    'aria-label': texts.barOf(label, name),
  });
  return {
    element: make(
      'div',
      { class: 'bar' },
      make('span', { 'aria-hidden': 'true' }, label),
      progress,
    ),
    /** @param {number} share 0 to 1 */
    set: (share) => {
      progress.value = share;
    },
  };
}

/**
 * @param {string} action
 * @param {string} name
 * @param {() => void} act
 * @param {string} [kind]
 */
function button(action, name, act, kind = '') {
  return make(
    'button',
    { type: 'button', class: kind, 'aria-label': texts.actionOn(action, name), click: act },
    action,
  );
}
