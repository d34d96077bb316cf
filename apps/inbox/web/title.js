// A page's title, edited in place: Enter or leaving keeps it, Escape does not. 'rename' is
// dispatched with the new title as detail.

import { el, setAttributes } from './dom.js';
import { pageName } from './format.js';

/** @typedef {import('./api.js').Page} Page */

const longest = 200;

export class InkTitle extends HTMLElement {
  /** @type {Page | null} */
  page = null;

  constructor() {
    super();
    this.field = el('input', {
      class: 'title-field', 'aria-label': 'Title', maxlength: longest, autocomplete: 'off', spellcheck: 'false', enterkeyhint: 'done',
    });
    this.field.addEventListener('change', () => this.#save());
    this.field.addEventListener('keydown', (event) => this.#onKey(event));
    this.field.addEventListener('input', () => this.#fitWidth());
  }

  connectedCallback() {
    this.classList.add('title');
    this.append(this.field);
  }

  /** @param {Page} page */
  show(page) {
    this.page = page;
    setAttributes(this.field, { placeholder: pageName({ ...page, title: '' }) });
    // Nobody's typing is overwritten by news.
    if (document.activeElement !== this.field) this.field.value = page.title;
    this.#fitWidth();
  }

  edit() {
    this.field.focus();
    this.field.select();
  }

  #fitWidth() {
    this.field.size = Math.max(8, (this.field.value || this.field.placeholder).length);
  }

  #save() {
    const title = this.field.value.trim();
    if (title !== this.page?.title) this.dispatchEvent(new CustomEvent('rename', { detail: title }));
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    if (event.key === 'Escape') this.field.value = this.page?.title ?? '';
    if (event.key === 'Enter' || event.key === 'Escape') {
      event.preventDefault();
      event.stopPropagation();
      this.field.blur();
      this.dispatchEvent(new Event('done'));
    }
  }
}

customElements.define('ink-title', InkTitle);
