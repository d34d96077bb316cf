// A page that fills its window: its sheet with the ink on it, moved and enlarged by wheel, pointer,
// fingers and keys. What is on the sheet is told with show(); the stage draws only what was added
// as long as the view stays the same. 'view' is dispatched when the view has changed.

import { el } from './dom.js';
import { drawBeginning, drawStroke } from './inkdraw.js';
import { Gestures } from './gestures.js';
import { onThemeChange } from './theme.js';

/** @typedef {import('./api.js').Stroke} Stroke */
/** @typedef {import('./api.js').Paper} Paper */
/** @typedef {{scale: number, x: number, y: number}} View CSS pixels a micrometre, and where the sheet's corner is */
/** @typedef {{strokes: Stroke[], whole: number, points: number, ghost: boolean}} Scene the first `whole` strokes, `points` of the next; with a ghost of all */

const umPerPixel = 25400 / 96;  // CSS pixels are 1/96 inch
const mostZoom = 40;  // times the size on paper
const widestMargin = 24;
// A page whose ink takes longer than this to draw is moved as a picture, and drawn when it rests.
const slowMs = 12;
const restMs = 120;

export class InkStage extends HTMLElement {
  /** @type {Paper} */
  paper = { x: 0, y: 0, width: 210000, height: 297000 };
  /** @type {View} */
  view = { scale: 1, x: 0, y: 0 };
  /** @type {View} what the canvases show */
  drawnView = { scale: 1, x: 0, y: 0 };
  /** @type {Scene} */
  scene = { strokes: [], whole: 0, points: 0, ghost: false };
  /** @type {Stroke[]} */
  drawnStrokes = [];
  drawnCount = 0;
  ghostIsDrawn = false;
  isFitted = true;
  drawMs = 0;
  frame = 0;
  restTimer = 0;

  constructor() {
    super();
    this.sheet = el('div', { class: 'stage-sheet' });
    this.ghost = el('canvas', { class: 'stage-ghost', 'aria-hidden': 'true' });
    this.ink = el('canvas', { class: 'stage-ink', role: 'img' });
    this.pen = el('canvas', { class: 'stage-pen', 'aria-hidden': 'true' });
    this.gestures = new Gestures(this);
    this.resizes = new ResizeObserver(() => this.#onResize());
  }

  connectedCallback() {
    this.classList.add('stage');
    this.tabIndex = 0;
    this.append(this.sheet, this.ghost, this.ink, this.pen);
    this.leaving = new AbortController();
    onThemeChange(() => this.#redraw(), this.leaving.signal);
    this.resizes.observe(this);
  }

  disconnectedCallback() {
    this.leaving?.abort();
    this.resizes.disconnect();
    cancelAnimationFrame(this.frame);
    clearTimeout(this.restTimer);
  }

  /**
   * What a screen reader says of the ink.
   * @param {string} text
   */
  describe(text) {
    this.ink.setAttribute('aria-label', text);
  }

  /** @param {Paper} paper */
  setPaper(paper) {
    this.paper = paper;
    if (this.isFitted) this.fit();
  }

  /** @param {Scene} scene */
  show(scene) {
    this.scene = scene;
    this.#later();
  }

  /** How large the page is shown; 1 is as large as on paper. */
  get zoom() {
    return this.view.scale * umPerPixel;
  }

  /** The whole page. */
  fit() {
    const { clientWidth: width, clientHeight: height } = this;
    if (!width || !height) return;
    const margin = Math.min(widestMargin, 0.04 * Math.min(width, height));
    const scale = Math.min((width - 2 * margin) / this.paper.width, (height - 2 * margin) / this.paper.height);
    this.isFitted = true;
    this.#setView({
      scale, x: (width - this.paper.width * scale) / 2, y: (height - this.paper.height * scale) / 2,
    });
  }

  /**
   * @param {number} factor
   * @param {number} [x] the place that stays where it is
   * @param {number} [y]
   */
  zoomBy(factor, x = this.clientWidth / 2, y = this.clientHeight / 2) {
    const least = 0.5 * Math.min(this.clientWidth / this.paper.width, this.clientHeight / this.paper.height);
    const scale = Math.min(mostZoom / umPerPixel, Math.max(least, this.view.scale * factor));
    const grown = scale / this.view.scale;
    this.isFitted = false;
    this.#setView({ scale, x: x - (x - this.view.x) * grown, y: y - (y - this.view.y) * grown });
  }

  /** @param {number} zoom as of `zoom` */
  zoomTo(zoom) {
    this.zoomBy(zoom / this.zoom);
  }

  /** @param {number} dx @param {number} dy CSS pixels */
  panBy(dx, dy) {
    this.isFitted = false;
    this.#setView({ scale: this.view.scale, x: this.view.x + dx, y: this.view.y + dy });
  }

