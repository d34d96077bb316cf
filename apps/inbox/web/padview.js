// A sheet to write on. Its ink goes to the service like a pen's as soon as the hand rests, and
// comes back as a page.
//
// Events: 'close'; 'open' with {pen, address} as detail.

import { button, el, rename, setAttributes } from './dom.js';
import { drawLine } from './inkdraw.js';
import { addressName, plural } from './format.js';
import { say } from './notices.js';
import { fullStorage, Outbox } from './outbox.js';
import { PadInk } from './padink.js';
import { actionFor } from './shortcuts.js';
import { onThemeChange } from './theme.js';

/** @typedef {import('./api.js').PadStroke} PadStroke */
/** @typedef {import('./api.js').InkPoint} InkPoint */

const inks = [
  { name: 'Black', color: '#1f1b16' }, { name: 'Blue', color: '#23468c' },
  { name: 'Red', color: '#a8322a' }, { name: 'Green', color: '#2f6b3c' },
];
const nibs = [{ name: 'Fine', width: 400 }, { name: 'Medium', width: 700 }, { name: 'Broad', width: 1400 }];
const longSideUm = 210000;
const shortSideUm = 148000;
const margin = 20;

/**
 * The width that the pad draws, as it will be drawn from the ink.
 * @param {PadStroke} stroke @returns {InkPoint[]}
 */
function lineOf({ points, width }) {
  return points.map(([time, x, y, force]) => [time, x, y, width * (0.5 + force)]);
}

export class InkPad extends HTMLElement {
  /** @type {PadStroke[]} all of this sheet */
  strokes = [];
  color = inks[0].color;
  nib = nibs[1].width;
  drawnPoints = 0;
  frame = 0;
  width = shortSideUm;
  height = longSideUm;

