// The inbox in the browser: puts the views together, and takes to each what the inbox tells.

import { fetchStatus, findPage, messageOf, restorePages, trashPages } from './api.js';
import { Arrivals } from './arrivals.js';
import { InkDesk } from './desk.js';
import { button, el } from './dom.js';
import { asSentence, plural } from './format.js';
import { acceptDrops, chooseFiles } from './imports.js';
import { Library } from './library.js';
import { Live } from './live.js';
import { addNotices, ask, notify, say } from './notices.js';
import { dropLeftInk, sendLeftInk } from './outbox.js';
import { InkPad } from './padview.js';
import { InkPage } from './pageview.js';
import { addressOf, addressOfPage, parseRoute, refusedFiles } from './router.js';
import { actionFor, showShortcuts } from './shortcuts.js';
import { applyTheme } from './theme.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {import('./arrivals.js').PageNews} PageNews */

class App {
  library = new Library();
  live = new Live();
  desk = new InkDesk(this.library);
  /** @type {InkPage | null} */
  page = null;
  /** @type {InkPad | null} */
  pad = null;
  /**
   * Pages that went to the trash last.
   * @type {number[]}
   */
  trashed = [];
  /**
   * Sheets of which people know that they were refused.
   * @type {Set<string>}
   */
  toldRefusals = new Set();
  editsTitle = false;
  service = 'connected';
  /** Why ink can't be kept at the moment. */
  hindrance = '';
  /**
   * Where other ink comes from, if from anywhere.
   * @type {import('./api.js').StreamState | null}
   */
  stream = null;
  banner = el('div', { class: 'banner', role: 'status', hidden: true });
  arrivals = new Arrivals((news) => this.#takeNews(news));

  start() {
    applyTheme();
    document.body.append(this.banner, this.desk);
    addNotices();
    acceptDrops();
    this.#listenToLive();
    this.#listenToDesk();
    addEventListener('hashchange', () => this.#route());
    addEventListener('keydown', (event) => this.#onKey(event));
    this.#route();
    this.live.start();
    this.#sendLeftInk();
  }

  /** Sends what earlier windows, or sheets of this one, could not send. */
  async #sendLeftInk() {
    const { sent, refused } = await sendLeftInk();
    if (sent) notify(`${plural(sent, 'stroke')} that you wrote on the pad earlier ${sent === 1 ? 'is' : 'are'} sent.`);
    for (const { key, error } of refused) {
      if (this.toldRefusals.has(key)) continue;
      this.toldRefusals.add(key);
      notify(`Ink that you wrote on the pad earlier was not taken. ${error} It is still kept in this browser.`, {
        isError: true, stays: true, action: { name: 'Delete it', run: () => this.#dropLeftInk(key) },
      });
    }
  }

  /** @param {string} key */
  async #dropLeftInk(key) {
    const yes = await ask({ title: 'Delete the ink that was not taken?', text: 'It is deleted and can’t be brought back.', yes: 'Delete' });
    if (yes) dropLeftInk(key);
  }

  #listenToLive() {
    const { live } = this;
    const detail = (/** @type {Event} */ event) => /** @type {CustomEvent} */ (event).detail;
    live.addEventListener('page', (event) => this.arrivals.add(detail(event)));
    live.addEventListener('gone', (event) => this.#onGone(detail(event).pages));
    live.addEventListener('back', (event) => this.#refresh(detail(event).pages));
    live.addEventListener('service', (event) => {
      const { service, hindrance = '' } = detail(event);
      this.#setService(service, hindrance);
    });
    live.addEventListener('stream', (event) => {
      this.stream = detail(event);
      this.#showBanner();
    });
    live.addEventListener('reset', () => {
      this.library.reload();
      this.desk.grid.retryPictures();
      if (this.page?.page) this.page.open(this.page.page.id);
    });
    // A connection that is there begins with the states of the service and of the stream, if there is one.
    live.addEventListener('state', () => {
      if (live.state === 'open') return;
      this.stream = null;
      this.#showBanner();
    });
  }

  #listenToDesk() {
    const { desk } = this;
    const on = (/** @type {string} */ kind, /** @type {(detail: any) => void} */ run) =>
      desk.addEventListener(kind, (event) => run(/** @type {CustomEvent} */ (event).detail));
    on('open', (page) => { location.hash = addressOfPage(page.id); });
    on('rename', (page) => {
      this.editsTitle = true;
      location.hash = addressOfPage(page.id);
    });
    on('pad', () => { location.hash = '#/pad'; });
    on('filter', (filter) => {
      // Each letter that is typed is not a step for Back.
      history.replaceState(null, '', addressOf(filter));
      this.library.show(filter);
    });
    on('to-trash', (ids) => this.#trash(ids));
    on('from-trash', (ids) => this.#restore(ids));
  }

  /** @param {string} service @param {string} hindrance */
  #setService(service, hindrance) {
    if (service === 'connected') this.pad?.retry();
    if (service === 'connected' && this.service !== 'connected') this.#sendLeftInk();
    this.service = service;
    this.hindrance = hindrance;
    this.#showBanner();
  }

  #showBanner() {
    const { live, service, hindrance, stream } = this;
    const ofService = service === 'away' ? 'The ink service is away. New ink comes as soon as it is back.'
      : hindrance ? asSentence(hindrance) : '';
    const ofStream = stream?.hindrance ? `No ink comes from the stream: ${stream.hindrance}` : '';
    const words = live.state === 'locked' ? 'This window is no longer known to the inbox. Open it again with: quillpost-inbox --open'
      : live.state === 'away' ? 'The inbox is not running. Everything shows again when it is back.'
        : [ofService, ofStream].filter(Boolean).join(' ');
    const before = this.banner.dataset.words ?? '';
    if (words === before) return;
    this.banner.dataset.words = words;
    this.banner.hidden = !words;
    this.banner.replaceChildren(words, ...(live.state === 'away' ? [button({ name: 'Try now', kind: 'notice-action' }, () => live.retryNow())] : []));
    if (!words) say('Connected again.');
  }

  #tellRefusedFiles() {
    const refused = refusedFiles(location.hash);
    if (!refused) return;
    // Told once, not again when the page is loaded again.
    history.replaceState(null, '', location.hash.split('?')[0]);
    notify(`${plural(refused, 'file')} could not be taken in: damaged, or not ink that the inbox reads. In a terminal, “quillpost-inbox show FILE” says more.`, { isError: true });
  }

  #route() {
    this.#tellRefusedFiles();
    const route = parseRoute(location.hash);
    this.#closeViews(route.view);
    if (route.view === 'page') this.#showPage(route.page);
    else if (route.view === 'pad') this.#showPad();
    else this.#showDesk(route.filter);
  }

