// Which pages are selected. 'change' is dispatched when that is other than before.

export class Selection extends EventTarget {
  constructor() {
    super();
    /** @type {Set<number>} */
    this.ids = new Set();
    /**
     * Where a range begins.
     * @type {number | null}
     */
    this.anchor = null;
  }

  get size() {
    return this.ids.size;
  }

  /** @param {number} id */
  has(id) {
    return this.ids.has(id);
  }

  /** @param {number} id */
  toggle(id) {
    if (!this.ids.delete(id)) this.ids.add(id);
    this.anchor = id;
    this.#changed();
  }

  /**
   * Adds pages.
   * @param {number[]} ids
   */
  add(ids) {
    for (const id of ids) this.ids.add(id);
    this.#changed();
  }

  /**
   * Forgets pages that are no longer listed.
   * @param {(id: number) => boolean} isThere
   */
  keep(isThere) {
    const before = this.ids.size;
    for (const id of this.ids) if (!isThere(id)) this.ids.delete(id);
    if (this.ids.size !== before) this.#changed();
  }

  clear() {
    if (!this.ids.size) return;
    this.ids.clear();
    this.anchor = null;
    this.#changed();
  }

  #changed() {
    this.dispatchEvent(new Event('change'));
  }
}
