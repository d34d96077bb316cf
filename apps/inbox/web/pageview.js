// One page: its ink on a stage that fills the window, its title, the replay, and what one can do
// with it.
//
// Events: 'close'; 'turn' with 1 (older) or -1 (newer) as detail; 'trash' and 'restore' with the ids as
// detail.

import { fetchInk, fetchPage, isAbort, messageOf, saveTitle } from './api.js';
import { button, el, rename, setIcon } from './dom.js';
import { exportButton } from './exports.js';
import { about, dayName, describePage, pageName, plural, timeOfDay, whenOf } from './format.js';
import { notify, say } from './notices.js';
import { Player } from './player.js';
import { actionFor } from './shortcuts.js';
import { InkStage } from './stage.js';
import { InkTimeline } from './timeline.js';
import { InkTitle } from './title.js';

/** @typedef {import('./api.js').Page} Page */

const panStep = 60;
const zoomStep = 1.25;
const pauseWordMs = 2500;
// Cut pauses shorter than this are not worth a word.
const worthyPauseMs = 60000;

export class InkPage extends HTMLElement {
  /** @type {Page | null} */
  page = null;
  lastStroke = 0;
  lastNow = 0;
  fetching = new AbortController();
  /**
   * The fetches of ink, one after the other: none may bring strokes that another one has.
   * @type {Promise<void>}
   */
  fetches = Promise.resolve();

