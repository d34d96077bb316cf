// The pages: each listed one as a card, under the day on which its ink came. Only cards in
// sight are elements. For screen readers a list box of several choices: arrows move, Space selects,
// Enter opens.
//
// Events: 'open' (detail: the page), 'near-end' when further pages are wanted, 'trash' (detail:
// ids), 'rename' (detail: the page).

import { Card } from './card.js';
import { CardWriter } from './cardwriter.js';
import { el } from './dom.js';
import { dayName } from './format.js';
import { cardFor, layOut, paperHeight, rowAt } from './gridlayout.js';
import { actionFor } from './shortcuts.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {import('./gridlayout.js').Layout} Layout */
/** @typedef {import('./gridlayout.js').Row} Row */

const moveKeys = ['ArrowLeft', 'ArrowRight', 'ArrowUp', 'ArrowDown', 'Home', 'End', 'PageUp', 'PageDown'];

export class InkGrid extends HTMLElement {
  /** @type {Page[]} */
  pages = [];
  /** @type {Layout} */
  layout = layOut([], 0);
  /** @type {Map<number, Card>} */
  cards = new Map();
  /** @type {Map<number, HTMLElement>} */
  headings = new Map();
  /**
   * The page that has the focus, or gets it.
   * @type {number | null}
   */
  active = null;
  hasMore = false;
  frame = 0;