  constructor() {
    super();
    this.canvas = el('canvas', { class: 'pad-sheet', role: 'img', 'aria-label': 'Sheet to write on with mouse, finger or stylus' });
    this.room = el('div', { class: 'pad-room' }, this.canvas);
    this.words = el('span', { class: 'pad-words' });
    this.opener = button({ name: 'Show the page', kind: 'button pad-open' }, () => this.#openPage(), { hidden: true });
    this.undoButton = button({ icon: 'restore', name: 'Take back', quiet: true }, () => this.#undo());
    this.ink = new PadInk(this.canvas, (event) => this.#toPaper(event), () => ({ color: this.color, width: this.nib }));
    this.ink.addEventListener('draw', () => { this.frame ||= requestAnimationFrame(() => this.#drawMore()); });
    this.ink.addEventListener('drop', () => this.#redraw());
    this.ink.addEventListener('stroke', (event) => this.#finish(/** @type {CustomEvent} */ (event).detail));
    this.resizes = new ResizeObserver(() => this.#fit());
    this.outbox = this.#makeOutbox();
  }

  connectedCallback() {
    this.classList.add('pad');
    this.append(this.#makeHead(), this.room);
    this.leaving = new AbortController();
    const { signal } = this.leaving;
    onThemeChange(() => this.#redraw(), signal);
    addEventListener('keydown', (event) => this.#onKey(event), { signal });
    this.resizes.observe(this.room);
  }

  disconnectedCallback() {
    this.leaving?.abort();
    this.resizes.disconnect();
    cancelAnimationFrame(this.frame);
    this.outbox.close();
  }

  /** The service is there again. */
  retry() {
    if (this.outbox.state === 'waiting') this.outbox.send();
  }

  #makeHead() {
    return el('header', { class: 'page-head pad-head' },
      button({ icon: 'back', name: 'All pages', quiet: true }, () => this.dispatchEvent(new Event('close'))),
      el('div', { class: 'page-name' }, el('h1', { class: 'pad-title' }, 'Pad'),
        el('p', { class: 'page-facts' }, this.words, this.opener)),
      el('div', { class: 'page-tools pad-tools', role: 'toolbar', 'aria-label': 'Pen' },
        choices('Ink', inks.map(({ name, color }) => ({ name, value: color })), this.color, (color) => { this.color = color; }),
        choices('Nib', nibs.map(({ name, width }) => ({ name, value: String(width) })), String(this.nib), (width) => { this.nib = Number(width); }),
        this.undoButton,
        button({ icon: 'sheet', name: 'New sheet', quiet: true }, () => this.#newSheet())));
  }

  #makeOutbox() {
    const isWide = innerWidth > innerHeight;
    this.width = isWide ? longSideUm : shortSideUm;
    this.height = isWide ? shortSideUm : longSideUm;
    const outbox = new Outbox(this.width, this.height);
    outbox.addEventListener('change', () => this.#showState());
    this.outbox = outbox;
    this.#showState();
    return outbox;
  }

  #showState() {
    const { state, page, unsent, error, isKept } = this.outbox;
    const waiting = plural(unsent.length, 'stroke');
    const words = {
      empty: 'Write with mouse, finger or stylus.',
      unsent: 'Sent when your hand rests.',
      sending: 'Sending …',
      sent: `Kept as ${addressName(page)}.`,
      waiting: `The ink service is away. Your ink is kept here (${waiting}) and goes when it is back.`,
      refused: `Not taken (${waiting}): ${error}`,
    }[state] + (isKept ? '' : ` ${fullStorage}`);
    if (this.words.textContent !== words && state !== 'unsent' && state !== 'sending' && state !== 'empty') say(words);
    this.words.textContent = words;
    this.dataset.state = state;
    this.opener.hidden = !page;
    const canUndo = unsent.length > this.outbox.flying;
    this.undoButton.toggleAttribute('disabled', !canUndo);
    rename(this.undoButton, canUndo || !this.strokes.length ? 'Take back' : 'Take back: what was sent stays');
  }

  #openPage() {
    this.dispatchEvent(new CustomEvent('open', { detail: { address: this.outbox.page } }));
  }

  #newSheet() {
    this.outbox.close();
    this.strokes = [];
    this.#makeOutbox();
    this.#fit();
    say('New sheet.');
  }

  #undo() {
    if (!this.outbox.undo()) return;
    this.strokes.pop();
    this.#redraw();
    this.#showState();
  }

  /** @param {PadStroke} stroke */
  #finish(stroke) {
    this.strokes.push(stroke);
    this.drawnPoints = 0;
    this.outbox.add(stroke);
    this.#showState();
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const action = actionFor(event, 'pad');
    if (!action || document.querySelector('dialog[open]')) return;
    event.preventDefault();
    if (action === 'undo') this.#undo();
    else if (action === 'send') this.outbox.send();
    else if (action === 'new-sheet') this.#newSheet();
    else if (action === 'back') this.dispatchEvent(new Event('close'));
  }

  /** As large as fits; the sheet keeps its shape. */
  #fit() {
    const scale = Math.min((this.room.clientWidth - 2 * margin) / this.width, (this.room.clientHeight - 2 * margin) / this.height);
    if (scale <= 0) return;
    Object.assign(this.canvas.style, { width: `${this.width * scale}px`, height: `${this.height * scale}px` });
    setAttributes(this.canvas, {
      width: Math.round(this.width * scale * devicePixelRatio), height: Math.round(this.height * scale * devicePixelRatio),
    });
    this.#redraw();
  }

  /** @param {PointerEvent} event */
  #toPaper(event) {
    const box = this.canvas.getBoundingClientRect();
    const inside = (/** @type {number} */ value, /** @type {number} */ most) => Math.round(Math.min(most, Math.max(0, value)));
    return {
      x: inside((event.clientX - box.left) / box.width * this.width, this.width),
      y: inside((event.clientY - box.top) / box.height * this.height, this.height),
    };
  }

  #context() {
    const context = this.canvas.getContext('2d');
    const scale = this.canvas.width / this.width;
    context?.setTransform(scale, 0, 0, scale, 0, 0);
    return context;
  }

  /** Draws what was added to the stroke under way. */
  #drawMore() {
    this.frame = 0;
    const { stroke } = this.ink;
    const context = this.#context();
    if (!stroke || !context) return;
    // From two points back: the curve there was not known yet.
    const line = lineOf(stroke).slice(Math.max(0, this.drawnPoints - 2));
    this.drawnPoints = stroke.points.length;
    drawLine(context, line, stroke.color);
  }

  #redraw() {
    const context = this.#context();
    if (!context) return;
    context.clearRect(0, 0, this.width, this.height);
    const all = this.ink.stroke ? [...this.strokes, this.ink.stroke] : this.strokes;
    for (const stroke of all) drawLine(context, lineOf(stroke), stroke.color);
    this.drawnPoints = this.ink.stroke?.points.length ?? 0;
  }
}

/**
 * A row of choices of which one holds.
 * @param {string} name @param {{name: string, value: string}[]} options @param {string} chosen @param {(value: string) => void} choose
 */
function choices(name, options, chosen, choose) {
  const group = el('fieldset', { class: `choices choices-${name.toLowerCase()}` }, el('legend', { class: 'for-ears' }, name));
  options.forEach((option, index) => {
    const field = el('input', { type: 'radio', name: `pad-${name}`, value: option.value, 'aria-label': option.name });
    field.checked = option.value === chosen;
    field.addEventListener('change', () => choose(option.value));
    group.append(el('label', { class: `choice choice-${index}`, title: option.name }, field, el('span', { class: 'choice-mark', 'aria-hidden': 'true' })));
  });
  return group;
}

customElements.define('ink-pad', InkPad);