  constructor() {
    super();
    this.player = new Player();
    this.stage = new InkStage();
    this.timeline = new InkTimeline();
    this.title_ = new InkTitle();
    this.facts = el('p', { class: 'page-facts' });
    this.clockText = el('span', { class: 'replay-clock' });
    this.pauseWord = el('div', { class: 'pause-word', 'aria-hidden': 'true', hidden: true });
    this.playButton = button({ icon: 'play', name: 'Write again', quiet: true }, () => this.player.toggle());
    this.speedButton = button({ name: '1×', kind: 'button speed' }, () => this.#nextSpeed(), { 'aria-label': 'Speed 1' });
    this.skipButton = button({ icon: 'skip', name: 'Skip pauses', quiet: true },
      () => this.player.setSkipsPauses(!this.player.skipsPauses), { 'aria-pressed': 'true' });
    this.trashButton = button({ icon: 'trash', name: 'Move to the trash', quiet: true }, () => this.#move('trash'));
    this.restoreButton = button({ icon: 'restore', name: 'Restore', quiet: true }, () => this.#move('restore'), { hidden: true });
    this.zoomText = button({ name: '100 %', kind: 'button zoom-text' }, () => this.stage.zoomTo(1), { title: 'As large as on paper' });
    this.replay = el('div', { class: 'replay', role: 'group', 'aria-label': 'Replay' },
      this.playButton, this.timeline, this.clockText, this.speedButton, this.skipButton);
    this.zoomBar = this.#makeZoomBar();
    this.window = el('div', { class: 'page-window' }, this.stage, this.pauseWord, this.zoomBar);
    this.#listen();
  }

  connectedCallback() {
    this.classList.add('page');
    this.append(this.#makeHead(), this.window, this.replay);
    this.leaving = new AbortController();
    addEventListener('keydown', (event) => this.#onKey(event), { signal: this.leaving.signal });
  }

  disconnectedCallback() {
    this.leaving?.abort();
    this.fetching.abort();
    this.player.stop();
  }

  #makeHead() {
    return el('header', { class: 'page-head' },
      button({ icon: 'back', name: 'All pages', quiet: true }, () => this.dispatchEvent(new Event('close'))),
      el('div', { class: 'page-name' }, this.title_, this.facts),
      el('div', { class: 'page-tools', role: 'toolbar', 'aria-label': 'Page' },
        button({ icon: 'newer', name: 'Newer page', quiet: true }, () => this.#turn(-1)),
        button({ icon: 'older', name: 'Older page', quiet: true }, () => this.#turn(1)),
        this.exporter = exportButton(() => (this.page ? [this.page] : [])),
        this.trashButton, this.restoreButton));
  }

  #makeZoomBar() {
    return el('div', { class: 'zoom-bar', role: 'group', 'aria-label': 'Size' },
      button({ icon: 'minus', name: 'Further away', quiet: true }, () => this.stage.zoomBy(1 / zoomStep)),
      this.zoomText,
      button({ icon: 'plus', name: 'Closer', quiet: true }, () => this.stage.zoomBy(zoomStep)),
      button({ icon: 'fit', name: 'The whole page', quiet: true }, () => this.stage.fit()));
  }

  #listen() {
    this.player.addEventListener('change', () => this.#onPlayer());
    this.stage.addEventListener('view', () => {
      this.zoomText.textContent = `${Math.round(this.stage.zoom * 100)} %`;
    });
    this.timeline.addEventListener('seek', (event) => this.player.seek(/** @type {CustomEvent} */ (event).detail));
    let wasPlaying = false;
    this.timeline.addEventListener('hold', () => {
      wasPlaying = this.player.isPlaying;
      this.player.pause();
    });
    this.timeline.addEventListener('release', () => {
      if (wasPlaying && this.player.now < this.player.writing.duration) this.player.play();
      wasPlaying = false;
    });
    this.title_.addEventListener('rename', (event) => this.#rename(/** @type {CustomEvent} */ (event).detail));
    this.title_.addEventListener('done', () => this.stage.focus());
  }

  /**
   * Opens a page.
   * @param {number} id @param {boolean} [editsTitle]
   */
  async open(id, editsTitle = false) {
    this.fetching.abort();
    this.fetching = new AbortController();
    const { signal } = this.fetching;
    this.player.setInk([]);
    this.stage.fit();
    try {
      const page = await fetchPage(id);
      if (signal.aborted) return;
      this.#showPage(page);
      say(describePage(page));
      if (editsTitle) this.title_.edit();
      else this.stage.focus({ preventScroll: true });
      if (page.kind === 'ink') this.fetches = this.#fetchInk(id, 0);
    } catch (error) {
      this.#fail(error, signal);
    }
  }

  /**
   * Takes news of a page; of no account unless it is this one.
   * @param {Page} page
   */
  update(page) {
    if (page.id !== this.page?.id || page.revision < this.page.revision) return;
    const hasMore = page.strokes > this.page.strokes;
    this.#showPage(page);
    if (hasMore && page.kind === 'ink') {
      this.fetches = this.fetches.then(() => this.#fetchInk(page.id, this.lastStroke + 1));
    }
  }

  /** @param {number} id @param {number} since 0 for all ink */
  async #fetchInk(id, since) {
    const { signal } = this.fetching;
    try {
      const ink = await fetchInk(id, since, signal);
      if (signal.aborted) return;
      this.stage.setPaper(ink.paper);
      for (const stroke of ink.strokes) this.lastStroke = Math.max(this.lastStroke, stroke.id);
      if (!since) this.player.setInk(ink.strokes);
      else if (ink.strokes.length) this.player.addInk(ink.strokes);
    } catch (error) {
      this.#fail(error, signal);
    }
  }

  /** @param {unknown} error @param {AbortSignal} signal */
  #fail(error, signal) {
    if (isAbort(error) || signal.aborted) return;
    notify(`The page can’t be shown. ${messageOf(error)}`, { isError: true });
    this.dispatchEvent(new Event('close'));
  }

  /** @param {Page} page */
  #showPage(page) {
    if (page.id !== this.page?.id) this.lastStroke = 0;
    this.page = page;
    this.title_.show(page);
    this.facts.textContent = factsOf(page);
    this.stage.describe(describePage(page));
    document.title = `${pageName(page)} – Ink inbox`;
    const isInk = page.kind === 'ink';
    this.classList.toggle('has-no-ink', !isInk);
    this.trashButton.hidden = Boolean(page.trashed);
    this.restoreButton.hidden = !page.trashed;
    this.replay.hidden = !isInk || !page.strokes;
    this.window.querySelector('.page-reason')?.remove();
    if (!isInk) this.window.append(el('p', { class: 'page-reason' }, page.reason || 'This ink can’t be shown.'));
  }

  #onPlayer() {
    const { player } = this;
    if (this.timeline.writing !== player.writing) this.timeline.setWriting(player.writing);
    this.timeline.setNow(player.now);
    this.clockText.textContent = this.timeline.clockText();
    setIcon(this.playButton, player.isPlaying ? 'pause' : 'play');
    rename(this.playButton, player.isPlaying ? 'Pause' : 'Write again');
    this.speedButton.textContent = `${player.speed}×`;
    this.speedButton.setAttribute('aria-label', `Speed ${player.speed}`);
    this.skipButton.setAttribute('aria-pressed', String(player.skipsPauses));
    const skipped = player.isPlaying ? player.writing.skippedBetween(this.lastNow, player.now) : 0;
    if (skipped >= worthyPauseMs) this.#tellPause(skipped);
    this.lastNow = player.now;
    this.stage.show(player.scene());
  }

  /** @param {number} ms */
  #tellPause(ms) {
    this.pauseWord.textContent = `${about(ms)} later`;
    this.pauseWord.hidden = false;
    clearTimeout(this.pauseTimer);
    this.pauseTimer = setTimeout(() => { this.pauseWord.hidden = true; }, pauseWordMs);
  }

  pauseTimer = 0;

  #nextSpeed() {
    const before = this.player.speed;
    this.player.changeSpeed(1);
    if (this.player.speed === before) for (let step = 0; step < 4; step++) this.player.changeSpeed(-1);
  }

  /** @param {number} direction */
  #turn(direction) {
    this.dispatchEvent(new CustomEvent('turn', { detail: direction }));
  }

