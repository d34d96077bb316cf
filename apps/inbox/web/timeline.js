// A slim strip as long as the writing of a page: the more ink in a moment, the higher. It is also
// the slider of the replay. 'seek' is dispatched with the moment as detail; 'hold' and 'release'
// around dragging.

import { el } from './dom.js';
import { about, clock } from './format.js';
import { onThemeChange } from './theme.js';
import { Writing } from './writing.js';

const barWidth = 3;
const barGap = 1;
const stepMs = 1000;
const pageMs = 10000;

export class InkTimeline extends HTMLElement {
  writing = new Writing([]);
  now = 0;
  /** @type {Float64Array} heights of the bars, 0 to 1 */
  bars = new Float64Array(0);

  constructor() {
    super();
    this.canvas = el('canvas', { 'aria-hidden': 'true' });
    this.resizes = new ResizeObserver(() => this.#measure());
    this.addEventListener('pointerdown', (event) => this.#onDown(event));
    this.addEventListener('pointermove', (event) => {
      if (this.hasPointerCapture(event.pointerId)) this.#seekTo(event);
    });
    this.addEventListener('lostpointercapture', () => this.dispatchEvent(new Event('release')));
    this.addEventListener('keydown', (event) => this.#onKey(event));
  }

  connectedCallback() {
    this.classList.add('timeline');
    this.tabIndex = 0;
    this.setAttribute('role', 'slider');
    this.setAttribute('aria-label', 'Moment of the writing');
    this.setAttribute('aria-valuemin', '0');
    this.append(this.canvas);
    this.leaving = new AbortController();
    onThemeChange(() => this.#draw(), this.leaving.signal);
    this.resizes.observe(this);
  }

  disconnectedCallback() {
    this.leaving?.abort();
    this.resizes.disconnect();
  }

  /** @param {Writing} writing */
  setWriting(writing) {
    this.writing = writing;
    this.setAttribute('aria-valuemax', String(Math.round(writing.duration / 1000)));
    this.#measure();
  }

  /** @param {number} ms */
  setNow(ms) {
    this.now = ms;
    this.setAttribute('aria-valuenow', String(Math.round(ms / 1000)));
    this.setAttribute('aria-valuetext', `${about(ms)} of ${about(this.writing.duration)}`);
    this.#draw();
  }

  #measure() {
    const count = Math.floor(this.clientWidth / (barWidth + barGap));
    if (count < 1) return;
    this.canvas.width = Math.round(this.clientWidth * devicePixelRatio);
    this.canvas.height = Math.round(this.clientHeight * devicePixelRatio);
    const amounts = this.writing.amounts(count);
    const most = Math.max(...amounts, 1);
    // The root lets a slow hand be seen beside a quick one.
    this.bars = amounts.map((amount) => Math.sqrt(amount / most));
    this.#draw();
  }

  #draw() {
    const context = this.canvas.getContext('2d');
    if (!context || !this.bars.length) return;
    const { clientWidth: width, clientHeight: height } = this;
    const { color: played, caretColor: ahead, borderTopColor: hand } = getComputedStyle(this);
    context.setTransform(devicePixelRatio, 0, 0, devicePixelRatio, 0, 0);
    context.clearRect(0, 0, width, height);
    const place = this.writing.duration ? this.now / this.writing.duration * width : width;
    const step = width / this.bars.length;
    this.bars.forEach((bar, index) => {
      const x = index * step;
      const tall = Math.max(2, bar * (height - 6));
      context.fillStyle = x < place ? played : ahead;
      context.fillRect(x, height - 3 - tall, step - barGap, tall);
    });
    context.fillStyle = hand;
    context.fillRect(Math.min(width - 2, Math.max(0, place - 1)), 0, 2, height);
  }

  /** @param {PointerEvent} event */
  #onDown(event) {
    if (event.button !== 0) return;
    this.setPointerCapture(event.pointerId);
    this.dispatchEvent(new Event('hold'));
    this.#seekTo(event);
  }

  /** @param {PointerEvent} event */
  #seekTo(event) {
    const box = this.getBoundingClientRect();
    this.#seek((event.clientX - box.left) / box.width * this.writing.duration);
  }

  /** @param {number} ms */
  #seek(ms) {
    const inside = Math.min(this.writing.duration, Math.max(0, ms));
    this.dispatchEvent(new CustomEvent('seek', { detail: inside }));
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const step = event.shiftKey ? pageMs : stepMs;
    const targets = new Map([
      ['ArrowLeft', this.now - step], ['ArrowDown', this.now - step],
      ['ArrowRight', this.now + step], ['ArrowUp', this.now + step],
      ['PageUp', this.now + pageMs], ['PageDown', this.now - pageMs],
      ['Home', 0], ['End', this.writing.duration],
    ]);
    const target = targets.get(event.key);
    if (target === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    this.#seek(target);
  }

  /** The replay's clock, as text. */
  clockText() {
    return `${clock(this.now)} / ${clock(this.writing.duration)}`;
  }
}

customElements.define('ink-timeline', InkTimeline);