  /** @param {import('./selection.js').Selection} selection */
  constructor(selection) {
    super();
    this.selection = selection;
    this.space = el('div', { class: 'grid-space', role: 'listbox', 'aria-multiselectable': 'true', 'aria-label': 'Pages' });
    this.writer = new CardWriter();
    this.space.addEventListener('keydown', (event) => this.#onKey(event));
    this.space.addEventListener('click', (event) => this.#onClick(event));
    this.space.addEventListener('contextmenu', (event) => this.#onLongPress(event));
    this.space.addEventListener('focusin', (event) => this.#onFocus(event));
    this.space.addEventListener('pointerover', (event) => this.writer.over(this.#cardAt(event.target), event));
    this.space.addEventListener('pointerleave', () => this.writer.stop());
    this.addEventListener('scroll', () => this.#later(), { passive: true });
    selection.addEventListener('change', () => this.#later());
    this.resizes = new ResizeObserver(() => this.#relayout());
  }

  connectedCallback() {
    this.classList.add('grid');
    this.append(this.space);
    this.resizes.observe(this);
  }

  disconnectedCallback() {
    this.resizes.disconnect();
    this.writer.stop();
  }

  /** @param {Page[]} pages newest first @param {boolean} hasMore */
  show(pages, hasMore) {
    this.pages = pages;
    this.hasMore = hasMore;
    this.#relayout();
  }

  /**
   * Moves the focus to the page, or to the first.
   * @param {number | null} [id]
   */
  focusPage(id = this.active) {
    // While the grid was hidden it had no width to lay anything out in.
    this.#relayout();
    const index = Math.max(0, this.pages.findIndex((page) => page.id === id));
    if (this.pages.length) this.#focusIndex(index);
  }

  /**
   * Shows where ink has just arrived. If it is one page in sight, its card writes the new strokes.
   * @param {{id: number, strokes_from: number}[]} news
   */
  markFresh(news) {
    for (const { id } of news) this.cards.get(id)?.markFresh();
    const card = news.length === 1 && !this.hidden ? this.cards.get(news[0].id) : undefined;
    if (card) this.writer.writeNews(card, news[0].strokes_from);
  }

  /** The inbox is there again: cards that could not get their pictures ask for them. */
  retryPictures() {
    for (const card of this.cards.values()) card.retryPicture();
  }

  /**
   * The ids that an action means: all selected pages, or the one with the focus.
   * @returns {number[]}
   */
  chosen() {
    if (this.selection.size) return [...this.selection.ids];
    return this.active === null ? [] : [this.active];
  }

  #relayout() {
    const width = this.space.clientWidth;
    if (!width) return;
    this.layout = layOut(this.pages, width);
    this.space.style.height = `${this.layout.height}px`;
    if (!this.pages.some((page) => page.id === this.active)) this.active = this.pages[0]?.id ?? null;
    this.#draw();
  }

  #later() {
    this.frame ||= requestAnimationFrame(() => this.#draw());
  }

  /** Makes elements of the rows in sight and around, and of the card with the focus. */
  #draw() {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    this.classList.toggle('is-selecting', this.selection.size > 0);
    const { rows, rowOfCard } = this.layout;
    const height = this.clientHeight;
    const first = rowAt(rows, this.scrollTop - height / 2);
    const last = rowAt(rows, this.scrollTop + height * 1.5);
    const seen = new Set(rows.slice(first, last + 1));
    const focused = this.pages.findIndex((page) => page.id === this.active);
    if (focused >= 0) seen.add(rows[rowOfCard[focused]]);
    this.#drawHeadings(seen);
    this.#drawCards(seen);
    if (this.hasMore && this.scrollTop + height * 2.5 > this.layout.height) this.dispatchEvent(new Event('near-end'));
  }

  /** @param {Set<Row>} rows */
  #drawHeadings(rows) {
    const days = new Set();
    for (const row of rows) {
      if (row.start !== row.end) continue;
      days.add(row.day);
      let heading = this.headings.get(row.day);
      if (!heading) {
        heading = el('div', { class: 'grid-day', role: 'presentation' });
        this.headings.set(row.day, heading);
        this.space.append(heading);
      }
      heading.textContent = dayName(row.day);
      heading.style.transform = `translateY(${row.top}px)`;
    }
    for (const [day, heading] of this.headings) {
      if (days.has(day)) continue;
      heading.remove();
      this.headings.delete(day);
    }
  }

  /** @param {Set<Row>} rows */
  #drawCards(rows) {
    const ids = new Set();
    for (const row of rows) {
      for (let index = row.start; index < row.end; index++) {
        ids.add(this.pages[index].id);
        this.#drawCard(index, row);
      }
    }
    for (const [id, card] of this.cards) {
      if (ids.has(id)) continue;
      card.remove();
      this.cards.delete(id);
    }
    this.#keepOrder();
  }

  /** @param {number} index @param {Row} row */
  #drawCard(index, row) {
    const page = this.pages[index];
    const { cardWidth, columns } = this.layout;
    let card = this.cards.get(page.id);
    if (!card) {
      card = new Card(page);
      this.cards.set(page.id, card);
      this.space.append(card.element);
    }
    const space = columns > 1 ? (this.space.clientWidth - cardWidth * columns) / (columns - 1) : 0;
    card.show(page, cardWidth, paperHeight(cardWidth));
    card.place({
      selected: this.selection.has(page.id), position: index + 1, size: this.hasMore ? -1 : this.pages.length,
      x: Math.round((index - row.start) * (cardWidth + space)), y: row.top,
    });
    card.element.tabIndex = page.id === this.active ? 0 : -1;
  }

  // Screen readers and tests read elements in their order in the document. An element that is moved
  // loses the focus, so the one that has it stays and the others go around it.
  #keepOrder() {
    const order = this.#drawnPages().map((page) => /** @type {Card} */ (this.cards.get(page.id)).element);
    const still = Math.max(0, order.findIndex((element) => element === document.activeElement));
    for (let at = still + 1; at < order.length; at++) {
      if (order[at - 1].nextElementSibling !== order[at]) order[at - 1].after(order[at]);
    }
    for (let at = still - 1; at >= 0; at--) {
      if (order[at + 1].previousElementSibling !== order[at]) order[at + 1].before(order[at]);
    }
  }

  #drawnPages() {
    return this.pages.length > 2 * this.cards.size
      ? [...this.cards.values()].map((card) => card.page).sort((a, b) => b.arrived - a.arrived || b.id - a.id)
      : this.pages.filter((page) => this.cards.has(page.id));
  }

  /** @param {EventTarget | null} target @returns {Card | null} */
  #cardAt(target) {
    const element = target instanceof Element ? target.closest('.card') : null;
    return element ? this.cards.get(Number(element.id.slice('card-'.length))) ?? null : null;
  }

  /** @param {number} index */
  #focusIndex(index) {
    this.active = this.pages[index].id;
    const row = this.layout.rows[this.layout.rowOfCard[index]];
    if (!row) return;
    const margin = 70;
    if (row.top - margin < this.scrollTop) this.scrollTop = row.top - margin;
    else if (row.top + row.height + margin > this.scrollTop + this.clientHeight) {
      this.scrollTop = row.top + row.height + margin - this.clientHeight;
    }
    this.#draw();
    this.cards.get(this.active)?.element.focus({ preventScroll: true });
  }