  /** @param {string} staying */
  #closeViews(staying) {
    if (staying !== 'page') {
      this.page?.remove();
      this.page = null;
    }
    this.pad?.remove();
    this.pad = null;
    this.desk.hidden = staying !== 'pages';
  }

  /** @param {import('./api.js').Filter} filter */
  #showDesk(filter) {
    document.title = filter.trash ? 'Trash – Ink inbox' : 'Ink inbox';
    if (!this.library.hasLoaded || addressOf(filter) !== addressOf(this.library.filter)) this.library.show(filter);
    else this.desk.grid.focusPage();
  }

  /** @param {number} id */
  #showPage(id) {
    if (!this.page) {
      const page = new InkPage();
      page.addEventListener('close', () => this.#toDesk());
      page.addEventListener('turn', (event) => this.#turn(/** @type {CustomEvent} */ (event).detail));
      page.addEventListener('trash', (event) => {
        this.#trash(/** @type {CustomEvent} */ (event).detail);
        this.#toDesk();
      });
      page.addEventListener('restore', (event) => this.#restore(/** @type {CustomEvent} */ (event).detail));
      document.body.insertBefore(page, this.desk);
      this.page = page;
    }
    this.desk.grid.active = id;
    this.page.open(id, this.editsTitle);
    this.editsTitle = false;
    if (!this.library.hasLoaded) this.library.reload();
  }

  #showPad() {
    const pad = new InkPad();
    pad.addEventListener('close', () => this.#toDesk());
    pad.addEventListener('open', (event) => this.#openPadPage(/** @type {CustomEvent} */ (event).detail.address));
    document.body.insertBefore(pad, this.desk);
    document.title = 'Pad – Ink inbox';
    this.pad = pad;
  }

  #toDesk() {
    location.hash = addressOf(this.library.filter);
  }

  /** @param {string} address */
  async #openPadPage(address) {
    try {
      const page = await findPage(address, (await fetchStatus()).pad.pen);
      if (page) location.hash = addressOfPage(page.id);
      else notify('The page is still on its way.');
    } catch (error) {
      notify(messageOf(error), { isError: true });
    }
  }

  /** @param {number} direction 1 is older */
  async #turn(direction) {
    const { pages } = this.library;
    const at = pages.findIndex((page) => page.id === this.page?.page?.id);
    if (at + direction >= pages.length) await this.library.more();
    const next = this.library.pages[at + direction];
    if (next) location.replace(addressOfPage(next.id));
    else say(direction > 0 ? 'This is the oldest page.' : 'This is the newest page.');
  }

  /** @param {PageNews[]} news */
  #takeNews(news) {
    this.library.update(news);
    for (const page of news) this.page?.update(page);
    const inked = news.filter((page) => page.strokes_from);
    this.desk.grid.markFresh(inked);
  }

  /** @param {number[]} ids */
  #onGone(ids) {
    // Pages that are gone are in the trash now, or nowhere.
    if (this.library.filter.trash) this.library.reload();
    else this.library.remove(ids);
  }

  /**
   * Pages came out of the trash; one of them may be open.
   * @param {number[]} ids
   */
  async #refresh(ids) {
    for (const page of await this.library.refresh(ids)) this.page?.update(page);
  }

  /** @param {number[]} ids */
  async #trash(ids) {
    try {
      await trashPages(ids);
      this.library.remove(ids);
      this.trashed = ids;
      const what = ids.length === 1 ? 'The page is' : `${plural(ids.length, 'page')} are`;
      notify(`${what} in the trash.`, { action: { name: 'Undo', run: () => this.#restore(ids) } });
    } catch (error) {
      notify(`Nothing went to the trash. ${messageOf(error)}`, { isError: true });
    }
  }

  /** @param {number[]} ids */
  async #restore(ids) {
    try {
      await restorePages(ids);
      this.trashed = [];
      await this.#refresh(ids);
      notify(ids.length === 1 ? 'The page is back.' : `${plural(ids.length, 'page')} are back.`);
    } catch (error) {
      notify(`Nothing came back. ${messageOf(error)}`, { isError: true });
    }
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const action = actionFor(event, 'everywhere');
    if (!action || document.querySelector('dialog[open]')) return;
    if (action === 'help') showShortcuts();
    else if (action === 'import') chooseFiles();
    else if (action === 'pad') location.hash = '#/pad';
    else if (action === 'undo-trash' && this.trashed.length && !this.pad) this.#restore(this.trashed);
    else if (action === 'search') this.#search();
    else return;
    event.preventDefault();
  }

  #search() {
    const focus = () => this.desk.search.focusWords();
    if (!this.desk.hidden) {
      focus();
      return;
    }
    // The desk is shown when the address has changed.
    addEventListener('hashchange', focus, { once: true });
    this.#toDesk();
  }
}

new App().start();
