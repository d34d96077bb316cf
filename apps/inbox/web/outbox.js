// Ink of the pad on its way to the service. Until the inbox has said that a stroke is accepted it
// stands in the browser's storage too: a window that is closed, or a service that is away, loses
// none. If the storage is full, the window keeps the ink, goes on trying, and asks before it is
// closed. 'change' is dispatched when `state`, `page`, `unsent` or `isKept` is another.

import { ApiError, messageOf, sendPad } from './api.js';
import { plural } from './format.js';
import { notify } from './notices.js';

/** @typedef {import('./api.js').PadStroke} PadStroke */
/** @typedef {import('./api.js').PadSheet} PadSheet */
/** @typedef {'empty' | 'unsent' | 'sending' | 'sent' | 'waiting' | 'refused'} OutboxState waiting: for the service */

export const fullStorage = 'The browser’s storage is full: keep this window open until your ink is sent.';
const keyPrefix = 'unsent-ink-';
// Long enough to take back a stroke that went wrong: what was sent stays.
const restMs = 3000;
const retryMs = 5000;

/**
 * Whether it is worth trying again.
 * @param {unknown} error
 */
function willPass(error) {
  return error instanceof ApiError && (error.status === 0 || error.status === 401 || error.status >= 500);
}

/**
 * Sends the sheet. A page that the inbox does not know (it was begun in another inbox, or before the
 * database was replaced) becomes a new one.
 * @param {PadSheet} sheet @returns {Promise<string>} the page that it is on
 */
async function deliver(sheet) {
  try {
    return (await sendPad(sheet)).page;
  } catch (error) {
    if (!sheet.page || !(error instanceof ApiError) || error.status !== 422) throw error;
    return (await sendPad({ ...sheet, page: '' })).page;
  }
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
  /** Whether all of `unsent` is in the browser's storage too. */
  isKept = true;
  isClosed = false;

  /** @param {number} width of the sheet, in micrometres @param {number} height */
  constructor(width, height) {
    super();
    this.width = width;
    this.height = height;
    this.key = `${keyPrefix}${crypto.randomUUID()}`;
    // Held as long as this window lives: so sendLeftInk() knows whose ink it finds.
    navigator.locks.request(this.key, () => new Promise((release) => { this.release = release; }));
    addEventListener('beforeunload', (event) => {
      if (!this.isKept) event.preventDefault();
    }, { signal: this.leaving.signal });
  }

  leaving = new AbortController();

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
      this.page = await deliver({ page: this.page, width: this.width, height: this.height, strokes });
      this.unsent.splice(0, strokes.length);
      this.flying = 0;
      this.#keep();
      this.#become(this.unsent.length ? 'unsent' : 'sent');
      if (this.unsent.length) this.#sendLater(this.isClosed ? 0 : restMs);
    } catch (error) {
      this.flying = 0;
      this.error = messageOf(error);
      this.#become(willPass(error) ? 'waiting' : 'refused');
      if (willPass(error)) this.#sendLater(retryMs);
      this.#leaveBehind();
    }
    if (this.isClosed && !this.unsent.length) this.#end();
  }

  /**
   * Sends the rest and is no longer needed. What can't be sent now stays in storage, for
   * sendLeftInk().
   */
  close() {
    this.isClosed = true;
    if (this.unsent.length) this.send();
    else this.#end();
  }

  /** Says once that a closed sheet has ink that could not be sent, and where it is. */
  #leaveBehind() {
    if (!this.isClosed) return;
    const where = this.isKept ? 'Kept in this browser.' : fullStorage;
    if (!this.hasToldLeft) notify(`Not sent from the pad: ${plural(this.unsent.length, 'stroke')}. ${this.error} ${where}`, { isError: true });
    this.hasToldLeft = true;
    if (this.isKept) this.#end();
  }

  hasToldLeft = false;

  #end() {
    clearTimeout(this.timer);
    this.leaving.abort();
    this.release?.();
  }

  /** @param {number} ms */
  #sendLater(ms) {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.send(), ms);
  }

  #keep() {
    const { page, width, height, unsent: strokes } = this;
    try {
      if (strokes.length) localStorage.setItem(this.key, JSON.stringify({ page, width, height, strokes }));
      else localStorage.removeItem(this.key);
      this.isKept = true;
    } catch {
      this.isKept = false;  // The storage is full.
    }
  }

  /** @param {OutboxState} state */
  #become(state) {
    this.state = state;
    this.dispatchEvent(new Event('change'));
  }
}

/**
 * Sends ink that windows left which are gone. What is refused stays where it is.
 * @returns {Promise<{sent: number, refused: {key: string, error: string}[]}>} strokes that were sent, and sheets that were not
 */
export async function sendLeftInk() {
  let sent = 0;
  /** @type {{key: string, error: string}[]} */
  const refused = [];
  for (const key of Object.keys(localStorage).filter((name) => name.startsWith(keyPrefix))) {
    await navigator.locks.request(key, { ifAvailable: true }, async (lock) => {
      const kept = localStorage.getItem(key);
      if (!lock || !kept) return;
      try {
        /** @type {PadSheet} */
        const sheet = JSON.parse(kept);
        await deliver(sheet);
        sent += sheet.strokes.length;
        localStorage.removeItem(key);
      } catch (error) {
        if (!willPass(error)) refused.push({ key, error: messageOf(error) });
      }
    });
  }
  return { sent, refused };
}

/**
 * Deletes ink that was refused.
 * @param {string} key
 */
export function dropLeftInk(key) {
  localStorage.removeItem(key);
}