  /** @param {FocusEvent} event */
  #onFocus(event) {
    const card = this.#cardAt(event.target);
    if (!card || card.page.id === this.active) return;
    this.active = card.page.id;
    this.#later();
  }

  /** @param {MouseEvent} event */
  #onClick(event) {
    const card = this.#cardAt(event.target);
    if (!card) return;
    const onCheck = event.target instanceof Element && event.target.closest('.card-check');
    if (event.shiftKey && this.selection.anchor !== null) this.#selectTo(card.page.id);
    else if (onCheck || this.selection.size || event.ctrlKey || event.metaKey || event.shiftKey) this.selection.toggle(card.page.id);
    else this.#open(card.page);
  }

  // A finger that rests on a card selects it; from then on a touch selects further ones.
  /** @param {Event} event */
  #onLongPress(event) {
    const card = this.#cardAt(event.target);
    if (!card || !(event instanceof PointerEvent) || event.pointerType !== 'touch') return;
    event.preventDefault();
    this.selection.toggle(card.page.id);
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const index = this.pages.findIndex((page) => page.id === this.active);
    if (index < 0) return;
    const action = actionFor(event, 'grid');
    if (moveKeys.includes(event.key) && !event.ctrlKey && !event.metaKey && !event.altKey) this.#move(event, index);
    else if (action === 'open') this.#open(this.pages[index]);
    else if (action === 'select') this.selection.toggle(this.pages[index].id);
    else if (action === 'select-all') this.selection.add(this.pages.map((page) => page.id));
    else if (action === 'trash') this.dispatchEvent(new CustomEvent('trash', { detail: this.chosen() }));
    else if (action === 'rename') this.dispatchEvent(new CustomEvent('rename', { detail: this.pages[index] }));
    else return;
    event.preventDefault();
  }

  /** @param {KeyboardEvent} event @param {number} index */
  #move(event, index) {
    const rowHeight = paperHeight(this.layout.cardWidth);
    const rowsInSight = Math.max(1, Math.floor(this.clientHeight / rowHeight) - 1);
    const target = cardFor(this.layout, index, event.key, rowsInSight);
    if (event.shiftKey) {
      this.selection.anchor ??= this.pages[index].id;
      this.#selectTo(this.pages[target].id);
    } else {
      this.selection.anchor = null;
    }
    this.#focusIndex(target);
  }

  /**
   * Selects everything from where the selection began.
   * @param {number} id
   */
  #selectTo(id) {
    const ends = [this.selection.anchor, id].map((end) => this.pages.findIndex((page) => page.id === end));
    const [first, last] = ends.sort((a, b) => a - b);
    this.selection.add(this.pages.slice(Math.max(0, first), last + 1).map((page) => page.id));
  }

  /** @param {Page} page */
  #open(page) {
    this.active = page.id;
    this.dispatchEvent(new CustomEvent('open', { detail: page }));
  }
}

customElements.define('ink-grid', InkGrid);
