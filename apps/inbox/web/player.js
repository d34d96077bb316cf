// The course of time on an open page: still, played, dragged to a moment, or with ink that has just
// arrived and is being written. 'change' is dispatched whenever something else is on the paper.

import { wantsLessMotion } from './dom.js';
import { Writing } from './writing.js';

/** @typedef {import('./api.js').Stroke} Stroke */
/** @typedef {import('./stage.js').Scene} Scene */

export const speeds = [0.5, 1, 2, 4, 8];
// Ink that arrives is written faster the more there is of it, so that the page is soon complete.
const longestArrivalMs = 2500;

export class Player extends EventTarget {
  /** @type {Stroke[]} in the order in which they are painted */
  strokes = [];
  writing = new Writing([]);
  now = 0;
  speed = 1;
  isPlaying = false;
  skipsPauses = true;
  frame = 0;
  /** @type {{writing: Writing, before: number, began: number, all: Stroke[]} | null} ink that is arriving */
  arrival = null;

  /**
   * Takes all ink of a page; shows it whole.
   * @param {Stroke[]} strokes
   */
  setInk(strokes) {
    this.stop();
    this.strokes = strokes;
    this.writing = new Writing(strokes, this.skipsPauses);
    this.now = this.writing.duration;
    this.#changed();
  }

  /**
   * Takes ink that has just arrived. A page that is shown whole lets it be written.
   * @param {Stroke[]} strokes
   */
  addInk(strokes) {
    const isWhole = this.isWhole;
    const before = this.strokes.length;
    this.strokes = [...this.strokes, ...strokes];
    this.writing = new Writing(this.strokes, this.skipsPauses);
    if (isWhole) {
      this.now = this.writing.duration;
      // Ink that came while other ink was being written joins it.
      const first = this.arrival ? this.arrival.before : before;
      if (!wantsLessMotion()) this.#arrive(first);
    }
    this.#changed();
  }

  /** Whether all ink is on the paper, or on its way there. */
  get isWhole() {
    return !this.isPlaying && this.now >= this.writing.duration;
  }

  /** @returns {Scene} */
  scene() {
    if (this.arrival) {
      const { writing, before, began, all } = this.arrival;
      const { whole, points } = writing.at((performance.now() - began) * arrivalSpeed(writing));
      return { strokes: all, whole: before + whole, points, ghost: false };
    }
    if (this.isWhole) return { strokes: this.strokes, whole: this.strokes.length, points: 0, ghost: false };
    return { strokes: this.writing.strokes, ...this.writing.at(this.now), ghost: true };
  }

  toggle() {
    if (this.isPlaying) this.pause();
    else this.play();
  }

  play() {
    if (!this.strokes.length) return;
    this.#endArrival();
    if (this.now >= this.writing.duration) this.now = 0;
    this.isPlaying = true;
    this.last = performance.now();
    this.#next();
    this.#changed();
  }

  pause() {
    cancelAnimationFrame(this.frame);
    this.isPlaying = false;
    this.#changed();
  }

  /** Ends all movement. */
  stop() {
    cancelAnimationFrame(this.frame);
    this.isPlaying = false;
    this.arrival = null;
  }

  /** @param {number} ms */
  seek(ms) {
    this.#endArrival();
    this.now = Math.min(this.writing.duration, Math.max(0, ms));
    this.last = performance.now();
    this.#changed();
  }

  /** @param {number} direction 1 faster, -1 slower */
  changeSpeed(direction) {
    const at = speeds.indexOf(this.speed);
    this.speed = speeds[Math.min(speeds.length - 1, Math.max(0, at + direction))];
    this.#changed();
  }

  /**
   * The moment stays at the same ink.
   * @param {boolean} skips
   */
  setSkipsPauses(skips) {
    const { whole } = this.writing.at(this.now);
    const isWhole = this.isWhole;
    this.skipsPauses = skips;
    this.writing = new Writing(this.strokes, skips);
    this.now = isWhole ? this.writing.duration : this.writing.starts[whole] ?? this.writing.duration;
    this.#changed();
  }

  /** When the last frame was. */
  last = 0;

  #next() {
    this.frame = requestAnimationFrame(() => {
      const time = performance.now();
      this.now = Math.min(this.writing.duration, this.now + (time - this.last) * this.speed);
      this.last = time;
      if (this.now >= this.writing.duration) this.isPlaying = false;
      else this.#next();
      this.#changed();
    });
  }

  /**
   * Writes the strokes from this one on before one's eyes.
   * @param {number} first
   */
  #arrive(first) {
    const began = this.arrival?.began ?? performance.now();
    const writing = new Writing(this.strokes.slice(first));
    this.arrival = { writing, before: first, began, all: [...this.strokes.slice(0, first), ...writing.strokes] };
    cancelAnimationFrame(this.frame);
    const step = () => {
      const arrival = this.arrival;
      if (!arrival) return;
      if ((performance.now() - arrival.began) * arrivalSpeed(arrival.writing) >= arrival.writing.duration) this.arrival = null;
      else this.frame = requestAnimationFrame(step);
      this.#changed();
    };
    this.frame = requestAnimationFrame(step);
  }

  #endArrival() {
    if (!this.arrival) return;
    cancelAnimationFrame(this.frame);
    this.arrival = null;
  }

  #changed() {
    this.dispatchEvent(new Event('change'));
  }
}

/** @param {Writing} writing */
function arrivalSpeed(writing) {
  return Math.max(1, writing.duration / longestArrivalMs);
}
