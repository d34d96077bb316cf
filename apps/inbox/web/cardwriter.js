// Lets the card under a resting pointer write its page again, in a few seconds.

import { fetchInk } from './api.js';
import { el, wantsLessMotion } from './dom.js';
import { drawBeginning, drawStroke } from './inkdraw.js';
import { Writing } from './writing.js';

/** @typedef {import('./card.js').Card} Card */
/** @typedef {import('./api.js').Stroke} Stroke */

const restMs = 350;
const longestMs = 6000;
// A page with more ink than this would take longer to fetch than to look at.
const mostPoints = 30000;

export class CardWriter {
  /** @type {Card | null} */
  card = null;
  timer = 0;
  frame = 0;
  fetching = new AbortController();
  /** @type {HTMLCanvasElement | null} */
  canvas = null;

  /**
   * The pointer is over this card now.
   * @param {Card | null} card @param {PointerEvent} event
   */
  over(card, event) {
    if (card === this.card) return;
    this.stop();
    if (!card || event.pointerType === 'touch' || !canWrite(card)) return;
    this.card = card;
    this.timer = setTimeout(() => this.#write(card, 0), restMs);
  }

  /**
   * Writes ink that has just arrived, unless the pointer lets a page write.
   * @param {Card} card @param {number} first its first stroke
   */
  writeNews(card, first) {
    if (this.card || !canWrite(card)) return;
    this.card = card;
    this.#write(card, first);
  }

  stop() {
    clearTimeout(this.timer);
    cancelAnimationFrame(this.frame);
    this.fetching.abort();
    this.canvas?.remove();
    this.card?.sheet.classList.remove('is-writing');
    this.card = null;
    this.canvas = null;
  }

  /** @param {Card} card @param {number} first the strokes before this one are there at the start */
  async #write(card, first) {
    this.fetching = new AbortController();
    const { signal } = this.fetching;
    let ink;
    try {
      ink = await fetchInk(card.page.id, 0, signal);
    } catch {
      return;  // The picture is there all the same.
    }
    if (signal.aborted) return;
    const context = this.#makeCanvas(card, ink.paper);
    if (!context) return;
    const isNew = (/** @type {Stroke} */ stroke) => stroke.id >= first;
    for (const stroke of ink.strokes) if (!isNew(stroke)) drawStroke(context, stroke);
    this.#play(context, new Writing(ink.strokes.filter(isNew)), first > 0);
  }

  /** @param {Card} card @param {import('./api.js').Paper} paper */
  #makeCanvas(card, paper) {
    const { clientWidth, clientHeight } = card.sheet;
    const ratio = devicePixelRatio;
    const canvas = el('canvas', { class: 'card-writing', width: Math.round(clientWidth * ratio), height: Math.round(clientHeight * ratio) });
    const context = canvas.getContext('2d');
    const scale = canvas.width / paper.width;
    context?.setTransform(scale, 0, 0, scale, -paper.x * scale, -paper.y * scale);
    card.sheet.append(canvas);
    card.sheet.classList.add('is-writing');
    this.canvas = canvas;
    return context;
  }

  /** @param {CanvasRenderingContext2D} context @param {Writing} writing @param {boolean} endsItself */
  #play(context, writing, endsItself) {
    const speed = Math.max(1, writing.duration / longestMs);
    const began = performance.now();
    let done = 0;
    const step = () => {
      const { whole, points } = writing.at((performance.now() - began) * speed);
      for (; done < whole; done++) drawStroke(context, writing.strokes[done]);
      if (points) drawBeginning(context, writing.strokes[whole], points);
      if (whole < writing.strokes.length) this.frame = requestAnimationFrame(step);
      // By now the card has its new picture.
      else if (endsItself) this.timer = setTimeout(() => this.stop(), restMs);
    };
    step();
  }
}

/** @param {Card} card */
function canWrite(card) {
  const { kind, strokes, points } = card.page;
  return kind === 'ink' && strokes > 0 && points <= mostPoints && !wantsLessMotion();
}
