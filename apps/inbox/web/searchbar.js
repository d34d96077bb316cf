// What to list: words of a title, an address or a pen; one pen; a span of days. 'filter' is
// dispatched with the filter as detail whenever it is another.

import { fetchPens } from './api.js';
import { el, icon } from './dom.js';
import { dayOf } from './format.js';

/** @typedef {import('./api.js').Filter} Filter */

const typingPauseMs = 180;
const dayMs = 86400000;

/** @type {{value: string, name: string, days: number}[]} days back from tonight; 0 for all time */
const spans = [
  { value: '', name: 'Any time', days: 0 }, { value: 'today', name: 'Today', days: 1 },
  { value: 'week', name: 'Last 7 days', days: 7 }, { value: 'month', name: 'Last 30 days', days: 30 },
  { value: 'year', name: 'Last 365 days', days: 365 }, { value: 'dates', name: 'From … to …', days: 0 },
];

export class InkSearch extends HTMLElement {
  typing = 0;

  constructor() {
    super();
    this.words = el('input', { type: 'search', class: 'search-words', placeholder: 'Search', 'aria-label': 'Search titles, pages and pens', autocomplete: 'off', spellcheck: 'false', maxlength: 200 });
    this.pen = el('select', { class: 'search-choice', 'aria-label': 'Pen' }, el('option', { value: '' }, 'Any pen'));
    this.span = el('select', { class: 'search-choice', 'aria-label': 'Time' },
      ...spans.map(({ value, name }) => el('option', { value }, name)));
    this.from = el('input', { type: 'date', class: 'search-date', 'aria-label': 'From' });
    this.to = el('input', { type: 'date', class: 'search-date', 'aria-label': 'To' });
    this.dates = el('div', { class: 'search-dates', hidden: true }, this.from, '–', this.to);
    this.words.addEventListener('input', () => {
      clearTimeout(this.typing);
      this.typing = setTimeout(() => this.#tell(), typingPauseMs);
    });
    this.words.addEventListener('keydown', (event) => this.#onKey(event));
    for (const field of [this.pen, this.span, this.from, this.to]) field.addEventListener('change', () => this.#onChoice());
    this.pen.addEventListener('pointerdown', () => this.refreshPens());
    this.pen.addEventListener('focus', () => this.refreshPens());
  }

  connectedCallback() {
    this.classList.add('search');
    this.setAttribute('role', 'search');
    this.append(el('div', { class: 'search-box' }, icon('search'), this.words), this.pen, this.span, this.dates);
  }

  focusWords() {
    this.words.focus();
    this.words.select();
  }

  /**
   * Shows what is listed.
   * @param {Filter} filter
   */
  async show(filter) {
    if (document.activeElement !== this.words) this.words.value = filter.q;
    const { from, to } = this.#days();
    if (from !== filter.from || to !== filter.to) {
      this.span.value = filter.from || filter.to ? 'dates' : '';
      this.from.value = filter.from ? dateOf(filter.from) : '';
      this.to.value = filter.to ? dateOf(filter.to) : '';
      this.dates.hidden = this.span.value !== 'dates';
    }
    if (this.pen.value === filter.pen) return;
    await this.refreshPens();
    this.pen.value = filter.pen;
  }

  /** Shows nothing chosen. */
  clear() {
    for (const field of [this.words, this.pen, this.span, this.from, this.to]) field.value = '';
    this.#onChoice();
  }

  /** Asks which pens there are. */
  async refreshPens() {
    const chosen = this.pen.value;
    try {
      const pens = await fetchPens();
      this.pen.replaceChildren(el('option', { value: '' }, 'Any pen'),
        ...pens.map(({ pen, name }) => el('option', { value: pen }, name || pen)));
      this.pen.value = chosen;
    } catch {
      // The choices stay what they are.
    }
  }

  #onChoice() {
    this.dates.hidden = this.span.value !== 'dates';
    this.#tell();
  }

  #tell() {
    clearTimeout(this.typing);
    const { from, to } = this.#days();
    /** @type {Omit<Filter, 'trash'>} */
    const filter = { q: this.words.value.trim(), pen: this.pen.value, from, to };
    this.dispatchEvent(new CustomEvent('filter', { detail: filter }));
  }

  #days() {
    if (this.span.value === 'dates') {
      const from = this.from.value ? new Date(`${this.from.value}T00:00`).getTime() : 0;
      const to = this.to.value ? new Date(`${this.to.value}T23:59:59.999`).getTime() : 0;
      return { from, to };
    }
    const days = spans.find(({ value }) => value === this.span.value)?.days ?? 0;
    // Back from noon, so that a day of 23 or 25 hours leads to no other midnight.
    return { from: days ? dayOf(dayOf(Date.now()) + dayMs / 2 - (days - 1) * dayMs) : 0, to: 0 };
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    if (event.key === 'Enter') this.#tell();
    else if (event.key === 'Escape' && this.words.value) {
      this.words.value = '';
      this.#tell();
      event.stopPropagation();
    } else if (event.key === 'ArrowDown') {
      this.dispatchEvent(new Event('leave'));
      event.preventDefault();
    }
  }
}

/**
 * The day of this moment, as a field for dates takes it.
 * @param {number} ms
 */
function dateOf(ms) {
  const date = new Date(ms);
  const two = (/** @type {number} */ number) => String(number).padStart(2, '0');
  return `${String(date.getFullYear()).padStart(4, '0')}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
}

customElements.define('ink-search', InkSearch);
