// The pages that are listed at the moment: those that match the filter, newest first, as far as
// somebody has scrolled. Stays right while ink arrives. 'change' is dispatched after each change.

import { fetchPage, fetchPages, isAbort } from './api.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {import('./api.js').Filter} Filter */

const firstLimit = 60;
const laterLimit = 200;

/** @type {Filter} */
export const noFilter = Object.freeze({ q: '', pen: '', from: 0, to: 0, trash: false });

/** @param {Filter} filter whether it narrows the list beyond trash or not */
export function isNarrow(filter) {
  return Boolean(filter.q || filter.pen || filter.from || filter.to);
}

/**
 * Newest first, as the inbox lists them.
 * @param {Page} a @param {Page} b
 */
export function newestFirst(a, b) {
  return b.arrived - a.arrived || b.id - a.id;
}

/** @param {Page} page @param {Filter} filter */
export function matches(page, filter) {
  if (Boolean(page.trashed) !== filter.trash) return false;
  if (filter.pen && page.pen !== filter.pen) return false;
  // Days are those of the writing, if the pen has a clock.
  if (filter.from && (page.end || page.arrived) < filter.from) return false;
  if (filter.to && (page.start || page.arrived) > filter.to) return false;
  const wanted = filter.q.toLowerCase();
  return !wanted || [page.title, page.address, page.pen].some((text) => text.toLowerCase().includes(wanted));
}

export class Library extends EventTarget {
  constructor() {
    super();
    /** @type {Filter} */
    this.filter = noFilter;
    /** @type {Page[]} */
    this.pages = [];
    /** @type {Map<number, Page>} */
    this.byId = new Map();
    /** @type {string | null} */
    this.next = null;
    this.isLoading = false;
    this.hasLoaded = false;
    /** @type {unknown} */
    this.error = null;
    this.loads = new AbortController();
  }

  /**
   * Lists what matches, from the top.
   * @param {Filter} filter
   */
  async show(filter) {
    this.filter = filter;
    this.loads.abort();
    this.loads = new AbortController();
    this.next = null;
    const found = await this.#load(null, firstLimit);
    if (!found) return;
    this.pages = [];
    this.byId.clear();
    this.#take(found.pages);
    this.next = found.next;
    this.hasLoaded = true;
    this.#changed();
  }

  /** Lists the same again: something may have been missed. */
  reload() {
    return this.show(this.filter);
  }

  /** Lists further pages, if there are more and none are on their way. */
  async more() {
    if (!this.next || this.isLoading) return;
    const found = await this.#load(this.next, laterLimit);
    if (!found) return;
    this.#take(found.pages);
    this.next = found.next;
    this.#changed();
  }

  /**
   * Takes news of pages; those that no longer match are taken out.
   * @param {Page[]} pages
   */
  update(pages) {
    this.#take(pages.filter((page) => {
      if (matches(page, this.filter)) return true;
      this.#drop(page.id);
      return false;
    }));
    this.#changed();
  }

  /** @param {number[]} ids */
  remove(ids) {
    for (const id of ids) this.#drop(id);
    this.#changed();
  }

  /**
   * Reads pages anew that came back from the trash or went there.
   * @param {number[]} ids @returns {Promise<Page[]>} those that are still there
   */
  async refresh(ids) {
    const found = await Promise.all(ids.map((id) => fetchPage(id).catch(() => null)));
    const pages = /** @type {Page[]} */ (found.filter(Boolean));
    this.update(pages);
    return pages;
  }

  /** @param {string | null} after @param {number} limit */
  async #load(after, limit) {
    const { signal } = this.loads;
    this.isLoading = true;
    this.error = null;
    try {
      return await fetchPages(this.filter, after, limit, signal);
    } catch (error) {
      if (isAbort(error)) return null;
      this.error = error;
      this.#changed();
      return null;
    } finally {
      // A newer list may be on its way by now; then it is the one that loads.
      if (signal === this.loads.signal) this.isLoading = false;
    }
  }

  /** @param {Page[]} pages */
  #take(pages) {
    for (const page of pages) {
      const known = this.byId.get(page.id);
      // An answer may be older than what was told meanwhile.
      if (known && known.revision > page.revision) continue;
      if (known) this.#drop(page.id);
      this.pages.splice(this.#placeOf(page), 0, page);
      this.byId.set(page.id, page);
    }
  }

  /** @param {number} id */
  #drop(id) {
    const page = this.byId.get(id);
    if (!page) return;
    this.pages.splice(this.#placeOf(page), 1);
    this.byId.delete(id);
  }

  /**
   * Where the page is, or would be.
   * @param {Page} page @returns {number}
   */
  #placeOf(page) {
    let low = 0;
    let high = this.pages.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (newestFirst(this.pages[middle], page) < 0) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  #changed() {
    this.dispatchEvent(new Event('change'));
  }
}