  /**
   * Keeps a hand's breadth of the sheet in the window.
   * @param {View} view
   */
  #setView(view) {
    const keep = 80;
    const { clientWidth, clientHeight } = this;
    const x = Math.min(clientWidth - keep, Math.max(keep - this.paper.width * view.scale, view.x));
    const y = Math.min(clientHeight - keep, Math.max(keep - this.paper.height * view.scale, view.y));
    this.view = { scale: view.scale, x, y };
    Object.assign(this.sheet.style, {
      width: `${this.paper.width * view.scale}px`, height: `${this.paper.height * view.scale}px`,
      transform: `translate(${x}px, ${y}px)`,
    });
    this.dispatchEvent(new Event('view'));
    this.#later();
  }

  #onResize() {
    const { clientWidth, clientHeight } = this;
    for (const canvas of [this.ghost, this.ink, this.pen]) {
      canvas.width = Math.round(clientWidth * devicePixelRatio);
      canvas.height = Math.round(clientHeight * devicePixelRatio);
    }
    if (this.isFitted) this.fit();
    this.#redraw();
  }

  #redraw() {
    this.drawnStrokes = [];
    this.#draw();
  }

  #later() {
    this.frame ||= requestAnimationFrame(() => this.#draw());
  }

  #draw() {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    const isSameView = this.#shows(this.view);
    if (!isSameView && this.drawMs > slowMs && this.drawnStrokes === this.scene.strokes) {
      this.#moveAsPicture();
      return;
    }
    const { strokes, whole } = this.scene;
    if (!isSameView || strokes !== this.drawnStrokes || whole < this.drawnCount) this.#clear();
    const began = performance.now();
    const isAnew = this.drawnCount === 0;
    this.#drawOn(this.ink, (context) => {
      for (; this.drawnCount < whole; this.drawnCount++) this.#drawSeen(context, strokes[this.drawnCount]);
    });
    if (isAnew) this.drawMs = performance.now() - began;
    this.#drawGhost();
    this.#drawPen();
  }

  #drawGhost() {
    this.ghost.hidden = !this.scene.ghost;
    if (!this.scene.ghost || this.ghostIsDrawn) return;
    this.ghostIsDrawn = true;
    this.#drawOn(this.ghost, (context) => {
      for (const stroke of this.scene.strokes) this.#drawSeen(context, stroke);
    });
  }

  #drawPen() {
    const { strokes, whole, points } = this.scene;
    if (!points && this.pen.hidden) return;
    this.pen.hidden = !points;
    wipe(this.pen);
    if (points) this.#drawOn(this.pen, (context) => drawBeginning(context, strokes[whole], points));
  }

  #clear() {
    this.drawnView = this.view;
    this.drawnStrokes = this.scene.strokes;
    this.drawnCount = 0;
    this.ghostIsDrawn = false;
    for (const canvas of [this.ghost, this.ink, this.pen]) {
      canvas.style.transform = '';
      wipe(canvas);
    }
  }

  /** @param {View} view */
  #shows(view) {
    const drawn = this.drawnView;
    return drawn.scale === view.scale && drawn.x === view.x && drawn.y === view.y;
  }

  #moveAsPicture() {
    const grown = this.view.scale / this.drawnView.scale;
    const x = this.view.x - this.drawnView.x * grown;
    const y = this.view.y - this.drawnView.y * grown;
    for (const canvas of [this.ghost, this.ink, this.pen]) {
      canvas.style.transform = `translate(${x}px, ${y}px) scale(${grown})`;
    }
    clearTimeout(this.restTimer);
    this.restTimer = setTimeout(() => this.#redraw(), restMs);
  }

  /** @param {HTMLCanvasElement} canvas @param {(context: CanvasRenderingContext2D) => void} draw */
  #drawOn(canvas, draw) {
    const context = canvas.getContext('2d');
    if (!context || !canvas.width) return;
    const ratio = devicePixelRatio;
    const scale = this.drawnView.scale * ratio;
    context.setTransform(scale, 0, 0, scale,
      this.drawnView.x * ratio - this.paper.x * scale, this.drawnView.y * ratio - this.paper.y * scale);
    draw(context);
  }

  /**
   * Draws the stroke unless it is out of sight.
   * @param {CanvasRenderingContext2D} context @param {Stroke} stroke
   */
  #drawSeen(context, stroke) {
    const box = boxOf(stroke);
    const { scale, x, y } = this.drawnView;
    const left = (box.left - this.paper.x) * scale + x;
    const top = (box.top - this.paper.y) * scale + y;
    const right = (box.right - this.paper.x) * scale + x;
    const bottom = (box.bottom - this.paper.y) * scale + y;
    if (right < 0 || bottom < 0 || left > this.clientWidth || top > this.clientHeight) return;
    drawStroke(context, stroke);
  }
}

/** @param {HTMLCanvasElement} canvas */
function wipe(canvas) {
  const context = canvas.getContext('2d');
  context?.setTransform(1, 0, 0, 1, 0, 0);
  context?.clearRect(0, 0, canvas.width, canvas.height);
}

/** @typedef {{left: number, top: number, right: number, bottom: number}} Box */
/** @type {WeakMap<Stroke, Box>} */
const boxes = new WeakMap();

// The outline may swing out beyond the points, hence the room around them.
/** @param {Stroke} stroke @returns {Box} */
function boxOf(stroke) {
  let box = boxes.get(stroke);
  if (!box) {
    box = { left: Infinity, top: Infinity, right: -Infinity, bottom: -Infinity };
    for (const [, x, y, width] of stroke.line) {
      box.left = Math.min(box.left, x - width);
      box.top = Math.min(box.top, y - width);
      box.right = Math.max(box.right, x + width);
      box.bottom = Math.max(box.bottom, y + width);
    }
    const room = 0.1 * Math.max(box.right - box.left, box.bottom - box.top);
    box = { left: box.left - room, top: box.top - room, right: box.right + room, bottom: box.bottom + room };
    boxes.set(stroke, box);
  }
  return box;
}

customElements.define('ink-stage', InkStage);
