// What the inbox tells while it happens: ink that arrived, pages that came and went, the service
// that is away. Reconnects by itself for as long as the window is open.
//
// Events: 'page', 'gone', 'back', 'service', 'stream' with what the inbox said as `detail`; 'reset' when
// something may have been missed and lists must be read anew; 'state' when `state` changed.

import { ApiError, fetchStatus } from './api.js';

/** @typedef {'connecting' | 'open' | 'away' | 'locked'} LiveState locked: the inbox no longer knows this window */

const shortestRetryMs = 1000;
const longestRetryMs = 10000;
// A browser has six connections for an inbox and each window takes one as long as it listens. So
// windows that nobody sees give theirs back, and so do those that one has left and that the
// browser keeps for Back.
const hiddenGraceMs = 30000;

export class Live extends EventTarget {
  constructor() {
    super();
    /** @type {LiveState} */
    this.state = 'connecting';
    /** @type {EventSource | null} */
    this.source = null;
    this.retryMs = shortestRetryMs;
    this.timer = 0;
    this.hasMissed = false;
  }

  start() {
    this.#connect();
    document.addEventListener('visibilitychange', () => this.#onVisibility());
    // Whoever comes back to it makes it visible.
    addEventListener('pagehide', () => this.#rest());
  }

  /** Tries again without waiting. */
  retryNow() {
    clearTimeout(this.timer);
    if (!this.source) this.#connect();
  }

  #connect() {
    const source = new EventSource('/api/events');
    this.source = source;
    source.addEventListener('open', () => this.#onOpen());
    source.addEventListener('error', () => this.#onError(source));
    for (const kind of ['page', 'gone', 'back', 'service', 'stream']) {
      source.addEventListener(kind, (event) => {
        this.dispatchEvent(new CustomEvent(kind, { detail: JSON.parse(/** @type {MessageEvent} */ (event).data) }));
      });
    }
    source.addEventListener('reset', () => this.dispatchEvent(new Event('reset')));
  }

  #onOpen() {
    this.retryMs = shortestRetryMs;
    if (this.hasMissed) this.dispatchEvent(new Event('reset'));
    this.hasMissed = false;
    this.#become('open');
  }

  /** @param {EventSource} source */
  #onError(source) {
    if (source !== this.source) return;
    source.close();
    this.source = null;
    this.hasMissed = true;
    this.#become('away');
    this.timer = setTimeout(() => this.#lookAgain(), this.retryMs);
    this.retryMs = Math.min(this.retryMs * 2, longestRetryMs);
  }

  async #lookAgain() {
    try {
      await fetchStatus();
    } catch (error) {
      // An event source does not say why it failed; a plain question does.
      if (error instanceof ApiError && error.status === 401) this.#become('locked');
    }
    if (!this.source) this.#connect();
  }

  #onVisibility() {
    clearTimeout(this.hiddenTimer);
    if (document.visibilityState === 'visible') {
      this.retryNow();
      return;
    }
    this.hiddenTimer = setTimeout(() => this.#rest(), hiddenGraceMs);
  }

  /** Listens no more until retryNow(). */
  #rest() {
    clearTimeout(this.timer);
    this.source?.close();
    this.source = null;
    this.hasMissed = true;
  }

  /** @type {number | undefined} */
  hiddenTimer;

  /** @param {LiveState} state */
  #become(state) {
    // Locked stays until a connection is there: each failed one would say "away" again.
    if (this.state === state || (this.state === 'locked' && state === 'away')) return;
    this.state = state;
    this.dispatchEvent(new Event('state'));
  }
}
