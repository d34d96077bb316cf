// Hands on a stage: one pointer moves the page, two pinch it, the wheel enlarges it where the
// pointer is, with Shift it moves. A double click goes close, and back to the whole page.

/** @typedef {import('./stage.js').InkStage} InkStage */

const closerOnDoubleClick = 2.5;

export class Gestures {
  /** @param {InkStage} stage */
  constructor(stage) {
    this.stage = stage;
    /** @type {Map<number, {x: number, y: number}>} pointers that are down, by id */
    this.down = new Map();
    stage.addEventListener('pointerdown', (event) => this.#onDown(event));
    stage.addEventListener('pointermove', (event) => this.#onMove(event));
    for (const end of ['pointerup', 'pointercancel']) {
      stage.addEventListener(end, (event) => this.#onUp(/** @type {PointerEvent} */ (event)));
    }
    stage.addEventListener('wheel', (event) => this.#onWheel(event), { passive: false });
    stage.addEventListener('dblclick', (event) => this.#onDoubleClick(event));
  }

  /** @param {MouseEvent} event */
  #placeOf(event) {
    const box = this.stage.getBoundingClientRect();
    return { x: event.clientX - box.left, y: event.clientY - box.top };
  }

  /** @param {PointerEvent} event */
  #onDown(event) {
    if (event.button !== 0 && event.button !== 1) return;
    this.stage.setPointerCapture(event.pointerId);
    this.down.set(event.pointerId, this.#placeOf(event));
    this.stage.classList.add('is-held');
  }

  /** @param {PointerEvent} event */
  #onMove(event) {
    const before = this.down.get(event.pointerId);
    if (!before) return;
    const now = this.#placeOf(event);
    if (this.down.size === 2) {
      const other = [...this.down].filter(([id]) => id !== event.pointerId)[0][1];
      const grown = Math.hypot(now.x - other.x, now.y - other.y) / Math.max(1, Math.hypot(before.x - other.x, before.y - other.y));
      // Each finger moves the middle by half of its way.
      this.stage.panBy((now.x - before.x) / 2, (now.y - before.y) / 2);
      this.stage.zoomBy(grown, (now.x + other.x) / 2, (now.y + other.y) / 2);
    } else if (this.down.size === 1) {
      this.stage.panBy(now.x - before.x, now.y - before.y);
    }
    this.down.set(event.pointerId, now);
  }

  /** @param {PointerEvent} event */
  #onUp(event) {
    this.down.delete(event.pointerId);
    if (!this.down.size) this.stage.classList.remove('is-held');
  }

  /** @param {WheelEvent} event */
  #onWheel(event) {
    event.preventDefault();
    const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 32 : 1;
    if (event.shiftKey) {
      this.stage.panBy(-(event.deltaX || event.deltaY) * lines, 0);
      return;
    }
    const { x, y } = this.#placeOf(event);
    // Pinching on a touch pad comes as a wheel with Ctrl, in much smaller steps.
    const strength = event.ctrlKey ? 0.01 : 0.002;
    this.stage.zoomBy(Math.exp(-event.deltaY * lines * strength), x, y);
  }

  /** @param {MouseEvent} event */
  #onDoubleClick(event) {
    if (!this.stage.isFitted) {
      this.stage.fit();
      return;
    }
    const { x, y } = this.#placeOf(event);
    this.stage.zoomBy(closerOnDoubleClick, x, y);
  }
}