  /** @param {'trash' | 'restore'} where */
  #move(where) {
    if (this.page) this.dispatchEvent(new CustomEvent(where, { detail: [this.page.id] }));
  }

  /** @param {string} title */
  async #rename(title) {
    const { page } = this;
    if (!page) return;
    try {
      await saveTitle(page.id, title);
      say(title ? `Title is ${title}.` : 'The title is gone.');
    } catch (error) {
      this.title_.show(page);
      notify(`The title was not kept. ${messageOf(error)}`, { isError: true });
    }
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const action = actionFor(event, 'page');
    if (!action || event.target === this.title_.field || document.querySelector('dialog[open]')) return;
    // Space presses the button that has the focus.
    const onButton = event.target instanceof Element && event.target.closest('button');
    if (onButton && (event.key === ' ' || event.key.startsWith('Arrow'))) return;
    event.preventDefault();
    this.#act(action);
  }

  /** @param {string} action */
  #act(action) {
    const { stage, player } = this;
    switch (action) {
      case 'back': this.dispatchEvent(new Event('close')); break;
      case 'newer': this.#turn(-1); break;
      case 'older': this.#turn(1); break;
      case 'play': player.toggle(); break;
      case 'slower': player.changeSpeed(-1); break;
      case 'faster': player.changeSpeed(1); break;
      case 'zoom-in': stage.zoomBy(zoomStep); break;
      case 'zoom-out': stage.zoomBy(1 / zoomStep); break;
      case 'fit': stage.fit(); break;
      case 'actual-size': stage.zoomTo(1); break;
      case 'pan-left': stage.panBy(panStep, 0); break;
      case 'pan-right': stage.panBy(-panStep, 0); break;
      case 'pan-up': stage.panBy(0, panStep); break;
      case 'pan-down': stage.panBy(0, -panStep); break;
      case 'rename': this.title_.edit(); break;
      case 'export': this.exporter?.querySelector('button')?.click(); break;
      case 'trash':
        if (this.page?.trashed) say('The page is in the trash.');
        else this.#move('trash');
        break;
    }
  }

  /** @type {HTMLElement | undefined} */
  exporter;
}

/**
 * "67 strokes · Today 09:00 · written in 1 minute · page 1.2.3.4 · pen …".
 * @param {Page} page
 */
function factsOf(page) {
  const facts = [];
  if (page.kind === 'ink') facts.push(plural(page.strokes, 'stroke'));
  facts.push(`${dayName(whenOf(page))} ${timeOfDay(whenOf(page))}`);
  if (page.address && !pageName(page).includes(page.address)) facts.push(`page ${page.address}`);
  facts.push(`pen ${page.pen}`);
  return facts.join(' · ');
}

customElements.define('ink-page', InkPage);
