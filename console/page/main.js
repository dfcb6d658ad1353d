/** Puts the page together. */

import { Queue } from './queue/queue.js';
import { Service, serviceAddress } from './service/service.js';
import { language, texts } from './texts/texts.js';
import { CompareView } from './views/compare.js';
import { ConvertView } from './views/convert.js';
import { byId } from './views/dom.js';
import { WatchView } from './views/watch.js';

const SECTIONS = ['convert', 'compare', 'watch'];

function fillInTexts() {
  document.documentElement.lang = language;
  document.title = texts.fixed.title;
  /** @type {Record<string, string>} */
  const fixed = texts.fixed;
  for (const element of document.querySelectorAll('[data-text]')) {
    element.textContent = fixed[element.getAttribute('data-text') ?? ''];
  }
  for (const element of document.querySelectorAll('[data-label]')) {
    element.setAttribute('aria-label', fixed[element.getAttribute('data-label') ?? '']);
  }
}

/** The sections are parts of one page; the fragment of its address selects the visible one. */
function startNavigation(/** @type {(section: string) => void} */ opened) {
  const show = (/** @type {boolean} */ moveFocus) => {
    const wanted = location.hash.slice(1);
    const current = SECTIONS.includes(wanted) ? wanted : SECTIONS[0];
    for (const section of SECTIONS) {
      byId(section, HTMLElement).hidden = section !== current;
      const link = byId(`to-${section}`, HTMLAnchorElement);
      link.toggleAttribute('aria-current', section === current);
      if (section === current) {
        link.setAttribute('aria-current', 'page');
      }
    }
    if (moveFocus) {
      scrollTo(0, 0);
      byId(`${current}-title`, HTMLElement).focus();
    }
    opened(current);
  };
  addEventListener('hashchange', () => {
    if (location.hash !== '#main') {
      show(true);
    }
  });
  show(false);
}

function start() {
  fillInTexts();
  const service = new Service(serviceAddress(location.href));
  const queue = new Queue(service);
  const compare = new CompareView(service, queue);
  const watch = new WatchView(service, queue);
  new ConvertView(service, queue, (job) => {
    location.hash = '#compare';
    compare.show(job);
  });
  startNavigation((section) => {
    watch.open = section === 'watch';
    if (section === 'compare') {
      compare.open();
    }
  });

  addEventListener('online', () => queue.probe());
  addEventListener('beforeunload', (event) => {
    if (queue.wouldLose()) {
      event.preventDefault();
    }
  });
  addEventListener('pagehide', () => queue.abandon());
}

start();
