// Pointers on the pad become strokes. A stylus wins over touch: from when one is near until a while
// after, touch is a resting hand. A contact as broad as a palm never writes, and only one pointer
// writes at a time.
//
// Events: 'draw' when there is more to draw, 'stroke' with a finished stroke as detail, 'drop' when
// what was drawn of a stroke must go again.

/** @typedef {import('./api.js').PadStroke} PadStroke */
/** @typedef {(event: PointerEvent) => {x: number, y: number}} ToPaper micrometres on the sheet */

const penStaysMs = 10000;
const palmPixels = 40;
// What mouse and finger are said to press: no more than a pen of medium force.
const evenForce = 0.5;
// A stroke longer than this is cut: no message of the pad shall be without bounds.
const mostPoints = 20000;

export class PadInk extends EventTarget {
  /** @type {PadStroke | null} the stroke under way */
  stroke = null;
  /** @type {PointerEvent | null} with which it began */
  began = null;
  lastPen = -Infinity;

  /** @param {HTMLElement} surface @param {ToPaper} toPaper @param {() => {color: string, width: number}} pen */
  constructor(surface, toPaper, pen) {
    super();
    this.toPaper = toPaper;
    this.pen = pen;
    surface.addEventListener('pointerdown', (event) => this.#onDown(event, surface));
    surface.addEventListener('pointermove', (event) => this.#onMove(event));
    surface.addEventListener('pointerup', (event) => this.#onUp(event));
    surface.addEventListener('pointercancel', (event) => {
      if (event.pointerId === this.began?.pointerId) this.#drop();
    });
  }

  /**
   * Whether this touch is a hand that rests.
   * @param {PointerEvent} event
   */
  #isPalm(event) {
    return event.pointerType === 'touch' &&
      (event.timeStamp - this.lastPen < penStaysMs || Math.max(event.width, event.height) > palmPixels);
  }

  /** @param {PointerEvent} event @param {HTMLElement} surface */
  #onDown(event, surface) {
    if (event.pointerType === 'pen') this.#seePen(event);
    if (event.button !== 0 || this.stroke || this.#isPalm(event)) return;
    event.preventDefault();
    surface.setPointerCapture(event.pointerId);
    this.began = event;
    const { color, width } = this.pen();
    this.stroke = { color, width, start: Date.now(), points: [] };
    this.#take(event);
  }

  /** @param {PointerEvent} event */
  #onMove(event) {
    if (event.pointerType === 'pen') this.#seePen(event);
    if (event.pointerId !== this.began?.pointerId) return;
    if (this.#isPalm(event)) {
      this.#drop();
      return;
    }
    const coalesced = event.getCoalescedEvents?.() ?? [];
    for (const each of coalesced.length ? coalesced : [event]) this.#take(each);
    if (this.stroke && this.stroke.points.length >= mostPoints) this.#finish();
  }

  /** @param {PointerEvent} event */
  #onUp(event) {
    if (event.pointerId !== this.began?.pointerId) return;
    this.#finish();
  }

  /**
   * A hand that came down before its pen has written nothing.
   * @param {PointerEvent} event
   */
  #seePen(event) {
    this.lastPen = event.timeStamp;
    if (this.began?.pointerType === 'touch') this.#drop();
  }

  /** @param {PointerEvent} event */
  #take(event) {
    if (!this.stroke || !this.began) return;
    const { x, y } = this.toPaper(event);
    const { points } = this.stroke;
    const force = event.pointerType === 'pen' && event.pressure > 0 ? event.pressure : evenForce;
    const last = points[points.length - 1];
    const time = Math.max(last?.[0] ?? 0, Math.round(event.timeStamp - this.began.timeStamp));
    if (last && last[1] === x && last[2] === y) return;
    points.push([time, x, y, Math.round(force * 1000) / 1000]);
    this.dispatchEvent(new Event('draw'));
  }

  #finish() {
    const { stroke } = this;
    this.stroke = null;
    this.began = null;
    if (stroke?.points.length) this.dispatchEvent(new CustomEvent('stroke', { detail: stroke }));
  }

  #drop() {
    this.stroke = null;
    this.began = null;
    this.dispatchEvent(new Event('drop'));
  }
}
