/** All texts of the page, in English. For another language, add a file like this: see texts.js. */

/** @typedef {import('../queue/rules.js').Phase} Phase */

export const language = 'en';

const number = new Intl.NumberFormat(language);
const short = new Intl.NumberFormat(language, { maximumSignificantDigits: 3 });

/** @param {number} bytes */
const size = (bytes) => {
  const units = ['bytes', 'kB', 'MB', 'GB'];
  let value = bytes;
  let unit = 0;
  while (value >= 999.5 && unit < units.length - 1) {
    value /= 1000;
    unit += 1;
  }
  return `${short.format(value)}\u00a0${units[unit]}`;
};

/** @param {number} ms */
const duration = (ms) => {
  const seconds = ms / 1000;
  if (seconds < 60) {
    return `${seconds.toFixed(1)}\u00a0s`;
  }
  const minutes = Math.floor(seconds / 60);
  return `${minutes}:${String(Math.floor(seconds % 60)).padStart(2, '0')}\u00a0min`;
};

/** @type {Record<Phase, string>} */
const phases = {
  waiting: 'Waiting',
  uploading: 'Uploading',
  converting: 'Converting',
  cancelling: 'Stopping',
  checking: 'Looking for the result',
  holding: 'Held back by the proxy',
  paused: 'Paused: no connection',
  done: 'Done',
  failed: 'Failed',
  cancelled: 'Cancelled',
};

/** @type {Record<number, string>} */
const statuses = {
  400: 'The proxy took the request for a malformed one (400). Please tell the operator.',
  401: 'The proxy wants a name and a password, or refused yours (401). Reload the page to enter them.',
  403: 'The proxy does not let this page do that (403). Ask the operator to open the route.',
  404: 'There is no such route (404). Is this the address of a vondServer?',
  408: 'The proxy waited too long for the picture (408). Is your connection slow? Try again.',
  410: 'The machine that had your upload cannot be told any more (410). Trying again uploads it anew.',
  411: 'The proxy wants to know the length of an upload (411). Please tell the operator.',
  413: 'The picture is larger than the proxy allows (413). Ask the operator for its largest body.',
  429: 'Too many requests or connections (429). Try again in a moment.',
  502: 'The service ended before it answered (502). Nobody knows whether the conversion has run; trying again converts anew.',
  503: 'The service takes no new work at the moment (503). Try again in a while.',
  504: 'The conversion took longer than the proxy waits (504). It may still be running.',
};

/** @param {number} status */
const status = (status) =>
  statuses[status] ?? `The proxy answered with status ${status}. Please tell the operator.`;

/** @param {import('../queue/rules.js').Problem} problem */
const problem = (problem) => {
  switch (problem.kind) {
    case 'tool':
      return problem.words.trim() || 'The tool failed without a word.';
    case 'gone':
      return 'The conversion ended well, but its result is not there. Was the folder emptied, or has another machine answered? Try again.';
    case 'status':
      return status(problem.status);
    case 'file':
      return 'The file cannot be read. Is it a folder, or has it been moved or changed?';
    case 'network':
      return 'The connection broke again and again.';
    default:
      return `Something is wrong with this page: ${problem.words}`;
  }
};

/** Inserted into index.html, by the name in "data-text" or "data-label". */
export const fixed = {
  title: 'vondServer: convert pictures',
  skip: 'Skip to the content',
  tagline: 'Colour conversion',
  sections: 'Sections',
  convert: 'Convert',
  compare: 'Compare',
  watch: 'Watch',
  configuration: 'Configuration',
  configurationHint: 'counts for the pictures you add from now on',
  noDetails: 'The tool tells nothing about it.',
  add: 'Add pictures',
  dropHere: 'Drop pictures here',
  orChoose: 'or choose them',
  dropHint: 'JPEG, TIFF, PNG and whatever else the tool reads. Each is converted at once.',
  queue: 'Pictures',
  emptyTitle: 'No pictures yet',
  emptyHint: 'What you add is uploaded, converted, and listed here with its progress.',
  cancelAll: 'Cancel all',
  retryFailed: 'Retry failed',
  clearOver: 'Clear finished',
  pair: 'Picture',
  nothingToCompare: 'Nothing to compare yet',
  nothingToCompareHint: 'Convert a picture; then lay the result beside its original here.',
  mode: 'View',
  sideBySide: 'Side by side',
  slider: 'Slider',
  zoomOut: 'Zoom out',
  zoomIn: 'Zoom in',
  fit: 'Fit',
  actualSize: '1:1',
  sliderPosition: 'Where original and result meet',
  stage:
    'Original and result. Arrow keys move the pictures, plus and minus zoom, 0 fits, 1 shows actual size. The values are those under the cross in the middle.',
  original: 'Original',
  result: 'Result',
  place: 'Pixel',
  shownAs: 'Screen (sRGB)',
  inFile: 'File',
  noProof:
    'A browser’s view is no proof: it knows neither your paper nor your light, and need not use your screen’s profile. Judge colours on a calibrated proof.',
  service: 'Service',
  reachable: 'State',
  serviceVersion: 'Version',
  toolVersion: 'Tool',
  instance: 'Instance',
  answersIn: 'Answers in',
  jobsOfThisPage: 'Pictures of this page',
  picture: 'Picture',
  state: 'State',
  uploadTook: 'Upload',
  conversionTook: 'Conversion',
  noJobs: 'None so far.',
  forOperators: 'For operators',
  log: 'Log',
  searchLog: 'Show lines with',
  refreshLog: 'Load',
  interfacePage: 'Description of the interface',
};

