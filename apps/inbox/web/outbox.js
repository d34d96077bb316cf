// Ink of the pad on its way to the service. Until the inbox has said that a stroke is accepted it
// stands in the browser's storage too: a window that is closed, or a service that is away, loses
// none. 'change' is dispatched when `state`, `page` or `unsent` is another.

import { ApiError, messageOf, sendPad } from './api.js';

/** @typedef {import('./api.js').PadStroke} PadStroke */
/** @typedef {import('./api.js').PadSheet} PadSheet */
/** @typedef {'empty' | 'unsent' | 'sending' | 'sent' | 'waiting' | 'refused'} OutboxState waiting: for the service */

const keyPrefix = 'unsent-ink-';
const restMs = 1200;
const retryMs = 5000;

/**
 * Whether it is worth trying again.
 * @param {unknown} error
 */
function willPass(error) {
  return error instanceof ApiError && (error.status === 0 || error.status === 401 || error.status >= 500);
}

export class Outbox extends EventTarget {
  /** @type {OutboxState} */
  state = 'empty';
  /** The address that the inbox gave the sheet; empty before. */
  page = '';
  /** @type {PadStroke[]} */
  unsent = [];
  /** How many of them are on their way. */
  flying = 0;
  error = '';
  timer = 0;

  /** @param {number} width of the sheet, in micrometres @param {number} height */
  constructor(width, height) {
    super();
    this.width = width;
    this.height = height;
    this.key = `${keyPrefix}${crypto.randomUUID()}`;
    // Held as long as this window lives: so sendLeftInk() knows whose ink it finds.
    navigator.locks.request(this.key, () => new Promise((release) => { this.release = release; }));
  }

  /** @type {((value?: unknown) => void) | undefined} */
  release;

  /** @param {PadStroke} stroke */
  add(stroke) {
    this.unsent.push(stroke);
    this.#keep();
    if (this.state !== 'sending' && this.state !== 'waiting') this.#become('unsent');
    this.#sendLater(restMs);
  }

  /**
   * Takes back the last stroke that is still here.
   * @returns {boolean}
   */
  undo() {
    if (this.unsent.length <= this.flying) return false;
    this.unsent.pop();
    this.#keep();
    if (!this.unsent.length) this.#become(this.page ? 'sent' : 'empty');
    return true;
  }

  /** Sends what is here, now. One message at a time: the first one's answer says which page it is. */
  async send() {
    clearTimeout(this.timer);
    if (this.flying || !this.unsent.length) return;
    const strokes = [...this.unsent];
    this.flying = strokes.length;
    this.#become('sending');
    try {
      const { page } = await sendPad({ page: this.page, width: this.width, height: this.height, strokes });
      this.page = page;
      this.unsent.splice(0, strokes.length);
      this.flying = 0;
      this.#keep();
      this.#become(this.unsent.length ? 'unsent' : 'sent');
      if (this.unsent.length) this.#sendLater(restMs);
    } catch (error) {
      this.flying = 0;
      this.error = messageOf(error);
      this.#become(willPass(error) ? 'waiting' : 'refused');
      if (willPass(error)) this.#sendLater(retryMs);
    }
  }

  /** Sends the rest and is no longer needed. What can't be sent now stays in storage. */
  async close() {
    await this.send();
    clearTimeout(this.timer);
    this.release?.();
  }

  /** @param {number} ms */
  #sendLater(ms) {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.send(), ms);
  }

  #keep() {
    if (!this.unsent.length) {
      localStorage.removeItem(this.key);
      return;
    }
    const { page, width, height, unsent: strokes } = this;
    localStorage.setItem(this.key, JSON.stringify({ page, width, height, strokes }));
  }

  /** @param {OutboxState} state */
  #become(state) {
    this.state = state;
    this.dispatchEvent(new Event('change'));
  }
}

/**
 * Sends ink that windows left which are gone.
 * @returns {Promise<number>} strokes that were sent
 */
export async function sendLeftInk() {
  let sent = 0;
  for (const key of Object.keys(localStorage).filter((name) => name.startsWith(keyPrefix))) {
    await navigator.locks.request(key, { ifAvailable: true }, async (lock) => {
      const kept = localStorage.getItem(key);
      if (!lock || !kept) return;
      try {
        /** @type {PadSheet} */
        const sheet = JSON.parse(kept);
        await sendPad(sheet);
        sent += sheet.strokes.length;
      } catch (error) {
        if (willPass(error)) return;
      }
      localStorage.removeItem(key);
    });
  }
  return sent;
}