export const texts = {
  fixed,
  size,
  duration,
  status,
  problem,
  phases,

  /** @param {number} percent */
  percent: (percent) => `${percent}\u00a0%`,
  /** @param {number} width @param {number} height */
  pixels: (width, height) => `${number.format(width)} × ${number.format(height)}\u00a0px`,
  /** @param {string} configuration */
  into: (configuration) => `→ ${configuration}`,

  upload: 'Upload',
  conversion: 'Conversion',
  /** @param {string} what @param {string} name */
  barOf: (what, name) => `${what} of ${name}`,
  cancel: 'Cancel',
  retry: 'Retry',
  save: 'Save',
  compare: 'Compare',
  remove: 'Remove',
  /** @param {string} action @param {string} name */
  actionOn: (action, name) => `${action} ${name}`,
  tooLate: 'It was done before the tool saw that it was to stop.',
  /** @param {string} words */
  cancelledWith: (words) => `The tool said: ${words}`,
  /** @param {number} seconds */
  goesOnIn: (seconds) => `goes on in ${seconds}\u00a0s`,
  unknownPicture: 'no picture that this page knows',

  /** @param {Record<'running' | 'waiting' | 'done' | 'failed' | 'cancelled', number>} counts */
  summary: ({ running, waiting, done, failed, cancelled }) =>
    [
      running && `${running} running`,
      waiting && `${waiting} waiting`,
      done && `${done} done`,
      failed && `${failed} failed`,
      cancelled && `${cancelled} cancelled`,
    ]
      .filter(Boolean)
      .join(' · '),
  /** @param {string} name @param {Phase} phase */
  announcement: (name, phase) => `${name}: ${phases[phase]}`,
  /** @param {number} count */
  added: (count) => (count === 1 ? 'One picture added' : `${count} pictures added`),

  noConfigurations: 'No configurations',
  loadingConfigurations: 'Asking the tool …',
  /** @param {string} words */
  noConfigurationsBecause: (words) =>
    words.trim() ? `The service answered: ${words.trim()}` : 'The tool lists no configurations.',
  networkLost:
    'The connection is lost. What has not ended waits, and goes on by itself when it is back.',
  networkBack: 'The connection is back.',

  /** @param {string} name @param {string} configuration */
  pairName: (name, configuration) => `${name} → ${configuration}`,
  /** @param {number} scale */
  zoom: (scale) => `${Math.round(scale * 100)}\u00a0%`,
  loading: 'Loading …',
  format: 'Format',
  pixelSize: 'Size',
  fileSize: 'File',
  colourSpace: 'Colours',
  profile: 'Profile',
  /** @param {string} space @param {number} bits */
  colours: (space, bits) => `${space || 'unknown'}, ${bits} bits per channel`,
  noProfile: 'none embedded',
  brokenProfile: 'embedded, but cannot be read',
  unnamedProfile: 'embedded, without a name',
  /** @param {string} name @param {string} space @param {string} kind @param {string} version */
  profileAs: (name, space, kind, version) => `${name} (${space} ${kind}, ICC ${version})`,
  unknownFormat: 'unknown',
  notShown: 'This page cannot show the picture.',
  resultGone: 'The service has this result no more.',
  download: 'Download it',
  notTold: 'not told by the browser',
  unmanaged: 'Shown without its profile: the colours are rough.',
  /** @param {number} x @param {number} y */
  at: (x, y) => `${number.format(x)}, ${number.format(y)}`,
  /** @param {number[]} values */
  rgb: (values) => `R ${values[0]}  G ${values[1]}  B ${values[2]}`,
  /** @param {string} space @param {number[]} shares 0 to 1 @param {number} most */
  fileValues: (space, shares, most) =>
    space === 'CMYK'
      ? shares.map((share, i) => `${'CMYK'[i]} ${Math.round(share * 100)}`).join('  ') + '\u00a0%'
      : space === 'RGB'
        ? shares.map((share, i) => `${'RGB'[i]} ${Math.round(share * most)}`).join('  ')
        : `K ${Math.round((1 - shares[0]) * 100)}\u00a0%`,
  outside: '–',

  isReachable: 'reachable',
  /** @param {string} why */
  isNotReachable: (why) => `not reachable: ${why}`,
  noAnswer: 'no answer',
  oneInstance: 'not told',
  /** @param {number} ms */
  milliseconds: (ms) => `${Math.round(ms)}\u00a0ms`,
  logClosed: 'The log is closed in the proxy (403). An operator can open it for some addresses.',
  logEmpty: 'The log is empty, or logging is off.',
  /** @param {number} shown @param {number} all */
  logShown: (shown, all) => `${number.format(shown)} of ${number.format(all)} lines`,
  interfaceClosed: 'Not served here: an operator can put it up (docs/console.md).',
};
